// The data-set store: text arena, growth of rows and columns, and release
// of texts with compaction once most of the arena is unreferenced.
#include <algorithm>

#include "data/data_set.h"

namespace orv {

const char kEmptyText[1] = {'\0'};

namespace {

constexpr std::size_t kBlockSize = 1u << 20;
constexpr std::size_t kCompactAfter = 4u << 20;  // garbage bytes before compaction pays

}  // namespace

TextArena::~TextArena() {
  for (char *block : blocks_) _orv_free(block);
}

void TextArena::open_block(std::size_t need) {
  if (need == 0) throw std::bad_alloc();  // the length overflowed
  const std::size_t size = std::max(need, kBlockSize);
  blocks_.reserve(blocks_.size() + 1);  // so that push_back cannot throw after the block exists
  char *block = static_cast<char *>(_orv_allocate(size));
  if (!block) throw std::bad_alloc();
  blocks_.push_back(block);
  free_ = block;
  left_ = size;
}

void TextArena::roll_back(const Mark &mark) noexcept {
  while (blocks_.size() > mark.blocks) {
    _orv_free(blocks_.back());
    blocks_.pop_back();
  }
  free_ = mark.free;
  left_ = mark.left;
  bytes_ = mark.bytes;
}

void TextArena::swap(TextArena &other) noexcept {
  blocks_.swap(other.blocks_);
  std::swap(free_, other.free_);
  std::swap(left_, other.left_);
  std::swap(bytes_, other.bytes_);
}

const char *store_text(orv_data_set_s *ds, const char *text, std::size_t length) {
  if (length == 0) return kEmptyText;
  return ds->arena.add(text, length);
}

const char *store_text(orv_data_set_s *ds, const char *text) {
  return text ? store_text(ds, text, std::strlen(text)) : nullptr;
}

namespace {

// Copies every referenced text into a new arena and swaps it in; on
// failure the old arena stays.
void compact(orv_data_set_s *ds) {
  TextArena fresh;
  Vector<DataColumn> columns;
  columns.reserve(ds->columns.size());
  auto copy = [&](const char *text) -> const char * {
    if (!text || text == kEmptyText) return text;
    return fresh.add(text, std::strlen(text));
  };
  for (const DataColumn &c : ds->columns) {
    DataColumn copy_column;
    copy_column.name = copy(c.name);
    copy_column.cells.reserve(c.cells.size());
    for (const char *cell : c.cells) copy_column.cells.push_back(copy(cell));
    columns.push_back(std::move(copy_column));
  }
  ds->columns.swap(columns);
  ds->arena.swap(fresh);
  ds->garbage = 0;
}

}  // namespace

void settle(orv_data_set_s *ds) noexcept {
  ds->distinct.clear();
  if (ds->garbage < kCompactAfter || ds->garbage * 2 < ds->arena.bytes()) return;
  try {
    compact(ds);
  } catch (...) {
    // Compaction only saves memory; without it the data set is still whole.
  }
}

namespace {

// Room for n elements, growing by doubling so that adding one row or
// column at a time costs amortised constant time.
template <class V>
void reserve_for(V &v, std::size_t n) {
  if (n <= v.capacity()) return;
  if (n > v.max_size()) throw std::bad_alloc();  // reported as no_memory, not as a length error
  v.reserve(std::max(n, std::min(v.capacity() * 2, v.max_size())));
}

}  // namespace

void ensure_size(orv_data_set_s *ds, std::size_t rows, std::size_t columns) {
  rows = std::max(rows, ds->rows);
  const std::size_t old_columns = ds->columns.size();
  columns = std::max(columns, old_columns);
  if (rows == ds->rows && columns == old_columns) return;
  try {
    reserve_for(ds->columns, columns);
    for (DataColumn &c : ds->columns) reserve_for(c.cells, rows);
    while (ds->columns.size() < columns) {
      DataColumn c;
      c.name = kEmptyText;
      c.cells.reserve(rows);
      ds->columns.push_back(std::move(c));
    }
  } catch (...) {
    // Back to the old shape, giving back buffers that empty vectors got.
    ds->columns.resize(old_columns);
    for (DataColumn &c : ds->columns)
      if (c.cells.empty()) Vector<const char *>().swap(c.cells);
    if (ds->columns.empty()) Vector<DataColumn>().swap(ds->columns);
    throw;
  }
  for (DataColumn &c : ds->columns) c.cells.resize(rows, nullptr);
  ds->rows = rows;
}

std::size_t append_column(orv_data_set_s *ds, const char *name) {
  DataColumn c;
  c.cells.assign(ds->rows, nullptr);
  reserve_for(ds->columns, ds->columns.size() + 1);
  c.name = store_text(ds, name);  // last allocation: nothing to undo after it
  ds->columns.push_back(std::move(c));
  return ds->columns.size() - 1;
}

}  // namespace orv
