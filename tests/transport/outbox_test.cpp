// Account rows as a host edits them, the sender's account, and a stored letter read back
// for sending and filed in Sent.
#include <gtest/gtest.h>

#include "runtime/text.h"
#include "store/store_fixture.h"
#include "transport/accounts.h"
#include "transport/outbox.h"

namespace ravelin::transport {
namespace {

class OutboxTest : public test::StoreFixture {
 protected:
  void SetUp() override {
    StoreFixture::SetUp();
    mail.CorrectDB(DbPath());
  }
  std::u16string Field(const std::u16string& sql, const std::u16string& field) {
    auto db = Open();
    auto rs = db->OpenRecordset(sql, dao::dbOpenDynaset);
    std::u16string v = rs->Eof() ? u"<none>" : NullConvStr(rs->GetField(field));
    rs->Close();
    db->Close();
    return v;
  }
};

TEST_F(OutboxTest, AccountsAreAddedChangedAndRemovedByAddress) {
  for (const char16_t* bad : {u"a@b@c", u"@host", u"user@", u"nohost", u" @ "})
    EXPECT_EQ(test::ErrorOf([&] { AddAccount(bad, {}); }), 5) << ToUtf8(bad);

  AccountChanges c;
  c.smtp = u"smtp.example.org";
  c.smtpPort = 587;
  c.auth = true;
  c.password = u"Пароль";
  AddAccount(u"ivan@example.org", c);
  EXPECT_EQ(test::ErrorOf([&] { AddAccount(u"IVAN@example.org", {}); }), 5) << "one account per address";

  auto a = FindSendingAccount(u"Ivan Petrov <Ivan@Example.org>");
  ASSERT_TRUE(a);
  EXPECT_EQ(a->smtp, u"smtp.example.org");
  EXPECT_EQ(a->smtpPort, 587);
  EXPECT_TRUE(a->auth);
  EXPECT_EQ(a->user, u"ivan");
  EXPECT_EQ(a->password, u"Пароль");
  // Stored scrambled with method 6, never in clear.
  EXPECT_EQ(Field(u"Select * from Accounts", u"Method"), u"6");
  EXPECT_EQ(Field(u"Select * from Accounts", u"Password").find(u"Пароль"), std::u16string::npos);
  EXPECT_EQ(Field(u"Select * from Accounts", u"boxName"), u"ivan@example.org");

  AccountChanges port;
  port.smtpPort = 2525;
  SetAccount(u"ivan@example.org", port);
  a = FindSendingAccount(u"ivan@example.org");
  EXPECT_EQ(a->smtpPort, 2525);
  EXPECT_EQ(a->password, u"Пароль") << "what isn't given stays";

  EXPECT_FALSE(FindSendingAccount(u"someone@else.org"));
  EXPECT_EQ(test::ErrorOf([&] { SetAccount(u"someone@else.org", port); }), 5);
  DeleteAccount(u"Ivan@Example.org");
  EXPECT_FALSE(FindSendingAccount(u"ivan@example.org"));
  EXPECT_EQ(test::ErrorOf([&] { DeleteAccount(u"ivan@example.org"); }), 5);
}

TEST_F(OutboxTest, AKnownProviderFillsTheServers) {
  AddAccount(u"someone@gmail.com", {});
  auto a = FindSendingAccount(u"someone@gmail.com");
  ASSERT_TRUE(a);
  EXPECT_EQ(a->smtp, u"smtp.gmail.com");
  EXPECT_EQ(a->smtpPort, 25);
  EXPECT_TRUE(a->auth);
  EXPECT_EQ(a->password, u"");
  EXPECT_EQ(Field(u"Select * from Accounts", u"POP"), u"pop.gmail.com");
}

TEST_F(OutboxTest, AStoredLetterComesBackWithItsPartsAndMovesToSent) {
  mailHeader h;
  h.From = u"Ivan <ivan@example.org>";
  h.to = u"a@example.org";
  h.Subject = u"Report";
  h.Message = u"See the file.";
  h.Content_Type = u"multipart";
  h.Content_subtype = u"mixed";
  AttachFile f;
  f.fname = u"data.bin";
  f.ftype = u"application";
  f.fsubtype = u"octet-stream";
  f.ContentDisposition = u"attachment";
  f.fData = std::u16string(u"\x01\x02\xff", 3);
  h.attFiles.push_back(f);
  int32_t folder = Outbox;
  const int32_t key = std::stoi(ToUtf8(mail.AddLetterFromMailHeader(h, folder)));

  std::u16string where;
  auto back = LoadStoredLetter(key, &where);
  ASSERT_TRUE(back);
  EXPECT_EQ(where, u"Outbox");
  EXPECT_EQ(back->From, h.From);
  EXPECT_EQ(back->to, h.to);
  EXPECT_EQ(back->Subject, h.Subject);
  EXPECT_EQ(back->Message, h.Message);
  EXPECT_EQ(back->Content_Type, u"multipart");
  ASSERT_EQ(back->attFiles.size(), 1u);
  EXPECT_EQ(back->attFiles[0].fname, u"data.bin");
  EXPECT_EQ(back->attFiles[0].fData, f.fData);

  EXPECT_TRUE(FileAsSent(key));
  LoadStoredLetter(key, &where);
  EXPECT_EQ(where, u"Sent");
  EXPECT_FALSE(LoadStoredLetter(key + 100));
  EXPECT_FALSE(FileAsSent(key + 100));
}

}  // namespace
}  // namespace ravelin::transport
