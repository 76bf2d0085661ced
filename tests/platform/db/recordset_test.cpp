// Recordset behaviour the mail store relies on: new rows and their numbers, edits through
// joins, searches, positions and bookmarks, the column rules and the errors they raise.
#include "db_fixture.h"

namespace ravelin::dao::test {
namespace {

using RecordsetTest = MailDbTest;

TEST_F(RecordsetTest, NewRowKnowsItsKeyBeforeUpdateAndAppearsAtTheEnd) {
  AddLetter(u"first");
  auto rs = db->OpenRecordset(u"Letters", dbOpenDynaset);
  auto other = db->OpenRecordset(u"Letters", dbOpenDynaset);
  rs->AddNew();
  EXPECT_EQ(rs->EditMode(), dbEditAdd);
  int32_t key = rs->Fields(u"key").Value().AsLong();
  EXPECT_EQ(key, 2);
  // A second AddNew elsewhere while this one is open gets another number.
  other->AddNew();
  EXPECT_EQ(other->Fields(u"key").Value().AsLong(), 3);
  other->CancelUpdate();
  rs->Fields(u"Subject") = Value(u"second");
  rs->Fields(u"MailFolder") = Value(u"Inbox");
  rs->Update();
  EXPECT_EQ(rs->EditMode(), dbEditNone);
  // The cursor stays where it was; the new row is the last one.
  EXPECT_EQ(rs->AbsolutePosition(), 0);
  rs->MoveLast();
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), key);
  EXPECT_EQ(rs->RecordCount(), 2);
  EXPECT_EQ(rs->Fields(u"Subject").Value().AsText(), u"second");
  // Numbers are never reused, also not after the cancelled AddNew and a delete.
  rs->Delete();
  EXPECT_EQ(AddLetter(u"third"), 4);
}

TEST_F(RecordsetTest, DefaultsFillANewRow) {
  auto rs = db->OpenRecordset(u"Select * from Projects");
  rs->AddNew();
  EXPECT_EQ(rs->Fields(u"ObjType").Value(), Value(int32_t{0}));
  EXPECT_EQ(rs->Fields(u"InsArcPrj").Value(), Value(false));
  rs->Fields(u"Obj ID") = Value(int32_t{7});
  rs->Update();
  auto acc = db->OpenRecordset(u"Accounts");
  acc->AddNew();
  acc->Fields(u"User") = Value(u"ann");
  acc->Update();
  acc->MoveFirst();
  EXPECT_EQ(acc->Fields(u"Flags").Value(), Value(int32_t{1}));
  EXPECT_EQ(acc->Fields(u"POPport").Value(), Value(int32_t{110}));
  // A Yes/No field without a default of its own is False on a new row, never Null.
  auto letters = db->OpenRecordset(u"Letters");
  letters->AddNew();
  EXPECT_EQ(letters->Fields(u"Read").Value(), Value(false));
  const std::u16string key = NumToText(letters->Fields(u"key").Value().AsLong());
  letters->Fields(u"MailFolder") = Value(u"Inbox");
  letters->Update();
  EXPECT_EQ(CountOf(u"Select * from Letters where [Read]=False and key=" + key), 1);
}

TEST_F(RecordsetTest, ColumnRulesAreEnforced) {
  struct Case {
    const char* what;
    std::u16string table, field;
    Value value;
    int32_t error;  // at assignment or Update
  };
  const Case cases[] = {
      {"text longer than its size", u"Letters", u"Subject", Value(std::u16string(256, u'x')), dberr::kFieldTooSmall},
      {"text of exactly its size", u"Letters", u"Subject", Value(std::u16string(255, u'x')), 0},
      {"zero length where allowed", u"Letters", u"Subject", Value(u""), 0},
      {"zero length where not allowed", u"Letters", u"From", Value(u""), dberr::kZeroLength},
      {"Null where not required", u"Letters", u"From", Value(), 0},
      {"empty User of an account", u"Accounts", u"User", Value(u""), dberr::kZeroLength},
      {"missing User of an account", u"Accounts", u"User", Value(), dberr::kRequired},
      {"Byte above 255", u"Files", u"AVPchecked", Value(int32_t{256}), dberr::kNumericOverflow},
      {"date text that is no date", u"Letters", u"DateWrote", Value(u"soon"), dberr::kConversion},
      {"date text", u"Letters", u"DateWrote", Value(u"1/2/2003 4:05:06 AM"), 0},
      {"number text into Long", u"Letters", u"Size", Value(u"12"), 0},
      {"text into Long", u"Letters", u"Size", Value(u"twelve"), dberr::kConversion},
  };
  for (const auto& c : cases) {
    auto rs = db->OpenRecordset(c.table);
    int32_t got = ErrorOf([&] {
      rs->AddNew();
      if (c.table == u"Letters") {
        rs->Fields(u"MailFolder") = Value(u"Inbox");
        if (c.field != u"From") rs->Fields(u"From") = Value(u"a@b");
      }
      if (c.table == u"Accounts" && c.field != u"User") rs->Fields(u"User") = Value(u"u");
      rs->Fields(c.field) = c.value;
      rs->Update();
    });
    EXPECT_EQ(got, c.error) << c.what;
    if (rs->EditMode() != dbEditNone) rs->CancelUpdate();
  }
  // The Text(n) size is what callers cut to.
  auto rs = db->OpenRecordset(u"Letters");
  EXPECT_EQ(rs->Fields(u"Subject").Size(), 255);
  EXPECT_EQ(db->OpenRecordset(u"Files")->Fields(u"Content-Disposition").Size(), 50);
}

