// The file-system object on POSIX, with the attribute word kept in an extended attribute.
#include "platform/filesystem.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>

#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin::fs {
namespace {

namespace stdfs = std::filesystem;
constexpr const char* kAttrName = "user.ravelin.attributes";

stdfs::path P(const std::u16string& p) { return stdfs::path(NativePath(p)); }

[[noreturn]] void RaiseFromErrno(int e, const std::u16string& path) {
  int32_t n = errnum::kPathNotFound;
  if (e == ENOENT) n = errnum::kFileNotFound;
  else if (e == EEXIST) n = errnum::kFileAlreadyExists;
  else if (e == EACCES || e == EPERM || e == EROFS || e == EBUSY) n = errnum::kPermissionDenied;
  else if (e == ENOSPC || e == EDQUOT || e == EFBIG) n = errnum::kDiskFull;
  else if (e == EIO) n = errnum::kDeviceIO;
  throw Error(n, DefaultErrorText(n) + u": " + path);
}

// Attribute words of files on file systems without extended attributes, by canonical path.
std::mutex g_attrMutex;
std::map<std::string, int32_t>& FallbackAttrs() {
  static std::map<std::string, int32_t> m;
  return m;
}

}  // namespace

std::string NativePath(const std::u16string& path) {
  std::string out;
  out.reserve(path.size());
  const auto put = [&](uint32_t c) {
    if (c < 0x80) {
      out += static_cast<char>(c);
    } else if (c < 0x800) {
      out += static_cast<char>(0xC0 | (c >> 6));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += static_cast<char>(0xE0 | (c >> 12));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
      out += static_cast<char>(0xF0 | (c >> 18));
      out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
      out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
      out += static_cast<char>(0x80 | (c & 0x3F));
    }
  };
  for (size_t i = 0; i < path.size(); ++i) {
    const char16_t u = path[i];
    if (u >= 0xD800 && u <= 0xDBFF && i + 1 < path.size() && path[i + 1] >= 0xDC00 && path[i + 1] <= 0xDFFF) {
      put(0x10000 + ((static_cast<uint32_t>(u) - 0xD800) << 10) + (path[i + 1] - 0xDC00));
      ++i;
    } else if (u >= 0xDC80 && u <= 0xDCFF) {
      out += static_cast<char>(u - 0xDC00);  // an octet of a name that isn't UTF-8
    } else if (u >= 0xD800 && u <= 0xDFFF) {
      put(0xFFFD);
    } else {
      put(u);
    }
  }
  return out;
}

