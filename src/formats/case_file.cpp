// Case files: the findings of one case as lines NODE ":" FINDING, read into
// the domain's evidence and written from it.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "formats/case_findings.h"
#include "formats/quote.h"
#include "inference/evidence.h"
#include "model/states.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

void parse_case_file(ParseData &p) {
  for (;;) {
    int t = p.next();
    if (t == kTokEnd) return;
    if (t != kTokName && t != kTokDottedName) p.fatal("node name expected", orv_error_parse);
    orv_node_s *n = named_node(p);
    if (!n) {
      const String message = format_message("the domain has no node named `%s'", p.token_text);
      p.fatal(message.c_str(), orv_error_parse);
    }
    if (!n->counts_as_variable())
      p.fatal("only chance, decision, and discrete function nodes can have findings", orv_error_parse);
    if (evidence_is_entered(n)) {
      const String message = format_message("findings specified twice for `%s'", orv_node_get_name(n));
      p.report(message.c_str());
    }
    t = p.next();
    if (t != ':') p.fatal("`:' expected", orv_error_parse);
    parse_and_insert_finding(p, p.next(), n, FindingTarget{});
  }
}

bool unique_label(const orv_node_s *n, std::size_t state) {
  const char *label = state_label(n, state);
  return *label && first_state_with_label(n, label) == static_cast<long>(state) &&
         [&] {
           for (std::size_t s = state + 1; s < n->state_count; ++s)
             if (std::strcmp(state_label(n, s), label) == 0) return false;
           return true;
         }();
}

}  // namespace

void write_state(std::FILE *file, const orv_node_s *n, std::size_t state) {
  if (n->subtype == orv_subtype_label && unique_label(n, state)) {
    write_quoted([&](const char *text, std::size_t length) { std::fwrite(text, 1, length, file); },
                 state_label(n, state));
    return;
  }
  if (n->subtype == orv_subtype_boolean && n->state_count == 2) {
    std::fputs(state == 0 ? "false" : "true", file);
    return;
  }
  if (n->subtype == orv_subtype_number && _orv_node_check_status_of_state_values(n) == 0) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17G", n->state_values[state]);
    if (_orv_node_state_value_to_state_index(n, std::strtod(text, nullptr)) == static_cast<long>(state)) {
      std::fputs(text, file);
      return;
    }
  }
  std::fprintf(file, "#%zu", state);
}

}  // namespace orv

extern "C" {

orv_status_t orv_domain_parse_case(orv_domain_t domain, const char *file_name, orv_error_handler_t handler,
                                   void *data) {
  if (!orv::is_domain(domain) || domain->is_class() || !file_name) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    for (orv_node_s *n = domain->first_node; n; n = n->next)
      if (n->counts_as_variable()) orv::retract_findings(n);
    const orv_error_t code = orv::parse_file(file_name, handler, data, domain, orv::parse_case_file);
    if (code != orv_error_none) {
      for (orv_node_s *n = domain->first_node; n; n = n->next)
        if (n->counts_as_variable()) orv::retract_findings(n);
      orv::fail(code);
    }
  });
}

orv_status_t orv_domain_save_case(orv_domain_t domain, const char *file_name) {
  if (!orv::is_domain(domain) || domain->is_class() || !file_name) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::CLocale locale;
    std::FILE *file = orv::_orv_open_file(file_name, "w");
    if (!file) orv::fail(orv_error_io);
    bool ok = true;
    for (orv_node_s *n = domain->first_node; n; n = n->next) {
      if (!n->counts_as_variable() || !orv::evidence_is_entered(n)) continue;
      std::fprintf(file, "%s: ", orv_node_get_name(n));
      if (n->is_continuous()) {
        std::fprintf(file, "%.17G", n->cg_value);
      } else if (n->selected_state >= 0) {
        orv::write_state(file, n, static_cast<std::size_t>(n->selected_state));
      } else {
        std::fputc('(', file);
        for (std::size_t s = 0; s < n->state_count; ++s)
          std::fprintf(file, s == 0 ? "%.17G" : " %.17G", orv::entered_weight(n, s));
        std::fputc(')', file);
      }
      ok = std::fputc('\n', file) != EOF && ok;
    }
    ok = !std::ferror(file) && ok;
    if (std::fclose(file) != 0 || !ok) orv::fail(orv_error_io);
  });
}

}  // extern "C"
