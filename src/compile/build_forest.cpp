// Construction of cliques, separators, links and junction trees from the
// triangulation's cliques, with the clique and forest sections of the log.
#include "compile/build_forest.h"

#include <algorithm>

#include "compile/forest_log.h"
#include "compile/hypergraph_mcs.h"
#include "inference/function_potentials.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {

const char *plural(std::size_t n) { return n == 1 ? "" : "s"; }

// Gives every participating node a temporary vertex index in its mark and
// clears the marks again on every path.
class VertexIndex {
 public:
  explicit VertexIndex(orv_domain_s *d, Vector<orv_node_t> &vertices) : d_(d) {
    for (orv_node_s *n = d->first_node; n; n = n->next)
      if (n->counts_as_variable()) vertices.push_back(n);
    for (std::size_t i = 0; i < vertices.size(); ++i) vertices[i]->mark = i + 1;
  }
  ~VertexIndex() {
    for (orv_node_s *n = d_->first_node; n; n = n->next) n->mark = 0;
  }
  static std::size_t of(orv_node_t n) {
    if (!n->counts_as_variable() || n->mark == 0) fail(orv_error_error);
    return n->mark - 1;
  }

 private:
  orv_domain_s *d_;
};

orv_clique_s *make_clique(JunctionForest &forest, const HypergraphSearch &search, std::size_t index,
                          const Vector<std::size_t> &rank) {
  ArenaVector<std::size_t> members(search.cliques[index].begin(), search.cliques[index].end(),
                                   ArenaAllocator<std::size_t>(forest.arena));
  std::sort(members.begin(), members.end(),
            [&](std::size_t a, std::size_t b) { return rank[a] < rank[b]; });
  ArenaVector<orv_node_t> nodes{ArenaAllocator<orv_node_t>(forest.arena)};
  nodes.reserve(members.size() + 1);
  for (std::size_t v : members) nodes.push_back(search.vertices[v]);
  nodes.push_back(nullptr);

  forest.clique_store.reserve(forest.clique_store.size() + 1);
  ArenaOwned<orv_clique_s> clique(forest.arena.make<orv_clique_s>(forest.domain, forest.arena));
  orv_domain_s *d = forest.domain;
  clique->table = _orv_create_table(d, nodes.data(), orv_table_probability, 1, false, true, &forest.arena);
  if (forest.has_utility)
    clique->utility = _orv_create_table(d, nodes.data(), orv_table_utility, 1, false, true, &forest.arena);
  clique->number = ++forest.clique_count;
  clique->next = forest.first_clique;
  forest.first_clique = clique.get();
  forest.clique_store.push_back(std::move(clique));
  return forest.first_clique;
}

// Post-order over a search tree: children first; each child records its parent.
orv_clique_s *create_subtree(JunctionForest &forest, const HypergraphSearch &search,
                             std::size_t index, const Vector<std::size_t> &rank) {
  ArenaVector<orv_clique_s *> kids{ArenaAllocator<orv_clique_s *>(forest.arena)};
  kids.reserve(search.children[index].size());
  for (std::size_t child : search.children[index])
    kids.push_back(create_subtree(forest, search, child, rank));
  orv_clique_s *clique = make_clique(forest, search, index, rank);
  for (orv_clique_s *kid : kids) kid->parent = clique;
  return clique;
}

orv_junction_tree_s *new_junction_tree(JunctionForest &forest, orv_clique_s *root) {
  forest.tree_store.reserve(forest.tree_store.size() + 1);
  ArenaOwned<orv_junction_tree_s> tree(forest.arena.make<orv_junction_tree_s>(forest.domain));
  tree->number = ++forest.tree_count;
  tree->root = root;
  tree->has_utility = forest.has_utility;
  orv_junction_tree_s *raw = tree.get();
  if (forest.tree_store.empty()) forest.first_tree = raw;
  else forest.tree_store.back()->next = raw;
  forest.tree_store.push_back(std::move(tree));
  return raw;
}

void add_link(orv_clique_s *from, orv_clique_s *to, Separator *separator) {
  from->links.insert(from->links.begin(), CliqueLink{to, separator});
}

