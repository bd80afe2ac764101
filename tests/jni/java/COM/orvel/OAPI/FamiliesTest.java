package COM.orvel.OAPI;

import static COM.orvel.OAPI.BindingTest.N;
import static COM.orvel.OAPI.TestRunner.binary;
import static COM.orvel.OAPI.TestRunner.boxed;
import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.expectDead;
import static COM.orvel.OAPI.TestRunner.expectError;
import static COM.orvel.OAPI.TestRunner.near;
import static COM.orvel.OAPI.TestRunner.rows;

import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;

/**
 * The Java API over data sets, case data and learning, models, LIMIDs, CG
 * nodes and marginals: realistic programs checked against independent
 * results (data/em, data/reference/limid and cg), and the errors they raise.
 */
public final class FamiliesTest {
  private FamiliesTest() {}

  static final String DATA = System.getProperty("orvel.data");

  static List<Node> nodes(Domain d, String... names) {
    List<Node> out = new ArrayList<>();
    for (String name : names) out.add(d.getNodeByName(name));
    return out;
  }

  static List<String> cells(DataSet ds) {
    List<String> out = new ArrayList<>(ds.getColumnNames());
    for (long r = 0; r < ds.getNumberOfRows(); r++) {
      for (long c = 0; c < ds.getNumberOfColumns(); c++) out.add(ds.getDataItem(r, c));
    }
    return out;
  }

  /**
   * Cells (missing, empty, quoted), CSV text and file round trips, a value per
   * statistic (their numbers are checked in C++), sorts, discretization, errors.
   */
  public static void testDataSetCellsTextStatisticsAndDiscretization() throws Exception {
    try (DataSet ds = DataSet.parse("x,y,name\n1,2,a\n3,,\"b,c\"\n-2,5,\"\"\n", ',')) {
      rows("names", List.of("x", "y", "name"), ds.getColumnNames(), "rows", 3L, ds.getNumberOfRows(),
          "an empty field is missing", null, ds.getDataItem(1, 1),
          "an empty quoted field is the empty string", "", ds.getDataItem(2, 2),
          "a quoted delimiter", "b,c", ds.getDataItem(1, 2));
      List<String> before = cells(ds);
      try (DataSet back = DataSet.parse(ds.toCsvString(';'), ';')) {
        equal(before, cells(back), "text round trip with another delimiter");
      }
      Path file = Files.createTempFile("orvel-ds", ".csv");
      ds.save(file.toString(), ',');
      try (DataSet back = DataSet.parse(file.toString(), ',')) {
        equal(before, cells(back), "file round trip");
      }
      Files.delete(file);

      rows("numbers", true, ds.columnDataAreNumbers(0), "mean of 1, 3, -2", 2.0 / 3, ds.computeMean(0),
          "sample variance", 19.0 / 3, ds.computeVariance(0),
          "skewness", -56.0 / 27 / Math.pow(38.0 / 9, 1.5), ds.computeSkewness(0),
          "excess kurtosis", -1.5, ds.computeKurtosis(0),
          "MAE over the rows with both cells", 4.0, ds.computeMeanAbsoluteError(0, 1));
      ds.sortRowsNumerically(0, true);
      equal(List.of(5.0, 2.0, -9.0), boxed(ds.getNumbers(1, -9)), "rows follow x ascending; missing y");
      ds.sortRows(2, false);
      rows("descending by bytes", List.of("b,c", "a", ""),
          List.of(ds.getDataItem(0, 2), ds.getDataItem(1, 2), ds.getDataItem(2, 2)),
          "one y of 2", 1L, ds.countData(1, "2"),
          "the empty string is found, not the missing cell", 2L, ds.findRow(2, "", 0), "absent", -1L, ds.findRow(2, "zz", 0),
          "a null string is usage", 1, expectError(() -> ds.countData(1, null), "null text").getCode(),
          "one boundary is no interval", 1,
          expectError(() -> ds.applyDiscretization(0, new double[] {0}), "one boundary").getCode());
      double[] cuts = ds.discretizeColumn(0, DataSet.EQUAL_WIDTH, 2);
      rows("two intervals", 3, cuts.length, "the cut halves [-2, 3]", 0.5, cuts[1]);
      ds.applyDiscretization(0, cuts);
      rows("interval labels", true, ds.columnDataAreIntervals(0), "no longer numbers", false, ds.columnDataAreNumbers(0),
          "labels in byte order", List.of("(-inf;0.5)", "[0.5;inf)"), ds.getDistinctValues(0),
          "row out of range", 1, expectError(() -> ds.getDataItem(3, 0), "row 3").getCode(),
          "a text column has no mean", 1, expectError(() -> ds.computeMean(2), "text column").getCode());
    }
    List<String> messages = new ArrayList<>();
    OrvelException e = expectError(() -> DataSet.parse("a,b\n\"open,1\n", ',', (line, m) -> messages.add(m)),
        "unterminated quote");
    check(e instanceof OrvelException.ParseException && !messages.isEmpty(), "parse error with a message");
    DataSet closed = new DataSet();
    closed.close();
    closed.close();
    expectDead(closed::getNumberOfRows, "a closed data set refuses calls");
  }

