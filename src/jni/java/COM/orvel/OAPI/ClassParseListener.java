package COM.orvel.OAPI;

/**
 * Receives the messages of a class parse and loads the classes it names but
 * does not define: insertClass parses the named class into the collection
 * (by a nested ClassCollection.parseClasses). An exception it throws fails
 * the outer parse, which then leaves none of its classes behind.
 */
public interface ClassParseListener extends ParseListener {
  void insertClass(String name, ClassCollection collection);

  /** Messages are dropped unless overridden. */
  @Override
  default void parseError(int line, String message) {}
}
