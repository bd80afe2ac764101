package COM.orvel.OAPI;

import static COM.orvel.OAPI.Natives.ok;
import static COM.orvel.OAPI.Natives.status;

import java.util.List;

/** A variable of a domain: its states, parents, table, evidence and beliefs. */
public class Node {
  public static final int FUNCTION = 5, INSTANCE = 6, CHANCE = 7, DECISION = 8, UTILITY = 9;
  public static final int OTHER = -1, DISCRETE = 0, CONTINUOUS = 1;
  public static final int LABEL = 30, BOOLEAN = 31, NUMBER = 32, INTERVAL = 33;
  /** Edge constraints of structure learning, seen from this node towards the other. */
  public static final int CONSTRAINT_NONE = 100, EDGE_REQUIRED = 101, FORWARD_EDGE_REQUIRED = 102,
      BACKWARD_EDGE_REQUIRED = 103, EDGE_FORBIDDEN = 104, FORWARD_EDGE_FORBIDDEN = 105,
      BACKWARD_EDGE_FORBIDDEN = 106;

  /** The engine's handle; 0 once the node (or its domain) is deleted. */
  long nodePeer;

  Node() {}

  long handle() {
    if (nodePeer == 0) throw new IllegalStateException("the node is deleted");
    return nodePeer;
  }

  /** The Java object of an engine node handle (0 gives null). */
  static Node of(long handle) {
    return Natives.peer(handle, Natives.API::orvNodeGetBackpointer, h -> {
      Node n = new Node();
      n.nodePeer = h;
      return n;
    }, Natives.API::orvNodeSetBackpointer);
  }

  /** A new node of a domain or class handle, with this Java object as its peer. */
  static Node create(long owner, int category, int kind) {
    Node n = new Node();
    n.nodePeer = Natives.API.orvDomainNewNode(n, owner, category, kind);
    OrvelException.check();
    return n;
  }

  /** The nodes of a domain or class handle. */
  static List<Node> all(long owner) {
    List<Node> out = new java.util.ArrayList<>();
    for (long n = Natives.API.orvDomainGetFirstNode(owner); n != 0; n = Natives.API.orvNodeGetNext(n)) {
      out.add(Node.of(n));
    }
    OrvelException.check();
    return out;
  }

  /** The node of that name in a domain or class handle, or null. */
  static Node byName(long owner, String name) {
    long n = Natives.API.orvDomainGetNodeByName(owner, name);
    OrvelException.check();
    return Node.of(n);
  }

  public boolean isDeleted() {
    return nodePeer == 0;
  }

  /** Deletes the node from its domain. */
  public void delete() {
    Natives.API.orvNodeDelete(handle());
    OrvelException.check();
  }

  public Domain getDomain() {
    long d = Natives.API.orvNodeGetHomeDomain(handle());
    OrvelException.check();
    return Domain.of(d);
  }

  public String getName() {
    String s = Natives.API.orvNodeGetName(handle());
    OrvelException.check();
    return s;
  }

  public void setName(String name) {
    Natives.API.orvNodeSetName(handle(), name);
    OrvelException.check();
  }

  public String getLabel() {
    String s = Natives.API.orvNodeGetLabel(handle());
    OrvelException.check();
    return s;
  }

  public void setLabel(String label) {
    Natives.API.orvNodeSetLabel(handle(), label);
    OrvelException.check();
  }

  public int getCategory() {
    int c = Natives.API.orvNodeGetCategory(handle());
    OrvelException.check();
    return c;
  }

  public int getKind() {
    int k = Natives.API.orvNodeGetKind(handle());
    OrvelException.check();
    return k;
  }

  public long getNumberOfStates() {
    long n = Natives.API.orvNodeGetNumberOfStates(handle());
    OrvelException.check();
    return n;
  }

  public void setNumberOfStates(long count) {
    Natives.API.orvNodeSetNumberOfStates(handle(), count);
    OrvelException.check();
  }

  public String getStateLabel(long state) {
    String s = Natives.API.orvNodeGetStateLabel(handle(), state);
    OrvelException.check();
    return s;
  }

  public void setStateLabel(long state, String label) {
    Natives.API.orvNodeSetStateLabel(handle(), state, label);
    OrvelException.check();
  }

  /** The index of the state with that label, or -1. */
  public long getStateIndex(String label) {
    long i = Natives.API.orvNodeGetStateIndexFromLabel(handle(), label);
    OrvelException.check();
    return i;
  }

