// What a host does with the store, end to end through the façade: import .eml files,
// find them by folder, delete and restore, purge link by link, and the folder chosen by
// the user's accounts.
#include "platform/filesystem.h"
#include "runtime/vbstring.h"
#include "store/letter_fixture.h"
#include "store/letters.h"
#include "store/record_sources.h"

namespace ravelin::test {
namespace {

const std::string kWithAttachments =
    "From: Bob <bob@x.org>\r\nTo: Ann <ann@y.org>\r\nSubject: Figures\r\n"
    "Content-Type: multipart/mixed; boundary=\"b1\"\r\n\r\n"
    "--b1\r\nContent-Type: text/plain; charset=us-ascii\r\n\r\nSee the figures.\r\n"
    "--b1\r\nContent-Type: text/csv; name=\"f.csv\"\r\nContent-Disposition: attachment; filename=\"f.csv\"\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\nYSxiDQoxLDINCg==\r\n"
    "--b1\r\nContent-Type: image/gif; name=\"p.gif\"\r\nContent-Transfer-Encoding: base64\r\n\r\n"
    "R0lGODlhAQABAAAAACw=\r\n--b1--\r\n";

class FlowsTest : public StoreFixture {
 protected:
  Ravelin& mail() { return module1::SharedMail(); }
  int32_t Import(const std::string& eml, const std::u16string& project = {}, int32_t pack = 0) {
    const std::u16string path = HomeFile("letter" + std::to_string(++files_) + ".eml");
    fs::WriteAll(path, eml);
    return mail().AddLetterFromEML(path, project, false, pack);
  }
  int files_ = 0;
};

TEST_F(FlowsTest, ImportFindDeleteRestore) {
  const int32_t key = Import(kWithAttachments);
  ASSERT_GT(key, 0);
  Letters inbox;
  inbox.MailFolder(u"Inbox");
  auto letter = inbox.Item(Value(u"L" + NumToText(key)));
  ASSERT_NE(letter, nullptr);
  EXPECT_EQ(letter->Subject(), u"Figures");
  EXPECT_EQ(letter->MailFolder(), u"Inbox");
  auto files = Rows(mail().GetAttachRecordSource(key));
  ASSERT_EQ(files.size(), 2u);
  std::map<std::u16string, std::string> data;
  for (auto& f : files) data[Text(f, u"filename")] = f.at(u"Data").AsBinary();
  EXPECT_EQ(data[u"f.csv"], "a,b\r\n1,2\r\n");
  EXPECT_EQ(data[u"p.gif"].substr(0, 6), "GIF89a");

  mail().DeleteLetter2(key);
  Letters recycle;
  recycle.MailFolder(u"Recycle");
  EXPECT_NE(recycle.Item(Value(u"L" + NumToText(key))), nullptr);
  mail().RestoreLetter2(key);
  EXPECT_EQ(Text(Stored(key), u"MailFolder"), u"Inbox");
  EXPECT_EQ(Count(mail().GetAttachRecordSource(key)), 2u);
  EXPECT_TRUE(host().Reports().empty());
}

TEST_F(FlowsTest, PurgeLinkByLink) {
  const int32_t pack = AddPack(u"Quarter");
  const int32_t key = Import(kWithAttachments, u"Work", pack);
  ASSERT_GT(key, 0);
  EXPECT_EQ(mail().DeleteLetter2(key, u"", false, pack, 1), 1);  // still in the project
  EXPECT_FALSE(Stored(key).empty());
  EXPECT_EQ(mail().DeleteLetter2(key, u"Work", false, 0, 1), 0);  // the last link: gone
  EXPECT_TRUE(Stored(key).empty());
  EXPECT_EQ(Count(mail().GetAttachRecordSource(key)), 0u);
  EXPECT_EQ(Count(u"Select * from Projects"), 0u);
  EXPECT_EQ(Count(u"Select * from PackItems"), 0u);
}

TEST_F(FlowsTest, AccountsDecideInboxOrSent) {
  AddAccount(u"ann", u"y.org");
  const int32_t received = Import("From: bob@x.org\r\nTo: Ann <ann@y.org>\r\nSubject: in\r\n\r\nhi\r\n");
  const int32_t sent = Import("From: Ann <ANN@Y.ORG>\r\nTo: bob@x.org\r\nSubject: out\r\n\r\nhi\r\n");
  EXPECT_EQ(Text(Stored(received), u"MailFolder"), u"Inbox");
  EXPECT_EQ(Text(Stored(sent), u"MailFolder"), u"Sent");
}

}  // namespace
}  // namespace ravelin::test
