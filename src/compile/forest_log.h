// Checked writes to a domain's log stream for the compilation and inference
// reports: a failed write throws io; without a log nothing is written.
#pragma once

#include <cstddef>

#include "model/domain.h"
#include "orvel.h"

namespace orv {

// printf-style write; throws Failure{io} when the stream reports an error.
void log_printf(orv_domain_s *d, const char *format, ...) __attribute__((format(printf, 2, 3)));
// A wrapped comma-separated list of node names: lines start with four spaces,
// a line breaks before a name that would pass column 75; ends with "\n".
void log_node_names(orv_domain_s *d, orv_node_t const *nodes, std::size_t count);
// A state in the form used for simple evidence: the quoted label of a
// labelled node, false/true for a boolean node, the value of a numbered node,
// otherwise "#" and the index.
void log_state(orv_domain_s *d, orv_node_t node, std::size_t state);
// Flushes the log; throws io on failure.
void log_flush(orv_domain_s *d);

}  // namespace orv
