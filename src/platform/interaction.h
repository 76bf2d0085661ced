// User interaction: message boxes with the platform's style numbers, input boxes and the
// plain message window. One interface: the CLI answers on the terminal, tests script it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ravelin {

namespace mb {
// Style numbers in use.
inline constexpr int32_t kOKOnly = 0;
inline constexpr int32_t kYesNo = 4;
inline constexpr int32_t kCritical = 16;
inline constexpr int32_t kExclamation = 48;
inline constexpr int32_t kDefaultButton2 = 256;
// Answers.
inline constexpr int32_t kOK = 1;
inline constexpr int32_t kCancel = 2;
inline constexpr int32_t kYes = 6;
inline constexpr int32_t kNo = 7;
}  // namespace mb

class Interaction {
 public:
  virtual ~Interaction() = default;
  // A message box: `style` is the sum of the style numbers; returns the answer (mb::kOK, kYes, kNo...).
  virtual int32_t MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) = 0;
  // An input box; nothing when the user cancels.
  virtual std::optional<std::u16string> InputBox(const std::u16string& prompt, const std::u16string& title,
                                                 const std::u16string& defaultText) = 0;
  // The plain message window (frmMsg): shows `text` modally. With `editable` the user may
  // change it; returns the text as it stands when the window closes, nothing when closed
  // without accepting.
  virtual std::optional<std::u16string> MessageWindow(const std::u16string& text, const std::u16string& caption,
                                                      bool editable) = 0;

  // The pickers and the folder chooser. A host without them gives the default answers:
  // nothing chosen.
  //
  // The letter picker (frmSelectLetter) offers the letters of a project folder (all
  // letters for an empty one) and returns the keys of the chosen rows; rows of navigation
  // ("DirUp", "Root", "Prj", "ArcPrj", "CloseFold", "Pack", "ReturnFolder") may come back
  // too and are passed over by the caller.
  virtual std::vector<std::u16string> SelectLetters(const std::u16string& rProject, bool InsArcPrj) { return {}; }
  // The pack picker (frmSelectPack), filled with the packs of the project scope; the
  // chosen pack's number and name, nothing when cancelled.
  struct PackChoice {
    int32_t PackNumber = 0;
    std::u16string PackName;
  };
  virtual std::optional<PackChoice> SelectPack(const std::u16string& rProject, bool InsArcPrj, int32_t prjFiltr,
                                               bool ShowCancelButton) {
    return std::nullopt;
  }
  // The folder chooser of the project tree, opened at `root` (a side's root folder);
  // the chosen folder in database form ("Projects\Clients"), nothing when cancelled.
  virtual std::optional<std::u16string> ChooseFolder(const std::u16string& title, const std::u16string& root,
                                                     bool InsArcPrj) {
    return std::nullopt;
  }
};

// The answer a message box without a user gives for a style: the default button
// (Yes for 4, No for 4+256, OK otherwise).
int32_t DefaultAnswer(int32_t style);

// The process's interaction object; a non-interactive default until a host sets one.
Interaction& CurrentInteraction();
void SetInteraction(std::shared_ptr<Interaction> i);

// WideMsgBox(text, flags, title): an empty title becomes the application title "Ravelin".
int32_t WideMsgBox(const std::u16string& text, int32_t flags, const std::u16string& title = {});

}  // namespace ravelin
