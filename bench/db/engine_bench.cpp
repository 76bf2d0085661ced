// The database engine against the plain SQLite C API doing the same work in the same
// run, on files with the same pragmas (the engine's journal mode, synchronous=FULL, UTF-16;
// RAVELIN_BENCH_JOURNAL=DELETE runs both with the rollback journal):
//   - adding letters with one 50 KiB attachment each, a commit per row and one
//     transaction for all;
//   - a three-way LEFT JOIN over 100,000 letters (one folder, in key order): opening it
//     and reading the first 50 rows, MoveLast + RecordCount, FindFirst on key.
// Compare each Ravelin row with its Sqlite row; items/s are rows.
#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "platform/db/dao.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace {

using namespace ravelin;
using namespace ravelin::dao;
namespace fsys = std::filesystem;

const fsys::path& Dir() {
  static fsys::path d = [] {
    fsys::path p = fsys::temp_directory_path() / ("ravelin-bench-" + std::to_string(::getpid()));
    fsys::create_directories(p);
    std::atexit([] { std::error_code ec; fsys::remove_all(fsys::temp_directory_path() / ("ravelin-bench-" + std::to_string(::getpid())), ec); });
    return p;
  }();
  return d;
}

std::string FreshPath(const std::string& name) {
  fsys::path p = Dir() / name;
  std::error_code ec;
  fsys::remove(p, ec);
  return p.string();
}

const std::string kAttachment(50 * 1024, '\x5a');
const std::u16string kMessage(300, u'm');

// ---- Plain SQLite ----------------------------------------------------------------------

std::string JournalMode() {
  static std::string mode = [] {
    const char* env = std::getenv("RAVELIN_BENCH_JOURNAL");
    std::string m = env && *env ? env : "WAL";
    Engine().tuning().journalMode = FromUtf8(m);
    return m;
  }();
  return mode;
}

sqlite3* PeerOpen(const std::string& path) {
  sqlite3* db = nullptr;
  sqlite3_open(path.c_str(), &db);
  std::string pragmas = "PRAGMA encoding='UTF-16le'; PRAGMA journal_mode=" + JournalMode() + "; PRAGMA synchronous=FULL;";
  sqlite3_exec(db, pragmas.c_str(), nullptr, nullptr, nullptr);
  sqlite3_exec(db,
               "CREATE TABLE IF NOT EXISTS Letters(key INTEGER PRIMARY KEY AUTOINCREMENT, Subject TEXT COLLATE NOCASE,"
               " \"From\" TEXT COLLATE NOCASE, DateReceived REAL, DateWrote REAL, \"To\" TEXT COLLATE NOCASE,"
               " MailFolder TEXT COLLATE NOCASE, OldMailFolder TEXT COLLATE NOCASE, Message TEXT COLLATE NOCASE,"
               " Read INTEGER, Size INTEGER);"
               "CREATE TABLE IF NOT EXISTS Files(N INTEGER, type TEXT COLLATE NOCASE, subtype TEXT COLLATE NOCASE,"
               " Charset TEXT COLLATE NOCASE, Data BLOB, filename TEXT COLLATE NOCASE, \"Content-ID\" TEXT,"
               " \"Content-Disposition\" TEXT, AVPchecked INTEGER DEFAULT 0);"
               "CREATE TABLE IF NOT EXISTS PackItems(Pack_N INTEGER, Msg_N INTEGER);"
               "CREATE TABLE IF NOT EXISTS Projects(\"Obj ID\" INTEGER, ObjType INTEGER DEFAULT 0,"
               " Project TEXT COLLATE NOCASE, InsArcPrj INTEGER DEFAULT 0);"
               "CREATE INDEX IF NOT EXISTS ixFolder ON Letters(MailFolder);"
               "CREATE INDEX IF NOT EXISTS ixItems ON PackItems(Msg_N);"
               "CREATE INDEX IF NOT EXISTS ixProjects ON Projects(\"Obj ID\");",
               nullptr, nullptr, nullptr);
  return db;
}

