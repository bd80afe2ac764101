// KB files: header, gzip container and password sealing.
//
// Layout of the (uncompressed) gzip content:
//   7D 00 VERSION TYPE ORDER SIZE_T_WIDTH DOUBLE_WIDTH FLAGS
//   FLAGS bit 0 clear: u64 length, the model bytes.
//   FLAGS bit 0 set:   salt, u64 opslimit, u64 memlimit, the secretstream
//                      header, u64 length, one sealed message holding the
//                      deflated model bytes.
// The key is derived from the password with Argon2id; the sealed message is
// authenticated, so a wrong password or any tampering is detected, and
// nothing of the model is readable without the password.
//
// VERSION is 2: the model is the binary network section. Files of version 1,
// which held NET text, are refused with bad_kb_version (save them again
// from their NET source).
#include "formats/kb_stream.h"

#include <sodium.h>
#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>

#include "runtime/error.h"

namespace orv {

namespace {

constexpr unsigned char kMagic0 = 0x7D, kMagic1 = 0x00, kVersion = 2, kLittleEndian = 1;
constexpr unsigned kSealed = 1;
constexpr std::size_t kKeyBytes = crypto_secretstream_xchacha20poly1305_KEYBYTES;
// Argon2id cost of deriving the key (64 MiB, a fraction of a second).
constexpr std::uint64_t kOpsLimit = crypto_pwhash_OPSLIMIT_INTERACTIVE, kMemLimit = crypto_pwhash_MEMLIMIT_INTERACTIVE;

[[noreturn]] void bad_format() { fail(orv_error_bad_kb_format); }

void init_sodium() {
  if (sodium_init() < 0) fail(orv_error_error);
}

// Wipes the key when leaving scope, whatever the path.
struct Key {
  unsigned char bytes[kKeyBytes];
  ~Key() { sodium_memzero(bytes, sizeof bytes); }
};

void derive_key(Key &key, const char *password, const unsigned char *salt, std::uint64_t ops, std::uint64_t mem) {
  if (crypto_pwhash(key.bytes, sizeof key.bytes, password, std::strlen(password), salt, ops, mem,
                    crypto_pwhash_ALG_ARGON2ID13) != 0)
    fail(orv_error_no_memory);
}

Bytes deflate_bytes(const Bytes &in) {
  uLongf n = compressBound(in.size());
  Bytes out(n);
  if (compress2(out.data(), &n, in.data(), in.size(), Z_BEST_SPEED) != Z_OK) fail(orv_error_no_memory);
  out.resize(n);
  return out;
}

Bytes inflate_bytes(ByteReader &r) {
  const std::size_t n = r.count(0);
  // Deflate expands at most about 1032:1; a larger claim is damage.
  if (n / 1032 > static_cast<std::size_t>(r.end - r.at)) bad_format();
  Bytes out(n);
  const unsigned char *z = r.run(r.end - r.at);
  uLongf got = n;
  if (uncompress(out.data(), &got, z, r.end - z) != Z_OK || got != n) bad_format();
  return out;
}

Bytes seal(const Bytes &model, const char *password) {
  init_sodium();
  ByteWriter w;
  unsigned char salt[crypto_pwhash_SALTBYTES];
  randombytes_buf(salt, sizeof salt);
  const std::uint64_t ops = kOpsLimit, mem = kMemLimit;
  Key key;
  derive_key(key, password, salt, ops, mem);
  w.run(salt, sizeof salt);
  w.u64(ops);
  w.u64(mem);
  // Inner plaintext: u64 model length, deflated model.
  ByteWriter plain;
  plain.u64(model.size());
  Bytes z = deflate_bytes(model);
  plain.run(z.data(), z.size());
  crypto_secretstream_xchacha20poly1305_state state;
  unsigned char header[crypto_secretstream_xchacha20poly1305_HEADERBYTES];
  crypto_secretstream_xchacha20poly1305_init_push(&state, header, key.bytes);
  w.run(header, sizeof header);
  Bytes sealed(plain.bytes.size() + crypto_secretstream_xchacha20poly1305_ABYTES);
  crypto_secretstream_xchacha20poly1305_push(&state, sealed.data(), nullptr, plain.bytes.data(), plain.bytes.size(),
                                             nullptr, 0, crypto_secretstream_xchacha20poly1305_TAG_FINAL);
  w.u64(sealed.size());
  w.run(sealed.data(), sealed.size());
  return std::move(w.bytes);
}

Bytes unseal(ByteReader &r, const char *password) {
  init_sodium();
  const unsigned char *salt = r.run(crypto_pwhash_SALTBYTES);
  const std::uint64_t ops = r.u64(), mem = r.u64();
  // Limits beyond what this writer uses would let a crafted file demand huge work.
  if (ops < crypto_pwhash_OPSLIMIT_MIN || ops > kOpsLimit || mem < crypto_pwhash_MEMLIMIT_MIN || mem > kMemLimit)
    bad_format();
  const unsigned char *header = r.run(crypto_secretstream_xchacha20poly1305_HEADERBYTES);
  const std::size_t n = r.count(1);
  const unsigned char *sealed = r.run(n);
  if (!r.done() || n < crypto_secretstream_xchacha20poly1305_ABYTES) bad_format();
  if (!password) fail(orv_error_bad_kb_password);
  Key key;
  derive_key(key, password, salt, ops, mem);
  crypto_secretstream_xchacha20poly1305_state state;
  if (crypto_secretstream_xchacha20poly1305_init_pull(&state, header, key.bytes) != 0) fail(orv_error_bad_kb_password);
  Bytes plain(n - crypto_secretstream_xchacha20poly1305_ABYTES);
  unsigned char tag = 0;
  if (crypto_secretstream_xchacha20poly1305_pull(&state, plain.data(), nullptr, &tag, sealed, n, nullptr, 0) != 0 ||
      tag != crypto_secretstream_xchacha20poly1305_TAG_FINAL)
    fail(orv_error_bad_kb_password);
  ByteReader inner{plain.data(), plain.data() + plain.size()};
  return inflate_bytes(inner);
}

}  // namespace

void ByteWriter::u32(std::uint32_t v) {
  const unsigned char b[4] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                              static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
  run(b, 4);
}

void ByteWriter::u64(std::uint64_t v) {
  unsigned char b[8];
  for (int i = 0; i < 8; ++i) b[i] = static_cast<unsigned char>(v >> (8 * i));
  run(b, 8);
}

void ByteWriter::text(const char *s, std::size_t n) {
  u64(n);
  run(s, n);
}

void ByteWriter::f64(double v) {
  std::uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  u64(bits);
}

void ByteWriter::f64s(const double *v, std::size_t n) {
  if (n == 0) return;  // v may be null then
  if constexpr (std::endian::native == std::endian::little) {
    run(v, n * sizeof(double));
  } else {
    for (std::size_t i = 0; i < n; ++i) f64(v[i]);
  }
}

void ByteWriter::run(const void *data, std::size_t n) {
  const auto *p = static_cast<const unsigned char *>(data);
  bytes.insert(bytes.end(), p, p + n);
}

unsigned ByteReader::u8() { return *run(1); }

std::uint32_t ByteReader::u32() {
  const unsigned char *p = run(4);
  return p[0] | static_cast<std::uint32_t>(p[1]) << 8 | static_cast<std::uint32_t>(p[2]) << 16 |
         static_cast<std::uint32_t>(p[3]) << 24;
}

void ByteReader::text(String &into) {
  const std::size_t n = count(1);
  const unsigned char *p = run(n);
  if (n && std::memchr(p, 0, n)) bad_format();
  into.assign(reinterpret_cast<const char *>(p), n);
}

std::uint64_t ByteReader::u64() {
  const unsigned char *p = run(8);
  std::uint64_t v = 0;
  for (int i = 7; i >= 0; --i) v = (v << 8) | p[i];
  return v;
}

double ByteReader::f64() {
  const std::uint64_t bits = u64();
  double v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

void ByteReader::f64s(double *v, std::size_t n) {
  if (n == 0) return;  // v may be null then
  if constexpr (std::endian::native == std::endian::little) {
    if (n > static_cast<std::size_t>(end - at) / sizeof(double)) bad_format();
    std::memcpy(v, run(n * sizeof(double)), n * sizeof(double));
  } else {
    for (std::size_t i = 0; i < n; ++i) v[i] = f64();
  }
}

const unsigned char *ByteReader::run(std::size_t n) {
  if (n > static_cast<std::size_t>(end - at)) bad_format();
  const unsigned char *p = at;
  at += n;
  return p;
}

std::size_t ByteReader::count(std::size_t item_size) {
  const std::uint64_t n = u64();
  if (item_size && n > static_cast<std::uint64_t>(end - at) / item_size) bad_format();
  return static_cast<std::size_t>(n);
}

namespace {

bool gz_write_all(gzFile gz, const Bytes &bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const unsigned chunk = static_cast<unsigned>(std::min<std::size_t>(bytes.size() - at, 1u << 30));
    if (gzwrite(gz, bytes.data() + at, chunk) != static_cast<int>(chunk)) return false;
    at += chunk;
  }
  return true;
}

// The uncompressed size that the gzip trailer of the file states, when it is
// plausible (deflate expands at most about 1032:1), else 0.
std::size_t stated_size(const char *file_name) {
  std::FILE *f = std::fopen(file_name, "rb");
  if (!f) return 0;
  unsigned char trailer[4];
  long length = -1;
  if (std::fseek(f, -4, SEEK_END) == 0 && std::fread(trailer, 1, 4, f) == 4) length = std::ftell(f);
  std::fclose(f);
  if (length < 18) return 0;
  const std::size_t size = trailer[0] | trailer[1] << 8 | trailer[2] << 16 | static_cast<std::size_t>(trailer[3]) << 24;
  return size / 1032 <= static_cast<std::size_t>(length) ? size : 0;
}

}  // namespace

void write_kb_file(const char *file_name, KbType type, const Bytes &model, const char *password) {
  ByteWriter w;
  const unsigned char head[] = {kMagic0, kMagic1, kVersion, static_cast<unsigned char>(type), kLittleEndian,
                                sizeof(std::size_t), sizeof(double),
                                static_cast<unsigned char>(password ? kSealed : 0)};
  w.run(head, sizeof head);
  Bytes sealed;
  if (password) {
    sealed = seal(model, password);
  } else {
    w.u64(model.size());
  }
  // The model goes out where it is, after the header.
  gzFile gz = gzopen(file_name, "wb");
  if (!gz) fail(orv_error_io);
  gzbuffer(gz, 1u << 17);
  bool ok = gz_write_all(gz, w.bytes) && gz_write_all(gz, password ? sealed : model);
  if (gzclose(gz) != Z_OK) ok = false;
  if (!ok) {
    std::remove(file_name);
    fail(orv_error_io);
  }
}

Bytes read_kb_file(const char *file_name, KbType type, const char *password) {
  const std::size_t hint = stated_size(file_name);
  gzFile gz = gzopen(file_name, "rb");
  if (!gz) fail(orv_error_io);
  Bytes content;
  try {
    // Inflated straight into one buffer of the stated size (one byte more
    // shows the end), grown only when the trailer was wrong.
    gzbuffer(gz, 1u << 17);
    content.resize(hint + 1);
    std::size_t size = 0;
    for (;;) {
      if (content.size() == size) content.resize(std::max<std::size_t>(2 * size, 1u << 16));
      const unsigned room = static_cast<unsigned>(std::min<std::size_t>(content.size() - size, 1u << 30));
      const int n = gzread(gz, content.data() + size, room);
      if (n <= 0) break;
      size += static_cast<std::size_t>(n);
    }
    content.resize(size);
    int code = Z_OK;
    gzerror(gz, &code);
    if (code == Z_ERRNO) fail(orv_error_io);
    if (code != Z_OK) bad_format();  // truncated or damaged stream
  } catch (...) {
    gzclose(gz);
    throw;
  }
  gzclose(gz);
  ByteReader r{content.data(), content.data() + content.size()};
  if (content.size() < 8 || r.u8() != kMagic0 || r.u8() != kMagic1) bad_format();
  if (r.u8() != kVersion) fail(orv_error_bad_kb_version);
  const unsigned t = r.u8();
  if (t != static_cast<unsigned>(KbType::domain) && t != static_cast<unsigned>(KbType::class_collection))
    bad_format();
  if (t != static_cast<unsigned>(type)) fail(orv_error_bad_kb_type);
  if (r.u8() != kLittleEndian || r.u8() != sizeof(std::size_t) || r.u8() != sizeof(double)) bad_format();
  const unsigned flags = r.u8();
  if (flags & ~kSealed) bad_format();
  if (flags & kSealed) return unseal(r, password);
  const std::size_t n = r.count(1);
  r.run(n);
  if (!r.done()) bad_format();
  // The model bytes in place: the header goes, nothing is copied twice.
  content.erase(content.begin(), content.end() - static_cast<std::ptrdiff_t>(n));
  return content;
}

}  // namespace orv
