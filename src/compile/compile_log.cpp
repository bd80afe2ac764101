// Checked log writes for moralization and triangulation.
#include "compile/compile_log.h"

#include <cstdarg>
#include <cstring>
#include <ctime>

#include "model/domain.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {

void log_printf(std::FILE *log, const char *format, ...) {
  if (!log) return;
  va_list args;
  va_start(args, format);
  const int written = std::vfprintf(log, format, args);
  va_end(args);
  if (written < 0) fail(orv_error_io);
}

const char *log_name(orv_node_t node) { return node_name(node); }

namespace {

constexpr std::size_t kLastColumn = 75;

// Writes one name of a wrapped list; column is the current line's length.
void write_list_entry(std::FILE *log, const char *name, bool first, std::size_t &column) {
  const std::size_t length = std::strlen(name);
  if (first) {
    log_printf(log, "    %s", name);
    column = 4 + length;
  } else if (column + 2 + length > kLastColumn) {
    log_printf(log, ",\n    %s", name);
    column = 4 + length;
  } else {
    log_printf(log, ", %s", name);
    column += 2 + length;
  }
}

}  // namespace

void log_name_list(std::FILE *log, const orv_node_t *nodes, std::size_t count) {
  if (!log) return;
  std::size_t column = 0;
  for (std::size_t i = 0; i < count; ++i) write_list_entry(log, log_name(nodes[i]), i == 0, column);
  log_printf(log, "\n");
}

void log_vertex_list(std::FILE *log, const Fragment &g, const VertexList &vertices) {
  if (!log) return;
  std::size_t column = 0;
  for (std::size_t i = 0; i < vertices.size(); ++i)
    write_list_entry(log, log_name(g.nodes[vertices[i]]), i == 0, column);
  log_printf(log, "\n");
}

const char *cost_text(orv_domain_s *d, double cost) {
  constexpr double kHuge = 9007199254740992.0;  // 2^53: beyond exact integers
  return _orv_print_size(d, cost >= kHuge ? kSizeSentinel : static_cast<std::size_t>(cost));
}

void log_time_stamp(std::FILE *log) {
  if (!log) return;
  const std::time_t now = std::time(nullptr);
  char text[64];
  if (!ctime_r(&now, text)) fail(orv_error_error);
  log_printf(log, "%s", text);
}

}  // namespace orv
