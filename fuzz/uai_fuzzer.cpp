// libFuzzer target for the UAI reader (see foreign_fuzz.h).
#include "foreign_fuzz.h"

namespace {
bool looks_like_uai(const std::string &text) {
  const std::string word = fuzz::first_word(text);
  const std::size_t end = text.find(word) + word.size();
  return (word == "BAYES" || word == "MARKOV") && end < text.size() && std::isspace(static_cast<unsigned char>(text[end]));
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  return fuzz::run(orv_uai_parse_domain, looks_like_uai, "BAYES\n", data, size);
}
