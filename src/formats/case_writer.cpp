// The case data writer: a header of node names, an empty line, then the
// selected cases, with a count column or each case repeated count times.
#include <cmath>
#include <cstdio>

#include "formats/case_findings.h"
#include "learning/case_store.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

namespace {

constexpr double kTwoTo64 = 18446744073709551616.0;

bool valid_nodes(const orv_domain_s *d, orv_node_t const *nodes) {
  if (!nodes || !nodes[0]) return false;
  for (orv_node_t const *n = nodes; *n; ++n) {
    if (!is_node(*n) || (*n)->owner != d || !holds_cases(*n)) return false;
    for (orv_node_t const *m = nodes; m != n; ++m)
      if (*m == *n) return false;
  }
  return true;
}

// The selected cases: the listed ones (ended by -1) or all of them.
bool selected_cases(const orv_domain_s *d, const long *cases, Vector<std::size_t> &out) {
  if (!cases) {
    for (std::size_t i = 0; i < d->number_of_cases; ++i) out.push_back(i);
    return true;
  }
  for (; *cases != -1; ++cases) {
    if (*cases < 0 || static_cast<std::size_t>(*cases) >= d->number_of_cases) return false;
    out.push_back(static_cast<std::size_t>(*cases));
  }
  return true;
}

bool whole_counts(const orv_domain_s *d, const Vector<std::size_t> &cases) {
  for (std::size_t i : cases) {
    const double c = case_weight(d, i);
    if (c != std::floor(c) || !(c < kTwoTo64)) return false;
  }
  return true;
}

void write_items(std::FILE *file, orv_node_t const *nodes, std::size_t i, const char *separator,
                 const char *missing) {
  for (orv_node_t const *n = nodes; *n; ++n) {
    if (n != nodes) std::fputs(separator, file);
    if (!case_is_set(*n, i)) std::fputs(missing, file);
    else if ((*n)->is_continuous()) std::fprintf(file, "%.8G", (*n)->case_values[i]);
    else write_state(file, *n, static_cast<std::size_t>((*n)->case_states[i]));
  }
  std::fputc('\n', file);
}

void save_cases(orv_domain_s *d, const char *file_name, orv_node_t const *nodes,
                const Vector<std::size_t> &cases, bool counts, const char *separator, const char *missing) {
  CLocale locale;
  std::FILE *file = _orv_open_file(file_name, "w");
  if (!file) fail(orv_error_io);
  if (counts) std::fprintf(file, "#%s", separator);
  for (orv_node_t const *n = nodes; *n; ++n) {
    if (n != nodes) std::fputs(separator, file);
    std::fputs(orv_node_get_name(*n), file);
  }
  std::fputs("\n\n", file);
  for (std::size_t i : cases) {
    if (counts) {
      std::fprintf(file, "%G%s", case_weight(d, i), separator);
      write_items(file, nodes, i, separator, missing);
      continue;
    }
    const double repeats = d->case_counts ? case_weight(d, i) : 1.0;
    for (double r = 0; r < repeats && !std::ferror(file); r += 1.0) write_items(file, nodes, i, separator, missing);
  }
  const bool failed = std::ferror(file) != 0;
  if (std::fclose(file) != 0 || failed) fail(orv_error_io);
}

}  // namespace
}  // namespace orv

extern "C" {

orv_status_t orv_domain_save_cases(orv_domain_t domain, const char *file_name, orv_node_t *nodes,
                                   const long *cases, int include_counts, const char *separator,
                                   const char *missing_data) {
  if (!orv::is_domain(domain) || domain->is_class() || !file_name || !separator || !missing_data ||
      (include_counts != 0 && include_counts != 1) || !orv::valid_nodes(domain, nodes))
    return orv::usage(orv_error_usage);
  return orv::guarded_status([&] {
    orv::Vector<std::size_t> selected;
    if (!orv::selected_cases(domain, cases, selected)) orv::fail(orv_error_usage);
    if (!include_counts && !orv::whole_counts(domain, selected)) orv::fail(orv_error_usage);
    orv::save_cases(domain, file_name, nodes, selected, include_counts == 1, separator, missing_data);
  });
}

}  // extern "C"
