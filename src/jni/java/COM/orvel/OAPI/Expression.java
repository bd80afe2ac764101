package COM.orvel.OAPI;

/**
 * An expression tree: numbers, labels, booleans and operators applied to them.
 * Leaves made here belong to the caller: close them when done (a model keeps
 * its own copy). Expressions read from a model belong to the model.
 */
public class Expression implements AutoCloseable {
  long handle;

  // How to make this leaf again (see toString); null for a model's expression.
  private final java.util.function.LongSupplier maker;
  // For a model's expression: the model and the index it is held at.
  private final Model owner;
  private final long index;

  private Expression(java.util.function.LongSupplier maker) {
    this.maker = maker;
    this.owner = null;
    this.index = 0;
    this.handle = maker.getAsLong();
    OrvelException.check();
  }

  private Expression(Model owner, long index, long handle) {
    this.maker = null;
    this.owner = owner;
    this.index = index;
    this.handle = handle;
  }

  /** The expression a model holds at index. */
  static Expression held(Model owner, long index, long handle) {
    return new Expression(owner, index, handle);
  }

  long handle() {
    if (handle == 0) throw new IllegalStateException("the expression is closed");
    if (owner != null && (owner.isDeleted() || Natives.API.orvModelGetExpression(owner.modelPeer, index) != handle)) {
      throw new IllegalStateException("the model no longer holds the expression");
    }
    return handle;
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
    return Natives.ok(Natives.API.orvExpressionIsComposite(handle()));
  }

  /** The operator (see orvel.h: 114 number, 115 label, 116 node, 117 boolean for leaves). */
  public int getOperator() {
    int op = Natives.API.orvExpressionGetOperator(handle());
    OrvelException.check();
    return op;
  }

  public double getNumber() {
    return Natives.ok(Natives.API.orvExpressionGetNumber(handle()));
  }

  public String getLabel() {
    return Natives.ok(Natives.API.orvExpressionGetLabel(handle()));
  }

  public boolean getBoolean() {
    return Natives.ok(Natives.API.orvExpressionGetBoolean(handle()));
  }

  /**
   * The text form. The native releases an expression that no model or composite holds, which is
   * what every object of this class wraps, so the leaf is made again and this object stays usable.
   */
  @Override
  public String toString() {
    String s = Natives.API.orvExpressionToString(handle());
    OrvelException.check();
    if (maker == null) return s;  // the model holds it: not released
    handle = maker.getAsLong();
    OrvelException.check();
    return s;
  }

  @Override
  public void close() {
    if (handle == 0 || owner != null) return;
    Natives.API.orvExpressionDelete(handle);
    handle = 0;
  }
}
