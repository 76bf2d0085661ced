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
Value FitToField(dao::FieldRef field, const std::u16string& text) {
  const int32_t size = field.Size();
  if (size > 0 && Len(text) > size) return Value(Left(text, size));
  return Value(text);
}

// Refuses, before anything is written, a letter with a part larger than one field of
// the database can hold: stored, it would come back empty.
void CheckLetterFits(const mailHeader& mheader) {
  const int64_t limit = dao::Engine().MaxValueBytes();
  for (const AttachFile& a : mheader.attFiles) {
    const int64_t octets = static_cast<int64_t>(a.fData.size());
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

}  // namespace

std::u16string AddLetterFromMailHeader(mailHeader& mheader, int32_t& MailFolder, int32_t msgSize,
                                       const std::u16string& Project, bool InsArcPrj, int32_t PackNumber,
                                       const std::u16string& strEmail) {
  // A letter whose parts don't fit is refused before anything is written.
  CheckLetterFits(mheader);

  ResumeNext rn;
  std::shared_ptr<dao::Database> db;
  rn([&] { db = detail::OpenMailDatabase(); });
  if (!db) return {};

  // The letter goes in whole or not at all: its rows are written in a transaction of
  // their own (inside the caller's, when one is open), and its key is handed out only
  // when that transaction has ended well. A field that can't be set stays empty, as
  // always; a row that can't be written undoes the letter and is thrown to the caller.
  std::shared_ptr<dao::Recordset> rsL, rsP, rsF, rsPI;
  bool inTrans = false;
  const auto undo = [&] {
    ResumeNext quiet;
    for (auto* rs : {&rsPI, &rsF, &rsP, &rsL}) {
      quiet([&] {
        if (*rs && (*rs)->EditMode() != dao::dbEditNone) (*rs)->CancelUpdate();
      });
      quiet([&] {
        if (*rs) (*rs)->Close();
      });
    }
    if (inTrans) quiet([] { dao::Engine().Rollback(); });
    quiet([&] { db->Close(); });
  };

  std::u16string result;
  try {
    dao::Engine().BeginTrans();
    inTrans = true;
    rsL = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
    rsP = db->OpenRecordset(u"Projects", dao::dbOpenDynaset);
    rsF = db->OpenRecordset(u"Files", dao::dbOpenDynaset);
    rsL->AddNew();
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
        // The raw body is octets with no charset: read in the ANSI code page.
        mheader.Message = ConvertCodePage(mheader.msgBody, 0, kCodePageUtf16);
        if (!mheader.Message.empty()) Need(rsL).SetField(u"Message", Value(mheader.Message));
      }
    });

    rn([&] {
      if (MailFolder == -1) MailFolder = FindAccountByAddress(mheader);
    });
    // An unknown code gives "", which the field refuses: the folder then stays empty. (The
    // refusal would only come at the row's Update, and undo the letter.)
    rn([&] {
      const std::u16string name = MailFolderName(MailFolder);
      if (!name.empty()) Need(rsL).SetField(u"MailFolder", Value(name));
    });
    rn([&] { Need(rsL).SetField(u"Size", Value(msgSize < 1 ? mheader.mSize : msgSize)); });

    if (Len(Trim(Project)) > 0) {
      rsP->AddNew();
      // The engine hands out the auto-number at AddNew, so the unsaved row already has it.
      rsP->SetField(u"Obj ID", rsL->GetField(u"key"));
      rn([&] { Need(rsP).SetField(u"ObjType", Value(static_cast<int32_t>(objLetter))); });
      rn([&] { Need(rsP).SetField(u"Project", strConvNull(Project)); });
      rn([&] { Need(rsP).SetField(u"InsArcPrj", Value(InsArcPrj)); });
      rsP->Update();
    }

    const Value key = rsL->GetField(u"key");

    if (PackNumber > 0) {
      rsPI = db->OpenRecordset(GetPackItemsRSbyLetter(key.AsLong()), dao::dbOpenDynaset);
      rsPI->AddNew();
      rsPI->SetField(u"Msg_N", key);
      rsPI->SetField(u"Pack_N", Value(PackNumber));
      rsPI->Update();
      rsPI->Close();
    }

    rsL->Update();

    // The files belong to the row just saved, which is the last row of the letters: its
    // key is the one read above, so the table isn't walked to find it.
    const int32_t ubound = GetUboundAttFiles(mheader);
    for (int32_t i = 1; i <= ubound; ++i) {
      const AttachFile& a = mheader.attFiles[static_cast<size_t>(i - 1)];
      rsF->AddNew();
      rsF->SetField(u"N", key);
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
      // Byte text is kept octet for octet. A part handed in as true text (a unit above
      // U+00FF is no octet) is narrowed through the ANSI code page, or UTF-8 where that
      // can't hold it, and its charset says which, so that it reads back the same.
      std::u16string charset = a.ContentTransferEncoding, narrowed;
      const bool trueText = std::any_of(a.fData.begin(), a.fData.end(), [](char16_t c) { return c > 0xFF; });
      if (trueText) narrowed = EncodeTextForLabel(a.fData, GetCPCode(charset), charset);
      rn([&] { Need(rsF).SetField(u"Charset", strConvNull(charset)); });
      // The part's octets are the letter: they are never left behind.
      rsF->SetField(u"Data", Value::Binary(ByteTextToBytes(trueText ? narrowed : a.fData)));
      rn([&] {
        if (Len(a.fname) >= 1) Need(rsF).SetField(u"filename", Value(a.fname));
      });
      rsF->Update();
    }

    rsF->Close();
    rsP->Close();
    rsL->Close();
    inTrans = false;
    dao::Engine().CommitTrans();
    result = NumToText(key.AsLong());
  } catch (...) {
    undo();
    throw;
  }
  rn([&] { db->Close(); });
  return result;
}

MailFolders FindAccountByAddress(const mailHeader& mheader) {
  MailFolders result = Inbox;
  ResumeNext rn;
  const std::u16string fromAddr = GetEmail(mheader.From);
  const std::u16string toAddr = GetEmail(mheader.to);
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