  /** Forecast errors, supervised intervals, and a data set edited by column, row and cell. */
  public static void testDataSetEdits() {
    try (DataSet ds = DataSet.parse("a,f,k\n2,1,x\n4,4,x\n6,9,y\n8,8,y\n", ',')) {
      rows("MAPE", 25.0, ds.computeMeanAbsolutePercentageError(0, 1),
          "MASE", 0.5, ds.computeMeanAbsoluteScaledError(0, 1, 1),
          "the boundary between the classes", List.of(-Double.MAX_VALUE, 5.0, Double.MAX_VALUE),
          boxed(ds.computeIEMIntervals(0, 2)),
          "copy", 3L, ds.copyColumn(2, "k2"), "replaced", 2L, ds.replaceValues(3, "x", "z"),
          "new column", 4L, ds.newColumn("n"), "empty", true, ds.columnIsEmpty(4), "new row", 4L, ds.newRow());
      ds.setDataItem(4, 4, "v");
      ds.setColumnName(4, "m");
      ds.moveColumn(3, 0);   // k2 a f k m
      ds.deleteColumn(1);    // k2 f k m
      ds.moveRow(3, 0);      // the rows of a = 8, 2, 4, 6, then the new row
      ds.shiftColumnData(1, 1);
      ds.setDataItem(3, 2, null);
      ds.deleteRow(1);
      equal(Arrays.asList("k2", "f", "k", "m", "y", null, "y", null, "z", "1", "x", null, "y", "4", null, null,
          null, "9", null, "v"), cells(ds), "cells after the edits");
    }
  }

  /**
   * EM on asia with 20 % missing items: the cases read from the case file and the same rows
   * read as a data set agree, and both learn the reference tables, experience and scores.
   */
  public static void testEMFromCaseFileAndDataSet() throws Exception {
    String net = Path.of(DATA, "em", "asia.net").toString(), dat = Path.of(DATA, "em", "asia.dat").toString();
    try (Domain fromFile = Domain.parse(net); Domain fromRows = Domain.parse(net);
         DataSet rows = DataSet.parse(Files.readString(Path.of(dat)).replace("\n\n", "\n"), ' ')) {
      fromFile.parseCases(dat);
      fromRows.addCases(rows);
      rows("cases from the file", 500L, fromFile.getNumberOfCases(), "from the data set", 500L, fromRows.getNumberOfCases(),
          "case 3 is all missing", false, fromFile.getNodeByName("asia").caseIsSet(3));
      equal(17, expectError(fromFile::learnTables, "EM before compiling").getCode(), "not_compiled");
      fromRows.setEMConcurrencyLevel(2);
      for (Domain d : List.of(fromFile, fromRows)) {
        d.compile();
        d.setLogLikelihoodTolerance(1e-4);
        d.setMaxNumberOfEMIterations(0);
        equal(0L, d.getMaxNumberOfEMIterations(), "no iteration limit");
        d.learnTables();
        near(new double[] {0.0848777719711089, 0.9151222280288911, 0.007108888599563744, 0.9928911114004363},
            d.getNodeByName("lung").getTable().getData(), 1e-9, "lung");
        near(new double[] {0.7972141233214792, 0.20278587667852077, 0.99999568557387, 4.314426130112812e-06,
            0.8918779502647671, 0.10812204973523289, 0.1359796565234005, 0.8640203434765996},
            d.getNodeByName("either").getTable().getData(), 1e-9, "either");
        near(new double[] {24.92867546178008, 477.07132453821924},
            d.getNodeByName("tub").getExperienceTable().getData(), 1e-9, "tub experience");
        check(!d.getNodeByName("asia").hasExperienceTable(), "asia is not learned");
        near(new double[] {-1086.5018233614749, -1104.5018233614749, -1142.4332962472745},
            new double[] {d.getLogLikelihood(), d.getAIC(), d.getBIC()}, 1e-9, "log-likelihood, AIC, BIC");
      }
      Node tub = fromFile.getNodeByName("tub");
      fromFile.setCaseCount(0, 2.5);
      fromFile.enterCase(0);
      rows("case weight", 2.5, fromFile.getCaseCount(0),
          "case 0 entered: tub observed", tub.getCaseState(0), N.orvNodeGetSelectedState(tub.nodePeer),
          "asia missing", false, fromFile.getNodeByName("asia").evidenceIsEntered(),
          "a new case", 500L, fromFile.newCase(), "a set cell", true, tub.caseIsSet(0));
      tub.unsetCase(0);
      check(!tub.caseIsSet(0), "unset");
    }
  }

