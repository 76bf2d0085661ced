// Inserting letters: AddLetterFromMailHeader, FindAccountByAddress, AddLetterFromEML.
#include "store/add_letter.h"

#include <algorithm>

#include "formats/charsets.h"
#include "formats/datetime.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/resume.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin::store {

using detail::Need;

std::u16string MailFolderName(int32_t folder) {
  if (folder >= Inbox && folder <= Recycle) return kMailFolderNames[folder];
  return {};
}

namespace {

// The text as it fits the field: cut to the column's Text(n) size.
Value FitToField(const dao::NewRows& row, std::u16string_view field, const std::u16string& text) {
  const int32_t size = row.Size(field);
  if (size > 0 && Len(text) > size) return Value(Left(text, size));
  return Value(text);
}

// Refuses, before anything is written, a letter with a part larger than one field of
// the database can hold: stored, it would come back empty.
void CheckLetterFits(const mailHeader& mheader) {
  const int64_t limit = dao::Engine().MaxValueBytes();
  for (const AttachFile& a : mheader.attFiles) {
    const int64_t octets = static_cast<int64_t>(a.DataSize());
    if (octets <= limit) continue;
    const std::u16string name = a.fname.empty() ? a.ftype + u"/" + a.fsubtype : a.fname;
    RaiseError(dao::dberr::kFieldTooSmall,
               u"the attachment \"" + name + u"\" is " + NumToText(static_cast<double>(octets)) +
                   u" bytes, more than the mail database can hold in one part (" +
                   NumToText(static_cast<double>(limit)) + u" bytes); the letter was not stored");
  }
  // The text is kept as UTF-16: two octets a character.
  if (static_cast<int64_t>(mheader.Message.size()) * 2 > limit ||
      (mheader.Message.empty() && static_cast<int64_t>(mheader.msgBody.size()) * 2 > limit))
    RaiseError(dao::dberr::kFieldTooSmall,
               u"the text of the letter is more than the mail database can hold in one field (" +
                   NumToText(static_cast<double>(limit)) + u" bytes); the letter was not stored");
}

// Insertion keeps a DateTime of its own for the arrival stamp.
const DateTime& InsertionClock() {
  static const DateTime dt;
  return dt;
}

// The "To" field: the letter's recipients, cut to the field's size with a warning; the
// account's address when the recipients don't name it; "?" when there are none.
void WriteTo(dao::NewRows& rowL, const mailHeader& mheader, const std::u16string& strEmail) {
  const auto field = [&](const Value& v) { rowL.SetField(u"To", v); };
  const int32_t limit = rowL.Size(u"To");
  const auto headerTo = [&] {
    if (Len(mheader.to) > limit) {
      // The default text writes "% 1" with a blank, so only a language file that has "%1"
      // shows the number.
      const std::u16string text =
          Replace(module1::GetMUIString(u"Module1.AddLetterFromMailHeader", u"msg",
                                        u"The size of the field \"To\" is too large and will be truncated to % 1 "
                                        u"characters"),
                  u"%1", NumToText(limit));
      WideMsgBox(text, mb::kExclamation);
      field(Value(Left(mheader.to, limit)));
    } else {
      field(Value(mheader.to));
    }
  };
  if (mheader.to.empty()) {
    field(Value(strEmail.empty() ? std::u16string(u"?") : strEmail));
  } else if (strEmail.empty() || InStr(1, mheader.to, strEmail, Compare::Text) > 0) {
    headerTo();
  } else {
    field(Value(strEmail));
  }
}

// The letter's own fields on the new row of Letters, each step on its own: a field that
// can't be set stays empty and the next one follows. Works out the folder when it is -1.
void WriteLetterFields(dao::NewRows& rowL, mailHeader& mheader, int32_t& MailFolder, int32_t msgSize,
                       const std::u16string& strEmail, ResumeNext& rn) {
  rn([&] {
    if (Len(mheader.Subject) > 0) rowL.SetField(u"Subject", FitToField(rowL, u"Subject", mheader.Subject));
  });
  rn([&] {
    if (Len(mheader.From) > 0) rowL.SetField(u"From", FitToField(rowL, u"From", mheader.From));
  });
  // Stamped before the folder is worked out: a letter whose folder is still -1 here gets
  // no arrival date even when it ends up in Inbox.
  rn([&] {
    if (MailFolder == Inbox) rowL.SetField(u"DateReceived", Value(InsertionClock().NowGMT()));
  });
  // The engine reads the date text in the general date format.
  rn([&] {
    if (Len(mheader.strDate) > 0) rowL.SetField(u"DateWrote", Value(mheader.strDate));
  });
  rn([&] { WriteTo(rowL, mheader, strEmail); });
  rn([&] {
    if (Len(mheader.Message) >= 1) {
      // Character 0 is dropped from the text (looked for first: a letter seldom has one).
      const std::u16string& text = mheader.Message;
      const bool hasZero = std::find(text.begin(), text.end(), u'\0') != text.end();
      rowL.SetField(u"Message", Value(hasZero ? Replace(text, std::u16string(1, u'\0'), u"") : text));
    } else if (mheader.Content_Type.empty()) {
      // The raw body is octets with no charset: read in the ANSI code page.
      mheader.Message = ConvertCodePage(mheader.msgBody, 0, kCodePageUtf16);
      if (!mheader.Message.empty()) rowL.SetField(u"Message", Value(mheader.Message));
    }
  });
  rn([&] {
    if (MailFolder == -1) MailFolder = FindAccountByAddress(mheader);
  });
  // An unknown code gives "", which the field refuses: the folder then stays empty. (The
  // refusal would only come at the row's Update, and undo the letter.)
  rn([&] {
    const std::u16string name = MailFolderName(MailFolder);
    if (!name.empty()) rowL.SetField(u"MailFolder", Value(name));
  });
  rn([&] { rowL.SetField(u"Size", Value(msgSize < 1 ? mheader.mSize : msgSize)); });
}

// The letter's project link, written after the letter's row (in the same transaction) so
// that it carries the key that row was given. A link that can't be written undoes the letter.
void WriteProjectLink(const std::shared_ptr<dao::Database>& db, const Value& key, const std::u16string& Project,
                      bool InsArcPrj, ResumeNext& rn) {
  dao::NewRows rowP(db, u"Projects");
  rowP.AddNew();
  rowP.SetField(u"Obj ID", key);
  rn([&] { rowP.SetField(u"ObjType", Value(static_cast<int32_t>(objLetter))); });
  rn([&] { rowP.SetField(u"Project", strConvNull(Project)); });
  rn([&] { rowP.SetField(u"InsArcPrj", Value(InsArcPrj)); });
  rowP.Update();
}

void WritePackLink(const std::shared_ptr<dao::Database>& db, const Value& key, int32_t PackNumber) {
  dao::NewRows rowPI(db, u"PackItems");
  rowPI.AddNew();
  rowPI.SetField(u"Msg_N", key);
  rowPI.SetField(u"Pack_N", Value(PackNumber));
  rowPI.Update();
}

// The letter's parts as rows of Files. The part's octets are the letter: a row whose data
// can't be written undoes it; the other fields stay empty when they can't be set.
void WriteFiles(const std::shared_ptr<dao::Database>& db, const Value& key, const mailHeader& mheader,
                ResumeNext& rn) {
  const int32_t ubound = GetUboundAttFiles(mheader);
  if (ubound < 1) return;
  dao::NewRows rowF(db, u"Files");
  for (int32_t i = 1; i <= ubound; ++i) {
    const AttachFile& a = mheader.attFiles[static_cast<size_t>(i - 1)];
    rowF.AddNew();
    rowF.SetField(u"N", key);
    rn([&] { rowF.SetField(u"type", Value(a.ftype)); });
    rn([&] { rowF.SetField(u"subtype", Value(a.fsubtype)); });
    rn([&] {
      if (Len(a.ContentDisposition) > 0) rowF.SetField(u"Content-Disposition", Value(a.ContentDisposition));
    });
    rn([&] {
      if (Len(a.Content_ID) > 0) rowF.SetField(u"Content-ID", Value(a.Content_ID));
    });
    rn([&] { rowF.SetField(u"Content-Location", strConvNull(a.ContentLocation)); });
    // The builder reads the Charset column back into ContentTransferEncoding, where the
    // parser keeps a part's charset. Byte text is kept octet for octet. A part handed in
    // as true text (a unit above U+00FF is no octet) is narrowed through the ANSI code
    // page, or UTF-8 where that can't hold it, and its charset says which, so that it
    // reads back the same. A part held as octets goes in as it is.
    std::u16string charset = a.ContentTransferEncoding, narrowed;
    const bool trueText = std::any_of(a.fData.begin(), a.fData.end(), [](char16_t c) { return c > 0xFF; });
    if (trueText) narrowed = EncodeTextForLabel(a.fData, GetCPCode(charset), charset);
    rn([&] { rowF.SetField(u"Charset", strConvNull(charset)); });
    rowF.SetField(u"Data", Value::Binary(a.HoldsOctets() ? a.fOctets : ByteTextToBytes(trueText ? narrowed : a.fData)));
    rn([&] {
      if (Len(a.fname) >= 1) rowF.SetField(u"filename", Value(a.fname));
    });
    rowF.Update();
  }
}

// The transaction of one letter. Unless Commit ran, the destructor rolls the letter back.
class LetterWrite {
 public:
  // `own`: the database was opened for this letter alone, and is closed with it.
  LetterWrite(std::shared_ptr<dao::Database> db, bool own) : db_(std::move(db)), own_(own) {
    dao::Engine().BeginTrans();
    inTrans_ = true;
  }
  ~LetterWrite() {
    if (!inTrans_) return;
    ResumeNext quiet;
    quiet([] { dao::Engine().Rollback(); });
    quiet([&] {
      if (own_) db_->Close();
    });
  }
  void Commit() {
    inTrans_ = false;
    dao::Engine().CommitTrans();
  }

