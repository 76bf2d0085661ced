// Transfer codecs: Base64 and quoted-printable over byte text, and the text splitters.
// The Base64 decoder and the quoted-printable scanner have vector paths (AVX2, chosen at
// run time) because every attachment and body passes through them; the scalar paths
// define the results and the vector paths only take blocks that they decode the same way.
#include "formats/codecs.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <memory>

#include "runtime/errors.h"
#include "runtime/vbstring.h"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define RAVELIN_X86 1
#endif

namespace ravelin {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=";

// Octet of a byte-text unit: units above U+00FF go out as "?".
inline uint32_t Octet(char16_t c) { return c <= 0xFF ? c : 63u; }

// Alphabet index of each octet: 0..63, 64 for "=", -1 for any stranger.
constexpr std::array<int8_t, 256> MakeDecodeTable() {
  std::array<int8_t, 256> t{};
  for (auto& v : t) v = -1;
  for (int i = 0; i < 65; ++i) t[static_cast<unsigned char>(kAlphabet[i])] = static_cast<int8_t>(i);
  return t;
}
constexpr std::array<int8_t, 256> kDecode = MakeDecodeTable();

// Two alphabet characters for each 12-bit value, low unit first in memory order.
struct EncodePairs {
  std::array<char16_t, 2 * 4096> units{};
  constexpr EncodePairs() {
    for (int v = 0; v < 4096; ++v) {
      units[2 * v] = static_cast<char16_t>(kAlphabet[v >> 6]);
      units[2 * v + 1] = static_cast<char16_t>(kAlphabet[v & 63]);
    }
  }
};
constexpr EncodePairs kPairs;

bool HaveAvx2() {
#if RAVELIN_X86
  static const bool have = __builtin_cpu_supports("avx2");
  return have;
#else
  return false;
#endif
}

// ---- Base64 decoding ----

// Cleans one unit at i of the source into `out`: LF, tab and blank go, CR goes only when
// an LF follows it (that is what removing CR LF pairs first, then the rest, leaves).
// Units above U+00FF become octet 255, which is no alphabet character either.
inline size_t CleanScalar(const char16_t* src, size_t i, size_t n, char16_t after, unsigned char* out, size_t w) {
  char16_t c = src[i];
  char16_t next = i + 1 < n ? src[i + 1] : after;
  bool drop = c == u'\n' || c == u'\t' || c == u' ' || (c == u'\r' && next == u'\n');
  out[w] = c <= 0xFF ? static_cast<unsigned char>(c) : 0xFF;
  return w + (drop ? 0 : 1);
}

#if RAVELIN_X86
__attribute__((target("avx2,bmi,bmi2"))) size_t CleanAvx2(const char16_t* src, size_t n, char16_t after, unsigned char* out) {
  size_t i = 0, w = 0;
  const __m256i lf = _mm256_set1_epi8('\n'), tab = _mm256_set1_epi8('\t'), sp = _mm256_set1_epi8(' ');
  const __m256i cr = _mm256_set1_epi8('\r'), low = _mm256_set1_epi8(0x21);
  alignas(32) unsigned char tmp[64];
  while (i + 32 <= n) {
    __m256i a = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i));
    __m256i b = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(src + i + 16));
    // Signed saturation to octets: units 0x100..0x7FFF give 255 and 0x8000.. give 0,
    // both strangers to the alphabet; 0 also sends the block to the exact check below.
    __m256i p = _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
    __m256i ok = _mm256_cmpeq_epi8(_mm256_max_epu8(p, low), p);
    if (static_cast<uint32_t>(_mm256_movemask_epi8(ok)) == 0xFFFFFFFFu) {
      _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + w), p);
      w += 32;
      i += 32;
      continue;
    }
    uint32_t lfm = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(p, lf)));
    uint32_t ws = lfm | static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(p, tab))) |
                  static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(p, sp)));
    uint32_t crm = static_cast<uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(p, cr)));
    // A packed 0 (from 0 or a unit at or above 0x8000) is a stranger like 255: kept.
    const char16_t next = i + 32 < n ? src[i + 32] : after;  // for a CR at the block's end
    uint32_t next_lf = (lfm >> 1) | (next == u'\n' ? 0x80000000u : 0u);
    uint32_t drop = ws | (crm & next_lf);
    if (drop == 0xFFFFFFFFu) {
      i += 32;
      continue;
    }
    if (drop != 0) {
      unsigned k = static_cast<unsigned>(__builtin_ctz(drop));
      uint32_t t = drop >> k;
      unsigned r = static_cast<unsigned>(__builtin_ctz(~t));  // t is not all ones here
      if ((t >> r) == 0) {  // one run of dropped units: two overlapping stores
        _mm256_store_si256(reinterpret_cast<__m256i*>(tmp), p);
        _mm256_store_si256(reinterpret_cast<__m256i*>(tmp + 32), _mm256_setzero_si256());
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + w), p);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + w + k),
                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(tmp + k + r)));
        w += 32 - r;
        i += 32;
        continue;
      }
    }
    for (size_t e = i + 32; i < e; ++i) w = CleanScalar(src, i, n, after, out, w);
  }
  for (; i < n; ++i) w = CleanScalar(src, i, n, after, out, w);
  return w;
}
#endif

