// A stored letter as .eml text: its row in Letters and its attachment rows read back into
// a record, the top headers written, the body built, and the file saved beside others
// without ever replacing one.
#include "store/eml_export.h"

#include <algorithm>
#include <string>

#include "formats/charsets.h"
#include "formats/datetime.h"
#include "formats/message_builder.h"
#include "platform/db/dao.h"
#include "platform/filenames.h"
#include "platform/funnel.h"
#include "platform/module1.h"
#include "runtime/resume.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "store/record_sources.h"

namespace ravelin {

namespace {

using u16 = std::u16string;
using u16v = std::u16string_view;

constexpr char16_t kCrLf[] = u"\r\n";

u16 NumberText(int32_t n) { return Widen(std::to_string(n)); }

u16 FieldText(dao::Recordset& rs, u16v name) {
  Value v = rs.GetField(name);
  if (v.Type() == VType::Binary) {
    u16 text = BytesToByteText(v.BinaryRef());
    v = Value();  // a large part's octets go before the caller keeps its text
    return text;
  }
  return NullConvStr(v);
}

// A part's data: octets stay octets (a large part is never widened to byte text, which
// would take twice the room); text from older rows is byte text already.
void ReadPartData(dao::Recordset& rs, AttachFile& f) {
  Value v = rs.GetField(u"Data");
  if (v.Type() == VType::Binary) {
    f.fOctets = v.BinaryRef();
    return;
  }
  f.fData = NullConvStr(v);
}

// The database and recordsets CreateEML opened itself, closed when it returns; the ones
// the caller passed stay open.
class OwnRows {
 public:
  OwnRows(CreateEMLOptions& o) : rsL(o.RsLetters), rsA(o.RsAttach), ownL_(!rsL), ownA_(!rsA) {}
  ~OwnRows() {
    ResumeNext rn;
    if (ownA_ && rsA) rn([&] { rsA->Close(); });
    if (ownL_ && rsL) rn([&] { rsL->Close(); });
    if (db) rn([&] { db->Close(); });
  }
  // Positions the letters on msgNumber and opens its attachment rows; false when the
  // letter isn't there.
  bool Open(int32_t msgNumber) {
    if (!rsL || !rsA) db = dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access");
    if (!rsL) {
      rsL = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
      rsL->FindFirst(u"key=" + NumberText(msgNumber));
      if (rsL->NoMatch()) return false;
    }
    if (!rsA) rsA = db->OpenRecordset(store::GetAttachRecordSource(msgNumber));
    return rsL->AbsolutePosition() >= 0;
  }

  // Closes the attachment rows once read, when they are this call's own: a large
  // letter's octets are then held only in the record.
  void DoneWithAttachments() {
    if (!ownA_ || !rsA) return;
    ResumeNext rn;
    rn([&] { rsA->Close(); });
    rsA.reset();
  }

  std::shared_ptr<dao::Database> db;
  std::shared_ptr<dao::Recordset> rsL, rsA;

