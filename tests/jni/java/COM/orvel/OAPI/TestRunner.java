package COM.orvel.OAPI;

import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Modifier;
import java.util.Arrays;
import java.util.Comparator;
import java.util.List;

/**
 * Runs the public static no-argument methods named test* of the classes given
 * on the command line; prints one line per test and the closing count.
 */
public final class TestRunner {
  private TestRunner() {}

  public static void main(String[] args) throws Exception {
    int passed = 0, failed = 0;
    for (String name : args) {
      Method[] methods = java.lang.Class.forName(name).getDeclaredMethods();
      Arrays.sort(methods, Comparator.comparing(Method::getName));
      for (Method m : methods) {
        if (!m.getName().startsWith("test") || !Modifier.isStatic(m.getModifiers()) || m.getParameterCount() != 0) {
          continue;
        }
        try {
          m.invoke(null);
          System.out.println("ok     " + name + "." + m.getName());
          passed++;
        } catch (InvocationTargetException e) {
          System.out.println("FAILED " + name + "." + m.getName());
          e.getCause().printStackTrace(System.out);
          failed++;
        }
      }
    }
    System.out.println(passed + " passed, " + failed + " failed");
    System.exit(failed == 0 && passed > 0 ? 0 : 1);
  }

  static void check(boolean condition, String what) {
    if (!condition) throw new AssertionError(what);
  }

  static void equal(Object expected, Object actual, String what) {
    if (expected == null ? actual != null : !expected.equals(actual)) {
      throw new AssertionError(what + ": expected " + expected + ", got " + actual);
    }
  }

  /** Equal within tolerance, relative to the expected value's magnitude when above 1. */
  static void near(double expected, double actual, double tolerance, String what) {
    if (!(Math.abs(expected - actual) <= tolerance * Math.max(1.0, Math.abs(expected)))) {
      throw new AssertionError(what + ": expected " + expected + ", got " + actual);
    }
  }

  static void near(double[] expected, double[] actual, double tolerance, String what) {
    equal(expected.length, actual.length, what + ": length");
    for (int i = 0; i < expected.length; i++) near(expected[i], actual[i], tolerance, what + " [" + i + "]");
  }

  /**
   * A table of rows {what, expected, actual}, checked in order: doubles with
   * near, anything else with equal. Java evaluates the actual values left to
   * right, so a table may list a sequence of calls.
   */
  static void rows(Object... table) {
    if (table.length % 3 != 0) throw new AssertionError("rows come in threes: " + table.length);
    for (int i = 0; i < table.length; i += 3) {
      if (table[i + 1] instanceof Double e && table[i + 2] instanceof Double a) near(e, a, 1e-12, (String) table[i]);
      else equal(table[i + 1], table[i + 2], (String) table[i]);
    }
  }

  /** Runs body and returns the exception of that type it throws (fails if none). */
  static <T extends Throwable> T expectThrown(java.lang.Class<T> type, Runnable body, String what) {
    try {
      body.run();
    } catch (Throwable e) {
      if (type.isInstance(e)) return type.cast(e);
      throw new AssertionError(what + ": " + e, e);
    }
    throw new AssertionError(what + ": no " + type.getSimpleName());
  }

  static OrvelException expectError(Runnable body, String what) {
    return expectThrown(OrvelException.class, body, what);
  }

  /** A deleted or closed Java object refuses calls on the Java side. */
  static void expectDead(Runnable body, String what) {
    expectThrown(IllegalStateException.class, body, what);
  }

  static List<Double> boxed(double[] values) {
    return Arrays.stream(values).boxed().toList();
  }

  /** A chance node of that name with two states. */
  static Node binary(Domain d, String name) {
    Node n = d.newNode(Node.CHANCE, Node.DISCRETE);
    n.setName(name);
    n.setNumberOfStates(2);
    return n;
  }
}
