// A canonical text of a domain, for comparing parsed domains.
#include "support/net_compare.h"

#include <cstdio>

#include "expr/model.h"
#include "model/node.h"
#include "tables/table.h"

namespace orv::test {

namespace {

std::string number(double v, int digits) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*G", digits, v);
  return text;
}

}  // namespace

std::string describe_table(const orv_table_s *t, int digits) {
  if (!t) return " no-table\n";
  std::string out = " table type " + std::to_string(t->type) + " over";
  for (orv_node_t n : t->nodes) out += " " + std::string(n->name.c_str());
  out += "\n ";
  if (t->data)
    for (std::size_t i = 0; i < t->size; ++i) out += " " + number(t->data[i], digits);
  if (t->cg_data)
    for (std::size_t i = 0; i < t->size * t->block_size; ++i) out += " cg" + number(t->cg_data[i], digits);
  return out + "\n";
}

std::string names_of_parents(orv_node_t n) {
  std::string out;
  for (orv_node_t p : n->parents) out += (out.empty() ? "" : " ") + std::string(orv_node_get_name(p));
  return out;
}

std::string describe_domain(orv_domain_t d, int digits) {
  std::string out;
  std::size_t w = 0, h = 0;
  orv_domain_get_node_size(d, &w, &h);
  out += "size " + std::to_string(w) + " " + std::to_string(h) + "\n";
  for (orv_attribute_t a = orv_domain_get_first_attribute(d); a; a = orv_attribute_get_next(a))
    out += std::string("attr ") + orv_attribute_get_key(a) + "=" + orv_attribute_get_value(a) + "\n";
  for (orv_node_s *n = d->first_node; n; n = n->next) {
    out += "node " + std::string(n->name.c_str()) + " cat " + std::to_string(n->category) + " kind " +
           std::to_string(n->kind) + " number " + std::to_string(n->number) + " label '" + n->label.c_str() +
           "' pos " + std::to_string(n->x) + "," + std::to_string(n->y) + "\n";
    if (n->is_discrete()) {
      out += " subtype " + std::to_string(n->subtype) + " states";
      for (std::size_t s = 0; s < n->state_count; ++s)
        out += " '" + std::string(orv_node_get_state_label(n, s)) + "'";
      for (double v : n->state_values) out += " v" + number(v, 17);
      out += "\n";
    }
    out += " parents";
    for (orv_node_t p : n->parents) out += " " + std::string(p->name.c_str());
    out += "\n";
    for (orv_attribute_t a = orv_node_get_first_attribute(n); a; a = orv_attribute_get_next(a))
      out += std::string(" attr ") + orv_attribute_get_key(a) + "=" + orv_attribute_get_value(a) + "\n";
    out += describe_table(n->table, digits);
    if (n->experience) out += describe_table(n->experience, digits);
    if (n->fading) out += describe_table(n->fading, digits);
    if (n->model) {
      out += " model over";
      for (orv_node_t m : n->model->nodes) out += " " + std::string(m->name.c_str());
      out += " samples " + std::to_string(n->model->samples_per_interval) + " supplied " +
             std::to_string(n->model->table_supplied) + "\n";
      for (orv_expression_s *e : n->model->expressions) {
        char *text = e ? orv_expression_to_string(e) : nullptr;
        out += "  expr " + std::string(text ? text : "-") + "\n";
        std::free(text);
      }
    }
  }
  return out;
}

}  // namespace orv::test
