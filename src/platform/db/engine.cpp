// The engine and the database objects: opening, creating and compacting files, one
// shared connection per file in this process, and the process-wide transaction.
//
// Journal and durability: each file runs in WAL mode with synchronous=FULL. Recordsets
// fetch their rows as the cursor moves, so a window's cursor keeps a read open for as
// long as it is not at its end; with the rollback journal such a reader in one process
// blocks every commit of another (the host and the mail client share the file), while
// in WAL readers never block the writer. Measured on this machine (engine, 50 KiB
// attachment rows): a commit per row runs at 113 rows/s in WAL against 26 with the
// rollback journal (one fsync per commit instead of four); one transaction over 10,000
// rows runs at 1,770 rows/s in WAL against 6,000 (WAL writes every page twice). The
// commit per row is what every Update does; a host that imports in bulk while nobody
// else has the file open may set tuning().journalMode to "DELETE" before opening it.
// FULL keeps every committed Update across a power cut; a crash in the middle of a
// write is undone at the next open.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <mutex>

#include "platform/db/internal.h"
#include "platform/db/sql_dialect.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::dao {

namespace {

namespace fsys = std::filesystem;

struct EngineState {
  DBEngine::Tuning tuning;
  int depth = 0;
  std::map<std::string, std::weak_ptr<Connection>> open;
  std::map<std::string, std::string> keys;  // path as given -> its key, for files open now
};

EngineState& State() {
  static EngineState* s = new EngineState();  // lives as long as the process
  return *s;
}

fsys::path PathOf(std::u16string_view p) { return fsys::path(ToUtf8(p)); }

std::string KeyOf(const fsys::path& p) {
  std::error_code ec;
  auto c = fsys::weakly_canonical(p, ec);
  return ec ? fsys::absolute(p).lexically_normal().string() : c.string();
}

[[noreturn]] void InUse(std::u16string_view path) {
  ThrowDb(dberr::kFileInUse, u"Could not use '" + std::u16string(path) + u"'; file already in use.");
}

// A lock on the file itself (independent of SQLite's byte-range locks): shared by every
// process that has it open, exclusive for an exclusive open or a compaction.
int LockFile(const fsys::path& p, bool exclusive, std::u16string_view shown) {
  int fd = ::open(p.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) ThrowDb(dberr::kFileNotFound, u"Could not find file '" + std::u16string(shown) + u"'.");
  if (::flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
    ::close(fd);
    InUse(shown);
  }
  return fd;
}

void Configure(sqlite3* db) {
  const auto& t = State().tuning;
  sqlite3_busy_timeout(db, t.busyTimeoutMs);
  RegisterFunctions(db);
  std::string pragmas = "PRAGMA journal_mode=" + ToUtf8(t.journalMode) + "; PRAGMA synchronous=" +
                        ToUtf8(t.synchronous) + "; PRAGMA foreign_keys=OFF;";
  sqlite3_exec(db, pragmas.c_str(), nullptr, nullptr, nullptr);
}

sqlite3* RawOpen(const fsys::path& p, int flags, std::u16string_view shown) {
  sqlite3* db = nullptr;
  int rc = sqlite3_open_v2(p.c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    std::u16string msg = FromUtf8(db ? sqlite3_errmsg(db) : sqlite3_errstr(rc));
    if (db) sqlite3_close_v2(db);
    if ((rc & 0xff) == SQLITE_NOTADB)
      ThrowDb(dberr::kUnrecognizedFormat, u"Unrecognized database format '" + std::u16string(shown) + u"'.");
    ThrowDb(dberr::kCannotOpen, u"The engine cannot open the file '" + std::u16string(shown) + u"'. " + msg);
  }
  return db;
}

// Checks that an open handle is a database of this engine; 3343 otherwise.
void CheckFormat(sqlite3* db, std::u16string_view shown) {
  sqlite3_stmt* st = nullptr;
  int rc = sqlite3_prepare_v2(db, "SELECT value FROM ravelin_meta WHERE name='version'", -1, &st, nullptr);
  if (rc == SQLITE_OK) rc = sqlite3_step(st);
  sqlite3_finalize(st);
  if (rc == SQLITE_ROW || rc == SQLITE_DONE) return;
  if ((rc & 0xff) == SQLITE_BUSY || (rc & 0xff) == SQLITE_LOCKED) InUse(shown);
  ThrowDb(dberr::kUnrecognizedFormat, u"Unrecognized database format '" + std::u16string(shown) + u"'.");
}

void SetVersion(sqlite3* db, int32_t options) {
  std::string v = (options & dbVersion30) ? "3.0" : "4.0";
  std::string sql = "INSERT OR REPLACE INTO ravelin_meta(name, value) VALUES('version','" + v + "')";
  if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) ThrowSqlite(db, sqlite3_errcode(db));
}

