#include "terminal.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <string>

#include "platform/interaction.h"
#include "runtime/text.h"

namespace ravelin::cli {
namespace {

class TerminalInteraction : public Interaction {
 public:
  int32_t MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) override {
    std::cerr << "[" << ToUtf8(title) << "] " << ToUtf8(text) << "\n";
    const int32_t def = DefaultAnswer(style);
    if ((style & 7) != mb::kYesNo && (style & 7) != 3) return def;
    if (!Interactive()) {
      std::cerr << "  (no terminal: answering " << (def == mb::kYes ? "Yes" : "No") << ")\n";
      return def;
    }
    std::cerr << (def == mb::kYes ? "  [Y/n] " : "  [y/N] ") << std::flush;
    std::string line;
    if (!std::getline(std::cin, line) || line.empty()) return def;
    return (line[0] == 'y' || line[0] == 'Y') ? mb::kYes : mb::kNo;
  }

  std::optional<std::u16string> InputBox(const std::u16string& prompt, const std::u16string& title,
                                         const std::u16string& defaultText) override {
    std::cerr << "[" << ToUtf8(title) << "] " << ToUtf8(prompt) << "\n";
    if (!Interactive()) {
      std::cerr << "  (no terminal: cancelled)\n";
      return std::nullopt;
    }
    std::cerr << "  [" << ToUtf8(defaultText) << "] " << std::flush;
    std::string line;
    if (!std::getline(std::cin, line)) return std::nullopt;
    return line.empty() ? defaultText : FromUtf8(line);
  }

  std::optional<std::u16string> MessageWindow(const std::u16string& text, const std::u16string& caption,
                                              bool) override {
    std::cerr << "[" << ToUtf8(caption) << "]\n" << ToUtf8(text) << "\n";
    return text;
  }

 private:
  static bool Interactive() { return isatty(0) && isatty(2); }
};

}  // namespace

void InstallTerminalInteraction() { SetInteraction(std::make_shared<TerminalInteraction>()); }

}  // namespace ravelin::cli
