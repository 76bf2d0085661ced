// Commands about the commands: `help [COMMAND]` describes one, `completion bash` prints a
// bash completion script made from the command table.
#include <algorithm>
#include <iostream>
#include <map>
#include <set>
#include <string>

#include "commands.h"

namespace ravelin::cli {
namespace {

int Help(Context& ctx, const Args& args) {
  const auto& words = args.Positional();
  if (words.empty()) {
    PrintHelp(ctx.out);
    return 0;
  }
  size_t taken = 0;
  const Command* c = FindCommand(words, taken);
  if (!c || taken != words.size()) {
    ctx.err << "ravelin: unknown command '" << words[0] << "' (see ravelin --help)\n";
    return 2;
  }
  PrintCommandHelp(ctx.out, *c);
  return 0;
}

std::string Join(const std::set<std::string>& words) {
  std::string out;
  for (const auto& w : words) out += (out.empty() ? "" : " ") + w;
  return out;
}

bool NamesFiles(const std::string& placeholder) {
  return placeholder.find("FILE") != std::string::npos || placeholder.find("PATH") != std::string::npos ||
         placeholder.find("DIR") != std::string::npos;
}

// What to offer for a placeholder: command names, "bash", files, or nothing.
std::string ValueCompletion(const std::string& placeholder, const std::string& topWords) {
  if (placeholder.find("COMMAND") != std::string::npos) return "COMPREPLY=($(compgen -W \"" + topWords + "\" -- \"$cur\"))";
  if (placeholder.find("SHELL") != std::string::npos) return "COMPREPLY=($(compgen -W \"bash\" -- \"$cur\"))";
  if (NamesFiles(placeholder)) return "compopt -o filenames; COMPREPLY=($(compgen -f -- \"$cur\"))";
  return "COMPREPLY=()";
}

}  // namespace

void PrintBashCompletion(std::ostream& out) {
  std::set<std::string> top;
  std::map<std::string, std::set<std::string>> verbs;
  for (const auto& c : Commands()) {
    const size_t space = c.name.find(' ');
    top.insert(c.name.substr(0, space));
    if (space != std::string::npos) verbs[c.name.substr(0, space)].insert(c.name.substr(space + 1));
  }
  const std::string topWords = Join(top);
  out << "# bash completion for ravelin; made by `ravelin completion bash` from its command table.\n"
         "_ravelin() {\n"
         "  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD-1]}\n"
         "  local i=1\n"
         "  while [[ $i -lt $COMP_CWORD ]]; do\n"
         "    case ${COMP_WORDS[i]} in\n"
         "      --home|--projects-root|--archive-root|--addressbook) i=$((i + 2)) ;;\n"
         "      -*) i=$((i + 1)) ;;\n"
         "      *) break ;;\n"
         "    esac\n"
         "  done\n"
         "  if [[ $i -ge $COMP_CWORD ]]; then\n"
         "    if [[ $prev == --home || $prev == --projects-root || $prev == --archive-root ]]; then compopt -o filenames; COMPREPLY=($(compgen -d -- \"$cur\"))\n"
         "    elif [[ $prev == --addressbook ]]; then compopt -o filenames; COMPREPLY=($(compgen -f -- \"$cur\"))\n"
         "    elif [[ $cur == -* ]]; then COMPREPLY=($(compgen -W \"--home --projects-root --archive-root --addressbook --help --version\" -- \"$cur\"))\n"
         "    else COMPREPLY=($(compgen -W \""
      << topWords
      << "\" -- \"$cur\")); fi\n"
         "    return\n"
         "  fi\n"
         "  local cmd=${COMP_WORDS[i]}\n"
         "  i=$((i + 1))\n";
  if (!verbs.empty()) {
    out << "  case $cmd in\n";
    for (const auto& [group, vs] : verbs) {
      out << "    " << group << ")\n"
          << "      if [[ $i -ge $COMP_CWORD ]]; then COMPREPLY=($(compgen -W \"" << Join(vs)
          << "\" -- \"$cur\")); return; fi\n"
          << "      cmd=\"$cmd ${COMP_WORDS[i]}\"\n"
          << "      i=$((i + 1)) ;;\n";
    }
    out << "  esac\n";
  }
  out << "  case \"$cmd\" in\n";
  for (const auto& c : Commands()) {
    std::string opts = "--help", valued;
    for (const auto& o : c.options) {
      opts += " " + o.name;
      if (!o.value.empty()) valued += (valued.empty() ? "" : "|") + o.name;
    }
    out << "    \"" << c.name << "\")\n";
    if (!valued.empty()) {
      out << "      case $prev in\n";
      for (const auto& o : c.options)
        if (!o.value.empty()) out << "        " << o.name << ") " << ValueCompletion(o.value, topWords) << "; return ;;\n";
      out << "      esac\n";
    }
    out << "      if [[ $cur == -* ]]; then COMPREPLY=($(compgen -W \"" << opts << "\" -- \"$cur\")); return; fi\n";
    const std::string positional = c.positionals.empty() ? "" : c.positionals.front();
    out << "      " << ValueCompletion(positional, topWords) << " ;;\n";
  }
  out << "  esac\n"
         "}\n"
         "complete -F _ravelin ravelin\n";
}

namespace {

int Completion(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1 || args.Positional()[0] != "bash")
    return UsageError(ctx, "completion needs a SHELL: bash");
  PrintBashCompletion(ctx.out);
  return 0;
}

const CommandRegistrar helpCmd({"help", {"[COMMAND]"}, {}, "describe a command and its options", false, Help});
const CommandRegistrar completionCmd(
    {"completion", {"SHELL"}, {}, "print the completion script of a shell (bash)", false, Completion});

}  // namespace
}  // namespace ravelin::cli
