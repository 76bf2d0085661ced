// The main page's first page of a folder of 100,000 letters (and of 2,000, to show the
// growth): the page's rows from the main page's logic, and the whole trip of a
// "main.list" message from the page's WebSocket to the rows drawn back. The peer in the
// same run reads the same page with a statement written for SQLite on the same file.
#include <filesystem>
#include <map>

#include <benchmark/benchmark.h>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <sqlite3.h>

#include "desktop/main_page.h"
#include "facade/ravelin.h"
#include "platform/db/dao.h"
#include "platform/event_loop.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/maintenance.h"
#include "workbench/main_ops.h"
#include "workbench/workbench_server.h"
#include "../support/sqlite_first_page.h"

namespace ravelin {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;

struct Store {
  std::filesystem::path home;
  std::u16string db;
};

void Seed(const std::u16string& path, int letters) {
  static const char16_t* folders[] = {u"Inbox", u"Sent", u"Outbox", u"Rough copies", u"Recycle"};
  auto db = dao::OpenDatabase(path, false, false, u"Access");
  dao::Engine().BeginTrans();
  auto let = db->OpenRecordset(u"Letters", dao::dbOpenTable);
  for (int i = 0; i < letters; ++i) {
    let->AddNew();
    let->SetField(u"Subject", Value(u"Subject of letter " + NumToText(i)));
    let->SetField(u"From", Value(u"Sender <s" + NumToText(i % 300) + u"@example.org>"));
    let->SetField(u"To", Value(u"me@example.org"));
    // The Inbox holds every letter but one in five: 80,000 of 100,000.
    let->SetField(u"MailFolder", Value(folders[i % 5 == 4 ? 1 + i % 4 : 0]));
    let->SetField(u"DateReceived", Value(OleDate{43000.0 + i / 50.0}));
    let->SetField(u"Read", Value(i % 3 == 0));
    let->SetField(u"Size", Value(int32_t{1000 + i % 5000}));
    let->Update();
  }
  let->Close();
  dao::Engine().CommitTrans();
  db->Close();
}

struct Stores : std::map<int, Store> {
  ~Stores() {
    std::error_code ec;
    for (auto& [n, s] : *this) std::filesystem::remove_all(s.home, ec);
  }
};

// The store of this size made current (each size has its own home).
const Store& Use(int letters) {
  static Stores stores;
  auto it = stores.find(letters);
  const bool fresh = it == stores.end();
  if (fresh) {
    Store s;
    s.home = std::filesystem::temp_directory_path() /
             ("ravelin-bench-main-page-" + std::to_string(::getpid()) + "-" + std::to_string(letters));
    std::filesystem::create_directories(s.home / "app");
    it = stores.emplace(letters, s).first;
  }
  auto host = std::make_shared<DefaultHostCommon>();
  host->SetHome(FromUtf8(it->second.home.string()));
  host->SetQuiet(true);
  SetHostCommon(host);
  module1::SetAppPath(FromUtf8((it->second.home / "app").string()));
  if (fresh) {
    it->second.db = module1::GetEmailDbPath();
    store::CorrectDB(it->second.db);
    Seed(it->second.db, letters);
  }
  return it->second;
}

void BM_MainPageFirstPage(benchmark::State& state) {
  Use(static_cast<int>(state.range(0)));
  desktop::MainPage page;
  page.Hold();  // as the workbench does while a page is open
  const desktop::Place inbox;
  int64_t rows = 0;
  for (auto _ : state) rows += static_cast<int64_t>(page.List(inbox, 1).rows.size());
  page.Release();
  state.counters["rows"] = benchmark::Counter(static_cast<double>(rows) / state.iterations());
}

// From the page's "main.list" to its rows back, through the server and the JSON.
void BM_MainPageFirstPageOverTheWire(benchmark::State& state) {
  Use(static_cast<int>(state.range(0)));
  Ravelin mail;
  workbench::WorkbenchServer server;
  auto keep = workbench::InstallMainPage(server, mail);
  websocket::stream<tcp::socket> ws(loop::Context());
  ws.set_option(websocket::stream_base::decorator(
      [&](websocket::request_type& r) { r.set(beast::http::field::origin, server.Origin()); }));
  beast::get_lowest_layer(ws).connect(tcp::endpoint(asio::ip::make_address_v4("127.0.0.1"), server.Port()));
  bool ready = false;
  ws.async_handshake("127.0.0.1:" + std::to_string(server.Port()), "/" + server.Secret() + "/ws",
                     [&](beast::error_code ec) { ready = !ec; });
  loop::RunUntil([&] { return ready; }, std::chrono::seconds(10));
  if (!ready) return state.SkipWithError("no WebSocket");
  const std::string ask = R"({"op":"main.list","place":{"kind":"folder","folder":"Inbox"},"page":1})";
  beast::flat_buffer in;
  // The page's first message, which the workbench answers with the folders and packs.
  bool inited = false;
  ws.async_write(asio::buffer(std::string_view(R"({"op":"main.init"})")), [&](beast::error_code ec, size_t) {
    if (ec) return void(inited = true);
    ws.async_read(in, [&](beast::error_code, size_t) { inited = true; });
  });
  loop::RunUntil([&] { return inited; }, std::chrono::seconds(10));
  in.consume(in.size());
  for (auto _ : state) {
    bool done = false;
    ws.async_write(asio::buffer(ask), [&](beast::error_code ec, size_t) {
      if (ec) return void(done = true);
      ws.async_read(in, [&](beast::error_code, size_t) { done = true; });
    });
    loop::RunUntil([&] { return done; }, std::chrono::seconds(10));
    benchmark::DoNotOptimize(in.size());
    in.consume(in.size());
  }
  beast::error_code ec;
  beast::get_lowest_layer(ws).close(ec);
  server.Stop();
  loop::RunUntil([&] { return server.OpenPages() == 0; }, std::chrono::seconds(2));
}

// The peer: the Inbox's first page by a statement written for SQLite, on the same file.
void BM_PeerSqliteFirstPage(benchmark::State& state) {
  const Store& s = Use(static_cast<int>(state.range(0)));
  ravelin::bench::SqliteFirstPage(state, fs::NativePath(s.db));
}

BENCHMARK(BM_MainPageFirstPage)->Arg(2000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_MainPageFirstPageOverTheWire)->Arg(2000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PeerSqliteFirstPage)->Arg(2000)->Arg(100000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ravelin
