// Every kind of statement the mail store builds, run as written against a small store
// whose answers are known: letter lists by project scope, pack lists with their Union,
// pack letters in date order, the deleted count, and the link statements.
#include "db_fixture.h"

namespace ravelin::dao::test {
namespace {

class StatementsTest : public MailDbTest {
 protected:
  void SetUp() override {
    MailDbTest::SetUp();
    // Letters 1..5; 4 sits in "Recycle"; 2 has no dates at all.
    AddLetter(u"a", u"Inbox", 43831.5);  // 2020-01-01
    AddLetter(u"b", u"Inbox");
    AddLetter(u"c", u"Recycle");
    AddLetter(u"d", u"Recycle", 44197.0);  // 2021-01-01
    AddLetter(u"e", u"Sent");
    Exec(u"UPDATE Letters SET DateReceived=29221 WHERE key=1");
    Exec(u"INSERT INTO Packs (N, Name, Deleted) VALUES (10, \"P1\", False)");
    Exec(u"INSERT INTO Packs (N, Name, Deleted) VALUES (11, \"P2\", False)");
    Exec(u"INSERT INTO Packs (N, Name, Deleted) VALUES (12, \"P3\", True)");
    Exec(u"INSERT INTO PackItems (Pack_N, Msg_N) VALUES (10, 4)");
    Exec(u"INSERT INTO PackItems (Pack_N, Msg_N) VALUES (10, 2)");
    const char16_t* links[] = {
        u"(1, 0, \"Root\\Work\", False)", u"(10, 1, \"Root\\Work\", False)", u"(3, 0, \"Root\\Workshop\", False)",
        u"(2, 0, \"root\\work\\sub\", True)",
        // A second link of pack 10: letter lists must not show its letters twice (distinctrow).
        u"(10, 1, \"Root\\Other\", False)"};
    for (auto l : links) Exec(u"INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES " + std::u16string(l));
  }

