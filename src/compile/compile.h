// The compile pipeline: the quantitative phase after triangulation, with its
// rollback, and the inspection of conditional probability potentials.
#pragma once

#include "model/domain.h"

namespace orv {

// Allocates the forest's tables, inspects the potentials (log only) and runs
// the first sum/normal propagation. On failure frees the table data, clears
// the compiled flag and rethrows; the forest itself stays.
void compile_quantitatively(orv_domain_s *d);

// Writes the potential check to the log; returns invalid_probability_potential
// when some potential is invalid (other failures throw).
orv_error_t inspect_potentials(orv_domain_s *d);

}  // namespace orv
