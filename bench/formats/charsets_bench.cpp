// Charsets: code-page conversion against memcpy of the same memory and glibc iconv on
// the same octets; DecodeHeaderValue on typical subjects against GMime's header decoder
// when GMime is installed. Conversions count input characters (one per octet).
#include <benchmark/benchmark.h>
#include <iconv.h>
#include <malloc.h>

#include <cstring>
#include <string>
#include <vector>

#include "formats/charsets.h"
#include "runtime/text.h"

#ifdef RAVELIN_HAVE_GMIME
#include <gmime/gmime.h>
#endif

namespace {

using ravelin::ConvertCodePage;
using ravelin::kCodePageUtf16;
using ravelin::kCodePageUtf8;

constexpr size_t kSize = 32u << 20;

// See codecs_bench.cpp: measure the conversion, not the kernel's first touch of pages.
const bool kHeapReused = [] {
  mallopt(M_MMAP_THRESHOLD, 1 << 30);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  return true;
}();

// Russian prose in koi8-r as byte text: mostly letters above 0x7F, blanks and stops.
const std::u16string& Koi8Text() {
  static const std::u16string text = [] {
    const std::u16string sample = u"Съешь же ещё этих мягких французских булок, да выпей чаю. ";
    std::u16string koi = ConvertCodePage(sample, kCodePageUtf16, 20866);
    std::u16string out;
    out.reserve(kSize + koi.size());
    while (out.size() < kSize) out += koi;
    return out;
  }();
  return text;
}

const std::u16string& Utf8Text() {
  static const std::u16string text = ConvertCodePage(ConvertCodePage(Koi8Text(), 20866, kCodePageUtf16), kCodePageUtf16, kCodePageUtf8);
  return text;
}

const std::vector<std::u16string>& Subjects() {
  static const std::vector<std::u16string> subjects = {
      u"=?utf-8?B?0J/RgNC40LLQtdGCLCDQutCw0Log0LTQtdC70LA/?=",
      u"Re: =?koi8-r?B?8NLJ18XULCDLwcsgxMXMwT8=?=",
      u"=?windows-1251?Q?=CE=F2=F7=E5=F2_=E7=E0_=EC=E0=F0=F2?=",
      u"=?UTF-8?Q?Caf=C3=A9_meeting?= =?UTF-8?Q?_on_Friday?=",
      u"Plain ASCII subject without any encoded word",
      u"=?iso-8859-1?Q?Gr=FC=DFe_aus_M=FCnchen?=",
      u"Fwd: =?utf-8?B?5Lit5paH6YKu5Lu25Li76aKY?=",
      u"=?gb2312?B?xOO6w6Oszt7Iyw==?=",
  };
  return subjects;
}

// The subjects of one set: 0 = all of them, 1 = only UTF-8 and plain ones (the peer
// opens a converter per charset and is slow when several alternate).
std::vector<std::u16string> SubjectSet(int64_t which) {
  std::vector<std::u16string> out;
  for (const auto& s : Subjects())
    if (which == 0 || s.find(u"=?") == std::u16string::npos || s.find(u"=?utf-8") != std::u16string::npos ||
        s.find(u"=?UTF-8") != std::u16string::npos)
      out.push_back(s);
  return out;
}

const bool kInputsReady = [] {
  Koi8Text();
  Utf8Text();
  return true;
}();

void MemcpyOf(benchmark::State& state, const std::u16string& src) {
  std::u16string dst(src.size(), u'\0');
  for (auto _ : state) {
    std::memcpy(dst.data(), src.data(), src.size() * sizeof(char16_t));
    benchmark::DoNotOptimize(dst.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * src.size()));
}

void BM_Memcpy_Koi8Text(benchmark::State& state) { MemcpyOf(state, Koi8Text()); }
BENCHMARK(BM_Memcpy_Koi8Text)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_ConvertCodePage_Koi8rToUtf16(benchmark::State& state) {
  const auto& text = Koi8Text();
  for (auto _ : state) benchmark::DoNotOptimize(ConvertCodePage(text, 20866, kCodePageUtf16));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ConvertCodePage_Koi8rToUtf16)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_ConvertCodePage_Cp1251ToUtf16(benchmark::State& state) {
  static const std::u16string text =
      ConvertCodePage(ConvertCodePage(Koi8Text(), 20866, kCodePageUtf16), kCodePageUtf16, 1251);
  for (auto _ : state) benchmark::DoNotOptimize(ConvertCodePage(text, 1251, kCodePageUtf16));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ConvertCodePage_Cp1251ToUtf16)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_ConvertCodePage_Utf8ToUtf16(benchmark::State& state) {
  const auto& text = Utf8Text();
  for (auto _ : state) benchmark::DoNotOptimize(ConvertCodePage(text, kCodePageUtf8, kCodePageUtf16));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ConvertCodePage_Utf8ToUtf16)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_ConvertCodePage_Utf16ToUtf8(benchmark::State& state) {
  static const std::u16string text = ConvertCodePage(Koi8Text(), 20866, kCodePageUtf16);
  for (auto _ : state) benchmark::DoNotOptimize(ConvertCodePage(text, kCodePageUtf16, kCodePageUtf8));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(BM_ConvertCodePage_Utf16ToUtf8)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

// glibc iconv on the same octets (8-bit input, the peer's natural form).
void IconvTo16(benchmark::State& state, const char* from, const std::u16string& byteText) {
  const std::string octets = ravelin::ByteTextToBytes(byteText);
  std::vector<char> out(octets.size() * 4 + 16);
  iconv_t cd = iconv_open("UTF-16LE", from);
  for (auto _ : state) {
    char* in = const_cast<char*>(octets.data());
    size_t inLeft = octets.size();
    char* o = out.data();
    size_t outLeft = out.size();
    iconv(cd, &in, &inLeft, &o, &outLeft);
    benchmark::DoNotOptimize(o);
  }
  iconv_close(cd);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * octets.size()));
}
void BM_Iconv_Koi8rToUtf16(benchmark::State& state) { IconvTo16(state, "KOI8-R", Koi8Text()); }
BENCHMARK(BM_Iconv_Koi8rToUtf16)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);
void BM_Iconv_Utf8ToUtf16(benchmark::State& state) { IconvTo16(state, "UTF-8", Utf8Text()); }
BENCHMARK(BM_Iconv_Utf8ToUtf16)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_DecodeHeaderValue_TypicalSubjects(benchmark::State& state) {
  const auto subjects = SubjectSet(state.range(0));
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(ravelin::DecodeHeaderValue(subjects[i++ % subjects.size()]));
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_DecodeHeaderValue_TypicalSubjects)->Arg(0)->Arg(1)->MinWarmUpTime(0.5);