  /** Structure from data where B copies A and C is independent, under edge constraints. */
  public static void testStructureLearningUnderConstraints() {
    for (int constraint : new int[] {Node.CONSTRAINT_NONE, Node.EDGE_FORBIDDEN, Node.FORWARD_EDGE_REQUIRED}) {
      try (Domain d = new Domain()) {
        Node a = binary(d, "A"), b = binary(d, "B"), c = binary(d, "C");
        d.setNumberOfCases(200);
        for (int i = 0; i < 200; i++) {
          a.setCaseState(i, i % 2);
          b.setCaseState(i, i % 2);
          c.setCaseState(i, (i / 2) % 2);
        }
        a.setEdgeConstraint(b, constraint);
        d.setSignificanceLevel(0.01);
        rows("the other end stores the mirrored constraint",
            constraint == Node.FORWARD_EDGE_REQUIRED ? Node.BACKWARD_EDGE_REQUIRED : constraint, b.getEdgeConstraint(a),
            "significance level", 0.01, d.getSignificanceLevel(),
            "level 1 is usage", 1, expectError(() -> d.setSignificanceLevel(1), "level 1").getCode(),
            "a constraint on itself is usage", 1,
            expectError(() -> a.setEdgeConstraint(a, Node.EDGE_REQUIRED), "self").getCode());
        d.learnStructure();
        rows("links between A and B, constraint " + constraint, constraint == Node.EDGE_FORBIDDEN ? 0 : 1,
            a.getParents().size() + b.getParents().size(),
            "C stays alone", true, c.getParents().isEmpty() && c.getChildren().isEmpty());
        if (constraint == Node.FORWARD_EDGE_REQUIRED) equal(List.of(a), b.getParents(), "A -> B required");
      }
    }
  }

  /** A LIMID solved by single policy updating ends with the reference policies and utilities. */
  public static void testLimidPoliciesAndUtilities() {
    try (Domain d = Domain.parse(Path.of(DATA, "networks", "limid", "soluble2.net").toString())) {
      Node d1 = d.getNodeByName("D1"), d3 = d.getNodeByName("D3"), o1 = d.getNodeByName("O1");
      equal(17, expectError(d::updatePolicies, "uncompiled").getCode(), "not_compiled");
      d.compile();
      d.propagate();
      equal(nodes(d, "D3", "D2", "D1"), d.getDecisionOrder(), "decision order");
      d.updatePolicies();
      near(new double[] {1, 0}, d1.getTable().getData(), 0, "D1 policy");
      near(new double[] {0, 1, 1, 0, 1, 0, 1, 0}, d.getNodeByName("D2").getTable().getData(), 0, "D2 policy");
      near(new double[] {0, 1, 0, 1, 0, 1, 0, 1, 1, 0, 1, 0, 1, 0, 1, 0}, d3.getTable().getData(), 0, "D3 policy");
      near(90.29444, d.getExpectedUtility(), 1e-10, "overall expected utility");
      near(15.07, d.getNodeByName("U1").getExpectedUtility(0), 1e-12, "U1");
      near(new double[] {0.47844, 0.52156}, o1.getBeliefs(), 1e-12, "O1 under the policies");
      double[] rows = new double[1];
      near(new double[] {90.29444, 60.28}, d1.getDecisionUtilities(rows), 1e-10, "D1 options");
      near(new double[] {1}, rows, 1e-15, "D1 has one row");
      equal(nodes(d, "D1"), d3.getRequisiteParents(), "only D1 bears on U1 below D3");
      equal(nodes(d, "D1"), d3.getRequisiteAncestors(), "requisite ancestors");
      equal(1, expectError(o1::getDecisionUtilities, "chance node").getCode(), "usage");
      equal(1, expectError(o1::getRequisiteParents, "chance node").getCode(), "usage");
    }
  }

