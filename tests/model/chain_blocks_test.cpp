// Chain blocks: chain potentials, merging of blocks, searches that treat a
// block as one unit, and links around block members.
#include <gtest/gtest.h>

#include "model/chain_blocks.h"
#include "runtime/error.h"
#include "model/graph_checks.h"
#include "support/domain_fixture.h"
#include "support/link_fixture.h"

namespace orv {
namespace {

using namespace test;
using Names = std::vector<std::string>;

orv_table_s *potential(orv_domain_t d, std::vector<orv_node_t> nodes) {
  nodes.push_back(nullptr);
  return _orv_create_table(d, nodes.data(), orv_table_probability, 0, true, true);
}

std::size_t block_count(orv_domain_t d) {
  std::size_t n = 0;
  for (ChainBlock *b = d->first_chain_block; b; b = b->next) ++n;
  return n;
}

orv_status_t add_potential(orv_domain_t d, orv_table_s *t, std::size_t k) {
  return guarded_status([&] { _orv_domain_add_chain_potential(d, t, k); });
}

TEST(ChainBlocks, PotentialsJoinTheirHeadsAndBlocksMerge) {
  auto d = new_domain();
  orv_node_t p = add_node(d.get(), "P"), a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  orv_node_t c = add_node(d.get(), "C"), e = add_node(d.get(), "E");
  set_state_count(p, 2), set_state_count(a, 2), set_state_count(b, 3);
  ASSERT_EQ(orv_node_add_parent(a, p), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(b, p), orv_error_none);
  ASSERT_EQ(orv_node_add_parent(e, c), orv_error_none);
  test::mark_compiled(d.get());
  orv_table_s *pab = potential(d.get(), {p, a, b});
  ASSERT_EQ(add_potential(d.get(), pab, 2), orv_error_none);
  EXPECT_FALSE(test::is_compiled(d.get()));
  ASSERT_NE(a->chain_block, nullptr);
  EXPECT_EQ(a->chain_block, b->chain_block);
  EXPECT_EQ(p->chain_block, nullptr);
  EXPECT_EQ(names_of(a->chain_block->members.c_list()), (Names{"A", "B"}));

  // Searches continue from every member of a block.
  ASSERT_EQ(orv_node_add_parent(c, b), orv_error_none);
  EXPECT_TRUE(_orv_path_exists(a, e));
  EXPECT_TRUE(_orv_path_exists(p, e));
  EXPECT_EQ(orv_node_add_parent(p, e), orv_error_cyclic_network);

  // A second potential over B and C merges C into the block.
  orv_table_s *bc = potential(d.get(), {b, c});
  EXPECT_EQ(add_potential(d.get(), bc, 2), orv_error_cyclic_network);  // B -> C already
  ASSERT_EQ(orv_node_remove_parent(c, b), orv_error_none);
  ASSERT_EQ(add_potential(d.get(), bc, 2), orv_error_none);
  EXPECT_EQ(block_count(d.get()), 1u);
  ChainBlock *block = a->chain_block;
  EXPECT_EQ(c->chain_block, block);
  EXPECT_EQ(names_of(block->members.c_list()), (Names{"A", "B", "C"}));
  EXPECT_EQ(block->potentials.size(), 2u);
  EXPECT_EQ(add_potential(d.get(), bc, 2), orv_error_usage);  // recorded already

  // Block members can not be deleted; a removed parent leaves the potentials.
  EXPECT_EQ(orv_node_delete(a), orv_error_usage);
  ASSERT_EQ(orv_node_remove_discrete_parent(b, p, 1), orv_error_none);
  EXPECT_EQ(names_of(pab->nodes.c_list()), (Names{"A", "B"}));
  EXPECT_EQ(pab->size, 6u);
  EXPECT_EQ(names_of(orv_node_get_children(p)), (Names{"A"}));
}

TEST(ChainBlocks, RefusesMalformedPotentials) {
  auto d = new_domain();
  orv_node_t p = add_node(d.get(), "P"), a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  orv_node_t dec = add_node(d.get(), "D", orv_category_decision);
  ASSERT_EQ(orv_node_add_parent(a, p), orv_error_none);
  const std::string before = test::snapshot(d.get());
  orv_table_s *pab = potential(d.get(), {p, a, b});  // P is no parent of B
  EXPECT_EQ(add_potential(d.get(), pab, 2), orv_error_usage);
  EXPECT_EQ(add_potential(d.get(), pab, 1), orv_error_usage);
  EXPECT_EQ(add_potential(d.get(), pab, 4), orv_error_usage);
  orv_table_s *ad = potential(d.get(), {a, dec});  // heads must be chance nodes
  EXPECT_EQ(add_potential(d.get(), ad, 2), orv_error_usage);
  orv_table_s *pa = potential(d.get(), {p, a});  // P -> A is a directed link
  EXPECT_EQ(add_potential(d.get(), pa, 2), orv_error_cyclic_network);
  auto other = new_domain();
  orv_table_s *ab = potential(d.get(), {a, b});
  EXPECT_EQ(add_potential(other.get(), ab, 2), orv_error_usage);  // a table of another domain
  _orv_free_table(ab);
  EXPECT_EQ(block_count(d.get()), 0u);
  for (orv_node_t n : {p, a, b, dec}) EXPECT_EQ(n->chain_block, nullptr);
  _orv_free_table(pab), _orv_free_table(ad), _orv_free_table(pa);
  EXPECT_EQ(test::snapshot(d.get()), before);

  auto cg = new_domain();
  orv_node_t e = add_node(cg.get(), "E"), f = add_node(cg.get(), "F");
  orv_node_t x = test::add_continuous(cg.get(), "X");
  orv_table_s *efx = potential(cg.get(), {e, f, x});  // no CG nodes
  EXPECT_EQ(add_potential(cg.get(), efx, 2), orv_error_usage);
  EXPECT_EQ(block_count(cg.get()), 0u);
}

TEST(ChainBlocks, ReversalAndFreeingAroundBlocks) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  ASSERT_EQ(orv_node_add_parent(c, a), orv_error_none);
  ASSERT_EQ(add_potential(d.get(), potential(d.get(), {a, b}), 2), orv_error_none);
  EXPECT_EQ(orv_node_reverse_edge(a, c), orv_error_usage);  // A is in a block
  const std::size_t tables = d->table_count;
  _orv_free_chain_block(a->chain_block);
  EXPECT_EQ(a->chain_block, nullptr);
  EXPECT_EQ(b->chain_block, nullptr);
  EXPECT_EQ(d->table_count, tables - 1);  // the potential went with its block
  EXPECT_EQ(orv_node_reverse_edge(a, c), orv_error_none);
  ASSERT_EQ(add_potential(d.get(), potential(d.get(), {a, b}), 2), orv_error_none);
  // Deleting the domain frees the block and its potential (checked by ASan).
}

}  // namespace
}  // namespace orv
