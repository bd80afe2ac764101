package COM.orvel.OAPI;

import java.util.List;

/**
 * A class of a ClassCollection: a network with input and output nodes that
 * other classes instantiate by instance nodes. createDomain unfolds it into
 * an ordinary Domain.
 */
public class Class {
  /** The engine's handle; 0 once the class (or its collection) is deleted. */
  long modelPeer;

  Class() {}

  long handle() {
    if (modelPeer == 0) throw new IllegalStateException("the class is deleted");
    return modelPeer;
  }

  /** The Java object of an engine class handle (0 gives null). */
  static Class of(long handle) {
    return Natives.peer(handle, Natives.API::orvClassGetBackpointer, h -> {
      Class made = new Class();
      made.modelPeer = h;
      return made;
    }, Natives.API::orvClassSetBackpointer);
  }

  public boolean isDeleted() {
    return modelPeer == 0;
  }

  public ClassCollection getClassCollection() {
    long cc = Natives.API.orvClassGetClassCollection(handle());
    OrvelException.check();
    return ClassCollection.of(cc);
  }

  /** Deletes the class; refused while instance nodes of it exist. */
  public void delete() {
    Natives.API.orvClassDelete(handle());
    OrvelException.check();
  }

  public String getName() {
    String s = Natives.API.orvClassGetName(handle());
    OrvelException.check();
    return s;
  }

  public void setName(String name) {
    Natives.API.orvClassSetName(handle(), name);
    OrvelException.check();
  }

  /** A new node of the class (see Domain.newNode). */
  public Node newNode(int category, int kind) {
    return Node.create(handle(), category, kind);
  }

  /** A new instance node of `instantiated` in this class. */
  public Node newInstance(Class instantiated) {
    long n = Natives.API.orvClassNewInstance(handle(), instantiated.handle());
    OrvelException.check();
    return Node.of(n);
  }

  /** The class's nodes, instance nodes and output clones included. */
  public List<Node> getNodes() {
    return Node.all(handle());
  }

  public Node getNodeByName(String name) {
    return Node.byName(handle(), name);
  }

  public List<Node> getInputs() {
    return Natives.list(Natives.API.orvClassGetInputs(handle()), Node::of);
  }

  public List<Node> getOutputs() {
    return Natives.list(Natives.API.orvClassGetOutputs(handle()), Node::of);
  }

  /** The instance nodes of this class, in any class of the collection. */
  public List<Node> getInstances() {
    return Natives.list(Natives.API.orvClassGetInstances(handle()), Node::of);
  }

  /**
   * The class unfolded into a new domain whose nodes are named by their
   * instance path ("I.J.X"); Node.getSource maps them back to class nodes.
   */
  public Domain createDomain() {
    // Source lists hold the peers of class nodes: every class node gets one first.
    long members = Natives.API.orvCCGetMembers(Natives.API.orvClassGetClassCollection(handle()));
    for (Class c : Natives.list(members, Class::of)) c.getNodes();
    Domain d = Domain.empty();
    d.modelPeer = Natives.API.orvClassCreateDomain(d, handle());
    OrvelException.check();
    return d;
  }

  @Override
  public String toString() {
    return modelPeer == 0 ? "deleted class" : getName();
  }
}
