// The data-set reader: delimiter-separated text, a header row of column
// names and one row per line. Lines are scanned in place (from the text, or
// from large blocks of the file), so reading costs little beyond the data.
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "data/data_set.h"
#include "formats/csv.h"
#include "formats/lexer.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

constexpr std::size_t kReadBlock = 1u << 20;
constexpr std::size_t kSampleRows = 1000;  // rows read before the columns are sized for the whole input

bool is_blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

class CsvReader {
 public:
  CsvReader(orv_data_set_s *ds, char delimiter, orv_error_handler_t handler, void *data, bool text,
            std::size_t input_size)
      : ds_(ds), delimiter_(delimiter), handler_(handler), data_(data), text_(text), input_size_(input_size) {}

  // One line, without its newline; terminated is false for a last line that
  // runs to the end of the input. offset: where the line starts.
  void line(const char *begin, const char *end, bool terminated, std::size_t offset) {
    line_begin_ = begin;
    offset_ = offset;
    if (!is_blank_line(begin, end)) {
      split_fields(begin, end, terminated);
      if (!have_header_) take_header();
      else take_row();
    }
    ++line_number_;
    consumed_ = offset + static_cast<std::size_t>(end - begin) + 1;
  }

  // End of input at end (offset input_size_ of text).
  void finish(const char *end) {
    line_begin_ = end;
    offset_ = input_size_;
    if (!have_header_) fail_at("empty file", end);
  }

 private:
  struct Field {
    const char *text;  // null: missing
    std::size_t length;
    std::size_t copy_start;  // where a copied text starts in scratch_, else kSizeSentinel
  };

  bool is_blank_line(const char *p, const char *end) const {
    for (; p < end; ++p)
      if (*p == delimiter_ || (!is_blank(*p) && *p != '\0')) return false;
    return true;
  }

  std::size_t location(const char *at) const {
    return text_ ? offset_ + static_cast<std::size_t>(at - line_begin_) : line_number_;
  }

  [[noreturn]] void fail_at(const char *message, const char *at) {
    if (handler_) handler_(location(at), message, data_);
    throw ParseAbort{orv_error_parse};
  }

  [[noreturn]] void unexpected(char c, const char *at) {
    char message[32];
    std::snprintf(message, sizeof message, "unexpected character: `%c'", c);
    fail_at(message, at);
  }

  void null_warning(const char *at) {
    if (handler_) handler_(location(at), "warning: null character ignored", data_);
  }

  const char *skip_blanks(const char *p, const char *end) {
    for (; p < end && (is_blank(*p) || *p == '\0') && *p != delimiter_; ++p)
      if (*p == '\0') null_warning(p);
    return p;
  }

  // Splits the line into fields_ (quoted texts and texts with NULs are
  // copied into scratch_).
  void split_fields(const char *p, const char *end, bool terminated) {
    fields_.clear();
    scratch_.clear();
    for (;;) {
      p = skip_blanks(p, end);
      if (p < end && *p == '"') p = quoted_field(p + 1, end, terminated);
      else p = plain_field(p, end);
      if (p == end) break;
      ++p;  // the delimiter
    }
    if (!terminated) fail_at("unexpected end-of-file", end);
    // Copied texts now have stable addresses.
    for (Field &f : fields_)
      if (f.copy_start != kSizeSentinel) f.text = scratch_.data() + f.copy_start;
  }

  const char *quoted_field(const char *p, const char *end, bool terminated) {
    const std::size_t start = scratch_.size();
    for (;;) {
      if (p == end) fail_at(terminated ? "unexpected end-of-line" : "unexpected end-of-file", p);
      const char c = *p++;
      if (c == '"') {
        if (p < end && *p == '"') ++p;
        else break;
      } else if (c == '\0') {
        null_warning(p - 1);
        continue;
      }
      scratch_.push_back(c);
    }
    p = skip_blanks(p, end);
    if (p < end && *p != delimiter_) unexpected(*p, p);
    push_copied(start, true);
    return p;
  }

