// Quoted strings as the NET writer and expression printer emit them: C-style
// escapes, octal for other bytes, padded when a digit follows.
#pragma once

#include <cstddef>
#include <cstdio>

namespace orv {

// Calls out(text, length) for each piece of the quoted form of s.
template <class Out>
void write_quoted(Out &&out, const char *s) {
  out("\"", 1);
  for (const unsigned char *p = reinterpret_cast<const unsigned char *>(s); *p; ++p) {
    const unsigned char c = *p;
    switch (c) {
      case '\\': out("\\\\", 2); continue;
      case '"': out("\\\"", 2); continue;
      case '\n': out("\\n", 2); continue;
      case '\r': out("\\r", 2); continue;
      case '\t': out("\\t", 2); continue;
      default: break;
    }
    if (c >= 0x20 && c < 0x7f) {
      out(reinterpret_cast<const char *>(p), 1);
      continue;
    }
    char buffer[8];
    const bool digit_follows = p[1] >= '0' && p[1] <= '7';
    const int n = std::snprintf(buffer, sizeof buffer, digit_follows ? "\\%03o" : "\\%o", c);
    out(buffer, static_cast<std::size_t>(n));
  }
  out("\"", 1);
}

}  // namespace orv
