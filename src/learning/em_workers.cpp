// EM worker threads: each worker owns a work domain (a copy of the learning
// domain with the same nodes, tables and junction forest) and runs the
// E-step on a consecutive range of case blocks; the calling thread forms the
// totals in block order after joining them all. Unlike the structure
// learning's run_workers, an E-step allocates nothing: once an M-step has
// written the tables, a failure could no longer leave them as they were.
#include <pthread.h>

#include "compile/build_forest.h"
#include "compile/compile.h"
#include "compile/moralize.h"
#include "learning/case_store.h"
#include "learning/em.h"
#include "model/links.h"
#include "model/states.h"
#include "runtime/error.h"
#include "tables/node_table.h"

namespace orv {

namespace {

// Whether a work domain can be made: chance nodes only, no chain blocks.
bool can_clone(const orv_domain_s *d) {
  if (d->first_chain_block) return false;
  for (const orv_node_s *n = d->first_node; n; n = n->next)
    if (n->category != orv_category_chance || !n->counts_as_variable()) return false;
  return true;
}

// A work domain with the source's nodes (same chain order and numbers),
// links, table data and junction forest (the source's cliques).
Owned<orv_domain_s> clone_work_domain(orv_domain_s *source) {
  Owned<orv_domain_s> d(make<orv_domain_s>());
  Vector<orv_node_s *> sources;
  for (orv_node_s *n = source->first_node; n; n = n->next) sources.push_back(n);
  Vector<orv_node_s *> copy_of(source->node_count + 1, nullptr);
  for (std::size_t k = sources.size(); k-- > 0;) {
    orv_node_s *s = sources[k];
    orv_node_s *n = _orv_domain_new_node(d.get(), s->category, s->kind, s->subtype, false);
    if (s->state_count != n->state_count) set_number_of_states(n, s->state_count);
    copy_of[s->number] = n;
  }
  for (orv_node_s *s : sources)
    for (orv_node_s *p : s->parents) add_parent(copy_of[s->number], copy_of[p->number]);
  for (orv_node_s *s : sources) {
    orv_table_s *from = node_table(s);
    orv_table_s *to = node_table(copy_of[s->number]);
    NodeList order;
    for (orv_node_s *m : from->nodes) order.push_back(copy_of[m->number]);
    if (!_orv_node_lists_are_equal(order.c_list(), to->nodes.c_list())) reorder_table_nodes(to, order.c_list());
    _orv_allocate_data_arrays(from);
    _orv_allocate_data_arrays(to);
    _orv_copy_table_data(to, from);
  }
  const CompiledDomain &master = *compiled_domain(source);
  auto state = make_owned<CompiledDomain>();
  _orv_domain_moralize(d.get(), *state, nullptr);
  state->cliques = master.cliques;
  state->cost = master.cost;
  state->elimination_position = master.elimination_position;
  state->user_order = master.user_order;
  attach_triangulation(d.get(), std::move(state));
  compile_qualitatively_from_triangulation(d.get());
  compile_quantitatively(d.get());
  return d;
}

struct Worker {
  Owned<orv_domain_s> domain;
  Owned<Site> site;
  std::size_t first_block = 0, last_block = 0;
  bool with_counts = false;
  orv_error_t error = orv_error_none;
  pthread_t thread{};
  bool running = false;
};

// Runs work on a worker's thread, keeping its first failure in w.error.
template <typename Work>
void record_failure(Worker &w, Work &&work) noexcept {
  if (!guarded(false, [&] { return work(), true; })) w.error = error_code();
}

}  // namespace

struct EStepRunner::Impl {
  orv_domain_s *d;
  Vector<LearnedNode> &learned;
  std::size_t blocks = 1;
  Owned<Site> own;                 // without workers
  Vector<Owned<Worker>> workers;   // with workers
  // Block results with workers: per block the families' counts, then its
  // log-likelihood.
  Vector<double> slots;
  std::size_t slot_size = 0;

  Impl(orv_domain_s *d_, Vector<LearnedNode> &l) : d(d_), learned(l) {}

  void store_block(Worker &w, std::size_t b) noexcept {
    double *slot = slots.data() + b * slot_size;
    for (const SiteFamily &f : w.site->families)
      for (double c : f.block) *slot++ = c;
    *slot = w.site->block_log_likelihood;
  }

  void work(Worker &w) noexcept {
    record_failure(w, [&] {
      for (std::size_t b = w.first_block; b < w.last_block; ++b) {
        w.site->run_block(b, blocks, w.with_counts);
        store_block(w, b);
      }
    });
  }

