// The command table of the `ravelin` host. Each cmd_*.cpp registers its commands with a
// static CommandRegistrar, declaring their names, arguments and options; main.cpp parses
// the global options, sets up the façade the way a host does, and dispatches. The same
// table drives `ravelin --help`, `ravelin COMMAND --help`, `ravelin help COMMAND` and the
// bash completion script.
#pragma once

#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "facade/ravelin.h"

namespace ravelin::cli {

// One option of a command: "--folder" with the value "NAME", or a flag (no value).
struct OptionSpec {
  std::string name;        // "--folder", "-o"
  std::string value;       // placeholder of its value ("NAME"); empty for a flag
  std::string help;        // one line
  bool repeatable = false; // may be given more than once, each value kept (GetAll)
};

// Command-line arguments of one command, parsed against the options it declares.
class Args {
 public:
  Args(std::vector<std::string> raw) : raw_(std::move(raw)) {}
  // Declares the options before Parse: flags take no value, options take one.
  Args& Flag(const std::string& name) { flags_.push_back(name); return *this; }
  Args& Option(const std::string& name) { options_.push_back(name); return *this; }
  Args& Declare(const std::vector<OptionSpec>& specs);
  // Parses; returns an error text ("unknown option --x", "--folder needs a value") or "".
  std::string Parse();

  bool Has(const std::string& name) const { return seen_.count(name) > 0; }
  // The option's value; given twice, the last one.
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
  std::vector<std::string> args;  // the command's own arguments, as typed
};

struct Command {
  using Run = std::function<int(Context&, const Args&)>;
  Command(std::string name, std::vector<std::string> positionals, std::vector<OptionSpec> options,
          std::string summary, bool needsStore, Run run, std::string synopsis = {})
      : name(std::move(name)), positionals(std::move(positionals)), options(std::move(options)),
        summary(std::move(summary)), needsStore(needsStore), run(std::move(run)), synopsis(std::move(synopsis)) {}

  std::string name;                      // "list", or a group and its verb: "account add"
  std::vector<std::string> positionals;  // placeholders: "KEY", "PATH..." (repeated), "[TEXT]" (optional)
  std::vector<OptionSpec> options;
  std::string summary;                   // one line for --help
  bool needsStore = true;                // run CorrectDB on the store before the command
  Run run;                               // returns the exit code
  // How options combine, when that needs saying: "[--folder NAME | --deleted]". Without
  // it the usage line is built from the positionals and the options.
  std::string synopsis;

  std::string Usage() const;  // "show KEY [--json]"
};

void RegisterCommand(Command c);
const std::vector<Command>& Commands();

struct CommandRegistrar {
  explicit CommandRegistrar(Command c) { RegisterCommand(std::move(c)); }
};

// The command named by the words at the start of `words` ("account", "add", ...), and how
// many words its name took; nullptr when none matches.
const Command* FindCommand(const std::vector<std::string>& words, size_t& taken);

// The text of `ravelin --help`, and of `ravelin COMMAND --help`.
void PrintHelp(std::ostream& out);
void PrintCommandHelp(std::ostream& out, const Command& c);

// A bash completion script for the commands of the table (`ravelin completion bash`).
void PrintBashCompletion(std::ostream& out);

// Prints "ravelin: <message>" on err and returns exit code 2 (bad usage) - for option errors.
int UsageError(Context& ctx, const std::string& message);

// A letter's key or a pack's number as typed: 1 to 999,999,999, digits only.
std::optional<int32_t> ParseKey(const std::string& s);

// What runs before a command that needs the store (CorrectDB on the store); the store's
// commands install it. Without one, nothing runs.
void SetStorePreparer(std::function<void(Context&)> prepare);
void PrepareStore(Context& ctx);

}  // namespace ravelin::cli
