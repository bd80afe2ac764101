package COM.orvel.OAPI;

import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;

import COM.orvel.OAPI.Native.TestHooks;
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

  public static void testNoMemoryLeavesNoGlobalReference() {
    try (Domain d = Domain.parse(BindingTest.RAIN)) {
      Supplier<String> nodes = () -> d.getNodes().toString();
      check(sweep("newNode", () -> d.newNode(Node.CHANCE, Node.DISCRETE), () -> d.getNodes().get(0).delete(), nodes)
            > 0, "node creation allocates");
      check(sweep("parse", () -> Domain.parse(BindingTest.RAIN), () -> {}, () -> "") > 5, "parsing allocates");
      check(sweep("setName", () -> {
        d.getNodeByName("Rain").setName("Sun");
        return null;
      }, () -> d.getNodeByName("Sun").setName("Rain"), nodes) > 0, "renaming allocates");
    }
  }
}
