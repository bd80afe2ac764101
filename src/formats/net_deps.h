// Link operation the NET readers call; declared here until its section of
// the public header exists.
#pragma once

#include "orvel.h"

extern "C" {
orv_status_t orv_node_add_parent(orv_node_t child, orv_node_t parent);
}
