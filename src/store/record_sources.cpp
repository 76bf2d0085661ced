// Statement texts of the letter, pack and attachment lists (see record_sources.h).
#include "store/record_sources.h"

#include "platform/db/dao.h"
#include "runtime/resume.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/fields.h"

namespace ravelin::store {

FieldListFn FieldsOf(const std::u16string& dbPath) {
  // The lists of one statement are read through one open of the file.
  auto held = std::make_shared<std::shared_ptr<dao::Database>>();
  return [dbPath, held](const std::u16string& table) { return EnumFieldsFrom(dbPath, table, *held); };
}

namespace {

constexpr char16_t kQ = u'"';

std::u16string Num(int64_t n) { return NumToText(static_cast<double>(n)); }

std::u16string Quoted(const std::u16string& s) { return kQ + s + kQ; }

std::u16string Bool(bool b) { return strBoolean(b ? kTrue : kFalse); }

// The pack link of a letter is always read on the live side, hence the constant False:
// a pack belongs to a project through its own live link.
std::u16string CurPrjCondition(const std::u16string& P, bool hidePacked, bool InsArcPrj) {
  std::u16string x = hidePacked ? u" and  (PackItems.Pack_N is Null ) " : u"";
  return u"(( Projects.ObjType=1) AND (Projects.Project=" + Quoted(P) +
         u") AND (Projects.InsArcPrj=False) " + x + u")  OR ( (Projects_1.ObjType=0) AND (Projects_1.Project=" +
         Quoted(P) + u") AND (Projects_1.InsArcPrj=" + Bool(InsArcPrj) + u"))";
}

}  // namespace

std::u16string ProjectPrefixExpr(const std::u16string& P) {
  return u"( StrComp(left$([Projects].[Project] & \"\\\"," + Num(static_cast<int64_t>(Len(P)) + 1) + u"),\"" + P +
         u"\\\",1)=0 )";
}

std::u16string GetRecordSource(const FieldListFn& F, const std::u16string& mFolder, const std::u16string& rProject,
                               int32_t dbFlags, const std::u16string& Order, bool InsArcPrj) {
  const int32_t scope = dbFlags & 7;
  if (scope != Allmsg && scope != NoPrj && scope != CurPrj && scope != InsCurPrj) return {};
  // HidePackItems never hides the letters waiting in the outbox, packed or not.
  const bool hidePacked = (dbFlags & HidePackItems) != 0 && mFolder != u"Outbox";

  // A letter without a project link reads false on the archive flag, not Null.
  std::u16string fP = Replace(F(u"Projects"), u"[Projects].[InsArcPrj]",
                              u" iif( IsNull([Projects].[InsArcPrj]) ,False,[Projects].[InsArcPrj]) as InsArcPrj ");

  static const std::u16string kPackAndOwnLinks =
      u"FROM (Letters LEFT JOIN (PackItems LEFT JOIN Projects ON (PackItems.Pack_N = Projects.[Obj ID])  )ON "
      u"Letters.key = PackItems.Msg_N) LEFT JOIN Projects AS Projects_1 ON Letters.key = Projects_1.[Obj ID]";
  std::u16string fr, c;
  switch (scope) {
    case Allmsg:
      fr = kPackAndOwnLinks;
      if (hidePacked) c = u" (PackItems.Pack_N is Null ) ";
      break;
    case NoPrj:
      fr = u" FROM ( Letters LEFT JOIN Projects ON (Letters.key = Projects.[Obj ID] ) )  LEFT JOIN PackItems ON "
           u"(Letters.key = PackItems.[Msg_N]) ";
      c = u"( (Projects.[Obj ID]) Is Null and (PackItems.Msg_N Is Null) ) ";
      break;
    case CurPrj:
      fr = kPackAndOwnLinks;
      if (!rProject.empty()) c = CurPrjCondition(rProject, hidePacked, InsArcPrj);
      break;
    case InsCurPrj:
      fr = u" FROM Letters LEFT JOIN Projects ON (Letters.key = Projects.[Obj ID] and Projects.ObjType=0) ";
      c = ProjectPrefixExpr(rProject);
      break;
  }
  // With two joins on Projects the columns shown are the letter's own link (Projects_1);
  // the first join carries the project of the letter's pack.
  if (scope == Allmsg || scope == CurPrj) fP = Replace(fP, u"Projects", u"Projects_1");

  if (dbFlags & NotDeleted) {
    if (!Trim(c).empty()) c += u" and ";
    c += u" Letters.[MailFolder]<>" + Quoted(u"Recycle");
  }

  const std::u16string orderBy = u" ORDER BY Letters." + Order + u";";
  const bool hasCondition = !Trim(c).empty();
  if (!(dbFlags & AllmFolders)) {
    std::u16string s = u"Select distinctrow " + F(u"Letters") + u", " + fP + u"," + F(u"PackItems") + fr +
                       u" Where   (Letters.[MailFolder] = " + Quoted(mFolder) + u") ";
    if (hasCondition) s += u" and (" + c + u")";
    return s + orderBy;
  }
  if (hasCondition) return u"Select distinctrow " + F(u"Letters") + u", " + fP + fr + u" Where  (" + c + u") " + orderBy;
  return u"Select distinctrow " + F(u"Letters") + u", " + fP + fr + orderBy;
}

std::u16string GetPacksRecordSource(const FieldListFn& F, const std::u16string& rProject, int32_t dbFlags,
                                    bool ShowDeleted, bool InsArcPrj) {
  const std::u16string A = Bool(InsArcPrj);
  static const std::u16string B = u"Select *  FROM Packs LEFT JOIN Projects ON (Packs.N = Projects.[Obj ID]   ) ";
  switch (dbFlags & 7) {
    case Allmsg: {
      // Packs with a link on the requested side, then every pack with no project link at
      // all; packs linked only on the other side are in neither half.
      const std::u16string packs = F(u"Packs");
      const std::u16string linked = u"select " + packs + u"," + F(u"Projects") +
                                    u" from Packs,Projects  Where Packs.N = Projects.[Obj ID] And Projects.ObjType = 1 "
                                    u"And Projects.InsArcPrj = " +
                                    A;
      const std::u16string unlinked =
          u" Union  Select  " + packs +
          u", Null as [Obj ID], 1 as ObjType,Null as Project, False as InsArcPrj from Packs  where (N not in ( Select "
          u"N from Packs,Projects where Packs.N=Projects.[Obj ID] and Projects.ObjType=1)) ";
      if (ShowDeleted) return linked + unlinked + u";";
      return linked + u" And Packs.Deleted = False order by Packs.[N] desc" + unlinked +
             u"and Packs.Deleted=false order by Packs.[N] desc;";
    }
    case NoPrj: {
      const std::u16string s =
          u"Select *, Null as Project,False as InsArcPrj From Packs  WHERE (Packs.N NOT IN  (SELECT N FROM Packs INNER "
          u"JOIN Projects ON Packs.N=Projects.[Obj ID] WHERE Projects.ObjType=1))";
      if (ShowDeleted) return s + u" order by Packs.[N] desc ;";
      return s + u" and Packs.Deleted=False order by Packs.[N] desc ;";
    }
    case CurPrj:
      if (ShowDeleted)
        return B + u"WHERE(  ((Projects.[Project]=" + Quoted(rProject) + u") and (Projects.[InsArcPrj]=" + A +
               u"))  and Projects.ObjType=1    )order by Packs.[N] desc;";
      return B + u"WHERE ( ((Projects.[Project]=" + Quoted(rProject) +
             u") and (Packs.[Deleted]=False)  and (Projects.[InsArcPrj]=" + A +
             u")  and Projects.ObjType=1   )   )order by Packs.[N] desc;";
    case InsCurPrj:
      if (ShowDeleted)
        return B + u"WHERE ( ((" + ProjectPrefixExpr(rProject) + u") and (Projects.[InsArcPrj]=" + A +
               u"))  and Projects.ObjType=1  )order by Packs.[N] desc;";
      return B + u"WHERE ( ((" + ProjectPrefixExpr(rProject) + u") and (Packs.[Deleted]=False)  and (Projects.[InsArcPrj]=" +
             A + u"))  and Projects.ObjType=1  ) order by Packs.[N] desc;";
    default:
      return {};
  }
}

std::u16string GetPackMsgRecordSource(int32_t PackNumber, int32_t ShowDeleted, bool /*InsArcPrj*/) {
  // The blank inside "Recycle " is kept on purpose: callers depend on these lists
  // showing every letter of the pack (see the header).
  std::u16string D;
  if (ShowDeleted == HideDeleted) D = u" and Letters.[MailFolder]<>" + Quoted(u"Recycle ") + u" ";
  if (ShowDeleted == DeletedOnly) D = u" and Letters.[MailFolder]=" + Quoted(u"Recycle ") + u" ";
  return u"Select *  From Letters, PackItems Where (((PackItems.[Pack_N]) = " + Num(PackNumber) + D +
         u") and PackItems.Msg_N=Letters.key) ORDER BY "
         u"CDate(IIf(IsNull([Letters]![DateWrote]),IIf(IsNull([Letters]![DateReceived]),#01/01/1980#,[Letters]![DateReceived]),[Letters]![DateWrote]));";
}

std::u16string GetPacksItemRecordSource(int32_t PackNumber, bool ShowDeleted, bool InsArcPrj) {
  return GetPackMsgRecordSource(PackNumber, ShowDeleted ? DeletedOnly : HideDeleted, InsArcPrj);
}

std::u16string GetAttachRecordSource(int32_t msgNumber) {
  return u"Select * from Files WHERE (((Files.[N])=" + Num(msgNumber) + u"));";
}

std::u16string GetDataPrjRS(int32_t Obj_ID, int32_t ObjType) {
  return u"Select * From Projects  Where [Obj ID]=" + Num(Obj_ID) + u" and ObjType=" + Num(ObjType) + u";";
}

std::u16string GetPackItemsRSbyLetter(int32_t msgN) {
  return u"Select * from PackItems Where Msg_N=" + Num(msgN) + u";";
}

std::u16string DeletedMsgCountStatement(int32_t PackNumber) {
  return u"Select *  from Letters INNER JOIN PackItems ON Letters.key = PackItems.Msg_N  Where PackItems.Pack_N=" +
         Num(PackNumber) + u" and [MailFolder]=" + Quoted(u"Recycle") + u";";
}

int32_t DeletedMsgCount(const std::u16string& dbPath, int32_t PackNumber) {
  ResumeNext rn;
  std::shared_ptr<dao::Database> db;
  int32_t count = 0;
  rn([&] { db = dao::OpenDatabase(dbPath, false, false, u"Access"); });
  // The engine counts the rows the statement gives, without a cursor walking them.
  if (db) rn([&] { count = db->CountRecords(DeletedMsgCountStatement(PackNumber)); });
  if (db) rn([&] { db->Close(); });
  return count;
}

}  // namespace ravelin::store
