// The elimination plan of a targeted query: a greedy order by clique weight
// over the factors' interaction graph (bit rows, since the graphs left after
// pruning are small and dense), the buckets, the produced factors' scopes and
// the arena that holds their data; then the eliminations themselves.
#include <algorithm>
#include <bit>
#include <cmath>

#include "compile/heap.h"
#include "inference/targeted.h"
#include "runtime/error.h"

namespace orv {

namespace {

// Leaves the working range of doubles: products of many small probabilities.
constexpr double kRescaleBelow = 1e-100;
constexpr double kRescaleAbove = 1e100;

class Graph {
 public:
  Graph(std::size_t n) : words_((n + 63) / 64), bits_(n * words_, 0), alive_(words_, 0) {
    for (std::size_t v = 0; v < n; ++v) alive_[v / 64] |= std::uint64_t{1} << (v % 64);
  }
  std::uint64_t *row(std::size_t v) { return bits_.data() + v * words_; }
  void connect(std::size_t a, std::size_t b) {
    row(a)[b / 64] |= std::uint64_t{1} << (b % 64);
    row(b)[a / 64] |= std::uint64_t{1} << (a % 64);
  }
  void kill(std::size_t v) { alive_[v / 64] &= ~(std::uint64_t{1} << (v % 64)); }
  // Calls f(u) for every living neighbour of v in ascending order.
  template <class F>
  void neighbours(std::size_t v, F &&f) {
    const std::uint64_t *r = row(v);
    for (std::size_t w = 0; w < words_; ++w)
      for (std::uint64_t bits = r[w] & alive_[w]; bits; bits &= bits - 1)
        f(w * 64 + static_cast<std::size_t>(std::countr_zero(bits)));
  }
  std::size_t words() const { return words_; }