void link_to_parent(JunctionForest &forest, orv_clique_s *clique, orv_clique_s *parent) {
  orv_domain_s *d = forest.domain;
  ArenaVector<orv_node_t> shared{ArenaAllocator<orv_node_t>(forest.arena)};
  shared.reserve(clique->table->nodes.size() + 1);
  for (orv_node_t n : clique->table->nodes)
    if (n->junction_tree) shared.push_back(n);
  const std::size_t count = shared.size();
  shared.push_back(nullptr);

  forest.separators.reserve(forest.separators.size() + 1);
  clique->links.reserve(clique->links.size() + 1);
  parent->links.reserve(parent->links.size() + 1);
  ArenaOwned<Separator> separator(forest.arena.make<Separator>());
  separator->table = _orv_create_table(d, shared.data(), orv_table_probability, 1, false, true, &forest.arena);
  if (clique->utility)
    separator->utility = _orv_create_table(d, shared.data(), orv_table_utility, 1, false, true, &forest.arena);
  separator->child = clique;
  separator->parent = parent;
  const std::size_t size = separator->table->size;
  add_link(clique, parent, separator.get());
  add_link(parent, clique, separator.get());
  forest.separators.push_back(std::move(separator));

  clique->tree = parent->tree;
  for (orv_node_t n : clique->table->nodes)
    if (!n->junction_tree) n->junction_tree = clique->tree;

  if (!d->log) return;
  log_printf(d, "\nCliques %s and %s linked, ", _orv_print_size(d, clique->number),
             _orv_print_size(d, parent->number));
  log_printf(d, "separator has %s member%s and table size = %s", _orv_print_size(d, count), plural(count),
             _orv_print_size(d, size));
  if (count > 0) {
    log_printf(d, ":\n");
    log_node_names(d, shared.data(), count);
  } else {
    log_printf(d, "\n");
  }
}

// Gives every clique room for its links, so that linking fills the lists
// without growing them: one link to its parent and one per child; with
// utilities the cliques without a parent after the first link to it.
void reserve_links(JunctionForest &forest) {
  ArenaVector<std::size_t> degree(forest.clique_count + 1, 0, ArenaAllocator<std::size_t>(forest.arena));
  orv_clique_s *first_root = nullptr;
  for (orv_clique_s *c = forest.first_clique; c; c = c->next) {
    orv_clique_s *parent = c->parent;
    if (!parent && forest.has_utility) {
      if (!first_root) {
        first_root = c;
        continue;
      }
      parent = first_root;
    }
    if (parent) ++degree[c->number], ++degree[parent->number];
  }
  for (auto &c : forest.clique_store) c->links.reserve(degree[c->number]);
}

void start_tree(JunctionForest &forest, orv_clique_s *clique) {
  orv_junction_tree_s *tree = new_junction_tree(forest, clique);
  clique->tree = tree;
  for (orv_node_t n : clique->table->nodes) {
    if (n->junction_tree) fail(orv_error_error);
    n->junction_tree = tree;
  }
  if (forest.domain->log)
    log_printf(forest.domain, "\nCreating junction tree with clique %s as root ...\n",
             _orv_print_size(forest.domain, clique->number));
}

bool has_continuous_member(const orv_clique_s *c) { return c->table->continuous_count > 0; }

// From the root, branches through purely discrete cliques are followed; the
// first clique with continuous members on a branch, and everything beyond it,
// points back the way it was reached.
void set_ways_to_strong_root(orv_clique_s *clique, orv_clique_s *from, bool beyond) {
  if (from && (beyond || has_continuous_member(clique))) {
    clique->way_to_strong_root = from;
    beyond = true;
  }
  for (const CliqueLink &link : clique->links)
    if (link.neighbor != from) set_ways_to_strong_root(link.neighbor, clique, beyond);
}

void finish_trees(JunctionForest &forest) {
  orv_domain_s *d = forest.domain;
  // One pass each over the cliques and the nodes, keeping their order per tree.
  for (orv_clique_s *c = forest.first_clique; c; c = c->next) c->tree->cliques.push_back(c);
  for (orv_node_s *n = d->first_node; n; n = n->next)
    if (n->counts_as_variable() && n->junction_tree) {
      n->junction_tree->nodes.push_back(n);
      if (n->is_continuous()) n->junction_tree->has_continuous = true;
    }
  for (auto &tree : forest.tree_store) {
    tree->cliques.push_back(nullptr);
    tree->refuses_max = tree->has_continuous || tree->has_utility;
    if (forest.has_continuous) set_ways_to_strong_root(tree->root, nullptr, false);
  }
  for (auto &clique : forest.clique_store) {
    clique->neighbor_list.reserve(clique->links.size() + 1);
    for (const CliqueLink &link : clique->links) clique->neighbor_list.push_back(link.neighbor);
    clique->neighbor_list.push_back(nullptr);
  }
}

}  // namespace

