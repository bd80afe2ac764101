// Conditional distributions over discrete tables: validation and
// normalisation, and the product and sum-marginal that arc reversal needs.
// Straightforward loops over configurations, for tables without CG nodes.
#pragma once

#include "tables/table.h"

namespace orv {

// What a configuration whose entries sum to zero becomes.
enum class ZeroSum { refuse, uniform };

// Checks every entry (finite, not NaN, >= 0) and divides each configuration
// of the other nodes by its sum over the last discrete node's states. Throws
// invalid_probability_potential (the table may then be partly normalised).
// A table with CG nodes gets 1.0 in every discrete entry instead. Allocates
// missing data first (bad_alloc).
void normalize_conditional(orv_table_s *t, ZeroSum zero_sum);

// target[c] *= factor[c restricted to the factor's nodes]; the factor's
// discrete nodes all occur in the target. Throws bad_alloc.
void multiply_into(orv_table_s *target, const orv_table_s *factor);

// target[c] = sum of source entries over the source's nodes absent from the
// target; the target's discrete nodes all occur in the source. Throws bad_alloc.
void marginalize_into(orv_table_s *target, const orv_table_s *source);

}  // namespace orv
