// Loading a network (NET, KB, BIF, XMLBIF or UAI) for a command, with parse messages as file:line: text.
#include <sys/stat.h>

#include <cctype>
#include <cerrno>
#include <cstring>

#include "cli.h"

namespace cli {
namespace {

struct ParseMessages {
  std::string path;
  std::string first_error;
  std::vector<std::string> warnings;
};

void collect_message(size_t line, const char *message, void *data) {
  auto *messages = static_cast<ParseMessages *>(data);
  const std::string text = messages->path + ":" + std::to_string(line) + ": " + message;
  if (std::strncmp(message, "warning: ", 9) == 0)
    messages->warnings.push_back(text);
  else if (messages->first_error.empty())
    messages->first_error = text;
}

}  // namespace

Format format_of(const std::string &path) {
  const auto dot = path.find_last_of('.');
  std::string extension = dot == std::string::npos ? "" : path.substr(dot + 1);
  for (char &c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension == "bif") return Format::bif;
  if (extension == "xml" || extension == "xmlbif") return Format::xmlbif;
  if (extension == "uai") return Format::uai;
  if (extension == "kb") return Format::kb;
  return Format::net;
}

Network::Network(const std::string &path, const std::optional<std::string> &class_name) : path_(path) {
  // A failure throws out of the constructor, so the destructor will not run:
  // free what was read so far here.
  struct Release {
    Network *network;
    bool armed = true;
    ~Release() {
      if (!armed) return;
      if (network->domain_) orv_domain_delete(network->domain_);
      if (network->classes_) orv_cc_delete(network->classes_);
    }
  } release{this};
  struct stat info;
  if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) failure("cannot read '" + path + "': is a directory");
  std::FILE *probe = std::fopen(path.c_str(), "r");
  if (!probe) failure("cannot open '" + path + "': " + std::strerror(errno));
  errno = 0;
  const bool unreadable = std::getc(probe) == EOF && std::ferror(probe);
  const int reason = errno;
  std::fclose(probe);
  if (unreadable) failure("cannot read '" + path + "': " + std::strerror(reason));
  ParseMessages messages{path, {}, {}};
  const Format format = is_kb_file(path) ? Format::kb : format_of(path);
  switch (format) {
    case Format::bif: domain_ = orv_bif_parse_domain(path.c_str(), collect_message, &messages); break;
    case Format::xmlbif: domain_ = orv_xmlbif_parse_domain(path.c_str(), collect_message, &messages); break;
    case Format::uai: domain_ = orv_uai_parse_domain(path.c_str(), collect_message, &messages); break;
    case Format::kb: load_kb(class_name); break;
    case Format::net:
      if (class_name || is_class_file(path)) {
        load_classes(class_name, collect_message, &messages);
      } else {
        domain_ = orv_net_parse_domain(path.c_str(), collect_message, &messages);
      }
      break;
  }
  for (const auto &w : messages.warnings) std::fprintf(stderr, "%s\n", w.c_str());
  if (!domain_) {
    if (!messages.first_error.empty()) failure(messages.first_error);
    failure("cannot read '" + path + "': " + orv_error_description(orv_error_code()));
  }
  if (!orv_domain_get_first_node(domain_)) {
    orv_domain_delete(domain_);
    domain_ = nullptr;
    failure(path + ": the network has no nodes");
  }
  release.armed = false;
}

Network::~Network() {
  if (domain_) orv_domain_delete(domain_);
  if (classes_) orv_cc_delete(classes_);
}

orv_node_t Network::node(const std::string &name) const {
  orv_node_t n = orv_domain_get_node_by_name(domain_, name.c_str());
  if (!n) usage_error("no node named '" + name + "' in " + path_);
  return n;
}

std::vector<orv_node_t> Network::nodes() const {
  std::vector<orv_node_t> all;
  for (orv_node_t n = orv_domain_get_first_node(domain_); n; n = orv_node_get_next(n)) all.push_back(n);
  return all;
}

std::size_t state_index(orv_node_t node, const std::string &label) {
  if (orv_node_get_kind(node) != orv_kind_discrete)
    usage_error(std::string("node '") + orv_node_get_name(node) + "' is not discrete");
  const long index = orv_node_get_state_index_from_label(node, label.c_str());
  if (index < 0) {
    std::string states;
    const size_t count = orv_node_get_number_of_states(node);
    for (size_t s = 0; s < count; ++s) states += std::string(s ? ", " : "") + orv_node_get_state_label(node, s);
    usage_error("node '" + std::string(orv_node_get_name(node)) + "' has no state '" + label +
                "' (states: " + states + ")");
  }
  return static_cast<std::size_t>(index);
}

}  // namespace cli
