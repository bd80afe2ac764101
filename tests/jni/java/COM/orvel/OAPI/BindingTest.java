package COM.orvel.OAPI;

import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.expectError;
import static COM.orvel.OAPI.TestRunner.rows;

import COM.orvel.OAPI.Native.AbstractNativeOAPI;
import COM.orvel.OAPI.Native.NativeOAPI2;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;

/** Peers, callbacks, conversions and errors of the binding. */
public final class BindingTest {
  private BindingTest() {}

  /** The raw natives, as any Java program may use them. */
  static final AbstractNativeOAPI N = new AbstractNativeOAPI() {};

  static final String RAIN = "net {} node Rain { states = (\"yes\" \"no\"); } "
      + "node Wet { states = (\"yes\" \"no\"); } potential (Rain) { data = (0.2 0.8); } "
      + "potential (Wet | Rain) { data = ((0.9 0.1) (0.1 0.9)); }";

  static Domain rain() {
    return Domain.parse(RAIN);
  }

  /** Deleting objects zeroes their peers: nodes, tables, cliques, trees, the domain. */
  public static void testDeletedObjectsZeroTheirPeers() {
    Domain d = rain();
    Node rain = d.getNodeByName("Rain"), wet = d.getNodeByName("Wet");
    check(rain == d.getNodeByName("Rain"), "one peer per node");
    Table wetTable = wet.getTable();
    d.compile();
    List<JunctionTree> trees = d.getJunctionTrees();
    List<Clique> cliques = trees.get(0).getCliques();
    equal(1, cliques.size(), "cliques");
    check(cliques.get(0).getMembers().contains(rain), "clique members map to the same peers");
    wet.delete();
    check(wet.isDeleted() && wetTable.isDeleted(), "deleted node and its table are zeroed");
    check(trees.get(0).isDeleted() && cliques.get(0).isDeleted(), "uncompiling zeroes trees and cliques");
    check(!rain.isDeleted(), "other nodes live");
    try {
      wet.getName();
      throw new AssertionError("a deleted node refuses calls");
    } catch (IllegalStateException expected) {
      // the Java side detects the dead object
    }
    d.close();
    check(d.isClosed() && rain.isDeleted(), "closing zeroes the domain and its nodes");
    d.close();  // harmless
  }

  /** Setting a new domain backpointer zeroes the old peer's modelPeer. */
  public static void testNewDomainBackpointerZeroesTheOldPeer() {
    try (Domain d = new Domain()) {
      Domain other = Domain.of(d.modelPeer);
      check(other == d, "the backpointer finds the peer");
      Domain second = new Domain() {};
      second.close();
      second.modelPeer = d.modelPeer;
      equal(0, N.orvDomainSetBackpointer(d.modelPeer, second), "set backpointer");
      equal(0L, d.modelPeer, "old peer zeroed");
      check(N.orvDomainGetBackpointer(second.modelPeer) == second, "new peer stored");
      second.close();
      check(second.isClosed(), "the new peer is zeroed by deletion");
    }
  }

  /** Nodes made from Java, lists, tables and exceptions with codes. */
  public static void testBuildingAndErrors() {
    try (Domain d = new Domain()) {
      Node a = d.newNode(Node.CHANCE, Node.DISCRETE), b = d.newNode(Node.CHANCE, Node.DISCRETE);
      a.setName("A");
      b.setName("B");
      a.setNumberOfStates(2);
      b.setNumberOfStates(2);
      b.addParent(a);
      equal(List.of(a), b.getParents(), "parents");
      equal(List.of(b, a), d.getNodes(), "nodes newest first");
      Table t = b.getTable();
      equal(List.of(a, b), t.getNodes(), "table nodes");
      t.setData(new double[] {0.3, 0.7, 0.6, 0.4}, 0);
      a.getTable().setData(new double[] {0.5, 0.5}, 0);
      equal(2L, t.getIndex(new long[] {1, 0}), "configuration index");
      check(java.util.Arrays.equals(new double[] {0.3, 0.7, 0.6, 0.4}, t.getData()), "data round trip");
      equal(17, expectError(d::propagate, "propagate uncompiled").getCode(), "not compiled");
      equal(6, expectError(() -> a.setName("1a"), "bad name").getCode(), "invalid name");
      equal(5, expectError(() -> b.setName("A"), "taken name").getCode(), "twice");
      check(expectError(() -> b.addParent(b), "self parent") instanceof OrvelException.UsageException
            || N.orvErrorCode() != 0, "self link refused");
      d.compile();
      a.selectState(0);
      d.propagate();
      equal(0.3, b.getBelief(0), "belief");
      equal(0.5, d.getNormalizationConstant(), "P(e)");
      check(d.toNetString().contains("node A"), "NET text");
    }
  }

