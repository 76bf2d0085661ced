// Links of letters and packs to project folders, moves between places and sides, and the
// project tree's copies, moves and deletions.
#include "packs/projects.h"

#include <vector>

#include "packs/packs.h"
#include "packs/project_tree.h"
#include "packs/rules.h"
#include "platform/filesystem.h"
#include "platform/funnel.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/delete_restore.h"
#include "store/record_sources.h"

namespace ravelin::packs {

using detail::DeleteRows;
using detail::Empty;
using detail::Num;
using detail::OpenDb;
using detail::Quoted;
using store::detail::Need;

namespace detail {

std::u16string Num(int64_t n) { return NumToText(static_cast<double>(n)); }
std::u16string Quoted(const std::u16string& s) { return u"\"" + s + u"\""; }
std::shared_ptr<dao::Database> OpenDb() { return store::detail::OpenMailDatabase(); }
bool Empty(dao::Recordset& rs) { return rs.Bof() && rs.Eof(); }

void DeleteRows(dao::Recordset& rs) {
  if (Empty(rs)) return;
  rs.MoveLast();
  for (int32_t left = rs.RecordCount(); left > 0; --left) {
    rs.Delete();
    if (left > 1) rs.MovePrevious();
  }
}

CommittedTransaction::CommittedTransaction() : db_(OpenDb()) {
  dao::Engine().BeginTrans();
  open_ = true;
}

CommittedTransaction::~CommittedTransaction() {
  try {
    if (open_) dao::Engine().CommitTrans();
    db_->Close();
  } catch (...) {
    RememberCurrent();
  }
}

void RememberCurrent() noexcept { funnel::Remember(ErrObject::FromCurrentException()); }

}  // namespace detail

namespace {

std::u16string B(bool v) { return strBoolean(v ? kTrue : kFalse); }

bool Blank(const std::u16string& s) { return Trim(s).empty(); }

bool SamePlace(const std::u16string& a, bool arcA, const std::u16string& b, bool arcB) {
  return TextEquals(a, b) && arcA == arcB;
}

// A recordset given by the caller, or one opened here and closed when the holder goes.
struct Held {
  std::shared_ptr<dao::Database> db;
  RsPtr rs;
  bool own = false;
  Held(RsPtr given, const std::u16string& source) : rs(std::move(given)) {
    if (!rs) {
      db = OpenDb();
      rs = db->OpenRecordset(source, dao::dbOpenDynaset);
      own = true;
    }
  }
  ~Held() {
    if (!own) return;
    try {
      rs->Close();
      db->Close();
    } catch (...) {
    }
  }
  dao::Recordset& operator*() { return *rs; }
  dao::Recordset* operator->() { return rs.get(); }
};

void AddLink(dao::Recordset& rs, int32_t id, int32_t type, const std::u16string& project, bool arc) {
  rs.AddNew();
  rs.SetField(u"Obj ID", Value(id));
  rs.SetField(u"ObjType", Value(type));
  rs.SetField(u"Project", Value(project));
  rs.SetField(u"InsArcPrj", Value(arc));
  rs.Update();
}

void EditLink(dao::Recordset& rs, int32_t id, int32_t type, const std::u16string& project, bool arc) {
  rs.Edit();
  rs.SetField(u"Obj ID", Value(id));
  rs.SetField(u"ObjType", Value(type));
  rs.SetField(u"Project", Value(project));
  rs.SetField(u"InsArcPrj", Value(arc));
  rs.Update();
}

// Makes the folder and links an object (letter or pack) to it, unless it is linked there.
void CopyToProject(int32_t id, int32_t type, const std::u16string& rProject, bool InsArcPrj, RsPtr RsP) {
  Held p(std::move(RsP), store::GetDataPrjRS(id, type));
  if (Blank(rProject) || IsObjInProject(id, type, rProject, InsArcPrj, *p)) return;
  std::u16string spelled = rProject;
  const std::u16string message = EnsureFolder(rProject, InsArcPrj, &spelled);
  if (!message.empty()) {
    WideMsgBox(message, mb::kCritical);
    return;
  }
  // The folder may exist in another case; the link then names it as the disk does.
  if (spelled != rProject && IsObjInProject(id, type, spelled, InsArcPrj, *p)) return;
  AddLink(*p, id, type, spelled, InsArcPrj);
}

// The folder of the other side: made on disk when missing, and named as the disk spells
// it. A failure is shown as a critical box; the converted path comes back all the same.
std::u16string CheckedOtherSide(const std::u16string& project, bool fromInsArcPrj) {
  const std::u16string converted = SharedArcPrj().ConvertPath(project, fromInsArcPrj);
  if (converted.empty()) return converted;
  std::u16string spelled = converted;
  const std::u16string message = EnsureFolder(converted, !fromInsArcPrj, &spelled);
  if (!message.empty()) {
    WideMsgBox(message, mb::kCritical);
    return converted;
  }
  return spelled;
}

bool LetterExists(int32_t msgN, RsPtr Rs) {
  if (Rs) {
    if (Empty(*Rs)) return false;
    Rs->MoveFirst();
    Rs->FindFirst(u"key=" + Num(msgN));
    return !Rs->NoMatch();
  }
  auto db = OpenDb();
  auto rs = db->OpenRecordset(u"Select key from Letters Where key=" + Num(msgN) + u";", dao::dbOpenSnapshot);
  const bool found = !Empty(*rs);
  rs->Close();
  db->Close();
  return found;
}

// The path below `folder` of a path in its subtree ("" for the folder itself).
std::u16string RelativeToFolder(const std::u16string& path, const std::u16string& folder) {
  if (path.size() <= folder.size()) return u"";
  return path.substr(folder.size() + 1);
}

}  // namespace

// ---- cArcPrj ----------------------------------------------------------------------------

std::u16string cArcPrj::GetPrjRelPath(const std::u16string& dbPath) const {
  const size_t p = dbPath.find(u'\\');
  return p == std::u16string::npos ? u"" : dbPath.substr(p + 1);
}

std::u16string cArcPrj::GetRootPath(bool InsArcPrj) const {
  const ProjectRoots r = CurrentRoots();
  return InsArcPrj ? r.archive : r.live;
}

std::u16string cArcPrj::GetRootFolderName(bool InsArcPrj) const { return fs::FileName(GetRootPath(InsArcPrj)); }

std::u16string cArcPrj::GetAbsPrjPath(const std::u16string& dbPath, bool InsArcPrj) const {
  std::u16string rel = GetPrjRelPath(dbPath);
  for (char16_t& c : rel)
    if (c == u'\\') c = u'/';
  return fs::AddPathSlash(GetRootPath(InsArcPrj)) + rel;
}

std::u16string cArcPrj::ConvertPath(const std::u16string& rProject, bool InsArcPrj) const {
  if (rProject.empty()) return u"";
  const std::u16string rel = GetPrjRelPath(rProject);
  std::u16string out = GetRootFolderName(!InsArcPrj);
  if (!rel.empty()) out += u"\\" + rel;
  return out;
}

cArcPrj& SharedArcPrj() {
  static cArcPrj* shared = new cArcPrj();  // lives for the whole process
  return *shared;
}

std::u16string GetHarbourRoot(bool& InsArcPrj, std::u16string& CurProject) {
  const std::u16string L = SharedArcPrj().GetRootPath(false);
  const std::u16string A = SharedArcPrj().GetRootPath(true);
  if (CurProject.empty()) CurProject = L;
  const int32_t p = InStr(CurProject, L, Compare::Text);
  const int32_t q = InStr(CurProject, A, Compare::Text);
  if (p == 1 && q == 0) {
    InsArcPrj = false;
    return L;
  }
  if (p == 0 && q > 0) {
    InsArcPrj = true;
    return A;
  }
  if (p == 1 && q == 1) {
    InsArcPrj = A.size() > L.size();
    return InsArcPrj ? A : L;
  }
  InsArcPrj = false;
  return L;
}

// ---- Criteria ---------------------------------------------------------------------------

std::u16string FolderCriteria(const std::u16string& folder) {
  const std::u16string q = u"\"";
  return u"( StrComp(left$(" + std::u16string(u"[Projects].[Project]") + u" & " + q + u"\\" + q + u"," +
         Num(static_cast<int64_t>(folder.size()) + 1) + u")," + q + folder + u"\\" + q + u"," + u"1" + u")=0 )";
}

std::u16string SubtreeStatement(const std::u16string& folder, bool InsArcPrj) {
  return u"Select * From Projects  Where " + FolderCriteria(folder) + u" and InsArcPrj=" + B(InsArcPrj) + u";";
}

bool IsObjInProject(int32_t id, int32_t type, const std::u16string& folder, bool InsArcPrj, dao::Recordset& rs) {
  if (Blank(folder) || Empty(rs)) return false;
  rs.FindFirst(u" [Obj ID]=" + Num(id) + u" and ObjType=" + Num(type) + u" and Project=" + Quoted(folder) +
               u" and InsArcPrj=" + B(InsArcPrj));
  return !rs.NoMatch();
}

bool IsLetterInPack(int32_t msgN, int32_t pack, dao::Recordset& rs) {
  if (Empty(rs)) return false;
  rs.FindFirst(u"Pack_N=" + Num(pack) + u" and Msg_N=" + Num(msgN));
  return !rs.NoMatch();
}

// ---- Links ------------------------------------------------------------------------------

void pCopyLetter(int32_t msgN, const std::u16string& rProject, bool InsArcPrj, int32_t PackNumber, RsPtr RsP,
                 RsPtr RSPI) {
  if (PackNumber < 1) {
    CopyToProject(msgN, objLetter, rProject, InsArcPrj, std::move(RsP));
    return;
  }
  Held items(std::move(RSPI), u"Select * from PackItems Where Msg_N=" + Num(msgN) + u";");
  if (IsLetterInPack(msgN, PackNumber, *items)) return;
  items->AddNew();
  items->SetField(u"Pack_N", Value(PackNumber));
  items->SetField(u"Msg_N", Value(msgN));
  items->Update();
}

void pCopyPack(int32_t Pack_N, const std::u16string& rProject, bool InsArcPrj, RsPtr RsP) {
  CopyToProject(Pack_N, objPack, rProject, InsArcPrj, std::move(RsP));
}

void pCopyObj(int32_t Obj_ID, int32_t ObjType, const std::u16string& rProject, bool InsArcPrj, int32_t PackNumber,
              RsPtr RsP, RsPtr RSPI) {
  if (ObjType == objLetter)
    pCopyLetter(Obj_ID, rProject, InsArcPrj, PackNumber, std::move(RsP), std::move(RSPI));
  else if (ObjType == objPack && PackNumber <= 0)
    pCopyPack(Obj_ID, rProject, InsArcPrj, std::move(RsP));
}

void RemoveLetter(int32_t msgN, const std::u16string& fromFolder, bool fromInsArcPrj, int32_t fromPackNumber,
                  const std::u16string& toFolder, bool toInsArcPrj, int32_t toPackNumber, RsPtr Rs, RsPtr RsP) {
  if (!LetterExists(msgN, std::move(Rs))) return;
  Held p(std::move(RsP), store::GetDataPrjRS(msgN, objLetter));
  Held items(nullptr, store::GetPackItemsRSbyLetter(msgN));
  const bool fromPack = fromPackNumber >= 1, toPack = toPackNumber >= 1;
  if (!fromPack && !toPack) {
    if (IsObjInProject(msgN, objLetter, toFolder, toInsArcPrj, *p)) {
      if (IsObjInProject(msgN, objLetter, fromFolder, fromInsArcPrj, *p)) p->Delete();
    } else if (IsObjInProject(msgN, objLetter, fromFolder, fromInsArcPrj, *p)) {
      if (!Blank(toFolder))
        EditLink(*p, msgN, objLetter, toFolder, toInsArcPrj);
      else
        p->Delete();
    } else if (Blank(fromFolder) && !Blank(toFolder)) {
      AddLink(*p, msgN, objLetter, toFolder, toInsArcPrj);
    }
  } else if (fromPack && !toPack) {
    if (IsLetterInPack(msgN, fromPackNumber, *items)) items->Delete();
    if (!Blank(toFolder) && !IsObjInProject(msgN, objLetter, toFolder, toInsArcPrj, *p))
      AddLink(*p, msgN, objLetter, toFolder, toInsArcPrj);
  } else if (!fromPack && toPack) {
    if (IsObjInProject(msgN, objLetter, fromFolder, fromInsArcPrj, *p)) p->Delete();
    if (!IsLetterInPack(msgN, toPackNumber, *items)) {
      items->AddNew();
      items->SetField(u"Pack_N", Value(toPackNumber));
      items->SetField(u"Msg_N", Value(msgN));
      items->Update();
    }
  } else {
    if (IsLetterInPack(msgN, toPackNumber, *items)) {
      if (IsLetterInPack(msgN, fromPackNumber, *items)) items->Delete();
    } else if (IsLetterInPack(msgN, fromPackNumber, *items)) {
      items->Edit();
      items->SetField(u"Pack_N", Value(toPackNumber));
      items->Update();
    }
  }
}

void RemovePack2(int32_t PackNumber, const std::u16string& fromFolder, bool fromInsArcPrj,
                 const std::u16string& toFolder, bool toInsArcPrj, RsPtr RsP) {
  if (SamePlace(fromFolder, fromInsArcPrj, toFolder, toInsArcPrj)) return;
  Held p(std::move(RsP), store::GetDataPrjRS(PackNumber, objPack));
  if (Blank(fromFolder) && !Blank(toFolder)) {
    if (!IsObjInProject(PackNumber, objPack, toFolder, toInsArcPrj, *p))
      AddLink(*p, PackNumber, objPack, toFolder, toInsArcPrj);
  } else if (Blank(toFolder)) {
    if (IsObjInProject(PackNumber, objPack, fromFolder, fromInsArcPrj, *p)) p->Delete();
  } else if (IsObjInProject(PackNumber, objPack, toFolder, toInsArcPrj, *p)) {
    if (IsObjInProject(PackNumber, objPack, fromFolder, fromInsArcPrj, *p)) p->Delete();
  } else if (IsObjInProject(PackNumber, objPack, fromFolder, fromInsArcPrj, *p)) {
    EditLink(*p, PackNumber, objPack, toFolder, toInsArcPrj);
  }
}

void RemovePack(DataCursor& DataPacks, DataCursor& DataTb1, DataCursor& DataRules, const std::u16string& newFolder,
                bool newInsArcPrj) {
  dao::Recordset& packs = Need(DataPacks.Recordset());
  const int32_t N = NullConvLng(packs.GetField(u"N"));
  const std::u16string oldFolder = NullConvStr(packs.GetField(u"Project"));
  const bool oldArc = NullConvBool(packs.GetField(u"InsArcPrj"));
  if (SamePlace(oldFolder, oldArc, newFolder, newInsArcPrj)) return;
  // The pack's own link row, written as a pack link.
  detail::Step([&] {
    RemovePack2(N, oldFolder, oldArc, newFolder, newInsArcPrj);
    DataPacks.Refresh();
  });
  // Its letters and its rules, row by row from the last; a row set without these columns
  // fails here and leaves the rest done.
  const auto moveRows = [&](DataCursor& cursor, const std::u16string& source) {
    detail::Step([&] {
      cursor.SetDatabaseName(module1::GetEmailDbPath());
      cursor.SetRecordSource(source);
      cursor.Refresh();
      dao::Recordset& rs = Need(cursor.Recordset());
      if (!Empty(rs)) {
        rs.MoveLast();
        while (!rs.Bof()) {
          rs.Edit();
          rs.SetField(u"Project", Value(newFolder));
          rs.SetField(u"InsArcPrj", Value(newInsArcPrj));
          rs.Update();
          rs.MovePrevious();
        }
      }
      cursor.Refresh();
    });
  };
  moveRows(DataTb1, store::GetPackMsgRecordSource(N, ShowAll, false));
  moveRows(DataRules, GetRulesRecordsource2(intoPack, Num(N), false));
}

// ---- Archive ----------------------------------------------------------------------------

void ArcPrjOp(DataCursor& Data1, const std::u16string& FieldName) {
  dao::Recordset& rs = Need(Data1.Recordset());
  rs.Edit();
  const bool arc = NullConvBool(rs.GetField(u"InsArcPrj"));
  const std::u16string project = CheckedOtherSide(NullConvStr(rs.GetField(FieldName)), arc);
  rs.SetField(u"InsArcPrj", Value(!arc));
  rs.SetField(FieldName, Value(project));
  rs.Update();
  Data1.Refresh();
}

void ArcPrjOp2(int32_t Obj_ID, int32_t ObjType, const std::u16string& fromFolder, bool fromInsArcPrj,
               int32_t fromPackNumber) {
  const std::u16string target = CheckedOtherSide(fromFolder, fromInsArcPrj);
  if (ObjType == objLetter)
    RemoveLetter(Obj_ID, fromFolder, fromInsArcPrj, fromPackNumber, target, !fromInsArcPrj, 0);
  else if (ObjType == objPack)
    RemovePack2(Obj_ID, fromFolder, fromInsArcPrj, target, !fromInsArcPrj);
}

void ArcPrjOpPack(DataCursor& DataPacks, DataCursor& DataTb1, DataCursor& DataRules) {
  auto rs = DataPacks.Recordset();
  if (!rs || rs->AbsolutePosition() == -1) return;
  const std::u16string project = NullConvStr(rs->GetField(u"Project"));
  const bool arc = NullConvBool(rs->GetField(u"InsArcPrj"));
  RemovePack(DataPacks, DataTb1, DataRules, CheckedOtherSide(project, arc), !arc);
}

// ---- The host's copies, moves and deletions ------------------------------------------------

void FolderCopied(const std::u16string& fromProject, const std::u16string& toProject, bool fromInsArcPrj,
                  bool toInsArcPrj) {
  if (Blank(fromProject) || Blank(toProject)) return;
  auto db = OpenDb();
  auto src = db->OpenRecordset(SubtreeStatement(fromProject, fromInsArcPrj), dao::dbOpenDynaset);
  auto dst = db->OpenRecordset(SubtreeStatement(toProject, toInsArcPrj), dao::dbOpenDynaset);
  int32_t count = 0;
  if (!Empty(*src)) {
    src->MoveLast();
    count = src->RecordCount();
  }
  CurrentInteraction().MsgBox(Num(count), mb::kOKOnly, u"");
  {
    detail::CommittedTransaction keep;
    for (int32_t left = count; left > 0; --left) {
      detail::Step([&] {
        const std::u16string project = NullConvStr(src->GetField(u"Project"));
        if (Blank(project)) return;
        const std::u16string rel = RelativeToFolder(project, fromProject);
        const std::u16string target = rel.empty() ? toProject : toProject + u"\\" + rel;
        const int32_t id = NullConvLng(src->GetField(u"Obj ID"));
        const int32_t type = NullConvLng(src->GetField(u"ObjType"));
        if (!IsObjInProject(id, type, target, toInsArcPrj, *dst)) AddLink(*dst, id, type, target, toInsArcPrj);
      });
      if (left > 1) src->MovePrevious();
    }
  }
  src->Close();
  dst->Close();
  db->Close();
}

void ChangeProjectRefs(int32_t operation, const std::u16string& old, const std::u16string& argument,
                       bool oldInsArcPrj, bool newInsArcPrj) {
  auto db = OpenDb();
  const std::u16string dbPath = module1::GetEmailDbPath();
  auto links = db->OpenRecordset(SubtreeStatement(old, oldInsArcPrj), dao::dbOpenDynaset);
  auto rules = db->OpenRecordset(GetRulesRecordsource2(InsCurPrj1, old, oldInsArcPrj), dao::dbOpenDynaset);
  const auto closeAll = [&] {
    links->Close();
    rules->Close();
    db->Close();
  };
  const auto fromLast = [](dao::Recordset& rs, auto&& each) {
    if (Empty(rs)) return;
    rs.MoveLast();
    for (int32_t left = rs.RecordCount(); left > 0; --left) {
      detail::Step([&] { each(rs); });
      if (left > 1) rs.MovePrevious();
    }
  };
  detail::CommittedTransaction keep;
  if (operation == 3) {
    const auto Shift = static_cast<int16_t>(Val(argument));
    if (Shift == 0) return closeAll();
    auto letters = db->OpenRecordset(
        store::GetRecordSource(store::FieldsOf(dbPath), u"dddd", old, AllmFolders | InsCurPrj, u"DateReceived",
                               oldInsArcPrj),
        dao::dbOpenSnapshot);
    std::vector<std::pair<int32_t, std::u16string>> doomed;
    fromLast(*letters, [&](dao::Recordset& rs) {
      doomed.emplace_back(NullConvLng(rs.GetField(u"key")), NullConvStr(rs.GetField(u"Project")));
    });
    letters->Close();
    for (const auto& [key, project] : doomed)
      detail::Step([&] { store::DeleteLetter2(key, project, oldInsArcPrj, 0, Shift); });
    auto packs = db->OpenRecordset(
        store::GetPacksRecordSource(store::FieldsOf(dbPath), old, InsCurPrj, false, oldInsArcPrj),
        dao::dbOpenSnapshot);
    std::vector<std::pair<int32_t, std::u16string>> packsDoomed;
    fromLast(*packs, [&](dao::Recordset& rs) {
      packsDoomed.emplace_back(NullConvLng(rs.GetField(u"N")), NullConvStr(rs.GetField(u"Project")));
    });
    packs->Close();
    for (const auto& [n, project] : packsDoomed)
      detail::Step([&] {
        std::u16string p = project;
        bool arc = oldInsArcPrj;
        DeletePack2(n, p, arc, Shift);
      });
    fromLast(*rules, [](dao::Recordset& rs) { rs.Delete(); });
    return closeAll();
  }
  if (operation == 1) {
    auto target = db->OpenRecordset(SubtreeStatement(argument, newInsArcPrj), dao::dbOpenDynaset);
    const auto moved = [&](const std::u16string& path) {
      return Replace(path, old, argument, 1, 1, Compare::Text);
    };
    fromLast(*links, [&](dao::Recordset& rs) {
      const std::u16string now = moved(NullConvStr(rs.GetField(u"Project")));
      const int32_t id = NullConvLng(rs.GetField(u"Obj ID"));
      const int32_t type = NullConvLng(rs.GetField(u"ObjType"));
      if (IsObjInProject(id, type, now, newInsArcPrj, *target)) {
        rs.Delete();
        return;
      }
      rs.Edit();
      rs.SetField(u"Project", Value(now));
      rs.SetField(u"InsArcPrj", Value(newInsArcPrj));
      rs.Update();
    });
    fromLast(*rules, [&](dao::Recordset& rs) {
      rs.Edit();
      rs.SetField(u"Folder", Value(moved(NullConvStr(rs.GetField(u"Folder")))));
      rs.SetField(u"InsArcPrj", Value(newInsArcPrj));
      rs.Update();
    });
    target->Close();
  }
  closeAll();
}

void rProjectMoved(const std::u16string& oldrProject, const std::u16string& newrProject, bool oldInsArcPrj,
                   bool newInsArcPrj) {
  if (SamePlace(oldrProject, oldInsArcPrj, newrProject, newInsArcPrj)) return;
  ChangeProjectRefs(1, oldrProject, newrProject, oldInsArcPrj, newInsArcPrj);
}

void rProjectDeleted(const std::u16string& rProject, bool InsArcPrj, int16_t Shift) {
  ChangeProjectRefs(3, rProject, Num(Shift), InsArcPrj, InsArcPrj);
}

// ---- Lists ------------------------------------------------------------------------------

void FillLvwPrj(int32_t id, int32_t type, ListView& LvwPrj) {
  LvwPrj.Clear();
  auto db = OpenDb();
  auto rs = db->OpenRecordset(u"Select * from Projects" + std::u16string(u" Where [Obj ID]=") + Num(id) +
                                  u" AND ObjType=" + Num(type) + u" ;",
                              dao::dbOpenSnapshot);
  while (!rs->Eof()) {
    const std::u16string project = NullConvStr(rs->GetField(u"Project"));
    if (!project.empty()) {
      const std::u16string icon = NullConvBool(rs->GetField(u"InsArcPrj")) ? u"Archive" : u"Prj";
      LvwPrj.Add({project, {}, {}, {}, icon, icon, {}});
    }
    rs->MoveNext();
  }
  rs->Close();
  db->Close();
}

void FillLvwPacks(int32_t msgN, ListView& LvwPacks) {
  LvwPacks.Clear();
  auto db = OpenDb();
  auto rs = db->OpenRecordset(u" Select * " + std::u16string(u" From PackItems,Packs ") + u" Where Msg_N=" +
                                  Num(msgN) + u" and PackItems.Pack_N=Packs.N ;",
                              dao::dbOpenSnapshot);
  while (!rs->Eof()) {
    LvwPacks.Add({NullConvStr(rs->GetField(u"Name")), {}, Num(NullConvLng(rs->GetField(u"Pack_N"))), {}, u"Pack",
                  u"Pack", {}});
    rs->MoveNext();
  }
  rs->Close();
  db->Close();
}

void SaveLvwPrj(dao::Recordset& RsP, ListView& LvwPrj, int32_t id, int32_t type) {
  DeleteRows(RsP);
  for (const ListItem& item : LvwPrj.Items()) {
    // The list's keys are "Prj" and "Archive": this test is false for every item, and a
    // saved list comes back on the live side. Hosts rely on that outcome.
    AddLink(RsP, id, type, item.Text, item.Icon == u"ArcProjects");
  }
}

void SaveLvwPacks(dao::Recordset& RSPI, ListView& LvwPacks, int32_t msgN) {
  DeleteRows(RSPI);
  for (const ListItem& item : LvwPacks.Items()) {
    RSPI.AddNew();
    RSPI.SetField(u"Msg_N", Value(msgN));
    RSPI.SetField(u"Pack_N", Value(static_cast<int32_t>(Val(item.Tag))));
    RSPI.Update();
  }
}

void AlltbPrj_ButtonClick(const std::u16string& Button, ListView& LvwPrj, bool InsArcPrj) {
  if (Button == u"Add") {
    bool side = InsArcPrj;
    std::u16string start = SharedArcPrj().GetRootPath(InsArcPrj);
    const std::u16string root = GetHarbourRoot(side, start);
    auto chosen = CurrentInteraction().ChooseFolder(
        module1::GetMUIString(u"Module1.AlltbPrj_ButtonClick", u"Title", u"Choosing a component project"), root,
        side);
    if (!chosen || Blank(*chosen) || LvwPrj.FindText(*chosen)) return;
    LvwPrj.Add({*chosen, {}, {}, {}, u"Prj", u"Prj", {}});
  } else if (Button == u"Del") {
    if (auto s = LvwPrj.Selected()) LvwPrj.Remove(*s);
  } else if (Button == u"InsArcPrj") {
    auto s = LvwPrj.Selected();
    if (!s) return;
    ListItem& item = LvwPrj.Item(*s);
    const bool arc = item.Icon == u"Archive";
    item.Text = CheckedOtherSide(item.Text, arc);
    item.Icon = item.SmallIcon = arc ? u"Prj" : u"Archive";
  }
}

void AllLvwPrj_ItemClick(ListView& LvwPrj, ToolbarButton& ArchiveButton) {
  auto s = LvwPrj.Selected();
  if (!s) return;
  const std::u16string section = u"Module1.AllLvwPrj_ItemClick";
  const bool arc = LvwPrj.Item(*s).Icon == u"Archive";
  ArchiveButton.ToolTipText = arc ? module1::GetMUIString(section, u"tbPrjBtInsArcPrjTT1", u"Restore from Archive")
                                  : module1::GetMUIString(section, u"tbPrjBtInsArcPrjTT2", u"Send to Archive");
  if (ArchiveButton.ShowsText)
    ArchiveButton.Caption = arc ? module1::GetMUIString(section, u"tbPrjBtInsArcPrj1", u"from Archive")
                                : module1::GetMUIString(section, u"tbPrjBtInsArcPrj2", u"to Archive");
}

void tbPrj_ButtonClick(const std::u16string& Button, ListView& LvwPrj, int32_t msgN) {
  AlltbPrj_ButtonClick(Button, LvwPrj);
  auto db = OpenDb();
  auto rs = db->OpenRecordset(store::GetDataPrjRS(msgN, objLetter), dao::dbOpenDynaset);
  SaveLvwPrj(*rs, LvwPrj, msgN, objLetter);
  rs->Close();
  db->Close();
}

int32_t tbPacks_ButtonClick(const std::u16string& Button, ListView& LvwPacks, int32_t msgN) {
  if (Button == u"Add") {
    int32_t pack = 0;
    std::u16string name;
    std::u16string project;
    bool arc = false;
    if (!SelectPack2(pack, project, arc, Allmsg, true, nullptr, &name) || pack < 1) return 0;
    for (const ListItem& item : LvwPacks.Items())
      if (Val(item.Tag) == pack) return 0;
    LvwPacks.Add({name, {}, Num(pack), {}, u"Pack", u"Pack", {}});
    if (msgN > 0) pCopyLetter(msgN, u"", false, pack);
  } else if (Button == u"Del") {
    auto s = LvwPacks.Selected();
    if (LvwPacks.Count() == 0 || !s) return 0;
    const auto pack = static_cast<int32_t>(Val(LvwPacks.Item(*s).Tag));
    LvwPacks.Remove(*s);
    if (msgN > 0) {
      Held items(nullptr, store::GetPackItemsRSbyLetter(msgN));
      if (IsLetterInPack(msgN, pack, *items)) items->Delete();
    }
  } else if (Button == u"Prop") {
    auto s = LvwPacks.Selected();
    if (LvwPacks.Count() > 0 && s) return static_cast<int32_t>(Val(LvwPacks.Item(*s).Tag));
  }
  return 0;
}

}  // namespace ravelin::packs
