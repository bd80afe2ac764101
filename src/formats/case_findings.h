// Findings as case files and case data files write them: a state index, a
// state label, a boolean, a number, or (case files only) a likelihood vector.
#pragma once

#include <cstddef>
#include <cstdio>

#include "formats/lexer.h"
#include "model/node.h"

namespace orv {

// Where a finding goes: entered as evidence (case file) or stored as the
// state or value of a case (case data file, which also requires a state
// index on the line of its "#").
struct FindingTarget {
  bool case_data = false;
  std::size_t case_index = 0;
  std::size_t line = 0;
};

// Reads the finding whose first token is `token` for node n. Counted errors
// are reported and the finding is dropped; other errors abort the parse.
void parse_and_insert_finding(ParseData &p, int token, orv_node_s *n, const FindingTarget &target);

// The node named by the current name or dotted-name token, or null.
orv_node_s *named_node(ParseData &p);

// Writes a state of a discrete node so that the finding reader gets it
// back: the quoted label of a labelled node (when unique), false/true for a
// boolean node, the state value of a numbered node, otherwise "#" and the
// index.
void write_state(std::FILE *file, const orv_node_s *n, std::size_t state);

// Reports a counted error at an explicit location (a line already left).
void report_at(ParseData &p, std::size_t location, const char *message);

// Opens the file for reading, runs the parse under the C locale and closes
// the file; returns the parse's code (parse when errors were counted).
template <class Body>
orv_error_t parse_file(const char *file_name, orv_error_handler_t handler, void *data, orv_domain_s *d,
                       Body &&body);

}  // namespace orv

#include "formats/case_findings_inl.h"
