// Recordsets: a statement's rows fetched as the cursor moves, edits written through to
// the base rows by their row keys (added as hidden columns to the statement), searches
// with criteria texts of the dialect.
//
// A row reached on the way (MoveLast, a far AbsolutePosition, a search) keeps only its
// row keys and computed columns; its fields are read by row key when it becomes current,
// as a keyset cursor does, so walking to the end costs a step per row. The long columns
// (Memo, long binary) are let go when the cursor leaves a row: a walk over ten thousand
// attachments never holds more than one of them.
#include <algorithm>
#include <cmath>
#include <limits>
#include <unordered_map>
#include <unordered_set>

#include "platform/db/internal.h"
#include "platform/db/sql_dialect.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::dao {

namespace {

constexpr int64_t kNoRid = std::numeric_limits<int64_t>::min();
constexpr Bookmark kAddedBase = int64_t{1} << 40;  // added rows sort after fetched ones

struct Column {
  std::u16string name;
  int ref = -1;  // table of the statement it comes from, -1 when computed
  bool hasMeta = false;
  FieldMeta meta;
  int type = -1;  // how it is read
  bool big = false;  // Memo or long binary of a base table: read on demand
  int field = -1;    // index of its field in the table's rules
  bool rowKey = false;  // the table's auto-number that is its SQLite row key: equals the row key
  Value defaultValue;
};

struct Ref {
  std::u16string table;  // stored name
  std::u16string alias;
  std::vector<int> cols;  // output columns from this table
  std::vector<int> big;   // those of them read on demand
};

struct Row {
  std::vector<int64_t> rid;
  std::vector<Value> vals;
  bool small = true;  // the short base columns are loaded
  bool full = true;   // the long ones too
  Bookmark bm = 0;
};

struct Term {
  int col;
  std::u16string op;
  Value lit;
};

[[noreturn]] void NoCurrent() { ThrowDb(dberr::kNoCurrentRecord, u"No current record."); }

int Cmp(double a, double b) { return a < b ? -1 : (a > b ? 1 : 0); }

bool OpHolds(const std::u16string& op, int c) {
  if (op == u"=") return c == 0;
  if (op == u"<>") return c != 0;
  if (op == u"<") return c < 0;
  if (op == u">") return c > 0;
  if (op == u"<=") return c <= 0;
  return c >= 0;
}

bool IsNumeric(VType t) { return t == VType::Long || t == VType::Double || t == VType::Date || t == VType::Boolean; }

double Num(const Value& v) {
  if (v.Type() == VType::Boolean) return v.AsBool() ? -1.0 : 0.0;
  if (v.Type() == VType::Date) return v.AsDate().serial;
  return v.AsDouble();
}

bool TermHolds(const Value& v, const Term& t) {
  if (v.IsNull() || t.lit.IsNull()) return false;
  if (v.Type() == VType::Text && t.lit.Type() == VType::Text) {
    const auto& a = v.TextRef();
    const auto& b = t.lit.TextRef();
    return OpHolds(t.op, FoldCompare(a.data(), a.size(), b.data(), b.size()));
  }
  if (IsNumeric(v.Type()) && IsNumeric(t.lit.Type())) return OpHolds(t.op, Cmp(Num(v), Num(t.lit)));
  ThrowDb(dberr::kCriteriaTypeMismatch, u"Data type mismatch in criteria expression.");
}

}  // namespace

struct RecordsetImpl : sql::NameResolver {
  std::shared_ptr<Connection> conn;
  std::u16string source;
  int type = dbOpenDynaset;
  bool updatable = false;
  bool rids = false;  // the statement reads each table's rowid behind its columns
  bool tableType = false;
  std::string sqlText;
  std::string baseSql;  // before any ORDER BY of an index
  sqlite3_stmt* cur = nullptr;  // the running statement, borrowed from the connection's pool
  std::string curKey;
  int64_t curGeneration = 0;
  bool done = false;
  std::vector<Column> cols;
  std::vector<Ref> refs;
  int ridBase = 0;
  std::vector<Row> rows;
  std::vector<Row> pending;  // added before the statement reached its end
  int64_t pos = -1;
  bool onDeleted = false;
  int editMode = dbEditNone;
  std::vector<Value> buf;
  std::vector<bool> dirty;
  bool holding = false;
  std::vector<int64_t> reserved;  // auto-number reserved per table by AddNew (0 = none)
  Bookmark lastModified = 0;
  Bookmark fetchSerial = 0, addSerial = 0;
  bool noMatch = false;
  bool dedupe = false;
  std::vector<int> contributing;
  std::vector<sql::JoinPair> joins;
  bool hasBig = false;
  int64_t mappedGeneration = -1;                        // schema the field indexes belong to
  std::unordered_map<std::string, std::string> writes;  // statement texts by table and fields
  std::unordered_set<std::string> seen, added;
  std::vector<Stmt> loaders, bigLoaders;
  int64_t tableCount = -1;
  std::u16string indexName;
  bool closed = false;
  // The compiled criteria of the last search.
  std::u16string critText;
  bool critNative = false;
  std::vector<Term> terms;
  Stmt critExpr;
  std::vector<int> critParams;  // column of each parameter

  // ---- NameResolver: criteria names are the recordset's fields.
  int FindColumn(std::u16string_view qualifier, std::u16string_view name) const {
    for (size_t i = 0; i < cols.size(); ++i) {
      const Column& c = cols[i];
      if (qualifier.empty()) {
        if (sql::SameName(c.name, name)) return static_cast<int>(i);
      } else {
        if (sql::SameName(c.name, std::u16string(qualifier) + u"." + std::u16string(name))) return static_cast<int>(i);
        if (c.ref >= 0 && c.hasMeta && sql::SameName(c.meta.name, name) &&
            (sql::SameName(refs[static_cast<size_t>(c.ref)].alias, qualifier) ||
             sql::SameName(refs[static_cast<size_t>(c.ref)].table, qualifier)))
          return static_cast<int>(i);
      }
    }
    if (!qualifier.empty()) return -1;
    for (size_t i = 0; i < cols.size(); ++i)
      if (cols[i].hasMeta && sql::SameName(cols[i].meta.name, name)) return static_cast<int>(i);
    return -1;
  }
  int Resolve(std::u16string_view qualifier, std::u16string_view name) override {
    int c = FindColumn(qualifier, name);
    if (c < 0) return 0;
    for (size_t p = 0; p < critParams.size(); ++p)
      if (critParams[p] == c) return static_cast<int>(p) + 1;
    critParams.push_back(c);
    return static_cast<int>(critParams.size());
  }
  bool IsText(int param) override {
    const Column& c = cols[static_cast<size_t>(critParams[static_cast<size_t>(param - 1)])];
    return c.hasMeta && (c.meta.type == dbText || c.meta.type == dbMemo);
  }

  void CheckOpen() const {
    if (closed) ThrowDb(dberr::kObjectInvalid, u"Object invalid or no longer set.");
  }

  // ---- Fetching

