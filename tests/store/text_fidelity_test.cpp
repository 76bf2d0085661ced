// Cyrillic text through every path a letter takes: read from an .eml file, stored, written
// out again and read back. Named text attachments in three Cyrillic charsets and one
// without a charset, a body without a charset and a raw 8-bit subject, with the ANSI code
// page of the settings file at UTF-8 and at 1251.
#include <filesystem>
#include <fstream>

#include "facade/ravelin.h"
#include "formats/charsets.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/eml_export.h"
#include "store/letter_fixture.h"

namespace ravelin::test {
namespace {

const std::u16string kHello = u"Привет";

class TextFidelity : public StoreFixture {
 protected:
  void TearDown() override {
    SetAnsiCodePage(kCodePageUtf8);
    StoreFixture::TearDown();
  }
  void UseCodePage(int32_t cp) {
    WriteIniString(u"Main", u"CodePage", NumToText(cp), module1::GetIniPath());
    module1::SharedMail().LoadCodePageSetting();
    ASSERT_EQ(AnsiCodePage(), cp);
  }
  static std::string Octets(const std::u16string& text, int32_t cp) {
    return ByteTextToBytes(ConvertCodePage(text, kCodePageUtf16, cp));
  }
  int32_t Import(const std::string& octets) {
    const std::filesystem::path file = std::filesystem::path(ToUtf8(home())) / "letter.eml";
    std::ofstream(file, std::ios::binary | std::ios::trunc) << octets;
    return module1::SharedMail().AddLetterFromEML(FromUtf8(file.string()));
  }
  // A letter whose subject and first text carry no charset (octets of the ANSI code page
  // `ansi`), with named text parts in koi8-r, windows-1251, cp866 and none.
  static std::string Message(int32_t ansi) {
    const std::string raw = Octets(kHello, ansi);
    std::string m = "From: a@example.org\r\nTo: b@example.org\r\nSubject: " + raw +
                    " =?utf-8?B?0LzQuNGA?=\r\nContent-Type: multipart/mixed; boundary=k\r\n\r\n"
                    "--k\r\nContent-Type: text/plain\r\n\r\n" + raw + ", world\r\n";
    const std::pair<const char*, int32_t> named[] = {{"koi8-r", 20866}, {"windows-1251", 1251}, {"cp866", 866}};
    for (const auto& [charset, cp] : named)
      m += std::string("--k\r\nContent-Type: text/plain; charset=") + charset + "; name=" + charset + ".txt\r\n\r\n" +
           Octets(kHello, cp) + "\r\n";
    m += "--k\r\nContent-Type: text/plain; name=none.txt\r\n\r\n" + raw + "\r\n--k--\r\n";
    return m;
  }
  // Name -> the text of each named text part, read under its own charset label.
  static std::map<std::u16string, std::u16string> NamedTexts(const mailHeader& h) {
    std::map<std::u16string, std::u16string> out;
    for (const AttachFile& f : h.attFiles)
      out[f.fname] = Trim(Replace(ConvertCodePage(f.fData, GetCPCode(f.ContentTransferEncoding), kCodePageUtf16), u"\r\n", u""));
    return out;
  }

  void RoundTrip(int32_t ansi) {
    SCOPED_TRACE("ANSI code page " + std::to_string(ansi));
    UseCodePage(ansi);
    const int32_t key = Import(Message(ansi));
    ASSERT_GT(key, 0);
    const Row row = Stored(key);
    EXPECT_EQ(Text(row, u"Subject"), kHello + u" мир");
    EXPECT_EQ(Trim(Replace(Text(row, u"Message"), u"\r\n", u"")), kHello + u", world");
    // Each stored part's octets read back under its Charset column.
    std::map<std::u16string, std::u16string> stored;
    for (const Row& f : Rows(module1::SharedMail().GetAttachRecordSource(key)))
      stored[Text(f, u"filename")] =
          Trim(Replace(ConvertCodePage(BytesToByteText(f.at(u"Data").AsBinary()), GetCPCode(Text(f, u"Charset")), kCodePageUtf16),
                       u"\r\n", u""));
    const std::map<std::u16string, std::u16string> expected = {
        {u"koi8-r.txt", kHello}, {u"windows-1251.txt", kHello}, {u"cp866.txt", kHello}, {u"none.txt", kHello}};
    EXPECT_EQ(stored, expected);

    // Written out and read again: the same texts.
    mailHeader back;
    GetSubItems(CreateEML(key), back);
    EXPECT_EQ(back.Subject, kHello + u" мир");
    EXPECT_EQ(Trim(Replace(back.Message, u"\r\n", u"")), kHello + u", world");
    EXPECT_EQ(NamedTexts(back), expected);
  }
};

TEST_F(TextFidelity, CyrillicThroughImportExportAndParseAtUtf8) { RoundTrip(kCodePageUtf8); }

TEST_F(TextFidelity, CyrillicThroughImportExportAndParseAt1251) { RoundTrip(1251); }

TEST_F(TextFidelity, SettingReadFromTheSettingsFile) {
  EXPECT_EQ(module1::GetCodePage(), kCodePageUtf8);  // no file: the default
  UseCodePage(1251);
  EXPECT_EQ(module1::GetCodePage(), 1251);
  // A number that can't read mail leaves UTF-8.
  WriteIniString(u"Main", u"CodePage", u"1200", module1::GetIniPath());
  module1::SharedMail().LoadCodePageSetting();
  EXPECT_EQ(AnsiCodePage(), kCodePageUtf8);
  WriteIniString(u"Main", u"CodePage", u"866", module1::GetIniPath());
  module1::SharedMail().AppPath(module1::SharedMail().AppPath());  // writing AppPath reads it again
  EXPECT_EQ(AnsiCodePage(), 866);
}

}  // namespace
}  // namespace ravelin::test
