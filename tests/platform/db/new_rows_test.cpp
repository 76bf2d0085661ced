// New rows written without a recordset: each row must come out exactly as the table's
// recordset would have stored it (values, refusals, auto-numbers), whatever the caller's
// transaction does and whatever changed in the table since the last row.
#include "db_fixture.h"

namespace ravelin::dao::test {
namespace {

using NewRowsTest = MailDbTest;

// Every field of the row of `table` whose rowid is `rowid`, as the engine reads it back.
std::vector<Value> StoredRow(Database& db, const std::u16string& table, const std::u16string& where) {
  auto rs = db.OpenRecordset(u"Select * from " + table + u" where " + where);
  std::vector<Value> out;
  if (rs->Eof()) return out;
  for (int32_t i = 0; i < rs->Fields().Count(); ++i) out.push_back(rs->Fields(i).Value());
  EXPECT_TRUE((rs->MoveNext(), rs->Eof())) << "more than one row matched";
  return out;
}

struct Assignment {
  std::u16string field;
  Value value;
};

// The same assignments through a recordset and through NewRows: the same failure, and on
// success the same stored row (the key aside, each takes its own). `handOver`: the writer
// is given values it may take over rather than copy.
void ExpectSameOutcome(Database& db, const std::shared_ptr<Database>& shared, const char* what,
                       const std::u16string& table, const std::vector<Assignment>& set, const std::u16string& mark,
                       bool handOver) {
  auto rs = db.OpenRecordset(table);
  const int32_t viaRecordset = ErrorOf([&] {
    rs->AddNew();
    for (const auto& a : set) {
      // A refused assignment leaves the field as it was and the row goes on.
      ErrorOf([&] { rs->Fields(a.field) = a.value; });
    }
    rs->Fields(u"Subject") = Value(mark + u"-rs");
    rs->Update();
  });
  if (rs->EditMode() != dbEditNone) rs->CancelUpdate();

  NewRows rows(shared, table);
  const int32_t viaWriter = ErrorOf([&] {
    rows.AddNew();
    for (const auto& a : set)
      ErrorOf([&] { handOver ? rows.SetField(a.field, Value(a.value)) : rows.SetField(a.field, a.value); });
    rows.SetField(u"Subject", Value(mark + u"-nr"));
    rows.Update();
  });
  EXPECT_EQ(viaWriter, viaRecordset) << what;
  std::vector<Value> a = StoredRow(db, table, u"Subject=\"" + mark + u"-rs\"");
  std::vector<Value> b = StoredRow(db, table, u"Subject=\"" + mark + u"-nr\"");
  ASSERT_EQ(a.size(), b.size()) << what;
  // Fields 0 (key) and 1 (Subject, the mark) differ by design.
  for (size_t i = 2; i < a.size(); ++i) EXPECT_EQ(a[i], b[i]) << what << ", field " << i;
}

TEST_F(NewRowsTest, ARowIsStoredAndRefusedExactlyAsTheRecordsetDoes) {
  const struct {
    const char* what;
    std::vector<Assignment> set;
  } cases[] = {
      {"all fields given", {{u"From", Value(u"a@b")}, {u"To", Value(u"c@d")}, {u"MailFolder", Value(u"Inbox")},
                            {u"DateReceived", Value(OleDate{46000.25})}, {u"DateWrote", Value(u"1/2/2003 4:05:06 AM")},
                            {u"Message", Value(u"text")}, {u"Read", Value(true)}, {u"Size", Value(u"12")}}},
      {"defaults only", {}},
      {"text longer than its size (refused, field stays empty)", {{u"From", Value(std::u16string(256, u'x'))}}},
      {"text of exactly its size", {{u"From", Value(std::u16string(255, u'x'))}}},
      {"zero length where not allowed", {{u"From", Value(u"")}, {u"MailFolder", Value(u"Inbox")}}},
      {"date text that is no date", {{u"DateWrote", Value(u"soon")}}},
      {"text into Long", {{u"Size", Value(u"twelve")}}},
      {"number into text", {{u"To", Value(int32_t{42})}}},
      {"Null where allowed", {{u"Message", Value()}, {u"From", Value()}}},
      {"octets into text", {{u"Message", Value::Binary(std::string("a\0\xff", 3))}, {u"From", Value::Binary("x")}}},
  };
  int n = 0;
  for (const bool handOver : {false, true})
    for (const auto& c : cases)
      ExpectSameOutcome(*db, db, c.what, u"Letters", c.set, FromUtf8(std::to_string(++n)), handOver);

  // A required field left Null is refused at Update by both, with nothing stored.
  NewRows accounts(db, u"Accounts");
  accounts.AddNew();
  EXPECT_EQ(ErrorOf([&] { accounts.Update(); }), dberr::kRequired);
  EXPECT_EQ(ErrorOf([&] { accounts.SetField(u"User", Value(u"")); }), dberr::kZeroLength);
  accounts.SetField(u"User", Value(u"ann"));
  EXPECT_EQ(accounts.Update(), 0);  // no auto-number in Accounts
  EXPECT_EQ(StoredRow(*db, u"Accounts", u"[User]=\"ann\"")[0], Value(int32_t{1}));  // Flags' default
  EXPECT_EQ(CountOf(u"Accounts"), 1);
}

TEST_F(NewRowsTest, KeysFollowTheRecordsetsNumbering) {
  EXPECT_EQ(AddLetter(u"one"), 1);
  NewRows rows(db, u"Letters");
  const auto add = [&](const std::u16string& subject) {
    rows.AddNew();
    rows.SetField(u"Subject", Value(subject));
    rows.SetField(u"MailFolder", Value(u"Inbox"));
    return rows.Update();
  };
  EXPECT_EQ(add(u"two"), 2);
  // A number a recordset reserved and never used is not given again.
  auto rs = db->OpenRecordset(u"Letters");
  rs->AddNew();
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), 3);
  rs->CancelUpdate();
  EXPECT_EQ(add(u"four"), 4);
  // Nor is the number of the last row once deleted.
  Exec(u"Delete from Letters where key=4");
  EXPECT_EQ(add(u"five"), 5);
  EXPECT_EQ(AddLetter(u"six"), 6);
  EXPECT_EQ(StoredRow(*db, u"Letters", u"key=5")[1], Value(u"five"));
  // The key can't be set, and is not known before the row is written.
  rows.AddNew();
  EXPECT_EQ(ErrorOf([&] { rows.SetField(u"key", Value(int32_t{99})); }), dberr::kFieldNotUpdatable);
  EXPECT_TRUE(rows.GetField(u"key").IsNull());
  rows.CancelUpdate();
}

