package COM.orvel.OAPI;

import static COM.orvel.OAPI.Natives.ok;
import static COM.orvel.OAPI.Natives.status;

import java.util.List;

/**
 * A node's model: one expression per configuration of the model nodes (some
 * discrete parents of the node), from which the node's table is generated.
 * Belongs to its node (Node.newModel, Node.getModel); deleting the model, a
 * new model or deleting the node or domain makes this object dead.
 */
public class Model {
  /** The engine's handle; 0 once the model is deleted. */
  long modelPeer;

  Model() {}

  long handle() {
    if (modelPeer == 0) throw new IllegalStateException("the model is deleted");
    return modelPeer;
  }

  /** The Java object of an engine model handle (0 gives null). */
  static Model of(long handle) {
    return Natives.peer(handle, Natives.API::orvModelGetBackpointer, h -> {
      Model m = new Model();
      m.modelPeer = h;
      return m;
    }, Natives.API::orvModelSetBackpointer);
  }

  public boolean isDeleted() {
    return modelPeer == 0;
  }

  /** Deletes the model; the node's table stays as it is. */
  public void delete() {
    status(Natives.API.orvModelDelete(handle()));
  }

  /** The model nodes, whose configurations index the expressions. */
  public List<Node> getNodes() {
    return Natives.list(Natives.API.orvModelGetNodes(handle()), Node::of);
  }

  /** Number of configurations (expressions) of the model. */
  public long getSize() {
    return ok(Natives.API.orvModelGetSize(handle()));
  }

  /**
   * The expression at index, owned by the model (null when none is set). It
   * stays usable while the model holds it there; after a change of that entry
   * or the model's deletion its use throws IllegalStateException.
   */
  public Expression getExpression(long index) {
    long e = ok(Natives.API.orvModelGetExpression(handle(), index));
    return e == 0 ? null : Expression.held(this, index, e);
  }

  /** The text of the expression at index, or null when none is set. */
  public String getExpressionString(long index) {
    Expression e = getExpression(index);
    return e == null ? null : e.toString();
  }

  /** Stores a copy of expression at index (null clears it); the caller keeps its own. */
  public void setExpression(long index, Expression expression) {
    long e = expression == null ? 0 : expression.handle();
    status(Natives.API.orvModelSetExpression(handle(), index, e));
  }

  /** Parses text over the nodes of the domain and stores it at index; messages go to listener. */
  public void setExpression(long index, String text, ParseListener listener) {
    status(Natives.API.orvModelSetExpressionFromString(handle(), index, text, listener));
  }

  /** As setExpression with a listener; the messages become the exception's text. */
  public void setExpression(long index, String text) {
    StringBuilder messages = new StringBuilder();
    Natives.API.orvModelSetExpressionFromString(handle(), index, text, OrvelException.collect(messages));
    OrvelException.check(messages);
  }

  /** Samples per interval of an interval parent used by table generation (default 25). */
  public long getNumberOfSamplesPerInterval() {
    return ok(Natives.API.orvModelGetNumberOfSamplesPerInterval(handle()));
  }

  public void setNumberOfSamplesPerInterval(long count) {
    status(Natives.API.orvModelSetNumberOfSamplesPerInterval(handle(), count));
  }

  /** True when the node's table was generated from this model and nothing it depends on changed. */
  public boolean tableIsGenerated() {
    return ok(Natives.API.orvModelTableIsGenerated(handle()));
  }
}
