// The classic string functions on UTF-16 text.
#include "runtime/vbstring.h"

#include <unicode/uchar.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "runtime/errors.h"

namespace ravelin {
namespace {

[[noreturn]] void BadArgument() { RaiseError(errnum::kInvalidProcedureCall); }

// Simple case folding of every BMP code unit, built once (128 KiB); surrogates map to themselves.
const std::array<char16_t, 65536>& FoldTable() {
  static const auto table = [] {
    auto t = std::make_unique<std::array<char16_t, 65536>>();
    for (uint32_t c = 0; c < 65536; ++c) {
      char16_t f = static_cast<char16_t>(c);
      if (c < 0xD800 || c > 0xDFFF) {
        UChar32 folded = u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT);
        if (folded >= 0 && folded < 0x10000) f = static_cast<char16_t>(folded);
      }
      (*t)[c] = f;
    }
    return t;
  }();
  return *table;
}

inline char16_t Fold(char16_t c) {
  if (c < 0x80) return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
  return FoldTable()[c];
}

// Position (0-based) of needle in hay at or after from, npos when absent.
size_t FindAt(u16v hay, u16v needle, size_t from, Compare cmp) {
  if (cmp == Compare::Binary) return hay.find(needle, from);
  if (needle.size() > hay.size()) return u16v::npos;
  const char16_t first = Fold(needle[0]);
  const size_t last = hay.size() - needle.size();
  for (size_t i = from; i <= last; ++i) {
    if (Fold(hay[i]) != first) continue;
    size_t k = 1;
    while (k < needle.size() && Fold(hay[i + k]) == Fold(needle[k])) ++k;
    if (k == needle.size()) return i;
  }
  return u16v::npos;
}

// Last position (0-based) of needle that starts at or before maxStart.
size_t FindLastAt(u16v hay, u16v needle, size_t maxStart, Compare cmp) {
  if (needle.size() > hay.size()) return u16v::npos;
  size_t i = std::min(maxStart, hay.size() - needle.size());
  if (cmp == Compare::Binary) return hay.rfind(needle, i);
  for (;; --i) {
    size_t k = 0;
    while (k < needle.size() && Fold(hay[i + k]) == Fold(needle[k])) ++k;
    if (k == needle.size()) return i;
    if (i == 0) break;
  }
  return u16v::npos;
}

inline bool IsBlank(char16_t c) { return c == u' '; }

}  // namespace

int32_t Len(u16v s) { return static_cast<int32_t>(s.size()); }

u16 LTrim(u16v s) {
  size_t b = 0;
  while (b < s.size() && IsBlank(s[b])) ++b;
  return u16(s.substr(b));
}

u16 RTrim(u16v s) {
  size_t e = s.size();
  while (e > 0 && IsBlank(s[e - 1])) --e;
  return u16(s.substr(0, e));
}

u16 Trim(u16v s) {
  size_t b = 0, e = s.size();
  while (b < e && IsBlank(s[b])) ++b;
  while (e > b && IsBlank(s[e - 1])) --e;
  return u16(s.substr(b, e - b));
}

u16 Left(u16v s, int64_t n) {
  if (n < 0) BadArgument();
  return u16(s.substr(0, static_cast<size_t>(std::min<int64_t>(n, static_cast<int64_t>(s.size())))));
}

u16 Right(u16v s, int64_t n) {
  if (n < 0) BadArgument();
  size_t k = static_cast<size_t>(std::min<int64_t>(n, static_cast<int64_t>(s.size())));
  return u16(s.substr(s.size() - k));
}

u16 Mid(u16v s, int64_t start) {
  if (start < 1) BadArgument();
  if (static_cast<uint64_t>(start) > s.size()) return {};
  return u16(s.substr(static_cast<size_t>(start - 1)));
}

u16 Mid(u16v s, int64_t start, int64_t length) {
  if (start < 1 || length < 0) BadArgument();
  if (static_cast<uint64_t>(start) > s.size()) return {};
  return u16(s.substr(static_cast<size_t>(start - 1), static_cast<size_t>(std::min<int64_t>(length, INT32_MAX))));
}

