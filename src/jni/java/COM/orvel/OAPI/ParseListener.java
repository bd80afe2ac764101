package COM.orvel.OAPI;

/** Receives the messages of a parse: the line (or position) and the text. */
public interface ParseListener {
  void parseError(int line, String message);
}
