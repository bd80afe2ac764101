// Argument scanning and the error helpers of the orvel command.
#include <cstring>

#include "cli.h"

namespace cli {

void usage_error(const std::string &message) { throw Exit(kExitUsage, message); }
void failure(const std::string &message) { throw Exit(kExitFailure, message); }

void check_engine(const std::string &what) {
  const orv_error_t code = orv_error_code();
  if (code != orv_error_none) failure(what + ": " + orv_error_description(code));
}

Args::Args(int argc, char **argv, int first) {
  for (int i = first; i < argc; ++i) args_.emplace_back(argv[i]);
}

bool Args::option(const char *long_name, const char *short_name) {
  if (done()) return false;
  const std::string &a = args_[next_];
  if (a == long_name || (short_name && a == short_name)) {
    ++next_;
    return true;
  }
  return false;
}

std::string Args::value(const char *option_name) {
  if (done()) usage_error(std::string("option ") + option_name + " needs a value");
  return args_[next_++];
}

void Args::reject() const {
  const std::string &a = args_[next_];
  if (a.size() > 1 && a[0] == '-') usage_error("unknown option '" + a + "'");
  usage_error("unexpected argument '" + a + "'");
}

std::optional<std::string> Args::positional() {
  if (done()) return std::nullopt;
  const std::string &a = args_[next_];
  if (a.size() > 1 && a[0] == '-') usage_error("unknown option '" + a + "'");
  return args_[next_++];
}

std::pair<std::string, std::string> split_assignment(const std::string &text, const char *option) {
  const auto eq = text.find('=');
  if (eq == std::string::npos || eq == 0 || eq + 1 == text.size())
    usage_error(std::string(option) + " expects NODE=VALUE, got '" + text + "'");
  return {text.substr(0, eq), text.substr(eq + 1)};
}

}  // namespace cli
