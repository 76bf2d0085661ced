// The database engine of Ravelin: the object model the mail store is written against
// (engine, database, table and query definitions, fields, indexes, recordsets) on top
// of SQLite, speaking the system's own SQL dialect.
//
// Ownership: every object is handed out as a shared_ptr and closes itself on
// destruction; Close() may be called earlier and a second Close() does nothing. A
// Recordset keeps its Database's connection alive, so closing the Database object
// while recordsets are still open leaves them usable (they close with the last user).
//
// Connections: every Database opened in this process on the same file shares one
// SQLite connection (a "workspace" per file), so BeginTrans/CommitTrans/Rollback on
// the engine span every Database of that file, and in-process users never lock each
// other out. Other processes share the file through SQLite's own locking; a file
// opened exclusively by another process (or by this one) gives 3045.
//
// Failures are thrown as ravelin::Error with the numbers callers branch on:
//   3001 invalid argument, 3011 object not found (table/query in a statement),
//   3021 no current record, 3022 duplicate value in a unique index, 3027 read-only,
//   3045 file in use, 3061 too few parameters (unknown name in a statement),
//   3075 syntax error in an expression (criteria), 3163 value too long for a field,
//   3191 field defined twice, 3204 database already exists, 3219 invalid operation,
//   3260 locked by another user, 3262 table cannot be locked, 3265 item not found in
//   the collection, 3283 primary key exists, 3314 Required field left empty,
//   3315 zero-length text where not allowed, 3343 unrecognised database format,
//   3349 numeric overflow, 3367 object already in the collection, 3421 type
//   conversion error, 3024 file not found, 3026 the disk is full, 3040 the disk
//   failed to read or write, 3049 the file is damaged, 3000 for other engine failures.
//
// Field access on a recordset reads naturally:
//   Value v = rs->Fields(u"Subject").Value();
//   rs->Fields(u"Subject") = Value(u"Hi");        // or rs->SetField(u"Subject", ...)
//   int32_t size = rs->Fields(u"Subject").Size();  // the column's Text(n) limit
// The long binary field (Files.Data) reads back as a Binary value (octets); assigning a
// Text value to it stores its byte text narrowed to octets (BytesToByteText and
// ByteTextToBytes convert at the caller's side). Dates read back as Date values (OLE
// dates); assigning text to a Date field parses it with the general date format.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/value.h"

