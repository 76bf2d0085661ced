// A program run with its streams in files (see program_runner.h).
#include "support/program_runner.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "support/test_support.h"

namespace ravelin::test {

namespace {
std::string ReadWhole(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}
}  // namespace

ProgramOutcome RunProgram(const std::vector<std::string>& argv, const ProgramOptions& options) {
  TempDir tmp;
  const std::filesystem::path in = tmp.path() / "in", out = tmp.path() / "out", err = tmp.path() / "err";
  std::ofstream(in, std::ios::binary) << options.input;
  std::vector<std::string> args = argv;
  const pid_t pid = fork();
  if (pid == 0) {
    for (const auto& [name, value] : options.env) setenv(name.c_str(), value.c_str(), 1);
    if (!options.cwd.empty() && chdir(options.cwd.c_str()) != 0) _exit(127);
    const int i = open(in.c_str(), O_RDONLY);
    const int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(i, 0), dup2(o, 1), dup2(e, 2);
    std::vector<char*> raw;
    for (auto& a : args) raw.push_back(a.data());
    raw.push_back(nullptr);
    execv(raw[0], raw.data());
    _exit(127);
  }
  if (options.interruptAfter.count() > 0) {
    std::this_thread::sleep_for(options.interruptAfter);
    kill(pid, SIGINT);
  }
  int status = 0;
  waitpid(pid, &status, 0);
  ProgramOutcome r;
  r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  r.out = ReadWhole(out);
  r.err = ReadWhole(err);
  return r;
}

}  // namespace ravelin::test
