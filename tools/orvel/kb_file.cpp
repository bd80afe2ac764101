// KB files for the orvel command: telling them by their first bytes, their
// password, and loading a domain or a class collection from one.
#include <cstdio>
#include <cstdlib>

#include "cli.h"

namespace cli {
namespace {

std::optional<std::string> &password_option() {
  static std::optional<std::string> password;
  return password;
}

}  // namespace

bool is_kb_file(const std::string &path) {
  std::FILE *f = std::fopen(path.c_str(), "rb");
  if (!f) return false;
  unsigned char head[2] = {0, 0};
  const bool two = std::fread(head, 1, 2, f) == 2;
  std::fclose(f);
  // A gzip stream (the KB container), or its content stored uncompressed.
  return two && ((head[0] == 0x1F && head[1] == 0x8B) || (head[0] == 0x7D && head[1] == 0x00));
}

void set_kb_password(const std::string &password) { password_option() = password; }

const char *kb_password() {
  if (password_option()) return password_option()->c_str();
  return std::getenv("ORVEL_KB_PASSWORD");
}

void Network::load_kb(const std::optional<std::string> &class_name) {
  if (!class_name) {
    domain_ = orv_kb_load_domain(path_.c_str(), kb_password());
    if (domain_ || orv_error_code() != orv_error_bad_kb_type) return;
  }
  classes_ = orv_kb_load_class_collection(path_.c_str(), kb_password());
  if (!classes_) {
    if (orv_error_code() == orv_error_bad_kb_type) usage_error(path_ + " holds a domain, not classes");
    return;
  }
  unfold(class_name, {});
}

}  // namespace cli
