// Name hash table: prime-sized buckets of singly linked entries, built on the
// first lookup past ten nodes and rebuilt when the nodes outgrow it twofold.
#include "model/name_index.h"

#include <cstring>

#include "model/node.h"
#include "runtime/allocate.h"
#include "runtime/error.h"

namespace orv {

std::size_t NameIndex::hash(const char *name, std::size_t m) {
  std::size_t h = 0;
  for (const unsigned char *c = reinterpret_cast<const unsigned char *>(name); *c; ++c)
    h = (*c + 2 * h) % m;
  return h;
}

std::size_t NameIndex::smallest_prime_at_least(std::size_t n) {
  const auto is_prime = [](std::size_t k) {
    if (k < 2) return false;
    if (k % 2 == 0) return k == 2;
    for (std::size_t d = 3; d <= k / d; d += 2)
      if (k % d == 0) return false;
    return true;
  };
  while (!is_prime(n)) ++n;
  return n;
}

void NameIndex::clear() noexcept {
  for (std::size_t b = 0; b < size_; ++b) {
    for (Entry *e = buckets_[b]; e;) {
      Entry *next = e->next;
      _orv_free(e);
      e = next;
    }
  }
  _orv_free(buckets_);
  buckets_ = nullptr;
  size_ = 0;
}

bool NameIndex::link(orv_node_t node) {
  auto *entry = static_cast<Entry *>(_orv_allocate(sizeof(Entry)));
  if (!entry) return false;
  const std::size_t b = hash(node->name.c_str(), size_);
  *entry = Entry{node, buckets_[b]};
  buckets_[b] = entry;
  return true;
}

bool NameIndex::build(orv_node_t first, std::size_t n) {
  const std::size_t size = smallest_prime_at_least(n);
  buckets_ = static_cast<Entry **>(_orv_allocate(size_multiply(size, sizeof(Entry *))));
  if (!buckets_) return false;
  std::memset(buckets_, 0, size * sizeof(Entry *));
  size_ = size;
  for (orv_node_t node = first; node; node = node->next) {
    if (node->name.empty()) continue;
    if (!link(node)) {
      clear();
      return false;
    }
  }
  return true;
}

bool NameIndex::rebuild(std::size_t n) {
  // Unlink every entry into one chain, then refill a fresh bucket array.
  Entry *chain = nullptr;
  for (std::size_t b = 0; b < size_; ++b) {
    for (Entry *e = buckets_[b]; e;) {
      Entry *next = e->next;
      e->next = chain;
      chain = e;
      e = next;
    }
  }
  _orv_free(buckets_);
  buckets_ = nullptr;
  size_ = 0;
  const std::size_t size = smallest_prime_at_least(n);
  auto **buckets = static_cast<Entry **>(_orv_allocate(size_multiply(size, sizeof(Entry *))));
  if (!buckets) {
    while (chain) {
      Entry *next = chain->next;
      _orv_free(chain);
      chain = next;
    }
    return false;
  }
  std::memset(buckets, 0, size * sizeof(Entry *));
  buckets_ = buckets;
  size_ = size;
  while (chain) {
    Entry *next = chain->next;
    const std::size_t b = hash(chain->node->name.c_str(), size_);
    chain->next = buckets_[b];
    buckets_[b] = chain;
    chain = next;
  }
  return true;
}

orv_node_t NameIndex::find(orv_node_t first, std::size_t n, const char *name) {
  if (n <= 10) {
    clear();
  } else if (size_ == 0) {
    build(first, n);
  } else if (n > 2 * size_) {
    rebuild(n);
  }
  if (size_ != 0) {
    for (Entry *e = buckets_[hash(name, size_)]; e; e = e->next)
      if (e->node->name == name) return e->node;
    return nullptr;
  }
  set_error(orv_error_none);  // a failed build only costs speed
  for (orv_node_t node = first; node; node = node->next)
    if (!node->name.empty() && node->name == name) return node;
  return nullptr;
}

void NameIndex::insert(orv_node_t node) {
  if (size_ == 0 || node->name.empty()) return;
  if (!link(node)) {
    clear();
    set_error(orv_error_none);
  }
}

void NameIndex::remove(orv_node_t node, const char *old_name) {
  if (size_ == 0 || !old_name || !*old_name) return;
  for (Entry **p = &buckets_[hash(old_name, size_)]; *p; p = &(*p)->next) {
    if ((*p)->node == node) {
      Entry *gone = *p;
      *p = gone->next;
      _orv_free(gone);
      return;
    }
  }
}

}  // namespace orv