namespace ravelin::dao {

// ---- Constants ----------------------------------------------------------------------

// Recordset types.
inline constexpr int32_t dbOpenTable = 1;
inline constexpr int32_t dbOpenDynaset = 2;
inline constexpr int32_t dbOpenSnapshot = 4;
inline constexpr int32_t dbOpenForwardOnly = 8;

// Recordset/Execute options.
inline constexpr int32_t dbReadOnly = 4;
inline constexpr int32_t dbFailOnError = 128;

// Field types.
inline constexpr int32_t dbBoolean = 1;
inline constexpr int32_t dbByte = 2;
inline constexpr int32_t dbInteger = 3;
inline constexpr int32_t dbLong = 4;
inline constexpr int32_t dbCurrency = 5;
inline constexpr int32_t dbSingle = 6;
inline constexpr int32_t dbDouble = 7;
inline constexpr int32_t dbDate = 8;
inline constexpr int32_t dbText = 10;
inline constexpr int32_t dbLongBinary = 11;
inline constexpr int32_t dbMemo = 12;

// Field attributes.
inline constexpr int32_t dbFixedField = 1;
inline constexpr int32_t dbVariableField = 2;
inline constexpr int32_t dbAutoIncrField = 16;

// EditMode values.
inline constexpr int32_t dbEditNone = 0;
inline constexpr int32_t dbEditInProgress = 1;
inline constexpr int32_t dbEditAdd = 2;

// CreateDatabase / CompactDatabase options: format version and encryption.
inline constexpr int32_t dbEncrypt = 2;
inline constexpr int32_t dbDecrypt = 4;
inline constexpr int32_t dbVersion30 = 32;
inline constexpr int32_t dbVersion40 = 64;
// The collating locale text of the mail database.
inline constexpr char16_t dbLangGeneral[] = u";LANGID=0x0409;CP=1252;COUNTRY=0";

// Error numbers of the engine (see the header comment).
namespace dberr {
inline constexpr int32_t kGeneric = 3000;
inline constexpr int32_t kInvalidArgument = 3001;
inline constexpr int32_t kObjectNotFound = 3011;
inline constexpr int32_t kNoCurrentRecord = 3021;
inline constexpr int32_t kDuplicateKey = 3022;
inline constexpr int32_t kFileNotFound = 3024;
inline constexpr int32_t kDiskFull = 3026;
inline constexpr int32_t kReadOnly = 3027;
inline constexpr int32_t kDiskIO = 3040;
inline constexpr int32_t kFileInUse = 3045;
inline constexpr int32_t kTooFewParameters = 3061;
inline constexpr int32_t kUnknownName = 3070;
inline constexpr int32_t kSyntaxInExpression = 3075;
inline constexpr int32_t kInvalidStatement = 3129;
inline constexpr int32_t kTextAfterEnd = 3142;
inline constexpr int32_t kSyntaxInStatement = 3000;
inline constexpr int32_t kFieldTooSmall = 3163;
inline constexpr int32_t kFieldDefinedTwice = 3191;
inline constexpr int32_t kDatabaseExists = 3204;
inline constexpr int32_t kInvalidOperation = 3219;
inline constexpr int32_t kLocked = 3260;
inline constexpr int32_t kTableLocked = 3262;
inline constexpr int32_t kItemNotFound = 3265;
inline constexpr int32_t kPrimaryKeyExists = 3283;
inline constexpr int32_t kRequired = 3314;
inline constexpr int32_t kZeroLength = 3315;
inline constexpr int32_t kUnrecognizedFormat = 3343;
inline constexpr int32_t kNumericOverflow = 3349;
inline constexpr int32_t kObjectExists = 3367;
inline constexpr int32_t kConversion = 3421;
inline constexpr int32_t kUpdateWithoutEdit = 3020;
inline constexpr int32_t kNoTransaction = 3034;
inline constexpr int32_t kCorrupt = 3049;
inline constexpr int32_t kCannotOpen = 3051;
inline constexpr int32_t kCannotExecuteSelect = 3065;
inline constexpr int32_t kNoSuchTable = 3078;
inline constexpr int32_t kAmbiguousField = 3079;
inline constexpr int32_t kInvalidName = 3125;
inline constexpr int32_t kInvalidBookmark = 3159;
inline constexpr int32_t kFieldNotUpdatable = 3164;
inline constexpr int32_t kRecordDeleted = 3167;
inline constexpr int32_t kNotSupported = 3251;
inline constexpr int32_t kNoFieldDefined = 3264;
inline constexpr int32_t kIndexExists = 3284;
inline constexpr int32_t kObjectInvalid = 3420;
inline constexpr int32_t kCriteriaTypeMismatch = 3464;
inline constexpr int32_t kNotAnIndex = 3800;
}  // namespace dberr

class Connection;  // the shared SQLite connection of one file (internal)
struct TableMeta;  // a stored table's rules (internal)
class Database;
class TableDef;
class Recordset;
class Field;
class Index;
class QueryDef;

// ---- Schema objects -------------------------------------------------------------------

// A field of a table definition or index. Before it is appended, its properties are
// plain settings; once it belongs to a stored table, setting Required, AllowZeroLength
// or DefaultValue changes the table's stored rules at once (Name, Type, Size and
// Attributes of a stored field can't change: 3219).
class Field {
 public:
  Field(std::u16string name, int32_t type, int32_t size);
  ~Field();

