// libFuzzer target for the data-set reader. The first byte is the delimiter
// (or, when it cannot be one, chooses one), the rest is the text (read from a file, so that NUL bytes and
// a missing final newline reach the reader). When a read succeeds the data
// set is written, read again and written again, and both writes must be
// identical.
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
const int kDelimiters[] = {',', ';', '\t', ' ', '|', 0x01, 0xff};

std::string temp_path() { return "/tmp/orvel-csv-fuzz-" + std::to_string(getpid()); }

bool write_file(const std::string &path, const std::uint8_t *data, std::size_t size) {
  std::FILE *f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  const bool ok = std::fwrite(data, 1, size, f) == size;
  return std::fclose(f) == 0 && ok;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  if (size == 0 || size > kMaxInput) return 0;
  orv::testing::limit_block_size(kMaxBlock);
  const int first_byte = data[0];
  const bool usable = first_byte != 0 && first_byte != '"' && first_byte != '\n' && first_byte != '\r' &&
                      first_byte != '\v' && first_byte != '\f';
  const int delimiter = usable ? first_byte : kDelimiters[first_byte % (sizeof kDelimiters / sizeof kDelimiters[0])];
  const std::string path = temp_path();
  if (!write_file(path, data + 1, size - 1)) return 0;
  orv_data_set_t one = _orv_parse_data_set(1, path.c_str(), delimiter, nullptr, nullptr);
  std::remove(path.c_str());
  if (!one) return 0;
  char *first = orv_ds_to_csv_string(one, delimiter);
  orv_ds_delete(one);
  if (!first) return 0;
  orv_data_set_t two = _orv_parse_data_set(0, first, delimiter, nullptr, nullptr);
  if (!two) {
    if (orv_error_code() != orv_error_no_memory) std::abort();
    std::free(first);
    return 0;
  }
  char *second = orv_ds_to_csv_string(two, delimiter);
  orv_ds_delete(two);
  if (second && std::strcmp(first, second) != 0) std::abort();
  std::free(first);
  std::free(second);
  return 0;
}
