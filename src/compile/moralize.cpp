// Moralization: parents, chance and decision children, and co-parents
// (marriages) become moral neighbours; the discrete boundary of every
// connected set of continuous nodes is then made complete.
#include "compile/moralize.h"

#include <algorithm>

#include "compile/compile_log.h"
#include "model/chain_blocks.h"
#include "model/node.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

// Collects one node's neighbours; `seen` holds, per vertex, the vertex whose
// list last took it, so duplicates are skipped without clearing.
struct NeighborCollector {
  const CompiledDomain &state;
  Vector<std::size_t> &seen;
  Vertex owner;
  Vector<orv_node_t> &list;

  // Adds node when it takes part and is new; returns whether it was added.
  bool add(orv_node_t node) {
    if (!participates(node)) return false;
    const long u = state.vertex(node);
    if (u < 0 || seen[u] == owner) return false;
    seen[u] = owner;
    list.push_back(node);
    return true;
  }
};

void set_up_vertices(orv_domain_s *d, CompiledDomain &state) {
  Fragment &g = state.moral_graph;
  g.domain = d;
  for (orv_node_t node = d->first_node; node; node = node->next) {
    if (!participates(node)) continue;
    g.nodes.push_back(node);
    g.weights.push_back(node->is_continuous() ? 1.0 : static_cast<double>(node->state_count));
    g.continuous.push_back(node->is_continuous() ? 1 : 0);
  }
  state.index_nodes();
  state.moral_neighbors.resize(g.size());
  g.adjacency.resize(g.size());
}

// The undirected neighbourhood: nodes of the same chain block that share a
// chain potential with node.
void collect_block_neighbors(NeighborCollector &collect, orv_node_t node) {
  const ChainBlock *block = node->chain_block;
  if (!block) return;
  for (const orv_table_s *potential : block->potentials) {
    if (!potential->nodes.contains(node)) continue;
    for (orv_node_t member : potential->nodes)
      if (member->chain_block == block) collect.add(member);
  }
}

// Co-parents through a child: its parents, or the parents of every member of
// its chain block. Each pair is logged once, from the older node.
void marry_through(NeighborCollector &collect, orv_node_t node, orv_node_t child, std::FILE *log) {
  auto marry = [&](orv_node_t spouse) {
    if (collect.add(spouse) && log && node->number < spouse->number)
      log_printf(log, "    Marrying %s and %s\n", log_name(node), log_name(spouse));
  };
  if (!child->chain_block) {
    for (orv_node_t spouse : child->parents) marry(spouse);
    return;
  }
  for (orv_node_t member : child->chain_block->members)
    for (orv_node_t spouse : member->parents) marry(spouse);
}

void collect_neighbors(CompiledDomain &state, Vertex v, Vector<std::size_t> &seen, std::FILE *log) {
  const orv_node_t node = state.moral_graph.nodes[v];
  NeighborCollector collect{state, seen, v, state.moral_neighbors[v]};
  seen[v] = v;
  if (node->category != orv_category_function)
    for (orv_node_t parent : node->parents) collect.add(parent);
  for (orv_node_t child : node->children)
    if (child->category == orv_category_chance || child->category == orv_category_decision) collect.add(child);
  collect_block_neighbors(collect, node);
  for (orv_node_t child : node->children)
    if (child->category > orv_category_instance) marry_through(collect, node, child, log);
}

bool listed(const Vector<orv_node_t> &list, orv_node_t node) {
  return std::find(list.begin(), list.end(), node) != list.end();
}

// The discrete nodes around the connected continuous set that contains start,
// in depth-first order; marks the continuous members as visited.
void continuous_boundary(const CompiledDomain &state, Vertex start, Vector<unsigned char> &visited,
                         Vector<std::size_t> &boundary_of, VertexList &boundary) {
  const Fragment &g = state.moral_graph;
  Vector<std::pair<Vertex, std::size_t>> stack;
  visited[start] = 1;
  stack.emplace_back(start, 0);
  while (!stack.empty()) {
    auto &[x, next] = stack.back();
    const Vector<orv_node_t> &around = state.moral_neighbors[x];
    if (next == around.size()) {
      stack.pop_back();
      continue;
    }
    const Vertex u = static_cast<Vertex>(state.vertex(around[next++]));
    if (!g.continuous[u]) {
      if (boundary_of[u] != start) {
        boundary_of[u] = start;
        boundary.push_back(u);
      }
    } else if (!visited[u]) {
      visited[u] = 1;
      stack.emplace_back(u, 0);
    }
  }
}

void add_necessary_fill_ins(orv_domain_s *d, CompiledDomain &state, std::FILE *log) {
  if (d->discrete_count == 0 || d->continuous_count == 0) return;
  log_printf(log, "\n\nNecessary fill-ins:\n\n");
  const Fragment &g = state.moral_graph;
  Vector<unsigned char> visited(g.size(), 0);
  Vector<std::size_t> boundary_of(g.size(), kNone);
  VertexList boundary;
  for (Vertex v = 0; v < g.size(); ++v) {
    if (!g.continuous[v] || visited[v] || state.moral_neighbors[v].empty()) continue;
    boundary.clear();
    continuous_boundary(state, v, visited, boundary_of, boundary);
    for (Vertex a : boundary) {
      for (Vertex b : boundary) {
        if (a == b || listed(state.moral_neighbors[a], g.nodes[b])) continue;
        state.moral_neighbors[a].push_back(g.nodes[b]);
        if (listed(state.moral_neighbors[b], g.nodes[a])) continue;  // logged from b's side
        const bool a_first = g.nodes[a]->number < g.nodes[b]->number;
        if (log) log_printf(log, "    Creating necessary fill-in between %s and %s\n", log_name(g.nodes[a_first ? a : b]),
                   log_name(g.nodes[a_first ? b : a]));
      }
    }
  }
}

// _orv_create_moral_graph: the fragment's sorted adjacency from the arrays.
void create_moral_graph(CompiledDomain &state) {
  Fragment &g = state.moral_graph;
  for (Vertex v = 0; v < g.size(); ++v) {
    VertexList &adjacent = g.adjacency[v];
    adjacent.reserve(state.moral_neighbors[v].size());
    for (orv_node_t node : state.moral_neighbors[v]) adjacent.push_back(static_cast<Vertex>(state.vertex(node)));
    std::sort(adjacent.begin(), adjacent.end());
  }
}

}  // namespace

void _orv_domain_moralize(orv_domain_s *d, CompiledDomain &state, std::FILE *log) {
  set_up_vertices(d, state);
  log_printf(log, "\n\nMoral links:\n\n");
  Vector<std::size_t> seen(state.moral_graph.size(), kNone);
  for (Vertex v = 0; v < state.moral_graph.size(); ++v) collect_neighbors(state, v, seen, log);
  add_necessary_fill_ins(d, state, log);
  create_moral_graph(state);
  for (auto &list : state.moral_neighbors) list.push_back(nullptr);
}

}  // namespace orv
