// Façade members of the packs family: projects and archive, packs, rules. Each runs its
// body in the protected region under its own source name.
#include "facade/ravelin.h"
#include "packs/packs.h"
#include "packs/projects.h"
#include "packs/rules.h"
#include "platform/event_loop.h"
#include "platform/module1.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"

namespace ravelin {

namespace {

// The façade's events and stop flag for a long loop of the packs layer.
class FacadeLoop : public packs::LoopEvents {
 public:
  explicit FacadeLoop(Ravelin& mail) : mail_(mail) { mail_.ClearStop(); }
  void Progress(double value, double min, double max) override { mail_.RaiseProgressChanged(value, min, max); }
  void Status(const std::u16string& text) override {
    std::u16string t = text;
    mail_.RaiseStatusTextChanged(t);
  }
  bool Yield() override {
    loop::PumpOnce();
    return mail_.StopRequested();
  }

 private:
  Ravelin& mail_;
};

int32_t CurrentN(DataCursor& c) {
  return NullConvLng(store::detail::Need(c.Recordset()).GetField(u"N"));
}

}  // namespace

std::u16string Ravelin::GetHarbourRoot(bool& InsArcPrj, std::u16string& CurProject) {
  return Protected(u"Ravelin.GetHarbourRoot", std::u16string(), [&] { return packs::GetHarbourRoot(InsArcPrj, CurProject); });
}

void Ravelin::pCopyObj(int32_t Obj_ID, int32_t ObjType, const std::u16string& rProject, bool InsArcPrj,
                       int32_t PackNumber) {
  ProtectedVoid(u"Ravelin.pCopyObj", [&] { packs::pCopyObj(Obj_ID, ObjType, rProject, InsArcPrj, PackNumber); });
}

void Ravelin::pCopyPack(int32_t Pack_N, const std::u16string& rProject, bool InsArcPrj) {
  ProtectedVoid(u"Ravelin.pCopyPack", [&] { packs::pCopyPack(Pack_N, rProject, InsArcPrj); });
}

void Ravelin::pCopyLetter(int32_t msgN, const std::u16string& rProject, bool InsArcPrj, int32_t PackNumber) {
  ProtectedVoid(u"Ravelin.pCopyLetter", [&] { packs::pCopyLetter(msgN, rProject, InsArcPrj, PackNumber); });
}

void Ravelin::RemoveLetter(int32_t msgN, const std::u16string& fromFolder, bool fromInsArcPrj, int32_t fromPackNumber,
                           const std::u16string& toFolder, bool toInsArcPrj, int32_t toPackNumber) {
  ProtectedVoid(u"Ravelin.RemoveLetter", [&] {
    packs::RemoveLetter(msgN, fromFolder, fromInsArcPrj, fromPackNumber, toFolder, toInsArcPrj, toPackNumber);
  });
}

void Ravelin::RemovePack2(int32_t PackNumber, const std::u16string& fromFolder, bool fromInsArcPrj,
                          const std::u16string& toFolder, bool toInsArcPrj) {
  ProtectedVoid(u"Ravelin.RemovePack2",
                [&] { packs::RemovePack2(PackNumber, fromFolder, fromInsArcPrj, toFolder, toInsArcPrj); });
}

void Ravelin::RemovePack(DataCursor& DataPacks, DataCursor& DataTb1, DataCursor& DataRules,
                         const std::u16string& newFolder, bool newInsArcPrj) {
  ProtectedVoid(u"Ravelin.RemovePack",
                [&] { packs::RemovePack(DataPacks, DataTb1, DataRules, newFolder, newInsArcPrj); });
}

void Ravelin::ArcPrjOp(DataCursor& Data1, const std::u16string& FieldName) {
  ProtectedVoid(u"Ravelin.ArcPrjOp", [&] { packs::ArcPrjOp(Data1, FieldName); });
}

void Ravelin::ArcPrjOp2(int32_t Obj_ID, int32_t ObjType, const std::u16string& fromFolder, bool fromInsArcPrj,
                        int32_t fromPackNumber) {
  ProtectedVoid(u"Ravelin.ArcPrjOp2",
                [&] { packs::ArcPrjOp2(Obj_ID, ObjType, fromFolder, fromInsArcPrj, fromPackNumber); });
}

void Ravelin::ArcPrjOpPack(DataCursor& DataPacks, DataCursor& DataTb1, DataCursor& DataRules) {
  ProtectedVoid(u"Ravelin.ArcPrjOpPack", [&] { packs::ArcPrjOpPack(DataPacks, DataTb1, DataRules); });
}

void Ravelin::FolderCopied(const std::u16string& fromProject, const std::u16string& toProject, bool fromInsArcPrj,
                           bool toInsArcPrj) {
  ProtectedVoid(u"Ravelin.FolderCopied",
                [&] { packs::FolderCopied(fromProject, toProject, fromInsArcPrj, toInsArcPrj); });
}

void Ravelin::FolderMoved(const std::u16string& oldrProject, const std::u16string& newrProject, bool InsArcPrj1,
                          bool InsArcPrj2) {
  rProjectMoved(oldrProject, newrProject, InsArcPrj1, InsArcPrj2);
}

void Ravelin::rProjectMoved(const std::u16string& oldrProject, const std::u16string& newrProject, bool oldInsArcPrj,
                            bool newInsArcPrj) {
  ProtectedVoid(u"Ravelin.rProjectMoved",
                [&] { packs::rProjectMoved(oldrProject, newrProject, oldInsArcPrj, newInsArcPrj); });
}

void Ravelin::FolderDeleted(const std::u16string& rProject, bool InsArcPrj, int16_t Shift) {
  rProjectDeleted(rProject, InsArcPrj, Shift);
}

void Ravelin::rProjectDeleted(const std::u16string& rProject, bool InsArcPrj, int16_t Shift) {
  ProtectedVoid(u"Ravelin.rProjectDeleted", [&] { packs::rProjectDeleted(rProject, InsArcPrj, Shift); });
}

void Ravelin::NavigatePacksByLetter(int32_t msgN, packs::ListView& LvwPacks) {
  ProtectedVoid(u"Ravelin.NavigatePacksByLetter", [&] { packs::FillLvwPacks(msgN, LvwPacks); });
}

void Ravelin::NavigateProjectsByLetters(int32_t msgN, packs::ListView& LvwPrj) {
  ProtectedVoid(u"Ravelin.NavigateProjectsByLetters", [&] { packs::FillLvwPrj(msgN, objLetter, LvwPrj); });
}

void Ravelin::tbPrj_ButtonClick(const std::u16string& Button, packs::ListView& LvwPrj, int32_t msgN) {
  ProtectedVoid(u"Ravelin.tbPrj_ButtonClick", [&] { packs::tbPrj_ButtonClick(Button, LvwPrj, msgN); });
}

int32_t Ravelin::tbPacks_ButtonClick(const std::u16string& Button, packs::ListView& LvwPacks, int32_t msgN) {
  return Protected(u"Ravelin.tbPacks_ButtonClick", int32_t{0},
                   [&] { return packs::tbPacks_ButtonClick(Button, LvwPacks, msgN); });
}

int32_t Ravelin::NewPack(const std::u16string& rProject, bool InsArcPrj, bool UseDefPar,
                         const packs::ListItem* defListItem) {
  return Protected(u"Ravelin.NewPack", int32_t{0},
                   [&] { return packs::NewPack(rProject, InsArcPrj, UseDefPar, defListItem); });
}

bool Ravelin::ChangePackProperty(DataCursor& DataPack, bool* FolderChanged) {
  return Protected(u"Ravelin.ChangePackProperty", false, [&] {
    const bool ok = packs::ChangePackProperty(CurrentN(DataPack), FolderChanged);
    if (ok) DataPack.Refresh();
    return ok;
  });
}

void Ravelin::PackPropertyUpdate(DataCursor& DataPack) {
  ProtectedVoid(u"Ravelin.PackPropertyUpdate2", [&] {
    packs::PackPropertyUpdate(CurrentN(DataPack), packs::SharedPackPropertyWindow());
    DataPack.Refresh();
  });
}

int32_t Ravelin::RereadPacksData(DataCursor& DataPacks, packs::ListView& Listview1, bool ShowDeleted,
                                 packs::StatusBar* StatusBar1) {
  return Protected(u"Ravelin.RereadPacksData", int32_t{0}, [&] {
    FacadeLoop loop(*this);
    return packs::RereadPacksData2(store::detail::Need(DataPacks.Recordset()), Listview1,
                                   ShowDeleted ? DeletedOnly : HideDeleted, StatusBar1, &loop);
  });
}

int32_t Ravelin::RereadPacksData2(dao::Recordset& Rs, packs::ListView& Listview1, DeletedMsgStatus ShowDeleted,
                                  packs::StatusBar* StatusBar1) {
  return Protected(u"Ravelin.RereadPacksData2", int32_t{0}, [&] {
    FacadeLoop loop(*this);
    return packs::RereadPacksData2(Rs, Listview1, ShowDeleted, StatusBar1, &loop);
  });
}

void Ravelin::DelPackIntoRecycleBin(DataCursor& DataPacks) {
  ProtectedVoid(u"Ravelin.DelPackIntoRecycleBin", [&] { packs::DelPackIntoRecycleBin(DataPacks); });
}

void Ravelin::DeletePack(DataCursor& DataPacks) {
  ProtectedVoid(u"Ravelin.DeletePack", [&] { packs::DeletePack(DataPacks); });
}

int32_t Ravelin::DeletePack2(int32_t Pack_N, std::u16string& rProject, bool& InsArcPrj, int16_t Shift) {
  return Protected(u"Ravelin.DeletePack2", int32_t{0},
                   [&] { return packs::DeletePack2(Pack_N, rProject, InsArcPrj, Shift); });
}

void Ravelin::DeletePackRules(DataCursor& DataRules, int32_t PackNumber) {
  ProtectedVoid(u"Ravelin.DeletePackRules", [&] { packs::DeletePackRules(DataRules, PackNumber); });
}

void Ravelin::RestorePack(DataCursor& DataPacks) {
  ProtectedVoid(u"Ravelin.RestorePack", [&] { packs::RestorePack(DataPacks); });
}

void Ravelin::RestorePack2(int32_t PackNumber) {
  ProtectedVoid(u"Ravelin.RestorePack2", [&] { packs::RestorePack2(PackNumber); });
}

void Ravelin::ReDistrPack(DataCursor& DataPacks) {
  ProtectedVoid(u"Ravelin.ReDistrPack", [&] { packs::ReDistrPack(DataPacks); });
}

bool Ravelin::SelectPack(int32_t& PackNumber, const std::u16string& rProject, bool InsArcPrj, int32_t prjFiltr,
                         bool ShowCancelButton) {
  return Protected(u"Ravelin.SelectPack", false, [&] {
    return packs::SelectPack2(PackNumber, rProject, InsArcPrj, prjFiltr, ShowCancelButton);
  });
}

bool Ravelin::SelectPack2(int32_t& PackNumber, const std::u16string& rProject, bool InsArcPrj, int32_t prjFiltr,
                          bool ShowCancelButton, std::u16string& PackName) {
  return Protected(u"Ravelin.SelectPack2", false, [&] {
    return packs::SelectPack2(PackNumber, rProject, InsArcPrj, prjFiltr, ShowCancelButton, nullptr, &PackName);
  });
}

std::u16string Ravelin::GetRulesRecordsource(const Value&, RulesAction Action, const std::u16string& Param,
                                             bool InsArcPrj) {
  return GetRulesRecordsource2(Action, Param, InsArcPrj);
}

std::u16string Ravelin::GetRulesRecordsource2(RulesAction Action, const std::u16string& Param, bool InsArcPrj) {
  return Protected(u"Ravelin.GetRulesRecordsource2", std::u16string(),
                   [&] { return packs::GetRulesRecordsource2(Action, Param, InsArcPrj); });
}

void Ravelin::SetFlags(DataCursor& DataRules, packs::RuleTab& frm) {
  ProtectedVoid(u"Ravelin.SetFlags", [&] { packs::SetFlags(DataRules, frm); });
}

}  // namespace ravelin
