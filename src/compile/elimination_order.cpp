// The elimination order: a maximum-cardinality search over the clique
// hypergraph numbers the vertices (discrete ones first), which reversed is a
// perfect elimination order of the triangulation; and the validity rules for
// an order given by the user.
#include <algorithm>

#include "compile/triangulate.h"
#include "model/node.h"
#include "runtime/error.h"

namespace orv {
namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

class HypergraphSearch {
 public:
  HypergraphSearch(const Fragment &g, const Vector<VertexList> &cliques)
      : g_(g), cliques_(cliques), m_(cliques.size()), numbered_count_(m_, 0), open_discrete_(m_, 0),
        open_continuous_(m_, 0), weight_(m_, 1.0), in_bucket_(m_, 1), prev_(m_, kNone), next_(m_, kNone),
        holder_start_(g.size() + 1, 0), number_(g.size(), 0) {
    // Per vertex the cliques holding it, flattened: holder_start_[v] onwards.
    for (const VertexList &clique : cliques)
      for (Vertex v : clique) ++holder_start_[v + 1];
    for (std::size_t v = 0; v < g.size(); ++v) holder_start_[v + 1] += holder_start_[v];
    holders_.resize(holder_start_[g.size()]);
    Vector<std::size_t> filled(holder_start_.begin(), holder_start_.end() - 1);
    std::size_t largest = 0;
    for (std::size_t c = 0; c < m_; ++c) {
      largest = std::max(largest, cliques[c].size());
      for (Vertex v : cliques[c]) {
        holders_[filled[v]++] = static_cast<Vertex>(c);
        if (g.continuous[v]) {
          ++open_continuous_[c];
        } else {
          ++open_discrete_[c];
          weight_[c] *= g.weights[v];
        }
      }
    }
    for (Vertex v = 0; v < g.size(); ++v) {
      if (holder_count(v) == 0) fail(orv_error_error);  // every vertex lies in a clique
      if (!g.continuous[v]) ++discrete_total_;
    }
    head_.assign(largest + 1, kNone);
    for (std::size_t c = m_; c-- > 0;) link_at_head(c, 0);
  }

  Vector<std::size_t> run() {
    for (;;) {
      while (top_ > 0 && head_[top_] == kNone) --top_;
      if (head_[top_] == kNone) break;
      const std::size_t c = choose(top_);
      unlink(c);
      in_bucket_[c] = 0;
      number_members(c);
    }
    return std::move(number_);
  }

 private:
  void link_at_head(std::size_t c, std::size_t bucket) {
    prev_[c] = kNone;
    next_[c] = head_[bucket];
    if (head_[bucket] != kNone) prev_[head_[bucket]] = c;
    head_[bucket] = c;
    numbered_count_[c] = bucket;
  }

  void unlink(std::size_t c) {
    if (prev_[c] != kNone)
      next_[prev_[c]] = next_[c];
    else
      head_[numbered_count_[c]] = next_[c];
    if (next_[c] != kNone) prev_[next_[c]] = prev_[c];
  }

  // The bucket's unnumbered discrete members of a are among those of b.
  bool open_discrete_inside(std::size_t a, std::size_t b) const {
    for (Vertex v : cliques_[a])
      if (!number_[v] && !g_.continuous[v] && !contains_sorted(cliques_[b], v)) return false;
    return true;
  }

  bool open_discrete_maximal(std::size_t c, std::size_t bucket) const {
    for (std::size_t o = head_[bucket]; o != kNone; o = next_[o])
      if (o != c && open_discrete_[o] > open_discrete_[c] && open_discrete_inside(c, o)) return false;
    return true;
  }

