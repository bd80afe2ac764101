// Class files for the orvel command: reading a collection with a loader that
// looks for "<name>.net" next to the file, and unfolding one of its classes.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "cli.h"

namespace cli {
namespace {

// The loader's context: the parser hands the loader the message handler's
// data, so the directory and the names loaded travel on the side.
struct ClassLoad {
  std::string directory;  // where "<name>.net" files are looked for
  std::vector<std::string> loaded;
};
thread_local ClassLoad *current_load = nullptr;

void load_class(const char *name, orv_class_collection_t cc, void *) {
  const std::string file = current_load->directory + name + ".net";
  std::FILE *probe = std::fopen(file.c_str(), "r");
  if (!probe) return;
  std::fclose(probe);
  if (orv_net_parse_classes(file.c_str(), cc, load_class, nullptr, nullptr) == orv_error_none)
    current_load->loaded.push_back(name);
}

}  // namespace

bool is_class_file(const std::string &path) {
  std::FILE *f = std::fopen(path.c_str(), "r");
  if (!f) return false;
  int c;
  for (;;) {
    c = std::getc(f);
    if (c == '%') {
      while (c != EOF && c != '\n') c = std::getc(f);
    } else if (c == EOF || !std::isspace(c)) {
      break;
    }
  }
  std::string word;
  while (c != EOF && (std::isalnum(c) || c == '_') && word.size() < 8) {
    word += static_cast<char>(c);
    c = std::getc(f);
  }
  std::fclose(f);
  return word == "class";
}

void Network::load_classes(const std::optional<std::string> &class_name, orv_error_handler_t handler,
                           void *messages) {
  classes_ = orv_new_class_collection();
  if (!classes_) return;
  const auto slash = path_.find_last_of('/');
  ClassLoad load{slash == std::string::npos ? "" : path_.substr(0, slash + 1), {}};
  current_load = &load;
  const orv_status_t status = orv_net_parse_classes(path_.c_str(), classes_, load_class, handler, messages);
  current_load = nullptr;
  if (status != orv_error_none) return;  // the caller reports the messages
  unfold(class_name, load.loaded);
}

void Network::unfold(const std::optional<std::string> &class_name, const std::vector<std::string> &loaded) {
  orv_class_t chosen = nullptr;
  if (class_name) {
    chosen = orv_cc_get_class_by_name(classes_, class_name->c_str());
    if (!chosen) usage_error("no class named '" + *class_name + "' in " + path_);
  } else {
    for (orv_class_t *c = orv_cc_get_members(classes_); c && *c; ++c) {
      bool skip = false;
      for (const auto &name : loaded) skip = skip || name == orv_class_get_name(*c);
      if (!skip) chosen = *c;
    }
    if (!chosen) failure(path_ + ": the file holds no class");
  }
  unfolded_ = chosen;
  domain_ = orv_class_create_domain(chosen);
  if (!domain_)
    failure(path_ + ": class " + orv_class_get_name(chosen) + " cannot be unfolded: " +
            orv_error_description(orv_error_code()));
}

}  // namespace cli