// Cleans n units into `out` (which has 64 octets of slack); `after` is the unit that
// follows the n units in the source (0 at its end). Returns the octets kept.
size_t Clean(const char16_t* src, size_t n, char16_t after, unsigned char* out) {
#if RAVELIN_X86
  if (HaveAvx2()) return CleanAvx2(src, n, after, out);
#endif
  size_t w = 0;
  for (size_t i = 0; i < n; ++i) w = CleanScalar(src, i, n, after, out, w);
  return w;
}

// One group of four cleaned octets into up to three units of output, with the values
// -1 for strangers and 64 for "=" carrying into the octets before, as the sum
// c1*262144 + c2*4096 + c3*64 + c4 does in two's complement.
template <typename Unit>
inline void DecodeGroup(const unsigned char* g, Unit* out, size_t keep) {
  int32_t v = kDecode[g[0]] * 262144 + kDecode[g[1]] * 4096 + kDecode[g[2]] * 64 + kDecode[g[3]];
  uint32_t u = static_cast<uint32_t>(v);
  Unit o[3] = {static_cast<Unit>((u >> 16) & 0xFF), static_cast<Unit>((u >> 8) & 0xFF), static_cast<Unit>(u & 0xFF)};
  for (size_t k = 0; k < keep; ++k) out[k] = o[k];
}

#if RAVELIN_X86
// Decodes whole blocks of 32 alphabet octets (no "=", no stranger) into 24 units each;
// returns the number of octets taken. Stops at the first block it can't take whole.
// The 24 decoded octets of one block go out as units of byte text, or as they are.
__attribute__((target("avx2"))) inline void StoreBlock(__m256i m, char16_t* out) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm256_cvtepu8_epi16(_mm256_castsi256_si128(m)));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16), _mm_cvtepu8_epi16(_mm256_extracti128_si256(m, 1)));
}
__attribute__((target("avx2"))) inline void StoreBlock(__m256i m, char* out) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(m));
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(m, 1));
}

template <typename Unit>
__attribute__((target("avx2"))) size_t DecodeBlocksAvx2(const unsigned char* in, size_t n, Unit* out) {
  const __m256i lut_lo = _mm256_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A,
                                          0x1B, 0x1B, 0x1B, 0x1A, 0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                          0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
  const __m256i lut_hi = _mm256_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10,
                                          0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                          0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
  const __m256i lut_roll = _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0, 0, 16, 19, 4,
                                            -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
  const __m256i mask_2f = _mm256_set1_epi8(0x2F);
  const __m256i shuf = _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1, 2, 1, 0, 6, 5, 4, 10,
                                        9, 8, 14, 13, 12, -1, -1, -1, -1);
  const __m256i perm = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7);
  size_t i = 0, w = 0;
  while (i + 32 <= n) {
    __m256i s = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in + i));
    __m256i hi_n = _mm256_and_si256(_mm256_srli_epi32(s, 4), mask_2f);
    __m256i lo_n = _mm256_and_si256(s, mask_2f);
    __m256i lo = _mm256_shuffle_epi8(lut_lo, lo_n);
    __m256i hi = _mm256_shuffle_epi8(lut_hi, hi_n);
    if (!_mm256_testz_si256(lo, hi)) break;
    __m256i eq_2f = _mm256_cmpeq_epi8(s, mask_2f);
    __m256i roll = _mm256_shuffle_epi8(lut_roll, _mm256_add_epi8(eq_2f, hi_n));
    s = _mm256_add_epi8(s, roll);
    __m256i m = _mm256_maddubs_epi16(s, _mm256_set1_epi32(0x01400140));
    m = _mm256_madd_epi16(m, _mm256_set1_epi32(0x00011000));
    m = _mm256_shuffle_epi8(m, shuf);
    m = _mm256_permutevar8x32_epi32(m, perm);  // 24 octets at the start
    StoreBlock(m, out + w);
    i += 32;
    w += 24;
  }
  return i;
}
#endif

