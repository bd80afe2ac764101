package COM.orvel.OAPI;

import static COM.orvel.OAPI.BindingTest.N;
import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.rows;

import java.util.ArrayList;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;

/**
 * Natives the Java API classes do not reach, each called with arguments
 * whose result is known: propagation status and conflict, graph and table
 * operations, continuous values, decisions, files, settings and attributes.
 * (FamiliesTest, ClassTest and FaultTest reach the others through the API.)
 */
public final class NativesTest {
  private NativesTest() {}

  static final int SUM = 11, MAX = 12, NORMAL = 20, FAST = 21;

  /** A null-terminated engine list of the handles; the caller deletes it. */
  static long list(long... handles) {
    long l = N.orvNewList(handles.length + 1);
    for (int i = 0; i < handles.length; i++) N.orvListSetItem(l, i, handles[i]);
    N.orvListSetItem(l, handles.length, 0);
    return l;
  }

  /** A new model of node over the model nodes. */
  static long newModel(long node, long... modelNodes) {
    long l = list(modelNodes);
    long model = N.orvNodeNewModel(node, l);
    N.orvListDelete(l);
    return model;
  }

  static List<Long> items(long list) {
    List<Long> out = new ArrayList<>();
    for (long i = 0; list != 0 && N.orvListGetItem(list, i) != 0; i++) out.add(N.orvListGetItem(list, i));
    return out;
  }

  /** Rain -> Wet, Wet = yes: P(e) = 0.26, P(Rain = yes | e) = 0.18 / 0.26. */
  public static void testPropagationStatusAndConflict() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer, wet = d.getNodeByName("Wet").nodePeer;
      rows("not triangulated", false, N.orvDomainIsTriangulated(h), "by clique size", 0, N.orvDomainTriangulate(h, 15),
          "triangulated", true, N.orvDomainIsTriangulated(h),
          "both nodes eliminated", 2, items(N.orvDomainGetEliminationOrder(h)).size());
      d.compile();
      long jt = N.orvDomainGetFirstJunctionTree(h);
      double p = 0.18 / 0.26;
      rows("initial equilibrium kept", 0, N.orvDomainSaveToMemory(h), "Wet = yes", 0, N.orvNodeSelectState(wet, 0),
          "domain to propagate", true, N.orvDomainEvidenceToPropagate(h), "tree", true, N.orvJTEvidenceToPropagate(jt),
          "node", true, N.orvNodeEvidenceToPropagate(wet), "entered finding", 0.0, N.orvNodeGetEnteredFinding(wet, 1),
          "tree propagation", 0, N.orvJTPropagate(jt, SUM, NORMAL), "propagated", true, N.orvDomainEvidenceIsPropagated(h),
          "tree", true, N.orvJTEvidenceIsPropagated(jt), "node", true, N.orvNodeEvidenceIsPropagated(wet),
          "nothing left", false, N.orvDomainEvidenceToPropagate(h),
          "no likelihood", false, N.orvDomainLikelihoodIsPropagated(h), "tree", false, N.orvJTLikelihoodIsPropagated(jt),
          "node", false, N.orvNodeLikelihoodIsPropagated(wet), "entered", false, N.orvNodeLikelihoodIsEntered(wet),
          "no CG evidence", false, N.orvDomainCGEvidenceIsPropagated(h), "tree", false, N.orvJTCGEvidenceIsPropagated(jt),
          "sum", true, N.orvDomainEquilibriumIs(h, SUM), "not max", false, N.orvDomainEquilibriumIs(h, MAX),
          "tree sum", true, N.orvJTEquilibriumIs(jt, SUM), "normal", true, N.orvDomainEvidenceModeIs(h, NORMAL),
          "not fast", false, N.orvDomainEvidenceModeIs(h, FAST), "tree normal", true, N.orvJTEvidenceModeIs(jt, NORMAL),
          "no table changed", false, N.orvDomainTablesToPropagate(h), "tree", false, N.orvJTTablesToPropagate(jt),
          "propagated state", 0L, N.orvNodeGetPropagatedState(wet), "finding", 1.0, N.orvNodeGetPropagatedFinding(wet, 0),
          "entropy of Rain", -p * Math.log(p) - (1 - p) * Math.log(1 - p), N.orvNodeGetEntropy(rain),
          "an observed node has no entropy", 0.0, N.orvNodeGetEntropy(wet));
      long clique = N.orvNodeGetConflictClique(wet);
      double conflict = N.orvDomainGetConflict(h);
      rows("the conflict clique's tree", jt, N.orvCliqueGetJunctionTree(clique), "tree conflict", conflict,
          N.orvJTGetConflict(jt), "clique conflict", conflict, N.orvCliqueGetConflict(clique),
          "clique propagation", 0, N.orvCliquePropagate(clique, SUM, NORMAL));

