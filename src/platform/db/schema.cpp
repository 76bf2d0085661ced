// Table and query definitions, fields and indexes: collected on a new definition and
// written to the file when appended; on a stored table every change goes to the file
// at once, with the stored rules (size, Required, AllowZeroLength, default) kept in
// ravelin_fields beside SQLite's own schema.
#include <algorithm>

#include "platform/db/internal.h"
#include "platform/db/sql_dialect.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::dao {

namespace {

std::shared_ptr<Connection> Live(const std::weak_ptr<Connection>& w) {
  auto c = w.lock();
  if (!c) ThrowDb(dberr::kObjectInvalid, u"Object invalid or no longer set.");
  return c;
}

[[noreturn]] void NotFound(std::u16string_view name) {
  ThrowDb(dberr::kItemNotFound, u"Item not found in this collection. (" + std::u16string(name) + u")");
}

// Runs schema work as one unit: all of it or nothing. A lock held elsewhere means the
// table can't be locked (3262).
template <class F>
void SchemaWork(Connection& c, F&& body) {
  c.Exec("SAVEPOINT rv_schema");
  try {
    body();
    c.Exec("RELEASE rv_schema");
  } catch (const Error& e) {
    sqlite3_exec(c.db(), "ROLLBACK TO rv_schema; RELEASE rv_schema", nullptr, nullptr, nullptr);
    c.SchemaChanged();
    if (e.Number() == dberr::kLocked)
      ThrowDb(dberr::kTableLocked, u"Could not lock table; currently in use by another session.");
    throw;
  }
  c.SchemaChanged();
}

std::string DefaultClause(const FieldMeta& f) {
  Value d = DefaultFor(f);
  if (d.IsNull()) return {};
  switch (d.Type()) {
    case VType::Boolean:
      return d.AsBool() ? " DEFAULT -1" : " DEFAULT 0";
    case VType::Text:
      return " DEFAULT " + sql::QuoteText(d.TextRef());
    case VType::Long:
      return " DEFAULT " + std::to_string(d.AsLong());
    case VType::Date:
      if (Trim(LCase(f.defaultValue)).find(u"()") != std::u16string::npos) return {};  // evaluated per row
      [[fallthrough]];
    default: {
      char buf[40];
      std::snprintf(buf, sizeof buf, "%.17g", d.AsDouble());
      return std::string(" DEFAULT ") + buf;
    }
  }
}

FieldMeta MetaOf(const Field& f) {
  FieldMeta m;
  m.name = f.Name();
  m.type = f.Type();
  m.size = f.Type() == dbText ? f.Size() : 0;
  m.attributes = f.Attributes();
  m.required = f.Required();
  m.allowZeroLength = f.AllowZeroLength();
  m.defaultValue = f.DefaultValue();
  return m;
}

void WriteFieldRules(Connection& c, const std::u16string& table, const FieldMeta& m) {
  sqlite3_stmt* st = c.Cached(
      "INSERT OR REPLACE INTO ravelin_fields(tbl, fld, type, size, attributes, required, allowzero, defaultvalue) "
      "VALUES(?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)");
  BindValue(st, 1, Value(table));
  BindValue(st, 2, Value(m.name));
  sqlite3_bind_int(st, 3, m.type);
  sqlite3_bind_int(st, 4, m.size);
  sqlite3_bind_int(st, 5, m.attributes);
  sqlite3_bind_int(st, 6, m.required ? 1 : 0);
  sqlite3_bind_int(st, 7, m.allowZeroLength ? 1 : 0);
  BindValue(st, 8, Value(m.defaultValue));
  c.StepWrite(st);
}

void CreateSqlIndex(Connection& c, const std::u16string& table, const TableMeta* meta, IndexMeta& ix) {
  if (ix.fields.empty()) ThrowDb(dberr::kNoFieldDefined, u"No field defined--cannot append TableDef or Index.");
  if (meta) {
    for (const auto& f : ix.fields)
      if (!meta->Find(f)) NotFound(f);
    // The row key already is the primary index of an auto-numbered key.
    if (ix.primary && ix.fields.size() == 1 && meta->autoIsRowKey &&
        sql::SameName(meta->fields[static_cast<size_t>(meta->autoField)].name, ix.fields[0])) {
      ix.sqlName.clear();
    } else {
      ix.sqlName = "rvix_" + ToUtf8(table) + "_" + ToUtf8(ix.name);
      std::string cols;
      for (const auto& f : ix.fields) cols += (cols.empty() ? "" : ", ") + sql::QuoteName(f);
      c.Exec(std::string("CREATE ") + (ix.primary || ix.unique ? "UNIQUE " : "") + "INDEX " +
             sql::QuoteName(FromUtf8(ix.sqlName)) + " ON " + sql::QuoteName(table) + "(" + cols + ")");
    }
  }
  std::u16string fields;
  for (const auto& f : ix.fields) fields += (fields.empty() ? u"" : u";") + f;
  sqlite3_stmt* st = c.Cached(
      "INSERT OR REPLACE INTO ravelin_indexes(tbl, name, isprimary, isunique, fields, sqlname) VALUES(?1,?2,?3,?4,?5,?6)");
  BindValue(st, 1, Value(table));
  BindValue(st, 2, Value(ix.name));
  sqlite3_bind_int(st, 3, ix.primary ? 1 : 0);
  sqlite3_bind_int(st, 4, ix.unique ? 1 : 0);
  BindValue(st, 5, Value(fields));
  BindValue(st, 6, Value(FromUtf8(ix.sqlName)));
  c.StepWrite(st);
}

IndexMeta MetaOf(Index& ix) {
  IndexMeta m;
  m.name = ix.Name();
  m.primary = ix.Primary();
  m.unique = ix.Unique();
  for (const auto& f : ix.Fields()) m.fields.push_back(f->Name());
  return m;
}

}  // namespace

