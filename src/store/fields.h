// Field lists of a table, read from the database each time so that a file whose columns
// changed is served correctly (from the table rules the engine keeps, checked against the
// file's schema at each read).
#pragma once

#include <memory>
#include <string>

namespace ravelin::dao {
class Database;
}

namespace ravelin::store {

// "SELECT [t].[f1], [t].[f2], ... [t].[fn] from t " for the table tbName of the database
// at dbPath, fields in their stored order. "" when the table can't be read.
std::u16string EnumRecordsetFields(const std::u16string& dbPath, const std::u16string& tbName);

// Only the list "[t].[f1], ... [t].[fn] " (trailing blank). A database that another
// process holds (3045) is told to the user in a critical message box; any other failure
// is reported with "EnumRecordsetFieldsOnly". Both give "".
std::u16string EnumFieldsFrom(const std::u16string& dbPath, const std::u16string& tbName);
// The same through `held`, opened at the first call and kept by the caller for the next
// lists of the same statement.
std::u16string EnumFieldsFrom(const std::u16string& dbPath, const std::u16string& tbName,
                              std::shared_ptr<dao::Database>& held);

}  // namespace ravelin::store