TEST_F(RecordsetTest, ValuesComeBackWithTheirTypes) {
  auto rs = db->OpenRecordset(u"Files");
  rs->AddNew();
  std::string octets("\x00\x01\xff\x80zz", 6);
  rs->Fields(u"Data") = Value(BytesToByteText(octets));  // byte text in, octets stored
  rs->Fields(u"N") = Value(int32_t{5});
  rs->Update();
  auto l = db->OpenRecordset(u"Letters");
  l->AddNew();
  l->Fields(u"Read") = Value(true);
  l->Fields(u"DateReceived") = Value(OleDate{45000.25});
  l->Fields(u"MailFolder") = Value(u"Inbox");
  l->Update();

  auto f = db->OpenRecordset(u"Select * from Files WHERE (((Files.[N])=5));");
  ASSERT_EQ(f->RecordCount(), 1);
  EXPECT_EQ(f->Fields(u"Data").Value().AsBinary(), octets);
  EXPECT_EQ(f->Fields(u"Data").FieldSize(), 6);
  auto r = db->OpenRecordset(u"Select key, Read, DateReceived, Message from Letters");
  EXPECT_EQ(r->Fields(u"Read").Value(), Value(true));
  EXPECT_EQ(r->Fields(u"DateReceived").Value(), Value(OleDate{45000.25}));
  EXPECT_TRUE(r->Fields(u"Message").Value().IsNull());
  // True is stored as -1.
  auto n = db->OpenRecordset(u"Select key from Letters where Read=-1 and Read=True");
  EXPECT_EQ(n->RecordCount(), 1);
}

TEST_F(RecordsetTest, EditsThroughAJoinReachBothTables) {
  int32_t k = AddLetter(u"in pack");
  Exec(u"INSERT INTO Packs (Name) VALUES (\"P1\")");
  Exec(u"INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (1, 1, \"Root\\A\", False)");
  auto rs = db->OpenRecordset(
      u"Select *  FROM Packs LEFT JOIN Projects ON (Packs.N = Projects.[Obj ID]   ) WHERE(  ((Projects.[Project]=\"root\\a\") "
      u"and (Projects.[InsArcPrj]=False))  and Projects.ObjType=1    )order by Packs.[N] desc;");
  ASSERT_EQ(rs->RecordCount(), 1);
  ASSERT_TRUE(rs->Updatable());
  rs->Edit();
  rs->Fields(u"Project") = Value(u"Root\\B");
  rs->Fields(u"InsArcPrj") = Value(true);
  rs->Fields(u"Name") = Value(u"Renamed");
  rs->Update();
  EXPECT_EQ(rs->Fields(u"Project").Value().AsText(), u"Root\\B");
  auto p = db->OpenRecordset(u"Select * from Projects where [Obj ID]=1 and ObjType=1");
  EXPECT_EQ(p->Fields(u"Project").Value().AsText(), u"Root\\B");
  EXPECT_EQ(p->Fields(u"InsArcPrj").Value(), Value(true));
  auto pk = db->OpenRecordset(u"Packs");
  EXPECT_EQ(pk->Fields(u"Name").Value().AsText(), u"Renamed");
  // A computed column can't be written.
  auto u = db->OpenRecordset(u"Select *, Null as Project2 From Packs");
  u->Edit();
  EXPECT_EQ(ErrorOf([&] { u->Fields(u"Project2") = Value(u"x"); }), 3164);
  // A union is read-only.
  auto un = db->OpenRecordset(u"Select N from Packs Union Select key from Letters");
  EXPECT_FALSE(un->Updatable());
  EXPECT_EQ(ErrorOf([&] { un->Edit(); }), dberr::kReadOnly);
  (void)k;
}

