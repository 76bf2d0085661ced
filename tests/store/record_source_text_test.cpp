// Exact statement texts of the list builders, blanks included. The field lists come from
// a fixed table so the texts can be written out in full.
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "core/text.h"
#include "store/record_sources.h"

namespace ravelin::store {
namespace {

std::u16string U(const std::string& s) { return FromUtf8(s); }
std::string S(const std::u16string& s) { return ToUtf8(s); }

std::u16string FakeFields(const std::u16string& table) {
  static const std::map<std::u16string, std::u16string> lists = {
      {u"Letters", u"[Letters].[key], [Letters].[MailFolder] "},
      {u"Projects", u"[Projects].[Obj ID], [Projects].[ObjType], [Projects].[Project], [Projects].[InsArcPrj] "},
      {u"PackItems", u"[PackItems].[Pack_N], [PackItems].[Msg_N] "},
      {u"Packs", u"[Packs].[N], [Packs].[Deleted] "},
  };
  auto it = lists.find(table);
  return it == lists.end() ? std::u16string() : it->second;
}

const std::string kLet = "[Letters].[key], [Letters].[MailFolder] ";
const std::string kPI = "[PackItems].[Pack_N], [PackItems].[Msg_N] ";
const std::string kFP =
    "[Projects].[Obj ID], [Projects].[ObjType], [Projects].[Project],  iif( IsNull([Projects].[InsArcPrj]) "
    ",False,[Projects].[InsArcPrj]) as InsArcPrj  ";
const std::string kFP1 =
    "[Projects_1].[Obj ID], [Projects_1].[ObjType], [Projects_1].[Project],  iif( IsNull([Projects_1].[InsArcPrj]) "
    ",False,[Projects_1].[InsArcPrj]) as InsArcPrj  ";
const std::string kFr0 =
    "FROM (Letters LEFT JOIN (PackItems LEFT JOIN Projects ON (PackItems.Pack_N = Projects.[Obj ID])  )ON Letters.key "
    "= PackItems.Msg_N) LEFT JOIN Projects AS Projects_1 ON Letters.key = Projects_1.[Obj ID]";
const std::string kFr1 =
    " FROM ( Letters LEFT JOIN Projects ON (Letters.key = Projects.[Obj ID] ) )  LEFT JOIN PackItems ON (Letters.key "
    "= PackItems.[Msg_N]) ";
const std::string kFr4 = " FROM Letters LEFT JOIN Projects ON (Letters.key = Projects.[Obj ID] and Projects.ObjType=0) ";

TEST(RecordSourceText, LetterLists) {
  struct Row {
    std::string folder, project;
    int32_t flags;
    bool arc;
    std::string expected;
  };
  const std::string head0 = "Select distinctrow " + kLet + ", " + kFP1 + "," + kPI + kFr0;
  const std::string cur2 =
      "(( Projects.ObjType=1) AND (Projects.Project=\"A\\B\") AND (Projects.InsArcPrj=False) %X)  OR ( "
      "(Projects_1.ObjType=0) AND (Projects_1.Project=\"A\\B\") AND (Projects_1.InsArcPrj=%A))";
  auto cur = [&](const std::string& x, const std::string& a) {
    std::string s = cur2;
    s.replace(s.find("%X"), 2, x);
    s.replace(s.find("%A"), 2, a);
    return s;
  };
  const Row rows[] = {
      {"Inbox", "", 0, false, head0 + " Where   (Letters.[MailFolder] = \"Inbox\")  ORDER BY Letters.key;"},
      // Scope 2 with no project: the whole folder, columns of the letter's own link.
      {"Inbox", "", 2, false, head0 + " Where   (Letters.[MailFolder] = \"Inbox\")  ORDER BY Letters.key;"},
      {"Inbox", "", 1024, false,
       head0 + " Where   (Letters.[MailFolder] = \"Inbox\")  and ( (PackItems.Pack_N is Null ) ) ORDER BY Letters.key;"},
      // The outbox shows its packed letters even with HidePackItems.
      {"Outbox", "", 1024, false, head0 + " Where   (Letters.[MailFolder] = \"Outbox\")  ORDER BY Letters.key;"},
      {"Inbox", "A\\B", 2, true,
       head0 + " Where   (Letters.[MailFolder] = \"Inbox\")  and (" + cur("", "True") + ") ORDER BY Letters.key;"},
      {"Inbox", "A\\B", 1026, false,
       head0 + " Where   (Letters.[MailFolder] = \"Inbox\")  and (" +
           cur(" and  (PackItems.Pack_N is Null ) ", "False") + ") ORDER BY Letters.key;"},
      {"Outbox", "A\\B", 1026, false,
       head0 + " Where   (Letters.[MailFolder] = \"Outbox\")  and (" + cur("", "False") + ") ORDER BY Letters.key;"},
      {"Sent", "", 1, false,
       "Select distinctrow " + kLet + ", " + kFP + "," + kPI + kFr1 +
           " Where   (Letters.[MailFolder] = \"Sent\")  and (( (Projects.[Obj ID]) Is Null and (PackItems.Msg_N Is "
           "Null) ) ) ORDER BY Letters.DateReceived desc;"},
      {"Inbox", "Work", 4, false,
       "Select distinctrow " + kLet + ", " + kFP + "," + kPI + kFr4 +
           " Where   (Letters.[MailFolder] = \"Inbox\")  and (( StrComp(left$([Projects].[Project] & \"\\\",5),"
           "\"Work\\\",1)=0 )) ORDER BY Letters.key;"},
      // AllmFolders: no folder test and no PackItems columns.
      {"Inbox", "", 512, false, "Select distinctrow " + kLet + ", " + kFP1 + kFr0 + " ORDER BY Letters.key;"},
      {"Inbox", "", 512 + 2048, false,
       "Select distinctrow " + kLet + ", " + kFP1 + kFr0 +
           " Where  ( Letters.[MailFolder]<>\"Recycle\")  ORDER BY Letters.key;"},
      {"Inbox", "", 512 + 1024 + 2048, false,
       "Select distinctrow " + kLet + ", " + kFP1 + kFr0 +
           " Where  ( (PackItems.Pack_N is Null )  and  Letters.[MailFolder]<>\"Recycle\")  ORDER BY Letters.key;"},
      {"Inbox", "", 3, false, ""},
      {"Inbox", "", 7, false, ""},
  };
  for (const Row& r : rows) {
    const std::string order = r.flags == 1 ? "DateReceived desc" : "key";
    EXPECT_EQ(S(GetRecordSource(FakeFields, U(r.folder), U(r.project), r.flags, U(order), r.arc)), r.expected)
        << "folder=" << r.folder << " project=" << r.project << " flags=" << r.flags << " arc=" << r.arc;
  }
}

TEST(RecordSourceText, PackLists) {
  const std::string P = "[Packs].[N], [Packs].[Deleted] ";
  const std::string PR = "[Projects].[Obj ID], [Projects].[ObjType], [Projects].[Project], [Projects].[InsArcPrj] ";
  const std::string B = "Select *  FROM Packs LEFT JOIN Projects ON (Packs.N = Projects.[Obj ID]   ) ";
  const std::string E = "( StrComp(left$([Projects].[Project] & \"\\\",3),\"X\\\\\",1)=0 )";
  struct Row {
    int32_t flags;
    bool deleted, arc;
    std::string project, expected;
  };
  const Row rows[] = {
      {0, true, true, "",
       "select " + P + "," + PR +
           " from Packs,Projects  Where Packs.N = Projects.[Obj ID] And Projects.ObjType = 1 And Projects.InsArcPrj = "
           "True Union  Select  " +
           P +
           ", Null as [Obj ID], 1 as ObjType,Null as Project, False as InsArcPrj from Packs  where (N not in ( Select N "
           "from Packs,Projects where Packs.N=Projects.[Obj ID] and Projects.ObjType=1)) ;"},
      {0, false, false, "",
       "select " + P + "," + PR +
           " from Packs,Projects  Where Packs.N = Projects.[Obj ID] And Projects.ObjType = 1 And Projects.InsArcPrj = "
           "False And Packs.Deleted = False order by Packs.[N] desc Union  Select  " +
           P +
           ", Null as [Obj ID], 1 as ObjType,Null as Project, False as InsArcPrj from Packs  where (N not in ( Select N "
           "from Packs,Projects where Packs.N=Projects.[Obj ID] and Projects.ObjType=1)) and Packs.Deleted=false order "
           "by Packs.[N] desc;"},
      {1, true, false, "",
       "Select *, Null as Project,False as InsArcPrj From Packs  WHERE (Packs.N NOT IN  (SELECT N FROM Packs INNER "
       "JOIN Projects ON Packs.N=Projects.[Obj ID] WHERE Projects.ObjType=1)) order by Packs.[N] desc ;"},
      {1 + 512, false, false, "",
       "Select *, Null as Project,False as InsArcPrj From Packs  WHERE (Packs.N NOT IN  (SELECT N FROM Packs INNER "
       "JOIN Projects ON Packs.N=Projects.[Obj ID] WHERE Projects.ObjType=1)) and Packs.Deleted=False order by "
       "Packs.[N] desc ;"},
      {2, true, true, "X\\Y",
       B + "WHERE(  ((Projects.[Project]=\"X\\Y\") and (Projects.[InsArcPrj]=True))  and Projects.ObjType=1    )order "
           "by Packs.[N] desc;"},
      {2, false, false, "X\\Y",
       B + "WHERE ( ((Projects.[Project]=\"X\\Y\") and (Packs.[Deleted]=False)  and (Projects.[InsArcPrj]=False)  and "
           "Projects.ObjType=1   )   )order by Packs.[N] desc;"},
      {4, true, false, "X\\",
       B + "WHERE ( ((" + E + ") and (Projects.[InsArcPrj]=False))  and Projects.ObjType=1  )order by Packs.[N] desc;"},
      {4, false, true, "X\\",
       B + "WHERE ( ((" + E + ") and (Packs.[Deleted]=False)  and (Projects.[InsArcPrj]=True))  and Projects.ObjType=1  "
           ") order by Packs.[N] desc;"},
      {3, false, false, "X", ""},
      {5, true, false, "X", ""},
      {6, false, false, "X", ""},
      {7, true, true, "X", ""},
  };
  for (const Row& r : rows)
    EXPECT_EQ(S(GetPacksRecordSource(FakeFields, U(r.project), r.flags, r.deleted, r.arc)), r.expected)
        << "flags=" << r.flags << " deleted=" << r.deleted << " arc=" << r.arc << " project=" << r.project;
}

TEST(RecordSourceText, SmallStatements) {
  const std::string order =
      ") and PackItems.Msg_N=Letters.key) ORDER BY CDate(IIf(IsNull([Letters]![DateWrote]),IIf(IsNull([Letters]!"
      "[DateReceived]),#01/01/1980#,[Letters]![DateReceived]),[Letters]![DateWrote]));";
  const std::string head = "Select *  From Letters, PackItems Where (((PackItems.[Pack_N]) = ";
  struct Row {
    std::u16string got;
    std::string expected;
  };
  const Row rows[] = {
      {GetPackMsgRecordSource(7, ShowAll, false), head + "7" + order},
      {GetPackMsgRecordSource(7, HideDeleted, true), head + "7 and Letters.[MailFolder]<>\"Recycle \" " + order},
      {GetPackMsgRecordSource(-3, DeletedOnly, false), head + "-3 and Letters.[MailFolder]=\"Recycle \" " + order},
      {GetPacksItemRecordSource(12, true, false), head + "12 and Letters.[MailFolder]=\"Recycle \" " + order},
      {GetPacksItemRecordSource(12, false, false), head + "12 and Letters.[MailFolder]<>\"Recycle \" " + order},
      {GetAttachRecordSource(42), "Select * from Files WHERE (((Files.[N])=42));"},
      {GetDataPrjRS(5, objPack), "Select * From Projects  Where [Obj ID]=5 and ObjType=1;"},
      {GetPackItemsRSbyLetter(2147483647), "Select * from PackItems Where Msg_N=2147483647;"},
      {DeletedMsgCountStatement(9),
       "Select *  from Letters INNER JOIN PackItems ON Letters.key = PackItems.Msg_N  Where PackItems.Pack_N=9 and "
       "[MailFolder]=\"Recycle\";"},
  };
  for (const Row& r : rows) EXPECT_EQ(S(r.got), r.expected);
}

}  // namespace
}  // namespace ravelin::store
