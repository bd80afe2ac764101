// Small public utilities: processor time, the value that stands for an
// unbounded interval end, and handle lists that callers build themselves
// (the Java binding passes lists of nodes this way).
#include <cfloat>
#include <ctime>

#include "runtime/allocate.h"
#include "runtime/error.h"

extern "C" {

long orv_get_clock(void) {
  orv::set_error(orv_error_none);
  return static_cast<long>(std::clock());
}

double orv_infinity(void) {
  orv::set_error(orv_error_none);
  return DBL_MAX;
}

void **orv_new_list(size_t count) {
  if (count == 0) return orv::usage<void **>(nullptr);
  auto **list = static_cast<void **>(orv::_orv_allocate(orv::size_multiply(count, sizeof(void *))));
  if (!list) return nullptr;  // no_memory is set
  for (size_t i = 0; i < count; ++i) list[i] = nullptr;
  return list;
}

void *orv_list_get_item(void **list, size_t index) {
  if (!list) return orv::usage<void *>(nullptr);
  orv::set_error(orv_error_none);
  return list[index];
}

orv_status_t orv_list_set_item(void **list, size_t index, void *item) {
  if (!list) return orv::usage(orv_error_usage);
  orv::set_error(orv_error_none);
  list[index] = item;
  return orv_error_none;
}

orv_status_t orv_list_delete(void **list) {
  if (!list) return orv::usage(orv_error_usage);
  orv::set_error(orv_error_none);
  orv::_orv_free(list);
  return orv_error_none;
}

}  // extern "C"
