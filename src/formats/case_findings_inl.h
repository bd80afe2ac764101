// The file-parse frame shared by the case, case data and node-list readers.
#pragma once

#include <cstdio>

#include "formats/net_reader.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

template <class Body>
orv_error_t parse_file(const char *file_name, orv_error_handler_t handler, void *data, orv_domain_s *d,
                       Body &&body) {
  CLocale locale;
  std::FILE *file = _orv_open_file(file_name, "r");
  if (!file) return orv_error_io;
  orv_error_t code = orv_error_none;
  {
    ParseData p(file, nullptr, handler, data);
    p.domain = d;
    p.get_token = get_new_token;
    code = run_parse(p, [&] { body(p); });
  }
  // A read error (a directory, for one) looks like an early end to the parse.
  const bool read_failed = std::ferror(file) != 0;
  const bool close_failed = std::fclose(file) != 0;
  if (read_failed || (close_failed && code == orv_error_none)) code = orv_error_io;
  return code;
}

}  // namespace orv
