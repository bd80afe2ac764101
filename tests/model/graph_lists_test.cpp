// Node lists: parents and children, ancestors and
// descendants, deletion with its links, and the failure paths of creation,
// naming and cloning.
#include <gtest/gtest.h>

#include "model/node.h"
#include "support/domain_fixture.h"
#include "support/fault_injection.h"

namespace orv {
namespace {

using namespace test;
using Names = std::vector<std::string>;

TEST(GraphLists, AncestorsAndDescendantsBreadthFirst) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  orv_node_t e = add_node(d.get(), "E"), f = add_node(d.get(), "F");
  link(a, b), link(a, c), link(b, e), link(c, e), link(e, f);
  EXPECT_EQ(names_of(orv_node_get_ancestors(a)), (Names{"A"}));
  EXPECT_EQ(names_of(orv_node_get_ancestors(f)), (Names{"F", "E", "C", "B", "A"}));
  EXPECT_EQ(names_of(orv_node_get_descendants(a)), (Names{"A", "C", "B", "E", "F"}));
  EXPECT_EQ(names_of(orv_node_get_parents(e)), (Names{"C", "B"}));
  for (orv_node_t n = orv_domain_get_first_node(d.get()); n; n = orv_node_get_next(n)) EXPECT_EQ(n->mark, 0u);
}

TEST(NodeDeletion, RemovesLinksAndRefusesClassCopies) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B"), c = add_node(d.get(), "C");
  link(a, b), link(b, c);
  EXPECT_EQ(orv_node_delete(b), orv_error_none);
  EXPECT_EQ(names_of(orv_node_get_children(a)), Names{});
  EXPECT_EQ(names_of(orv_node_get_parents(c)), Names{});
  c->class_node = a;  // pretend c was copied from a class node
  EXPECT_EQ(orv_node_delete(c), orv_error_usage);
  c->class_node = nullptr;
  EXPECT_EQ(d->node_count, 2u);
}

// Every allocation of creation, naming and cloning can fail: the operation
// reports no_memory, leaks nothing and leaves the domain as it was. A failure
// inside the name index only drops the index, and the operation succeeds.
TEST(NodeFailurePaths, NoMemoryAtEveryAllocationLeavesTheDomainUnchanged) {
  auto d = new_domain();
  orv_node_t a = add_node(d.get(), "A"), b = add_node(d.get(), "B");
  for (int i = 0; i < 12; ++i) add_node(d.get(), ("P" + std::to_string(i)).c_str());
  link(a, b);
  ASSERT_EQ(orv_node_set_label(b, "a label long enough to need the heap"), orv_error_none);
  const auto snapshot = [&] {
    Names s = test::chain_names(d.get());
    s.push_back(std::to_string(d->node_count) + "/" + std::to_string(d->chance_count));
    for (const auto &n : names_of(orv_node_get_children(a))) s.push_back("child " + n);
    return s;
  };
  const Names before = snapshot();
  const auto sweep = [&](const char *what, auto operation, auto undo) {
    const auto clean = test::sweep_allocation_failures(operation, [&](const auto &run) {
      SCOPED_TRACE(std::string(what) + " allocation " + std::to_string(run.n));
      if (run.result) {  // absorbed: the lookups still work without the index
        EXPECT_EQ(d->names.bucket_count(), 0u);
        undo();
        return;
      }
      EXPECT_EQ(orv_error_code(), orv_error_no_memory);
      EXPECT_EQ(snapshot(), before);
      EXPECT_LE(run.leaked, 0);  // the index may go
    });
    ASSERT_TRUE(clean.result) << what;
    undo();
    EXPECT_EQ(snapshot(), before) << what;
  };
  orv_node_t made = nullptr;
  sweep("create", [&] { return (made = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete)) != nullptr; },
        [&] { orv_node_delete(made); });
  sweep("clone", [&] { return (made = orv_node_clone(b)) != nullptr; }, [&] { orv_node_delete(made); });
  sweep("rename", [&] { return orv_node_set_name(b, "a_name_that_is_long_enough_for_the_heap") == orv_error_none; },
        [&] { orv_node_set_name(b, "B"); });
  orv_node_t unnamed = orv_domain_new_node(d.get(), orv_category_chance, orv_kind_discrete);
  orv_node_delete(unnamed);
}

}  // namespace
}  // namespace orv
