// Vertex elimination with incrementally maintained scores. Each vertex has a
// fill-in score (pairs of its neighbours that are not adjacent, plain or
// weighted by the product of the vertex weights) and a clique score (the
// size or weight of the clique its elimination forms). Eliminating a vertex
// only touches the scores of its neighbours and of the common neighbours of
// each new fill-in, so a run costs time in proportion to the neighbourhoods.
#include "compile/elimination.h"

#include <algorithm>
#include <cstdint>

#include "compile/compile_log.h"
#include "compile/heap.h"
#include "runtime/arena.h"

namespace orv {
namespace {

// Its working graph and scores live in the arena of one run.
class Eliminator {
 public:
  using List = ArenaVector<Vertex>;

  Eliminator(const Fragment &g, bool weighted, bool scored, std::FILE *log, Arena &arena)
      : g_(g), weighted_(weighted), scored_(scored), log_(log), neighbors_(ArenaAllocator<List>(arena)),
        fill_(ArenaAllocator<std::int64_t>(arena)), clique_(ArenaAllocator<double>(arena)),
        stamp_(g.size(), 0, ArenaAllocator<std::uint32_t>(arena)), touched_(ArenaAllocator<Vertex>(arena)),
        touched_mark_(g.size(), 0, ArenaAllocator<unsigned char>(arena)) {
    neighbors_.reserve(g.size());
    for (const VertexList &around : g.adjacency)
      neighbors_.emplace_back(around.begin(), around.end(), ArenaAllocator<Vertex>(arena));
    touched_.reserve(g.size());
    if (!scored_) return;
    fill_.resize(g.size(), 0);
    clique_.resize(g.size(), 0.0);
    for (Vertex v = 0; v < g.size(); ++v) {
      fill_[v] = initial_fill_score(v);
      clique_[v] = clique_score(v);
    }
  }

  std::int64_t fill(Vertex v) const { return fill_[v]; }
  double clique(Vertex v) const { return clique_[v]; }
  const List &neighbors(Vertex v) const { return neighbors_[v]; }
  const List &touched() const { return touched_; }
  void clear_touched() {
    for (Vertex t : touched_) touched_mark_[t] = 0;
    touched_.clear();
  }

  // Removes v from the graph, joining its neighbours pairwise; appends the
  // record of its clique (members sorted) to out.
  void eliminate(Vertex v, Vector<EliminatedClique> &out) {
    out.emplace_back();
    EliminatedClique &record = out.back();
    record.eliminated = v;
    const List &around = neighbors_[v];
    record.members.reserve(around.size() + 1);
    record.members.assign(around.begin(), around.end());
    _orv_insert_in_sorted_list(record.members, v);

    const std::uint32_t mark = next_stamp();
    for (Vertex u : around) stamp_[u] = mark;
    for (Vertex u : around) {
      erase_sorted(neighbors_[u], v);
      if (!scored_) continue;
      std::int64_t lost = 0;  // pairs {v, w} that were not adjacent
      for (Vertex w : neighbors_[u])
        if (stamp_[w] != mark) lost += pair_weight(v, w);
      fill_[u] -= lost;
      touch(u);
    }
    for (std::size_t i = 0; i < around.size(); ++i)
      for (std::size_t j = i + 1; j < around.size(); ++j)
        if (!contains_sorted(neighbors_[around[i]], around[j])) add_fill_in(around[i], around[j], record);
    if (scored_)
      for (Vertex u : around) clique_[u] = clique_score(u);
  }

 private:
  std::uint32_t next_stamp() {
    if (++stamp_id_ == 0) {  // wrapped: old stamps could collide
      std::fill(stamp_.begin(), stamp_.end(), 0);
      stamp_id_ = 1;
    }
    return stamp_id_;
  }

  std::int64_t pair_weight(Vertex a, Vertex b) const {
    return weighted_ ? static_cast<std::int64_t>(g_.weights[a]) * static_cast<std::int64_t>(g_.weights[b]) : 1;
  }

  void touch(Vertex u) {
    if (touched_mark_[u]) return;
    touched_mark_[u] = 1;
    touched_.push_back(u);
  }

  std::int64_t initial_fill_score(Vertex v) const {
    const List &around = neighbors_[v];
    std::int64_t score = 0;
    for (std::size_t i = 0; i < around.size(); ++i)
      for (std::size_t j = i + 1; j < around.size(); ++j)
        if (!contains_sorted(neighbors_[around[i]], around[j])) score += pair_weight(around[i], around[j]);
    return score;
  }