  std::string Identity(const std::vector<int64_t>& rid, const std::vector<int>* which) const {
    std::string id;
    if (which) {
      for (int k : *which) id.append(reinterpret_cast<const char*>(&rid[static_cast<size_t>(k)]), sizeof(int64_t));
    } else {
      for (int64_t r : rid) id.append(reinterpret_cast<const char*>(&r), sizeof(int64_t));
    }
    return id;
  }

  void Finish() {
    done = true;
    ReleaseStmt();  // releases the file's read lock
    for (auto& r : pending) rows.push_back(std::move(r));
    pending.clear();
    added.clear();
  }

  // Steps to the next row of the statement and appends it. `probe` (optional) is asked
  // about the row while the statement is on it; its answer is returned in *hit.
  template <class Probe>
  bool FetchOne(bool full, Probe&& probe, bool* hit) {
    while (!done) {
      int rc = sqlite3_step(cur);
      if (rc == SQLITE_DONE || (rc & 0xff) == SQLITE_ABORT) {
        Finish();
        return false;
      }
      if (rc != SQLITE_ROW) {
        Finish();
        ThrowSqlite(conn->db(), rc);
      }
      sqlite3_stmt* st = cur;
      Row r;
      if (rids) {
        r.rid.resize(refs.size());
        for (size_t k = 0; k < refs.size(); ++k) {
          int c = ridBase + static_cast<int>(k);
          r.rid[k] = sqlite3_column_type(st, c) == SQLITE_NULL ? kNoRid : sqlite3_column_int64(st, c);
        }
        if (!added.empty() && added.count(Identity(r.rid, nullptr))) continue;
        if (dedupe && !seen.insert(Identity(r.rid, &contributing)).second) continue;
      }
      r.full = r.small = full || !updatable;
      r.vals.resize(cols.size());
      for (size_t c = 0; c < cols.size(); ++c)
        if (r.full || cols[c].ref < 0) r.vals[c] = ReadColumn(st, static_cast<int>(c), cols[c].type);
      if (hit) *hit = probe(st);
      r.bm = ++fetchSerial;
      rows.push_back(std::move(r));
      return true;
    }
    return false;
  }
  bool FetchOne(bool full) {
    return FetchOne(full, [](sqlite3_stmt*) { return false; }, nullptr);
  }

  void Ensure(int64_t i, bool fullTarget) {
    while (static_cast<int64_t>(rows.size()) <= i && !done)
      FetchOne(fullTarget && static_cast<int64_t>(rows.size()) == i);
  }
  void FetchAll() {
    while (!done) FetchOne(false);
  }

  bool Empty() const { return done && rows.empty(); }
  bool HasCurrent() const { return !onDeleted && pos >= 0 && pos < static_cast<int64_t>(rows.size()); }

  Row& Current() {
    CheckOpen();
    if (onDeleted) ThrowDb(dberr::kRecordDeleted, u"Record is deleted.");
    if (!HasCurrent()) NoCurrent();
    Row& r = rows[static_cast<size_t>(pos)];
    Load(r);
    return r;
  }

  // Reads the base columns of a row that were not read yet (all, or the long ones).
  void Load(Row& r) {
    if (r.full) return;
    bool onlyBig = r.small;
    auto& set = onlyBig ? bigLoaders : loaders;
    if (set.empty()) set.resize(refs.size());
    for (size_t k = 0; k < refs.size(); ++k) {
      const Ref& ref = refs[k];
      const std::vector<int>& which = onlyBig ? ref.big : ref.cols;
      if (which.empty()) continue;
      if (r.rid[k] == kNoRid) {
        for (int c : which) r.vals[static_cast<size_t>(c)] = Value();
        continue;
      }
      if (!set[k]) {
        std::string list;
        for (int c : which) list += (list.empty() ? "" : ", ") + sql::QuoteName(cols[static_cast<size_t>(c)].meta.name);
        set[k] = Stmt(conn->db(), "SELECT " + list + " FROM " + sql::QuoteName(ref.table) + " WHERE rowid=?1");
      }
      sqlite3_stmt* st = set[k].get();
      sqlite3_bind_int64(st, 1, r.rid[k]);
      bool found = sqlite3_step(st) == SQLITE_ROW;
      for (size_t j = 0; j < which.size(); ++j) {
        size_t c = static_cast<size_t>(which[j]);
        r.vals[c] = found ? ReadColumn(st, static_cast<int>(j), cols[c].type) : Value();
      }
      sqlite3_reset(st);
    }
    r.small = r.full = true;
  }

  // Lets go of the long columns of a row the cursor leaves.
  void Drop(Row& r) {
    if (!hasBig || !r.full) return;
    for (size_t c = 0; c < cols.size(); ++c)
      if (cols[c].big) r.vals[c] = Value();
    r.full = false;
  }

  // ---- Opening

  void ReleaseStmt() {
    if (!cur) return;
    conn->ReturnStatement(curKey, cur, curGeneration);
    cur = nullptr;
  }
  void AcquireStmt() {
    ReleaseStmt();
    curGeneration = conn->Generation();
    cur = conn->TakeStatement(sqlText);
    curKey = sqlText;
  }

  void Prepare() {
    AcquireStmt();
    done = false;
    rows.clear();
    pending.clear();
    seen.clear();
    added.clear();
    pos = -1;
    onDeleted = false;
  }

  void Start() {
    Ensure(0, true);
    pos = rows.empty() ? -1 : 0;
    if (tableType) {
      Stmt count(conn->db(), "SELECT count(*) FROM " + sql::QuoteName(refs[0].table));
      tableCount = sqlite3_step(count.get()) == SQLITE_ROW ? sqlite3_column_int64(count.get(), 0) : 0;
    }
  }

  void Open(std::shared_ptr<Connection> c, std::u16string_view src, int32_t t, int32_t options) {
    conn = std::move(c);
    type = t == 0 ? dbOpenDynaset : t;
    std::u16string key(src);
    key += u'\x01';
    key += static_cast<char16_t>(u'0' + type);
    key += (options & dbReadOnly) ? u'r' : u'w';
    if (UsePlanChecked(key)) return;
    source = Trim(src);
    std::u16string text = source;
    const TableMeta* table = conn->Table(source);
    if (table) {
      text = u"SELECT * FROM [" + table->name + u"]";
      tableType = type == dbOpenTable;
    } else {
      if (type == dbOpenTable) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");
      sqlite3_stmt* q = conn->Cached("SELECT sql FROM ravelin_queries WHERE name=?1");
      BindValue(q, 1, Value(source));
      if (sqlite3_step(q) == SQLITE_ROW) text = NullConvStr(ReadColumn(q, 0, dbText));
      sqlite3_reset(q);
    }
    sql::Statement st = sql::Translate(text);
    if (st.kind != sql::Statement::Select) ThrowDb(dberr::kInvalidOperation, u"Invalid operation.");

    bool allReal = !st.tables.empty();
    for (const auto& tr : st.tables) {
      const TableMeta* m = conn->Table(tr.table);
      Ref r;
      r.table = m ? m->name : tr.table;
      r.alias = tr.alias;
      if (!m) allReal = false;
      refs.push_back(std::move(r));
    }
    const bool plainSelect = allReal && !st.compound && !st.distinct && !st.grouped && st.selectListEnd != std::string::npos;
    updatable = plainSelect && !(options & dbReadOnly) && type != dbOpenSnapshot && type != dbOpenForwardOnly;
    // A read-only recordset of a "distinctrow" statement needs the rowids too: it shows
    // the same rows as the dynaset of that statement, one per row of the tables it shows.
    rids = updatable || (plainSelect && st.distinctrow);
    sqlText = st.sql;
    if (rids) {
      std::string extra;
      for (size_t k = 0; k < refs.size(); ++k)
        extra += ", " + sql::QuoteName(refs[k].alias) + ".rowid AS \"__rv_rid" + std::to_string(k) + "\"";
      sqlText.insert(st.selectListEnd, extra);
    }
    baseSql = sqlText;
    joins = st.joins;
    AcquireStmt();
    MapColumns(st);
    SavePlan(key);
    Start();
  }

