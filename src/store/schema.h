// The layout of the mail database: its eight tables with every field, size, attribute,
// default, Required and AllowZeroLength, the primary indexes, the default mail folders
// and the stored queries. CreateMailTables / CorrectDB (maintenance.h) build a file from
// this description; nothing else in the component names a column that isn't here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ravelin::store {

// Field types, by the engine's numbering.
enum class FieldType : int32_t {
  Boolean = 1,
  Byte = 2,
  Long = 4,
  Date = 8,
  Text = 10,
  LongBinary = 11,
  Memo = 12,
};

inline constexpr int32_t kAutoIncrField = 16;

struct FieldSchema {
  std::u16string name;
  FieldType type = FieldType::Long;
  int32_t size = 0;        // characters of a Text field; 0 for the engine's own size
  int32_t attributes = 0;  // kAutoIncrField for the numbering columns
  // Set on the field only when present; otherwise the engine's default stands.
  std::optional<bool> allowZeroLength;
  std::optional<bool> required;
  std::optional<std::u16string> defaultValue;
};

struct TableSchema {
  std::u16string name;
  std::vector<FieldSchema> fields;
  // Primary index name and its one field, empty when the table has none.
  std::u16string primaryIndex;
  std::u16string primaryField;

  const FieldSchema* Find(const std::u16string& field) const;
};

// The tables in the order CorrectDB first looks them up, then Projects and PackItems.
const std::vector<TableSchema>& MailSchema();
const TableSchema& TableSchemaOf(const std::u16string& table);  // REQUIRES: a name of MailSchema()

// Folder rows of a new MailFolders table, in insertion order.
const std::vector<std::u16string>& DefaultMailFolderRows();

// The stored queries defined on every upgrade (all with an empty statement; nothing reads them).
const std::vector<std::u16string>& StoredQueryNames();

// How a new file is made: its collating locale and format options (4.0, encrypted).
inline constexpr const char16_t* kDbLocale = u";LANGID=0x0409;CP=1252;COUNTRY=0";
inline constexpr int32_t kDbVersion40 = 64;
inline constexpr int32_t kDbEncrypt = 2;
inline constexpr int32_t kDbCreateOptions = kDbVersion40 + kDbEncrypt;

}  // namespace ravelin::store
