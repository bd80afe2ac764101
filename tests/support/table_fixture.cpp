#include "support/table_fixture.h"

#include <stdexcept>

#include "model/node.h"
#include "tables/table.h"

namespace orv::test {

void fill_distinct(orv_table_t t) {
  double *data = orv_table_get_data(t);
  for (size_t i = 0; i < t->size; ++i) data[i] = static_cast<double>(i + 1);
  if (t->cg_data)
    for (size_t i = 0; i < t->size; ++i)
      for (size_t q = 0; q < t->block_size; ++q) t->cg_data[i * t->block_size + q] = 1000.0 * i + q;
}

std::vector<Assignment> configurations(orv_table_t t) {
  std::vector<Assignment> all;
  std::vector<size_t> config(t->discrete_count);
  for (size_t i = 0; i < t->size; ++i) {
    if (orv_table_get_configuration_from_index(t, config.data(), i) != orv_error_none)
      throw std::runtime_error("bad index");
    Assignment a;
    for (size_t k = 0; k < t->discrete_count; ++k) a[t->nodes[k]] = config[k];
    all.push_back(a);
  }
  return all;
}

double entry(orv_table_t t, const Assignment &states) {
  std::vector<size_t> config;
  for (size_t k = 0; k < t->discrete_count; ++k) config.push_back(states.at(t->nodes[k]));
  const size_t index = orv_table_get_index_from_configuration(t, config.data());
  if (index == static_cast<size_t>(-1)) throw std::runtime_error("bad configuration");
  return orv_table_get_data(t)[index];
}

TableSnapshot snapshot(orv_table_t t) {
  TableSnapshot s;
  s.nodes.assign(t->nodes.begin(), t->nodes.end());
  s.size = t->size;
  if (t->data) s.data.assign(t->data, t->data + t->size);
  if (t->cg_data) s.cg_data.assign(t->cg_data, t->cg_data + t->size * t->block_size);
  s.roles.assign(t->roles.begin(), t->roles.end());
  return s;
}

Family::Family()
    : a(add_node(d.get(), "A")), b(add_node(d.get(), "B")), x(add_continuous(d.get(), "X")) {
  set_state_count(a, 3), set_state_count(b, 2);
  link(a, b), link(a, x);
  ta = orv_node_get_table(a), tb = orv_node_get_table(b), tx = orv_node_get_table(x);
  orv_node_t parents[] = {a, nullptr};
  eb = b->experience = _orv_create_table(d.get(), parents, orv_table_experience, 0, true, true);
  eb->node = b;
  for (orv_table_t t : {ta, tb, tx, eb}) fill_distinct(t);
  const char *labels[] = {"lo", "mid", "hi"};
  for (size_t s = 0; s < 3; ++s) orv_node_set_state_label(a, s, labels[s]);
}

}  // namespace orv::test
