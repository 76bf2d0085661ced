// The command table, the help it prints and the argument parser.
#include "commands.h"

#include <algorithm>
#include <iostream>

namespace ravelin::cli {
namespace {
std::vector<Command>& Table() {
  static std::vector<Command> table;
  return table;
}
std::function<void(Context&)>& Preparer() {
  static std::function<void(Context&)> f;
  return f;
}
}  // namespace

void RegisterCommand(Command c) { Table().push_back(std::move(c)); }
const std::vector<Command>& Commands() { return Table(); }

std::string Command::Usage() const {
  if (!synopsis.empty()) return name + " " + synopsis;
  std::string usage = name;
  for (const auto& p : positionals) usage += " " + p;
  for (const auto& o : options) usage += " [" + o.name + (o.value.empty() ? "" : " " + o.value) + "]";
  return usage;
}

const Command* FindCommand(const std::vector<std::string>& words, size_t& taken) {
  const Command* best = nullptr;
  taken = 0;
  for (const auto& c : Commands()) {
    // A name of several words matches as many words of the command line.
    size_t n = 0, start = 0;
    bool match = true;
    while (match && start <= c.name.size()) {
      const size_t end = std::min(c.name.find(' ', start), c.name.size());
      match = n < words.size() && words[n] == c.name.substr(start, end - start);
      ++n;
      start = end + 1;
    }
    if (match && n > taken) best = &c, taken = n;
  }
  return best;
}

void PrintHelp(std::ostream& out) {
  out << "Usage: ravelin [--home DIR] COMMAND [ARGS...]\n\n"
         "Ravelin keeps mail in one database and reads, writes and sends it.\n\n"
         "Global options:\n"
         "  --home DIR   keep the settings and the mail database in DIR\n"
         "               (default: $RAVELIN_HOME, else $XDG_DATA_HOME/ravelin, else ~/.local/share/ravelin)\n"
         "  --projects-root DIR, --archive-root DIR\n"
         "               the project tree's live and archive roots for this run\n"
         "               (default: the settings' [Projects] LiveRoot and ArchiveRoot, else Projects and Archive in\n"
         "               the home)\n"
         "  --addressbook FILE\n"
         "               the address book for this run (default: the settings' [AddressBook] File, else\n"
         "               AddressBook.db beside the mail database)\n"
         "  --help       show this help\n"
         "  --version    show the version\n\n"
         "Commands:\n";
  std::vector<const Command*> cmds;
  for (const auto& c : Commands()) cmds.push_back(&c);
  std::sort(cmds.begin(), cmds.end(), [](auto* a, auto* b) { return a->name < b->name; });
  for (auto* c : cmds) out << "  " << c->Usage() << "\n      " << c->summary << "\n";
  out << "\n'ravelin COMMAND --help' or 'ravelin help COMMAND' describes a command's options.\n";
}

void PrintCommandHelp(std::ostream& out, const Command& c) {
  out << "Usage: ravelin " << c.Usage() << "\n\n" << c.summary << "\n";
  if (c.options.empty()) return;
  std::vector<std::string> left;
  size_t width = 0;
  for (const auto& o : c.options) {
    left.push_back(o.name + (o.value.empty() ? "" : " " + o.value));
    width = std::max(width, left.back().size());
  }
  out << "\nOptions:\n";
  for (size_t i = 0; i < c.options.size(); ++i)
    out << "  " << left[i] << std::string(width - left[i].size() + 3, ' ') << c.options[i].help
        << (c.options[i].repeatable ? " (may be repeated)" : "") << "\n";
}

int UsageError(Context& ctx, const std::string& message) {
  ctx.err << "ravelin: " << message << "\n";
  return 2;
}

void SetStorePreparer(std::function<void(Context&)> prepare) { Preparer() = std::move(prepare); }
void PrepareStore(Context& ctx) {
  if (Preparer()) Preparer()(ctx);
}

std::optional<int32_t> ParseKey(const std::string& s) {
  if (s.empty() || s.size() > 9 || s.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  const int32_t n = std::stoi(s);
  if (n < 1) return std::nullopt;
  return n;
}

Args& Args::Declare(const std::vector<OptionSpec>& specs) {
  for (const auto& o : specs) o.value.empty() ? Flag(o.name) : Option(o.name);
  return *this;
}

std::string Args::Parse() {
  auto isFlag = [&](const std::string& n) { return std::find(flags_.begin(), flags_.end(), n) != flags_.end(); };
  auto isOption = [&](const std::string& n) { return std::find(options_.begin(), options_.end(), n) != options_.end(); };
  bool onlyPositional = false;
  for (size_t i = 0; i < raw_.size(); ++i) {
    const std::string& a = raw_[i];
    if (onlyPositional || a.size() < 2 || a[0] != '-' ) {
      positional_.push_back(a);
      continue;
    }
    if (a == "--") {
      onlyPositional = true;
      continue;
    }
    std::string name = a, value;
    bool inlineValue = false;
    if (auto eq = a.find('='); eq != std::string::npos && a.rfind("--", 0) == 0) {
      name = a.substr(0, eq);
      value = a.substr(eq + 1);
      inlineValue = true;
    }
    if (isFlag(name) && !inlineValue) {
      seen_[name]++;
    } else if (isOption(name)) {
      if (!inlineValue) {
        if (i + 1 >= raw_.size()) return name + " needs a value";
        value = raw_[++i];
      }
      seen_[name]++;
      values_.emplace(name, value);
    } else if (isFlag(name)) {
      return name + " takes no value";
    } else {
      return "unknown option " + name;
    }
  }
  return {};
}

std::optional<std::string> Args::Get(const std::string& name) const {
  auto range = values_.equal_range(name);
  if (range.first == range.second) return std::nullopt;
  auto last = range.second;
  --last;
  return last->second;
}

std::vector<std::string> Args::GetAll(const std::string& name) const {
  std::vector<std::string> out;
  auto range = values_.equal_range(name);
  for (auto it = range.first; it != range.second; ++it) out.push_back(it->second);
  return out;
}

}  // namespace ravelin::cli
