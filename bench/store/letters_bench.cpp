// Storing and listing letters at volume: importing .eml files of mixed size, inserting
// parsed letters, and reading the first page of a large folder, each beside the same
// work done straight through SQLite's C API in the same run.
#include <sqlite3.h>

#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "facade/ravelin.h"
#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "store/add_letter.h"
#include "store/maintenance.h"
#include "../support/bench_home.h"

namespace ravelin {
namespace {

constexpr int kBatch = 200;  // letters per transaction, for the store and the peer alike

std::string Base64Lines(const std::string& bytes) {
  static const char* abc = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string out, line;
  for (size_t i = 0; i < bytes.size(); i += 3) {
    uint32_t v = static_cast<unsigned char>(bytes[i]) << 16;
    if (i + 1 < bytes.size()) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
    if (i + 2 < bytes.size()) v |= static_cast<unsigned char>(bytes[i + 2]);
    line += abc[(v >> 18) & 63];
    line += abc[(v >> 12) & 63];
    line += i + 1 < bytes.size() ? abc[(v >> 6) & 63] : '=';
    line += i + 2 < bytes.size() ? abc[v & 63] : '=';
    if (line.size() >= 76) {
      out += line + "\r\n";
      line.clear();
    }
  }
  return out + line + "\r\n";
}

// Letter i of the mixed set: three in four are short plain letters, about one in five
// carries an 8 KB attachment, one in thirty-three a 64 KB one.
std::string MakeLetter(int i, std::mt19937& rng) {
  std::string text;
  const int lines = 10 + static_cast<int>(rng() % 30);
  for (int l = 0; l < lines; ++l) text += "Line " + std::to_string(l) + " of letter " + std::to_string(i) + ", with some words to read.\r\n";
  std::string head = "From: Sender " + std::to_string(i % 97) + " <s" + std::to_string(i % 97) +
                     "@example.org>\r\nTo: ann@example.net\r\nSubject: Letter number " + std::to_string(i) +
                     "\r\nDate: Mon, 2 Nov 2026 09:15:00 +0100\r\n";
  size_t attach = 0;
  if (i % 33 == 0) attach = 64 * 1024;
  else if (i % 5 == 0) attach = 8 * 1024;
  if (!attach) return head + "Content-Type: text/plain; charset=us-ascii\r\n\r\n" + text;
  std::string data(attach, '\0');
  for (auto& c : data) c = static_cast<char>(rng());
  return head + "Content-Type: multipart/mixed; boundary=\"b\"\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\n" + text +
         "--b\r\nContent-Type: application/octet-stream; name=\"d" + std::to_string(i) +
         ".bin\"\r\nContent-Transfer-Encoding: base64\r\n\r\n" + Base64Lines(data) + "--b--\r\n";
}

// A home folder of its own with a new store; removed at the end.
struct Home : bench::BenchHome {
  Home() : BenchHome("letters") {}
};

struct Corpus {
  std::vector<std::string> letters;
  int64_t bytes = 0;
};
const Corpus& Letters(int n) {
  static std::map<int, Corpus> cache;
  auto& c = cache[n];
  if (c.letters.empty()) {
    std::mt19937 rng(42);
    for (int i = 1; i <= n; ++i) {
      c.letters.push_back(MakeLetter(i, rng));
      c.bytes += static_cast<int64_t>(c.letters.back().size());
    }
  }
  return c;
}

// Imports through AddLetterFromEML, as `ravelin import` does: read, parse, insert.
void BM_ImportEml(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Corpus& corpus = Letters(n);
  for (auto _ : state) {
    state.PauseTiming();
    Home home;
    std::vector<std::u16string> files;
    for (int i = 0; i < n; ++i) {
      files.push_back(FromUtf8((home.path() / ("m" + std::to_string(i) + ".eml")).string()));
      fs::WriteAll(files.back(), corpus.letters[static_cast<size_t>(i)]);
    }
    auto keep = dao::OpenDatabase(module1::GetEmailDbPath());
    state.ResumeTiming();
    store::ImportRun run;
    for (int i = 0; i < n; ++i) {
      if (i % kBatch == 0) dao::Engine().BeginTrans();
      benchmark::DoNotOptimize(store::AddLetterFromEML(files[static_cast<size_t>(i)]));
      if (i % kBatch == kBatch - 1 || i == n - 1) dao::Engine().CommitTrans();
    }
    state.PauseTiming();
    keep->Close();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * corpus.bytes);
}

std::vector<mailHeader> Parsed(const Corpus& corpus) {
  std::vector<mailHeader> out;
  for (const auto& l : corpus.letters) {
    mailHeader h;
    GetSubItems(BytesToByteText(l), h);
    h.mSize = static_cast<int32_t>(l.size());
    out.push_back(std::move(h));
  }
  return out;
}

// The insertion alone: parsed letters into the store.
void BM_InsertParsed(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Corpus& corpus = Letters(n);
  const std::vector<mailHeader> parsed = Parsed(corpus);
  for (auto _ : state) {
    state.PauseTiming();
    Home home;
    std::vector<mailHeader> work = parsed;
    auto keep = dao::OpenDatabase(module1::GetEmailDbPath());
    state.ResumeTiming();
    store::ImportRun run;
    for (int i = 0; i < n; ++i) {
      if (i % kBatch == 0) dao::Engine().BeginTrans();
      int32_t folder = -1;
      benchmark::DoNotOptimize(store::AddLetterFromMailHeader(work[static_cast<size_t>(i)], folder));
      if (i % kBatch == kBatch - 1 || i == n - 1) dao::Engine().CommitTrans();
    }
    state.PauseTiming();
    keep->Close();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * corpus.bytes);
}

// The peer: the same rows (a letter and its attachment rows) through prepared statements,
// in a file kept as the store keeps its own (WAL, every commit synced) with the indexes
// the store keeps on Letters and Files; the accounts are read once per run, as the store
// reads them.
void BM_InsertSqliteDirect(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Corpus& corpus = Letters(n);
  const std::vector<mailHeader> parsed = Parsed(corpus);
  for (auto _ : state) {
    state.PauseTiming();
    Home home;
    const std::string file = (home.path() / "peer.db").string();
    sqlite3* db = nullptr;
    sqlite3_open(file.c_str(), &db);
    sqlite3_exec(db,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL;"
                 "CREATE TABLE Letters(key INTEGER PRIMARY KEY AUTOINCREMENT, Subject TEXT, [From] TEXT, "
                 "DateReceived REAL, DateWrote REAL, [To] TEXT, MailFolder TEXT, OldMailFolder TEXT, Message TEXT, "
                 "Read INTEGER, Size INTEGER);"
                 "CREATE TABLE Files(N INTEGER, type TEXT, subtype TEXT, Charset TEXT, Data BLOB, filename TEXT, "
                 "[Content-ID] TEXT, [Content-Disposition] TEXT, AVPchecked INTEGER DEFAULT 0, [Content-Location] TEXT);"
                 "CREATE TABLE Accounts([User] TEXT, [@after] TEXT);"
                 "CREATE INDEX L1 ON Letters(MailFolder); CREATE INDEX L2 ON Letters(MailFolder, DateReceived);"
                 "CREATE INDEX L3 ON Letters(DateReceived); CREATE INDEX F1 ON Files(N);",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt *insL = nullptr, *insF = nullptr, *acc = nullptr;
    sqlite3_prepare_v2(db,
                       "INSERT INTO Letters(Subject,[From],DateWrote,[To],MailFolder,Message,Size) "
                       "VALUES(?1,?2,?3,?4,?5,?6,?7)",
                       -1, &insL, nullptr);
    sqlite3_prepare_v2(db, "INSERT INTO Files(N,type,subtype,Charset,Data,filename) VALUES(?1,?2,?3,?4,?5,?6)", -1,
                       &insF, nullptr);
    sqlite3_prepare_v2(db, "SELECT [User],[@after] FROM Accounts", -1, &acc, nullptr);
    state.ResumeTiming();
    // The folder is worked out from the accounts, as the store does.
    while (sqlite3_step(acc) == SQLITE_ROW) {
    }
    sqlite3_reset(acc);
    for (int i = 0; i < n; ++i) {
      const mailHeader& h = parsed[static_cast<size_t>(i)];
      if (i % kBatch == 0) sqlite3_exec(db, "BEGIN", nullptr, nullptr, nullptr);
      const auto bind16 = [](sqlite3_stmt* st, int col, const std::u16string& s) {
        sqlite3_bind_text16(st, col, s.data(), static_cast<int>(s.size() * 2), SQLITE_TRANSIENT);
      };
      bind16(insL, 1, h.Subject);
      bind16(insL, 2, h.From);
      sqlite3_bind_double(insL, 3, 46000.5);
      bind16(insL, 4, h.to);
      bind16(insL, 5, u"Inbox");
      bind16(insL, 6, h.Message);
      sqlite3_bind_int(insL, 7, h.mSize);
      sqlite3_step(insL);
      sqlite3_reset(insL);
      const sqlite3_int64 key = sqlite3_last_insert_rowid(db);
      for (const AttachFile& f : h.attFiles) {
        sqlite3_bind_int64(insF, 1, key);
        bind16(insF, 2, f.ftype);
        bind16(insF, 3, f.fsubtype);
        bind16(insF, 4, f.ContentTransferEncoding);
        const std::string bytes = ByteTextToBytes(f.fData);
        sqlite3_bind_blob(insF, 5, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
        bind16(insF, 6, f.fname);
        sqlite3_step(insF);
        sqlite3_reset(insF);
      }
      if (i % kBatch == kBatch - 1 || i == n - 1) sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    }
    state.PauseTiming();
    sqlite3_finalize(insL);
    sqlite3_finalize(insF);
    sqlite3_finalize(acc);
    sqlite3_close(db);
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * corpus.bytes);
}

// A store whose Inbox holds n short letters, kept for the listing benchmarks.
Home& StoreWith(int n) {
  static std::map<int, std::unique_ptr<Home>> homes;
  auto& h = homes[n];
  if (!h) {
    h = std::make_unique<Home>();
    auto keep = dao::OpenDatabase(module1::GetEmailDbPath());
    std::mt19937 rng(7);
    for (int i = 1; i <= n; ++i) {
      if (i % 500 == 1) dao::Engine().BeginTrans();
      mailHeader m;
      m.From = u"Sender <s@example.org>";
      m.to = u"ann@example.net";
      m.Subject = u"Letter " + FromUtf8(std::to_string(i));
      m.Message = u"Short text.";
      m.Content_Type = u"text";
      m.strDate = u"1/" + FromUtf8(std::to_string(1 + rng() % 28)) + u"/2026 10:00:00 AM";
      int32_t folder = Inbox;
      store::AddLetterFromMailHeader(m, folder);
      if (i % 500 == 0 || i == n) dao::Engine().CommitTrans();
    }
  } else {
    auto host = std::make_shared<DefaultHostCommon>();
    host->SetHome(FromUtf8(h->path().string()));
    host->SetQuiet(true);
    SetHostCommon(host);
  }
  return *h;
}

// `ravelin list`'s work: the folder's statement, then the first page of rows.
void BM_ListFirstPage(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  StoreWith(n);
  Ravelin& mail = module1::SharedMail();
  const int32_t page = mail.GetMsgListCount();
  // The list's window keeps the file open, as the peer below does.
  auto window = dao::OpenDatabase(module1::GetEmailDbPath());
  for (auto _ : state) {
    auto db = dao::OpenDatabase(module1::GetEmailDbPath());
    auto rs = db->OpenRecordset(mail.GetRecordSource(u"Inbox", u"", 0, u"DateReceived", false), dao::dbOpenSnapshot);
    int32_t rows = 0;
    while (!rs->Eof() && rows < page) {
      benchmark::DoNotOptimize(rs->GetField(u"Subject"));
      rs->MoveNext();
      ++rows;
    }
    if (rows != page) state.SkipWithError("short page");
    rs->Close();
    db->Close();
  }
  window->Close();
  state.counters["folder_letters"] = n;
}

// The peer: the same page with LIMIT, straight on the store's file.
void BM_ListFirstPageSqliteDirect(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  StoreWith(n);
  const std::string file = fs::NativePath(module1::GetEmailDbPath());
  sqlite3* db = nullptr;
  sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  // The store's text columns collate without case; the peer needs the same rule to read them.
  sqlite3_create_collation(db, "RVTEXT", SQLITE_UTF8, nullptr,
                           [](void*, int n1, const void* a, int n2, const void* b) {
                             const int r = sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b),
                                                            n1 < n2 ? n1 : n2);
                             return r != 0 ? r : n1 - n2;
                           });
  for (auto _ : state) {
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db,
                       "SELECT * FROM Letters WHERE MailFolder='Inbox' ORDER BY DateReceived LIMIT 10", -1, &st,
                       nullptr);
    int rows = 0;
    while (sqlite3_step(st) == SQLITE_ROW) {
      benchmark::DoNotOptimize(sqlite3_column_text16(st, 1));
      ++rows;
    }
    sqlite3_finalize(st);
    if (rows != 10) state.SkipWithError("short page");
  }
  sqlite3_close(db);
  state.counters["folder_letters"] = n;
}

BENCHMARK(BM_ImportEml)->Arg(2000)->Arg(20000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InsertParsed)->Arg(2000)->Arg(20000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InsertSqliteDirect)->Arg(2000)->Arg(20000)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListFirstPage)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ListFirstPageSqliteDirect)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ravelin