// ---- Collections ------------------------------------------------------------------

template <class T>
std::shared_ptr<T> Collection<T>::Item(std::u16string_view name) const {
  for (const auto& i : items_)
    if (sql::SameName(i->Name(), name)) return i;
  NotFound(name);
}

template <class T>
std::shared_ptr<T> Collection<T>::Item(int32_t index) const {
  if (index < 0 || index >= Count()) NotFound(NumToText(index));
  return items_[static_cast<size_t>(index)];
}

template <class T>
bool Collection<T>::Contains(std::u16string_view name) const {
  for (const auto& i : items_)
    if (sql::SameName(i->Name(), name)) return true;
  return false;
}

template class Collection<Field>;
template class Collection<Index>;
template class Collection<TableDef>;
template class Collection<QueryDef>;

// ---- Field ----------------------------------------------------------------------------

Field::Field(std::u16string name, int32_t type, int32_t size) : name_(std::move(name)), type_(type), size_(size) {
  if (type_ == dbText && size_ <= 0) size_ = 255;
  if (type_ == dbText) attributes_ = dbVariableField;
  else attributes_ = dbFixedField;
}

Field::~Field() = default;

void Field::CheckDetached() const {
  if (!table_.empty() && !conn_.expired()) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
}

void Field::SetName(std::u16string name) {
  CheckDetached();
  name_ = std::move(name);
}
void Field::SetType(int32_t type) {
  CheckDetached();
  type_ = type;
  if (type_ == dbText && size_ <= 0) size_ = 255;
}
int32_t Field::Size() const {
  switch (type_) {
    case dbText:
      return size_;
    case dbBoolean:
    case dbByte:
      return 1;
    case dbInteger:
      return 2;
    case dbLong:
    case dbSingle:
      return 4;
    case dbCurrency:
    case dbDouble:
    case dbDate:
      return 8;
    default:
      return 0;
  }
}
void Field::SetSize(int32_t size) {
  CheckDetached();
  if (type_ == dbText && (size < 1 || size > 255)) ThrowDb(dberr::kInvalidArgument, u"Invalid argument.");
  size_ = size;
}
void Field::SetAttributes(int32_t attributes) {
  CheckDetached();
  attributes_ = attributes;
}
void Field::SetDefaultValue(const Value& v) {
  default_ = v.IsNull() ? std::u16string() : v.AsText();
  Persist();
}
void Field::SetRequired(bool required) {
  required_ = required;
  Persist();
}
void Field::SetAllowZeroLength(bool allow) {
  if (allow && type_ != dbText && type_ != dbMemo) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  allowZeroLength_ = allow;
  Persist();
}

