// The interaction interface drawn by the page: message boxes, input boxes, the message
// window, the letter and pack pickers, the folder chooser and the open and save file
// dialogs. Each one is a question to the page the user is working in; the caller waits on
// the nested loop (the page keeps working) and a page that goes away answers Cancel.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/interaction.h"
#include "presentation/views.h"
#include "workbench/workbench_server.h"

namespace ravelin::workbench {

class PageInteraction : public Interaction {
 public:
  explicit PageInteraction(WorkbenchServer& server) : server_(server) {}

  int32_t MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) override;
  std::optional<std::u16string> InputBox(const std::u16string& prompt, const std::u16string& title,
                                         const std::u16string& defaultText) override;
  std::optional<std::u16string> MessageWindow(const std::u16string& text, const std::u16string& caption,
                                              bool editable) override;
  std::vector<std::u16string> SelectLetters(const std::u16string& rProject, bool InsArcPrj) override;
  std::optional<PackChoice> SelectPack(const std::u16string& rProject, bool InsArcPrj, int32_t prjFiltr,
                                       bool ShowCancelButton) override;
  std::optional<std::u16string> ChooseFolder(const std::u16string& title, const std::u16string& root,
                                             bool InsArcPrj) override;

  // A file in the user's home chosen in the page; nothing when cancelled. `save` asks for
  // a new name too. An answer outside the home is refused (nothing comes back).
  std::optional<std::u16string> ChooseFile(bool save, const std::u16string& title, const std::u16string& filter,
                                           const std::u16string& fileName);

 private:
  WorkbenchServer& server_;
};

// The common dialog's save form drawn by the page.
class PageCommonDialog : public presentation::CommonDialog {
 public:
  explicit PageCommonDialog(PageInteraction& interaction) : interaction_(interaction) {}
  bool ShowSave() override;
  bool ShowOpen();

 private:
  PageInteraction& interaction_;
};

// The folder the file dialogs are kept in: the user's home ($HOME), canonical.
std::u16string DialogHome();
// The folders and files of `relative` below the home ("" for the home itself), folders
// first; nothing when it isn't a folder inside the home.
struct DirEntry {
  std::u16string name;
  bool folder = false;
};
std::optional<std::vector<DirEntry>> ListHomeFolder(const std::u16string& relative);
// The absolute path of `relative` below the home, when it stays inside it (".." and
// links that lead out are refused).
std::optional<std::u16string> InsideHome(const std::u16string& relative);

// Installs the page's interaction as the process's, and the page's folder listing for the
// file dialogs ("dialog.dir").
std::shared_ptr<PageInteraction> InstallPageInteraction(WorkbenchServer& server);

}  // namespace ravelin::workbench
