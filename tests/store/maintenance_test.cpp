// Upgrading older mail databases in one CorrectDB, reaching a file at the alternative or
// legacy location, and compaction with its backup, its captions and its failures.
#include <filesystem>
#include <tuple>

#include "platform/filesystem.h"
#include "platform/module1.h"
#include "store/fields.h"
#include "store/maintenance.h"
#include "store/store_fixture.h"
#include "windows/frm_compress.h"

namespace ravelin::test {
namespace {

struct Col {
  const char16_t* name;
  int32_t type;
  int32_t size = 0;
  bool autoNumber = false;
};

void MakeTable(dao::Database& db, const std::u16string& name, std::initializer_list<Col> cols) {
  auto tdf = db.CreateTableDef(name);
  for (const Col& c : cols) {
    auto f = tdf->CreateField(c.name, c.type, c.size);
    if (c.autoNumber) f->SetAttributes(dao::dbAutoIncrField);
    tdf->Fields().Append(f);
  }
  db.TableDefs().Append(tdf);
}

// The layout of the older release: one project and one pack per letter in its own
// columns, one project per pack, a boolean Checked for accounts, and fewer rule fields.
void MakeOlderLayout(dao::Database& db) {
  using namespace dao;
  MakeTable(db, u"Letters",
            {{u"key", dbLong, 0, true}, {u"Subject", dbText, 255}, {u"From", dbText, 255}, {u"DateReceived", dbDate},
             {u"DateWrote", dbDate}, {u"To", dbText, 255}, {u"MailFolder", dbText, 255}, {u"Message", dbMemo},
             {u"Read", dbBoolean}, {u"Size", dbLong}, {u"Folder", dbText, 255}, {u"InsArcPrj", dbBoolean},
             {u"Pack_N", dbLong}});
  MakeTable(db, u"Packs",
            {{u"N", dbLong, 0, true}, {u"Name", dbText, 255}, {u"Deleted", dbBoolean}, {u"Comments", dbText, 255},
             {u"Folder", dbText, 255}, {u"InsArcPrj", dbBoolean}});
  MakeTable(db, u"Accounts",
            {{u"Checked", dbBoolean}, {u"boxName", dbText, 255}, {u"User", dbText, 255}, {u"@after", dbText, 255},
             {u"POP", dbText, 255}, {u"SMTP", dbText, 255}});
  MakeTable(db, u"Rules", {{u"N", dbLong, 0, true}, {u"RuleName", dbText, 255}, {u"Subject", dbText, 255}});
  MakeTable(db, u"MailFolders", {{u"MailFolder", dbText, 50}});
  MakeTable(db, u"Files", {{u"N", dbLong}, {u"Data", dbLongBinary}, {u"filename", dbText, 255}});
}

void SeedOlderRows(dao::Database& db) {
  const char* rows[] = {
      "INSERT INTO Letters (key, Subject, MailFolder, Folder, InsArcPrj, Pack_N) VALUES (1, \"own live\", \"Inbox\", "
      "\"P\\A\", False, 0)",
      "INSERT INTO Letters (key, Subject, MailFolder, Folder, InsArcPrj, Pack_N) VALUES (2, \"own archive\", "
      "\"Inbox\", \"P\\B\", True, Null)",
      // In a pack: it lives through its pack, so it gets no project link of its own.
      "INSERT INTO Letters (key, Subject, MailFolder, Folder, InsArcPrj, Pack_N) VALUES (3, \"packed\", \"Sent\", "
      "\"P\\C\", False, 12)",
      "INSERT INTO Letters (key, Subject, MailFolder, Folder, Pack_N) VALUES (4, \"nothing\", \"Inbox\", \"\", Null)",
      "INSERT INTO Letters (key, Subject, MailFolder, Folder, Pack_N) VALUES (5, \"blank folder\", \"Recycle\", \"  \", "
      "11)",
      "INSERT INTO Packs (N, Name, Deleted, Folder, InsArcPrj) VALUES (11, \"with project\", False, \"X\", True)",
      "INSERT INTO Packs (N, Name, Deleted, Folder, InsArcPrj) VALUES (12, \"without\", False, \"\", False)",
      "INSERT INTO Accounts (Checked, [User], [@after]) VALUES (True, \"on\", \"a.org\")",
      "INSERT INTO Accounts (Checked, [User], [@after]) VALUES (False, \"off\", \"a.org\")",
      "INSERT INTO Rules (N, RuleName, Subject) VALUES (3, \"old rule\", \"invoice\")",
      "INSERT INTO MailFolders (MailFolder) VALUES (\"Inbox\")",
  };
  for (const char* sql : rows) Exec(db, sql);
}

using Link = std::tuple<int32_t, int32_t, std::string, bool>;  // Obj ID, ObjType, Project, InsArcPrj

class MaintenanceTest : public StoreFixture {
 protected:
  void SetUp() override {
    StoreFixture::SetUp();
    InstallCompressWindow();
    SetCompressView(recorder);
  }
  void TearDown() override {
    SetCompressView(nullptr);
    StoreFixture::TearDown();
  }

