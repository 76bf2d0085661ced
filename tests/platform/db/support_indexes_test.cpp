// The engine's own indexes: made once, invisible in the Indexes collections, used by the
// planner for text columns in the engine's collation, out of the way of a dropped field;
// and count queries that agree with a cursor walked to its end.
#include <algorithm>

#include "db_fixture.h"

namespace ravelin::dao::test {
namespace {

using Plan = std::vector<std::string>;

bool Mentions(const Plan& plan, const std::string& text) {
  return std::any_of(plan.begin(), plan.end(), [&](const std::string& l) { return l.find(text) != std::string::npos; });
}

std::string Lines(const Plan& plan) {
  std::string s;
  for (const auto& l : plan) s += l + "\n";
  return s;
}

class SupportIndexTest : public MailDbTest {};

TEST_F(SupportIndexTest, MadeOnceAndKeptOutOfTheIndexesCollection) {
  EXPECT_TRUE(db->EnsureSupportIndex(u"Letters", {u"MailFolder", u"DateReceived"}));
  EXPECT_FALSE(db->EnsureSupportIndex(u"letters", {u"mailfolder", u"datereceived"}));  // names as the engine compares
  EXPECT_TRUE(db->EnsureSupportIndex(u"Projects", {u"Obj ID", u"ObjType"}));
  auto fresh = OpenDatabase(path);
  EXPECT_EQ(fresh->TableDefs()(u"Letters")->Indexes().Count(), 1);  // only "key"
  EXPECT_EQ(fresh->TableDefs()(u"Projects")->Indexes().Count(), 0);

  EXPECT_EQ(ErrorOf([&] { db->EnsureSupportIndex(u"Letters", {u"NoSuchField"}); }), dberr::kItemNotFound);
  EXPECT_EQ(ErrorOf([&] { db->EnsureSupportIndex(u"NoSuchTable", {u"N"}); }), dberr::kItemNotFound);
}

TEST_F(SupportIndexTest, TextComparisonsOfTheDialectUseIt) {
  for (int i = 0; i < 50; ++i) AddLetter(u"s", i % 2 ? u"Inbox" : u"Sent", 44000 + i);
  const std::u16string list = u"Select * From Letters Where Letters.[MailFolder] = \"inbox\" ORDER BY Letters.DateReceived;";
  EXPECT_FALSE(Mentions(db->QueryPlan(list), "USING INDEX")) << Lines(db->QueryPlan(list));
  const std::vector<int32_t> before = [&] {
    std::vector<int32_t> keys;
    for (auto rs = db->OpenRecordset(list); !rs->Eof(); rs->MoveNext()) keys.push_back(rs->GetField(u"key").AsLong());
    return keys;
  }();

  db->EnsureSupportIndex(u"Letters", {u"MailFolder", u"DateReceived"});
  const Plan plan = db->QueryPlan(list);
  EXPECT_TRUE(Mentions(plan, "SEARCH Letters USING INDEX")) << Lines(plan);
  EXPECT_FALSE(Mentions(plan, "TEMP B-TREE")) << Lines(plan);
  // The folder written in another case still finds its rows through the index.
  std::vector<int32_t> after;
  for (auto rs = db->OpenRecordset(list); !rs->Eof(); rs->MoveNext()) after.push_back(rs->GetField(u"key").AsLong());
  EXPECT_EQ(after.size(), 25u);
  EXPECT_EQ(after, before);

  db->DropSupportIndexes();
  EXPECT_FALSE(Mentions(db->QueryPlan(list), "USING INDEX"));
}

TEST_F(SupportIndexTest, AFieldItKeysOnCanStillBeDropped) {
  db->EnsureSupportIndex(u"Letters", {u"MailFolder", u"Size"});
  db->EnsureSupportIndex(u"Letters", {u"MailFolder"});
  db->TableDefs()(u"Letters")->Fields().Delete(u"Size");
  EXPECT_FALSE(OpenDatabase(path)->TableDefs()(u"Letters")->Fields().Contains(u"Size"));
  // The index on the remaining field stays.
  EXPECT_FALSE(db->EnsureSupportIndex(u"Letters", {u"MailFolder"}));
  EXPECT_TRUE(db->EnsureSupportIndex(u"Letters", {u"MailFolder", u"DateWrote"}));
}

TEST_F(SupportIndexTest, AnExpressionIndexIsHiddenUsedAndOutOfTheWayOfItsFields) {
  for (int i = 0; i < 20; ++i) AddLetter(u"s", u"Inbox", 44000 + i % 4);
  const std::string walk = "SELECT key FROM Letters WHERE MailFolder = ?1 ORDER BY coalesce(Size, DateReceived) DESC, key";
  EXPECT_TRUE(db->EnsureSupportExpressionIndex(u"Letters", "ByShown",
                                               "\"MailFolder\" COLLATE RVTEXT, coalesce(\"Size\", \"DateReceived\") DESC, \"key\""));
  EXPECT_FALSE(db->EnsureSupportExpressionIndex(u"letters", "ByShown", "\"key\""));
  EXPECT_EQ(OpenDatabase(path)->TableDefs()(u"Letters")->Indexes().Count(), 1);
  const Plan plan = db->SupportQueryPlan(walk);
  EXPECT_TRUE(Mentions(plan, "SEARCH Letters USING INDEX rvsx_Letters_ByShown")) << Lines(plan);
  EXPECT_FALSE(Mentions(plan, "TEMP B-TREE")) << Lines(plan);
  std::vector<int64_t> keys;
  db->SupportScan(walk, {Value(u"INBOX")}, [&](const std::vector<int64_t>& row) {
    keys.push_back(row[0]);
    return true;
  });
  EXPECT_EQ(keys.size(), 20u);
  // Its fields can be dropped: the index names them only in its text.
  db->TableDefs()(u"Letters")->Fields().Delete(u"Size");
  EXPECT_FALSE(OpenDatabase(path)->TableDefs()(u"Letters")->Fields().Contains(u"Size"));
  EXPECT_EQ(ErrorOf([&] { db->EnsureSupportExpressionIndex(u"NoSuchTable", "x", "\"N\""); }), dberr::kItemNotFound);
}

TEST_F(SupportIndexTest, CountQueriesAgreeWithACursorWalk) {
  for (int i = 0; i < 30; ++i) AddLetter(u"s", i % 3 ? u"Inbox" : u"Recycle");
  Exec(u"INSERT INTO Packs (N, Name) VALUES (7, \"P\")");
  for (int k = 1; k <= 30; k += 2) Exec(u"INSERT INTO PackItems (Pack_N, Msg_N) VALUES (7, " + NumToText(k) + u")");
  // Two links of one letter: the distinctrow list shows the letter once, the plain join twice.
  Exec(u"INSERT INTO Projects ([Obj ID], ObjType, Project) VALUES (2, 0, \"A\")");
  Exec(u"INSERT INTO Projects ([Obj ID], ObjType, Project) VALUES (2, 0, \"B\")");
  const std::u16string sources[] = {
      u"Letters",
      u"Select * from Letters INNER JOIN PackItems ON Letters.key = PackItems.Msg_N Where PackItems.Pack_N=7 and "
      u"[MailFolder]=\"Recycle\";",
      u"Select * From Letters, PackItems Where PackItems.Pack_N = 7 and PackItems.Msg_N=Letters.key ORDER BY Letters.key;",
      u"Select Letters.key, Projects.Project FROM Letters LEFT JOIN Projects ON Letters.key = Projects.[Obj ID];",
      u"Select distinctrow Letters.* FROM Letters LEFT JOIN Projects ON Letters.key = Projects.[Obj ID];",
      u"Select * From Letters Where key > 100;"};
  for (const auto& s : sources) EXPECT_EQ(db->CountRecords(s), CountOf(s)) << ToUtf8(s);
  EXPECT_EQ(db->CountRecords(sources[4]), 30);
  EXPECT_EQ(db->CountRecords(sources[3]), 31);
  EXPECT_EQ(ErrorOf([&] { db->CountRecords(u"DELETE FROM Letters"); }), dberr::kInvalidOperation);
}

}  // namespace
}  // namespace ravelin::dao::test
