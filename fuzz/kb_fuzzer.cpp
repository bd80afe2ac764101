// libFuzzer target for the KB loader: the input is a KB file (gzip, or its
// content stored plainly), loaded as a domain and as a class collection
// without a password. A file that loads is saved again and loaded back, and
// both must write the same exact NET text.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "orvel.h"
#include "runtime/allocate.h"

namespace {

constexpr std::size_t kMaxInput = 64 * 1024;
constexpr std::size_t kMaxBlock = 4u << 20;

std::string temp_path(const char *what) { return "/tmp/orvel-kb-fuzz-" + std::to_string(getpid()) + "-" + what; }

bool write_file(const std::string &path, const std::uint8_t *data, std::size_t size) {
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  const bool ok = std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && ok;
}

// Only damage, a wrong type or a missing password may refuse a file.
void check_refusal() {
  const orv_error_t e = orv_error_code();
  if (e != orv_error_bad_kb_format && e != orv_error_bad_kb_version && e != orv_error_bad_kb_type &&
      e != orv_error_bad_kb_password && e != orv_error_no_memory)
    std::abort();
}

std::string text_of(orv_domain_t d) {
  char *text = orv_domain_to_net_string_exact(d);
  std::string s = text ? text : "";
  std::free(text);
  return s;
}

void check_domain(const std::string &file, const std::string &again) {
  orv_domain_t d = orv_kb_load_domain(file.c_str(), nullptr);
  if (!d) return check_refusal();
  if (orv_domain_save_as_kb(d, again.c_str(), nullptr) == orv_error_none) {
    orv_domain_t back = orv_kb_load_domain(again.c_str(), nullptr);
    if (!back && orv_error_code() != orv_error_no_memory) std::abort();
    if (back && text_of(back) != text_of(d)) std::abort();
    if (back) orv_domain_delete(back);
  }
  orv_domain_delete(d);
}

void check_classes(const std::string &file, const std::string &again) {
  orv_class_collection_t cc = orv_kb_load_class_collection(file.c_str(), nullptr);
  if (!cc) return check_refusal();
  if (orv_cc_save_as_kb(cc, again.c_str(), nullptr) == orv_error_none) {
    orv_class_collection_t back = orv_kb_load_class_collection(again.c_str(), nullptr);
    if (!back && orv_error_code() != orv_error_no_memory) std::abort();
    if (back) {
      char *a = orv_cc_to_net_string(cc), *b = orv_cc_to_net_string(back);
      if (a && b && std::strcmp(a, b) != 0) std::abort();
      std::free(a);
      std::free(b);
      orv_cc_delete(back);
    }
  }
  orv_cc_delete(cc);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size > kMaxInput) return 0;
  orv::testing::limit_block_size(kMaxBlock);
  static const std::string file = temp_path("in.kb"), again = temp_path("again.kb");
  if (!write_file(file, data, size)) return 0;
  check_domain(file, again);
  check_classes(file, again);
  std::remove(file.c_str());
  std::remove(again.c_str());
  return 0;
}
