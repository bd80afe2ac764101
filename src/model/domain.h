// The domain record: a network with its node chain, counts, name index, log
// stream and settings. A class shares this record head.
#pragma once

#include <cstddef>
#include <cstdio>
#include <random>

#include "model/name_index.h"
#include "model/node_list.h"
#include "model/records.h"
#include "orvel.h"
#include "runtime/allocate.h"
#include "runtime/print_size.h"

struct orv_control_s;

namespace orv {
struct ChainBlock;

// The decision-information cache: per decision node, the nodes known when
// the decision is made. It survives adding a parent it already lists.
struct InformationCache : Attachment {
  virtual bool lists(const orv_node_s *decision, const orv_node_s *node) const = 0;
};
}  // namespace orv

struct orv_domain_s : orv::Tagged {
  explicit orv_domain_s(orv::Tag t = orv::Tag::domain) : Tagged(t) {}
  ~orv_domain_s();

  orv::PrintRing print_ring;  // sizes in log lines (_orv_print_size)

  // Layout defaults.
  std::size_t node_width = 0;
  std::size_t node_height = 0;

  std::FILE *log = nullptr;  // owned by the caller
  std::FILE *binding_log = nullptr;  // opened for the Java binding; closed with the domain

  // Nodes: the chain runs newest first; counts are kept exact.
  orv_node_s *first_node = nullptr;
  std::size_t node_count = 0;
  std::size_t discrete_count = 0;
  std::size_t continuous_count = 0;
  std::size_t chance_count = 0;
  std::size_t decision_count = 0;
  std::size_t utility_count = 0;
  std::size_t function_count = 0;
  std::size_t instance_count = 0;

  orv::NameIndex names;

  // Parallel table operations.
  std::size_t grain_size = 10000;
  std::size_t concurrency_level = 1;
  std::size_t em_concurrency_level = 1;

  // The control chain (newest first, numbered 1..control_count).
  orv_control_s *first_control = nullptr;
  std::size_t control_count = 0;

  std::mt19937 random{310952u};

  // The table chain (newest first, numbered 1..table_count).
  orv_table_s *first_table = nullptr;
  std::size_t table_count = 0;

  // Compiled structure and node-set-dependent caches; owned by the
  // compilation layers, discarded by uncompile.
  orv::Owned<orv::Attachment> compiled;
  orv::Owned<orv::Attachment> node_set_cache;

  orv::String file_name;
  void *user_data = nullptr;
  orv_attribute_s *attributes = nullptr;  // owned list, newest key first

  // Links: chain blocks (newest first) and the caches that depend on the
  // graph, owned by the compilation and decision layers.
  orv::ChainBlock *first_chain_block = nullptr;
  orv::Owned<orv::Attachment> graph_cache;
  orv::Owned<orv::InformationCache> information_cache;

  // Compilation settings and state: the node order given for the
  // minimal-separator triangulation (kept across uncompiling).
  orv::NodeList initial_triangulation;
  // Compilation settings and state: the limits of the exact total-weight
  // search per prime component (0 = no limit).
  std::size_t max_separators = 10000;
  std::size_t max_separator_size = 0;

  // Case store (learning): number_of_cases cases held in per-node arrays of
  // case_capacity entries; case_counts is null while every case weighs 1.
  std::size_t number_of_cases = 0;
  std::size_t case_capacity = 0;
  double *case_counts = nullptr;
  std::size_t max_number_of_cases = 0;  // 0: unlimited

  // EM settings and the cached log-likelihood of the case data, which every
  // change of cases, counts or tables invalidates.
  double log_likelihood_tolerance = 1e-4;
  std::size_t max_em_iterations = 0;  // 0: no limit
  int (*em_progress_handler)(double, std::size_t, void *) = nullptr;
  void *em_progress_data = nullptr;
  double cached_log_likelihood = 0.0;
  bool log_likelihood_valid = false;

  // Structure learning: the significance level of the independence tests.
  double significance_level = 0.05;

  bool is_class() const { return tag == orv::Tag::class_record; }
};

namespace orv {

bool is_domain(const orv_domain_s *d);
// Drops the compiled structure (cliques, junction trees, evidence state).
void uncompile(orv_domain_s *d) noexcept;
// Drops caches that depend on the set of discrete and continuous nodes.
void discard_node_set_cache(orv_domain_s *d) noexcept;

// Decimal text of a size in the domain's print ring, "HUGE" for the sentinel.
inline const char *_orv_print_size(orv_domain_s *d, std::size_t n) {
  return print_size(d->print_ring, n);
}

// Sets io when a log stream is set and flushing it fails.
orv_status_t _orv_domain_flush_log_file(orv_domain_s *d);

}  // namespace orv
