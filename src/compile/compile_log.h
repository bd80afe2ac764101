// Writing the compilation log: checked writes (a failed write is io),
// wrapped name lists and costs printed as sizes.
#pragma once

#include <cstdio>

#include "compile/fragment.h"
#include "orvel.h"

namespace orv {

// printf to the log when one is set; throws io when the write fails.
void log_printf(std::FILE *log, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Names as a comma-separated list: lines start with four spaces and break
// with ",\n" before a name that would pass column 75; ends with "\n".
void log_name_list(std::FILE *log, const orv_node_t *nodes, std::size_t count);
void log_vertex_list(std::FILE *log, const Fragment &g, const VertexList &vertices);

// The node's name (generated when it has none); throws on failure.
const char *log_name(orv_node_t node);

// A triangulation cost in the domain's print ring: "HUGE" from 2^53 on.
const char *cost_text(orv_domain_s *d, double cost);
// "" for one, "s" otherwise.
inline const char *plural(std::size_t count) { return count == 1 ? "" : "s"; }

// Writes the time stamp that starts a compilation log.
void log_time_stamp(std::FILE *log);

}  // namespace orv
