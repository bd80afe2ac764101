package COM.orvel.OAPI;

/**
 * An expression tree: numbers, labels, booleans and operators applied to them.
 * Close it when no model holds it.
 */
public class Expression implements AutoCloseable {
  long handle;

  // How to make this leaf again (see toString).
  private final java.util.function.LongSupplier maker;

  private Expression(java.util.function.LongSupplier maker) {
    this.maker = maker;
    this.handle = maker.getAsLong();
    OrvelException.check();
  }

  public static Expression number(double value) {
    return new Expression(() -> Natives.API.orvNumberMakeExpression(value));
  }

  public static Expression label(String text) {
    return new Expression(() -> Natives.API.orvLabelMakeExpression(text));
  }

  public static Expression bool(boolean value) {
    return new Expression(() -> Natives.API.orvBooleanMakeExpression(value));
  }

  public boolean isComposite() {
    return Natives.API.orvExpressionIsComposite(handle);
  }

  public int getOperator() {
    return Natives.API.orvExpressionGetOperator(handle);
  }

  public double getNumber() {
    double v = Natives.API.orvExpressionGetNumber(handle);
    OrvelException.check();
    return v;
  }

  /**
   * The text form. The native releases an expression that no model or composite holds, which is
   * what every object of this class wraps, so the leaf is made again and this object stays usable.
   */
  @Override
  public String toString() {
    String s = Natives.API.orvExpressionToString(handle);
    OrvelException.check();
    handle = maker.getAsLong();
    OrvelException.check();
    return s;
  }

  @Override
  public void close() {
    if (handle == 0) return;
    Natives.API.orvExpressionDelete(handle);
    handle = 0;
  }
}
