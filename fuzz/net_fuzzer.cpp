// libFuzzer target for the NET reader: parse arbitrary text; when it parses,
// write it, parse the output again and require the second write to be
// identical to the first.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size > kMaxInput) return 0;
  orv::testing::limit_block_size(kMaxBlock);
  // Parsed as text (never as a file name); NUL-terminated.
  const std::string text(reinterpret_cast<const char *>(data), size);
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
