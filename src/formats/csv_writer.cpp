// The data-set writer: delimiter-separated text that the data-set reader
// reads back unchanged, into a file or a new string.
#include <cstdio>
#include <cstring>

#include "formats/csv.h"
#include "formats/net_output.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

constexpr std::size_t kFlushAt = 1u << 20;

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f'; }

// Text gathered in memory; for a file, written out a large piece at a time.
class CsvOutput {
 public:
  explicit CsvOutput(std::FILE *file) : file_(file) {}

  void put(const char *text, std::size_t length) {
    text_.put(text, length);
    if (file_ && (length_ += length) >= kFlushAt) flush();
  }
  void put_char(char c) { put(&c, 1); }

  void flush() {
    char *piece = text_.release_text();
    const std::size_t n = std::strlen(piece);
    const bool ok = std::fwrite(piece, 1, n, file_) == n;
    _orv_free(piece);
    length_ = 0;
    if (!ok) fail(orv_error_io);
  }

  char *release_text() { return text_.release_text(); }

 private:
  std::FILE *file_;
  NetOutput text_;
  std::size_t length_ = 0;
};

void put_cell(CsvOutput &out, const char *cell, char delimiter) {
  if (!cell) return;
  const std::size_t n = std::strlen(cell);
  const bool quote = n == 0 || is_space(cell[0]) || is_space(cell[n - 1]) || std::strchr(cell, '"') ||
                     std::memchr(cell, delimiter, n);
  if (!quote) {
    out.put(cell, n);
    return;
  }
  out.put_char('"');
  for (const char *p = cell;;) {
    const char *q = std::strchr(p, '"');
    if (!q) {
      out.put(p, std::strlen(p));
      break;
    }
    out.put(p, static_cast<std::size_t>(q - p) + 1);
    out.put_char('"');
    p = q + 1;
  }
  out.put_char('"');
}

void write_data_set(CsvOutput &out, const orv_data_set_s *ds, char delimiter) {
  const std::size_t columns = ds->columns.size();
  for (std::size_t c = 0; c < columns; ++c) {
    if (c > 0) out.put_char(delimiter);
    put_cell(out, ds->columns[c].name, delimiter);
  }
  out.put_char('\n');
  for (std::size_t r = 0; r < ds->rows; ++r) {
    for (std::size_t c = 0; c < columns; ++c) {
      if (c > 0) out.put_char(delimiter);
      put_cell(out, ds->columns[c].cells[r], delimiter);
    }
    out.put_char('\n');
  }
}

}  // namespace
}  // namespace orv

extern "C" {

orv_status_t orv_ds_save(orv_data_set_t data_set, const char *file_name, int delimiter) {
  if (!orv::is_data_set(data_set) || !file_name || !orv::csv_delimiter_ok(delimiter))
    return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::CLocale locale;
    std::FILE *file = orv::_orv_open_file(file_name, "w");
    if (!file) orv::fail(orv_error_io);
    try {
      orv::CsvOutput out(file);
      orv::write_data_set(out, data_set, static_cast<char>(delimiter));
      out.flush();
    } catch (...) {
      std::fclose(file);
      throw;
    }
    if (std::fclose(file) != 0) orv::fail(orv_error_io);
  });
}

char *orv_ds_to_csv_string(orv_data_set_t data_set, int delimiter) {
  if (!orv::is_data_set(data_set) || !orv::csv_delimiter_ok(delimiter)) return orv::usage<char *>(nullptr);
  return orv::guarded<char *>(nullptr, [&] {
    orv::CLocale locale;
    orv::CsvOutput out(nullptr);
    orv::write_data_set(out, data_set, static_cast<char>(delimiter));
    return out.release_text();
  });
}

}  // extern "C"
