// Node lists: the null-terminated arrays of node handles that the API returns,
// and the internal services on them.
#pragma once

#include <algorithm>
#include <cstddef>

#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

// An owned, growable node list that always presents a null-terminated array.
// An empty list allocates nothing and presents a shared static terminator.
class NodeList {
 public:
  NodeList() = default;

  std::size_t size() const { return items_.empty() ? 0 : items_.size() - 1; }
  bool empty() const { return size() == 0; }
  orv_node_t operator[](std::size_t i) const { return items_[i]; }
  orv_node_t *begin() { return items_.empty() ? nullptr : items_.data(); }
  orv_node_t *end() { return begin() + size(); }
  orv_node_t const *begin() const { return items_.empty() ? nullptr : items_.data(); }
  orv_node_t const *end() const { return begin() + size(); }

  // The null-terminated array; valid until the list changes.
  orv_node_t *c_list();

  // Each may throw bad_alloc and then leaves the list unchanged.
  void push_back(orv_node_t node);
  // A discrete node goes before every non-discrete node, any other at the end.
  void insert_discrete_first(orv_node_t node);
  void insert_at(std::size_t position, orv_node_t node);
  void reserve(std::size_t count);
  void assign(orv_node_t const *list);

  // Never fails: removal only shrinks.
  void remove_at(std::size_t position);
  bool remove(orv_node_t node);
  void clear() { items_.clear(); }

  long index_of(orv_node_t node) const;
  bool contains(orv_node_t node) const { return index_of(node) >= 0; }
  void swap(NodeList &other) noexcept { items_.swap(other.items_); }

 private:
  Vector<orv_node_t> items_;  // empty, or entries followed by one null
};

// Services on raw null-terminated node arrays.
std::size_t _orv_node_list_length(orv_node_t const *list);
orv_node_t _orv_get_last_node(orv_node_t const *list);
long _orv_node_index(orv_node_t const *list, orv_node_t node);
bool _orv_node_in_list(orv_node_t const *list, orv_node_t node);
bool _orv_subset_of_node_list(orv_node_t const *sub, orv_node_t const *list);
bool _orv_sublist_of_node_list(orv_node_t const *sub, orv_node_t const *list);
bool _orv_node_lists_are_equal(orv_node_t const *a, orv_node_t const *b);
std::size_t _orv_count_discrete_nodes(orv_node_t const *list);
std::size_t _orv_count_cg_nodes(orv_node_t const *list);
// Fresh copies through the funnel (null on no_memory); free with _orv_free.
orv_node_t *_orv_copy_nodes(orv_node_t const *list);
orv_node_t *_orv_new_empty_node_list();
void _orv_remove_from_list(orv_node_t *list, std::size_t position);
void _orv_node_list_remove(orv_node_t *list, orv_node_t node);
// Grows a funnel-allocated list by one slot and re-terminates it; on failure
// returns null and leaves the old list valid.
orv_node_t *_orv_node_list_extend(orv_node_t *list);
// Stores at the end; the caller has made room with _orv_node_list_extend.
void _orv_node_list_append(orv_node_t *list, orv_node_t node);
// As append, but a discrete node goes to the front.
void _orv_node_list_insert(orv_node_t *list, orv_node_t node);

// A (pointer, capacity) pair grown to exactly `count` entries when short.
struct NodeArray {
  orv_node_t *items = nullptr;
  std::size_t capacity = 0;
};
orv_status_t _orv_allocate_node_array(NodeArray *array, std::size_t count);

}  // namespace orv