TEST_F(RecordsetTest, FindWithTheCriteriaFormsOfTheStore) {
  for (int i = 0; i < 5; ++i) AddLetter(u"L" + NumToText(i), i % 2 ? u"Sent" : u"Inbox");
  Exec(u"INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (3, 0, \"Root\\Docs\", True)");
  Exec(u"INSERT INTO PackItems (Pack_N, Msg_N) VALUES (2, 4)");
  struct Case {
    std::u16string source, criteria;
    int32_t position;  // -1: no match
  };
  const Case cases[] = {
      {u"Letters", u"key=3", 2},
      {u"Letters", u"[key]=5", 4},
      {u"Letters", u"key=99", -1},
      {u"Letters", u"[Letters].[key]=2", 1},
      {u"Letters", u"MailFolder=\"sent\"", 1},            // text ignores case
      {u"Letters", u"MailFolder=\"Sent \"", -1},          // trailing blanks count
      {u"Letters", u"Subject Like \"l*\" and key>3", 3},  // SQLite path
      {u"Letters", u"IsNull(DateWrote) and key=2", 1},
      {u"Select * From Projects  Where [Obj ID]=3 and ObjType=0;", u"Project=\"root\\docs\" and InsArcPrj=True", 0},
      {u"Select * From Projects  Where [Obj ID]=3 and ObjType=0;", u"Project=\"Root\\Docs\" and InsArcPrj=False", -1},
      {u"Select * from PackItems Where Msg_N=4;", u"Pack_N=2 and Msg_N=4", 0},
      {u"Projects", u" [Obj ID]=3 and ObjType=0 and Project=\"Root\\Docs\" and InsArcPrj=True", 0},
  };
  for (const auto& c : cases) {
    auto rs = db->OpenRecordset(c.source);
    rs->MoveFirst();
    rs->FindFirst(c.criteria);
    EXPECT_EQ(rs->NoMatch(), c.position < 0) << ToUtf8(c.criteria);
    EXPECT_EQ(rs->AbsolutePosition(), c.position < 0 ? 0 : c.position) << ToUtf8(c.criteria);
  }
  // FindNext walks every match; FindPrevious back.
  auto rs = db->OpenRecordset(u"Letters");
  std::vector<int32_t> keys;
  for (rs->FindFirst(u"MailFolder=\"Inbox\""); !rs->NoMatch(); rs->FindNext(u"MailFolder=\"Inbox\""))
    keys.push_back(rs->Fields(u"key").Value().AsLong());
  EXPECT_EQ(keys, (std::vector<int32_t>{1, 3, 5}));
  rs->FindPrevious(u"MailFolder=\"Inbox\"");
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), 3);
  rs->FindLast(u"MailFolder=\"Sent\"");
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), 4);
  // Criteria that are not an expression of this recordset are refused, and never run.
  EXPECT_EQ(ErrorOf([&] { rs->FindFirst(u"key=1; DELETE FROM Letters"); }), dberr::kSyntaxInExpression);
  EXPECT_EQ(ErrorOf([&] { rs->FindFirst(u"nosuch=1"); }), 3070);
  EXPECT_EQ(ErrorOf([&] { rs->FindFirst(u"key=1) or (1=1"); }), dberr::kSyntaxInExpression);
  EXPECT_EQ(CountOf(u"Letters"), 5);
}

TEST_F(RecordsetTest, TextComparesWithoutCaseAndWithTrailingBlanks) {
  AddLetter(u"Привет Мир", u"Recycle");
  AddLetter(u"ПРИВЕТ мир", u"Inbox");
  AddLetter(u"hello", u"Recycle ");
  struct Case {
    std::u16string where;
    int32_t count;
  };
  const Case cases[] = {
      {u"Subject=\"привет мир\"", 2},
      {u"MailFolder=\"recycle\"", 1},
      {u"MailFolder=\"Recycle \"", 1},
      {u"MailFolder<>\"Recycle \"", 2},
      {u"Subject Like \"*МИР\"", 2},
      {u"Subject Like \"h?ll#\"", 0},
      {u"Subject Like \"[g-i]ello\"", 1},
      {u"StrComp(Subject, \"HELLO\", 1)=0", 1},
      {u"StrComp(Subject, \"HELLO\", 0)=0", 0},
  };
  for (const auto& c : cases)
    EXPECT_EQ(CountOf(u"Select * from Letters where " + c.where), c.count) << ToUtf8(c.where);
  // Ordering follows the same comparison.
  auto rs = db->OpenRecordset(u"Select Subject from Letters order by Subject");
  EXPECT_EQ(rs->Fields(0).Value().AsText(), u"hello");
}

