// Public entry points of the BIF, XMLBIF and UAI readers. Like the NET
// reader, each takes a file name or the text itself, told apart by how the
// argument begins.
#include <cctype>
#include <cstring>

#include "formats/foreign_build.h"
#include "formats/formats_api.h"
#include "formats/parse_driver.h"
#include "runtime/error.h"

namespace orv {
namespace {

// Skips white space and // or /* */ comments.
const char *skip_comments(const char *text) {
  for (;;) {
    while (std::isspace(static_cast<unsigned char>(*text))) ++text;
    if (text[0] == '/' && text[1] == '/') {
      while (*text && *text != '\n') ++text;
    } else if (text[0] == '/' && text[1] == '*') {
      const char *end = std::strstr(text + 2, "*/");
      if (!end) return text;
      text = end + 2;
    } else {
      return text;
    }
  }
}

bool is_bif_text(const char *text) {
  const String word = leading_word(skip_comments(text));
  return (word == "network" || word == "variable") && std::strchr(text, '{') != nullptr;
}

bool is_uai_text(const char *text) {
  const String word = leading_word(text);
  while (std::isspace(static_cast<unsigned char>(*text))) ++text;
  return (word == "BAYES" || word == "MARKOV") && std::isspace(static_cast<unsigned char>(text[word.size()]));
}

bool is_xml_text(const char *text) {
  while (std::isspace(static_cast<unsigned char>(*text))) ++text;
  return *text == '<';
}

orv_domain_t parse_argument(const char *argument, bool (*is_text)(const char *), ParseBody body,
                            orv_error_handler_t handler, void *data) {
  if (!argument) return usage<orv_domain_t>(nullptr);
  return guarded<orv_domain_t>(nullptr, [&] {
    return is_text(argument) ? run_parse(nullptr, argument, body, handler, data)
                             : run_parse_file(argument, body, handler, data);
  });
}

}  // namespace
}  // namespace orv

extern "C" {

orv_domain_t orv_bif_parse_domain(const char *argument, orv_error_handler_t handler, void *data) {
  return orv::parse_argument(argument, orv::is_bif_text, orv::parse_bif_body, handler, data);
}

orv_domain_t orv_xmlbif_parse_domain(const char *argument, orv_error_handler_t handler, void *data) {
  return orv::parse_argument(argument, orv::is_xml_text, orv::parse_xmlbif_body, handler, data);
}

orv_domain_t orv_uai_parse_domain(const char *argument, orv_error_handler_t handler, void *data) {
  return orv::parse_argument(argument, orv::is_uai_text, orv::parse_uai_body, handler, data);
}

}  // extern "C"
