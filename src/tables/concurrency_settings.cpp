// The domain's concurrency settings: grain size, concurrency level of table
// operations and the EM concurrency level.
#include <cstddef>

#include "model/domain.h"
#include "runtime/error.h"

namespace {

constexpr std::size_t kFailedSize = static_cast<std::size_t>(-1);

orv_status_t set_setting(orv_domain_t domain, std::size_t orv_domain_s::*field, std::size_t value) {
  if (!orv::is_domain(domain) || value == 0) return orv::usage(orv_error_usage);
  return orv::guarded_status([&] { domain->*field = value; });
}

std::size_t get_setting(orv_domain_t domain, std::size_t orv_domain_s::*field) {
  if (!orv::is_domain(domain)) return orv::usage(kFailedSize);
  return orv::guarded<std::size_t>(kFailedSize, [&] { return domain->*field; });
}

}  // namespace

extern "C" {

orv_status_t orv_domain_set_grain_size(orv_domain_t domain, size_t size) {
  return set_setting(domain, &orv_domain_s::grain_size, size);
}

size_t orv_domain_get_grain_size(orv_domain_t domain) {
  return get_setting(domain, &orv_domain_s::grain_size);
}

orv_status_t orv_domain_set_concurrency_level(orv_domain_t domain, size_t level) {
  return set_setting(domain, &orv_domain_s::concurrency_level, level);
}

size_t orv_domain_get_concurrency_level(orv_domain_t domain) {
  return get_setting(domain, &orv_domain_s::concurrency_level);
}

orv_status_t orv_domain_set_em_concurrency_level(orv_domain_t domain, size_t level) {
  return set_setting(domain, &orv_domain_s::em_concurrency_level, level);
}

size_t orv_domain_get_em_concurrency_level(orv_domain_t domain) {
  return get_setting(domain, &orv_domain_s::em_concurrency_level);
}

}  // extern "C"
