package COM.orvel.OAPI;

import static COM.orvel.OAPI.BindingTest.N;
import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.rows;

import COM.orvel.OAPI.Native.TestHooks;
import java.util.List;
import java.util.function.Supplier;

/**
 * no_memory inside a wrapper: every failing run of a whole operation reports
 * no_memory, leaves no global reference and no engine block behind, and leaves
 * the domain as it was.
 */
public final class FaultTest {
  private FaultTest() {}

  /** Fails allocation n = 0, 1, 2, ... of op until it succeeds; returns the number of failing runs. */
  static int sweep(String what, Supplier<Object> op, Runnable undo, Supplier<String> state) {
    String before = state.get();
    for (int n = 0; n < 100000; n++) {
      long refs = TestHooks.liveGlobalRefs(), blocks = TestHooks.liveBlocks();
      TestHooks.failAllocation(n);
      try {
        op.get();
        TestHooks.failAllocation(-1);
        check(TestHooks.injectedFailures() == 0, what + ": success after an injected failure");
        undo.run();
        return n;
      } catch (OrvelException e) {
        TestHooks.failAllocation(-1);
        equal(3, e.getCode(), what + " run " + n);
        equal(refs, TestHooks.liveGlobalRefs(), what + " run " + n + ": global references");
        equal(blocks, TestHooks.liveBlocks(), what + " run " + n + ": engine blocks");
        equal(before, state.get(), what + " run " + n + ": state");
      }
    }
    throw new AssertionError(what + " never succeeded");
  }

  static int sweep(String what, Runnable op, Runnable undo, Supplier<String> state) {
    return sweep(what, () -> {
      op.run();
      return null;
    }, undo, state);
  }

  public static void testNoMemoryLeavesNoGlobalReference() {
    try (Domain d = Domain.parse(BindingTest.RAIN)) {
      Supplier<String> nodes = () -> d.getNodes().toString();
      check(sweep("newNode", () -> d.newNode(Node.CHANCE, Node.DISCRETE), () -> d.getNodes().get(0).delete(), nodes)
            > 0, "node creation allocates");
      check(sweep("parse", () -> Domain.parse(BindingTest.RAIN), () -> {}, () -> "") > 5, "parsing allocates");
      check(sweep("setName", () -> d.getNodeByName("Rain").setName("Sun"), () -> d.getNodeByName("Sun").setName("Rain"),
          nodes) > 0, "renaming allocates");
    }
  }

  /**
   * Each source list is one global reference held by its node: released by
   * deleteSourceLists and by closing the domain; unfolding under injected
   * failures leaves nothing behind.
   */
  public static void testSourceListsReleaseTheirReferences() throws Exception {
    try (ClassCollection first = new ClassCollection()) {
      first.newClass();  // the first class peer pins the peer class for good
    }
    long start = TestHooks.liveGlobalRefs();
    java.util.Map<String, String> classes = ClassTest.hierarchy();
    try (ClassCollection cc = new ClassCollection()) {
      cc.parseClasses(classes.get("Top"), ClassTest.loader(classes, new java.util.ArrayList<>()));
      Class top = cc.getClassByName("Top");
      for (Class c : cc.getMembers()) c.getNodes();  // the class nodes' peers, before counting
      Domain[] made = new Domain[1];
      check(sweep("createDomain", () -> made[0] = top.createDomain(), () -> made[0].close(),
          () -> cc.toNetString()) > 10, "unfolding allocates");
      long before = TestHooks.liveGlobalRefs();
      Domain d = top.createDomain();
      java.util.List<Node> nodes = d.getNodes();
      long held = TestHooks.liveGlobalRefs();
      equal(before + 1 + 2 * nodes.size(), held, "the domain's peer, and per node its peer and source list");
      for (Node n : nodes) check(!n.getSource().isEmpty(), "every unfolded node has a source");
      equal(held, TestHooks.liveGlobalRefs(), "reading a list makes no reference");
      d.deleteSourceLists();
      equal(held - nodes.size(), TestHooks.liveGlobalRefs(), "one reference per source list released");
      for (Node n : nodes) check(n.getSource().isEmpty(), "no source after deleting the lists");
      d.close();
      equal(before, TestHooks.liveGlobalRefs(), "closing releases the rest");
      top.createDomain().close();
      equal(before, TestHooks.liveGlobalRefs(), "closing with the lists releases them too");
    }
    equal(start, TestHooks.liveGlobalRefs(), "every reference released");
  }

  /**
   * Expressions: leaves, a composite sharing its operands, a model's own
   * copies; printing releases an expression that nothing holds, and only such
   * an expression.
   */
  public static void testExpressionsAndWhatPrintingReleases() {
    try (Domain d = BindingTest.rain()) {
      long wet = d.getNodeByName("Wet").nodePeer, rain = d.getNodeByName("Rain").nodePeer;
      long blocks = TestHooks.liveBlocks();
      equal("2.5", N.orvExpressionToString(N.orvNumberMakeExpression(2.5)), "text");
      equal(blocks, TestHooks.liveBlocks(), "a temporary expression is released");
      long node = N.orvNodeMakeExpression(rain), label = N.orvLabelMakeExpression("yes");
      long truth = N.orvBooleanMakeExpression(true), operands = NativesTest.list(node, label);
      rows("node leaf", rain, N.orvExpressionGetNode(node), "label leaf", "yes", N.orvExpressionGetLabel(label),
          "boolean leaf", true, N.orvExpressionGetBoolean(truth), "delete a leaf", 0, N.orvExpressionDelete(truth));
      long equals = N.orvMakeCompositeExpression(108, operands);
      N.orvListDelete(operands);
      rows("composite", true, N.orvExpressionIsComposite(equals),
          "the operands are shared", List.of(node, label), NativesTest.items(N.orvExpressionGetOperands(equals)),
          "deleting the composite frees its operands", 0, N.orvExpressionDelete(equals),
          "no expression left", blocks, TestHooks.liveBlocks());

      long model = NativesTest.newModel(wet, rain);
      equal(0, N.orvModelSetExpressionFromString(model, 0, "Distribution (0.7, 0.3)", null), "parsed");
      long held = N.orvModelGetExpression(model, 0);
      N.orvExpressionToString(held);
      rows("deleting what a model holds does nothing", 0, N.orvExpressionDelete(held),
          "the model's expression survives printing", "Distribution (0.7, 0.3)", N.orvExpressionToString(held),
          "a copy at index 1", 0, N.orvModelSetExpression(model, 1, held),
          "the model keeps its own copy", true, N.orvModelGetExpression(model, 1) != held,
          "generate", 0, N.orvNodeGenerateTable(wet),
          "P(Wet = no | Rain = no)", 0.3, N.orvTableGetDataItem(N.orvNodeGetTable(wet), 3));
      long four = N.orvNumberMakeExpression(4);
      operands = NativesTest.list(four);
      long root = N.orvMakeCompositeExpression(92, operands);
      N.orvListDelete(operands);
      rows("an operand is printed", "4", N.orvExpressionToString(four), "and kept", "4", N.orvExpressionToString(four),
          "the composite is released with its operand", "sqrt (4)", N.orvExpressionToString(root),
          "the model releases its expressions", 0, N.orvModelDelete(model), "no model", 0L, N.orvNodeGetModel(wet));
      Expression leaf = Expression.number(0.25);
      rows("Java text", "0.25", leaf.toString(), "the Java object stays usable", "0.25", leaf.toString());
      leaf.close();
      equal(blocks, TestHooks.liveBlocks(), "nothing left behind");
    }
  }
}
