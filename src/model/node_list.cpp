// Node list services.
#include "model/node_list.h"

#include <cstring>

#include "model/node.h"
#include "runtime/error.h"

namespace orv {
namespace {
// What every empty list returns, on every thread: never written.
orv_node_t empty_list[1] = {nullptr};

bool is_discrete(orv_node_t node) { return node->kind == orv_kind_discrete; }
}  // namespace

orv_node_t *NodeList::c_list() {
  return items_.empty() ? empty_list : items_.data();
}

void NodeList::reserve(std::size_t count) { items_.reserve(count + 1); }

void NodeList::push_back(orv_node_t node) { insert_at(size(), node); }

void NodeList::insert_at(std::size_t position, orv_node_t node) {
  if (items_.empty()) {
    items_.reserve(2);
    items_.push_back(nullptr);
  }
  items_.insert(items_.begin() + static_cast<std::ptrdiff_t>(position), node);
}

void NodeList::insert_discrete_first(orv_node_t node) {
  insert_at(is_discrete(node) ? 0 : size(), node);
}

void NodeList::assign(orv_node_t const *list) {
  Vector<orv_node_t> fresh;
  const std::size_t n = _orv_node_list_length(list);
  if (n > 0) {
    fresh.reserve(n + 1);
    fresh.assign(list, list + n);
    fresh.push_back(nullptr);
  }
  items_.swap(fresh);
}

void NodeList::remove_at(std::size_t position) {
  items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(position));
}

bool NodeList::remove(orv_node_t node) {
  const long i = index_of(node);
  if (i < 0) return false;
  remove_at(static_cast<std::size_t>(i));
  return true;
}

long NodeList::index_of(orv_node_t node) const {
  for (std::size_t i = 0; i < size(); ++i)
    if (items_[i] == node) return static_cast<long>(i);
  return -1;
}

std::size_t _orv_node_list_length(orv_node_t const *list) {
  std::size_t n = 0;
  if (list)
    while (list[n]) ++n;
  return n;
}

orv_node_t _orv_get_last_node(orv_node_t const *list) {
  const std::size_t n = _orv_node_list_length(list);
  return n == 0 ? nullptr : list[n - 1];
}

long _orv_node_index(orv_node_t const *list, orv_node_t node) {
  for (std::size_t i = 0; list && list[i]; ++i)
    if (list[i] == node) return static_cast<long>(i);
  return -1;
}

bool _orv_node_in_list(orv_node_t const *list, orv_node_t node) {
  return _orv_node_index(list, node) >= 0;
}

bool _orv_subset_of_node_list(orv_node_t const *sub, orv_node_t const *list) {
  for (std::size_t i = 0; sub && sub[i]; ++i)
    if (!_orv_node_in_list(list, sub[i])) return false;
  return true;
}

bool _orv_sublist_of_node_list(orv_node_t const *sub, orv_node_t const *list) {
  std::size_t j = 0;
  for (std::size_t i = 0; sub && sub[i]; ++i) {
    while (list && list[j] && list[j] != sub[i]) ++j;
    if (!list || !list[j]) return false;
    ++j;
  }
  return true;
}

bool _orv_node_lists_are_equal(orv_node_t const *a, orv_node_t const *b) {
  const std::size_t n = _orv_node_list_length(a);
  if (n != _orv_node_list_length(b)) return false;
  for (std::size_t i = 0; i < n; ++i)
    if (a[i] != b[i]) return false;
  return true;
}

std::size_t _orv_count_discrete_nodes(orv_node_t const *list) {
  std::size_t n = 0;
  for (std::size_t i = 0; list && list[i]; ++i) n += list[i]->kind == orv_kind_discrete;
  return n;
}

std::size_t _orv_count_cg_nodes(orv_node_t const *list) {
  std::size_t n = 0;
  for (std::size_t i = 0; list && list[i]; ++i) n += list[i]->kind > 0;
  return n;
}

orv_node_t *_orv_copy_nodes(orv_node_t const *list) {
  const std::size_t n = _orv_node_list_length(list);
  auto *copy = static_cast<orv_node_t *>(
      _orv_allocate(size_multiply(size_add(n, 1), sizeof(orv_node_t))));
  if (!copy) return nullptr;
  if (n) std::memcpy(copy, list, n * sizeof(orv_node_t));
  copy[n] = nullptr;
  return copy;
}

orv_node_t *_orv_new_empty_node_list() { return _orv_copy_nodes(nullptr); }

void _orv_remove_from_list(orv_node_t *list, std::size_t position) {
  for (std::size_t i = position; list[i]; ++i) list[i] = list[i + 1];
}

void _orv_node_list_remove(orv_node_t *list, orv_node_t node) {
  const long i = _orv_node_index(list, node);
  if (i >= 0) _orv_remove_from_list(list, static_cast<std::size_t>(i));
}

orv_node_t *_orv_node_list_extend(orv_node_t *list) {
  const std::size_t n = _orv_node_list_length(list);
  auto *grown = static_cast<orv_node_t *>(
      _orv_reallocate(list, size_multiply(size_add(n, 2), sizeof(orv_node_t))));
  if (!grown) return nullptr;
  grown[n] = nullptr;
  grown[n + 1] = nullptr;
  return grown;
}

void _orv_node_list_append(orv_node_t *list, orv_node_t node) {
  const std::size_t n = _orv_node_list_length(list);
  list[n] = node;
  list[n + 1] = nullptr;
}

void _orv_node_list_insert(orv_node_t *list, orv_node_t node) {
  if (!is_discrete(node)) return _orv_node_list_append(list, node);
  const std::size_t n = _orv_node_list_length(list);
  std::memmove(list + 1, list, (n + 1) * sizeof(orv_node_t));
  list[0] = node;
}

orv_status_t _orv_allocate_node_array(NodeArray *array, std::size_t count) {
  if (array->capacity >= count) {
    set_error(orv_error_none);
    return orv_error_none;
  }
  auto *grown = static_cast<orv_node_t *>(
      _orv_reallocate(array->items, size_multiply(count, sizeof(orv_node_t))));
  if (!grown) return error_code();
  array->items = grown;
  array->capacity = count;
  return orv_error_none;
}

}  // namespace orv