void PeerInsert(sqlite3* db, int rows, bool oneTransaction) {
  sqlite3_stmt *letter = nullptr, *file = nullptr;
  sqlite3_prepare_v2(db,
                     "INSERT INTO Letters(Subject, \"From\", DateReceived, \"To\", MailFolder, Message, Read, Size)"
                     " VALUES(?1, ?2, ?3, ?4, ?5, ?6, 0, ?7)",
                     -1, &letter, nullptr);
  sqlite3_prepare_v2(db,
                     "INSERT INTO Files(N, type, subtype, Data, filename, \"Content-Disposition\", AVPchecked)"
                     " VALUES(?1, 'application', 'pdf', ?2, 'a.pdf', 'attachment', 0)",
                     -1, &file, nullptr);
  if (oneTransaction) sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
  for (int i = 0; i < rows; ++i) {
    std::u16string subject = u"Letter " + NumToText(i);
    sqlite3_bind_text16(letter, 1, subject.data(), static_cast<int>(subject.size() * 2), SQLITE_STATIC);
    sqlite3_bind_text16(letter, 2, u"ann@example.com", 30, SQLITE_STATIC);
    sqlite3_bind_double(letter, 3, 45000.5 + i);
    sqlite3_bind_text16(letter, 4, u"bob@example.com", 30, SQLITE_STATIC);
    sqlite3_bind_text16(letter, 5, u"Inbox", 10, SQLITE_STATIC);
    sqlite3_bind_text16(letter, 6, kMessage.data(), static_cast<int>(kMessage.size() * 2), SQLITE_STATIC);
    sqlite3_bind_int(letter, 7, 60000);
    sqlite3_step(letter);
    sqlite3_reset(letter);
    sqlite3_int64 key = sqlite3_last_insert_rowid(db);
    sqlite3_bind_int64(file, 1, key);
    sqlite3_bind_blob(file, 2, kAttachment.data(), static_cast<int>(kAttachment.size()), SQLITE_STATIC);
    sqlite3_step(file);
    sqlite3_reset(file);
  }
  if (oneTransaction) sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_finalize(letter);
  sqlite3_finalize(file);
}

// ---- Ravelin -------------------------------------------------------------------------

void Field(TableDef& t, const std::u16string& name, int32_t type, int32_t size = 0, int32_t attributes = 0) {
  auto f = t.CreateField(name, type, size);
  if (attributes) f->SetAttributes(attributes);
  if (type == dbText || type == dbMemo) f->SetAllowZeroLength(true);
  t.Fields().Append(f);
}

void Index(Database& db, const std::u16string& table, const std::u16string& name, const std::u16string& field, bool primary) {
  auto t = db.TableDefs()(table);
  auto ix = t->CreateIndex(name);
  ix->SetPrimary(primary);
  ix->Fields().Append(ix->CreateField(field));
  t->Indexes().Append(ix);
}

std::shared_ptr<Database> RavelinCreate(const std::string& path) {
  JournalMode();
  auto db = CreateDatabase(FromUtf8(path), dbLangGeneral, dbVersion40);
  auto l = db->CreateTableDef(u"Letters");
  Field(*l, u"key", dbLong, 0, dbAutoIncrField);
  for (auto n : {u"Subject", u"From"}) Field(*l, n, dbText, 255);
  Field(*l, u"DateReceived", dbDate);
  Field(*l, u"DateWrote", dbDate);
  for (auto n : {u"To", u"MailFolder", u"OldMailFolder"}) Field(*l, n, dbText, 255);
  Field(*l, u"Message", dbMemo);
  Field(*l, u"Read", dbBoolean);
  Field(*l, u"Size", dbLong);
  db->TableDefs().Append(l);
  auto f = db->CreateTableDef(u"Files");
  Field(*f, u"N", dbLong);
  for (auto n : {u"type", u"subtype", u"Charset"}) Field(*f, n, dbText, 255);
  Field(*f, u"Data", dbLongBinary);
  Field(*f, u"filename", dbText, 255);
  Field(*f, u"Content-ID", dbMemo);
  Field(*f, u"Content-Disposition", dbText, 50);
  Field(*f, u"AVPchecked", dbByte);
  db->TableDefs().Append(f);
  auto pi = db->CreateTableDef(u"PackItems");
  Field(*pi, u"Pack_N", dbLong);
  Field(*pi, u"Msg_N", dbLong);
  db->TableDefs().Append(pi);
  auto pr = db->CreateTableDef(u"Projects");
  Field(*pr, u"Obj ID", dbLong);
  Field(*pr, u"ObjType", dbLong);
  Field(*pr, u"Project", dbText, 255);
  Field(*pr, u"InsArcPrj", dbBoolean);
  db->TableDefs().Append(pr);
  Index(*db, u"Letters", u"key", u"key", true);
  Index(*db, u"Letters", u"MailFolder", u"MailFolder", false);
  Index(*db, u"PackItems", u"Msg_N", u"Msg_N", false);
  Index(*db, u"Projects", u"Obj ID", u"Obj ID", false);
  return db;
}