  /** A throwing parseError: no further calls, error jni, nothing left behind. */
  public static void testThrowingParseErrorUndoesTheParse() {
    int[] calls = {0};
    ParseListener thrower = (line, message) -> {
      calls[0]++;
      throw new IllegalArgumentException("stop at " + line);
    };
    Domain peer = new Domain() {};
    peer.close();
    try {
      N.orvNetParseDomain(peer, "net {} node A { states = (\"a\" ; } node B { states = ( ; }", thrower);
      throw new AssertionError("the exception reaches the caller");
    } catch (IllegalArgumentException expected) {
      equal(47, N.orvErrorCode(), "jni error");
    }
    equal(1, calls[0], "parseError is not called again");
    equal(0L, peer.modelPeer, "no domain");
    // A valid text with a throwing receiver parses (the receiver is never called).
    try (Domain d = Domain.parse(RAIN, thrower)) {
      equal(2, d.getNodes().size(), "parsed");
    }
    // Errors reach a listener that records them, and the parse fails with its code.
    StringBuilder seen = new StringBuilder();
    OrvelException e = expectError(() -> Domain.parse("net {} node A {", (l, m) -> seen.append(m)), "bad NET");
    check(e instanceof OrvelException.ParseException, "parse error: " + e.getCode());
    check(seen.length() > 0, "messages delivered");
  }

  /** Every parsing native: a throwing receiver is called once, reaches the caller, and sets jni. */
  public static void testEveryParserReportsAThrowingReceiver() throws Exception {
    Path cases = Files.createTempFile("orvel", ".dat");
    Files.writeString(cases, "Rain Wet\nyes maybe\n");
    try (Domain d = rain()) {
      long noNodes = N.orvNewList(1);
      N.orvListSetItem(noNodes, 0, 0);
      long model = N.orvNodeNewModel(d.getNodeByName("Wet").nodePeer, noNodes);
      N.orvListDelete(noNodes);
      check(model != 0, "model");
      java.util.Map<String, java.util.function.Consumer<ParseListener>> parsers = new java.util.LinkedHashMap<>();
      parsers.put("StringParseExpression", r -> N.orvStringParseExpression("1 +", model, r));
      parsers.put("ModelSetExpressionFromString", r -> N.orvModelSetExpressionFromString(model, 0, "(", r));
      parsers.put("DomainParseCases", r -> N.orvDomainParseCases(d.modelPeer, cases.toString(), r));
      parsers.put("DomainParseCase", r -> N.orvDomainParseCase(d.modelPeer, cases.toString(), r));
      for (var parser : parsers.entrySet()) {
        int[] calls = {0};
        try {
          parser.getValue().accept((line, message) -> {
            calls[0]++;
            throw new IllegalStateException(message);
          });
          throw new AssertionError(parser.getKey() + ": the exception reaches the caller");
        } catch (IllegalStateException expected) {
          equal(47, N.orvErrorCode(), parser.getKey() + " error");
          equal(1, calls[0], parser.getKey() + " calls");
        }
      }
    } finally {
      Files.delete(cases);
    }
  }

  /** Conversions and the special natives. */
  public static void testConversionsAndSpecialValues() {
    String plain = "no escapes";
    check(N.orvRemoveEscapeSequences(plain) == plain, "identical object without backslash");
    rows("escapes removed", "a\"b", N.orvRemoveEscapeSequences("a\\\"b"), "null", null, N.orvRemoveEscapeSequences(null),
        "is usage", 1, N.orvErrorCode(), "INFINITY is the largest finite double", Double.MAX_VALUE, N.orvINFINITY(),
        "clock", true, N.orvGetClock() >= 0, "description", true, N.orvErrorDescription(1).length() > 0);
    try (Domain d = rain()) {
      Node rain = d.getNodeByName("Rain");
      long table = N.orvNodeGetTable(rain.nodePeer), r = rain.nodePeer, h = d.modelPeer;
      double[] buffer = new double[2];
      rows("count 0 copies nothing", 0, N.orvTableGetData(table, buffer, 1, 0),
          "start at size", 1, N.orvTableGetData(table, buffer, 2, 0), "null array", 1, N.orvTableGetData(table, null, 0, 1),
          "short array", 1, N.orvTableGetData(table, new double[1], 0, 2),
          "past the end", 1, N.orvTableGetData(table, buffer, 1, 2), "whole", 0, N.orvTableGetData(table, buffer, 0, 2));
      rows("data", 0.2, buffer[0], "position", 0, N.orvNodeSetPosition(r, 12, -7), "x", 12, N.orvNodeGetXCoordinate(r),
          "y", -7, N.orvNodeGetYCoordinate(r), "node size", 0, N.orvDomainSetNodeSize(h, 40, 30),
          "width", 40L, N.orvDomainGetNodeWidth(h), "height", 30L, N.orvDomainGetNodeHeight(h),
          "width of no domain", -1L, N.orvDomainGetNodeWidth(0), "null name is usage", 1, N.orvNodeSetName(r, null),
          "reorder", 0, N.orvNodeReorderStates(r, new String[] {"no", "yes"}), "reordered", "no", rain.getStateLabel(0),
          "null order", 1, N.orvNodeReorderStates(r, null));
    }
  }

