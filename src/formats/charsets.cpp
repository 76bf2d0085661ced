// Charsets: the code-page directory, the converter on ICU with fast paths for UTF-8 and
// the single-byte code pages, code-page descriptions, and encoded words.
#include "formats/charsets.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "formats/codecs.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin {
namespace {

constexpr size_t npos = std::u16string::npos;

// ---- The code-page directory ----

struct NameEntry {
  const char* name;  // lower case
  int32_t cp;
};

// Charset names that real mail carries, with their usual aliases. Sorted at first use; the
// first name of a code page in this order is the one written when labelling its octets.
constexpr NameEntry kNames[] = {
    {"utf-8", 65001}, {"utf8", 65001}, {"unicode-1-1-utf-8", 65001}, {"unicode-2-0-utf-8", 65001},
    {"x-unicode20utf8", 65001}, {"utf-7", 65000}, {"unicode-1-1-utf-7", 65000}, {"x-unicode-2-0-utf-7", 65000},
    {"utf-16", 1200}, {"utf-16le", 1200}, {"unicode", 1200}, {"ucs-2", 1200}, {"utf-16be", 1201},
    {"unicodefffe", 1201}, {"utf-32", 12000}, {"utf-32le", 12000}, {"utf-32be", 12001},
    {"us-ascii", 20127}, {"ascii", 20127}, {"us", 20127}, {"ansi_x3.4-1968", 20127}, {"ansi_x3.4-1986", 20127},
    {"iso646-us", 20127}, {"iso-ir-6", 20127}, {"ibm367", 20127}, {"cp367", 20127}, {"csascii", 20127},
    // Windows code pages.
    {"windows-874", 874}, {"dos-874", 874}, {"tis-620", 874}, {"iso-8859-11", 874}, {"cp874", 874},
    {"windows-1250", 1250}, {"cp1250", 1250}, {"x-cp1250", 1250},
    {"windows-1251", 1251}, {"cp1251", 1251}, {"x-cp1251", 1251}, {"win-1251", 1251}, {"win1251", 1251},
    {"windows-1252", 1252}, {"cp1252", 1252}, {"x-ansi", 1252},
    {"windows-1253", 1253}, {"cp1253", 1253}, {"windows-1254", 1254}, {"cp1254", 1254},
    {"windows-1255", 1255}, {"cp1255", 1255}, {"windows-1256", 1256}, {"cp1256", 1256},
    {"windows-1257", 1257}, {"cp1257", 1257}, {"windows-1258", 1258}, {"cp1258", 1258},
    // ISO 8859.
    {"iso-8859-1", 28591}, {"iso_8859-1", 28591}, {"iso8859-1", 28591}, {"latin1", 28591}, {"l1", 28591},
    {"iso-ir-100", 28591}, {"ibm819", 28591}, {"cp819", 28591}, {"csisolatin1", 28591}, {"iso_8859-1:1987", 28591},
    {"iso-8859-2", 28592}, {"iso_8859-2", 28592}, {"iso8859-2", 28592}, {"latin2", 28592}, {"l2", 28592},
    {"iso-ir-101", 28592}, {"csisolatin2", 28592},
    {"iso-8859-3", 28593}, {"iso_8859-3", 28593}, {"latin3", 28593}, {"l3", 28593},
    {"iso-8859-4", 28594}, {"iso_8859-4", 28594}, {"latin4", 28594}, {"l4", 28594},
    {"iso-8859-5", 28595}, {"iso_8859-5", 28595}, {"iso8859-5", 28595}, {"cyrillic", 28595},
    {"iso-ir-144", 28595}, {"csisolatincyrillic", 28595},
    {"iso-8859-6", 28596}, {"iso_8859-6", 28596}, {"arabic", 28596}, {"asmo-708", 708},
    {"iso-8859-7", 28597}, {"iso_8859-7", 28597}, {"greek", 28597}, {"greek8", 28597}, {"elot_928", 28597},
    {"iso-8859-8", 28598}, {"iso_8859-8", 28598}, {"hebrew", 28598}, {"visual", 28598},
    {"iso-8859-8-i", 38598}, {"logical", 38598},
    {"iso-8859-9", 28599}, {"iso_8859-9", 28599}, {"latin5", 28599}, {"l5", 28599},
    {"iso-8859-10", 28600}, {"latin6", 28600}, {"iso-8859-13", 28603}, {"iso-8859-14", 28604},
    {"iso-8859-15", 28605}, {"iso_8859-15", 28605}, {"latin-9", 28605}, {"latin9", 28605}, {"l9", 28605},
    // Cyrillic.
    {"koi8-r", 20866}, {"koi8", 20866}, {"koi", 20866}, {"cskoi8r", 20866}, {"koi8r", 20866},
    {"koi8-u", 21866}, {"koi8-ru", 21866},
    {"ibm866", 866}, {"cp866", 866}, {"dos-866", 866}, {"866", 866}, {"csibm866", 866},
    {"x-mac-cyrillic", 10007}, {"mac-cyrillic", 10007},
    // DOS and Mac.
    {"ibm437", 437}, {"cp437", 437}, {"437", 437}, {"dos-720", 720}, {"ibm737", 737}, {"ibm775", 775},
    {"ibm850", 850}, {"cp850", 850}, {"ibm852", 852}, {"cp852", 852}, {"ibm855", 855}, {"cp855", 855},
    {"ibm857", 857}, {"cp857", 857}, {"ibm00858", 858}, {"ibm860", 860}, {"ibm861", 861}, {"dos-862", 862},
    {"ibm863", 863}, {"ibm864", 864}, {"ibm865", 865}, {"cp865", 865}, {"ibm869", 869}, {"cp869", 869},
    {"macintosh", 10000}, {"x-mac-roman", 10000}, {"mac", 10000}, {"x-mac-greek", 10006},
    {"x-mac-ce", 10029}, {"x-mac-centraleurroman", 10029},
    // Asian.
    {"shift_jis", 932}, {"shift-jis", 932}, {"sjis", 932}, {"x-sjis", 932}, {"ms_kanji", 932},
    {"csshiftjis", 932}, {"windows-31j", 932}, {"cp932", 932},
    {"euc-jp", 51932}, {"x-euc-jp", 51932}, {"cseucpkdfmtjapanese", 51932}, {"x-euc", 51932},
    {"iso-2022-jp", 50220}, {"csiso2022jp", 50220},
    {"gb2312", 936}, {"gbk", 936}, {"cp936", 936}, {"x-gbk", 936}, {"chinese", 936}, {"csgb2312", 936},
    {"gb_2312-80", 936}, {"iso-ir-58", 936}, {"windows-936", 936}, {"ms936", 936}, {"euc-cn", 936},
    {"x-euc-cn", 936}, {"gb18030", 54936}, {"hz-gb-2312", 52936},
    {"big5", 950}, {"cn-big5", 950}, {"x-x-big5", 950}, {"csbig5", 950}, {"cp950", 950}, {"big5-hkscs", 950},
    {"euc-kr", 51949}, {"cseuckr", 51949}, {"ks_c_5601-1987", 949}, {"ks_c_5601", 949}, {"ks_c_5601-1989", 949},
    {"ksc_5601", 949}, {"ksc5601", 949}, {"korean", 949}, {"csksc56011987", 949}, {"iso-ir-149", 949},
    {"cp949", 949}, {"windows-949", 949}, {"uhc", 949}, {"iso-2022-kr", 50225}, {"csiso2022kr", 50225},
};

struct CodePageInfo {
  int32_t cp;
  const char* icu;          // ICU converter name
  const char* description;  // display name
};

constexpr CodePageInfo kCodePages[] = {
    {708, "ISO-8859-6", "Arabic (ASMO 708)"},
    {720, "ibm-720", "Arabic (DOS)"},
    {437, "ibm-437", "OEM United States"},
    {737, "ibm-737", "Greek (DOS)"},
    {775, "ibm-775", "Baltic (DOS)"},
    {850, "ibm-850", "Western European (DOS)"},
    {852, "ibm-852", "Central European (DOS)"},
    {855, "ibm-855", "OEM Cyrillic"},
    {857, "ibm-857", "Turkish (DOS)"},
    {858, "ibm-858", "OEM Multilingual Latin I"},
    {860, "ibm-860", "Portuguese (DOS)"},
    {861, "ibm-861", "Icelandic (DOS)"},
    {862, "ibm-862", "Hebrew (DOS)"},
    {863, "ibm-863", "French Canadian (DOS)"},
    {864, "ibm-864", "Arabic (864)"},
    {865, "ibm-865", "Nordic (DOS)"},
    {866, "ibm-866", "Cyrillic (DOS)"},
    {869, "ibm-869", "Greek, Modern (DOS)"},
    {874, "windows-874", "Thai (Windows)"},
    {932, "windows-31j", "Japanese (Shift-JIS)"},
    {936, "windows-936", "Chinese Simplified (GB2312)"},
    {949, "windows-949", "Korean"},
    {950, "windows-950", "Chinese Traditional (Big5)"},
    {1200, "UTF-16LE", "Unicode"},
    {1201, "UTF-16BE", "Unicode (Big-Endian)"},
    {1250, "windows-1250", "Central European (Windows)"},
    {1251, "windows-1251", "Cyrillic (Windows)"},
    {1252, "windows-1252", "Western European (Windows)"},
    {1253, "windows-1253", "Greek (Windows)"},
    {1254, "windows-1254", "Turkish (Windows)"},
    {1255, "windows-1255", "Hebrew (Windows)"},
    {1256, "windows-1256", "Arabic (Windows)"},
    {1257, "windows-1257", "Baltic (Windows)"},
    {1258, "windows-1258", "Vietnamese (Windows)"},
    {10000, "macintosh", "Western European (Mac)"},
    {10006, "x-mac-greek", "Greek (Mac)"},
    {10007, "x-mac-cyrillic", "Cyrillic (Mac)"},
    {10029, "x-mac-centraleurroman", "Central European (Mac)"},
    {12000, "UTF-32LE", "Unicode (UTF-32)"},
    {12001, "UTF-32BE", "Unicode (UTF-32 Big-Endian)"},
    {20127, "US-ASCII", "US-ASCII"},
    {20866, "KOI8-R", "Cyrillic (KOI8-R)"},
    {21866, "KOI8-U", "Cyrillic (KOI8-U)"},
    {28591, "ISO-8859-1", "Western European (ISO)"},
    {28592, "ISO-8859-2", "Central European (ISO)"},
    {28593, "ISO-8859-3", "Latin 3 (ISO)"},
    {28594, "ISO-8859-4", "Baltic (ISO)"},
    {28595, "ISO-8859-5", "Cyrillic (ISO)"},
    {28596, "ISO-8859-6", "Arabic (ISO)"},
    {28597, "ISO-8859-7", "Greek (ISO)"},
    {28598, "ISO-8859-8", "Hebrew (ISO-Visual)"},
    {28599, "ISO-8859-9", "Turkish (ISO)"},
    {28600, "ISO-8859-10", "Nordic (ISO)"},
    {28603, "ISO-8859-13", "Estonian (ISO)"},
    {28604, "ISO-8859-14", "Celtic (ISO)"},
    {28605, "ISO-8859-15", "Latin 9 (ISO)"},
    {38598, "ISO-8859-8-I", "Hebrew (ISO-Logical)"},
    {50220, "ISO-2022-JP", "Japanese (JIS)"},
    {50225, "ISO-2022-KR", "Korean (ISO)"},
    {51932, "EUC-JP", "Japanese (EUC)"},
    {51949, "windows-949", "Korean (EUC)"},
    {52936, "HZ-GB-2312", "Chinese Simplified (HZ)"},
    {54936, "GB18030", "Chinese Simplified (GB18030)"},
    {65000, "UTF-7", "Unicode (UTF-7)"},
    {65001, "UTF-8", "Unicode (UTF-8)"},
};

const CodePageInfo* FindCodePage(int32_t cp) {
  for (const auto& info : kCodePages)
    if (info.cp == cp) return &info;
  return nullptr;
}

const std::vector<NameEntry>& SortedNames() {
  static const std::vector<NameEntry> names = [] {
    std::vector<NameEntry> v(std::begin(kNames), std::end(kNames));
    std::sort(v.begin(), v.end(), [](const NameEntry& a, const NameEntry& b) { return std::strcmp(a.name, b.name) < 0; });
    return v;
  }();
  return names;
}

// ---- Conversion ----

inline unsigned char OctetOf(char16_t c) { return c <= 0xFF ? static_cast<unsigned char>(c) : '?'; }

struct ConverterDeleter {
  void operator()(UConverter* c) const { ucnv_close(c); }
};
using ConverterPtr = std::unique_ptr<UConverter, ConverterDeleter>;

// One converter per code page and thread (ICU converters carry state).
UConverter* ConverterFor(int32_t cp) {
  thread_local std::unordered_map<int32_t, ConverterPtr> cache;
  auto it = cache.find(cp);
  if (it != cache.end()) return it->second.get();
  const CodePageInfo* info = FindCodePage(cp);
  UConverter* conv = nullptr;
  if (info != nullptr) {
    UErrorCode err = U_ZERO_ERROR;
    conv = ucnv_open(info->icu, &err);
    if (U_FAILURE(err)) conv = nullptr;
    if (conv != nullptr) {
      err = U_ZERO_ERROR;
      ucnv_setSubstChars(conv, "?", 1, &err);
    }
  }
  cache.emplace(cp, ConverterPtr(conv));
  return conv;
}

// Both directions of a single-byte code page as tables, built once from its converter.
struct SingleByteTables {
  std::array<char16_t, 256> toUnicode{};
  std::vector<unsigned char> fromUnicode;  // 65536 entries, '?' where unmapped
};

const SingleByteTables* SingleByteFor(int32_t cp) {
  static std::mutex mu;
  static std::map<int32_t, std::unique_ptr<SingleByteTables>> tables;
  std::lock_guard<std::mutex> lock(mu);
  auto it = tables.find(cp);
  if (it != tables.end()) return it->second.get();
  std::unique_ptr<SingleByteTables> t;
  UConverter* conv = ConverterFor(cp);
  if (conv != nullptr && ucnv_getMaxCharSize(conv) == 1 && cp != 1200 && cp != 1201) {
    t = std::make_unique<SingleByteTables>();
    for (int b = 0; b < 256; ++b) {
      char in = static_cast<char>(b);
      UChar out[4];
      UErrorCode err = U_ZERO_ERROR;
      ucnv_reset(conv);
      int32_t len = ucnv_toUChars(conv, out, 4, &in, 1, &err);
      t->toUnicode[b] = (U_SUCCESS(err) && len == 1) ? static_cast<char16_t>(out[0]) : u'\uFFFD';
    }
    ucnv_reset(conv);
    // The IBM tables of the DOS code pages rotate three control octets (0x1A, 0x1C, 0x7F);
    // the code pages as mail and files carry them keep every control character as it is.
    for (int b = 0; b < 0x20; ++b) t->toUnicode[b] = static_cast<char16_t>(b);
    t->toUnicode[0x7F] = u'\x7F';
    t->fromUnicode.assign(65536, static_cast<unsigned char>('?'));
    for (int b = 255; b >= 0; --b)  // lower octets win where two map to one unit
      if (t->toUnicode[b] != u'\uFFFD') t->fromUnicode[t->toUnicode[b]] = static_cast<unsigned char>(b);
  }
  const SingleByteTables* result = t.get();
  tables.emplace(cp, std::move(t));
  return result;
}

// Copies units below 0x80, four at a time, until one is not; advances i and o.
inline void CopyAsciiRun(const char16_t* s, size_t n, size_t& i, char16_t*& o) {
  while (i + 4 <= n) {
    uint64_t v;
    std::memcpy(&v, s + i, 8);
    if (v & 0xFF80FF80FF80FF80ull) break;
    std::memcpy(o, &v, 8);
    o += 4;
    i += 4;
  }
}

// UTF-8 octets of byte text to UTF-16. Each ill-formed sequence (its longest valid
// beginning) becomes one U+FFFD, as browsers read broken mail; or, with `keepOctets`,
// keeps its octets as byte text (U+00nn each), so that nothing is lost.
std::u16string Utf8ToUtf16(std::u16string_view in, bool keepOctets = false) {
  const size_t n = in.size();
  std::u16string out(n, u'\0');
  char16_t* o = out.data();
  const char16_t* s = in.data();
  size_t i = 0;
  // An ill-formed sequence of `k` octets at i.
  const auto ill = [&](size_t k) {
    if (keepOctets) {
      for (size_t j = 0; j < k; ++j) *o++ = OctetOf(s[i + j]);
    } else {
      *o++ = u'\uFFFD';
    }
    i += k;
  };
  while (i < n) {
    CopyAsciiRun(s, n, i, o);
    if (i >= n) break;
    uint32_t c = OctetOf(s[i]);
    if (c < 0x80) {
      *o++ = static_cast<char16_t>(c);
      ++i;
      continue;
    }
    auto cont = [&](size_t k, uint32_t lo, uint32_t hi) -> bool {
      if (k >= n) return false;
      uint32_t b = OctetOf(s[k]);
      return b >= lo && b <= hi;
    };
    auto val = [&](size_t k) { return static_cast<uint32_t>(OctetOf(s[k]) & 0x3F); };
    if (c >= 0xC2 && c <= 0xDF) {
      if (cont(i + 1, 0x80, 0xBF)) {
        *o++ = static_cast<char16_t>(((c & 0x1F) << 6) | val(i + 1));
        i += 2;
      } else {
        ill(1);
      }
    } else if (c >= 0xE0 && c <= 0xEF) {
      uint32_t lo = c == 0xE0 ? 0xA0 : 0x80, hi = c == 0xED ? 0x9F : 0xBF;
      if (!cont(i + 1, lo, hi)) {
        ill(1);
      } else if (!cont(i + 2, 0x80, 0xBF)) {
        ill(2);
      } else {
        *o++ = static_cast<char16_t>(((c & 0x0F) << 12) | (val(i + 1) << 6) | val(i + 2));
        i += 3;
      }
    } else if (c >= 0xF0 && c <= 0xF4) {
      uint32_t lo = c == 0xF0 ? 0x90 : 0x80, hi = c == 0xF4 ? 0x8F : 0xBF;
      if (!cont(i + 1, lo, hi)) {
        ill(1);
      } else if (!cont(i + 2, 0x80, 0xBF)) {
        ill(2);
      } else if (!cont(i + 3, 0x80, 0xBF)) {
        ill(3);
      } else {
        uint32_t cp = ((c & 0x07) << 18) | (val(i + 1) << 12) | (val(i + 2) << 6) | val(i + 3);
        cp -= 0x10000;
        *o++ = static_cast<char16_t>(0xD800 + (cp >> 10));
        *o++ = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        i += 4;
      }
    } else {
      ill(1);
    }
  }
  out.resize(o - out.data());
  return out;
}

// UTF-16 to the UTF-8 octets as byte text; an unpaired surrogate becomes U+FFFD.
std::u16string Utf16ToUtf8(std::u16string_view in) {
  const size_t n = in.size();
  std::u16string out(n * 3, u'\0');
  char16_t* o = out.data();
  const char16_t* s = in.data();
  size_t i = 0;
  while (i < n) {
    CopyAsciiRun(s, n, i, o);
    if (i >= n) break;
    uint32_t c = s[i++];
    if (c < 0x80) {
      *o++ = static_cast<char16_t>(c);
    } else if (c < 0x800) {
      *o++ = static_cast<char16_t>(0xC0 | (c >> 6));
      *o++ = static_cast<char16_t>(0x80 | (c & 0x3F));
    } else {
      if (c >= 0xD800 && c <= 0xDBFF && i < n && s[i] >= 0xDC00 && s[i] <= 0xDFFF) {
        c = 0x10000 + ((c - 0xD800) << 10) + (s[i++] - 0xDC00);
        *o++ = static_cast<char16_t>(0xF0 | (c >> 18));
        *o++ = static_cast<char16_t>(0x80 | ((c >> 12) & 0x3F));
      } else {
        if (c >= 0xD800 && c <= 0xDFFF) c = 0xFFFD;
        *o++ = static_cast<char16_t>(0xE0 | (c >> 12));
      }
      *o++ = static_cast<char16_t>(0x80 | ((c >> 6) & 0x3F));
      *o++ = static_cast<char16_t>(0x80 | (c & 0x3F));
    }
  }
  out.resize(o - out.data());
  return out;
}

std::atomic<int32_t> g_ansiCodePage{kCodePageUtf8};

// Byte text in code page `cp` to UTF-16; 0 is the ANSI code page.
std::u16string ToUtf16(std::u16string_view text, int32_t cp) {
  if (cp == 0) {
    cp = g_ansiCodePage.load(std::memory_order_relaxed);
    if (cp == kCodePageUtf8) return Utf8ToUtf16(text, true);
  }
  if (cp == kCodePageUtf8) return Utf8ToUtf16(text);
  if (const SingleByteTables* t = SingleByteFor(cp)) {
    std::u16string out(text.size(), u'\0');
    const auto& table = t->toUnicode;
    for (size_t i = 0; i < text.size(); ++i) out[i] = table[OctetOf(text[i])];
    return out;
  }
  UConverter* conv = ConverterFor(cp);
  if (conv == nullptr) {  // the plain single-byte mapping
    std::u16string out(text.size(), u'\0');
    for (size_t i = 0; i < text.size(); ++i) out[i] = OctetOf(text[i]);
    return out;
  }
  std::string bytes(text.size(), '\0');
  for (size_t i = 0; i < text.size(); ++i) bytes[i] = static_cast<char>(OctetOf(text[i]));
  std::u16string out(bytes.size() * 2 + 2, u'\0');
  UErrorCode err = U_ZERO_ERROR;
  ucnv_reset(conv);
  int32_t len = ucnv_toUChars(conv, reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                              bytes.data(), static_cast<int32_t>(bytes.size()), &err);
  if (err == U_BUFFER_OVERFLOW_ERROR) {
    out.assign(static_cast<size_t>(len) + 1, u'\0');
    err = U_ZERO_ERROR;
    ucnv_reset(conv);
    len = ucnv_toUChars(conv, reinterpret_cast<UChar*>(out.data()), static_cast<int32_t>(out.size()),
                        bytes.data(), static_cast<int32_t>(bytes.size()), &err);
  }
  if (U_FAILURE(err)) len = 0;
  out.resize(static_cast<size_t>(std::max(len, 0)));
  return out;
}

// UTF-16 to byte text in code page `cp`; 0 is the ANSI code page.
std::u16string FromUtf16(std::u16string_view text, int32_t cp) {
  if (cp == 0) cp = g_ansiCodePage.load(std::memory_order_relaxed);
  if (cp == kCodePageUtf8) return Utf16ToUtf8(text);
  if (const SingleByteTables* t = SingleByteFor(cp)) {
    std::u16string out(text.size(), u'\0');
    const auto& table = t->fromUnicode;
    for (size_t i = 0; i < text.size(); ++i) out[i] = table[text[i]];
    return out;
  }
  UConverter* conv = ConverterFor(cp);
  if (conv == nullptr) {
    std::u16string out(text.size(), u'\0');
    for (size_t i = 0; i < text.size(); ++i) out[i] = OctetOf(text[i]);
    return out;
  }
  std::string bytes(text.size() * static_cast<size_t>(ucnv_getMaxCharSize(conv)) + 16, '\0');
  UErrorCode err = U_ZERO_ERROR;
  ucnv_reset(conv);
  int32_t len = ucnv_fromUChars(conv, bytes.data(), static_cast<int32_t>(bytes.size()),
                                reinterpret_cast<const UChar*>(text.data()), static_cast<int32_t>(text.size()), &err);
  if (U_FAILURE(err)) len = 0;
  std::u16string out(static_cast<size_t>(len), u'\0');
  for (int32_t i = 0; i < len; ++i) out[i] = static_cast<unsigned char>(bytes[i]);
  return out;
}

// ---- Encoded words ----

// Decodes the text of one complete word by its method; a quoted-printable text that
// can't be read keeps its encoded form.
std::u16string DecodeWordText(std::u16string_view method, std::u16string_view text) {
  if (method.size() == 1 && (method[0] == u'B' || method[0] == u'b')) return Base64ToAscii(text);
  if (method.size() == 1 && (method[0] == u'Q' || method[0] == u'q')) {
    try {
      return Decode_quoted_printable(text);
    } catch (const Error&) {
      return std::u16string(text);
    }
  }
  return std::u16string(text);
}

}  // namespace

