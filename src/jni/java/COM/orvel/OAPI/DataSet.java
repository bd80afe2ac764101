package COM.orvel.OAPI;

import static COM.orvel.OAPI.Natives.ok;
import static COM.orvel.OAPI.Natives.status;

import java.util.ArrayList;
import java.util.List;

/**
 * Rows and columns of text cells read from delimiter-separated text (a header
 * row of column names, then one row per line), with statistics, sorting and
 * discretization of numeric columns; Domain.addCases turns rows into cases.
 * A cell is a string or missing (null); missing and "" are distinct. Rows and
 * columns are numbered from 0. Close it to free the engine's memory; closing
 * twice is harmless.
 */
public class DataSet implements AutoCloseable {
  public static final int EQUAL_WIDTH = 0, EQUAL_FREQUENCY = 1;

  /** The engine's handle; 0 once the data set is closed. */
  long handle;

  /** An empty data set. */
  public DataSet() {
    handle = Natives.API.orvNewDataSet();
    OrvelException.check();
  }

  private DataSet(long handle) {
    this.handle = handle;
  }

  /**
   * Reads a data set from text (when the source holds a newline) or from the
   * file of that name; messages go to listener (line numbers for files,
   * character offsets for text; listener may be null).
   */
  public static DataSet parse(String textOrFileName, char delimiter, ParseListener listener) {
    DataSet ds = new DataSet(read(textOrFileName, delimiter, listener));
    OrvelException.check();
    return ds;
  }

  /** As parse with a listener; the messages become the exception's text. */
  public static DataSet parse(String textOrFileName, char delimiter) {
    StringBuilder messages = new StringBuilder();
    DataSet ds = new DataSet(read(textOrFileName, delimiter, OrvelException.collect(messages)));
    OrvelException.check(messages);
    return ds;
  }

  private static long read(String source, char delimiter, ParseListener listener) {
    boolean isFile = source != null && source.indexOf('\n') < 0;
    return Natives.API.orvParseDataSet(isFile, source, delimiter, listener);
  }

  long handle() {
    if (handle == 0) throw new IllegalStateException("the data set is closed");
    return handle;
  }

  public boolean isClosed() {
    return handle == 0;
  }

  @Override
  public void close() {
    if (handle == 0) return;
    Natives.API.orvDSDelete(handle);
    handle = 0;
    OrvelException.check();
  }

  public long getNumberOfRows() {
    return ok(Natives.API.orvDSGetNumberOfRows(handle()));
  }

  public long getNumberOfColumns() {
    return ok(Natives.API.orvDSGetNumberOfColumns(handle()));
  }

  /** Appends a row of missing cells; returns its index. */
  public long newRow() {
    return ok(Natives.API.orvDSNewRow(handle()));
  }

  /** Appends a column of missing cells; returns its index. */
  public long newColumn(String name) {
    return ok(Natives.API.orvDSNewColumn(handle(), name));
  }

  /** Appends a copy of a column under a new name (null: the same name); returns its index. */
  public long copyColumn(long column, String name) {
    return ok(Natives.API.orvDSCopyColumn(handle(), column, name));
  }

  public void deleteRow(long row) {
    status(Natives.API.orvDSDeleteRow(handle(), row));
  }

  public void deleteColumn(long column) {
    status(Natives.API.orvDSDeleteColumn(handle(), column));
  }

  /** Moves a row to newIndex, shifting those between. */
  public void moveRow(long row, long newIndex) {
    status(Natives.API.orvDSMoveRow(handle(), row, newIndex));
  }

  public void moveColumn(long column, long newIndex) {
    status(Natives.API.orvDSMoveColumn(handle(), column, newIndex));
  }

  public String getColumnName(long column) {
    String s = Natives.API.orvDSGetColumnName(handle(), column);
    OrvelException.check();
    return s;
  }

  public void setColumnName(long column, String name) {
    status(Natives.API.orvDSSetColumnName(handle(), column, name));
  }

  /** The names of all columns, in order. */
  public List<String> getColumnNames() {
    long n = getNumberOfColumns();
    List<String> out = new ArrayList<>();
    for (long c = 0; c < n; c++) out.add(getColumnName(c));
    return out;
  }

  /** The cell's text, or null for a missing cell. */
  public String getDataItem(long row, long column) {
    String s = Natives.API.orvDSGetDataItem(handle(), row, column);
    OrvelException.check();
    return s;
  }

  /** Stores text in a cell (null: missing); rows and columns up to it are created. */
  public void setDataItem(long row, long column, String text) {
    status(Natives.API.orvDSSetDataItem(handle(), row, column, text));
  }

  /** Each row's cell of the column as a number; missing for a missing or non-numeric cell. */
  public double[] getNumbers(long column, double missing) {
    double[] out = Natives.API.orvDSGetNumbers(handle(), column, missing);
    OrvelException.check();
    return out == null ? new double[0] : out;
  }

