// The interaction object of the process.
#include "platform/interaction.h"

#include <mutex>

namespace ravelin {
namespace {

// Without a user: every box takes its default answer, input boxes are cancelled and the
// message window is closed unchanged.
class NonInteractive : public Interaction {
 public:
  int32_t MsgBox(const std::u16string&, int32_t style, const std::u16string&) override { return DefaultAnswer(style); }
  std::optional<std::u16string> InputBox(const std::u16string&, const std::u16string&,
                                         const std::u16string&) override {
    return std::nullopt;
  }
  std::optional<std::u16string> MessageWindow(const std::u16string& text, const std::u16string&, bool) override {
    return text;
  }
};

std::shared_ptr<Interaction>& Slot() {
  static std::shared_ptr<Interaction> current = std::make_shared<NonInteractive>();
  return current;
}

}  // namespace

int32_t DefaultAnswer(int32_t style) {
  const int32_t buttons = style & 7;
  const bool second = (style & 0x300) == mb::kDefaultButton2;
  switch (buttons) {
    case 1: return second ? mb::kCancel : mb::kOK;          // OK, Cancel
    case 3: return second ? mb::kNo : mb::kYes;              // Yes, No, Cancel
    case 4: return second ? mb::kNo : mb::kYes;              // Yes, No
    case 5: return second ? mb::kCancel : 4;                 // Retry, Cancel
    default: return mb::kOK;
  }
}

Interaction& CurrentInteraction() { return *Slot(); }

void SetInteraction(std::shared_ptr<Interaction> i) { Slot() = i ? std::move(i) : std::make_shared<NonInteractive>(); }

int32_t WideMsgBox(const std::u16string& text, int32_t flags, const std::u16string& title) {
  return CurrentInteraction().MsgBox(text, flags, title.empty() ? u"Ravelin" : title);
}

}  // namespace ravelin
