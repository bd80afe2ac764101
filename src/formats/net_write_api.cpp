// Public entry points of the NET writer: onto a stream, into a string, into a file.
#include "formats/net_writer.h"
#include "runtime/error.h"
#include "runtime/files.h"

namespace orv {

orv_status_t _orv_write_string(std::FILE *stream, const char *text) {
  return guarded_status([&] {
    NetOutput out(stream);
    out.put_quoted(text);
  });
}

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::is_domain;
using orv::usage;

extern "C" {

orv_status_t orv_domain_write_net(orv_domain_t domain, FILE *stream) {
  if (!is_domain(domain) || domain->is_class() || !stream) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::CLocale locale;
    orv::NetOutput out(stream);
    orv::write_domain_net(out, domain);
  });
}

char *orv_domain_to_net_string(orv_domain_t domain) {
  if (!is_domain(domain) || domain->is_class()) return usage<char *>(nullptr);
  return guarded<char *>(nullptr, [&] {
    orv::CLocale locale;
    orv::NetOutput out;
    orv::write_domain_net(out, domain);
    return out.release_text();
  });
}

orv_status_t orv_domain_save_as_net(orv_domain_t domain, const char *file_name) {
  if (!is_domain(domain) || domain->is_class() || !file_name) return usage(orv_error_usage);
  return guarded_status([&] {
    orv::String name(file_name);
    orv::CLocale locale;
    std::FILE *file = orv::_orv_open_file(file_name, "w");
    if (!file) orv::fail(orv_error_io);
    try {
      orv::NetOutput out(file);
      orv::write_domain_net(out, domain);
    } catch (...) {
      std::fclose(file);
      throw;
    }
    if (std::fclose(file) != 0) orv::fail(orv_error_io);
    domain->file_name.swap(name);
  });
}

}  // extern "C"
