package COM.orvel.OAPI;

import static COM.orvel.OAPI.Natives.ok;
import static COM.orvel.OAPI.Natives.status;

import java.util.ArrayList;
import java.util.List;

/**
 * A Bayesian network or influence diagram: create it empty or parse it from NET
 * text, add nodes, compile, enter evidence, propagate and read beliefs. Close it
 * (try-with-resources) to free the engine's memory; closing twice is harmless,
 * and every Node, Table, Clique and JunctionTree of a closed domain is dead.
 */
public class Domain implements AutoCloseable {
  public static final int EQUILIBRIUM_SUM = 11;
  public static final int EQUILIBRIUM_MAX = 12;
  public static final int MODE_NORMAL = 20;
  public static final int MODE_FAST_RETRACTION = 21;

  /** The engine's handle; 0 once the domain is closed. */
  long modelPeer;

  /** An empty domain. */
  public Domain() {
    modelPeer = Natives.API.orvNewDomain(this, 0);
    OrvelException.check();
  }

  private Domain(int unused) {}

  /** A domain object without an engine domain yet, for natives that create one. */
  static Domain empty() {
    return new Domain(0);
  }

  /** A domain parsed from NET text or read from a NET file, messages to listener. */
  public static Domain parse(String textOrFileName, ParseListener listener) {
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvNetParseDomain(d, textOrFileName, listener);
    OrvelException.check();
    return d;
  }

  /** A domain parsed from NET text or a NET file; the messages become the exception's text. */
  public static Domain parse(String textOrFileName) {
    StringBuilder messages = new StringBuilder();
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvNetParseDomain(d, textOrFileName, OrvelException.collect(messages));
    OrvelException.check(messages);
    return d;
  }

  long handle() {
    if (modelPeer == 0) throw new IllegalStateException("the domain is closed");
    return modelPeer;
  }

  /** The Java object of an engine domain handle (0 gives null). */
  static Domain of(long handle) {
    return Natives.peer(handle, Natives.API::orvDomainGetBackpointer, h -> {
      Domain d = new Domain(0);
      d.modelPeer = h;
      return d;
    }, Natives.API::orvDomainSetBackpointer);
  }

  public boolean isClosed() {
    return modelPeer == 0;
  }

  /** Frees the domain and everything in it. */
  @Override
  public void close() {
    if (modelPeer == 0) return;
    Natives.API.orvDomainDelete(modelPeer);
    OrvelException.check();
  }

  /** Releases the source lists of a domain made by Class.createDomain (before changing the classes). */
  public void deleteSourceLists() {
    Natives.API.orvDomainDeleteSourceLists(handle());
    OrvelException.check();
  }

  /** A new node: category Node.CHANCE, DECISION, UTILITY or FUNCTION; kind Node.DISCRETE, ... */
  public Node newNode(int category, int kind) {
    return Node.create(handle(), category, kind);
  }

  /** The nodes, newest first (file order for a parsed domain). */
  public List<Node> getNodes() {
    return Node.all(handle());
  }

  /** The node of that name, or null. */
  public Node getNodeByName(String name) {
    return Node.byName(handle(), name);
  }

  public Domain copy() {
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvDomainClone(d, handle());
    OrvelException.check();
    return d;
  }

  public void compile() {
    Natives.API.orvDomainCompile(handle());
    OrvelException.check();
  }

  public void uncompile() {
    Natives.API.orvDomainUncompile(handle());
    OrvelException.check();
  }

  public boolean isCompiled() {
    boolean b = Natives.API.orvDomainIsCompiled(handle());
    OrvelException.check();
    return b;
  }

  /** Propagates the evidence: EQUILIBRIUM_SUM or _MAX, MODE_NORMAL or _FAST_RETRACTION. */
  public void propagate(int equilibrium, int mode) {
    Natives.API.orvDomainPropagate(handle(), equilibrium, mode);
    OrvelException.check();
  }

  /** Sum propagation in normal mode. */
  public void propagate() {
    propagate(EQUILIBRIUM_SUM, MODE_NORMAL);
  }

  public void retractFindings() {
    Natives.API.orvDomainRetractFindings(handle());
    OrvelException.check();
  }

  /** P(evidence) of the last propagation. */
  public double getNormalizationConstant() {
    double v = Natives.API.orvDomainGetNormalizationConstant(handle());
    OrvelException.check();
    return v;
  }

