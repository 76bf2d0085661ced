// Files, schema objects, sharing and transactions: every error number the store
// branches on, produced by the situation that produces it.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>

#include "db_fixture.h"

namespace ravelin::dao::test {
namespace {

using EngineTest = MailDbTest;

TEST_F(EngineTest, FormatVersionsAndCompaction) {
  EXPECT_EQ(db->Version(), u"4.0");
  AddLetter(u"kept");
  auto old = dir.File("Email.mdb");
  {
    auto v3 = CreateDatabase(old, dbLangGeneral, dbVersion30);
    EXPECT_EQ(v3->Version(), u"3.0");
    BuildMailTables(*v3);
    v3->Execute(u"INSERT INTO Letters (Subject, MailFolder) VALUES (\"old\", \"Inbox\")");
  }
  // Compaction is the conversion: the copy is 4.0 and holds the rows.
  auto converted = dir.File("EmailW2.mdb");
  CompactDatabase(old, converted, {}, dbVersion40);
  auto c = OpenDatabase(converted);
  EXPECT_EQ(c->Version(), u"4.0");
  auto rs = c->OpenRecordset(u"Letters");
  EXPECT_EQ(rs->Fields(u"Subject").Value().AsText(), u"old");
  // The numbering goes on after the copied rows.
  rs->AddNew();
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), 2);
  rs->CancelUpdate();

  struct Case {
    const char* what;
    std::function<void()> call;
    int32_t error;
  };
  std::string junk = ToUtf8(dir.File("junk.mdb"));
  std::ofstream(junk) << "this is not a database, not even close to one............................";
  const Case cases[] = {
      {"compact onto an existing file", [&] { CompactDatabase(old, converted); }, dberr::kDatabaseExists},
      {"compact a file that is open", [&] { CompactDatabase(path, dir.File("x.mdb")); }, dberr::kFileInUse},
      {"compact a missing file", [&] { CompactDatabase(dir.File("none.mdb"), dir.File("y.mdb")); }, dberr::kFileNotFound},
      {"create over an existing file", [&] { CreateDatabase(path, dbLangGeneral, 64); }, dberr::kDatabaseExists},
      {"open a missing file", [&] { OpenDatabase(dir.File("none.mdb")); }, dberr::kFileNotFound},
      {"open a file that is no database", [&] { OpenDatabase(FromUtf8(junk)); }, dberr::kUnrecognizedFormat},
      {"open exclusively a file that is open", [&] { OpenDatabase(path, true); }, dberr::kFileInUse},
  };
  for (const auto& k : cases) EXPECT_EQ(ErrorOf(k.call), k.error) << k.what;
  EXPECT_FALSE(std::ifstream(ToUtf8(dir.File("x.mdb"))).good());  // a refused compaction leaves nothing
  // A log left beside a deleted file (a crash, then the file erased) never reaches the
  // file that takes its name.
  std::string stale = ToUtf8(dir.File("stale.mdb"));
  std::ofstream(stale + "-wal") << std::string(4096, '\x37');
  CompactDatabase(old, FromUtf8(stale));
  auto fresh = OpenDatabase(FromUtf8(stale));
  EXPECT_EQ(fresh->OpenRecordset(u"Letters")->Fields(u"Subject").Value().AsText(), u"old");
}

