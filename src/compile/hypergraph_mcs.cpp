// Maximum-cardinality search over cliques with bucket lists indexed by the
// number of already numbered members.
#include "compile/hypergraph_mcs.h"

#include "model/node.h"
#include "runtime/error.h"

namespace orv {

namespace {

constexpr std::size_t kNone = kSizeSentinel;

struct CliqueState {
  std::size_t numbered = 0;
  std::size_t open_discrete = 0;
  std::size_t open_continuous = 0;
  double weight = 1.0;
  std::size_t prev = kNone, next = kNone;  // bucket list links
  bool in_bucket = false;
};

class Search {
 public:
  explicit Search(HypergraphSearch &s) : s_(s) {}

  void run() {
    prepare();
    std::size_t top = 0;
    for (;;) {
      while (top != kNone && buckets_[top] == kNone) top = top == 0 ? kNone : top - 1;
      if (top == kNone) break;
      const std::size_t c = choose(top);
      unlink(c);
      const long parent = find_parent(c);
      s_.parent[c] = parent;
      number_members(c);
      if (parent >= 0) {
        auto &kids = s_.children[static_cast<std::size_t>(parent)];
        kids.insert(kids.begin(), c);
      }
      s_.order.push_back(c);
      top = buckets_.size() - 1;
    }
  }

 private:
  void prepare() {
    const std::size_t nv = s_.vertices.size(), nc = s_.cliques.size();
    cliques_.assign(nc, CliqueState{});
    // Per vertex the cliques containing it, flattened: containing_start_[v] onwards.
    containing_start_.assign(nv + 1, 0);
    for (const auto &clique : s_.cliques)
      for (std::size_t v : clique)
        if (v < nv) ++containing_start_[v + 1];
    for (std::size_t v = 0; v < nv; ++v) containing_start_[v + 1] += containing_start_[v];
    containing_.assign(containing_start_[nv], 0);
    Vector<std::size_t> filled(containing_start_.begin(), containing_start_.end() - 1);
    through_.assign(nv, kNone);
    s_.number.assign(nv, 0);
    s_.parent.assign(nc, -1);
    s_.children.assign(nc, Vector<std::size_t>());
    s_.order.clear();
    s_.order.reserve(nc);
    std::size_t widest = 0;
    for (std::size_t c = 0; c < nc; ++c) {
      CliqueState &state = cliques_[c];
      for (std::size_t v : s_.cliques[c]) {
        if (v >= nv) fail(orv_error_error);
        orv_node_t n = s_.vertices[v];
        containing_[filled[v]++] = c;
        if (n->is_discrete()) {
          ++state.open_discrete;
          state.weight *= static_cast<double>(n->state_count);
        } else {
          ++state.open_continuous;
        }
      }
      if (s_.cliques[c].size() > widest) widest = s_.cliques[c].size();
    }
    for (std::size_t v = 0; v < nv; ++v) {
      if (containing_count(v) == 0) fail(orv_error_error);
      if (s_.vertices[v]->is_discrete()) ++discrete_vertices_;
    }
    buckets_.assign(widest + 1, kNone);
    // Bucket 0 lists the cliques in input order.
    for (std::size_t c = nc; c-- > 0;) push_front(0, c);
  }

  void push_front(std::size_t bucket, std::size_t c) {
    CliqueState &state = cliques_[c];
    state.prev = kNone;
    state.next = buckets_[bucket];
    if (state.next != kNone) cliques_[state.next].prev = c;
    buckets_[bucket] = c;
    state.in_bucket = true;
  }

  void unlink(std::size_t c) {
    CliqueState &state = cliques_[c];
    if (state.prev != kNone) cliques_[state.prev].next = state.next;
    else buckets_[state.numbered] = state.next;
    if (state.next != kNone) cliques_[state.next].prev = state.prev;
    state.in_bucket = false;
  }

  bool open_discrete_contained(std::size_t a, std::size_t b) const {
    for (std::size_t v : s_.cliques[a]) {
      if (s_.number[v] != 0 || !s_.vertices[v]->is_discrete()) continue;
      bool found = false;
      for (std::size_t w : s_.cliques[b]) found = found || w == v;
      if (!found) return false;
    }
    return true;
  }