  // What Open works out about a text, kept on the connection for the next recordset.
  struct Plan {
    std::u16string source;
    bool tableType, updatable, rids, dedupe, hasBig;
    std::string sqlText;
    std::vector<Column> cols;
    std::vector<Ref> refs;
    std::vector<int> contributing;
    std::vector<sql::JoinPair> joins;
    int ridBase;
  };
  void SavePlan(const std::u16string& key) {
    auto p = std::make_shared<Plan>(Plan{source, tableType, updatable, rids, dedupe, hasBig, sqlText, cols, refs, contributing, joins, ridBase});
    if (conn->Plans().size() > 256) conn->Plans().clear();
    conn->Plans()[key] = std::move(p);
  }
  // A text worked out before is run at once, and the file's schema is checked while its
  // first row is read (in the same read of the file): when the tables changed since, what
  // was read goes and the text is worked out afresh.
  bool UsePlanChecked(const std::u16string& key) {
    const int64_t before = conn->Generation();
    bool used = false;
    try {
      used = UsePlan(key);
    } catch (...) {
      conn->CheckSchema();
      if (conn->Generation() == before) throw;
      Reset();
      return false;
    }
    conn->CheckSchema();
    if (!used) return false;
    if (conn->Generation() == before) return true;
    Reset();
    return false;
  }
  // Back to the state of a recordset not yet opened (the connection kept).
  void Reset() {
    ReleaseStmt();
    source.clear();
    tableType = updatable = rids = dedupe = hasBig = false;
    sqlText.clear();
    baseSql.clear();
    cols.clear();
    refs.clear();
    contributing.clear();
    joins.clear();
    ridBase = 0;
    reserved.clear();
    rows.clear();
    pending.clear();
    seen.clear();
    added.clear();
    done = false;
    pos = -1;
    fetchSerial = 0;
    tableCount = -1;
    mappedGeneration = -1;
    loaders.clear();
    bigLoaders.clear();
  }
  bool UsePlan(const std::u16string& key) {
    auto it = conn->Plans().find(key);
    if (it == conn->Plans().end()) return false;
    const Plan& p = *static_cast<const Plan*>(it->second.get());
    source = p.source;
    tableType = p.tableType;
    updatable = p.updatable;
    rids = p.rids;
    dedupe = p.dedupe;
    hasBig = p.hasBig;
    sqlText = baseSql = p.sqlText;
    cols = p.cols;
    refs = p.refs;
    contributing = p.contributing;
    joins = p.joins;
    ridBase = p.ridBase;
    reserved.assign(refs.size(), 0);
    mappedGeneration = conn->Generation();
    AcquireStmt();
    Start();
    return true;
  }

  void MapColumns(const sql::Statement& st) {
    sqlite3_stmt* s = cur;
    int total = sqlite3_column_count(s);
    int n = rids ? total - static_cast<int>(refs.size()) : total;
    std::vector<bool> shown(refs.size(), false);  // tables that give a column
    ridBase = n;
    // What the select list says about each column: (table, field).
    std::vector<std::pair<int, std::u16string>> planned;
    auto refByAlias = [&](std::u16string_view a) {
      for (size_t k = 0; k < refs.size(); ++k)
        if (sql::SameName(refs[k].alias, a)) return static_cast<int>(k);
      return -1;
    };
    for (const auto& item : st.items) {
      if (item.star) {
        for (size_t k = 0; k < refs.size(); ++k) {
          if (!item.qualifier.empty() && !sql::SameName(refs[k].alias, item.qualifier)) continue;
          const TableMeta* m = conn->Table(refs[k].table);
          if (!m) continue;
          for (const auto& f : m->fields) planned.push_back({static_cast<int>(k), f.name});
        }
      } else if (item.IsColumn()) {
        int k = -1;
        if (!item.qualifier.empty()) {
          k = refByAlias(item.qualifier);
        } else {
          for (size_t j = 0; j < refs.size() && k < 0; ++j)
            if (const TableMeta* m = conn->Table(refs[j].table); m && m->Find(item.column)) k = static_cast<int>(j);
        }
        planned.push_back({k, item.column});
      } else {
        planned.push_back({-1, {}});
      }
    }
    bool usePlan = static_cast<int>(planned.size()) == n;
    cols.resize(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
      Column& c = cols[static_cast<size_t>(i)];
      const void* nm = sqlite3_column_name16(s, i);
      c.name = nm ? std::u16string(static_cast<const char16_t*>(nm)) : std::u16string();
      const void* ot = sqlite3_column_table_name16(s, i);
      const void* of = sqlite3_column_origin_name16(s, i);
      std::u16string originTable = ot ? std::u16string(static_cast<const char16_t*>(ot)) : std::u16string();
      std::u16string originField = of ? std::u16string(static_cast<const char16_t*>(of)) : std::u16string();
      int k = -1;
      std::u16string field;
      if (!originTable.empty()) {
        field = originField;
        if (usePlan && planned[static_cast<size_t>(i)].first >= 0 &&
            sql::SameName(refs[static_cast<size_t>(planned[static_cast<size_t>(i)].first)].table, originTable)) {
          k = planned[static_cast<size_t>(i)].first;
        } else {
          int found = 0;
          for (size_t j = 0; j < refs.size(); ++j)
            if (sql::SameName(refs[j].table, originTable)) k = static_cast<int>(j), ++found;
          if (found != 1) k = -1;
        }
      }
      if (k >= 0) {
        const TableMeta* m = conn->Table(refs[static_cast<size_t>(k)].table);
        const FieldMeta* f = m ? m->Find(field) : nullptr;
        if (f) {
          c.meta = *f;
          c.hasMeta = true;
          c.type = f->type;
          c.rowKey = m->autoIsRowKey && m->fields[static_cast<size_t>(m->autoField)].name == f->name;
        } else {
          k = -1;
        }
      }
      c.ref = updatable ? k : -1;
      if (k >= 0) shown[static_cast<size_t>(k)] = true;
      if (!updatable && c.hasMeta) c.type = c.meta.type;
    }
    // Two columns of one name are told apart by their table, as "T.F".
    for (size_t i = 0; i < cols.size(); ++i) {
      bool twice = false;
      for (size_t j = 0; j < cols.size(); ++j)
        if (i != j && sql::SameName(cols[i].name, cols[j].name)) twice = true;
      if (twice && cols[i].ref >= 0) cols[i].name = refs[static_cast<size_t>(cols[i].ref)].alias + u"." + cols[i].name;
    }
    for (size_t i = 0; i < cols.size(); ++i) {
      Column& c = cols[i];
      if (c.ref < 0) continue;
      refs[static_cast<size_t>(c.ref)].cols.push_back(static_cast<int>(i));
      c.big = c.meta.type == dbMemo || c.meta.type == dbLongBinary;
      c.defaultValue = DefaultFor(c.meta);
      if (c.big) {
        refs[static_cast<size_t>(c.ref)].big.push_back(static_cast<int>(i));
        hasBig = true;
      }
    }
    for (size_t k = 0; k < refs.size(); ++k)
      if (shown[k]) contributing.push_back(static_cast<int>(k));
    dedupe = rids && st.distinctrow && contributing.size() < refs.size();
    MapFields();
    reserved.assign(refs.size(), 0);
  }

