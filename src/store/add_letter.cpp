// Inserting letters: AddLetterFromMailHeader, FindAccountByAddress, AddLetterFromEML.
#include "store/add_letter.h"

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
Value FitToField(dao::FieldRef field, const std::u16string& text) {
  const int32_t size = field.Size();
  if (size > 0 && Len(text) > size) return Value(Left(text, size));
  return Value(text);
}

// Insertion keeps a DateTime of its own for the arrival stamp.
const DateTime& InsertionClock() {
  static const DateTime dt;
  return dt;
}

}  // namespace

std::u16string AddLetterFromMailHeader(mailHeader& mheader, int32_t& MailFolder, int32_t msgSize,
                                       const std::u16string& Project, bool InsArcPrj, int32_t PackNumber,
                                       const std::u16string& strEmail) {
  ResumeNext rn;
  std::shared_ptr<dao::Database> db;
  rn([&] { db = detail::OpenMailDatabase(); });
  if (!db) return {};

  std::shared_ptr<dao::Recordset> rsL, rsP, rsF;
  rn([&] { rsL = db->OpenRecordset(u"Letters", dao::dbOpenDynaset); });
  // The link and attachment tables are opened only for a letter that has rows for them.
  if (Len(Trim(Project)) > 0) rn([&] { rsP = db->OpenRecordset(u"Projects", dao::dbOpenDynaset); });
  if (GetUboundAttFiles(mheader) > 0) rn([&] { rsF = db->OpenRecordset(u"Files", dao::dbOpenDynaset); });
  rn([&] { Need(rsL).AddNew(); });

  rn([&] {
    if (Len(mheader.Subject) > 0) {
      auto f = Need(rsL).Fields(u"Subject");
      f = FitToField(f, mheader.Subject);
    }
  });
  rn([&] {
    if (Len(mheader.From) > 0) {
      auto f = Need(rsL).Fields(u"From");
      f = FitToField(f, mheader.From);
    }
  });
  // Stamped before the folder is worked out: a letter whose folder is still -1 here gets
  // no arrival date even when it ends up in Inbox.
  rn([&] {
    if (MailFolder == Inbox) Need(rsL).SetField(u"DateReceived", Value(InsertionClock().NowGMT()));
  });
  // The engine reads the date text in the general date format.
  rn([&] {
    if (Len(mheader.strDate) > 0) Need(rsL).SetField(u"DateWrote", Value(mheader.strDate));
  });

  rn([&] {
    auto field = Need(rsL).Fields(u"To");
    const int32_t limit = field.Size();
    // The default text writes "% 1" with a blank, so only a language file that has "%1"
    // shows the number.
    const std::u16string text =
        Replace(module1::GetMUIString(u"Module1.AddLetterFromMailHeader", u"msg",
                                      u"The size of the field \"To\" is too large and will be truncated to % 1 "
                                      u"characters"),
                u"%1", NumToText(limit));
    const auto headerTo = [&] {
      if (Len(mheader.to) > limit) {
        WideMsgBox(text, mb::kExclamation);
        field = Value(Left(mheader.to, limit));
      } else {
        field = Value(mheader.to);
      }
    };
    if (mheader.to.empty()) {
      field = Value(strEmail.empty() ? std::u16string(u"?") : strEmail);
    } else if (strEmail.empty() || InStr(1, mheader.to, strEmail, Compare::Text) > 0) {
      headerTo();
    } else {
      field = Value(strEmail);
    }
  });

  rn([&] {
    if (Len(mheader.Message) >= 1) {
      Need(rsL).SetField(u"Message", Value(Replace(mheader.Message, std::u16string(1, u'\0'), u"")));
    } else if (mheader.Content_Type.empty()) {
      mheader.Message = mheader.msgBody;
      if (!mheader.Message.empty()) Need(rsL).SetField(u"Message", Value(mheader.Message));
    }
  });

  rn([&] {
    if (MailFolder == -1) MailFolder = FindAccountByAddress(mheader);
  });
  // An unknown code gives "", which the field refuses: the folder then stays empty.
  rn([&] { Need(rsL).SetField(u"MailFolder", Value(MailFolderName(MailFolder))); });
  rn([&] { Need(rsL).SetField(u"Size", Value(msgSize < 1 ? mheader.mSize : msgSize)); });

  if (Len(Trim(Project)) > 0) {
    rn([&] { Need(rsP).AddNew(); });
    // The engine hands out the auto-number at AddNew, so the unsaved row already has it.
    rn([&] { Need(rsP).SetField(u"Obj ID", Need(rsL).GetField(u"key")); });
    rn([&] { Need(rsP).SetField(u"ObjType", Value(static_cast<int32_t>(objLetter))); });
    rn([&] { Need(rsP).SetField(u"Project", strConvNull(Project)); });
    rn([&] { Need(rsP).SetField(u"InsArcPrj", Value(InsArcPrj)); });
    rn([&] { Need(rsP).Update(); });
  }

  Value key;
  rn([&] { key = Need(rsL).GetField(u"key"); });

  if (PackNumber > 0) {
    std::shared_ptr<dao::Recordset> rsPI;
    rn([&] { rsPI = db->OpenRecordset(GetPackItemsRSbyLetter(key.AsLong()), dao::dbOpenDynaset); });
    rn([&] { Need(rsPI).AddNew(); });
    rn([&] { Need(rsPI).SetField(u"Msg_N", key); });
    rn([&] { Need(rsPI).SetField(u"Pack_N", Value(PackNumber)); });
    rn([&] { Need(rsPI).Update(); });
    rn([&] { Need(rsPI).Close(); });
  }

  std::u16string result;
  rn([&] { Need(rsL).Update(); });
  rn([&] { result = NumToText(key.AsLong()); });

  // The files belong to the row just saved, which is the last row of the letters: its
  // key is the one read above, so the table isn't walked to find it.
  const int32_t ubound = GetUboundAttFiles(mheader);
  for (int32_t i = 1; i <= ubound; ++i) {
    const AttachFile& a = mheader.attFiles[static_cast<size_t>(i - 1)];
    rn([&] { Need(rsF).AddNew(); });
    rn([&] { Need(rsF).SetField(u"N", key); });
    rn([&] { Need(rsF).SetField(u"type", Value(a.ftype)); });
    rn([&] { Need(rsF).SetField(u"subtype", Value(a.fsubtype)); });
    rn([&] {
      if (Len(a.ContentDisposition) > 0) Need(rsF).SetField(u"Content-Disposition", Value(a.ContentDisposition));
    });
    rn([&] {
      if (Len(a.Content_ID) > 0) Need(rsF).SetField(u"Content-ID", Value(a.Content_ID));
    });
    rn([&] { Need(rsF).SetField(u"Content-Location", strConvNull(a.ContentLocation)); });
    // The builder reads this column back into ContentTransferEncoding, where the parser
    // keeps a part's charset.
    rn([&] { Need(rsF).SetField(u"Charset", strConvNull(a.ContentTransferEncoding)); });
    rn([&] { Need(rsF).SetField(u"Data", Value::Binary(ByteTextToBytes(a.fData))); });
    rn([&] {
      if (Len(a.fname) >= 1) Need(rsF).SetField(u"filename", Value(a.fname));
    });
    rn([&] { Need(rsF).Update(); });
  }

  rn([&] {
    if (rsF) rsF->Close();
  });
  rn([&] {
    if (rsP) rsP->Close();
  });
  rn([&] {
    if (rsL) rsL->Close();
  });
  rn([&] { db->Close(); });
  return result;
}

namespace {

// The addresses of the import run under way, in the order they are tried.
struct RunAccounts {
  bool active = false;
  bool read = false;
  std::vector<std::u16string> addresses;
};
RunAccounts& CurrentRun() {
  static RunAccounts run;
  return run;
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
  if (outer_) CurrentRun() = RunAccounts{true, false, {}};
}

ImportRun::~ImportRun() {
  if (outer_) CurrentRun() = RunAccounts{};
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
  std::u16string text = fs::ReadAllByteText(FilePath);
  mailHeader mheader;
  GetSubItems(text, mheader);
  const int64_t length = static_cast<int64_t>(text.size());
  text.clear();
  text.shrink_to_fit();

  const int32_t msgSize = length > INT32_MAX ? INT32_MAX : static_cast<int32_t>(length);
  int32_t MailFolder = -1;
  const std::u16string key =
      AddLetterFromMailHeader(mheader, MailFolder, msgSize, rProject, InsArcPrj, PackNumber, u"");
  if (folderOut) *folderOut = MailFolder;
  const double v = Val(key);
  return (v >= 1 && v <= INT32_MAX) ? static_cast<int32_t>(v) : 0;
}

}  // namespace ravelin::store