// Linear time on hostile values: n encoded words, and n bytes of "=?" marks.
void BM_DecodeHeaderValue_ManyWords(benchmark::State& state) {
  std::u16string value;
  for (int64_t k = 0; k < state.range(0); ++k) value += u"=?utf-8?B?0J8=?=";
  for (auto _ : state) benchmark::DoNotOptimize(ravelin::DecodeHeaderValue(value));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * value.size()));
}
BENCHMARK(BM_DecodeHeaderValue_ManyWords)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

void BM_DecodeHeaderValue_MarksEverywhere(benchmark::State& state) {
  std::u16string value;
  while (value.size() < static_cast<size_t>(state.range(0))) value += u"=?a?b?c=?";
  for (auto _ : state) {
    try {
      benchmark::DoNotOptimize(ravelin::DecodeHeaderValue(value));
    } catch (...) {
    }
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * value.size()));
}
BENCHMARK(BM_DecodeHeaderValue_MarksEverywhere)->Arg(1 << 16)->Arg(1 << 20)->Unit(benchmark::kMillisecond)->MinWarmUpTime(0.5);

#ifdef RAVELIN_HAVE_GMIME
void BM_GMime_HeaderDecodeText_TypicalSubjects(benchmark::State& state) {
  static const bool init = [] {
    g_mime_init();
    return true;
  }();
  (void)init;
  std::vector<std::string> subjects;
  for (const auto& s : SubjectSet(state.range(0))) subjects.push_back(ravelin::ToUtf8(s));
  size_t i = 0;
  for (auto _ : state) {
    char* out = g_mime_utils_header_decode_text(g_mime_parser_options_get_default(),
                                                subjects[i++ % subjects.size()].c_str());
    benchmark::DoNotOptimize(out);
    g_free(out);
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()));
}
BENCHMARK(BM_GMime_HeaderDecodeText_TypicalSubjects)->Arg(0)->Arg(1);
#endif

}  // namespace
