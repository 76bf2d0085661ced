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
#include "platform/module1.h"
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
  const Value v = rs.GetField(name);
  if (v.Type() == VType::Binary) return BytesToByteText(v.BinaryRef());
  return NullConvStr(v);
}

}  // namespace

std::u16string CreateEML(int32_t msgNumber, CreateEMLOptions& o) {
  std::shared_ptr<dao::Database> db;
  std::shared_ptr<dao::Recordset> rsL = o.RsLetters, rsA = o.RsAttach;
  const bool ownL = !rsL, ownA = !rsA;
  const auto closeOwn = [&] {
    try {
      if (ownA && rsA) rsA->Close();
      if (ownL && rsL) rsL->Close();
      if (db) db->Close();
    } catch (...) {
    }
  };
  try {
    if (!rsL || !rsA) db = dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access");
    if (!rsL) {
      rsL = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
      rsL->FindFirst(u"key=" + NumberText(msgNumber));
      if (rsL->NoMatch()) {
        closeOwn();
        return {};
      }
    }
    if (!rsA) rsA = db->OpenRecordset(store::GetAttachRecordSource(msgNumber));
    if (rsL->AbsolutePosition() < 0) {
      closeOwn();
      return {};
    }

    mailHeader mh;
    mh.Message = FieldText(*rsL, u"Message");
    mh.Subject = FieldText(*rsL, u"Subject");
    mh.From = FieldText(*rsL, u"From");
    mh.to = FieldText(*rsL, u"To");

    u16 text;
    if (!mh.Subject.empty()) text += CreateStrField(u"Subject", mh.Subject) + kCrLf;
    const Value wrote = rsL->GetField(u"DateWrote");
    if (!wrote.IsNull()) {
      const DateTime dt;
      text += u"Date: " + dt.GetMailDateFormat(dt.GMTtoLocalTZ(wrote.AsDate())) + kCrLf;
    }
    if (!mh.From.empty()) text += CreateStrField(u"From", mh.From) + kCrLf;
    if (!mh.to.empty()) text += CreateStrField(u"To", mh.to) + kCrLf;
    text += CodeMailer(GetMailer()) + kCrLf;

    const bool noRows = rsA->Bof() && rsA->Eof();
    if (noRows) {
      mh.Content_Type = u"text";
      mh.Content_subtype = u"plain";
    } else {
      rsA->MoveLast();
      const int32_t count = rsA->RecordCount();
      mh.attFiles.resize(static_cast<size_t>(std::max(count, 0)));
      mh.Content_Type = u"multipart";
      mh.Content_subtype = u"mixed";
      // The rows go in from the last to the first; a row that can't be read stays blank.
      for (int32_t k = 0; k < count; ++k) {
        AttachFile& f = mh.attFiles[static_cast<size_t>(k)];
        try { f.fname = FieldText(*rsA, u"filename"); } catch (...) {}
        try { f.fData = FieldText(*rsA, u"Data"); } catch (...) {}
        try { f.ftype = FieldText(*rsA, u"type"); } catch (...) {}
        try { f.fsubtype = FieldText(*rsA, u"subtype"); } catch (...) {}
        try { f.Content_ID = FieldText(*rsA, u"Content-ID"); } catch (...) {}
        try { f.ContentDisposition = FieldText(*rsA, u"Content-Disposition"); } catch (...) {}
        try { f.ContentLocation = FieldText(*rsA, u"Content-Location"); } catch (...) {}
        try { f.ContentTransferEncoding = FieldText(*rsA, u"Charset"); } catch (...) {}
        if (k + 1 < count) {
          try { rsA->MovePrevious(); } catch (...) {}
        }
      }
    }
    text += CreateMessageBody(mh, kCrLf);

    if (!o.FolderPath.empty() && !text.empty()) {
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
      if (helper->Resolve(o.FolderPath, name, ext, o.FOFlags)) {
        const u16 path = CollisionHelper::PathOf(o.FolderPath, name, ext);
        WriteTextFile(path, text, false, 2);
        if (name != o.WinName || ext != o.WinExt) {
          // The service chose another name: the file already stands at its final place;
          // the caller learns the name it got.
          helper->MoveToFinal(path, path, o.FOFlags);
          o.WinName = name;
          o.WinExt = ext;
        }
      }
    }
    closeOwn();
    return text;
  } catch (...) {
    module1::ReportFailure(ErrObject::FromCurrentException(), u"Ravelin.CreateEML");
    closeOwn();
    return {};
  }
}

std::u16string CreateEML(int32_t msgNumber) {
  CreateEMLOptions o;
  return CreateEML(msgNumber, o);
}

}  // namespace ravelin
