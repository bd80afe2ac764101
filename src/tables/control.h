// Controls: the precomputed index mapping between a larger table and a
// smaller one (whose discrete nodes are a subset of the larger's), which
// drives every table operation, and the entry points of those operations.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/domain.h"
#include "orvel.h"
#include "runtime/allocate.h"
#include "runtime/arena.h"
#include "tables/table.h"

namespace orv {

// One loop dimension of an operation. `stride` is the step in the smaller
// table (0 when the smaller table lacks the node: summed over or broadcast);
// `larger_stride` is the step in the larger table, so that dimensions can be
// dropped and reordered without losing the larger table's layout.
struct Dimension {
  std::size_t count;
  std::size_t stride;
  std::size_t second_stride;  // special controls only; 0 for standard ones
  std::size_t larger_stride;
  std::size_t position;  // index of the node in the larger table's list
};

// Slots of the data positions a kernel receives. The larger tables'
// positions start at the control's start offset (CG data at offset x block
// size); the caller-supplied arrays are laid out like the smaller table.
enum SliceArray : std::size_t {
  kLargerProbability = 0,
  kLargerUtility = 1,
  kSmallerProbability = 2,
  kSmallerUtility = 3,
  kFirstCallerArray = 4,
  kSecondCallerArray = 5,
  kLargerCg = 6,
  kSmallerCg = 7,
};

}  // namespace orv

struct orv_control_s {
  explicit orv_control_s(orv_domain_s *d) : domain(d) {}
  orv_control_s(const orv_control_s &) = delete;
  orv_control_s &operator=(const orv_control_s &) = delete;
  ~orv_control_s();

  std::size_t number = 0;  // position in the domain's control chain; 0 when unchained
  orv_domain_s *domain;
  orv_table_s *larger_probability = nullptr;
  orv_table_s *larger_utility = nullptr;
  orv_table_s *smaller_probability = nullptr;
  orv_table_s *smaller_utility = nullptr;
  // Working list (first section, then second) followed by the saved copy
  // it is reset from; room for twice the larger table's discrete nodes.
  orv::Dimension *dimensions = nullptr;
  std::size_t saved_count = 0;  // dimensions in the saved copy
  std::size_t first_section = 0;
  std::size_t second_section = 0;
  std::size_t first_saved = 0;  // first-section size of the saved copy
  std::size_t start_offset = 0;
  // For each continuous node of the smaller table, its position among the
  // larger table's continuous nodes.
  orv::Vector<std::size_t> cg_positions;
  orv_control_s *next = nullptr;
  bool chained = false;
  bool in_arena = false;  // record and dimensions live in an arena: destroyed in place

  const orv::Dimension *saved() const { return dimensions + saved_count; }
  std::size_t dimension_count() const { return first_section + second_section; }
  // Source and target of an operation: the first non-null of each pair.
  orv_table_s *source() const { return larger_probability ? larger_probability : larger_utility; }
  orv_table_s *target() const { return smaller_probability ? smaller_probability : smaller_utility; }
};

namespace orv {

// The argument block a kernel receives for one slice: the dimension list with
// the outermost count replaced by the slice's outer count, and the slice's
// data positions (already advanced by the start offset and slice start).
// Kernels walk their slice in the larger table's row-major order, write only
// inside it, and neither allocate nor touch the error code.
struct KernelArgs {
  const orv_control_s *control;
  const Dimension *dimensions;
  std::size_t first_section;
  std::size_t second_section;
  std::size_t outer_count;  // replaces dimensions[0].count
  double *const *positions;
  double *scratch;
};

using KernelFunction = void (*)(const KernelArgs &args);

// A kernel and whether it writes the smaller table (then only a first-section
// outermost dimension may be split among threads).
struct TableKernel {
  KernelFunction run;
  bool writes_smaller;
};

// Creation: builds the record and the standard control data of the pair
// (larger over a superset of the smaller's discrete nodes). Throws usage when
// the smaller table's discrete nodes are not all in the larger table;
// bad_alloc leaves nothing behind. Chained controls are numbered. With an
// arena the record and its dimensions are carved from it (the arena must
// outlive the control; freeing then only unlinks and destroys it).
orv_control_s *_orv_create_control(orv_table_s *larger_probability, orv_table_s *larger_utility,
                                   orv_table_s *smaller_probability,
                                   orv_table_s *smaller_utility, bool chained, Arena *arena = nullptr);
orv_control_s *_orv_create_control1(orv_table_s *larger_probability, orv_table_s *larger_utility,
                                    orv_table_s *smaller_probability,
                                    orv_table_s *smaller_utility, bool chained);
orv_control_s *_orv_create_control2(orv_table_s *larger_probability, orv_table_s *larger_utility,
                                    orv_table_s *smaller_probability,
                                    orv_table_s *smaller_utility, bool chained);
void _orv_create_control_contents(orv_control_s *c, const orv_table_s *larger,
                                  const orv_table_s *smaller, Arena *arena = nullptr);
// An unchained control for one operation.
orv_control_s *_orv_create_temporary_control(orv_table_s *larger_probability,
                                             orv_table_s *larger_utility,
                                             orv_table_s *smaller_probability,
                                             orv_table_s *smaller_utility);
// Unlinks (renumbering newer controls) and frees; null is ignored.
void _orv_free_control(orv_control_s *c) noexcept;
void _orv_free_temporary_control(orv_control_s *c) noexcept;

// Every dimension of the larger table in list order, with smaller strides.
void compute_standard_control_data(const orv_table_s *larger, const orv_table_s *smaller,
                                   Dimension *dimensions);

// Working list <- saved copy; sections as built; start offset 0.
void reset_control(orv_control_s *c) noexcept;
// Drops second-section dimensions whose node has a selected state, moving
// the start offset to that state's slice. Call on a freshly reset control.
void simplify_control(orv_control_s *c) noexcept;
// Removes void dimensions and merges adjacent ones (concurrency rule for the
// outermost dimension of the first section).
void compress_control(orv_control_s *c) noexcept;
// The control of a whole-table operation between a larger and a smaller
// table, in the probability or the utility slots by the larger table's type,
// prepared without evidence slicing. Tables over the same discrete nodes in
// the same order get a flat control on the stack (one dimension over every
// entry: nothing allocated); others a temporary control. Data are allocated
// on demand. Throws usage for tables of different domains.
class TableOperationControl {
 public:
  TableOperationControl(orv_table_s *larger, orv_table_s *smaller);
  ~TableOperationControl();
  TableOperationControl(const TableOperationControl &) = delete;
  TableOperationControl &operator=(const TableOperationControl &) = delete;
  const orv_control_s *get() const { return temporary_ ? temporary_ : &flat_; }