  const std::u16string& Name() const { return name_; }
  void SetName(std::u16string name);
  int32_t Type() const { return type_; }
  void SetType(int32_t type);
  // Text(n) limit for text fields; the fixed byte width for the others (Long 4 ...),
  // 0 for Memo and long binary.
  int32_t Size() const;
  void SetSize(int32_t size);
  int32_t Attributes() const { return attributes_; }
  void SetAttributes(int32_t attributes);
  // The default as its text form ("0", "15", "True", "" for none), as the engine keeps it.
  const std::u16string& DefaultValue() const { return default_; }
  void SetDefaultValue(const Value& v);
  bool Required() const { return required_; }
  void SetRequired(bool required);
  bool AllowZeroLength() const { return allowZeroLength_; }
  void SetAllowZeroLength(bool allow);
  int32_t OrdinalPosition() const { return ordinal_; }

 private:
  friend class TableDef;
  friend class Index;
  friend class Fields;
  friend class Connection;
  friend std::shared_ptr<TableDef> LoadTableDef(const std::shared_ptr<Connection>&, const TableMeta&);
  void CheckDetached() const;
  void Persist();  // writes changed rules of a stored field
  std::u16string name_;
  int32_t type_ = dbText;
  int32_t size_ = 0;
  int32_t attributes_ = dbVariableField;
  std::u16string default_;
  bool required_ = false;
  bool allowZeroLength_ = false;
  int32_t ordinal_ = 0;
  // Set once the field belongs to a stored table.
  std::weak_ptr<Connection> conn_;
  std::u16string table_;
};

// A collection of schema objects by name (case-insensitive) or 0-based index.
template <class T>
class Collection {
 public:
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  // 3265 when there is no such item.
  std::shared_ptr<T> Item(std::u16string_view name) const;
  std::shared_ptr<T> Item(int32_t index) const;
  std::shared_ptr<T> operator()(std::u16string_view name) const { return Item(name); }
  std::shared_ptr<T> operator()(int32_t index) const { return Item(index); }
  bool Contains(std::u16string_view name) const;
  typename std::vector<std::shared_ptr<T>>::const_iterator begin() const { return items_.begin(); }
  typename std::vector<std::shared_ptr<T>>::const_iterator end() const { return items_.end(); }

 protected:
  std::vector<std::shared_ptr<T>> items_;
};

// The fields of a table definition or of an index.
class Fields : public Collection<Field> {
 public:
  // On a stored table adds the column at once; 3191 when the name is already there.
  // On an index adds a key field (the field must exist in the table when the index
  // is appended).
  void Append(std::shared_ptr<Field> field);
  // On a stored table drops the column; 3265 when absent.
  void Delete(std::u16string_view name);
  void Refresh() {}

 private:
  friend class TableDef;
  friend class Index;
  friend std::shared_ptr<TableDef> LoadTableDef(const std::shared_ptr<Connection>&, const TableMeta&);
  std::function<void(std::shared_ptr<Field>)> onAppend_;
  std::function<void(std::u16string_view)> onDelete_;
  std::vector<std::shared_ptr<Field>>& items() { return items_; }
};

// An index of a table. `Fields` lists its key fields.
class Index {
 public:
  explicit Index(std::u16string name);
  const std::u16string& Name() const { return name_; }
  void SetName(std::u16string name);
  bool Primary() const { return primary_; }
  void SetPrimary(bool primary);
  bool Unique() const { return unique_ || primary_; }
  void SetUnique(bool unique);
  bool Required() const { return required_; }
  void SetRequired(bool required) { required_ = required; }
  bool IgnoreNulls() const { return ignoreNulls_; }
  void SetIgnoreNulls(bool ignore) { ignoreNulls_ = ignore; }
  dao::Fields& Fields() { return fields_; }
  // An index field for Fields().Append (name only matters).
  std::shared_ptr<Field> CreateField(std::u16string name, int32_t type = dbText, int32_t size = 0);

 private:
  friend class TableDef;
  friend class Connection;
  friend std::shared_ptr<TableDef> LoadTableDef(const std::shared_ptr<Connection>&, const TableMeta&);
  std::u16string name_;
  bool primary_ = false;
  bool unique_ = false;
  bool required_ = false;
  bool ignoreNulls_ = false;
  bool stored_ = false;
  dao::Fields fields_;
};

class Indexes : public Collection<Index> {
 public:
  // On a stored table creates the index at once: 3283 for a second primary index,
  // 3367 when an index of that name exists, 3022 when the rows break uniqueness.
  void Append(std::shared_ptr<Index> index);
  void Delete(std::u16string_view name);
  void Refresh() {}

