// Base URL, attribute search and reference rewriting by plain text search.
#include "presentation/references.h"

#include <algorithm>
#include <vector>

#include "runtime/vbstring.h"

namespace ravelin::presentation {

namespace {

bool StartsWithText(std::u16string_view s, std::u16string_view prefix) {
  return s.size() >= prefix.size() && TextEquals(s.substr(0, prefix.size()), prefix);
}

bool IsAbsolute(std::u16string_view h) {
  return StartsWithText(h, u"http://") || StartsWithText(h, u"https://") || StartsWithText(h, u"mailto:") ||
         StartsWithText(h, u"file://");
}

// The folder cut back by one level at its last "/"; empty when it has none.
std::u16string CutLastLevel(const std::u16string& folder) {
  const int32_t k = InStrRev(folder, u"/");
  return k > 0 ? Left(folder, k - 1) : std::u16string();
}

std::u16string RemoveChar(std::u16string s, char16_t c) {
  std::erase(s, c);
  return s;
}

}  // namespace

std::u16string GetBaseUrl(std::u16string& HTMLdoc, int16_t Flags) {
  const int32_t p = InStr(1, HTMLdoc, u"<Base", Compare::Text);
  if (p == 0) return {};
  int32_t gt = InStr(p + 5, HTMLdoc, u">");
  const int32_t h = InStr(p + 5, HTMLdoc, u"href", Compare::Text);
  if (gt == 0 || h == 0) return {};
  // An href beyond the element's own ">" is still taken: its value runs to the ">" after it.
  if (gt < h) gt = InStr(h, HTMLdoc, u">");
  if (gt == 0) return {};
  std::u16string value = Mid(HTMLdoc, h + 4, gt - (h + 4));
  const int32_t eq = InStr(value, u"=");
  if (eq > 0) value.erase(static_cast<size_t>(eq - 1), 1);
  value = RemoveChar(Trim(value), u'"');
  if (Flags == 1) HTMLdoc.erase(static_cast<size_t>(p - 1), static_cast<size_t>(gt - p + 1));
  return value;
}

namespace {
bool FindAttr(std::u16string_view doc, int32_t start, std::u16string_view name, int32_t& m, int32_t& valueStart,
              int32_t& valueEnd, std::u16string& value) {
  if (name.empty() || start < 1) return false;
  std::u16string pattern(name);
  m = InStr(start, doc, pattern + u"=", Compare::Text);
  if (m == 0) m = InStr(start, doc, pattern + u" =", Compare::Text);
  if (m == 0) return false;
  valueStart = m + static_cast<int32_t>(name.size());
  const int32_t tagEnd = InStr(m, doc, u">");
  valueEnd = tagEnd > 0 ? tagEnd - 1 : static_cast<int32_t>(doc.size());
  std::u16string t = Mid(doc, valueStart, std::max(0, valueEnd - valueStart + 1));
  const int32_t dq = InStr(t, u"\"");
  const int32_t sq = InStr(t, u"'");
  int32_t q = 0;
  char16_t quote = 0;
  if (dq > 0 && (sq == 0 || dq < sq)) {
    q = dq;
    quote = u'"';
  } else if (sq > 0) {
    q = sq;
    quote = u'\'';
  }
  if (q > 0) {
    const int32_t base = valueStart;
    valueStart = base + q;
    const int32_t close = InStr(q + 1, t, std::u16string(1, quote));
    if (close > 0) valueEnd = base + close - 1;  // the closing quote itself
    const int32_t len = close > 0 ? close - q - 1 : static_cast<int32_t>(t.size()) - q;
    t = Mid(t, q + 1, std::max(0, len));
  }
  value = Trim(t);
  if (!value.empty() && value.front() == u'=') value = Trim(std::u16string_view(value).substr(1));
  return true;
}
}  // namespace

bool FindAttrValue(std::u16string_view doc, int32_t start, std::u16string_view name, int32_t& valueStart,
                   int32_t& valueEnd, std::u16string& value) {
  int32_t m = 0;
  return FindAttr(doc, start, name, m, valueStart, valueEnd, value);
}

void ConvertAllReftoLocal(std::u16string& HTMLdoc) {
  const std::u16string base = GetBaseUrl(HTMLdoc, 1);
  if (base.empty() || StartsWithText(base, u"file://")) return;
  for (std::u16string_view name : {u"href", u"background", u"src"}) {
    int32_t pos = 1;
    int32_t m = 0, vs = 0, ve = 0;
    std::u16string value;
    while (pos <= static_cast<int32_t>(HTMLdoc.size()) && FindAttr(HTMLdoc, pos, name, m, vs, ve, value)) {
      const std::u16string abs = ConvertReftoAbs(value, base);
      // Everything through the attribute's "=" stays; the old value with its quotes goes.
      const int32_t eq = InStr(m + static_cast<int32_t>(name.size()), HTMLdoc, u"=");
      const size_t keep = static_cast<size_t>(eq);
      const size_t rest = std::min(HTMLdoc.size(), static_cast<size_t>(std::max(ve, eq)));
      std::u16string rebuilt;
      rebuilt.reserve(HTMLdoc.size() + abs.size());
      rebuilt.append(HTMLdoc, 0, keep);
      rebuilt.append(abs);
      rebuilt.append(HTMLdoc, rest, std::u16string::npos);
      HTMLdoc.swap(rebuilt);
      pos = static_cast<int32_t>(keep + abs.size()) + 1;
    }
  }
}

std::u16string ConvertReftoAbs(std::u16string_view href, std::u16string_view BaseURL) {
  if (Trim(href).empty()) return {};
  std::u16string folder = Trim(BaseURL);
  if (!folder.empty() && folder.back() == u'/') {
    folder.pop_back();
  } else if (InStrRev(folder, u"/") > 0) {
    folder = CutLastLevel(folder);
  }
  std::u16string h = Trim(href);
  if (IsAbsolute(h) || folder.empty()) return h;
  if (InStr(h, u"/") == 0) return folder + u"/" + h;
  while (InStr(h, u"../") > 0) {
    h = Mid(h, 4);
    folder = CutLastLevel(folder);
  }
  if (InStr(h, u"./") == 0) return folder + u"/" + h;
  return h;
}

int32_t CountSlashes(std::u16string_view s) {
  return static_cast<int32_t>(std::count(s.begin(), s.end(), u'/'));
}

std::u16string GetShortLocation(std::u16string_view ContentLocation, std::u16string_view BaseURL) {
  const int32_t s = InStr(8, BaseURL, u"/");
  if (s == 0) return {};
  const std::u16string server = Left(BaseURL, s);
  const int32_t p = InStr(1, ContentLocation, server, Compare::Text);
  if (p == 0) return {};
  const std::u16string a = Mid(ContentLocation, p + static_cast<int64_t>(server.size()));
  const std::u16string b = Mid(BaseURL, s + 1);
  const int32_t ca = CountSlashes(a), cb = CountSlashes(b);
  if (ca == cb) {
    const std::u16string prefix = Left(BaseURL, InStrRev(BaseURL, u"/"));
    if (StartsWithText(ContentLocation, prefix)) return Mid(ContentLocation, static_cast<int64_t>(prefix.size()) + 1);
    return {};
  }
  // Different depths: the way from the base's folder to the location, through the
  // folders they share.
  const std::vector<std::u16string> from = Split(b, u"/");
  const std::vector<std::u16string> to = Split(a, u"/");
  size_t common = 0;
  while (common + 1 < from.size() && common + 1 < to.size() && TextEquals(from[common], to[common])) ++common;
  std::u16string out;
  for (size_t i = common; i + 1 < from.size(); ++i) out += u"../";
  for (size_t i = common; i < to.size(); ++i) {
    out += to[i];
    if (i + 1 < to.size()) out += u'/';
  }
  return out;
}

}  // namespace ravelin::presentation
