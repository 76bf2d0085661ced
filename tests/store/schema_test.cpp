// A new mail database: its tables, fields and rules, the default folders, and a second
// CorrectDB that changes nothing.
#include <map>

#include "platform/filesystem.h"
#include "platform/module1.h"
#include "store/maintenance.h"
#include "store/store_fixture.h"

namespace ravelin::test {
namespace {

// One field as "name:<type><size>[A][Z][R][=default]": A auto-increment, Z zero length
// allowed, R required.
std::string Signature(dao::Field& f) {
  std::string s = ToUtf8(f.Name()) + ":";
  switch (f.Type()) {
    case dao::dbBoolean: s += "B"; break;
    case dao::dbByte: s += "Y"; break;
    case dao::dbLong: s += "L"; break;
    case dao::dbDate: s += "D"; break;
    case dao::dbText: s += "T" + std::to_string(f.Size()); break;
    case dao::dbLongBinary: s += "O"; break;
    case dao::dbMemo: s += "M"; break;
    default: s += "?" + std::to_string(f.Type());
  }
  if (f.Attributes() & dao::dbAutoIncrField) s += "A";
  if (f.AllowZeroLength()) s += "Z";
  if (f.Required()) s += "R";
  if (!f.DefaultValue().empty()) s += "=" + ToUtf8(f.DefaultValue());
  return s;
}

std::string TableSignature(dao::Database& db, const std::u16string& table) {
  std::string s;
  for (const auto& f : db.TableDefs().Item(table)->Fields()) s += (s.empty() ? "" : "; ") + Signature(*f);
  return s;
}

class SchemaTest : public StoreFixture {};

TEST_F(SchemaTest, NewFileHoldsTheMailLayoutAndNothingElse) {
  const auto r = store::CorrectDB(DbPath());
  EXPECT_EQ(r.outcome, store::CorrectOutcome::Created);
  ASSERT_TRUE(fs::FileExists(DbPath()));
  EXPECT_TRUE(fs::GetAttributes(DbPath()) & fs::kHidden) << "the mail database is a hidden file";

  auto db = Open();
  EXPECT_EQ(db->Version(), u"4.0");
  const std::map<std::u16string, std::string> expected = {
      {u"Letters",
       "key:LA; Subject:T255Z; From:T255; DateReceived:D; DateWrote:D; To:T255; MailFolder:T255; "
       "OldMailFolder:T255Z; Message:MZ; Read:B; Size:L"},
      {u"Files",
       "N:L; type:T255Z; subtype:T255Z; Charset:T255Z; Data:O; filename:T255Z; Content-ID:M; "
       "Content-Disposition:T50Z; AVPchecked:Y=0; Content-Location:T255Z"},
      {u"Packs", "N:LA; Name:T255; Deleted:B=False; Comments:T255Z"},
      {u"PackItems", "Pack_N:L; Msg_N:L"},
      {u"Projects", "Obj ID:L; ObjType:L=0; Project:T255Z; InsArcPrj:B=False"},
      {u"Rules",
       "N:LA; RuleName:T255Z; Subject:T255Z; Sender1:T255Z; Name1:T255Z; Org1:T255Z; DateFrom1:D; DateTo1:D; "
       "Sender2:T255Z; Name2:T255Z; Org2:T255Z; DateFrom2:D; DateTo2:D; Flags:L=15; Action:L=1; Pack_N:L=0; "
       "Folder:T255Z; InsArcPrj:B=False; Enable:B=True; Comments:T255Z"},
      {u"Accounts",
       "Flags:L=1; boxName:T255; User:T255R; @after:T255; Password:T255Z; POP:T255; POPport:L=110; SMTP:T255; "
       "SMTPport:L=25; SMTPauth:B=False; Personal:T255Z; firm:T255Z; Method:L"},
      {u"MailFolders", "MailFolder:T50"},
  };
  std::set<std::u16string> names;
  for (const auto& [table, sig] : expected) {
    names.insert(table);
    EXPECT_EQ(TableSignature(*db, table), sig) << ToUtf8(table);
  }
  EXPECT_EQ(MailTables(*db), names);

  // Primary indexes "key" and "N".
  for (const auto& [table, index] : std::map<std::u16string, std::u16string>{{u"Letters", u"key"}, {u"Packs", u"N"}}) {
    auto idx = db->TableDefs().Item(table)->Indexes().Item(index);
    EXPECT_TRUE(idx->Primary()) << ToUtf8(table);
    EXPECT_EQ(idx->Fields().Item(0)->Name(), index) << ToUtf8(table);
  }

  // Five folders in their order, no row anywhere else.
  std::vector<std::u16string> folders;
  auto rs = db->OpenRecordset(u"MailFolders");
  while (!rs->Eof()) {
    folders.push_back(rs->GetField(u"MailFolder").AsText());
    rs->MoveNext();
  }
  rs->Close();
  EXPECT_EQ(folders, (std::vector<std::u16string>{u"Inbox", u"Outbox", u"Recycle", u"Sent", u"Rough copies"}));
  for (const auto& table : names) {
    if (table != u"MailFolders") {
      EXPECT_EQ(db->TableDefs().Item(table)->RecordCount(), 0) << ToUtf8(table);
    }
  }

  // The stored queries, all empty.
  for (const char16_t* q : {u"Inbox", u"Sent", u"Recycle", u"Rough copies"})
    EXPECT_EQ(db->QueryDefs().Item(q)->SQL(), u"") << ToUtf8(q);
  db->Close();
}

TEST_F(SchemaTest, FieldRulesHoldInTheEngine) {
  store::CorrectDB(DbPath());
  auto db = Open();
  // Rows go in as the component writes them: AddNew, set the fields, Update.
  struct Row {
    const char* what;
    const char16_t* table;
    std::vector<std::pair<const char16_t*, Value>> fields;
    bool ok;
  };
  const Row rows[] = {
      {"account with a login", u"Accounts", {{u"User", Value(u"bob")}, {u"@after", Value(u"example.org")}}, true},
      {"account with an empty login", u"Accounts", {{u"User", Value(u"")}, {u"@after", Value(u"example.org")}}, false},
      {"empty @after keeps the engine's rule", u"Accounts", {{u"User", Value(u"x")}, {u"@after", Value(u"")}}, false},
      {"letter with an empty subject", u"Letters", {{u"Subject", Value(u"")}, {u"MailFolder", Value(u"Inbox")}}, true},
      {"letter with an empty sender", u"Letters", {{u"From", Value(u"")}, {u"MailFolder", Value(u"Inbox")}}, false},
  };
  for (const Row& r : rows) {
    auto rs = db->OpenRecordset(r.table, dao::dbOpenDynaset);
    bool ok = true;
    try {
      rs->AddNew();
      for (const auto& [name, v] : r.fields) rs->SetField(name, v);
      rs->Update();
    } catch (const Error&) {
      ok = false;
      rs->CancelUpdate();
    }
    rs->Close();
    EXPECT_EQ(ok, r.ok) << r.what;
  }
  db->Close();
}

TEST_F(SchemaTest, SecondCorrectDbChangesNothingAndKeepsAccountFlags) {
  ASSERT_EQ(store::CorrectDB(DbPath()).outcome, store::CorrectOutcome::Created);
  {
    auto db = Open();
    Exec(*db, "INSERT INTO Accounts (Flags, [User], [@after]) VALUES (6, \"ann\", \"example.org\")");
    Exec(*db, "INSERT INTO Letters (Subject, MailFolder) VALUES (\"kept\", \"Inbox\")");
    db->Close();
  }
  const auto r = store::CorrectDB(DbPath());
  EXPECT_EQ(r.outcome, store::CorrectOutcome::Current);
  EXPECT_TRUE(r.changes.empty()) << (r.changes.empty() ? "" : ToUtf8(r.changes.front()));
  EXPECT_TRUE(host().Reports().empty()) << ReportsText();

  auto db = Open();
  EXPECT_EQ(MailTables(*db).size(), 8u);
  EXPECT_EQ(db->TableDefs().Item(u"MailFolders")->RecordCount(), 5);
  EXPECT_EQ(db->TableDefs().Item(u"Letters")->RecordCount(), 1);
  db->Close();
  EXPECT_EQ(ColumnSet(u"Select Flags from Accounts", u"Flags"), std::set<int32_t>{6});
}

}  // namespace
}  // namespace ravelin::test
