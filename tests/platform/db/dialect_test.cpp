// Expressions of the system's dialect, each evaluated by the engine on a one-row table,
// and texts that must be refused before anything runs.
#include "db_fixture.h"

namespace ravelin::dao::test {
namespace {

class DialectTest : public MailDbTest {
 protected:
  void SetUp() override {
    MailDbTest::SetUp();
    Exec(u"INSERT INTO MailFolders (MailFolder) VALUES (\"Inbox\")");
  }
  Value Eval(const std::u16string& expr) {
    auto rs = db->OpenRecordset(u"Select " + expr + u" as v from MailFolders");
    return rs->Fields(u"v").Value();
  }
};

TEST_F(DialectTest, ExpressionsReadAsTheEngineReadThem) {
  struct Case {
    std::u16string expr;
    Value want;
  };
  const Case cases[] = {
      {u"\"a\" & Null & \"b\"", Value(u"ab")},  // & reads Null as ""
      {u"[MailFolders]![MailFolder] & \"\\\"", Value(u"Inbox\\")},
      {u"\"it's \"\"quoted\"\"\"", Value(u"it's \"quoted\"")},
      {u"'single'", Value(u"single")},
      {u"IIf(IsNull(Null), 1, 2)", Value(int32_t{1})},
      {u"IIf(0, 1, 2)", Value(int32_t{2})},
      {u"True", Value(int32_t{-1})},
      {u"False", Value(int32_t{0})},
      {u"left$(\"abcdef\", 3)", Value(u"abc")},
      {u"Mid(\"abcdef\", 2, 2)", Value(u"bc")},
      {u"Right(\"abcdef\", 2)", Value(u"ef")},
      {u"StrComp(\"ABC\", \"abc\", 1)", Value(int32_t{0})},
      {u"StrComp(\"ABC\", \"abc\", 0)", Value(int32_t{-1})},
      {u"StrComp(Null, \"abc\", 1)", Value()},
      {u"CDate(#01/01/1980#)", Value(29221.0)},
      {u"#1/2/2003 4:05:06 AM#", Value(37623.0 + (4 * 3600 + 5 * 60 + 6) / 86400.0)},
      {u"Nz(Null, 5)", Value(int32_t{5})},
      {u"Len(\"Привет\")", Value(int32_t{6})},
      {u"UCase(\"привет\")", Value(u"ПРИВЕТ")},
      {u"\"abc\" Like \"A*\"", Value(int32_t{1})},
      {u"\"abc\" Like \"?b[!x]\"", Value(int32_t{1})},
      {u"\"a1\" Like \"a#\"", Value(int32_t{1})},
      {u"\"ab\" Like \"a#\"", Value(int32_t{0})},
      {u"7 Mod 4", Value(int32_t{3})},
      {u"InStr(\"hello\", \"l\")", Value(int32_t{3})},
  };
  for (const auto& c : cases) {
    Value got = Eval(c.expr);
    if (c.want.Type() == VType::Double && got.Type() == VType::Double)
      EXPECT_NEAR(got.AsDouble(), c.want.AsDouble(), 1e-9) << ToUtf8(c.expr);
    else
      EXPECT_EQ(got, c.want) << ToUtf8(c.expr) << " gave " << ToUtf8(NullConvStr(got));
  }
}

TEST_F(DialectTest, StoredQueriesAndRefusedTexts) {
  auto q = db->CreateQueryDef(u"Folders", u"Select * from MailFolders where MailFolder=\"INBOX\"");
  EXPECT_EQ(db->OpenRecordset(u"Folders")->RecordCount(), 1);
  EXPECT_EQ(q->OpenRecordset()->RecordCount(), 1);
  struct Case {
    std::u16string sql;
    int32_t error;
  };
  const Case cases[] = {
      {u"Select * from MailFolders; Select * from Letters", 3142},
      {u"Select * from MailFolders;;", 3142},
      {u"Select * from MailFolders where MailFolder=\"x\"; DROP TABLE Letters", 3142},
      {u"Select * from MailFolders where MailFolder=\"x\" /* c */", dberr::kSyntaxInExpression},
      {u"Select * from MailFolders where MailFolder=#not a date#", dberr::kSyntaxInExpression},
      {u"Select * from MailFolders where [MailFolder=1", dberr::kSyntaxInExpression},
      {u"Select Frobnicate(MailFolder) from MailFolders", dberr::kSyntaxInExpression},
      {u"Select * from MailFolders where MailFolder=?", dberr::kSyntaxInExpression},
      {u"DROP TABLE Letters", 3129},
      {u"", 3129},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ErrorOf([&] { db->OpenRecordset(c.sql); }), c.error) << ToUtf8(c.sql);
  EXPECT_EQ(db->TableDefs().Count(), 7);
  // A semicolon inside a text is text.
  EXPECT_EQ(Eval(u"\"a;b\""), Value(u"a;b"));
}

}  // namespace
}  // namespace ravelin::dao::test
