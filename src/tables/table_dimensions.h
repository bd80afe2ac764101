// Adding a table dimension, for the link operations: the new dimension is
// staged in a separate table whose contents are then swapped in.
#pragma once

#include <cstddef>

#include "tables/table.h"

namespace orv {

// An unchained copy of `t` with `node` inserted at `position` of its node
// list: a discrete node within the discrete part (every entry is repeated for
// each state of the node), a continuous node at the end (role `role`, zero
// coefficients). Data are built only when `t` has data. Throws bad_alloc.
Owned<orv_table_s> table_with_dimension(const orv_table_s *t, orv_node_s *node,
                                        std::size_t position, CgRole role);

// Swaps nodes, counts, size and data of the two tables (records and their
// chain places stay): a staged table replaces a live one's contents.
void swap_table_contents(orv_table_s *a, orv_table_s *b) noexcept;

}  // namespace orv
