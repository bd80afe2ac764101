// The driver every reader runs in: one parse of a new domain under the C
// locale, from a stream or from text, with the first cause as the result.
#include "formats/parse_driver.h"

#include "formats/net_reader.h"
#include "model/node.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

orv_domain_s *run_parse(std::FILE *stream, const char *text, ParseBody body,
                                orv_error_handler_t handler, void *data) {
  CLocale locale;
  ParseData p(stream, text, handler, data);
  Owned<orv_domain_s> d(make<orv_domain_s>());
  p.domain = d.get();
  const orv_error_t code = run_parse(p, [&] { body(p, d.get()); });
  if (code != orv_error_none) fail(code);
  _orv_reverse_node_and_table_lists(d.get());
  set_error(orv_error_none);
  return d.release();
}

orv_domain_s *run_parse_file(const char *name, ParseBody body, orv_error_handler_t handler, void *data) {
  String file_name(name);
  std::FILE *file = _orv_open_file(name, "r");
  if (!file) fail(orv_error_io);
  Owned<orv_domain_s> d;
  try {
    d.reset(run_parse(file, nullptr, body, handler, data));
  } catch (...) {
    std::fclose(file);
    throw;
  }
  const bool read_failed = std::ferror(file) != 0;  // e.g. a directory reads as an early end
  if (std::fclose(file) != 0 || read_failed) fail(orv_error_io);
  d->file_name.swap(file_name);
  return d.release();
}

}  // namespace orv