  public void addParent(Node parent) {
    Natives.API.orvNodeAddParent(handle(), parent.handle());
    OrvelException.check();
  }

  public void removeParent(Node parent) {
    Natives.API.orvNodeRemoveParent(handle(), parent.handle());
    OrvelException.check();
  }

  public List<Node> getParents() {
    return Natives.list(Natives.API.orvNodeGetParents(handle()), Node::of);
  }

  public List<Node> getChildren() {
    return Natives.list(Natives.API.orvNodeGetChildren(handle()), Node::of);
  }

  /** The node's conditional table (or policy, or utility table). */
  public Table getTable() {
    long t = Natives.API.orvNodeGetTable(handle());
    OrvelException.check();
    return Table.of(t);
  }

  public void selectState(long state) {
    Natives.API.orvNodeSelectState(handle(), state);
    OrvelException.check();
  }

  public void enterFinding(long state, double value) {
    Natives.API.orvNodeEnterFinding(handle(), state, value);
    OrvelException.check();
  }

  public void retractFindings() {
    Natives.API.orvNodeRetractFindings(handle());
    OrvelException.check();
  }

  public boolean evidenceIsEntered() {
    boolean b = Natives.API.orvNodeEvidenceIsEntered(handle());
    OrvelException.check();
    return b;
  }

  /** The belief in a state after the last propagation. */
  public double getBelief(long state) {
    double b = Natives.API.orvNodeGetBelief(handle(), state);
    OrvelException.check();
    return b;
  }

  /** The beliefs of all states. */
  public double[] getBeliefs() {
    double[] out = new double[(int) getNumberOfStates()];
    for (int i = 0; i < out.length; i++) out[i] = getBelief(i);
    return out;
  }

  public double getExpectedUtility(long state) {
    double u = Natives.API.orvNodeGetExpectedUtility(handle(), state);
    OrvelException.check();
    return u;
  }

  public double getMean() {
    double m = Natives.API.orvNodeGetMean(handle());
    OrvelException.check();
    return m;
  }

  public double getVariance() {
    double v = Natives.API.orvNodeGetVariance(handle());
    OrvelException.check();
    return v;
  }

  public JunctionTree getJunctionTree() {
    long t = Natives.API.orvNodeGetJunctionTree(handle());
    OrvelException.check();
    return JunctionTree.of(t);
  }

  /** The class a class node belongs to, or null for a node of a domain. */
  public Class getHomeClass() {
    long c = Natives.API.orvNodeGetHomeClass(handle());
    OrvelException.check();
    return Class.of(c);
  }

  /** For an instance node: the class it instantiates (null for other nodes). */
  public Class getInstanceClass() {
    long c = Natives.API.orvNodeGetInstanceClass(handle());
    OrvelException.check();
    return Class.of(c);
  }

  /** For an instance node: the actual node bound to the formal input node, or null. */
  public Node getInput(Node formal) {
    long n = Natives.API.orvNodeGetInput(handle(), formal.handle());
    OrvelException.check();
    return Node.of(n);
  }

  /** For an instance node: binds the formal input node of its class to an actual node. */
  public void setInput(Node formal, Node actual) {
    Natives.API.orvNodeSetInput(handle(), formal.handle(), actual.handle());
    OrvelException.check();
  }

  /** For an instance node: removes the binding of the formal input node. */
  public void unsetInput(Node formal) {
    Natives.API.orvNodeUnsetInput(handle(), formal.handle());
    OrvelException.check();
  }

  /** For an instance node: the output clone standing for the class's output node. */
  public Node getOutput(Node output) {
    long n = Natives.API.orvNodeGetOutput(handle(), output.handle());
    OrvelException.check();
    return Node.of(n);
  }

  /** For an instance node: its output clones, in the order of the class's outputs. */
  public List<Node> getOutputs() {
    return Natives.list(Natives.API.orvNodeGetOutputs(handle()), Node::of);
  }

  /** For an output clone: the output node of the instantiated class it stands for. */
  public Node getMaster() {
    long n = Natives.API.orvNodeGetMaster(handle());
    OrvelException.check();
    return Node.of(n);
  }

  /** For an output clone: the instance node it belongs to. */
  public Node getInstance() {
    long n = Natives.API.orvNodeGetInstance(handle());
    OrvelException.check();
    return Node.of(n);
  }

