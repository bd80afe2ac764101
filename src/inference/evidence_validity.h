// The rule evidence on a domain with decisions must respect before it is
// propagated: decisions are only instantiated, and nothing that an
// unmade decision can influence has been observed ("free will").
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// True when the entered evidence of the tree's decisions and of the chance
// nodes below them is valid. Uses the node marks of the whole domain.
bool tree_evidence_is_valid(orv_junction_tree_s *t);
// The same over every tree of a compiled domain.
bool _orv_domain_evidence_is_valid(orv_domain_s *d);

}  // namespace orv
