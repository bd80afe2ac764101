#include "support/link_fixture.h"

#include <sstream>
#include <stdexcept>

#include "model/chain_blocks.h"
#include "model/records.h"
#include "support/net_compare.h"
#include "tables/node_table.h"

namespace orv::test {

orv_table_t node_table(orv_node_t node, const std::vector<double> &data) {
  orv_table_s *t = ::orv::node_table(node);
  _orv_allocate_data_arrays(t);
  if (!data.empty()) {
    if (data.size() != t->size) throw std::logic_error("table data of the wrong size");
    std::copy(data.begin(), data.end(), t->data);
  }
  return t;
}

orv_table_t learning_table(orv_node_t node, orv_table_type_t type) {
  NodeList nodes;
  for (orv_node_t p : node->parents)
    if (p->is_discrete()) nodes.push_back(p);
  orv_table_s *t = _orv_create_table(node->owner, nodes.c_list(), type, 0, true, true);
  t->node = node;
  (type == orv_table_experience ? node->experience : node->fading) = t;
  return t;
}

std::vector<double> entries(const orv_table_s *t) {
  return t->data ? std::vector<double>(t->data, t->data + t->size) : std::vector<double>{};
}

namespace {
struct CompiledStandIn : Attachment {};
}  // namespace

void mark_compiled(orv_domain_t d) { d->compiled.reset(make<CompiledStandIn>()); }
bool is_compiled(orv_domain_t d) { return d->compiled != nullptr; }

namespace {

// Which table it is (number and address) and its roles, then its contents.
void describe(std::ostringstream &out, const char *what, const orv_table_s *t) {
  if (!t) return;
  out << "  " << what << " #" << t->number << " @" << static_cast<const void *>(t) << " roles";
  for (unsigned char r : t->roles) out << ' ' << int(r);
  out << describe_table(t, 17);
}

}  // namespace

std::string snapshot(orv_domain_t d) {
  std::ostringstream out;
  out.precision(17);
  out << "compiled " << is_compiled(d) << " tables " << d->table_count << '\n';
  for (orv_node_t n = d->first_node; n; n = n->next) {
    out << n->name.c_str() << " #" << n->number << " valid " << n->table_valid << " parents";
    for (orv_node_t p : n->parents) out << ' ' << p->name.c_str();
    out << " children";
    for (orv_node_t c : n->children) out << ' ' << c->name.c_str();
    out << " block " << static_cast<const void *>(n->chain_block) << " mark " << n->mark << '\n';
    describe(out, "table", n->table);
    describe(out, "experience", n->experience);
    describe(out, "fading", n->fading);
  }
  for (const ChainBlock *b = d->first_chain_block; b; b = b->next) {
    out << "block " << static_cast<const void *>(b) << " members";
    for (orv_node_t m : b->members) out << ' ' << m->name.c_str();
    out << '\n';
    for (const orv_table_s *t : b->potentials) describe(out, "potential", t);
  }
  return out.str();
}

}  // namespace orv::test
