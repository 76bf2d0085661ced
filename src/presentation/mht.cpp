// Loading of .mht and .eml files into a view; link clicks and status text.
#include "presentation/mht.h"

#include <set>

#include "formats/charsets.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/event_loop.h"
#include "platform/filenames.h"
#include "platform/filesystem.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::presentation {

namespace {

void WaitWhileBusy(const HtmlView& view) {
  while (view.Busy()) loop::PumpOnce();
}

// The "start" parameter of the top Content-Type, angle brackets removed.
std::u16string StartParameter(std::u16string_view text) {
  size_t end = text.find(u"\r\n\r\n");
  if (end == std::u16string_view::npos) end = text.find(u"\n\n");
  std::u16string head(text.substr(0, end == std::u16string_view::npos ? text.size() : end));
  head = Replace(Replace(head, u"\r\n ", u" "), u"\r\n\t", u" ");
  head = Replace(Replace(head, u"\n ", u" "), u"\n\t", u" ");
  for (const std::u16string& line : Split(Replace(head, u"\r\n", u"\n"), u"\n")) {
    if (line.size() > 13 && TextEquals(std::u16string_view(line).substr(0, 13), u"content-type:")) {
      std::u16string start = GetHeaderParam(std::u16string_view(line).substr(13), u"start");
      std::erase(start, u'<');
      std::erase(start, u'>');
      return Trim(start);
    }
  }
  return {};
}

std::u16string WithoutFirstAngles(std::u16string id) {
  if (size_t p = id.find(u'<'); p != std::u16string::npos) id.erase(p, 1);
  if (size_t p = id.find(u'>'); p != std::u16string::npos) id.erase(p, 1);
  return id;
}

bool IsHtmlPart(const AttachFile& a) { return TextEquals(a.ftype, u"text") && TextEquals(a.fsubtype, u"html"); }

// The octets of a part: byte text as it is; a part the reader already turned into true
// text (a named text part) as UTF-8.
std::string PartBytes(const std::u16string& data) {
  for (char16_t c : data)
    if (c > 0xFF) return ToUtf8(data);
  return ByteTextToBytes(data);
}

std::u16string PartName(const AttachFile& a, size_t index) {
  std::u16string name = a.fname;
  if (name.empty() && !a.ContentLocation.empty()) {
    std::u16string loc = a.ContentLocation;
    if (size_t q = loc.find_first_of(u"?#"); q != std::u16string::npos) loc.resize(q);
    name = fs::FileName(loc);
  }
  if (name.empty()) name = u"part" + NumToText(static_cast<double>(index + 1));
  return CleanFileName(name);
}

}  // namespace