TEST_F(RecordsetTest, PositionsBookmarksAndTheRowWalksOfTheStore) {
  for (int i = 0; i < 6; ++i) AddLetter(u"L" + NumToText(i));
  auto rs = db->OpenRecordset(u"Letters");
  EXPECT_EQ(rs->RecordCount(), 1);  // rows are counted as they are reached
  rs->SetAbsolutePosition(3);
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), 4);
  Bookmark b = rs->GetBookmark();
  rs->MoveLast();
  EXPECT_EQ(rs->RecordCount(), 6);
  rs->SetBookmark(b);
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), 4);
  EXPECT_EQ(ErrorOf([&] { rs->SetAbsolutePosition(6); }), dberr::kInvalidArgument);
  // Deleting from the last row to the first leaves nothing and never loses the place.
  rs->MoveLast();
  int deleted = 0;
  while (!rs->Bof()) {
    rs->Delete();
    ++deleted;
    EXPECT_EQ(rs->AbsolutePosition(), -1);
    rs->MovePrevious();
  }
  EXPECT_EQ(deleted, 6);
  EXPECT_TRUE(rs->Eof());
  EXPECT_EQ(CountOf(u"Letters"), 0);
  // No current record.
  EXPECT_EQ(ErrorOf([&] { rs->MoveFirst(); }), dberr::kNoCurrentRecord);
  EXPECT_EQ(ErrorOf([&] { rs->Fields(u"key").Value(); }), dberr::kNoCurrentRecord);
  EXPECT_EQ(ErrorOf([&] { rs->Edit(); }), dberr::kNoCurrentRecord);
  EXPECT_EQ(ErrorOf([&] { rs->Fields(u"Subject") = Value(u"x"); }), 3020);
  EXPECT_EQ(ErrorOf([&] { rs->Fields(u"nosuch"); }), dberr::kItemNotFound);
}

TEST_F(RecordsetTest, MovingAwayDropsAnEditAndRequeryRereads) {
  AddLetter(u"a");
  AddLetter(u"b");
  auto rs = db->OpenRecordset(u"Letters");
  rs->Edit();
  rs->Fields(u"Subject") = Value(u"changed");
  rs->MoveNext();
  rs->MovePrevious();
  EXPECT_EQ(rs->Fields(u"Subject").Value().AsText(), u"a");
  rs->MoveLast();
  AddLetter(u"c");
  EXPECT_EQ(CountOf(u"Letters"), 3);
  rs->MoveLast();
  EXPECT_EQ(rs->RecordCount(), 2);  // a dynaset keeps its rows until Requery
  rs->Requery();
  rs->MoveLast();
  EXPECT_EQ(rs->RecordCount(), 3);
  db->Recordsets().Refresh();
  EXPECT_GE(db->Recordsets().Count(), 1);
}

TEST_F(RecordsetTest, TableTypeCountsAndSeeksByIndex) {
  AddLetter(u"b");
  AddLetter(u"a");
  auto rs = db->OpenRecordset(u"Letters", dbOpenTable);
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->SetIndex(u"key");
  rs->Seek(u"=", Value(int32_t{2}));
  ASSERT_FALSE(rs->NoMatch());
  EXPECT_EQ(rs->Fields(u"Subject").Value().AsText(), u"a");
  rs->SetIndex(u"Subject");  // a field name serves as an index too
  rs->MoveFirst();
  EXPECT_EQ(rs->Fields(u"Subject").Value().AsText(), u"a");
  EXPECT_EQ(ErrorOf([&] { rs->SetIndex(u"nosuch"); }), 3800);
  EXPECT_EQ(ErrorOf([&] { db->OpenRecordset(u"Select * from Letters", dbOpenTable); }), dberr::kInvalidOperation);
}

}  // namespace
}  // namespace ravelin::dao::test