  /** Makes this class node an input (or output) node of its class, or stops it being one. */
  public void addToInputs() {
    Natives.API.orvNodeAddToInputs(handle());
    OrvelException.check();
  }

  public void removeFromInputs() {
    Natives.API.orvNodeRemoveFromInputs(handle());
    OrvelException.check();
  }

  public void addToOutputs() {
    Natives.API.orvNodeAddToOutputs(handle());
    OrvelException.check();
  }

  public void removeFromOutputs() {
    Natives.API.orvNodeRemoveFromOutputs(handle());
    OrvelException.check();
  }

  /** For an instance node: instantiates another class, matching inputs and outputs by name. */
  public void substituteClass(Class replacement) {
    Natives.API.orvNodeSubstituteClass(handle(), replacement.handle());
    OrvelException.check();
  }

  /**
   * For a node of a domain made by Class.createDomain: the instance nodes it
   * was unfolded through, outermost first, then the class node it was copied
   * from. Empty for other nodes and after Domain.deleteSourceLists.
   */
  public List<Node> getSource() {
    Object[] peers = Natives.API.orvNodeGetSource(handle());
    if (peers == null && Natives.API.orvErrorCode() == 1) return List.of();  // usage: no list
    OrvelException.check();
    List<Node> out = new java.util.ArrayList<>(peers.length);
    for (Object p : peers) out.add((Node) p);
    return out;
  }

  /** The subtype of a discrete node: LABEL, BOOLEAN, NUMBER or INTERVAL. */
  public int getSubtype() {
    int t = Natives.API.orvNodeGetSubtype(handle());
    OrvelException.check();
    return t;
  }

  /** A state's value (number nodes) or interval boundary (interval nodes: 0..states). */
  public double getStateValue(long state) {
    return ok(Natives.API.orvNodeGetStateValue(handle(), state));
  }

  public void setStateValue(long state, double value) {
    status(Natives.API.orvNodeSetStateValue(handle(), state, value));
  }

  /** The state holding value, or -1. */
  public long getStateIndex(double value) {
    return ok(Natives.API.orvNodeGetStateIndexFromValue(handle(), value));
  }

  /** Splits every interval of an interval node at its midpoint (tables, models and cases follow). */
  public void doubleNumberOfIntervals() {
    status(Natives.API.orvNodeDoubleNumberOfIntervals(handle()));
  }

  /** Merges intervals 2k and 2k+1, undoing doubleNumberOfIntervals. */
  public void halveNumberOfIntervals() {
    status(Natives.API.orvNodeHalveNumberOfIntervals(handle()));
  }

  // Models and table generation.

  /** A new model over the given discrete parents, replacing the node's old one. */
  public Model newModel(List<Node> modelNodes) {
    return Model.of(Natives.withList(Natives.handles(modelNodes), l -> Natives.API.orvNodeNewModel(handle(), l)));
  }

  /** The node's model, or null. */
  public Model getModel() {
    return Model.of(ok(Natives.API.orvNodeGetModel(handle())));
  }

  /** Generates the node's table from its model (all or nothing). */
  public void generateTable() {
    status(Natives.API.orvNodeGenerateTable(handle()));
  }

  /** The value of a real-valued function node under the current beliefs and evidence. */
  public double getValue() {
    return ok(Natives.API.orvNodeGetValue(handle()));
  }

  /** The probability-quantile (0 < p < 1) of a numbered, interval or continuous node's beliefs. */
  public double getQuantile(double probability) {
    return ok(Natives.API.orvNodeGetQuantile(handle(), probability));
  }

  // Continuous (CG) nodes.

  /** Observes a continuous node's value, or selects the state of a numbered or interval node holding it. */
  public void enterValue(double value) {
    status(Natives.API.orvNodeEnterValue(handle(), value));
  }

  /** The value entered by enterValue. */
  public double getEnteredValue() {
    return ok(Natives.API.orvNodeGetEnteredValue(handle()));
  }

  /** The intercept of a continuous chance node's mean given configuration i of its discrete parents. */
  public double getAlpha(long i) {
    return ok(Natives.API.orvNodeGetAlpha(handle(), i));
  }

  public void setAlpha(double alpha, long i) {
    status(Natives.API.orvNodeSetAlpha(handle(), alpha, i));
  }

  /** The regression coefficient on a continuous parent given configuration i. */
  public double getBeta(Node parent, long i) {
    return ok(Natives.API.orvNodeGetBeta(handle(), parent.handle(), i));
  }

