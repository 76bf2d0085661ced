// Reading and writing MIME, against GMime on the same inputs in the same run:
//   - a 20 MiB multipart/mixed letter with three Base64 attachments, every part decoded;
//   - small letters of about 8 KB (encoded headers decoded, the text converted);
//   - writing the 20 MiB letter.
// Bytes per second count octets of the message (read) or of the output (write).
// With RAVELIN_BENCH_DUMP=<folder> the inputs are also written there, for the Python
// peer (bench/formats/mime_peer.py).
#include <benchmark/benchmark.h>
#include <gmime/gmime.h>

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "formats/codecs.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/filesystem.h"
#include "runtime/text.h"

namespace {

using ravelin::AttachFile;
using ravelin::mailHeader;

struct Rng {
  uint64_t s = 0x9E3779B97F4A7C15ull;
  uint64_t Next() {
    s ^= s << 13;
    s ^= s >> 7;
    s ^= s << 17;
    return s;
  }
};

std::string RandomOctets(size_t n, Rng& r) {
  std::string out(n, '\0');
  for (size_t i = 0; i < n; i += 8) {
    const uint64_t v = r.Next();
    for (size_t k = 0; k < 8 && i + k < n; ++k) out[i + k] = static_cast<char>(v >> (8 * k));
  }
  return out;
}

std::string Base64Lines(const std::string& octets) {
  const std::u16string b64 = ravelin::AsciiToBase64(ravelin::BytesToByteText(octets));
  return ravelin::ByteTextToBytes(ravelin::SplitMsg(b64, u"\r\n", 76, 76));
}

constexpr size_t kAttachmentOctets = 5'110'000;  // three of them make a letter of about 20 MiB

struct LargeLetter {
  std::string octets;              // the message as a file holds it
  std::vector<std::string> files;  // the attachments' contents
  std::string text;
};

const LargeLetter& Large() {
  static const LargeLetter letter = [] {
    LargeLetter l;
    Rng r;
    l.text = "Hello,\r\n\r\nthe three files are attached.\r\n";
    for (int i = 0; i < 40; ++i) l.text += "Line of the letter's text number " + std::to_string(i) + ".\r\n";
    l.octets =
        "From: Sender <sender@example.com>\r\nTo: Receiver <rcpt@example.org>\r\n"
        "Subject: =?utf-8?B?0J7RgtGH0ZHRgiDQt9CwINC80LXRgdGP0YY=?=\r\nDate: Mon, 2 Mar 2026 10:11:12 +0300\r\n"
        "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"=_big_boundary\"\r\n\r\n"
        "This is a multi-part message in MIME format.\r\n\r\n--=_big_boundary\r\n"
        "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
        l.text;
    for (int f = 0; f < 3; ++f) {
      l.files.push_back(RandomOctets(kAttachmentOctets, r));
      l.octets += "\r\n--=_big_boundary\r\nContent-Type: application/octet-stream; name=\"file" + std::to_string(f) +
                  ".bin\"\r\nContent-Transfer-Encoding: base64\r\nContent-Disposition: attachment; filename=\"file" +
                  std::to_string(f) + ".bin\"\r\n\r\n" + Base64Lines(l.files.back());
    }
    l.octets += "\r\n--=_big_boundary--\r\n";
    return l;
  }();
  return letter;
}

// About 8 KB each: encoded subject and sender, a quoted-printable text in one of three
// charsets and an HTML alternative in Base64.
const std::vector<std::string>& SmallLetters() {
  static const std::vector<std::string> letters = [] {
    std::vector<std::string> out;
    Rng r;
    const char* charsets[] = {"utf-8", "koi8-r", "windows-1251"};
    const char* subjects[] = {"=?utf-8?B?0J/RgNC40LLQtdGCLCDQvNC40YA=?=", "=?koi8-r?Q?=F0=D2=C9=D7=C5=D4?=",
                              "=?windows-1251?B?z/Do4uXyLCDs6PA=?="};
    for (int i = 0; i < 100; ++i) {
      const int c = i % 3;
      std::string qp;
      while (qp.size() < 4000) {
        const uint64_t v = r.Next();
        if (v % 5 == 0) {
          static const char* hex = "0123456789ABCDEF";
          const unsigned o = 0xC0 + static_cast<unsigned>(v >> 8) % 64;
          qp += '=';
          qp += hex[o >> 4];
          qp += hex[o & 15];
        } else {
          qp += static_cast<char>('a' + (v >> 16) % 26);
        }
        if (qp.size() % 74 < 3) qp += "=\r\n";
      }
      std::string html = "<html><body><p>";
      while (html.size() < 2200) html += static_cast<char>('a' + r.Next() % 26);
      html += "</p></body></html>";
      std::string m = "Received: from relay.example.com by mx.example.org; Mon, 2 Mar 2026 10:11:12 +0300\r\n"
                      "Message-ID: <" + std::to_string(i) + "@example.com>\r\nFrom: =?utf-8?B?0JjQstCw0L0=?= <ivan@example.com>\r\n"
                      "To: Receiver <rcpt@example.org>, Other <o@example.org>\r\nSubject: " + subjects[c] + "\r\n"
                      "Date: Mon, 2 Mar 2026 10:11:12 +0300\r\nMIME-Version: 1.0\r\n"
                      "Content-Type: multipart/alternative; boundary=\"alt" + std::to_string(i) + "\"\r\n\r\n"
                      "--alt" + std::to_string(i) + "\r\nContent-Type: text/plain; charset=" + charsets[c] +
                      "\r\nContent-Transfer-Encoding: quoted-printable\r\n\r\n" + qp + "\r\n--alt" + std::to_string(i) +
                      "\r\nContent-Type: text/html; charset=" + charsets[c] +
                      "\r\nContent-Transfer-Encoding: base64\r\n\r\n" + Base64Lines(html) + "\r\n--alt" +
                      std::to_string(i) + "--\r\n";
      out.push_back(std::move(m));
    }
    return out;
  }();
  return letters;
}

void DumpInputsOnce() {
  static const bool done = [] {
    const char* dir = std::getenv("RAVELIN_BENCH_DUMP");
    if (!dir || !*dir) return true;
    std::ofstream(std::string(dir) + "/large.eml", std::ios::binary) << Large().octets;
    for (size_t i = 0; i < SmallLetters().size(); ++i)
      std::ofstream(std::string(dir) + "/small" + std::to_string(i) + ".eml", std::ios::binary) << SmallLetters()[i];
    return true;
  }();
  (void)done;
}

// ---- Ravelin ---------------------------------------------------------------------------

size_t DecodedOctets(const mailHeader& h) {
  size_t n = h.Message.size();
  for (const AttachFile& f : h.attFiles) n += f.DataSize();
  return n;
}

void BM_ParseLarge_Ravelin(benchmark::State& state) {
  DumpInputsOnce();
  const std::u16string text = ravelin::BytesToByteText(Large().octets);
  for (auto _ : state) {
    mailHeader h;
    ravelin::GetSubItems(text, h);
    if (h.attFiles.size() != 3 || h.attFiles[0].DataSize() != kAttachmentOctets) state.SkipWithError("wrong parse");
    benchmark::DoNotOptimize(DecodedOctets(h));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Large().octets.size()));
}

