// Extraction of a letter's parts, its body document, its page and its report rows.
#include "presentation/letter_html.h"

#include <cmath>

#include "formats/charsets.h"
#include "formats/datetime.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/event_loop.h"
#include "platform/filenames.h"
#include "platform/filesystem.h"
#include "platform/funnel.h"
#include "platform/module1.h"
#include "presentation/references.h"
#include "presentation/views.h"
#include "runtime/dates.h"
#include "runtime/resume.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin::presentation {

namespace {

constexpr int32_t kNoCurrentRecord = 3021;

std::u16string FieldString(dao::Recordset& rs, std::u16string_view name) {
  const Value v = rs.GetField(name);
  if (v.Type() == VType::Binary) return BytesToByteText(v.BinaryRef());
  return NullConvStr(v);
}

std::u16string WithoutNul(std::u16string s) {
  std::erase(s, u'\0');
  return s;
}

std::u16string WithoutAngles(std::u16string s) {
  std::erase(s, u'<');
  std::erase(s, u'>');
  return s;
}

// The letter's text as HTML text with the report's and the page's escapes, which lack
// their semicolons.
std::u16string EscapeAngles(const std::u16string& text) {
  return Replace(Replace(text, u"<", u"&LT", 1, -1, Compare::Text), u">", u"&GT", 1, -1, Compare::Text);
}

// Puts `insert` before the last "</body>" of doc; nothing when there is none.
bool InsertBeforeBodyEnd(std::u16string& doc, const std::u16string& insert) {
  const int32_t p = InStrRev(doc, u"</body>", -1, Compare::Text);
  if (p == 0) return false;
  doc.insert(static_cast<size_t>(p - 1), insert);
  return true;
}

}  // namespace

std::u16string ExtractedName(const std::u16string& filename, const std::u16string& subtype) {
  std::u16string name = filename;
  if (name.empty()) {
    if (TextEquals(subtype, u"html")) {
      name = u"message.html";
    } else {
      name = u"message";
      if (subtype == u"plain") name += u".txt";
      else if (!subtype.empty()) name += u"." + subtype;
    }
  }
  return CleanFileName(name);
}

int32_t ExtractAttachments2(dao::Recordset& rs, Extraction& out, std::u16string& FolderPath) {
  out = Extraction{};
  try {
    if (FolderPath.empty()) FolderPath = MailFilesFolder();
    EnsurePrivateFolder(FolderPath);
    rs.MoveLast();
    const int32_t n = rs.RecordCount();
    out.FileNames.assign(static_cast<size_t>(n), {});
    out.IsAttachments.assign(static_cast<size_t>(n), false);
    out.AVPChk.assign(static_cast<size_t>(n), 0);
    for (int32_t i = 1; i <= n; ++i) {
      ResumeNext rn;
      std::u16string filename, subtype, disposition;
      int32_t avp = 0;
      rn([&] { filename = FieldString(rs, u"filename"); });
      rn([&] { subtype = FieldString(rs, u"subtype"); });
      rn([&] { disposition = LCase(FieldString(rs, u"Content-Disposition")); });
      rn([&] { avp = NullConvLng(rs.GetField(u"AVPchecked")); });
      out.AVPChk[static_cast<size_t>(i - 1)] = avp;
      if (filename.empty() && TextEquals(subtype, u"html")) out.bodyPosition = rs.AbsolutePosition() + 1;
      const std::u16string name = ExtractedName(filename, subtype);
      const Value data = rs.GetField(u"Data");
      WriteOver(AddPathSeparator(FolderPath) + name,
                data.Type() == VType::Binary ? std::string_view(data.BinaryRef())
                                             : std::string_view(ByteTextToBytes(NullConvStr(data))));
      loop::PumpOnce();
      out.FileNames[static_cast<size_t>(i - 1)] = name;
      out.IsAttachments[static_cast<size_t>(i - 1)] = disposition == u"attachment";
      if (i < n) rs.MovePrevious();
    }
  } catch (...) {
    const ErrObject err = ErrObject::FromCurrentException();
    if (err.Number != kNoCurrentRecord) funnel::Report(err, u"ExtractAttachments2");
  }
  return out.bodyPosition;
}

