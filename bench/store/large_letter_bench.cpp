// One large letter (a 200 MB attachment, Base64 in the file) parsed, imported and
// exported: time, and the peak of resident memory above what was resident before, as a
// multiple of the file's size. Peers in the same run: GMime parsing the same file and
// decoding its part, and plain SQLite storing and writing back the same octets.
#include <gmime/gmime.h>
#include <sqlite3.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "store/add_letter.h"
#include "store/eml_export.h"
#include "store/maintenance.h"

namespace ravelin {
namespace {

constexpr size_t kAttachment = size_t{200} << 20;

namespace stdfs = std::filesystem;

// Resident memory now, and the peak since the last reset, in bytes (Linux).
int64_t StatusField(const char* name) {
  std::ifstream in("/proc/self/status");
  std::string line;
  const std::string key = std::string(name) + ":";
  while (std::getline(in, line))
    if (line.rfind(key, 0) == 0) return std::stoll(line.substr(key.size())) * 1024;
  return 0;
}
// Makes the peak start again from what is resident now; the current resident size.
int64_t ResetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
  return StatusField("VmRSS");
}

class Workspace {
 public:
  Workspace() {
    dir_ = stdfs::temp_directory_path() / ("ravelin-bench-large-" + std::to_string(::getpid()));
    stdfs::create_directories(dir_ / "app");
    eml_ = (dir_ / "large.eml").string();
    WriteLetter();
    auto host = std::make_shared<DefaultHostCommon>();
    host->SetHome(FromUtf8(dir_.string()));
    host->SetQuiet(true);
    SetHostCommon(host);
    module1::SetAppPath(FromUtf8((dir_ / "app").string()));
    store::CorrectDB(module1::GetEmailDbPath());
  }
  ~Workspace() {
    std::error_code ec;
    stdfs::remove_all(dir_, ec);
  }
  const std::string& eml() const { return eml_; }
  stdfs::path dir() const { return dir_; }
  int64_t size() const { return static_cast<int64_t>(stdfs::file_size(eml_)); }

 private:
  // The attachment's octets are pseudo-random (nothing compresses them away), written
  // as 76-character Base64 lines.
  void WriteLetter() {
    std::FILE* f = std::fopen(eml_.c_str(), "wb");
    const std::string head =
        "From: Ada <ada@example.org>\r\nTo: Bob <bob@example.net>\r\nSubject: The large one\r\n"
        "Date: Mon, 2 Nov 2026 09:15:00 +0100\r\nMIME-Version: 1.0\r\n"
        "Content-Type: multipart/mixed; boundary=\"b\"\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\n"
        "Here it is.\r\n--b\r\nContent-Type: application/octet-stream; name=\"big.bin\"\r\n"
        "Content-Disposition: attachment; filename=\"big.bin\"\r\nContent-Transfer-Encoding: base64\r\n\r\n";
    std::fwrite(head.data(), 1, head.size(), f);
    static const char* abc = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    uint32_t x = 12345;
    std::string line;
    for (size_t done = 0; done < kAttachment; done += 57) {
      line.clear();
      const size_t n = std::min<size_t>(57, kAttachment - done);
      unsigned char in[57];
      for (size_t i = 0; i < n; ++i) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;
        in[i] = static_cast<unsigned char>(x);
      }
      for (size_t i = 0; i < n; i += 3) {
        uint32_t v = in[i] << 16;
        if (i + 1 < n) v |= in[i + 1] << 8;
        if (i + 2 < n) v |= in[i + 2];
        line += abc[(v >> 18) & 63];
        line += abc[(v >> 12) & 63];
        line += i + 1 < n ? abc[(v >> 6) & 63] : '=';
        line += i + 2 < n ? abc[v & 63] : '=';
      }
      line += "\r\n";
      std::fwrite(line.data(), 1, line.size(), f);
    }
    const std::string tail = "--b--\r\n";
    std::fwrite(tail.data(), 1, tail.size(), f);
    std::fclose(f);
  }

  stdfs::path dir_;
  std::string eml_;
};

Workspace& Work() {
  static Workspace w;
  return w;
}

void Report(benchmark::State& state, int64_t before, int64_t fileSize) {
  const int64_t peak = StatusField("VmHWM") - before;
  state.counters["peak_x_file"] = static_cast<double>(peak) / static_cast<double>(fileSize);
  state.counters["file_MB"] = static_cast<double>(fileSize) / 1e6;
  state.SetBytesProcessed(state.iterations() * fileSize);
}

