// The mail database's layout as data (see schema.h).
#include "store/schema.h"

#include "platform/db/dao.h"
#include "runtime/errors.h"

namespace ravelin::store {

namespace {

using T = FieldType;

FieldSchema F(std::u16string name, FieldType type, int32_t size = 0) {
  FieldSchema f;
  f.name = std::move(name);
  f.type = type;
  f.size = size;
  return f;
}
FieldSchema Auto(std::u16string name) {
  FieldSchema f = F(std::move(name), T::Long);
  f.attributes = kAutoIncrField;
  return f;
}
FieldSchema Zero(FieldSchema f) {
  f.allowZeroLength = true;
  return f;
}
FieldSchema NotReq(FieldSchema f) {
  f.required = false;
  return f;
}
FieldSchema Def(FieldSchema f, std::u16string value) {
  f.defaultValue = std::move(value);
  return f;
}
FieldSchema Text(std::u16string name, int32_t size = 255) { return F(std::move(name), T::Text, size); }
// An optional text: may be empty, need not be given.
FieldSchema OptText(std::u16string name, int32_t size = 255) { return NotReq(Zero(Text(std::move(name), size))); }

std::vector<TableSchema> Build() {
  std::vector<TableSchema> s;
  s.push_back({u"Letters",
               {Auto(u"key"), Zero(Text(u"Subject")), Text(u"From"), F(u"DateReceived", T::Date),
                F(u"DateWrote", T::Date), Text(u"To"), Text(u"MailFolder"), OptText(u"OldMailFolder"),
                NotReq(Zero(F(u"Message", T::Memo))), F(u"Read", T::Boolean), F(u"Size", T::Long)},
               u"key",
               u"key"});
  // The account login may never be empty; "@after" keeps the engine's defaults.
  FieldSchema user = Text(u"User");
  user.allowZeroLength = false;
  user.required = true;
  s.push_back({u"Accounts",
               {Def(F(u"Flags", T::Long), u"1"), Text(u"boxName"), user, Text(u"@after"), OptText(u"Password"),
                Text(u"POP"), Def(F(u"POPport", T::Long), u"110"), Text(u"SMTP"),
                Def(F(u"SMTPport", T::Long), u"25"), Def(F(u"SMTPauth", T::Boolean), u"False"),
                OptText(u"Personal"), OptText(u"firm"), F(u"Method", T::Long)},
               {},
               {}});
  s.push_back({u"Files",
               {NotReq(F(u"N", T::Long)), OptText(u"type"), OptText(u"subtype"), OptText(u"Charset"),
                F(u"Data", T::LongBinary), OptText(u"filename"), F(u"Content-ID", T::Memo),
                OptText(u"Content-Disposition", 50), Def(F(u"AVPchecked", T::Byte), u"0"),
                Zero(Text(u"Content-Location"))},
               {},
               {}});
  s.push_back({u"MailFolders", {Text(u"MailFolder", 50)}, {}, {}});
  s.push_back({u"Packs",
               {Auto(u"N"), Text(u"Name"), Def(F(u"Deleted", T::Boolean), u"False"), OptText(u"Comments")},
               u"N",
               u"N"});
  s.push_back({u"Rules",
               {Auto(u"N"),
                Zero(Text(u"RuleName")),
                Zero(Text(u"Subject")),
                Zero(Text(u"Sender1")),
                Zero(Text(u"Name1")),
                Zero(Text(u"Org1")),
                Def(F(u"DateFrom1", T::Date), u""),
                F(u"DateTo1", T::Date),
                Zero(Text(u"Sender2")),
                Zero(Text(u"Name2")),
                Zero(Text(u"Org2")),
                F(u"DateFrom2", T::Date),
                F(u"DateTo2", T::Date),
                Def(F(u"Flags", T::Long), u"15"),
                Def(F(u"Action", T::Long), u"1"),
                Def(F(u"Pack_N", T::Long), u"0"),
                Zero(Text(u"Folder")),
                Def(F(u"InsArcPrj", T::Boolean), u"False"),
                Def(F(u"Enable", T::Boolean), u"True"),
                Zero(Text(u"Comments"))},
               {},
               {}});
  s.push_back({u"Projects",
               {F(u"Obj ID", T::Long), Def(F(u"ObjType", T::Long), u"0"), Zero(Text(u"Project")),
                Def(F(u"InsArcPrj", T::Boolean), u"False")},
               {},
               {}});
  s.push_back({u"PackItems", {F(u"Pack_N", T::Long), F(u"Msg_N", T::Long)}, {}, {}});
  return s;
}

}  // namespace

const FieldSchema* TableSchema::Find(const std::u16string& field) const {
  for (const auto& f : fields)
    if (f.name == field) return &f;
  return nullptr;
}

const std::vector<TableSchema>& MailSchema() {
  static const std::vector<TableSchema> schema = Build();
  return schema;
}

const TableSchema& TableSchemaOf(const std::u16string& table) {
  for (const auto& t : MailSchema())
    if (t.name == table) return t;
  throw Error(dao::dberr::kItemNotFound, u"Item not found in this collection.");
}

const std::vector<std::u16string>& DefaultMailFolderRows() {
  static const std::vector<std::u16string> rows = {u"Inbox", u"Outbox", u"Recycle", u"Sent", u"Rough copies"};
  return rows;
}

const std::vector<std::u16string>& StoredQueryNames() {
  static const std::vector<std::u16string> names = {u"Inbox", u"Inbox", u"Sent", u"Recycle", u"Rough copies"};
  return names;
}

}  // namespace ravelin::store
