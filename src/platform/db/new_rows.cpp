// New rows of one table through kept statements (see NewRows in dao.h).
#include <limits>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/db/dao.h"
#include "platform/db/internal.h"
#include "platform/db/sql_dialect.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::dao {

namespace {

// What a writer works out about a table once: its rules, its defaults and the statement
// texts of the field sets written so far. Kept among the connection's plans, which are
// dropped when the tables change.
struct RowsPlan {
  std::u16string table;
  std::vector<FieldMeta> fields;
  std::vector<Value> defaults;
  int autoField = -1;
  bool autoIsRowKey = false;
  bool numberedByInsert = false;  // the row key counts on as the engine reserves it
  mutable std::unordered_map<std::string, std::string> texts;  // by the fields written
};

std::shared_ptr<const RowsPlan> PlanFor(Connection& conn, std::u16string_view table) {
  // A recordset's key ends in 'r' or 'w'; this one never does.
  std::u16string key = u"\x02rows\x01";
  key += FoldCase(table);
  key += u'\x03';
  auto& plans = conn.Plans();
  if (auto it = plans.find(key); it != plans.end()) return std::static_pointer_cast<const RowsPlan>(it->second);
  const TableMeta* meta = conn.Table(table);
  if (!meta)
    ThrowDb(dberr::kNoSuchTable, u"The engine cannot find the input table or query '" + std::u16string(table) + u"'.");
  auto plan = std::make_shared<RowsPlan>();
  plan->table = meta->name;
  plan->fields = meta->fields;
  for (const auto& f : meta->fields) plan->defaults.push_back(DefaultFor(f));
  plan->autoField = meta->autoField;
  plan->autoIsRowKey = meta->autoIsRowKey;
  if (meta->autoIsRowKey) {
    // SQLite's own counter of an AUTOINCREMENT key gives the number the engine would
    // reserve (one past both the highest number ever given and the highest row).
    sqlite3_stmt* q = conn.Cached(
        "SELECT 1 FROM sqlite_master WHERE type='table' AND name=?1 AND instr(upper(sql), 'AUTOINCREMENT') > 0");
    sqlite3_bind_text16(q, 1, plan->table.data(), static_cast<int>(plan->table.size() * 2), SQLITE_STATIC);
    plan->numberedByInsert = sqlite3_step(q) == SQLITE_ROW;
    sqlite3_reset(q);
  }
  if (plans.size() > 256) plans.clear();
  plans[key] = plan;
  return plan;
}

}  // namespace

struct NewRows::Impl {
  std::shared_ptr<Connection> conn;
  std::u16string table;
  std::shared_ptr<const RowsPlan> plan;
  int64_t generation = -1;
  bool adding = false;
  std::vector<Value> buf;

  void Refresh() {
    conn->CheckSchema();
    if (plan && generation == conn->Generation()) return;
    plan = PlanFor(*conn, table);
    generation = conn->Generation();
  }

  int Find(std::u16string_view field) const {
    for (size_t i = 0; i < plan->fields.size(); ++i)
      if (sql::SameName(plan->fields[i].name, field)) return static_cast<int>(i);
    ThrowDb(dberr::kItemNotFound, u"Item not found in this collection. (" + std::u16string(field) + u")");
  }

  void RequireRow() const {
    if (!adding) ThrowDb(dberr::kUpdateWithoutEdit, u"Update or CancelUpdate without AddNew or Edit.");
  }

  const std::string& TextFor(const std::vector<int>& written) {
    std::string key;
    for (int f : written) key += std::to_string(f) + ",";
    auto& texts = plan->texts;
    if (auto it = texts.find(key); it != texts.end()) return it->second;
    std::string sql;
    if (written.empty()) {
      sql = "INSERT INTO " + sql::QuoteName(plan->table) + " DEFAULT VALUES";
    } else {
      std::string names, params;
      for (size_t i = 0; i < written.size(); ++i) {
        names += (i ? ", " : "") + sql::QuoteName(plan->fields[static_cast<size_t>(written[i])].name);
        params += (i ? ", ?" : "?") + std::to_string(i + 1);
      }
      sql = "INSERT INTO " + sql::QuoteName(plan->table) + " (" + names + ") VALUES (" + params + ")";
    }
    return texts.emplace(std::move(key), std::move(sql)).first->second;
  }

