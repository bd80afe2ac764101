// The output sink of the writers: a C stream or a growing text buffer. Every
// append is checked; the first failure throws (io for a stream, no_memory for
// the buffer) and ends the write.
#pragma once

#include <cstddef>
#include <cstdio>

#include "runtime/allocate.h"

namespace orv {

class NetOutput {
 public:
  explicit NetOutput(std::FILE *stream) : stream_(stream) {}
  NetOutput() = default;
  ~NetOutput() { _orv_free(buffer_); }
  NetOutput(const NetOutput &) = delete;
  NetOutput &operator=(const NetOutput &) = delete;

  void put(const char *text, std::size_t length);
  void put(const char *text);
  void put_char(char c) { put(&c, 1); }
  // printf-style append (numbers, sizes).
  void format(const char *format, ...) __attribute__((format(printf, 2, 3)));
  // A number in the given printf format, or with 17 significant digits
  // ("%.17G", which reads back to the same double) when writing exactly.
  void number(const char *format, double value) { this->format(exact ? "%.17G" : format, value); }
  // A double-quoted string with escapes.
  void put_quoted(const char *text);

  // The memory text (NUL-terminated, never null); ownership passes to the caller.
  char *release_text();

  bool exact = false;
  // False: the data of tables that KB files store in binary is left out
  // (see stored_in_binary).
  bool table_data = true;

 private:
  std::FILE *stream_ = nullptr;
  char *buffer_ = nullptr;
  std::size_t capacity_ = 0;
  std::size_t length_ = 0;
};

}  // namespace orv