  static void *thread_main(void *argument) {
    auto *pair = static_cast<std::pair<Impl *, Worker *> *>(argument);
    pair->first->work(*pair->second);
    return nullptr;
  }
};

namespace {

struct BuildJob {
  orv_domain_s *source;
  const Vector<LearnedNode> *learned;
  const Vector<signed char> *flags;
  Worker *worker;
  pthread_t thread{};
  bool running = false;
};

void build_work_domain(BuildJob &job) noexcept {
  Worker &w = *job.worker;
  record_failure(w, [&] {
    w.domain = clone_work_domain(job.source);
    w.site.reset(make<Site>(job.source, w.domain.get(), *job.learned, *job.flags));
  });
}

void *build_main(void *argument) {
  build_work_domain(*static_cast<BuildJob *>(argument));
  return nullptr;
}

}  // namespace

// Each work domain is built on a thread of its own, all at once, so that the
// allocator serves them from separate arenas: the records that two workers
// write for every case then never share a cache line.
void EStepRunner::build_work_domains(orv_domain_s *d, const Vector<LearnedNode> &learned,
                                     const Vector<signed char> &flags) {
  BuildJob jobs[kMaxCaseBlocks];
  const std::size_t count = impl_->workers.size();
  for (std::size_t k = 0; k < count; ++k) {
    jobs[k] = BuildJob{d, &learned, &flags, impl_->workers[k].get()};
    jobs[k].running = pthread_create(&jobs[k].thread, nullptr, build_main, &jobs[k]) == 0;
  }
  for (std::size_t k = 0; k < count; ++k)
    if (!jobs[k].running || pthread_join(jobs[k].thread, nullptr) != 0) build_work_domain(jobs[k]);
  for (auto &w : impl_->workers)
    if (w->error != orv_error_none) fail(w->error);
}

std::size_t em_worker_count(orv_domain_s *d, const Vector<signed char> &flags) {
  const std::size_t level = d->em_concurrency_level;
  if (level < 2 || !can_clone(d)) return 1;
  std::size_t active = 0;
  for (signed char f : flags)
    if (f >= 0) ++active;
  return active < level ? 1 : level;
}

EStepRunner::EStepRunner(orv_domain_s *d, Vector<LearnedNode> &learned, const Vector<signed char> &flags,
                         std::size_t workers)
    : impl_(make<Impl>(d, learned)), workers_(workers) {
  try {
    std::size_t entries = 0;
    for (const LearnedNode &l : learned) entries += l.counts.size();
    impl_->blocks = block_count(d->number_of_cases);
    if (workers_ > impl_->blocks) workers_ = impl_->blocks;
    if (size_multiply(impl_->blocks, entries + 1) > kBlockBudget) workers_ = 1;
    if (workers_ <= 1) {
      workers_ = 1;
      impl_->own.reset(make<Site>(d, d, learned, flags));
      return;
    }
    impl_->slot_size = entries + 1;
    impl_->slots.assign(size_multiply(impl_->blocks, impl_->slot_size), 0.0);
    for (std::size_t k = 0; k < workers_; ++k) {
      auto w = make_owned<Worker>();
      w->first_block = k * impl_->blocks / workers_;
      w->last_block = (k + 1) * impl_->blocks / workers_;
      impl_->workers.push_back(std::move(w));
    }
    build_work_domains(d, learned, flags);
  } catch (...) {
    destroy(impl_);
    throw;
  }
}

EStepRunner::~EStepRunner() { destroy(impl_); }

void EStepRunner::tables_changed() noexcept {
  for (auto &w : impl_->workers) w->site->copy_tables_from(impl_->learned);
}

double EStepRunner::run(bool with_counts) {
  Impl &m = *impl_;
  if (with_counts)
    for (LearnedNode &l : m.learned)
      for (double &c : l.counts) c = 0.0;
  double log_likelihood = 0.0;
  if (m.own) {
    for (std::size_t b = 0; b < m.blocks; ++b) {
      m.own->run_block(b, m.blocks, with_counts);
      log_likelihood += m.own->block_log_likelihood;
      if (!with_counts) continue;
      for (std::size_t k = 0; k < m.learned.size(); ++k) {
        const Vector<double> &block = m.own->families[k].block;
        Vector<double> &counts = m.learned[k].counts;
        for (std::size_t e = 0; e < counts.size(); ++e) counts[e] += block[e];
      }
    }
    return log_likelihood;
  }
  std::pair<Impl *, Worker *> arguments[kMaxCaseBlocks];
  for (std::size_t k = 0; k < m.workers.size(); ++k) {
    Worker &w = *m.workers[k];
    w.with_counts = with_counts;
    w.error = orv_error_none;
    arguments[k] = {&m, &w};
    w.running = pthread_create(&w.thread, nullptr, Impl::thread_main, &arguments[k]) == 0;
  }
  for (auto &w : m.workers) {
    if (!w->running || pthread_join(w->thread, nullptr) != 0) m.work(*w);  // run here instead
    w->running = false;
  }
  for (auto &w : m.workers)
    if (w->error != orv_error_none) fail(w->error);
  for (std::size_t b = 0; b < m.blocks; ++b) {
    const double *slot = m.slots.data() + b * m.slot_size;
    if (with_counts) {
      for (LearnedNode &l : m.learned)
        for (double &c : l.counts) c += *slot++;
    } else {
      slot += m.slot_size - 1;
    }
    log_likelihood += *slot;
  }
  return log_likelihood;
}

}  // namespace orv