  // ---- Editing

  void CancelEdit() {
    if (editMode == dbEditNone) return;
    editMode = dbEditNone;
    buf.clear();
    dirty.clear();
    std::fill(reserved.begin(), reserved.end(), 0);
    if (holding) {
      holding = false;
      conn->Release();
    }
  }

  void RequireUpdatable() const {
    CheckOpen();
    if (!updatable) ThrowDb(dberr::kReadOnly, u"Cannot update. Database or object is read-only.");
  }

  // Ties each column to its field in the table's current rules (again after a schema change).
  void MapFields() {
    mappedGeneration = conn->Generation();
    writes.clear();
    for (auto& c : cols) {
      c.field = -1;
      if (c.ref < 0) continue;
      if (const TableMeta* m = conn->Table(refs[static_cast<size_t>(c.ref)].table)) c.field = m->FindIndex(c.meta.name);
    }
  }

  struct Write {
    int field;
    const Value* value;
  };

  // The values to store for the fields of table k, validated against its rules; `defaults`
  // holds the values that no column gives.
  std::vector<Write> RowFor(size_t k, const TableMeta& meta, bool adding, std::vector<Value>& defaults) {
    if (mappedGeneration != conn->Generation()) MapFields();
    std::vector<int> colOf(meta.fields.size(), -1);
    for (int c : refs[k].cols) {
      int f = cols[static_cast<size_t>(c)].field;
      if (f >= 0 && (colOf[static_cast<size_t>(f)] < 0 || dirty[static_cast<size_t>(c)])) colOf[static_cast<size_t>(f)] = c;
    }
    defaults.clear();
    defaults.reserve(meta.fields.size());
    std::vector<Write> out;
    for (size_t fi = 0; fi < meta.fields.size(); ++fi) {
      const FieldMeta& f = meta.fields[fi];
      int col = colOf[fi];
      bool written = col >= 0 && (adding || dirty[static_cast<size_t>(col)]);
      if (!adding && !written) continue;
      const Value* v = nullptr;
      if (col >= 0) v = &buf[static_cast<size_t>(col)];
      if (static_cast<int>(fi) == meta.autoField) {
        if (!adding) continue;
        if (reserved[k]) {
          defaults.push_back(Value(static_cast<int32_t>(reserved[k])));
        } else if (meta.autoIsRowKey) {
          continue;  // SQLite numbers it
        } else {
          conn->Hold();
          try {
            defaults.push_back(Value(static_cast<int32_t>(conn->ReserveAutoNumber(meta))));
          } catch (...) {
            conn->Release();
            throw;
          }
          conn->Release();
        }
        v = &defaults.back();
      } else if (!v) {
        defaults.push_back(DefaultFor(f));
        v = &defaults.back();
      }
      if (f.required && v->IsNull())
        ThrowDb(dberr::kRequired, u"The field '" + meta.name + u"." + f.name +
                                      u"' cannot contain a Null value because the Required property for this "
                                      u"field is set to True. Enter a value in this field.");
      if ((f.type == dbText || f.type == dbMemo) && !f.allowZeroLength && v->Type() == VType::Text && v->TextRef().empty())
        ThrowDb(dberr::kZeroLength, u"Field '" + meta.name + u"." + f.name + u"' cannot be a zero-length string.");
      if (adding && v->IsNull()) continue;
      out.push_back({static_cast<int>(fi), v});
    }
    return out;
  }

  // The statement text for writing these fields of table k (kept, as rows repeat).
  const std::string& WriteText(char kind, size_t k, const TableMeta& meta, const std::vector<Write>& w) {
    std::string key(1, kind);
    key += std::to_string(k);
    for (const auto& x : w) key += "," + std::to_string(x.field);
    auto it = writes.find(key);
    if (it != writes.end()) return it->second;
    std::string sql;
    if (kind == 'I') {
      if (w.empty()) {
        sql = "INSERT INTO " + sql::QuoteName(meta.name) + " DEFAULT VALUES";
      } else {
        std::string names, params;
        for (size_t i = 0; i < w.size(); ++i) {
          names += (i ? ", " : "") + sql::QuoteName(meta.fields[static_cast<size_t>(w[i].field)].name);
          params += (i ? ", ?" : "?") + std::to_string(i + 1);
        }
        sql = "INSERT INTO " + sql::QuoteName(meta.name) + " (" + names + ") VALUES (" + params + ")";
      }
    } else {
      std::string sets;
      for (size_t i = 0; i < w.size(); ++i)
        sets += (i ? ", " : "") + sql::QuoteName(meta.fields[static_cast<size_t>(w[i].field)].name) + "=?" + std::to_string(i + 1);
      sql = "UPDATE " + sql::QuoteName(meta.name) + " SET " + sets + " WHERE rowid=?" + std::to_string(w.size() + 1);
    }
    return writes.emplace(std::move(key), std::move(sql)).first->second;
  }

  int64_t Insert(size_t k) {
    const TableMeta* meta = conn->Table(refs[k].table);
    if (!meta) ThrowDb(dberr::kNoSuchTable, u"The engine cannot find the input table or query '" + refs[k].table + u"'.");
    std::vector<Value> defaults;
    auto w = RowFor(k, *meta, true, defaults);
    sqlite3_stmt* st = conn->Cached(WriteText('I', k, *meta, w));
    for (size_t i = 0; i < w.size(); ++i) BindValue(st, static_cast<int>(i) + 1, *w[i].value, true);
    conn->StepWrite(st, meta->name);
    return sqlite3_last_insert_rowid(conn->db());
  }