// The same from the file's octets: the widening into byte text is counted as well.
void BM_ParseLargeFromOctets_Ravelin(benchmark::State& state) {
  const std::string& octets = Large().octets;
  for (auto _ : state) {
    mailHeader h;
    ravelin::GetSubItems(ravelin::BytesToByteText(octets), h);
    benchmark::DoNotOptimize(DecodedOctets(h));
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * octets.size()));
}

// The same from the letter's file, as an import reads it: the file widened into byte text
// as it is read, then parsed (the file stays in the page cache between runs).
void BM_ParseLargeFromFile_Ravelin(benchmark::State& state) {
  const std::string path = (std::filesystem::temp_directory_path() /
                            ("ravelin-bench-large-" + std::to_string(::getpid()) + ".eml")).string();
  std::ofstream(path, std::ios::binary) << Large().octets;
  const std::u16string file = ravelin::FromUtf8(path);
  for (auto _ : state) {
    mailHeader h;
    ravelin::GetSubItems(ravelin::fs::ReadAllByteText(file), h);
    if (h.attFiles.size() != 3) state.SkipWithError("wrong parse");
    benchmark::DoNotOptimize(DecodedOctets(h));
  }
  std::filesystem::remove(path);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Large().octets.size()));
}

void BM_ParseSmall_Ravelin(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    mailHeader h;
    ravelin::GetSubItems(ravelin::BytesToByteText(SmallLetters()[i]), h);
    if (h.Message.empty() || h.Subject.empty()) state.SkipWithError("wrong parse");
    benchmark::DoNotOptimize(h.Message.data());
    i = (i + 1) % SmallLetters().size();
  }
  state.SetItemsProcessed(state.iterations());
}