void Field::Persist() {
  if (table_.empty()) return;
  auto c = conn_.lock();
  if (!c) return;
  const TableMeta* meta = c->Table(table_);
  if (!meta || !meta->Find(name_)) return;
  FieldMeta m = *meta->Find(name_);
  m.required = required_;
  m.allowZeroLength = allowZeroLength_;
  m.defaultValue = default_;
  WriteFieldRules(*c, meta->name, m);
  c->SchemaChanged();
}

// ---- Fields, Index, Indexes -------------------------------------------------------------

void Fields::Append(std::shared_ptr<Field> field) {
  if (!field) ThrowDb(dberr::kInvalidArgument, u"Invalid argument.");
  if (onAppend_) {
    onAppend_(field);
  } else if (Contains(field->Name())) {
    ThrowDb(dberr::kFieldDefinedTwice, u"Cannot define field more than once.");
  }
  field->ordinal_ = Count();
  items_.push_back(std::move(field));
}

void Fields::Delete(std::u16string_view name) {
  auto it = std::find_if(items_.begin(), items_.end(), [&](const auto& f) { return sql::SameName(f->Name(), name); });
  if (it == items_.end()) NotFound(name);
  if (onDelete_) onDelete_(name);
  items_.erase(it);
}

Index::Index(std::u16string name) : name_(std::move(name)) {}

void Index::SetName(std::u16string name) {
  if (stored_) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  name_ = std::move(name);
}
void Index::SetPrimary(bool primary) {
  if (stored_) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  primary_ = primary;
}
void Index::SetUnique(bool unique) {
  if (stored_) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  unique_ = unique;
}
std::shared_ptr<Field> Index::CreateField(std::u16string name, int32_t type, int32_t size) {
  return std::make_shared<Field>(std::move(name), type, size);
}

void Indexes::Append(std::shared_ptr<Index> index) {
  if (!index) ThrowDb(dberr::kInvalidArgument, u"Invalid argument.");
  if (onAppend_) {
    onAppend_(index);
  } else {
    if (Contains(index->Name())) ThrowDb(dberr::kIndexExists, u"Index already exists.");
    if (index->Primary())
      for (const auto& i : items_)
        if (i->Primary()) ThrowDb(dberr::kPrimaryKeyExists, u"Primary key already exists.");
  }
  items_.push_back(std::move(index));
}

void Indexes::Delete(std::u16string_view name) {
  auto it = std::find_if(items_.begin(), items_.end(), [&](const auto& i) { return sql::SameName(i->Name(), name); });
  if (it == items_.end()) NotFound(name);
  if (onDelete_) onDelete_(name);
  items_.erase(it);
}

// ---- TableDef -------------------------------------------------------------------------

TableDef::TableDef(std::u16string name) : name_(std::move(name)) {}

void TableDef::SetName(std::u16string name) {
  if (stored_) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  name_ = std::move(name);
}

std::shared_ptr<Field> TableDef::CreateField(std::u16string name, int32_t type, int32_t size) {
  return std::make_shared<Field>(std::move(name), type, size);
}

std::shared_ptr<Index> TableDef::CreateIndex(std::u16string name) { return std::make_shared<Index>(std::move(name)); }

int32_t TableDef::RecordCount() const {
  auto c = Live(conn_);
  if (!stored_) return 0;
  Stmt st(c->db(), "SELECT count(*) FROM " + sql::QuoteName(name_));
  if (sqlite3_step(st.get()) != SQLITE_ROW) ThrowSqlite(c->db(), sqlite3_errcode(c->db()));
  return sqlite3_column_int(st.get(), 0);
}

std::shared_ptr<Recordset> TableDef::OpenRecordset(int32_t type) {
  if (!stored_) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  return MakeRecordset(Live(conn_), name_, type, 0);
}

