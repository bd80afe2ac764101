package COM.orvel.OAPI;

import static COM.orvel.OAPI.Natives.ok;

import java.util.List;

/**
 * A potential over a list of nodes (discrete first), addressed by configuration
 * index. Tables the caller owns (marginals, mixture distributions) are freed by
 * close (try-with-resources) or delete; node tables go with their nodes.
 */
public class Table implements AutoCloseable {
  /** The engine's handle; 0 once the table is deleted. */
  long tablePeer;

  Table() {}

  long handle() {
    if (tablePeer == 0) throw new IllegalStateException("the table is deleted");
    return tablePeer;
  }

  static Table of(long handle) {
    return Natives.peer(handle, Natives.API::orvTableGetBackpointer, h -> {
      Table t = new Table();
      t.tablePeer = h;
      return t;
    }, Natives.API::orvTableSetBackpointer);
  }

  public boolean isDeleted() {
    return tablePeer == 0;
  }

  public List<Node> getNodes() {
    return Natives.list(Natives.API.orvTableGetNodes(handle()), Node::of);
  }

  public long getSize() {
    long n = Natives.API.orvTableGetSize(handle());
    OrvelException.check();
    return n;
  }

  /** A copy of the discrete entries. */
  public double[] getData() {
    double[] out = new double[(int) getSize()];
    Natives.API.orvTableGetData(handle(), out, 0, out.length);
    OrvelException.check();
    return out;
  }

  /** Stores data into the entries from start on. */
  public void setData(double[] data, long start) {
    Natives.API.orvTableSetData(handle(), data, start, data.length);
    OrvelException.check();
  }

  public double getDataItem(long index) {
    double v = Natives.API.orvTableGetDataItem(handle(), index);
    OrvelException.check();
    return v;
  }

  public void setDataItem(long index, double value) {
    Natives.API.orvTableSetDataItem(handle(), index, value);
    OrvelException.check();
  }

  /** The index of a configuration: one state per discrete node. */
  public long getIndex(long[] configuration) {
    long i = Natives.API.orvTableGetIndexFromConfiguration(handle(), configuration);
    OrvelException.check();
    return i;
  }

  /** Deletes a table the caller owns (a marginal); node tables go with their nodes. */
  public void delete() {
    Natives.API.orvTableDelete(handle());
    OrvelException.check();
  }

  /** Deletes the table unless it is deleted already (a node's own table refuses: usage). */
  @Override
  public void close() {
    if (tablePeer != 0) delete();
  }

  /** Number of CG entries (size times the CG block size). */
  public long getCGSize() {
    return ok(Natives.API.orvTableGetCGSize(handle()));
  }

  /** The mean of a continuous head node of the table in the CG block of configuration index. */
  public double getMean(long index, Node node) {
    return ok(Natives.API.orvTableGetMean(handle(), index, node.handle()));
  }

  public double getVariance(long index, Node node) {
    return ok(Natives.API.orvTableGetVariance(handle(), index, node.handle()));
  }

  public double getCovariance(long index, Node node1, Node node2) {
    return ok(Natives.API.orvTableGetCovariance(handle(), index, node1.handle(), node2.handle()));
  }

  /** For a mixture (Node.getDistribution): the probability that its continuous node lies in [x, y]. */
  public double computeProbabilityOfInterval(double x, double y) {
    return ok(Natives.API.orvTableComputeProbabilityOfInterval(handle(), x, y));
  }

  /** The sum-marginal onto some of the table's nodes (in that order); the caller closes it. */
  public Table getMarginal(List<Node> nodes) {
    return Table.of(Natives.withList(Natives.handles(nodes), l -> Natives.API.orvTableGetMarginal(handle(), l)));
  }
}
