// KB files: the potentials of the network section, after the links.
//
//   per node: u8 table (0 none, 1 with data, 2 shape only, initialised),
//     u8 learning tables (bit 0 experience, bit 1 fading), u8 model;
//     a table: u32 node count, the nodes' positions, u64 size, the entries
//     and, with continuous nodes, the CG blocks (raw doubles);
//     a model: u32 node count, positions, u64 samples per interval, u64
//     expression count, per expression u8 present and its exact text;
//   u64 chain potential count, each u32 child count and a table.
// What is kept follows the NET text: a model's table only when supplied with
// it, no models for CG nodes.
#include <algorithm>
#include <cstring>
#include <utility>

#include "expr/expr_parse.h"
#include "expr/model.h"
#include "formats/kb_structure.h"
#include "formats/net_writer.h"
#include "learning/experience.h"
#include "model/chain_blocks.h"
#include "runtime/error.h"
#include "tables/node_table.h"

namespace orv {

namespace {

enum TableMode : unsigned { kNoTable = 0, kWithData = 1, kShapeOnly = 2 };

bool keeps_model(const orv_node_s *n) { return n->model && !n->is_continuous(); }

unsigned table_mode(const orv_node_s *n) {
  if (!n->table) return kNoTable;
  if (n->table->data && (!keeps_model(n) || n->model->table_supplied)) return kWithData;
  return n->experience || n->fading ? kShapeOnly : kNoTable;
}

void write_table(ByteWriter &w, const orv_table_s *t, const KbPositions &at, bool with_data) {
  w.u32(static_cast<std::uint32_t>(t->nodes.size()));
  for (orv_node_s *m : t->nodes) w.u32(at(m));
  if (!with_data) return;
  w.u64(t->size);
  w.f64s(t->data, t->size);
  if (t->continuous_count) w.f64s(t->cg_data, t->size * t->block_size);
}

void write_model(ByteWriter &w, const orv_model_s *m, const KbPositions &at) {
  w.u32(static_cast<std::uint32_t>(m->nodes.size()));
  for (orv_node_s *x : m->nodes) w.u32(at(x));
  w.u64(m->samples_per_interval);
  w.u64(m->expressions.size());
  for (const orv_expression_s *e : m->expressions) {
    w.u8(e ? 1 : 0);
    if (!e) continue;
    char *text = format_expression(e, true);
    struct Free {
      char *p;
      ~Free() { _orv_free(p); }
    } owner{text};
    w.text(text, std::strlen(text));
  }
}

// Frees a chained table unless released.
struct TableGuard {
  orv_table_s *t;
  ~TableGuard() { _orv_free_table(t); }
  orv_table_s *release() { return std::exchange(t, nullptr); }
};

// Reads a table's node list, which must be a permutation of `expected` with
// the discrete nodes first and, for a CG node's own table, the node first of
// the continuous ones; creates the table chained.
orv_table_s *read_table_nodes(ByteReader &r, orv_domain_s *d, KbNodes &k, const NodeList &expected,
                              orv_table_type_t type, const orv_node_s *head) {
  if (r.u32() != expected.size()) kb_damage();
  k.epoch += 2;
  for (orv_node_s *m : expected) k.stamps[KbNodes::position(m)] = k.epoch;
  NodeList nodes;
  nodes.reserve(expected.size());
  bool continuous_seen = false;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    orv_node_s *m = k.read(r);
    std::uint32_t &stamp = k.stamps[KbNodes::position(m)];
    if (stamp != k.epoch) kb_damage();  // not expected, or twice
    stamp = k.epoch + 1;
    if (m->is_discrete() && continuous_seen) kb_damage();
    if (!m->is_discrete() && !continuous_seen && head && head->is_continuous() && m != head) kb_damage();
    continuous_seen = continuous_seen || !m->is_discrete();
    nodes.push_back(m);
  }
  return _orv_create_table(d, nodes.c_list(), type, 0, false, true);
}

// Reads the entries (and CG blocks) into t: the sizes are checked against
// what is left before anything is allocated.
void read_table_data(ByteReader &r, orv_table_s *t) {
  const std::uint64_t size = r.u64();
  const std::size_t blocks = size_multiply(t->size, t->block_size);
  const std::size_t left = static_cast<std::size_t>(r.end - r.at) / sizeof(double);
  if (size != t->size || t->size == kSizeSentinel || t->size > left || blocks > left - t->size) kb_damage();
  _orv_allocate_data_arrays(t, false);
  r.f64s(t->data, t->size);
  if (!t->continuous_count) return;
  r.f64s(t->cg_data, blocks);
  for (std::size_t i = 0; i < t->roles.size(); ++i) t->roles[i] = i == 0 ? kRoleHead : kRoleTail;
}

NodeList own_family(orv_node_s *n) {
  NodeList family;
  if (n->category == orv_category_function) {
    family.push_back(n);
    return family;
  }
  for (orv_node_s *p : n->parents)
    if (p->counts_as_variable()) family.push_back(p);
  if (n->category != orv_category_utility) family.push_back(n);
  return family;
}

NodeList discrete_parents(const orv_node_s *n) {
  NodeList family;
  for (orv_node_s *p : n->parents)
    if (p->is_discrete()) family.push_back(p);
  return family;
}

void read_own_table(ByteReader &r, orv_domain_s *d, KbNodes &k, orv_node_s *n, unsigned mode) {
  if (!node_can_have_table(n)) kb_damage();
  const orv_table_type_t type = n->category == orv_category_utility ? orv_table_utility : orv_table_probability;
  TableGuard t{read_table_nodes(r, d, k, own_family(n), type, n)};
  t.t->node = n;
  if (mode == kWithData)
    read_table_data(r, t.t);
  else
    _orv_allocate_data_arrays(t.t);
  n->table = t.release();
  n->table_valid = false;  // checked before compiling, as after parsing
}

void read_learning_table(ByteReader &r, orv_domain_s *d, KbNodes &k, orv_node_s *n, bool experience) {
  if (experience ? !may_have_experience(n) : !may_have_fading(n)) kb_damage();
  TableGuard t{read_table_nodes(r, d, k, discrete_parents(n), experience ? orv_table_experience : orv_table_fading,
                                nullptr)};
  t.t->node = n;
  read_table_data(r, t.t);
  (experience ? n->experience : n->fading) = t.release();
}

void read_model(ByteReader &r, KbNodes &k, orv_node_s *n, bool supplied) {
  if (n->is_continuous() || n->category == orv_category_instance || n->class_node) kb_damage();
  const std::uint32_t count = r.u32();
  if (count > n->parents.size()) kb_damage();
  NodeList nodes;
  nodes.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    orv_node_s *m = k.read(r);
    if (!m->is_discrete() || !n->parents.contains(m) || nodes.contains(m)) kb_damage();
    nodes.push_back(m);
  }
  const std::uint64_t samples = r.u64();
  if (samples < 1 || samples > 1000000000000000ull) kb_damage();
  const std::size_t expressions = r.count(1);
  if (expressions != model_size(nodes.c_list())) kb_damage();
  orv_model_s *m = new_model(n, nodes.c_list());
  m->samples_per_interval = static_cast<std::size_t>(samples);
  m->table_supplied = supplied;
  String text;
  for (std::size_t i = 0; i < expressions; ++i) {
    const unsigned present = r.u8();
    if (present > 1) kb_damage();
    if (!present) continue;
    r.text(text);
    orv_expression_s *e = parse_expression_text(n->owner, text.c_str(), nullptr, nullptr);
    if (!e) fail(error_code() == orv_error_no_memory ? orv_error_no_memory : orv_error_bad_kb_format);
    set_model_expression(m, i, e);
  }
}