  /** A decision's per-row utilities come back in Java arrays, checked for length. */
  public static void testDecisionUtilitiesPerRow() {
    String text = "net {} node S { states = (\"a\" \"b\"); } decision D { states = (\"x\" \"y\"); } utility U { } "
        + "potential (S) { data = (0.25 0.75); } potential (D | S) { } potential (U | S D) { data = ((3 7) (5 1)); }";
    try (Domain d = Domain.parse(text)) {
      equal(0, N.orvDomainCompile(d.modelPeer), "compile");
      long decision = d.getNodeByName("D").nodePeer;
      double[] utilities = new double[4];
      double[] probabilities = new double[2];
      rows("per row", 0, N.orvNodeGetDecisionUtilities(decision, utilities, probabilities), "S = a, x", 3.0, utilities[0],
          "S = b, y", 1.0, utilities[3], "P(S = b)", 0.75, probabilities[1],
          "without row probabilities", 0, N.orvNodeGetDecisionUtilities(decision, utilities, null),
          "short array", 1, N.orvNodeGetDecisionUtilities(decision, new double[3], probabilities),
          "chance node", 1, N.orvNodeGetDecisionUtilities(d.getNodeByName("S").nodePeer, utilities, probabilities));
    }
  }

  /** Structure learning through the natives: constraints, level, the learned link. */
  public static void testStructureLearning() {
    try (Domain d = new Domain()) {
      Node a = d.newNode(Node.CHANCE, Node.DISCRETE), b = d.newNode(Node.CHANCE, Node.DISCRETE);
      a.setNumberOfStates(2);
      b.setNumberOfStates(2);
      equal(0, N.orvDomainSetNumberOfCases(d.modelPeer, 100), "cases");
      for (long i = 0; i < 100; ++i) {
        N.orvNodeSetCaseState(a.nodePeer, i, i % 2);
        N.orvNodeSetCaseState(b.nodePeer, i, i % 2);
      }
      rows("A -> B required", 0, N.orvNodeSetEdgeConstraint(a.nodePeer, b.nodePeer, 102),
          "mirrored", 103, N.orvNodeGetEdgeConstraint(b.nodePeer, a.nodePeer),
          "level 1 refused", 1, N.orvDomainSetSignificanceLevel(d.modelPeer, 1.0),
          "level", 0, N.orvDomainSetSignificanceLevel(d.modelPeer, 0.01),
          "level read back", 0.01, N.orvDomainGetSignificanceLevel(d.modelPeer),
          "learn", 0, N.orvDomainLearnStructure(d.modelPeer), "the required link", List.of(a), b.getParents());
    }
  }

