package COM.orvel.OAPI;

/** An engine call failed: carries the engine's error code and its description. */
public class OrvelException extends RuntimeException {
  private static final long serialVersionUID = 1L;
  private final int code;

  public OrvelException(int code, String description) {
    super(description);
    this.code = code;
  }

  /** The engine's error code (1 usage, 3 no_memory, 47 jni, ...). */
  public int getCode() {
    return code;
  }

  /** The exception for an error code, of the subclass that names it. */
  static OrvelException of(int code, String description) {
    switch (code) {
      case 1: return new UsageException(description);
      case 2: return new IOErrorException(description);
      case 3: return new NoMemoryException(description);
      case 17: return new NotCompiledException(description);
      case 33: case 35: return new ParseException(code, description);
      case 34: return new InvalidExpressionException(description);
      case 47: return new JNIException(description);
      default: return new OrvelException(code, description);
    }
  }

  /** Throws the calling thread's engine error, if any. */
  static void check() {
    int code = Natives.API.orvErrorCode();
    if (code != 0) throw of(code, Natives.API.orvErrorDescription(code));
  }

  /** A listener that appends each message as "line: text" to messages. */
  static ParseListener collect(StringBuilder messages) {
    return (line, message) -> messages.append(line).append(": ").append(message).append('\n');
  }

  /** Throws the calling thread's engine error, if any, with the collected parse messages appended. */
  static void check(CharSequence messages) {
    int code = Natives.API.orvErrorCode();
    if (code == 0) return;
    String text = Natives.API.orvErrorDescription(code);
    throw of(code, messages.length() == 0 ? text : text + "\n" + messages);
  }

  /** A bad argument, a wrong handle, or a call in the wrong state. */
  public static class UsageException extends OrvelException {
    private static final long serialVersionUID = 1L;
    public UsageException(String description) { super(1, description); }
  }

  /** A file could not be read or written. */
  public static class IOErrorException extends OrvelException {
    private static final long serialVersionUID = 1L;
    public IOErrorException(String description) { super(2, description); }
  }

  /** The engine ran out of memory (nothing was changed). */
  public static class NoMemoryException extends OrvelException {
    private static final long serialVersionUID = 1L;
    public NoMemoryException(String description) { super(3, description); }
  }

  /** The domain must be compiled first. */
  public static class NotCompiledException extends OrvelException {
    private static final long serialVersionUID = 1L;
    public NotCompiledException(String description) { super(17, description); }
  }

  /** NET text, an expression or a case file could not be parsed. */
  public static class ParseException extends OrvelException {
    private static final long serialVersionUID = 1L;
    public ParseException(int code, String description) { super(code, description); }
  }

  /** A model's expression is not valid for its node, or has bad parameters. */
  public static class InvalidExpressionException extends OrvelException {
    private static final long serialVersionUID = 1L;
    public InvalidExpressionException(String description) { super(34, description); }
  }

  /** A JNI function failed, or a Java callback threw (the exception stays the cause). */
  public static class JNIException extends OrvelException {
    private static final long serialVersionUID = 1L;
    public JNIException(String description) { super(47, description); }
  }
}