  std::vector<Link> Links() {
    std::vector<Link> out;
    auto db = Open();
    auto rs = db->OpenRecordset(u"Select * from Projects order by [Obj ID]");
    while (!rs->Eof()) {
      out.emplace_back(NullConvLng(rs->GetField(u"Obj ID")), NullConvLng(rs->GetField(u"ObjType")),
                       ToUtf8(NullConvStr(rs->GetField(u"Project"))), NullConvBool(rs->GetField(u"InsArcPrj")));
      rs->MoveNext();
    }
    db->Close();
    return out;
  }

  // A small database with one letter, at `path`, in the given format.
  void MakeSmallFile(const std::u16string& path, int32_t options, const char16_t* subject) {
    auto db = dao::CreateDatabase(path, dao::dbLangGeneral, options);
    MakeTable(*db, u"Letters",
              {{u"key", dao::dbLong, 0, true}, {u"Subject", dao::dbText, 255}, {u"MailFolder", dao::dbText, 255}});
    db->Execute(u"INSERT INTO Letters (Subject, MailFolder) VALUES (\"" + std::u16string(subject) + u"\", \"Inbox\")");
    db->Close();
  }

  std::u16string OnlySubject() {
    auto db = Open();
    auto rs = db->OpenRecordset(u"Letters");
    std::u16string s = rs->Eof() ? u"<none>" : NullConvStr(rs->GetField(u"Subject"));
    db->Close();
    return s;
  }

