#include "formats/message_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <string>

#include "formats/codecs.h"
#include "platform/filenames.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "support/test_support.h"

namespace ravelin {
namespace {

std::u16string B(std::string_view s) { return BytesToByteText(s); }
std::u16string U(std::string_view s) { return FromUtf8(s); }
std::string Octets(const std::u16string& s) { return ByteTextToBytes(s); }

std::string Slurp(const std::u16string& path) {
  std::ifstream in(ToUtf8(path), std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

const std::string kDelimLine = "-------NextPart--qazWsxeDcrfV--\r\n";

TEST(MessageBuilder, ExactOutput) {
  mailHeader plain;
  plain.Content_Type = u"text";
  plain.Content_subtype = u"plain";
  plain.Message = U("Hello\r\nПривет");
  EXPECT_EQ(Octets(CreateMessageBody(plain)),
            "Content-Type: text/plain; charset=\"utf-8\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
            "Hello\r\n\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82\r\n");

  mailHeader mixed;
  mixed.Content_Type = u"multipart";
  mixed.Content_subtype = u"mixed";
  mixed.Message = u"Hi";
  AttachFile bin;
  bin.ftype = u"application";
  bin.fsubtype = u"octet-stream";
  bin.fname = u"a.bin";
  bin.fData = B(std::string("\x00\x01\x02", 3));
  bin.ContentDisposition = u"attachment";
  AttachFile img;
  img.ftype = u"image";
  img.fsubtype = u"png";
  img.Content_ID = u"<i1>";
  img.ContentLocation = u"http://x/p.png";
  img.fData = B("\x89PNG");
  mixed.attFiles = {bin, img};
  EXPECT_EQ(Octets(CreateMessageBody(mixed)),
            "Content-Type: multipart/mixed; boundary=\"-----NextPart--qazWsxeDcrfV--\"\r\n"
            "This is a multi-part message in MIME format.\r\n\r\n" +
                kDelimLine +
                "Content-Type: text/plain; charset=\"utf-8\"\r\nContent-Transfer-Encoding: 8bit\r\n\r\nHi\r\n\r\n" +
                kDelimLine +
                "Content-Type: application/octet-stream; \r\n\tname=\"=?utf-8?B?YS5iaW4=?=\"\r\n"
                "Content-Disposition: attachment; \r\n\tfilename=\"=?UTF-8?B?YS5iaW4=?=\"\r\n"
                "Content-Transfer-Encoding: base64\r\n\r\nAAEC\r\n\r\n" +
                kDelimLine +
                "Content-Type: image/png\r\nContent-Id: <i1>\r\nContent-Transfer-Encoding: base64\r\n"
                "Content-Location: http://x/p.png\r\n\r\niVBORw==\r\n\r\n");
}

TEST(MessageBuilder, PartRules) {
  // Base64 lines are 72 wide
  mailHeader big;
  big.Content_Type = u"application";
  big.Content_subtype = u"zip";
  big.Message = B(std::string(100, 'z'));
  const std::string b = Octets(CreateMessageBody(big));
  const size_t start = b.find("\r\n\r\n") + 4;
  const size_t firstEnd = b.find("\r\n", start);
  EXPECT_EQ(firstEnd - start, 72u);
  EXPECT_EQ(b.find("\r\n", firstEnd + 2) - (firstEnd + 2), 136u - 72u);

  // a Cyrillic name carries the same Base64 in both spellings
  mailHeader named = big;
  named.FileName = U("Привет");
  named.Content_Disposition = u"attachment";
  const std::string n = Octets(CreateMessageBody(named));
  EXPECT_NE(n.find("name=\"=?utf-8?B?0J/RgNC40LLQtdGC?=\""), std::string::npos) << n;
  EXPECT_NE(n.find("filename=\"=?UTF-8?B?0J/RgNC40LLQtdGC?=\""), std::string::npos) << n;

  // text with a charset keeps its octets; text without one is sent as UTF-8
  mailHeader html;
  html.Content_Type = u"text";
  html.Content_subtype = u"html";
  html.msgCodePage = u"windows-1251";
  html.Message = B("\xCF");
  EXPECT_NE(Octets(CreateMessageBody(html)).find("charset=\"windows-1251\"\r\nContent-Transfer-Encoding: base64\r\n\r\nzw==\r\n"),
            std::string::npos);
  html.msgCodePage.clear();
  html.Message = U("П");
  EXPECT_NE(Octets(CreateMessageBody(html)).find("\r\n\r\n0J8=\r\n"), std::string::npos);

  // SMTP form: only a line holding one dot is doubled
  struct Row {
    const char* text;
    const char* delim;
    const char* expected;
  };
  const Row rows[] = {
      {"a\r\n.\r\nb", "\n", "a\n..\nb"},
      {"a\r\n.\r\nb", "\r\n", "a\r\n.\r\nb"},
      {".x\r\n.y", "\n", ".x\n.y"},
      {".\r\nmid\r\n.", "\n", ".\nmid\n."},
  };
  for (const Row& r : rows) {
    mailHeader t;
    t.Content_Type = u"text";
    t.Content_subtype = u"plain";
    t.Message = B(r.text);
    const std::string delim = r.delim;
    const std::string out = Octets(CreateMessageBody(t, B(delim)));
    const std::string body = out.substr(out.find(delim + delim) + 2 * delim.size());
    EXPECT_EQ(body, std::string(r.expected) + delim) << r.text << " with delim size " << delim.size();
  }
}

TEST(MessageBuilder, RoundTripThroughReader) {
  mailHeader h;
  h.Content_Type = u"multipart";
  h.Content_subtype = u"mixed";
  h.Message = U("Текст письма\r\nsecond line");
  std::string allOctets;
  for (int i = 0; i < 256; ++i) allOctets.push_back(static_cast<char>(i));
  const struct {
    const char* type;
    const char* subtype;
    std::string name, data, charset;
  } files[] = {
      {"application", "octet-stream", "Отчёт 2024.bin", allOctets, ""},
      {"image", "jpeg", "фото.jpg", std::string(70000, '\xFF'), ""},
      {"text", "html", "", "<p>\xCF\xF0\xE8</p>", "windows-1251"},
  };
  for (const auto& f : files) {
    AttachFile a;
    a.ftype = B(f.type);
    a.fsubtype = B(f.subtype);
    a.fname = U(f.name);
    a.fData = B(f.data);
    a.ContentTransferEncoding = B(f.charset);
    a.ContentDisposition = f.name.empty() ? u"" : u"attachment";
    h.attFiles.push_back(a);
  }
  mailHeader back;
  GetSubItems(CreateMessageBody(h), back);
  // the reader keeps the line end that precedes the next delimiter's CR LF
  EXPECT_EQ(back.Message, h.Message + u"\r\n");
  ASSERT_EQ(back.attFiles.size(), h.attFiles.size());
  const size_t n = h.attFiles.size();
  for (size_t i = 0; i < n; ++i) {
    const AttachFile& want = h.attFiles[i];
    const AttachFile& got = back.attFiles[n - 1 - i];  // the reader lists parts last to first
    EXPECT_EQ(got.fData, want.fData) << "file " << i;
    EXPECT_EQ(got.fname, want.fname) << "file " << i;
    EXPECT_EQ(got.ftype, want.ftype) << "file " << i;
    EXPECT_EQ(got.fsubtype, want.fsubtype) << "file " << i;
    EXPECT_EQ(got.ContentTransferEncoding, want.ContentTransferEncoding) << "file " << i;
  }
}

// A part may hold its content as octets (large parts do); the letter built from it must
// be the one built from the same content as byte text, in both line-end forms.
TEST(MessageBuilder, PartsHeldAsOctetsBuildTheSameLetter) {
  std::string noise;
  uint32_t x = 99;
  for (int i = 0; i < 200000; ++i) {  // over several of the encoder's slices
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;
    noise.push_back(static_cast<char>(x));
  }
  const struct {
    const char* type;
    const char* subtype;
    const char* name;
    std::string data, charset;
  } files[] = {
      {"application", "pdf", "big.pdf", noise, ""},
      {"image", "gif", "", "GIF89a", ""},
      {"text", "html", "", "<p>\xCF\xF0\xE8</p>", "windows-1251"},
      {"text", "plain", "note.txt", "line\r\n.\r\nnext", "utf-8"},
      {"application", "x-empty", "empty", "", ""},
      {"multipart", "mixed", "", "a multipart nested too deep, kept whole", ""},
  };
  mailHeader asText, asOctets;
  for (mailHeader* h : {&asText, &asOctets}) {
    h->Content_Type = u"multipart";
    h->Content_subtype = u"mixed";
    h->Message = U("Текст");
    for (const auto& f : files) {
      AttachFile a;
      a.ftype = B(f.type);
      a.fsubtype = B(f.subtype);
      a.fname = B(f.name);
      if (h == &asOctets) a.fOctets = f.data;
      else a.fData = B(f.data);
      a.ContentTransferEncoding = B(f.charset);
      a.ContentDisposition = a.fname.empty() ? u"" : u"attachment";
      h->attFiles.push_back(a);
    }
  }
  for (const std::u16string delim : {u"\r\n", u"\n"}) {
    const std::u16string want = CreateMessageBody(asText, delim);
    EXPECT_EQ(CreateMessageBody(asOctets, delim), want);
    EXPECT_NE(Octets(want).find(ByteTextToBytes(SplitMsg(AsciiToBase64(B(noise.substr(0, 540))), delim, 72, 72))),
              std::string::npos);
  }
}

TEST(FileNames, CleanUpAndCollisions) {
  const struct {
    const char* in;
    const char* out;
  } rows[] = {
      {"report", "report"},       {"a/b\\c", "a_b_c"}, {"..", "_"},          {".", "_"},
      {"", "_"},                  {"name. . ", "name"}, {"\x01tab\tx", "_tab_x"}, {"what?<>|*\":", "what_______"},
      {"  lead", "lead"},         {"Письмо", "Письмо"}, {"../../etc/passwd", ".._.._etc_passwd"},
  };
  for (const auto& r : rows) EXPECT_EQ(ToUtf8(CleanFileName(U(r.in))), r.out) << r.in;
  const std::u16string longName(300, u'я');
  EXPECT_EQ(CleanFileName(longName).size(), 100u);  // 200 octets of UTF-8

  test::TempDir dir;
  CollisionHelper helper;
  std::u16string name = u"../x", ext = u"eml";
  ASSERT_TRUE(helper.Resolve(dir.u16(), name, ext, 0));
  EXPECT_EQ(name, u".._x");
  ASSERT_TRUE(WriteFileBytes(CollisionHelper::PathOf(dir.u16(), name, ext), u"first", 2));
  std::u16string again = u"../x", ext2 = u"eml";
  ASSERT_TRUE(helper.Resolve(dir.u16(), again, ext2, 0));
  EXPECT_EQ(again, u".._x (2)");
  EXPECT_EQ(Slurp(CollisionHelper::PathOf(dir.u16(), name, ext)), "first");
}

}  // namespace
}  // namespace ravelin