void RavelinInsert(Database& db, int rows, bool oneTransaction) {
  auto letters = db.OpenRecordset(u"Letters", dbOpenDynaset);
  auto files = db.OpenRecordset(u"Files", dbOpenDynaset);
  if (oneTransaction) Engine().BeginTrans();
  Value attachment = Value::Binary(kAttachment);
  for (int i = 0; i < rows; ++i) {
    letters->AddNew();
    Value key = letters->Fields(u"key").Value();
    letters->Fields(u"Subject") = Value(u"Letter " + NumToText(i));
    letters->Fields(u"From") = Value(u"ann@example.com");
    letters->Fields(u"DateReceived") = Value(OleDate{45000.5 + i});
    letters->Fields(u"To") = Value(u"bob@example.com");
    letters->Fields(u"MailFolder") = Value(u"Inbox");
    letters->Fields(u"Message") = Value(kMessage);
    letters->Fields(u"Read") = Value(false);
    letters->Fields(u"Size") = Value(int32_t{60000});
    letters->Update();
    files->AddNew();
    files->Fields(u"N") = key;
    files->Fields(u"type") = Value(u"application");
    files->Fields(u"subtype") = Value(u"pdf");
    files->Fields(u"Data") = attachment;
    files->Fields(u"filename") = Value(u"a.pdf");
    files->Fields(u"Content-Disposition") = Value(u"attachment");
    files->Update();
  }
  if (oneTransaction) Engine().CommitTrans();
}

void InsertArgs(benchmark::internal::Benchmark* b) {
  b->Args({300, 0})->Args({10000, 1})->Iterations(1)->Unit(benchmark::kMillisecond)->UseRealTime();
}

void BM_Insert_Sqlite(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    sqlite3* db = PeerOpen(FreshPath("peer_insert.db"));
    ::sync();  // the previous run's writes must not be paid by this one
    state.ResumeTiming();
    PeerInsert(db, static_cast<int>(state.range(0)), state.range(1) != 0);
    sqlite3_close(db);
    state.PauseTiming();
    std::error_code ec;
    fsys::remove(Dir() / "peer_insert.db", ec);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetLabel(state.range(1) ? "one transaction" : "commit per row");
}
BENCHMARK(BM_Insert_Sqlite)->Apply(InsertArgs);

void BM_Insert_Ravelin(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    std::string path = FreshPath("ravelin_insert.mdb");
    auto db = RavelinCreate(path);
    ::sync();
    state.ResumeTiming();
    RavelinInsert(*db, static_cast<int>(state.range(0)), state.range(1) != 0);
    db.reset();
    state.PauseTiming();
    std::error_code ec;
    fsys::remove(path, ec);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetLabel(state.range(1) ? "one transaction" : "commit per row");
}
BENCHMARK(BM_Insert_Ravelin)->Apply(InsertArgs);

// ---- The 100,000-letter store ----------------------------------------------------------

constexpr int kLetters = 100000;
const char16_t* kFolders[] = {u"Inbox", u"Sent", u"Outbox", u"Rough copies", u"Recycle"};
int32_t lastInboxKey = 0;

const char* kPeerJoin =
    "SELECT Letters.*, PackItems.Pack_N, Projects.Project, Projects.InsArcPrj FROM Letters"
    " LEFT JOIN PackItems ON Letters.key = PackItems.Msg_N LEFT JOIN Projects ON Letters.key = Projects.\"Obj ID\""
    " WHERE Letters.MailFolder = 'Inbox' ORDER BY Letters.key";
const char16_t* kJetJoin =
    u"Select Letters.*, PackItems.Pack_N, Projects.Project, Projects.InsArcPrj FROM (Letters LEFT JOIN PackItems ON "
    u"Letters.key = PackItems.Msg_N) LEFT JOIN Projects ON Letters.key = Projects.[Obj ID] WHERE "
    u"(Letters.[MailFolder] = \"Inbox\") ORDER BY Letters.key;";

