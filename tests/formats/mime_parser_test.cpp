#include "formats/mime_parser.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "formats/charsets.h"
#include "runtime/text.h"

namespace ravelin {
namespace {

// Byte text of an ASCII/octet literal, and true text of UTF-8.
std::u16string B(std::string_view s) { return BytesToByteText(s); }
std::u16string U(std::string_view s) { return FromUtf8(s); }
std::string Out(const std::u16string& s) { return ToUtf8(s); }

mailHeader Parse(std::string_view octets) {
  mailHeader h;
  GetSubItems(B(octets), h);
  return h;
}

TEST(MimeParser, HeaderWalk) {
  struct Row {
    const char* message;
    std::u16string mailHeader::*field;
    std::string expected;  // UTF-8
  };
  const Row rows[] = {
      {"Subject: first\r\nSubject: second\r\n\r\nbody", &mailHeader::Subject, "first"},
      {"Subject: a\r\n b\r\n\r\nx", &mailHeader::Subject, "a b"},
      {"Subject: a\r\n b\r\n c\r\n\r\nx", &mailHeader::Subject, "ab c"},
      {"Subject: a\tb\r\n\r\nx", &mailHeader::Subject, "ab"},
      // a line without a colon belongs to the field above it
      {"Subject: one\r\ntwo\r\nFrom: f\r\n\r\nx", &mailHeader::Subject, "onetwo"},
      // a colon on a continuation line is part of the value
      {"To: a@b\r\n c: d\r\nX: y\r\n\r\nbody", &mailHeader::to, "a@b c: d"},
      {"Received: from x\r\nFrom: Ivan <i@x>\r\n\r\nb", &mailHeader::received, ""},
      {"Received: from x\r\nFrom: Ivan <i@x>\r\n\r\nb", &mailHeader::From, "Ivan <i@x>"},
      {"From: a\nSubject: lf only\n\nbody", &mailHeader::Subject, "lf only"},
      {"subject:no blank\r\n\r\n", &mailHeader::Subject, "no blank"},
      {"Message-ID: <m1@x>\r\nIn-Reply-To: <m0@x>\r\n\r\n", &mailHeader::message_id, "<m1@x>"},
      {"Message-ID: <m1@x>\r\nIn-Reply-To: <m0@x>\r\n\r\n", &mailHeader::in_reply_to, "<m0@x>"},
      {"X-Mailer: M 1.0\r\nX-Spam: yes\r\n\r\n", &mailHeader::X_Spam, "yes"},
      {"Content-ID: <img1>\r\nContent-Location:  http://x/y \r\n\r\n", &mailHeader::Content_ID, "<img1>"},
      {"Content-ID: <img1>\r\nContent-Location:  http://x/y \r\n\r\n", &mailHeader::ContentLocation, "http://x/y"},
      {"Content-Disposition: attachment; filename=\"a;b.txt\"\r\n\r\nz", &mailHeader::Content_Disposition,
       "attachment"},
      // encoded words in three Cyrillic charsets
      {"Subject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\n\r\n", &mailHeader::Subject, "Привет"},
      {"Subject: =?koi8-r?Q?=F0=D2=C9=D7=C5=D4?=\r\n\r\n", &mailHeader::Subject, "Привет"},
      {"Subject: =?windows-1251?B?z/Do4uXy?=\r\n\r\n", &mailHeader::Subject, "Привет"},
      // folded encoded words: inner folds lose their blank, the last keeps it
      {"Subject: =?utf-8?B?0J/RgNC4?=\r\n =?utf-8?B?0LLQtdGC?=\r\n\r\n", &mailHeader::Subject, "При вет"},
      {"Subject: =?utf-8?B?0J8=?=\r\n =?utf-8?B?0YDQuA==?=\r\n =?utf-8?B?0LLQtdGC?=\r\n\r\n", &mailHeader::Subject,
       "При вет"},
      // an "=?" without a further "?" fails its decoding: the field stays empty
      {"Subject: broken =?\r\nFrom: a\r\n\r\n", &mailHeader::Subject, ""},
      {"Subject: broken =?\r\nFrom: a\r\n\r\n", &mailHeader::From, "a"},
      // a head that starts with its line feed ends the walk instead of looping
      {"\nSubject: x\n\nbody", &mailHeader::Subject, "x"},
      {"no colon at all\r\n\r\nbody", &mailHeader::Subject, ""},
  };
  for (const Row& r : rows) {
    const mailHeader h = Parse(r.message);
    EXPECT_EQ(Out(h.*(r.field)), r.expected) << "message: " << r.message;
  }
}

TEST(MimeParser, ContentTypeAndParameters) {
  struct Split {
    const char* value;
    const char* type;
    const char* subtype;
  };
  const Split splits[] = {
      {" text/plain; charset=x", "text", "plain"},
      {"text/html", "text", "html"},
      {"multipart ; boundary=b", "multipart", ""},
      {"text", "text", ""},
      {"image/ png ;", "image", " png "},
  };
  for (const Split& s : splits) {
    std::u16string t = u"old", st = u"old";
    SplitContentType(B(s.value), t, st);
    EXPECT_EQ(Out(t), s.type) << s.value;
    EXPECT_EQ(Out(st), s.subtype) << s.value;
  }

  struct Param {
    const char* value;
    const char* name;
    const char* expected;
  };
  const Param params[] = {
      {"text/plain; charset=\"koi8-r\"", "charset", "koi8-r"},
      {"text/plain; CHARSET=utf-8; format=flowed", "charset", "utf-8"},
      {"attachment; filename=\"report.pdf\"", "name", "report.pdf"},  // longer name ending in "name"
      {"attachment; filename=\"a;b.txt\"", "filename", "a"},          // ";" cuts even inside quotes
      {"multipart/mixed; boundary=\"--==x==\"", "boundary", "--==x=="},
      {"text/plain", "charset", ""},
      {"x; name= \" spaced \" ", "name", "spaced"},
  };
  for (const Param& p : params)
    EXPECT_EQ(Out(GetHeaderParam(B(p.value), B(p.name))), p.expected) << p.value << " / " << p.name;
}

TEST(MimeParser, AddressesAndBounds) {
  EXPECT_EQ(Out(GetName(U("\"Ivan\" <a@b>"))), "Ivan");
  EXPECT_EQ(Out(GetName(u"a@b")), "");
  EXPECT_EQ(Out(GetEmail(u"x <a> y")), "a");
  EXPECT_EQ(Out(GetEmail(u"  plain@x  ")), "plain@x");
  EXPECT_EQ(Out(GetEmail(u"broken> <x")), "broken> <x");
  mailHeader h;
  EXPECT_EQ(GetUboundAttFiles(h), 0);
}

TEST(MimeParser, TerminatorIsCut) {
  std::u16string t = B("Subject: s\r\n\r\nline\r\n\r\n.\r\n");
  CutTerminator(t);
  EXPECT_EQ(Out(t), "Subject: s\r\n\r\nline");
  const mailHeader h = Parse("Content-Type: text/plain\r\n\r\nhello\r\n\r\n.\r\n");
  EXPECT_EQ(Out(h.Message), "hello");

  // The last terminator counts, whatever dots and near misses stand around it; one that
  // starts the text cuts it all.
  const struct {
    const char* in;
    const char* out;
  } cases[] = {
      {"a.b.\r\n\r\n.x\r\n\r\n.y. .\r\n.\r\n\r\n", "a.b.\r\n\r\n.x"},
      {"\r\n\r\n.rest", ""},
      {".\r\n\r\n", ".\r\n\r\n"},
      {"\r\n\r\n", "\r\n\r\n"},
      {"\n\r\n\r\n.", "\n"},
      {"x\r\n\r\n\xAE\r\n\r\n.", "x\r\n\r\n\xAE"},
  };
  for (const auto& c : cases) {
    std::u16string t = B(c.in);
    CutTerminator(t);
    EXPECT_EQ(t, B(c.out)) << c.in;
  }
}

TEST(MimeParser, BoundariesOfEveryShapeAreFoundFromTheEnd) {
  // Boundaries with and without signs, among text and Base64 full of their letters and of
  // near misses; the delimiter that opens the body is the first part's.
  for (const std::string boundary : {"b1", "=_a.b_", "----=_Part_1_2.3", "x+y/z", "_"}) {
    const std::string near = boundary.substr(0, boundary.size() - 1);
    const std::string text = "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" + boundary +
                             "\r\nContent-Type: text/plain\r\n\r\nfirst " + near + " -" + boundary + " " + near +
                             "\r\n--" + boundary +
                             "\r\nContent-Type: application/octet-stream; name=\"f.bin\"\r\n"
                             "Content-Transfer-Encoding: base64\r\n\r\nQUJD\r\n--" + boundary + "--\r\n" + near;
    SCOPED_TRACE(boundary);
    const mailHeader h = Parse(text);
    EXPECT_EQ(Out(h.Message), "first " + near + " -" + boundary + " " + near);
    ASSERT_EQ(h.attFiles.size(), 1u);
    EXPECT_EQ(h.attFiles[0].DataOctets(), "ABC");
  }
}

TEST(MimeParser, SinglePartBodies) {
  // quoted-printable text/plain in koi8-r arrives as true text, without a file name
  const mailHeader qp = Parse(
      "Content-Type: text/plain; charset=koi8-r\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"
      "=F0=D2=C9=D7=C5=D4 =\r\nmir");
  EXPECT_EQ(Out(qp.Message), "Привет mir");
  EXPECT_TRUE(qp.FileName.empty());
  EXPECT_EQ(Out(qp.msgCodePage), "koi8-r");
  EXPECT_TRUE(qp.attFiles.empty());

  // no Content-Type: the raw body is both the text and an attachment with an empty type
  const mailHeader none = Parse("Subject: s\r\n\r\nraw =41 body");
  EXPECT_EQ(Out(none.Message), "raw =41 body");
  ASSERT_EQ(none.attFiles.size(), 1u);
  EXPECT_EQ(Out(none.attFiles[0].ftype), "");
  EXPECT_EQ(Out(none.attFiles[0].fData), "raw =41 body");
  EXPECT_EQ(Out(none.msgBody), "raw =41 body");

  // a single non-text part becomes the one attachment, named by its disposition
  const mailHeader pdf = Parse(
      "Content-Type: application/pdf; name=\"n.pdf\"\r\nContent-Transfer-Encoding: base64\r\n"
      "Content-Disposition: attachment; filename=\"f.pdf\"\r\n\r\nJVBERg==\r\n");
  ASSERT_EQ(pdf.attFiles.size(), 1u);
  EXPECT_EQ(Out(pdf.attFiles[0].fname), "f.pdf");
  EXPECT_EQ(Out(pdf.attFiles[0].fData), "%PDF");
  EXPECT_EQ(Out(pdf.attFiles[0].ContentDisposition), "attachment");
  EXPECT_TRUE(pdf.Message.empty());
}

TEST(MimeParser, Multiparts) {
  const std::string alternative =
      "Subject: alt\r\nContent-Type: multipart/alternative; boundary=\"b1\"\r\n\r\n"
      "preamble is not read\r\n"
      "--b1\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nplain text\r\n"
      "--b1\r\nContent-Type: text/html; charset=windows-1251\r\nContent-Transfer-Encoding: base64\r\n\r\n"
      "PGI+z/Do4uXyPC9iPg==\r\n"
      "--b1--\r\nepilogue\r\n";
  const mailHeader alt = Parse(alternative);
  EXPECT_EQ(Out(alt.Content_Type), "multipart");
  EXPECT_EQ(Out(alt.Content_subtype), "alternative");
  EXPECT_EQ(Out(alt.boundary), "b1");
  EXPECT_EQ(Out(alt.Message), "plain text");
  ASSERT_EQ(alt.attFiles.size(), 1u);
  EXPECT_EQ(Out(alt.attFiles[0].ftype), "text");
  EXPECT_EQ(Out(alt.attFiles[0].fsubtype), "html");
  EXPECT_EQ(alt.attFiles[0].fData, B("<b>\xCF\xF0\xE8\xE2\xE5\xF2</b>"));  // octets, not converted
  EXPECT_EQ(Out(alt.attFiles[0].ContentTransferEncoding), "windows-1251");

  // multipart/related: a cid: image, then a nested alternative; the HTML ends up after the image
  const std::string related =
      "Content-Type: multipart/related; boundary=outer\r\n\r\n"
      "--outer\r\nContent-Type: multipart/alternative; boundary=inner\r\n\r\n"
      "--inner\r\nContent-Type: text/plain; charset=koi8-r\r\n\r\n\xF0\xD2\xC9\xD7\xC5\xD4\r\n"
      "--inner\r\nContent-Type: text/html; charset=utf-8\r\n\r\n<img src=cid:i1>\r\n"
      "--inner--\r\n\r\n"
      "--outer\r\nContent-Type: image/png; name=\"p.png\"\r\nContent-ID: <i1>\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\niVBORw==\r\n"
      "--outer--\r\n";
  const mailHeader rel = Parse(related);
  EXPECT_EQ(Out(rel.Message), "Привет");
  ASSERT_EQ(rel.attFiles.size(), 2u);
  EXPECT_EQ(Out(rel.attFiles[0].ftype + u"/" + rel.attFiles[0].fsubtype), "image/png");
  EXPECT_EQ(Out(rel.attFiles[0].Content_ID), "<i1>");
  EXPECT_EQ(Out(rel.attFiles[0].fname), "p.png");
  EXPECT_EQ(rel.attFiles[0].fData, B("\x89PNG"));
  EXPECT_EQ(Out(rel.attFiles[1].fsubtype), "html");
  EXPECT_EQ(Out(rel.attFiles[1].fData), "<img src=cid:i1>");

  // no closing delimiter: the last part runs to the end of the text; files come back in
  // reverse order of the message; a delimiter inside a line still counts
  const std::string open =
      "Content-Type: multipart/mixed; boundary=zz\r\n\r\n"
      "--zz\r\nContent-Type: text/plain\r\n\r\nhello\r\n"
      "--zz\r\nContent-Type: application/octet-stream; name=a.bin\r\n\r\nAAA\r\n"
      "text before --zz\r\nContent-Type: application/octet-stream; name=b.bin\r\n\r\nBBB";
  const mailHeader o = Parse(open);
  EXPECT_EQ(Out(o.Message), "hello");
  ASSERT_EQ(o.attFiles.size(), 2u);
  EXPECT_EQ(Out(o.attFiles[0].fname), "b.bin");
  EXPECT_EQ(Out(o.attFiles[0].fData), "BBB");
  EXPECT_EQ(Out(o.attFiles[1].fname), "a.bin");
  // the two characters ahead of a delimiter are taken for its line end
  EXPECT_EQ(Out(o.attFiles[1].fData), "AAA\r\ntext befor");

  // of two unnamed text parts the first stays; a named one becomes a text/plain file
  const mailHeader two = Parse(
      "Content-Type: multipart/mixed; boundary=q\r\n\r\n"
      "--q\r\nContent-Type: text/plain\r\n\r\nfirst\r\n"
      "--q\r\nContent-Type: text/plain\r\n\r\nsecond\r\n"
      "--q\r\nContent-Type: text/plain; name=\"n.txt\"\r\nContent-ID: <c>\r\n\r\nnamed\r\n--q--");
  EXPECT_EQ(Out(two.Message), "first");
  ASSERT_EQ(two.attFiles.size(), 1u);
  EXPECT_EQ(Out(two.attFiles[0].fname), "n.txt");
  EXPECT_EQ(Out(two.attFiles[0].fData), "named");
  EXPECT_EQ(Out(two.attFiles[0].ftype + u"/" + two.attFiles[0].fsubtype), "text/plain");
  EXPECT_EQ(Out(two.attFiles[0].Content_ID), "<c>");

  // a repeated multipart Content-Type splits the body at each field, the lower one first
  const mailHeader twice = Parse(
      "Content-Type: multipart/mixed; boundary=one\r\nContent-Type: multipart/mixed; boundary=two\r\n\r\n"
      "--one\r\nContent-Type: application/x; name=a\r\n\r\nA\r\n"
      "--two\r\nContent-Type: application/x; name=b\r\n\r\nB\r\n--two--\r\n--one--\r\n");
  EXPECT_EQ(Out(twice.boundary), "one");  // the first field of the message is met last
  ASSERT_EQ(twice.attFiles.size(), 2u);
  EXPECT_EQ(Out(twice.attFiles[0].fname), "b");
  EXPECT_EQ(Out(twice.attFiles[1].fname), "a");
  EXPECT_EQ(Out(twice.attFiles[1].fData), "A\r\n--two\r\nContent-Type: application/x; name=b\r\n\r\nB\r\n--two--");

  // a file stored with bare line feeds loses only its line feed ahead of a delimiter
  const mailHeader lf = Parse(
      "Content-Type: multipart/mixed; boundary=q\n\n"
      "--q\nContent-Type: text/plain\n\nHello\n"
      "--q\nContent-Type: application/octet-stream; name=x.bin\n\nXYZ\n--q--\n");
  EXPECT_EQ(Out(lf.Message), "Hello");
  ASSERT_EQ(lf.attFiles.size(), 1u);
  EXPECT_EQ(Out(lf.attFiles[0].fData), "XYZ");
}

// A named text part keeps its octets and the charset that reads them; text without a
// charset, raw 8-bit header text and a body without a Content-Type are read in the ANSI
// code page (UTF-8 unless the user chose another).
TEST(MimeParser, TextWithAndWithoutCharsets) {
  const struct {
    std::string charset, octets;
  } named[] = {
      {"koi8-r", "\xF0\xD2\xC9\xD7\xC5\xD4"},
      {"windows-1251", "\xCF\xF0\xE8\xE2\xE5\xF2"},
      {"cp866", "\x8F\xE0\xA8\xA2\xA5\xE2"},
      {"utf-8", "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82"},
  };
  for (const auto& n : named) {
    const mailHeader h = Parse("Content-Type: multipart/mixed; boundary=k\r\n\r\n--k\r\n"
                               "Content-Type: text/plain; charset=" + n.charset + "; name=notes.txt\r\n\r\n" +
                               n.octets + "\r\n--k--\r\n");
    ASSERT_EQ(h.attFiles.size(), 1u) << n.charset;
    EXPECT_EQ(h.attFiles[0].fData, B(n.octets)) << n.charset;
    EXPECT_EQ(Out(h.attFiles[0].ContentTransferEncoding), n.charset);
    EXPECT_EQ(Out(ConvertCodePage(h.attFiles[0].fData, GetCPCode(h.attFiles[0].ContentTransferEncoding), 1200)),
              "Привет");
  }

  const std::string utf8 = "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82";  // Привет
  const std::string cp1251 = "\xCF\xF0\xE8\xE2\xE5\xF2";
  const auto unlabeled = [](const std::string& octets) {
    return Parse("Subject: " + octets + " =?utf-8?B?0LzQuNGA?=\r\nFrom: " + octets + " <a@b>\r\n\r\n" + octets);
  };
  const auto namedUnlabeled = [](const std::string& octets) {
    return Parse("Content-Type: multipart/mixed; boundary=k\r\n\r\n--k\r\n"
                 "Content-Type: text/plain; name=n.txt\r\n\r\n" + octets + "\r\n--k--\r\n");
  };
  {
    const mailHeader h = unlabeled(utf8);
    EXPECT_EQ(Out(h.Subject), "Привет мир");
    EXPECT_EQ(Out(h.From), "Привет <a@b>");
    EXPECT_EQ(Out(h.Message), "Привет");
    // Octets that are no UTF-8 are kept as they are rather than lost.
    EXPECT_EQ(h.Message.size(), 6u);
    EXPECT_EQ(unlabeled(cp1251).Message, B(cp1251));
    EXPECT_EQ(Out(Parse("Subject: \xC9mile\r\n\r\n").Subject), "Émile");
    const mailHeader n = namedUnlabeled(cp1251);
    ASSERT_EQ(n.attFiles.size(), 1u);
    EXPECT_EQ(Out(n.attFiles[0].ContentTransferEncoding), "utf-8");
    EXPECT_EQ(ConvertCodePage(n.attFiles[0].fData, kCodePageUtf8, 1200), B(cp1251));
  }
  const int32_t saved = AnsiCodePage();
  ASSERT_TRUE(SetAnsiCodePage(1251));
  {
    const mailHeader h = unlabeled(cp1251);
    EXPECT_EQ(Out(h.Subject), "Привет мир");
    EXPECT_EQ(Out(h.From), "Привет <a@b>");
    EXPECT_EQ(Out(h.Message), "Привет");
    const mailHeader n = namedUnlabeled(cp1251);
    ASSERT_EQ(n.attFiles.size(), 1u);
    EXPECT_EQ(n.attFiles[0].fData, B(cp1251));  // the octets it came with
    EXPECT_EQ(Out(n.attFiles[0].ContentTransferEncoding), "windows-1251");
  }
  SetAnsiCodePage(saved);
}

TEST(MimeParser, CyrillicFileNames) {
  struct Row {
    const char* encodedName;
    const char* charset;
  };
  const Row rows[] = {
      {"=?koi8-r?B?8NLJ18XU?=", "koi8-r"},
      {"=?windows-1251?Q?=CF=F0=E8=E2=E5=F2?=", "windows-1251"},
      {"=?UTF-8?B?0J/RgNC40LLQtdGC?=", "utf-8"},
  };
  for (const Row& r : rows) {
    const std::string msg = std::string("Content-Type: multipart/mixed; boundary=k\r\n\r\n--k\r\n") +
                            "Content-Type: application/octet-stream; name=\"" + r.encodedName + ".doc\"\r\n" +
                            "Content-Disposition: attachment; filename=\"" + r.encodedName + ".doc\"\r\n\r\n" +
                            "data\r\n--k--\r\n";
    const mailHeader h = Parse(msg);
    ASSERT_EQ(h.attFiles.size(), 1u) << r.charset;
    EXPECT_EQ(Out(h.attFiles[0].fname), "Привет.doc") << r.charset;
  }
}

// Builds a message whose multiparts nest `depth` levels deep with a text at the bottom.
std::string Nested(int depth) {
  std::string open, close;
  for (int i = 0; i < depth; ++i) {
    const std::string b = "b" + std::to_string(i) + "x";  // no boundary is a prefix of another
    open += "Content-Type: multipart/mixed; boundary=" + b + "\r\n\r\n--" + b + "\r\n";
    close = "\r\n--" + b + "--" + close;
  }
  return open + "Content-Type: text/plain\r\n\r\ndeep" + close;
}

// A host can tighten the reader's bounds; each one cuts where it says and no further.
TEST(MimeParser, LimitsAreSettings) {
  const ReaderLimits defaults = CurrentReaderLimits();
  ReaderLimits tight;
  tight.maxDepth = 2;
  tight.maxParts = 3;
  tight.maxHeaderUnits = 60;
  SetReaderLimits(tight);
  EXPECT_EQ(Out(Parse(Nested(2)).Message), "deep");
  EXPECT_EQ(Out(Parse(Nested(3)).attFiles.at(0).ftype), "multipart");
  std::string five = "Content-Type: multipart/mixed; boundary=p\r\n\r\n";
  for (int i = 0; i < 5; ++i) five += "--p\r\nContent-Type: application/x; name=f" + std::to_string(i) + "\r\n\r\nx\r\n";
  const mailHeader m = Parse(five + "--p--");
  ASSERT_EQ(m.attFiles.size(), 3u);  // the last three
  EXPECT_EQ(Out(m.attFiles.back().fname), "f2");
  const mailHeader h = Parse("Subject: kept\r\nX-Pad: 01234567890123456789012345678901234567890123456789\r\nFrom: beyond@x\r\n\r\nb");
  EXPECT_EQ(Out(h.Subject), "kept");
  EXPECT_EQ(Out(h.From), "");
  SetReaderLimits(defaults);
}

// Parts from the size a host sets are kept as octets; what a reader of the part sees
// (its fields and octets) is the same either way.
TEST(MimeParser, LargePartsAreKeptAsOctets) {
  const std::string letter =
      "Subject: parts\r\nContent-Type: multipart/mixed; boundary=\"m\"\r\n\r\n"
      "--m\r\nContent-Type: text/plain; charset=koi8-r\r\n\r\n\xF0\xD2\xC9\xD7\xC5\xD4\r\n"
      "--m\r\nContent-Type: image/png; name=\"p.png\"\r\nContent-ID: <i1>\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\niVBORw0KGgoAAAAN\r\nSUhEUgAAAAEAAAAB\r\n"
      "--m\r\nContent-Type: application/octet-stream; name=raw.bin\r\n"
      "Content-Transfer-Encoding: binary\r\n\r\n\x01\x02\xFF\x80 raw\r\n"
      "--m\r\nContent-Type: text/html; charset=windows-1251\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n"
      "<b>=CF=F0=E8</b>=\r\n!\r\n"
      "--m\r\nContent-Type: application/x-tiny\r\nContent-Transfer-Encoding: base64\r\n\r\nQU=\r\n"
      "--m\r\nContent-Type: application/x-bad\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\nbad=4\r\n"
      "--m\r\nContent-Type: text/plain; name=\"note.txt\"; charset=utf-8\r\n\r\nnamed\r\n"
      "--m--\r\n";
  const mailHeader usual = Parse(letter);
  const ReaderLimits defaults = CurrentReaderLimits();
  ReaderLimits low = defaults;
  low.octetPartUnits = 0;
  SetReaderLimits(low);
  const mailHeader asOctets = Parse(letter);
  SetReaderLimits(defaults);

  EXPECT_EQ(Out(asOctets.Message), "Привет");
  ASSERT_EQ(asOctets.attFiles.size(), 6u);
  ASSERT_EQ(usual.attFiles.size(), 6u);
  for (size_t k = 0; k < usual.attFiles.size(); ++k) {
    const AttachFile& a = usual.attFiles[k];
    const AttachFile& b = asOctets.attFiles[k];
    EXPECT_FALSE(a.HoldsOctets()) << k;
    EXPECT_EQ(b.DataOctets(), a.DataOctets()) << k;
    EXPECT_EQ(b.DataSize(), a.fData.size()) << k;
    EXPECT_EQ(b.DataByteText(), a.fData) << k;
    EXPECT_EQ(b.fname, a.fname) << k;
    EXPECT_EQ(b.ftype + u"/" + b.fsubtype, a.ftype + u"/" + a.fsubtype) << k;
    EXPECT_EQ(b.Content_ID, a.Content_ID) << k;
    EXPECT_EQ(b.ContentTransferEncoding, a.ContentTransferEncoding) << k;
  }
  // Parts are listed last to first: the named text, the bad one, the tiny one, the HTML,
  // raw, PNG.
  EXPECT_EQ(asOctets.attFiles[5].fOctets, std::string("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x01\0\0\0\x01", 24));
  EXPECT_EQ(asOctets.attFiles[4].fOctets, std::string("\x01\x02\xFF\x80 raw"));
  EXPECT_TRUE(asOctets.attFiles[4].fData.empty());
  EXPECT_EQ(asOctets.attFiles[3].fOctets, "<b>\xCF\xF0\xE8</b>!");
  // Base64 too short to decode and quoted-printable that fails keep their text.
  EXPECT_EQ(Out(asOctets.attFiles[2].fData), "QU=");
  EXPECT_FALSE(asOctets.attFiles[2].HoldsOctets());
  EXPECT_EQ(Out(asOctets.attFiles[1].fData), "bad=4");
  EXPECT_FALSE(asOctets.attFiles[1].HoldsOctets());

  // A body handed in as true text has no octets: such a part keeps its text.
  SetReaderLimits(low);
  mailHeader wide;
  GetSubItems(std::u16string_view(u"Content-Type: application/x-text; name=w\r\n\r\nЖук"), wide);
  SetReaderLimits(defaults);
  ASSERT_EQ(wide.attFiles.size(), 1u);
  EXPECT_EQ(wide.attFiles[0].fData, u"Жук");
  EXPECT_FALSE(wide.attFiles[0].HoldsOctets());
}

TEST(MimeParser, HostileShapesStayBounded) {
  // nesting within the bound reaches the text; beyond it the rest is one opaque part
  const mailHeader shallow = Parse(Nested(CurrentReaderLimits().maxDepth));
  EXPECT_EQ(Out(shallow.Message), "deep");
  EXPECT_TRUE(shallow.attFiles.empty());
  const mailHeader deep = Parse(Nested(5000));
  EXPECT_TRUE(deep.Message.empty());
  ASSERT_EQ(deep.attFiles.size(), 1u);
  EXPECT_EQ(Out(deep.attFiles[0].ftype), "multipart");
  EXPECT_NE(Out(deep.attFiles[0].fData).find("deep"), std::string::npos);

  // thousands of parts, thousands of folded address lines, a line of nothing but delimiters
  std::string many = "Content-Type: multipart/mixed; boundary=p\r\n\r\n";
  for (int i = 0; i < 20000; ++i) many += "--p\r\nContent-Type: application/x; name=f" + std::to_string(i) + "\r\n\r\nx\r\n";
  many += "--p--";
  const mailHeader m = Parse(many);
  ASSERT_EQ(m.attFiles.size(), 20000u);
  EXPECT_EQ(Out(m.attFiles.front().fname), "f19999");
  EXPECT_EQ(Out(m.attFiles.back().fname), "f0");

  std::string to = "To: a0@x", unfolded = "a0@x";
  for (int i = 1; i < 50000; ++i) {
    to += ",\r\n a" + std::to_string(i) + "@x";
    unfolded += (i + 1 < 50000 ? "," : ", ") + ("a" + std::to_string(i) + "@x");
  }
  const mailHeader t = Parse(to + "\r\nSubject: s\r\n\r\nb");
  EXPECT_EQ(Out(t.Subject), "s");
  EXPECT_EQ(Out(t.to), unfolded);  // each fold loses its blank but the last one

  // a Content-Type repeated at every level would split each level twice, and again below
  std::string open, close;
  for (int i = 0; i < 40; ++i) {
    const std::string b = "r" + std::to_string(i) + "x";
    open += "Content-Type: multipart/mixed; boundary=" + b + "\r\nContent-Type: multipart/mixed; boundary=" + b +
            "\r\n\r\n--" + b + "\r\n";
    close = "\r\n--" + b + "--" + close;
  }
  const mailHeader repeated = Parse(open + "Content-Type: text/plain\r\n\r\nbottom" + close);
  EXPECT_EQ(Out(repeated.Message), "bottom");

  std::string dashes = "Content-Type: multipart/mixed; boundary=d\r\n\r\n";
  for (int i = 0; i < 100000; ++i) dashes += "--d";
  const mailHeader d = Parse(dashes);
  EXPECT_TRUE(d.Message.empty());

  // arbitrary junk never throws
  const char* junk[] = {"", ":", "\r\n\r\n", "\n\n", "::::\r\n :\r\n\t:", "Content-Type: multipart/x; boundary=\r\n\r\n----",
                        "Content-Type: multipart/x; boundary=\"\r\n\r\n--\"--", "Content-Transfer-Encoding: quoted-printable\r\n"
                        "Content-Type: text/plain\r\n\r\nab=4"};
  for (const char* j : junk) {
    mailHeader h;
    EXPECT_NO_THROW(GetSubItems(B(j), h)) << j;
  }
}

// The inputs the fuzzer once found crashing; each must now parse quietly.
TEST(MimeParser, FuzzRegressions) {
  const std::filesystem::path dir = std::filesystem::path(RAVELIN_SOURCE_DIR) / "tests/formats/fuzz_regressions";
  if (!std::filesystem::exists(dir)) GTEST_SKIP() << "no regressions kept";
  for (const auto& e : std::filesystem::directory_iterator(dir)) {
    if (!e.is_regular_file()) continue;
    std::ifstream in(e.path(), std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    mailHeader h;
    EXPECT_NO_THROW(GetSubItems(B(ss.str()), h)) << e.path();
  }
}

}  // namespace
}  // namespace ravelin
