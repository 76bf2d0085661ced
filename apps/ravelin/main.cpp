// ravelin: the command-line host of the mail component. It does what a host does (creates
// the façade, sets AppPath, runs CorrectDB once) and gives a person the store.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "commands.h"
#include "facade/ravelin.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "terminal.h"
#include "windows/frm_compress.h"

namespace ravelin::cli {
namespace {

void PrintHelp(std::ostream& out) {
  out << "Usage: ravelin [--home DIR] COMMAND [ARGS...]\n\n"
         "Ravelin keeps mail in one database and reads, writes and sends it.\n\n"
         "Global options:\n"
         "  --home DIR   keep the settings and the mail database in DIR\n"
         "               (default: $RAVELIN_HOME, else $XDG_DATA_HOME/ravelin, else ~/.local/share/ravelin)\n"
         "  --help       show this help\n"
         "  --version    show the version\n\n"
         "Commands:\n";
  std::vector<const Command*> cmds;
  for (const auto& c : Commands()) cmds.push_back(&c);
  std::sort(cmds.begin(), cmds.end(), [](auto* a, auto* b) { return a->name < b->name; });
  for (auto* c : cmds) out << "  " << c->usage << "\n      " << c->summary << "\n";
}

}  // namespace

int Main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  std::string home;
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
  const std::string name = args[i];
  auto it = std::find_if(Commands().begin(), Commands().end(), [&](const Command& c) { return c.name == name; });
  if (it == Commands().end()) {
    std::cerr << "ravelin: unknown command '" << name << "' (see ravelin --help)\n";
    return 2;
  }

  // What a host does at start: its folder, the store's place, the shared façade.
  auto host = std::make_shared<DefaultHostCommon>();
  if (!home.empty()) host->SetHome(FromUtf8(home));
  SetHostCommon(host);
  InstallTerminalInteraction();
  InstallCompressWindow();
  Ravelin& mail = module1::SharedMail();
  mail.AppPath(module1::EffectiveAppPath());

  Context ctx{mail, std::cout, std::cerr, isatty(0) && isatty(1), {args.begin() + static_cast<long>(i) + 1, args.end()}};
  if (it->needsStore) PrepareStore(ctx);
  return it->run(ctx);
}

}  // namespace ravelin::cli

int main(int argc, char** argv) { return ravelin::cli::Main(argc, argv); }