 private:
  std::shared_ptr<dao::Database> db_;
  bool own_;
  bool inTrans_ = false;
};

// The database of the import run under way, opened at its first letter; null outside a run.
std::shared_ptr<dao::Database> RunDatabase();

}  // namespace

std::u16string AddLetterFromMailHeader(mailHeader& mheader, int32_t& MailFolder, int32_t msgSize,
                                       const std::u16string& Project, bool InsArcPrj, int32_t PackNumber,
                                       const std::u16string& strEmail) {
  // A letter whose parts don't fit is refused before anything is written.
  CheckLetterFits(mheader);

  ResumeNext rn;
  // The letters of an import run share one open of the file; a letter alone opens its own.
  std::shared_ptr<dao::Database> db;
  bool own = false;
  rn([&] {
    db = RunDatabase();
    own = !db;
    if (own) db = detail::OpenMailDatabase();
  });
  if (!db) return {};

  // The letter goes in whole or not at all: its rows are written in a transaction of
  // their own (inside the caller's, when one is open), and its key is handed out only
  // when that transaction has ended well. A row that can't be written undoes the letter
  // and is thrown to the caller.
  std::u16string result;
  {
    LetterWrite w(db, own);
    // The letter's row and its links go through statements the connection keeps for the
    // next letter: nothing reads Letters to add to it.
    dao::NewRows rowL(db, u"Letters");
    rowL.AddNew();
    WriteLetterFields(rowL, mheader, MailFolder, msgSize, strEmail, rn);
    const Value key(static_cast<int32_t>(rowL.Update()));
    if (Len(Trim(Project)) > 0) WriteProjectLink(db, key, Project, InsArcPrj, rn);
    if (PackNumber > 0) WritePackLink(db, key, PackNumber);
    // The files belong to the row just saved, by the key its insert gave.
    WriteFiles(db, key, mheader, rn);
    w.Commit();
    result = NumToText(key.AsLong());
  }
  rn([&] {
    if (own) db->Close();
  });
  return result;
}