 private:
  friend class TableDef;
  friend std::shared_ptr<TableDef> LoadTableDef(const std::shared_ptr<Connection>&, const TableMeta&);
  std::function<void(std::shared_ptr<Index>)> onAppend_;
  std::function<void(std::u16string_view)> onDelete_;
  std::vector<std::shared_ptr<Index>>& items() { return items_; }
};

// A table definition. Made by Database::CreateTableDef (not yet stored: fields and
// indexes are collected, TableDefs().Append creates the table with them) or taken from
// Database::TableDefs (stored: Fields().Append/Delete and Indexes().Append change the
// table at once).
class TableDef : public std::enable_shared_from_this<TableDef> {
 public:
  explicit TableDef(std::u16string name);
  const std::u16string& Name() const { return name_; }
  void SetName(std::u16string name);
  bool Stored() const { return stored_; }

  std::shared_ptr<Field> CreateField(std::u16string name, int32_t type = dbText, int32_t size = 0);
  std::shared_ptr<Index> CreateIndex(std::u16string name);
  dao::Fields& Fields() { return fields_; }
  dao::Indexes& Indexes() { return indexes_; }
  // Rows in the table (stored tables only).
  int32_t RecordCount() const;
  std::shared_ptr<Recordset> OpenRecordset(int32_t type = dbOpenTable);

 private:
  friend class Database;
  friend class Connection;
  friend class TableDefs;
  friend std::shared_ptr<TableDef> LoadTableDef(const std::shared_ptr<Connection>&, const TableMeta&);
  void Bind(const std::shared_ptr<Connection>& conn);  // becomes a stored table's definition
  std::u16string name_;
  bool stored_ = false;
  std::weak_ptr<Connection> conn_;
  dao::Fields fields_;
  dao::Indexes indexes_;
};

class TableDefs : public Collection<TableDef> {
 public:
  // Creates the table of a new definition: 3367 when a table of that name exists or the
  // definition is already stored, 3264 (no fields) when it has none.
  void Append(std::shared_ptr<TableDef> def);
  // Drops the table; 3265 when absent.
  void Delete(std::u16string_view name);
  // Re-reads the list from the file.
  void Refresh();

 private:
  friend class Database;
  std::weak_ptr<Connection> conn_;
};

// A stored statement. Its SQL is kept as written and translated when run.
class QueryDef {
 public:
  explicit QueryDef(std::u16string name, std::u16string sql = {});
  const std::u16string& Name() const { return name_; }
  void SetName(std::u16string name);
  const std::u16string& SQL() const { return sql_; }
  void SetSQL(std::u16string sql);  // writes through when stored
  std::shared_ptr<Recordset> OpenRecordset(int32_t type = dbOpenDynaset);
  void Execute(int32_t options = 0);

 private:
  friend class Database;
  friend class QueryDefs;
  friend class Connection;
  std::u16string name_;
  std::u16string sql_;
  bool stored_ = false;
  std::weak_ptr<Connection> conn_;
};

class QueryDefs : public Collection<QueryDef> {
 public:
  // 3367 when a query of that name is stored.
  void Append(std::shared_ptr<QueryDef> def);
  void Delete(std::u16string_view name);
  void Refresh();

 private:
  friend class Database;
  std::weak_ptr<Connection> conn_;
};

// ---- Recordset ---------------------------------------------------------------------

// A bookmark: identifies a row of one recordset for as long as the recordset lives.
using Bookmark = int64_t;

// A field of the current row of a recordset: a light handle, valid while the recordset is.
class FieldRef {
 public:
  FieldRef(Recordset* rs, int32_t column) : rs_(rs), col_(column) {}
  // The value in the current row (or in the edit buffer during AddNew/Edit); 3021 with
  // no current row.
  ravelin::Value Value() const;
  void SetValue(const ravelin::Value& v) const;
  FieldRef& operator=(const ravelin::Value& v) {
    SetValue(v);
    return *this;
  }
  std::u16string Name() const;
  int32_t Type() const;
  int32_t Size() const;
  int32_t Attributes() const;
  bool Required() const;
  bool AllowZeroLength() const;
  std::u16string DefaultValue() const;
  // Length in bytes of a Memo or long binary value (characters * 2 for text), as
  // FieldSize reports it.
  int32_t FieldSize() const;
  int32_t OrdinalPosition() const { return col_; }
  // Base table and column when the field maps to one ("" for computed columns).
  std::u16string SourceTable() const;
  std::u16string SourceField() const;

