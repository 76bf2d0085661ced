// The command table and the argument parser.
#include "commands.h"

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
