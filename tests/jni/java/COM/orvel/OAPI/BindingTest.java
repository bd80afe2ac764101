package COM.orvel.OAPI;

import static COM.orvel.OAPI.TestRunner.binary;
import static COM.orvel.OAPI.TestRunner.boxed;
import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.expectDead;
import static COM.orvel.OAPI.TestRunner.expectError;
import static COM.orvel.OAPI.TestRunner.expectThrown;
import static COM.orvel.OAPI.TestRunner.rows;

import COM.orvel.OAPI.Native.AbstractNativeOAPI;
import COM.orvel.OAPI.Native.NativeOAPI2;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.function.Consumer;

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
    expectDead(wet::getName, "a deleted node refuses calls");
    d.close();
    check(d.isClosed() && rain.isDeleted(), "closing zeroes the domain and its nodes");
    d.close();  // harmless
  }

  /** Setting a new domain backpointer zeroes the old peer's modelPeer; a peer needs its peer field. */
  public static void testBackpointersReplaceTheirPeers() {
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
    try (Domain d = rain()) {
      equal(47, N.orvNodeSetBackpointer(d.getNodeByName("Rain").nodePeer, new Object()), "no nodePeer field");
    }
  }

  /** Nodes made from Java, lists, tables and exceptions with codes. */
  public static void testBuildingAndErrors() {
    try (Domain d = new Domain()) {
      Node a = binary(d, "A"), b = binary(d, "B");
      b.addParent(a);
      Table t = b.getTable();
      t.setData(new double[] {0.3, 0.7, 0.6, 0.4}, 0);
      a.getTable().setData(new double[] {0.5, 0.5}, 0);
      rows("parents", List.of(a), b.getParents(), "nodes newest first", List.of(b, a), d.getNodes(),
          "table nodes", List.of(a, b), t.getNodes(), "configuration index", 2L, t.getIndex(new long[] {1, 0}),
          "data round trip", List.of(0.3, 0.7, 0.6, 0.4), boxed(t.getData()),
          "not compiled", 17, expectError(d::propagate, "propagate uncompiled").getCode(),
          "invalid name", 6, expectError(() -> a.setName("1a"), "bad name").getCode(),
          "a name taken", 5, expectError(() -> b.setName("A"), "taken name").getCode(),
          "a self link is a cycle", 7, expectError(() -> b.addParent(b), "self parent").getCode());
      d.compile();
      a.selectState(0);
      d.propagate();
      rows("belief", 0.3, b.getBelief(0), "P(e)", 0.5, d.getNormalizationConstant(),
          "NET text", true, d.toNetString().contains("node A"), "compiled", true, d.isCompiled());
      try (Domain copy = d.copy()) {
        rows("the copy has its own peer", copy, Domain.of(copy.modelPeer), "not the original", false, copy == d,
            "its nodes too", copy, copy.getNodeByName("A").getDomain(), "compiled and propagated", 0.3,
            copy.getNodeByName("B").getBelief(0), "same network", d.toNetString(), copy.toNetString());
      }
      // A -> B -> C with P(C = 0 | B) = (0.2, 0) set entry by entry; A's finding (1, 0.25) gives P(A = 0) = 0.8.
      Node c = binary(d, "C");
      c.addParent(b);
      Table ct = c.getTable();
      ct.setData(new double[] {1, 0, 0, 1}, 0);
      ct.setDataItem(0, 0.2);
      ct.setDataItem(1, 0.8);
      c.setLabel("Wet ü");
      rows("a new node uncompiles", false, d.isCompiled(), "entries set", List.of(0.2, 0.8, 0.0, 1.0), boxed(ct.getData()),
          "label", "Wet ü", c.getLabel(), "no label", "", a.getLabel(), "home domain", d, c.getDomain(),
          "kind", Node.DISCRETE, c.getKind(), "subtype", Node.LABEL, c.getSubtype());
      d.compile();
      JunctionTree jt = c.getJunctionTree();
      List<Clique> cliques = jt.getCliques();
      a.retractFindings();
      a.enterFinding(1, 0.25);
      d.propagate();
      rows("one tree", d.getJunctionTrees(), List.of(jt), "the root is the newest clique", cliques.get(0), jt.getRoot(),
          "its neighbour", List.of(cliques.get(1)), cliques.get(0).getNeighbors(),
          "and back", List.of(cliques.get(0)), cliques.get(1).getNeighbors(), "two cliques of 4, a separator of 2",
          10L, jt.getTotalSize(), "P(A = 0 | e)", 0.8, a.getBelief(0), "P(C = 0 | e)", (0.8 * 0.3 + 0.2 * 0.6) * 0.2,
          c.getBelief(0));
      a.retractFindings();
      d.propagate();
      rows("retracted", false, a.evidenceIsEntered(), "P(C = 0)", 0.45 * 0.2, c.getBelief(0));
      c.removeParent(b);
      rows("link removed", List.of(), c.getParents(), "the slice for B = 0 kept", List.of(0.2, 0.8),
          boxed(c.getTable().getData()), "no longer a parent", 1, expectError(() -> c.removeParent(b), "removed").getCode(),
          "a negative finding", 1, expectError(() -> a.enterFinding(0, -1), "negative").getCode());
    }
  }

  /**
   * Every parsing native: a throwing receiver is called once, its exception
   * reaches the caller with the error jni, and a domain parse so stopped
   * leaves no domain behind.
   */
  public static void testEveryParserReportsAThrowingReceiver() throws Exception {
    Path cases = Files.createTempFile("orvel", ".dat");
    Files.writeString(cases, "Rain Wet\nyes maybe\n");
    Domain peer = new Domain() {};
    peer.close();
    try (Domain d = rain()) {
      long model = NativesTest.newModel(d.getNodeByName("Wet").nodePeer);
      Map<String, Consumer<ParseListener>> parsers = new LinkedHashMap<>();
      // Two errors: the receiver must not be called for the second.
      String twoErrors = "net {} node A { states = (\"a\" ; } node B { states = ( ; }";
      parsers.put("NetParseDomain", r -> N.orvNetParseDomain(peer, twoErrors, r));
      parsers.put("StringParseExpression", r -> N.orvStringParseExpression("1 +", model, r));
      parsers.put("ModelSetExpressionFromString", r -> N.orvModelSetExpressionFromString(model, 0, "(", r));
      parsers.put("DomainParseCases", r -> N.orvDomainParseCases(d.modelPeer, cases.toString(), r));
      parsers.put("DomainParseCase", r -> N.orvDomainParseCase(d.modelPeer, cases.toString(), r));
      for (var parser : parsers.entrySet()) {
        int[] calls = {0};
        expectThrown(IllegalStateException.class, () -> parser.getValue().accept((line, message) -> {
          calls[0]++;
          throw new IllegalStateException(message);
        }), parser.getKey() + ": the exception reaches the caller");
        rows(parser.getKey() + " error", 47, N.orvErrorCode(), parser.getKey() + " calls", 1, calls[0]);
      }
      equal(0L, peer.modelPeer, "no domain");
    } finally {
      Files.delete(cases);
    }
    // A valid text with a throwing receiver parses (the receiver is never called).
    try (Domain d = Domain.parse(RAIN, (line, message) -> {
      throw new IllegalStateException(message);
    })) {
      equal(2, d.getNodes().size(), "parsed");
    }
    // Errors reach a listener that records them, and the parse fails with its code.
    StringBuilder seen = new StringBuilder();
    OrvelException e = expectError(() -> Domain.parse("net {} node A {", (l, m) -> seen.append(m)), "bad NET");
    check(e instanceof OrvelException.ParseException && seen.length() > 0, "parse error with messages: " + e.getCode());
  }

  /** Conversions, the special natives, and the license role: what $ORVELHOME/orvel.license holds. */
  public static void testConversionsSpecialValuesAndLicense() {
    long license = N.orvNewLicense();
    String home = System.getenv("ORVELHOME");
    boolean file = home != null && Files.exists(Path.of(home, "orvel.license"));
    rows("license handle", true, license != 0, "organization", file ? "Example Org" : "", N.orvGetOrganization(license),
        "user", file ? "Test User" : "", N.orvGetUserName(license), "package", file ? "orvel-test" : "",
        N.orvGetPackageName(license), "expiry", file ? "2099-12-31" : "", N.orvGetSupportExpirationDate(0),
        "identifiers", true, N.orvGetBuildID().startsWith("orvel-") && !N.orvGetAPIID().isEmpty(),
        "no restrictions", true, new NativeOAPI2().orvRestrictionAllowGui() && new NativeOAPI2().orvRestrictionAllowPlain(),
        "root", home == null ? "" : home, N.orvGetROOTID());
    // The running flag is the license role's alone: switching it leaves the last error and the license as they were.
    N.orvGetOrganization(-1);
    N.orvSetUpAndRunning();
    N.orvSetNotRunning();
    rows("usage kept", 1, N.orvErrorCode(), "license unchanged", file ? "Test User" : "", N.orvGetUserName(license));
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

  /**
   * A class collection through the natives: saved to a KB file and loaded
   * back, unfolded into a domain whose source list holds no peer (the class
   * node has none), and its class tables learned from that domain's cases.
   */
  public static void testClassCollectionKBAndClassTables() throws Exception {
    long cc = N.orvNewClassCollection(new Object(), 0);
    String text = "class C { node X { states = (\"a\" \"b\"); } "
        + "potential (X) { data = (0.5 0.5); experience = (0); } }";
    equal(0, N.orvNetParseClasses(text, cc, null, null), "class parse");
    Path file = Files.createTempFile("orvel", ".kb");
    equal(0, N.orvCCSaveAsKB(cc, file.toString(), null), "save classes");
    long back = N.orvKBLoadClassCollection(new Object(), file.toString(), null);
    check(back != 0 && N.orvCCGetClassByName(back, "C") != 0, "class C loaded");
    rows("the same classes", N.orvCCToNetString(cc), N.orvCCToNetString(back), "classes are no domain", 0L,
        N.orvKBLoadDomain(new Object(), file.toString(), null), "bad_kb_type", 15, N.orvErrorCode(),
        "delete", 0, N.orvCCDelete(back));
    Files.delete(file);

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

  /** KB files: a domain saved and loaded, with and without a password. */
  public static void testKBFiles() throws Exception {
    Path file = Files.createTempFile("orvel", ".kb");
    String name = file.toString();
    try (Domain d = rain()) {
      d.saveAsKB(name, "secret");
      try (Domain back = Domain.loadKB(name, "secret")) {
        equal(d.toNetString(), back.toNetString(), "the same network");
      }
      rows("wrong password", 13, expectError(() -> Domain.loadKB(name, "wrong"), "wrong password").getCode(),
          "no password", 13, expectError(() -> Domain.loadKB(name, null), "no password").getCode());
      d.saveAsKB(name, null);
      try (Domain back = Domain.loadKB(name, null)) {
        equal(d.toNetString(), back.toNetString(), "the same network, not sealed");
      }
    }
    Files.delete(file);
  }
}
