// The engine's own indexes, query plans and count queries (see dao.h, Database).
//
// A support index is a plain SQLite index named "rvsx_<table>_<field>_<field>...". It is
// not written to ravelin_indexes, so no Indexes collection shows it and the store's
// schema stays what its tables declare; VACUUM INTO (compaction) copies it with the file.
#include <algorithm>

#include "platform/db/internal.h"
#include "platform/db/sql_dialect.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::dao {

namespace {

constexpr char kPrefix[] = "rvsx_";

std::string SupportIndexName(const std::u16string& table, const std::vector<const FieldMeta*>& fields) {
  std::string name = std::string(kPrefix) + ToUtf8(table);
  for (const FieldMeta* f : fields) name += "_" + ToUtf8(f->name);
  // Blanks and brackets in field names ("Obj ID") read badly in a plan; the name is quoted anyway.
  std::replace_if(name.begin(), name.end(), [](char c) { return c == ' ' || c == '[' || c == ']'; }, '_');
  return name;
}

std::vector<std::string> SupportIndexNames(Connection& c) {
  std::vector<std::string> names;
  sqlite3_stmt* st = c.Cached("SELECT name FROM sqlite_master WHERE type='index' AND substr(name,1,5)='rvsx_'");
  while (sqlite3_step(st) == SQLITE_ROW) names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(st, 0)));
  sqlite3_reset(st);
  return names;
}

// The SQLite text of a select given as a statement, a table name or a stored query's name.
sql::Statement SelectOf(Connection& c, std::u16string_view source) {
  std::u16string text = Trim(source);
  if (const TableMeta* table = c.Table(text)) {
    text = u"SELECT * FROM [" + table->name + u"]";
  } else {
    sqlite3_stmt* q = c.Cached("SELECT sql FROM ravelin_queries WHERE name=?1");
    BindValue(q, 1, Value(text));
    if (sqlite3_step(q) == SQLITE_ROW) text = NullConvStr(ReadColumn(q, 0, dbText));
    sqlite3_reset(q);
  }
  sql::Statement st = sql::Translate(text);
  if (st.kind != sql::Statement::Select) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
  return st;
}

}  // namespace

// An index on expressions names the field, quoted, only in its text.
void DropSupportIndexesOn(Connection& c, const std::u16string& table, std::u16string_view field) {
  Stmt on(c.db(),
          "SELECT m.name FROM sqlite_master m WHERE m.type='index' AND substr(m.name,1,5)='rvsx_' AND "
          "m.tbl_name=?1 COLLATE NOCASE AND (EXISTS (SELECT 1 FROM pragma_index_info(m.name) i WHERE "
          "i.name=?2 COLLATE NOCASE) OR instr(lower(m.sql), lower('\"' || ?2 || '\"')) > 0)");
  BindValue(on.get(), 1, Value(table));
  BindValue(on.get(), 2, Value(std::u16string(field)));
  std::vector<std::string> names;
  while (sqlite3_step(on.get()) == SQLITE_ROW)
    names.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(on.get(), 0)));
  on.reset();
  for (const auto& name : names) c.Exec("DROP INDEX IF EXISTS " + sql::QuoteName(FromUtf8(name)));
}

bool Database::EnsureSupportIndex(std::u16string_view table, const std::vector<std::u16string>& fields) {
  auto c = connection();
  c->CheckSchema();
  const TableMeta* meta = c->Table(table);
  if (!meta) ThrowDb(dberr::kItemNotFound, u"Item not found in this collection. (" + std::u16string(table) + u")");
  if (fields.empty()) ThrowDb(dberr::kNoFieldDefined, u"No field defined--cannot append TableDef or Index.");
  std::vector<const FieldMeta*> keyed;
  for (const auto& f : fields) {
    const FieldMeta* m = meta->Find(f);
    if (!m) ThrowDb(dberr::kItemNotFound, u"Item not found in this collection. (" + f + u")");
    keyed.push_back(m);
  }
  const std::string name = SupportIndexName(meta->name, keyed);
  const auto have = SupportIndexNames(*c);
  if (std::find(have.begin(), have.end(), name) != have.end()) return false;
  std::string cols;
  for (const FieldMeta* f : keyed) {
    cols += (cols.empty() ? "" : ", ") + sql::QuoteName(f->name);
    if (f->type == dbText || f->type == dbMemo) cols += " COLLATE RVTEXT";
  }
  c->Exec("CREATE INDEX IF NOT EXISTS " + sql::QuoteName(FromUtf8(name)) + " ON " + sql::QuoteName(meta->name) + "(" +
          cols + ")");
  // Statements prepared before now were planned without it.
  c->SchemaChanged();
  return true;
}

