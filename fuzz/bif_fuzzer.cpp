// libFuzzer target for the BIF reader (see foreign_fuzz.h).
#include "foreign_fuzz.h"

namespace {
bool looks_like_bif(const std::string &text) {
  const std::string word = fuzz::first_word(text);
  return (word == "network" || word == "variable") && text.find('{') != std::string::npos;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  return fuzz::run(orv_bif_parse_domain, looks_like_bif, "network fuzz {}\n", data, size);
}
