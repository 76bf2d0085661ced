// Transfer codecs against memcpy of the same memory (the physical limit) and, when
// GMime is installed, GMime's own codecs on the same octets. Throughput is counted in
// input characters (one per octet of the message), so memcpy's figure is the time to
// copy the same UTF-16 buffer expressed in the same unit.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstring>
#include <string>
#include <vector>

#include "formats/codecs.h"
#include "runtime/text.h"

#ifdef RAVELIN_HAVE_GMIME
#include <gmime/gmime.h>
#endif

namespace {

using ravelin::AsciiToBase64;
using ravelin::Base64ToAscii;

constexpr size_t kBig = 64u << 20;

// A long-running mail client reuses its heap; without this glibc maps and unmaps every
// block above 32 MiB, and the figures would measure the kernel's first touch of fresh
// pages (which costs more than the decoding here) instead of the codecs.
const bool kHeapReused = [] {
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  return true;
}();

std::string Octets(size_t n) {
  std::string s(n, '\0');
  uint32_t x = 2463534242u;
  for (auto& c : s) {
    x ^= x << 13;
    x ^= x >> 17;
    x ^= x << 5;
    c = static_cast<char>(x);
  }
  return s;
}

// A 64 MiB Base64 body in 72-wide CR LF lines, as the builder writes it.
const std::u16string& Base64Body() {
  static const std::u16string body = [] {
    std::u16string b64 = AsciiToBase64(ravelin::BytesToByteText(Octets(kBig / 4 * 3)));
    return ravelin::SplitMsg(b64, u"\r\n", 72, 72);
  }();
  return body;
}

// Quoted-printable of Cyrillic-heavy text with soft breaks every 76 characters.
const std::u16string& QpBody() {
  static const std::u16string body = [] {
    std::u16string line;
    const char16_t* words[] = {u"=D0=9F=D1=80=D0=B8=D0=B2=D0=B5=D1=82", u" hello", u" =D0=BC=D0=B8=D1=80", u" world,"};
    size_t w = 0;
    std::u16string out;
    out.reserve(kBig / 2 + 128);
    while (out.size() < kBig / 2) {
      line += words[w++ % 4];
      if (line.size() > 70) {
        out += line;
        out += u"=\r\n";
        line.clear();
      }
    }
    return out;
  }();
  return body;
}

void MemcpyOf(benchmark::State& state, const std::u16string& src) {
  std::u16string dst(src.size(), u'\0');
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size() * sizeof(char16_t));
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * src.size()));
}

void BM_Memcpy_Base64Body(benchmark::State& state) { MemcpyOf(state, Base64Body()); }
BENCHMARK(BM_Memcpy_Base64Body)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_Base64ToAscii_72Lines(benchmark::State& state) {
  const auto& body = Base64Body();
  for (auto _ : state) benchmark::DoNotOptimize(Base64ToAscii(body));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}
BENCHMARK(BM_Base64ToAscii_72Lines)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

const std::u16string& EncodeSource() {
  static const std::u16string src = ravelin::BytesToByteText(Octets(kBig / 4 * 3));
  return src;
}

// Inputs are built before the first measurement, not inside it.
const bool kInputsReady = [] {
  Base64Body();
  QpBody();
  EncodeSource();
  return true;
}();

void BM_AsciiToBase64_SplitMsg72(benchmark::State& state) {
  const std::u16string& src = EncodeSource();
  for (auto _ : state) benchmark::DoNotOptimize(ravelin::SplitMsg(AsciiToBase64(src), u"\r\n", 72, 72));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * src.size()));
}
BENCHMARK(BM_AsciiToBase64_SplitMsg72)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_Memcpy_QpBody(benchmark::State& state) { MemcpyOf(state, QpBody()); }
BENCHMARK(BM_Memcpy_QpBody)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_Decode_quoted_printable(benchmark::State& state) {
  const auto& body = QpBody();
  for (auto _ : state) benchmark::DoNotOptimize(ravelin::Decode_quoted_printable(body));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}
BENCHMARK(BM_Decode_quoted_printable)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

// Linear time: the same body at 1, 4 and 16 times the size should take 1, 4 and 16 times as long.
void BM_Decode_quoted_printable_Scaling(benchmark::State& state) {
  const auto& full = QpBody();
  std::u16string body = full.substr(0, static_cast<size_t>(state.range(0)) << 20);
  body.resize(body.rfind(u"=\r\n") + 3);  // whole lines
  for (auto _ : state) benchmark::DoNotOptimize(ravelin::Decode_quoted_printable(body));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}
BENCHMARK(BM_Decode_quoted_printable_Scaling)->Arg(1)->Arg(4)->Arg(20)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

#ifdef RAVELIN_HAVE_GMIME
// GMime works on octets: the same message as 8-bit octets (the peer gets the smaller input).
void BM_GMime_Base64Decode_72Lines(benchmark::State& state) {
  static const std::string octets = ravelin::ByteTextToBytes(Base64Body());
  std::vector<unsigned char> out(octets.size());
  for (auto _ : state) {
    int st = 0;
    guint32 save = 0;
    benchmark::DoNotOptimize(g_mime_encoding_base64_decode_step(
        reinterpret_cast<const unsigned char*>(octets.data()), octets.size(), out.data(), &st, &save));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * octets.size()));
}
BENCHMARK(BM_GMime_Base64Decode_72Lines)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_GMime_Base64Encode(benchmark::State& state) {
  static const std::string octets = Octets(kBig / 4 * 3);
  std::vector<unsigned char> out(octets.size() * 2);
  for (auto _ : state) {
    int st = 0;
    guint32 save = 0;
    benchmark::DoNotOptimize(g_mime_encoding_base64_encode_close(
        reinterpret_cast<const unsigned char*>(octets.data()), octets.size(), out.data(), &st, &save));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * octets.size()));
}
BENCHMARK(BM_GMime_Base64Encode)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_GMime_QuotedDecode(benchmark::State& state) {
  static const std::string octets = ravelin::ByteTextToBytes(QpBody());
  std::vector<unsigned char> out(octets.size());
  for (auto _ : state) {
    int st = 0;
    guint32 save = 0;
    benchmark::DoNotOptimize(g_mime_encoding_quoted_decode_step(
        reinterpret_cast<const unsigned char*>(octets.data()), octets.size(), out.data(), &st, &save));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * octets.size()));
}
BENCHMARK(BM_GMime_QuotedDecode)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);
#endif

}  // namespace