void TableDef::Bind(const std::shared_ptr<Connection>& conn) {
  stored_ = true;
  conn_ = conn;
  for (auto& f : fields_.items()) {
    f->conn_ = conn;
    f->table_ = name_;
  }
  for (auto& i : indexes_.items()) i->stored_ = true;
  std::weak_ptr<Connection> wc = conn;
  std::u16string table = name_;
  fields_.onAppend_ = [wc, table](std::shared_ptr<Field> f) {
    auto c = Live(wc);
    const TableMeta* meta = c->Table(table);
    if (!meta) NotFound(table);
    if (meta->Find(f->Name())) ThrowDb(dberr::kFieldDefinedTwice, u"Cannot define field more than once.");
    FieldMeta m = MetaOf(*f);
    std::u16string stored = meta->name;
    SchemaWork(*c, [&] {
      // Rows already there read Null in the new column, as they did in the original
      // engine; the default serves rows added from now on.
      bool autoNum = m.autoIncrement();
      c->Exec("ALTER TABLE " + sql::QuoteName(stored) + " ADD COLUMN " + sql::QuoteName(m.name) + " " +
              SqlType(m.type));
      if (autoNum)  // rows already there get their numbers
        c->Exec("UPDATE " + sql::QuoteName(stored) + " SET " + sql::QuoteName(m.name) + " = rowid");
      WriteFieldRules(*c, stored, m);
    });
    f->conn_ = c;
    f->table_ = stored;
  };
  fields_.onDelete_ = [wc, table](std::u16string_view name) {
    auto c = Live(wc);
    const TableMeta* meta = c->Table(table);
    if (!meta) NotFound(table);
    if (!meta->Find(name)) NotFound(name);
    TableMeta copy = *meta;
    SchemaWork(*c, [&] {
      for (const auto& ix : copy.indexes) {
        bool uses = std::any_of(ix.fields.begin(), ix.fields.end(), [&](const auto& f) { return sql::SameName(f, name); });
        if (!uses) continue;
        if (!ix.sqlName.empty()) c->Exec("DROP INDEX IF EXISTS " + sql::QuoteName(FromUtf8(ix.sqlName)));
        sqlite3_stmt* d = c->Cached("DELETE FROM ravelin_indexes WHERE tbl=?1 AND name=?2");
        BindValue(d, 1, Value(copy.name));
        BindValue(d, 2, Value(ix.name));
        c->StepWrite(d);
      }
      DropSupportIndexesOn(*c, copy.name, name);
      c->Exec("ALTER TABLE " + sql::QuoteName(copy.name) + " DROP COLUMN " + sql::QuoteName(name));
      sqlite3_stmt* d = c->Cached("DELETE FROM ravelin_fields WHERE tbl=?1 AND fld=?2");
      BindValue(d, 1, Value(copy.name));
      BindValue(d, 2, Value(std::u16string(name)));
      c->StepWrite(d);
    });
  };
  indexes_.onAppend_ = [wc, table](std::shared_ptr<Index> ix) {
    auto c = Live(wc);
    const TableMeta* meta = c->Table(table);
    if (!meta) NotFound(table);
    for (const auto& m : meta->indexes) {
      if (sql::SameName(m.name, ix->Name())) ThrowDb(dberr::kIndexExists, u"Index already exists.");
      if (m.primary && ix->Primary()) ThrowDb(dberr::kPrimaryKeyExists, u"Primary key already exists.");
    }
    IndexMeta im = MetaOf(*ix);
    TableMeta copy = *meta;
    SchemaWork(*c, [&] { CreateSqlIndex(*c, copy.name, &copy, im); });
    ix->stored_ = true;
  };
  indexes_.onDelete_ = [wc, table](std::u16string_view name) {
    auto c = Live(wc);
    const TableMeta* meta = c->Table(table);
    if (!meta) NotFound(table);
    TableMeta copy = *meta;
    SchemaWork(*c, [&] {
      for (const auto& ix : copy.indexes) {
        if (!sql::SameName(ix.name, name)) continue;
        if (!ix.sqlName.empty()) c->Exec("DROP INDEX IF EXISTS " + sql::QuoteName(FromUtf8(ix.sqlName)));
      }
      sqlite3_stmt* d = c->Cached("DELETE FROM ravelin_indexes WHERE tbl=?1 AND name=?2");
      BindValue(d, 1, Value(copy.name));
      BindValue(d, 2, Value(std::u16string(name)));
      c->StepWrite(d);
    });
  };
}

