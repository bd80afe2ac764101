// Moralization: each participating node's moral neighbours, the necessary
// fill-ins of CG networks, and the moral-graph fragment for triangulation.
#pragma once

#include <cstdio>

#include "compile/compiled_domain.h"

namespace orv {

// Fills state.moral_graph and state.moral_neighbors from the domain's links,
// logging marriages and necessary fill-ins. Throws on failure (no_memory, io).
void _orv_domain_moralize(orv_domain_s *d, CompiledDomain &state, std::FILE *log);

}  // namespace orv