  std::shared_ptr<CompressRecorder> recorder = std::make_shared<CompressRecorder>();
};

TEST_F(MaintenanceTest, OlderLayoutIsUpgradedInOneCall) {
  {
    auto db = dao::CreateDatabase(DbPath(), dao::dbLangGeneral, dao::dbVersion40);
    MakeOlderLayout(*db);
    SeedOlderRows(*db);
    db->Close();
  }
  const auto r = store::CorrectDB(DbPath());
  EXPECT_EQ(r.outcome, store::CorrectOutcome::Upgraded);
  EXPECT_TRUE(host().Reports().empty()) << ReportsText();

  // Links moved: letters without a pack keep their project and side; packs theirs.
  EXPECT_EQ(Links(), (std::vector<Link>{{1, 0, "P\\A", false}, {2, 0, "P\\B", true}, {11, 1, "X", true}}));
  EXPECT_EQ(ColumnSet(u"Select * from PackItems where Pack_N=12", u"Msg_N"), std::set<int32_t>{3});
  EXPECT_EQ(ColumnSet(u"Select * from PackItems where Pack_N=11", u"Msg_N"), std::set<int32_t>{5});
  EXPECT_EQ(ColumnSet(u"Select * from PackItems", u"Pack_N"), (std::set<int32_t>{11, 12}));
  // No letter lost.
  EXPECT_EQ(ColumnSet(u"Select * from Letters", u"key"), (std::set<int32_t>{1, 2, 3, 4, 5}));
  // Checked became Flags.
  EXPECT_EQ(Column(u"Select * from Accounts order by [User]", u"Flags"), (std::vector<int32_t>{0, 1}));

  auto db = Open();
  for (const auto& [table, field] : std::vector<std::pair<std::u16string, std::u16string>>{
           {u"Letters", u"Folder"}, {u"Letters", u"InsArcPrj"}, {u"Letters", u"Pack_N"}, {u"Packs", u"Folder"},
           {u"Packs", u"InsArcPrj"}, {u"Accounts", u"Checked"}})
    EXPECT_FALSE(HasColumn(*db, table, field)) << ToUtf8(table + u"." + field);
  for (const auto& [table, field] : std::vector<std::pair<std::u16string, std::u16string>>{
           {u"Letters", u"OldMailFolder"}, {u"Accounts", u"Flags"}, {u"Accounts", u"Method"}, {u"Files", u"AVPchecked"},
           {u"Rules", u"Enable"}, {u"Files", u"Content-Location"}})
    EXPECT_TRUE(HasColumn(*db, table, field)) << ToUtf8(table + u"." + field);
  // The older rule got the missing fields only; its own values stay.
  auto rule = db->OpenRecordset(u"Rules");
  EXPECT_EQ(rule->GetField(u"RuleName").AsText(), u"old rule");
  EXPECT_EQ(rule->GetField(u"Subject").AsText(), u"invoice");
  EXPECT_EQ(NullConvLng(rule->GetField(u"N")), 3);
  rule->Close();
  EXPECT_EQ(db->TableDefs().Item(u"Rules")->Fields().Count(), 20);
  // An existing MailFolders table keeps its rows as they are.
  EXPECT_EQ(db->TableDefs().Item(u"MailFolders")->RecordCount(), 1);
  db->Close();

  EXPECT_EQ(store::CorrectDB(DbPath()).outcome, store::CorrectOutcome::Current);
  EXPECT_EQ(Links().size(), 3u);
}

TEST_F(MaintenanceTest, FilesElsewhereAreBroughtInAndUpgraded) {
  struct Row {
    const char* what;
    std::string file;  // relative to the home folder
    int32_t options;
    std::vector<std::u16string> captions;
  };
  const std::u16string cap2 = u"Compression of base ...";
  const Row rows[] = {
      // An old-format file is compacted to the current format (with a backup) first.
      {"format 3.0", "EmailW.mdb", dao::dbVersion30,
       {u"Creating a a database backup ...", cap2, u"Removing the old versions ..."}},
      {"alternative location", "app/EmailW.mdb", dao::dbVersion40, {}},
      {"legacy name", "Email.mdb", dao::dbVersion40, {cap2}},
      {"legacy name at the alternative location", "app/Email.mdb", dao::dbVersion40, {cap2}},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.what);
    for (const char* f : {"EmailW.mdb", "app/EmailW.mdb", "Email.mdb", "app/Email.mdb", "EmailW~.mdb"})
      std::filesystem::remove(home_->path() / f);
    recorder->events.clear();
    MakeSmallFile(HomeFile(r.file), r.options, u"kept");

    const auto result = store::CorrectDB(DbPath());
    EXPECT_EQ(result.outcome, store::CorrectOutcome::Converted);
    EXPECT_EQ(OnlySubject(), u"kept");
    auto db = Open();
    EXPECT_EQ(db->Version(), u"4.0");
    EXPECT_EQ(MailTables(*db).size(), 8u);
    EXPECT_TRUE(HasColumn(*db, u"Letters", u"OldMailFolder"));
    db->Close();
    EXPECT_TRUE(fs::GetAttributes(DbPath()) & fs::kHidden);
    EXPECT_EQ(recorder->Captions(), r.captions);
    EXPECT_FALSE(DefaultCompressWindow().Loaded());
    EXPECT_TRUE(host().Reports().empty()) << ReportsText();
    // Once converted, the file is simply current.
    EXPECT_EQ(store::CorrectDB(DbPath()).outcome, store::CorrectOutcome::Current);
  }
}

TEST_F(MaintenanceTest, HeldOrUnreadableFilesAreLeftAlone) {
  // Another holder of the file: CorrectDB stops silently, the field list tells the user.
  store::CorrectDB(DbPath());
  {
    auto holder = dao::OpenDatabase(DbPath(), true);
    EXPECT_EQ(store::CorrectDB(DbPath()).outcome, store::CorrectOutcome::Locked);
    EXPECT_TRUE(host().Reports().empty()) << ReportsText();
    EXPECT_EQ(store::EnumFieldsFrom(DbPath(), u"Letters"), u"");
    ASSERT_EQ(user().shown.size(), 1u);
    EXPECT_EQ(user().shown[0].style, 16);
    EXPECT_EQ(user().shown[0].text,
              u"Base of letters used by another application.\r\nTry to connect to the database later.");
    // Compaction fails at the engine and leaves the database as it was.
    const std::string before = fs::ReadAll(DbPath());
    EXPECT_FALSE(store::CompressDb(DbPath()));
    EXPECT_EQ(fs::ReadAll(DbPath()), before);
    EXPECT_EQ(recorder->events, (std::vector<std::u16string>{u"show", u"caption:Creating a a database backup ...",
                                                            u"caption:Compression of base ...", u"unload"}));
    holder->Close();
  }
  // A file that is no database is put aside whole, the user is told where, and a new
  // store takes its place; no backup is made of it.
  const std::u16string path = DbPath();
  fs::SetAttributes(path, 0);
  fs::DeleteFile(path);
  fs::WriteAll(path, "not a database at all");
  user().shown.clear();
  const store::CorrectResult made = store::CorrectDB(path);
  EXPECT_EQ(made.outcome, store::CorrectOutcome::Created);
  // What was tried is said as it went: no "compacted" for a compaction that failed.
  ASSERT_FALSE(made.conversions.empty());
  EXPECT_EQ(made.conversions.front(), u"could not compact a file of unrecognised format");
  std::vector<std::u16string> aside;
  for (const auto& f : fs::ListFiles(fs::ParentFolder(path)))
    if (fs::FileName(f).rfind(u"EmailW.damaged-", 0) == 0) aside.push_back(f);
  ASSERT_EQ(aside.size(), 1u);
  EXPECT_EQ(fs::ReadAll(aside[0]), "not a database at all");
  EXPECT_FALSE(fs::FileExists(HomeFile("EmailW~.mdb")));
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(user().shown[0].style, 16);
  EXPECT_NE(user().shown[0].text.find(aside[0]), std::u16string::npos) << ToUtf8(user().shown[0].text);
  EXPECT_NE(user().shown[0].text.find(u"damaged"), std::u16string::npos);
}

TEST_F(MaintenanceTest, CompressKeepsABackupAndReplacesTheFile) {
  store::CorrectDB(DbPath());
  {
    auto db = Open();
    Exec(*db, "INSERT INTO Letters (Subject, MailFolder) VALUES (\"kept\", \"Inbox\")");
    db->Close();
  }
  // A temporary file left by an interrupted run goes first.
  fs::WriteAll(HomeFile("EmailW_.mdb"), "leftover");
  mail.CompressDb();
  EXPECT_FALSE(fs::FileExists(HomeFile("EmailW_.mdb")));
  EXPECT_TRUE(fs::FileExists(HomeFile("EmailW~.mdb")));
  EXPECT_EQ(OnlySubject(), u"kept");
  EXPECT_EQ(recorder->Captions(), (std::vector<std::u16string>{u"Creating a a database backup ...",
                                                              u"Compression of base ...",
                                                              u"Removing the old versions ..."}));
  EXPECT_EQ(recorder->events.back(), u"unload");
  EXPECT_TRUE(host().Reports().empty()) << ReportsText();

  // Nothing to compact: reported, and no file appears.
  fs::SetAttributes(DbPath(), 0);
  fs::DeleteFile(DbPath());
  EXPECT_FALSE(store::CompressDb(DbPath()));
  EXPECT_FALSE(fs::FileExists(DbPath()));
  ASSERT_EQ(host().Reports().size(), 1u);
  EXPECT_EQ(host().Reports()[0].source, u"Module1.CompressDb");
}

TEST_F(MaintenanceTest, FieldListsFollowTheTable) {
  store::CorrectDB(DbPath());
  std::u16string table = u"Packs";
  EXPECT_EQ(mail.EnumRecordsetFields(table),
            u"SELECT [Packs].[N], [Packs].[Name], [Packs].[Deleted], [Packs].[Comments] from Packs ");
  EXPECT_EQ(store::EnumFieldsFrom(DbPath(), u"PackItems"), u"[PackItems].[Pack_N], [PackItems].[Msg_N] ");
  std::u16string missing = u"NoSuchTable";
  EXPECT_EQ(mail.EnumRecordsetFields(missing), u"");
  EXPECT_EQ(store::EnumFieldsFrom(DbPath(), missing), u"");
  ASSERT_EQ(host().Reports().size(), 1u);
  EXPECT_EQ(host().Reports()[0].source, u"EnumRecordsetFieldsOnly");
}

}  // namespace
}  // namespace ravelin::test