int32_t InStr(int64_t start, u16v s1, u16v s2, Compare cmp) {
  if (start < 1) BadArgument();
  if (s1.empty() || static_cast<uint64_t>(start) > s1.size()) return 0;
  if (s2.empty()) return static_cast<int32_t>(start);
  size_t p = FindAt(s1, s2, static_cast<size_t>(start - 1), cmp);
  return p == u16v::npos ? 0 : static_cast<int32_t>(p + 1);
}

int32_t InStr(u16v s1, u16v s2, Compare cmp) { return InStr(1, s1, s2, cmp); }

int32_t InStrRev(u16v s1, u16v s2, int64_t start, Compare cmp) {
  if (start == 0 || start < -1) BadArgument();
  if (start == -1) start = static_cast<int64_t>(s1.size());
  if (static_cast<uint64_t>(start) > s1.size()) return 0;
  if (s2.empty()) return static_cast<int32_t>(start);
  if (static_cast<uint64_t>(start) < s2.size()) return 0;
  size_t maxStart = static_cast<size_t>(start) - s2.size();
  size_t p = FindLastAt(s1, s2, maxStart, cmp);
  return p == u16v::npos ? 0 : static_cast<int32_t>(p + 1);
}

u16 Replace(u16v expr, u16v find, u16v replacement, int64_t start, int64_t count, Compare cmp) {
  if (start < 1 || count < -1) BadArgument();
  if (static_cast<uint64_t>(start) > expr.size()) return {};
  u16v rest = expr.substr(static_cast<size_t>(start - 1));
  if (find.empty() || count == 0) return u16(rest);
  u16 out;
  out.reserve(rest.size());
  size_t pos = 0;
  int64_t done = 0;
  while (count == -1 || done < count) {
    size_t p = FindAt(rest, find, pos, cmp);
    if (p == u16v::npos) break;
    out.append(rest.substr(pos, p - pos));
    out.append(replacement);
    pos = p + find.size();
    ++done;
  }
  out.append(rest.substr(pos));
  return out;
}