int32_t GetCPfromStr(std::u16string_view str) {
  // Trim blanks and fold ASCII case into a small buffer; longer names are unknown.
  size_t b = 0, e = str.size();
  while (b < e && str[b] == u' ') ++b;
  while (e > b && str[e - 1] == u' ') --e;
  char key[48];
  if (e - b == 0 || e - b >= sizeof key) return 0;
  for (size_t i = b; i < e; ++i) {
    char16_t c = str[i];
    if (c >= 0x80) return 0;
    key[i - b] = static_cast<char>(c >= u'A' && c <= u'Z' ? c + 32 : c);
  }
  key[e - b] = '\0';
  const auto& names = SortedNames();
  auto it = std::lower_bound(names.begin(), names.end(), key,
                             [](const NameEntry& a, const char* k) { return std::strcmp(a.name, k) < 0; });
  if (it != names.end() && std::strcmp(it->name, key) == 0) return it->cp;
  return 0;
}

int32_t GetCPCode(std::u16string_view str) { return GetCPfromStr(str); }

int32_t AnsiCodePage() { return g_ansiCodePage.load(std::memory_order_relaxed); }

bool SetAnsiCodePage(int32_t cp) {
  // Pages that keep ASCII as it is: encoded words and header syntax must read the same.
  static constexpr int32_t kMultiByte[] = {kCodePageUtf8, 932, 936, 949, 950, 51932, 51949, 54936};
  bool usable = std::find(std::begin(kMultiByte), std::end(kMultiByte), cp) != std::end(kMultiByte);
  if (!usable && cp != 20127 && FindCodePage(cp) != nullptr) {
    if (const SingleByteTables* t = SingleByteFor(cp)) {
      usable = true;
      for (int b = 0; b < 0x80 && usable; ++b) usable = t->toUnicode[b] == static_cast<char16_t>(b);
    }
  }
  if (!usable) return false;
  g_ansiCodePage.store(cp, std::memory_order_relaxed);
  return true;
}

