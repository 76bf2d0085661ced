// Rule statements as the engine receives them, the flag word, dates stored in Greenwich
// time under two zones, the rule tab's handlers, and the matcher on a seeded store.
#include "packs/rules.h"

#include <cstdlib>

#include "packs/packs.h"
#include "packs_fixture.h"
#include "runtime/dates.h"

namespace ravelin::test {
namespace {

using namespace packs;

class RulesTest : public PacksFixture {
 protected:
  void TearDown() override {
    if (oldTz_) setenv("TZ", oldTz_->c_str(), 1); else unsetenv("TZ");
    tzset();
    PacksFixture::TearDown();
  }
  void Zone(const char* tz) {
    if (!saved_) {
      saved_ = true;
      if (const char* t = std::getenv("TZ")) oldTz_ = t;
    }
    setenv("TZ", tz, 1);
    tzset();
  }
  // A rule row with the given fields; its number.
  int32_t Rule(std::initializer_list<std::pair<const char16_t*, Value>> fields) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Rules", dao::dbOpenDynaset);
    rs->AddNew();
    for (const auto& [f, v] : fields) rs->SetField(f, v);
    const int32_t n = rs->GetField(u"N").AsLong();
    rs->Update();
    return n;
  }
  std::set<int32_t> Ids(const std::u16string& sql) {
    std::set<int32_t> s;
    for (const Row& r : Rows(sql)) s.insert(r.at(u"N").AsLong());
    return s;
  }
  bool saved_ = false;
  std::optional<std::string> oldTz_;
};

TEST_F(RulesTest, StatementsCharacterForCharacterAndTheEngineTakesThem) {
  EXPECT_EQ(GetRulesRecordsource2(1, u"12"), u"Select * from Rules WHERE (((Rules.Action)=1) AND ((Rules.[Pack_N])=12));");
  EXPECT_EQ(GetRulesRecordsource2(2, u"\"A\\B\"", true),
            u"Select * from Rules WHERE (((Rules.Action)=2) AND ([Rules].[Folder]=\"A\\B\") AND "
            u"[Rules].[InsArcPrj]=True);");
  EXPECT_EQ(GetRulesRecordsource2(4, u"A\\B"),
            u"Select * from Rules WHERE ( ([Rules].[Action]=2) AND ( StrComp(left$([Rules].[Folder] & \"\\\",4),"
            u"\"A\\B\\\",1)=0 )AND[Rules].[InsArcPrj]=False);");
  EXPECT_EQ(GetRulesRecordsource2(3, u"x"), u"");

  const int32_t own = Rule({{u"Action", Value(1)}, {u"Pack_N", Value(12)}});
  const int32_t ab = Rule({{u"Action", Value(2)}, {u"Folder", Value(u"A\\B")}});
  const int32_t below = Rule({{u"Action", Value(2)}, {u"Folder", Value(u"a\\b\\C")}});
  Rule({{u"Action", Value(2)}, {u"Folder", Value(u"A\\BC")}});
  const int32_t arc = Rule({{u"Action", Value(2)}, {u"Folder", Value(u"A\\B")}, {u"InsArcPrj", Value(true)}});
  EXPECT_EQ(Ids(GetRulesRecordsource2(1, u"12")), (std::set<int32_t>{own}));
  EXPECT_EQ(Ids(GetRulesRecordsource2(2, u"\"A\\B\"")), (std::set<int32_t>{ab}));
  EXPECT_EQ(Ids(GetRulesRecordsource2(4, u"A\\B")), (std::set<int32_t>{ab, below}));
  EXPECT_EQ(Ids(GetRulesRecordsource2(4, u"A\\B", true)), (std::set<int32_t>{arc}));
  // The folder is not escaped: a quote in it breaks the statement.
  EXPECT_NE(ErrorOf([&] { Rows(GetRulesRecordsource2(4, u"A\"B")); }), 0);
}

TEST_F(RulesTest, FlagsAddTheWeightsAndACheckOffKeepsTheText) {
  std::map<std::u16string, int32_t> checks;
  int32_t all = 0;
  for (const auto& c : RuleCriteria()) {
    checks[c.checkBox] = 1;
    all += c.weight;
  }
  EXPECT_EQ(all, 4094);
  EXPECT_EQ(FlagsOf(checks), 4094);
  EXPECT_EQ(FlagsOf({{u"chkSubject", 1}, {u"chkOrg2", 1}, {u"chkDateTo2", 1}}), 2 + 128 + 2048);
  EXPECT_EQ(FlagsOf({{u"chkSender1", 2}}), 8);  // a greyed box counts twice

  const int32_t pack = AddPack(u"p");
  RuleTab tab;
  tab.Bind(pack);
  tab.chkAutoSearch_Click(1);  // no rule yet: one is made
  auto rules = Rows(u"Select * from Rules");
  ASSERT_EQ(rules.size(), 1u);
  EXPECT_EQ(rules[0].at(u"Pack_N").AsLong(), pack);
  EXPECT_TRUE(rules[0].at(u"Enable").AsBool());
  tab.TextChanged(u"Subject", u"invoice");
  tab.CheckChanged(u"chkSubject", 1);
  tab.CheckChanged(u"chkSender1", 0);
  tab.CheckChanged(u"chkSender2", 0);
  EXPECT_EQ(Rows(u"Select * from Rules")[0].at(u"Flags").AsLong(), 2);
  tab.CheckChanged(u"chkSubject", 0);
  Row r = Rows(u"Select * from Rules")[0];
  EXPECT_EQ(r.at(u"Flags").AsLong(), 0);
  EXPECT_EQ(Text(r, u"Subject"), u"invoice");

  // Filling the boxes from the row writes nothing back.
  tab.checks.clear();
  tab.DataRules.Refresh();
  tab.Reposition();
  EXPECT_EQ(tab.texts[u"Subject"], u"invoice");
  EXPECT_EQ(tab.checks[u"chkSubject"], 0);
  EXPECT_EQ(tab.chkAutoSearch, 1);
}

TEST_F(RulesTest, DatesAreStoredInGreenwichTimeUnderTwoZones) {
  const int32_t pack = AddPack(u"p");
  const auto stored = [&](const char16_t* f) { return Rows(u"Select * from Rules")[0].at(f); };
  for (const auto& [tz, hours] : {std::pair{"Europe/Moscow", 3}, std::pair{"America/New_York", -5}}) {
    Zone(tz);
    {
      auto db = Db();
      db->Execute(u"Delete from Rules");
    }
    RuleTab tab;
    tab.Bind(pack);
    tab.cmdNewRule_Click();
    tab.DateChanged(u"txtDateFrom1", u"2026-01-15 12:00");
    const double want = ParseDate(u"2026-01-15 12:00")->serial - hours / 24.0;
    EXPECT_NEAR(stored(u"DateFrom1").AsDate().serial, want, 1e-6) << tz;
    // Not a date: the value stays. Empty: no date.
    tab.DateChanged(u"txtDateFrom1", u"next tuesday");
    EXPECT_NEAR(stored(u"DateFrom1").AsDate().serial, want, 1e-6) << tz;
    tab.DateChanged(u"txtDateTo2", u"2026-02-01");
    tab.DateChanged(u"txtDateTo2", u"");
    EXPECT_TRUE(stored(u"DateTo2").IsNull()) << tz;
    // And back to local time in the box.
    tab.DataRules.Refresh();
    tab.Reposition();
    EXPECT_EQ(tab.txtDateFrom1, u"1/15/2026 12:00:00 PM") << tz;
  }
}

TEST_F(RulesTest, TheMatcherFilesLettersIntoPacksAndFolders) {
  const int32_t invoices = AddPack(u"Invoices");
  const int32_t inv = Letter(Inbox, u"Ann Smith <ann@acme.com>", u"Invoice 42", u"me@home.org");
  const int32_t news = Letter(Inbox, u"News <news@paper.net>", u"Daily", u"Bob <bob@client.com>, me@home.org");
  const int32_t other = Letter(Inbox, u"Carl <carl@else.org>", u"Hi", u"me@home.org");
  const int32_t sent = Letter(Sent, u"me@home.org", u"Invoice 43", u"ann@acme.com");
  // Subject and sender's organisation (the domain) on side 1.
  Rule({{u"Action", Value(1)}, {u"Pack_N", Value(invoices)}, {u"Flags", Value(2 + 32)}, {u"Subject", Value(u"INVOICE")},
        {u"Org1", Value(u"acme")}});
  // A recipient's name on side 2, into a folder.
  Rule({{u"Action", Value(2)}, {u"Folder", Value(u"Projects\\Clients")}, {u"Flags", Value(64)},
        {u"Name2", Value(u"bob")}});
  // Disabled, and one with nothing in force: never match.
  Rule({{u"Action", Value(1)}, {u"Pack_N", Value(invoices)}, {u"Flags", Value(2)}, {u"Subject", Value(u"hi")},
        {u"Enable", Value(false)}});
  Rule({{u"Action", Value(1)}, {u"Pack_N", Value(invoices)}, {u"Flags", Value(0)}, {u"Subject", Value(u"hi")}});

  auto dry = ApplyRules(u"Inbox", true);
  ASSERT_EQ(dry.size(), 2u);
  EXPECT_EQ(dry[0].msgN, inv);
  EXPECT_EQ(dry[1].msgN, news);
  EXPECT_TRUE(Items().empty());
  EXPECT_TRUE(Links().empty());

  ApplyRules(u"Inbox", false);
  ApplyRules(u"Inbox", false);  // twice: nothing added twice
  EXPECT_EQ(Items(), (std::set<std::pair<int32_t, int32_t>>{{invoices, inv}}));
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(news, u"Projects\\Clients")}));
  EXPECT_TRUE(std::filesystem::is_directory(Live() / "Clients"));
  (void)other;
  (void)sent;

  // Date ranges on the date written; only the listed letters.
  {
    auto db = Db();
    db->Execute(u"Delete from Rules");
    db->Execute(u"Update Letters Set DateWrote=#1/10/2026#");
  }
  Rule({{u"Action", Value(1)}, {u"Pack_N", Value(invoices)}, {u"Flags", Value(256 + 512)},
        {u"DateFrom1", Value(*ParseDate(u"2026-01-01"))}, {u"DateTo1", Value(*ParseDate(u"2026-01-31"))}});
  const std::vector<int32_t> only = {other, sent};
  auto some = ApplyRules(u"", true, &only);
  ASSERT_EQ(some.size(), 2u);
  Rule({{u"Action", Value(1)}, {u"Pack_N", Value(invoices)}, {u"Flags", Value(256)},
        {u"DateFrom1", Value(*ParseDate(u"2026-02-01"))}});
  EXPECT_EQ(ApplyRules(u"", true, &only).size(), 2u);
}

}  // namespace
}  // namespace ravelin::test
