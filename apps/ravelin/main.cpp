// ravelin: the command-line host of the mail component. It does what a host does (creates
// the façade, sets AppPath, runs CorrectDB once) and gives a person the store.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "commands.h"
#include "packs/project_tree.h"
#include "facade/ravelin.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "store/maintenance.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "terminal.h"
#include "windows/frm_compress.h"

namespace ravelin::cli {
namespace {

// True when the words name a group of commands ("account" of "account add").
bool IsGroup(const std::string& word) {
  return std::any_of(Commands().begin(), Commands().end(),
                     [&](const Command& c) { return c.name.rfind(word + " ", 0) == 0; });
}

// `--help` (or -h) among a command's own arguments, before a "--".
bool AsksForHelp(const std::vector<std::string>& args) {
  for (const auto& a : args) {
    if (a == "--") return false;
    if (a == "--help" || a == "-h") return true;
  }
  return false;
}

}  // namespace

// The host's reports on the terminal: the cause in words ("the disk is full"), not the
// routine that met it. They are kept as well, for the commands' summaries.
class TerminalHost : public DefaultHostCommon {
 public:
  Value ReportError(const ErrObject& err, const std::u16string& source) override {
    const bool quiet = Quiet();
    SetQuiet(true);
    DefaultHostCommon::ReportError(err, source);
    SetQuiet(quiet);
    if (!quiet) std::cerr << "ravelin: " << ToUtf8(store::DescribeFailure(err)) << std::endl;
    return Value();
  }
};

int Main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  std::string home, projectsRoot, archiveRoot;
  std::string addressBook;
  size_t i = 0;
  for (; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (a == "--help" || a == "-h") {
      PrintHelp(std::cout);
      return 0;
    } else if (a == "--version") {
      std::cout << "ravelin " << RAVELIN_VERSION << "\n";
      return 0;
    } else if (a == "--home") {
      if (i + 1 >= args.size()) {
        std::cerr << "ravelin: --home needs a folder\n";
        return 2;
      }
      home = args[++i];
    } else if (a.rfind("--home=", 0) == 0) {
      home = a.substr(7);
    } else if (a == "--projects-root" || a == "--archive-root") {
      if (i + 1 >= args.size()) {
        std::cerr << "ravelin: " << a << " needs a folder\n";
        return 2;
      }
      (a == "--projects-root" ? projectsRoot : archiveRoot) = args[++i];
    } else if (a == "--addressbook") {
      if (i + 1 >= args.size()) {
        std::cerr << "ravelin: --addressbook needs a file\n";
        return 2;
      }
      addressBook = args[++i];
    } else if (a.rfind("-", 0) == 0) {
      std::cerr << "ravelin: unknown option " << a << " (see ravelin --help)\n";
      return 2;
    } else {
      break;
    }
  }
  if (i >= args.size()) {
    PrintHelp(std::cerr);
    return 2;
  }
  const std::vector<std::string> words(args.begin() + static_cast<long>(i), args.end());
  size_t taken = 0;
  const Command* command = FindCommand(words, taken);
  if (!command) {
    const std::string& name = words[0];
    if (IsGroup(name) && words.size() == 1)
      std::cerr << "ravelin: '" << name << "' needs a command (see ravelin --help)\n";
    else if (IsGroup(name))
      std::cerr << "ravelin: unknown command '" << name << " " << words[1] << "' (see ravelin --help)\n";
    else
      std::cerr << "ravelin: unknown command '" << name << "' (see ravelin --help)\n";
    return 2;
  }
  const std::vector<std::string> own(words.begin() + static_cast<long>(taken), words.end());
  if (AsksForHelp(own)) {
    PrintCommandHelp(std::cout, *command);
    return 0;
  }
  Args parsed(own);
  parsed.Declare(command->options);
  if (const std::string e = parsed.Parse(); !e.empty()) {
    std::cerr << "ravelin: " << e << "\n";
    return 2;
  }

  // What a host does at start: its folder, the store's place, the shared façade.
  auto host = std::make_shared<TerminalHost>();
  if (!home.empty()) host->SetHome(FromUtf8(home));
  SetHostCommon(host);
  packs::SetProjectRoots(FromUtf8(projectsRoot), FromUtf8(archiveRoot));
  InstallTerminalInteraction();
  InstallCompressWindow();
  Ravelin& mail = module1::SharedMail();
  mail.AppPath(module1::EffectiveAppPath());
  mail.UseAddressBook(FromUtf8(addressBook));

  Context ctx{mail, std::cout, std::cerr, isatty(0) && isatty(1), own};
  if (command->needsStore) PrepareStore(ctx);
  return command->run(ctx, parsed);
}

}  // namespace ravelin::cli

int main(int argc, char** argv) { return ravelin::cli::Main(argc, argv); }