TEST_F(EngineTest, SchemaErrorsOfTheMaintenancePass) {
  auto letters = db->TableDefs()(u"Letters");
  auto accounts = db->TableDefs()(u"accounts");  // names ignore case
  EXPECT_EQ(accounts->Fields()(u"User")->Required(), true);
  EXPECT_EQ(accounts->Fields()(u"User")->AllowZeroLength(), false);
  EXPECT_EQ(letters->Fields()(u"key")->Attributes() & dbAutoIncrField, dbAutoIncrField);
  EXPECT_EQ(letters->Fields()(u"Subject")->Size(), 255);
  EXPECT_EQ(db->TableDefs()(u"Files")->Fields()(u"AVPchecked")->DefaultValue(), u"0");
  EXPECT_EQ(db->TableDefs().Count(), 7);
  struct Case {
    const char* what;
    std::function<void()> call;
    int32_t error;
  };
  const Case cases[] = {
      {"a field that is there", [&] { letters->Fields().Append(letters->CreateField(u"Subject", dbText, 255)); },
       dberr::kFieldDefinedTwice},
      {"a second primary key",
       [&] {
         auto ix = letters->CreateIndex(u"PrimaryKey");
         ix->SetPrimary(true);
         ix->Fields().Append(ix->CreateField(u"Size"));
         letters->Indexes().Append(ix);
       },
       dberr::kPrimaryKeyExists},
      {"a table that is there", [&] { db->TableDefs().Append(db->CreateTableDef(u"Letters")); }, dberr::kObjectExists},
      {"a stored definition appended again", [&] { db->TableDefs().Append(letters); }, dberr::kObjectExists},
      {"a table that isn't there", [&] { db->TableDefs()(u"Rules"); }, dberr::kItemNotFound},
      {"a field that isn't there", [&] { letters->Fields().Delete(u"Folder"); }, dberr::kItemNotFound},
      {"a query of an existing name", [&] { db->CreateQueryDef(u"Inbox"); db->CreateQueryDef(u"Inbox"); },
       dberr::kObjectExists},
      {"a recordset on a missing table", [&] { db->OpenRecordset(u"Select * from Nowhere"); }, 3078},
      {"a statement after the statement",
       [&] { db->OpenRecordset(u"Select * from Letters; DELETE FROM Letters"); }, 3142},
      {"an action after the action", [&] { db->Execute(u"DELETE FROM Packs; DROP TABLE Letters"); }, 3142},
      {"a comment that hides the rest", [&] { db->OpenRecordset(u"Select * from Letters where key=0 -- or 1=1"); },
       dberr::kSyntaxInExpression},
      {"an unterminated text", [&] { db->OpenRecordset(u"Select * from Letters where Subject=\"a"); },
       dberr::kSyntaxInExpression},
      {"a select run as an action", [&] { db->Execute(u"Select * from Letters"); }, 3065},
      {"commit without a transaction", [&] { Engine().CommitTrans(); }, 3034},
  };
  for (const auto& c : cases) EXPECT_EQ(ErrorOf(c.call), c.error) << c.what;
  // Nothing of the hostile texts ran.
  EXPECT_EQ(db->TableDefs().Count(), 7);
  // The query made before the failure is stored, and its SQL can be set.
  db->QueryDefs()(u"Inbox")->SetSQL(u"");
  db->QueryDefs().Refresh();
  EXPECT_EQ(db->QueryDefs().Count(), 1);
}

TEST_F(EngineTest, UpgradingAStoredTableKeepsItsRows) {
  AddLetter(u"one");
  AddLetter(u"two");
  auto letters = db->TableDefs()(u"Letters");
  AddField(*letters, u"Folder", dbText, 255);
  AddField(*letters, u"Pack_N", dbLong, 0, false, false, u"0");
  // Rows already there have no value in a new column; new rows get the default.
  EXPECT_TRUE(db->OpenRecordset(u"Letters")->Fields(u"Pack_N").Value().IsNull());
  EXPECT_EQ(AddLetter(u"three"), 3);
  auto rs = db->OpenRecordset(u"Letters");
  rs->MoveLast();
  EXPECT_EQ(rs->Fields(u"Pack_N").Value(), Value(int32_t{0}));
  rs.reset();
  letters->Fields().Delete(u"Folder");
  letters->Fields().Delete(u"Pack_N");
  EXPECT_EQ(ErrorOf([&] { db->OpenRecordset(u"Letters")->Fields(u"Folder"); }), dberr::kItemNotFound);
  EXPECT_EQ(CountOf(u"Select * from Letters where Subject=\"two\""), 1);
  // Rules can change on a stored field.
  auto subject = letters->Fields()(u"Subject");
  subject->SetAllowZeroLength(false);
  auto l = db->OpenRecordset(u"Letters");
  l->Edit();
  EXPECT_EQ(ErrorOf([&] { l->Fields(u"Subject") = Value(u""); }), dberr::kZeroLength);
  l->CancelUpdate();
  // A table held by an open cursor can't be dropped.
  auto busy = db->OpenRecordset(u"Letters");
  EXPECT_EQ(ErrorOf([&] { db->TableDefs().Delete(u"Letters"); }), dberr::kTableLocked);
}

TEST_F(EngineTest, InnerTransactionsUndoOnlyTheirOwnWork) {
  Engine().BeginTrans();
  AddLetter(u"outer");
  Engine().BeginTrans();
  AddLetter(u"inner, undone");
  Engine().Rollback();
  EXPECT_EQ(Engine().TransactionDepth(), 1);
  Engine().BeginTrans();
  AddLetter(u"inner, kept");
  Engine().CommitTrans();
  // A database opened and closed inside the transaction leaves its work in it.
  {
    auto other = OpenDatabase(path);
    auto rs = other->OpenRecordset(u"Packs");
    rs->AddNew();
    rs->Fields(u"Name") = Value(u"from a closed database");
    rs->Update();
    rs->Close();
    other->Close();
  }
  Engine().CommitTrans();
  EXPECT_EQ(CountOf(u"Select * from Letters where Subject=\"inner, undone\""), 0);
  EXPECT_EQ(CountOf(u"Letters"), 2);
  EXPECT_EQ(CountOf(u"Packs"), 1);
  // Undoing the outer transaction undoes what its inner ones kept.
  Engine().BeginTrans();
  Engine().BeginTrans();
  AddLetter(u"gone with the outer");
  Engine().CommitTrans();
  Engine().Rollback();
  EXPECT_EQ(CountOf(u"Letters"), 2);
}

