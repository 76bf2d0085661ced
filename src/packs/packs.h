// Packs: named, commented collections of letters beside the mail folders. A pack is one
// row of Packs; PackItems ties it to letters, Projects rows with ObjType 1 to project
// folders, Rules rows with Action 1 hold its sorting criteria. A pack goes to the recycle
// bin and back, is deleted from one project at a time, or is dissolved.
//
// Missing packs are told in a critical box under the operation's own key ("The pack №%1
// was not found in database"); the operation then does nothing further. The functions
// throw the engine's failures; the façade runs them in its protected regions.
#pragma once
#include <cstdint>
#include <functional>
#include <string>

#include "packs/projects.h"
#include "packs/views.h"
#include "runtime/types.h"
#include "store/data_cursor.h"

namespace ravelin::packs {

// The pack property window as the pack operations read it: name, comments, the project
// list and the rule cursor. A host shows it through `show` (true for OK); without one
// the window closes as cancelled.
struct PackPropertyWindow {
  std::u16string txtName, txtPackComments;
  // Prefilled from a list item: the sender's address and name (each with its check box).
  std::u16string txtSender, txtSenderName;
  bool chkSender = true, chkSenderName = true;
  MemoryListView LvwPrj;
  DataCursor DataRules;
  std::function<bool(PackPropertyWindow&)> show;
  bool Show() { return show ? show(*this) : false; }
};
// The process's one property window.
PackPropertyWindow& SharedPackPropertyWindow();

// Asks for a name (unless UseDefPar), adds the pack, links it to rProject (the row only,
// no folder made), then lets the user pick its letters. 0 when no name was given (or
// the property window was cancelled); no row and no letter picker then.
int32_t NewPack(const std::u16string& rProject = {}, bool InsArcPrj = false, bool UseDefPar = false,
                const ListItem* defListItem = nullptr);
// The steps after the name: the row, the project link, the letter picker.
int32_t CreatePack(const std::u16string& name, const std::u16string& rProject, bool InsArcPrj);

// Loads the property window on the pack N, shows it, and on OK saves it. True on OK;
// FolderChanged tells whether the project list changed.
bool ChangePackProperty(int32_t N, bool* FolderChanged = nullptr);
// Writes name, comments and project links of the window to the pack N.
void PackPropertyUpdate(int32_t N, PackPropertyWindow& frm);

// Fills a list from a pack recordset; the number of rows listed. Watches the stop flag
// through `events`.
int32_t RereadPacksData2(dao::Recordset& Rs, ListView& Listview1, int32_t ShowDeleted = ShowAll,
                         StatusBar* StatusBar1 = nullptr, LoopEvents* events = nullptr);

// Shift 0: the pack's letters to the recycle bin and the pack marked deleted (result 0).
// Shift not 0: the link to rProject goes (none for an empty one); the result is the
// number of links left, and at 0 the pack goes for good with its rules and the letters
// that have no other link.
int32_t DeletePack2(int32_t Pack_N, std::u16string& rProject, bool& InsArcPrj, int16_t Shift = 0);
void DelPackIntoRecycleBin(DataCursor& DataPacks);
void DeletePack(DataCursor& DataPacks);
void DeletePackRules(DataCursor& DataRules, int32_t PackNumber);
void DeletePackRules(int32_t PackNumber);

// Letters back to the folders they came from (asked when unknown; an empty answer ends
// the whole operation), the pack out of the recycle bin.
void RestorePack2(int32_t PackNumber);
void RestorePack(DataCursor& DataPacks);

// Dissolves the pack: its letters leave it (and it keeps no project link for them), its
// rules, links and row go.
void ReDistrPack(int32_t N);
void ReDistrPack(DataCursor& DataPacks);

// The pack picker; true when a pack was chosen.
bool SelectPack2(int32_t& PackNumber, const std::u16string& rProject = {}, bool InsArcPrj = false,
                 int32_t prjFiltr = Allmsg, bool ShowCancelButton = true, StatusBar* StatusBar1 = nullptr,
                 std::u16string* PackName = nullptr);

}  // namespace ravelin::packs
