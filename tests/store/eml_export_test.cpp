// A stored letter written back as an .eml file.
#include "store/eml_export.h"

#include <gtest/gtest.h>

#include <string>

#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/filenames.h"
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

}  // namespace
}  // namespace ravelin::test