 private:
  orv_control_s flat_;
  Dimension flat_dimensions_[2];
  orv_control_s *temporary_ = nullptr;
};

// Reset, simplify by evidence, compress: the preparation for normal mode.
void _orv_setup_control_normal(orv_control_s *c) noexcept;
// Reset and compress without evidence slicing (fast-retraction mode).
void _orv_setup_control_fast_retraction(orv_control_s *c) noexcept;

// Runs the kernel over the whole index space of the control, in parallel where
// it pays. Throws Failure{no_memory} before any work when the slice records or
// scratch areas cannot be allocated.
void _orv_do_table_operation(const orv_control_s *c, TableKernel kernel, double *first_array,
                             double *second_array, std::size_t scratch_size,
                             std::size_t work_factor);

// Operations (discrete parts; tables with continuous nodes are refused with
// `error` until the CG table operations exist). All need allocated data.

// Adds the smaller utility table into the larger one, then multiplies the
// smaller probability table into the larger one (when both are present).
void _orv_combine(const orv_control_s *c);
// Which parts of a larger table pair an operation writes or may overwrite.
struct CombinedParts {
  bool probability = false;
  bool utility = false;
};
// _orv_combine into a pair whose `fresh` parts hold no data yet: those are
// overwritten with the (broadcast) smaller table, the same result as
// combining into unity (probabilities) or zero (utilities) with one write
// pass. Returns the parts it wrote. The control must cover the whole table
// (no evidence slicing).
CombinedParts _orv_combine_into_fresh(const orv_control_s *c, CombinedParts fresh);
// Multiplies source into target (probability target) or adds it (utility target).
void _orv_combine_tables(orv_table_s *target, orv_table_s *source);
// Divides the larger table by the smaller one in place; x / 0 gives 0.
void control_divide(const orv_control_s *c);
void _orv_divide_tables(orv_table_s *target, orv_table_s *source);

enum MarginalizeMode { kMarginalizeInto = orv_mode_normal, kMarginalizeOut = orv_mode_fast_retraction };

// Operation 11 (orv_equilibrium_sum) sums, anything else maximizes. Mode 20
// writes the smaller table(s); mode 21 ("out") writes the marginal into `out`
// (and `out_utility` for a pair), laid out like the smaller table, leaving the
// smaller tables alone. A control whose source includes a utility table
// performs the probability/utility pair marginalization: probabilities summed,
// utilities as probability-weighted means (0 where the probability sum is 0).
void _orv_marginalize(const orv_control_s *c, int operation, int mode, double *out = nullptr,
                      double *out_utility = nullptr);
void _orv_marginalize_tables(orv_table_s *source, orv_table_s *target, int operation, int mode);
// Sum over the larger pair of probability x utility onto the smaller table's
// layout (expected utilities), written to the control's target table.
void _orv_marginalize_contraction(const orv_control_s *c);
// A new unchained table over `nodes` (discrete, all in the table) holding the
// table's sum-marginal.
orv_table_s *_orv_table_get_marginal(orv_table_s *table, orv_node_t const *nodes);

}  // namespace orv