  void UpdateRow(size_t k, int64_t rid) {
    const TableMeta* meta = conn->Table(refs[k].table);
    if (!meta) ThrowDb(dberr::kNoSuchTable, u"The engine cannot find the input table or query '" + refs[k].table + u"'.");
    std::vector<Value> defaults;
    auto w = RowFor(k, *meta, false, defaults);
    if (w.empty()) return;
    sqlite3_stmt* st = conn->Cached(WriteText('U', k, *meta, w));
    for (size_t i = 0; i < w.size(); ++i) BindValue(st, static_cast<int>(i) + 1, *w[i].value, true);
    sqlite3_bind_int64(st, static_cast<int>(w.size()) + 1, rid);
    if (conn->StepWrite(st, meta->name) == 0) ThrowDb(dberr::kRecordDeleted, u"Record is deleted.");
  }

  // A row added to the empty side of an outer join takes its join fields from the other
  // side ("ON A.x = B.y"), as the original engine filled them, unless the caller set them.
  void FillJoinKeys(size_t k, const std::vector<int64_t>& rid) {
    auto colOf = [&](size_t ref, const std::u16string& field) {
      for (int c : refs[ref].cols)
        if (sql::SameName(cols[static_cast<size_t>(c)].meta.name, field)) return c;
      return -1;
    };
    auto refOf = [&](const std::u16string& alias) {
      for (size_t j = 0; j < refs.size(); ++j)
        if (sql::SameName(refs[j].alias, alias)) return static_cast<int>(j);
      return -1;
    };
    for (const auto& p : joins) {
      for (int side = 0; side < 2; ++side) {
        const std::u16string& mineAlias = side ? p.rightAlias : p.leftAlias;
        const std::u16string& mineField = side ? p.rightField : p.leftField;
        const std::u16string& otherAlias = side ? p.leftAlias : p.rightAlias;
        const std::u16string& otherField = side ? p.leftField : p.rightField;
        if (refOf(mineAlias) != static_cast<int>(k)) continue;
        int j = refOf(otherAlias);
        if (j < 0 || j == static_cast<int>(k) || rid[static_cast<size_t>(j)] == kNoRid) continue;
        int mine = colOf(k, mineField);
        int other = colOf(static_cast<size_t>(j), otherField);
        if (mine < 0 || other < 0 || dirty[static_cast<size_t>(mine)]) continue;
        const Column& mc = cols[static_cast<size_t>(mine)];
        buf[static_cast<size_t>(mine)] = CoerceForField(buf[static_cast<size_t>(other)], mc.meta, refs[k].table);
        dirty[static_cast<size_t>(mine)] = true;
      }
    }
  }

  bool RefDirty(size_t k) const {
    for (int c : refs[k].cols)
      if (dirty[static_cast<size_t>(c)]) return true;
    return false;
  }

  // Runs the writes of one Update as a unit.
  template <class F>
  void Atomic(F&& body) {
    conn->Hold();
    try {
      body();
    } catch (...) {
      // The statements that did run stay part of the caller's unit; nothing half-written
      // reaches the file because each failing statement is undone by SQLite itself.
      conn->Release();
      throw;
    }
    conn->Release();
  }

  void DoUpdate() {
    CheckOpen();
    if (editMode == dbEditNone) ThrowDb(dberr::kUpdateWithoutEdit, u"Update or CancelUpdate without AddNew or Edit.");
    if (editMode == dbEditAdd) {
      Row r;
      r.rid.assign(refs.size(), kNoRid);
      Atomic([&] {
        for (size_t k = 0; k < refs.size(); ++k) {
          if (!(refs.size() == 1 || reserved[k] || RefDirty(k) || k == 0)) continue;
          FillJoinKeys(k, r.rid);
          r.rid[k] = Insert(k);
        }
      });
      r.vals = std::move(buf);
      r.small = r.full = true;
      Drop(r);
      r.bm = kAddedBase + ++addSerial;
      lastModified = r.bm;
      if (done) {
        rows.push_back(std::move(r));
      } else {
        added.insert(Identity(r.rid, nullptr));
        pending.push_back(std::move(r));
      }
      if (tableCount >= 0) ++tableCount;
    } else {
      if (!HasCurrent()) NoCurrent();
      Row& row = rows[static_cast<size_t>(pos)];
      Atomic([&] {
        for (size_t k = 0; k < refs.size(); ++k) {
          if (!RefDirty(k)) continue;
          if (row.rid[k] == kNoRid) {
            FillJoinKeys(k, row.rid);
            row.rid[k] = Insert(k);
          } else {
            UpdateRow(k, row.rid[k]);
          }
        }
      });
      for (size_t c = 0; c < cols.size(); ++c) {
        if (!dirty[c]) continue;
        for (size_t d = 0; d < cols.size(); ++d)
          if (cols[d].ref == cols[c].ref && cols[d].ref >= 0 && sql::SameName(cols[d].meta.name, cols[c].meta.name))
            buf[d] = buf[c];
      }
      row.vals = buf;
      lastModified = row.bm;
    }
    editMode = dbEditNone;
    buf.clear();
    dirty.clear();
    std::fill(reserved.begin(), reserved.end(), 0);
    if (holding) {
      holding = false;
      conn->Release();
    }
  }

  void AddNew() {
    RequireUpdatable();
    CancelEdit();
    buf.assign(cols.size(), Value());
    dirty.assign(cols.size(), false);
    for (size_t c = 0; c < cols.size(); ++c)
      if (cols[c].ref >= 0) buf[c] = cols[c].defaultValue;
    // The first table that shows an auto-number gets it now, so callers can read it.
    for (size_t k = 0; k < refs.size(); ++k) {
      const TableMeta* meta = conn->Table(refs[k].table);
      if (!meta || meta->autoField < 0) continue;
      const std::u16string& autoName = meta->fields[static_cast<size_t>(meta->autoField)].name;
      bool shown = false;
      for (int c : refs[k].cols)
        if (sql::SameName(cols[static_cast<size_t>(c)].meta.name, autoName)) shown = true;
      if (!shown) continue;
      conn->Hold();
      holding = true;
      try {
        reserved[k] = conn->ReserveAutoNumber(*meta);
      } catch (...) {
        holding = false;
        conn->Release();
        throw;
      }
      for (int c : refs[k].cols)
        if (sql::SameName(cols[static_cast<size_t>(c)].meta.name, autoName))
          buf[static_cast<size_t>(c)] = Value(static_cast<int32_t>(reserved[k]));
      break;
    }
    editMode = dbEditAdd;
  }

  void Edit() {
    RequireUpdatable();
    CancelEdit();
    Row& r = Current();
    buf = r.vals;
    dirty.assign(cols.size(), false);
    editMode = dbEditInProgress;
  }

  void Set(int c, const Value& v) {
    CheckOpen();
    if (editMode == dbEditNone) ThrowDb(dberr::kUpdateWithoutEdit, u"Update or CancelUpdate without AddNew or Edit.");
    const Column& col = cols[static_cast<size_t>(c)];
    if (col.ref < 0 || col.meta.autoIncrement())
      ThrowDb(dberr::kFieldNotUpdatable, u"Field cannot be updated. (" + col.name + u")");
    Value coerced = CoerceForField(v, col.meta, refs[static_cast<size_t>(col.ref)].table);
    // An empty text where the field allows none fails at the assignment, as the original
    // engine's did: the field keeps what it held and the row can still be saved.
    if ((col.meta.type == dbText || col.meta.type == dbMemo) && !col.meta.allowZeroLength &&
        coerced.Type() == VType::Text && coerced.TextRef().empty())
      ThrowDb(dberr::kZeroLength, u"Field '" + refs[static_cast<size_t>(col.ref)].table + u"." + col.meta.name +
                                      u"' cannot be a zero-length string.");
    buf[static_cast<size_t>(c)] = std::move(coerced);
    dirty[static_cast<size_t>(c)] = true;
  }

