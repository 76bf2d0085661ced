// The command table of the `ravelin` host. Each cmd_*.cpp registers its commands with a
// static CommandRegistrar; main.cpp parses the global options, sets up the façade the way
// a host does, and dispatches.
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "facade/ravelin.h"

namespace ravelin::cli {

// Command-line arguments of one command, parsed against the options it declares.
class Args {
 public:
  Args(std::vector<std::string> raw) : raw_(std::move(raw)) {}
  // Declares the options before Parse: flags take no value, options take one.
  Args& Flag(const std::string& name) { flags_.push_back(name); return *this; }
  Args& Option(const std::string& name) { options_.push_back(name); return *this; }
  // Parses; returns an error text ("unknown option --x", "--folder needs a value") or "".
  std::string Parse();

  bool Has(const std::string& name) const { return seen_.count(name) > 0; }
  std::optional<std::string> Get(const std::string& name) const;
  std::vector<std::string> GetAll(const std::string& name) const;
  const std::vector<std::string>& Positional() const { return positional_; }

 private:
  std::vector<std::string> raw_, flags_, options_, positional_;
  std::multimap<std::string, std::string> values_;
  std::map<std::string, int> seen_;
};

struct Context {
  Ravelin& mail;
  std::ostream& out;
  std::ostream& err;
  bool interactive = false;  // stdin and stdout are terminals
  std::vector<std::string> args;  // the command's own arguments
};

struct Command {
  std::string name;
  std::string usage;    // "import PATH... [--project P] [--archive] [--pack N]"
  std::string summary;  // one line for --help
  bool needsStore = true;  // run CorrectDB on the store before the command
  std::function<int(Context&)> run;  // exit code
};

void RegisterCommand(Command c);
const std::vector<Command>& Commands();

struct CommandRegistrar {
  explicit CommandRegistrar(Command c) { RegisterCommand(std::move(c)); }
};

// Prints "ravelin: <message>" on err and returns exit code 2 (bad usage) - for option errors.
int UsageError(Context& ctx, const std::string& message);

// A letter's key or a pack's number as typed: 1 to 999,999,999, digits only.
std::optional<int32_t> ParseKey(const std::string& s);

// What runs before a command that needs the store (CorrectDB on the store); the store's
// commands install it. Without one, nothing runs.
void SetStorePreparer(std::function<void(Context&)> prepare);
void PrepareStore(Context& ctx);

}  // namespace ravelin::cli