  /** The distinct texts of the column (missing cells left out) in byte order. */
  public List<String> getDistinctValues(long column) {
    Object[] values = Natives.API.orvDSGetDistinctValues(handle(), column);
    OrvelException.check();
    List<String> out = new ArrayList<>(values.length);
    for (Object v : values) out.add((String) v);
    return out;
  }

  /** Number of cells of the column equal to value (not null). */
  public long countData(long column, String value) {
    return ok(Natives.API.orvDSCountData(handle(), column, value));
  }

  /** The first row at or after start whose cell equals value (not null), or -1. */
  public long findRow(long column, String value, long start) {
    return ok(Natives.API.orvDSFindRow(handle(), column, value, start));
  }

  /** Replaces every cell equal to oldValue by newValue (neither null); returns how many. */
  public long replaceValues(long column, String oldValue, String newValue) {
    return ok(Natives.API.orvDSReplaceValues(handle(), column, oldValue, newValue));
  }

  /** Moves the column's cells down by shift rows (up when negative); vacated cells are missing. */
  public void shiftColumnData(long column, long shift) {
    status(Natives.API.orvDSShiftColumnData(handle(), column, shift));
  }

  public boolean columnIsEmpty(long column) {
    return ok(Natives.API.orvDSColumnIsEmpty(handle(), column));
  }

  public boolean columnDataAreNumbers(long column) {
    return ok(Natives.API.orvDSColumnDataAreNumbers(handle(), column));
  }

  public boolean columnDataAreIntervals(long column) {
    return ok(Natives.API.orvDSColumnDataAreIntervals(handle(), column));
  }

  /** Stable sort of the rows by the text of a column; missing cells last. */
  public void sortRows(long column, boolean ascending) {
    status(Natives.API.orvDSSortRows(handle(), column, ascending ? 1 : 0));
  }

  /** Stable sort of the rows by the numbers of a column; missing and non-numeric cells last. */
  public void sortRowsNumerically(long column, boolean ascending) {
    status(Natives.API.orvDSSortRowsNumerically(handle(), column, ascending ? 1 : 0));
  }

  /** Mean of the numbers of a column (missing cells skipped; other text is a usage error). */
  public double computeMean(long column) {
    return ok(Natives.API.orvDSComputeMean(handle(), column));
  }

  /** Sample variance (over n - 1). */
  public double computeVariance(long column) {
    return ok(Natives.API.orvDSComputeVariance(handle(), column));
  }

  public double computeSkewness(long column) {
    return ok(Natives.API.orvDSComputeSkewness(handle(), column));
  }

  /** Excess kurtosis. */
  public double computeKurtosis(long column) {
    return ok(Natives.API.orvDSComputeKurtosis(handle(), column));
  }

  public double computeMeanAbsoluteError(long actual, long forecast) {
    return ok(Natives.API.orvDSComputeMeanAbsoluteError(handle(), actual, forecast));
  }

  /** In percent. */
  public double computeMeanAbsolutePercentageError(long actual, long forecast) {
    return ok(Natives.API.orvDSComputeMeanAbsolutePercentageError(handle(), actual, forecast));
  }

  public double computeMeanAbsoluteScaledError(long actual, long forecast, long period) {
    return ok(Natives.API.orvDSComputeMeanAbsoluteScaledError(handle(), actual, forecast, period));
  }

  /**
   * Interval boundaries b[0] < ... < b[k] (b[0] and b[k] the infinite ends) for count
   * intervals by EQUAL_WIDTH or EQUAL_FREQUENCY (tied values may give fewer).
   */
  public double[] discretizeColumn(long column, int method, long count) {
    double[] cuts = Natives.API.orvDSDiscretizeColumn(handle(), column, method, count);
    OrvelException.check();
    return cuts;
  }

  /** Supervised boundaries by class entropy against classColumn. */
  public double[] computeIEMIntervals(long column, long classColumn) {
    double[] cuts = Natives.API.orvDSComputeIEMIntervals(handle(), column, classColumn);
    OrvelException.check();
    return cuts;
  }

  /** Replaces each number of the column by its interval's label, such as "[2.5;7)". */
  public void applyDiscretization(long column, double[] boundaries) {
    status(Natives.API.orvDSApplyDiscretization(handle(), column, boundaries));
  }

  /** The data set as delimiter-separated text that parse reads back unchanged. */
  public String toCsvString(char delimiter) {
    String s = Natives.API.orvDSToCSVString(handle(), delimiter);
    OrvelException.check();
    return s;
  }

  public void save(String fileName, char delimiter) {
    status(Natives.API.orvDSSave(handle(), fileName, delimiter));
  }

  @Override
  public String toString() {
    return handle == 0 ? "<closed data set>" : "DataSet" + getColumnNames() + " x " + getNumberOfRows();
  }
}
