// The settings file (INI in UTF-16LE with a byte order mark) and the raw file helpers.
#include "platform/uniini.h"

#include <fcntl.h>
#include <cerrno>
#include <unistd.h>

#include <string>
#include <vector>

#include "platform/filesystem.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin {
namespace {

std::u16string DecodeUtf16Le(std::string_view b) {
  std::u16string out(b.size() / 2, u'\0');
  for (size_t i = 0; i < out.size(); ++i)
    out[i] = static_cast<char16_t>(static_cast<unsigned char>(b[2 * i]) | (static_cast<unsigned char>(b[2 * i + 1]) << 8));
  return out;
}

std::string EncodeUtf16Le(std::u16string_view t, bool bom) {
  std::string out;
  out.reserve(t.size() * 2 + 2);
  if (bom) out.append("\xFF\xFE", 2);
  for (char16_t c : t) {
    out.push_back(static_cast<char>(c & 0xFF));
    out.push_back(static_cast<char>(c >> 8));
  }
  return out;
}

// The settings file as text: UTF-16LE with a mark, UTF-8 with a mark, or byte text.
std::u16string ReadIniText(const std::u16string& path, bool& exists) {
  exists = fs::FileExists(path);
  if (!exists) return {};
  std::string b = fs::ReadAll(path);
  if (b.size() >= 2 && static_cast<unsigned char>(b[0]) == 0xFF && static_cast<unsigned char>(b[1]) == 0xFE)
    return DecodeUtf16Le(std::string_view(b).substr(2));
  if (b.size() >= 3 && b.compare(0, 3, "\xEF\xBB\xBF") == 0) return FromUtf8(std::string_view(b).substr(3));
  return BytesToByteText(b);
}

std::vector<std::u16string> SplitLines(const std::u16string& text) {
  std::vector<std::u16string> lines;
  size_t start = 0;
  while (start < text.size()) {
    size_t nl = text.find(u'\n', start);
    size_t end = nl == std::u16string::npos ? text.size() : nl;
    size_t cut = end > start && text[end - 1] == u'\r' ? end - 1 : end;
    lines.push_back(text.substr(start, cut - start));
    if (nl == std::u16string::npos) break;
    start = nl + 1;
  }
  return lines;
}

std::u16string TrimWs(std::u16string_view s) {
  size_t b = 0, e = s.size();
  while (b < e && (s[b] == u' ' || s[b] == u'\t')) ++b;
  while (e > b && (s[e - 1] == u' ' || s[e - 1] == u'\t')) --e;
  return std::u16string(s.substr(b, e - b));
}

// "[name]" -> name, or nothing when the line is not a section header.
bool SectionName(const std::u16string& line, std::u16string& name) {
  std::u16string t = TrimWs(line);
  if (t.size() < 2 || t.front() != u'[') return false;
  size_t close = t.find(u']');
  if (close == std::u16string::npos) return false;
  name = TrimWs(std::u16string_view(t).substr(1, close - 1));
  return true;
}

// "key=value" -> key and value (both trimmed), false for other lines.
bool KeyValue(const std::u16string& line, std::u16string& key, std::u16string& value) {
  std::u16string t = TrimWs(line);
  if (t.empty() || t[0] == u';') return false;
  size_t eq = t.find(u'=');
  if (eq == std::u16string::npos) return false;
  key = TrimWs(std::u16string_view(t).substr(0, eq));
  value = TrimWs(std::u16string_view(t).substr(eq + 1));
  return true;
}

}  // namespace

std::u16string ReadIniString(const std::u16string& Section, const std::u16string& Key, const std::u16string& Default,
                             const std::u16string& FilePath, int32_t Size) {
  std::u16string result = Default;
  try {
    bool exists = false;
    std::u16string text = ReadIniText(FilePath, exists);
    bool inSection = false;
    for (const auto& line : SplitLines(text)) {
      std::u16string name, key, value;
      if (SectionName(line, name)) {
        inSection = TextEquals(name, Section);
        continue;
      }
      if (inSection && KeyValue(line, key, value) && TextEquals(key, Key)) {
        // A value in matching quotes loses them, as the profile functions do.
        if (value.size() >= 2 && (value.front() == u'"' || value.front() == u'\'') && value.back() == value.front())
          value = value.substr(1, value.size() - 2);
        result = value;
        break;
      }
    }
  } catch (...) {
    result = Default;
  }
  if (Size <= 0) return {};
  // A buffer of Size characters holds Size - 1 of them and the closing NUL.
  if (result.size() > static_cast<size_t>(Size - 1)) result.resize(static_cast<size_t>(Size - 1));
  return result;
}