  /** CG beliefs, means and variances against exact enumeration, and the CG table accessors. */
  public static void testCGValuesAndTables() {
    try (Domain d = Domain.parse(Path.of(DATA, "networks", "cg", "cg_small_a.net").toString())) {
      Node x1 = d.getNodeByName("X1"), x2 = d.getNodeByName("X2");
      near(-1.932653, x1.getTable().getMean(1, x1), 1e-15, "X1 mean given D2=s0 D3=s1");
      near(2.365288, x1.getTable().getVariance(1, x1), 1e-15, "its variance");
      near(2.365288, x1.getGamma(1), 1e-15, "gamma");
      near(-1.117952, x2.getBeta(x1, 0), 1e-15, "beta on X1 given D2=s0");
      equal(1, expectError(() -> x2.getTable().getMean(0, x2), "a table with a tail").getCode(), "usage");
      d.compile();
      d.propagate();
      try (Table mix = x1.getDistribution()) {
        double[] w = mix.getData();
        double mean = 0;
        for (int i = 0; i < w.length; i++) mean += w[i] * mix.getMean(i, x1);
        near(-0.6525050206180855, mean, 1e-9, "the mixture's mean");
        near(mean, x1.getMean(), 1e-9, "the node's mean");
      }
      near(4.605975004466329, x1.getVariance(), 1e-9, "the node's variance");
      x1.enterValue(-2.647);
      x2.enterValue(5.575);
      d.propagate();
      near(new double[] {0.212070998290366, 0.5869819459205907, 0.20094705578904334},
          d.getNodeByName("D1").getBeliefs(), 1e-9, "D1 given X1, X2");
      near(-2.647, x1.getMean(), 0, "observed mean");
      near(0, x1.getVariance(), 0, "observed variance");
      near(-6.060914481806489, d.getLogNormalizationConstant(), 1e-9, "log P(e)");
      d.retractFindings();
      d.getNodeByName("D3").selectState(1);
      x2.enterValue(-0.715);
      d.propagate();
      near(-2.4588193627830357, x1.getMean(), 1e-9, "X1 mean given D3, X2");
      near(2.328082312940201, x1.getVariance(), 1e-9, "X1 variance given D3, X2");
      near(-0.715, x2.getEnteredValue(), 0, "entered value");
      d.setNumberOfCases(1);
      x1.setCaseValue(0, 1.5);
      near(1.5, x1.getCaseValue(0), 0, "case value");
      equal(32, expectError(() -> x2.getCaseValue(0), "unset case value").getCode(), "no_value");
      x2.setBeta(-2.5, x1, 0);
      near(-2.5, x2.getBeta(x1, 0), 0, "beta set");
      equal(1, expectError(() -> x1.setGamma(-1, 0), "negative variance").getCode(), "usage");
    }
  }

  static final String MODELS = "net {} node Mode { states = (\"normal\" \"stress\"); } "
      + "node Faults { states = (\"0\" \"1\" \"2\" \"3\"); subtype = number; state_values = (0 1 2 3); } "
      + "node Truth { states = (\"low\" \"mid\" \"high\"); subtype = interval; state_values = (-infinity 0 1 infinity); } "
      + "function F {} potential (Mode) { data = (0.6 0.4); } potential (Faults | Mode) { data = (1 1 1 1 1 1 1 1); } "
      + "potential (Truth) { data = (0.2 0.3 0.5); } "
      + "potential (F | Faults) { model_nodes = (); model_data = ( probability(Faults >= 1) + 10 * variance(Faults) ); }";

