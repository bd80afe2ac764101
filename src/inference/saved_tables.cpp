// Saving the forest's tables to memory and reloading a tree from the copy.
#include "inference/saved_tables.h"

#include <algorithm>

namespace orv {

namespace {

// Visits a tree's tables in a fixed order: per clique its tables, then the
// separators towards its children.
template <class Visit>
void for_each_table(orv_junction_tree_s *t, Visit &&visit) {
  for (orv_clique_s *c : t->cliques) {
    if (!c) break;
    visit(c->table);
    if (c->utility) visit(c->utility);
    for (const CliqueLink &link : c->links) {
      if (link.separator->child != c) continue;
      visit(link.separator->table);
      if (link.separator->utility) visit(link.separator->utility);
    }
  }
}

std::size_t tree_offset(JunctionForest &forest, orv_junction_tree_s *tree) {
  std::size_t offset = 0;
  for (orv_junction_tree_s *t = forest.first_tree; t != tree; t = t->next)
    for_each_table(t, [&](orv_table_s *table) { offset += table->size; });
  return offset;
}

}  // namespace

void save_tables(JunctionForest &forest) {
  auto saved = make_owned<SavedTables>();
  std::size_t total = 0;
  for (orv_junction_tree_s *t = forest.first_tree; t; t = t->next)
    for_each_table(t, [&](orv_table_s *table) { total = size_add(total, table->size); });
  saved->data.resize(total);
  double *next = saved->data.data();
  for (orv_junction_tree_s *t = forest.first_tree; t; t = t->next) {
    for_each_table(t, [&](orv_table_s *table) { next = std::copy(table->data, table->data + table->size, next); });
    saved->constants.push_back(t->accumulated_constant);
    saved->constants.push_back(t->accumulated_log);
  }
  forest.saved = std::move(saved);
}

void restore_saved_tables(JunctionForest &forest, orv_junction_tree_s *tree) noexcept {
  const double *next = forest.saved->data.data() + tree_offset(forest, tree);
  for_each_table(tree, [&](orv_table_s *table) {
    std::copy(next, next + table->size, table->data);
    next += table->size;
  });
  const std::size_t index = 2 * (tree->number - 1);
  tree->accumulated_constant = forest.saved->constants[index];
  tree->accumulated_log = forest.saved->constants[index + 1];
}

}  // namespace orv
