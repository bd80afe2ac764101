package COM.orvel.OAPI.Native;

/** Test hooks of the test copy of the library (orvel_jnitest). */
public final class TestHooks {
  static {
    System.loadLibrary(System.getProperty("orvel.library", "orvel"));
  }

  private TestHooks() {}

  /** Fails the n-th engine allocation from now (0-based); n < 0 disarms. */
  public static native void failAllocation(long n);

  public static native long injectedFailures();

  /** Engine blocks currently allocated. */
  public static native long liveBlocks();

  /** Global references the binding holds. */
  public static native long liveGlobalRefs();
}
