// libFuzzer target for the case file and case data file readers. The first
// byte chooses the reader, the rest is the file. When a read succeeds the
// findings or cases are written, read into a fresh domain and written again,
// and both writes must be identical.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "orvel.h"
#include "runtime/allocate.h"

namespace {

constexpr std::size_t kMaxInput = 16 * 1024;
constexpr std::size_t kMaxBlock = 4u << 20;

// Every kind of node a finding can address.
const char *kNet =
    "net { }\n"
    "node A { states = (\"yes\" \"no\"); }\n"
    "node B { subtype = boolean; states = (\"false\" \"true\"); }\n"
    "node N { subtype = number; states = (\"1\" \"2\" \"3\"); state_values = (1 2.5 4); }\n"
    "node I { subtype = interval; states = (\"lo\" \"hi\"); state_values = (0 1 2); }\n"
    "node D { states = (\"same\" \"same\" \"x y\"); }\n"
    "node E.F { states = (\"e\" \"f\"); }\n"
    "decision Q { states = (\"q0\" \"q1\"); }\n"
    "utility U { }\n";

std::string temp_path(const char *what) {
  return "/tmp/orvel-case-fuzz-" + std::to_string(getpid()) + "-" + what;
}

bool write_file(const std::string &path, const std::uint8_t *data, std::size_t size) {
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  const bool ok = std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && ok;
}

std::string read_file(const std::string &path) {
  std::string text;
  if (std::FILE *f = std::fopen(path.c_str(), "rb")) {
    for (int c; (c = std::fgetc(f)) != EOF;) text += static_cast<char>(c);
    std::fclose(f);
  }
  return text;
}

struct Domain {
  orv_domain_t d = orv_net_parse_domain(kNet, nullptr, nullptr);
  ~Domain() { orv_domain_delete(d); }
};

// Writes the store (every chance node, with counts); false when writing fails.
bool save_cases(orv_domain_t d, const std::string &path) {
  orv_node_t nodes[16];
  std::size_t k = 0;
  for (orv_node_t n = orv_domain_get_first_node(d); n; n = orv_node_get_next(n))
    if (orv_node_get_category(n) == orv_category_chance) nodes[k++] = n;
  nodes[k] = nullptr;
  return orv_domain_save_cases(d, path.c_str(), nodes, nullptr, 1, ", ", "*") == orv_error_none;
}

void round_trip(bool case_data, const std::string &input) {
  const std::string first = temp_path("first"), second = temp_path("second");
  Domain one;
  const orv_status_t status = case_data ? orv_domain_parse_cases(one.d, input.c_str(), nullptr, nullptr)
                                        : orv_domain_parse_case(one.d, input.c_str(), nullptr, nullptr);
  if (status != orv_error_none) return;
  if (!(case_data ? save_cases(one.d, first) : orv_domain_save_case(one.d, first.c_str()) == orv_error_none)) return;
  Domain two;
  const orv_status_t again = case_data ? orv_domain_parse_cases(two.d, first.c_str(), nullptr, nullptr)
                                       : orv_domain_parse_case(two.d, first.c_str(), nullptr, nullptr);
  if (again != orv_error_none) {
    if (orv_error_code() != orv_error_no_memory) std::abort();
    return;
  }
  if (!(case_data ? save_cases(two.d, second) : orv_domain_save_case(two.d, second.c_str()) == orv_error_none))
    return;
  if (read_file(first) != read_file(second)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size == 0 || size > kMaxInput) return 0;
  orv::testing::limit_block_size(kMaxBlock);
  const std::string input = temp_path("input");
  if (!write_file(input, data + 1, size - 1)) return 0;
  round_trip((data[0] & 1) != 0, input);
  return 0;
}
