// KB files: the byte-level layer. Bounds-checked little-endian encoding, the
// gzip container with its header, and password sealing of the model bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>
#include <vector>

#include "runtime/allocate.h"

namespace orv {

// Funnel memory whose new elements are left unwritten, so that a buffer about
// to be filled is touched once.
template <class T>
struct RawAllocator : Allocator<T> {
  template <class U>
  struct rebind {
    using other = RawAllocator<U>;
  };
  RawAllocator() noexcept = default;
  template <class U>
  RawAllocator(const RawAllocator<U> &) noexcept {}
  template <class U>
  void construct(U *p) noexcept {
    ::new (static_cast<void *>(p)) U;
  }
  template <class U, class... Args>
  void construct(U *p, Args &&...args) {
    ::new (static_cast<void *>(p)) U(std::forward<Args>(args)...);
  }
};

using Bytes = std::vector<unsigned char, RawAllocator<unsigned char>>;

// Appends fixed-width little-endian values and byte runs.
struct ByteWriter {
  Bytes bytes;
  void u8(unsigned v) { bytes.push_back(static_cast<unsigned char>(v)); }
  void u32(std::uint32_t v);
  void u64(std::uint64_t v);
  void f64(double v);
  void f64s(const double *v, std::size_t n);
  void run(const void *data, std::size_t n);
  // A length and the bytes of a string without NUL.
  void text(const char *s, std::size_t n);
  void text(const String &s) { text(s.data(), s.size()); }
};

// Reads what ByteWriter wrote; any read past the end fails with bad_kb_format.
struct ByteReader {
  const unsigned char *at;
  const unsigned char *end;
  unsigned u8();
  std::uint32_t u32();
  std::uint64_t u64();
  double f64();
  void f64s(double *v, std::size_t n);
  const unsigned char *run(std::size_t n);
  // A count of items of at least `item_size` bytes each, checked against what is left.
  std::size_t count(std::size_t item_size);
  // What ByteWriter::text wrote; a NUL inside is damage.
  void text(String &into);
  bool done() const { return at == end; }
};

enum class KbType : unsigned char { domain = 1, class_collection = 2 };

// Writes the header and the model bytes (sealed when a password is given) as
// one gzip file. Throws Failure (io) or bad_alloc; a partial file is removed.
void write_kb_file(const char *file_name, KbType type, const Bytes &model, const char *password);

// Reads a KB file of the given type back to its model bytes. Fails with io,
// bad_kb_format, bad_kb_version, bad_kb_type or bad_kb_password.
Bytes read_kb_file(const char *file_name, KbType type, const char *password);

}  // namespace orv