// A new file must not meet the log or journal of a file that had its name before (left
// by a crash, the file then deleted): SQLite would replay it into the new one.
void RemoveStaleSidecars(const fsys::path& p) {
  std::error_code ec;
  for (const char* suffix : {"-wal", "-shm", "-journal"}) fsys::remove(fsys::path(p.string() + suffix), ec);
}

std::shared_ptr<Connection> Connect(std::u16string_view path, bool exclusive) {
  fsys::path p = PathOf(path);
  std::error_code ec;
  if (!fsys::is_regular_file(p, ec))
    ThrowDb(dberr::kFileNotFound, u"Could not find file '" + std::u16string(path) + u"'.");
  // Working out the key reads every folder of the path; a file open now already has one
  // (a key that finds no open file is worked out again, the folders may have changed).
  auto& keys = State().keys;
  auto& reg = State().open;
  auto known = keys.find(p.string());
  if (known == keys.end()) {
    if (keys.size() > 64) keys.clear();
    known = keys.emplace(p.string(), std::string()).first;
  }
  std::string key;
  for (bool fresh : {false, true}) {
    if (fresh || known->second.empty()) {
      const std::string worked = KeyOf(p);
      if (worked == known->second && !key.empty()) break;
      known->second = worked;
    }
    key = known->second;
    auto it = reg.find(key);
    if (it == reg.end()) continue;
    if (auto c = it->second.lock()) {
      if (c->exclusive() || exclusive) InUse(path);
      return c;
    }
    reg.erase(it);
  }
  int fd = LockFile(p, exclusive, path);
  sqlite3* db = nullptr;
  try {
    db = RawOpen(p, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, path);
    Configure(db);
    CheckFormat(db, path);
  } catch (...) {
    if (db) sqlite3_close_v2(db);
    ::close(fd);
    throw;
  }
  auto conn = std::make_shared<Connection>(db, key, std::u16string(path), fd, exclusive);
  reg[key] = conn;
  if (State().depth > 0) conn->SetExplicit(true);
  return conn;
}

template <class F>
void ForEachOpen(F&& f) {
  auto& reg = State().open;
  for (auto it = reg.begin(); it != reg.end();) {
    if (auto c = it->second.lock()) {
      f(*c);
      ++it;
    } else {
      it = reg.erase(it);
    }
  }
}

}  // namespace

DBEngine& Engine() {
  static DBEngine* e = new DBEngine();
  return *e;
}

DBEngine::Tuning& DBEngine::tuning() { return State().tuning; }