  public double getLogNormalizationConstant() {
    double v = Natives.API.orvDomainGetLogNormalizationConstant(handle());
    OrvelException.check();
    return v;
  }

  public List<JunctionTree> getJunctionTrees() {
    List<JunctionTree> out = new ArrayList<>();
    for (long t = Natives.API.orvDomainGetFirstJunctionTree(handle()); t != 0; t = Natives.API.orvJTGetNext(t)) {
      out.add(JunctionTree.of(t));
    }
    OrvelException.check();
    return out;
  }

  /** The domain as NET text. */
  public String toNetString() {
    String s = Natives.API.orvDomainToNetString(handle());
    OrvelException.check();
    return s;
  }

  public void saveAsNet(String fileName) {
    Natives.API.orvDomainSaveAsNet(handle(), fileName);
    OrvelException.check();
  }

  /** Saves the domain as a KB file, sealed with the password (null: not sealed). */
  public void saveAsKB(String fileName, String password) {
    Natives.API.orvDomainSaveAsKB(handle(), fileName, password);
    OrvelException.check();
  }

  /** A domain loaded from a KB file; the password is null for a file saved without one. */
  public static Domain loadKB(String fileName, String password) {
    Domain d = new Domain(0);
    d.modelPeer = Natives.API.orvKBLoadDomain(d, fileName, password);
    OrvelException.check();
    return d;
  }

  /** Appends compilation and propagation logs to the named file (null stops logging). */
  public void setLogFile(String fileName) {
    Natives.API.orvDomainSetLogFile(handle(), fileName);
    OrvelException.check();
  }

  /** The joint marginal of distinct discrete nodes (in that order) after propagation; the caller closes it. */
  public Table getMarginal(List<Node> nodes) {
    return Table.of(Natives.withList(Natives.handles(nodes), l -> Natives.API.orvDomainGetMarginal(handle(), l)));
  }

  /** Generates the table of every node whose model is not up to date (all or nothing). */
  public void generateTables() {
    status(Natives.API.orvDomainGenerateTables(handle()));
  }

  // Decisions (influence diagrams and LIMIDs).

  /**
   * Single policy updating: every unmade decision gets the options of maximal expected
   * utility until nothing changes, then the domain is propagated under the new policies.
   */
  public void updatePolicies() {
    status(Natives.API.orvDomainUpdatePolicies(handle()));
  }

  /** The overall expected utility under the current policies. */
  public double getExpectedUtility() {
    return ok(Natives.API.orvDomainGetExpectedUtility(handle()));
  }

  /** The decisions of the compiled domain in the order policy updating visits them. */
  public List<Node> getDecisionOrder() {
    return Natives.list(Natives.API.orvDomainGetDecisionOrder(handle()), Node::of);
  }

  // Case data.

  public long getNumberOfCases() {
    return ok(Natives.API.orvDomainGetNumberOfCases(handle()));
  }

  /** Resizes the case store; new cases have nothing set and weight 1. */
  public void setNumberOfCases(long count) {
    status(Natives.API.orvDomainSetNumberOfCases(handle(), count));
  }

  /** Appends an empty case; returns its index. */
  public long newCase() {
    return ok(Natives.API.orvDomainNewCase(handle()));
  }

  /** The weight of a case (0 leaves it out of learning). */
  public double getCaseCount(long caseIndex) {
    return ok(Natives.API.orvDomainGetCaseCount(handle(), caseIndex));
  }

  public void setCaseCount(long caseIndex, double count) {
    status(Natives.API.orvDomainSetCaseCount(handle(), caseIndex, count));
  }

  /** Enters a case as evidence (missing items retract the node's findings); nothing is propagated. */
  public void enterCase(long caseIndex) {
    status(Natives.API.orvDomainEnterCase(handle(), caseIndex));
  }

  /** Appends rows firstRow.. firstRow+count-1 of a data set as cases: columns named as chance nodes feed them. */
  public void addCases(DataSet data, long firstRow, long count) {
    status(Natives.API.orvDomainAddCases(handle(), data.handle(), firstRow, count));
  }

  /** Appends every row of a data set as a case. */
  public void addCases(DataSet data) {
    addCases(data, 0, data.getNumberOfRows());
  }