  // Lightest clique with unnumbered discrete members; when it still has
  // unnumbered continuous members, the lightest whose unnumbered discrete
  // part is maximal, so roots suit CG propagation.
  std::size_t choose(std::size_t bucket) const {
    std::size_t best = kNone;
    for (std::size_t c = head_[bucket]; c != kNone; c = next_[c])
      if (open_discrete_[c] > 0 && (best == kNone || weight_[c] < weight_[best])) best = c;
    if (best == kNone) return head_[bucket];
    if (open_continuous_[best] == 0) return best;
    std::size_t maximal = kNone;
    for (std::size_t c = head_[bucket]; c != kNone; c = next_[c]) {
      if (open_discrete_[c] == 0) continue;
      if (open_continuous_[c] != 0 && !open_discrete_maximal(c, bucket)) continue;
      if (maximal == kNone || weight_[c] < weight_[maximal]) maximal = c;
    }
    return maximal == kNone ? best : maximal;
  }

  void number_members(std::size_t c) {
    for (;;) {
      Vertex pick = 0;
      bool found = false;
      for (Vertex v : cliques_[c])
        if (!number_[v] && (!found || holder_count(v) > holder_count(pick))) pick = v, found = true;
      if (!found) return;
      number_[pick] = g_.continuous[pick] ? discrete_total_ + ++continuous_numbered_ : ++discrete_numbered_;
      for (std::size_t k = holder_start_[pick]; k < holder_start_[pick + 1]; ++k) {
        const Vertex o = holders_[k];
        if (g_.continuous[pick])
          --open_continuous_[o];
        else
          --open_discrete_[o];
        if (o == c || !in_bucket_[o]) continue;
        const std::size_t bucket = numbered_count_[o] + 1;
        unlink(o);
        link_at_head(o, bucket);
        top_ = std::max(top_, bucket);
      }
    }
  }

  const Fragment &g_;
  const Vector<VertexList> &cliques_;
  const std::size_t m_;
  Vector<std::size_t> numbered_count_;  // also the clique's bucket
  Vector<std::size_t> open_discrete_;
  Vector<std::size_t> open_continuous_;
  Vector<double> weight_;
  Vector<unsigned char> in_bucket_;
  Vector<std::size_t> prev_, next_;
  Vector<std::size_t> head_;
  std::size_t top_ = 0;
  std::size_t holder_count(Vertex v) const { return holder_start_[v + 1] - holder_start_[v]; }
  Vector<std::size_t> holder_start_;
  VertexList holders_;
  Vector<std::size_t> number_;
  std::size_t discrete_total_ = 0;
  std::size_t discrete_numbered_ = 0;
  std::size_t continuous_numbered_ = 0;
};

}  // namespace

Vector<std::size_t> _orv_perform_hypergraph_mcs(const Fragment &g, const Vector<VertexList> &cliques) {
  return HypergraphSearch(g, cliques).run();
}

void generate_elimination_order(CompiledDomain &state) {
  state.elimination_position = _orv_perform_hypergraph_mcs(state.moral_graph, state.cliques);
}

void list_elimination_order(CompiledDomain &state) {
  const std::size_t n = state.moral_graph.size();
  if (state.elimination_order.size() == n + 1) return;
  Vector<orv_node_t> order(n + 1, nullptr);
  for (Vertex v = 0; v < n; ++v) {
    const std::size_t position = state.elimination_position[v];
    if (position < 1 || position > n || order[n - position]) fail(orv_error_enumeration);
    order[n - position] = state.moral_graph.nodes[v];
  }
  state.elimination_order.swap(order);
}

void _orv_check_elimination_order(orv_domain_s *d, orv_node_t const *order) {
  Vector<orv_node_t> listed;
  bool discrete_seen = false;
  for (; *order; ++order) {
    const orv_node_t node = *order;
    if (!is_node(node) || node->owner != d || !participates(node)) fail(orv_error_enumeration);
    if (node->is_continuous() && discrete_seen) fail(orv_error_enumeration);
    discrete_seen = discrete_seen || node->is_discrete();
    listed.push_back(node);
  }
  std::sort(listed.begin(), listed.end());
  if (std::adjacent_find(listed.begin(), listed.end()) != listed.end()) fail(orv_error_enumeration);
  if (listed.size() != d->discrete_count + d->continuous_count) fail(orv_error_enumeration);
}

}  // namespace orv
