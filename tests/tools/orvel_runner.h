// Runs the orvel command for the command-line tests and checks its exit
// status and the texts its output must contain.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/domain_fixture.h"

namespace orv::test {

struct Outcome {
  int status;
  std::string output;  // standard output and standard error together
};

// Runs a shell command, capturing both output streams.
inline Outcome run(const std::string &command) {
  std::FILE *pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return {-1, "popen failed"};
  std::string output;
  char buffer[4096];
  while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) output.append(buffer, n);
  const int status = pclose(pipe);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

inline Outcome orvel(const std::string &arguments) { return run(std::string(ORVEL_BIN) + " " + arguments); }

inline bool contains(const std::string &text, const std::string &part) { return text.find(part) != std::string::npos; }

// One run: the arguments, the expected exit status (0 success, 1 a failure
// of the work, 2 a usage error), texts the output must contain and texts it
// must not contain.
struct Run {
  std::string arguments;
  int status;
  std::vector<std::string> parts;
  std::vector<std::string> absent = {};
};

inline Outcome expect_run(const Run &c) {
  const Outcome r = orvel(c.arguments);
  EXPECT_EQ(r.status, c.status) << c.arguments << "\n" << r.output;
  for (const std::string &part : c.parts)
    EXPECT_TRUE(contains(r.output, part)) << c.arguments << "\n" << part << "\n" << r.output;
  for (const std::string &part : c.absent)
    EXPECT_FALSE(contains(r.output, part)) << c.arguments << "\nunwanted: " << part << "\n" << r.output;
  return r;
}

inline void expect_runs(const std::vector<Run> &cases) {
  for (const Run &c : cases) expect_run(c);
}

// Expects the file (one the command wrote) to contain each part.
inline void expect_file_contains(const std::string &path, const std::vector<std::string> &parts) {
  const std::string text = read_file(path);
  for (const std::string &part : parts) EXPECT_TRUE(contains(text, part)) << path << "\n" << part << "\n" << text;
}

}  // namespace orv::test