 private:
  Recordset* rs_;
  int32_t col_;
};

// The fields of a recordset.
class RecordsetFields {
 public:
  explicit RecordsetFields(Recordset* rs) : rs_(rs) {}
  int32_t Count() const;
  FieldRef Item(std::u16string_view name) const;  // 3265 when absent
  FieldRef Item(int32_t index) const;              // 3265 when out of range
  FieldRef operator()(std::u16string_view name) const { return Item(name); }
  FieldRef operator()(int32_t index) const { return Item(index); }
  bool Contains(std::u16string_view name) const;

 private:
  Recordset* rs_;
};

struct RecordsetImpl;  // internal

// A recordset on a table (type 1: the table's rows in stored order, or in the order of
// Index once set) or on a statement or table name (type 2, dynaset: the statement's
// rows in its order; edits write through to the base rows, also of joined tables).
//
// Rows are fetched as the cursor moves: RecordCount is the number of rows reached so far
// (1 after opening when there is a row) until MoveLast has reached the end; table-type
// recordsets know their count at once. A row added with AddNew/Update goes to the end of
// the recordset, a deleted row leaves it (the position stays on it, with no current row,
// until the cursor moves). The auto-number of a new row is readable right after AddNew.
class Recordset : public std::enable_shared_from_this<Recordset> {
 public:
  explicit Recordset(std::unique_ptr<RecordsetImpl> impl);
  ~Recordset();
  Recordset(const Recordset&) = delete;
  Recordset& operator=(const Recordset&) = delete;

  int32_t Type() const;
  std::u16string Name() const;  // the source text
  bool Updatable() const;

  // Navigation. Moving with no rows gives 3021; MoveNext at EOF and MovePrevious at BOF
  // give 3021 as well.
  void MoveFirst();
  void MoveLast();
  void MoveNext();
  void MovePrevious();
  void Move(int32_t rows);
  // BOF and EOF (spelled Bof/Eof because EOF is a macro of the C library).
  bool Bof() const;
  bool Eof() const;
  // Rows reached so far (see above).
  int32_t RecordCount();
  // 0-based place of the current row, -1 when there is none; setting it out of range
  // gives 3001.
  int32_t AbsolutePosition() const;
  void SetAbsolutePosition(int32_t position);
  // Fraction 0..100 of the current place (as PercentPosition reports it).
  double PercentPosition();

  // Search in recordset order with a criteria text of the system's dialect ("key=5",
  // "Project=\"A\" and InsArcPrj=True", "[N]=3"). A miss sets NoMatch and leaves the
  // current row where it was.
  void FindFirst(std::u16string_view criteria);
  void FindNext(std::u16string_view criteria);
  void FindPrevious(std::u16string_view criteria);
  void FindLast(std::u16string_view criteria);
  bool NoMatch() const;

  // Table-type recordsets: order by the named index (or field) and Seek on it.
  std::u16string Index() const;
  void SetIndex(std::u16string_view index);
  void Seek(std::u16string_view op, const ravelin::Value& key);

  // Editing. AddNew fills defaults and reserves the auto-number; Update writes the row
  // (committing on its own unless a transaction is open); CancelUpdate drops the buffer.
  // Moving away or closing during an edit drops it too.
  void AddNew();
  void Edit();
  void Update();
  void CancelUpdate();
  void Delete();
  int32_t EditMode() const;
  // Bookmark of the row most recently added or changed.
  Bookmark LastModified() const;
  Bookmark GetBookmark() const;  // 3021 with no current row
  void SetBookmark(Bookmark b);  // 3159 (not a valid bookmark) when unknown
  bool Bookmarkable() const { return true; }