void read_chain_potential(ByteReader &r, orv_domain_s *d, KbNodes &k) {
  if (d->is_class()) kb_damage();
  const std::uint32_t children = r.u32();
  // Any distinct discrete nodes: the chain rules are checked when the block takes it.
  const std::uint32_t count = r.u32();
  if (count > k.nodes.size()) kb_damage();
  k.epoch += 2;
  NodeList nodes;
  nodes.reserve(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    orv_node_s *m = k.read(r);
    std::uint32_t &stamp = k.stamps[KbNodes::position(m)];
    if (stamp == k.epoch || !m->is_discrete()) kb_damage();
    stamp = k.epoch;
    nodes.push_back(m);
  }
  TableGuard t{_orv_create_table(d, nodes.c_list(), orv_table_probability, 0, false, true)};
  read_table_data(r, t.t);
  _orv_domain_add_chain_potential(d, t.t, children);
  t.release();
}

}  // namespace

void write_potentials(ByteWriter &w, orv_domain_s *d, const KbPositions &at) {
  for (orv_node_s *n : at.order) {
    const unsigned mode = table_mode(n);
    w.u8(mode);
    w.u8((n->experience ? 1 : 0) | (n->fading ? 2 : 0));
    w.u8(keeps_model(n) ? 1 : 0);
    if (mode != kNoTable) write_table(w, n->table, at, mode == kWithData);
    if (n->experience) write_table(w, n->experience, at, true);
    if (n->fading) write_table(w, n->fading, at, true);
    if (keeps_model(n)) write_model(w, n->model, at);
  }
  Vector<orv_table_s *> chain;
  for (ChainBlock *b = d->first_chain_block; b; b = b->next)
    chain.insert(chain.end(), b->potentials.begin(), b->potentials.end());
  std::sort(chain.begin(), chain.end(), [](const orv_table_s *a, const orv_table_s *b) { return a->number < b->number; });
  w.u64(chain.size());
  for (const orv_table_s *t : chain) {
    w.u32(static_cast<std::uint32_t>(chain_child_count(t)));
    write_table(w, t, at, true);
  }
}

void read_potentials(ByteReader &r, orv_domain_s *d, KbNodes &k) {
  for (orv_node_s *n : k.nodes) {
    const unsigned mode = r.u8(), learning = r.u8(), model = r.u8();
    if (mode > kShapeOnly || learning > 3 || model > 1) kb_damage();
    if (mode == kShapeOnly && !learning) kb_damage();
    if (mode != kNoTable) read_own_table(r, d, k, n, mode);
    if (learning & 1) read_learning_table(r, d, k, n, true);
    if (learning & 2) read_learning_table(r, d, k, n, false);
    if (model) read_model(r, k, n, mode == kWithData);
  }
  const std::size_t chain = r.count(8);
  for (std::size_t i = 0; i < chain; ++i) read_chain_potential(r, d, k);
}

}  // namespace orv