std::shared_ptr<Database> DBEngine::CreateDatabase(std::u16string_view path, std::u16string_view locale,
                                                   int32_t options) {
  fsys::path p = PathOf(path);
  std::error_code ec;
  if (fsys::exists(p, ec)) ThrowDb(dberr::kDatabaseExists, u"Database already exists.");
  RemoveStaleSidecars(p);
  sqlite3* db = RawOpen(p, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, path);
  std::string sql =
      "PRAGMA encoding='UTF-16le';"
      "BEGIN;"
      "CREATE TABLE ravelin_meta(name TEXT PRIMARY KEY, value TEXT);"
      "CREATE TABLE ravelin_fields(tbl TEXT NOT NULL COLLATE NOCASE, fld TEXT NOT NULL COLLATE NOCASE,"
      " type INTEGER, size INTEGER, attributes INTEGER, required INTEGER, allowzero INTEGER, defaultvalue TEXT,"
      " PRIMARY KEY(tbl, fld));"
      "CREATE TABLE ravelin_indexes(tbl TEXT NOT NULL COLLATE NOCASE, name TEXT NOT NULL COLLATE NOCASE,"
      " isprimary INTEGER, isunique INTEGER, fields TEXT, sqlname TEXT, PRIMARY KEY(tbl, name));"
      "CREATE TABLE ravelin_queries(name TEXT PRIMARY KEY COLLATE NOCASE, sql TEXT);"
      "CREATE TABLE ravelin_seq(tbl TEXT NOT NULL COLLATE NOCASE, fld TEXT NOT NULL COLLATE NOCASE,"
      " last INTEGER, PRIMARY KEY(tbl, fld));"
      "INSERT INTO ravelin_meta(name, value) VALUES('locale', " +
      sql::QuoteText(locale) + ");";
  bool ok = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  if (ok) {
    try {
      SetVersion(db, options);
    } catch (...) {
      ok = false;
    }
  }
  ok = ok && sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK;
  std::u16string err = ok ? u"" : FromUtf8(sqlite3_errmsg(db));
  sqlite3_close_v2(db);
  if (!ok) {
    fsys::remove(p, ec);
    ThrowDb(dberr::kGeneric, u"The database could not be created: " + err);
  }
  return OpenDatabase(path);
}

std::shared_ptr<Database> DBEngine::OpenDatabase(std::u16string_view path, bool exclusive, bool readOnly,
                                                 std::u16string_view) {
  auto conn = Connect(path, exclusive);
  return std::make_shared<Database>(std::move(conn), std::u16string(path), readOnly);
}

void DBEngine::CompactDatabase(std::u16string_view src, std::u16string_view dst, std::u16string_view locale,
                               int32_t options) {
  fsys::path s = PathOf(src), d = PathOf(dst);
  std::error_code ec;
  if (!fsys::is_regular_file(s, ec)) ThrowDb(dberr::kFileNotFound, u"Could not find file '" + std::u16string(src) + u"'.");
  if (fsys::exists(d, ec)) ThrowDb(dberr::kDatabaseExists, u"Database already exists.");
  RemoveStaleSidecars(d);
  auto it = State().open.find(KeyOf(s));
  if (it != State().open.end() && !it->second.expired()) InUse(src);
  int fd = LockFile(s, true, src);
  sqlite3* db = nullptr;
  try {
    db = RawOpen(s, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, src);
    sqlite3_busy_timeout(db, State().tuning.busyTimeoutMs);
    RegisterFunctions(db);
    CheckFormat(db, src);
    Stmt vac(db, "VACUUM INTO ?1");
    std::string target = d.string();
    sqlite3_bind_text(vac.get(), 1, target.c_str(), static_cast<int>(target.size()), SQLITE_TRANSIENT);
    int rc = sqlite3_step(vac.get());
    if (rc != SQLITE_DONE) ThrowSqlite(db, rc, src);
  } catch (...) {
    if (db) sqlite3_close_v2(db);
    ::close(fd);
    fsys::remove(d, ec);
    throw;
  }
  sqlite3_close_v2(db);
  ::close(fd);
  // The copy takes the asked format.
  sqlite3* out = nullptr;
  try {
    out = RawOpen(d, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, dst);
    SetVersion(out, options);
    if (!locale.empty()) {
      std::string sql = "INSERT OR REPLACE INTO ravelin_meta(name, value) VALUES('locale', " + sql::QuoteText(locale) + ")";
      sqlite3_exec(out, sql.c_str(), nullptr, nullptr, nullptr);
    }
  } catch (...) {
    if (out) sqlite3_close_v2(out);
    fsys::remove(d, ec);
    throw;
  }
  sqlite3_close_v2(out);
}

void DBEngine::BeginTrans() {
  if (State().depth++ > 0) return;
  ForEachOpen([](Connection& c) { c.SetExplicit(true); });
}