  // A clique whose open discrete members are not inside those of a clique of
  // the bucket with more of them.
  bool open_discrete_maximal(std::size_t bucket, std::size_t c) const {
    for (std::size_t o = buckets_[bucket]; o != kNone; o = cliques_[o].next) {
      if (o == c || cliques_[o].open_discrete <= cliques_[c].open_discrete) continue;
      if (open_discrete_contained(c, o)) return false;
    }
    return true;
  }

  std::size_t choose(std::size_t bucket) const {
    std::size_t best = kNone;
    for (std::size_t c = buckets_[bucket]; c != kNone; c = cliques_[c].next)
      if (cliques_[c].open_discrete > 0 && (best == kNone || cliques_[c].weight < cliques_[best].weight))
        best = c;
    if (best == kNone) return buckets_[bucket];
    if (cliques_[best].open_continuous == 0) return best;
    std::size_t strong = kNone;
    for (std::size_t c = buckets_[bucket]; c != kNone; c = cliques_[c].next) {
      if (cliques_[c].open_discrete == 0) continue;
      if (cliques_[c].open_continuous > 0 && !open_discrete_maximal(bucket, c)) continue;
      if (strong == kNone || cliques_[c].weight < cliques_[strong].weight) strong = c;
    }
    return strong == kNone ? best : strong;
  }

  bool holds_numbered_members(std::size_t holder, std::size_t c) const {
    for (std::size_t v : s_.cliques[c]) {
      if (s_.number[v] == 0) continue;
      bool found = false;
      for (std::size_t w : s_.cliques[holder]) found = found || w == v;
      if (!found) return false;
    }
    return true;
  }

  void lightest_below(std::size_t top, std::size_t c, std::size_t &best) const {
    if (cliques_[top].weight < cliques_[best].weight) best = top;
    for (std::size_t child : s_.children[top])
      if (holds_numbered_members(child, c)) lightest_below(child, c, best);
  }

  long find_parent(std::size_t c) const {
    std::size_t highest = kNone;
    for (std::size_t v : s_.cliques[c])
      if (s_.number[v] != 0 && (highest == kNone || s_.number[v] > s_.number[highest])) highest = v;
    if (highest == kNone) return -1;
    std::size_t best = through_[highest];
    lightest_below(best, c, best);
    return static_cast<long>(best);
  }

  void number_members(std::size_t c) {
    for (;;) {
      std::size_t pick = kNone;
      for (std::size_t v : s_.cliques[c])
        if (s_.number[v] == 0 && (pick == kNone || containing_count(v) > containing_count(pick)))
          pick = v;
      if (pick == kNone) return;
      const bool discrete = s_.vertices[pick]->is_discrete();
      s_.number[pick] = discrete ? ++next_discrete_ : discrete_vertices_ + ++next_continuous_;
      through_[pick] = c;
      for (std::size_t k = containing_start_[pick]; k < containing_start_[pick + 1]; ++k) {
        const std::size_t o = containing_[k];
        CliqueState &state = cliques_[o];
        if (discrete) --state.open_discrete;
        else --state.open_continuous;
        if (o == c) {
          ++state.numbered;
          continue;
        }
        const bool waiting = state.in_bucket;
        if (waiting) unlink(o);
        ++state.numbered;
        if (waiting) push_front(state.numbered, o);
      }
    }
  }

  HypergraphSearch &s_;
  Vector<CliqueState> cliques_;
  std::size_t containing_count(std::size_t v) const { return containing_start_[v + 1] - containing_start_[v]; }
  Vector<std::size_t> containing_start_;
  Vector<std::size_t> containing_;
  Vector<std::size_t> through_;
  Vector<std::size_t> buckets_;
  std::size_t discrete_vertices_ = 0, next_discrete_ = 0, next_continuous_ = 0;
};

}  // namespace

void _orv_perform_hypergraph_mcs(HypergraphSearch &search) { Search(search).run(); }

}  // namespace orv