namespace {

// The addresses of the import run under way, in the order they are tried.
struct RunAccounts {
  bool active = false;
  bool read = false;
  std::vector<std::u16string> addresses;
  std::shared_ptr<dao::Database> db;  // opened at the run's first letter
};
RunAccounts& CurrentRun() {
  static RunAccounts run;
  return run;
}

std::shared_ptr<dao::Database> RunDatabase() {
  RunAccounts& run = CurrentRun();
  if (!run.active) return nullptr;
  if (!run.db || !run.db->IsOpen()) run.db = detail::OpenMailDatabase();
  return run.db;
}

// Sent for a letter from one of the addresses to a stranger, else Inbox.
MailFolders FolderByAddresses(const std::vector<std::u16string>& addresses, const std::u16string& fromAddr,
                              const std::u16string& toAddr) {
  for (const auto& address : addresses) {
    if (TextEquals(toAddr, address)) return Inbox;
    if (TextEquals(fromAddr, address)) return Sent;
  }
  return Inbox;
}

// Every account's address, from the last row to the first. Throws what the engine throws.
std::vector<std::u16string> ReadAccountAddresses() {
  std::vector<std::u16string> out;
  auto db = detail::OpenMailDatabase();
  auto rs = db->OpenRecordset(u"Accounts");
  if (rs->RecordCount() > 0) {
    rs->MoveLast();
    for (; !rs->Bof(); rs->MovePrevious())
      out.push_back(NullConvStr(rs->GetField(u"User")) + u"@" + NullConvStr(rs->GetField(u"@after")));
  }
  rs->Close();
  db->Close();
  return out;
}

}  // namespace