TEST_F(NewRowsTest, AnAutoNumberThatIsNotTheRowKeyIsReservedAsTheRecordsetDoes) {
  auto t = db->CreateTableDef(u"Notes");
  AddField(*t, u"N", dbLong, 0, false, false, nullptr, dbAutoIncrField);
  AddField(*t, u"Subject", dbText, 50, true);
  db->TableDefs().Append(t);
  auto rs = db->OpenRecordset(u"Notes");
  rs->AddNew();
  EXPECT_EQ(rs->Fields(u"N").Value().AsLong(), 1);
  rs->Update();
  NewRows rows(db, u"Notes");
  rows.AddNew();
  EXPECT_EQ(rows.Update(), 2);
  rs->AddNew();
  EXPECT_EQ(rs->Fields(u"N").Value().AsLong(), 3);
  rs->CancelUpdate();
  rows.AddNew();
  EXPECT_EQ(rows.Update(), 4);
  EXPECT_EQ(CountOf(u"Select * from Notes where N=4"), 1);
}

TEST_F(NewRowsTest, RowsBelongToTheCallersTransaction) {
  NewRows rows(db, u"PackItems");
  const auto add = [&](int32_t msg) {
    rows.AddNew();
    rows.SetField(u"Msg_N", Value(msg));
    rows.SetField(u"Pack_N", Value(int32_t{1}));
    rows.Update();
  };
  Engine().BeginTrans();
  add(1);
  add(2);
  Engine().Rollback();
  EXPECT_EQ(CountOf(u"PackItems"), 0);
  Engine().BeginTrans();
  add(3);
  Engine().CommitTrans();
  // Outside a transaction a row is saved on its own.
  add(4);
  EXPECT_EQ(CountOf(u"PackItems"), 2);
  // After a rolled-back letter the key counts on as the recordset's would.
  Engine().BeginTrans();
  NewRows letters(db, u"Letters");
  letters.AddNew();
  letters.SetField(u"MailFolder", Value(u"Inbox"));
  EXPECT_EQ(letters.Update(), 1);
  Engine().Rollback();
  EXPECT_EQ(AddLetter(u"after"), 1);
}

TEST_F(NewRowsTest, ATableThatChangedBetweenRowsIsWrittenInItsNewShape) {
  NewRows rows(db, u"Projects");
  rows.AddNew();
  rows.SetField(u"Obj ID", Value(int32_t{1}));
  rows.Update();
  auto projects = db->TableDefs()(u"Projects");
  auto f = projects->CreateField(u"Note", dbText, 10);
  f->SetDefaultValue(Value(u"none"));
  projects->Fields().Append(f);
  rows.AddNew();
  EXPECT_EQ(rows.GetField(u"Note"), Value(u"none"));
  EXPECT_EQ(ErrorOf([&] { rows.SetField(u"Note", Value(u"more than ten")); }), dberr::kFieldTooSmall);
  rows.SetField(u"Obj ID", Value(int32_t{2}));
  rows.Update();
  EXPECT_EQ(StoredRow(*db, u"Projects", u"[Obj ID]=2").back(), Value(u"none"));
  // A table dropped since is told at the next row.
  db->TableDefs().Delete(u"Projects");
  EXPECT_EQ(ErrorOf([&] { rows.AddNew(); }), dberr::kNoSuchTable);
}

TEST_F(NewRowsTest, MisuseIsRefusedWithTheEnginesNumbers) {
  EXPECT_EQ(ErrorOf([&] { NewRows(db, u"Nowhere"); }), dberr::kNoSuchTable);
  NewRows rows(db, u"Letters");
  EXPECT_EQ(ErrorOf([&] { rows.SetField(u"Subject", Value(u"x")); }), dberr::kUpdateWithoutEdit);
  EXPECT_EQ(ErrorOf([&] { rows.Update(); }), dberr::kUpdateWithoutEdit);
  rows.AddNew();
  EXPECT_EQ(ErrorOf([&] { rows.SetField(u"Nothing", Value(u"x")); }), dberr::kItemNotFound);
  EXPECT_EQ(rows.Size(u"Subject"), 255);
  EXPECT_EQ(rows.EditMode(), dbEditAdd);
  rows.CancelUpdate();
  EXPECT_EQ(rows.EditMode(), dbEditNone);
  EXPECT_EQ(CountOf(u"Letters"), 0);
}

}  // namespace
}  // namespace ravelin::dao::test
