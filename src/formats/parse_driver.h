// The driver every reader (NET, BIF, XMLBIF, UAI) runs its body in.
#pragma once

#include <cstdio>

#include "formats/lexer.h"

namespace orv {

// Runs `body(p, d)` on a new domain, reading from the stream or the text, and
// returns the domain, or throws Failure with the first cause (parse when a
// message was counted). Locations are lines for a stream, offsets for text.
using ParseBody = void (*)(ParseData &p, orv_domain_s *d);
orv_domain_s *run_parse(std::FILE *stream, const char *text, ParseBody body,
                                orv_error_handler_t handler, void *data);

// Opens the file, runs the parse and records the file name in the domain.
orv_domain_s *run_parse_file(const char *name, ParseBody body, orv_error_handler_t handler, void *data);

}  // namespace orv