ImportRun::ImportRun() : outer_(!CurrentRun().active) {
  if (outer_) CurrentRun() = RunAccounts{true, false, {}, nullptr};
}

ImportRun::~ImportRun() {
  if (!outer_) return;
  ResumeNext quiet;
  quiet([] {
    if (auto& db = CurrentRun().db) db->Close();
  });
  CurrentRun() = RunAccounts{};
}

MailFolders FindAccountByAddress(const mailHeader& mheader) {
  MailFolders result = Inbox;
  ResumeNext rn;
  const std::u16string fromAddr = GetEmail(mheader.From);
  const std::u16string toAddr = GetEmail(mheader.to);
  if (RunAccounts& run = CurrentRun(); run.active) {
    // Read once per run; a store that can't be read leaves every letter in Inbox, as below.
    if (!run.read) run.addresses = rn.Value([] { return ReadAccountAddresses(); }, std::vector<std::u16string>());
    run.read = true;
    return FolderByAddresses(run.addresses, fromAddr, toAddr);
  }
  std::shared_ptr<dao::Database> db;
  std::shared_ptr<dao::Recordset> rs;
  rn([&] { db = detail::OpenMailDatabase(); });
  rn([&] { rs = Need(db).OpenRecordset(u"Accounts"); });
  rn([&] {
    auto& r = Need(rs);
    if (r.RecordCount() == 0) return;
    r.MoveLast();
    while (!r.Bof()) {
      const std::u16string address =
          NullConvStr(r.GetField(u"User")) + u"@" + NullConvStr(r.GetField(u"@after"));
      // To before From: a letter to one's own account is received even when sent by one.
      if (TextEquals(toAddr, address)) {
        result = Inbox;
        return;
      }
      if (TextEquals(fromAddr, address)) {
        result = Sent;
        return;
      }
      r.MovePrevious();
    }
  });
  rn([&] {
    if (rs) rs->Close();
  });
  rn([&] {
    if (db) db->Close();
  });
  return result;
}

int32_t AddLetterFromEML(const std::u16string& FilePath, const std::u16string& rProject, bool InsArcPrj,
                         int32_t PackNumber, int32_t* folderOut) {
  if (!fs::FileExists(FilePath)) {
    const std::u16string text =
        Replace(module1::GetMUIString(u"Ravelin.AddLetterFromEML", u"msg",
                                      u"A file named vbCrLf  %1 vbCrLf  was not found!"),
                u"%1", FilePath);
    WideMsgBox(text, mb::kOKOnly);
    return 0;
  }
  CurrentHostCommon().SetHostPath(module1::EffectiveAppPath());
  return AddLetterFromText(fs::ReadAllByteText(FilePath), rProject, InsArcPrj, PackNumber, folderOut);
}

int32_t AddLetterFromText(std::u16string text, const std::u16string& rProject, bool InsArcPrj, int32_t PackNumber,
                          int32_t* folderOut, bool read) {
  // A large letter is held once: the file's text becomes the parsed record's raw body,
  // and that body goes as soon as the record no longer needs it.
  const int64_t length = static_cast<int64_t>(text.size());
  mailHeader mheader;
  GetSubItems(std::move(text), mheader);
  if (!mheader.Content_Type.empty()) std::u16string().swap(mheader.msgBody);

  const int32_t msgSize = length > INT32_MAX ? INT32_MAX : static_cast<int32_t>(length);
  int32_t MailFolder = -1;
  const std::u16string key =
      AddLetterFromMailHeader(mheader, MailFolder, msgSize, rProject, InsArcPrj, PackNumber, u"");
  if (folderOut) *folderOut = MailFolder;
  const double v = Val(key);
  const int32_t result = (v >= 1 && v <= INT32_MAX) ? static_cast<int32_t>(v) : 0;
  if (result > 0 && read) {
    auto db = detail::OpenMailDatabase();
    db->Execute(u"Update Letters Set [Read]=True Where key=" + NumToText(result) + u";");
    db->Close();
  }
  return result;
}

}  // namespace ravelin::store
