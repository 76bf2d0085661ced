// Projects and archive: the rows of Projects that tie letters (ObjType 0) and packs
// (ObjType 1) to folders of the host's project tree, kept true when an object is linked,
// moved, sent to the archive side or back, and when the host copies, moves or deletes a
// folder. A project is stored in database form ("Projects\Clients\Acme"); which side it
// lies on is told by InsArcPrj alone.
//
// Recordset arguments are optional: a null one is opened here on the mail database and
// closed again, a given one is used and left open, so that a loop opens each table once.
// The functions throw the engine's failures; the façade runs them in its protected regions.
#pragma once
#include <cstdint>
#include <memory>
#include <string>

#include "packs/views.h"
#include "platform/db/dao.h"
#include "runtime/types.h"

namespace ravelin {
class DataCursor;
}

namespace ravelin::packs {

using RsPtr = std::shared_ptr<dao::Recordset>;

// Path questions about the two sides of the tree.
class cArcPrj {
 public:
  std::u16string AppPath() const { return appPath_; }
  void AppPath(const std::u16string& v) { appPath_ = v; }
  // The text after the first backslash; "" without one.
  std::u16string GetPrjRelPath(const std::u16string& dbPath) const;
  // The archive root for true, otherwise the live root (a platform folder).
  std::u16string GetRootPath(bool InsArcPrj = false) const;
  // The last component of GetRootPath ("Projects", "Archive").
  std::u16string GetRootFolderName(bool InsArcPrj = false) const;
  // The root with a separator and the path below it, in this platform's form.
  std::u16string GetAbsPrjPath(const std::u16string& dbPath, bool InsArcPrj = false) const;
  // The same folder on the other side: the other root's name, and the path below the
  // root when there is one. "" for "".
  std::u16string ConvertPath(const std::u16string& rProject, bool InsArcPrj) const;