 private:
  std::size_t words_;
  Vector<std::uint64_t> bits_;
  Vector<std::uint64_t> alive_;
};

}  // namespace

std::size_t configurations(const Problem &p, const std::uint32_t *vars, std::size_t count) {
  std::size_t size = 1;
  for (std::size_t i = 0; i < count; ++i) size = size_multiply(size, p.states[vars[i]]);
  return size;
}

namespace {

// Above this many clique entries in total, the other greedy heuristics are
// tried as well and the cheapest order kept.
constexpr double kTryOthers = 2e4;

enum class Heuristic { clique_weight, fill_in_weight, clique_size, fill_in_size };

Graph interaction_graph(const Problem &p) {
  Graph g(p.vars.size());
  for (std::size_t f = 0; f < p.network_factors; ++f) {
    const Factor &x = p.factors[f];
    const std::uint32_t *s = p.scope_vars.data() + x.first;
    for (std::uint32_t i = 0; i < x.count; ++i)
      for (std::uint32_t j = i + 1; j < x.count; ++j) g.connect(s[i], s[j]);
  }
  return g;
}

// Eliminates v: its living neighbours become a clique; v leaves the graph.
// Their set is left in `clique` (bits).
void eliminate_vertex(Graph &g, Vertex v, Vector<std::uint64_t> &clique) {
  g.kill(v);
  std::fill(clique.begin(), clique.end(), 0);
  g.neighbours(v, [&](std::size_t u) { clique[u / 64] |= std::uint64_t{1} << (u % 64); });
  g.neighbours(v, [&](std::size_t u) {
    std::uint64_t *r = g.row(u);
    for (std::size_t w = 0; w < g.words(); ++w) r[w] |= clique[w];
    r[u / 64] &= ~(std::uint64_t{1} << (u % 64));
  });
}

// A greedy order of the variables that are not kept; returns the total size
// of the elimination cliques.
double greedy_order(const Problem &p, const unsigned char *kept, Heuristic h, Vector<std::uint32_t> &order) {
  const std::size_t n = p.vars.size();
  Graph g = interaction_graph(p);
  Vector<double> log_states(n), score(n);
  for (std::size_t v = 0; v < n; ++v) log_states[v] = std::log(static_cast<double>(p.states[v]));
  // Clique weight (logarithm of the clique's size) or weighted fill-in (the
  // sizes of the edges elimination would add).
  auto rescore = [&](std::size_t v) {
    double s = 0.0;
    if (h == Heuristic::clique_weight || h == Heuristic::clique_size) {
      const bool weighted = h == Heuristic::clique_weight;
      s = weighted ? log_states[v] : 1.0;
      g.neighbours(v, [&](std::size_t u) { s += weighted ? log_states[u] : 1.0; });
    } else {
      const bool weighted = h == Heuristic::fill_in_weight;
      g.neighbours(v, [&](std::size_t a) {
        const std::uint64_t *ra = g.row(a);
        g.neighbours(v, [&](std::size_t b) {
          if (b > a && !(ra[b / 64] >> (b % 64) & 1))
            s += weighted ? static_cast<double>(p.states[a] * p.states[b]) : 1.0;
        });
      });
    }
    score[v] = s;
  };
  for (std::size_t v = 0; v < n; ++v) rescore(v);
  auto better = [&](Vertex a, Vertex b) { return score[a] < score[b] || (score[a] == score[b] && a < b); };
  VertexHeap<decltype(better)> heap(n, better);
  for (std::size_t v = 0; v < n; ++v)
    if (!kept[v]) heap.push(static_cast<Vertex>(v));
  Vector<std::uint64_t> clique(g.words()), touched(g.words());
  double cost = 0.0;
  while (!heap.empty()) {
    const Vertex v = heap.pop();
    order.push_back(v);
    double size = static_cast<double>(p.states[v]);
    g.neighbours(v, [&](std::size_t u) { size *= static_cast<double>(p.states[u]); });
    cost += size;
    eliminate_vertex(g, v, clique);
    // Scores that may change: the clique's members, and for fill-in also
    // their neighbours (pairs among the members became adjacent).
    touched = clique;
    if (h == Heuristic::fill_in_weight || h == Heuristic::fill_in_size)
      for (std::size_t w = 0; w < g.words(); ++w)
        for (std::uint64_t bits = clique[w]; bits; bits &= bits - 1) {
          const std::uint64_t *r = g.row(w * 64 + static_cast<std::size_t>(std::countr_zero(bits)));
          for (std::size_t k = 0; k < g.words(); ++k) touched[k] |= r[k];
        }
    for (std::size_t w = 0; w < g.words(); ++w)
      for (std::uint64_t bits = touched[w]; bits; bits &= bits - 1) {
        const std::size_t u = w * 64 + static_cast<std::size_t>(std::countr_zero(bits));
        if (kept[u] || !heap.contains(static_cast<Vertex>(u))) continue;
        rescore(u);
        heap.update(static_cast<Vertex>(u));
      }
  }
  return cost;
}

}  // namespace

void plan_elimination(Problem &p, const unsigned char *kept, std::size_t extra_doubles) {
  const std::size_t n = p.vars.size();
  std::size_t eliminated = 0;
  for (std::size_t v = 0; v < n; ++v) eliminated += kept[v] ? 0 : 1;
  p.widest_clique = n - eliminated;  // the kept variables' joint is one kernel call
  p.order.reserve(eliminated);
  double cost = greedy_order(p, kept, Heuristic::clique_weight, p.order);
  if (cost > kTryOthers) {
    Vector<std::uint32_t> other;
    other.reserve(eliminated);
    for (Heuristic h : {Heuristic::fill_in_weight, Heuristic::clique_size, Heuristic::fill_in_size}) {
      other.clear();
      const double c = greedy_order(p, kept, h, other);
      if (c < cost) {
        cost = c;
        p.order.swap(other);
      }
    }
  }

  // Replay the chosen order, recording each produced factor's scope: the
  // eliminated variable's living neighbours, ascending.
  Graph g = interaction_graph(p);
  p.step_of.assign(n, static_cast<std::uint32_t>(eliminated));
  Vector<std::uint64_t> clique(g.words());
  for (std::size_t step = 0; step < eliminated; ++step) {
    const Vertex v = p.order[step];
    p.step_of[v] = static_cast<std::uint32_t>(step);
    Factor produced;
    produced.first = static_cast<std::uint32_t>(p.scope_vars.size());
    g.kill(v);
    g.neighbours(v, [&](std::size_t u) {
      p.scope_vars.push_back(static_cast<std::uint32_t>(u));
      p.scope_strides.push_back(0);
      ++produced.count;
    });
    p.factors.push_back(produced);
    eliminate_vertex(g, v, clique);
  }

  // Buckets: a factor goes to the first step that eliminates one of its variables.
  const std::size_t steps = p.steps();
  p.bucket_head.assign(steps + 1, kNoFactor);
  Vector<std::size_t> bucket_size(steps + 1, 0);
  std::size_t total = extra_doubles;
  for (std::size_t f = 0; f < p.factors.size(); ++f) {
    Factor &x = p.factors[f];
    std::uint32_t bucket = static_cast<std::uint32_t>(steps);
    for (std::uint32_t i = 0; i < x.count; ++i)
      bucket = std::min(bucket, p.step_of[p.scope_vars[x.first + i]]);
    x.bucket = bucket;
    x.next = p.bucket_head[bucket];
    p.bucket_head[bucket] = static_cast<std::uint32_t>(f);
    ++bucket_size[bucket];
    p.widest_bucket = std::max(p.widest_bucket, bucket_size[bucket]);
    p.widest_clique = std::max<std::size_t>(p.widest_clique, x.count + 1);
    if (f < p.network_factors) continue;
    // Produced scopes are row-major; the clique with its variable must fit.
    const std::uint32_t *vars = p.scope_vars.data() + x.first;
    const std::size_t size = configurations(p, vars, x.count);
    if (size_multiply(size, p.states[p.order[f - p.network_factors]]) == kSizeSentinel)
      fail(orv_error_size_too_large);
    std::size_t stride = 1;
    for (std::uint32_t i = x.count; i-- > 0;) {
      p.scope_strides[x.first + i] = stride;
      stride *= p.states[vars[i]];
    }
    total = size_add(total, size);
  }
  if (total == kSizeSentinel) fail(orv_error_size_too_large);
  p.arena.allocate(total);
  double *next = p.arena.data() + extra_doubles;
  for (std::size_t f = p.network_factors; f < p.factors.size(); ++f) {
    Factor &x = p.factors[f];
    x.data = next;
    next += configurations(p, p.scope_vars.data() + x.first, x.count);
  }
}

ProductWorkspace::ProductWorkspace(const Problem &p)
    : stride_of(p.vars.size(), 0),
      strides((p.widest_clique + 1) * (p.widest_bucket + 3), 0),
      counts(p.widest_clique + 1),
      index(p.widest_clique + 1),
      offsets(p.widest_bucket + 3),
      data(p.widest_bucket + 3),
      ids(p.widest_bucket + 2) {}

std::size_t bucket_factors(const Problem &p, ProductWorkspace &w, std::size_t bucket) {
  std::size_t count = 0;
  for (std::uint32_t f = p.bucket_head[bucket]; f != kNoFactor; f = p.factors[f].next) w.ids[count++] = f;
  return count;
}

void rescale(double *data, std::size_t size, double largest, double *log_scale) {
  if (largest >= kRescaleBelow && largest <= kRescaleAbove) return;
  const double factor = 1.0 / largest;
  for (std::size_t i = 0; i < size; ++i) data[i] *= factor;
  if (log_scale) *log_scale += std::log(largest);
}

void run_eliminations(Problem &p, ProductWorkspace &w) {
  for (std::size_t step = 0; step < p.steps(); ++step) {
    const std::size_t count = bucket_factors(p, w, step);
    Factor &out = p.factors[p.network_factors + step];
    const std::uint32_t var = p.order[step];
    const double largest = product_marginal(p, w, w.ids.data(), count, p.scope_vars.data() + out.first,
                                            out.count, &var, 1, const_cast<double *>(out.data));
    if (!(largest > 0.0)) fail(orv_error_inconsistency_or_underflow);
    rescale(const_cast<double *>(out.data), configurations(p, p.scope_vars.data() + out.first, out.count),
            largest, &p.log_scale);
  }
}

}  // namespace orv