std::shared_ptr<TableDef> LoadTableDef(const std::shared_ptr<Connection>& conn, const TableMeta& meta) {
  auto def = std::make_shared<TableDef>(meta.name);
  for (const auto& m : meta.fields) {
    auto f = std::make_shared<Field>(m.name, m.type, m.type == dbText ? m.size : 0);
    f->attributes_ = m.attributes;
    f->required_ = m.required;
    f->allowZeroLength_ = m.allowZeroLength;
    f->default_ = m.defaultValue;
    f->ordinal_ = def->Fields().Count();
    def->fields_.items().push_back(std::move(f));
  }
  for (const auto& im : meta.indexes) {
    auto ix = std::make_shared<Index>(im.name);
    ix->primary_ = im.primary;
    ix->unique_ = im.unique;
    for (const auto& fn : im.fields) ix->fields_.items().push_back(std::make_shared<Field>(fn, dbText, 0));
    def->indexes_.items().push_back(std::move(ix));
  }
  def->Bind(conn);
  return def;
}

// ---- TableDefs --------------------------------------------------------------------------

void TableDefs::Append(std::shared_ptr<TableDef> def) {
  if (!def) ThrowDb(dberr::kInvalidArgument, u"Invalid argument.");
  auto c = Live(conn_);
  if (def->stored_ || c->Table(def->Name()))
    ThrowDb(dberr::kObjectExists, u"Cannot append. An object with that name already exists in the collection.");
  if (def->Fields().Count() == 0) ThrowDb(dberr::kNoFieldDefined, u"No field defined--cannot append TableDef or Index.");
  const std::u16string name = def->Name();
  if (name.empty() || name.rfind(u"ravelin_", 0) == 0 || name.rfind(u"sqlite_", 0) == 0)
    ThrowDb(dberr::kInvalidName, u"'" + name + u"' is not a valid name.");

  std::vector<FieldMeta> metas;
  for (const auto& f : def->Fields()) metas.push_back(MetaOf(*f));
  std::vector<IndexMeta> indexes;
  for (const auto& i : def->Indexes()) indexes.push_back(MetaOf(*i));
  // The auto-number becomes the row key when nothing else is the primary key.
  int autoField = -1;
  for (size_t i = 0; i < metas.size(); ++i)
    if (metas[i].autoIncrement()) {
      autoField = static_cast<int>(i);
      break;
    }
  bool rowKey = false;
  if (autoField >= 0) {
    rowKey = true;
    for (const auto& ix : indexes)
      if (ix.primary && !(ix.fields.size() == 1 && sql::SameName(ix.fields[0], metas[static_cast<size_t>(autoField)].name)))
        rowKey = false;
  }
  std::string ddl = "CREATE TABLE " + sql::QuoteName(name) + " (";
  for (size_t i = 0; i < metas.size(); ++i) {
    const auto& m = metas[i];
    if (i) ddl += ", ";
    ddl += sql::QuoteName(m.name) + " ";
    if (rowKey && static_cast<int>(i) == autoField) ddl += "INTEGER PRIMARY KEY AUTOINCREMENT";
    else ddl += std::string(SqlType(m.type)) + (m.autoIncrement() ? "" : DefaultClause(m));
  }
  ddl += ")";
  SchemaWork(*c, [&] {
    c->Exec(ddl);
    for (const auto& m : metas) WriteFieldRules(*c, name, m);
    c->SchemaChanged();
    const TableMeta* meta = c->Table(name);
    for (auto& ix : indexes) CreateSqlIndex(*c, name, meta, ix);
  });
  def->Bind(c);
  items_.push_back(def);
}

