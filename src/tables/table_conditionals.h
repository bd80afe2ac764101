// Conditional distributions over discrete tables: validation and
// normalisation over the last discrete node's states.
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

}  // namespace orv
