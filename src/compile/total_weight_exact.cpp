// The dynamic programme over potential maximal cliques for the smallest
// total clique weight. A block is a component D of G - S for a minimal
// separator S = N(D); its value is the cheapest total weight of the cliques
// that a minimal triangulation places inside S + D, other than S itself:
//   value(D) = min over cliques W with S < W <= S + D of
//              weight(W) + sum of value(C) over the components C of G - W in D.
// Every maximal clique of a minimal triangulation is a potential maximal
// clique, so the minimum over the top-level cliques is the optimum.
#include <algorithm>
#include <limits>

#include "compile/total_weight.h"

namespace orv {
namespace {

constexpr double kInfinite = std::numeric_limits<double>::infinity();

struct Clique {
  double weight = 0.0;
  VertexList blocks;  // the components of G - W, as block numbers
};

VertexList members_of(const Rows &rows, const Word *set) {
  VertexList members;
  members.reserve(rows.count(set));
  rows.each(set, [&](Vertex v) { members.push_back(v); });
  return members;
}

class Programme {
 public:
  Programme(const Fragment &g, const BitGraph &bits, const SetPool &cliques)
      : g_(g), bits_(bits), cliques_(cliques), blocks_(bits.rows().words) {}

  ComponentTriangulation solve() {
    index_blocks();
    attach_cliques();
    evaluate_blocks();
    ComponentTriangulation result;
    double best = kInfinite;
    std::size_t top = kSizeSentinel;
    for (std::size_t p = 0; p < cliques_.size(); ++p) {
      double total = info_[p].weight;
      for (Vertex b : info_[p].blocks) total += value_[b];
      if (total < best) best = total, top = p;
    }
    if (top == kSizeSentinel) return result;
    result.cost = best;
    collect(top, kSizeSentinel, result.cliques);
    return result;
  }

 private:
  const Rows &rows() const { return bits_.rows(); }

  // The components of G - W for every clique W, each a block.
  void index_blocks() {
    const std::size_t W = rows().words;
    Vector<Word> all(W, 0), within(W);
    for (Vertex v = 0; v < bits_.size(); ++v) Rows::set(all.data(), v);
    info_.resize(cliques_.size());
    for (std::size_t p = 0; p < cliques_.size(); ++p) {
      const VertexList members = members_of(rows(), cliques_[p]);
      info_[p].weight = set_weight(g_, members);
      for (std::size_t k = 0; k < W; ++k) within[k] = all[k] & ~cliques_[p][k];
      const std::size_t count = bits_.components(within.data(), all.data(), components_, neighbors_);
      for (std::size_t c = 0; c < count; ++c) {
        bool added = false;
        const std::size_t b = blocks_.insert(components_.data() + c * W, added);
        if (added) separator_.insert(separator_.end(), neighbors_.data() + c * W, neighbors_.data() + (c + 1) * W);
        info_[p].blocks.push_back(static_cast<Vertex>(b));
      }
    }
  }

  // A clique W is a candidate of block D when D is the component of
  // G - N(C) that holds W - N(C), for a component C of G - W.
  void attach_cliques() {
    const std::size_t W = rows().words;
    Vector<Word> all(W, 0), within(W), rest(W);
    for (Vertex v = 0; v < bits_.size(); ++v) Rows::set(all.data(), v);
    candidates_.resize(blocks_.size());
    for (std::size_t p = 0; p < cliques_.size(); ++p) {
      for (Vertex c : info_[p].blocks) {
        const Word *s = separator_.data() + c * W;
        for (std::size_t k = 0; k < W; ++k) within[k] = all[k] & ~s[k], rest[k] = cliques_[p][k] & ~s[k];
        Vertex inside = 0;
        rows().each(rest.data(), [&](Vertex v) { inside = v; });
        const std::size_t count = bits_.components(within.data(), all.data(), components_, neighbors_);
        for (std::size_t d = 0; d < count; ++d) {
          if (!Rows::test(components_.data() + d * W, inside)) continue;
          const std::size_t b = blocks_.find(components_.data() + d * W);
          if (b != kSizeSentinel) candidates_[b].push_back(p);
          break;
        }
      }
    }
  }

  // Blocks in order of |S + D|: a candidate's inner blocks are smaller.
  void evaluate_blocks() {
    const std::size_t W = rows().words;
    Vector<std::size_t> order(blocks_.size());
    Vector<std::size_t> size(blocks_.size());
    for (std::size_t b = 0; b < blocks_.size(); ++b) {
      order[b] = b;
      size[b] = rows().count(blocks_[b]) + rows().count(separator_.data() + b * W);
    }
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return size[a] < size[b]; });
    value_.assign(blocks_.size(), kInfinite);
    choice_.assign(blocks_.size(), kSizeSentinel);
    for (std::size_t b : order) {
      for (std::size_t p : candidates_[b]) {
        double total = info_[p].weight;
        for (Vertex c : info_[p].blocks)
          if (inside_block(c, b)) total += value_[c];
        if (total < value_[b]) value_[b] = total, choice_[b] = p;
      }
    }
  }

  // Components of G - W are disjoint from D or inside it.
  bool inside_block(std::size_t component, std::size_t block) const {
    const Word *c = blocks_[component];
    const Word *d = blocks_[block];
    for (std::size_t k = 0; k < rows().words; ++k)
      if (c[k]) return (c[k] & d[k]) != 0;
    return false;
  }

  void collect(std::size_t p, std::size_t block, Vector<VertexList> &out) const {
    out.push_back(members_of(rows(), cliques_[p]));
    for (Vertex c : info_[p].blocks)
      if (block == kSizeSentinel || inside_block(c, block)) collect(choice_[c], c, out);
  }

  const Fragment &g_;
  const BitGraph &bits_;
  const SetPool &cliques_;
  SetPool blocks_;            // components D, numbered
  Vector<Word> separator_;    // N(D) per block, one row each
  Vector<Clique> info_;       // per clique
  Vector<Vector<std::size_t>> candidates_;  // per block
  Vector<double> value_;
  Vector<std::size_t> choice_;
  Vector<Word> components_, neighbors_;
};

}  // namespace

ComponentTriangulation best_combination(const Fragment &g, const BitGraph &bits, const SetPool &cliques) {
  return Programme(g, bits, cliques).solve();
}

ExactResult minimum_weight_triangulation(const Fragment &g, const SearchLimits &limits) {
  ExactResult result;
  const BitGraph bits(g);
  SetPool separators(bits.rows().words), cliques(bits.rows().words);
  Vector<Word> all(bits.rows().words, 0);
  for (Vertex v = 0; v < bits.size(); ++v) Rows::set(all.data(), v);
  // Counting the separators of g first rejects large components quickly.
  result.counted = list_minimal_separators(bits, all.data(), limits, separators);
  result.separators = separators.size();
  if (!result.counted || !list_potential_maximal_cliques(bits, limits, separators, cliques)) return result;
  result.best = Programme(g, bits, cliques).solve();
  result.found = !result.best.cliques.empty();
  std::sort(result.best.cliques.begin(), result.best.cliques.end());
  return result;
}

}  // namespace orv
