// The façade frame: database location, settings file, message lookup, message window.
#include <gtest/gtest.h>

#include "facade/ravelin.h"
#include "platform/filesystem.h"
#include "platform/language.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "support/test_support.h"

namespace ravelin {
namespace {

class Frame : public test::HomeFixture {};

TEST_F(Frame, DatabaseLocationMovesAnOldFileOnce) {
  Ravelin mail;
  std::u16string db = HomeFile("EmailW.mdb");
  // Neither file: the path comes back and nothing is created.
  EXPECT_EQ(mail.GetDatabaseName(), db);
  EXPECT_FALSE(fs::FileExists(db));

  // The settings folder and the database folder are one here; a host that keeps them
  // apart moves the old file from one to the other.
  struct SplitHost : DefaultHostCommon {
    std::u16string db;
    std::u16string GetMailDatabaseFolder() override { return db; }
  };
  auto host = std::make_shared<SplitHost>();
  host->SetHome(home());
  host->SetQuiet(true);
  host->db = HomeFile("db");
  fs::CreateFolders(host->db);
  SetHostCommon(host);
  std::u16string oldPath = HomeFile("emailW.mdb");
  std::u16string newPath = fs::JoinPath(host->db, u"EmailW.mdb");
  fs::WriteAll(oldPath, "old store");
  EXPECT_EQ(mail.GetDatabaseName(), newPath);
  EXPECT_FALSE(fs::FileExists(oldPath));
  EXPECT_EQ(fs::ReadAll(newPath), "old store");
  EXPECT_TRUE(fs::GetAttributes(newPath) & fs::kHidden);

  // Both exist: the old one stays where it is and is ignored.
  fs::WriteAll(oldPath, "older store");
  EXPECT_EQ(mail.GetDatabaseName(), newPath);
  EXPECT_EQ(fs::ReadAll(oldPath), "older store");
  EXPECT_EQ(fs::ReadAll(newPath), "old store");
  EXPECT_EQ(module1::GetLegacyDbPath(), fs::JoinPath(host->db, u"Email.mdb"));
}

TEST_F(Frame, AppPathFallsBackToOwnFolder) {
  Ravelin mail;
  mail.AppPath(u"/opt/host");
  EXPECT_EQ(module1::EffectiveAppPath(), u"/opt/host");
  mail.AppPath(u"");
  EXPECT_FALSE(module1::EffectiveAppPath().empty());
  EXPECT_NE(module1::EffectiveAppPath(), u"/opt/host");
  mail.AppPath(u"x");  // one character is enough
  EXPECT_EQ(module1::EffectiveAppPath(), u"x");
}

TEST_F(Frame, SettingsFileRules) {
  std::u16string ini = HomeFile("Ravelin.ini");
  // No file: defaults.
  EXPECT_EQ(ReadIniString(u"Letter", u"MsgCount", u"10", ini, 1024), u"10");
  Ravelin mail;
  EXPECT_EQ(mail.GetMsgListCount(), 10);
  EXPECT_FALSE(fs::FileExists(ini));

  // The first write creates a UTF-16 file with its mark.
  EXPECT_TRUE(WriteIniString(u"Letter", u"MsgCount", u"25", ini));
  std::string raw = fs::ReadAll(ini);
  ASSERT_GE(raw.size(), 2u);
  EXPECT_EQ(raw.substr(0, 2), "\xFF\xFE");
  EXPECT_EQ(mail.GetMsgListCount(), 25);

  // Sections and keys ignore case; values are cut to the buffer.
  EXPECT_EQ(ReadIniString(u"LETTER", u"msgcount", u"", ini, 1024), u"25");
  WriteIniString(u"letter", u"MSGCOUNT", u"1234567890123", ini);
  EXPECT_EQ(ReadIniString(u"Letter", u"MsgCount", u"", ini, 10), u"123456789");
  WriteIniString(u"Send", u"Format", u"Письмо", ini);
  EXPECT_EQ(ReadIniString(u"send", u"format", u"0", ini, 10), u"Письмо");
  // One key per section after rewriting.
  EXPECT_EQ(ReadIniString(u"Letter", u"MsgCount", u"", ini, 1024), u"1234567890123");

  // An empty value gives "", and the flag readers keep what they had.
  WriteIniString(u"Letter", u"ShowEML", u"", ini);
  WriteIniString(u"Letter", u"EMLView", u"0", ini);
  EXPECT_EQ(ReadIniString(u"Letter", u"ShowEML", u"1", ini, 10), u"");
  module1::ViewFlags flags;
  flags.ShowEML = false;
  module1::ReadViewFlags(flags);
  EXPECT_FALSE(flags.ShowEML);
  EXPECT_FALSE(flags.EMLView);
  EXPECT_TRUE(flags.ShowSender);
}

TEST_F(Frame, AnsiSettingsFileIsConvertedKeepingItsContent) {
  std::u16string ini = HomeFile("Ravelin.ini");
  fs::WriteAll(ini, "[Send]\r\nFormat=1\r\nName=Caf\xE9\r\n");
  EXPECT_EQ(ReadIniString(u"Send", u"Format", u"0", ini, 10), u"1");
  WriteIniString(u"Main", u"CompressDB", u"0", ini);
  EXPECT_EQ(fs::ReadAll(ini).substr(0, 2), "\xFF\xFE");
  EXPECT_EQ(ReadIniString(u"Send", u"Name", u"", ini, 100), u"Café");
  EXPECT_EQ(ReadIniString(u"Main", u"CompressDB", u"1", ini, 10), u"0");
  EXPECT_EQ(module1::GetFormat(), 1);  // the settings file lives in the home folder
  EXPECT_EQ(module1::GetReplyFormat(), 1);
}

TEST_F(Frame, MessageLookupWithAndWithoutLanguage) {
  EXPECT_EQ(module1::GetMUIString(u"Module1.X", u"msg", u"Line one vbCrLf Line two VBCRLF x"),
            u"Line one\r\nLine two\r\nx");
  EXPECT_EQ(module1::GetMUIStringF(u"S", u"k", u"Pack %1 of %2", {u"3", u"7"}), u"Pack 3 of 7");
  struct Upper : LngRes {
    std::u16string GetMUIString(const std::u16string& module, const std::u16string& section,
                                const std::u16string& key, const std::u16string& def) override {
      return module + u"|" + section + u"|" + key;
    }
  };
  SetLanguage(std::make_shared<Upper>());
  EXPECT_EQ(module1::GetMUIString(u"Ravelin.SendLetter", u"msg3", u"x"), u"ravelin.dll|Ravelin.SendLetter|msg3");
  SetLanguage(nullptr);
}

TEST_F(Frame, MessageWindowAndReporting) {
  Ravelin mail;
  std::u16string msg = u"original";
  user().windowAnswers.push_back(u"edited");
  mail.msgbox1(msg, false, u"  ");
  EXPECT_EQ(msg, u"original");  // not editable: the text stays
  EXPECT_EQ(user().shown.back().title, u"Ravelin");
  user().windowAnswers.push_back(u"edited");
  mail.msgbox1(msg, true, u"Title");
  EXPECT_EQ(msg, u"edited");
  EXPECT_EQ(user().shown.back().title, u"Title");
  user().windowAnswers.push_back(std::nullopt);  // closed without accepting
  mail.msgbox1(msg, true);
  EXPECT_EQ(msg, u"edited");

  int r = Protected(u"Ravelin.SendLetter", 7, []() -> int { throw Error(3021, u"No current record."); });
  EXPECT_EQ(r, 7);
  ASSERT_EQ(host().Reports().size(), 1u);
  EXPECT_EQ(host().Reports()[0].source, u"Ravelin.SendLetter");
  EXPECT_EQ(host().Reports()[0].err.Number, 3021);

  EXPECT_FALSE(mail.StopRequested());
  mail.StopOperation();
  EXPECT_TRUE(mail.StopRequested());  // stays set until an operation clears it
  mail.ClearStop();
  EXPECT_FALSE(mail.StopRequested());
}

// A host learns that a call failed from LastError: the failure of the call it made, never
// one of an earlier call, and one report for one failure.
TEST_F(Frame, LastErrorTellsTheFailureOfTheLastCall) {
  Ravelin mail;
  EXPECT_EQ(mail.CreateEML(5), u"");  // no mail database here at all
  ASSERT_TRUE(mail.LastError().has_value());
  EXPECT_NE(mail.LastError()->Number, 0);
  EXPECT_FALSE(mail.LastError()->Description.empty());

  EXPECT_EQ(mail.GetName(u"Ivan <i@x.org>"), u"Ivan");
  EXPECT_FALSE(mail.LastError().has_value()) << "cleared when the next call begins";

  const size_t before = host().Reports().size();
  int r = Protected(u"Ravelin.Outer", 1, [] {
    // A step fails and is reported; a later step of the same call succeeds.
    ProtectedVoid(u"Ravelin.Inner", [] { RaiseError(errnum::kTypeMismatch); });
    return Protected(u"Ravelin.Later", 2, [] { return 3; });
  });
  EXPECT_EQ(r, 3);
  ASSERT_TRUE(mail.LastError().has_value()) << "a later step of the same call keeps it";
  EXPECT_EQ(mail.LastError()->Number, errnum::kTypeMismatch);
  EXPECT_EQ(mail.LastError()->Source, u"Ravelin.Inner");
  EXPECT_EQ(mail.LastError()->Description, u"Type mismatch");
  EXPECT_EQ(host().Reports().size(), before + 1);

  // The silent form keeps the failure without showing it.
  EXPECT_EQ(Silently(5, []() -> int { throw Error(3021, {}); }), 5);
  ASSERT_TRUE(mail.LastError().has_value());
  EXPECT_EQ(mail.LastError()->Number, 3021);
  EXPECT_EQ(host().Reports().size(), before + 1);
}

}  // namespace
}  // namespace ravelin
