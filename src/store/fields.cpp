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
std::u16string ReadFieldList(const std::u16string& dbPath, const std::u16string& tbName) {
  auto db = dao::OpenDatabase(dbPath, false, false, u"Access");
  std::u16string list;
  {
    auto rs = db->OpenRecordset(tbName);
    const int32_t n = rs->Fields().Count();
    for (int32_t i = 0; i < n; ++i) {
      list += u"[" + tbName + u"].[" + rs->Fields(i).Name() + u"]";
      list += i < n - 1 ? u", " : u" ";
    }
    rs->Close();
  }
  db->Close();
  return list;
}

}  // namespace

std::u16string EnumRecordsetFields(const std::u16string& dbPath, const std::u16string& tbName) {
  ResumeNext rn;
  std::u16string list = rn.Value([&] { return ReadFieldList(dbPath, tbName); }, std::u16string());
  if (rn.LastError()) return {};
  return u"SELECT " + list + u"from " + tbName + u" ";
}

std::u16string EnumFieldsFrom(const std::u16string& dbPath, const std::u16string& tbName) {
  return Protected(u"EnumRecordsetFieldsOnly", std::u16string(), [&] {
    try {
      return ReadFieldList(dbPath, tbName);
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