void BM_Parse(benchmark::State& state) {
  Workspace& w = Work();
  const int64_t before = ResetPeak();
  for (auto _ : state) {
    mailHeader h;
    GetSubItems(ReadFileBytes(FromUtf8(w.eml())), h);
    benchmark::DoNotOptimize(h.attFiles.size());
    if (h.attFiles.empty() || h.attFiles.back().DataSize() != kAttachment) state.SkipWithError("part lost");
  }
  Report(state, before, w.size());
}

void BM_Parse_GMime(benchmark::State& state) {
  Workspace& w = Work();
  g_mime_init();
  const int64_t before = ResetPeak();
  for (auto _ : state) {
    GMimeStream* file = g_mime_stream_file_open(w.eml().c_str(), "rb", nullptr);
    GMimeParser* parser = g_mime_parser_new_with_stream(file);
    GMimeMessage* msg = g_mime_parser_construct_message(parser, nullptr);
    GMimeObject* body = g_mime_message_get_mime_part(msg);  // the text; the attachment is next
    GMimeObject* top = msg->mime_part;
    size_t octets = 0;
    if (GMIME_IS_MULTIPART(top)) {
      GMimeObject* part = g_mime_multipart_get_part(GMIME_MULTIPART(top), 1);
      GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(part));
      GMimeStream* mem = g_mime_stream_mem_new();
      g_mime_data_wrapper_write_to_stream(content, mem);
      octets = static_cast<size_t>(g_mime_stream_length(mem));
      g_object_unref(mem);
    }
    benchmark::DoNotOptimize(body);
    if (octets != kAttachment) state.SkipWithError("part lost");
    g_object_unref(msg);
    g_object_unref(parser);
    g_object_unref(file);
  }
  Report(state, before, w.size());
}

void BM_Import(benchmark::State& state) {
  Workspace& w = Work();
  const int64_t before = ResetPeak();
  for (auto _ : state) {
    const int32_t key = store::AddLetterFromEML(FromUtf8(w.eml()));
    if (key == 0) state.SkipWithError("not stored");
  }
  Report(state, before, w.size());
}

void BM_Export(benchmark::State& state) {
  Workspace& w = Work();
  const int32_t key = store::AddLetterFromEML(FromUtf8(w.eml()));
  const stdfs::path out = w.dir() / "out";
  stdfs::create_directories(out);
  const int64_t before = ResetPeak();
  for (auto _ : state) {
    CreateEMLOptions o;
    o.FolderPath = FromUtf8(out.string());
    o.FileName = u"exported";
    o.FileExtension = u"eml";
    CreateEML(key, o);
    std::error_code ec;
    stdfs::remove_all(out, ec);
    stdfs::create_directories(out);
  }
  Report(state, before, w.size());
}

// Plain SQLite: the file's octets read, stored as one value and written back out.
void BM_ImportExport_SQLite(benchmark::State& state) {
  Workspace& w = Work();
  const std::string db = (w.dir() / "peer.db").string();
  const int64_t before = ResetPeak();
  for (auto _ : state) {
    sqlite3* h = nullptr;
    sqlite3_open(db.c_str(), &h);
    sqlite3_exec(h, "PRAGMA journal_mode=WAL; CREATE TABLE IF NOT EXISTS f(d BLOB)", nullptr, nullptr, nullptr);
    const std::string octets = fs::ReadAll(FromUtf8(w.eml()));
    sqlite3_stmt* st = nullptr;
    sqlite3_prepare_v2(h, "INSERT INTO f(d) VALUES(?1)", -1, &st, nullptr);
    sqlite3_bind_blob(st, 1, octets.data(), static_cast<int>(octets.size()), SQLITE_STATIC);
    sqlite3_step(st);
    sqlite3_finalize(st);
    sqlite3_prepare_v2(h, "SELECT d FROM f WHERE rowid=last_insert_rowid()", -1, &st, nullptr);
    if (sqlite3_step(st) == SQLITE_ROW) {
      std::FILE* f = std::fopen((w.dir() / "peer.out").c_str(), "wb");
      std::fwrite(sqlite3_column_blob(st, 0), 1, static_cast<size_t>(sqlite3_column_bytes(st, 0)), f);
      std::fclose(f);
    }
    sqlite3_finalize(st);
    sqlite3_close(h);
  }
  Report(state, before, w.size());
}

BENCHMARK(BM_Parse)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Parse_GMime)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Import)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Export)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ImportExport_SQLite)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ravelin
