// The copy of the junction forest's tables in their initial sum/normal
// equilibrium that orv_domain_save_to_memory keeps for later resets.
#pragma once

#include "compile/junction_forest.h"

namespace orv {

// Copies every clique and separator table of the forest; throws bad_alloc.
void save_tables(JunctionForest &forest);
// Copies a tree's saved tables back and restores its constants.
void restore_saved_tables(JunctionForest &forest, orv_junction_tree_s *tree) noexcept;

}  // namespace orv
