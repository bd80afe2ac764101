package COM.orvel.OAPI;

import static COM.orvel.OAPI.BindingTest.N;
import static COM.orvel.OAPI.TestRunner.check;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.near;

import java.util.LinkedHashMap;
import java.util.List;
import java.util.Map;
import java.util.function.ObjLongConsumer;
import java.util.function.ToLongFunction;

/** Plain natives that only Java programs reach: settings, attributes, cases and data-set columns. */
public final class RoundTripTest {
  private RoundTripTest() {}

  record Setting(String name, ObjLongConsumer<Long> set, ToLongFunction<Long> get, long value) {}

  /** Each setter's value reads back; a zero level or size is refused and changes nothing. */
  public static void testDomainSettingsReadBack() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer;
      List<Setting> settings = List.of(
          new Setting("concurrency", (x, v) -> N.orvDomainSetConcurrencyLevel(x, v), N::orvDomainGetConcurrencyLevel, 3),
          new Setting("grain", (x, v) -> N.orvDomainSetGrainSize(x, v), N::orvDomainGetGrainSize, 4096),
          new Setting("em concurrency", (x, v) -> N.orvDomainSetEMConcurrencyLevel(x, v),
              N::orvDomainGetEMConcurrencyLevel, 2),
          new Setting("em iterations", (x, v) -> N.orvDomainSetMaxNumberOfEMIterations(x, v),
              N::orvDomainGetMaxNumberOfEMIterations, 7),
          new Setting("separators", (x, v) -> N.orvDomainSetMaxNumberOfSeparators(x, v),
              N::orvDomainGetMaxNumberOfSeparators, 11),
          new Setting("separator size", (x, v) -> N.orvDomainSetMaxSeparatorSize(x, v),
              N::orvDomainGetMaxSeparatorSize, 13));
      for (Setting s : settings) {
        s.set().accept(h, s.value());
        equal(0, N.orvErrorCode(), s.name() + " set");
        equal(s.value(), s.get().applyAsLong(h), s.name() + " read back");
      }
      equal(1, N.orvDomainSetConcurrencyLevel(h, 0), "level 0 is usage");
      equal(3L, N.orvDomainGetConcurrencyLevel(h), "level kept");
      equal(0, N.orvDomainSetLogLikelihoodTolerance(h, 1e-3), "tolerance");
      equal(1e-3, N.orvDomainGetLogLikelihoodTolerance(h), "tolerance read back");
      equal(2L, N.orvDomainGetNumberOfChanceNodes(h), "chance nodes");
    }
  }

  static Map<String, String> attributes(long first) {
    Map<String, String> out = new LinkedHashMap<>();
    for (long a = first; a != 0; a = N.orvAttributeGetNext(a)) out.put(N.orvAttributeGetKey(a), N.orvAttributeGetValue(a));
    return out;
  }

  /** Attributes of domains and nodes, read singly and by walking the chain. */
  public static void testAttributesWalk() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer;
      equal(0, N.orvDomainSetAttribute(h, "author", "me"), "set");
      equal(0, N.orvDomainSetAttribute(h, "note", "é ü"), "set non-ASCII");
      equal("é ü", N.orvDomainGetAttribute(h, "note"), "read");
      equal(Map.of("author", "me", "note", "é ü"), attributes(N.orvDomainGetFirstAttribute(h)), "domain chain");
      equal(0, N.orvNodeSetAttribute(rain, "k", "v"), "node attribute");
      equal(Map.of("k", "v"), attributes(N.orvNodeGetFirstAttribute(rain)), "node chain");
      equal(null, N.orvNodeGetAttribute(rain, "absent"), "absent key");
      equal(1, N.orvNodeSetAttribute(rain, null, "v"), "null key is usage");
    }
  }

  /** Cases: counts, entering a case as evidence, adding one. */
  public static void testCasesEnterAsEvidence() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer;
      equal(0, N.orvDomainSetNumberOfCases(h, 2), "cases");
      equal(0, N.orvNodeSetCaseState(rain, 1, 1), "case state");
      equal(0, N.orvDomainSetCaseCount(h, 1, 2.5), "count");
      equal(2.5, N.orvDomainGetCaseCount(h, 1), "count read back");
      check(N.orvNodeCaseIsSet(rain, 1) && !N.orvNodeCaseIsSet(rain, 0), "set and unset cells");
      d.compile();
      equal(0, N.orvDomainEnterCase(h, 1), "enter case");
      equal(1L, N.orvNodeGetSelectedState(rain), "case entered as evidence");
      equal(2L, N.orvDomainNewCase(h), "new case index");
      equal(3L, N.orvDomainGetNumberOfCases(h), "three cases");
      equal(0, N.orvNodeUnsetCase(rain, 1), "unset");
      check(!N.orvNodeCaseIsSet(rain, 1), "unset cell");
    }
  }

  /** Data-set columns: statistics, renaming, numeric sort, search and CSV text. */
  public static void testDataSetColumns() {
    long ds = N.orvNewDataSet();
    equal(0L, N.orvDSNewColumn(ds, "x"), "first column");
    String[] cells = {"4", "1", "3"};
    for (String cell : cells) N.orvDSSetDataItem(ds, N.orvDSNewRow(ds), 0, cell);
    equal(3L, N.orvDSGetNumberOfRows(ds), "rows");
    equal(1L, N.orvDSGetNumberOfColumns(ds), "columns");
    near(8.0 / 3.0, N.orvDSComputeMean(ds, 0), "mean");
    equal(0, N.orvDSSetColumnName(ds, 0, "y"), "rename");
    equal("y", N.orvDSGetColumnName(ds, 0), "renamed");
    equal(0, N.orvDSSortRowsNumerically(ds, 0, 1), "sort");
    equal(2L, N.orvDSFindRow(ds, 0, "4", 0), "4 is last after sorting");
    equal("y\n1\n3\n4\n", N.orvDSToCSVString(ds, ','), "CSV text");
    equal(-1.0, N.orvDSComputeMean(ds, 5), "no such column");
    equal(1, N.orvErrorCode(), "usage");
    equal(0, N.orvDSDelete(ds), "delete");
  }
}