int32_t StrComp(u16v a, u16v b, Compare cmp) {
  size_t n = std::min(a.size(), b.size());
  for (size_t i = 0; i < n; ++i) {
    char16_t x = a[i], y = b[i];
    if (cmp == Compare::Text) {
      x = Fold(x);
      y = Fold(y);
    }
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

u16 LCase(u16v s) {
  u16 out(s);
  for (auto& c : out) {
    if (c < 0x80) {
      if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
    } else if (c < 0xD800 || c > 0xDFFF) {
      UChar32 m = u_tolower(c);
      if (m < 0x10000) c = static_cast<char16_t>(m);
    }
  }
  return out;
}

u16 UCase(u16v s) {
  u16 out(s);
  for (auto& c : out) {
    if (c < 0x80) {
      if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
    } else if (c < 0xD800 || c > 0xDFFF) {
      UChar32 m = u_toupper(c);
      if (m < 0x10000) c = static_cast<char16_t>(m);
    }
  }
  return out;
}

u16 FoldCase(u16v s) {
  u16 out(s);
  for (auto& c : out) c = Fold(c);
  return out;
}

bool TextEquals(u16v a, u16v b) { return a.size() == b.size() && StrComp(a, b, Compare::Text) == 0; }

double Val(u16v s) {
  // Keep only what Val reads: blanks, tabs and line feeds are dropped wherever they stand.
  std::string t;
  t.reserve(std::min<size_t>(s.size(), 400));
  for (char16_t c : s) {
    if (c == u' ' || c == u'\t' || c == u'\n') continue;
    if (c >= 0x80) break;  // nothing outside ASCII continues a number
    t.push_back(static_cast<char>(c));
    if (t.size() >= 4096) break;  // far more than any number Val can read
  }
  size_t i = 0, n = t.size();
  if (n >= 2 && t[0] == '&' && (t[1] == 'h' || t[1] == 'H' || t[1] == 'o' || t[1] == 'O')) {
    const bool hex = t[1] == 'h' || t[1] == 'H';
    uint64_t v = 0;
    bool any = false;
    for (i = 2; i < n; ++i) {
      int d;
      char c = t[i];
      if (c >= '0' && c <= '9') d = c - '0';
      else if (hex && c >= 'a' && c <= 'f') d = c - 'a' + 10;
      else if (hex && c >= 'A' && c <= 'F') d = c - 'A' + 10;
      else break;
      if (!hex && d > 7) break;
      v = v * (hex ? 16 : 8) + static_cast<uint64_t>(d);
      any = true;
      if (v > 0xFFFFFFFFull) RaiseError(errnum::kOverflow);
    }
    if (!any) return 0.0;
    if (v <= 0xFFFF) return static_cast<double>(static_cast<int16_t>(static_cast<uint16_t>(v)));
    return static_cast<double>(static_cast<int32_t>(static_cast<uint32_t>(v)));
  }
  // Decimal: [sign] digits [. digits] [E|D [sign] digits]
  std::string num;
  if (i < n && (t[i] == '+' || t[i] == '-')) num.push_back(t[i++]);
  size_t digits = 0;
  while (i < n && t[i] >= '0' && t[i] <= '9') { num.push_back(t[i++]); ++digits; }
  if (i < n && t[i] == '.') {
    num.push_back(t[i++]);
    while (i < n && t[i] >= '0' && t[i] <= '9') { num.push_back(t[i++]); ++digits; }
  }
  if (digits == 0) return 0.0;
  if (i < n && (t[i] == 'e' || t[i] == 'E' || t[i] == 'd' || t[i] == 'D')) {
    size_t j = i + 1;
    std::string ex = "e";
    if (j < n && (t[j] == '+' || t[j] == '-')) ex.push_back(t[j++]);
    size_t ed = 0;
    while (j < n && t[j] >= '0' && t[j] <= '9') { ex.push_back(t[j++]); ++ed; }
    if (ed > 0) num += ex;
  }
  double v = std::strtod(num.c_str(), nullptr);
  if (std::isinf(v)) RaiseError(errnum::kOverflow);
  return v;
}

std::vector<u16> Split(u16v expr, u16v delim, int64_t limit, Compare cmp) {
  std::vector<u16> out;
  if (limit < -1) BadArgument();
  if (expr.empty() || limit == 0) return out;
  if (delim.empty()) {
    out.emplace_back(expr);
    return out;
  }
  size_t pos = 0;
  while (limit == -1 || static_cast<int64_t>(out.size()) + 1 < limit) {
    size_t p = FindAt(expr, delim, pos, cmp);
    if (p == u16v::npos) break;
    out.emplace_back(expr.substr(pos, p - pos));
    pos = p + delim.size();
  }
  out.emplace_back(expr.substr(pos));
  return out;
}

u16 ChrW(int32_t code) {
  if (code < -32768 || code > 65535) BadArgument();
  return u16(1, static_cast<char16_t>(code & 0xFFFF));
}

int32_t AscW(u16v s) {
  if (s.empty()) BadArgument();
  return s[0];
}

u16 Space(int64_t n) {
  if (n < 0) BadArgument();
  return u16(static_cast<size_t>(n), u' ');
}

u16 String(int64_t n, char16_t c) {
  if (n < 0) BadArgument();
  return u16(static_cast<size_t>(n), c);
}

u16 NumToText(double d) {
  if (d == 0) return u"0";
  if (d == std::floor(d) && std::fabs(d) < 1e15) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.0f", d);
    return u16(buf, buf + std::char_traits<char>::length(buf));
  }
  char buf[40];
  std::snprintf(buf, sizeof buf, "%.15G", d);
  std::string s(buf);
  // Drop trailing zeros of the fraction (before any exponent).
  size_t e = s.find('E');
  std::string mant = s.substr(0, e), exp = e == std::string::npos ? "" : s.substr(e);
  if (mant.find('.') != std::string::npos) {
    while (!mant.empty() && mant.back() == '0') mant.pop_back();
    if (!mant.empty() && mant.back() == '.') mant.pop_back();
  }
  s = mant + exp;
  return u16(s.begin(), s.end());
}

u16 Str(double d) {
  u16 t = NumToText(d);
  // Str writes fractions without their leading zero: " .5", "-.5".
  if (t.rfind(u"0.", 0) == 0) t.erase(0, 1);
  else if (t.rfind(u"-0.", 0) == 0) t.erase(1, 1);
  if (d >= 0) t.insert(t.begin(), u' ');
  return t;
}

}  // namespace ravelin
