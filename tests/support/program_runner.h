// Runs a program as a user would from a shell: its arguments, a standard input (empty by
// default, never a terminal), its own environment additions and working folder; what it
// printed on each stream and its exit code come back. Used by the tests of the CLI.
#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace ravelin::test {

struct ProgramOutcome {
  int code = -1;  // the exit code, or 128 + the signal that ended it
  std::string out, err;
};

struct ProgramOptions {
  std::string input;                                      // standard input
  std::vector<std::pair<std::string, std::string>> env;   // set in the child only
  std::string cwd;                                        // "" keeps the test's own
  std::chrono::milliseconds interruptAfter{0};            // SIGINT after this long (0: never)
};

ProgramOutcome RunProgram(const std::vector<std::string>& argv, const ProgramOptions& options = {});

}  // namespace ravelin::test