  /** Appends the cases of a case data file; messages go to listener. */
  public void parseCases(String fileName, ParseListener listener) {
    status(Natives.API.orvDomainParseCases(handle(), fileName, listener));
  }

  /** As parseCases with a listener; the messages become the exception's text. */
  public void parseCases(String fileName) {
    StringBuilder messages = new StringBuilder();
    Natives.API.orvDomainParseCases(handle(), fileName, OrvelException.collect(messages));
    OrvelException.check(messages);
  }

  /**
   * Writes cases (all when cases is null) of the nodes as a case data file: with a count
   * column when includeCounts, else each case repeated count times.
   */
  public void saveCases(String fileName, List<Node> nodes, long[] cases, boolean includeCounts, String separator,
                        String missingData) {
    Natives.withList(Natives.handles(nodes), l -> Natives.API.orvDomainSaveCases(handle(), fileName, l, cases,
        includeCounts, separator, missingData));
  }

  /** Retracts all findings, then enters those of a case file (lines NODE: FINDING). */
  public void parseCase(String fileName, ParseListener listener) {
    status(Natives.API.orvDomainParseCase(handle(), fileName, listener));
  }

  /** Writes the entered findings as a case file. */
  public void saveCase(String fileName) {
    status(Natives.API.orvDomainSaveCase(handle(), fileName));
  }

  // Learning.

  /**
   * EM: learns the tables of the nodes with experience tables from the cases (experience
   * acting as prior). The domain must be compiled with nothing propagated.
   */
  public void learnTables() {
    status(Natives.API.orvDomainLearnTables(handle()));
  }

  /** EM on a domain made by Class.createDomain, learning the class nodes' tables. */
  public void learnClassTables() {
    status(Natives.API.orvDomainLearnClassTables(handle()));
  }

  /** EM stops when |L - L_prev| <= |L| * tolerance. */
  public void setLogLikelihoodTolerance(double tolerance) {
    status(Natives.API.orvDomainSetLogLikelihoodTolerance(handle(), tolerance));
  }

  public double getLogLikelihoodTolerance() {
    return ok(Natives.API.orvDomainGetLogLikelihoodTolerance(handle()));
  }

  /** Most EM iterations (0: no limit). */
  public void setMaxNumberOfEMIterations(long count) {
    status(Natives.API.orvDomainSetMaxNumberOfEMIterations(handle(), count));
  }

  public long getMaxNumberOfEMIterations() {
    return ok(Natives.API.orvDomainGetMaxNumberOfEMIterations(handle()));
  }

  /** Most worker threads of EM (default 1). */
  public void setEMConcurrencyLevel(long level) {
    status(Natives.API.orvDomainSetEMConcurrencyLevel(handle(), level));
  }

  public long getEMConcurrencyLevel() {
    return ok(Natives.API.orvDomainGetEMConcurrencyLevel(handle()));
  }

  /** Most threads one table operation (and structure learning's tests) may use (default 1). */
  public void setConcurrencyLevel(long level) {
    status(Natives.API.orvDomainSetConcurrencyLevel(handle(), level));
  }

  public long getConcurrencyLevel() {
    return ok(Natives.API.orvDomainGetConcurrencyLevel(handle()));
  }

  /** Log-likelihood of the cases under the current tables (0 without cases). */
  public double getLogLikelihood() {
    return ok(Natives.API.orvDomainGetLogLikelihood(handle()));
  }

  /** Log-likelihood minus the number of free parameters. */
  public double getAIC() {
    return ok(Natives.API.orvDomainGetAIC(handle()));
  }

  /** Log-likelihood minus (free parameters / 2) ln(total case weight). */
  public double getBIC() {
    return ok(Natives.API.orvDomainGetBIC(handle()));
  }

  /** Significance level of structure learning's independence tests (default 0.05). */
  public void setSignificanceLevel(double level) {
    status(Natives.API.orvDomainSetSignificanceLevel(handle(), level));
  }

  public double getSignificanceLevel() {
    return ok(Natives.API.orvDomainGetSignificanceLevel(handle()));
  }

  /**
   * Learns the links of a domain of parentless chance nodes from the cases under the edge
   * constraints (Node.setEdgeConstraint); learnTables can then learn their tables.
   */
  public void learnStructure() {
    status(Natives.API.orvDomainLearnStructure(handle()));
  }
}
