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
// of the work, 2 a usage error) and texts the output must contain.
struct Run {
  std::string arguments;
  int status;
  std::vector<std::string> parts;
};

inline Outcome expect_run(const Run &c) {
  const Outcome r = orvel(c.arguments);
  EXPECT_EQ(r.status, c.status) << c.arguments << "\n" << r.output;
  for (const std::string &part : c.parts)
    EXPECT_TRUE(contains(r.output, part)) << c.arguments << "\n" << part << "\n" << r.output;
  return r;
}

inline void expect_runs(const std::vector<Run> &cases) {
  for (const Run &c : cases) expect_run(c);
}

}  // namespace orv::test
