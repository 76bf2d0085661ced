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

#include "core/errors.h"
#include "core/vbstring.h"

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
inline size_t CleanScalar(const char16_t* src, size_t i, size_t n, unsigned char* out, size_t w) {
  char16_t c = src[i];
  bool drop = c == u'\n' || c == u'\t' || c == u' ' || (c == u'\r' && i + 1 < n && src[i + 1] == u'\n');
  out[w] = c <= 0xFF ? static_cast<unsigned char>(c) : 0xFF;
  return w + (drop ? 0 : 1);
}

#if RAVELIN_X86
__attribute__((target("avx2,bmi,bmi2"))) size_t CleanAvx2(const char16_t* src, size_t n, unsigned char* out) {
  size_t i = 0, w = 0;
  const __m256i lf = _mm256_set1_epi8('\n'), tab = _mm256_set1_epi8('\t'), sp = _mm256_set1_epi8(' ');
  const __m256i cr = _mm256_set1_epi8('\r'), low = _mm256_set1_epi8(0x21);
  alignas(32) unsigned char tmp[64];
  while (i + 33 <= n) {  // one unit of lookahead for a CR at the block's end
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
    uint32_t next_lf = (lfm >> 1) | (src[i + 32] == u'\n' ? 0x80000000u : 0u);
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
    for (size_t e = i + 32; i < e; ++i) w = CleanScalar(src, i, n, out, w);
  }
  for (; i < n; ++i) w = CleanScalar(src, i, n, out, w);
  return w;
}
#endif

size_t Clean(const char16_t* src, size_t n, unsigned char* out) {
#if RAVELIN_X86
  if (HaveAvx2()) return CleanAvx2(src, n, out);
#endif
  size_t w = 0;
  for (size_t i = 0; i < n; ++i) w = CleanScalar(src, i, n, out, w);
  return w;
}

// One group of four cleaned octets into up to three units of output, with the values
// -1 for strangers and 64 for "=" carrying into the octets before, as the sum
// c1*262144 + c2*4096 + c3*64 + c4 does in two's complement.
inline void DecodeGroup(const unsigned char* g, char16_t* out, size_t keep) {
  int32_t v = kDecode[g[0]] * 262144 + kDecode[g[1]] * 4096 + kDecode[g[2]] * 64 + kDecode[g[3]];
  uint32_t u = static_cast<uint32_t>(v);
  char16_t o[3] = {static_cast<char16_t>((u >> 16) & 0xFF), static_cast<char16_t>((u >> 8) & 0xFF),
                   static_cast<char16_t>(u & 0xFF)};
  for (size_t k = 0; k < keep; ++k) out[k] = o[k];
}

#if RAVELIN_X86
// Decodes whole blocks of 32 alphabet octets (no "=", no stranger) into 24 units each;
// returns the number of octets taken. Stops at the first block it can't take whole.
__attribute__((target("avx2"))) size_t DecodeBlocksAvx2(const unsigned char* in, size_t n, char16_t* out) {
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
    __m256i w0 = _mm256_cvtepu8_epi16(_mm256_castsi256_si128(m));
    __m128i w1 = _mm_cvtepu8_epi16(_mm256_extracti128_si256(m, 1));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + w), w0);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + w + 16), w1);
    i += 32;
    w += 24;
  }
  return i;
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
  for (size_t g = 0; g < full; ++g, s += 3, o += 4) {
    uint32_t v = (Octet(s[0]) << 16) | (Octet(s[1]) << 8) | Octet(s[2]);
    std::memcpy(o, &kPairs.units[2 * (v >> 12)], 2 * sizeof(char16_t));
    std::memcpy(o + 2, &kPairs.units[2 * (v & 0xFFF)], 2 * sizeof(char16_t));
  }
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

