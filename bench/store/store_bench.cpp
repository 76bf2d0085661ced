// The mail store at size: a folder's first page through GetRecordSource (folder and
// project scope), and CorrectDB on an up-to-date store, at 2,000, 20,000 and 100,000
// letters so the growth with the store's size shows. The peer is the same first page read
// with a hand-written statement straight through SQLite on the same file. Both sides keep
// the file open between pages, as a window with its list does.
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "facade/ravelin.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/maintenance.h"
#include "../support/sqlite_first_page.h"

namespace ravelin {
namespace {

// One store per size, built once per process in a temporary home.
struct Store {
  std::filesystem::path home;
  std::u16string db;
};

void Seed(const std::u16string& path, int letters) {
  auto db = dao::OpenDatabase(path, false, false, u"Access");
  const int packs = letters / 100;
  static const char16_t* folders[] = {u"Inbox", u"Sent", u"Outbox", u"Rough copies", u"Recycle"};
  dao::Engine().BeginTrans();
  {
    auto rs = db->OpenRecordset(u"Packs", dao::dbOpenTable);
    for (int p = 0; p < packs; ++p) {
      rs->AddNew();
      rs->SetField(u"Name", Value(u"pack " + NumToText(p)));
      rs->SetField(u"Deleted", Value(false));
      rs->Update();
    }
    rs->Close();
  }
  auto let = db->OpenRecordset(u"Letters", dao::dbOpenTable);
  auto items = db->OpenRecordset(u"PackItems", dao::dbOpenTable);
  auto prj = db->OpenRecordset(u"Projects", dao::dbOpenTable);
  for (int i = 0; i < letters; ++i) {
    let->AddNew();
    const int32_t key = NullConvLng(let->GetField(u"key"));
    let->SetField(u"Subject", Value(u"Subject of letter " + NumToText(i)));
    let->SetField(u"From", Value(u"Sender <s" + NumToText(i % 300) + u"@example.org>"));
    let->SetField(u"To", Value(u"me@example.org"));
    let->SetField(u"MailFolder", Value(folders[i % 5]));
    let->SetField(u"DateReceived", Value(OleDate{43000.0 + i / 50.0}));
    let->SetField(u"Read", Value(i % 3 == 0));
    let->SetField(u"Size", Value(int32_t{1000 + i % 5000}));
    let->Update();
    if (i % 10 == 0) {
      items->AddNew();
      items->SetField(u"Pack_N", Value(int32_t{1 + (i / 10) % packs}));
      items->SetField(u"Msg_N", Value(key));
      items->Update();
    }
    if (i % 7 == 0) {
      prj->AddNew();
      prj->SetField(u"Obj ID", Value(key));
      prj->SetField(u"Project", Value(u"Proj\\" + NumToText(i % 50)));
      prj->Update();
    }
  }
  for (int p = 1; p <= packs; p += 3) {
    prj->AddNew();
    prj->SetField(u"Obj ID", Value(int32_t{p}));
    prj->SetField(u"ObjType", Value(int32_t{objPack}));
    prj->SetField(u"Project", Value(u"Proj\\" + NumToText(p % 50)));
    prj->Update();
  }
  let->Close();
  items->Close();
  prj->Close();
  dao::Engine().CommitTrans();
  db->Close();
}

// Removes the temporary homes when the process ends.
struct Stores : std::map<int, Store> {
  ~Stores() {
    std::error_code ec;
    for (auto& [n, s] : *this) std::filesystem::remove_all(s.home, ec);
  }
};

const Store& StoreOf(int letters) {
  static Stores stores;
  auto it = stores.find(letters);
  if (it != stores.end()) return it->second;
  Store s;
  s.home = std::filesystem::temp_directory_path() /
           ("ravelin-bench-store-" + std::to_string(::getpid()) + "-" + std::to_string(letters));
  std::filesystem::create_directories(s.home / "app");
  auto host = std::make_shared<DefaultHostCommon>();
  host->SetHome(FromUtf8(s.home.string()));
  host->SetQuiet(true);
  SetHostCommon(host);
  module1::SetAppPath(FromUtf8((s.home / "app").string()));
  s.db = module1::GetEmailDbPath();
  store::CorrectDB(s.db);
  Seed(s.db, letters);
  return stores.emplace(letters, s).first->second;
}

// Makes the store of this size the current one (each size has its own home).
const Store& Use(int letters) {
  const Store& s = StoreOf(letters);
  auto host = std::make_shared<DefaultHostCommon>();
  host->SetHome(FromUtf8(s.home.string()));
  host->SetQuiet(true);
  SetHostCommon(host);
  module1::SetAppPath(FromUtf8((s.home / "app").string()));
  return s;
}

void ReadFirstPage(benchmark::State& state, const std::u16string& project, int32_t flags) {
  const Store& s = Use(static_cast<int>(state.range(0)));
  Ravelin mail;
  const int32_t page = mail.GetMsgListCount();
  int64_t rows = 0;
  auto window = dao::OpenDatabase(s.db, false, false, u"Access");
  for (auto _ : state) {
    const std::u16string sql = mail.GetRecordSource(u"Inbox", project, flags, u"key desc", false);
    auto db = dao::OpenDatabase(s.db, false, false, u"Access");
    auto rs = db->OpenRecordset(sql, dao::dbOpenDynaset);
    for (int32_t i = 0; i < page && !rs->Eof(); ++i) {
      benchmark::DoNotOptimize(rs->GetField(u"Subject"));
      ++rows;
      rs->MoveNext();
    }
    rs->Close();
    db->Close();
  }
  window->Close();
  state.counters["rows"] = benchmark::Counter(static_cast<double>(rows) / state.iterations());
}

void BM_FolderFirstPage(benchmark::State& state) { ReadFirstPage(state, u"", Allmsg); }
void BM_ProjectFirstPage(benchmark::State& state) { ReadFirstPage(state, u"Proj\\5", CurPrj); }

// The peer: the folder's first page by a statement written for SQLite, on the same file.
void BM_SqlitePeerFirstPage(benchmark::State& state) {
  const Store& s = Use(static_cast<int>(state.range(0)));
  ravelin::bench::SqliteFirstPage(state, fs::NativePath(s.db));
}

void BM_CorrectDbCurrent(benchmark::State& state) {
  const Store& s = Use(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    auto r = store::CorrectDB(s.db);
    if (r.outcome != store::CorrectOutcome::Current) state.SkipWithError("store not current");
  }
}

BENCHMARK(BM_FolderFirstPage)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ProjectFirstPage)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SqlitePeerFirstPage)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CorrectDbCurrent)->Arg(2000)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ravelin
