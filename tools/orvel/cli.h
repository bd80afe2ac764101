// Shared pieces of the orvel command: exit codes, errors, argument scanning,
// network loading and output helpers.
#pragma once

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <utility>
#include <string>
#include <vector>

#include "orvel.h"

namespace cli {

// Exit codes: 0 success, 1 the work failed (bad file, impossible evidence),
// 2 the command line is wrong (unknown option, node or state).
constexpr int kExitOk = 0;
constexpr int kExitFailure = 1;
constexpr int kExitUsage = 2;

// Thrown to end a command with a one-line message and an exit code.
struct Exit : std::runtime_error {
  Exit(int code_, const std::string &message) : std::runtime_error(message), code(code_) {}
  int code;
};

[[noreturn]] void usage_error(const std::string &message);
[[noreturn]] void failure(const std::string &message);
// Fails with the engine's error description when the last call failed.
void check_engine(const std::string &what);

// Walks argv of one subcommand: options, their values and positionals.
class Args {
 public:
  Args(int argc, char **argv, int first);
  bool done() const { return next_ >= args_.size(); }
  // True when the next argument is the given option (it is consumed).
  bool option(const char *long_name, const char *short_name = nullptr);
  // The value following an option; a usage error when missing.
  std::string value(const char *option_name);
  // The next argument when it is not an option.
  std::optional<std::string> positional();
  // Ends the command: the next argument is an unknown option or one too many.
  [[noreturn]] void reject() const;

 private:
  std::vector<std::string> args_;
  std::size_t next_ = 0;
};

// "NODE=VALUE" split at the first "="; a usage error naming the option otherwise.
std::pair<std::string, std::string> split_assignment(const std::string &text, const char *option);

// Network file formats, told by the file name's extension (.bif, .xml or
// .xmlbif, .uai, .kb; anything else is NET). For reading, a KB file is told
// by its first bytes whatever its name.
enum class Format { net, bif, xmlbif, uai, kb };
Format format_of(const std::string &path);
bool is_kb_file(const std::string &path);
// The password of KB files: set by an option, else $ORVEL_KB_PASSWORD, else none.
void set_kb_password(const std::string &password);
const char *kb_password();

// A domain read from a network file (format by extension), deleted on scope
// exit. A NET file of classes (or any NET file when a class is named) is read
// as a class collection, with missing classes loaded from "<name>.net" next to
// it, and the named class (default: the last class of the file) is unfolded.
class Network {
 public:
  explicit Network(const std::string &path, const std::optional<std::string> &class_name = std::nullopt);
  ~Network();
  Network(const Network &) = delete;
  Network &operator=(const Network &) = delete;
  orv_domain_t get() const { return domain_; }
  const std::string &path() const { return path_; }
  // Looks a node up by name; usage error when absent.
  orv_node_t node(const std::string &name) const;
  // Nodes in file order.
  std::vector<orv_node_t> nodes() const;
  // For a class file: the collection (null otherwise) and the unfolded class.
  orv_class_collection_t classes() const { return classes_; }
  orv_class_t unfolded_class() const { return unfolded_; }

 private:
  void load_classes(const std::optional<std::string> &class_name, orv_error_handler_t handler, void *messages);
  void load_kb(const std::optional<std::string> &class_name);
  // Unfolds the named class, else the last class not in `loaded`.
  void unfold(const std::optional<std::string> &class_name, const std::vector<std::string> &loaded);

  std::string path_;
  orv_domain_t domain_ = nullptr;
  orv_class_collection_t classes_ = nullptr;
  orv_class_t unfolded_ = nullptr;
};

// Whether a file's first word (after white space and % comments) is "class".
bool is_class_file(const std::string &path);

// Index of a state by label; usage error naming the node when absent.
std::size_t state_index(orv_node_t node, const std::string &label);
std::string category_name(orv_category_t category);
std::string kind_name(orv_kind_t kind);
// A triangulation method by its command-line name; usage error otherwise.
orv_triangulation_method_t method_named(const std::string &name);
#define METHOD_NAMES "clique-size, clique-weight, fill-in-size, fill-in-weight, total-weight, best-greedy (default)"

std::string json_string(const std::string &text);
std::string bar(double fraction, int width);

int run_info(Args &args);
int run_query(Args &args);
int run_compile(Args &args);
int run_convert(Args &args);
int run_dot(Args &args);
int run_learn(Args &args);
int run_learn_structure(Args &args);
int run_cases(Args &args);
int run_solve(Args &args);
int run_data(Args &args);

}  // namespace cli
