// Engine internals shared by the database sources: the per-file connection with its
// table rules, write holds and transaction state, and value conversion to and from SQLite.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/db/dao.h"
#include "runtime/errors.h"
#include "runtime/value.h"

namespace ravelin::dao {

// The stored rules of one field.
struct FieldMeta {
  std::u16string name;
  int32_t type = dbText;
  int32_t size = 255;
  int32_t attributes = dbVariableField;
  bool required = false;
  bool allowZeroLength = false;
  std::u16string defaultValue;
  bool autoIncrement() const { return (attributes & dbAutoIncrField) != 0; }
};

struct IndexMeta {
  std::u16string name;
  bool primary = false;
  bool unique = false;
  std::vector<std::u16string> fields;
  std::string sqlName;  // the SQLite index ("" when the row key serves)
};

struct TableMeta {
  std::u16string name;
  std::vector<FieldMeta> fields;  // in column order
  std::vector<IndexMeta> indexes;
  int autoField = -1;             // index into fields
  bool autoIsRowKey = false;      // the auto field is the SQLite row key
  const FieldMeta* Find(std::u16string_view field) const;
  int FindIndex(std::u16string_view field) const;
};

// Folded comparison of UTF-16 texts: case-insensitive (Unicode simple folding per code
// unit), trailing blanks significant. Returns <0, 0, >0.
int FoldCompare(const char16_t* a, size_t na, const char16_t* b, size_t nb);

// Throws the engine error for a SQLite failure on `db`.
[[noreturn]] void ThrowSqlite(sqlite3* db, int rc, std::u16string_view context = {});
[[noreturn]] void ThrowDb(int32_t number, std::u16string text);

// Reading a column as a Value of the given field type (-1: by what SQLite holds).
Value ReadColumn(sqlite3_stmt* st, int col, int32_t type);
Value ReadSqliteValue(sqlite3_value* v, int32_t type);
// Text and binary are copied unless `keep` says the value outlives the statement's step.
void BindValue(sqlite3_stmt* st, int param, const Value& v, bool keep = false);
// A value converted for storing in a field of `meta` (3421 conversion, 3349 overflow,
// 3163 too long); Null stays Null.
Value CoerceForField(const Value& v, const FieldMeta& meta, std::u16string_view table);
// The field's default as a Value: Null when there is none, False for a Yes/No field.
Value DefaultFor(const FieldMeta& meta);

// A prepared statement owned by its user.
class Stmt {
 public:
  Stmt() = default;
  Stmt(sqlite3* db, const std::string& sql);
  ~Stmt() { reset(); }
  Stmt(Stmt&& o) noexcept : st_(o.st_) { o.st_ = nullptr; }
  Stmt& operator=(Stmt&& o) noexcept {
    if (this != &o) {
      reset();
      st_ = o.st_;
      o.st_ = nullptr;
    }
    return *this;
  }
  sqlite3_stmt* get() const { return st_; }
  sqlite3_stmt* release() {
    sqlite3_stmt* s = st_;
    st_ = nullptr;
    return s;
  }
  explicit operator bool() const { return st_ != nullptr; }
  void reset() {
    if (st_) sqlite3_finalize(st_);
    st_ = nullptr;
  }

 private:
  sqlite3_stmt* st_ = nullptr;
};

// One open file of this process, shared by every Database and Recordset on it.
class Connection : public std::enable_shared_from_this<Connection> {
 public:
  Connection(sqlite3* db, std::string key, std::u16string path, int lockFd, bool exclusive);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  sqlite3* db() const { return db_; }
  const std::u16string& path() const { return path_; }
  const std::string& key() const { return key_; }
  bool exclusive() const { return exclusive_; }

  // Runs a statement text with no result rows.
  void Exec(const std::string& sql);
  // A cached statement (reset, bindings cleared) for repeated engine work.
  sqlite3_stmt* Cached(const std::string& sql);
  // Steps a write statement to its end; returns sqlite3_changes.
  int StepWrite(sqlite3_stmt* st, std::u16string_view context = {});

  // Table rules, read on demand and dropped by SchemaChanged.
  const TableMeta* Table(std::u16string_view name);
  std::vector<std::u16string> TableNames();
  void SchemaChanged();
  // Notices a schema change made through another connection to the file.
  void CheckSchema();
  int64_t Generation() const { return generation_; }
  std::u16string Version();

  // A write hold keeps one write transaction open (so numbers reserved by AddNew stay
  // this connection's) until every hold is released; the last release commits unless
  // the engine's transaction is open.
  void Hold();
  void Release();
  int64_t ReserveAutoNumber(const TableMeta& table);

  // The engine's transaction; an inner transaction is a savepoint named by its level.
  void SetExplicit(bool on);
  void RollbackAll();
  void Savepoint(int level);
  void ReleaseSavepoint(int level);
  void RollbackToSavepoint(int level);

  // Prepared statements of recordsets, kept for the next recordset on the same text.
  sqlite3_stmt* TakeStatement(const std::string& sql);
  void ReturnStatement(const std::string& sql, sqlite3_stmt* st, int64_t generation);
  // What a recordset worked out about a source text, kept until the schema changes.
  std::unordered_map<std::u16string, std::shared_ptr<const void>>& Plans() { return plans_; }

 private:
  void Begin();
  void Commit();
  sqlite3* db_;
  std::string key_;
  std::u16string path_;
  int lockFd_;
  bool exclusive_;
  std::unordered_map<std::string, sqlite3_stmt*> cache_;
  std::unordered_multimap<std::string, sqlite3_stmt*> idle_;
  std::unordered_map<std::u16string, std::shared_ptr<const void>> plans_;
  std::map<std::u16string, std::unique_ptr<TableMeta>> tables_;  // by folded name
  bool namesLoaded_ = false;
  std::vector<std::u16string> names_;
  int holds_ = 0;
  bool explicit_ = false;
  bool inTxn_ = false;
  std::vector<int> savepoints_;  // levels of the inner transactions this connection holds
  int64_t generation_ = 0;
  int64_t schemaVersion_ = -1;
};

// Runs an action statement of the dialect; returns the rows it changed.
int ExecuteAction(Connection& conn, std::u16string_view sqlText);
// Opens a recordset on a table name, a stored query's name or a statement.
std::shared_ptr<Recordset> MakeRecordset(std::shared_ptr<Connection> conn, std::u16string_view source,
                                         int32_t type, int32_t options);
// A table definition describing a stored table.
std::shared_ptr<TableDef> LoadTableDef(const std::shared_ptr<Connection>& conn, const TableMeta& meta);

// Drops the engine's own indexes that key on a field of a table (before the field goes).
void DropSupportIndexesOn(Connection& conn, const std::u16string& table, std::u16string_view field);

// Registers the text collation and the dialect's functions on a connection.
void RegisterFunctions(sqlite3* db);

// The SQLite column type of a field type.
const char* SqlType(int32_t type);

}  // namespace ravelin::dao
