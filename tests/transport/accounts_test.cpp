// Stored passwords, the preset providers and the folder of an incoming letter.
#include <gtest/gtest.h>

#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "store/store_fixture.h"
#include "support/test_support.h"
#include "transport/accounts.h"

namespace ravelin::transport {
namespace {

std::u16string AllOctets() {
  std::u16string s;
  for (int c = 0; c < 256; ++c) s.push_back(static_cast<char16_t>(c));
  return s;
}

TEST(PasswordTest, EveryMethodGivesTheTextBack) {
  const cPassw& p = SharedPassw();
  const std::u16string texts[] = {u"", u"a", u"ab", u"abc", u"secret!", u"pa55w0rd", AllOctets()};
  for (int32_t method : {0, 1, 2, 3, 4, 5, 6, 7, 12}) {
    for (const auto& t : texts) {
      const std::u16string coded = p.CodePassword(t, method);
      EXPECT_EQ(p.DecodePassword(coded, method), t) << "method " << method << " length " << t.size();
      if (method != 0 && !t.empty()) {
        EXPECT_NE(coded, t);
      }
    }
  }
  EXPECT_EQ(p.CodePassword(u"", 6), u"");
  EXPECT_EQ(p.DecodePassword(u"", 6), u"");
}

TEST(PasswordTest, TheScramblingsAndTheStoredForm) {
  const cPassw& p = SharedPassw();
  EXPECT_EQ(p.strM2(u"abc"), u"bac");
  EXPECT_EQ(p.strM2(u"abcd"), u"badc");
  EXPECT_EQ(p.strReverse(u"abc"), u"cba");
  EXPECT_EQ(p.strMirror(p.strMirror(AllOctets())), AllOctets());
  EXPECT_EQ(p.strMirror(std::u16string(u"\x00\x7f\xff", 3)), std::u16string(u"\xff\x80\x00", 3));
  // Method 0 stores the text itself; the others store Base64 of the scrambled octets.
  EXPECT_EQ(p.CodePassword(u"secret", 0), u"secret");
  EXPECT_EQ(p.CodePassword(u"secret", 1), u"dGVyY2Vz");            // "terces"
  EXPECT_EQ(p.CodePassword(u"secret", 5), u"c2VjcmV0");            // Base64 only
  EXPECT_EQ(p.DecodePassword(u"dGVyY2Vz", 7), u"terces");         // unknown method: Base64 only
  EXPECT_EQ(p.CodePassword(u"abcd", 2), p.CodePassword(u"badc", 1));  // pairs swapped, then reversed
}

TEST(PasswordTest, AccountsKeepPasswordsInAnyAlphabet) {
  for (const std::u16string pw : {u"Пароль123", u"пароль", u"mot de passe é", u"密码", u"plain"}) {
    for (int32_t method : {0, 1, 2, 4, 6}) {
      const std::u16string stored = CodeAccountPassword(pw, method);
      EXPECT_EQ(DecodeAccountPassword(stored, method), pw) << ToUtf8(pw) << " method " << method;
    }
  }
  // A password stored octet-wise by an older release (not UTF-8) reads back as stored.
  const std::u16string legacy = SharedPassw().CodePassword(u"caf\u00e9", 6);
  EXPECT_EQ(DecodeAccountPassword(legacy, 6), u"caf\u00e9");
}

class KnownServersTest : public test::HomeFixture {};

TEST_F(KnownServersTest, PresetsLiveInTheSettingsOnceWritten) {
  KnownServers servers;
  ASSERT_EQ(servers.Count(), 3);
  KnownServer* gmail = servers.Item(u"GMAIL.com");
  ASSERT_NE(gmail, nullptr);
  EXPECT_EQ(gmail, servers.Item(1));
  EXPECT_EQ(servers.Item(u"example.org"), nullptr);
  EXPECT_EQ(servers.Item(0), nullptr);
  EXPECT_EQ(servers.Item(4), nullptr);

  // Never written: empty names, the default ports and authentication on.
  EXPECT_FALSE(gmail->IsConfigured());
  EXPECT_EQ(gmail->SMTPserver(), u"");
  EXPECT_EQ(gmail->Name(), u"");
  EXPECT_EQ(gmail->SMTPport(), 25);
  EXPECT_EQ(gmail->POPport(), 110);
  EXPECT_TRUE(gmail->SMTPaut());

  gmail->SetDefaultParams();
  EXPECT_TRUE(gmail->IsConfigured());
  EXPECT_EQ(gmail->SMTPserver(), u"smtp.gmail.com");
  EXPECT_EQ(gmail->POPserver(), u"pop.gmail.com");
  EXPECT_EQ(gmail->Name(), u"Gmail");
  // The keys as the settings file spells them.
  const std::u16string ini = module1::GetIniPath();
  EXPECT_EQ(ReadIniString(u"gmail.com", u"SMTPsever", u"", ini, 255), u"smtp.gmail.com");
  EXPECT_EQ(ReadIniString(u"gmail.com", u"POPsever", u"", ini, 255), u"pop.gmail.com");
  EXPECT_EQ(ReadIniString(u"gmail.com", u"SMTPaut", u"", ini, 255), u"1");

  gmail->SMTPserver(u"smtp.example.org");
  gmail->SMTPport(587);
  gmail->SMTPaut(false);
  KnownServers again;
  EXPECT_EQ(again.Item(u"gmail.com")->SMTPserver(), u"smtp.example.org");
  EXPECT_EQ(again.Item(u"gmail.com")->SMTPport(), 587);
  EXPECT_FALSE(again.Item(u"gmail.com")->SMTPaut());
  again.Item(u"gmail.com")->SetDefaultParams();
  EXPECT_EQ(gmail->SMTPport(), 25);
  // Each provider has its own section.
  EXPECT_EQ(servers.Item(2)->SMTPserver(), u"");
}

class FolderByAccountTest : public test::StoreFixture {};

TEST_F(FolderByAccountTest, AddressedToAnAccountIsInboxFromOneIsSent) {
  mail.CorrectDB(DbPath());
  {
    auto db = Open();
    test::Exec(*db, "INSERT INTO Accounts ([User], [@after], boxName, POP, SMTP) VALUES (\"me\", \"Home.org\", \"me\", \"\", \"\")");
    db->Close();
  }
  mailHeader h;
  h.From = u"Me <ME@home.org>";
  h.to = u"Friend <friend@example.org>";
  EXPECT_EQ(GetFolderByAccount(h), Sent);
  h.to = u"me@home.org";
  EXPECT_EQ(GetFolderByAccount(h), Inbox);  // to and From both: Inbox
  h.From = u"stranger@example.org";
  h.to = u"stranger2@example.org";
  EXPECT_EQ(GetFolderByAccount(h), Inbox);
}

}  // namespace
}  // namespace ravelin::transport
