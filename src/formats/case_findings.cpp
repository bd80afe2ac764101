// The finding syntax shared by case files and case data files.
#include "formats/case_findings.h"

#include <cmath>
#include <cstring>

#include "inference/evidence.h"
#include "learning/case_store.h"
#include "model/states.h"
#include "runtime/error.h"

namespace orv {

namespace {

void enter_state(ParseData &p, orv_node_s *n, std::size_t state, const FindingTarget &target) {
  if (target.case_data) {
    if (!holds_cases(n)) report_api_error(p, orv_error_usage);
    set_case_state(n, target.case_index, state);
  } else {
    const orv_status_t status = orv_node_select_state(n, state);
    if (status != orv_error_none) report_api_error(p, static_cast<orv_error_t>(status));
  }
}

void parse_state_index(ParseData &p, orv_node_s *n, const FindingTarget &target) {
  if (!n->is_discrete()) p.fatal("state index can only be specified for discrete nodes", orv_error_parse);
  const int t = p.next();
  const bool same_line = !target.case_data || p.line == target.line;
  if (t != kTokNumber || !same_line || p.number < 0 || p.number != std::floor(p.number) ||
      p.number >= static_cast<double>(n->state_count))
    p.fatal("`#' must be followed by a valid state index", orv_error_parse);
  enter_state(p, n, static_cast<std::size_t>(p.number), target);
}

void parse_label(ParseData &p, orv_node_s *n, const FindingTarget &target) {
  if (!n->is_discrete() || n->subtype != orv_subtype_label) {
    p.report("state labels are only allowed for labeled nodes");
    return;
  }
  const long state = first_state_with_label(n, p.token_text);
  bool unique = state >= 0;
  for (std::size_t s = static_cast<std::size_t>(state) + 1; unique && s < n->state_count; ++s)
    if (std::strcmp(state_label(n, s), p.token_text) == 0) unique = false;
  if (!unique) {
    const String message = format_message("\"%s\" is not a (unique) state label of `%s'", p.token_text,
                                          orv_node_get_name(n));
    p.report(message.c_str());
    return;
  }
  enter_state(p, n, static_cast<std::size_t>(state), target);
}

void parse_boolean(ParseData &p, orv_node_s *n, const FindingTarget &target) {
  if (std::strcmp(p.token_text, "false") == 0) enter_state(p, n, 0, target);
  else if (std::strcmp(p.token_text, "true") == 0) enter_state(p, n, 1, target);
  else p.report("state of boolean node should be `false' or `true'");
}

void parse_number(ParseData &p, orv_node_s *n, const FindingTarget &target) {
  const double value = p.number;
  if (n->is_continuous()) {
    if (target.case_data) {
      set_case_value(n, target.case_index, value);
    } else {
      const orv_status_t status = orv_node_enter_value(n, value);
      if (status != orv_error_none) report_api_error(p, static_cast<orv_error_t>(status));
    }
    return;
  }
  if (n->subtype != orv_subtype_number && n->subtype != orv_subtype_interval) {
    const String message =
        format_message("node %s: numeric findings are only allowed for CG, numbered, and interval nodes",
                       orv_node_get_name(n));
    p.report(message.c_str());
    return;
  }
  if (_orv_node_check_status_of_state_values(n) != 0) {
    const String message =
        format_message("the state values of `%s' do not form an increasing sequence", orv_node_get_name(n));
    p.report(message.c_str());
    return;
  }
  const long state = _orv_node_state_value_to_state_index(n, value);
  if (state < 0) {
    const String message =
        format_message("no state of `%s' corresponds to the value %.8G", orv_node_get_name(n), value);
    p.report(message.c_str());
    return;
  }
  enter_state(p, n, static_cast<std::size_t>(state), target);
}

void parse_likelihood(ParseData &p, orv_node_s *n) {
  if (!n->is_discrete()) p.fatal("likelihood can only be specified for discrete nodes", orv_error_parse);
  for (std::size_t s = 0; s < n->state_count; ++s) {
    const int t = p.next();
    if (t == ')') p.fatal("likelihood vector too short", orv_error_parse);
    if (t != kTokNumber) p.fatal("number expected", orv_error_parse);
    if (p.number < 0) p.fatal("likelihood values must be nonnegative", orv_error_parse);
    const orv_status_t status = orv_node_enter_finding(n, s, p.number);
    if (status != orv_error_none) report_api_error(p, static_cast<orv_error_t>(status));
  }
  const int t = p.next();
  if (t == kTokNumber) p.fatal("likelihood vector too long", orv_error_parse);
  if (t != ')') p.fatal("')' expected", orv_error_parse);
}

}  // namespace

void report_at(ParseData &p, std::size_t location, const char *message) {
  ++p.error_count;
  if (!p.silent && p.handler) p.handler(location, message, p.handler_data);
}

orv_node_s *named_node(ParseData &p) { return orv_domain_get_node_by_name(p.domain, p.token_text); }

void parse_and_insert_finding(ParseData &p, int token, orv_node_s *n, const FindingTarget &target) {
  switch (token) {
    case '#':
      parse_state_index(p, n, target);
      return;
    case kTokString:
      parse_label(p, n, target);
      return;
    case kTokName:
      if (n->is_discrete() && n->subtype == orv_subtype_boolean) parse_boolean(p, n, target);
      else parse_label(p, n, target);
      return;
    case kTokNumber:
      parse_number(p, n, target);
      return;
    case '(':
      if (!target.case_data) {
        parse_likelihood(p, n);
        return;
      }
      break;
    case kTokEnd:
      p.fatal("unexpected end-of-file", orv_error_parse);
    case kTokError:
      if (target.case_data) p.fatal("syntax error", orv_error_parse);
      break;
    default:
      break;
  }
  p.fatal("illegal token", orv_error_parse);
}

}  // namespace orv
