// The XMLBIF reader (through libxml2): VARIABLE elements (TYPE nature,
// decision or utility) with NAME, OUTCOME and PROPERTY children, and
// DEFINITION (or PROBABILITY) elements with FOR, GIVEN and TABLE, the table
// row-major over the GIVEN variables then the FOR variable.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <set>
#include <strings.h>

#include "formats/foreign_build.h"
#include "formats/formats_api.h"
#include "formats/net_reader.h"
#include "model/node_ops.h"
#include "runtime/error.h"

namespace orv {
namespace {

constexpr std::size_t kMaxXmlInput = std::size_t{1} << 30;

struct XmlFree {
  void operator()(xmlChar *text) const { xmlFree(text); }
  void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
  void operator()(xmlParserCtxt *ctxt) const { xmlFreeParserCtxt(ctxt); }
};
template <class T>
using XmlOwned = std::unique_ptr<T, XmlFree>;

bool named(const xmlNode *node, const char *name) {
  return node->type == XML_ELEMENT_NODE && xmlStrcasecmp(node->name, reinterpret_cast<const xmlChar *>(name)) == 0;
}

// The element's text with surrounding white space removed.
String text_of(const xmlNode *node) {
  XmlOwned<xmlChar> content(xmlNodeGetContent(node));
  if (!content) throw std::bad_alloc();
  const char *begin = reinterpret_cast<const char *>(content.get());
  const char *end = begin + std::strlen(begin);
  while (begin < end && std::isspace(static_cast<unsigned char>(*begin))) ++begin;
  while (end > begin && std::isspace(static_cast<unsigned char>(end[-1]))) --end;
  return String(begin, end);
}

// The first error libxml2 raises (later ones are often consequences).
struct FirstXmlError {
  bool seen = false;
  int line = 0;
  char message[256] = "";  // no allocation inside the parser's callback
};

void keep_first_error(void *data, xmlErrorPtr error) {
  auto *ctxt = static_cast<xmlParserCtxtPtr>(data);
  auto *first = static_cast<FirstXmlError *>(ctxt->_private);
  if (!first || first->seen || !error || error->level < XML_ERR_ERROR) return;
  first->seen = true;
  first->line = error->line;
  std::snprintf(first->message, sizeof first->message, "%s", error->message ? error->message : "");
}

class XmlbifReader {
 public:
  XmlbifReader(ParseData &p, orv_domain_s *d, const String &input) : p_(p), d_(d), input_(input) {}

