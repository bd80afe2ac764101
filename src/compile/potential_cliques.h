// Minimal separators and potential maximal cliques of a connected graph, the
// building blocks of the exact total-weight search. Both lists can grow
// exponentially, so both are enumerated under limits.
#pragma once

#include <cstddef>

#include "compile/vertex_sets.h"

namespace orv {

// Bounds on the enumeration; 0 means no limit.
struct SearchLimits {
  std::size_t max_separators = 0;      // per graph
  std::size_t max_separator_size = 0;  // members of any one separator
  std::size_t max_cliques = 0;         // potential maximal cliques
  // Candidate cliques tested, plus separators listed times graph size: a
  // deterministic bound on the time of the whole listing.
  std::size_t max_tests = 0;
};

// Lists the minimal separators of the subgraph induced by `universe` into
// `out` (emptied first). Returns false, with `out` incomplete, as soon as a
// limit is exceeded.
bool list_minimal_separators(const BitGraph &g, const Word *universe, const SearchLimits &limits, SetPool &out);

// Lists the potential maximal cliques of g (connected) into `out`, given all
// minimal separators of g (from list_minimal_separators). Returns false when
// a limit on the cliques or on the tests is exceeded.
bool list_potential_maximal_cliques(const BitGraph &g, const SearchLimits &limits, const SetPool &separators,
                                    SetPool &out);

// Whether omega is a potential maximal clique of the subgraph induced by
// universe: no component of the rest sees all of omega, and completing the
// neighbourhood of every component makes omega a clique.
class CliqueTest {
 public:
  explicit CliqueTest(const BitGraph &g) : g_(g) {}
  bool operator()(const Word *omega, const Word *universe);

 private:
  const BitGraph &g_;
  Vector<Word> within_, cover_, components_, neighbors_;
};

}  // namespace orv