 private:
  std::u16string appPath_;
};
cArcPrj& SharedArcPrj();

// The root under which CurProject lies (an empty one becomes the live root) and its side.
std::u16string GetHarbourRoot(bool& InsArcPrj, std::u16string& CurProject);

// The condition "this folder and everything below it" on [Projects].[Project].
std::u16string FolderCriteria(const std::u16string& folder);
// The Projects rows of a subtree on one side.
std::u16string SubtreeStatement(const std::u16string& folder, bool InsArcPrj);

// Whether rs holds the link; when true rs stands on it. False for a blank folder or no rows.
bool IsObjInProject(int32_t id, int32_t type, const std::u16string& folder, bool InsArcPrj, dao::Recordset& rs);
bool IsLetterInPack(int32_t msgN, int32_t pack, dao::Recordset& rs);

// Links a letter: to a project folder (PackNumber below 1; the folder is made on disk
// first and no row is written when that fails, the message shown as a critical box), or
// to a pack. Never removes a link; a link already there is left alone.
void pCopyLetter(int32_t msgN, const std::u16string& rProject = {}, bool InsArcPrj = false, int32_t PackNumber = 0,
                 RsPtr RsP = nullptr, RsPtr RSPI = nullptr);
void pCopyPack(int32_t Pack_N, const std::u16string& rProject, bool InsArcPrj, RsPtr RsP = nullptr);
void pCopyObj(int32_t Obj_ID, int32_t ObjType, const std::u16string& rProject = {}, bool InsArcPrj = false,
              int32_t PackNumber = 0, RsPtr RsP = nullptr, RsPtr RSPI = nullptr);

// Moves a letter from one place to another; a place is a folder (pack number below 1)
// or a pack. A letter that isn't there: nothing happens.
void RemoveLetter(int32_t msgN, const std::u16string& fromFolder, bool fromInsArcPrj, int32_t fromPackNumber,
                  const std::u16string& toFolder, bool toInsArcPrj, int32_t toPackNumber, RsPtr Rs = nullptr,
                  RsPtr RsP = nullptr);
// Moves a pack's project link. From a blank folder the target link is added when it
// isn't there yet; to a blank folder the source link goes.
void RemovePack2(int32_t PackNumber, const std::u16string& fromFolder, bool fromInsArcPrj,
                 const std::u16string& toFolder, bool toInsArcPrj, RsPtr RsP = nullptr);
// Moves the current pack of DataPacks to newFolder: its own link row (ObjType 1), then
// the same two columns on its letters and its rules, each step on its own so that one
// naming a column its rows lack fails alone.
void RemovePack(DataCursor& DataPacks, DataCursor& DataTb1, DataCursor& DataRules, const std::u16string& newFolder,
                bool newInsArcPrj);
// Sends the current row of Data1 to the other side or back, making the folder there.
void ArcPrjOp(DataCursor& Data1, const std::u16string& FieldName = u"Project");
// The same for an object addressed by number.
void ArcPrjOp2(int32_t Obj_ID, int32_t ObjType, const std::u16string& fromFolder, bool fromInsArcPrj,
               int32_t fromPackNumber);
void ArcPrjOpPack(DataCursor& DataPacks, DataCursor& DataTb1, DataCursor& DataRules);

// The folder `from` was copied to `to`: every link of the subtree gets its copy (once).
// Shows the number of source links in a plain box first.
void FolderCopied(const std::u16string& fromProject, const std::u16string& toProject, bool fromInsArcPrj = false,
                  bool toInsArcPrj = false);
// Operation 1 moves the subtree `old` to `argument` (the first occurrence of old in each
// path is replaced); operation 3 deletes it (argument is Shift: 0 keeps everything).
void ChangeProjectRefs(int32_t operation, const std::u16string& old, const std::u16string& argument,
                       bool oldInsArcPrj, bool newInsArcPrj);
void rProjectMoved(const std::u16string& oldrProject, const std::u16string& newrProject, bool oldInsArcPrj = false,
                   bool newInsArcPrj = false);
void rProjectDeleted(const std::u16string& rProject, bool InsArcPrj = false, int16_t Shift = 0);

// The lists of a letter's projects and packs, and writing them back.
void FillLvwPrj(int32_t id, int32_t type, ListView& LvwPrj);
void FillLvwPacks(int32_t msgN, ListView& LvwPacks);
void SaveLvwPrj(dao::Recordset& RsP, ListView& LvwPrj, int32_t id, int32_t type);
void SaveLvwPacks(dao::Recordset& RSPI, ListView& LvwPacks, int32_t msgN);

// The toolbar over a project list ("Add", "Del", "InsArcPrj"); InsArcPrj is the side
// the folder chooser offers.
void AlltbPrj_ButtonClick(const std::u16string& Button, ListView& LvwPrj, bool InsArcPrj = false);
// The archive button's tool tip and caption for the selected item.
void AllLvwPrj_ItemClick(ListView& LvwPrj, ToolbarButton& ArchiveButton);
void tbPrj_ButtonClick(const std::u16string& Button, ListView& LvwPrj, int32_t msgN);
// "Add", "Del", "Prop"; for "Prop" the selected pack's number comes back for the caller
// to open its properties (0 otherwise).
int32_t tbPacks_ButtonClick(const std::u16string& Button, ListView& LvwPacks, int32_t msgN);

namespace detail {
std::u16string Num(int64_t n);
std::u16string Quoted(const std::u16string& s);
// The mail database, shared and writable.
std::shared_ptr<dao::Database> OpenDb();
bool Empty(dao::Recordset& rs);
// Deletes every row of the recordset, from the last to the first.
void DeleteRows(dao::Recordset& rs);
// Keeps a long loop's work: the engine transaction around it is committed however the
// loop ends (a failing row or the user's stop), never rolled back. It holds the mail
// database open meanwhile, so the loop's own connections may close.
class CommittedTransaction {
 public:
  CommittedTransaction();
  ~CommittedTransaction();
  CommittedTransaction(const CommittedTransaction&) = delete;
  CommittedTransaction& operator=(const CommittedTransaction&) = delete;

 private:
  std::shared_ptr<dao::Database> db_;
  bool open_ = false;
};
// Runs a step; a failure is remembered as the last error and the next step goes on.
template <class F>
void Step(F&& f);
void RememberCurrent() noexcept;
}  // namespace detail

template <class F>
void detail::Step(F&& f) {
  try {
    f();
  } catch (...) {
    RememberCurrent();
  }
}

}  // namespace ravelin::packs
