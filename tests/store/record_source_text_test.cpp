// Exact statement texts of the list builders, blanks included, for representative
// arguments. The field lists come from a fixed table so the texts can be written out.
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "runtime/text.h"
#include "store/record_sources.h"

namespace ravelin::store {
namespace {

std::u16string FakeFields(const std::u16string& table) {
  static const std::map<std::u16string, std::u16string> lists = {
      {u"Letters", u"[Letters].[key] "},
      {u"Projects", u"[Projects].[Project], [Projects].[InsArcPrj] "},
      {u"PackItems", u"[PackItems].[Pack_N] "},
      {u"Packs", u"[Packs].[N] "},
  };
  auto it = lists.find(table);
  return it == lists.end() ? std::u16string() : it->second;
}

TEST(RecordSourceText, ExactTexts) {
  const std::string fP1 =
      "[Projects_1].[Project],  iif( IsNull([Projects_1].[InsArcPrj]) ,False,[Projects_1].[InsArcPrj]) as InsArcPrj  ";
  const std::string fr0 =
      "FROM (Letters LEFT JOIN (PackItems LEFT JOIN Projects ON (PackItems.Pack_N = Projects.[Obj ID])  )ON Letters.key "
      "= PackItems.Msg_N) LEFT JOIN Projects AS Projects_1 ON Letters.key = Projects_1.[Obj ID]";
  const std::string head0 = "Select distinctrow [Letters].[key] , " + fP1 + ",[PackItems].[Pack_N] " + fr0;
  const std::string B = "Select *  FROM Packs LEFT JOIN Projects ON (Packs.N = Projects.[Obj ID]   ) ";
  const std::string dateOrder =
      ") and PackItems.Msg_N=Letters.key) ORDER BY CDate(IIf(IsNull([Letters]![DateWrote]),IIf(IsNull([Letters]!"
      "[DateReceived]),#01/01/1980#,[Letters]![DateReceived]),[Letters]![DateWrote]));";
  const std::string packHead = "Select *  From Letters, PackItems Where (((PackItems.[Pack_N]) = ";
  struct Row {
    std::u16string got;
    std::string expected;
  };
  const Row rows[] = {
      {GetRecordSource(FakeFields, u"Inbox", u"", 2, u"key", false),
       head0 + " Where   (Letters.[MailFolder] = \"Inbox\")  ORDER BY Letters.key;"},
      {GetRecordSource(FakeFields, u"Inbox", u"A\\B", 1026, u"key", true),
       head0 +
           " Where   (Letters.[MailFolder] = \"Inbox\")  and ((( Projects.ObjType=1) AND (Projects.Project=\"A\\B\") "
           "AND (Projects.InsArcPrj=False)  and  (PackItems.Pack_N is Null ) )  OR ( (Projects_1.ObjType=0) AND "
           "(Projects_1.Project=\"A\\B\") AND (Projects_1.InsArcPrj=True))) ORDER BY Letters.key;"},
      {GetRecordSource(FakeFields, u"Outbox", u"", 1024 + 512 + 2048, u"Size desc", false),
       "Select distinctrow [Letters].[key] , " + fP1 + fr0 +
           " Where  ( Letters.[MailFolder]<>\"Recycle\")  ORDER BY Letters.Size desc;"},
      {GetRecordSource(FakeFields, u"Sent", u"Work", 4, u"key", false),
       "Select distinctrow [Letters].[key] , [Projects].[Project],  iif( IsNull([Projects].[InsArcPrj]) "
       ",False,[Projects].[InsArcPrj]) as InsArcPrj  ,[PackItems].[Pack_N]  FROM Letters LEFT JOIN Projects ON "
       "(Letters.key = Projects.[Obj ID] and Projects.ObjType=0)  Where   (Letters.[MailFolder] = \"Sent\")  and (( "
       "StrComp(left$([Projects].[Project] & \"\\\",5),\"Work\\\",1)=0 )) ORDER BY Letters.key;"},
      {GetRecordSource(FakeFields, u"Inbox", u"", 3, u"key", false), ""},
      {GetPacksRecordSource(FakeFields, u"", 0, false, false),
       "select [Packs].[N] ,[Projects].[Project], [Projects].[InsArcPrj]  from Packs,Projects  Where Packs.N = "
       "Projects.[Obj ID] And Projects.ObjType = 1 And Projects.InsArcPrj = False And Packs.Deleted = False order by "
       "Packs.[N] desc Union  Select  [Packs].[N] , Null as [Obj ID], 1 as ObjType,Null as Project, False as InsArcPrj "
       "from Packs  where (N not in ( Select N from Packs,Projects where Packs.N=Projects.[Obj ID] and "
       "Projects.ObjType=1)) and Packs.Deleted=false order by Packs.[N] desc;"},
      {GetPacksRecordSource(FakeFields, u"", 1, false, false),
       "Select *, Null as Project,False as InsArcPrj From Packs  WHERE (Packs.N NOT IN  (SELECT N FROM Packs INNER "
       "JOIN Projects ON Packs.N=Projects.[Obj ID] WHERE Projects.ObjType=1)) and Packs.Deleted=False order by "
       "Packs.[N] desc ;"},
      {GetPacksRecordSource(FakeFields, u"X\\Y", 2, true, true),
       B + "WHERE(  ((Projects.[Project]=\"X\\Y\") and (Projects.[InsArcPrj]=True))  and Projects.ObjType=1    )order "
           "by Packs.[N] desc;"},
      {GetPacksRecordSource(FakeFields, u"X\\", 4, false, false),
       B + "WHERE ( ((( StrComp(left$([Projects].[Project] & \"\\\",3),\"X\\\\\",1)=0 )) and (Packs.[Deleted]=False)  "
           "and (Projects.[InsArcPrj]=False))  and Projects.ObjType=1  ) order by Packs.[N] desc;"},
      {GetPacksRecordSource(FakeFields, u"X", 3, true, false), ""},
      {GetPackMsgRecordSource(7, ShowAll, false), packHead + "7" + dateOrder},
      {GetPackMsgRecordSource(7, HideDeleted, true), packHead + "7 and Letters.[MailFolder]<>\"Recycle \" " + dateOrder},
      {GetPacksItemRecordSource(-3, true, false), packHead + "-3 and Letters.[MailFolder]=\"Recycle \" " + dateOrder},
      {GetAttachRecordSource(42), "Select * from Files WHERE (((Files.[N])=42));"},
      {GetDataPrjRS(5, objPack), "Select * From Projects  Where [Obj ID]=5 and ObjType=1;"},
      {GetPackItemsRSbyLetter(2147483647), "Select * from PackItems Where Msg_N=2147483647;"},
      {DeletedMsgCountStatement(9),
       "Select *  from Letters INNER JOIN PackItems ON Letters.key = PackItems.Msg_N  Where PackItems.Pack_N=9 and "
       "[MailFolder]=\"Recycle\";"},
  };
  int i = 0;
  for (const Row& r : rows) EXPECT_EQ(ToUtf8(r.got), r.expected) << "row " << i++;
}

}  // namespace
}  // namespace ravelin::store
