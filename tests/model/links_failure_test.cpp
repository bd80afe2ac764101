// Allocation failures in every link operation: each failing run reports
// no_memory, leaks nothing and leaves lists, tables, blocks and the compiled
// state exactly as they were.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>

#include "model/chain_blocks.h"
#include "runtime/error.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"
#include "support/link_fixture.h"

namespace orv {
namespace {

using namespace test;
using test::node_table;

// Finds a node without touching the allocator (no name index).
orv_node_t node(orv_domain_t d, const char *name) {
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (std::strcmp(n->name.c_str(), name) == 0) return n;
  throw std::logic_error(name);
}

// P -> A -> B <- Q, B -> C, with a spare P2 like P; every node has a table,
// B has experience and fading tables, and the domain counts as compiled.
test::DomainPtr discrete_network() {
  auto d = test::new_domain();
  const std::pair<const char *, std::size_t> nodes[] = {{"P", 2}, {"P2", 2}, {"Q", 3}, {"A", 2}, {"B", 2}, {"C", 3}};
  for (auto [name, states] : nodes) set_state_count(add_node(d.get(), name), states);
  for (auto [child, parent] : {std::pair{"A", "P"}, {"B", "A"}, {"B", "Q"}, {"C", "B"}})
    if (orv_node_add_parent(node(d.get(), child), node(d.get(), parent)) != orv_error_none)
      throw std::logic_error("link");
  for (orv_node_t n = d->first_node; n; n = n->next) {
    orv_table_t t = node_table(n);
    for (std::size_t i = 0; i < t->size; ++i) t->data[i] = 1.0 + static_cast<double>(i % 3);
  }
  test::learning_table(node(d.get(), "B"), orv_table_experience);
  test::learning_table(node(d.get(), "B"), orv_table_fading);
  test::mark_compiled(d.get());
  return d;
}

// X <- Y (continuous) with a discrete K, all with tables.
test::DomainPtr cg_network() {
  auto d = test::new_domain();
  set_state_count(add_node(d.get(), "K"), 2);
  test::add_continuous(d.get(), "X");
  test::add_continuous(d.get(), "Y");
  if (orv_node_add_parent(node(d.get(), "X"), node(d.get(), "Y")) != orv_error_none) throw std::logic_error("link");
  for (orv_node_t n = d->first_node; n; n = n->next) node_table(n);
  test::mark_compiled(d.get());
  return d;
}

using Build = std::function<test::DomainPtr()>;
using Operation = std::function<orv_status_t(orv_domain_t)>;

// Returns the number of allocations the operation makes; every run starts
// from a freshly built network.
std::size_t sweep(const char *what, const Build &build, const Operation &operation) {
  auto d = build();
  std::string before = test::snapshot(d.get());
  const auto clean = test::expect_no_memory_sweep(what, [&] { return operation(d.get()); }, [&] {
    EXPECT_EQ(test::snapshot(d.get()), before);
    d = build();
    before = test::snapshot(d.get());
  });
  EXPECT_EQ(clean.result, orv_error_none) << what;
  EXPECT_NE(test::snapshot(d.get()), before) << what;
  return clean.n;
}

TEST(LinkFailurePaths, NoMemoryAtEveryAllocationLeavesTheNetworkUnchanged) {
  std::vector<std::size_t> counts;
  counts.push_back(sweep("add to a child with learning tables", discrete_network,
        [](orv_domain_t d) { return orv_node_add_parent(node(d, "B"), node(d, "P")); }));
  counts.push_back(sweep("add to a new parent list", discrete_network,
        [](orv_domain_t d) { return orv_node_add_parent(node(d, "P"), node(d, "P2")); }));
  counts.push_back(sweep("add a continuous tail", cg_network,
        [](orv_domain_t d) { return orv_node_add_parent(node(d, "Y"), node(d, "K")); }));
  counts.push_back(sweep("add a discrete parent to a CG table", cg_network,
        [](orv_domain_t d) { return orv_node_add_parent(node(d, "X"), node(d, "K")); }));
  counts.push_back(sweep("remove", discrete_network,
        [](orv_domain_t d) { return orv_node_remove_discrete_parent(node(d, "B"), node(d, "Q"), 2); }));
  counts.push_back(sweep("remove continuous", cg_network,
        [](orv_domain_t d) { return orv_node_remove_parent(node(d, "X"), node(d, "Y")); }));
  counts.push_back(sweep("switch", discrete_network,
        [](orv_domain_t d) { return orv_node_switch_parent(node(d, "A"), node(d, "P"), node(d, "P2")); }));
  counts.push_back(sweep("reverse", discrete_network,
        [](orv_domain_t d) { return orv_node_reverse_edge(node(d, "A"), node(d, "B")); }));
  counts.push_back(sweep("reverse into a missing table", [] {
          auto d = discrete_network();
          orv_node_t p = node(d.get(), "P");
          _orv_free_table(p->table);
          p->table = nullptr;
          return d;
        },
        [](orv_domain_t d) { return orv_node_reverse_edge(node(d, "P"), node(d, "A")); }));
  counts.push_back(sweep("delete", discrete_network, [](orv_domain_t d) { return orv_node_delete(node(d, "A")); }));
  counts.push_back(sweep("chain potential", discrete_network, [](orv_domain_t d) {
    orv_node_t list[] = {node(d, "A"), node(d, "Q"), nullptr};
    orv_table_s *t = nullptr;
    const orv_status_t status = guarded_status([&] {
      t = _orv_create_table(d, list, orv_table_probability, 0, true, true);
      _orv_domain_add_chain_potential(d, t, 2);
    });
    if (status != orv_error_none) _orv_free_table(t);
    set_error(static_cast<orv_error_t>(status));
    return status;
  }));
  // Removal and deletion only shrink; everything else allocates.
  EXPECT_EQ(counts, (std::vector<std::size_t>{counts[0], counts[1], counts[2], counts[3], 0, 0, counts[6],
                                              counts[7], counts[8], 0, counts[10]}));
  for (std::size_t i : {0, 1, 2, 3, 6, 7, 8, 10}) EXPECT_GT(counts[i], 2u) << i;
}

}  // namespace
}  // namespace orv
