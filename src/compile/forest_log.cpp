// Checked log writes shared by compilation and inference reports.
#include "compile/forest_log.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "model/node.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

namespace {
constexpr std::size_t kLastColumn = 75;
}

void log_printf(orv_domain_s *d, const char *format, ...) {
  if (!d->log) return;
  std::va_list args;
  va_start(args, format);
  const int written = std::vfprintf(d->log, format, args);
  va_end(args);
  if (written < 0) fail(orv_error_io);
}

void log_node_names(orv_domain_s *d, orv_node_t const *nodes, std::size_t count) {
  if (!d->log) return;
  log_printf(d, "    ");
  std::size_t column = 4;
  for (std::size_t i = 0; i < count; ++i) {
    orv_node_s *n = nodes[i];
    const char *name = node_name(n);
    const std::size_t length = std::strlen(name);
    if (i > 0) {
      if (column + 2 + length > kLastColumn) {
        log_printf(d, ",\n    ");
        column = 4;
      } else {
        log_printf(d, ", ");
        column += 2;
      }
    }
    log_printf(d, "%s", name);
    column += length;
  }
  log_printf(d, "\n");
}

void log_state(orv_domain_s *d, orv_node_t node, std::size_t state) {
  const bool labelled = state < node->state_labels.size() && node->state_labels[state].has_value();
  if (node->subtype == orv_subtype_label && labelled) {
    log_printf(d, "\"%s\"", node->state_labels[state]->c_str());
  } else if (node->subtype == orv_subtype_boolean && state < 2) {
    log_printf(d, "%s", state == 0 ? "false" : "true");
  } else if (node->subtype == orv_subtype_number && state < node->state_values.size()) {
    log_printf(d, "%.8G", node->state_values[state]);
  } else {
    log_printf(d, "#%zu", state);
  }
}

void log_flush(orv_domain_s *d) {
  if (d->log && std::fflush(d->log) != 0) fail(orv_error_io);
}

}  // namespace orv