std::u16string Base64ToAscii(std::u16string_view sSource) {
  const size_t n = sSource.size();
  // 32 octets of slack for the vector stores of the cleaner.
  std::unique_ptr<unsigned char[]> clean(new unsigned char[n + 64]);
  const size_t m = Clean(sSource.data(), n, clean.get());
  size_t outLen = (m / 4) * 3;
  if (outLen == 0) {
    // Fewer than four characters left: the cleaned text itself, undecoded.
    std::u16string cleaned;
    for (size_t i = 0; i < n; ++i) {
      char16_t c = sSource[i];
      if (c == u'\n' || c == u'\t' || c == u' ' || (c == u'\r' && i + 1 < n && sSource[i + 1] == u'\n')) continue;
      cleaned.push_back(c);
    }
    return cleaned;
  }
  // Up to three "=" at the end shorten the result, one octet each.
  for (size_t k = 1; k <= 3 && k <= m && clean[m - k] == '='; ++k) --outLen;

  std::u16string out(outLen + 24, u'\0');  // slack for the last vector store
  const unsigned char* in = clean.get();
  char16_t* o = out.data();
  const size_t groups = m / 4;
  // Groups whose three octets all land inside the output may take the vector path.
  const size_t safeGroups = outLen / 3;
  size_t g = 0;
#if RAVELIN_X86
  if (HaveAvx2()) {
    while (g + 8 <= safeGroups) {
      size_t took = DecodeBlocksAvx2(in + 4 * g, 4 * (safeGroups - g), o + 3 * g);
      g += took / 4;
      if (g + 8 > safeGroups) break;
      // A block with a stranger: eight groups the exact way, then try blocks again.
      for (size_t e = g + 8; g < e; ++g) DecodeGroup(in + 4 * g, o + 3 * g, 3);
    }
  }
#endif
  for (; g < groups; ++g) {
    size_t at = 3 * g;
    if (at >= outLen) break;
    DecodeGroup(in + 4 * g, o + at, std::min<size_t>(3, outLen - at));
  }
  out.resize(outLen);
  return out;
}

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
  // Soft breaks: every "=" CR LF from left to right, then every "=" LF of what that
  // left. The second removal runs on the fly: an "=" just written meets the LF that now
  // follows it, unless that "=" stands right behind an earlier removal of the same kind
  // (the removal does not read its own result again).
  size_t w = 0, barrier = 0;
  const char16_t* s = Text.data();
  const char16_t* end = s + n;
  const char16_t* p = s;
  while (p < end) {
    const char16_t* q = p;
    // Copy the run up to the next unit that matters to either removal.
    while (q < end && *q != u'=' && *q != u'\n') ++q;
    std::memcpy(b + w, p, (q - p) * sizeof(char16_t));
    w += q - p;
    if (q == end) break;
    if (*q == u'=' && q + 2 < end && q[1] == u'\r' && q[2] == u'\n') {
      p = q + 3;  // the first removal: the units around it now stand side by side
      continue;
    }
    if (*q == u'\n' && w > barrier && b[w - 1] == u'=') {
      --w;
      barrier = w;
    } else {
      b[w++] = *q;
    }
    p = q + 1;
  }

  // The escapes, decoded in place: the output never outruns the reading position.
  char16_t* r = b;
  char16_t* rend = b + w;
  char16_t* o = b;
  while (true) {
    char16_t* eq = const_cast<char16_t*>(FindUnit(r, rend, u'='));
    if (o != r) std::memmove(o, r, (eq - r) * sizeof(char16_t));
    o += eq - r;
    if (eq == rend) break;
    size_t left = rend - eq;
    if (left == 1) {  // a final "=" stays as it is
      *o++ = u'=';
      break;
    }
    if (left == 2) RaiseError(errnum::kInvalidProcedureCall);  // "=" and one character at the end
    if (eq[1] == u'\r' && eq[2] == u'\n') {  // a CR LF that the removals joined to an "="
      r = eq + 3;
      continue;
    }
    *o++ = LenientHexPair(eq[1], eq[2]);
    r = eq + 3;
  }
  buf.resize(o - b);
  return buf;
}

// ---- Splitting ----

std::vector<std::u16string> mSplit(std::u16string_view str, std::u16string_view Delim) {
  std::vector<std::u16string> parts = Split(str, Delim, -1, Compare::Text);
  if (parts.empty()) parts.emplace_back();
  return parts;
}

std::u16string SplitMsg(std::u16string_view strMsg, std::u16string_view Delim, int32_t MaxLen, int32_t Len1) {
  if (strMsg.empty()) return {};
  if (MaxLen == 0) RaiseError(11, u"Division by zero");
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
