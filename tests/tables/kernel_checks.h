// Checks every control-driven operation on one random shape against the naive
// reference, at the domain's current concurrency settings.
#pragma once

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "tables/control.h"
#include "tables/table_oracle.h"

namespace orv::test {

struct ControlOwner {
  orv_control_s *control;
  ControlOwner(orv_table_s *lp, orv_table_s *lu, orv_table_s *sp, orv_table_s *su, bool normal)
      : control(_orv_create_control(lp, lu, sp, su, false)) {
    normal ? _orv_setup_control_normal(control) : _orv_setup_control_fast_retraction(control);
  }
  ~ControlOwner() { _orv_free_control(control); }
};

// Runs multiply/add, divide, sum and max (into and out), the pair
// marginalization (into and out), contraction and utility-only sums; every
// result must equal the naive one exactly (same order of additions).
inline void check_operations(orv_domain_t d, const RandomShape &shape, std::mt19937 &random,
                             bool normal, const std::string &context) {
  SCOPED_TRACE(context);
  TablePtr lp(table_over(d, shape.larger)), lu(table_over(d, shape.larger, orv_table_utility));
  TablePtr sp(table_over(d, shape.smaller)), su(table_over(d, shape.smaller, orv_table_utility));
  for (orv_table_s *t : {lp.get(), lu.get(), sp.get(), su.get()}) fill_random(t, random);
  const auto lp0 = data_of(lp.get()), lu0 = data_of(lu.get());
  const auto sp0 = data_of(sp.get()), su0 = data_of(su.get());
  auto restore = [&] {
    put(lp.get(), lp0), put(lu.get(), lu0), put(sp.get(), sp0), put(su.get(), su0);
  };
  const std::vector<long> map = naive_map(lp.get(), sp.get(), normal);
  const std::size_t n = sp->size;

  {
    ControlOwner c(lp.get(), lu.get(), sp.get(), su.get(), normal);
    _orv_combine(c.control);
    EXPECT_EQ(data_of(lp.get()), naive_combine(lp0, sp0, map, NaiveOp::multiply)) << "multiply";
    EXPECT_EQ(data_of(lu.get()), naive_combine(lu0, su0, map, NaiveOp::add)) << "add";
    EXPECT_EQ(data_of(sp.get()), sp0);
  }
  restore();
  {
    ControlOwner c(lp.get(), nullptr, sp.get(), nullptr, normal);
    control_divide(c.control);
    EXPECT_EQ(data_of(lp.get()), naive_combine(lp0, sp0, map, NaiveOp::divide)) << "divide";
  }
  restore();
  {
    ControlOwner c(lp.get(), nullptr, sp.get(), nullptr, normal);
    _orv_marginalize(c.control, orv_equilibrium_sum, orv_mode_normal);
    EXPECT_EQ(data_of(sp.get()), naive_sum(lp0, n, map)) << "sum";
    _orv_marginalize(c.control, orv_equilibrium_max, orv_mode_normal);
    EXPECT_EQ(data_of(sp.get()), naive_max(lp0, n, map)) << "max";
    put(sp.get(), sp0);
    std::vector<double> out(n, -7.0);
    _orv_marginalize(c.control, orv_equilibrium_sum, orv_mode_fast_retraction, out.data());
    EXPECT_EQ(out, naive_sum(lp0, n, map)) << "sum out";
    _orv_marginalize(c.control, orv_equilibrium_max, orv_mode_fast_retraction, out.data());
    EXPECT_EQ(out, naive_max(lp0, n, map)) << "max out";
    EXPECT_EQ(data_of(sp.get()), sp0) << "out leaves the smaller table";
    EXPECT_EQ(data_of(lp.get()), lp0) << "marginalization leaves the larger table";
  }
  {
    std::vector<double> p(n), u(n), contracted(n);
    naive_pair(lp0, lu0, map, p, u, contracted);
    ControlOwner c(lp.get(), lu.get(), sp.get(), su.get(), normal);
    _orv_marginalize(c.control, orv_equilibrium_max, orv_mode_normal);  // pair: any operation
    EXPECT_EQ(data_of(sp.get()), p) << "pair probability";
    EXPECT_EQ(data_of(su.get()), u) << "pair utility";
    std::vector<double> p_out(n), u_out(n);
    _orv_marginalize(c.control, orv_equilibrium_sum, orv_mode_fast_retraction, p_out.data(),
                     u_out.data());
    EXPECT_EQ(p_out, p) << "pair out probability";
    EXPECT_EQ(u_out, u) << "pair out utility";
    ControlOwner contraction(lp.get(), lu.get(), sp.get(), nullptr, normal);
    _orv_marginalize_contraction(contraction.control);
    EXPECT_EQ(data_of(sp.get()), contracted) << "contraction";
  }
  restore();
  {
    ControlOwner c(nullptr, lu.get(), nullptr, su.get(), normal);
    _orv_marginalize(c.control, orv_equilibrium_sum, orv_mode_normal);
    EXPECT_EQ(data_of(su.get()), naive_sum(lu0, n, map)) << "utility sum";
  }
}

// check_operations on `rounds` random shapes of up to six nodes. Rounds whose
// parity is `normal_parity` run in normal mode with random selected states;
// `prepare(round)` runs before each round. Stops at the first failure.
template <class Prepare>
void check_random_rounds(orv_domain_t d, std::mt19937 &random, int rounds, int normal_parity, Prepare prepare) {
  for (int round = 0; round < rounds; ++round) {
    prepare(round);
    const RandomShape shape = random_shape(d, random, 6);
    const bool normal = round % 2 == normal_parity;
    if (normal)  // a random selected state, or none
      for (orv_node_t n : shape.larger)
        n->selected_state = std::max(-1L, std::uniform_int_distribution<long>(-2, long(n->state_count) - 1)(random));
    check_operations(d, shape, random, normal, "round " + std::to_string(round));
    for (orv_node_t n : shape.larger) n->selected_state = -1;
    if (::testing::Test::HasFailure()) break;
  }
}

}  // namespace orv::test