bool Database::EnsureSupportExpressionIndex(std::u16string_view table, std::string_view name, std::string_view columns) {
  auto c = connection();
  c->CheckSchema();
  const TableMeta* meta = c->Table(table);
  if (!meta) ThrowDb(dberr::kItemNotFound, u"Item not found in this collection. (" + std::u16string(table) + u")");
  std::string full = std::string(kPrefix) + ToUtf8(meta->name) + "_" + std::string(name);
  std::replace_if(full.begin(), full.end(), [](char ch) { return ch == ' ' || ch == '[' || ch == ']'; }, '_');
  const auto have = SupportIndexNames(*c);
  if (std::find(have.begin(), have.end(), full) != have.end()) return false;
  c->Exec("CREATE INDEX IF NOT EXISTS " + sql::QuoteName(FromUtf8(full)) + " ON " + sql::QuoteName(meta->name) + "(" +
          std::string(columns) + ")");
  c->SchemaChanged();
  return true;
}

void Database::SupportScan(std::string_view sql, const std::vector<Value>& params,
                           const std::function<bool(const std::vector<int64_t>&)>& row) {
  auto c = connection();
  c->CheckSchema();
  Stmt st(c->db(), std::string(sql));
  for (size_t i = 0; i < params.size(); ++i) BindValue(st.get(), static_cast<int>(i + 1), params[i]);
  const int columns = sqlite3_column_count(st.get());
  std::vector<int64_t> values(static_cast<size_t>(columns));
  int rc;
  while ((rc = sqlite3_step(st.get())) == SQLITE_ROW) {
    for (int i = 0; i < columns; ++i) values[static_cast<size_t>(i)] = sqlite3_column_int64(st.get(), i);
    if (!row(values)) return;
  }
  if (rc != SQLITE_DONE) ThrowSqlite(c->db(), rc);
}

void Database::DropSupportIndexes() {
  auto c = connection();
  for (const auto& name : SupportIndexNames(*c)) c->Exec("DROP INDEX IF EXISTS " + sql::QuoteName(FromUtf8(name)));
  c->SchemaChanged();
}

std::vector<std::string> Database::QueryPlan(std::u16string_view source) {
  auto c = connection();
  c->CheckSchema();
  return SupportQueryPlan(SelectOf(*c, source).sql);
}

std::vector<std::string> Database::SupportQueryPlan(std::string_view sql) {
  auto c = connection();
  c->CheckSchema();
  Stmt plan(c->db(), "EXPLAIN QUERY PLAN " + std::string(sql));
  std::vector<std::string> lines;
  int rc;
  while ((rc = sqlite3_step(plan.get())) == SQLITE_ROW)
    lines.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(plan.get(), 3)));
  if (rc != SQLITE_DONE) ThrowSqlite(c->db(), rc);
  return lines;
}

int32_t Database::CountRecords(std::u16string_view source) {
  auto c = connection();
  c->CheckSchema();
  const sql::Statement st = SelectOf(*c, source);
  if (st.distinctrow) {
    // One row per row of the tables shown is what the recordset works out; it counts.
    auto rs = MakeRecordset(c, source, dbOpenDynaset, 0);
    if (rs->RecordCount() > 0) rs->MoveLast();
    const int32_t n = rs->RecordCount();
    rs->Close();
    return n;
  }
  Stmt count(c->db(), "SELECT count(*) FROM (" + st.sql + ")");
  const int rc = sqlite3_step(count.get());
  if (rc != SQLITE_ROW) ThrowSqlite(c->db(), rc);
  return sqlite3_column_int(count.get(), 0);
}

}  // namespace ravelin::dao
