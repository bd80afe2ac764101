package COM.orvel.OAPI;

import COM.orvel.OAPI.Native.AbstractNativeOAPI;
import java.util.ArrayList;
import java.util.List;
import java.util.function.LongFunction;
import java.util.function.ToIntBiFunction;

/** The one instance of the natives the API classes call, and list conversions. */
final class Natives extends AbstractNativeOAPI {
  static final Natives API = new Natives();

  private Natives() {}

  /**
   * The Java object of an engine handle (0 gives null): the stored backpointer,
   * or a new peer made for the handle and attached now.
   */
  static <T> T peer(long handle, LongFunction<Object> stored, LongFunction<T> make,
                    ToIntBiFunction<Long, Object> attach) {
    if (handle == 0) return null;
    Object existing = stored.apply(handle);
    @SuppressWarnings("unchecked")
    T found = (T) existing;
    if (found != null) return found;
    T made = make.apply(handle);
    attach.applyAsInt(handle, made);
    OrvelException.check();
    return made;
  }

  // A native's result, once the calling thread's engine error (if any) is thrown.
  static long ok(long value) {
    OrvelException.check();
    return value;
  }

  static double ok(double value) {
    OrvelException.check();
    return value;
  }

  static boolean ok(boolean value) {
    OrvelException.check();
    return value;
  }

  static <T> T ok(T value) {
    OrvelException.check();
    return value;
  }

  /** Throws the error of a native that returned a status. */
  static void status(int code) {
    if (code != 0) OrvelException.check();
  }

  /** The handles of nodes (each must be alive). */
  static long[] handles(List<Node> nodes) {
    long[] out = new long[nodes.size()];
    for (int i = 0; i < out.length; i++) out[i] = nodes.get(i).handle();
    return out;
  }

  /** The objects of a null-terminated engine list (owned by the engine). */
  static <T> List<T> list(long handle, LongFunction<T> peer) {
    OrvelException.check();
    List<T> out = new ArrayList<>();
    if (handle == 0) return out;
    for (long i = 0;; i++) {
      long item = API.orvListGetItem(handle, i);
      if (item == 0) return out;
      out.add(peer.apply(item));
    }
  }

  /**
   * Runs body with a null-terminated engine list of the given handles and throws
   * the engine error it leaves (before the list is freed, which clears it).
   */
  static <R> R withList(long[] handles, LongFunction<R> body) {
    long list = API.orvNewList(handles.length + 1);
    OrvelException.check();
    try {
      for (int i = 0; i < handles.length; i++) API.orvListSetItem(list, i, handles[i]);
      API.orvListSetItem(list, handles.length, 0);
      R result = body.apply(list);
      OrvelException.check();
      return result;
    } finally {
      API.orvListDelete(list);
    }
  }
}