mailHeader LargeRecord() {
  mailHeader h;
  h.Content_Type = u"multipart";
  h.Content_subtype = u"mixed";
  h.Message = ravelin::FromUtf8(Large().text);
  for (size_t f = 0; f < Large().files.size(); ++f) {
    AttachFile a;
    a.ftype = u"application";
    a.fsubtype = u"octet-stream";
    a.fname = u"file" + ravelin::Widen(std::to_string(f)) + u".bin";
    a.ContentDisposition = u"attachment";
    a.fData = ravelin::BytesToByteText(Large().files[f]);
    h.attFiles.push_back(std::move(a));
  }
  return h;
}

void BM_BuildLarge_Ravelin(benchmark::State& state) {
  const mailHeader h = LargeRecord();
  size_t out = 0;
  for (auto _ : state) {
    const std::u16string body = ravelin::CreateMessageBody(h);
    out = body.size();
    benchmark::DoNotOptimize(body.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * out));
  state.counters["output_MiB"] = static_cast<double>(out) / (1 << 20);
}

// ---- GMime -----------------------------------------------------------------------------

void InitGMime() {
  static const bool done = [] {
    g_mime_init();
    return true;
  }();
  (void)done;
}

GMimeMessage* GMimeParse(const std::string& octets, GByteArray*& array, GMimeStream*& stream, GMimeParser*& parser) {
  array = g_byte_array_new();
  g_byte_array_append(array, reinterpret_cast<const guint8*>(octets.data()), static_cast<guint>(octets.size()));
  stream = g_mime_stream_mem_new_with_byte_array(array);  // the stream owns the array
  parser = g_mime_parser_new_with_stream(stream);
  return g_mime_parser_construct_message(parser, nullptr);
}

struct DecodeCounter {
  size_t octets = 0;
  bool convertText = false;
};

void DecodePart(GMimeObject* /*parent*/, GMimeObject* part, gpointer data) {
  auto* counter = static_cast<DecodeCounter*>(data);
  if (!GMIME_IS_PART(part)) return;
  if (counter->convertText && GMIME_IS_TEXT_PART(part)) {
    char* text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
    if (text) counter->octets += std::strlen(text);
    g_free(text);
    return;
  }
  GMimeDataWrapper* content = g_mime_part_get_content(GMIME_PART(part));
  if (!content) return;
  GMimeStream* sink = g_mime_stream_null_new();
  g_mime_data_wrapper_write_to_stream(content, sink);
  counter->octets += GMIME_STREAM_NULL(sink)->written;
  g_object_unref(sink);
}

void BM_ParseLarge_GMime(benchmark::State& state) {
  InitGMime();
  const std::string& octets = Large().octets;
  for (auto _ : state) {
    GByteArray* array;
    GMimeStream* stream;
    GMimeParser* parser;
    GMimeMessage* msg = GMimeParse(octets, array, stream, parser);
    DecodeCounter counter;
    g_mime_message_foreach(msg, DecodePart, &counter);
    if (counter.octets < 3 * kAttachmentOctets) state.SkipWithError("wrong parse");
    g_object_unref(msg);
    g_object_unref(parser);
    g_object_unref(stream);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * octets.size()));
}