      rows("nothing shared with an observed node", 0.0, N.orvNodeGetMutualInformation(rain, wet),
          "no CG data", 0L, N.orvJTGetTotalCGSize(jt), "initialize", 0, N.orvDomainInitialize(h),
          "findings retracted", false, N.orvNodeEvidenceIsEntered(wet));
      d.propagate();
      rows("prior again", 0.2, N.orvNodeGetBelief(rain, 0), "reset", 0, N.orvDomainResetInferenceEngine(h));
    }
  }

  /** Graph queries and edits, and table operations, on Rain -> Wet. */
  public static void testGraphAndTableOperations() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer, wet = d.getNodeByName("Wet").nodePeer;
      long wetTable = N.orvNodeGetTable(wet), order = list(wet, rain);
      long[] configuration = new long[2];
      rows("the node, then its ancestors", List.of(wet, rain), items(N.orvNodeGetAncestors(wet)),
          "the node, then its descendants", List.of(rain, wet), items(N.orvNodeGetDescendants(rain)),
          "a chance node has a table", true, N.orvNodeHasTable(rain),
          "configuration of index 2", 0, N.orvTableGetConfigurationFromIndex(wetTable, configuration, 2),
          "(Rain = no, Wet = yes)", List.of(1L, 0L), List.of(configuration[0], configuration[1]),
          "and back", 2L, N.orvTableGetIndexFromConfiguration(wetTable, configuration),
          "a node's own table keeps its owner last", 1, N.orvTableReorderNodes(wetTable, order),
          "a marginal needs nodes", 0L, N.orvDomainGetMarginal(h, 0), "usage", 1, N.orvErrorCode());
      d.compile();
      d.propagate();
      long joint = N.orvDomainGetMarginal(h, order), prior = N.orvNodeGetTable(rain);
      N.orvListDelete(order);
      rows("reorder a marginal", 0, N.orvTableReorderNodes(joint, N.orvTableGetNodes(wetTable)),
          "reordered", List.of(rain, wet), items(N.orvTableGetNodes(joint)),
          "P(Rain = no, Wet = yes)", 0.8 * 0.1, N.orvTableGetDataItem(joint, 2),
          "prior from joint", 0, N.orvTableUpdate(prior, joint), "P(Rain = yes)", 0.2, N.orvTableGetDataItem(prior, 0),
          "multiply", 0, N.orvTableMultiply(joint, prior), "multiplied", 0.18 * 0.2, N.orvTableGetDataItem(joint, 0),
          "and divided again", 0, N.orvTableDivide(joint, prior), "divided", 0.18, N.orvTableGetDataItem(joint, 0),
          "delete", 0, N.orvTableDelete(joint), "the prior was touched", true, N.orvDomainTablesToPropagate(h));
      d.uncompile();

      rows("reverse", 0, N.orvNodeReverseEdge(rain, wet), "reversed", List.of(wet), items(N.orvNodeGetParents(rain)));
      d.compile();
      equal(List.of(wet), items(N.orvNodeGetMoralNeighbors(rain)), "moral neighbours");
      d.uncompile();

      long clone = N.orvNodeClone(rain), wt = N.orvNodeGetTable(wet);
      rows("the clone has the same parents", List.of(wet), items(N.orvNodeGetParents(clone)),
          "switch", 0, N.orvNodeSwitchParent(clone, wet, rain), "switched", List.of(rain), items(N.orvNodeGetParents(clone)),
          "the clone becomes a labelled decision", 0, N.orvNodeSetDiscreteType(clone, Node.DECISION, 30),
          "category", Node.DECISION, N.orvNodeGetCategory(clone), "one decision", 1L, N.orvDomainGetNumberOfDecisionNodes(h),
          "no utility", 0L, N.orvDomainGetNumberOfUtilityNodes(h), "no instance", 0L, N.orvDomainGetNumberOfInstanceNodes(h),
          "uniform", 0, N.orvTableSetAllDataItems(wt, 0.5), "every entry", 0.5, N.orvTableGetDataItem(wt, 1));
    }
  }

  /**
   * A conditional Gaussian X | R, with X = 1 + 2 Y + e: alpha, CG sizes, the
   * mixture marginal and its interval mass, a propagated value. (FamiliesTest
   * reads beta, gamma, entered and case values through the Java API.)
   */
  public static void testContinuousNodes() {
    String text = "net {} node R { states = (\"a\" \"b\"); } continuous node Y {} continuous node X {} "
        + "potential (R) { data = (0.25 0.75); } potential (Y) { data = normal (0, 1); } "
        + "potential (X | R Y) { data = (normal (1 + 2 * Y, 1) normal (3, 4)); }";
    try (Domain d = Domain.parse(text)) {
      long h = d.modelPeer, x = d.getNodeByName("X").nodePeer, y = d.getNodeByName("Y").nodePeer;
      rows("alpha", 1.0, N.orvNodeGetAlpha(x, 0), "set alpha", 0, N.orvNodeSetAlpha(x, 2.0, 0),
          "beta on Y", 2.0, N.orvNodeGetBeta(x, y, 0));
      long cg = N.orvTableGetCGSize(N.orvNodeGetTable(x));
      check(cg > 2 && cg % 2 == 0, "a CG block per configuration of R");
      d.compile();
      d.propagate();
      long mixture = N.orvNodeGetDistribution(x);
      rows("weight of R = a", 0.25, N.orvTableGetDataItem(mixture, 0), "mean given a", 2.0, N.orvTableGetMean(mixture, 0, x),
          "variance given a: 2^2 Var(Y) + gamma", 4.0 + 1.0, N.orvTableGetVariance(mixture, 0, x),
          "covariance given b", 4.0, N.orvTableGetCovariance(mixture, 1, x, x),
          "all the mass", 1.0, N.orvTableComputeProbabilityOfInterval(mixture, -Double.MAX_VALUE, Double.MAX_VALUE),
          "reversed bounds", -1.0, N.orvTableComputeProbabilityOfInterval(mixture, 1, 0),
          "delete the mixture", 0, N.orvTableDelete(mixture),
          "CG data in the tree", true, N.orvJTGetTotalCGSize(N.orvDomainGetFirstJunctionTree(h)) > 0,
          "X = 3", 0, N.orvNodeEnterValue(x, 3.0));
      d.propagate();
      rows("propagated value", 3.0, N.orvNodeGetPropagatedValue(x),
          "CG evidence propagated", true, N.orvDomainCGEvidenceIsPropagated(h));
    }
  }

  /**
   * An influence diagram: S (0.7 good), an observation O of it, a decision D
   * with O and an irrelevant R as parents, U(D, S) = 10, -5 for go, 0 for
   * stay. The best policy goes when O is good: expected utility 6. The
   * utilities per row of D come back in Java arrays, checked for length.
   */
  public static void testDecisions() {
    String text = "net {} node S { states = (\"good\" \"bad\"); } node O { states = (\"good\" \"bad\"); } "
        + "node R { states = (\"a\" \"b\"); } decision D { states = (\"go\" \"stay\"); } utility U {} "
        + "potential (S) { data = (0.7 0.3); } potential (O | S) { data = ((0.9 0.1) (0.2 0.8)); } "
        + "potential (R) { data = (0.5 0.5); } potential (D | O R) {} "
        + "potential (U | D S) { data = ((10 -5) (0 0)); }";
    try (Domain d = Domain.parse(text)) {
      long h = d.modelPeer, dn = d.getNodeByName("D").nodePeer, u = d.getNodeByName("U").nodePeer;
      rows("decisions", 1L, N.orvDomainGetNumberOfDecisionNodes(h), "utilities", 1L, N.orvDomainGetNumberOfUtilityNodes(h));
      d.compile();
      double[] utilities = new double[8], probabilities = new double[4];
      rows("per row", 0, N.orvNodeGetDecisionUtilities(dn, utilities, probabilities),
          "O = good, R = a: go", (0.63 * 10 - 0.06 * 5) / 0.69, utilities[0], "stay", 0.0, utilities[1],
          "O = bad, R = b: go", (0.07 * 10 - 0.24 * 5) / 0.31, utilities[6], "P(O = bad, R = b)", 0.31 * 0.5, probabilities[3],
          "without row probabilities", 0, N.orvNodeGetDecisionUtilities(dn, utilities, null),
          "short array", 1, N.orvNodeGetDecisionUtilities(dn, new double[7], probabilities),
          "chance node", 1, N.orvNodeGetDecisionUtilities(d.getNodeByName("S").nodePeer, utilities, probabilities));
      d.propagate();
      rows("update policies", 0, N.orvDomainUpdatePolicies(h), "maximal EU", 6.0, N.orvDomainGetExpectedUtility(h),
          "min utility", -5.0, N.orvNodeGetMinUtility(u), "max utility", 10.0, N.orvNodeGetMaxUtility(u),
          "variance of utility", 0.63 * 100 + 0.06 * 25 - 36, N.orvNodeGetVarianceOfUtility(u));
    }
  }

  /**
   * Fading tables, triangulation orders, the case, cases, log
   * and node-list files, and random deviates. (FamiliesTest learns from cases.)
   */
  public static void testLearningAndFiles() throws Exception {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer, wet = d.getNodeByName("Wet").nodePeer;
      long ds = N.orvParseDataSet(false, "Rain,Wet\nyes,yes\nno,no\nno,yes\nno,no\n", ',', null);
      rows("parsed from text", null, N.orvDomainGetFileName(h), "cases from data", 0, N.orvDomainAddCases(h, ds, 0, 4));
      N.orvDSDelete(ds);
      rows("no fading table yet", false, N.orvNodeHasFadingTable(wet),
          "made on request", true, N.orvNodeGetFadingTable(wet) != 0, "now held", true, N.orvNodeHasFadingTable(wet));
      long order = list(rain, wet);
      rows("initial triangulation", 0, N.orvDomainSetInitialTriangulation(h, order),
          "triangulate with an order", 0, N.orvDomainTriangulateWithOrder(h, order));
      N.orvListDelete(order);
      java.nio.file.Path dir = java.nio.file.Files.createTempDirectory("orvel");
      String cases = dir.resolve("cases").toString(), log = dir.resolve("log").toString();
      d.saveCases(cases, FamiliesTest.nodes(d, "Rain", "Wet"), new long[] {1, 2}, true, ",", "*");
      equal("#,Rain,Wet\n\n1,\"no\",\"no\"\n1,\"no\",\"yes\"\n", java.nio.file.Files.readString(java.nio.file.Path.of(cases)),
          "names, then cases 1 and 2 with their counts");
      d.setLogFile(log);
      d.compile();
      d.propagate();
      rows("report all", 0, N.orvDomainReportBeliefs(h), "report one", 0, N.orvNodeReportBeliefs(rain));
      d.setLogFile(null);
      String written = java.nio.file.Files.readString(java.nio.file.Path.of(log));
      rows("the compilation and the beliefs in the log", true, written.contains("potentials") && written.contains("Wet:"),
          "Rain = yes", 0, N.orvNodeSelectState(rain, 0));
      String caseFile = dir.resolve("case").toString();
      equal(0, N.orvDomainSaveCase(h, caseFile), "save the case");
      check(java.nio.file.Files.readString(java.nio.file.Path.of(caseFile)).contains("Rain"), "the finding written");
      java.nio.file.Path names = dir.resolve("nodes");
      java.nio.file.Files.writeString(names, "Wet Rain\n");
      long read = N.orvDomainParseNodes(h, names.toString(), null);
      equal(List.of(wet, rain), items(read), "node list read");
      N.orvListDelete(read);
      String net = dir.resolve("rain.net").toString();
      d.saveAsNet(net);
      rows("the file saved to", net, N.orvDomainGetFileName(h), "seed", 0, N.orvDomainSeedRandom(h, 7));
      double first = N.orvDomainGetUniformDeviate(h);
      check(first >= 0 && first < 1 && !Double.isNaN(N.orvDomainGetNormalDeviate(h, 0, 1)), "deviates");
      N.orvDomainSeedRandom(h, 7);
      equal(first, N.orvDomainGetUniformDeviate(h), "the same seed repeats");
      for (String f : new String[] {"cases", "log", "case", "nodes", "rain.net"}) java.nio.file.Files.delete(dir.resolve(f));
      java.nio.file.Files.delete(dir);
    }
  }

  static Map<String, String> attributes(long first) {
    Map<String, String> out = new LinkedHashMap<>();
    for (long a = first; a != 0; a = N.orvAttributeGetNext(a)) out.put(N.orvAttributeGetKey(a), N.orvAttributeGetValue(a));
    return out;
  }

  /**
   * Each setter's value reads back, a zero level is refused and changes
   * nothing; attributes of domains and nodes, read singly and along the chain.
   */
  public static void testSettingsAndAttributesReadBack() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer;
      rows("concurrency", 0, N.orvDomainSetConcurrencyLevel(h, 3), "read back", 3L, N.orvDomainGetConcurrencyLevel(h),
          "grain", 0, N.orvDomainSetGrainSize(h, 4096), "read back", 4096L, N.orvDomainGetGrainSize(h),
          "EM concurrency", 0, N.orvDomainSetEMConcurrencyLevel(h, 2), "read back", 2L, N.orvDomainGetEMConcurrencyLevel(h),
          "EM iterations", 0, N.orvDomainSetMaxNumberOfEMIterations(h, 7),
          "read back", 7L, N.orvDomainGetMaxNumberOfEMIterations(h),
          "separators", 0, N.orvDomainSetMaxNumberOfSeparators(h, 11),
          "read back", 11L, N.orvDomainGetMaxNumberOfSeparators(h),
          "separator size", 0, N.orvDomainSetMaxSeparatorSize(h, 13), "read back", 13L, N.orvDomainGetMaxSeparatorSize(h),
          "level 0 is usage", 1, N.orvDomainSetConcurrencyLevel(h, 0), "level kept", 3L, N.orvDomainGetConcurrencyLevel(h),
          "tolerance", 0, N.orvDomainSetLogLikelihoodTolerance(h, 1e-3),
          "tolerance read back", 1e-3, N.orvDomainGetLogLikelihoodTolerance(h),
          "chance nodes", 2L, N.orvDomainGetNumberOfChanceNodes(h));
      rows("set", 0, N.orvDomainSetAttribute(h, "author", "me"),
          "set non-ASCII", 0, N.orvDomainSetAttribute(h, "note", "é ü"), "read", "é ü", N.orvDomainGetAttribute(h, "note"),
          "domain chain", Map.of("author", "me", "note", "é ü"), attributes(N.orvDomainGetFirstAttribute(h)),
          "node attribute", 0, N.orvNodeSetAttribute(rain, "k", "v"),
          "node chain", Map.of("k", "v"), attributes(N.orvNodeGetFirstAttribute(rain)),
          "absent key", null, N.orvNodeGetAttribute(rain, "absent"),
          "null key is usage", 1, N.orvNodeSetAttribute(rain, null, "v"));
    }
  }
}
