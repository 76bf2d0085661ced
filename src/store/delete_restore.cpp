// Deleting letters to the recycle folder or out of the store, and restoring them.
#include "store/delete_restore.h"

#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/resume.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin::store {

using detail::CountRows;
using detail::Need;
using detail::OpenMailDatabase;

namespace {

std::u16string Num(int64_t n) { return NumToText(static_cast<double>(n)); }

void TellNotFound(const std::u16string& section, int32_t msgN) {
  WideMsgBox(module1::GetMUIStringF(section, u"msg", u"The letter \u2116%1 was not found in database", {Num(msgN)}),
             mb::kCritical);
}

// Each step below opens and closes its own connection, as the letter's own recordset
// stays open on the caller's.

int32_t CountProjectLinks(int32_t msg) {
  auto db = OpenMailDatabase();
  const int32_t n = CountRows(*db, GetDataPrjRS(msg, objLetter));
  db->Close();
  return n;
}

int32_t CountPackLinks(int32_t msg) {
  auto db = OpenMailDatabase();
  const int32_t n = CountRows(*db, GetPackItemsRSbyLetter(msg));
  db->Close();
  return n;
}

// Deletes the first row of `source` that meets `criteria` (none when no row does), and
// returns the rows of `source` left.
int32_t RemoveOneLink(const std::u16string& source, const std::u16string& criteria) {
  auto db = OpenMailDatabase();
  auto rs = db->OpenRecordset(source, dao::dbOpenDynaset);
  if (!(rs->Bof() && rs->Eof())) {
    rs->MoveFirst();
    rs->FindFirst(criteria);
    if (!rs->NoMatch()) rs->Delete();
  }
  rs->Close();
  db->Recordsets().Refresh();
  const int32_t n = CountRows(*db, source);
  db->Close();
  return n;
}

int32_t RemoveProjectLink(int32_t msg, const std::u16string& rProject, bool InsArcPrj) {
  if (Trim(rProject).empty()) return CountProjectLinks(msg);
  // Project paths are quoted as they are; one with a '"' gives criteria the engine refuses.
  return RemoveOneLink(GetDataPrjRS(msg, objLetter), u"Project=\"" + rProject + u"\" and InsArcPrj=" +
                                                         strBoolean(InsArcPrj ? kTrue : kFalse));
}

int32_t RemovePackLink(int32_t msg, int32_t Pack_N) {
  if (Pack_N == 0) return CountPackLinks(msg);
  return RemoveOneLink(GetPackItemsRSbyLetter(msg), u"Pack_N=" + Num(Pack_N) + u" and Msg_N=" + Num(msg));
}

// Deletes every row of `source`, from the last to the first.
void EraseAll(const std::u16string& source) {
  auto db = OpenMailDatabase();
  auto rs = db->OpenRecordset(source, dao::dbOpenDynaset);
  if (!(rs->Bof() && rs->Eof())) {
    rs->MoveLast();
    int32_t left = rs->RecordCount();
    while (left-- > 0) {
      rs->Delete();
      if (left > 0) rs->MovePrevious();
    }
  }
  rs->Close();
  db->Close();
}

void MoveToRecycle(dao::Recordset& rsL) {
  const Value old = rsL.GetField(u"MailFolder");
  rsL.Edit();
  rsL.SetField(u"MailFolder", Value(u"Recycle"));
  rsL.SetField(u"OldMailFolder", old);
  rsL.Update();
}

int32_t CursorKey(DataCursor& cursor) { return NullConvLng(Need(cursor.Recordset()).GetField(u"key")); }

}  // namespace

bool SetDataLettersPointer(dao::Recordset& rs, int32_t msgN) {
  return Protected(u"Module1.SetDataLettersPointer", false, [&] {
    if (rs.Bof() && rs.Eof()) return false;  // nothing to find is not a failure
    rs.MoveFirst();
    rs.FindFirst(u"[key]=" + Num(msgN));
    return !rs.NoMatch();
  });
}

bool SetDataPacksPointer(dao::Recordset& rs, int32_t N) {
  return Protected(u"Module1.SetDataPacksPointer", false, [&] {
    if (rs.Bof() && rs.Eof()) return false;  // nothing to find is not a failure
    rs.MoveFirst();
    rs.FindFirst(u"[N]=" + Num(N));
    return !rs.NoMatch();
  });
}

