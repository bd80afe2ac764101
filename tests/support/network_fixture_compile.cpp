// Compiling test networks from the cliques of a given elimination.
#include "compile/build_forest.h"
#include "compile/compile.h"
#include "model/node.h"
#include "runtime/error.h"
#include "support/network_fixture.h"

namespace orv::test {

orv_status_t compile_with_cliques(orv_domain_t d, const std::vector<std::vector<orv_node_t>> &cliques) {
  std::vector<std::vector<orv_node_t>> lists(cliques);
  std::vector<orv_node_t const *> heads;
  for (auto &c : lists) {
    c.push_back(nullptr);
    heads.push_back(c.data());
  }
  heads.push_back(nullptr);
  return guarded_status([&] {
    _orv_domain_compile_qualitatively(d, heads.data(), nullptr);
    compile_quantitatively(d);
  });
}

orv_status_t compile_simply(orv_domain_t d) {
  std::vector<orv_node_t> order;
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (n->counts_as_variable()) order.push_back(n);
  return compile_with_cliques(d, eliminate(d, order));
}

}  // namespace orv::test