  // The field list of a table: "[t].[f1], ... [t].[fn] ".
  std::u16string F(const std::u16string& t) {
    std::u16string out;
    auto def = db->TableDefs()(t);
    for (int i = 0; i < def->Fields().Count(); ++i)
      out += (i ? u", " : u"") + (u"[" + t + u"].[" + def->Fields()(i)->Name() + u"]");
    return out + u" ";
  }
  static std::u16string E(const std::u16string& p) {
    return u"( StrComp(left$([Projects].[Project] & \"\\\"," + NumToText(static_cast<double>(p.size() + 1)) + u"),\"" + p +
           u"\\\",1)=0 )";
  }
  std::u16string FP(bool aliased) {
    std::u16string f = Replace(F(u"Projects"), u"[Projects].[InsArcPrj]",
                               u" iif( IsNull([Projects].[InsArcPrj]) ,False,[Projects].[InsArcPrj]) as InsArcPrj ");
    return aliased ? Replace(f, u"Projects", u"Projects_1") : f;
  }
  std::vector<int32_t> Keys(const std::u16string& sql, const std::u16string& field = u"key", int32_t type = dbOpenDynaset) {
    auto rs = db->OpenRecordset(sql, type);
    std::vector<int32_t> out;
    if (rs->RecordCount() == 0) return out;
    for (rs->MoveFirst(); !rs->Eof(); rs->MoveNext()) out.push_back(NullConvLng(rs->Fields(field).Value()));
    return out;
  }
};

TEST_F(StatementsTest, LetterListsByProjectScope) {
  const std::u16string fr0 =
      u"FROM (Letters LEFT JOIN (PackItems LEFT JOIN Projects ON (PackItems.Pack_N = Projects.[Obj ID])  )ON Letters.key = "
      u"PackItems.Msg_N) LEFT JOIN Projects AS Projects_1 ON Letters.key = Projects_1.[Obj ID]";
  const std::u16string fr1 =
      u" FROM ( Letters LEFT JOIN Projects ON (Letters.key = Projects.[Obj ID] ) )  LEFT JOIN PackItems ON (Letters.key = "
      u"PackItems.[Msg_N]) ";
  const std::u16string fr4 = u" FROM Letters LEFT JOIN Projects ON (Letters.key = Projects.[Obj ID] and Projects.ObjType=0) ";
  auto folder = [&](const std::u16string& fp, const std::u16string& fr, const std::u16string& mf, const std::u16string& c) {
    std::u16string s = u"Select distinctrow " + F(u"Letters") + u", " + fp + u"," + F(u"PackItems") + fr +
                       u" Where   (Letters.[MailFolder] = \"" + mf + u"\") ";
    if (!c.empty()) s += u" and (" + c + u")";
    return s + u" ORDER BY Letters.key;";
  };
  auto all = [&](const std::u16string& fp, const std::u16string& fr, const std::u16string& c) {
    return u"Select distinctrow " + F(u"Letters") + u", " + fp + fr + u" Where  (" + c + u")  ORDER BY Letters.key;";
  };
  const std::u16string scope2 =
      u"(( Projects.ObjType=1) AND (Projects.Project=\"Root\\Work\") AND (Projects.InsArcPrj=False)  )  OR ( "
      u"(Projects_1.ObjType=0) AND (Projects_1.Project=\"Root\\Work\") AND (Projects_1.InsArcPrj=False))";
  struct Case {
    const char* what;
    std::u16string sql;
    std::vector<int32_t> keys;
  };
  const Case cases[] = {
      {"scope 0, one folder", folder(FP(true), fr0, u"Inbox", u""), {1, 2}},
      {"scope 0, pack letters hidden", folder(FP(true), fr0, u"Inbox", u" (PackItems.Pack_N is Null ) "), {1}},
      {"scope 0, folder name in other case", folder(FP(true), fr0, u"inbox", u""), {1, 2}},
      {"scope 1, all folders", all(FP(false), fr1, u"( (Projects.[Obj ID]) Is Null and (PackItems.Msg_N Is Null) ) "), {5}},
      {"scope 2, own link or the pack's", folder(FP(true), fr0, u"Inbox", scope2), {1, 2}},
      // "A OR B and C" binds as "A OR (B and C)": a pack letter in Recycle still shows.
      {"scope 2 without Recycle", all(FP(true), fr0, scope2 + u" and  Letters.[MailFolder]<>\"Recycle\""), {1, 2, 4}},
      {"scope 2 with Recycle", all(FP(true), fr0, scope2), {1, 2, 4}},
      {"scope 4, the project and below", all(FP(false), fr4, E(u"Root\\Work")), {1, 2}},
      {"scope 4, a sibling's prefix is no match", all(FP(false), fr4, E(u"Root\\Works")), {}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Keys(c.sql), c.keys) << c.what << "\n" << ToUtf8(c.sql);
    // A read-only list of the same statement shows the same rows (distinctrow included).
    EXPECT_EQ(Keys(c.sql, u"key", dbOpenSnapshot), c.keys) << c.what << " (snapshot)";
  }
  // The project columns of a letter without a link read Null, its side False.
  auto rs = db->OpenRecordset(folder(FP(true), fr0, u"Inbox", u""));
  rs->FindFirst(u"key=2");
  ASSERT_FALSE(rs->NoMatch());
  EXPECT_EQ(rs->Fields(u"InsArcPrj").Value().AsLong(), -1);  // the letter's own link is on the archive side
  EXPECT_EQ(rs->Fields(u"Pack_N").Value().AsLong(), 10);
  rs->FindFirst(u"key=1");
  EXPECT_EQ(rs->Fields(u"InsArcPrj").Value().AsLong(), 0);
  EXPECT_TRUE(rs->Fields(u"Pack_N").Value().IsNull());
  // The list edits the letter through the join.
  rs->Edit();
  rs->Fields(u"Read") = Value(true);
  rs->Update();
  EXPECT_EQ(CountOf(u"Select * from Letters where Read=True and key=1"), 1);
}

TEST_F(StatementsTest, PackListsAndPackLetters) {
  const std::u16string B = u"Select *  FROM Packs LEFT JOIN Projects ON (Packs.N = Projects.[Obj ID]   ) ";
  const std::u16string unionShown =
      u"select " + F(u"Packs") + u"," + F(u"Projects") +
      u" from Packs,Projects  Where Packs.N = Projects.[Obj ID] And Projects.ObjType = 1 And Projects.InsArcPrj = False And "
      u"Packs.Deleted = False order by Packs.[N] desc Union  Select  " +
      F(u"Packs") +
      u", Null as [Obj ID], 1 as ObjType,Null as Project, False as InsArcPrj from Packs  where (N not in ( Select N from "
      u"Packs,Projects where Packs.N=Projects.[Obj ID] and Projects.ObjType=1)) and Packs.Deleted=false order by Packs.[N] "
      u"desc;";
  const std::u16string unionAll =
      u"select " + F(u"Packs") + u"," + F(u"Projects") +
      u" from Packs,Projects  Where Packs.N = Projects.[Obj ID] And Projects.ObjType = 1 And Projects.InsArcPrj = True Union "
      u" Select  " +
      F(u"Packs") +
      u", Null as [Obj ID], 1 as ObjType,Null as Project, False as InsArcPrj from Packs  where (N not in ( Select N from "
      u"Packs,Projects where Packs.N=Projects.[Obj ID] and Projects.ObjType=1)) ;";
  const std::u16string D = u" and Letters.[MailFolder]<>\"Recycle \" ";
  const std::u16string DO = u" and Letters.[MailFolder]=\"Recycle \" ";
  auto packMsgs = [&](const std::u16string& d) {
    return u"Select *  From Letters, PackItems Where (((PackItems.[Pack_N]) = 10" + d +
           u") and PackItems.Msg_N=Letters.key) ORDER BY "
           u"CDate(IIf(IsNull([Letters]![DateWrote]),IIf(IsNull([Letters]![DateReceived]),#01/01/1980#,[Letters]![DateReceived]),"
           u"[Letters]![DateWrote]));";
  };
  struct Case {
    const char* what;
    std::u16string sql, field;
    std::vector<int32_t> keys;
  };
  const Case cases[] = {
      {"scope 0 without deleted: the side's packs and those of no project", unionShown, u"N", {11, 10, 10}},
      {"scope 0 with deleted, archive side: only packs of no project", unionAll, u"N", {11, 12}},
      {"scope 1", u"Select *, Null as Project,False as InsArcPrj From Packs  WHERE (Packs.N NOT IN  (SELECT N FROM Packs INNER "
                  u"JOIN Projects ON Packs.N=Projects.[Obj ID] WHERE Projects.ObjType=1)) and Packs.Deleted=False order by "
                  u"Packs.[N] desc ;",
       u"N", {11}},
      {"scope 2", B + u"WHERE ( ((Projects.[Project]=\"root\\work\") and (Packs.[Deleted]=False)  and (Projects.[InsArcPrj]=False)  "
                      u"and Projects.ObjType=1   )   )order by Packs.[N] desc;",
       u"N", {10}},
      {"scope 4", B + u"WHERE ( ((" + E(u"Root") + u") and (Projects.[InsArcPrj]=False))  and Projects.ObjType=1  )order by Packs.[N] desc;",
       u"N", {10, 10}},
      {"pack letters, undated first", packMsgs(u""), u"key", {2, 4}},
      {"HideDeleted lets every letter pass", packMsgs(D), u"key", {2, 4}},
      {"DeletedOnly finds none", packMsgs(DO), u"key", {}},
      {"deleted count", u"Select *  from Letters INNER JOIN PackItems ON Letters.key = PackItems.Msg_N  Where PackItems.Pack_N=10 "
                        u"and [MailFolder]=\"Recycle\";",
       u"key", {4}},
      {"attachments", u"Select * from Files WHERE (((Files.[N])=1));", u"N", {}},
      {"project links", u"Select * From Projects  Where [Obj ID]=10 and ObjType=1;", u"Obj ID", {10, 10}},
      {"pack links", u"Select * from PackItems Where Msg_N=2;", u"Pack_N", {10}},
      {"host job title", u"Select Packs.Name, Packs.[N] from Packs where [N]=11", u"N", {11}},
  };
  for (const auto& c : cases) EXPECT_EQ(Keys(c.sql, c.field), c.keys) << c.what << "\n" << ToUtf8(c.sql);
  // The pack list edits the project link through its join.
  auto rs = db->OpenRecordset(B + u"WHERE Projects.ObjType=1 order by Packs.[N] desc;");
  ASSERT_EQ(rs->RecordCount(), 1);
  rs->Edit();
  rs->Fields(u"Project") = Value(u"Root\\Moved");
  rs->Fields(u"InsArcPrj") = Value(true);
  rs->Update();
  EXPECT_EQ(CountOf(u"Select * from Projects where Project=\"Root\\Moved\" and InsArcPrj=True and [Obj ID]=10"), 1);
  // A pack of no project gets its link row, joined by its number, when the list sets one.
  auto all = db->OpenRecordset(B + u"WHERE Packs.N=11;");
  ASSERT_TRUE(all->Fields(u"Project").Value().IsNull());
  all->Edit();
  all->Fields(u"Project") = Value(u"Root\\New");
  all->Fields(u"ObjType") = Value(int32_t{1});
  all->Update();
  EXPECT_EQ(CountOf(u"Select * from Projects where Project=\"Root\\New\" and ObjType=1 and [Obj ID]=11"), 1);
  all->Edit();  // the row now has its link: a second edit changes it, adds none
  all->Fields(u"Project") = Value(u"Root\\Newer");
  all->Update();
  EXPECT_EQ(CountOf(u"Select * from Projects where [Obj ID]=11"), 1);
}

}  // namespace
}  // namespace ravelin::dao::test
