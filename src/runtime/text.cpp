// Byte text and UTF-8 conversions.
#include "runtime/text.h"

#include <algorithm>

namespace ravelin {

std::u16string BytesToByteText(std::string_view octets) {
  std::u16string out;
  out.reserve(octets.size());
  AppendByteText(out, octets);
  return out;
}

void AppendByteText(std::u16string& text, std::string_view octets) {
  // Widened a block at a time into a buffer that stays in the first-level cache, then
  // appended: the large text is written once (a zero-filled string would be written twice).
  constexpr size_t kBlock = 4096;
  char16_t block[kBlock];
  if (text.capacity() - text.size() < octets.size()) text.reserve(text.size() + octets.size());
  for (size_t at = 0; at < octets.size(); at += kBlock) {
    const size_t n = std::min(kBlock, octets.size() - at);
    const unsigned char* in = reinterpret_cast<const unsigned char*>(octets.data() + at);
    for (size_t i = 0; i < n; ++i) block[i] = in[i];
    text.append(block, n);
  }
}

std::string ByteTextToBytes(std::u16string_view text) {
  std::string out(text.size(), '\0');
  for (size_t i = 0; i < text.size(); ++i) {
    char16_t c = text[i];
    out[i] = c <= 0xFF ? static_cast<char>(c) : '?';
  }
  return out;
}

std::u16string FromUtf8(std::string_view s) {
  std::u16string out;
  out.reserve(s.size());
  size_t i = 0, n = s.size();
  auto cont = [&](size_t k) { return k < n && (static_cast<unsigned char>(s[k]) & 0xC0) == 0x80; };
  while (i < n) {
    unsigned char c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      out.push_back(c);
      ++i;
      continue;
    }
    char32_t cp = 0xFFFD;
    size_t len = 1;
    if (c >= 0xC2 && c <= 0xDF && cont(i + 1)) {
      cp = ((c & 0x1F) << 6) | (s[i + 1] & 0x3F);
      len = 2;
    } else if (c >= 0xE0 && c <= 0xEF && cont(i + 1) && cont(i + 2)) {
      char32_t v = ((c & 0x0F) << 12) | ((s[i + 1] & 0x3F) << 6) | (s[i + 2] & 0x3F);
      if (v >= 0x800 && (v < 0xD800 || v > 0xDFFF)) cp = v;
      len = 3;
    } else if (c >= 0xF0 && c <= 0xF4 && cont(i + 1) && cont(i + 2) && cont(i + 3)) {
      char32_t v = ((c & 0x07) << 18) | ((s[i + 1] & 0x3F) << 12) | ((s[i + 2] & 0x3F) << 6) | (s[i + 3] & 0x3F);
      if (v >= 0x10000 && v <= 0x10FFFF) cp = v;
      len = 4;
    }
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.push_back(static_cast<char16_t>(cp));
    }
    i += len;
  }
  return out;
}

std::string ToUtf8(std::u16string_view s) {
  std::string out;
  out.reserve(s.size() + s.size() / 2);
  for (size_t i = 0; i < s.size(); ++i) {
    char32_t cp = s[i];
    if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] <= 0xDFFF) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (s[i + 1] - 0xDC00);
      ++i;
    } else if (cp >= 0xD800 && cp <= 0xDFFF) {
      cp = 0xFFFD;
    }
    if (cp < 0x80) {
      out.push_back(static_cast<char>(cp));
    } else if (cp < 0x800) {
      out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
      out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    } else {
      out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
      out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
    }
  }
  return out;
}

std::u16string Widen(std::string_view ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

}  // namespace ravelin