  // Runs the statement again and goes to its first row.
  void Requery();
  void Close();
  bool IsOpen() const;

  RecordsetFields& Fields() { return fields_; }
  FieldRef Fields(std::u16string_view name) { return fields_.Item(name); }
  FieldRef Fields(int32_t index) { return fields_.Item(index); }
  ravelin::Value GetField(std::u16string_view name) { return fields_.Item(name).Value(); }
  void SetField(std::u16string_view name, const ravelin::Value& v) { fields_.Item(name).SetValue(v); }

  RecordsetImpl& impl() { return *impl_; }  // engine internals

 private:
  std::unique_ptr<RecordsetImpl> impl_;
  RecordsetFields fields_;
};

// New rows of one table, written through a prepared statement that the file's connection
// keeps: for work that adds many rows one after another (an import), without a recordset
// that runs its statement and fetches a row first. A row follows the rules of a table's
// recordset between AddNew and Update: it starts from the fields' defaults; a value is
// converted and checked as it is set (3421, 3349, 3163, and 3315 for an empty text where
// none is allowed, the field keeping what it held); Update refuses a Null where a value is
// required (3314) and an empty text left in a field that allows none (3315). What was
// worked out about the table is kept on the connection until its tables change.
//
// The auto-number of the row is given when Update writes it (Update returns it): it is
// the one the table's recordset would have reserved at AddNew.
class NewRows {
 public:
  // 3078 when the table is unknown.
  NewRows(const std::shared_ptr<Database>& db, std::u16string_view table);
  ~NewRows();
  NewRows(const NewRows&) = delete;
  NewRows& operator=(const NewRows&) = delete;

  // Starts a row (a row started before and not written is dropped).
  void AddNew();
  // 3265 for an unknown field, 3020 with no row started, 3164 for the auto-number.
  void SetField(std::u16string_view field, const ravelin::Value& v);
  // The same, taking over a text or octets the field holds as they are (a letter's text,
  // an attachment's data) instead of copying them.
  void SetField(std::u16string_view field, ravelin::Value&& v);
  ravelin::Value GetField(std::u16string_view field) const;
  // The field's defined size, as a recordset's field reports it (Text(n): n).
  int32_t Size(std::u16string_view field) const;
  // Writes the row (committing on its own unless a transaction is open) and returns its
  // auto-number, 0 when the table has none. 3020 with no row started.
  int64_t Update();
  void CancelUpdate();
  int32_t EditMode() const;

  struct Impl;  // internal

 private:
  std::unique_ptr<Impl> impl_;
};

// The open recordsets of a database, as its Recordsets collection.
class Recordsets {
 public:
  int32_t Count() const;
  // Brings the list up to date (closed ones leave it); rows need no refresh.
  void Refresh();

 private:
  friend class Database;
  std::vector<std::weak_ptr<Recordset>> items_;
};

// ---- Database and engine -------------------------------------------------------------

class Database : public std::enable_shared_from_this<Database> {
 public:
  Database(std::shared_ptr<Connection> conn, std::u16string name, bool readOnly);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  const std::u16string& Name() const { return name_; }
  // The file's format version: "4.0" or "3.0".
  std::u16string Version() const;
  bool Updatable() const { return !readOnly_; }

  dao::TableDefs& TableDefs();
  dao::QueryDefs& QueryDefs();
  dao::Recordsets& Recordsets() { return recordsets_; }

  std::shared_ptr<TableDef> CreateTableDef(std::u16string name = {});
  // With a name the query is stored at once (3367 when one of that name exists);
  // without one it is a temporary query.
  std::shared_ptr<QueryDef> CreateQueryDef(std::u16string name = {}, std::u16string sql = {});

