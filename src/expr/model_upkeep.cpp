// Model upkeep: the expressions of a model follow the states and the place
// of its model nodes, and no expression outlives a node it mentions.
#include "expr/model_upkeep.h"

#include "runtime/error.h"

namespace orv {

namespace {

// The strides of a model node's dimension: configurations of the model nodes
// before it (slower) and after it (faster).
struct Strides {
  std::size_t position = 0, before = 1, after = 1;
};

Strides strides_of(const orv_model_s *m, const orv_node_s *node) {
  Strides s;
  s.position = static_cast<std::size_t>(m->nodes.index_of(const_cast<orv_node_s *>(node)));
  for (std::size_t k = 0; k < m->nodes.size(); ++k)
    if (k != s.position) (k < s.position ? s.before : s.after) *= m->nodes[k]->state_count;
  return s;
}

void mark_stale(orv_model_s *m) { m->table_generated = m->table_supplied = false; }

void redirect(orv_expression_s *e, const orv_node_s *from, orv_node_s *to) noexcept {
  if (e->op == orv_op_node && e->node == from) e->node = to;
  if (e->is_composite())
    for (std::size_t i = 0; i < e->operand_count(); ++i) redirect(e->operands[i], from, to);
}

}  // namespace

PendingModel::~PendingModel() {
  for (orv_expression_s *e : expressions_) delete_expression(e);
}

void PendingModel::commit() noexcept {
  model_->expressions.swap(expressions_);
  for (orv_expression_s *e : model_->expressions) hold_expression(e);
  for (orv_expression_s *e : expressions_)  // the old ones, freed with this record
    if (e) --e->references;
  mark_stale(model_);
}

bool mentions(const orv_expression_s *e, const orv_node_s *node) {
  if (e->op == orv_op_node) return e->node == node;
  if (!e->is_composite()) return false;
  for (std::size_t i = 0; i < e->operand_count(); ++i)
    if (mentions(e->operands[i], node)) return true;
  return false;
}

void prepare_model_regrouping(const orv_node_s *node, const Vector<std::size_t> &source,
                              Vector<PendingModel> &out) {
  const std::size_t old_count = node->state_count, new_count = source.size();
  for (orv_node_s *child : node->children) {
    orv_model_s *m = child->model;
    if (!m || !m->nodes.contains(const_cast<orv_node_s *>(node))) continue;
    const Strides s = strides_of(m, node);
    out.push_back(PendingModel(m));
    Vector<orv_expression_s *> &expressions = out.back().expressions();
    expressions.assign(size_multiply(size_multiply(s.before, new_count), s.after), nullptr);
    for (std::size_t b = 0; b < s.before; ++b)
      for (std::size_t j = 0; j < new_count; ++j) {
        if (source[j] >= old_count) continue;
        for (std::size_t a = 0; a < s.after; ++a)
          if (const orv_expression_s *e = m->expressions[(b * old_count + source[j]) * s.after + a])
            expressions[(b * new_count + j) * s.after + a] = clone_expression(e);
      }
  }
}

void drop_model_node(orv_node_s *child, const orv_node_s *parent, std::size_t state) noexcept {
  orv_model_s *m = child->model;
  if (!m || !m->nodes.contains(const_cast<orv_node_s *>(parent))) return;
  const Strides s = strides_of(m, parent);
  const std::size_t count = parent->state_count;
  // Free the other states' expressions, then close the gaps in place.
  std::size_t kept = 0;
  for (std::size_t b = 0; b < s.before; ++b)
    for (std::size_t j = 0; j < count; ++j)
      for (std::size_t a = 0; a < s.after; ++a) {
        const std::size_t at = (b * count + j) * s.after + a;
        orv_expression_s *e = m->expressions[at];
        m->expressions[at] = nullptr;
        if (j == state) {
          m->expressions[kept++] = e;
        } else {
          release_expression(e);
        }
      }
  m->expressions.resize(kept);
  m->nodes.remove_at(s.position);
  mark_stale(m);
}

void replace_model_node(orv_node_s *child, const orv_node_s *old_node, orv_node_s *replacement) noexcept {
  orv_model_s *m = child->model;
  if (!m) return;
  const long position = m->nodes.index_of(const_cast<orv_node_s *>(old_node));
  if (position >= 0) m->nodes.begin()[position] = replacement;
  for (orv_expression_s *e : m->expressions)
    if (e) redirect(e, old_node, replacement);
  mark_stale(m);
}

void forget_node_in_models(const orv_node_s *node) noexcept {
  for (orv_node_s *n = node->owner->first_node; n; n = n->next) {
    if (!n->model) continue;
    for (orv_expression_s *&e : n->model->expressions)
      if (e && mentions(e, node)) {
        release_expression(e);
        e = nullptr;
        mark_stale(n->model);
      }
  }
}

}  // namespace orv