  // The row's values checked as a recordset's Update checks them; the auto-number that
  // isn't the row key is reserved here, the row key is numbered by the insert itself.
  int64_t Write() {
    const RowsPlan& p = *plan;
    std::vector<int> written;
    written.reserve(p.fields.size());
    Value reserved;
    for (size_t fi = 0; fi < p.fields.size(); ++fi) {
      const FieldMeta& f = p.fields[fi];
      if (static_cast<int>(fi) == p.autoField) {
        if (p.numberedByInsert) continue;
        const TableMeta* meta = conn->Table(p.table);
        if (!meta)
          ThrowDb(dberr::kNoSuchTable, u"The engine cannot find the input table or query '" + p.table + u"'.");
        reserved = Value(static_cast<int32_t>(conn->ReserveAutoNumber(*meta)));
        buf[fi] = reserved;
      }
      const Value& v = buf[fi];
      if (f.required && v.IsNull())
        ThrowDb(dberr::kRequired, u"The field '" + p.table + u"." + f.name +
                                      u"' cannot contain a Null value because the Required property for this "
                                      u"field is set to True. Enter a value in this field.");
      if ((f.type == dbText || f.type == dbMemo) && !f.allowZeroLength && v.Type() == VType::Text &&
          v.TextRef().empty())
        ThrowDb(dberr::kZeroLength, u"Field '" + p.table + u"." + f.name + u"' cannot be a zero-length string.");
      if (v.IsNull()) continue;
      written.push_back(static_cast<int>(fi));
    }
    sqlite3_stmt* st = conn->Cached(TextFor(written));
    for (size_t i = 0; i < written.size(); ++i)
      BindValue(st, static_cast<int>(i) + 1, buf[static_cast<size_t>(written[i])], true);
    conn->StepWrite(st, p.table);
    const int64_t rowid = sqlite3_last_insert_rowid(conn->db());
    if (p.autoField < 0) return 0;
    if (!p.numberedByInsert) return reserved.AsLong();
    if (rowid > std::numeric_limits<int32_t>::max()) {
      // The field holds a Long: a row numbered past it can't stay.
      sqlite3_stmt* del = conn->Cached("DELETE FROM " + sql::QuoteName(p.table) + " WHERE rowid=?1");
      sqlite3_bind_int64(del, 1, rowid);
      conn->StepWrite(del, p.table);
      ThrowDb(dberr::kNumericOverflow, u"Numeric field overflow.");
    }
    return rowid;
  }
};

NewRows::NewRows(const std::shared_ptr<Database>& db, std::u16string_view table) : impl_(std::make_unique<Impl>()) {
  impl_->conn = db->connection();
  if (!impl_->conn) ThrowDb(dberr::kObjectInvalid, u"Object invalid or no longer set.");
  impl_->table = std::u16string(table);
  impl_->Refresh();
}

NewRows::~NewRows() = default;

void NewRows::AddNew() {
  Impl& m = *impl_;
  m.Refresh();
  m.buf = m.plan->defaults;
  m.adding = true;
}

namespace {

// A value the field keeps exactly as it stands, so that it can be taken over rather than
// converted: octets for octets, a text that fits for text.
bool KeptAsItIs(const ravelin::Value& v, const FieldMeta& f) {
  if (v.Type() == VType::Binary) return f.type == dbLongBinary;
  if (v.Type() != VType::Text) return false;
  if (f.type == dbMemo) return true;
  return f.type == dbText && (f.size <= 0 || static_cast<int64_t>(v.TextRef().size()) <= f.size);
}

}  // namespace

void NewRows::SetField(std::u16string_view field, const ravelin::Value& v) {
  Value copy = v;
  SetField(field, std::move(copy));
}

void NewRows::SetField(std::u16string_view field, ravelin::Value&& v) {
  Impl& m = *impl_;
  const int fi = m.Find(field);
  m.RequireRow();
  const FieldMeta& f = m.plan->fields[static_cast<size_t>(fi)];
  if (f.autoIncrement()) ThrowDb(dberr::kFieldNotUpdatable, u"Field cannot be updated. (" + f.name + u")");
  Value coerced = KeptAsItIs(v, f) ? std::move(v) : CoerceForField(v, f, m.plan->table);
  if ((f.type == dbText || f.type == dbMemo) && !f.allowZeroLength && coerced.Type() == VType::Text &&
      coerced.TextRef().empty())
    ThrowDb(dberr::kZeroLength, u"Field '" + m.plan->table + u"." + f.name + u"' cannot be a zero-length string.");
  m.buf[static_cast<size_t>(fi)] = std::move(coerced);
}

ravelin::Value NewRows::GetField(std::u16string_view field) const {
  const int fi = impl_->Find(field);
  impl_->RequireRow();
  return impl_->buf[static_cast<size_t>(fi)];
}

int32_t NewRows::Size(std::u16string_view field) const {
  const FieldMeta& f = impl_->plan->fields[static_cast<size_t>(impl_->Find(field))];
  return Field(f.name, f.type, f.size).Size();
}

int64_t NewRows::Update() {
  Impl& m = *impl_;
  m.RequireRow();
  // Written as a unit: a failing statement is undone by SQLite itself and the caller's
  // transaction goes on; without one, the row is committed on its own.
  m.conn->Hold();
  int64_t key = 0;
  try {
    key = m.Write();
  } catch (...) {
    m.conn->Release();
    throw;
  }
  m.conn->Release();
  m.adding = false;
  m.buf.clear();
  return key;
}

void NewRows::CancelUpdate() {
  impl_->adding = false;
  impl_->buf.clear();
}

int32_t NewRows::EditMode() const { return impl_->adding ? dbEditAdd : dbEditNone; }

}  // namespace ravelin::dao