void TableDefs::Delete(std::u16string_view name) {
  auto c = Live(conn_);
  const TableMeta* meta = c->Table(name);
  if (!meta) NotFound(name);
  std::u16string stored = meta->name;
  SchemaWork(*c, [&] {
    c->Exec("DROP TABLE " + sql::QuoteName(stored));
    for (const char* t : {"ravelin_fields", "ravelin_indexes", "ravelin_seq"}) {
      Stmt d(c->db(), std::string("DELETE FROM ") + t + " WHERE tbl=?1");
      BindValue(d.get(), 1, Value(stored));
      c->StepWrite(d.get());
    }
  });
  items_.erase(std::remove_if(items_.begin(), items_.end(), [&](const auto& t) { return sql::SameName(t->Name(), stored); }),
               items_.end());
}

void TableDefs::Refresh() {
  auto c = Live(conn_);
  items_.clear();
  for (const auto& n : c->TableNames()) {
    const TableMeta* meta = c->Table(n);
    if (meta) items_.push_back(LoadTableDef(c, *meta));
  }
}

// ---- QueryDef(s) ------------------------------------------------------------------------

QueryDef::QueryDef(std::u16string name, std::u16string sqlText) : name_(std::move(name)), sql_(std::move(sqlText)) {}

void QueryDef::SetName(std::u16string name) {
  if (stored_) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  name_ = std::move(name);
}

void QueryDef::SetSQL(std::u16string sqlText) {
  if (stored_) {
    auto c = Live(conn_);
    sqlite3_stmt* st = c->Cached("UPDATE ravelin_queries SET sql=?2 WHERE name=?1");
    BindValue(st, 1, Value(name_));
    BindValue(st, 2, Value(sqlText));
    c->StepWrite(st);
  }
  sql_ = std::move(sqlText);
}

std::shared_ptr<Recordset> QueryDef::OpenRecordset(int32_t type) { return MakeRecordset(Live(conn_), sql_, type, 0); }

void QueryDef::Execute(int32_t) { ExecuteAction(*Live(conn_), sql_); }

void QueryDefs::Append(std::shared_ptr<QueryDef> def) {
  if (!def) ThrowDb(dberr::kInvalidArgument, u"Invalid argument.");
  auto c = Live(conn_);
  if (def->stored_ || def->Name().empty())
    ThrowDb(dberr::kObjectExists, u"Cannot append. An object with that name already exists in the collection.");
  sqlite3_stmt* probe = c->Cached("SELECT 1 FROM ravelin_queries WHERE name=?1");
  BindValue(probe, 1, Value(def->Name()));
  bool exists = sqlite3_step(probe) == SQLITE_ROW;
  sqlite3_reset(probe);
  if (exists || c->Table(def->Name()))
    ThrowDb(dberr::kObjectExists, u"Cannot append. An object with that name already exists in the collection.");
  sqlite3_stmt* st = c->Cached("INSERT INTO ravelin_queries(name, sql) VALUES(?1, ?2)");
  BindValue(st, 1, Value(def->Name()));
  BindValue(st, 2, Value(def->SQL()));
  c->StepWrite(st);
  def->stored_ = true;
  def->conn_ = c;
  items_.push_back(std::move(def));
}

void QueryDefs::Delete(std::u16string_view name) {
  auto c = Live(conn_);
  sqlite3_stmt* st = c->Cached("DELETE FROM ravelin_queries WHERE name=?1");
  BindValue(st, 1, Value(std::u16string(name)));
  if (c->StepWrite(st) == 0) NotFound(name);
  items_.erase(std::remove_if(items_.begin(), items_.end(), [&](const auto& q) { return sql::SameName(q->Name(), name); }),
               items_.end());
}

void QueryDefs::Refresh() {
  auto c = Live(conn_);
  items_.clear();
  sqlite3_stmt* st = c->Cached("SELECT name, sql FROM ravelin_queries ORDER BY rowid");
  while (sqlite3_step(st) == SQLITE_ROW) {
    auto q = std::make_shared<QueryDef>(ReadColumn(st, 0, dbText).AsText(), NullConvStr(ReadColumn(st, 1, dbText)));
    q->stored_ = true;
    q->conn_ = c;
    items_.push_back(std::move(q));
  }
  sqlite3_reset(st);
}

}  // namespace ravelin::dao