void DBEngine::CommitTrans() {
  if (State().depth == 0)
    ThrowDb(dberr::kNoTransaction, u"You tried to commit or rollback a transaction without first beginning a transaction.");
  if (--State().depth > 0) return;
  std::optional<Error> failure;
  ForEachOpen([&](Connection& c) {
    try {
      c.SetExplicit(false);
    } catch (const Error& e) {
      if (!failure) failure = e;
    }
  });
  if (failure) throw *failure;
}

void DBEngine::Rollback() {
  if (State().depth == 0)
    ThrowDb(dberr::kNoTransaction, u"You tried to commit or rollback a transaction without first beginning a transaction.");
  State().depth = 0;
  ForEachOpen([](Connection& c) { c.RollbackAll(); });
}

int32_t DBEngine::TransactionDepth() const { return State().depth; }

// ---- Database -------------------------------------------------------------------------

Database::Database(std::shared_ptr<Connection> conn, std::u16string name, bool readOnly)
    : conn_(std::move(conn)), name_(std::move(name)), readOnly_(readOnly) {
  tableDefs_.conn_ = conn_;
  queryDefs_.conn_ = conn_;
}

Database::~Database() = default;

std::shared_ptr<Connection> Database::connection() const {
  if (!conn_) ThrowDb(dberr::kObjectInvalid, u"Object invalid or no longer set.");
  return conn_;
}

std::u16string Database::Version() const { return connection()->Version(); }

TableDefs& Database::TableDefs() {
  auto c = connection();
  if (!tableDefsLoaded_ || loadedGeneration_ != c->Generation()) {
    tableDefs_.Refresh();
    tableDefsLoaded_ = true;
    loadedGeneration_ = c->Generation();
  }
  return tableDefs_;
}

QueryDefs& Database::QueryDefs() {
  connection();
  if (!queryDefsLoaded_) {
    queryDefs_.Refresh();
    queryDefsLoaded_ = true;
  }
  return queryDefs_;
}

std::shared_ptr<TableDef> Database::CreateTableDef(std::u16string name) {
  auto def = std::make_shared<TableDef>(std::move(name));
  def->conn_ = connection();
  return def;
}

std::shared_ptr<QueryDef> Database::CreateQueryDef(std::u16string name, std::u16string sqlText) {
  auto c = connection();
  auto q = std::make_shared<QueryDef>(name, sqlText);
  q->conn_ = c;
  if (!name.empty()) {
    QueryDefs().Append(q);
  }
  return q;
}

std::shared_ptr<Recordset> Database::OpenRecordset(std::u16string_view source, int32_t type, int32_t options) {
  auto rs = MakeRecordset(connection(), source, type, options | (readOnly_ ? dbReadOnly : 0));
  auto& items = recordsets_.items_;
  if (items.size() > 64) recordsets_.Refresh();
  items.push_back(rs);
  return rs;
}

void Database::Execute(std::u16string_view sqlText, int32_t) {
  if (readOnly_) ThrowDb(dberr::kReadOnly, u"Cannot update. Database or object is read-only.");
  recordsAffected_ = ExecuteAction(*connection(), sqlText);
}

void Database::Close() { conn_.reset(); }

int32_t Recordsets::Count() const {
  int32_t n = 0;
  for (const auto& w : items_)
    if (auto r = w.lock(); r && r->IsOpen()) ++n;
  return n;
}

void Recordsets::Refresh() {
  std::vector<std::weak_ptr<Recordset>> keep;
  for (const auto& w : items_)
    if (auto r = w.lock(); r && r->IsOpen()) keep.push_back(w);
  items_.swap(keep);
}

int ExecuteAction(Connection& conn, std::u16string_view sqlText) {
  sql::Statement st = sql::Translate(sqlText);
  if (st.kind == sql::Statement::Select) ThrowDb(dberr::kCannotExecuteSelect, u"Cannot execute a select query.");
  Stmt s(conn.db(), st.sql);
  return conn.StepWrite(s.get());
}

}  // namespace ravelin::dao
