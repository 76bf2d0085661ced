// The life of a pack: creation, properties, listing, recycle bin, deletion, dissolving.
#include "packs/packs.h"

#include <set>
#include <vector>

#include "formats/mime_parser.h"
#include "packs/rules.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/delete_restore.h"
#include "store/record_sources.h"

namespace ravelin::packs {

using detail::DeleteRows;
using detail::Empty;
using detail::Num;
using detail::OpenDb;
using store::detail::Need;

namespace {

void TellNotFound(const std::u16string& section, const std::u16string& key, int32_t N) {
  WideMsgBox(module1::GetMUIStringF(section, key, u"The pack \u2116%1 was not found in database", {Num(N)}),
             mb::kCritical);
}

// Positions a Packs recordset on N; false when it isn't there.
bool FindPack(dao::Recordset& rs, int32_t N) {
  if (Empty(rs)) return false;
  rs.FindFirst(u"N=" + Num(N));
  return !rs.NoMatch();
}

// The Packs table positioned on pack N; null, after telling the user under section/key,
// when there is no such pack.
std::shared_ptr<dao::Recordset> OpenPackRow(dao::Database& db, int32_t N, const std::u16string& section,
                                            const std::u16string& key) {
  auto packs = db.OpenRecordset(u"Packs", dao::dbOpenDynaset);
  if (FindPack(*packs, N)) return packs;
  TellNotFound(section, key, N);
  packs->Close();
  return nullptr;
}

// Rows of a statement deleted from the last to the first.
void DeleteAll(dao::Database& db, const std::u16string& source) {
  auto rs = db.OpenRecordset(source, dao::dbOpenDynaset);
  DeleteRows(*rs);
  rs->Close();
}

std::u16string PackLinks(int32_t N) {
  return u"Select * from Projects Where [Obj ID]=" + Num(N) + u" And ObjType=1";
}

std::u16string PackLetters(int32_t N) {
  return u"Select * from Letters Where key in (Select Msg_N from PackItems Where Pack_N=" + Num(N) + u");";
}

// Every letter of the pack to "Recycle", remembering its folder.
void LettersToRecycle(dao::Database& db, int32_t N) {
  auto rs = db.OpenRecordset(PackLetters(N), dao::dbOpenDynaset);
  detail::CommittedTransaction keep;
  while (!rs->Eof()) {
    detail::Step([&] {
      const Value old = rs->GetField(u"MailFolder");
      rs->Edit();
      rs->SetField(u"MailFolder", Value(u"Recycle"));
      rs->SetField(u"OldMailFolder", old);
      rs->Update();
    });
    rs->MoveNext();
  }
  rs->Close();
}

std::set<std::pair<std::u16string, bool>> ListedProjects(ListView& lvw) {
  std::set<std::pair<std::u16string, bool>> s;
  for (const ListItem& i : lvw.Items()) s.insert({FoldCase(i.Text), i.Icon == u"Archive"});
  return s;
}

int32_t CursorPack(DataCursor& cursor) { return NullConvLng(Need(cursor.Recordset()).GetField(u"N")); }

}  // namespace

PackPropertyWindow& SharedPackPropertyWindow() {
  static auto* w = new PackPropertyWindow();  // one default instance for the process
  return *w;
}

int32_t CreatePack(const std::u16string& name, const std::u16string& rProject, bool InsArcPrj) {
  auto db = OpenDb();
  auto packs = db->OpenRecordset(u"Packs", dao::dbOpenDynaset);
  packs->AddNew();
  const int32_t N = NullConvLng(packs->GetField(u"N"));
  packs->SetField(u"Name", Value(name));
  packs->Update();
  if (!rProject.empty()) {
    auto links = db->OpenRecordset(u"Projects", dao::dbOpenDynaset);
    links->AddNew();
    links->SetField(u"Obj ID", Value(N));
    links->SetField(u"ObjType", Value(1));
    links->SetField(u"Project", Value(rProject));
    links->SetField(u"InsArcPrj", Value(InsArcPrj));
    links->Update();
    links->Close();
  }
  packs->Close();
  db->Close();
  static const std::u16string kNavigation[] = {u"DirUp", u"Root",  u"Prj",         u"ArcPrj",
                                               u"CloseFold", u"Pack", u"ReturnFolder"};
  for (const std::u16string& key : CurrentInteraction().SelectLetters(rProject, InsArcPrj)) {
    bool nav = false;
    for (const auto& k : kNavigation) nav = nav || key == k;
    const double msgN = Val(key);
    if (nav || msgN < 1) continue;
    pCopyLetter(static_cast<int32_t>(msgN), rProject, InsArcPrj, N);
  }
  return N;
}

int32_t NewPack(const std::u16string& rProject, bool InsArcPrj, bool UseDefPar, const ListItem* defListItem) {
  if (!UseDefPar) {
    auto answer = CurrentInteraction().InputBox(
        module1::GetMUIString(u"Ravelin.NewPack", u"pmt1", u"Enter the name pack"),
        module1::GetMUIString(u"Ravelin.NewPack", u"tl1", u"Creating a pack"), u"");
    const std::u16string name = Trim(answer.value_or(u""));
    if (name.empty()) return 0;
    return CreatePack(name, rProject, InsArcPrj);
  }
  // The pack is defined in the property window, prefilled from the list item.
  auto db = OpenDb();
  auto packs = db->OpenRecordset(u"Packs", dao::dbOpenDynaset);
  packs->AddNew();
  const int32_t N = NullConvLng(packs->GetField(u"N"));
  PackPropertyWindow& frm = SharedPackPropertyWindow();
  frm.txtName = frm.txtPackComments = defListItem ? defListItem->Text : u"";
  frm.txtSender = frm.txtSenderName = u"";
  if (defListItem && !defListItem->SubItems.empty()) {
    frm.txtSenderName = GetName(defListItem->SubItems.front().Text);
    frm.txtSender = GetEmail(defListItem->SubItems.front().Text);
  }
  frm.chkSender = !frm.txtSender.empty();
  frm.chkSenderName = !frm.txtSenderName.empty();
  frm.DataRules.SetDatabaseName(module1::GetEmailDbPath());
  frm.DataRules.SetConnect(u"Access");
  frm.DataRules.SetRecordSource(GetRulesRecordsource2(intoPack, Num(N), InsArcPrj));
  frm.DataRules.Refresh();
  frm.LvwPrj.Clear();
  if (!rProject.empty()) {
    const std::u16string icon = InsArcPrj ? u"Archive" : u"Prj";
    frm.LvwPrj.Add({rProject, {}, {}, {}, icon, icon, {}});
  }
  if (!frm.Show() || Trim(frm.txtName).empty()) {
    packs->CancelUpdate();
    packs->Close();
    db->Close();
    return 0;
  }
  packs->SetField(u"Name", Value(Trim(frm.txtName)));
  packs->SetField(u"Comments", Value(frm.txtPackComments));
  packs->Update();
  auto links = db->OpenRecordset(PackLinks(N), dao::dbOpenDynaset);
  SaveLvwPrj(*links, frm.LvwPrj, N, objPack);
  links->Close();
  packs->Close();
  db->Close();
  for (const std::u16string& key : CurrentInteraction().SelectLetters(rProject, InsArcPrj))
    if (Val(key) >= 1) pCopyLetter(static_cast<int32_t>(Val(key)), rProject, InsArcPrj, N);
  return N;
}

bool ChangePackProperty(int32_t N, bool* FolderChanged) {
  PackPropertyWindow& frm = SharedPackPropertyWindow();
  {
    auto db = OpenDb();
    auto packs = db->OpenRecordset(u"Select * from Packs Where N=" + Num(N) + u";", dao::dbOpenSnapshot);
    if (Empty(*packs)) {
      TellNotFound(u"Ravelin.PackPropertyUpdate", u"msg", N);
      return false;
    }
    frm.txtName = NullConvStr(packs->GetField(u"Name"));
    frm.txtPackComments = NullConvStr(packs->GetField(u"Comments"));
    packs->Close();
    db->Close();
  }
  FillLvwPrj(N, objPack, frm.LvwPrj);
  frm.DataRules.SetDatabaseName(module1::GetEmailDbPath());
  frm.DataRules.SetRecordSource(GetRulesRecordsource2(intoPack, Num(N), false));
  frm.DataRules.Refresh();
  const auto before = ListedProjects(frm.LvwPrj);
  if (!frm.Show()) {
    if (FolderChanged) *FolderChanged = false;
    return false;
  }
  if (FolderChanged) *FolderChanged = ListedProjects(frm.LvwPrj) != before;
  PackPropertyUpdate(N, frm);
  return true;
}

void PackPropertyUpdate(int32_t N, PackPropertyWindow& frm) {
  auto db = OpenDb();
  auto packs = OpenPackRow(*db, N, u"Ravelin.PackPropertyUpdate", u"msg");
  if (!packs) {
    db->Close();
    return;
  }
  packs->Edit();
  packs->SetField(u"Name", Value(frm.txtName));
  packs->SetField(u"Comments", Value(frm.txtPackComments));
  packs->Update();
  auto links = db->OpenRecordset(PackLinks(N), dao::dbOpenDynaset);
  SaveLvwPrj(*links, frm.LvwPrj, N, objPack);
  links->Close();
  packs->Close();
  db->Close();
}

int32_t RereadPacksData2(dao::Recordset& Rs, ListView& Listview1, int32_t ShowDeleted, StatusBar* StatusBar1,
                         LoopEvents* events) {
  const std::u16string section = u"Ravelin.RereadPacksData2";
  const std::optional<int32_t> folderColumn = Listview1.ColumnIndex(u"Folder");
  const std::u16string status = module1::GetMUIString(section, u"txt1", u"Enumeration of packs ...");
  if (StatusBar1) StatusBar1->SetText(status);
  if (events) events->Status(status);
  const std::u16string defaultName = module1::GetMUIString(section, u"txt2", u"Pack of letters") + u" ";
  int32_t total = 0;
  if (!Empty(Rs)) {
    Rs.MoveLast();
    total = Rs.RecordCount();
    Rs.MoveFirst();
  }
  const bool redraw = Listview1.AutoRedraw();
  if (total > 0 && redraw) Listview1.SetAutoRedraw(false);
  const std::u16string dbPath = module1::GetEmailDbPath();
  int32_t listed = 0, done = 0;
  while (!Rs.Eof()) {
    detail::Step([&] {
      std::u16string name = defaultName;
      detail::Step([&] { name = NullConvStr(Rs.GetField(u"Name")); });
      const int32_t N = NullConvLng(Rs.GetField(u"N"));
      if (ShowDeleted == DeletedOnly && !NullConvBool(Rs.GetField(u"Deleted")) &&
          store::DeletedMsgCount(dbPath, N) == 0)
        return;
      ListItem item;
      item.Text = name;
      if (Listview1.HasIcons()) item.Icon = item.SmallIcon = u"Pack";
      item.Tag = Num(N);
      item.ToolTipText = NullConvStr(Rs.GetField(u"Comments"));
      // The project goes under the "Folder" column, its side in that sub-item's tag.
      if (folderColumn && *folderColumn > 0) {
        item.SubItems.resize(static_cast<size_t>(*folderColumn));
        detail::Step([&] {
          item.SubItems.back() = {NullConvStr(Rs.GetField(u"Project")),
                                  strBoolean(NullConvBool(Rs.GetField(u"InsArcPrj")) ? kTrue : kFalse)};
        });
      }
      Listview1.Add(std::move(item));
      ++listed;
    });
    Rs.MoveNext();
    ++done;
    if (events) {
      events->Progress(done, 0, total);
      if (events->Yield()) break;
    }
  }
  if (total > 0 && redraw) Listview1.SetAutoRedraw(true);
  if (StatusBar1) StatusBar1->SetText(module1::GetMUIString(section, u"txt3", u"Total packages:") + u" " + Num(listed));
  if (events) events->Status(u"");
  return listed;
}

int32_t DeletePack2(int32_t Pack_N, std::u16string& rProject, bool& InsArcPrj, int16_t Shift) {
  auto db = OpenDb();
  auto packs = OpenPackRow(*db, Pack_N, u"Ravelin.DeletePack2", u"msg");
  if (!packs) {
    db->Close();
    return 0;
  }
  if (Shift == 0) {
    LettersToRecycle(*db, Pack_N);
    packs->Edit();
    packs->SetField(u"Deleted", Value(true));
    packs->Update();
    packs->Close();
    db->Close();
    return 0;
  }
  auto links = db->OpenRecordset(PackLinks(Pack_N), dao::dbOpenDynaset);
  if (!rProject.empty() && !Empty(*links)) {
    links->FindFirst(u"Project=\"" + rProject + u"\" and InsArcPrj=" + strBoolean(InsArcPrj ? kTrue : kFalse));
    if (!links->NoMatch()) links->Delete();
  }
  links->Close();
  const int32_t left = store::detail::CountRows(*db, PackLinks(Pack_N));
  if (left > 0) {
    packs->Close();
    db->Close();
    return left;
  }
  // The last link: the letters lose this pack (and go when nothing else holds them).
  std::vector<int32_t> letters;
  {
    auto items = db->OpenRecordset(u"Select Msg_N from PackItems Where Pack_N=" + Num(Pack_N) + u";",
                                   dao::dbOpenSnapshot);
    while (!items->Eof()) {
      letters.push_back(NullConvLng(items->GetField(u"Msg_N")));
      items->MoveNext();
    }
    items->Close();
  }
  {
    detail::CommittedTransaction keep;
    for (auto it = letters.rbegin(); it != letters.rend(); ++it)
      detail::Step([&] { store::DeleteLetter2(*it, u"", false, Pack_N, Shift); });
  }
  DeletePackRules(Pack_N);
  if (FindPack(*packs, Pack_N)) packs->Delete();
  packs->Close();
  db->Close();
  return 0;
}

void DelPackIntoRecycleBin(DataCursor& DataPacks) {
  auto rs = DataPacks.Recordset();
  if (!rs || Empty(*rs)) return;
  std::u16string project = NullConvStr(rs->GetField(u"Project"));
  bool arc = NullConvBool(rs->GetField(u"InsArcPrj"));
  DeletePack2(NullConvLng(rs->GetField(u"N")), project, arc, 0);
}

void DeletePack(DataCursor& DataPacks) {
  auto rs = DataPacks.Recordset();
  if (!rs || Empty(*rs)) return;
  std::u16string project = NullConvStr(rs->GetField(u"Project"));
  bool arc = NullConvBool(rs->GetField(u"InsArcPrj"));
  DeletePack2(NullConvLng(rs->GetField(u"N")), project, arc, 1);
}

void DeletePackRules(int32_t PackNumber) {
  auto db = OpenDb();
  DeleteAll(*db, GetRulesRecordsource2(intoPack, Num(PackNumber), false));
  db->Close();
}

void DeletePackRules(DataCursor& DataRules, int32_t PackNumber) {
  DeletePackRules(PackNumber);
  DataRules.Refresh();
}

void RestorePack2(int32_t PackNumber) {
  auto db = OpenDb();
  auto packs = OpenPackRow(*db, PackNumber, u"Ravelin.RestorePack2", u"msg1");
  if (!packs) {
    db->Close();
    return;
  }
  auto letters = db->OpenRecordset(PackLetters(PackNumber), dao::dbOpenDynaset);
  {
    detail::CommittedTransaction keep;
    if (!Empty(*letters)) {
      letters->MoveLast();
      for (int32_t left = letters->RecordCount(); left > 0; --left) {
        std::u16string folder = NullConvStr(letters->GetField(u"OldMailFolder"));
        if (folder.empty()) {
          auto answer = CurrentInteraction().InputBox(
              module1::GetMUIString(u"Ravelin.RestorePack2", u"pmt1",
                                    u"Enter the name of mail folder that you want to put a message"),
              u"", u"Inbox");
          folder = answer.value_or(u"");
          // No answer ends the whole restore: what is done stays, the pack stays deleted.
          if (folder.empty()) {
            letters->Close();
            packs->Close();
            db->Close();
            return;
          }
        }
        detail::Step([&] {
          letters->Edit();
          letters->SetField(u"MailFolder", Value(folder));
          letters->SetField(u"OldMailFolder", Value());
          letters->Update();
        });
        if (left > 1) letters->MovePrevious();
      }
    }
  }
  letters->Close();
  packs->Edit();
  packs->SetField(u"Deleted", Value(false));
  packs->Update();
  packs->Close();
  db->Close();
}

void RestorePack(DataCursor& DataPacks) { RestorePack2(CursorPack(DataPacks)); }

void ReDistrPack(int32_t N) {
  auto db = OpenDb();
  std::u16string source;
  bool sourceArc = false;
  {
    std::shared_ptr<dao::Recordset> items, links;
    int32_t count = 0;
    // An unreadable pack is dissolved as one without letters or links.
    detail::Step([&] {
      items = db->OpenRecordset(u"Select * from PackItems Where Pack_N=" + Num(N) + u";", dao::dbOpenDynaset);
      links = db->OpenRecordset(u"Select * from Projects Where [Obj ID]=" + Num(N) + u" and ObjType=1;",
                                dao::dbOpenDynaset);
      if (!Empty(*items)) {
        items->MoveLast();
        count = items->RecordCount();
      }
    });
    if (links && !Empty(*links)) {
      source = NullConvStr(links->GetField(u"Project"));
      sourceArc = NullConvBool(links->GetField(u"InsArcPrj"));
    }
    detail::CommittedTransaction keep;
    for (int32_t left = count; left > 0; --left) {
      detail::Step([&] {
        RemoveLetter(NullConvLng(items->GetField(u"Msg_N")), source, sourceArc, N, u"", false, 0);
      });
      // The item is usually gone with the move already; what is left of it goes here.
      detail::Step([&] { items->Delete(); });
      if (left > 1) detail::Step([&] { items->MovePrevious(); });
    }
    db->Recordsets().Refresh();
    if (items) items->Close();
    if (links) links->Close();
  }
  DeletePackRules(N);
  auto packs = OpenPackRow(*db, N, u"Ravelin.ReDistrPack", u"msg");
  if (!packs) {
    db->Close();
    return;
  }
  packs->Delete();
  packs->Close();
  DeleteAll(*db, PackLinks(N));
  db->Recordsets().Refresh();
  db->Close();
}

void ReDistrPack(DataCursor& DataPacks) {
  const int32_t N = CursorPack(DataPacks);
  if (N <= 0) return;
  ReDistrPack(N);
  DataPacks.Refresh();
}

bool SelectPack2(int32_t& PackNumber, const std::u16string& rProject, bool InsArcPrj, int32_t prjFiltr,
                 bool ShowCancelButton, StatusBar* StatusBar1, std::u16string* PackName) {
  auto choice = CurrentInteraction().SelectPack(rProject, InsArcPrj, prjFiltr, ShowCancelButton);
  if (!choice || choice->PackNumber < 1) return false;
  PackNumber = choice->PackNumber;
  if (PackName) *PackName = choice->PackName;
  return true;
}

}  // namespace ravelin::packs