  /** Data-set arrays cross as Java arrays; class text parses into a collection held by its Java object. */
  public static void testDataSetArraysAndClassParsing() {
    long ds = N.orvNewDataSet();
    String[] cells = {"3", "1", "x", null, "2"};
    for (int row = 0; row < cells.length; row++) equal(0, N.orvDSSetDataItem(ds, row, 0, cells[row]), "cell");
    rows("a null text is a missing cell", null, N.orvDSGetDataItem(ds, 3, 0),
        "numbers with the missing value", List.of(3.0, 1.0, -9.0, -9.0, 2.0),
        java.util.Arrays.stream(N.orvDSGetNumbers(ds, 0, -9.0)).boxed().toList(),
        "distinct values in byte order", List.of("1", "2", "3", "x"), List.of(N.orvDSGetDistinctValues(ds, 0)),
        "one boundary is no interval", 1, N.orvDSApplyDiscretization(ds, 0, new double[] {0}),
        "drop the text cell", 0, N.orvDSDeleteRow(ds, 2));
    double[] cuts = N.orvDSDiscretizeColumn(ds, 0, 0, 2);
    check(cuts.length == 3 && cuts[1] == 2.0, "equal-width cut at 2");
    long parsed = N.orvParseDataSet(false, "a;b\n1;x\n", ';', null);
    rows("apply", 0, N.orvDSApplyDiscretization(ds, 0, cuts), "interval label", "[2;inf)", N.orvDSGetDataItem(ds, 0, 0),
        "delete", 0, N.orvDSDelete(ds), "data set from text", true, parsed != 0,
        "cell read with the delimiter", "x", N.orvDSGetDataItem(parsed, 0, 1), "delete parsed", 0, N.orvDSDelete(parsed));

    long live = N.orvNewClassCollection(new Object(), 0);
    check(live != 0, "collection");
    String text = "class C { node X { states = (\"a\" \"b\"); } potential (X) { data = (0.5 0.5); } }";
    equal(0, N.orvNetParseClasses(text, live, null, null), "class parse");
    check(N.orvCCGetClassByName(live, "C") != 0, "parsed class");
    equal(1, N.orvNetParseClasses("class D { instance I : Gone () {} }", live, null, null) == 0 ? 0 : 1,
        "a missing class without a loader fails");
    check(N.orvCCGetClassByName(live, "D") == 0, "a failed parse leaves no class");
    equal(0, N.orvCCDelete(live), "delete collection");
  }

  /** A peer object without the peer field is refused with the jni error. */
  public static void testPeerWithoutItsFieldIsRefused() {
    try (Domain d = rain()) {
      long node = d.getNodeByName("Rain").nodePeer;
      equal(47, N.orvNodeSetBackpointer(node, new Object()), "no nodePeer field");
    }
  }

  /** The license role: what $ORVELHOME/orvel.license holds; no restrictions. */
  public static void testLicenseFileIsRead() throws Exception {
    long license = N.orvNewLicense();
    check(license != 0, "license handle");
    String home = System.getenv("ORVELHOME");
    boolean file = home != null && Files.exists(Path.of(home, "orvel.license"));
    rows("organization", file ? "Example Org" : "", N.orvGetOrganization(license),
        "user", file ? "Test User" : "", N.orvGetUserName(license), "package", file ? "orvel-test" : "",
        N.orvGetPackageName(license), "expiry", file ? "2099-12-31" : "", N.orvGetSupportExpirationDate(0));
    check(N.orvGetBuildID().startsWith("orvel-") && !N.orvGetAPIID().isEmpty(), "identifiers");
    NativeOAPI2 restrictions = new NativeOAPI2();
    check(restrictions.orvRestrictionAllowGui() && restrictions.orvRestrictionAllowPlain(), "no restrictions");
  }

  /** Log files opened by the binding receive the compilation log. */
  public static void testLogFile() throws Exception {
    Path log = Files.createTempFile("orvel", ".log");
    try (Domain d = rain()) {
      d.setLogFile(log.toString());
      d.compile();
      d.setLogFile(null);
    }
    check(Files.size(log) > 0, "log written");
    Files.delete(log);
  }

  /** Tables generated from a model through the natives, and the quantile of a numbered node. */
  public static void testModelsGenerateTables() {
    String net = "net {} node N { states = (\"1\" \"2\"); subtype = number; state_values = (1 2); } "
        + "node K { states = (\"0\" \"1\" \"2\"); subtype = number; state_values = (0 1 2); } "
        + "potential (N) { data = (0.5 0.5); } "
        + "potential (K | N) { model_nodes = (N); model_data = ( Binomial(N, 0.5), Distribution(1, 1, 2) ); }";
    try (Domain d = Domain.parse(net)) {
      Node k = d.getNodeByName("K");
      long model = N.orvNodeGetModel(k.nodePeer);
      rows("not generated after parsing", false, N.orvModelTableIsGenerated(model),
          "generate", 0, N.orvDomainGenerateTables(d.modelPeer), "generated", true, N.orvModelTableIsGenerated(model),
          "Distribution(1, 1, 2) normalised", 0.25, k.getTable().getData()[3],
          "bad parameter set", 0, N.orvModelSetExpressionFromString(model, 1, "Binomial(2, 2)", null),
          "a bad parameter is invalid_expression", 34, N.orvNodeGenerateTable(k.nodePeer),
          "the table is kept", 0.25, k.getTable().getData()[3],
          "no quantile before compiling", -1.0, N.orvNodeGetQuantile(k.nodePeer, 0.5));
    }
  }