Document CreateHTMLCore(dao::Recordset& rs, const std::u16string& FolderPath, std::u16string& CodePage,
                        bool ForSaving, bool RecodeToUnicode, int32_t& CodePageID) {
  Document doc;
  doc.octets = true;
  try {
    const std::u16string folderName = LastFolderName(FolderPath);
    doc.html = WithoutNul(FieldString(rs, u"Data"));
    CodePage = Trim(FieldString(rs, u"Charset"));
    rs.MoveLast();
    const int32_t n = rs.RecordCount();

    std::u16string base;
    if (ForSaving) {
      ConvertAllReftoLocal(doc.html);
      if (CodePage.empty()) CodePage = GetHTMLcharset(doc.html);
      CodePageID = GetCPfromStr(CodePage);
    } else {
      base = GetBaseUrl(doc.html, 0);
      if (!RecodeToUnicode) {
        if (CodePage.empty()) CodePage = GetHTMLcharset(doc.html);
        CodePageID = GetCPfromStr(CodePage);
      } else if (!CodePage.empty()) {
        CodePageID = GetCPfromStr(CodePage);
        doc.html = ConvertCodePage(doc.html, CodePageID, kCodePageUtf16);
        doc.octets = CodePageID == kCodePageUtf16;
      } else {
        CodePage = RecodeHTML(doc.html, &CodePageID);
        doc.octets = CodePageID == kCodePageUtf16;
      }
    }

    for (int32_t i = 1; i <= n; ++i) {
      const std::u16string name = ExtractedName(FieldString(rs, u"filename"), FieldString(rs, u"subtype"));
      const std::u16string full = AddPathSeparator(FolderPath) + name;
      const std::u16string rel = GetUnicodeHTMLString(folderName + u"/" + RelativeToFolder(full, FolderPath));
      const std::u16string target = ForSaving ? rel : u"file://" + GetUnicodeHTMLString(full);

      const std::u16string id = WithoutAngles(FieldString(rs, u"Content-ID"));
      if (!id.empty()) {
        doc.html = ReplaceAllText(doc.html, u"cid:" + id, target);
        doc.html = ReplaceAllText(doc.html, u"=\"" + id + u"\"", u"=\"" + target + u"\"");
      }
      const std::u16string location = FieldString(rs, u"Content-Location");
      if (!location.empty() && (ForSaving || rs.Fields(u"Data").FieldSize() >= 1))
        doc.html = ReplaceAllText(doc.html, location, target);
      if (!base.empty()) {
        const std::u16string shortLoc = GetShortLocation(location, base);
        if (!shortLoc.empty()) {
          if (InStr(shortLoc, u"/") == 0) doc.html = ReplaceAllText(doc.html, u"../" + shortLoc, target);
          doc.html = ReplaceAllText(doc.html, shortLoc, target);
        }
      }
      if (i < n) rs.MovePrevious();
    }
  } catch (...) {
    const ErrObject err = ErrObject::FromCurrentException();
    if (err.Number != kNoCurrentRecord) funnel::Report(err, u"CreateHTML2");
  }
  return doc;
}