void BM_ParseSmall_GMime(benchmark::State& state) {
  InitGMime();
  size_t i = 0;
  for (auto _ : state) {
    GByteArray* array;
    GMimeStream* stream;
    GMimeParser* parser;
    GMimeMessage* msg = GMimeParse(SmallLetters()[i], array, stream, parser);
    const char* subject = g_mime_message_get_subject(msg);
    char* from = internet_address_list_to_string(g_mime_message_get_from(msg), nullptr, FALSE);
    char* to = internet_address_list_to_string(g_mime_message_get_to(msg), nullptr, FALSE);
    GDateTime* date = g_mime_message_get_date(msg);
    benchmark::DoNotOptimize(subject);
    benchmark::DoNotOptimize(date);
    DecodeCounter counter;
    counter.convertText = true;
    g_mime_message_foreach(msg, DecodePart, &counter);
    if (!subject || counter.octets == 0) state.SkipWithError("wrong parse");
    g_free(from);
    g_free(to);
    g_object_unref(msg);
    g_object_unref(parser);
    g_object_unref(stream);
    i = (i + 1) % SmallLetters().size();
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_BuildLarge_GMime(benchmark::State& state) {
  InitGMime();
  GMimeMultipart* mixed = g_mime_multipart_new_with_subtype("mixed");
  GMimeTextPart* text = g_mime_text_part_new_with_subtype("plain");
  g_mime_text_part_set_text(text, Large().text.c_str());
  g_mime_part_set_content_encoding(GMIME_PART(text), GMIME_CONTENT_ENCODING_8BIT);
  g_mime_multipart_add(mixed, GMIME_OBJECT(text));
  g_object_unref(text);
  for (size_t f = 0; f < Large().files.size(); ++f) {
    GMimePart* part = g_mime_part_new_with_type("application", "octet-stream");
    const std::string name = "file" + std::to_string(f) + ".bin";
    g_mime_part_set_filename(part, name.c_str());
    GMimeStream* data = g_mime_stream_mem_new_with_buffer(Large().files[f].data(), Large().files[f].size());
    GMimeDataWrapper* wrapper = g_mime_data_wrapper_new_with_stream(data, GMIME_CONTENT_ENCODING_DEFAULT);
    g_mime_part_set_content(part, wrapper);
    g_mime_part_set_content_encoding(part, GMIME_CONTENT_ENCODING_BASE64);
    g_mime_multipart_add(mixed, GMIME_OBJECT(part));
    g_object_unref(wrapper);
    g_object_unref(data);
    g_object_unref(part);
  }
  size_t out = 0;
  for (auto _ : state) {
    GMimeStream* sink = g_mime_stream_mem_new();
    g_mime_object_write_to_stream(GMIME_OBJECT(mixed), nullptr, sink);
    out = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(sink))->len;
    g_object_unref(sink);
  }
  g_object_unref(mixed);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * out));
  state.counters["output_MiB"] = static_cast<double>(out) / (1 << 20);
}

// ---- Shapes that must stay linear -------------------------------------------------------
// Each runs at growing sizes; the fitted complexity should come out as O(N).

std::string HostileInput(int kind, int64_t n) {
  std::string m;
  switch (kind) {
    case 0:  // one header folded over n lines
      m = "Subject: start";
      for (int64_t i = 0; i < n; ++i) m += "\r\n folded line " + std::to_string(i);
      m += "\r\n\r\nbody";
      break;
    case 1:  // n addresses, with encoded names
      m = "To: =?utf-8?B?0JA=?= <a0@x>";
      for (int64_t i = 1; i < n; ++i) m += ", =?utf-8?B?0JA=?= <a" + std::to_string(i) + "@x>";
      m += "\r\n\r\nbody";
      break;
    case 2: {  // n parts
      m = "Content-Type: multipart/mixed; boundary=p\r\n\r\n";
      for (int64_t i = 0; i < n; ++i) m += "--p\r\nContent-Type: application/x\r\n\r\nAAAA\r\n";
      m += "--p--\r\n";
      break;
    }
    case 3: {  // n nested multiparts (the reader stops splitting at its depth bound)
      std::string close;
      for (int64_t i = 0; i < n; ++i) {
        const std::string b = "b" + std::to_string(i) + "x";
        m += "Content-Type: multipart/mixed; boundary=" + b + "\r\n\r\n--" + b + "\r\n";
        close = "\r\n--" + b + "--" + close;
      }
      m += "Content-Type: text/plain\r\n\r\ndeep" + close;
      break;
    }
    default:  // n header lines
      for (int64_t i = 0; i < n; ++i) m += "X-Field-" + std::to_string(i) + ": value\r\n";
      m += "\r\nbody";
  }
  return m;
}

void BM_HostileShapes_Ravelin(benchmark::State& state) {
  const std::u16string text = ravelin::BytesToByteText(HostileInput(static_cast<int>(state.range(0)), state.range(1)));
  for (auto _ : state) {
    mailHeader h;
    ravelin::GetSubItems(text, h);
    benchmark::DoNotOptimize(h.attFiles.size());
  }
  state.SetComplexityN(static_cast<int64_t>(text.size()));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

BENCHMARK(BM_ParseLarge_Ravelin)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_ParseLargeFromOctets_Ravelin)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_ParseLargeFromFile_Ravelin)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_ParseLarge_GMime)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_ParseSmall_Ravelin)->MinTime(2.0);
BENCHMARK(BM_ParseSmall_GMime)->MinTime(2.0);
BENCHMARK(BM_BuildLarge_Ravelin)->Unit(benchmark::kMillisecond)->MinTime(2.0);
BENCHMARK(BM_BuildLarge_GMime)->Unit(benchmark::kMillisecond)->MinTime(2.0);

}  // namespace

BENCHMARK(BM_HostileShapes_Ravelin)
    ->ArgsProduct({{0, 1, 2, 3, 4}, {2000, 8000, 32000}})
    ->Unit(benchmark::kMillisecond);
