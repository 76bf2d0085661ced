// Packs and projects at size, each at two sizes ten times apart so the growth shows:
// recycling and restoring a pack of N letters; moving a project subtree with N letter
// links and N/10 packs (and back); listing N packs into a list view; 100 rules applied
// to N letters. The peers do the same row work with hand-written statements straight
// through SQLite on the same file.
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "packs/packs.h"
#include "packs/projects.h"
#include "packs/rules.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/maintenance.h"

namespace ravelin {
namespace {

struct Store {
  std::filesystem::path home;
  std::u16string db;
};

// N letters, all in pack 1 and linked to "Projects\P\<i % 20>"; N/10 packs (pack 1 among
// them) in "Projects\P\<p % 20>"; 100 rules, each on a subject word of a few letters.
void Seed(const std::u16string& path, int n) {
  auto db = dao::OpenDatabase(path, false, false, u"Access");
  dao::Engine().BeginTrans();
  auto packs = db->OpenRecordset(u"Packs", dao::dbOpenTable);
  auto prj = db->OpenRecordset(u"Projects", dao::dbOpenTable);
  for (int p = 0; p < n / 10; ++p) {
    packs->AddNew();
    const int32_t N = NullConvLng(packs->GetField(u"N"));
    packs->SetField(u"Name", Value(u"pack " + NumToText(p)));
    packs->SetField(u"Comments", Value(u"about " + NumToText(p)));
    packs->Update();
    prj->AddNew();
    prj->SetField(u"Obj ID", Value(N));
    prj->SetField(u"ObjType", Value(int32_t{objPack}));
    prj->SetField(u"Project", Value(u"Projects\\P\\" + NumToText(p % 20)));
    prj->Update();
  }
  auto let = db->OpenRecordset(u"Letters", dao::dbOpenTable);
  auto items = db->OpenRecordset(u"PackItems", dao::dbOpenTable);
  for (int i = 0; i < n; ++i) {
    let->AddNew();
    const int32_t key = NullConvLng(let->GetField(u"key"));
    let->SetField(u"Subject", Value(u"Report w" + NumToText(i % 1000) + u" of letter " + NumToText(i)));
    let->SetField(u"From", Value(u"Sender <s" + NumToText(i % 300) + u"@example" + NumToText(i % 7) + u".org>"));
    let->SetField(u"To", Value(u"Me <me@example.org>"));
    let->SetField(u"MailFolder", Value(u"Inbox"));
    let->SetField(u"DateWrote", Value(OleDate{43000.0 + i / 50.0}));
    let->SetField(u"Size", Value(int32_t{1000}));
    let->Update();
    items->AddNew();
    items->SetField(u"Pack_N", Value(int32_t{1}));
    items->SetField(u"Msg_N", Value(key));
    items->Update();
    prj->AddNew();
    prj->SetField(u"Obj ID", Value(key));
    prj->SetField(u"ObjType", Value(int32_t{objLetter}));
    prj->SetField(u"Project", Value(u"Projects\\P\\" + NumToText(i % 20)));
    prj->Update();
  }
  auto rules = db->OpenRecordset(u"Rules", dao::dbOpenTable);
  for (int r = 0; r < 100; ++r) {
    rules->AddNew();
    rules->SetField(u"Action", Value(int32_t{1}));
    rules->SetField(u"Pack_N", Value(int32_t{2 + r % 5}));
    rules->SetField(u"Flags", Value(int32_t{2 + 4}));
    rules->SetField(u"Subject", Value(u"report w" + NumToText(r * 7) + u" "));
    rules->SetField(u"Sender1", Value(u"example" + NumToText(r % 7)));
    rules->Update();
  }
  packs->Close();
  prj->Close();
  let->Close();
  items->Close();
  rules->Close();
  dao::Engine().CommitTrans();
  db->Close();
}

struct Stores : std::map<int, Store> {
  ~Stores() {
    std::error_code ec;
    for (auto& [n, s] : *this) std::filesystem::remove_all(s.home, ec);
  }
};

void Point(const Store& s) {
  auto host = std::make_shared<DefaultHostCommon>();
  host->SetHome(FromUtf8(s.home.string()));
  host->SetQuiet(true);
  SetHostCommon(host);
  module1::SetAppPath(FromUtf8((s.home / "app").string()));
}

const Store& Use(int n) {
  static Stores stores;
  auto it = stores.find(n);
  if (it == stores.end()) {
    Store s;
    s.home = std::filesystem::temp_directory_path() /
             ("ravelin-bench-packs-" + std::to_string(::getpid()) + "-" + std::to_string(n));
    std::filesystem::create_directories(s.home / "app");
    Point(s);
    s.db = module1::GetEmailDbPath();
    store::CorrectDB(s.db);
    Seed(s.db, n);
    it = stores.emplace(n, s).first;
  }
  Point(it->second);
  return it->second;
}

// ---- Recycling and restoring a pack ------------------------------------------------------

void BM_RecycleRestorePack(benchmark::State& state) {
  Use(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    std::u16string none;
    bool arc = false;
    packs::DeletePack2(1, none, arc, 0);
    packs::RestorePack2(1);
  }
  state.SetComplexityN(state.range(0));
}

sqlite3* OpenPeer(const Store& s) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(fs::NativePath(s.db).c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
  sqlite3_create_collation(db, "RVTEXT", SQLITE_UTF8, nullptr, [](void*, int na, const void* a, int nb, const void* b) {
    int r = sqlite3_strnicmp(static_cast<const char*>(a), static_cast<const char*>(b), na < nb ? na : nb);
    return r != 0 ? r : na - nb;
  });
  return db;
}

// Runs the peer's statements once per iteration and closes its connection.
void RunPeerSql(benchmark::State& state, sqlite3* db, const char* sql) {
  for (auto _ : state) {
    if (sqlite3_exec(db, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
      state.SkipWithError(sqlite3_errmsg(db));
      break;
    }
  }
  sqlite3_close(db);
  state.SetComplexityN(state.range(0));
}

void BM_SqlitePeerRecycleRestorePack(benchmark::State& state) {
  const Store& s = Use(static_cast<int>(state.range(0)));
  sqlite3* db = OpenPeer(s);
  const char* sql =
      "BEGIN;"
      "UPDATE Letters SET OldMailFolder = MailFolder, MailFolder = 'Recycle' "
      " WHERE key IN (SELECT Msg_N FROM PackItems WHERE Pack_N = 1);"
      "UPDATE Packs SET Deleted = 1 WHERE N = 1;"
      "UPDATE Letters SET MailFolder = OldMailFolder, OldMailFolder = NULL "
      " WHERE key IN (SELECT Msg_N FROM PackItems WHERE Pack_N = 1);"
      "UPDATE Packs SET Deleted = 0 WHERE N = 1;"
      "COMMIT;";
  RunPeerSql(state, db, sql);
}

// ---- Moving a project subtree ---------------------------------------------------------------

void BM_MoveProjectSubtree(benchmark::State& state) {
  Use(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    packs::rProjectMoved(u"Projects\\P", u"Projects\\Q");
    packs::rProjectMoved(u"Projects\\Q", u"Projects\\P");
  }
  state.SetComplexityN(state.range(0));
}

void BM_SqlitePeerMoveProjectSubtree(benchmark::State& state) {
  const Store& s = Use(static_cast<int>(state.range(0)));
  sqlite3* db = OpenPeer(s);
  const char* sql =
      "BEGIN;"
      "UPDATE Projects SET Project = 'Projects\\Q' || substr(Project, 11) "
      " WHERE lower(substr(Project || '\\', 1, 11)) = lower('Projects\\P\\') AND InsArcPrj = 0;"
      "UPDATE Projects SET Project = 'Projects\\P' || substr(Project, 11) "
      " WHERE lower(substr(Project || '\\', 1, 11)) = lower('Projects\\Q\\') AND InsArcPrj = 0;"
      "COMMIT;";
  RunPeerSql(state, db, sql);
}

// ---- Listing packs --------------------------------------------------------------------------

void BM_ListPacks(benchmark::State& state) {
  const Store& s = Use(static_cast<int>(state.range(0)) * 10);  // N packs come with 10 N letters
  for (auto _ : state) {
    auto db = dao::OpenDatabase(s.db, false, false, u"Access");
    auto rs = db->OpenRecordset(u"Select Packs.*, Projects.Project, Projects.InsArcPrj From Packs LEFT JOIN Projects ON "
                                u"(Packs.N = Projects.[Obj ID] and Projects.ObjType=1);",
                                dao::dbOpenDynaset);
    packs::MemoryListView list({u"Name", u"Folder"});
    benchmark::DoNotOptimize(packs::RereadPacksData2(*rs, list));
    rs->Close();
    db->Close();
  }
  state.SetComplexityN(state.range(0));
}

void BM_SqlitePeerListPacks(benchmark::State& state) {
  const Store& s = Use(static_cast<int>(state.range(0)) * 10);
  sqlite3* db = OpenPeer(s);
  for (auto _ : state) {
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(db,
                       "SELECT Packs.N, Packs.Name, Packs.Comments, Projects.Project, Projects.InsArcPrj FROM Packs "
                       "LEFT JOIN Projects ON Packs.N = Projects.\"Obj ID\" AND Projects.ObjType = 1",
                       -1, &st, nullptr);
    std::vector<std::u16string> names;
    while (sqlite3_step(st) == SQLITE_ROW)
      names.emplace_back(static_cast<const char16_t*>(sqlite3_column_text16(st, 1)));
    sqlite3_finalize(st);
    benchmark::DoNotOptimize(names);
  }
  sqlite3_close(db);
  state.SetComplexityN(state.range(0));
}

// ---- Applying rules ----------------------------------------------------------------------

void BM_ApplyRules(benchmark::State& state) {
  Use(static_cast<int>(state.range(0)));
  int64_t matches = 0;
  for (auto _ : state) matches = static_cast<int64_t>(packs::ApplyRules(u"Inbox", false).size());
  state.counters["matches"] = static_cast<double>(matches);
  state.SetComplexityN(state.range(0));
}

BENCHMARK(BM_RecycleRestorePack)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_SqlitePeerRecycleRestorePack)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_MoveProjectSubtree)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_SqlitePeerMoveProjectSubtree)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_ListPacks)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_SqlitePeerListPacks)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_ApplyRules)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();

}  // namespace
}  // namespace ravelin