  /** Interval nodes refined and coarsened, and the interval mass of a mixture, through the natives. */
  public static void testIntervalsAndMixtureMass() {
    String net = "net {} node X { states = (\"a\" \"b\"); subtype = interval; state_values = (0 2 4); } "
        + "continuous node C {} potential (X) { data = (0.25 0.75); } "
        + "potential (C | X) { data = ( normal(0, 1) normal(0, 4) ); }";
    try (Domain d = Domain.parse(net)) {
      long x = d.getNodeByName("X").nodePeer;
      rows("double", 0, N.orvNodeDoubleNumberOfIntervals(x), "four intervals", 4L, N.orvNodeGetNumberOfStates(x),
          "split at the midpoint", 1.0, N.orvNodeGetStateValue(x, 1), "halve", 0, N.orvNodeHalveNumberOfIntervals(x),
          "merged back", 2.0, N.orvNodeGetStateValue(x, 1), "compile", 0, N.orvDomainCompile(d.modelPeer));
      long mix = N.orvNodeGetDistribution(d.getNodeByName("C").nodePeer);
      rows("half above the mean", 0.5, N.orvTableComputeProbabilityOfInterval(mix, 0, Double.MAX_VALUE),
          "reversed bounds", -1.0, N.orvTableComputeProbabilityOfInterval(mix, 1, 0), "delete", 0, N.orvTableDelete(mix));
    }
  }

  /** Class tables learned through the natives from a domain made from the class. */
  public static void testClassTablesAreLearned() {
    long cc = N.orvNewClassCollection(new Object(), 0);
    String text = "class C { node X { states = (\"a\" \"b\"); } "
        + "potential (X) { data = (0.5 0.5); experience = (0); } }";
    equal(0, N.orvNetParseClasses(text, cc, null, null), "class parse");
    Domain peer = Domain.empty();
    long d = N.orvClassCreateDomain(peer, N.orvCCGetClassByName(cc, "C"));
    check(d != 0 && N.orvDomainGetBackpointer(d) == peer, "unfolded, with its peer");
    long x = N.orvDomainGetNodeByName(d, "X");
    Object[] source = N.orvNodeGetSource(x);
    check(source.length == 1 && source[0] == null, "the source list holds no peer where the class node has none");
    equal(0, N.orvDomainSetNumberOfCases(d, 3), "cases");
    for (int c = 0; c < 3; c++) equal(0, N.orvNodeSetCaseState(x, c, c == 2 ? 1 : 0), "case state");
    rows("compile", 0, N.orvDomainCompile(d), "learn class tables", 0, N.orvDomainLearnClassTables(d),
        "P(X = a)", 2.0 / 3.0, N.orvTableGetDataItem(N.orvNodeGetTable(x), 0),
        "delete source lists", 0, N.orvDomainDeleteSourceLists(d), "no list", null, N.orvNodeGetSource(x),
        "usage", 1, N.orvErrorCode(), "delete domain", 0, N.orvDomainDelete(d), "the peer is zeroed", true, peer.isClosed(),
        "delete collection", 0, N.orvCCDelete(cc));
  }

  /** KB files: a domain and a class collection saved and loaded, with and without a password. */
  public static void testKBFiles() throws Exception {
    Path file = Files.createTempFile("orvel", ".kb");
    String name = file.toString();
    try (Domain d = rain()) {
      d.saveAsKB(name, "secret");
      try (Domain back = Domain.loadKB(name, "secret")) {
        equal(d.toNetString(), back.toNetString(), "the same network");
      }
      equal(13, expectError(() -> Domain.loadKB(name, "wrong"), "wrong password").getCode(), "bad_kb_password");
      equal(13, expectError(() -> Domain.loadKB(name, null), "no password").getCode(), "bad_kb_password");
      d.saveAsKB(name, null);
      try (Domain back = Domain.loadKB(name, null)) {
        equal(d.toNetString(), back.toNetString(), "the same network, not sealed");
      }
    }
    long cc = N.orvNewClassCollection(new Object(), 0);
    equal(0, N.orvNetParseClasses("class C { node X { states = (\"a\" \"b\"); } }", cc, null, null), "parse");
    equal(0, N.orvCCSaveAsKB(cc, name, null), "save classes");
    long back = N.orvKBLoadClassCollection(new Object(), name, null);
    check(back != 0 && N.orvCCGetClassByName(back, "C") != 0, "class C loaded");
    rows("the same classes", N.orvCCToNetString(cc), N.orvCCToNetString(back),
        "classes are no domain", 0L, N.orvKBLoadDomain(new Object(), name, null), "bad_kb_type", 15, N.orvErrorCode(),
        "delete", 0, N.orvCCDelete(back), "delete", 0, N.orvCCDelete(cc));
    Files.delete(file);
  }
}