TEST_F(EngineTest, ConnectionsShareRowsAndTheTransaction) {
  auto second = OpenDatabase(path, false, false, u"Access");
  AddLetter(u"from the first");
  EXPECT_EQ(second->OpenRecordset(u"Letters")->Fields(u"Subject").Value().AsText(), u"from the first");

  Engine().BeginTrans();
  AddLetter(u"undone");
  auto rs = second->OpenRecordset(u"Packs");
  rs->AddNew();
  rs->Fields(u"Name") = Value(u"undone too");
  rs->Update();
  Engine().Rollback();
  EXPECT_EQ(CountOf(u"Letters"), 1);
  EXPECT_EQ(CountOf(u"Packs"), 0);

  Engine().BeginTrans();
  Engine().BeginTrans();
  AddLetter(u"kept");
  Engine().CommitTrans();
  EXPECT_EQ(Engine().TransactionDepth(), 1);
  Engine().CommitTrans();
  second.reset();
  db.reset();
  auto again = OpenDatabase(path);
  auto r = again->OpenRecordset(u"Letters");
  r->MoveLast();
  EXPECT_EQ(r->RecordCount(), 2);
  // A read-only database refuses edits.
  auto ro = OpenDatabase(path, false, true);
  EXPECT_EQ(ErrorOf([&] { ro->OpenRecordset(u"Letters")->AddNew(); }), dberr::kReadOnly);
}

// Runs `child` in another process; returns its exit code.
int InChild(const std::function<int()>& child, const std::function<void()>& parent = {}) {
  std::fflush(nullptr);
  pid_t pid = fork();
  if (pid == 0) _exit(child());
  if (parent) parent();
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 99;
}

TEST(EngineProcesses, TwoProcessesShareOneFile) {
  ravelin::test::TempDir dir;
  auto path = dir.File("EmailW.mdb");
  {
    auto db = CreateDatabase(path, dbLangGeneral, 64);
    BuildMailTables(*db);
  }  // nothing of this process stays open: the child starts clean
  int ready[2], go[2];
  ASSERT_EQ(pipe(ready), 0);
  ASSERT_EQ(pipe(go), 0);
  int32_t parentKey = 0;
  int rc = InChild(
      [&] {
        // Holds a new row's number while the parent asks for one.
        auto db = OpenDatabase(path);
        auto rs = db->OpenRecordset(u"Letters");
        rs->AddNew();
        int32_t key = rs->Fields(u"key").Value().AsLong();
        rs->Fields(u"MailFolder") = Value(u"Inbox");
        char c = 1;
        if (write(ready[1], &c, 1) != 1) return 2;
        usleep(200 * 1000);
        rs->Update();
        return key == 1 ? 0 : 3;
      },
      [&] {
        char c;
        ASSERT_EQ(read(ready[0], &c, 1), 1);
        auto db = OpenDatabase(path);
        auto rs = db->OpenRecordset(u"Letters");
        rs->AddNew();  // waits for the child's row
        parentKey = rs->Fields(u"key").Value().AsLong();
        rs->Fields(u"MailFolder") = Value(u"Inbox");
        rs->Update();
        auto all = db->OpenRecordset(u"Letters");
        all->MoveLast();
        EXPECT_EQ(all->RecordCount(), 2);
      });
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(parentKey, 2);
  // A file held exclusively elsewhere is in use.
  rc = InChild(
      [&] {
        auto db = OpenDatabase(path, true);
        char c = 1;
        if (write(ready[1], &c, 1) != 1) return 2;
        if (read(go[0], &c, 1) != 1) return 3;
        return 0;
      },
      [&] {
        char c;
        ASSERT_EQ(read(ready[0], &c, 1), 1);
        EXPECT_EQ(ErrorOf([&] { OpenDatabase(path); }), dberr::kFileInUse);
        EXPECT_EQ(ErrorOf([&] { CompactDatabase(path, dir.File("c.mdb")); }), dberr::kFileInUse);
        c = 1;
        ASSERT_EQ(write(go[1], &c, 1), 1);
      });
  EXPECT_EQ(rc, 0);
  EXPECT_EQ(OpenDatabase(path)->Version(), u"4.0");
  // A process that dies in the middle of its writes leaves the file as it was.
  rc = InChild([&]() -> int {
    auto db = OpenDatabase(path);
    Engine().BeginTrans();
    auto rs = db->OpenRecordset(u"Letters");
    for (int i = 0; i < 200; ++i) {
      rs->AddNew();
      rs->Fields(u"MailFolder") = Value(u"Inbox");
      rs->Update();
    }
    _exit(7);  // no commit, no close
  });
  EXPECT_EQ(rc, 7);
  auto db = OpenDatabase(path);
  auto rs = db->OpenRecordset(u"Letters");
  rs->MoveLast();
  EXPECT_EQ(rs->RecordCount(), 2);
  rs->AddNew();
  EXPECT_EQ(rs->Fields(u"key").Value().AsLong(), 3);
  rs->CancelUpdate();
}

}  // namespace
}  // namespace ravelin::dao::test
