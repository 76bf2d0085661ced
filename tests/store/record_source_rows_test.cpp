// The list statements run on a seeded mail database: which letters and packs each scope
// and flag returns, including the kept quirks (the live-side pack link, "Recycle " with
// its blank, the Union without the other side's packs, the 1980 date of undated letters).
#include "store/maintenance.h"
#include "store/record_sources.h"
#include "store/store_fixture.h"

namespace ravelin::test {
namespace {

using Keys = std::set<int32_t>;

// Letters 1..12 and packs 101..107; keys and pack numbers never coincide, so a join on
// [Obj ID] can't mix a letter's link with a pack's.
const char* kSeed[] = {
    "INSERT INTO Letters (key, [From], MailFolder, DateWrote) VALUES (1, \"a\", \"Inbox\", #1/5/2020#)",
    "INSERT INTO Letters (key, [From], MailFolder) VALUES (2, \"a\", \"Inbox\")",
    "INSERT INTO Letters (key, [From], MailFolder) VALUES (3, \"a\", \"Inbox\")",
    "INSERT INTO Letters (key, [From], MailFolder) VALUES (4, \"a\", \"Inbox\")",
    "INSERT INTO Letters (key, [From], MailFolder, DateWrote, DateReceived) VALUES (5, \"a\", \"Inbox\", #3/1/2021#, "
    "#1/1/2019#)",
    "INSERT INTO Letters (key, [From], MailFolder) VALUES (6, \"a\", \"Inbox\")",
    "INSERT INTO Letters (key, [From], MailFolder, DateReceived) VALUES (7, \"a\", \"Outbox\", #6/1/2020#)",
    "INSERT INTO Letters (key, [From], MailFolder, OldMailFolder) VALUES (8, \"a\", \"Recycle\", \"Inbox\")",
    "INSERT INTO Letters (key, [From], MailFolder) VALUES (9, \"a\", \"Inbox\")",
    "INSERT INTO Letters (key, [From], MailFolder) VALUES (10, \"a\", \"Inbox\")",
    "INSERT INTO Letters (key, [From], MailFolder) VALUES (11, \"a\", \"Outbox\")",
    "INSERT INTO Letters (key, [From], MailFolder, DateReceived) VALUES (12, \"a\", \"Sent\", #2/2/2022#)",
    // Own project links of letters.
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (1, 0, \"P\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (2, 0, \"P\\Sub\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (3, 0, \"Pother\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (4, 0, \"P\", True)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (10, 0, \"p\\sub\\deep\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (12, 0, \"P\", False)",
    // Packs: 101 P live, 102 P archive, 103 none, 104 deleted none, 105 deleted P live,
    // 106 P\Sub live, 107 the sibling Pother live.
    "INSERT INTO Packs (N, Name, Deleted) VALUES (101, \"Alpha\", False)",
    "INSERT INTO Packs (N, Name, Deleted) VALUES (102, \"Beta\", False)",
    "INSERT INTO Packs (N, Name, Deleted) VALUES (103, \"Gamma\", False)",
    "INSERT INTO Packs (N, Name, Deleted) VALUES (104, \"Delta\", True)",
    "INSERT INTO Packs (N, Name, Deleted) VALUES (105, \"Eps\", True)",
    "INSERT INTO Packs (N, Name, Deleted) VALUES (106, \"Zeta\", False)",
    "INSERT INTO Packs (N, Name, Deleted) VALUES (107, \"Eta\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (101, 1, \"P\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (102, 1, \"P\", True)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (105, 1, \"P\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (106, 1, \"P\\Sub\", False)",
    "INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (107, 1, \"Pother\", False)",
    "INSERT INTO PackItems (Pack_N, Msg_N) VALUES (101, 5)",
    "INSERT INTO PackItems (Pack_N, Msg_N) VALUES (101, 7)",
    "INSERT INTO PackItems (Pack_N, Msg_N) VALUES (101, 8)",
    "INSERT INTO PackItems (Pack_N, Msg_N) VALUES (102, 9)",
    "INSERT INTO Files (N, filename) VALUES (5, \"a.txt\")",
    "INSERT INTO Files (N, filename) VALUES (5, \"b.png\")",
    "INSERT INTO Files (N, filename) VALUES (6, \"c.txt\")",
};

class RecordSourceRowsTest : public StoreFixture {
 protected:
  void SetUp() override {
    StoreFixture::SetUp();
    ASSERT_EQ(store::CorrectDB(DbPath()).outcome, store::CorrectOutcome::Created);
    auto db = Open();
    for (const char* sql : kSeed) Exec(*db, sql);
    db->Close();
  }
};

TEST_F(RecordSourceRowsTest, LettersByScopeAndFlag) {
  struct Row {
    const char* folder;
    const char* project;
    int32_t flags;
    bool arc;
    Keys expected;
  };
  const Row rows[] = {
      {"Inbox", "", 0, false, {1, 2, 3, 4, 5, 6, 9, 10}},
      {"Inbox", "", 2, false, {1, 2, 3, 4, 5, 6, 9, 10}},  // scope 2 without a project: the whole folder
      {"Inbox", "", 1024, false, {1, 2, 3, 4, 6, 10}},
      {"Outbox", "", 1024, false, {7, 11}},  // packed letters stay in the outbox list
      {"Inbox", "", 1, false, {6}},
      // Own link on the requested side, or a pack of P on the live side only.
      {"Inbox", "P", 2, false, {1, 5}},
      {"Inbox", "P", 2, true, {4, 5}},
      {"Inbox", "P", 1026, false, {1}},
      {"Outbox", "P", 1026, false, {7}},
      // P and everything below it on either side, case ignored; not the sibling "Pother".
      // The scope is used over all folders (its statement has no PackItems to show).
      {"Inbox", "P", 4 + 512, false, {1, 2, 4, 10, 12}},
      {"Inbox", "p\\SUB", 4 + 512, false, {2, 10}},
      {"Inbox", "", 512, false, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
      {"Inbox", "", 512 + 2048, false, {1, 2, 3, 4, 5, 6, 7, 9, 10, 11, 12}},
      {"Inbox", "P", 2 + 512, false, {1, 5, 7, 8, 12}},
      // NotDeleted joins the own-link branch only: a recycled letter of a pack of P stays.
      {"Inbox", "P", 2 + 512 + 2048, false, {1, 5, 7, 8, 12}},
      {"Inbox", "", 1 + 512, false, {6, 11}},
      {"Recycle", "", 2048, false, {}},
  };
  for (const Row& r : rows) {
    const std::u16string sql =
        mail.GetRecordSource(FromUtf8(r.folder), FromUtf8(r.project), r.flags, u"key", r.arc);
    Keys got;
    try {
      got = ColumnSet(sql, u"key");
    } catch (const Error& e) {
      ADD_FAILURE() << "statement refused: " << e.what() << "\n" << ToUtf8(sql);
    }
    EXPECT_EQ(got, r.expected) << r.folder << " project=" << r.project << " flags=" << r.flags << " arc=" << r.arc;
  }

  // Columns: the letter's own link, false on the archive flag when there is none, and
  // PackItems only when one folder is listed.
  auto db = Open();
  auto rs = db->OpenRecordset(mail.GetRecordSource(u"Inbox", u"P", 2, u"key desc", true));
  ASSERT_FALSE(rs->Eof());
  EXPECT_EQ(NullConvLng(rs->GetField(u"key")), 5);  // the caller's order
  EXPECT_FALSE(NullConvBool(rs->GetField(u"InsArcPrj")));
  rs->MoveNext();
  EXPECT_EQ(NullConvLng(rs->GetField(u"key")), 4);
  EXPECT_TRUE(NullConvBool(rs->GetField(u"InsArcPrj")));
  EXPECT_TRUE(rs->Fields().Contains(u"Pack_N"));
  rs->Close();
  rs = db->OpenRecordset(mail.GetRecordSource(u"Inbox", u"", 512, u"key", false));
  EXPECT_FALSE(rs->Fields().Contains(u"Pack_N"));
  rs->Close();
  db->Close();
}

TEST_F(RecordSourceRowsTest, PacksByScope) {
  struct Row {
    const char* project;
    int32_t flags;
    bool deleted, arc;
    Keys expected;
  };
  const Row rows[] = {
      // Linked on the requested side, plus every pack with no link; never the other side's.
      {"", 0, true, false, {101, 103, 104, 105, 106, 107}},
      {"", 0, false, false, {101, 103, 106, 107}},
      {"", 0, true, true, {102, 103, 104}},
      {"", 1, true, false, {103, 104}},
      {"", 1, false, false, {103}},
      {"P", 2, true, false, {101, 105}},
      {"P", 2, false, false, {101}},
      {"P", 2, false, true, {102}},
      {"P", 4, true, false, {101, 105, 106}},
      {"p", 4, false, false, {101, 106}},
  };
  for (const Row& r : rows) {
    const std::u16string sql = mail.GetPacksRecordSource(FromUtf8(r.project), r.flags, r.deleted, r.arc);
    std::vector<int32_t> got;
    try {
      got = Column(sql, u"N");
    } catch (const Error& e) {
      ADD_FAILURE() << "statement refused: " << e.what() << "\n" << ToUtf8(sql);
    }
    EXPECT_EQ(Keys(got.begin(), got.end()), r.expected)
        << "project=" << r.project << " flags=" << r.flags << " deleted=" << r.deleted << " arc=" << r.arc;
    // Scopes 1, 2 and 4 list the newest pack first.
    if ((r.flags & 7) != 0 && !got.empty()) {
      EXPECT_EQ(got.front(), *r.expected.rbegin()) << "flags=" << r.flags;
    }
  }
  EXPECT_EQ(mail.GetPacksRecordSource(u"P", 3), u"");
}

TEST_F(RecordSourceRowsTest, PackLettersAndSmallLists) {
  // Date order: no date at all counts as 1 January 1980, then arrival, then the letter's date.
  const std::vector<int32_t> all = {8, 7, 5};
  EXPECT_EQ(Column(mail.GetPackMsgRecordSource(101, ShowAll), u"key"), all);
  // "Recycle " with its blank: HideDeleted keeps the recycled letter, DeletedOnly finds none.
  EXPECT_EQ(Column(mail.GetPackMsgRecordSource(101, HideDeleted), u"key"), all);
  EXPECT_TRUE(Column(mail.GetPackMsgRecordSource(101, DeletedOnly), u"key").empty());
  EXPECT_EQ(Column(mail.GetPacksItemRecordSource(101, false), u"key"), all);
  EXPECT_TRUE(Column(mail.GetPacksItemRecordSource(101, true), u"key").empty());
  // The real count of recycled letters.
  EXPECT_EQ(mail.DeletedMsgCount(101), 1);
  EXPECT_EQ(mail.DeletedMsgCount(102), 0);
  EXPECT_EQ(mail.DeletedMsgCount(999), 0);

  EXPECT_EQ(Column(mail.GetAttachRecordSource(5), u"N"), (std::vector<int32_t>{5, 5}));
  EXPECT_EQ(Column(mail.GetDataPrjRS(101, objPack), u"Obj ID"), std::vector<int32_t>{101});
  EXPECT_TRUE(Column(mail.GetDataPrjRS(101, objLetter), u"Obj ID").empty());
  EXPECT_EQ(Column(mail.GetPackItemsRSbyLetter(7), u"Pack_N"), std::vector<int32_t>{101});
}

}  // namespace
}  // namespace ravelin::test
