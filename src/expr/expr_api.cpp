// Public expression entry points: leaves, composites, inspection, cloning,
// deletion, printing and parsing from text.
#include "expr/expr_parse.h"
#include "expr/expression.h"
#include "expr/model.h"
#include "runtime/error.h"
#include "runtime/files.h"

using orv::guarded;
using orv::guarded_status;
using orv::is_expression;
using orv::usage;

namespace {

// Adapts a legacy two-argument handler to the three-argument form.
void call_legacy_handler(size_t location, const char *message, void *data) {
  auto handler = reinterpret_cast<orv_legacy_error_handler_t>(data);
  handler(static_cast<int>(location), message);
}

}  // namespace

namespace orv {
// Used by the NET entry points too.
void legacy_adapter(size_t location, const char *message, void *data) {
  call_legacy_handler(location, message, data);
}
}  // namespace orv

extern "C" {

orv_expression_t orv_number_make_expression(double number) {
  return guarded<orv_expression_t>(nullptr, [&] { return orv::make_number(number); });
}

orv_expression_t orv_boolean_make_expression(int value) {
  return guarded<orv_expression_t>(nullptr, [&] { return orv::make_boolean(value); });
}

orv_expression_t orv_label_make_expression(const char *label) {
  if (!label) return usage<orv_expression_t>(nullptr);
  return guarded<orv_expression_t>(nullptr, [&] { return orv::make_label(label); });
}

orv_expression_t orv_node_make_expression(orv_node_t node) {
  if (!orv::is_node(node)) return usage<orv_expression_t>(nullptr);
  return guarded<orv_expression_t>(nullptr, [&] { return orv::make_node(node); });
}

orv_expression_t orv_make_composite_expression(orv_operator_t op, orv_expression_t *operands) {
  if (!operands || op < orv_op_Normal || op > orv_op_greater_than_or_equals)
    return usage<orv_expression_t>(nullptr);
  std::size_t count = 0;
  for (; operands[count]; ++count)
    if (!is_expression(operands[count])) return usage<orv_expression_t>(nullptr);
  return guarded<orv_expression_t>(nullptr, [&] { return orv::make_composite(op, operands, count); });
}

int orv_expression_is_composite(orv_expression_t e) {
  if (!is_expression(e)) return usage(-1);
  orv::set_error(orv_error_none);
  return e->is_composite() ? 1 : 0;
}

orv_operator_t orv_expression_get_operator(orv_expression_t e) {
  if (!is_expression(e)) return usage(orv_op_error);
  orv::set_error(orv_error_none);
  return e->op;
}

orv_expression_t *orv_expression_get_operands(orv_expression_t e) {
  if (!is_expression(e) || !e->is_composite()) return usage<orv_expression_t *>(nullptr);
  orv::set_error(orv_error_none);
  return e->operands.data();
}

orv_node_t orv_expression_get_node(orv_expression_t e) {
  if (!is_expression(e) || e->op != orv_op_node) return usage<orv_node_t>(nullptr);
  orv::set_error(orv_error_none);
  return e->node;
}

double orv_expression_get_number(orv_expression_t e) {
  if (!is_expression(e) || e->op != orv_op_number) return usage(-1.0);
  orv::set_error(orv_error_none);
  return e->number;
}

const char *orv_expression_get_label(orv_expression_t e) {
  if (!is_expression(e) || e->op != orv_op_label) return usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return e->label.c_str();
}

int orv_expression_get_boolean(orv_expression_t e) {
  if (!is_expression(e) || e->op != orv_op_boolean) return usage(-1);
  orv::set_error(orv_error_none);
  return e->boolean;
}

orv_expression_t orv_expression_clone(orv_expression_t e) {
  if (!is_expression(e)) return usage<orv_expression_t>(nullptr);
  return guarded<orv_expression_t>(nullptr, [&] { return orv::clone_expression(e); });
}

orv_status_t orv_expression_delete(orv_expression_t e) {
  if (!is_expression(e)) return usage(orv_error_usage);
  orv::delete_expression(e);
  orv::set_error(orv_error_none);
  return orv_error_none;
}

char *orv_expression_to_string(orv_expression_t e) {
  if (!is_expression(e)) return usage<char *>(nullptr);
  return guarded<char *>(nullptr, [&] {
    orv::CLocale locale;
    return orv::format_expression(e);
  });
}

orv_expression_t orv_domain_string_to_expression(orv_domain_t domain, const char *text,
                                                 orv_error_handler_t handler, void *data) {
  if (!orv::is_domain(domain) || domain->is_class() || !text) return usage<orv_expression_t>(nullptr);
  return orv::parse_expression_text(domain, text, handler, data);
}

orv_expression_t orv_class_string_to_expression(orv_class_t c, const char *text,
                                                orv_error_handler_t handler, void *data) {
  auto *record = reinterpret_cast<orv_domain_s *>(c);
  if (!orv::is_domain(record) || !record->is_class() || !text) return usage<orv_expression_t>(nullptr);
  return orv::parse_expression_text(record, text, handler, data);
}

orv_expression_t orv_string_parse_expression(const char *text, orv_model_t model,
                                             orv_error_handler_t handler, void *data) {
  if (!text || !orv::is_model(model)) return usage<orv_expression_t>(nullptr);
  return orv::parse_expression_text(model->node->owner, text, handler, data);
}

orv_expression_t orv_string_to_expression(const char *text, orv_domain_t domain,
                                          orv_legacy_error_handler_t handler) {
  if (!text || !orv::is_domain(domain)) return usage<orv_expression_t>(nullptr);
  if (!handler) return orv::parse_expression_text(domain, text, nullptr, nullptr);
  return orv::parse_expression_text(domain, text, call_legacy_handler,
                                    reinterpret_cast<void *>(handler));
}

}  // extern "C"