Document CreateHTMLByMsgNumber(const std::u16string& Message_key, bool Force) {
  Document doc;
  auto db = store::detail::OpenMailDatabase();
  dao::CloseOnExit closer{db};

  const int32_t key = static_cast<int32_t>(Val(Message_key));
  auto letter = db->OpenRecordset(u"Select * from Letters WHERE key=" + NumToText(key) + u";", dao::dbOpenDynaset);
  if (letter->Eof()) return doc;
  std::u16string folder = MailFilesFolder();
  const std::u16string message = FieldString(*letter, u"Message");
  auto files = db->OpenRecordset(store::GetAttachRecordSource(key), dao::dbOpenDynaset);

  if (files->Eof()) {
    if (!Force) return doc;
    std::u16string text = Replace(EscapeAngles(message), u"\r\n", u"<br></br>");
    doc.html = DocBlancHeader() + u"<body>" + ConvertCodePage(text, kCodePageUtf16, kCodePageUtf8) + u"</body></html>";
    doc.octets = true;
    return doc;
  }

  Extraction ex;
  std::u16string extractTo;
  ExtractAttachments2(*files, ex, extractTo);
  folder = extractTo;
  loop::PumpOnce();
  files->MoveLast();
  files->RecordCount();
  if (!FieldString(*files, u"filename").empty()) {
    if (!Force) return doc;
    doc.html = u"<html><head><META http-equiv=Content-Type content='text/html; charset=utf-8'></head><body>" +
               Replace(message, u"\r\n", u"<br></br>") + u"</body></html>";
    doc.octets = false;
  } else {
    files->MoveLast();
    std::u16string cp;
    int32_t cpID = 0;
    doc = CreateHTMLCore(*files, folder, cp, false, true, cpID);
    if (doc.html.empty()) {
      doc.html = DocBlancHeader() + u"<body></body></html>";
      doc.octets = false;
    }
  }

  bool any = false;
  for (bool a : ex.IsAttachments) any = any || a;
  if (any) {
    std::u16string list = u"<hr>" +
                          GetUnicodeHTMLString(module1::GetMUIString(u"Ravelin.CreateHTML_by_msgNumber", u"txt1",
                                                                     u"Attachments:")) +
                          u"<br></br>";
    bool first = true;
    for (size_t i = 0; i < ex.FileNames.size(); ++i) {
      if (!ex.IsAttachments[i]) continue;
      if (!first) list += u", ";
      first = false;
      list += u"<a href=\"" + GetUnicodeHTMLString(AddPathSeparator(folder) + ex.FileNames[i]) + u"\">" +
              GetUnicodeHTMLString(ex.FileNames[i]) + u"</a>";
    }
    InsertBeforeBodyEnd(doc.html, list);
  }
  return doc;
}

Document LetterBody(int32_t key) {
  auto db = store::detail::OpenMailDatabase();
  auto files = db->OpenRecordset(store::GetAttachRecordSource(key), dao::dbOpenDynaset);
  Extraction ex;
  std::u16string folder;
  const int32_t body = ExtractAttachments2(*files, ex, folder);
  Document doc;
  if (body != 0) {
    files->SetAbsolutePosition(body - 1);
    std::u16string cp;
    int32_t cpID = 0;
    doc = CreateHTMLCore(*files, folder, cp, false, true, cpID);
  }
  files->Close();
  db->Close();
  return doc;
}

namespace {

// The photo cell of a sender, from the address book's photo store; "" when none is found.
std::u16string PhotoCell(const std::u16string& email, const std::u16string& folder) {
  std::optional<Photo> photo = CurrentPhotoStore().Find(email);
  if (!photo) return {};
  EnsurePrivateFolder(folder);
  const std::u16string path = AddPathSeparator(folder) + CleanFileName(email + u".bmp");
  if (!fs::FileExists(path) && photo->save) photo->save(path, 160, 120);
  // Hundredths of a millimetre to pixels at 15 twips a pixel, fitted into 120 by 160.
  const double w = std::trunc(photo->widthHimetric * 1440.0 / 2540.0 / 15.0);
  const double h = std::trunc(photo->heightHimetric * 1440.0 / 2540.0 / 15.0);
  int32_t fw = 0, fh = 0;
  if (w > 0 && h > 0) {
    const double scale = std::min(120.0 / w, 160.0 / h);
    fw = static_cast<int32_t>(w * scale);
    fh = static_cast<int32_t>(h * scale);
  }
  return u"<img src=\"" + GetUnicodeHTMLString(path) + u"\" Width=" + NumToText(fw) + u" height=" +
         NumToText(fh) + u" >";
}

}  // namespace

