// Case-blind replacement, the charset rule, the extraction folders and the file writer.
#include "presentation/html_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "formats/charsets.h"
#include "platform/filesystem.h"
#include "platform/module1.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::presentation {

std::u16string ReplaceAllText(std::u16string_view doc, std::u16string_view find, std::u16string_view with) {
  if (find.empty() || doc.empty()) return std::u16string(doc);
  return Replace(doc, find, with, 1, -1, Compare::Text);
}

std::u16string GetHTMLcharset(std::u16string_view html) {
  const int32_t p = InStr(1, html, u"charset=", Compare::Text);
  if (p == 0) return u"unicode";
  // The value runs to the first character that can end it; only a double quote counts.
  size_t i = static_cast<size_t>(p - 1) + 8;
  size_t j = i;
  while (j < html.size() && html[j] != u'"' && html[j] != u'\'' && html[j] != u'>' && html[j] != u' ' &&
         html[j] != u'\t' && html[j] != u'\r' && html[j] != u'\n' && html[j] != u';' && html[j] != u'/')
    ++j;
  if (j >= html.size() || html[j] != u'"') return u"unicode";
  std::u16string v = LCase(Trim(html.substr(i, j - i)));
  return v.empty() ? u"unicode" : v;
}

std::u16string RecodeHTML(std::u16string& html, int32_t* codePage) {
  std::u16string name = GetHTMLcharset(html);
  const int32_t cp = GetCPfromStr(name);
  html = ConvertCodePage(html, cp, kCodePageUtf16);
  if (codePage) *codePage = cp;
  return name;
}

namespace {
std::u16string HomeSub(const char16_t* name) {
  return fs::JoinPath(module1::GetDbFolder(), name);
}
}  // namespace

std::u16string MailFilesFolder() { return HomeSub(u"mFiles"); }
std::u16string TmpFilesFolder() { return HomeSub(u"tmpFiles"); }
std::u16string TemplatesFolder() { return HomeSub(u"mTemplates"); }

void EnsurePrivateFolder(const std::u16string& folder) {
  fs::CreateFolders(folder);
  ::chmod(fs::NativePath(folder).c_str(), 0700);
}

void WriteOver(const std::u16string& path, std::string_view octets) {
  const std::string native = fs::NativePath(path);
  const int fd = ::open(native.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0) {
    const int e = errno;
    if (e == ELOOP) RaiseError(errnum::kPathFileAccess, u"A symbolic link stands at " + path);
    if (e == ENOENT || e == ENOTDIR) RaiseError(errnum::kPathNotFound, u"Path not found: " + path);
    if (e == EACCES || e == EPERM || e == EROFS) RaiseError(errnum::kPermissionDenied, u"Permission denied: " + path);
    if (e == ENOSPC) RaiseError(errnum::kDiskFull, u"Disk full");
    RaiseError(errnum::kPathFileAccess, u"Cannot write " + path);
  }
  size_t done = 0;
  while (done < octets.size()) {
    const ssize_t w = ::write(fd, octets.data() + done, octets.size() - done);
    if (w < 0) {
      if (errno == EINTR) continue;
      const int e = errno;
      ::close(fd);
      RaiseError(e == ENOSPC ? errnum::kDiskFull : errnum::kPathFileAccess, u"Cannot write " + path);
    }
    done += static_cast<size_t>(w);
  }
  if (::close(fd) != 0) RaiseError(errnum::kPathFileAccess, u"Cannot write " + path);
}

std::string DocumentBytes(const Document& doc) {
  if (doc.octets) return ByteTextToBytes(doc.html);
  return "\xEF\xBB\xBF" + ToUtf8(doc.html);
}

void WriteDocument(const std::u16string& path, const Document& doc) { WriteOver(path, DocumentBytes(doc)); }

std::u16string AddPathSeparator(const std::u16string& folder) { return fs::AddPathSlash(folder); }

std::u16string LastFolderName(const std::u16string& folder) {
  std::u16string f = folder;
  while (f.size() > 1 && f.back() == u'/') f.pop_back();
  return fs::FileName(f);
}

std::u16string RelativeToFolder(const std::u16string& path, const std::u16string& folder) {
  const std::u16string prefix = AddPathSeparator(folder);
  if (path.size() > prefix.size() && path.compare(0, prefix.size(), prefix) == 0) return path.substr(prefix.size());
  return path;
}

std::u16string CanonicalPath(const std::u16string& path) {
  std::error_code ec;
  auto p = std::filesystem::canonical(std::filesystem::path(fs::NativePath(path)), ec);
  if (ec) return {};
  return FromUtf8(p.string());
}

bool IsExtractedFile(const std::u16string& path) {
  const std::u16string file = CanonicalPath(path);
  if (file.empty() || !fs::FileExists(file)) return false;
  for (const std::u16string& folder : {MailFilesFolder(), TmpFilesFolder()}) {
    const std::u16string canon = CanonicalPath(folder);
    if (!canon.empty() && fs::ParentFolder(file) == canon) return true;
  }
  return false;
}

}  // namespace ravelin::presentation