#if RAVELIN_X86
// Encodes blocks of eight groups (24 units, all at most U+00FF) into 32 characters each;
// returns the number of groups done. Stops at the first block it can't take whole.
__attribute__((target("avx2"))) size_t EncodeBlocksAvx2(const char16_t* s, size_t groups, char16_t* o) {
  const __m128i high = _mm_set1_epi16(static_cast<short>(0xFF00));
  const __m256i reshuffle = _mm256_set_epi8(10, 11, 9, 10, 7, 8, 6, 7, 4, 5, 3, 4, 1, 2, 0, 1, 10, 11, 9, 10, 7, 8, 6,
                                            7, 4, 5, 3, 4, 1, 2, 0, 1);
  const __m256i lut = _mm256_setr_epi8(65, 71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0, 65, 71, -4, -4,
                                       -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0);
  size_t g = 0;
  while (g + 8 <= groups) {
    const char16_t* p = s + 3 * g;
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 8));
    __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16));
    if (!_mm_testz_si128(_mm_or_si128(_mm_or_si128(a, b), c), high)) break;
    __m128i ab = _mm_packus_epi16(a, b);                   // octets 0..15
    __m128i hi = _mm_alignr_epi8(_mm_packus_epi16(c, c), ab, 12);  // octets 12..23
    __m256i in = _mm256_shuffle_epi8(_mm256_set_m128i(hi, ab), reshuffle);
    __m256i t1 = _mm256_mulhi_epu16(_mm256_and_si256(in, _mm256_set1_epi32(0x0FC0FC00)), _mm256_set1_epi32(0x04000040));
    __m256i t3 = _mm256_mullo_epi16(_mm256_and_si256(in, _mm256_set1_epi32(0x003F03F0)), _mm256_set1_epi32(0x01000010));
    __m256i idx = _mm256_or_si256(t1, t3);  // 32 alphabet indices
    __m256i sel = _mm256_subs_epu8(idx, _mm256_set1_epi8(51));
    sel = _mm256_sub_epi8(sel, _mm256_cmpgt_epi8(idx, _mm256_set1_epi8(25)));
    __m256i chars = _mm256_add_epi8(idx, _mm256_shuffle_epi8(lut, sel));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(o + 4 * g), _mm256_cvtepu8_epi16(_mm256_castsi256_si128(chars)));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(o + 4 * g + 16),
                        _mm256_cvtepu8_epi16(_mm256_extracti128_si256(chars, 1)));
    g += 8;
  }
  return g;
}
#endif

// ---- Scanning for one unit ----

// Position of the first `c` in [p, end), or end.
inline const char16_t* FindUnit(const char16_t* p, const char16_t* end, char16_t c) {
#if RAVELIN_X86
  const __m128i needle = _mm_set1_epi16(static_cast<short>(c));
  while (p + 8 <= end) {
    __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    int m = _mm_movemask_epi8(_mm_cmpeq_epi16(v, needle));
    if (m != 0) return p + (__builtin_ctz(static_cast<unsigned>(m)) >> 1);
    p += 8;
  }
#endif
  while (p < end && *p != c) ++p;
  return p;
}

constexpr std::array<int8_t, 128> MakeHexTable() {
  std::array<int8_t, 128> t{};
  for (auto& v : t) v = -1;
  for (int i = 0; i < 10; ++i) t['0' + i] = static_cast<int8_t>(i);
  for (int i = 0; i < 6; ++i) t['A' + i] = t['a' + i] = static_cast<int8_t>(10 + i);
  return t;
}
constexpr std::array<int8_t, 128> kHexValue = MakeHexTable();