  /** Models generate tables with the binomial numbers; function values and quantiles follow the beliefs. */
  public static void testModelsGenerateTablesAndValues() {
    Model last;
    try (Domain d = Domain.parse(MODELS)) {
      Node mode = d.getNodeByName("Mode"), faults = d.getNodeByName("Faults"), f = d.getNodeByName("F");
      Node truth = d.getNodeByName("Truth");
      equal(null, faults.getModel(), "no model yet");
      Model m = faults.newModel(List.of(mode));
      rows("one peer per model", m, faults.getModel(), "model nodes", List.of(mode), m.getNodes(),
          "one expression per state of Mode", 2L, m.getSize());
      m.setExpression(0, "Binomial(3, 0.1)");
      try (Expression two = Expression.number(2)) {
        m.setExpression(1, two);
        equal("2", two.toString(), "the caller keeps its expression");
      }
      check(!m.tableIsGenerated(), "not generated yet");
      d.generateTables();
      check(m.tableIsGenerated(), "generated");
      near(new double[] {0.729, 0.243, 0.027, 0.001, 0, 0, 1, 0}, faults.getTable().getData(), 1e-15,
          "Binomial(3, 0.1), then state 2");
      Expression held = m.getExpression(0);
      rows("Binomial", 69, held.getOperator(), "text of the model's expression", "Binomial (3, 0.1)", m.getExpressionString(0),
          "printing does not release it", "Binomial (3, 0.1)", held.toString(),
          "the stored copy", 2.0, m.getExpression(1).getNumber());

      List<String> messages = new ArrayList<>();
      OrvelException syntax = expectError(() -> m.setExpression(0, "Binomial(3,", (l, s) -> messages.add(s)), "syntax");
      check(syntax instanceof OrvelException.ParseException && !messages.isEmpty(), "syntax error with messages");
      m.setExpression(0, "Binomial(3, 2)");
      check(expectError(faults::generateTable, "p = 2") instanceof OrvelException.InvalidExpressionException,
          "invalid_expression");
      near(0.729, faults.getTable().getDataItem(0), 1e-15, "the table is kept");
      expectDead(held::getOperator, "a replaced expression refuses calls");
      m.setExpression(0, "Binomial(3, 0.5)");
      m.setNumberOfSamplesPerInterval(7);
      equal(7L, m.getNumberOfSamplesPerInterval(), "samples per interval");

      rows("no value before compiling", 17, expectError(f::getValue, "value").getCode(),
          "no quantile", 17, expectError(() -> faults.getQuantile(0.5), "quantile").getCode());
      d.compile();
      d.propagate();
      double[] pf = {0.6 * 0.125 + 0.4 * 0, 0.6 * 0.375, 0.6 * 0.375 + 0.4, 0.6 * 0.125};
      near(pf, faults.getBeliefs(), 1e-15, "Faults after generation at compilation");
      // P(Faults >= 1) + 10 Var(Faults), with E(Faults) = 1.7 and E(Faults^2) = 3.4
      near(1 - pf[0] + 10 * (3.4 - 1.7 * 1.7), f.getValue(), 1e-12, "function value");
      near(2.0, faults.getQuantile(0.6), 0, "0.6-quantile of Faults");
      near(0.5, truth.getQuantile(0.35), 1e-12, "interval quantile interpolates in [0, 1)");

      truth.doubleNumberOfIntervals();
      rows("split", 6L, truth.getNumberOfStates(), "at the midpoint of [0, 1)", 0.5, truth.getStateValue(3));
      truth.halveNumberOfIntervals();
      faults.setStateValue(3, 30);
      rows("merged back", 3L, truth.getNumberOfStates(), "state value set", 30.0, faults.getStateValue(3),
          "the state of value 2", 2L, faults.getStateIndex(2.0), "no state of 1.5", -1L, faults.getStateIndex(1.5));

      m.delete();
      check(m.isDeleted() && faults.getModel() == null, "deleting zeroes the model's peer");
      last = truth.newModel(List.of());
    }
    check(last.isDeleted(), "closing the domain zeroes its models' peers");
  }

  /** Marginals the caller closes, and model peers of two classes both zeroed on deletion. */
  public static void testMarginalsAndModelPeersOfAnyClass() {
    try (Domain d = BindingTest.rain()) {
      Node rain = d.getNodeByName("Rain"), wet = d.getNodeByName("Wet");
      d.compile();
      d.propagate();
      Table joint = d.getMarginal(List.of(wet, rain));
      near(new double[] {0.18, 0.08, 0.02, 0.72}, joint.getData(), 1e-15, "P(Wet, Rain)");
      try (Table wetOnly = joint.getMarginal(List.of(wet))) {
        near(new double[] {0.26, 0.74}, wetOnly.getData(), 1e-15, "P(Wet)");
      }
      joint.close();
      check(joint.isDeleted(), "closed");
      joint.close();
      equal(1, expectError(() -> d.getMarginal(List.of(rain, rain)), "twice").getCode(), "usage");

      // A program's own model peer class, laid out unlike Model: each is zeroed through its own field.
      final class OwnPeer {
        long tag = 42;
        long modelPeer;
      }
      Model api = rain.newModel(List.of());
      OwnPeer own = new OwnPeer();
      long raw = NativesTest.newModel(wet.nodePeer, rain.nodePeer);
      own.modelPeer = raw;
      rows("a program's own model peer", 0, N.orvModelSetBackpointer(raw, own), "read back", own,
          N.orvModelGetBackpointer(raw), "the node's home backpointer", d, N.orvNodeGetHomeBackpointer(wet.nodePeer));
      N.orvModelDelete(raw);
      api.delete();
      equal(42L, own.tag, "the other field is untouched");
      check(own.modelPeer == 0 && api.isDeleted(), "both peers zeroed");
    }
  }
}
