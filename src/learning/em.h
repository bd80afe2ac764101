// EM learning internals: the learned nodes with their count and prior
// tables, the E-step sites (the domain itself or a work domain per worker)
// and the block-wise summation that keeps results independent of the number
// of worker threads.
#pragma once

#include <cstddef>

#include "compile/junction_forest.h"
#include "model/node.h"
#include "runtime/allocate.h"
#include "tables/control.h"

namespace orv {

// Cases are summed in this many consecutive blocks: each block's counts and
// log-likelihood start from zero on a freshly reset junction forest and are
// added to the totals in block order, whoever computed them.
constexpr std::size_t kMaxCaseBlocks = 64;
// Bound on the doubles held for block results when workers run; beyond it
// learning runs without workers.
constexpr std::size_t kBlockBudget = std::size_t{1} << 23;

// A node whose table EM learns. For a discrete node counts and prior are
// laid out like the node's table (discrete parents, the node, last fastest);
// for a continuous node they hold, per configuration of the discrete
// parents, the weighted moment matrix E[y y'] (q x q, row-major) of
// y = (1, the table's continuous nodes: the node, then its continuous
// parents), q = moment_dimension(node).
struct LearnedNode {
  orv_node_s *node = nullptr;
  orv_table_s *experience = nullptr;  // prior weights, updated at the end
  // Nodes learned together (copies of one class node) add their counts into
  // the first of them, the leader, whose table they then take.
  std::size_t leader = 0;
  Vector<double> counts;
  Vector<double> prior;     // empty when the node's experience is all zero
  Vector<double> saved_cg;  // continuous nodes: the CG data before learning
  Vector<double> scratch;   // continuous nodes: room for the M-step's solve
};

// Size of the moment vector y of a continuous node (2 + continuous parents).
std::size_t moment_dimension(const orv_node_s *n);
// Adds w y y' into the q x q matrix m.
void add_moments(double *m, std::size_t q, const double *y, double w) noexcept;
// Log density of the values (one per continuous node of the continuous node
// table t, the node first) in configuration j; fails with overflow at a
// point mass hit exactly and inconsistency_or_underflow at density 0.
double cg_log_density(const orv_table_s *t, std::size_t j, const double *values);
// The prior moments of a continuous node: e_j pseudo-cases per
// configuration from the node's current regression.
void cg_prior(LearnedNode &l, const double *experience);
// Re-estimates intercept, coefficients and variance of each configuration
// whose experience is >= 0 by weighted least squares on counts + prior.
void cg_m_step(LearnedNode &l) noexcept;
// Saves the CG data of the learned continuous nodes and (with `initialise`)
// gives a node whose table is the default one an initial distribution from
// its case values. Throws.
void prepare_cg_tables(orv_domain_s *d, Vector<LearnedNode> &learned, bool initialise);
// Puts the saved CG data back (after a failed learning).
void restore_cg_tables(Vector<LearnedNode> &learned) noexcept;

// Per-case flags: 1 complete, 0 incomplete, -1 inactive (weight <= 0).
Vector<signed char> case_flags(orv_domain_s *d);
// The learned nodes: chance nodes with an experience table whose largest
// entry is >= 0, with counts and (when some experience is > 0) prior.
Vector<LearnedNode> learned_nodes(orv_domain_s *d);
// Sets up l for node n learning with the given experience table; false when
// every experience entry is negative. Throws.
bool make_learned_node(orv_node_s *n, orv_table_s *experience, LearnedNode &l);
// The learned nodes of a domain unfolded from a class: one group per class
// node (leader first), with the class node's experience.
Vector<LearnedNode> class_learned_nodes(orv_domain_s *d);
// Adds each group's counts into its leader (in list order), re-estimates the
// leader and gives its table to the rest of the group.
void m_step_all(Vector<LearnedNode> &learned) noexcept;
// Adds the prior into the counts and re-estimates each configuration whose
// experience is >= 0 and whose counts have a positive sum.
void m_step(LearnedNode &l) noexcept;
// New experience: the sum of the final counts of each configuration whose
// experience is >= 0.
void update_experience(LearnedNode &l) noexcept;

// One learned family inside an E-step site. A family whose assigned clique
// holds continuous nodes reads the clique's posterior directly: weights
// summed onto the family's configurations, and for a continuous node the
// moments of its continuous members.
struct SiteFamily {
  orv_node_s *node = nullptr;          // the node in the site's domain
  orv_table_s *marginal = nullptr;     // unchained, over the family
  orv_control_s *control = nullptr;    // assigned clique -> marginal
  Vector<std::size_t> columns;         // case column of each discrete family member
  Vector<std::size_t> value_columns;   // case column of each continuous member
  Vector<std::size_t> clique_map;      // CG clique configuration -> family's
  Vector<std::size_t> positions;       // continuous members in the clique's blocks
  Vector<double> block;                // this block's counts
};

// A domain an E-step runs in, with the case columns mapped onto its nodes.
class Site {
 public:
  // Prepares the E-step of `source`'s cases in `d` (which is `source` or a
  // work domain with the same nodes in the same order). Throws.
  Site(orv_domain_s *source, orv_domain_s *d, const Vector<LearnedNode> &learned, const Vector<signed char> &flags);
  ~Site();
  Site(const Site &) = delete;
  Site &operator=(const Site &) = delete;

