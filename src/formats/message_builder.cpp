#include "formats/message_builder.h"

#include <string>

#include "formats/charsets.h"
#include "formats/codecs.h"
#include "formats/large_buffers.h"
#include "platform/funnel.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin {

namespace {

using u16 = std::u16string;
using u16v = std::u16string_view;

constexpr char16_t kCrLf[] = u"\r\n";

// "=?<charset>?B?<Base64 of the UTF-8 name>?="; the name parameter writes the charset in
// lower case, the filename parameter in capitals.
u16 EncodedName(u16v name, u16v charset) {
  u16 out = u"=?";
  out += charset;
  out += u"?B?";
  out += AsciiToBase64(ConvertCodePage(name, kCodePageUtf16, kCodePageUtf8));
  out += u"?=";
  return out;
}

// Base64 in lines of 72 characters joined by Delim, appended straight to `out`. The
// octets go through in slices of whole lines (54 octets each), so a large attachment
// needs no full-size intermediate copies: the result is the same as encoding the whole
// and cutting it into lines.
void AppendBase64Lines(u16& out, u16v octets, u16v Delim) {
  constexpr size_t kLineOctets = 54;  // 72 Base64 characters
  constexpr size_t kSlice = kLineOctets * 1024;
  for (size_t at = 0; at < octets.size(); at += kSlice) {
    if (at > 0) out += Delim;
    const u16v slice = octets.substr(at, kSlice);
    out += SplitMsg(AsciiToBase64(slice), Delim, 72, 72);
  }
}

// The same for a part held as octets: each slice is widened to byte text on its way.
void AppendBase64Lines(u16& out, std::string_view octets, u16v Delim) {
  constexpr size_t kLineOctets = 54;
  constexpr size_t kSlice = kLineOctets * 1024;
  for (size_t at = 0; at < octets.size(); at += kSlice) {
    if (at > 0) out += Delim;
    out += SplitMsg(AsciiToBase64(BytesToByteText(octets.substr(at, kSlice))), Delim, 72, 72);
  }
}

constexpr char16_t kBuildSource[] = u"Ravelin.CreateMessageBody";

// `octets`: the record's Message holds the octets of a part (an element of attFiles)
// rather than true text. `held`: the part's octets, when it holds them as such (its
// Message is then empty); only a part that goes out in Base64 is given them.
void AppendBody(u16& out, const mailHeader& mh, u16v Delim, bool octets = false, const std::string* held = nullptr);

// One part of a multipart, with its own handler: a part that fails is reported and
// keeps what it had written, and the next part follows.
void AppendPart(u16& out, const mailHeader& part, u16v Delim, bool octets, const std::string* held = nullptr) {
  ProtectedVoid(kBuildSource, [&] { AppendBody(out, part, Delim, octets, held); });
}

// A multipart: one multipart/mixed with the constant boundary, the record's text as its
// first part, then every file in order, and no closing delimiter (the reader takes the
// last part to the end).
void AppendMultipart(u16& out, const mailHeader& mh, u16v Delim) {
  out += u"; boundary=\"";
  out += kMimeBoundary;
  out += u'"';
  out += Delim;
  out += u"This is a multi-part message in MIME format.";
  out += Delim;
  out += Delim;
  const auto delimiterLine = [&] {
    out += u"--";
    out += kMimeBoundary;
    out += Delim;
  };
  if (!mh.Message.empty()) {
    delimiterLine();
    mailHeader text;
    text.Message = mh.Message;
    text.Content_Type = u"text";
    text.Content_subtype = u"plain";
    AppendPart(out, text, Delim, false);
    out += Delim;
  }
  for (const AttachFile& f : mh.attFiles) {
    delimiterLine();
    mailHeader part;
    // Octets that go out in Base64 are encoded where they are; plain text, and a
    // multipart kept whole, are written as byte text.
    const bool direct = f.HoldsOctets() && !TextEquals(f.fsubtype, u"plain") && !TextEquals(f.ftype, u"multipart");
    if (!direct) part.Message = f.HoldsOctets() ? f.DataByteText() : f.fData;
    part.msgCodePage = f.ContentTransferEncoding;
    part.Content_Type = f.ftype;
    part.Content_subtype = f.fsubtype;
    part.Content_Disposition = f.ContentDisposition;
    part.ContentLocation = f.ContentLocation;
    part.FileName = f.fname;
    part.Content_ID = f.Content_ID;
    // A part's octets go out as they are, under the charset that labels them; a text
    // part without one holds octets in the ANSI code page and is labelled so.
    if (TextEquals(part.Content_Type, u"text") && part.msgCodePage.empty())
      part.msgCodePage = CharsetNameOf(AnsiCodePage());
    AppendPart(out, part, Delim, true, direct ? &f.fOctets : nullptr);
    out += Delim;
  }
}

// The rest of a leaf part's header after its type: charset of a text, name, disposition,
// Content-Id, transfer encoding (8bit for plain text, else Base64) and location.
void AppendLeafHeaders(u16& out, const mailHeader& mh, u16v Delim, bool isText, bool plain) {
  if (isText) {
    out += u"; charset=\"";
    out += mh.msgCodePage.empty() ? u16(u"utf-8") : mh.msgCodePage;
    out += u'"';
  }
  if (!mh.FileName.empty()) {
    out += u"; ";
    out += Delim;
    out += u"\tname=\"";
    out += EncodedName(mh.FileName, u"utf-8");
    out += u'"';
  }
  out += Delim;

  if (!mh.Content_Disposition.empty()) {
    out += u"Content-Disposition: ";
    out += mh.Content_Disposition;
    if (!mh.FileName.empty()) {
      out += u"; ";
      out += Delim;
      out += u"\tfilename=\"";
      out += EncodedName(mh.FileName, u"UTF-8");
      out += u'"';
    }
    out += Delim;
  }
  if (!mh.Content_ID.empty()) {
    out += u"Content-Id: ";
    out += mh.Content_ID;
    out += Delim;
  }
  out += u"Content-Transfer-Encoding: ";
  out += plain ? u"8bit" : u"base64";
  out += Delim;
  if (!mh.ContentLocation.empty()) {
    out += u"Content-Location: ";
    out += mh.ContentLocation;
    out += Delim;
  }
}

void AppendBody(u16& out, const mailHeader& mh, u16v Delim, bool octets, const std::string* held) {
  const u16& type = mh.Content_Type;
  out += u"Content-Type: ";
  out += type;
  if (!Trim(mh.Content_subtype).empty()) {
    out += u'/';
    out += mh.Content_subtype;
  }
  if (LCase(type) == u"multipart") {
    AppendMultipart(out, mh, Delim);
    return;
  }

  const bool isText = TextEquals(type, u"text");
  const bool plain = TextEquals(mh.Content_subtype, u"plain");
  AppendLeafHeaders(out, mh, Delim, isText, plain);

  if (!plain) {
    // Parts other than text, and text that names its charset, already hold their octets;
    // text without a charset is true text and goes out as UTF-8.
    u16 converted;
    const bool trueText = isText && mh.msgCodePage.empty() && !octets;
    if (trueText) converted = ConvertCodePage(mh.Message, kCodePageUtf16, kCodePageUtf8);
    const u16v data = trueText ? u16v(converted) : u16v(mh.Message);
    out += Delim;
    if (held) AppendBase64Lines(out, std::string_view(*held), Delim);
    else AppendBase64Lines(out, data, Delim);
    out += Delim;
    return;
  }

  // Plain text goes out as UTF-8, except a part's own octets, which keep their charset.
  const auto encode = [&](const u16& text) { return octets ? text : ConvertCodePage(text, kCodePageUtf16, kCodePageUtf8); };
  out += Delim;
  if (Delim == u"\n") {
    // SMTP form: bare line feeds, and a line holding only "." doubled so that it does not
    // end the DATA phase early. Nothing else is dot-stuffed.
    const u16 lf = Replace(mh.Message, kCrLf, u"\n");
    out += encode(Replace(lf, u"\n.\n", u"\n..\n"));
  } else {
    out += encode(mh.Message);
  }
  out += Delim;
}

// Room for the whole body at once: Base64 grows its parts by a third, plus line ends.
size_t EstimateSize(const mailHeader& mh) {
  size_t n = 1024 + mh.Message.size() * 3;
  for (const AttachFile& f : mh.attFiles)
    n += 600 + (f.DataSize() + 2) / 3 * 4 + f.DataSize() / 54 * 2 + f.fname.size() * 8 + f.ContentLocation.size();
  return n;
}

u16 NumberText(int32_t n) { return Widen(std::to_string(n)); }

}  // namespace

std::u16string CreateMessageBody(const mailHeader& mheader, std::u16string_view Delim) {
  u16 out;
  ProtectedVoid(kBuildSource, [&] {
    detail::ReserveLarge(out, EstimateSize(mheader));
    AppendBody(out, mheader, Delim);
  });
  return out;
}

std::u16string GetMailer() {
  return u"Harbourdesk EmailClient v." + NumberText(RAVELIN_VERSION_MAJOR) + u"." + NumberText(RAVELIN_VERSION_MINOR) +
         u"." + NumberText(RAVELIN_VERSION_PATCH);
}

std::u16string CodeMailer(std::u16string_view Mailer) { return u"X-Mailer:" + u16(Mailer); }

std::u16string DocBlancHeader() {
  return u"<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.0 Transitional//EN\"><html><head>"
         u"<META http-equiv=Content-Type content=\"text/html\">"
         u"<META content=\"MSHTML 6.00.2600.0\" name=GENERATOR></head>";
}

std::u16string docBlanc() { return DocBlancHeader() + u"<BODY></BODY></html>"; }


}  // namespace ravelin
