package COM.orvel.OAPI;

import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/**
 * A set of classes that may instantiate each other: parse them from NET text
 * or files, create them empty, and unfold one into a Domain. Close it to free
 * the classes; every Class and class Node of a closed collection is dead.
 */
public class ClassCollection implements AutoCloseable {
  /** The open collections by handle: classes find their collection here. */
  private static final Map<Long, ClassCollection> OPEN = new ConcurrentHashMap<>();

  /** The engine's handle; 0 once closed. */
  private long handle;

  /** An empty collection. */
  public ClassCollection() {
    handle = Natives.API.orvNewClassCollection(this, 0);
    OrvelException.check();
    OPEN.put(handle, this);
  }

  /** The Java object of an open collection's handle, or null. */
  static ClassCollection of(long handle) {
    return OPEN.get(handle);
  }

  long handle() {
    if (handle == 0) throw new IllegalStateException("the class collection is closed");
    return handle;
  }

  public boolean isClosed() {
    return handle == 0;
  }

  /** Frees the collection and its classes; closing twice is harmless. */
  @Override
  public void close() {
    if (handle == 0) return;
    Natives.API.orvCCDelete(handle);
    OrvelException.check();
    OPEN.remove(handle);
    handle = 0;
  }

  /**
   * Adds the classes of NET text or a NET file; a class named by an instance
   * but not defined there is asked of the listener (null: the parse fails).
   */
  public void parseClasses(String textOrFileName, ClassParseListener listener) {
    Natives.API.orvNetParseClasses(textOrFileName, handle(), this, listener);
    OrvelException.check();
  }

  public void parseClasses(String textOrFileName) {
    parseClasses(textOrFileName, null);
  }

  /** A new empty class with a generated name. */
  public Class newClass() {
    long c = Natives.API.orvCCNewClass(handle());
    OrvelException.check();
    return Class.of(c);
  }

  /** The class of that name, or null. */
  public Class getClassByName(String name) {
    long c = Natives.API.orvCCGetClassByName(handle(), name);
    OrvelException.check();
    return Class.of(c);
  }

  public List<Class> getMembers() {
    return Natives.list(Natives.API.orvCCGetMembers(handle()), c -> Class.of(c));
  }

  /** Moves the domain into this collection as a new class; the domain is closed. */
  public Class addDomain(Domain domain) {
    long c = Natives.API.orvCCAddDomain(handle(), domain.handle());
    OrvelException.check();
    domain.modelPeer = 0;
    return Class.of(c);
  }

  /** Moves every class of other into this collection (refused, moving none, when a name is in both). */
  public void addClasses(ClassCollection other) {
    Natives.API.orvCCAddClasses(handle(), other.handle());
    OrvelException.check();
  }

  /** The classes as NET text. */
  public String toNetString() {
    String s = Natives.API.orvCCToNetString(handle());
    OrvelException.check();
    return s;
  }

  public void saveAsNet(String fileName) {
    Natives.API.orvCCSaveAsNet(handle(), fileName);
    OrvelException.check();
  }
}