sqlite3* PeerStore() {
  static sqlite3* db = [] {
    sqlite3* d = PeerOpen(FreshPath("peer_store.db"));
    sqlite3_exec(d, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_stmt *l, *pi, *pr;
    sqlite3_prepare_v2(d, "INSERT INTO Letters(Subject, \"From\", DateReceived, \"To\", MailFolder, Message, Read, Size) VALUES(?1, 'ann@example.com', ?2, 'bob@example.com', ?3, ?4, 0, 1000)", -1, &l, nullptr);
    sqlite3_prepare_v2(d, "INSERT INTO PackItems(Pack_N, Msg_N) VALUES(?1, ?2)", -1, &pi, nullptr);
    sqlite3_prepare_v2(d, "INSERT INTO Projects(\"Obj ID\", ObjType, Project, InsArcPrj) VALUES(?1, 0, 'Root\\Work', 0)", -1, &pr, nullptr);
    for (int i = 1; i <= kLetters; ++i) {
      std::u16string s = u"Letter " + NumToText(i);
      sqlite3_bind_text16(l, 1, s.data(), static_cast<int>(s.size() * 2), SQLITE_TRANSIENT);
      sqlite3_bind_double(l, 2, 45000.0 + i / 100.0);
      std::u16string f = kFolders[i % 5];
      sqlite3_bind_text16(l, 3, f.data(), static_cast<int>(f.size() * 2), SQLITE_TRANSIENT);
      sqlite3_bind_text16(l, 4, kMessage.data(), static_cast<int>(kMessage.size() * 2), SQLITE_STATIC);
      sqlite3_step(l);
      sqlite3_reset(l);
      if (i % 10 == 0) {
        sqlite3_bind_int(pi, 1, i / 10);
        sqlite3_bind_int(pi, 2, i);
        sqlite3_step(pi);
        sqlite3_reset(pi);
      }
      if (i % 7 == 0) {
        sqlite3_bind_int(pr, 1, i);
        sqlite3_step(pr);
        sqlite3_reset(pr);
      }
    }
    sqlite3_finalize(l);
    sqlite3_finalize(pi);
    sqlite3_finalize(pr);
    sqlite3_exec(d, "COMMIT; ANALYZE;", nullptr, nullptr, nullptr);
    return d;
  }();
  return db;
}

std::shared_ptr<Database> RavelinStore() {
  static std::shared_ptr<Database> db = [] {
    auto d = RavelinCreate(FreshPath("ravelin_store.mdb"));
    Engine().BeginTrans();
    auto l = d->OpenRecordset(u"Letters");
    auto pi = d->OpenRecordset(u"PackItems");
    auto pr = d->OpenRecordset(u"Projects");
    for (int i = 1; i <= kLetters; ++i) {
      l->AddNew();
      l->Fields(u"Subject") = Value(u"Letter " + NumToText(i));
      l->Fields(u"From") = Value(u"ann@example.com");
      l->Fields(u"DateReceived") = Value(OleDate{45000.0 + i / 100.0});
      l->Fields(u"To") = Value(u"bob@example.com");
      l->Fields(u"MailFolder") = Value(kFolders[i % 5]);
      l->Fields(u"Message") = Value(kMessage);
      l->Fields(u"Read") = Value(false);
      l->Fields(u"Size") = Value(int32_t{1000});
      l->Update();
      if (i % 5 == 0 && i > lastInboxKey) lastInboxKey = i;
      if (i % 10 == 0) {
        pi->AddNew();
        pi->Fields(u"Pack_N") = Value(int32_t{i / 10});
        pi->Fields(u"Msg_N") = Value(int32_t{i});
        pi->Update();
      }
      if (i % 7 == 0) {
        pr->AddNew();
        pr->Fields(u"Obj ID") = Value(int32_t{i});
        pr->Fields(u"ObjType") = Value(int32_t{0});
        pr->Fields(u"Project") = Value(u"Root\\Work");
        pr->Fields(u"InsArcPrj") = Value(false);
        pr->Update();
      }
    }
    Engine().CommitTrans();
    return d;
  }();
  return db;
}

// Reads every column of the statement's current row, as a list would.
int64_t PeerReadRow(sqlite3_stmt* st) {
  int64_t n = 0;
  for (int c = 0, k = sqlite3_column_count(st); c < k; ++c) {
    switch (sqlite3_column_type(st, c)) {
      case SQLITE_TEXT: {
        const char16_t* p = static_cast<const char16_t*>(sqlite3_column_text16(st, c));
        std::u16string s(p, static_cast<size_t>(sqlite3_column_bytes16(st, c)) / 2);
        n += static_cast<int64_t>(s.size());
        break;
      }
      case SQLITE_INTEGER:
        n += sqlite3_column_int64(st, c);
        break;
      case SQLITE_FLOAT:
        n += static_cast<int64_t>(sqlite3_column_double(st, c));
        break;
      default:
        break;
    }
  }
  return n;
}

int64_t RavelinReadRow(Recordset& rs) {
  int64_t n = 0;
  for (int c = 0, k = rs.Fields().Count(); c < k; ++c) {
    Value v = rs.Fields(c).Value();
    if (v.Type() == VType::Text) n += static_cast<int64_t>(v.TextRef().size());
    else if (!v.IsNull()) n += static_cast<int64_t>(v.AsDouble());
  }
  return n;
}

void BM_FirstPage_Sqlite(benchmark::State& state) {
  sqlite3* db = PeerStore();
  for (auto _ : state) {
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, kPeerJoin, -1, &st, nullptr);
    int64_t n = 0;
    for (int i = 0; i < 50 && sqlite3_step(st) == SQLITE_ROW; ++i) n += PeerReadRow(st);
    sqlite3_finalize(st);
    benchmark::DoNotOptimize(n);
  }
  state.SetItemsProcessed(state.iterations() * 50);
}
BENCHMARK(BM_FirstPage_Sqlite)->Unit(benchmark::kMicrosecond);

