package COM.orvel.OAPI;

import COM.orvel.OAPI.Native.AbstractNativeOAPI;
import java.util.ArrayList;
import java.util.List;
import java.util.function.LongFunction;

/** The one instance of the natives the API classes call, and list conversions. */
final class Natives extends AbstractNativeOAPI {
  static final Natives API = new Natives();

  private Natives() {}

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

  /** Runs body with a null-terminated engine list of the given handles. */
  static <R> R withList(long[] handles, LongFunction<R> body) {
    long list = API.orvNewList(handles.length + 1);
    OrvelException.check();
    try {
      for (int i = 0; i < handles.length; i++) API.orvListSetItem(list, i, handles[i]);
      API.orvListSetItem(list, handles.length, 0);
      return body.apply(list);
    } finally {
      API.orvListDelete(list);
    }
  }
}
