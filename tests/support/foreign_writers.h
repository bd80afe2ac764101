// Test-side writers of the XMLBIF and UAI formats, used to make test inputs
// from NET networks (the library itself only reads these formats).
#pragma once

#include <string>

#include "orvel.h"

namespace orv::test {

// XMLBIF 0.3 text of a domain of discrete chance nodes; numbers "%.17g".
std::string to_xmlbif(orv_domain_t d);
// UAI BAYES text of a domain of discrete chance nodes, variables numbered in
// node-list order, each table's scope its parents then the node.
std::string to_uai(orv_domain_t d);

}  // namespace orv::test
