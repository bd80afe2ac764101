// Appending to a stream or to a text buffer that grows to 4000 bytes first and
// doubles after that.
#include "formats/net_output.h"

#include <cstdarg>
#include <cstring>

#include "formats/quote.h"
#include "runtime/error.h"

namespace orv {

void NetOutput::put(const char *text, std::size_t length) {
  if (length == 0) return;
  if (stream_) {
    if (std::fwrite(text, 1, length, stream_) != length) fail(orv_error_io);
    return;
  }
  const std::size_t needed = size_add(size_add(length_, length), 1);
  if (needed > capacity_) {
    std::size_t capacity = capacity_ == 0 ? 4000 : size_multiply(capacity_, 2);
    if (capacity < needed) capacity = needed;
    void *grown = _orv_reallocate(buffer_, capacity);
    if (!grown) fail(orv_error_no_memory);
    buffer_ = static_cast<char *>(grown);
    capacity_ = capacity;
  }
  std::memcpy(buffer_ + length_, text, length);
  length_ += length;
  buffer_[length_] = '\0';
}

void NetOutput::put(const char *text) { put(text, std::strlen(text)); }

void NetOutput::format(const char *format, ...) {
  char text[128];
  va_list args;
  va_start(args, format);
  const int n = std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  if (n < 0 || static_cast<std::size_t>(n) >= sizeof text) fail(orv_error_error);
  put(text, static_cast<std::size_t>(n));
}

void NetOutput::put_quoted(const char *text) {
  write_quoted([this](const char *s, std::size_t n) { put(s, n); }, text);
}

char *NetOutput::release_text() {
  if (!buffer_) put("", 0), buffer_ = static_cast<char *>(_orv_allocate(1));
  if (!buffer_) fail(orv_error_no_memory);
  if (length_ == 0) buffer_[0] = '\0';
  char *text = buffer_;
  buffer_ = nullptr;
  capacity_ = length_ = 0;
  return text;
}

}  // namespace orv
