// The domain's name hash table, built lazily by name lookups. It is an
// accelerator only: when memory runs short it disappears and lookups scan.
#pragma once

#include <cstddef>

#include "orvel.h"

namespace orv {

class NameIndex {
 public:
  NameIndex() = default;
  NameIndex(const NameIndex &) = delete;
  NameIndex &operator=(const NameIndex &) = delete;
  ~NameIndex() { clear(); }

  // Lookup by name over the chain starting at first (N nodes). Never fails.
  orv_node_t find(orv_node_t first, std::size_t n, const char *name);
  // Keeps the table (if any) in step with names; failures drop the table.
  void insert(orv_node_t node);
  void remove(orv_node_t node, const char *old_name);
  void clear() noexcept;

  std::size_t bucket_count() const { return size_; }

  static std::size_t hash(const char *name, std::size_t m);
  static std::size_t smallest_prime_at_least(std::size_t n);

 private:
  struct Entry {
    orv_node_t node;
    Entry *next;
  };
  bool build(orv_node_t first, std::size_t n);
  bool rebuild(std::size_t n);
  bool link(orv_node_t node);

  Entry **buckets_ = nullptr;
  std::size_t size_ = 0;
};

}  // namespace orv