bool WriteIniString(const std::u16string& Section, const std::u16string& Key, const std::u16string& Value,
                    const std::u16string& FilePath) {
  try {
    EnsureIniUnicode(FilePath);
    bool exists = false;
    std::vector<std::u16string> lines = SplitLines(ReadIniText(FilePath, exists));
    int sectionLine = -1, lastInSection = -1, keyLine = -1;
    bool inSection = false;
    for (size_t i = 0; i < lines.size(); ++i) {
      std::u16string name, key, value;
      if (SectionName(lines[i], name)) {
        if (inSection) break;
        inSection = TextEquals(name, Section);
        if (inSection) sectionLine = lastInSection = static_cast<int>(i);
        continue;
      }
      if (!inSection) continue;
      if (!TrimWs(lines[i]).empty()) lastInSection = static_cast<int>(i);
      if (KeyValue(lines[i], key, value) && TextEquals(key, Key)) {
        keyLine = static_cast<int>(i);
        break;
      }
    }
    std::u16string entry = Key + u"=" + Value;
    if (keyLine >= 0) {
      lines[static_cast<size_t>(keyLine)] = entry;
    } else if (sectionLine >= 0) {
      lines.insert(lines.begin() + lastInSection + 1, entry);
    } else {
      lines.push_back(u"[" + Section + u"]");
      lines.push_back(entry);
    }
    std::u16string text;
    for (const auto& l : lines) text += l + u"\r\n";
    WriteUnicodeText(FilePath, text);
    return true;
  } catch (...) {
    return false;
  }
}

void EnsureIniUnicode(const std::u16string& FilePath) {
  if (!fs::FileExists(FilePath) || fs::FileSize(FilePath) == 0) {
    WriteUnicodeText(FilePath, u"");
    return;
  }
  std::string b = fs::ReadAll(FilePath);
  std::u16string head = BytesToByteText(std::string_view(b).substr(0, 2));
  if (!HasUnicodeBom(head)) {
    // An older file in the single-byte form: keep its content, now in UTF-16.
    bool exists = false;
    WriteUnicodeText(FilePath, ReadIniText(FilePath, exists));
  }
}

void WriteUnicodeText(const std::u16string& FilePath, const std::u16string& Text) {
  fs::WriteAll(FilePath, EncodeUtf16Le(Text, true));
}

bool HasUnicodeBom(const std::u16string& Text) { return Text.size() >= 2 && Text[0] == 255 && Text[1] == 254; }

std::u16string ReadFileBytes(const std::u16string& path) {
  try {
    if (!fs::FileExists(path)) return {};
    return fs::ReadAllByteText(path);
  } catch (...) {
    return {};
  }
}

namespace {
// Writes all of `octets` to fd, riding out interrupted calls.
bool WriteFully(int fd, std::string_view octets) {
  size_t done = 0;
  while (done < octets.size()) {
    const ssize_t w = ::write(fd, octets.data() + done, octets.size() - done);
    if (w < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    done += static_cast<size_t>(w);
  }
  return true;
}
}  // namespace

bool WriteFileBytes(const std::u16string& path, std::u16string_view text, int32_t mode) {
  if (text.empty()) return false;
  // No truncation: in mode 2 a longer old file keeps its tail behind the new text.
  const int fd = ::open(fs::NativePath(path).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) return false;
  bool ok = !(mode == 8 && ::lseek(fd, 0, SEEK_END) < 0);
  // Narrowed a slice at a time: a large text is never held twice.
  constexpr size_t kSlice = size_t{1} << 20;
  for (size_t at = 0; ok && at < text.size(); at += kSlice) ok = WriteFully(fd, ByteTextToBytes(text.substr(at, kSlice)));
  if (::close(fd) != 0) ok = false;
  return ok;
}

bool WriteTextFile(const std::u16string& path, std::u16string_view text, bool unicode, int32_t mode) {
  if (!unicode) return WriteFileBytes(path, text, mode);
  if (mode != 2 && mode != 8) return false;
  try {
    const bool fresh = mode == 2 || !fs::FileExists(path) || fs::FileSize(path) == 0;
    const std::string octets = EncodeUtf16Le(text, fresh);
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (mode == 2 ? O_TRUNC : O_APPEND);
    const int fd = ::open(fs::NativePath(path).c_str(), flags, 0644);
    if (fd < 0) return false;
    bool ok = WriteFully(fd, octets);
    if (::close(fd) != 0) ok = false;
    return ok;
  } catch (...) {
    return false;
  }
}

}  // namespace ravelin
