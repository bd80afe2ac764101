// The thread-local error code and the guard every API entry point runs its
// body in, so that no exception ever crosses the C boundary.
#pragma once

#include <new>
#include <utility>

#include "orvel.h"

namespace orv {

// constinit: no dynamic initialisation, so access needs no TLS wrapper call.
extern thread_local constinit orv_error_t _orv_error_code;

inline void set_error(orv_error_t code) { _orv_error_code = code; }
inline orv_error_t error_code() { return _orv_error_code; }

// Thrown by internal code to unwind to the entry point with a given code.
struct Failure {
  orv_error_t code;
};

[[noreturn]] inline void fail(orv_error_t code) { throw Failure{code}; }

// Throws the current error code when a lower service (allocator, file
// opening) reported failure through it.
inline void check(bool ok) {
  if (!ok) fail(error_code() == orv_error_none ? orv_error_error : error_code());
}

// Runs an entry point's body: the code starts at 0; a Failure, bad_alloc or
// anything unexpected becomes the error code and the failure value.
template <class R, class Body>
R guarded(R failure, Body &&body) noexcept {
  set_error(orv_error_none);
  try {
    return body();
  } catch (const Failure &f) {
    set_error(f.code);
  } catch (const std::bad_alloc &) {
    set_error(orv_error_no_memory);
  } catch (...) {
    set_error(orv_error_error);
  }
  return failure;
}

// Status form: the body returns nothing; the result is the final code.
template <class Body>
orv_status_t guarded_status(Body &&body) noexcept {
  guarded<int>(0, [&] {
    body();
    return 0;
  });
  return error_code();
}

// Sets `usage` and returns the failure value: for argument checks.
template <class R>
R usage(R failure) noexcept {
  set_error(orv_error_usage);
  return failure;
}

}  // namespace orv
