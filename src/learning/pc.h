// Structure learning by independence tests: the pair records, the
// conditional G² test over the case store, the dependency search, and the
// learning graph with its orientation steps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "model/node.h"
#include "runtime/allocate.h"

namespace orv {

// Upper tail of the chi-square distribution with df degrees of freedom.
double _orv_chi_square_c(double x, double df);

// The constraint code stored on a towards b (100 when none).
orv_edge_constraint_t edge_constraint(const orv_node_s *a, const orv_node_s *b) noexcept;

// Index of the unordered pair (i, j), i != j, among n vertices.
inline std::size_t pair_index(std::size_t i, std::size_t j, std::size_t n) {
  if (i > j) {
    const std::size_t t = i;
    i = j;
    j = t;
  }
  return i * n - i * (i + 1) / 2 + (j - i - 1);
}

// One unordered pair of vertices.
struct PairRecord {
  signed char dependent = 1;  // positive: still taken to be dependent
  unsigned char fixed = 0;    // a constraint decided the pair
  unsigned char claimed = 0;  // a worker is testing the pair
  double strength = 0.0;      // mutual information from the marginal test
  // Separating sets, each a sorted list of vertices ended by kNoVertex.
  Vector<Vector<std::uint32_t>> separators;
  bool needs_testing() const { return dependent > 0 && !fixed; }
};

constexpr std::uint32_t kNoVertex = 0xffffffffu;

// The variables of a learning run and their case columns.
class CaseColumns {
 public:
  explicit CaseColumns(orv_domain_s *d);
  std::size_t size() const { return nodes_.size(); }
  orv_node_s *node(std::size_t v) const { return nodes_[v]; }
  std::size_t states(std::size_t v) const { return nodes_[v]->state_count; }
  bool continuous(std::size_t v) const { return nodes_[v]->is_continuous(); }
  std::size_t cases() const { return cases_; }
  // State of vertex v in case i, -1 when missing.
  int state(std::size_t v, std::size_t i) const {
    return nodes_[v]->case_states ? nodes_[v]->case_states[i] : -1;
  }
  // Value of continuous vertex v in case i; false when missing.
  bool value(std::size_t v, std::size_t i, double &x) const {
    const orv_node_s *n = nodes_[v];
    if (!n->case_value_set || !n->case_value_set[i]) return false;
    x = n->case_values[i];
    return true;
  }
  double weight(std::size_t i) const { return counts_ ? counts_[i] : 1.0; }

 private:
  Vector<orv_node_s *> nodes_;
  std::size_t cases_;
  const double *counts_;
};

// A pair and at most three conditioning nodes.
constexpr std::size_t kMaxTestSet = 5;

// Result of one test of a pair given a conditioning set.
struct TestResult {
  double g2 = 0.0;
  double df = 0.0;
  double p_value = 1.0;
  double total = 0.0;  // weight of the cases the test used
};

// Weighted counts of the complete cases over the members of a set (sorted
// vertices), laid out row-major in member order. Throws.
class JointCounts {
 public:
  JointCounts(const CaseColumns &columns, const std::uint32_t *members, std::size_t count);
  // Tests members a and b (positions in the set) given all other members.
  TestResult test(std::size_t a, std::size_t b) const;
  double total() const { return total_; }

 private:
  Vector<std::size_t> states_;
  Vector<double> counts_;
  double total_ = 0.0;
};

// Weighted moments of the complete cases over a set with continuous
// members, per configuration of its discrete members. Throws.
class GaussianMoments {
 public:
  GaussianMoments(const CaseColumns &columns, const std::uint32_t *members, std::size_t count);
  // Tests members a and b (at least one continuous) given the others.
  TestResult test(std::size_t a, std::size_t b) const;

 private:
  struct Member {
    std::uint32_t vertex;
    bool continuous;
    std::size_t index;   // continuous: position among them; discrete: stride
    std::size_t states;  // discrete only
  };
  Vector<double> pooled(std::size_t merged, std::size_t &occupied, double &df) const;
  Vector<Member> members_;
  std::size_t continuous_ = 0;
  std::size_t stride_ = 1;  // weight, sums, cross products
  Vector<double> moments_;
  double total_ = 0.0;
};

// The tests of the pairs of one node set: G² over counts when every member
// is discrete, the Gaussian likelihood ratio otherwise. Throws.
class SetTests {
 public:
  SetTests(const CaseColumns &columns, const std::uint32_t *members, std::size_t count);
  // Two discrete members of a set with continuous ones are never tested.
  bool testable(std::size_t a, std::size_t b) const;
  TestResult test(std::size_t a, std::size_t b) const;

