// libFuzzer target for the NET reader: parse arbitrary text, as a domain and,
// when it begins like NET text, as classes; when it parses, write it, parse the
// output again and require the second write to be identical to the first.
// Parsed classes are also unfolded.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "formats/net_parse.h"
#include "orvel.h"
#include "runtime/allocate.h"

namespace {

constexpr std::size_t kMaxInput = 16 * 1024;
// Tables beyond this fail as no_memory, which keeps runs small and fast.
constexpr std::size_t kMaxBlock = 4u << 20;

struct Domain {
  orv_domain_t d;
  ~Domain() {
    if (d) orv_domain_delete(d);
  }
};

struct Collection {
  orv_class_collection_t cc = orv_new_class_collection();
  ~Collection() { orv_cc_delete(cc); }
};

// Text that sniffs as NET (never a file name) read as classes.
void check_classes(const std::string &text) {
  if (orv::_orv_string_is_net_description(text.c_str()) != 1) return;
  Collection first;
  if (!first.cc || orv_net_parse_classes(text.c_str(), first.cc, nullptr, nullptr, nullptr) != orv_error_none) return;
  for (orv_class_t *c = orv_cc_get_members(first.cc); c && *c; ++c) Domain{orv_class_create_domain(*c)};
  char *written = orv_cc_to_net_string(first.cc);
  if (!written) return;  // no classes, or no_memory
  Collection second;
  if (orv_net_parse_classes(written, second.cc, nullptr, nullptr, nullptr) != orv_error_none) {
    if (orv_error_code() != orv_error_no_memory) std::abort();
    std::free(written);
    return;
  }
  char *again = orv_cc_to_net_string(second.cc);
  if (!again || std::strcmp(written, again) != 0) std::abort();
  std::free(written);
  std::free(again);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size > kMaxInput) return 0;
  orv::testing::limit_block_size(kMaxBlock);
  // Parsed as text (never as a file name); NUL-terminated.
  const std::string text(reinterpret_cast<const char *>(data), size);
  check_classes(text);
  Domain first{orv_net_parse_from_string(text.c_str(), nullptr)};
  if (!first.d) return 0;
  char *written = orv_domain_to_net_string(first.d);
  if (!written) return 0;  // a domain that cannot be written (no_memory)
  Domain second{orv_net_parse_from_string(written, nullptr)};
  if (!second.d) {
    // Reading may need more memory than the domain held (labels of every
    // state, for instance); only the block limit may stop it.
    if (orv_error_code() != orv_error_no_memory) std::abort();
    std::free(written);
    return 0;
  }
  char *again = orv_domain_to_net_string(second.d);
  if (!again || std::strcmp(written, again) != 0) std::abort();
  std::free(written);
  std::free(again);
  return 0;
}
