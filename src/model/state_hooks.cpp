// Hooks through which changes of a node's states reach the subsystems that
// keep per-state data of their own. They are empty until those subsystems
// exist; each must leave its data consistent with the node's new states
// without failing.
#include "model/states.h"

namespace orv {

// Evidence: clear the node's evidence. Case data: states at or above the new
// count become missing (only below 32768, the range of case states). Models:
// follow the new count. Valid-table flags of the node and its temporal clone:
// cleared. Class instances and temporal clones: their counterparts follow.
void states_resized_hook(orv_node_s *, std::size_t) noexcept {}

// Evidence: a selected state is re-selected at its new index and a
// likelihood vector is permuted and entered again. Case data and models:
// permuted along the node's states.
void states_permuted_hook(orv_node_s *, const std::size_t *) noexcept {}

// Models that mention the node are regenerated before their next use.
void mark_models_for_regeneration(orv_node_s *) noexcept {}

}  // namespace orv
