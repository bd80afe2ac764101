// The shared body of the BIF, XMLBIF and UAI fuzz targets: parse the input
// as text; when it parses, write exact NET, read that back and require the
// same text again; domains of chance nodes also go through BIF and back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "orvel.h"
#include "runtime/allocate.h"

namespace fuzz {

using Reader = orv_domain_t (*)(const char *, orv_error_handler_t, void *);

struct Domain {
  orv_domain_t d;
  ~Domain() {
    if (d) orv_domain_delete(d);
  }
};

struct Text {
  char *text;
  ~Text() { std::free(text); }
};

// Reads `written` back with `read` and aborts unless `write` gives it again
// (a read that runs out of the limited memory is allowed).
inline void require_fixed_point(Reader read, char *(*write)(orv_domain_t), const char *written) {
  Domain again{read(written, nullptr, nullptr)};
  if (!again.d) {
    if (orv_error_code() != orv_error_no_memory) std::abort();
    return;
  }
  Text second{write(again.d)};
  if (!second.text) {
    if (orv_error_code() != orv_error_no_memory) std::abort();
    return;
  }
  if (std::strcmp(second.text, written) != 0) std::abort();
}

// `text_prefix` is prepended when the input would not be taken for text (the
// readers take anything else for a file name).
inline int run(Reader read, bool (*looks_like_text)(const std::string &), const char *text_prefix,
               const std::uint8_t *data, std::size_t size) {
  constexpr std::size_t kMaxInput = 16 * 1024;
  if (size > kMaxInput) return 0;
  orv::testing::limit_block_size(std::size_t{4} << 20);
  std::string text(reinterpret_cast<const char *>(data), size);
  text = std::string(text.c_str());  // the readers see text up to the first NUL
  if (!looks_like_text(text)) text = text_prefix + text;
  Domain first{read(text.c_str(), nullptr, nullptr)};
  if (!first.d) return 0;
  Text net{orv_domain_to_net_string_exact(first.d)};
  if (net.text) {
    auto net_reader = [](const char *t, orv_error_handler_t h, void *p) { return orv_net_parse_domain(t, h, p); };
    require_fixed_point(net_reader, orv_domain_to_net_string_exact, net.text);
  }
  Text bif{orv_domain_to_bif_string(first.d)};
  if (bif.text) require_fixed_point(orv_bif_parse_domain, orv_domain_to_bif_string, bif.text);
  return 0;
}

inline std::string first_word(const std::string &text) {
  std::size_t i = 0;
  while (i < text.size() && std::isspace(static_cast<unsigned char>(text[i]))) ++i;
  std::size_t j = i;
  while (j < text.size() && std::isalpha(static_cast<unsigned char>(text[j]))) ++j;
  return text.substr(i, j - i);
}

}  // namespace fuzz