// The hexadecimal reading of the two units behind a "=": digits in either case are read
// until the first unit that is no digit; blanks, tabs and line feeds are passed over; no
// digit at all gives 0.
inline char16_t LenientHexPair(char16_t a, char16_t b) {
  uint32_t v = 0;
  for (char16_t c : {a, b}) {
    if (c == u' ' || c == u'\t' || c == u'\n') continue;
    uint32_t d;
    if (c >= u'0' && c <= u'9') d = c - u'0';
    else if (c >= u'A' && c <= u'F') d = c - u'A' + 10;
    else if (c >= u'a' && c <= u'f') d = c - u'a' + 10;
    else break;
    v = v * 16 + d;
  }
  return static_cast<char16_t>(v);
}

}  // namespace

// ---- Base64 ----

std::u16string AsciiToBase64(std::u16string_view sSource) {
  const size_t n = sSource.size();
  const size_t full = n / 3, rest = n % 3;
  const size_t outLen = full * 4 + (rest ? 4 : 0);
  if (outLen > static_cast<size_t>(std::numeric_limits<int32_t>::max())) RaiseError(errnum::kOverflow);
  std::u16string out(outLen, u'\0');
  const char16_t* s = sSource.data();
  char16_t* o = out.data();
  auto scalarGroup = [](const char16_t* in, char16_t* to) {
    uint32_t v = (Octet(in[0]) << 16) | (Octet(in[1]) << 8) | Octet(in[2]);
    std::memcpy(to, &kPairs.units[2 * (v >> 12)], 2 * sizeof(char16_t));
    std::memcpy(to + 2, &kPairs.units[2 * (v & 0xFFF)], 2 * sizeof(char16_t));
  };
  size_t g = 0;
#if RAVELIN_X86
  if (HaveAvx2()) {
    while (g + 8 <= full) {
      g += EncodeBlocksAvx2(s + 3 * g, full - g, o + 4 * g);
      if (g + 8 > full) break;
      // A block with units above U+00FF: eight groups the exact way, then blocks again.
      for (size_t e = g + 8; g < e; ++g) scalarGroup(s + 3 * g, o + 4 * g);
    }
  }
#endif
  for (; g < full; ++g) scalarGroup(s + 3 * g, o + 4 * g);
  s += 3 * full;
  o += 4 * full;
  if (rest == 2) {
    uint32_t v = ((Octet(s[0]) << 8) | Octet(s[1])) << 2;  // 18 bits: three characters
    o[0] = static_cast<char16_t>(kAlphabet[v >> 12]);
    o[1] = static_cast<char16_t>(kAlphabet[(v >> 6) & 63]);
    o[2] = static_cast<char16_t>(kAlphabet[v & 63]);
    o[3] = u'=';
  } else if (rest == 1) {
    uint32_t v = Octet(s[0]) << 4;  // 12 bits: two characters
    o[0] = static_cast<char16_t>(kAlphabet[v >> 6]);
    o[1] = static_cast<char16_t>(kAlphabet[v & 63]);
    o[2] = u'=';
    o[3] = u'=';
  }
  return out;
}

namespace {

// The decoder behind both results: `Text` is std::u16string (byte text) or std::string
// (octets). Returns false, leaving `out` alone, when fewer than four characters remain
// after cleaning (such a text is not decoded at all).
template <typename Text>
bool DecodeBase64(std::u16string_view sSource, Text& out) {
  using Unit = typename Text::value_type;
  const size_t n = sSource.size();
  const char16_t* src = sSource.data();
  auto dropped = [&](size_t i) {
    char16_t c = src[i];
    return c == u'\n' || c == u'\t' || c == u' ' || (c == u'\r' && i + 1 < n && src[i + 1] == u'\n');
  };
  // The cleaned text's last characters, read from the end: up to three "=" there
  // shorten the result by one octet each.
  size_t pads = 0, seen = 0, kept = 0;
  for (size_t i = n; i-- > 0 && seen < 3;) {
    if (dropped(i)) continue;
    ++seen;
    if (src[i] == u'=' && pads == kept) ++pads;
    ++kept;
  }

  // Clean and decode chunk by chunk through small buffers; whole groups are decoded as
  // they come and the 0..3 characters of an unfinished group carry over. The octets of a
  // chunk are appended from a buffer still in the cache, so the result's memory is written
  // once (not zeroed first and then written again).
  Text decoded;
  decoded.reserve(n / 4 * 3 + 3);
  size_t cleanedTotal = 0;
  constexpr size_t kChunk = 16384;
  alignas(32) unsigned char chunk[kChunk + 64];
  alignas(32) Unit o[kChunk / 4 * 3 + 64];
  size_t have = 0, i = 0;
  while (i < n) {
    size_t take = std::min(n - i, kChunk - have);
    // The cleaner looks one unit ahead for the LF of a CR LF pair, across chunks too.
    size_t got = Clean(src + i, take, i + take < n ? src[i + take] : u'\0', chunk + have);
    i += take;
    cleanedTotal += got;
    have += got;
    size_t groups = have / 4;
    size_t g = 0;
#if RAVELIN_X86
    if (HaveAvx2()) {
      while (g + 8 <= groups) {
        g += DecodeBlocksAvx2(chunk + 4 * g, 4 * (groups - g), o + 3 * g) / 4;
        if (g + 8 > groups) break;
        // A block with a stranger or "=": eight groups the exact way, then blocks again.
        for (size_t e = g + 8; g < e; ++g) DecodeGroup(chunk + 4 * g, o + 3 * g, 3);
      }
    }
#endif
    for (; g < groups; ++g) DecodeGroup(chunk + 4 * g, o + 3 * g, 3);
    decoded.append(o, 3 * groups);
    std::memmove(chunk, chunk + 4 * groups, have - 4 * groups);
    have -= 4 * groups;
  }
  if (cleanedTotal < 4) return false;
  // Octets that the last group wrote past the length fall away.
  decoded.resize(cleanedTotal / 4 * 3 - pads);
  out = std::move(decoded);
  return true;
}

}  // namespace