std::u16string CharsetNameOf(int32_t cp) {
  for (const NameEntry& e : kNames)
    if (e.cp == cp) return Widen(e.name);
  return {};
}

std::u16string EncodeTextForLabel(std::u16string_view text, int32_t cp, std::u16string& charset) {
  if (cp == 0) cp = AnsiCodePage();
  if (cp != kCodePageUtf8 && cp != kCodePageUtf16) {
    std::u16string label = CharsetNameOf(cp);
    if (!label.empty()) {
      std::u16string octets = FromUtf16(text, cp);
      if (ToUtf16(octets, cp) == text) {
        charset = std::move(label);
        return octets;
      }
    }
  }
  charset = u"utf-8";
  return Utf16ToUtf8(text);
}

std::u16string GetCodePageDescription(int32_t code) {
  const CodePageInfo* info = FindCodePage(code);
  return info != nullptr ? Widen(info->description) : std::u16string();
}

std::u16string GetStrFromCPcode(int32_t CP) {
  switch (CP) {
    case 1: return u"Windows-1251";
    case 2: return u"DOS-866";
    case 3: return u"KOI8-r";
    case 4: return u"ISO-8859-5";
    case 5: return u"UTF-8";
    default: break;
  }
  std::u16string d = GetCodePageDescription(CP);
  if (d.empty()) d = u"Codepage " + NumToText(CP);
  return d;
}