int32_t DeleteLetter2(int32_t Msg_N, const std::u16string& rProject, bool InsArcPrj, int32_t Pack_N, int16_t Shift) {
  auto db = OpenMailDatabase();
  auto rsL = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
  bool found = false;
  if (!(rsL->Bof() && rsL->Eof())) {
    rsL->MoveFirst();
    rsL->FindFirst(u"key=" + Num(Msg_N));
    found = !rsL->NoMatch();
  }
  if (!found) {
    TellNotFound(u"Ravelin.DeleteLetter2", Msg_N);
    db->Close();
    return 0;
  }
  if (Shift == 0) {
    MoveToRecycle(*rsL);
    db->Recordsets().Refresh();
    db->Close();
    return 0;
  }
  // A pack number names the link to remove even when a project is given too.
  const int32_t n = Pack_N != 0 ? CountProjectLinks(Msg_N) + RemovePackLink(Msg_N, Pack_N)
                                : CountPackLinks(Msg_N) + RemoveProjectLink(Msg_N, rProject, InsArcPrj);
  if (n < 1) {
    EraseAll(GetAttachRecordSource(Msg_N));
    rsL->Delete();
    db->Recordsets().Refresh();
  }
  db->Close();
  return n;
}

void DeleteLetter(DataCursor& DataLetters, DataCursor& DataAttach, int16_t Shift) {
  auto& cursorRs = Need(DataLetters.Recordset());
  if (cursorRs.RecordCount() == 0) return;
  const int32_t key = CursorKey(DataLetters);
  auto db = OpenMailDatabase();
  auto rsL = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
  bool found = false;
  if (!(rsL->Bof() && rsL->Eof())) {
    rsL->MoveFirst();
    rsL->FindFirst(u"key=" + Num(key));
    found = !rsL->NoMatch();
  }
  if (!found) {
    TellNotFound(u"Ravelin.DeleteLetter", key);
    db->Close();
    return;
  }
  if (Shift != 0) {
    // Removal from the window takes the letter out whatever links it has.
    rsL->Delete();
    db->Recordsets().Refresh();
    db->Close();
    EraseAll(GetDataPrjRS(key, objLetter));
    EraseAll(GetPackItemsRSbyLetter(key));
    EraseAll(GetAttachRecordSource(key));
  } else {
    MoveToRecycle(*rsL);
    db->Recordsets().Refresh();
    db->Close();
  }
  DataLetters.Refresh();
}

void RestoreLetter2(int32_t msgN, std::shared_ptr<dao::Recordset> Rs, std::shared_ptr<dao::Recordset> RSPI,
                    std::shared_ptr<dao::Recordset> RSPa) {
  std::shared_ptr<dao::Database> db;
  const bool ownRs = !Rs, ownPI = !RSPI, ownPa = !RSPa;
  const auto closeOwn = [&] {
    ResumeNext rn;
    rn([&] {
      if (ownPa && RSPa) RSPa->Close();
    });
    rn([&] {
      if (ownPI && RSPI) RSPI->Close();
    });
    rn([&] {
      if (ownRs && Rs) Rs->Close();
    });
    rn([&] {
      if (db) db->Close();
    });
  };
  try {
    if (ownRs || ownPI || ownPa) db = OpenMailDatabase();
    if (ownRs) Rs = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
    if (ownPI) RSPI = db->OpenRecordset(GetPackItemsRSbyLetter(msgN), dao::dbOpenDynaset);

    if (!SetDataLettersPointer(*Rs, msgN)) {
      TellNotFound(u"Ravelin.RestoreLetter2", msgN);
      closeOwn();
      return;
    }
    std::u16string folder = NullConvStr(Rs->GetField(u"OldMailFolder"));
    if (folder.empty()) {
      const auto answer = CurrentInteraction().InputBox(
          module1::GetMUIString(u"Ravelin.RestoreLetter2", u"pmt1",
                                u"Enter the name of mail folder that you want to put a message"),
          u"Ravelin", u"Inbox");
      if (!answer || answer->empty()) {
        closeOwn();
        return;
      }
      folder = *answer;
    }
    Rs->Edit();
    Rs->SetField(u"MailFolder", Value(folder));
    Rs->SetField(u"OldMailFolder", Value());
    Rs->Update();

    if (!(RSPI->Bof() && RSPI->Eof())) {
      RSPI->MoveLast();
      const int32_t count = RSPI->RecordCount();
      if (count > 0 && ownPa) RSPa = Need(db).OpenRecordset(u"Packs", dao::dbOpenDynaset);
      for (int32_t i = count; i >= 1; --i) {
        const int32_t pack = NullConvLng(RSPI->GetField(u"Pack_N"));
        if (SetDataPacksPointer(*RSPa, pack)) {
          RSPa->Edit();
          RSPa->SetField(u"Deleted", Value(false));
          RSPa->Update();
        }
        if (i > 1) RSPI->MovePrevious();
      }
    }
  } catch (...) {
    closeOwn();
    throw;
  }
  closeOwn();
}

}  // namespace ravelin::store