  void parse() {
    XmlOwned<xmlParserCtxt> ctxt(xmlNewParserCtxt());
    if (!ctxt) throw std::bad_alloc();
    FirstXmlError first;
    ctxt->_private = &first;
    ctxt->sax->serror = keep_first_error;
    XmlOwned<xmlDoc> doc(xmlCtxtReadMemory(ctxt.get(), input_.data(), static_cast<int>(input_.size()), nullptr,
                                           nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!doc || !ctxt->wellFormed) {
      if (!first.seen) {
        const xmlError *error = xmlCtxtGetLastError(ctxt.get());
        first.line = error ? error->line : 0;
        std::snprintf(first.message, sizeof first.message, "%s",
                      error && error->message ? error->message : "malformed document");
      }
      String message = format_message("XML error: %s", first.message);
      while (std::isspace(static_cast<unsigned char>(message.back()))) message.pop_back();
      fatal_at(first.line, message.c_str());
    }
    const xmlNode *root = xmlDocGetRootElement(doc.get());
    const xmlNode *network = nullptr;
    if (root && named(root, "NETWORK")) network = root;
    for (const xmlNode *c = root && named(root, "BIF") ? root->children : nullptr; c && !network; c = c->next)
      if (named(c, "NETWORK")) network = c;
    if (!network) fatal_at(root ? xmlGetLineNo(root) : 1, "`BIF' element with a `NETWORK' element expected");
    for (const xmlNode *c = network->children; c; c = c->next)
      if (named(c, "VARIABLE")) parse_variable(c);
    for (const xmlNode *c = network->children; c; c = c->next)
      if (named(c, "DEFINITION") || named(c, "PROBABILITY")) parse_definition(c);
  }

 private:
  // Points the parse location at the line (a line number for files, the
  // offset of the line's start for text in memory).
  void locate(long line) {
    if (line < 1) line = 1;
    if (!p_.text_start) {
      p_.line = static_cast<std::size_t>(line);
      return;
    }
    const char *at = p_.text_start;
    for (long l = 1; l < line && *at; ++at)
      if (*at == '\n') ++l;
    p_.text_position = at;
  }
  [[noreturn]] void fatal_at(long line, const char *message) {
    locate(line);
    p_.fatal(message, orv_error_parse);
  }

  void parse_variable(const xmlNode *v) {
    locate(xmlGetLineNo(v));
    orv_category_t category = orv_category_chance;
    XmlOwned<xmlChar> type(xmlGetProp(v, reinterpret_cast<const xmlChar *>("TYPE")));
    if (type) {
      const char *t = reinterpret_cast<const char *>(type.get());
      if (strcasecmp(t, "decision") == 0) {
        category = orv_category_decision;
      } else if (strcasecmp(t, "utility") == 0) {
        category = orv_category_utility;
      } else if (strcasecmp(t, "nature") != 0) {
        p_.fatal(format_message("unknown variable type `%s'", t).c_str(), orv_error_parse);
      }
    }
    String name;
    bool has_name = false, positioned = false;
    int x = 0, y = 0;
    Vector<String> states;
    for (const xmlNode *c = v->children; c; c = c->next) {
      if (named(c, "NAME")) {
        name = text_of(c);
        has_name = true;
      } else if (named(c, "OUTCOME")) {
        states.push_back(text_of(c));
      } else if (named(c, "PROPERTY")) {
        if (std::sscanf(text_of(c).c_str(), " position = ( %d , %d )", &x, &y) == 2) positioned = true;
      }
    }
    if (!has_name) p_.fatal("variable without `NAME'", orv_error_parse);
    orv_node_s *n = add_foreign_node(p_, d_, category, name.c_str(), states);
    if (positioned && orv_node_set_position(n, x, y) != orv_error_none) report_api_error(p_, orv_error_code());
  }

  void parse_definition(const xmlNode *def) {
    locate(xmlGetLineNo(def));
    orv_node_s *head = nullptr;
    Vector<orv_node_s *> given;
    const xmlNode *table = nullptr;
    for (const xmlNode *c = def->children; c; c = c->next) {
      if (named(c, "FOR")) {
        if (head) p_.fatal("definition with two `FOR' elements", orv_error_parse);
        head = find_foreign_node(p_, d_, text_of(c).c_str());
      } else if (named(c, "GIVEN")) {
        given.push_back(find_foreign_node(p_, d_, text_of(c).c_str()));
      } else if (named(c, "TABLE")) {
        table = c;
      }
    }
    if (!head) p_.fatal("definition without `FOR'", orv_error_parse);
    if (!head->parents.empty() || done_.count(head))
      p_.fatal(format_message("definition of `%s' given twice", node_name(head)).c_str(), orv_error_parse);
    done_.insert(head);
    add_foreign_parents(p_, head, given);
    if (head->category == orv_category_decision) return;  // informational links only
    if (!table) p_.fatal(format_message("definition of `%s' without `TABLE'", node_name(head)).c_str(), orv_error_parse);
    orv_table_s *t = foreign_table(p_, head, given);
    Vector<orv_node_s *> order(given);
    if (head->category != orv_category_utility) order.push_back(head);
    locate(xmlGetLineNo(table));
    const String text = text_of(table);
    Vector<double> values;
    for (const char *at = text.c_str(); *at;) {
      char *end = nullptr;
      const double value = std::strtod(at, &end);
      if (end == at) p_.fatal("number expected", orv_error_parse);
      if (head->category != orv_category_utility) check_probability(p_, value);
      values.push_back(value);
      at = end;
      while (std::isspace(static_cast<unsigned char>(*at))) ++at;
    }
    if (values.size() != t->size)
      p_.fatal(format_message("%zu numbers expected, %zu given", t->size, values.size()).c_str(), orv_error_parse);
    fill_foreign_table(p_, t, order, values);
  }

  ParseData &p_;
  orv_domain_s *d_;
  const String &input_;
  std::set<orv_node_s *, std::less<>, Allocator<orv_node_s *>> done_;
};

}  // namespace

void parse_xmlbif_body(ParseData &p, orv_domain_s *d) {
  static std::once_flag initialized;
  std::call_once(initialized, [] { xmlInitParser(); });
  String input;
  if (p.text_start) {
    input.assign(p.text_start);
  } else {
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, p.stream)) > 0) {
      if (input.size() + n > kMaxXmlInput) p.fatal("file too large", orv_error_size_too_large);
      input.append(buffer, n);
    }
    if (std::ferror(p.stream)) p.fatal("read error", orv_error_io);
  }
  if (input.size() > kMaxXmlInput) p.fatal("file too large", orv_error_size_too_large);
  XmlbifReader(p, d, input).parse();
}

}  // namespace orv
