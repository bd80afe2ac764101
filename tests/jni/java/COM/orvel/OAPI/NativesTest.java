package COM.orvel.OAPI;

import static COM.orvel.OAPI.BindingTest.N;
import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.near;

import java.util.ArrayList;
import java.util.List;

/**
 * Natives the Java API does not reach, each called with arguments whose
 * result is known: propagation status, conflict and marginals, graph and
 * table operations, expressions and models, numbered and continuous values.
 */
public final class NativesTest {
  private NativesTest() {}

  /** A Java object for a model. */
  static final class ModelPeer {
    long modelPeer;
  }

  static final int SUM = 11, MAX = 12, NORMAL = 20, FAST = 21;

  /** A null-terminated engine list of the handles; the caller deletes it. */
  static long list(long... handles) {
    long l = N.orvNewList(handles.length + 1);
    for (int i = 0; i < handles.length; i++) N.orvListSetItem(l, i, handles[i]);
    N.orvListSetItem(l, handles.length, 0);
    return l;
  }

  static List<Long> items(long list) {
    List<Long> out = new ArrayList<>();
    for (long i = 0; list != 0 && N.orvListGetItem(list, i) != 0; i++) out.add(N.orvListGetItem(list, i));
    return out;
  }

  /** Rain -> Wet, Wet = yes: P(e) = 0.26, P(Rain = yes | e) = 0.18 / 0.26. */
  public static void testPropagationStatusConflictAndMarginals() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer, wet = d.getNodeByName("Wet").nodePeer;
      check(!N.orvDomainIsTriangulated(h), "not triangulated");
      equal(0, N.orvDomainTriangulate(h, 15), "triangulate by clique size");
      check(N.orvDomainIsTriangulated(h), "triangulated");
      equal(2, items(N.orvDomainGetEliminationOrder(h)).size(), "both nodes eliminated");
      d.compile();
      equal(0, N.orvDomainSaveToMemory(h), "initial equilibrium kept");
      long jt = N.orvDomainGetFirstJunctionTree(h);
      equal(0, N.orvNodeSelectState(wet, 0), "Wet = yes");
      check(N.orvDomainEvidenceToPropagate(h) && N.orvJTEvidenceToPropagate(jt) && N.orvNodeEvidenceToPropagate(wet),
          "evidence to propagate");
      equal(0.0, N.orvNodeGetEnteredFinding(wet, 1), "entered finding");
      equal(0, N.orvJTPropagate(jt, SUM, NORMAL), "tree propagation");
      check(N.orvDomainEvidenceIsPropagated(h) && N.orvJTEvidenceIsPropagated(jt) && N.orvNodeEvidenceIsPropagated(wet)
          && !N.orvDomainEvidenceToPropagate(h), "propagated");
      check(!N.orvDomainLikelihoodIsPropagated(h) && !N.orvJTLikelihoodIsPropagated(jt)
          && !N.orvNodeLikelihoodIsPropagated(wet) && !N.orvNodeLikelihoodIsEntered(wet), "no likelihood");
      check(!N.orvDomainCGEvidenceIsPropagated(h) && !N.orvJTCGEvidenceIsPropagated(jt), "no CG evidence");
      check(N.orvDomainEquilibriumIs(h, SUM) && !N.orvDomainEquilibriumIs(h, MAX) && N.orvJTEquilibriumIs(jt, SUM),
          "sum equilibrium");
      check(N.orvDomainEvidenceModeIs(h, NORMAL) && !N.orvDomainEvidenceModeIs(h, FAST)
          && N.orvJTEvidenceModeIs(jt, NORMAL), "normal mode");
      check(!N.orvDomainTablesToPropagate(h) && !N.orvJTTablesToPropagate(jt), "no table changed");
      equal(0L, N.orvNodeGetPropagatedState(wet), "propagated state");
      equal(1.0, N.orvNodeGetPropagatedFinding(wet, 0), "propagated finding");
      double p = 0.18 / 0.26;
      near(-p * Math.log(p) - (1 - p) * Math.log(1 - p), N.orvNodeGetEntropy(rain), "entropy of Rain");
      near(0.0, N.orvNodeGetEntropy(wet), "an observed node has no entropy");
      long clique = N.orvNodeGetConflictClique(wet);
      equal(jt, N.orvCliqueGetJunctionTree(clique), "the conflict clique's tree");
      double conflict = N.orvDomainGetConflict(h);
      check(conflict == N.orvJTGetConflict(jt) && conflict == N.orvCliqueGetConflict(clique), "one tree, one conflict");
      equal(0, N.orvCliquePropagate(clique, SUM, NORMAL), "clique propagation");

