// Character source, messages and the three token sets shared by the NET
// reader (new and old format) and the expression parser.
#include "formats/lexer.h"

#include <cctype>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cmath>

#include "runtime/error.h"

namespace orv {

String format_message(const char *format, ...) {
  va_list args;
  va_start(args, format);
  va_list copy;
  va_copy(copy, args);
  const int n = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  String text;
  try {
    text.resize(n > 0 ? static_cast<std::size_t>(n) : 0);
  } catch (...) {
    va_end(args);
    throw;
  }
  std::vsnprintf(text.data(), text.size() + 1, format, args);
  va_end(args);
  return text;
}

std::size_t rounded_size(double value) {
  constexpr double kLimit = 9007199254740992.0;  // 2^53
  if (!(value >= 0)) return 0;
  if (value >= kLimit) return static_cast<std::size_t>(kLimit);
  return static_cast<std::size_t>(value + 0.5);
}

ParseData::ParseData(std::FILE *stream_, const char *text, orv_error_handler_t handler_, void *data)
    : stream(stream_), text_start(text), text_position(text), handler(handler_), handler_data(data) {}

ParseData::~ParseData() { _orv_free(token_text); }

std::size_t ParseData::location() const {
  return text_start ? static_cast<std::size_t>(text_position - text_start) : line;
}

int ParseData::get_char() {
  int c;
  if (text_start) {
    c = *text_position ? static_cast<unsigned char>(*text_position++) : EOF;
  } else {
    c = std::getc(stream);
  }
  if (c == '\n') ++line;
  return c;
}

void ParseData::unget_char(int c) {
  if (c == EOF) return;
  bool ok;
  if (text_start) {
    ok = text_position > text_start && static_cast<unsigned char>(text_position[-1]) == c;
    if (ok) --text_position;
  } else {
    ok = std::ungetc(c, stream) != EOF;
  }
  if (!ok) fatal("could not unget character", orv_error_io);
  if (c == '\n') --line;
}

void ParseData::report(const char *message) {
  ++error_count;
  if (!silent && handler) handler(location(), message, handler_data);
}

void ParseData::warning(const char *message) {
  if (!silent && handler) handler(location(), message, handler_data);
}

void ParseData::fatal(const char *message, orv_error_t code) {
  report(message);
  if (fatal_code == orv_error_none) fatal_code = code;
  throw ParseAbort{code};
}

void ParseData::syntax_error(int, const char *message) { fatal(message, syntax_code); }

void ParseData::push_back(int token) {
  if (pushed_count == sizeof pushed / sizeof pushed[0]) fatal("token push-back overflow", orv_error_error);
  pushed[pushed_count++] = token;
}

bool ParseData::append_token_char(int c) {
  if (token_length + 2 > token_capacity) {
    const std::size_t capacity = token_capacity ? size_multiply(token_capacity, 2) : 64;
    void *grown = _orv_reallocate(token_text, capacity);
    if (!grown) fatal("out-of-memory", orv_error_no_memory);
    token_text = static_cast<char *>(grown);
    token_capacity = capacity;
  }
  token_text[token_length++] = static_cast<char>(c);
  token_text[token_length] = '\0';
  return true;
}

namespace {

bool in_set(const char *set, int c) { return c > 0 && std::strchr(set, c) != nullptr; }
bool is_letter(int c) { return c != EOF && (std::isalpha(c) || c == '_'); }
bool is_name_char(int c) { return c != EOF && (std::isalnum(c) || c == '_' || c == '.'); }

// A byte as messages quote it: itself when printable ASCII, else \xHH, so a
// message never carries raw control or high bytes.
String quoted_byte(int c) {
  if (c >= 0x20 && c < 0x7f) return String(1, static_cast<char>(c));
  return format_message("\\x%02x", static_cast<unsigned>(c) & 0xffu);
}

// Skips white space and comments; returns the first other character.
int skip_space(ParseData &p) {
  for (;;) {
    int c = p.get_char();
    if (c == EOF) return EOF;
    if (std::isspace(c)) continue;
    if (c != '%') return c;
    while ((c = p.get_char()) != '\n' && c != EOF) {
    }
    if (c == EOF) return EOF;
  }
}

int read_name(ParseData &p, int first) {
  p.clear_token();
  p.append_token_char(first);
  int c;
  while (is_name_char(c = p.get_char())) p.append_token_char(c);
  p.unget_char(c);
  const char *dot = std::strchr(p.token_text, '.');
  if (!dot) return kTokName;
  for (; dot; dot = std::strchr(dot + 1, '.'))
    if (!is_letter(static_cast<unsigned char>(dot[1])))
      p.fatal("`.' must be followed by a letter or an `_'", p.syntax_code);
  return kTokDottedName;
}

int read_number(ParseData &p, int first) {
  p.unget_char(first);
  double value;
  if (p.text_start) {
    char *end;
    value = std::strtod(p.text_position, &end);
    if (end == p.text_position) return kTokError;
    for (const char *s = p.text_position; s < end; ++s)
      if (*s == '\n') ++p.line;
    p.text_position = end;
  } else if (std::fscanf(p.stream, "%lg", &value) != 1) {
    return kTokError;
  }
  if (!std::isfinite(value)) return kTokError;
  p.number = value;
  return kTokNumber;
}

int hex_value(int c) {
  if (c >= '0' && c <= '9') return c - '0';
  return std::tolower(c) - 'a' + 10;
}

int read_escape(ParseData &p, int &value) {
  int c = p.get_char();
  switch (c) {
    case 'a': value = 7; return 1;
    case 'b': value = 8; return 1;
    case 'f': value = 12; return 1;
    case 'n': value = 10; return 1;
    case 'r': value = 13; return 1;
    case 't': value = 9; return 1;
    case 'v': value = 11; return 1;
    case '\\': case '"': case '\'': case '?': value = c; return 1;
    case '\n': return 0;  // line continuation
    case EOF: p.fatal("string did not end", p.syntax_code);
    case 'x': {
      c = p.get_char();
      if (c == EOF || !std::isxdigit(c)) {
        p.unget_char(c);
        return -1;
      }
      unsigned accumulated = 0;
      for (; c != EOF && std::isxdigit(c); c = p.get_char()) accumulated = accumulated * 16 + hex_value(c);
      p.unget_char(c);
      value = static_cast<unsigned char>(accumulated);
      return 1;
    }
    default: break;
  }
  if (c >= '0' && c <= '7') {
    unsigned accumulated = 0;
    int digits = 0;
    for (; digits < 3 && c >= '0' && c <= '7'; ++digits, c = p.get_char()) accumulated = accumulated * 8 + (c - '0');
    p.unget_char(c);
    value = static_cast<unsigned char>(accumulated);
    return 1;
  }
  String message = format_message("illegal escape sequence: `\\%s'", quoted_byte(c).c_str());
  p.fatal(message.c_str(), p.syntax_code);
}

int read_string(ParseData &p) {
  p.clear_token();
  p.append_token_char('x');  // make sure the buffer exists, then empty it
  p.clear_token();
  for (;;) {
    int c = p.get_char();
    if (c == EOF || c == '\n') p.fatal("string did not end", p.syntax_code);
    if (c == '"') return kTokString;
    if (c == '\\') {
      int value = 0;
      const int kind = read_escape(p, value);
      if (kind < 0) return kTokError;
      if (kind == 0) continue;
      if (value == 0) p.warning("warning: null character in string");
      c = value;
    }
    p.append_token_char(c);
  }
}

[[noreturn]] void unexpected_character(ParseData &p, int c) {
  String message = format_message("unexpected character: `%s'", quoted_byte(c).c_str());
  p.fatal(message.c_str(), p.syntax_code);
}

}  // namespace

int get_new_token(ParseData &p) {
  const int c = skip_space(p);
  if (c == EOF) return kTokEnd;
  if (in_set("#(),:;=?{|}*", c)) return c;
  if (c == '+' || c == '-' || c == '.' || std::isdigit(c)) return read_number(p, c);
  if (c == '"') return read_string(p);
  if (is_letter(c)) return read_name(p, c);
  unexpected_character(p, c);
}

int get_expr_token(ParseData &p) {
  const int c = skip_space(p);
  if (c == EOF) return kTokEnd;
  if (in_set("#()*+,-/^:;{|}", c)) return c;
  if (c == '.' || std::isdigit(c)) return read_number(p, c);
  if (c == '"') return read_string(p);
  if (is_letter(c)) return read_name(p, c);
  if (c == '<') {
    const int d = p.get_char();
    if (d == '=') return kTokLessEqual;
    if (d == '>') return kTokNotEqual;
    p.unget_char(d);
    return kTokLess;
  }
  if (c == '>') {
    const int d = p.get_char();
    if (d == '=') return kTokGreaterEqual;
    p.unget_char(d);
    return kTokGreater;
  }
  if (c == '=') {
    const int d = p.get_char();
    if (d != '=') p.unget_char(d);
    return kTokEqual;
  }
  if (c == '!') {
    if (p.get_char() == '=') return kTokNotEqual;
    p.fatal("`!' must be followed by `='", p.syntax_code);
  }
  unexpected_character(p, c);
}

int get_old_token(ParseData &p) {
  const int c = skip_space(p);
  if (c == EOF) return kTokEnd;
  if (c == '(' || c == ')') return c;
  if (c == '"') return read_string(p);
  if (std::isdigit(c)) return read_number(p, c);
  if (std::isalpha(c) || in_set("_+-./", c)) {
    p.clear_token();
    p.append_token_char(c);
    int d;
    while ((d = p.get_char()) != EOF && (std::isalnum(d) || in_set("_+-./", d))) p.append_token_char(d);
    p.unget_char(d);
    return kTokName;
  }
  unexpected_character(p, c);
}

}  // namespace orv