  Value Get(int c) {
    CheckOpen();
    if (editMode != dbEditNone) return buf[static_cast<size_t>(c)];
    return Current().vals[static_cast<size_t>(c)];
  }

  void DeleteRow() {
    RequireUpdatable();
    CancelEdit();
    Row& r = Current();
    size_t k = 0;
    while (k + 1 < refs.size() && r.rid[k] == kNoRid) ++k;
    if (r.rid[k] == kNoRid) NoCurrent();
    sqlite3_stmt* st = conn->Cached("DELETE FROM " + sql::QuoteName(refs[k].table) + " WHERE rowid=?1");
    sqlite3_bind_int64(st, 1, r.rid[k]);
    conn->StepWrite(st, refs[k].table);
    rows.erase(rows.begin() + pos);
    onDeleted = true;
    if (tableCount > 0) --tableCount;
  }

  // ---- Moving

  void Leave() {
    CheckOpen();
    CancelEdit();
  }

  void MoveTo(int64_t i) {
    if (HasCurrent() && i != pos) Drop(rows[static_cast<size_t>(pos)]);
    onDeleted = false;
    if (i < 0) {
      pos = -1;
      return;
    }
    Ensure(i, true);
    pos = std::min<int64_t>(i, static_cast<int64_t>(rows.size()));
  }

  // ---- Searching

  void Compile(std::u16string_view criteria) {
    if (critText == criteria && (critNative || critExpr)) return;
    critText = std::u16string(criteria);
    critNative = false;
    terms.clear();
    critExpr.reset();
    critParams.clear();
    // Conjunctions of "field op literal" are compared here; anything else goes to SQLite.
    auto toks = sql::Tokenize(criteria);
    size_t i = 0;
    bool native = !toks.empty();
    auto isName = [](const sql::Token& t) { return t.kind == sql::Token::Name || t.kind == sql::Token::QuotedName; };
    auto isOp = [](const sql::Token& t, std::u16string_view o) { return t.kind == sql::Token::Op && t.text == o; };
    while (native && i < toks.size()) {
      if (!isName(toks[i])) {
        native = false;
        break;
      }
      std::u16string q, name = toks[i].text;
      ++i;
      if (i + 1 < toks.size() && (isOp(toks[i], u".") || isOp(toks[i], u"!")) && isName(toks[i + 1])) {
        q = name;
        name = toks[i + 1].text;
        i += 2;
      }
      int col = FindColumn(q, name);
      if (col < 0 || i >= toks.size() || toks[i].kind != sql::Token::Op) {
        native = false;
        break;
      }
      std::u16string op = toks[i].text;
      if (op != u"=" && op != u"<>" && op != u"<" && op != u">" && op != u"<=" && op != u">=") {
        native = false;
        break;
      }
      ++i;
      bool neg = false;
      if (i < toks.size() && isOp(toks[i], u"-")) neg = true, ++i;
      if (i >= toks.size()) {
        native = false;
        break;
      }
      const sql::Token& lt = toks[i++];
      Value lit;
      if (lt.kind == sql::Token::Number) lit = Value(neg ? -lt.number : lt.number);
      else if (lt.kind == sql::Token::Date && !neg) lit = Value(OleDate{lt.number});
      else if (lt.kind == sql::Token::Text && !neg) lit = Value(lt.text);
      else if (lt.kind == sql::Token::Name && !neg && (LCase(lt.text) == u"true" || LCase(lt.text) == u"false"))
        lit = Value(LCase(lt.text) == u"true" ? -1.0 : 0.0);
      else {
        native = false;
        break;
      }
      const Column& c = cols[static_cast<size_t>(col)];
      bool colText = c.hasMeta ? (c.meta.type == dbText || c.meta.type == dbMemo) : false;
      bool colNum = c.hasMeta && !colText && c.meta.type != dbLongBinary;
      if ((colText && lit.Type() != VType::Text) || (colNum && lit.Type() == VType::Text) || !c.hasMeta) {
        native = false;
        break;
      }
      terms.push_back({col, op, lit});
      if (i < toks.size()) {
        if (toks[i].kind == sql::Token::Name && LCase(toks[i].text) == u"and") ++i;
        else native = false;
        if (i >= toks.size()) native = false;
      }
    }
    if (native) {
      critNative = true;
      return;
    }
    terms.clear();
    critParams.clear();
    std::string expr = sql::TranslateExpression(criteria, *this);
    critExpr = Stmt(conn->db(), "SELECT CASE WHEN (" + expr + ") THEN 1 ELSE 0 END");
  }

  // Tests a stored row; long columns read for the test are let go again.
  bool Matches(Row& r) {
    bool wasFull = r.full;
    bool hit = MatchesLoaded(r);
    if (!wasFull) Drop(r);  // keeps the short columns: the next search needs no reading
    return hit;
  }
  bool MatchesLoaded(Row& r) {
    if (critNative) {
      for (const auto& t : terms) {
        const Column& tc = cols[static_cast<size_t>(t.col)];
        if (tc.rowKey && updatable && !r.small) {
          // The key is the row key itself: no need to read the row.
          int64_t key = r.rid[static_cast<size_t>(tc.ref)];
          if (key == kNoRid || !TermHolds(Value(static_cast<double>(key)), t)) return false;
          continue;
        }
        if (!r.full && tc.ref >= 0 && (tc.big || !r.small)) Load(r);
        if (!TermHolds(r.vals[static_cast<size_t>(t.col)], t)) return false;
      }
      return true;
    }
    Load(r);
    sqlite3_stmt* e = critExpr.get();
    sqlite3_reset(e);
    for (size_t p = 0; p < critParams.size(); ++p) BindValue(e, static_cast<int>(p) + 1, r.vals[static_cast<size_t>(critParams[p])]);
    int rc = sqlite3_step(e);
    if (rc != SQLITE_ROW) {
      sqlite3_reset(e);
      ThrowSqlite(conn->db(), rc);
    }
    bool hit = sqlite3_column_int(e, 0) != 0;
    sqlite3_reset(e);
    return hit;
  }

  // The same test on the statement's current row, before it is stored.
  bool MatchesStatement(sqlite3_stmt* st) {
    if (critNative) {
      for (const auto& t : terms) {
        Value v = ReadColumn(st, t.col, cols[static_cast<size_t>(t.col)].type);
        if (!TermHolds(v, t)) return false;
      }
      return true;
    }
    sqlite3_stmt* e = critExpr.get();
    sqlite3_reset(e);
    for (size_t p = 0; p < critParams.size(); ++p) sqlite3_bind_value(e, static_cast<int>(p) + 1, sqlite3_column_value(st, critParams[p]));
    int rc = sqlite3_step(e);
    bool hit = rc == SQLITE_ROW && sqlite3_column_int(e, 0) != 0;
    sqlite3_reset(e);
    if (rc != SQLITE_ROW) ThrowSqlite(conn->db(), rc);
    return hit;
  }

