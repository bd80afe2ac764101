// Domain lifecycle and the domain-level entry points of the node model.
#include "model/domain.h"

#include <cmath>
#include <random>

#include "model/attributes.h"
#include "model/chain_blocks.h"
#include "model/node.h"
#include "runtime/error.h"
#include "runtime/files.h"
#include "tables/control.h"
#include "tables/table.h"

orv_domain_s::~orv_domain_s() {
  orv::uncompile(this);
  orv::discard_node_set_cache(this);
  orv::free_chain_blocks(this);
  while (first_node) orv::free_node(first_node);
  while (first_control) orv::_orv_free_control(first_control);
  while (first_table) orv::_orv_free_table(first_table);
  orv::_orv_free_attribute_list(attributes);
  orv::_orv_free(case_counts);
  if (binding_log) std::fclose(binding_log);
}

namespace orv {

PeerRelease peer_release = nullptr;
SourceRelease source_release = nullptr;

bool is_domain(const orv_domain_s *d) {
  return d && (d->tag == Tag::domain || d->tag == Tag::class_record);
}

void uncompile(orv_domain_s *d) noexcept {
  d->compiled.reset();
  d->log_likelihood_valid = false;
}

void discard_node_set_cache(orv_domain_s *d) noexcept { d->node_set_cache.reset(); }

orv_status_t _orv_domain_flush_log_file(orv_domain_s *d) { return flush_log(d->log); }

}  // namespace orv

using orv::guarded;
using orv::guarded_status;
using orv::is_domain;

extern "C" {

orv_domain_t orv_new_domain(void) {
  return guarded<orv_domain_t>(nullptr, [] { return orv::make<orv_domain_s>(); });
}

orv_status_t orv_domain_delete(orv_domain_t domain) {
  if (!is_domain(domain) || domain->is_class()) return orv::usage(orv_error_usage);
  return guarded_status([&] { orv::destroy(domain); });
}

orv_status_t orv_domain_set_log_file(orv_domain_t domain, FILE *log_file) {
  if (!is_domain(domain)) return orv::usage(orv_error_usage);
  return guarded_status([&] { domain->log = log_file; });
}

orv_node_t orv_domain_get_first_node(orv_domain_t domain) {
  if (!is_domain(domain)) return orv::usage<orv_node_t>(nullptr);
  return guarded<orv_node_t>(nullptr, [&] { return domain->first_node; });
}

orv_node_t orv_domain_get_node_by_name(orv_domain_t domain, const char *name) {
  if (!is_domain(domain) || !name) return orv::usage<orv_node_t>(nullptr);
  return guarded<orv_node_t>(nullptr, [&] {
    orv_node_t found = domain->names.find(domain->first_node, domain->node_count, name);
    orv::set_error(orv_error_none);
    return found;
  });
}

orv_status_t orv_domain_set_node_size(orv_domain_t domain, size_t width, size_t height) {
  if (!is_domain(domain)) return orv::usage(orv_error_usage);
  return guarded_status([&] {
    domain->node_width = width;
    domain->node_height = height;
  });
}

orv_status_t orv_domain_get_node_size(orv_domain_t domain, size_t *width, size_t *height) {
  if (!is_domain(domain) || !width || !height || width == height) return orv::usage(orv_error_usage);
  return guarded_status([&] {
    *width = domain->node_width;
    *height = domain->node_height;
  });
}

namespace {

std::size_t category_count(orv_domain_t domain, std::size_t orv_domain_s::*count) {
  if (!is_domain(domain)) return orv::usage(orv::kSizeSentinel);
  orv::set_error(orv_error_none);
  return domain->*count;
}

}  // namespace

size_t orv_domain_get_number_of_chance_nodes(orv_domain_t domain) {
  return category_count(domain, &orv_domain_s::chance_count);
}

size_t orv_domain_get_number_of_decision_nodes(orv_domain_t domain) {
  return category_count(domain, &orv_domain_s::decision_count);
}

size_t orv_domain_get_number_of_utility_nodes(orv_domain_t domain) {
  return category_count(domain, &orv_domain_s::utility_count);
}

size_t orv_domain_get_number_of_instance_nodes(orv_domain_t domain) {
  return category_count(domain, &orv_domain_s::instance_count);
}

const char *orv_domain_get_file_name(orv_domain_t domain) {
  if (!is_domain(domain)) return orv::usage<const char *>(nullptr);
  orv::set_error(orv_error_none);
  return domain->file_name.empty() ? nullptr : domain->file_name.c_str();
}

orv_status_t orv_domain_seed_random(orv_domain_t domain, unsigned int seed) {
  if (!is_domain(domain)) return orv::usage(orv_error_usage);
  orv::set_error(orv_error_none);
  domain->random.seed(seed);
  return orv_error_none;
}

double orv_domain_get_uniform_deviate(orv_domain_t domain) {
  if (!is_domain(domain)) return orv::usage(-1.0);
  orv::set_error(orv_error_none);
  return std::uniform_real_distribution<double>(0.0, 1.0)(domain->random);
}

double orv_domain_get_normal_deviate(orv_domain_t domain, double mean, double variance) {
  if (!is_domain(domain) || !std::isfinite(mean) || !(variance >= 0.0) || !std::isfinite(variance))
    return orv::usage(-1.0);
  orv::set_error(orv_error_none);
  if (variance == 0.0) return mean;
  return std::normal_distribution<double>(mean, std::sqrt(variance))(domain->random);
}

}  // extern "C"