  const char *plain_field(const char *p, const char *end) {
    const char *begin = p;
    bool has_null = false;
    for (; p < end && *p != delimiter_; ++p) {
      if (*p == '"') unexpected('"', p);
      if (*p == '\0') {
        null_warning(p);
        has_null = true;
      }
    }
    const char *last = p;
    while (last > begin && (is_blank(last[-1]) || last[-1] == '\0')) --last;
    if (!has_null) {
      fields_.push_back(Field{last > begin ? begin : nullptr, static_cast<std::size_t>(last - begin), kSizeSentinel});
      return p;
    }
    const std::size_t start = scratch_.size();
    for (const char *q = begin; q < last; ++q)
      if (*q != '\0') scratch_.push_back(*q);
    if (scratch_.size() == start) {
      fields_.push_back(Field{nullptr, 0, kSizeSentinel});
    } else {
      push_copied(start, false);
    }
    return p;
  }

  // A field copied into scratch_ from start on; its text is fixed up once
  // the line is split (scratch_ may move while it grows).
  void push_copied(std::size_t start, bool quoted) {
    const std::size_t length = scratch_.size() - start;
    if (quoted && length == 0) {
      fields_.push_back(Field{kEmptyText, 0, kSizeSentinel});
      return;
    }
    fields_.push_back(Field{nullptr, length, start});
  }

  void take_header() {
    for (const Field &f : fields_)
      if (!f.text) fail_at("missing field in header", line_begin_);
    ds_->columns.reserve(fields_.size());
    for (const Field &f : fields_) {
      DataColumn c;
      c.name = store_text(ds_, f.text, f.length);
      ds_->columns.push_back(std::move(c));
    }
    have_header_ = true;
  }

  void take_row() {
    const std::size_t columns = ds_->columns.size();
    if (fields_.size() > columns) fail_at("too many fields", line_begin_);
    if (ds_->rows == kSampleRows) size_columns();
    // A failure part way leaves columns of unequal length; the data set is
    // then deleted unread.
    DataColumn *column = ds_->columns.data();
    for (const Field &f : fields_) {
      const char *cell = !f.text || f.text == kEmptyText ? f.text : ds_->arena.add(f.text, f.length);
      (column++)->cells.push_back(cell);
    }
    for (std::size_t k = fields_.size(); k < columns; ++k) (column++)->cells.push_back(nullptr);
    ++ds_->rows;
  }

  // Sizes the columns for the rows the input will hold at the rate so far.
  void size_columns() {
    if (consumed_ == 0 || input_size_ <= consumed_) return;
    const double per_row = static_cast<double>(consumed_) / static_cast<double>(kSampleRows);
    const double expected = static_cast<double>(input_size_) / per_row * 1.02 + 16;
    if (!(expected < 1e15)) return;
    for (DataColumn &c : ds_->columns) c.cells.reserve(static_cast<std::size_t>(expected));
  }

  orv_data_set_s *ds_;
  char delimiter_;
  orv_error_handler_t handler_;
  void *data_;
  bool text_;
  std::size_t input_size_;
  bool have_header_ = false;
  std::size_t line_number_ = 1;
  std::size_t offset_ = 0;
  std::size_t consumed_ = 0;
  const char *line_begin_ = nullptr;
  Vector<Field> fields_;
  Vector<char> scratch_;
};

// Feeds the lines of text to the reader.
void read_text(CsvReader &reader, const char *text) {
  const char *p = text;
  const char *end = text + std::strlen(text);
  while (p < end) {
    const char *newline = static_cast<const char *>(std::memchr(p, '\n', static_cast<std::size_t>(end - p)));
    const bool terminated = newline != nullptr;
    const char *line_end = terminated ? newline : end;
    reader.line(p, line_end, terminated, static_cast<std::size_t>(p - text));
    p = terminated ? newline + 1 : end;
  }
  reader.finish(end);
}