std::u16string ConvertCodePage(std::u16string_view text, int32_t fromCP, int32_t toCP) {
  if (fromCP == toCP) return std::u16string(text);
  if (toCP == kCodePageUtf16) return ToUtf16(text, fromCP);
  if (fromCP == kCodePageUtf16) return FromUtf16(text, toCP);
  return FromUtf16(ToUtf16(text, fromCP), toCP);
}

std::u16string DecodeHeaderValue(std::u16string_view s) {
  if (s.find(u"=?") == npos) return std::u16string(s);

  // The value is read as `head` (out, never holding "=?") followed by the rest still to
  // read (buf[pos..]). Decoding a word puts its text in front of the rest, in the room
  // the word itself took, and reading goes on at the start of the joined text; since
  // `head` holds no "=?", only its last "=" can begin the next word.
  std::u16string out;
  out.reserve(s.size());
  std::u16string buf(s);
  size_t pos = 0;
  size_t outQE = npos;  // first "?=" inside out, for a word without its third "?"
  size_t qeFrom = npos, qeAt = npos;  // last search for "?=" in buf: from, found (or npos)

  auto appendOut = [&](size_t from, size_t to) {
    if (from >= to) return;
    if (outQE == npos) {
      if (!out.empty() && out.back() == u'?' && buf[from] == u'=') {
        outQE = out.size() - 1;
      } else {
        size_t k = std::u16string_view(buf.data() + from, to - from).find(u"?=");
        if (k != npos) outQE = out.size() + k;
      }
    }
    out.append(buf, from, to - from);
  };
  auto findQE = [&](size_t from) -> size_t {
    if (qeFrom != npos && qeFrom <= from && (qeAt == npos || qeAt >= from)) return qeAt;
    size_t k = std::u16string_view(buf).find(u"?=", from);
    qeFrom = from;
    qeAt = k;
    return k;
  };

  while (true) {
    const size_t len = out.size() + (buf.size() - pos);  // Len of the text of this round
    size_t p1;
    if (!out.empty() && out.back() == u'=' && pos < buf.size() && buf[pos] == u'?') {
      out.pop_back();
      if (outQE != npos && outQE + 2 > out.size()) outQE = npos;
      buf[--pos] = u'=';
      p1 = pos;
    } else {
      p1 = std::u16string_view(buf).find(u"=?", pos);
      if (p1 == npos) break;
      appendOut(pos, p1);
      pos = p1;
    }
    const size_t headLen = out.size();
    auto absolute = [&](size_t bufIndex) { return headLen + (bufIndex - pos) + 1; };  // 1-based

    size_t p2 = buf.find(u'?', p1 + 2);
    if (p2 == npos) RaiseError(errnum::kInvalidProcedureCall);  // the charset's length goes negative
    size_t p3 = buf.find(u'?', p2 + 1);
    size_t p4abs = 0;  // 1-based position of the closing "?=", 0 when there is none
    bool complete = false;
    size_t p4 = npos;
    if (p3 != npos) {
      p4 = findQE(p3 + 1);
      if (p4 != npos) {
        p4abs = absolute(p4);
        complete = true;
      }
    } else if (outQE != npos) {
      p4abs = outQE + 1;
    } else if (!out.empty() && out.back() == u'?') {
      p4abs = out.size();
    } else {
      size_t k = findQE(pos);
      if (k != npos) p4abs = absolute(k);
    }
    const bool methodEmpty = p3 == npos || p3 == p2 + 1;

    if (complete) {
      std::u16string_view view(buf);
      std::u16string decoded = DecodeWordText(methodEmpty ? std::u16string_view() : view.substr(p2 + 1, p3 - p2 - 1),
                                              view.substr(p3 + 1, p4 - p3 - 1));
      std::u16string text = ConvertCodePage(decoded, GetCPCode(view.substr(p1 + 2, p2 - p1 - 2)), kCodePageUtf16);
      const size_t after = p4 + 2;
      if (text.size() <= after) {
        pos = after - text.size();
        std::copy(text.begin(), text.end(), buf.begin() + static_cast<std::ptrdiff_t>(pos));
        if (qeFrom != npos && qeFrom < after) qeFrom = qeAt = npos;
      } else {
        buf = text + buf.substr(after);
        pos = 0;
        qeFrom = qeAt = npos;
      }
    } else {
      pos = methodEmpty ? p2 + 1 : p3 + 1;
    }
    // Read the joined text again only while more than the closing "?=" and one
    // character stood behind the word.
    if (!(static_cast<int64_t>(p4abs) < static_cast<int64_t>(len) - 2)) break;
  }
  appendOut(pos, buf.size());
  out.erase(std::remove(out.begin(), out.end(), u'\0'), out.end());
  return out;
}

