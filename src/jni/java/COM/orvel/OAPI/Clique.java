package COM.orvel.OAPI;

import java.util.List;

/** A clique of a compiled domain's junction forest. */
public class Clique {
  /** The engine's handle; 0 once the domain is uncompiled. */
  long cliquePeer;

  Clique() {}

  long handle() {
    if (cliquePeer == 0) throw new IllegalStateException("the clique no longer exists");
    return cliquePeer;
  }

  static Clique of(long handle) {
    return Natives.peer(handle, Natives.API::orvCliqueGetBackpointer, h -> {
      Clique c = new Clique();
      c.cliquePeer = h;
      return c;
    }, Natives.API::orvCliqueSetBackpointer);
  }

  public boolean isDeleted() {
    return cliquePeer == 0;
  }

  public List<Node> getMembers() {
    return Natives.list(Natives.API.orvCliqueGetMembers(handle()), Node::of);
  }

  public List<Clique> getNeighbors() {
    return Natives.list(Natives.API.orvCliqueGetNeighbors(handle()), Clique::of);
  }

  public JunctionTree getJunctionTree() {
    long t = Natives.API.orvCliqueGetJunctionTree(handle());
    OrvelException.check();
    return JunctionTree.of(t);
  }
}