      long nodes = list(rain, wet), only = list(rain);
      long joint = N.orvDomainGetMarginal(h, nodes);
      double[] expected = {p, 0, 1 - p, 0};
      for (int i = 0; i < 4; i++) near(expected[i], N.orvTableGetDataItem(joint, i), "P(Rain, Wet | e) " + i);
      long rainOnly = N.orvTableGetMarginal(joint, only);
      near(p, N.orvTableGetDataItem(rainOnly, 0), "marginal of the marginal");
      near(0.0, N.orvNodeGetMutualInformation(rain, wet), "nothing shared with an observed node");
      equal(0, N.orvTableDelete(rainOnly), "delete");
      equal(0, N.orvTableDelete(joint), "delete");
      N.orvListDelete(nodes);
      N.orvListDelete(only);
      equal(0L, N.orvJTGetTotalCGSize(jt), "no CG data");

      equal(0, N.orvDomainInitialize(h), "initialize");
      check(!N.orvNodeEvidenceIsEntered(wet), "findings retracted");
      d.propagate();
      near(0.2, N.orvNodeGetBelief(rain, 0), "prior again");
      equal(0, N.orvDomainResetInferenceEngine(h), "reset");
    }
  }

  /** Graph queries and edits, and table operations, on Rain -> Wet. */
  public static void testGraphAndTableOperations() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer, wet = d.getNodeByName("Wet").nodePeer;
      equal(List.of(wet, rain), items(N.orvNodeGetAncestors(wet)), "the node, then its ancestors");
      equal(List.of(rain, wet), items(N.orvNodeGetDescendants(rain)), "the node, then its descendants");
      check(N.orvNodeHasTable(rain), "a chance node has a table");
      long wetTable = N.orvNodeGetTable(wet);
      long[] configuration = new long[2];
      equal(0, N.orvTableGetConfigurationFromIndex(wetTable, configuration, 2), "configuration of index 2");
      equal(List.of(1L, 0L), List.of(configuration[0], configuration[1]), "(Rain = no, Wet = yes)");
      equal(2L, N.orvTableGetIndexFromConfiguration(wetTable, configuration), "and back");
      long order = list(wet, rain);
      check(N.orvTableReorderNodes(wetTable, order) == 1, "a node's own table keeps its owner last");
      check(N.orvDomainGetMarginal(h, 0) == 0 && N.orvErrorCode() == 1, "a marginal needs nodes");

      d.compile();
      d.propagate();
      long joint = N.orvDomainGetMarginal(h, order);
      N.orvListDelete(order);
      equal(0, N.orvTableReorderNodes(joint, N.orvTableGetNodes(wetTable)), "reorder a marginal");
      equal(List.of(rain, wet), items(N.orvTableGetNodes(joint)), "reordered");
      near(0.8 * 0.1, N.orvTableGetDataItem(joint, 2), "P(Rain = no, Wet = yes)");
      long prior = N.orvNodeGetTable(rain);
      equal(0, N.orvTableUpdate(prior, joint), "the prior from the joint");
      near(0.2, N.orvTableGetDataItem(prior, 0), "P(Rain = yes)");
      equal(0, N.orvTableMultiply(joint, prior), "P(Rain, Wet) P(Rain)");
      near(0.18 * 0.2, N.orvTableGetDataItem(joint, 0), "multiplied");
      equal(0, N.orvTableDivide(joint, prior), "and divided again");
      near(0.18, N.orvTableGetDataItem(joint, 0), "divided");
      equal(0, N.orvTableDelete(joint), "delete");
      check(N.orvDomainTablesToPropagate(h), "the prior was touched");
      d.uncompile();

      equal(0, N.orvNodeReverseEdge(rain, wet), "reverse");
      equal(List.of(wet), items(N.orvNodeGetParents(rain)), "Wet is Rain's parent");
      d.compile();
      equal(List.of(wet), items(N.orvNodeGetMoralNeighbors(rain)), "moral neighbours");
      d.propagate();
      near(0.2, N.orvNodeGetBelief(rain, 0), "reversal keeps the joint");
      d.uncompile();

      long clone = N.orvNodeClone(rain);
      equal(List.of(wet), items(N.orvNodeGetParents(clone)), "the clone has the same parents");
      equal(0, N.orvNodeSwitchParent(clone, wet, rain), "switch parent");
      equal(List.of(rain), items(N.orvNodeGetParents(clone)), "switched");
      equal(0, N.orvNodeSetDiscreteType(clone, Node.DECISION, 30), "the clone becomes a labelled decision");
      equal(Node.DECISION, N.orvNodeGetCategory(clone), "category");
      equal(1L, N.orvDomainGetNumberOfDecisionNodes(h), "one decision");
      equal(0L, N.orvDomainGetNumberOfUtilityNodes(h), "no utility");
      equal(0L, N.orvDomainGetNumberOfInstanceNodes(h), "no instance");
      equal(0, N.orvTableSetAllDataItems(N.orvNodeGetTable(wet), 0.5), "uniform");
      equal(0.5, N.orvTableGetDataItem(N.orvNodeGetTable(wet), 1), "every entry");
    }
  }

  /** Leaves and a composite, a model holding copies, and the table generated from it. */
  public static void testExpressionsAndModels() {
    try (Domain d = BindingTest.rain()) {
      long rain = d.getNodeByName("Rain").nodePeer, wet = d.getNodeByName("Wet").nodePeer;
      long node = N.orvNodeMakeExpression(rain), label = N.orvLabelMakeExpression("yes");
      equal(rain, N.orvExpressionGetNode(node), "node leaf");
      equal("yes", N.orvExpressionGetLabel(label), "label leaf");
      long truth = N.orvBooleanMakeExpression(true);
      check(N.orvExpressionGetBoolean(truth), "boolean leaf");
      equal(0, N.orvExpressionDelete(truth), "delete a leaf");
      long operands = list(node, label);
      long equals = N.orvMakeCompositeExpression(108, operands);
      N.orvListDelete(operands);
      check(N.orvExpressionIsComposite(equals), "composite");
      equal(List.of(node, label), items(N.orvExpressionGetOperands(equals)), "the operands are shared");

      long parents = list(rain);
      long model = N.orvNodeNewModel(wet, parents);
      N.orvListDelete(parents);
      equal(List.of(rain), items(N.orvModelGetNodes(model)), "model nodes");
      equal(2L, N.orvModelGetSize(model), "one expression per state of Rain");
      equal(0, N.orvModelSetExpressionFromString(model, 0, "Distribution (0.7, 0.3)", null), "parsed");
      long stored = N.orvModelGetExpression(model, 0);
      equal(0, N.orvModelSetExpression(model, 1, stored), "a copy at index 1");
      check(N.orvModelGetExpression(model, 1) != stored, "the model keeps its own copy");
      equal(N.orvExpressionToString(stored), N.orvExpressionToString(N.orvModelGetExpression(model, 1)), "same text");
      equal(0, N.orvModelSetNumberOfSamplesPerInterval(model, 7), "samples");
      equal(7L, N.orvModelGetNumberOfSamplesPerInterval(model), "samples read back");
      equal(0, N.orvNodeGenerateTable(wet), "generate");
      near(0.3, N.orvTableGetDataItem(N.orvNodeGetTable(wet), 3), "P(Wet = no | Rain = no)");
      ModelPeer peer = new ModelPeer();
      peer.modelPeer = model;
      equal(0, N.orvModelSetBackpointer(model, peer), "model peer");
      check(N.orvModelGetBackpointer(model) == peer && N.orvNodeGetHomeBackpointer(wet) == d, "backpointers");
      equal(0, N.orvModelDelete(model), "delete the model");
      equal(0L, peer.modelPeer, "the model's peer is zeroed");
      equal(0L, N.orvNodeGetModel(wet), "no model");
      equal(0, N.orvExpressionDelete(equals), "deleting the composite frees its operands");
    }
  }

  /**
   * A conditional Gaussian X | R, with X = 1 + 2 Y + e: the CG setters and
   * getters, entered and propagated values, case values, the mixture marginal.
   */
  public static void testContinuousNodes() {
    String text = "net {} node R { states = (\"a\" \"b\"); } continuous node Y {} continuous node X {} "
        + "potential (R) { data = (0.25 0.75); } potential (Y) { data = normal (0, 1); } "
        + "potential (X | R Y) { data = (normal (1 + 2 * Y, 1) normal (3, 4)); }";
    try (Domain d = Domain.parse(text)) {
      long h = d.modelPeer, r = d.getNodeByName("R").nodePeer, x = d.getNodeByName("X").nodePeer;
      long y = d.getNodeByName("Y").nodePeer;
      equal(1.0, N.orvNodeGetAlpha(x, 0), "alpha");
      equal(2.0, N.orvNodeGetBeta(x, y, 0), "beta");
      equal(4.0, N.orvNodeGetGamma(x, 1), "gamma");
      equal(0, N.orvNodeSetAlpha(x, 2.0, 0), "set alpha");
      equal(0, N.orvNodeSetBeta(x, 0.0, y, 1), "set beta");
      equal(0, N.orvNodeSetGamma(x, 2.0, 0), "set gamma");
      equal(2.0, N.orvNodeGetGamma(x, 0), "gamma read back");
      long cg = N.orvTableGetCGSize(N.orvNodeGetTable(x));
      check(cg > 2 && cg % 2 == 0, "a CG block per configuration of R");
      d.compile();
      d.propagate();
      long mixture = N.orvNodeGetDistribution(x);
      near(0.25, N.orvTableGetDataItem(mixture, 0), "weight of R = a");
      near(2.0, N.orvTableGetMean(mixture, 0, x), "mean given a");
      near(4.0 + 2.0, N.orvTableGetVariance(mixture, 0, x), "variance given a: 2^2 Var(Y) + gamma");
      near(4.0, N.orvTableGetCovariance(mixture, 1, x, x), "covariance given b");
      equal(0, N.orvTableDelete(mixture), "delete the mixture");
      check(N.orvJTGetTotalCGSize(N.orvDomainGetFirstJunctionTree(h)) > 0, "CG data in the tree");

      equal(0, N.orvNodeEnterValue(x, 3.0), "X = 3");
      equal(3.0, N.orvNodeGetEnteredValue(x), "entered value");
      d.propagate();
      equal(3.0, N.orvNodeGetPropagatedValue(x), "propagated value");
      check(N.orvDomainCGEvidenceIsPropagated(h), "CG evidence propagated");
      equal(3.0, N.orvNodeGetMean(x), "an observed node's mean is its value");

      equal(0, N.orvDomainSetNumberOfCases(h, 2), "cases");
      equal(0, N.orvNodeSetCaseValue(x, 1, 2.5), "case value");
      equal(2.5, N.orvNodeGetCaseValue(x, 1), "case value read back");
      equal(0, N.orvNodeSetCaseState(r, 0, 1), "case state");
      equal(1L, N.orvNodeGetCaseState(r, 0), "case state read back");
      equal(-1L, N.orvNodeGetCaseState(r, 1), "unset");
    }
  }

  /** A numbered node's state values, and a function node's value. */
  public static void testStateValuesAndFunctionValue() {
    try (Domain d = new Domain()) {
      long h = d.modelPeer;
      Node count = d.newNode(Node.CHANCE, Node.DISCRETE);
      long c = count.nodePeer;
      count.setName("C");
      equal(0, N.orvNodeSetDiscreteType(c, Node.CHANCE, 32), "numbered");
      equal(0, N.orvNodeSetNumberOfStates(c, 3), "three states");
      for (int i = 0; i < 3; i++) equal(0, N.orvNodeSetStateValue(c, i, 10.0 * i), "value " + i);
      equal(20.0, N.orvNodeGetStateValue(c, 2), "state value");
      equal(1L, N.orvNodeGetStateIndexFromValue(c, 10.0), "state of 10");
      equal(-1L, N.orvNodeGetStateIndexFromValue(c, 15.0), "no state of 15");
      equal(0, N.orvTableSetData(N.orvNodeGetTable(c), new double[] {0.5, 0.25, 0.25}, 0, 3), "P(C)");
      long f = d.newNode(Node.FUNCTION, Node.OTHER).nodePeer;
      equal(0, N.orvNodeAddParent(f, c), "C -> F");
      long none = list();
      long model = N.orvNodeNewModel(f, none);
      N.orvListDelete(none);
      equal(0, N.orvModelSetExpressionFromString(model, 0, "2 * variance (C)", null), "F = 2 Var C");
      d.compile();
      d.propagate();
      near(2 * (0.25 * 100 + 0.25 * 400 - 7.5 * 7.5), N.orvNodeGetValue(f), "the function's value");
      equal(0L, N.orvDomainGetNumberOfUtilityNodes(h), "no utility node");
    }
  }

  /** Data-set columns: content tests, statistics, forecast errors, edits, sorting and saving. */
  public static void testDataSetStatisticsAndEdits() throws Exception {
    long ds = N.orvParseDataSet(false, "a,f,k\n2,1,x\n4,4,x\n6,9,y\n8,8,y\n", ',', null);
    check(N.orvDSColumnDataAreNumbers(ds, 0) && !N.orvDSColumnDataAreNumbers(ds, 2)
        && !N.orvDSColumnDataAreIntervals(ds, 0) && !N.orvDSColumnIsEmpty(ds, 2), "column content");
    near(20.0 / 3.0, N.orvDSComputeVariance(ds, 0), "sample variance");
    near(0.0, N.orvDSComputeSkewness(ds, 0), "symmetric");
    near(41.0 / 25.0 - 3.0, N.orvDSComputeKurtosis(ds, 0), "excess kurtosis");
    near(1.0, N.orvDSComputeMeanAbsoluteError(ds, 0, 1), "MAE");
    near(25.0, N.orvDSComputeMeanAbsolutePercentageError(ds, 0, 1), "MAPE");
    near(0.5, N.orvDSComputeMeanAbsoluteScaledError(ds, 0, 1, 1), "MASE");
    equal(2L, N.orvDSCountData(ds, 2, "x"), "count");
    double[] cuts = N.orvDSComputeIEMIntervals(ds, 0, 2);
    check(cuts.length >= 2 && cuts[0] < cuts[cuts.length - 1], "supervised boundaries");
    equal(3L, N.orvDSCopyColumn(ds, 2, "k2"), "copy");
    equal(2L, N.orvDSReplaceValues(ds, 3, "x", "z"), "replaced");
    equal(0, N.orvDSMoveColumn(ds, 3, 0), "move column");
    equal("k2", N.orvDSGetColumnName(ds, 0), "moved first");
    equal(0, N.orvDSDeleteColumn(ds, 0), "delete column");
    equal(3L, N.orvDSGetNumberOfColumns(ds), "three columns");
    equal(0, N.orvDSSortRows(ds, 2, 0), "descending by k, stable");
    equal("6", N.orvDSGetDataItem(ds, 0, 0), "first row");
    equal(0, N.orvDSMoveRow(ds, 3, 0), "move the last row first");
    equal("4", N.orvDSGetDataItem(ds, 0, 0), "moved");
    equal(0, N.orvDSShiftColumnData(ds, 1, 1), "shift f down");
    equal(null, N.orvDSGetDataItem(ds, 0, 1), "vacated cell");
    java.nio.file.Path file = java.nio.file.Files.createTempFile("orvel", ".csv");
    equal(0, N.orvDSSave(ds, file.toString(), ';'), "save");
    equal(N.orvDSToCSVString(ds, ';'), java.nio.file.Files.readString(file), "the file holds the text");
    java.nio.file.Files.delete(file);
    equal(0, N.orvDSDelete(ds), "delete");
  }

  /**
   * An influence diagram: S (0.7 good), an observation O of it, a decision D
   * with O and an irrelevant R as parents, U(D, S) = 10, -5 for go, 0 for
   * stay. The best policy goes when O is good: expected utility 6.
   */
  public static void testDecisions() {
    String text = "net {} node S { states = (\"good\" \"bad\"); } node O { states = (\"good\" \"bad\"); } "
        + "node R { states = (\"a\" \"b\"); } decision D { states = (\"go\" \"stay\"); } utility U {} "
        + "potential (S) { data = (0.7 0.3); } potential (O | S) { data = ((0.9 0.1) (0.2 0.8)); } "
        + "potential (R) { data = (0.5 0.5); } potential (D | O R) {} "
        + "potential (U | D S) { data = ((10 -5) (0 0)); }";
    try (Domain d = Domain.parse(text)) {
      long h = d.modelPeer, dn = d.getNodeByName("D").nodePeer, u = d.getNodeByName("U").nodePeer;
      long o = d.getNodeByName("O").nodePeer, r = d.getNodeByName("R").nodePeer;
      equal(List.of(o), items(N.orvNodeGetRequisiteParents(dn)), "R is not requisite");
      List<Long> ancestors = items(N.orvNodeGetRequisiteAncestors(dn));
      check(ancestors.contains(o) && !ancestors.contains(r), "requisite ancestors");
      equal(1L, N.orvDomainGetNumberOfDecisionNodes(h), "decisions");
      equal(1L, N.orvDomainGetNumberOfUtilityNodes(h), "utilities");
      d.compile();
      equal(List.of(dn), items(N.orvDomainGetDecisionOrder(h)), "decision order");
      d.propagate();
      equal(0, N.orvDomainUpdatePolicies(h), "update policies");
      near(6.0, N.orvDomainGetExpectedUtility(h), "maximal expected utility");
      equal(-5.0, N.orvNodeGetMinUtility(u), "min utility");
      equal(10.0, N.orvNodeGetMaxUtility(u), "max utility");
      near(0.63 * 100 + 0.06 * 25 - 36, N.orvNodeGetVarianceOfUtility(u), "variance of utility");
    }
  }

  /** Cases from a data set, EM on complete data, fit scores, and the case, log and node-list files. */
  public static void testLearningAndFiles() throws Exception {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer, wet = d.getNodeByName("Wet").nodePeer;
      equal(null, N.orvDomainGetFileName(h), "parsed from text");
      long ds = N.orvParseDataSet(false, "Rain,Wet\nyes,yes\nno,no\nno,yes\nno,no\n", ',', null);
      equal(0, N.orvDomainAddCases(h, ds, 0, 4), "cases from the data set");
      N.orvDSDelete(ds);
      for (long n : new long[] {rain, wet}) {
        check(!N.orvNodeHasExperienceTable(n) && N.orvNodeGetExperienceTable(n) != 0 && N.orvNodeHasExperienceTable(n),
            "experience table made on request");
        check(!N.orvNodeHasFadingTable(n) && N.orvNodeGetFadingTable(n) != 0 && N.orvNodeHasFadingTable(n),
            "fading table made on request");
      }
      long order = list(rain, wet);
      equal(0, N.orvDomainSetInitialTriangulation(h, order), "initial triangulation");
      equal(0, N.orvDomainTriangulateWithOrder(h, order), "triangulate with an order");
      N.orvListDelete(order);
      d.compile();
      equal(0, N.orvDomainLearnTables(h), "EM");
      near(0.25, N.orvTableGetDataItem(N.orvNodeGetTable(rain), 0), "P(Rain = yes)");
      near(1.0 / 3.0, N.orvTableGetDataItem(N.orvNodeGetTable(wet), 2), "P(Wet = yes | Rain = no)");
      double l = N.orvDomainGetLogLikelihood(h);
      near(Math.log(0.25 * 0.5 * 0.25 * 0.5), l, "log-likelihood");
      double k = l - N.orvDomainGetAIC(h);
      check(k > 0 && k == Math.rint(k), "AIC counts free parameters");
      near(l - k / 2 * Math.log(4), N.orvDomainGetBIC(h), "BIC");

      java.nio.file.Path dir = java.nio.file.Files.createTempDirectory("orvel");
      long both = list(rain, wet);
      String cases = dir.resolve("cases").toString();
      equal(0, N.orvDomainSaveCases(h, cases, both, new long[] {1, 2}, true, ",", "*"), "save two cases");
      N.orvListDelete(both);
      equal("#,Rain,Wet\n\n1,\"no\",\"no\"\n1,\"no\",\"yes\"\n", java.nio.file.Files.readString(java.nio.file.Path.of(cases)),
          "names, then cases 1 and 2 with their counts");
      String log = dir.resolve("log").toString();
      equal(0, N.orvDomainSetLogFile(h, log), "log file");
      d.propagate();
      equal(0, N.orvDomainReportBeliefs(h), "report all");
      equal(0, N.orvNodeReportBeliefs(rain), "report one");
      equal(0, N.orvDomainSetLogFile(h, null), "log closed");
      check(java.nio.file.Files.readString(java.nio.file.Path.of(log)).contains("Wet"), "beliefs in the log");
      equal(0, N.orvNodeSelectState(rain, 0), "Rain = yes");
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
      equal(net, N.orvDomainGetFileName(h), "the file saved to");
      equal(0, N.orvDomainSeedRandom(h, 7), "seed");
      double first = N.orvDomainGetUniformDeviate(h);
      check(first >= 0 && first < 1 && !Double.isNaN(N.orvDomainGetNormalDeviate(h, 0, 1)), "deviates");
      N.orvDomainSeedRandom(h, 7);
      equal(first, N.orvDomainGetUniformDeviate(h), "the same seed repeats");
      for (String f : new String[] {"cases", "log", "case", "nodes", "rain.net"}) java.nio.file.Files.delete(dir.resolve(f));
      java.nio.file.Files.delete(dir);
    }
  }
}
