// Letters and packs as HTML at volume: the page of a letter with many inline images
// (every part's rewrite runs over the whole document, so the cost is the document's size
// times the rows), and the report of a pack of 5,000 letters; each beside a peer in the
// same run (a single-pass rewrite of the same document; the same rows read and written
// as a table straight through SQLite's C API).
#include <sqlite3.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <unordered_map>

#include <benchmark/benchmark.h>

#include "formats/charsets.h"
#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "presentation/letter_html.h"
#include "presentation/pack_report.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/maintenance.h"
#include "store/record_sources.h"
#include "../support/bench_home.h"

namespace ravelin {
namespace {

struct Home : bench::BenchHome {
  Home() : BenchHome("presentation") {}
};
Home& TheHome() {
  static Home h;
  return h;
}

// A letter whose HTML body refers to each of n images twice by cid:, in 20 KB of text.
std::u16string ImageBody(int n) {
  std::u16string html = u"<html><head><meta content=\"text/html; charset=utf-8\"></head><body>";
  for (int k = 0; k < n; ++k)
    html += u"<p>Picture " + NumToText(k) + u": <img src=\"cid:img" + NumToText(k) + u"@example.org\"> and again " +
            u"<img src=\"cid:img" + NumToText(k) + u"@example.org\" alt=\"x\"></p>";
  while (html.size() < 20000 + static_cast<size_t>(n) * 120) html += u"<p>Some words of the letter's text.</p>";
  return html + u"</body></html>";
}

int32_t ImageLetter(int n) {
  static std::unordered_map<int, int32_t> keys;
  TheHome();
  if (auto it = keys.find(n); it != keys.end()) return it->second;
  mailHeader h;
  h.From = u"Ann <ann@example.org>";
  h.to = u"me@example.org";
  h.Subject = u"Pictures";
  h.strDate = u"1/3/2017 10:11:12 AM";
  for (int k = 0; k < n; ++k) {
    AttachFile a;
    a.ftype = u"image";
    a.fsubtype = u"png";
    a.fname = u"image" + NumToText(k) + u".png";
    a.fData = std::u16string(2048, u'\x89');
    a.ContentDisposition = u"inline";
    a.Content_ID = u"<img" + NumToText(k) + u"@example.org>";
    h.attFiles.push_back(a);
  }
  AttachFile body;
  body.ftype = u"text";
  body.fsubtype = u"html";
  body.fData = ImageBody(n);
  body.ContentTransferEncoding = u"utf-8";
  h.attFiles.push_back(body);
  int32_t folder = 0;
  const int32_t key = static_cast<int32_t>(Val(store::AddLetterFromMailHeader(h, folder)));
  keys[n] = key;
  return key;
}

// The whole page: the parts written to mFiles and the body rewritten.
void BM_LetterPage(benchmark::State& state) {
  const int32_t key = ImageLetter(static_cast<int>(state.range(0)));
  size_t bytes = 0;
  for (auto _ : state) {
    auto doc = presentation::CreateHTMLByMsgNumber(NumToText(key), false);
    bytes = doc.html.size();
    benchmark::DoNotOptimize(doc);
  }
  state.counters["doc_KB"] = static_cast<double>(bytes) / 1024;
}
BENCHMARK(BM_LetterPage)->Arg(10)->Arg(100)->Arg(400)->Unit(benchmark::kMillisecond);

// The rewrite alone, on an open Files cursor.
void BM_LetterRewrite(benchmark::State& state) {
  const int32_t key = ImageLetter(static_cast<int>(state.range(0)));
  auto db = dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access");
  auto files = db->OpenRecordset(store::GetAttachRecordSource(key), dao::dbOpenDynaset);
  const std::u16string folder = presentation::MailFilesFolder();
  for (auto _ : state) {
    files->MoveLast();
    std::u16string cp;
    int32_t cpID = 0;
    auto doc = presentation::CreateHTMLCore(*files, folder, cp, false, true, cpID);
    benchmark::DoNotOptimize(doc);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_LetterRewrite)->Arg(10)->Arg(100)->Arg(400)->Unit(benchmark::kMillisecond);

// Peer: the same references replaced in one pass with a table of the ids (no case
// folding, no attribute form): the floor of what a rewrite can cost.
void BM_PeerOnePassRewrite(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const std::u16string doc = ImageBody(n);
  std::unordered_map<std::u16string, std::u16string> targets;
  const std::u16string folder = presentation::AddPathSeparator(presentation::MailFilesFolder());
  for (int k = 0; k < n; ++k)
    targets[u"img" + NumToText(k) + u"@example.org"] =
        u"file://" + GetUnicodeHTMLString(folder + u"image" + NumToText(k) + u".png");
  for (auto _ : state) {
    std::u16string out;
    out.reserve(doc.size() * 2);
    size_t pos = 0;
    for (size_t p = doc.find(u"cid:"); p != std::u16string::npos; p = doc.find(u"cid:", pos)) {
      out.append(doc, pos, p - pos);
      const size_t end = doc.find(u'"', p);
      auto it = targets.find(doc.substr(p + 4, end - p - 4));
      if (it != targets.end()) out += it->second;
      else out.append(doc, p, end - p);
      pos = end;
    }
    out.append(doc, pos, std::u16string::npos);
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_PeerOnePassRewrite)->Arg(10)->Arg(100)->Arg(400)->Unit(benchmark::kMillisecond);

// A pack of 5,000 letters: nine in ten plain, one in ten with an HTML body and a file.
int32_t BigPack() {
  static int32_t pack = 0;
  if (pack) return pack;
  TheHome();
  auto db = dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access");
  dao::Engine().BeginTrans();
  {
    auto packs = db->OpenRecordset(u"Packs", dao::dbOpenDynaset);
    packs->AddNew();
    packs->SetField(u"Name", Value(u"Big"));
    pack = packs->GetField(u"N").AsLong();
    packs->Update();
  }
  auto letters = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
  auto items = db->OpenRecordset(u"PackItems", dao::dbOpenDynaset);
  auto files = db->OpenRecordset(u"Files", dao::dbOpenDynaset);
  for (int i = 0; i < 5000; ++i) {
    letters->AddNew();
    const int32_t key = letters->GetField(u"key").AsLong();
    letters->SetField(u"From", Value(u"Sender " + NumToText(i % 97) + u" <s" + NumToText(i % 97) + u"@example.org>"));
    letters->SetField(u"To", Value(u"me@example.org"));
    letters->SetField(u"Subject", Value(u"Letter " + NumToText(i)));
    letters->SetField(u"MailFolder", Value(i % 7 == 0 ? u"Outbox" : u"Inbox"));
    letters->SetField(u"Message", Value(u"Hello,\r\nthis is letter " + NumToText(i) + u" <of the pack>.\r\nBye"));
    letters->SetField(u"DateWrote", Value(OleDate{43000.0 + i / 100.0}));
    letters->Update();
    items->AddNew();
    items->SetField(u"Pack_N", Value(pack));
    items->SetField(u"Msg_N", Value(key));
    items->Update();
    if (i % 10 == 0) {
      files->AddNew();
      files->SetField(u"N", Value(key));
      files->SetField(u"type", Value(u"application"));
      files->SetField(u"subtype", Value(u"pdf"));
      files->SetField(u"filename", Value(u"report" + NumToText(i) + u".pdf"));
      files->SetField(u"Content-Disposition", Value(u"attachment"));
      files->SetField(u"Data", Value::Binary(std::string(4096, 'p')));
      files->Update();
      files->AddNew();
      files->SetField(u"N", Value(key));
      files->SetField(u"type", Value(u"text"));
      files->SetField(u"subtype", Value(u"html"));
      files->SetField(u"Charset", Value(u"utf-8"));
      files->SetField(u"Data", Value::Binary("<html><body><p>Letter " + std::to_string(i) + "</p></body></html>"));
      files->Update();
    }
  }
  dao::Engine().CommitTrans();
  db->Close();
  return pack;
}

void BM_PackReport5000(benchmark::State& state) {
  const int32_t pack = BigPack();
  size_t bytes = 0;
  for (auto _ : state) {
    const std::u16string doc = presentation::PackReport(pack, nullptr);
    bytes = doc.size();
    benchmark::DoNotOptimize(doc);
  }
  state.SetItemsProcessed(state.iterations() * 5000);
  state.counters["doc_KB"] = static_cast<double>(bytes) / 1024;
}
BENCHMARK(BM_PackReport5000)->Unit(benchmark::kMillisecond);

// Peer: the pack's letters and their files read with one statement each through the C
// API, and a table row per letter written with the same escapes.
void BM_PeerPackTableSqlite(benchmark::State& state) {
  const int32_t pack = BigPack();
  const std::string path = ToUtf8(module1::GetEmailDbPath());
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  const std::string letters =
      "SELECT L.key, L.[From], L.Message, L.DateWrote, L.MailFolder FROM Letters L JOIN PackItems P ON P.Msg_N = L.key "
      "WHERE P.Pack_N = " + std::to_string(pack) + " ORDER BY L.DateWrote";
  const char* files = "SELECT filename, [Content-Disposition], Data, subtype FROM Files WHERE N = ?";
  for (auto _ : state) {
    std::string out = "<table border=1>";
    sqlite3_stmt* ls = nullptr;
    sqlite3_stmt* fs = nullptr;
    sqlite3_prepare_v2(db, letters.c_str(), -1, &ls, nullptr);
    sqlite3_prepare_v2(db, files, -1, &fs, nullptr);
    int i = 0;
    while (sqlite3_step(ls) == SQLITE_ROW) {
      ++i;
      const char* from = reinterpret_cast<const char*>(sqlite3_column_text(ls, 1));
      out += "<tr><td colSpan=2>" + std::to_string(i) + ". " + (from ? from : "") + "</td></tr><tr><td>";
      const char* msg = reinterpret_cast<const char*>(sqlite3_column_text(ls, 2));
      for (const char* p = msg ? msg : ""; *p; ++p) {
        if (*p == '<') out += "&LT";
        else if (*p == '>') out += "&GT";
        else if (*p == '\n') out += "<br>";
        else if (*p != '\r') out += *p;
      }
      out += "</td></tr>";
      sqlite3_bind_int64(fs, 1, sqlite3_column_int64(ls, 0));
      while (sqlite3_step(fs) == SQLITE_ROW) {
        const char* name = reinterpret_cast<const char*>(sqlite3_column_text(fs, 0));
        if (name) out += std::string("<LI><a href=\"") + name + "\">" + name + "</a>";
        else out.append(static_cast<const char*>(sqlite3_column_blob(fs, 2)), sqlite3_column_bytes(fs, 2));
      }
      sqlite3_reset(fs);
    }
    sqlite3_finalize(ls);
    sqlite3_finalize(fs);
    out += "</table>";
    benchmark::DoNotOptimize(out);
  }
  sqlite3_close(db);
  state.SetItemsProcessed(state.iterations() * 5000);
}
BENCHMARK(BM_PeerPackTableSqlite)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ravelin
