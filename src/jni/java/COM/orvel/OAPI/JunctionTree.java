package COM.orvel.OAPI;

import java.util.List;

/** A junction tree of a compiled domain. */
public class JunctionTree {
  /** The engine's handle; 0 once the domain is uncompiled. */
  long jtPeer;

  JunctionTree() {}

  long handle() {
    if (jtPeer == 0) throw new IllegalStateException("the junction tree no longer exists");
    return jtPeer;
  }

  static JunctionTree of(long handle) {
    return Natives.peer(handle, Natives.API::orvJTGetBackpointer, h -> {
      JunctionTree t = new JunctionTree();
      t.jtPeer = h;
      return t;
    }, Natives.API::orvJTSetBackpointer);
  }

  public boolean isDeleted() {
    return jtPeer == 0;
  }

  public List<Clique> getCliques() {
    return Natives.list(Natives.API.orvJTGetCliques(handle()), Clique::of);
  }

  public Clique getRoot() {
    long c = Natives.API.orvJTGetRoot(handle());
    OrvelException.check();
    return Clique.of(c);
  }

  /** Entries of all clique tables. */
  public long getTotalSize() {
    long n = Natives.API.orvJTGetTotalSize(handle());
    OrvelException.check();
    return n;
  }

  public void propagate(int equilibrium, int mode) {
    Natives.API.orvJTPropagate(handle(), equilibrium, mode);
    OrvelException.check();
  }
}