void report_cliques(orv_domain_s *d, orv_node_t const *const *cliques) {
  if (!d->log) return;
  log_printf(d, "\n\nCliques:\n");
  std::size_t total = 0, total_cg = 0;
  for (std::size_t i = 0; cliques[i]; ++i) {
    const std::size_t count = _orv_node_list_length(cliques[i]);
    std::size_t size = 1, continuous = 0;
    for (std::size_t k = 0; k < count; ++k) {
      if (cliques[i][k]->is_discrete()) size = size_multiply(size, cliques[i][k]->state_count);
      else ++continuous;
    }
    log_printf(d, "\nClique %s, %s member%s, table size = %s:\n", _orv_print_size(d, i + 1),
               _orv_print_size(d, count), plural(count), _orv_print_size(d, size));
    log_node_names(d, cliques[i], count);
    total = size_add(total, size);
    total_cg = size_add(total_cg, size_multiply(size, continuous * (continuous + 3) / 2));
  }
  log_printf(d, "\nTotal clique table size: %s", _orv_print_size(d, total));
  if (total_cg > 0) log_printf(d, " + %s", _orv_print_size(d, total_cg));
  log_printf(d, "\n");
}

void build_junction_forest(JunctionForest &forest, orv_node_t const *const *cliques,
                           RankFunction user_rank) {
  orv_domain_s *d = forest.domain;
  HypergraphSearch search;
  {
    VertexIndex index(d, search.vertices);
    for (std::size_t i = 0; cliques[i]; ++i) {
      Vector<std::size_t> members;
      for (std::size_t k = 0; cliques[i][k]; ++k) members.push_back(VertexIndex::of(cliques[i][k]));
      search.cliques.push_back(std::move(members));
    }
  }
  _orv_perform_hypergraph_mcs(search);
  Vector<std::size_t> rank(search.number);
  if (user_rank)
    for (std::size_t v = 0; v < rank.size(); ++v) rank[v] = user_rank(search.vertices[v]);

  // Stores sized once: the pushes below never reallocate.
  const std::size_t count = search.cliques.size();
  forest.clique_store.reserve(count);
  forest.separators.reserve(count);
  forest.tree_store.reserve(count);
  for (std::size_t c : search.order)
    if (search.parent[c] < 0) create_subtree(forest, search, c, rank);
  reserve_links(forest);

  log_printf(d, "\n\nThe junction forest:\n");
  for (orv_clique_s *c = forest.first_clique; c; c = c->next) {
    orv_clique_s *parent = c->parent;
    if (!parent && forest.has_utility && forest.first_tree) parent = forest.first_tree->root;
    if (parent) link_to_parent(forest, c, parent);
    else start_tree(forest, c);
  }
  finish_trees(forest);
}

void create_node_results(JunctionForest &forest) {
  orv_domain_s *d = forest.domain;
  std::size_t doubles = 0, count = 0;
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    if (n->is_discrete()) {
      doubles = size_add(doubles, size_multiply(n->state_count, forest.has_utility ? 3 : 2));
      ++count;
    } else if (n->is_continuous()) {
      doubles = size_add(doubles, 2);
      ++count;
    } else if (n->category == orv_category_utility) {
      ++count;
    }
  }
  forest.results.reserve(count);
  forest.result_data.assign(doubles, 0.0);
  double *next = forest.result_data.data();
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    NodeResults r;
    r.node = n;
    if (n->is_discrete()) {
      r.belief = next, next += n->state_count;
      r.propagated_finding = next, next += n->state_count;
      if (forest.has_utility) r.expected_utility = next, next += n->state_count;
    } else if (n->is_continuous()) {
      r.belief = next, next += 2;  // mean and variance
    } else if (n->category != orv_category_utility) {
      continue;
    }
    forest.results.push_back(r);
  }
  for (NodeResults &r : forest.results) r.node->results = &r;
}

orv_table_s *node_potential(orv_node_t node) {
  if (node->results && node->results->derived) return node->results->derived;
  return node->table;
}

void _orv_domain_compile_qualitatively(orv_domain_s *d, orv_node_t const *const *cliques,
                                       RankFunction user_rank) {
  try {
    auto forest = make_owned<JunctionForest>(d);
    forest->has_utility = d->utility_count > 0;
    forest->has_continuous = d->continuous_count > 0;
    forest->user_order = user_rank != nullptr;
    JunctionForest *f = forest.get();
    attach_forest(d, std::move(forest));
    report_cliques(d, cliques);
    build_junction_forest(*f, cliques, user_rank);
    create_node_results(*f);
    construct_derived_potentials(*f);
    assign_potentials(*f);
    create_forest_controls(*f);
    log_flush(d);
  } catch (...) {
    uncompile(d);  // the whole qualitative phase is undone
    throw;
  }
}

}  // namespace orv