  // Runs the cases of block b (of `blocks`), leaving its counts in the
  // families' block arrays and its log-likelihood in block_log_likelihood.
  // Throws on the first failing case (the families hold partial counts).
  void run_block(std::size_t b, std::size_t blocks, bool with_counts);
  double block_log_likelihood = 0.0;

  Vector<SiteFamily> families;
  orv_domain_s *domain() const { return d_; }
  // Copies the learned tables of `source` into the site's nodes.
  void copy_tables_from(const Vector<LearnedNode> &learned) noexcept;

 private:
  void run_case(std::size_t i, double w, bool with_counts);
  void complete_case(std::size_t i, double w, bool with_counts);
  void add_family(SiteFamily &f, std::size_t i, double w);
  bool family_values(const SiteFamily &f, std::size_t i, double *y) const;
  void propagate_case(std::size_t i);
  double tree_log_constant() const;
  void release() noexcept;

  orv_domain_s *source_;
  orv_domain_s *d_;
  const Vector<signed char> &flags_;
  Vector<orv_node_s *> source_columns_;  // chance nodes of the source holding cases
  Vector<orv_node_s *> columns_;         // their counterparts in the site's domain
  // Per chance node: its table and the case column of each discrete member,
  // for cases computed without propagation.
  Vector<orv_table_s *> tables_;
  Vector<Vector<std::size_t>> table_columns_;
  Vector<Vector<std::size_t>> table_value_columns_;
  Vector<double> values_;  // scratch for one table's continuous values
  bool direct_ = false;  // complete cases use the node tables directly
};

// Number of case blocks for a number of cases.
std::size_t block_count(std::size_t cases);
// Cases [first, last) of block b.
void block_range(std::size_t cases, std::size_t blocks, std::size_t b, std::size_t &first, std::size_t &last);

// A junction-forest reset plus retraction of every finding: the state every
// block starts from.
void reset_site_domain(orv_domain_s *d) noexcept;

// The evidence entered on a domain's nodes, kept across an E-step pass.
class EvidenceSnapshot {
 public:
  explicit EvidenceSnapshot(orv_domain_s *d);
  // Puts the evidence back; the domain is then initialised, or propagated
  // (sum, normal) when it holds evidence. Throws the propagation's failure.
  void restore_and_settle();
  // Puts the evidence back and propagates it if it can; never fails.
  void restore_quietly() noexcept;

 private:
  struct Saved {
    orv_node_s *node;
    long selected_state;
    bool value_evidence;
    double entered_value;
    bool cg_entered;
    double cg_value;
  };
  bool restore() noexcept;
  orv_domain_s *d_;
  Vector<Saved> saved_;
};

// The log-likelihood of the domain's cases under its current tables, by one
// E-step pass in the domain itself; evidence is kept. Throws.
double compute_log_likelihood(orv_domain_s *d);

// The preconditions of learning, in their order. Throws.
void check_learning_preconditions(orv_domain_s *d);
// The EM iteration over the learned nodes with its log, then the experience
// update. On failure the CG tables are restored and the evidence is put
// back; discrete tables keep the last M-step. `initialise` lets default CG
// tables start from the case values. Throws.
void run_em(orv_domain_s *d, Vector<LearnedNode> &learned, const Vector<signed char> &flags, bool initialise);

// Free parameters of the chance nodes' tables.
double free_parameters(const orv_domain_s *d);

// Runs E-steps either in the domain itself or on work domains cloned from
// it, one per worker thread. Totals are formed in block order.
class EStepRunner {
 public:
  EStepRunner(orv_domain_s *d, Vector<LearnedNode> &learned, const Vector<signed char> &flags, std::size_t workers);
  ~EStepRunner();
  EStepRunner(const EStepRunner &) = delete;
  EStepRunner &operator=(const EStepRunner &) = delete;

  // One E-step over all cases: the learned counts receive the expected
  // counts (when with_counts), the result is the log-likelihood. Throws the
  // first failure in block order.
  double run(bool with_counts);
  // After an M-step: the work domains take the new tables.
  void tables_changed() noexcept;
  std::size_t workers() const { return workers_; }

 private:
  void build_work_domains(orv_domain_s *d, const Vector<LearnedNode> &learned, const Vector<signed char> &flags);

  struct Impl;
  Impl *impl_;
  std::size_t workers_;
};

// Number of workers step 4 allows.
std::size_t em_worker_count(orv_domain_s *d, const Vector<signed char> &flags);

}  // namespace orv