std::u16string Base64ToAscii(std::u16string_view sSource) {
  std::u16string out;
  if (DecodeBase64(sSource, out)) return out;
  // Fewer than four characters left: the cleaned text itself, undecoded.
  const size_t n = sSource.size();
  for (size_t k = 0; k < n; ++k) {
    const char16_t c = sSource[k];
    const bool drop = c == u'\n' || c == u'\t' || c == u' ' || (c == u'\r' && k + 1 < n && sSource[k + 1] == u'\n');
    if (!drop) out.push_back(c);
  }
  return out;
}

bool Base64ToOctets(std::u16string_view sSource, std::string& octets) { return DecodeBase64(sSource, octets); }

int32_t CalcBase64strSize(int32_t lngStr) {
  int64_t size = static_cast<int64_t>(lngStr / 3) * 4 + (lngStr % 3 != 0 ? 4 : 0);
  if (size > std::numeric_limits<int32_t>::max() || size < std::numeric_limits<int32_t>::min())
    RaiseError(errnum::kOverflow);
  return static_cast<int32_t>(size);
}

// ---- Quoted-printable ----

std::u16string Code_quoted_printable(std::u16string_view Text) {
  static constexpr char16_t kHex[] = u"0123456789ABCDEF";
  std::u16string out;
  out.reserve(Text.size() + Text.size() / 2 + 8);
  for (char16_t c : Text) {
    uint32_t o = Octet(c);
    if ((o >= 33 && o <= 126 && o != 61) || o == 127) {
      out.push_back(static_cast<char16_t>(o));
    } else if (o < 16) {
      out.append({u'=', u'0', kHex[o]});
    } else {
      out.append({u'=', kHex[o >> 4], kHex[o & 15]});
    }
  }
  return out;
}