  // `source` is a table name, a stored query's name or a statement in the system's
  // dialect. Type 1 only for tables (3219 otherwise); 0 means a dynaset, which is what
  // the store opens everywhere (FindFirst works on every type here).
  // Errors: 3078 unknown table, 3061 unknown field, 3075 syntax, 3142 text after the end,
  // 3219 an action statement.
  std::shared_ptr<Recordset> OpenRecordset(std::u16string_view source, int32_t type = 0,
                                           int32_t options = 0);
  // Runs an action statement (INSERT/UPDATE/DELETE); a select is refused with 3065, other
  // statements with 3129. Statements write as SQLite does: the field rules (size,
  // Required, zero length) are the recordsets' to enforce.
  void Execute(std::u16string_view sql, int32_t options = 0);
  int32_t RecordsAffected() const { return recordsAffected_; }

  // Indexes the engine keeps for its own statements (support_indexes.cpp): made when
  // missing, named by their table and fields, never part of a table's Indexes collection.
  // Text fields are keyed in the engine's text collation, as the columns compare, so the
  // planner can use them. Returns whether the index was made now. 3265 for an unknown
  // table or field.
  bool EnsureSupportIndex(std::u16string_view table, const std::vector<std::u16string>& fields);
  // The same kind of index on expressions of a table's columns, written as SQLite reads
  // them (`columns` is the text between the parentheses); named "rvsx_<table>_<name>".
  // The planner uses it for a select written with the very same expressions.
  bool EnsureSupportExpressionIndex(std::u16string_view table, std::string_view name, std::string_view columns);
  // Runs a select written as SQLite reads it, with `params` bound to ?1, ?2..., and hands
  // each row's integer columns to `row` until it returns false. For the engine's own
  // lookups on its support indexes, never for a client's statement.
  void SupportScan(std::string_view sql, const std::vector<Value>& params,
                   const std::function<bool(const std::vector<int64_t>&)>& row);
  // The plan of such a select, as QueryPlan gives it.
  std::vector<std::string> SupportQueryPlan(std::string_view sql);
  // Drops every index of that kind; the statements give the same rows without them.
  void DropSupportIndexes();
  // How SQLite will run a statement of the dialect: one line per step of its plan
  // ("SCAN Letters", "SEARCH PackItems USING INDEX ...", "USE TEMP B-TREE FOR ORDER BY").
  std::vector<std::string> QueryPlan(std::u16string_view source);
  // The number of rows a select statement gives, counted by the engine without a cursor
  // walking them (what MoveLast and RecordCount of a new dynaset would say).
  int32_t CountRecords(std::u16string_view source);
  // The names of the fields a recordset on `source` shows, in order. A table's come from
  // the rules the engine keeps for it, without running a statement; any other source is
  // opened as a recordset would open it (with its errors). `checkSchema` false trusts a
  // check of the file's tables made just before (the lists of one statement).
  std::vector<std::u16string> FieldNames(std::u16string_view source, bool checkSchema = true);

  void Close();
  bool IsOpen() const { return conn_ != nullptr; }

  std::shared_ptr<Connection> connection() const;  // engine internals

 private:
  std::shared_ptr<Connection> conn_;
  std::u16string name_;
  bool readOnly_ = false;
  int32_t recordsAffected_ = 0;
  dao::TableDefs tableDefs_;
  dao::QueryDefs queryDefs_;
  dao::Recordsets recordsets_;
  bool tableDefsLoaded_ = false;
  bool queryDefsLoaded_ = false;
  int64_t loadedGeneration_ = -1;
};

// Closes a database when the scope that opened it ends, whichever way it ends (closing
// only lets go of the connection, so it cannot fail).
class CloseOnExit {
 public:
  explicit CloseOnExit(std::shared_ptr<Database> db) : db_(std::move(db)) {}
  ~CloseOnExit() {
    if (db_) db_->Close();
  }
  CloseOnExit(const CloseOnExit&) = delete;
  CloseOnExit& operator=(const CloseOnExit&) = delete;

 private:
  std::shared_ptr<Database> db_;
};

// The engine: opens, creates and compacts files, and holds the transactions.
class DBEngine {
 public:
  // How a file's connections write, read when a file is opened. Chosen by measurement;
  // see engine.cpp.
  struct Tuning {
    std::u16string journalMode = u"WAL";     // WAL, DELETE, TRUNCATE or PERSIST
    std::u16string synchronous = u"FULL";    // FULL or NORMAL
    int32_t busyTimeoutMs = 5000;            // wait for another process's lock
    int64_t maxValueBytes = 0;               // lower limit of one value (0: the engine's own)
  };

