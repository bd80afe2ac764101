package COM.orvel.OAPI;

import static COM.orvel.OAPI.FaultTest.sweep;
import static COM.orvel.OAPI.TestRunner.check;

import java.nio.file.Path;
import java.util.Arrays;
import java.util.List;
import java.util.function.Supplier;

/**
 * no_memory in the Java API over data sets, cases, models, policies and
 * marginals: every failing run throws NoMemoryException, leaks nothing and
 * leaves the object as it was.
 */
public final class FamiliesFaultTest {
  private FamiliesFaultTest() {}

  public static void testDataSetsCasesAndModelsUnderFailingAllocations() {
    String text = "Rain,Wet\nyes,no\nno,\n,yes\n";
    check(sweep("parse data set", () -> DataSet.parse(text, ',').close(), () -> {}, () -> "") > 3, "parsing allocates");
    try (Domain d = BindingTest.rain(); DataSet rows = DataSet.parse(text, ',')) {
      check(sweep("add cases", () -> d.addCases(rows), () -> d.setNumberOfCases(0), () -> Long.toString(d.getNumberOfCases()))
          > 0, "adding cases allocates");
      Node wet = d.getNodeByName("Wet");
      Model m = wet.newModel(List.of(d.getNodeByName("Rain")));
      m.setExpression(0, "Distribution(0.5, 0.5)");
      m.setExpression(1, "Distribution(0.25, 0.75)");
      Supplier<String> text0 = () -> m.getExpressionString(0);
      check(sweep("expression from text", () -> m.setExpression(0, "Distribution(0.75, 0.25)"), () -> {}, text0) > 0,
          "parsing an expression allocates");
      Supplier<String> table = () -> Arrays.toString(wet.getTable().getData());
      sweep("generate table", wet::generateTable, () -> {}, table);
      check(m.tableIsGenerated(), "generated in the end");
    }
  }

  public static void testPoliciesAndMarginalsUnderFailingAllocations() {
    String file = Path.of(FamiliesTest.DATA, "networks", "limid", "soluble2.net").toString();
    try (Domain d = Domain.parse(file)) {
      d.compile();
      List<Node> decisions = FamiliesTest.nodes(d, "D1", "D2", "D3");
      Supplier<String> policies = () -> decisions.stream().map(n -> Arrays.toString(n.getTable().getData())).toList().toString();
      // A failed update leaves the trees unpropagated: each run propagates first.
      check(sweep("update policies", () -> {
        d.propagate();
        d.updatePolicies();
        return null;
      }, () -> {}, policies) > 0, "policy updating allocates");
      List<Node> pair = FamiliesTest.nodes(d, "H1", "O1");
      check(sweep("marginal", () -> {
        try (Table t = d.getMarginal(pair)) {
          return t.getData();
        }
      }, () -> {}, () -> "") > 0, "a marginal allocates");
    }
  }
}