std::u16string GetHTMLletter(dao::Recordset& rsLetter, dao::Recordset* rsFiles, int32_t number,
                             int32_t bodyPosition, const std::u16string& folder) {
  ResumeNext rn;
  const std::u16string sender =
      GetUnicodeHTMLString(module1::GetMUIString(u"Module1.GetHTMLletter", u"txt1", u"Sender:"));
  const std::u16string attachLabel =
      GetUnicodeHTMLString(module1::GetMUIString(u"Module1.GetHTMLletter", u"txt2", u"Attachments:"));

  std::u16string from, name, email;
  rn([&] { from = FieldString(rsLetter, u"From"); });
  name = GetName(from);
  email = GetEmail(from);
  if (name.empty()) name = email;

  std::u16string photo;
  rn([&] { photo = PhotoCell(email, folder); });

  std::u16string out;
  std::u16string colour = u"#bdc28f";
  rn([&] {
    if (Trim(FieldString(rsLetter, u"MailFolder")) == u"Outbox") colour = u"#dcbebe";
  });
  std::u16string when;
  rn([&] {
    const Value wrote = rsLetter.GetField(u"DateWrote");
    const OleDate d = wrote.IsNull() || NullConvStr(wrote).empty() ? DateSerial(1980, 1, 1) : wrote.AsDate();
    DateTime dt;
    when = FormatGeneralDate(dt.GMTtoLocalTZ(d)) + u" " + dt.GetTimeDiffStrSerial(d);
  });
  out += u"<tr><td colSpan=2 bgcolor= " + colour + u"><font color=\"#000000\"< b > <i > " + NumToText(number) +
         u". " + sender + u"<a href=mailto:" + email + u"> " + GetUnicodeHTMLString(name) + u"</a>  " + when +
         u"</i></b></font></td></tr>";

  std::u16string cell;
  if (bodyPosition != 0 && rsFiles) {
    rn([&] {
      rsFiles->SetAbsolutePosition(bodyPosition - 1);
      std::u16string cp;
      int32_t cpID = 0;
      std::u16string doc = CreateHTMLCore(*rsFiles, folder, cp, false, true, cpID).html;
      const int32_t open = InStr(1, doc, u"<body", Compare::Text);
      const int32_t close = InStrRev(doc, u"</body>", -1, Compare::Text);
      if (open > 0 && close > 0 && close >= open) {
        doc = Mid(doc, open, close + 7 - open);
        doc = Replace(doc, u"<body", u"<td", 1, 1, Compare::Text);
        doc = Replace(doc, u"</body>", u"</td>", 1, 1, Compare::Text);
      } else {
        if (open == 0) doc = u"<td>" + doc;
        if (close == 0) doc += u"</td>";
      }
      cell = doc;
    });
  } else {
    rn([&] {
      std::u16string text = EscapeAngles(WithoutNul(FieldString(rsLetter, u"Message")));
      text = Replace(Replace(text, u"\r\n", u"<br>"), u"\n", u"<br>");
      cell = u"<td>" + text + u"</td>";
    });
  }
  out += u"<tr><td style=\"vertical-align:top\">" + photo + u"</td>" + cell + u"</tr>";

  if (rsFiles) {
    bool listed = false;
    rn([&] {
      rsFiles->MoveLast();
      const int32_t n = rsFiles->RecordCount();
      for (int32_t i = 1; i <= n; ++i) {
        if (LCase(FieldString(*rsFiles, u"Content-Disposition")) == u"attachment") {
          if (!listed)
            out += u"<tr><td colSpan=2 bgcolor= #d7cfb9><u><b>" + attachLabel + u"</b></u><OL>";
          listed = true;
          const std::u16string filename = FieldString(*rsFiles, u"filename");
          const std::u16string path =
              AddPathSeparator(folder) + ExtractedName(filename, FieldString(*rsFiles, u"subtype"));
          out += u"<LI><a href=\"file://" + GetUnicodeHTMLString(path) + u"\">" + GetUnicodeHTMLString(filename) +
                 u"</a>";
        }
        if (i < n) rsFiles->MovePrevious();
      }
    });
    if (listed) out += u"</LI></td></tr>";
  }
  return out;
}

}  // namespace ravelin::presentation