  double clique_score(Vertex v) const {
    const List &around = neighbors_[v];
    if (!weighted_) return static_cast<double>(around.size() + 1);
    double product = 1.0, continuous = 0.0;
    auto count = [&](Vertex u) {
      if (g_.continuous[u])
        continuous += 1.0;
      else
        product *= g_.weights[u];
    };
    count(v);
    for (Vertex u : around) count(u);
    return continuous > 0 ? product * (continuous * (continuous + 3.0) / 2.0 + 1.0) : product;
  }

  // Joins x and y. Common neighbours lose the open pair {x, y}; x gains the
  // pairs {y, w} for its neighbours w not adjacent to y, and y likewise.
  void add_fill_in(Vertex x, Vertex y, EliminatedClique &record) {
    if (scored_) {
      std::uint32_t mark = next_stamp();
      for (Vertex w : neighbors_[y]) stamp_[w] = mark;
      std::int64_t gain_x = 0;
      for (Vertex w : neighbors_[x]) {
        if (stamp_[w] == mark) {
          fill_[w] -= pair_weight(x, y);
          touch(w);
        } else {
          gain_x += pair_weight(y, w);
        }
      }
      mark = next_stamp();
      for (Vertex w : neighbors_[x]) stamp_[w] = mark;
      std::int64_t gain_y = 0;
      for (Vertex w : neighbors_[y])
        if (stamp_[w] != mark) gain_y += pair_weight(x, w);
      fill_[x] += gain_x;
      fill_[y] += gain_y;
      touch(x);
      touch(y);
    }
    _orv_insert_in_sorted_list(neighbors_[x], y);
    _orv_insert_in_sorted_list(neighbors_[y], x);
    record.fill_ins.push_back(x);
    record.fill_ins.push_back(y);
    if (log_) log_printf(log_, "\tCreating fill-in between %s and %s\n", log_name(g_.nodes[x]), log_name(g_.nodes[y]));
  }

