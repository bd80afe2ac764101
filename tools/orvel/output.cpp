// Text helpers: names of enumerations, JSON strings and belief bars.
#include <cmath>
#include <cstdio>

#include "cli.h"

namespace cli {

std::string category_name(orv_category_t category) {
  switch (category) {
    case orv_category_chance: return "chance";
    case orv_category_decision: return "decision";
    case orv_category_utility: return "utility";
    case orv_category_function: return "function";
    case orv_category_instance: return "instance";
    default: return "unknown";
  }
}

orv_triangulation_method_t method_named(const std::string &name) {
  if (name == "clique-size") return orv_tm_clique_size;
  if (name == "clique-weight") return orv_tm_clique_weight;
  if (name == "fill-in-size") return orv_tm_fill_in_size;
  if (name == "fill-in-weight") return orv_tm_fill_in_weight;
  if (name == "total-weight") return orv_tm_total_weight;
  if (name == "best-greedy") return orv_tm_best_greedy;
  usage_error("unknown triangulation method '" + name + "' (try --help)");
}

std::string kind_name(orv_kind_t kind) {
  switch (kind) {
    case orv_kind_discrete: return "discrete";
    case orv_kind_continuous: return "continuous";
    default: return "other";
  }
}

std::string json_string(const std::string &text) {
  std::string out = "\"";
  for (const unsigned char c : text) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\t': out += "\\t"; break;
      default:
        if (c < 0x20) {
          char buffer[8];
          std::snprintf(buffer, sizeof buffer, "\\u%04x", c);
          out += buffer;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  return out + "\"";
}

std::string bar(double fraction, int width) {
  if (!(fraction > 0)) return "";
  const int filled = static_cast<int>(std::lround(std::fmin(fraction, 1.0) * width));
  return std::string(static_cast<std::size_t>(filled), '#');
}

}  // namespace cli
