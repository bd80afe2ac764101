// The data-set record: named columns of text cells (null for a missing
// cell), column-major, with the text held in an arena of large blocks so
// that a data set read from a file costs little more than the file.
#pragma once

#include <cstddef>
#include <cstring>

#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

// Append-only store of NUL-terminated strings in large blocks. Strings stay
// where they are until the arena is destroyed (or replaced by compaction).
class TextArena {
 public:
  TextArena() = default;
  ~TextArena();
  TextArena(const TextArena &) = delete;
  TextArena &operator=(const TextArena &) = delete;
  // Copies text[0..length) and a NUL; throws bad_alloc.
  const char *add(const char *text, std::size_t length) {
    if (length >= left_) open_block(length + 1);
    char *copy = free_;
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    free_ += length + 1;
    left_ -= length + 1;
    bytes_ += length + 1;
    return copy;
  }
  // Bytes handed out so far (strings and their NULs).
  std::size_t bytes() const { return bytes_; }
  void swap(TextArena &other) noexcept;

  // The arena's end, to take back the strings added after it (and free the
  // blocks they opened) when the operation that added them fails.
  struct Mark {
    std::size_t blocks;
    char *free;
    std::size_t left;
    std::size_t bytes;
  };
  Mark mark() const { return {blocks_.size(), free_, left_, bytes_}; }
  void roll_back(const Mark &mark) noexcept;

 private:
  // Starts a new block of at least need bytes; throws bad_alloc.
  void open_block(std::size_t need);

  Vector<char *> blocks_;
  char *free_ = nullptr;  // next free byte of the last block
  std::size_t left_ = 0;  // bytes left in the last block
  std::size_t bytes_ = 0;
};

struct DataColumn {
  const char *name = nullptr;
  Vector<const char *> cells;  // one per row; null is a missing cell
};

// The empty string shared by every empty cell (no arena bytes).
extern const char kEmptyText[1];

}  // namespace orv

struct orv_data_set_s : orv::Tagged {
  orv_data_set_s() : Tagged(orv::Tag::data_set) {}

  orv::Vector<orv::DataColumn> columns;
  std::size_t rows = 0;
  orv::TextArena arena;
  std::size_t garbage = 0;                  // arena bytes no cell or name refers to any more
  orv::Vector<const char *> distinct;       // result of orv_ds_get_distinct_values
};

namespace orv {

inline bool is_data_set(const orv_data_set_s *ds) { return ds && ds->tag == Tag::data_set; }
inline bool is_column(const orv_data_set_s *ds, std::size_t column) {
  return is_data_set(ds) && column < ds->columns.size();
}

// A copy of text in the data set's arena (kEmptyText for ""); null stays
// null. Throws bad_alloc.
const char *store_text(orv_data_set_s *ds, const char *text);
const char *store_text(orv_data_set_s *ds, const char *text, std::size_t length);

// Marks a cell or name text as no longer referenced. Never fails.
inline void release_text(orv_data_set_s *ds, const char *text) noexcept {
  if (text && text != kEmptyText) ds->garbage += std::strlen(text) + 1;
}

// Ends every change: drops the distinct-values result and compacts the
// arena when most of it is unreferenced (which moves every text). Never
// fails.
void settle(orv_data_set_s *ds) noexcept;

// Makes the data set at least rows x columns (new cells missing, new
// columns named ""); all or nothing. Throws bad_alloc.
void ensure_size(orv_data_set_s *ds, std::size_t rows, std::size_t columns);

// Appends a column of missing cells named by a copy of name; all or
// nothing. Throws bad_alloc.
std::size_t append_column(orv_data_set_s *ds, const char *name);

// Runs step (which may add texts to the arena) so that, when it throws,
// the texts it added are taken back.
template <class Step>
auto with_arena_undo(orv_data_set_s *ds, Step &&step) {
  const TextArena::Mark mark = ds->arena.mark();
  try {
    return step();
  } catch (...) {
    ds->arena.roll_back(mark);
    throw;
  }
}

// Cell equality with null standing for missing.
inline bool same_cell(const char *a, const char *b) {
  return a == b || (a && b && std::strcmp(a, b) == 0);
}


}  // namespace orv
