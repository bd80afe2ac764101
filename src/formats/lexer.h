// The shared lexer of the text formats: one parse-data record per parse, the
// character source (stream or text), error reporting with locations, and the
// three token sets (new NET, expression, old NET).
#pragma once

#include <cstddef>
#include <cstdio>

#include "model/domain.h"
#include "orvel.h"
#include "runtime/allocate.h"

namespace orv {

// Punctuation tokens are their character codes; classes are negative.
enum Token : int {
  kTokName = -1,
  kTokNumber = -2,
  kTokString = -3,
  kTokDottedName = -4,
  kTokEnd = -5,
  kTokError = -6,
  // Relational operators of the expression token set.
  kTokLessEqual = -7,
  kTokGreaterEqual = -8,
  kTokLess = -9,
  kTokGreater = -10,
  kTokEqual = -11,
  kTokNotEqual = -12,
};

// Thrown after a fatal message: unwinds the parse, keeping the first cause.
struct ParseAbort {
  orv_error_t code;
};

struct ParseData;
using TokenFunction = int (*)(ParseData &);

struct ParseData {
  ParseData(std::FILE *stream, const char *text, orv_error_handler_t handler, void *data);
  ~ParseData();
  ParseData(const ParseData &) = delete;
  ParseData &operator=(const ParseData &) = delete;

  // Token text of the last name or string (NUL-terminated) and number value.
  char *token_text = nullptr;
  std::size_t token_capacity = 0;
  std::size_t token_length = 0;
  double number = 0.0;

  std::FILE *stream;
  const char *text_start;
  const char *text_position;
  std::size_t line = 1;
  std::size_t error_count = 0;
  orv_error_handler_t handler;
  void *handler_data;
  orv_domain_s *domain = nullptr;
  TokenFunction get_token = nullptr;

  // Push-back stack (LIFO); the parsers push back at most two tokens.
  int pushed[4] = {};
  std::size_t pushed_count = 0;

  // Code of syntax errors: parse in NET input, syntax in expression strings.
  orv_error_t syntax_code = orv_error_parse;
  // First fatal code seen, for the final result.
  orv_error_t fatal_code = orv_error_none;
  // Set when the lexer itself reported the problem behind an error token.
  bool lexer_reported = false;
  // When set, messages are swallowed (format sniffing).
  bool silent = false;

  // Characters.
  int get_char();
  void unget_char(int c);
  std::size_t location() const;

  // Messages: warnings start with "warning: " and are not counted.
  void report(const char *message);
  void warning(const char *message);
  // Reports (counted) and aborts with code.
  [[noreturn]] void fatal(const char *message, orv_error_t code);
  // A syntax error at the current token: unless the lexer already reported
  // the problem, reports message; then aborts with the syntax code.
  [[noreturn]] void syntax_error(int token, const char *message);

  int next() { return pushed_count ? pushed[--pushed_count] : get_token(*this); }
  void push_back(int token);

  bool append_token_char(int c);
  void clear_token() {
    token_length = 0;
    if (token_text) token_text[0] = '\0';
  }
};

// The three token sets.
int get_new_token(ParseData &p);
int get_expr_token(ParseData &p);
int get_old_token(ParseData &p);

// Reads one token with the given set, honouring the push-back stack.
inline int next_with(ParseData &p, TokenFunction f) {
  return p.pushed_count ? p.pushed[--p.pushed_count] : f(p);
}

// A nonnegative size read as a number: rounded, and capped at 2^53 so that
// it converts back to the same double.
std::size_t rounded_size(double value);

// printf-style message text in funnel memory.
String format_message(const char *format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace orv
