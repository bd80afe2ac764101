// libFuzzer target for the XMLBIF reader (see foreign_fuzz.h).
#include "foreign_fuzz.h"

namespace {
bool looks_like_xml(const std::string &text) {
  const std::size_t i = text.find_first_not_of(" \t\n\r\f\v");
  return i != std::string::npos && text[i] == '<';
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  return fuzz::run(orv_xmlbif_parse_domain, looks_like_xml, "<", data, size);
}