  // Creates a new file: 3204 when it exists. `locale` is the collating locale text
  // (kept, the engine always compares text case-insensitively). `options`: dbVersion30
  // makes a file that reports "3.0", anything else "4.0"; dbEncrypt is accepted.
  std::shared_ptr<Database> CreateDatabase(std::u16string_view path, std::u16string_view locale,
                                           int32_t options = 0);
  // Opens a file shared (or exclusively), writable (or read-only). `connect` is the
  // connect text ("Access", ";pwd=..."), accepted and ignored. 3024 when the file is
  // missing, 3045 when it is held exclusively, 3343 when it isn't a database.
  std::shared_ptr<Database> OpenDatabase(std::u16string_view path, bool exclusive = false,
                                         bool readOnly = false, std::u16string_view connect = {});
  // Copies `src` to the new file `dst` with its free space dropped, in the format that
  // `options` asks (dbVersion30 gives "3.0", anything else "4.0"). 3045 when `src` is
  // open anywhere, 3204 when `dst` exists, 3024 when `src` is missing.
  void CompactDatabase(std::u16string_view src, std::u16string_view dst,
                       std::u16string_view locale = {}, int32_t options = 0);

  // Transactions spanning every Database of this process (per file: each open file's
  // shared connection joins). Transactions nest: the outermost CommitTrans commits to
  // the file, an inner one keeps its work in the outer; Rollback undoes the innermost
  // open transaction only. 3034 for a CommitTrans or Rollback with none open. A failed
  // outermost CommitTrans leaves the file as it was before the outermost BeginTrans.
  void BeginTrans();
  void CommitTrans();
  void Rollback();
  int32_t TransactionDepth() const;

  // The engine's full check of a file's structure (every page, index and row), or the
  // quick one (pages and rows, not the agreement of indexes with their tables). Returns
  // the problems found, in the engine's words; empty when the file is sound. 3024 when
  // the file is missing, 3343 when it isn't a database at all, 3045 when it is held
  // exclusively. Safe while other connections read or write the file.
  std::vector<std::u16string> CheckIntegrity(std::u16string_view path, bool full = true);

  // Holds `path` exclusively for this process until the returned token is released:
  // other processes get 3045 when they open it, while this process's own compaction,
  // backup and check of the file go ahead. 3045 when the file is open anywhere, 3024
  // when it is missing.
  std::shared_ptr<void> HoldExclusive(std::u16string_view path);
  // Writes a whole copy of the file `src` (committed work still in its log included)
  // to `dst` through the temporary name "<dst>.part", synced and renamed over `dst`:
  // until the copy is complete, a previous `dst` stays as it was. 3045 when `src` is
  // open anywhere, 3024 when it is missing, 3026 when the disk is full.
  void BackupDatabase(std::u16string_view src, std::u16string_view dst);

  // The largest value, in octets, that one field of a row can hold.
  int64_t MaxValueBytes() const;

  Tuning& tuning();
};

// The process's one engine (Module1 keeps it alive for the component's lifetime).
DBEngine& Engine();

// Convenience forms at namespace level, as the code reads them.
inline std::shared_ptr<Database> OpenDatabase(std::u16string_view path, bool exclusive = false,
                                              bool readOnly = false, std::u16string_view connect = {}) {
  return Engine().OpenDatabase(path, exclusive, readOnly, connect);
}
inline std::shared_ptr<Database> CreateDatabase(std::u16string_view path, std::u16string_view locale,
                                                int32_t options = 0) {
  return Engine().CreateDatabase(path, locale, options);
}
inline void CompactDatabase(std::u16string_view src, std::u16string_view dst,
                            std::u16string_view locale = {}, int32_t options = 0) {
  Engine().CompactDatabase(src, dst, locale, options);
}

}  // namespace ravelin::dao
