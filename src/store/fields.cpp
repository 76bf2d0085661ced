// Field lists of a table (see fields.h).
#include "store/fields.h"

#include <memory>

#include "platform/db/dao.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/errors.h"
#include "runtime/resume.h"

namespace ravelin::store {

namespace {

// "[t].[f1], [t].[f2], ... [t].[fn] " of the table's recordset. Throws what the engine throws.
std::u16string ReadFieldList(const std::u16string& dbPath, const std::u16string& tbName,
                             std::shared_ptr<dao::Database>& held) {
  // The first list read through `held` checks the file's tables; the next ones of the
  // same statement trust that check.
  const bool first = !held;
  if (first) held = dao::OpenDatabase(dbPath, false, false, u"Access");
  auto db = held;
  std::u16string list;
  {
    // A table's names come from the rules the engine keeps: no statement runs for them.
    const std::vector<std::u16string> names = db->FieldNames(tbName, first);
    for (size_t i = 0; i < names.size(); ++i) {
      list += u"[" + tbName + u"].[" + names[i] + u"]";
      list += i + 1 < names.size() ? u", " : u" ";
    }
  }
  return list;
}

}  // namespace

std::u16string EnumRecordsetFields(const std::u16string& dbPath, const std::u16string& tbName) {
  ResumeNext rn;
  std::shared_ptr<dao::Database> db;
  std::u16string list = rn.Value([&] { return ReadFieldList(dbPath, tbName, db); }, std::u16string());
  rn([&] {
    if (db) db->Close();
  });
  if (rn.LastError()) return {};
  return u"SELECT " + list + u"from " + tbName + u" ";
}

std::u16string EnumFieldsFrom(const std::u16string& dbPath, const std::u16string& tbName) {
  std::shared_ptr<dao::Database> db;
  std::u16string list = EnumFieldsFrom(dbPath, tbName, db);
  ResumeNext quiet;
  quiet([&] {
    if (db) db->Close();
  });
  return list;
}

std::u16string EnumFieldsFrom(const std::u16string& dbPath, const std::u16string& tbName,
                              std::shared_ptr<dao::Database>& held) {
  return Protected(u"EnumRecordsetFieldsOnly", std::u16string(), [&] {
    try {
      return ReadFieldList(dbPath, tbName, held);
    } catch (const Error& e) {
      if (e.Number() != dao::dberr::kFileInUse) throw;
      // The one place that tells the user the database is held by another program.
      WideMsgBox(module1::GetMUIString(u"Module1.EnumRecordsetFieldsOnly]", u"msg",
                                       u"Base of letters used by another application. vbCrLf Try to connect to "
                                       u"the database later."),
                 mb::kCritical);
      return std::u16string();
    }
  });
}

}  // namespace ravelin::store
