// A stored letter written back as an .eml file.
#include "store/eml_export.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

#include "formats/codecs.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/filenames.h"
#include "platform/filesystem.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/letter_fixture.h"
#include "support/test_support.h"

namespace ravelin::test {
namespace {

class EmlExport : public StoreFixture {};

// A stored letter comes back as .eml with its top headers, its text and its files in
// the order of the original message; saving never replaces an existing file.
TEST_F(EmlExport, StoredLetterToFile) {
  mailHeader original;
  GetSubItems(BytesToByteText("Subject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\nFrom: Ivan <i@x.org>\r\nTo: p@y.org\r\n"
                              "Date: Mon, 2 Mar 2026 10:11:12 +0000\r\n"
                              "Content-Type: multipart/mixed; boundary=zz\r\n\r\n"
                              "--zz\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nbody text\r\n"
                              "--zz\r\nContent-Type: application/pdf; name=first.pdf\r\n"
                              "Content-Transfer-Encoding: base64\r\n\r\nAAEC\r\n"
                              "--zz\r\nContent-Type: image/png; name=second.png\r\nContent-ID: <c2>\r\n"
                              "Content-Transfer-Encoding: base64\r\n\r\niVBORw==\r\n--zz--\r\n"),
              original);
  int32_t folder = 0;
  const std::u16string key = store::AddLetterFromMailHeader(original, folder);
  ASSERT_FALSE(key.empty());
  const int32_t n = static_cast<int32_t>(Val(key));

  TempDir out;
  CreateEMLOptions o;
  o.FolderPath = out.u16();
  o.AutoGenerateFileName = true;
  const std::u16string eml = CreateEML(n, o);
  const std::string text = ByteTextToBytes(eml);
  EXPECT_EQ(text.rfind("Subject: =?utf-8?B?0J/RgNC40LLQtdGC?=\r\nDate: ", 0), 0u) << text.substr(0, 200);
  EXPECT_NE(text.find("\r\nFrom: =?utf-8?B?"), std::string::npos);
  EXPECT_NE(text.find("\r\nX-Mailer:Harbourdesk EmailClient v."), std::string::npos);
  EXPECT_EQ(ToUtf8(o.WinName), "Message " + ToUtf8(key));
  EXPECT_EQ(ToUtf8(o.WinExt), "eml");

  mailHeader back;
  GetSubItems(eml, back);
  EXPECT_EQ(ToUtf8(back.Subject), "Привет");
  ASSERT_EQ(back.attFiles.size(), 2u);
  EXPECT_EQ(ToUtf8(back.attFiles[0].fname), "second.png");  // reader order: last part first, as stored
  EXPECT_EQ(ToUtf8(back.attFiles[1].fname), "first.pdf");
  EXPECT_EQ(back.attFiles[1].fData, BytesToByteText(std::string("\x00\x01\x02", 3)));

  const std::u16string first = CollisionHelper::PathOf(out.u16(), o.WinName, u"eml");
  EXPECT_EQ(ReadFileBytes(first), eml);
  CreateEMLOptions again;
  again.FolderPath = out.u16();
  again.AutoGenerateFileName = true;
  CreateEML(n, again);
  EXPECT_EQ(ToUtf8(again.WinName), "Message " + ToUtf8(key) + " (2)");
  EXPECT_EQ(ReadFileBytes(first), eml);

  CreateEMLOptions none;
  EXPECT_EQ(CreateEML(n + 1000, none), u"");
}

// A part large enough to be held as octets all the way: stored, exported and read back
// with every octet; refused whole when it is over what one value can hold.
TEST_F(EmlExport, LargePartKeepsEveryOctetThroughImportAndExport) {
  std::string big;
  uint32_t x = 4242;
  for (int i = 0; i < 1500000; ++i) {
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;
    big.push_back(static_cast<char>(x >> 3));
  }
  const std::string letter =
      "Subject: large\r\nFrom: a@x.org\r\nTo: b@y.org\r\n"
      "Content-Type: multipart/mixed; boundary=zz\r\n\r\n"
      "--zz\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nsee the file\r\n"
      "--zz\r\nContent-Type: application/octet-stream; name=big.bin\r\nContent-Disposition: attachment\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\n" +
      ByteTextToBytes(SplitMsg(AsciiToBase64(BytesToByteText(big)), u"\r\n", 76, 76)) +
      "\r\n--zz\r\nContent-Type: image/png; name=small.png\r\n"
      "Content-Transfer-Encoding: base64\r\n\r\niVBORw==\r\n--zz--\r\n";
  const int32_t key = store::AddLetterFromText(BytesToByteText(letter));
  ASSERT_GT(key, 0);
  const auto files = Rows(u"Select * from Files where N=" + NumToText(key) + u";");
  ASSERT_EQ(files.size(), 2u);
  std::map<std::string, std::string> stored;
  for (const Row& r : files) stored[ToUtf8(r.at(u"filename").AsText())] = r.at(u"Data").AsBinary();
  EXPECT_TRUE(stored.at("big.bin") == big) << "the large part's octets changed on the way in";
  EXPECT_EQ(stored.at("small.png"), "\x89PNG");

  TempDir out;
  CreateEMLOptions o;
  o.FolderPath = out.u16();
  o.AutoGenerateFileName = true;
  const std::u16string eml = CreateEML(key, o);
  EXPECT_TRUE(fs::ReadAll(CollisionHelper::PathOf(out.u16(), o.WinName, u"eml")) == ByteTextToBytes(eml));
  mailHeader back;
  GetSubItems(eml, back);
  ASSERT_EQ(back.attFiles.size(), 2u);
  EXPECT_EQ(ToUtf8(back.attFiles[1].fname), "big.bin");
  EXPECT_TRUE(back.attFiles[1].DataOctets() == big) << "the large part's octets changed on the way out";
  EXPECT_EQ(back.attFiles[0].DataOctets(), "\x89PNG");

  auto& tuning = dao::Engine().tuning();
  const int64_t saved = tuning.maxValueBytes;
  tuning.maxValueBytes = 1000000;
  mailHeader again;
  GetSubItems(BytesToByteText(letter), again);
  ASSERT_TRUE(again.attFiles.at(1).HoldsOctets());
  const size_t before = Rows(u"Select key from Letters;").size();
  try {
    int32_t folder = 0;
    store::AddLetterFromMailHeader(again, folder);
    ADD_FAILURE() << "a part over one value's limit was stored";
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), dao::dberr::kFieldTooSmall);
    EXPECT_NE(e.Description().find(u"big.bin"), std::u16string::npos) << ToUtf8(e.Description());
  }
  tuning.maxValueBytes = saved;
  EXPECT_EQ(Rows(u"Select key from Letters;").size(), before);
}

}  // namespace
}  // namespace ravelin::test
