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

void save_domain_file(orv_domain_s *d, const char *file_name, bool exact, DomainWriter write) {
  String name(file_name);
  CLocale locale;
  std::FILE *file = _orv_open_file(file_name, "w");
  if (!file) fail(orv_error_io);
  try {
    NetOutput out(file);
    out.exact = exact;
    write(out, d);
  } catch (...) {
    std::fclose(file);
    throw;
  }
  if (std::fclose(file) != 0) fail(orv_error_io);
  d->file_name.swap(name);
}

char *domain_text(orv_domain_s *d, bool exact, DomainWriter write) {
  CLocale locale;
  NetOutput out;
  out.exact = exact;
  write(out, d);
  return out.release_text();
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
  return guarded<char *>(nullptr, [&] { return orv::domain_text(domain, false, orv::write_domain_net); });
}

char *orv_domain_to_net_string_exact(orv_domain_t domain) {
  if (!is_domain(domain) || domain->is_class()) return usage<char *>(nullptr);
  return guarded<char *>(nullptr, [&] { return orv::domain_text(domain, true, orv::write_domain_net); });
}

orv_status_t orv_domain_save_as_net(orv_domain_t domain, const char *file_name) {
  if (!is_domain(domain) || domain->is_class() || !file_name) return usage(orv_error_usage);
  return guarded_status([&] { orv::save_domain_file(domain, file_name, false, orv::write_domain_net); });
}

orv_status_t orv_domain_save_as_net_exact(orv_domain_t domain, const char *file_name) {
  if (!is_domain(domain) || domain->is_class() || !file_name) return usage(orv_error_usage);
  return guarded_status([&] { orv::save_domain_file(domain, file_name, true, orv::write_domain_net); });
}

}  // extern "C"
