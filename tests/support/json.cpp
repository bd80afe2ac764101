#include "support/json.h"

#include <dirent.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "support/domain_fixture.h"

namespace orv::test {

namespace {

class Parser {
 public:
  explicit Parser(const std::string &text) : s_(text) {}

  Json document() {
    Json value = parse();
    skip();
    if (at_ != s_.size()) throw std::runtime_error("trailing text");
    return value;
  }

 private:
  void skip() {
    while (at_ < s_.size() && (s_[at_] == ' ' || s_[at_] == '\n' || s_[at_] == '\r' || s_[at_] == '\t')) ++at_;
  }
  char peek() {
    skip();
    if (at_ >= s_.size()) throw std::runtime_error("unexpected end");
    return s_[at_];
  }
  void expect(char c) {
    if (peek() != c) throw std::runtime_error(std::string("expected ") + c);
    ++at_;
  }
  std::string string() {
    expect('"');
    std::string out;
    while (at_ < s_.size() && s_[at_] != '"') {
      if (s_[at_] == '\\' && at_ + 1 < s_.size()) ++at_;
      out.push_back(s_[at_++]);
    }
    expect('"');
    return out;
  }
  Json parse() {
    Json v;
    const char c = peek();
    if (c == '{') {
      v.kind = Json::Kind::object;
      ++at_;
      if (peek() == '}') return ++at_, v;
      for (;;) {
        std::string key = string();
        expect(':');
        v.members.emplace_back(std::move(key), parse());
        if (peek() == ',') { ++at_; continue; }
        expect('}');
        return v;
      }
    }
    if (c == '[') {
      v.kind = Json::Kind::array;
      ++at_;
      if (peek() == ']') return ++at_, v;
      for (;;) {
        v.items.push_back(parse());
        if (peek() == ',') { ++at_; continue; }
        expect(']');
        return v;
      }
    }
    if (c == '"') {
      v.kind = Json::Kind::string;
      v.text = string();
      return v;
    }
    for (const char *word : {"true", "false", "null"})
      if (s_.compare(at_, std::string(word).size(), word) == 0) {
        at_ += std::string(word).size();
        v.kind = word[0] == 'n' ? Json::Kind::null : Json::Kind::boolean;
        v.boolean = word[0] == 't';
        return v;
      }
    char *end = nullptr;
    v.number = std::strtod(s_.c_str() + at_, &end);
    if (end == s_.c_str() + at_) throw std::runtime_error("bad value");
    at_ = static_cast<std::size_t>(end - s_.c_str());
    v.kind = Json::Kind::number;
    return v;
  }

  const std::string &s_;
  std::size_t at_ = 0;
};

}  // namespace

const Json &Json::operator[](const std::string &key) const {
  for (const auto &[k, v] : members)
    if (k == key) return v;
  throw std::runtime_error("no member " + key);
}

std::vector<double> Json::numbers() const {
  std::vector<double> out;
  for (const Json &item : items) out.push_back(item.number);
  return out;
}

std::vector<std::string> Json::texts() const {
  std::vector<std::string> out;
  for (const Json &item : items) out.push_back(item.text);
  return out;
}

Json parse_json(const std::string &text) { return Parser(text).document(); }

Json read_json_file(const std::string &path) {
  const std::string text = read_file(path);
  if (text.empty()) throw std::runtime_error("cannot open " + path);
  return parse_json(text);
}

std::vector<std::string> json_file_names(const std::string &folder) {
  std::vector<std::string> names;
  if (DIR *dir = opendir(folder.c_str())) {
    while (dirent *entry = readdir(dir)) {
      const std::string file = entry->d_name;
      if (file.size() > 5 && file.substr(file.size() - 5) == ".json") names.push_back(file.substr(0, file.size() - 5));
    }
    closedir(dir);
  }
  std::sort(names.begin(), names.end());
  return names;
}

// Defined here rather than with the domain helpers so that the benchmarks,
// which link this reader alone, have it too.
std::string read_file(const std::string &path) {
  std::ifstream in(path);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace orv::test