void BM_FirstPage_Ravelin(benchmark::State& state) {
  auto db = RavelinStore();
  for (auto _ : state) {
    auto rs = db->OpenRecordset(kJetJoin);
    int64_t n = 0;
    for (int i = 0; i < 50 && !rs->Eof(); ++i, rs->MoveNext()) n += RavelinReadRow(*rs);
    benchmark::DoNotOptimize(n);
  }
  state.SetItemsProcessed(state.iterations() * 50);
}
BENCHMARK(BM_FirstPage_Ravelin)->Unit(benchmark::kMicrosecond);

void BM_MoveLastCount_Sqlite(benchmark::State& state) {
  sqlite3* db = PeerStore();
  int64_t rows = 0;
  for (auto _ : state) {
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, kPeerJoin, -1, &st, nullptr);
    rows = 0;
    while (sqlite3_step(st) == SQLITE_ROW) ++rows;
    sqlite3_finalize(st);
    benchmark::DoNotOptimize(rows);
  }
  state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_MoveLastCount_Sqlite)->Unit(benchmark::kMillisecond);

void BM_MoveLastCount_Ravelin(benchmark::State& state) {
  auto db = RavelinStore();
  int64_t rows = 0;
  for (auto _ : state) {
    auto rs = db->OpenRecordset(kJetJoin);
    rs->MoveLast();
    rows = rs->RecordCount();
    benchmark::DoNotOptimize(rows);
  }
  state.counters["rows"] = static_cast<double>(rows);
}
BENCHMARK(BM_MoveLastCount_Ravelin)->Unit(benchmark::kMillisecond);

void BM_FindKey_Sqlite(benchmark::State& state) {
  sqlite3* db = PeerStore();
  int64_t target = kLetters;  // the last letter of the folder
  for (auto _ : state) {
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db, kPeerJoin, -1, &st, nullptr);
    int64_t pos = 0;
    while (sqlite3_step(st) == SQLITE_ROW && sqlite3_column_int64(st, 0) != target) ++pos;
    int64_t n = PeerReadRow(st);
    sqlite3_finalize(st);
    benchmark::DoNotOptimize(pos + n);
  }
}
BENCHMARK(BM_FindKey_Sqlite)->Unit(benchmark::kMillisecond);

void BM_FindKey_Ravelin(benchmark::State& state) {
  auto db = RavelinStore();
  std::u16string criteria = u"key=" + NumToText(kLetters);
  for (auto _ : state) {
    auto rs = db->OpenRecordset(kJetJoin);
    rs->FindFirst(criteria);
    if (rs->NoMatch()) state.SkipWithError("no match");
    benchmark::DoNotOptimize(RavelinReadRow(*rs));
  }
}
BENCHMARK(BM_FindKey_Ravelin)->Unit(benchmark::kMillisecond);

}  // namespace