  public void setBeta(double beta, Node parent, long i) {
    status(Natives.API.orvNodeSetBeta(handle(), beta, parent.handle(), i));
  }

  /** The conditional variance given configuration i. */
  public double getGamma(long i) {
    return ok(Natives.API.orvNodeGetGamma(handle(), i));
  }

  public void setGamma(double gamma, long i) {
    status(Natives.API.orvNodeSetGamma(handle(), gamma, i));
  }

  /**
   * The marginal of a continuous node as a mixture table (discrete nodes, then this
   * node): weights as data, Table.getMean/getVariance per component. The caller closes it.
   */
  public Table getDistribution() {
    return Table.of(ok(Natives.API.orvNodeGetDistribution(handle())));
  }

  // Decisions and utilities.

  /**
   * A decision's expected utilities, one per entry of its policy table: taking that option
   * in that parent configuration, every other decision following its policy.
   */
  public double[] getDecisionUtilities() {
    return getDecisionUtilities(null);
  }

  /** As getDecisionUtilities; rowProbabilities (one per parent configuration, or null) receives P(row | evidence). */
  public double[] getDecisionUtilities(double[] rowProbabilities) {
    Table policy = getTable();
    double[] out = new double[(int) policy.getSize()];
    status(Natives.API.orvNodeGetDecisionUtilities(handle(), out, rowProbabilities));
    return out;
  }

  /** The parents of a decision that bear on the utilities below it. */
  public List<Node> getRequisiteParents() {
    return Natives.list(Natives.API.orvNodeGetRequisiteParents(handle()), Node::of);
  }

  /** The decision's ancestors once non-requisite informational links are dropped. */
  public List<Node> getRequisiteAncestors() {
    return Natives.list(Natives.API.orvNodeGetRequisiteAncestors(handle()), Node::of);
  }

  public double getVarianceOfUtility() {
    return ok(Natives.API.orvNodeGetVarianceOfUtility(handle()));
  }

  public double getMinUtility() {
    return ok(Natives.API.orvNodeGetMinUtility(handle()));
  }

  public double getMaxUtility() {
    return ok(Natives.API.orvNodeGetMaxUtility(handle()));
  }

  // Case data and learning.

  /** The state of a discrete chance node in a case, or -1 when the item is missing. */
  public long getCaseState(long caseIndex) {
    return ok(Natives.API.orvNodeGetCaseState(handle(), caseIndex));
  }

  public void setCaseState(long caseIndex, long state) {
    status(Natives.API.orvNodeSetCaseState(handle(), caseIndex, state));
  }

  /** The value of a continuous chance node in a case (a missing item throws, code 32). */
  public double getCaseValue(long caseIndex) {
    return ok(Natives.API.orvNodeGetCaseValue(handle(), caseIndex));
  }

  public void setCaseValue(long caseIndex, double value) {
    status(Natives.API.orvNodeSetCaseValue(handle(), caseIndex, value));
  }

  /** Marks the node's item of a case missing. */
  public void unsetCase(long caseIndex) {
    status(Natives.API.orvNodeUnsetCase(handle(), caseIndex));
  }

  public boolean caseIsSet(long caseIndex) {
    return ok(Natives.API.orvNodeCaseIsSet(handle(), caseIndex));
  }

  /** The experience counts over the discrete parents (created on first request); EM learns nodes that have one. */
  public Table getExperienceTable() {
    return Table.of(ok(Natives.API.orvNodeGetExperienceTable(handle())));
  }

  public boolean hasExperienceTable() {
    return ok(Natives.API.orvNodeHasExperienceTable(handle()));
  }

  /** The fading factors over the discrete parents (created on first request). */
  public Table getFadingTable() {
    return Table.of(ok(Natives.API.orvNodeGetFadingTable(handle())));
  }

  public boolean hasFadingTable() {
    return ok(Natives.API.orvNodeHasFadingTable(handle()));
  }

  /** Constrains the edge between this node and other for structure learning (CONSTRAINT_NONE clears it). */
  public void setEdgeConstraint(Node other, int constraint) {
    status(Natives.API.orvNodeSetEdgeConstraint(handle(), other.handle(), constraint));
  }

  public int getEdgeConstraint(Node other) {
    int c = Natives.API.orvNodeGetEdgeConstraint(handle(), other.handle());
    OrvelException.check();
    return c;
  }

  @Override
  public String toString() {
    return nodePeer == 0 ? "<deleted node>" : getName();
  }
}