std::u16string Decode_quoted_printable(std::u16string_view Text) {
  const size_t n = Text.size();
  std::u16string buf(n, u'\0');
  char16_t* b = buf.data();
  const char16_t* s = Text.data();

  // Soft breaks: every "=" CR LF goes, then every "=" LF of what is left; neither
  // removal reads its own result again. Both end in an LF, so the text is copied in runs
  // from one LF to the next and each LF decides. `lastA` is the unit before the LF in the
  // text as the first removal leaves it (0 when there is none).
  size_t w = 0, p = 0;
  char16_t lastA = 0;
  while (p < n) {
    const char16_t* lf = FindUnit(s + p, s + n, u'\n');
    const size_t q = static_cast<size_t>(lf - s);
    const size_t run = q - p;
    std::memcpy(b + w, s + p, run * sizeof(char16_t));
    w += run;
    if (q == n) break;
    const char16_t before = lastA;
    if (run > 0) lastA = s[q - 1];
    if (run >= 2 && s[q - 1] == u'\r' && s[q - 2] == u'=') {
      w -= 2;  // "=" CR LF: the units on either side now stand together
      lastA = run > 2 ? s[q - 3] : before;
    } else if (lastA == u'=') {
      w -= 1;  // "=" LF
      lastA = u'\n';
    } else {
      b[w++] = u'\n';
      lastA = u'\n';
    }
    p = q + 1;
  }

  // The escapes, decoded in place: the output never outruns the reading position.
  char16_t* r = b;
  char16_t* const rend = b + w;
  char16_t* o = b;
  while (true) {
#if RAVELIN_X86
    // Blocks of eight without "=" move as they are.
    const __m128i eq = _mm_set1_epi16(u'=');
    while (r + 8 <= rend) {
      __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(r));
      if (_mm_movemask_epi8(_mm_cmpeq_epi16(v, eq)) != 0) break;
      // Overwrites only units already read: the output stands at or behind r.
      _mm_storeu_si128(reinterpret_cast<__m128i*>(o), v);
      r += 8;
      o += 8;
    }
#endif
    while (r < rend && *r != u'=') *o++ = *r++;
    if (r == rend) break;
    const size_t left = static_cast<size_t>(rend - r);
    if (left == 1) {  // a final "=" stays as it is
      *o++ = u'=';
      break;
    }
    if (left == 2) RaiseError(errnum::kInvalidProcedureCall);  // "=" and one character at the end
    const char16_t c1 = r[1], c2 = r[2];
    if (c1 == u'\r' && c2 == u'\n') {  // a CR LF that the removals joined to an "="
      r += 3;
      continue;
    }
    const int h1 = c1 < 128 ? kHexValue[c1] : -1, h2 = c2 < 128 ? kHexValue[c2] : -1;
    *o++ = (h1 >= 0 && h2 >= 0) ? static_cast<char16_t>(h1 * 16 + h2) : LenientHexPair(c1, c2);
    r += 3;
  }
  buf.resize(static_cast<size_t>(o - b));
  return buf;
}

namespace {

// Whether the text may be cut behind the line feed at q, the two pieces decoding to what
// the whole decodes to: a hard line break (its LF stays) whose unit before is no "=", so
// that neither a soft break nor an escape reaches across the cut.
bool QuotedPrintableCut(std::u16string_view t, size_t q) {
  if (q == 0) return false;
  const char16_t before = t[q - 1];
  if (before == u'=' || before == u'\n') return false;
  return before != u'\r' || (q >= 2 && t[q - 2] != u'=');
}

}  // namespace

bool QuotedPrintableToOctets(std::u16string_view Text, std::string& octets, size_t slice) {
  std::string out;
  out.reserve(Text.size());
  size_t from = 0;
  while (from < Text.size()) {
    size_t to = Text.size();
    if (Text.size() - from > slice) {
      for (size_t q = Text.find(u'\n', from + slice); q != std::u16string_view::npos; q = Text.find(u'\n', q + 1)) {
        if (QuotedPrintableCut(Text, q)) {
          to = q + 1;
          break;
        }
      }
    }
    for (char16_t c : Decode_quoted_printable(Text.substr(from, to - from))) {
      if (c > 0xFF) return false;
      out.push_back(static_cast<char>(c));
    }
    from = to;
  }
  octets = std::move(out);
  return true;
}

// ---- Splitting ----

std::vector<std::u16string> mSplit(std::u16string_view str, std::u16string_view Delim) {
  std::vector<std::u16string> parts = Split(str, Delim, -1, Compare::Text);
  if (parts.empty()) parts.emplace_back();
  return parts;
}

std::u16string SplitMsg(std::u16string_view strMsg, std::u16string_view Delim, int32_t MaxLen, int32_t Len1) {
  if (strMsg.empty()) return {};
  if (MaxLen == 0) RaiseError(errnum::kDivisionByZero);
  if (MaxLen < 0) RaiseError(errnum::kInvalidProcedureCall);
  const size_t n = strMsg.size(), width = static_cast<size_t>(MaxLen);
  size_t pieces = n / width;
  if (pieces * width < n) ++pieces;
  std::u16string out;
  out.resize(n + (pieces - 1) * Delim.size());
  char16_t* o = out.data();
  for (size_t i = 0; i < pieces; ++i) {
    if (i > 0) {
      std::memcpy(o, Delim.data(), Delim.size() * sizeof(char16_t));
      o += Delim.size();
    }
    size_t len = std::min(width, n - i * width);
    std::memcpy(o, strMsg.data() + i * width, len * sizeof(char16_t));
    o += len;
  }
  return out;
}

}  // namespace ravelin
