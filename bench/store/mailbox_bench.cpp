// Importing a mailbox: the same 10,000 letters from one mbox file and from as many .eml
// files, through the one path both take into the store, in transactions of 200 letters
// as `ravelin import` commits them. The splitting alone is measured beside it.
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "store/add_letter.h"
#include "store/mailbox.h"
#include "store/maintenance.h"
#include "../support/bench_home.h"

namespace ravelin {
namespace {

constexpr int kBatch = 200;

// Letter i: three in four short plain letters, the others with a 6 KB Base64 attachment.
std::string MakeLetter(int i, std::mt19937& rng) {
  std::string text;
  const int lines = 10 + static_cast<int>(rng() % 30);
  for (int l = 0; l < lines; ++l) text += "Line " + std::to_string(l) + " of letter " + std::to_string(i) + ", with some words.\r\n";
  const std::string head = "From: Sender " + std::to_string(i % 97) + " <s" + std::to_string(i % 97) +
                           "@example.org>\r\nTo: ann@example.net\r\nSubject: Letter number " + std::to_string(i) +
                           "\r\nDate: Mon, 2 Nov 2026 09:15:00 +0100\r\n";
  if (i % 4 != 0) return head + "Content-Type: text/plain; charset=us-ascii\r\n\r\n" + text;
  std::string b64;
  for (int l = 0; l < 80; ++l) {
    for (int c = 0; c < 76; ++c) b64 += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[rng() % 64];
    b64 += "\r\n";
  }
  return head + "Content-Type: multipart/mixed; boundary=\"b\"\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\n" + text +
         "--b\r\nContent-Type: application/octet-stream; name=\"d.bin\"\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
         b64 + "--b--\r\n";
}

struct Mailbox {
  std::vector<std::string> letters;
  std::string mbox;
  int64_t bytes = 0;
};
const Mailbox& Letters(int n) {
  static std::map<int, Mailbox> cache;
  Mailbox& m = cache[n];
  if (m.letters.empty()) {
    std::mt19937 rng(7);
    for (int i = 1; i <= n; ++i) {
      m.letters.push_back(MakeLetter(i, rng));
      m.bytes += static_cast<int64_t>(m.letters.back().size());
      m.mbox += "From s@example.org Mon Nov  2 09:15:00 2026\r\n" + m.letters.back() + "\r\n";
    }
  }
  return m;
}

// A home of its own with a new store, removed at the end.
struct Home : bench::BenchHome {
  Home() : BenchHome("mailbox") {}
};

// Batches of kBatch letters per transaction around `store(i)`.
template <class F>
void InBatches(int n, F&& store) {
  for (int i = 0; i < n; ++i) {
    if (i % kBatch == 0) dao::Engine().BeginTrans();
    store(i);
    if (i % kBatch == kBatch - 1 || i == n - 1) dao::Engine().CommitTrans();
  }
}

// One mbox file: read, split and stored letter by letter.
void BM_ImportMbox(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Mailbox& box = Letters(n);
  for (auto _ : state) {
    state.PauseTiming();
    Home home;
    const std::u16string file = FromUtf8((home.path() / "inbox.mbox").string());
    fs::WriteAll(file, box.mbox);
    auto keep = dao::OpenDatabase(module1::GetEmailDbPath());
    state.ResumeTiming();
    int i = 0;
    store::ReadMbox(file, [&](store::MailboxLetter& l) {
      if (i % kBatch == 0) dao::Engine().BeginTrans();
      benchmark::DoNotOptimize(store::AddLetterFromText(std::move(l.text)));
      if (i % kBatch == kBatch - 1 || i == n - 1) dao::Engine().CommitTrans();
      ++i;
      return true;
    });
    state.PauseTiming();
    if (i != n) state.SkipWithError("the mbox did not split into its letters");
    keep->Close();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * box.bytes);
}

// The peer: the same letters as .eml files, one file each.
void BM_ImportEmlFiles(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Mailbox& box = Letters(n);
  for (auto _ : state) {
    state.PauseTiming();
    Home home;
    std::vector<std::u16string> files;
    for (int i = 0; i < n; ++i) {
      files.push_back(FromUtf8((home.path() / ("m" + std::to_string(i) + ".eml")).string()));
      fs::WriteAll(files.back(), box.letters[static_cast<size_t>(i)]);
    }
    auto keep = dao::OpenDatabase(module1::GetEmailDbPath());
    state.ResumeTiming();
    InBatches(n, [&](int i) { benchmark::DoNotOptimize(store::AddLetterFromEML(files[static_cast<size_t>(i)])); });
    state.PauseTiming();
    keep->Close();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * box.bytes);
}

// The split alone, for its share of the import.
void BM_SplitMbox(benchmark::State& state) {
  const int n = static_cast<int>(state.range(0));
  const Mailbox& box = Letters(n);
  for (auto _ : state) {
    int64_t count = store::SplitMbox(box.mbox, [](store::MailboxLetter& l) {
      benchmark::DoNotOptimize(l.text.data());
      return true;
    });
    if (count != n) state.SkipWithError("the mbox did not split into its letters");
  }
  state.SetItemsProcessed(state.iterations() * n);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(box.mbox.size()));
}

BENCHMARK(BM_ImportMbox)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_ImportEmlFiles)->Arg(10000)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_SplitMbox)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace ravelin
