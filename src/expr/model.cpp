// Models: creation over a node's discrete parents, expressions per
// configuration, samples per interval, and their public entry points.
#include "expr/expr_parse.h"
#include "expr/model.h"

#include "runtime/error.h"

orv_model_s::~orv_model_s() {
  for (orv_expression_s *e : expressions) orv::release_expression(e);
}

namespace orv {

bool is_model(const orv_model_s *m) { return m && m->tag == Tag::model; }

std::size_t model_size(orv_node_t const *nodes) {
  std::size_t size = 1;
  for (; *nodes; ++nodes) size = size_multiply(size, (*nodes)->state_count);
  return size;
}

void free_model(orv_model_s *m) noexcept { destroy(m); }

orv_model_s *new_model(orv_node_s *node, orv_node_t const *nodes) {
  const std::size_t size = model_size(nodes);
  if (size == kSizeSentinel) fail(orv_error_size_too_large);
  Owned<orv_model_s> m(make<orv_model_s>(node));
  m->nodes.assign(nodes);
  m->expressions.assign(size, nullptr);
  destroy(node->model);
  node->model = m.release();
  return node->model;
}

void set_model_expression(orv_model_s *m, std::size_t index, orv_expression_s *e) noexcept {
  if (m->expressions[index] == e) return;
  release_expression(m->expressions[index]);
  m->expressions[index] = e;
  hold_expression(e);
}

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::is_model;
using orv::is_node;
using orv::usage;

extern "C" {

orv_model_t orv_node_new_model(orv_node_t node, orv_node_t *model_nodes) {
  if (!is_node(node) || !model_nodes || node->category == orv_category_instance || node->class_node)
    return usage<orv_model_t>(nullptr);
  for (orv_node_t *n = model_nodes; *n; ++n) {
    const bool valid = is_node(*n) && (*n)->is_discrete() && node->parents.contains(*n);
    if (!valid) return usage<orv_model_t>(nullptr);
    for (orv_node_t *m = model_nodes; m != n; ++m)
      if (*m == *n) return usage<orv_model_t>(nullptr);
  }
  return guarded<orv_model_t>(nullptr, [&] { return orv::new_model(node, model_nodes); });
}

orv_model_t orv_node_get_model(orv_node_t node) {
  if (!is_node(node)) return usage<orv_model_t>(nullptr);
  orv::set_error(orv_error_none);
  return node->model;
}

orv_status_t orv_model_delete(orv_model_t model) {
  if (!is_model(model)) return usage(orv_error_usage);
  model->node->model = nullptr;
  orv::destroy(model);
  orv::set_error(orv_error_none);
  return orv_error_none;
}

orv_node_t *orv_model_get_nodes(orv_model_t model) {
  if (!is_model(model)) return usage<orv_node_t *>(nullptr);
  orv::set_error(orv_error_none);
  return model->nodes.c_list();
}

size_t orv_model_get_size(orv_model_t model) {
  if (!is_model(model)) return usage(orv::kSizeSentinel);
  orv::set_error(orv_error_none);
  return model->expressions.size();
}

orv_status_t orv_model_set_expression(orv_model_t model, size_t index, orv_expression_t expression) {
  if (!is_model(model) || index >= model->expressions.size() ||
      (expression && !orv::is_expression(expression)))
    return usage(orv_error_usage);
  return guarded_status([&] {
    orv_expression_s *copy = expression ? orv::clone_expression(expression) : nullptr;
    orv::set_model_expression(model, index, copy);
    model->table_generated = model->table_supplied = false;
  });
}

orv_status_t orv_model_set_expression_from_string(orv_model_t model, size_t index, const char *text,
                                                  orv_error_handler_t handler, void *data) {
  if (!is_model(model) || index >= model->expressions.size() || !text) return usage(orv_error_usage);
  orv_expression_s *parsed = orv::parse_expression_text(model->node->owner, text, handler, data);
  if (!parsed) return orv::error_code();
  orv::set_model_expression(model, index, parsed);
  model->table_generated = model->table_supplied = false;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

orv_status_t orv_model_set_user_data(orv_model_t model, void *data) {
  if (!is_model(model)) return usage(orv_error_usage);
  orv::set_error(orv_error_none);
  model->user_data = data;
  return orv_error_none;
}

void *orv_model_get_user_data(orv_model_t model) {
  if (!is_model(model)) return usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return model->user_data;
}

orv_expression_t orv_model_get_expression(orv_model_t model, size_t index) {
  if (!is_model(model) || index >= model->expressions.size()) return usage<orv_expression_t>(nullptr);
  orv::set_error(orv_error_none);
  return model->expressions[index];
}

orv_status_t orv_model_set_number_of_samples_per_interval(orv_model_t model, size_t count) {
  if (!is_model(model) || count < 1) return usage(orv_error_usage);
  if (model->samples_per_interval != count) model->table_generated = model->table_supplied = false;
  model->samples_per_interval = count;
  orv::set_error(orv_error_none);
  return orv_error_none;
}

size_t orv_model_get_number_of_samples_per_interval(orv_model_t model) {
  if (!is_model(model)) return usage(orv::kSizeSentinel);
  orv::set_error(orv_error_none);
  return model->samples_per_interval;
}

}  // extern "C"