  void Find(std::u16string_view criteria, int64_t from, int dir) {
    Leave();
    Compile(criteria);
    noMatch = true;
    if (dir > 0) {
      for (int64_t i = std::max<int64_t>(from, 0);; ++i) {
        if (i < static_cast<int64_t>(rows.size())) {
          if (Matches(rows[static_cast<size_t>(i)])) return Hit(i);
          continue;
        }
        // Rows not fetched yet are tested on the statement itself.
        bool hit = false;
        if (!FetchOne(false, [&](sqlite3_stmt* st) { return MatchesStatement(st); }, &hit)) {
          if (i < static_cast<int64_t>(rows.size())) {  // rows added here arrived with the end
            --i;
            continue;
          }
          return;
        }
        if (hit) return Hit(static_cast<int64_t>(rows.size()) - 1);
      }
    }
    if (from >= static_cast<int64_t>(rows.size()) || !done) FetchAll();
    for (int64_t i = std::min<int64_t>(from, static_cast<int64_t>(rows.size()) - 1); i >= 0; --i)
      if (Matches(rows[static_cast<size_t>(i)])) return Hit(i);
  }
  void Hit(int64_t i) {
    if (HasCurrent() && i != pos) Drop(rows[static_cast<size_t>(pos)]);
    noMatch = false;
    pos = i;
    onDeleted = false;
  }
};

// ---- Recordset --------------------------------------------------------------------------

Recordset::Recordset(std::unique_ptr<RecordsetImpl> impl) : impl_(std::move(impl)), fields_(this) {}

Recordset::~Recordset() {
  try {
    Close();
  } catch (...) {
  }
}

std::shared_ptr<Recordset> MakeRecordset(std::shared_ptr<Connection> conn, std::u16string_view source, int32_t type,
                                         int32_t options) {
  auto impl = std::make_unique<RecordsetImpl>();
  impl->Open(std::move(conn), source, type, options);
  return std::make_shared<Recordset>(std::move(impl));
}

int32_t Recordset::Type() const { return impl_->type; }
std::u16string Recordset::Name() const { return impl_->source; }
bool Recordset::Updatable() const { return impl_->updatable; }
bool Recordset::IsOpen() const { return !impl_->closed; }

void Recordset::MoveFirst() {
  auto& m = *impl_;
  m.Leave();
  m.Ensure(0, true);
  if (m.rows.empty()) NoCurrent();
  m.MoveTo(0);
}

void Recordset::MoveLast() {
  auto& m = *impl_;
  m.Leave();
  m.FetchAll();
  if (m.rows.empty()) NoCurrent();
  m.MoveTo(static_cast<int64_t>(m.rows.size()) - 1);
}

void Recordset::MoveNext() {
  auto& m = *impl_;
  m.Leave();
  if (!m.onDeleted && Eof()) NoCurrent();
  m.MoveTo(m.onDeleted ? m.pos : m.pos + 1);
}

void Recordset::MovePrevious() {
  auto& m = *impl_;
  m.Leave();
  if (!m.onDeleted && Bof()) NoCurrent();
  m.MoveTo(m.pos - 1);
}

void Recordset::Move(int32_t n) {
  auto& m = *impl_;
  m.Leave();
  if (n == 0) return;
  if (!m.HasCurrent() && !m.onDeleted) NoCurrent();
  int64_t target = (m.onDeleted && n > 0 ? m.pos - 1 : m.pos) + n;
  m.MoveTo(target);
}

bool Recordset::Bof() const {
  auto& m = *impl_;
  m.CheckOpen();
  return m.pos < 0 || m.Empty();
}

bool Recordset::Eof() const {
  auto& m = *impl_;
  m.CheckOpen();
  if (m.Empty()) return true;
  if (m.pos < static_cast<int64_t>(m.rows.size())) return false;
  m.Ensure(m.pos, true);
  return m.pos >= static_cast<int64_t>(m.rows.size());
}

int32_t Recordset::RecordCount() {
  auto& m = *impl_;
  m.CheckOpen();
  if (m.tableCount >= 0) return static_cast<int32_t>(m.tableCount);
  return static_cast<int32_t>(m.rows.size() + m.pending.size());
}

int32_t Recordset::AbsolutePosition() const {
  auto& m = *impl_;
  m.CheckOpen();
  return m.HasCurrent() ? static_cast<int32_t>(m.pos) : -1;
}

void Recordset::SetAbsolutePosition(int32_t p) {
  auto& m = *impl_;
  m.Leave();
  if (p < 0) ThrowDb(dberr::kInvalidArgument, u"Invalid argument.");
  m.Ensure(p, true);
  if (p >= static_cast<int64_t>(m.rows.size())) ThrowDb(dberr::kInvalidArgument, u"Invalid argument.");
  m.MoveTo(p);
}

double Recordset::PercentPosition() {
  auto& m = *impl_;
  int32_t n = RecordCount();
  if (!m.HasCurrent() || n == 0) return 0.0;
  return 100.0 * static_cast<double>(m.pos + 1) / n;
}

void Recordset::FindFirst(std::u16string_view c) { impl_->Find(c, 0, 1); }
void Recordset::FindLast(std::u16string_view c) {
  impl_->FetchAll();
  impl_->Find(c, static_cast<int64_t>(impl_->rows.size()) - 1, -1);
}
void Recordset::FindNext(std::u16string_view c) {
  auto& m = *impl_;
  m.CheckOpen();
  int64_t from = m.onDeleted ? m.pos : m.pos + 1;
  m.Find(c, from, 1);
}
void Recordset::FindPrevious(std::u16string_view c) {
  auto& m = *impl_;
  m.CheckOpen();
  if (m.pos - 1 < 0) {
    m.Leave();
    m.noMatch = true;
    return;
  }
  m.Find(c, m.pos - 1, -1);
}
bool Recordset::NoMatch() const { return impl_->noMatch; }

std::u16string Recordset::Index() const { return impl_->indexName; }

void Recordset::SetIndex(std::u16string_view index) {
  auto& m = *impl_;
  m.Leave();
  if (!m.tableType) ThrowDb(dberr::kNotSupported, u"Operation is not supported for this type of object.");
  const TableMeta* meta = m.conn->Table(m.refs[0].table);
  std::vector<std::u16string> fields;
  for (const auto& ix : meta->indexes)
    if (sql::SameName(ix.name, index)) fields = ix.fields;
  if (fields.empty() && meta->Find(index)) fields.push_back(meta->Find(index)->name);
  if (fields.empty()) ThrowDb(dberr::kNotAnIndex, u"'" + std::u16string(index) + u"' is not an index in this table.");
  std::string order;
  for (const auto& f : fields) order += (order.empty() ? " ORDER BY " : ", ") + sql::QuoteName(f);
  m.sqlText = m.baseSql + order + ", rowid";
  m.indexName = std::u16string(index);
  m.Prepare();
  m.Start();
}

