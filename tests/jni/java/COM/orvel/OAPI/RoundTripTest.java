package COM.orvel.OAPI;

import static COM.orvel.OAPI.BindingTest.N;
import static COM.orvel.OAPI.TestRunner.equal;
import static COM.orvel.OAPI.TestRunner.rows;

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
      rows("level 0 is usage", 1, N.orvDomainSetConcurrencyLevel(h, 0), "level kept", 3L, N.orvDomainGetConcurrencyLevel(h),
          "tolerance", 0, N.orvDomainSetLogLikelihoodTolerance(h, 1e-3),
          "tolerance read back", 1e-3, N.orvDomainGetLogLikelihoodTolerance(h),
          "chance nodes", 2L, N.orvDomainGetNumberOfChanceNodes(h));
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
      rows("set", 0, N.orvDomainSetAttribute(h, "author", "me"),
          "set non-ASCII", 0, N.orvDomainSetAttribute(h, "note", "é ü"), "read", "é ü", N.orvDomainGetAttribute(h, "note"),
          "domain chain", Map.of("author", "me", "note", "é ü"), attributes(N.orvDomainGetFirstAttribute(h)),
          "node attribute", 0, N.orvNodeSetAttribute(rain, "k", "v"),
          "node chain", Map.of("k", "v"), attributes(N.orvNodeGetFirstAttribute(rain)),
          "absent key", null, N.orvNodeGetAttribute(rain, "absent"),
          "null key is usage", 1, N.orvNodeSetAttribute(rain, null, "v"));
    }
  }

  /** Cases: counts, entering a case as evidence, adding one. */
  public static void testCasesEnterAsEvidence() {
    try (Domain d = BindingTest.rain()) {
      long h = d.modelPeer, rain = d.getNodeByName("Rain").nodePeer;
      rows("cases", 0, N.orvDomainSetNumberOfCases(h, 2), "case state", 0, N.orvNodeSetCaseState(rain, 1, 1),
          "count", 0, N.orvDomainSetCaseCount(h, 1, 2.5), "count read back", 2.5, N.orvDomainGetCaseCount(h, 1),
          "set cell", true, N.orvNodeCaseIsSet(rain, 1), "unset cell", false, N.orvNodeCaseIsSet(rain, 0));
      d.compile();
      rows("enter case", 0, N.orvDomainEnterCase(h, 1), "case entered as evidence", 1L, N.orvNodeGetSelectedState(rain),
          "new case index", 2L, N.orvDomainNewCase(h), "three cases", 3L, N.orvDomainGetNumberOfCases(h),
          "unset", 0, N.orvNodeUnsetCase(rain, 1), "unset cell", false, N.orvNodeCaseIsSet(rain, 1));
    }
  }

  /** Data-set columns: statistics, renaming, numeric sort, search and CSV text. */
  public static void testDataSetColumns() {
    long ds = N.orvNewDataSet();
    equal(0L, N.orvDSNewColumn(ds, "x"), "first column");
    for (String cell : new String[] {"4", "1", "3"}) N.orvDSSetDataItem(ds, N.orvDSNewRow(ds), 0, cell);
    rows("rows", 3L, N.orvDSGetNumberOfRows(ds), "columns", 1L, N.orvDSGetNumberOfColumns(ds),
        "mean", 8.0 / 3.0, N.orvDSComputeMean(ds, 0), "rename", 0, N.orvDSSetColumnName(ds, 0, "y"),
        "renamed", "y", N.orvDSGetColumnName(ds, 0), "sort", 0, N.orvDSSortRowsNumerically(ds, 0, 1),
        "4 is last after sorting", 2L, N.orvDSFindRow(ds, 0, "4", 0),
        "CSV text", "y\n1\n3\n4\n", N.orvDSToCSVString(ds, ','),
        "no such column", -1.0, N.orvDSComputeMean(ds, 5), "usage", 1, N.orvErrorCode(), "delete", 0, N.orvDSDelete(ds));
  }
}
