#include "platform/filenames.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/filesystem.h"
#include "runtime/text.h"

namespace ravelin {

namespace {

constexpr size_t kMaxNameOctets = 200;
constexpr int kMaxNumberedTries = 9999;

bool Forbidden(char16_t c) {
  if (c < 0x20 || c == 0x7F) return true;
  switch (c) {
    case u'/': case u'\\': case u':': case u'*': case u'?': case u'"': case u'<': case u'>': case u'|':
      return true;
    default:
      return false;
  }
}

size_t Utf8Length(char32_t cp) { return cp < 0x80 ? 1 : cp < 0x800 ? 2 : cp < 0x10000 ? 3 : 4; }

bool Exists(const std::u16string& path) {
  struct stat st{};
  return ::lstat(fs::NativePath(path).c_str(), &st) == 0;
}

}  // namespace

std::u16string CleanFileName(std::u16string_view name) {
  std::u16string out;
  out.reserve(name.size());
  size_t octets = 0;
  for (size_t i = 0; i < name.size(); ++i) {
    char16_t c = name[i];
    // A surrogate pair stays whole; a lone surrogate can't be written as a name.
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < name.size() && name[i + 1] >= 0xDC00 && name[i + 1] <= 0xDFFF) {
      if (octets + 4 > kMaxNameOctets) break;
      out.push_back(c);
      out.push_back(name[++i]);
      octets += 4;
      continue;
    }
    if (c >= 0xD800 && c <= 0xDFFF) c = u'_';
    if (Forbidden(c)) c = u'_';
    const size_t len = Utf8Length(c);
    if (octets + len > kMaxNameOctets) break;
    out.push_back(c);
    octets += len;
  }
  while (!out.empty() && (out.back() == u' ' || out.back() == u'.')) out.pop_back();
  size_t lead = 0;
  while (lead < out.size() && out[lead] == u' ') ++lead;
  out.erase(0, lead);
  if (out.empty()) out = u"_";
  return out;
}

std::u16string CollisionHelper::PathOf(const std::u16string& folder, const std::u16string& name,
                                       const std::u16string& ext) {
  std::u16string path = folder;
  if (!path.empty() && path.back() != u'/') path.push_back(u'/');
  path += name;
  if (!ext.empty()) path += u"." + ext;
  return path;
}

bool CollisionHelper::Resolve(const std::u16string& folder, std::u16string& name, std::u16string& ext,
                              int32_t /*FOFlags*/) {
  if (folder.empty()) return false;
  try {
    if (!fs::FolderExists(folder)) fs::CreateFolders(folder);
  } catch (...) {
    return false;
  }
  const std::u16string base = CleanFileName(name);
  std::u16string cleanExt;
  if (!ext.empty()) {
    cleanExt = CleanFileName(ext);
    if (cleanExt == u"_" && ext != u"_") cleanExt.clear();
  }
  for (int k = 1; k <= kMaxNumberedTries; ++k) {
    std::u16string candidate = base;
    if (k > 1) candidate += u" (" + Widen(std::to_string(k)) + u")";
    const std::u16string path = PathOf(folder, candidate, cleanExt);
    const int fd = ::open(fs::NativePath(path).c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd >= 0) {
      ::close(fd);
      name = candidate;
      ext = cleanExt;
      return true;
    }
    if (errno != EEXIST) return false;
  }
  return false;
}

bool CollisionHelper::MoveToFinal(const std::u16string& writtenPath, const std::u16string& finalPath,
                                  int32_t /*FOFlags*/) {
  if (writtenPath == finalPath) return true;
  if (Exists(finalPath)) return false;
  try {
    fs::MoveFile(writtenPath, finalPath);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace ravelin