void Recordset::Seek(std::u16string_view op, const ravelin::Value& key) {
  auto& m = *impl_;
  m.Leave();
  if (!m.tableType || m.indexName.empty()) ThrowDb(dberr::kNotSupported, u"Operation is not supported for this type of object.");
  const TableMeta* meta = m.conn->Table(m.refs[0].table);
  std::u16string field = m.indexName;
  for (const auto& ix : meta->indexes)
    if (sql::SameName(ix.name, m.indexName) && !ix.fields.empty()) field = ix.fields[0];
  int col = m.FindColumn({}, field);
  if (col < 0) ThrowDb(dberr::kNotAnIndex, u"'" + m.indexName + u"' is not an index in this table.");
  m.FetchAll();
  std::u16string o(op);
  Term t{col, o == u"=" ? u"=" : o, key};
  m.noMatch = true;
  bool backward = o == u"<" || o == u"<=";
  int64_t n = static_cast<int64_t>(m.rows.size());
  for (int64_t k = 0; k < n; ++k) {
    int64_t i = backward ? n - 1 - k : k;
    Row& r = m.rows[static_cast<size_t>(i)];
    bool was = r.full;
    m.Load(r);
    bool hit = TermHolds(r.vals[static_cast<size_t>(col)], t);
    if (!was) m.Drop(r);
    if (hit) return m.Hit(i);
  }
}

void Recordset::AddNew() { impl_->AddNew(); }
void Recordset::Edit() { impl_->Edit(); }
void Recordset::Update() { impl_->DoUpdate(); }
void Recordset::CancelUpdate() {
  impl_->CheckOpen();
  impl_->CancelEdit();
}
void Recordset::Delete() { impl_->DeleteRow(); }
int32_t Recordset::EditMode() const { return impl_->editMode; }
Bookmark Recordset::LastModified() const { return impl_->lastModified; }

Bookmark Recordset::GetBookmark() const { return impl_->Current().bm; }

void Recordset::SetBookmark(Bookmark b) {
  auto& m = *impl_;
  m.Leave();
  auto find = [&]() -> int64_t {
    auto it = std::lower_bound(m.rows.begin(), m.rows.end(), b, [](const Row& r, Bookmark x) { return r.bm < x; });
    return it != m.rows.end() && it->bm == b ? it - m.rows.begin() : -1;
  };
  int64_t i = find();
  if (i < 0 && !m.done) {
    m.FetchAll();
    i = find();
  }
  if (i < 0) ThrowDb(dberr::kInvalidBookmark, u"Not a valid bookmark.");
  m.MoveTo(i);
}

void Recordset::Requery() {
  auto& m = *impl_;
  m.Leave();
  m.Prepare();
  m.Start();
}

void Recordset::Close() {
  auto& m = *impl_;
  if (m.closed) return;
  try {
    m.CancelEdit();
  } catch (...) {
  }
  m.ReleaseStmt();
  m.critExpr.reset();
  m.loaders.clear();
  m.bigLoaders.clear();
  m.rows.clear();
  m.pending.clear();
  m.closed = true;
  m.conn.reset();
}

// ---- Fields of a recordset ----------------------------------------------------------------

int32_t RecordsetFields::Count() const { return static_cast<int32_t>(rs_->impl().cols.size()); }

FieldRef RecordsetFields::Item(std::u16string_view name) const {
  auto& m = rs_->impl();
  m.CheckOpen();
  int c = m.FindColumn({}, name);
  if (c < 0) {
    size_t dot = name.find(u'.');
    if (dot != std::u16string_view::npos) c = m.FindColumn(name.substr(0, dot), name.substr(dot + 1));
  }
  if (c < 0) ThrowDb(dberr::kItemNotFound, u"Item not found in this collection. (" + std::u16string(name) + u")");
  return FieldRef(rs_, c);
}

FieldRef RecordsetFields::Item(int32_t index) const {
  auto& m = rs_->impl();
  m.CheckOpen();
  if (index < 0 || index >= Count()) ThrowDb(dberr::kItemNotFound, u"Item not found in this collection.");
  return FieldRef(rs_, index);
}

bool RecordsetFields::Contains(std::u16string_view name) const { return rs_->impl().FindColumn({}, name) >= 0; }

ravelin::Value FieldRef::Value() const { return rs_->impl().Get(col_); }
void FieldRef::SetValue(const ravelin::Value& v) const { rs_->impl().Set(col_, v); }
std::u16string FieldRef::Name() const { return rs_->impl().cols[static_cast<size_t>(col_)].name; }

int32_t FieldRef::Type() const {
  const auto& c = rs_->impl().cols[static_cast<size_t>(col_)];
  if (c.hasMeta) return c.meta.type;
  if (c.type >= 0) return c.type;
  try {
    switch (Value().Type()) {
      case VType::Boolean:
        return dbBoolean;
      case VType::Long:
        return dbLong;
      case VType::Double:
        return dbDouble;
      case VType::Date:
        return dbDate;
      case VType::Binary:
        return dbLongBinary;
      default:
        return dbText;
    }
  } catch (const Error&) {
    return dbText;
  }
}

int32_t FieldRef::Size() const {
  const auto& c = rs_->impl().cols[static_cast<size_t>(col_)];
  if (!c.hasMeta) return 0;
  Field f(c.meta.name, c.meta.type, c.meta.size);
  return f.Size();
}
int32_t FieldRef::Attributes() const {
  const auto& c = rs_->impl().cols[static_cast<size_t>(col_)];
  return c.hasMeta ? c.meta.attributes : 0;
}
bool FieldRef::Required() const {
  const auto& c = rs_->impl().cols[static_cast<size_t>(col_)];
  return c.hasMeta && c.meta.required;
}
bool FieldRef::AllowZeroLength() const {
  const auto& c = rs_->impl().cols[static_cast<size_t>(col_)];
  return c.hasMeta && c.meta.allowZeroLength;
}
std::u16string FieldRef::DefaultValue() const {
  const auto& c = rs_->impl().cols[static_cast<size_t>(col_)];
  return c.hasMeta ? c.meta.defaultValue : std::u16string();
}
int32_t FieldRef::FieldSize() const {
  ravelin::Value v = Value();
  if (v.Type() == VType::Binary) return static_cast<int32_t>(v.BinaryRef().size());
  if (v.Type() == VType::Text) return static_cast<int32_t>(v.TextRef().size() * 2);
  return 0;
}
std::u16string FieldRef::SourceTable() const {
  auto& m = rs_->impl();
  const auto& c = m.cols[static_cast<size_t>(col_)];
  return c.ref >= 0 || c.hasMeta ? (c.ref >= 0 ? m.refs[static_cast<size_t>(c.ref)].table : std::u16string()) : std::u16string();
}
std::u16string FieldRef::SourceField() const {
  const auto& c = rs_->impl().cols[static_cast<size_t>(col_)];
  return c.hasMeta ? c.meta.name : std::u16string();
}

}  // namespace ravelin::dao