std::u16string FromNativePath(std::string_view native) {
  std::u16string out;
  out.reserve(native.size());
  size_t i = 0;
  while (i < native.size()) {
    const auto b = [&](size_t k) { return static_cast<unsigned char>(native[k]); };
    const unsigned char c = b(i);
    size_t len = 0;
    uint32_t cp = 0;
    if (c < 0x80) len = 1, cp = c;
    else if (c >= 0xC2 && c <= 0xDF) len = 2, cp = c & 0x1F;
    else if (c >= 0xE0 && c <= 0xEF) len = 3, cp = c & 0x0F;
    else if (c >= 0xF0 && c <= 0xF4) len = 4, cp = c & 0x07;
    bool ok = len > 0 && i + len <= native.size();
    for (size_t k = 1; ok && k < len; ++k) {
      if ((b(i + k) & 0xC0) != 0x80) ok = false;
      else cp = (cp << 6) | (b(i + k) & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are not UTF-8 either.
    if (ok && ((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
               (cp >= 0xD800 && cp <= 0xDFFF)))
      ok = false;
    if (!ok) {
      out += static_cast<char16_t>(0xDC00 + c);
      ++i;
      continue;
    }
    if (cp >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((cp - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
    i += len;
  }
  return out;
}

bool FileExists(const std::u16string& path) {
  struct stat st;
  return ::stat(NativePath(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

bool FolderExists(const std::u16string& path) {
  struct stat st;
  return ::stat(NativePath(path).c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

void MoveFile(const std::u16string& from, const std::u16string& to) {
  if (!FileExists(from)) throw Error(errnum::kFileNotFound, DefaultErrorText(errnum::kFileNotFound) + u": " + from);
  struct stat st;
  if (::stat(NativePath(to).c_str(), &st) == 0)
    throw Error(errnum::kFileAlreadyExists, DefaultErrorText(errnum::kFileAlreadyExists) + u": " + to);
  std::error_code ec;
  stdfs::rename(P(from), P(to), ec);
  if (ec) {
    // Across file systems: copy, then remove the source.
    stdfs::copy_file(P(from), P(to), ec);
    if (ec) RaiseFromErrno(ec.value(), to);
    stdfs::remove(P(from), ec);
  }
  std::lock_guard<std::mutex> lock(g_attrMutex);
  auto& m = FallbackAttrs();
  auto it = m.find(NativePath(from));
  if (it != m.end()) {
    m[NativePath(to)] = it->second;
    m.erase(it);
  }
}

void CopyFile(const std::u16string& from, const std::u16string& to, bool overwrite) {
  std::error_code ec;
  if (!FileExists(from)) throw Error(errnum::kFileNotFound, DefaultErrorText(errnum::kFileNotFound) + u": " + from);
  if (!overwrite && FileExists(to))
    throw Error(errnum::kFileAlreadyExists, DefaultErrorText(errnum::kFileAlreadyExists) + u": " + to);
  if (overwrite && FileExists(to) && (GetAttributes(to) & kReadOnly)) RaiseFromErrno(EACCES, to);
  stdfs::copy_file(P(from), P(to), stdfs::copy_options::overwrite_existing, ec);
  if (ec) RaiseFromErrno(ec.value(), to);
}

namespace {

void SyncPath(const std::u16string& path, int flags) {
  const int fd = ::open(NativePath(path).c_str(), flags | O_CLOEXEC);
  if (fd < 0) RaiseFromErrno(errno, path);
  const int rc = ::fsync(fd);
  const int e = errno;
  ::close(fd);
  // Some file systems refuse to sync a folder (EINVAL): their renames are durable anyway.
  if (rc != 0 && e != EINVAL) RaiseFromErrno(e, path);
}

void MoveAttributeWord(const std::u16string& from, const std::u16string& to) {
  std::lock_guard<std::mutex> lock(g_attrMutex);
  auto& m = FallbackAttrs();
  m.erase(NativePath(to));
  auto it = m.find(NativePath(from));
  if (it != m.end()) {
    m[NativePath(to)] = it->second;
    m.erase(it);
  }
}

}  // namespace

void SyncFile(const std::u16string& path) { SyncPath(path, O_RDONLY); }

void SyncFolder(const std::u16string& folder) { SyncPath(folder.empty() ? u"." : folder, O_RDONLY | O_DIRECTORY); }

void ReplaceFile(const std::u16string& from, const std::u16string& to) {
  if (!FileExists(from)) throw Error(errnum::kFileNotFound, DefaultErrorText(errnum::kFileNotFound) + u": " + from);
  SyncFile(from);
  if (::rename(NativePath(from).c_str(), NativePath(to).c_str()) != 0) RaiseFromErrno(errno, to);
  MoveAttributeWord(from, to);
  SyncFolder(ParentFolder(to));
}

void CopyFileDurably(const std::u16string& from, const std::u16string& to) {
  if (!FileExists(from)) throw Error(errnum::kFileNotFound, DefaultErrorText(errnum::kFileNotFound) + u": " + from);
  const std::u16string part = to + u".part";
  std::error_code ec;
  stdfs::remove(P(part), ec);
  stdfs::copy_file(P(from), P(part), ec);
  if (ec) {
    stdfs::remove(P(part), ec);
    RaiseFromErrno(ec.value(), to);
  }
  try {
    ReplaceFile(part, to);
  } catch (...) {
    stdfs::remove(P(part), ec);
    throw;
  }
}

void CreatePrivateFolders(const std::u16string& path) {
  if (path.empty() || FolderExists(path)) return;
  // Only the folder itself is private; parents get the usual modes.
  if (const std::u16string parent = ParentFolder(path); !parent.empty()) CreateFolders(parent);
  if (::mkdir(NativePath(path).c_str(), 0700) != 0 && errno != EEXIST) RaiseFromErrno(errno, path);
}

void DeleteFile(const std::u16string& path) {
  if (!FileExists(path)) throw Error(errnum::kFileNotFound, DefaultErrorText(errnum::kFileNotFound) + u": " + path);
  if (GetAttributes(path) & kReadOnly) RaiseFromErrno(EACCES, path);
  if (::unlink(NativePath(path).c_str()) != 0) RaiseFromErrno(errno, path);
  std::lock_guard<std::mutex> lock(g_attrMutex);
  FallbackAttrs().erase(NativePath(path));
}

int64_t FileSize(const std::u16string& path) {
  struct stat st;
  if (::stat(NativePath(path).c_str(), &st) != 0) RaiseFromErrno(errno, path);
  return static_cast<int64_t>(st.st_size);
}

int32_t GetAttributes(const std::u16string& path) {
  std::string native = NativePath(path);
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) RaiseFromErrno(errno, path);
  char buf[32];
  ssize_t n = ::getxattr(native.c_str(), kAttrName, buf, sizeof buf - 1);
  if (n > 0) {
    buf[n] = '\0';
    return static_cast<int32_t>(std::strtol(buf, nullptr, 10));
  }
  std::lock_guard<std::mutex> lock(g_attrMutex);
  auto it = FallbackAttrs().find(native);
  if (it != FallbackAttrs().end()) return it->second;
  return S_ISDIR(st.st_mode) ? 16 : kArchive;
}

void SetAttributes(const std::u16string& path, int32_t attributes) {
  std::string native = NativePath(path);
  struct stat st;
  if (::stat(native.c_str(), &st) != 0) RaiseFromErrno(errno, path);
  std::string v = std::to_string(attributes);
  if (::setxattr(native.c_str(), kAttrName, v.data(), v.size(), 0) == 0) return;
  std::lock_guard<std::mutex> lock(g_attrMutex);
  FallbackAttrs()[native] = attributes;
}

void CreateFolders(const std::u16string& path) {
  std::error_code ec;
  stdfs::create_directories(P(path), ec);
  if (ec && !FolderExists(path)) RaiseFromErrno(ec.value(), path);
}

std::vector<std::u16string> ListFiles(const std::u16string& folder) {
  std::vector<std::u16string> out;
  std::error_code ec;
  for (auto it = stdfs::directory_iterator(P(folder), ec); !ec && it != stdfs::directory_iterator(); it.increment(ec)) {
    if (it->is_regular_file(ec)) out.push_back(FromNativePath(it->path().string()));
  }
  std::sort(out.begin(), out.end());
  return out;
}

std::u16string ParentFolder(const std::u16string& path) {
  size_t p = path.find_last_of(u'/');
  if (p == std::u16string::npos) return {};
  if (p == 0) return u"/";
  return path.substr(0, p);
}

std::u16string FileName(const std::u16string& path) {
  size_t p = path.find_last_of(u'/');
  return p == std::u16string::npos ? path : path.substr(p + 1);
}

std::u16string AddPathSlash(const std::u16string& folder) {
  if (!folder.empty() && folder.back() == u'/') return folder;
  return folder + u'/';
}

std::u16string JoinPath(const std::u16string& folder, const std::u16string& name) {
  if (folder.empty()) return name;
  return AddPathSlash(folder) + name;
}

std::string ReadAll(const std::u16string& path) {
  std::ifstream in(NativePath(path), std::ios::binary);
  if (!in) throw Error(errnum::kFileNotFound, DefaultErrorText(errnum::kFileNotFound) + u": " + path);
  std::string data;
  in.seekg(0, std::ios::end);
  auto size = in.tellg();
  if (size > 0) {
    data.resize(static_cast<size_t>(size));
    in.seekg(0);
    in.read(data.data(), size);
    data.resize(static_cast<size_t>(in.gcount()));
  }
  return data;
}

std::u16string ReadAllByteText(const std::u16string& path) {
  const int fd = ::open(NativePath(path).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw Error(errnum::kFileNotFound, DefaultErrorText(errnum::kFileNotFound) + u": " + path);
  std::u16string text;
  struct stat st {};
  if (::fstat(fd, &st) == 0 && st.st_size > 0) {
    text.reserve(static_cast<size_t>(st.st_size));
    // A large letter's text is new memory that every page of it faults in; in large pages
    // that is one fault in 512.
    constexpr uintptr_t kLarge = uintptr_t{2} << 20;
    const uintptr_t from = (reinterpret_cast<uintptr_t>(text.data()) + kLarge - 1) & ~(kLarge - 1);
    const uintptr_t to = reinterpret_cast<uintptr_t>(text.data() + text.capacity()) & ~(kLarge - 1);
    if (to > from) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_HUGEPAGE);
  }
  // Read a block at a time, each widened while it is still in the cache.
  std::string block(size_t{1} << 16, '\0');
  for (;;) {
    const ssize_t n = ::read(fd, block.data(), block.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int e = errno;
      ::close(fd);
      RaiseFromErrno(e, path);
    }
    if (n == 0) break;
    AppendByteText(text, std::string_view(block.data(), static_cast<size_t>(n)));
  }
  ::close(fd);
  return text;
}

void WriteAll(const std::u16string& path, std::string_view data) {
  std::ofstream out(NativePath(path), std::ios::binary | std::ios::trunc);
  if (!out) RaiseFromErrno(errno ? errno : EACCES, path);
  out.write(data.data(), static_cast<std::streamsize>(data.size()));
  if (!out) RaiseFromErrno(errno ? errno : EIO, path);
}

void WriteAllByteText(const std::u16string& path, std::u16string_view text) {
  std::ofstream out(NativePath(path), std::ios::binary | std::ios::trunc);
  if (!out) RaiseFromErrno(errno ? errno : EACCES, path);
  constexpr size_t kSlice = size_t{1} << 20;
  for (size_t at = 0; at < text.size() && out; at += kSlice) {
    const std::string octets = ByteTextToBytes(text.substr(at, kSlice));
    out.write(octets.data(), static_cast<std::streamsize>(octets.size()));
  }
  out.flush();
  if (!out) RaiseFromErrno(errno ? errno : EIO, path);
}

}  // namespace ravelin::fs