  const Fragment &g_;
  const bool weighted_;
  const bool scored_;
  std::FILE *const log_;
  ArenaVector<List> neighbors_;
  ArenaVector<std::int64_t> fill_;
  ArenaVector<double> clique_;
  ArenaVector<std::uint32_t> stamp_;
  std::uint32_t stamp_id_ = 0;
  List touched_;
  ArenaVector<unsigned char> touched_mark_;
};

// Keeps the records whose cliques are maximal. With an elimination order, the
// clique of z is contained in an earlier one exactly when some w eliminated
// before it has z as its first-eliminated later neighbour and one more later
// neighbour than z.
template <class Flags>
Vector<EliminatedClique> keep_maximal(Vector<EliminatedClique> &records, const Flags &absorbed, Arena &arena) {
  const std::size_t count = records.size();
  ArenaVector<std::size_t> position(count, 0, ArenaAllocator<std::size_t>(arena));  // by vertex; records hold every vertex once
  for (std::size_t i = 0; i < count; ++i) position[records[i].eliminated] = i;
  ArenaVector<unsigned char> contained(count, 0, ArenaAllocator<unsigned char>(arena));
  for (std::size_t i = 0; i < count; ++i) {
    const EliminatedClique &r = records[i];
    std::size_t first = count;
    for (Vertex u : r.members)
      if (u != r.eliminated) first = std::min(first, position[u]);
    if (first == count) continue;
    if (r.members.size() == records[first].members.size() + 1) contained[first] = 1;
  }
  Vector<EliminatedClique> kept;
  kept.reserve(count);
  for (std::size_t i = 0; i < count; ++i)
    if (!contained[i] && !absorbed[i]) kept.push_back(std::move(records[i]));
  return kept;
}

}  // namespace

Vector<EliminatedClique> eliminate_greedily(const Fragment &g, orv_triangulation_method_t method, std::FILE *log) {
  const bool weighted = method == orv_tm_clique_weight || method == orv_tm_fill_in_weight;
  const bool clique_first = method == orv_tm_clique_size || method == orv_tm_clique_weight;
  Arena arena;
  Eliminator run(g, weighted, true, log, arena);
  // The heap orders by a copy of the scores: one elimination changes the
  // scores of many vertices at once, and sifting one of them against the new
  // scores of others not yet sifted can leave a vertex above a better one.
  // Each copy is refreshed just before its own vertex is sifted.
  struct Key {
    std::int64_t fill;
    double clique;
  };
  ArenaVector<Key> key(g.size(), Key{}, ArenaAllocator<Key>(arena));
  auto better = [&key, clique_first](Vertex a, Vertex b) {
    const Key &x = key[a], &y = key[b];
    if (y.fill == 0) return false;
    if (x.fill == 0) return true;
    if (clique_first) {
      if (x.clique != y.clique) return x.clique < y.clique;
      return x.fill < y.fill;
    }
    if (x.fill != y.fill) return x.fill < y.fill;
    return x.clique < y.clique;
  };
  VertexHeap<decltype(better)> heap(g.size(), better);
  for (Vertex v = 0; v < g.size(); ++v) {
    key[v] = {run.fill(v), run.clique(v)};
    heap.push(v);
  }

  Vector<EliminatedClique> records;
  records.reserve(g.size());
  ArenaVector<unsigned char> absorbed{ArenaAllocator<unsigned char>(arena)};
  absorbed.reserve(g.size());
  auto settle = [&] {
    for (Vertex t : run.touched()) {
      key[t] = {run.fill(t), run.clique(t)};
      heap.update(t);
    }
    run.clear_touched();
  };
  while (!heap.empty()) {
    const Vertex v = heap.pop();
    run.eliminate(v, records);
    absorbed.push_back(0);
    settle();
    // Neighbours whose own cliques lie inside v's go at once.
    const std::size_t v_record = records.size() - 1;
    for (std::size_t i = 0; i < records[v_record].members.size(); ++i) {
      const Vertex u = records[v_record].members[i];
      if (u == v || !heap.contains(u) || run.fill(u) != 0) continue;
      if (!sorted_subset(run.neighbors(u), records[v_record].members)) continue;
      heap.remove(u);
      run.eliminate(u, records);
      absorbed.push_back(1);
      settle();
    }
  }
  return keep_maximal(records, absorbed, arena);
}

Vector<EliminatedClique> eliminate_in_order(const Fragment &g, const VertexList &order, std::FILE *log) {
  Arena arena;
  Eliminator run(g, false, false, log, arena);
  Vector<EliminatedClique> records;
  records.reserve(order.size());
  for (Vertex v : order) run.eliminate(v, records);
  ArenaVector<unsigned char> absorbed(records.size(), 0, ArenaAllocator<unsigned char>(arena));
  return keep_maximal(records, absorbed, arena);
}

Vector<EliminatedClique> eliminate_randomly(const Fragment &g, RandomChoice &choice, std::size_t &work) {
  Arena arena;
  Eliminator run(g, true, true, nullptr, arena);
  VertexList alive(g.size());
  std::size_t continuous_left = 0;
  for (Vertex v = 0; v < g.size(); ++v) alive[v] = v, continuous_left += g.continuous[v];
  const bool mixed = continuous_left > 0 && continuous_left < g.size();
  Vector<EliminatedClique> records;
  records.reserve(g.size());
  VertexList pool;
  pool.reserve(g.size());
  while (!alive.empty()) {
    // While continuous vertices remain in a mixed component only they may
    // go, so that the order is strong.
    auto allowed = [&](Vertex v) { return !mixed || continuous_left == 0 || g.continuous[v]; };
    std::size_t pick = alive.size();
    double best = 0.0;
    for (std::size_t i = 0; i < alive.size(); ++i) {
      const Vertex v = alive[i];
      if (!allowed(v)) continue;
      if (run.fill(v) == 0) {
        pick = i;
        break;
      }
      const double score = choice.by_fill ? static_cast<double>(run.fill(v)) : run.clique(v);
      if (pick == alive.size() || score < best) best = score, pick = i;
    }
    if (run.fill(alive[pick]) != 0) {
      pool.clear();
      const double bound = best * (1.0 + choice.slack);
      for (std::size_t i = 0; i < alive.size(); ++i) {
        const Vertex v = alive[i];
        if (allowed(v) && (choice.by_fill ? static_cast<double>(run.fill(v)) : run.clique(v)) <= bound)
          pool.push_back(static_cast<Vertex>(i));
      }
      pick = pool[choice.next() % pool.size()];
    }
    const Vertex v = alive[pick];
    work += alive.size() + run.neighbors(v).size() * run.neighbors(v).size();
    alive[pick] = alive.back();
    alive.pop_back();
    continuous_left -= g.continuous[v];
    run.eliminate(v, records);
    run.clear_touched();
  }
  ArenaVector<unsigned char> absorbed(records.size(), 0, ArenaAllocator<unsigned char>(arena));
  return keep_maximal(records, absorbed, arena);
}

const char *method_name(orv_triangulation_method_t method) {
  switch (method) {
    case orv_tm_clique_size: return "clique size";
    case orv_tm_clique_weight: return "clique weight";
    case orv_tm_fill_in_size: return "fill-in size";
    case orv_tm_fill_in_weight: return "fill-in weight";
    case orv_tm_total_weight: return "total weight";
    case orv_tm_best_greedy: return "best greedy";
  }
  return "";
}

}  // namespace orv