void GetCP_CM(std::u16string_view str, std::u16string& CodePage, std::u16string& Method, std::u16string& Rest,
              std::u16string* strStart) {
  Rest.assign(str);
  size_t p1 = str.find(u"=?");
  if (p1 == npos) return;
  if (strStart != nullptr) strStart->assign(str.substr(0, p1));
  size_t p2 = str.find(u'?', p1 + 2);
  if (p2 == npos) RaiseError(errnum::kInvalidProcedureCall);
  CodePage.assign(str.substr(p1 + 2, p2 - p1 - 2));
  size_t p3 = str.find(u'?', p2 + 1);
  size_t close = str.rfind(u"?=");
  if (p3 != npos && close != npos && close > p3) Method.assign(str.substr(p2 + 1, p3 - p2 - 1));
  // Method keeps what a caller had in it when the word has no closing mark.
  Rest.assign(!Method.empty() && p3 != npos ? str.substr(p3 + 1) : str.substr(p2 + 1));
}

std::u16string CreateStrField(std::u16string_view FieldName, std::u16string_view Value) {
  std::u16string out(FieldName);
  out += u": =?utf-8?B?";
  out += AsciiToBase64(ConvertCodePage(Value, kCodePageUtf16, kCodePageUtf8));
  out += u"?=";
  return out;
}

std::u16string GetUnicodeHTMLString(std::u16string_view s) {
  std::u16string out;
  out.reserve(s.size() * 7);
  char16_t digits[5];
  for (char16_t c : s) {
    out += u"&#";
    int n = 0;
    uint32_t v = c;
    do {
      digits[n++] = static_cast<char16_t>(u'0' + v % 10);
      v /= 10;
    } while (v != 0);
    while (n > 0) out.push_back(digits[--n]);
    out.push_back(u';');
  }
  return out;
}

std::u16string StripBOM(std::u16string_view text) {
  if (!text.empty() && text[0] == u'\uFEFF') text.remove_prefix(1);
  return std::u16string(text);
}

}  // namespace ravelin