// Feeds the lines of the file to the reader, a block at a time; a line
// longer than the buffer grows it.
void read_stream(CsvReader &reader, std::FILE *file) {
  Vector<char> buffer(kReadBlock);
  std::size_t start = 0, filled = 0, scanned = 0;
  std::size_t base = 0;  // file offset of buffer[0]
  bool at_end = false;
  for (;;) {
    const char *data = buffer.data();
    const void *newline = std::memchr(data + scanned, '\n', filled - scanned);
    if (newline) {
      const char *nl = static_cast<const char *>(newline);
      reader.line(data + start, nl, true, base + start);
      start = scanned = static_cast<std::size_t>(nl - data) + 1;
      continue;
    }
    if (at_end) {
      if (start < filled) reader.line(data + start, data + filled, false, base + start);
      reader.finish(data + filled);
      return;
    }
    // Keep the unfinished line and read more after it.
    std::memmove(buffer.data(), buffer.data() + start, filled - start);
    filled -= start;
    base += start;
    scanned = filled;
    start = 0;
    if (filled == buffer.size()) buffer.resize(size_multiply(buffer.size(), 2));
    const std::size_t got = std::fread(buffer.data() + filled, 1, buffer.size() - filled, file);
    if (got == 0) {
      if (std::ferror(file)) fail(orv_error_io);
      at_end = true;
    }
    filled += got;
  }
}

bool delimiter_ok(int delimiter) {
  return delimiter >= 1 && delimiter <= 255 && delimiter != '"' && delimiter != '\n' && delimiter != '\r' &&
         delimiter != '\v' && delimiter != '\f';
}

// Runs the read into a new data set; returns it, or throws the first cause.
template <class Feed>
orv_data_set_s *read_data_set(Feed &&feed, int delimiter, orv_error_handler_t handler, void *data, bool text,
                              std::size_t size) {
  CLocale locale;
  Owned<orv_data_set_s> ds(make<orv_data_set_s>());
  CsvReader reader(ds.get(), static_cast<char>(delimiter), handler, data, text, size);
  try {
    feed(reader);
  } catch (const ParseAbort &abort) {
    fail(abort.code);
  }
  return ds.release();
}

}  // namespace

orv_data_set_s *parse_data_set(bool is_file, const char *source, int delimiter, orv_error_handler_t handler,
                               void *data) {
  if (!is_file) {
    return read_data_set([&](CsvReader &reader) { read_text(reader, source); }, delimiter, handler, data, true,
                         std::strlen(source));
  }
  std::FILE *file = _orv_open_file(source, "r");
  if (!file) fail(orv_error_io);
  Owned<orv_data_set_s> ds;
  try {
    struct stat info;
    const std::size_t size = fstat(fileno(file), &info) == 0 ? static_cast<std::size_t>(info.st_size) : 0;
    ds.reset(read_data_set([&](CsvReader &reader) { read_stream(reader, file); }, delimiter, handler, data,
                           false, size));
  } catch (...) {
    std::fclose(file);
    throw;
  }
  if (std::fclose(file) != 0) fail(orv_error_io);
  return ds.release();
}

bool csv_delimiter_ok(int delimiter) { return delimiter_ok(delimiter); }

}  // namespace orv

extern "C" {

orv_data_set_t _orv_parse_data_set(int is_file, const char *source, int delimiter, orv_error_handler_t handler,
                                   void *data) {
  if (!source || (is_file != 0 && is_file != 1) || !orv::delimiter_ok(delimiter))
    return orv::usage<orv_data_set_t>(nullptr);
  return orv::guarded<orv_data_set_t>(
      nullptr, [&] { return orv::parse_data_set(is_file == 1, source, delimiter, handler, data); });
}

orv_data_set_t orv_csv_parse_data_set(const char *file_name_or_text, int delimiter, orv_error_handler_t handler,
                                      void *data) {
  if (!file_name_or_text || !orv::delimiter_ok(delimiter)) return orv::usage<orv_data_set_t>(nullptr);
  const bool is_file = std::strchr(file_name_or_text, '\n') == nullptr;
  return orv::guarded<orv_data_set_t>(
      nullptr, [&] { return orv::parse_data_set(is_file, file_name_or_text, delimiter, handler, data); });
}

}  // extern "C"
