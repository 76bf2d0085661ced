// Address-book packs at size: enumerating N letters against a person with 5 addresses
// (the walk is N x 5 rows), and filling the collection of O owners
// with two addresses each. The peers do the same work with hand-written statements
// straight through SQLite on the same files: the letters walked once per address with the
// pure address compared in C++, and the owners' addresses and names read by prepared
// statements.
#include <strings.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "desktop/address_book.h"
#include "facade/ravelin.h"
#include "packs/abpack.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/maintenance.h"

namespace ravelin {
namespace {

constexpr int kSenders = 300;

// One home per size of the mail: N letters from "s<i % 300>@example.org"; an address
// book whose first person has the addresses s0..s4, followed by `owners` - 1 more persons
// with two addresses each.
struct Home {
  std::filesystem::path home;
  std::u16string mail, book;
};

void SeedLetters(const std::u16string& path, int n) {
  auto db = dao::OpenDatabase(path, false, false, u"Access");
  dao::Engine().BeginTrans();
  auto let = db->OpenRecordset(u"Letters", dao::dbOpenTable);
  for (int i = 0; i < n; ++i) {
    let->AddNew();
    let->SetField(u"Subject", Value(u"letter " + NumToText(i)));
    let->SetField(u"From", Value(u"Sender <s" + NumToText(i % kSenders) + u"@example.org>"));
    let->SetField(u"To", Value(u"Me <me@example.org>"));
    let->SetField(u"MailFolder", Value(i % 10 == 0 ? u"Recycle" : u"Inbox"));
    let->SetField(u"DateWrote", Value(OleDate{43000.0 + i / 50.0}));
    let->Update();
  }
  let->Close();
  dao::Engine().CommitTrans();
  db->Close();
}

void SeedBook(const std::u16string& path, int owners) {
  std::vector<vcard::Card> cards;
  vcard::Card target;
  target.fullName = u"Target Person";
  for (int a = 0; a < 5; ++a) target.emails.push_back(u"s" + NumToText(a) + u"@example.org");
  cards.push_back(target);
  for (int o = 1; o < owners; ++o) {
    vcard::Card c;
    c.fullName = u"Person " + NumToText(o);
    c.emails = {u"p" + NumToText(o) + u"@example.org", u"p" + NumToText(o) + u"@home.example.org"};
    cards.push_back(c);
  }
  desktop::ImportCards(path, cards);
}

void Point(const Home& h) {
  auto host = std::make_shared<DefaultHostCommon>();
  host->SetHome(FromUtf8(h.home.string()));
  host->SetQuiet(true);
  SetHostCommon(host);
  module1::SetAppPath(FromUtf8((h.home / "app").string()));
  desktop::SetAddressBookFile(h.book);
  packs::SetAddressBook(std::make_shared<desktop::SqliteAddressBook>());
}

struct Homes : std::map<std::pair<int, int>, Home> {
  ~Homes() {
    std::error_code ec;
    for (auto& [k, h] : *this) std::filesystem::remove_all(h.home, ec);
  }
};

const Home& Use(int letters, int owners) {
  static Homes homes;
  auto it = homes.find({letters, owners});
  if (it == homes.end()) {
    Home h;
    h.home = std::filesystem::temp_directory_path() / ("ravelin-bench-abpack-" + std::to_string(::getpid()) + "-" +
                                                       std::to_string(letters) + "-" + std::to_string(owners));
    std::filesystem::create_directories(h.home / "app");
    h.book = FromUtf8((h.home / "AddressBook.db").string());
    Point(h);
    h.mail = module1::GetEmailDbPath();
    store::CorrectDB(h.mail);
    SeedLetters(h.mail, letters);
    SeedBook(h.book, owners);
    it = homes.emplace(std::make_pair(letters, owners), h).first;
  }
  Point(it->second);
  return it->second;
}

sqlite3* OpenPeer(const std::u16string& path) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(fs::NativePath(path).c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  return db;
}

// The pure address as the pack compares it: inside the angle brackets, else the whole.
std::string_view Pure(const unsigned char* text) {
  if (!text) return {};
  std::string_view s(reinterpret_cast<const char*>(text));
  const size_t lt = s.find('<'), gt = s.rfind('>');
  if (lt != std::string_view::npos && gt != std::string_view::npos && gt > lt) s = s.substr(lt + 1, gt - lt - 1);
  while (!s.empty() && s.front() == ' ') s.remove_prefix(1);
  while (!s.empty() && s.back() == ' ') s.remove_suffix(1);
  return s;
}

bool SameNoCase(std::string_view a, const std::string& b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// ---- Enumerating a person's letters ----------------------------------------------------

void BM_ABPackEnumerate(benchmark::State& state) {
  const int letters = static_cast<int>(state.range(0));
  Use(letters, 2);
  size_t found = 0;
  for (auto _ : state) {
    packs::ABPack pack;
    pack.ObjectID = 1;
    pack.MsgStatus = HideDeleted;
    pack.GetHTML(true);
    found = pack.Keys().size();
  }
  state.counters["found"] = static_cast<double>(found);
  state.counters["rows"] = static_cast<double>(letters) * 5;
  state.SetComplexityN(letters);
}

void BM_SqlitePeerEnumerate(benchmark::State& state) {
  const int letters = static_cast<int>(state.range(0));
  const Home& h = Use(letters, 2);
  sqlite3* book = OpenPeer(h.book);
  sqlite3* mail = OpenPeer(h.mail);
  size_t found = 0;
  for (auto _ : state) {
    std::vector<std::string> addresses;
    sqlite3_stmt* a = nullptr;
    sqlite3_prepare_v2(book,
                       "SELECT ResourceString FROM Resources WHERE OwnerType = 0 AND \"Owner ID\" = 1 "
                       "ORDER BY \"Resource ID\"",
                       -1, &a, nullptr);
    while (sqlite3_step(a) == SQLITE_ROW)
      addresses.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(a, 0)));
    sqlite3_finalize(a);
    std::vector<int> keys;
    sqlite3_stmt* s = nullptr;
    sqlite3_prepare_v2(mail, "SELECT key, MailFolder, \"From\", \"To\" FROM Letters", -1, &s, nullptr);
    for (const std::string& address : addresses) {
      while (sqlite3_step(s) == SQLITE_ROW) {
        const auto* folder = reinterpret_cast<const char*>(sqlite3_column_text(s, 1));
        if (folder && strcasecmp(folder, "Recycle") == 0) continue;
        if (SameNoCase(Pure(sqlite3_column_text(s, 2)), address) ||
            SameNoCase(Pure(sqlite3_column_text(s, 3)), address))
          keys.push_back(sqlite3_column_int(s, 0));
      }
      sqlite3_reset(s);
    }
    sqlite3_finalize(s);
    found = keys.size();
  }
  sqlite3_close(book);
  sqlite3_close(mail);
  state.counters["found"] = static_cast<double>(found);
  state.counters["rows"] = static_cast<double>(letters) * 5;
  state.SetComplexityN(letters);
}

// ---- Filling the collection of owners --------------------------------------------------

void BM_ABPacksRefresh(benchmark::State& state) {
  const int owners = static_cast<int>(state.range(0));
  Use(1000, owners);
  int count = 0;
  for (auto _ : state) {
    packs::ABPacks all;
    all.Refresh();
    count = all.Count();
  }
  state.counters["packs"] = count;
  state.SetComplexityN(owners);
}

void BM_SqlitePeerABPacksRefresh(benchmark::State& state) {
  const int owners = static_cast<int>(state.range(0));
  const Home& h = Use(1000, owners);
  sqlite3* book = OpenPeer(h.book);
  int count = 0;
  for (auto _ : state) {
    sqlite3_stmt *o = nullptr, *a = nullptr, *n = nullptr;
    sqlite3_prepare_v2(book,
                       "SELECT \"Personal ID\", 0 FROM Personal UNION ALL SELECT \"Organization ID\", 1 FROM "
                       "Organizations UNION ALL SELECT \"Job ID\", 2 FROM JobTitles UNION ALL SELECT "
                       "\"Employee ID\", 4 FROM Employees",
                       -1, &o, nullptr);
    sqlite3_prepare_v2(book,
                       "SELECT ResourceString FROM Resources WHERE OwnerType = ?2 AND \"Owner ID\" = ?1 "
                       "ORDER BY \"Resource ID\"",
                       -1, &a, nullptr);
    sqlite3_prepare_v2(book, "SELECT FullName FROM Personal WHERE \"Personal ID\" = ?1", -1, &n, nullptr);
    std::map<std::string, int> titles;
    while (sqlite3_step(o) == SQLITE_ROW) {
      const int id = sqlite3_column_int(o, 0), kind = sqlite3_column_int(o, 1);
      sqlite3_bind_int(a, 1, id);
      sqlite3_bind_int(a, 2, kind);
      int addresses = 0;
      while (sqlite3_step(a) == SQLITE_ROW) ++addresses;
      sqlite3_reset(a);
      if (!addresses) continue;
      sqlite3_bind_int(n, 1, id);
      std::string title = "Correspondence with the person ";
      if (sqlite3_step(n) == SQLITE_ROW) title += reinterpret_cast<const char*>(sqlite3_column_text(n, 0));
      sqlite3_reset(n);
      titles.emplace(title, id);
    }
    sqlite3_finalize(o);
    sqlite3_finalize(a);
    sqlite3_finalize(n);
    count = static_cast<int>(titles.size());
  }
  sqlite3_close(book);
  state.counters["packs"] = count;
  state.SetComplexityN(owners);
}

BENCHMARK(BM_ABPackEnumerate)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_SqlitePeerEnumerate)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_ABPacksRefresh)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)->Complexity();
BENCHMARK(BM_SqlitePeerABPacksRefresh)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)->Complexity();

}  // namespace
}  // namespace ravelin
