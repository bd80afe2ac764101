#include "support/network_fixture.h"

#include <algorithm>
#include <set>
#include <stdexcept>

#include "compile/build_forest.h"
#include "compile/compile.h"
#include "inference/evidence.h"
#include "model/node.h"
#include "runtime/error.h"
#include "tables/table.h"

namespace orv::test {

orv_node_t variable(orv_domain_t d, const char *name, std::size_t states, orv_category_t category) {
  orv_node_t n = add_node(d, name, category, category == orv_category_utility ? orv_kind_other : orv_kind_discrete);
  if (category != orv_category_utility) n->state_count = states;
  return n;
}

void family(orv_node_t node, const std::vector<orv_node_t> &parents, const std::vector<double> &data) {
  NodeList nodes;
  for (orv_node_t p : parents) {
    node->parents.push_back(p);
    p->children.push_back(node);
    nodes.push_back(p);
  }
  if (node->category != orv_category_utility) nodes.push_back(node);
  const orv_table_type_t type = node->category == orv_category_utility ? orv_table_utility : orv_table_probability;
  orv_table_s *t = _orv_create_table(node->owner, nodes.c_list(), type, 0, true, true);
  t->node = node;
  node->table = t;
  if (!data.empty()) {
    if (data.size() != t->size) throw std::logic_error("table data of the wrong size");
    std::copy(data.begin(), data.end(), t->data);
  }
}

std::vector<std::vector<orv_node_t>> eliminate(orv_domain_t d, const std::vector<orv_node_t> &order) {
  std::map<orv_node_t, std::set<orv_node_t>> adjacent;
  for (orv_node_t n = d->first_node; n; n = n->next) {
    if (!n->counts_as_variable() && n->category != orv_category_utility) continue;
    std::vector<orv_node_t> fam(n->parents.begin(), n->parents.end());
    if (n->counts_as_variable()) {
      fam.push_back(n);
      adjacent[n];
    }
    for (orv_node_t a : fam)
      for (orv_node_t b : fam)
        if (a != b) adjacent[a].insert(b);
  }
  std::vector<std::vector<orv_node_t>> cliques;
  std::set<orv_node_t> done;
  for (orv_node_t v : order) {
    std::vector<orv_node_t> clique{v};
    for (orv_node_t u : adjacent[v])
      if (!done.count(u)) clique.push_back(u);
    for (orv_node_t a : clique)
      for (orv_node_t b : clique)
        if (a != b) adjacent[a].insert(b);
    done.insert(v);
    std::set<orv_node_t> members(clique.begin(), clique.end());
    bool contained = false;
    for (const auto &c : cliques) {
      const std::set<orv_node_t> other(c.begin(), c.end());
      contained = contained || std::includes(other.begin(), other.end(), members.begin(), members.end());
    }
    if (!contained) cliques.push_back(clique);
  }
  return cliques;
}

orv_status_t build_forest(orv_domain_t d, const std::vector<std::vector<orv_node_t>> &cliques) {
  std::vector<std::vector<orv_node_t>> lists(cliques);
  std::vector<orv_node_t const *> heads;
  for (auto &c : lists) {
    c.push_back(nullptr);
    heads.push_back(c.data());
  }
  heads.push_back(nullptr);
  return guarded_status([&] { _orv_domain_compile_qualitatively(d, heads.data(), nullptr); });
}

orv_status_t compile_simply(orv_domain_t d) {
  std::vector<orv_node_t> order;
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (n->counts_as_variable()) order.push_back(n);
  const orv_status_t status = build_forest(d, eliminate(d, order));
  return status != orv_error_none ? status : guarded_status([&] { compile_quantitatively(d); });
}

std::vector<orv_node_t> random_network(orv_domain_t d, std::size_t n, std::size_t max_parents,
                                       std::size_t max_states, std::mt19937 &rng) {
  std::vector<orv_node_t> nodes;
  std::uniform_real_distribution<double> weight(0.05, 1.0);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t states = 2 + rng() % (max_states - 1);
    orv_node_t v = variable(d, ("N" + std::to_string(i)).c_str(), states);
    std::vector<orv_node_t> parents;
    const std::size_t k = i == 0 ? 0 : rng() % (std::min(i, max_parents) + 1);
    std::vector<orv_node_t> pool(nodes);
    std::shuffle(pool.begin(), pool.end(), rng);
    parents.assign(pool.begin(), pool.begin() + k);
    std::size_t rows = 1;
    for (orv_node_t p : parents) rows *= p->state_count;
    std::vector<double> data;
    for (std::size_t r = 0; r < rows; ++r) {
      std::vector<double> row(states);
      double sum = 0;
      for (double &x : row) sum += (x = weight(rng));
      for (double x : row) data.push_back(x / sum);
    }
    family(v, parents, data);
    nodes.push_back(v);
  }
  return nodes;
}

namespace {

// Calls visit(state, weight) for every configuration of the discrete nodes;
// the weight is the product of every table entry and evidence weight that
// agrees with the configuration.
template <class Visit>
void for_each_configuration(orv_domain_t d, Visit visit) {
  std::vector<orv_node_t> vars;
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (n->is_discrete()) vars.push_back(n);
  std::map<orv_node_t, std::size_t> state;
  std::vector<std::size_t> config(vars.size(), 0);
  for (;;) {
    for (std::size_t i = 0; i < vars.size(); ++i) state[vars[i]] = config[i];
    double p = 1.0;
    for (orv_node_t v : vars) {
      p *= entered_weight(v, state[v]);
      if (!v->table) continue;
      std::size_t index = 0;
      for (orv_node_t m : v->table->nodes) index = index * m->state_count + state[m];
      p *= v->table->data[index];
    }
    visit(state, p);
    std::size_t k = vars.size();
    while (k > 0 && ++config[k - 1] == vars[k - 1]->state_count) config[--k] = 0;
    if (k == 0) return;
  }
}

}  // namespace

std::vector<double> brute_force_joint(orv_domain_t d, const std::vector<orv_node_t> &nodes) {
  std::size_t size = 1;
  for (orv_node_t n : nodes) size *= n->state_count;
  std::vector<double> joint(size, 0.0);
  double total = 0.0;
  for_each_configuration(d, [&](std::map<orv_node_t, std::size_t> &state, double p) {
    std::size_t index = 0;
    for (orv_node_t n : nodes) index = index * n->state_count + state[n];
    joint[index] += p;
    total += p;
  });
  for (double &x : joint) x /= total;
  return joint;
}

Exact brute_force(orv_domain_t d) {
  Exact exact;
  for (orv_node_t n = d->first_node; n; n = n->next)
    if (n->is_discrete()) exact.marginal[n] = exact.max_marginal[n] = std::vector<double>(n->state_count, 0.0);
  for_each_configuration(d, [&](std::map<orv_node_t, std::size_t> &state, double p) {
    exact.probability += p;
    exact.max_probability = std::max(exact.max_probability, p);
    for (auto &[v, m] : exact.marginal) {
      m[state[v]] += p;
      double &max = exact.max_marginal[v][state[v]];
      max = std::max(max, p);
    }
  });
  for (auto &[v, m] : exact.marginal)
    for (double &x : m) x /= exact.probability;
  for (auto &[v, m] : exact.max_marginal)
    for (double &x : m) x /= exact.max_probability;
  return exact;
}

}  // namespace orv::test