 private:
  bool mixed_ = false;
  bool discrete_[kMaxTestSet] = {};
  std::optional<JointCounts> counts_;
  std::optional<GaussianMoments> moments_;
};

// Fills dependent and strength for every pair by marginal tests, on up to
// `workers` threads. Throws.
void marginal_tests(const CaseColumns &columns, double level, Vector<PairRecord> &pairs, std::size_t workers);

// Conditional tests with sets of size 1, 2 and 3 on `workers` threads (one
// mutex when more than one), after a primary pass unless `npc` (the variant
// that keeps ambiguous edges open); then records the separating sets. Throws.
void conditional_tests(const CaseColumns &columns, double level, Vector<PairRecord> &pairs, std::size_t workers,
                       bool npc);

// The learning graph and its orientation, logged to the domain's log.
class LearningGraph {
 public:
  LearningGraph(orv_domain_s *d, const CaseColumns &columns, const Vector<PairRecord> &pairs);
  void identify_skeleton();
  void identify_colliders();
  void log_extension_check();
  void identify_derived_directions();
  void complete_orientation();
  // Adds the directed edges as links; on failure removes those it added.
  void to_domain();

  struct Edge {
    std::uint32_t a, b;     // ends; when directed a is the tail
    bool directed = false;
  };
  const Vector<Edge> &edges() const { return edges_; }

 private:
  bool adjacent(std::size_t x, std::size_t y) const { return edge_at(x, y) != kNoEdge; }
  std::size_t edge_at(std::size_t x, std::size_t y) const { return adjacency_[x * n_ + y]; }
  bool directed_from(std::size_t x, std::size_t y) const;  // x -> y
  bool undirected(std::size_t x, std::size_t y) const;
  bool path_exists(std::size_t from, std::size_t to) const;  // over directed edges
  void add_edge(std::size_t x, std::size_t y, bool directed);
  void direct(std::size_t e, std::size_t tail);
  bool separated_by(std::size_t x, std::size_t y, std::size_t z) const;
  bool has_extension() const;
  std::size_t undirected_degree(std::size_t x) const;
  double parent_configurations(std::size_t x) const;  // over discrete parents
  double added_parameters(std::size_t tail, std::size_t head) const;
  // The rules: try to direct edge (a, b) as a -> b; true when a rule fired.
  bool rule1(std::size_t a, std::size_t b);
  bool rule2(std::size_t a, std::size_t b);
  bool rule3(std::size_t a, std::size_t b);
  bool rule4(std::size_t a, std::size_t b);
  void conclude(std::size_t a, std::size_t b);  // directs a -> b unless it closes a cycle
  void derive();
  void log(const char *format, ...);
  const char *name(std::size_t v) const;

  static constexpr std::size_t kNoEdge = kSizeSentinel;
  orv_domain_s *d_;
  const CaseColumns &columns_;
  const Vector<PairRecord> &pairs_;
  std::size_t n_;
  Vector<Edge> edges_;
  Vector<std::size_t> adjacency_;  // n x n edge indexes
  mutable Vector<unsigned char> seen_;
  bool derived_logged_ = false;
};

}  // namespace orv

namespace orv {

// Runs body(context, w) for w = 0 .. workers - 1, each on its own POSIX
// thread when workers > 1 (a thread that cannot start runs in the caller).
// Rethrows the failure of the lowest-numbered failing worker.
using WorkerBody = void (*)(void *context, std::size_t worker);
void run_workers(std::size_t workers, WorkerBody body, void *context);

// A POSIX mutex that is only created when more than one worker runs.
class OptionalMutex {
 public:
  explicit OptionalMutex(bool needed);  // throws io when it cannot be created
  ~OptionalMutex();
  OptionalMutex(const OptionalMutex &) = delete;
  OptionalMutex &operator=(const OptionalMutex &) = delete;
  void lock();
  void unlock();

 private:
  struct Impl;
  Impl *impl_ = nullptr;
};

}  // namespace orv