LoadedMht LoadMHT(const std::u16string& FilePath, HtmlView& view) {
  LoadedMht out;
  if (!fs::FileExists(FilePath)) {
    WideMsgBox(module1::GetMUIStringF(u"Ravelin.LoadMHT2", u"msg", u"A file named vbCrLf  %1 vbCrLf  was not found!",
                                      {FilePath}),
               mb::kExclamation);
    return out;
  }
  out.found = true;
  mailHeader mh;
  GetSubItems(BytesToByteText(fs::ReadAll(FilePath)), mh);
  // The record keeps no parameters of the top Content-Type: the header block is read again.
  const std::u16string startId = StartParameter(BytesToByteText(fs::ReadAll(FilePath).substr(0, 65536)));

  const std::u16string folder = TmpFilesFolder();
  EnsurePrivateFolder(folder);

  // Parts are in reverse message order in the record; files are written in message order.
  std::vector<std::u16string> paths(mh.attFiles.size());
  std::set<std::u16string> used;
  for (size_t k = mh.attFiles.size(); k-- > 0;) {
    const AttachFile& a = mh.attFiles[k];
    std::u16string name = PartName(a, mh.attFiles.size() - 1 - k);
    if (!used.insert(name).second) {
      name = NumToText(static_cast<double>(mh.attFiles.size() - k)) + u"-" + name;
      used.insert(name);
    }
    paths[k] = AddPathSeparator(folder) + name;
    WriteOver(paths[k], a.HoldsOctets() ? a.fOctets : PartBytes(a.fData));
    out.files.push_back(paths[k]);
  }

  int32_t root = -1;
  if (!startId.empty()) {
    for (size_t k = 0; k < mh.attFiles.size(); ++k)
      if (IsHtmlPart(mh.attFiles[k]) && TextEquals(Trim(WithoutFirstAngles(mh.attFiles[k].Content_ID)), startId))
        root = static_cast<int32_t>(k);
  }
  if (root < 0) {
    for (size_t k = 0; k < mh.attFiles.size(); ++k)
      if (IsHtmlPart(mh.attFiles[k])) root = static_cast<int32_t>(k);  // the last is the first in message order
  }

  if (root < 0) {
    view.SetDocumentHTML(docBlanc());
    WaitWhileBusy(view);
    view.SetBodyInnerText(mh.Message);
    out.doc.html = view.DocumentHTML();
    return out;
  }

  const AttachFile& part = mh.attFiles[static_cast<size_t>(root)];
  out.html = true;
  out.root = fs::FileName(paths[static_cast<size_t>(root)]);
  std::u16string doc = part.DataByteText();
  int32_t cp = 0;
  if (!Trim(part.ContentTransferEncoding).empty()) {
    cp = GetCPfromStr(Trim(part.ContentTransferEncoding));
    doc = ConvertCodePage(doc, cp, kCodePageUtf16);
  } else {
    RecodeHTML(doc, &cp);
  }
  for (size_t k = 0; k < mh.attFiles.size(); ++k) {
    const AttachFile& a = mh.attFiles[k];
    const std::u16string target = u"file://" + GetUnicodeHTMLString(paths[k]);
    const std::u16string id = WithoutFirstAngles(a.Content_ID);
    if (!id.empty()) {
      doc = ReplaceAllText(doc, u"cid:" + id, target);
      doc = ReplaceAllText(doc, u"=\"" + id + u"\"", u"=\"" + target + u"\"");
    }
    if (!a.ContentLocation.empty() && k != static_cast<size_t>(root))
      doc = ReplaceAllText(doc, a.ContentLocation, target);
  }
  out.doc.html = doc;
  out.doc.octets = cp == kCodePageUtf16;
  view.SetDocumentHTML(doc);
  WaitWhileBusy(view);
  return out;
}

void DHTMLEdit_onclick(HtmlView& view, int32_t x, int32_t y, const std::u16string& rProject, bool isModal,
                       bool InsArcPrj) {
  const std::u16string t = Trim(view.HrefAt(x, y));
  if (t.empty()) return;
  if (t.size() >= 7 && TextEquals(std::u16string_view(t).substr(0, 7), u"mailto:")) {
    std::u16string address = t.substr(7), subject;
    const int32_t q = InStr(1, address, u"?subject=", Compare::Text);
    if (q > 0) {
      subject = Mid(address, q + 9);
      address = Left(address, q - 1);
    }
    std::erase(address, u'<');
    std::erase(address, u'>');
    auto compose = NewComposeView();
    compose->SetRecipient(address);
    compose->SetSubject(subject);
    if (!rProject.empty()) compose->SetProject(rProject, InsArcPrj ? u"Archive" : u"Prj");
    compose->Editor().SetDocumentHTML(docBlanc());
    compose->Show(isModal ? 1 : 0);
    return;
  }
  if (InStr(1, t, u"http://", Compare::Text) == 1 || InStr(1, t, u"https://", Compare::Text) == 1) {
    CurrentOpener().Open(t);
    return;
  }
  const int32_t f = InStr(1, t, u"file://", Compare::Text);
  if (f > 0) {
    const std::u16string path = Mid(t, f + 7);
    if (IsExtractedFile(path)) CurrentOpener().Open(path);
  }
}

std::u16string DHTMLEdit_GetStatusText(HtmlView& view, int32_t x, int32_t y) {
  std::u16string href = view.HrefAt(x, y);
  if (href.empty()) href = view.HrefAt(y, x);
  if (href.size() >= 7 && TextEquals(std::u16string_view(href).substr(0, 7), u"file://")) return href.substr(7);
  return href;
}

}  // namespace ravelin::presentation
