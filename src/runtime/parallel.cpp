// The thread fan-out: thread count from grain size and concurrency level,
// consecutive disjoint slices, per-thread scratch, join before return, and
// the calling thread as fallback for a thread that cannot start.
#include "runtime/parallel.h"

#include <pthread.h>

#include <atomic>

#include "runtime/allocate.h"
#include "runtime/error.h"

namespace orv {

namespace {

std::atomic<std::int64_t> thread_start_countdown{-1};
std::atomic<std::size_t> started_threads{0};

// Scratch areas start on separate cache lines so threads do not share lines.
constexpr std::size_t kDoublesPerLine = 8;

struct Subtask {
  const FanOutRequest *request;
  Slice slice;
  pthread_t thread;
  bool running;
};

void perform_subtasks(const Subtask &task) { task.request->run(task.request->context, task.slice); }

void *thread_main(void *argument) {
  perform_subtasks(*static_cast<const Subtask *>(argument));
  return nullptr;
}

bool injected_start_failure() {
  std::int64_t n = thread_start_countdown.load();
  while (n >= 0) {
    if (thread_start_countdown.compare_exchange_weak(n, n - 1)) return n == 0;
  }
  return false;
}

void create_thread(Subtask &task) {
  task.running = !injected_start_failure() &&
                 pthread_create(&task.thread, nullptr, thread_main, &task) == 0;
  if (task.running) started_threads.fetch_add(1);
}

// Joins the thread, or runs its range here when it never started or cannot
// be joined: the result is the same either way.
void await_thread(Subtask &task) {
  if (task.running && pthread_join(task.thread, nullptr) == 0) return;
  perform_subtasks(task);
}

orv_error_t run_in_calling_thread(const FanOutRequest &request) {
  Subtask task{&request, {}, {}, false};
  for (std::size_t a = 0; a < kSliceArrays; ++a) task.slice.positions[a] = request.positions[a];
  task.slice.outer_count = request.outer_count;
  if (request.scratch_size > 0) {
    task.slice.scratch = static_cast<double *>(
        _orv_allocate(size_multiply(request.scratch_size, sizeof(double))));
    if (!task.slice.scratch) return orv_error_no_memory;
  }
  perform_subtasks(task);
  _orv_free(task.slice.scratch);
  return orv_error_none;
}

}  // namespace

std::size_t compute_number_of_threads(std::size_t grain_size, std::size_t concurrency_level,
                                      std::size_t outer_count, std::size_t work_per_outer) {
  if (work_per_outer == 0) return 1;  // an empty index space
  const std::size_t chunk = grain_size / work_per_outer + (grain_size % work_per_outer ? 1 : 0);
  const std::size_t threads = chunk == 0 ? outer_count : outer_count / chunk;
  if (threads == 0) return 1;
  return threads < concurrency_level ? threads : concurrency_level;
}

orv_error_t fan_out(const FanOutRequest &request) {
  const std::size_t threads =
      request.concurrency_level > 1 && request.splittable
          ? compute_number_of_threads(request.grain_size, request.concurrency_level,
                                      request.outer_count, request.work_per_outer)
          : 1;
  if (threads <= 1) return run_in_calling_thread(request);

  auto *tasks = static_cast<Subtask *>(_orv_allocate(threads * sizeof(Subtask)));
  if (!tasks) return orv_error_no_memory;
  double *scratch = nullptr;
  std::size_t scratch_stride = 0;
  if (request.scratch_size > 0) {
    scratch_stride = size_multiply(
        (request.scratch_size + kDoublesPerLine - 1) / kDoublesPerLine, kDoublesPerLine);
    scratch = static_cast<double *>(
        _orv_allocate(size_multiply(size_multiply(scratch_stride, threads), sizeof(double))));
    if (!scratch) {
      _orv_free(tasks);
      return orv_error_no_memory;
    }
  }

  double *positions[kSliceArrays];
  for (std::size_t a = 0; a < kSliceArrays; ++a) positions[a] = request.positions[a];
  for (std::size_t i = 0; i < threads; ++i) {
    Subtask &task = tasks[i];
    task = Subtask{&request, {}, {}, false};
    task.slice.outer_count = slice_outer_count(request.outer_count, threads, i);
    task.slice.scratch = scratch ? scratch + i * scratch_stride : nullptr;
    for (std::size_t a = 0; a < kSliceArrays; ++a) {
      task.slice.positions[a] = positions[a];
      if (positions[a]) positions[a] += task.slice.outer_count * request.steps[a];
    }
  }
  for (std::size_t i = 0; i < threads; ++i) create_thread(tasks[i]);
  for (std::size_t i = 0; i < threads; ++i) await_thread(tasks[i]);

  _orv_free(scratch);
  _orv_free(tasks);
  return orv_error_none;
}

namespace testing {
void fail_thread_start(std::int64_t n) { thread_start_countdown.store(n); }
std::size_t threads_started() { return started_threads.load(); }
}  // namespace testing

}  // namespace orv