 private:
  bool ownL_, ownA_;
};

// The letter's own fields into the record, and its top headers: Subject, Date (local
// time), From, To, X-Mailer.
u16 TopHeaders(dao::Recordset& rsL, mailHeader& mh) {
  mh.Message = FieldText(rsL, u"Message");
  mh.Subject = FieldText(rsL, u"Subject");
  mh.From = FieldText(rsL, u"From");
  mh.to = FieldText(rsL, u"To");

  u16 text;
  if (!mh.Subject.empty()) text += CreateStrField(u"Subject", mh.Subject) + kCrLf;
  const Value wrote = rsL.GetField(u"DateWrote");
  if (!wrote.IsNull()) {
    const DateTime dt;
    text += u"Date: " + dt.GetMailDateFormat(dt.GMTtoLocalTZ(wrote.AsDate())) + kCrLf;
  }
  if (!mh.From.empty()) text += CreateStrField(u"From", mh.From) + kCrLf;
  if (!mh.to.empty()) text += CreateStrField(u"To", mh.to) + kCrLf;
  text += CodeMailer(GetMailer()) + kCrLf;
  return text;
}

// The attachment rows into the record's parts: plain text without rows, else one
// multipart/mixed whose parts are the rows from the last to the first. A field that can't
// be read stays blank.
void ReadAttachmentRows(dao::Recordset& rsA, mailHeader& mh) {
  if (rsA.Bof() && rsA.Eof()) {
    mh.Content_Type = u"text";
    mh.Content_subtype = u"plain";
    return;
  }
  rsA.MoveLast();
  const int32_t count = rsA.RecordCount();
  mh.attFiles.resize(static_cast<size_t>(std::max(count, 0)));
  mh.Content_Type = u"multipart";
  mh.Content_subtype = u"mixed";
  ResumeNext rn;
  for (int32_t k = 0; k < count; ++k) {
    AttachFile& f = mh.attFiles[static_cast<size_t>(k)];
    rn([&] { f.fname = FieldText(rsA, u"filename"); });
    rn([&] { ReadPartData(rsA, f); });
    rn([&] { f.ftype = FieldText(rsA, u"type"); });
    rn([&] { f.fsubtype = FieldText(rsA, u"subtype"); });
    rn([&] { f.Content_ID = FieldText(rsA, u"Content-ID"); });
    rn([&] { f.ContentDisposition = FieldText(rsA, u"Content-Disposition"); });
    rn([&] { f.ContentLocation = FieldText(rsA, u"Content-Location"); });
    rn([&] { f.ContentTransferEncoding = FieldText(rsA, u"Charset"); });
    if (k + 1 < count) rn([&] { rsA.MovePrevious(); });
  }
}

// Saves the text in the options' folder under the wanted name, or the name the collision
// service gives when that one is taken; the options learn the name used.
void SaveInFolder(const u16& text, int32_t msgNumber, CreateEMLOptions& o) {
  if (o.AutoGenerateFileName) {
    const u16 name = o.FileName.empty() ? u"Message " + NumberText(msgNumber) : o.FileName;
    o.WinName = CleanFileName(name);
    o.FileExtension = u"eml";
    o.WinExt = u"eml";
  } else {
    if (o.WinName.empty()) o.WinName = CleanFileName(o.FileName);
    if (o.WinExt.empty()) o.WinExt = o.FileExtension;
  }
  auto helper = o.Collision ? o.Collision : std::make_shared<CollisionHelper>();
  u16 name = o.WinName, ext = o.WinExt;
  if (!helper->Resolve(o.FolderPath, name, ext, o.FOFlags)) return;
  const u16 path = CollisionHelper::PathOf(o.FolderPath, name, ext);
  WriteTextFile(path, text, false, 2);
  if (name != o.WinName || ext != o.WinExt) {
    // The service chose another name: the file already stands at its final place; the
    // caller learns the name it got.
    helper->MoveToFinal(path, path, o.FOFlags);
    o.WinName = name;
    o.WinExt = ext;
  }
}

}  // namespace

std::u16string CreateEML(int32_t msgNumber, CreateEMLOptions& o) {
  return Protected(u"Ravelin.CreateEML", u16(), [&] {
    OwnRows rows(o);
    if (!rows.Open(msgNumber)) return u16();
    mailHeader mh;
    u16 text = TopHeaders(*rows.rsL, mh);
    ReadAttachmentRows(*rows.rsA, mh);
    rows.DoneWithAttachments();
    // The body is built, the parts let go, and the headers put in front of the body, so
    // that the text of a large letter is never copied whole.
    u16 body = CreateMessageBody(mh, kCrLf);
    std::vector<AttachFile>().swap(mh.attFiles);
    body.insert(0, text);
    text = std::move(body);
    if (!o.FolderPath.empty() && !text.empty()) SaveInFolder(text, msgNumber, o);
    return text;
  });
}

std::u16string CreateEML(int32_t msgNumber) {
  CreateEMLOptions o;
  return CreateEML(msgNumber, o);
}

}  // namespace ravelin
