package COM.orvel.OAPI;

/**
 * An expression tree: numbers, labels, booleans and operators applied to them.
 * Close it when no model holds it.
 */
public class Expression implements AutoCloseable {
  long handle;

  private Expression(long handle) {
    OrvelException.check();
    this.handle = handle;
  }

  public static Expression number(double value) {
    return new Expression(Natives.API.orvNumberMakeExpression(value));
  }

  public static Expression label(String text) {
    return new Expression(Natives.API.orvLabelMakeExpression(text));
  }

  public static Expression bool(boolean value) {
    return new Expression(Natives.API.orvBooleanMakeExpression(value));
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

  @Override
  public String toString() {
    String s = Natives.API.orvExpressionToString(handle);
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
