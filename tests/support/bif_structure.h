// A minimal reader of the graph structure of BIF files (node names, state
// counts and parents; tables are skipped), for tests and benchmarks.
#pragma once

#include <string>

#include "orvel.h"

namespace orv::test {

// A new domain with one discrete chance node per BIF variable, in file order,
// and the links of the probability blocks; null when the file cannot be read.
orv_domain_t load_bif_structure(const std::string &path);

}  // namespace orv::test
