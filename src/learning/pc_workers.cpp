// The worker threads and the one mutex of the independence tests.
#include <pthread.h>

#include "learning/pc.h"
#include "runtime/error.h"

namespace orv {

namespace {

struct Worker {
  WorkerBody body;
  void *context;
  std::size_t index;
  orv_error_t error = orv_error_none;
  pthread_t thread{};
  bool running = false;
};

void run_one(Worker &w) noexcept {
  if (!guarded(false, [&] { return w.body(w.context, w.index), true; })) w.error = error_code();
}

void *thread_main(void *argument) {
  run_one(*static_cast<Worker *>(argument));
  return nullptr;
}

}  // namespace

void run_workers(std::size_t workers, WorkerBody body, void *context) {
  if (workers <= 1) {
    body(context, 0);
    return;
  }
  Vector<Worker> pool;
  pool.reserve(workers);
  for (std::size_t k = 0; k < workers; ++k) pool.push_back(Worker{body, context, k});
  for (std::size_t k = 1; k < workers; ++k)
    pool[k].running = pthread_create(&pool[k].thread, nullptr, thread_main, &pool[k]) == 0;
  run_one(pool[0]);
  for (std::size_t k = 1; k < workers; ++k)
    if (!pool[k].running || pthread_join(pool[k].thread, nullptr) != 0) run_one(pool[k]);
  for (const Worker &w : pool)
    if (w.error != orv_error_none) fail(w.error);
}

struct OptionalMutex::Impl {
  pthread_mutex_t mutex;
};

OptionalMutex::OptionalMutex(bool needed) {
  if (!needed) return;
  impl_ = make<Impl>();
  if (pthread_mutex_init(&impl_->mutex, nullptr) != 0) {
    destroy(impl_);
    impl_ = nullptr;
    fail(orv_error_io);
  }
}

OptionalMutex::~OptionalMutex() {
  if (!impl_) return;
  pthread_mutex_destroy(&impl_->mutex);
  destroy(impl_);
}

void OptionalMutex::lock() {
  if (impl_ && pthread_mutex_lock(&impl_->mutex) != 0) fail(orv_error_io);
}

void OptionalMutex::unlock() {
  if (impl_) pthread_mutex_unlock(&impl_->mutex);
}

}  // namespace orv
