// Case-blind replacement, the charset rule, the extraction folders and the file writer.
#include "presentation/html_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <vector>

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

namespace {

bool IsNameEnd(char16_t c) {
  return c == u'"' || c == u'\'' || c == u'<' || c == u'>' || c == u' ' || c == u'\t' || c == u'\r' ||
         c == u'\n' || c == u'&';
}

// A run of "&#N;" references from `pos`: the text they stand for, and where the run ends.
std::u16string DecodeReferences(const std::u16string& doc, size_t& pos) {
  std::u16string out;
  while (pos + 3 < doc.size() && doc[pos] == u'&' && doc[pos + 1] == u'#') {
    size_t j = pos + 2;
    uint32_t v = 0;
    while (j < doc.size() && doc[j] >= u'0' && doc[j] <= u'9' && j - pos < 10) v = v * 10 + (doc[j++] - u'0');
    if (j == pos + 2 || j >= doc.size() || doc[j] != u';' || v > 0xFFFF) break;
    const char16_t c = static_cast<char16_t>(v);
    if (IsNameEnd(c) || c == u'/') break;
    out += c;
    pos = j + 1;
  }
  return out;
}

bool EndsWithText(const std::u16string& doc, size_t end, std::u16string_view suffix) {
  return end >= suffix.size() && TextEquals(std::u16string_view(doc).substr(end - suffix.size(), suffix.size()), suffix);
}

}  // namespace

std::u16string RewriteExtractedRefs(const std::u16string& src, const RefRewriter& replace) {
  // The forms a reference to an extracted file takes in our documents.
  struct Pattern {
    std::u16string text;
    std::u16string folder;
    bool encoded;
  };
  std::vector<Pattern> patterns;
  for (const std::u16string& folder : {MailFilesFolder(), TmpFilesFolder()}) {
    const std::u16string f = AddPathSeparator(folder);
    patterns.push_back({f, folder, false});
    patterns.push_back({GetUnicodeHTMLString(f), folder, true});
    patterns.push_back({GetUnicodeHTMLString(LastFolderName(folder) + u"/"), folder, true});
  }

  std::u16string out;
  out.reserve(src.size());
  std::vector<size_t> next(patterns.size(), std::u16string::npos);
  auto findFrom = [&](size_t k, size_t from) { next[k] = src.find(patterns[k].text, from); };
  for (size_t k = 0; k < patterns.size(); ++k) findFrom(k, 0);
  const std::u16string encodedScheme = GetUnicodeHTMLString(u"file://");

  size_t pos = 0;
  while (true) {
    size_t best = std::u16string::npos, bestK = 0;
    for (size_t k = 0; k < patterns.size(); ++k) {
      if (next[k] != std::u16string::npos && next[k] < pos) findFrom(k, pos);
      if (next[k] < best || (next[k] == best && best != std::u16string::npos &&
                             patterns[k].text.size() > patterns[bestK].text.size())) {
        best = next[k];
        bestK = k;
      }
    }
    if (best == std::u16string::npos) break;
    const Pattern& p = patterns[bestK];
    size_t nameEnd = best + p.text.size();
    std::u16string name;
    if (p.encoded) {
      name = DecodeReferences(src, nameEnd);
    } else {
      while (nameEnd < src.size() && !IsNameEnd(src[nameEnd]) && src[nameEnd] != u'/') name += src[nameEnd++];
    }
    std::optional<std::u16string> with;
    if (!name.empty() && IsExtractedFile(fs::JoinPath(p.folder, name))) with = replace(ExtractedRef{p.folder, name});
    if (!with) {
      out.append(src, pos, best + p.text.size() - pos);
      pos = best + p.text.size();
      continue;
    }
    // The reference starts earlier when "file://" stands before it, raw or encoded.
    size_t refStart = best;
    if (refStart >= pos + 7 && EndsWithText(src, refStart, u"file://")) refStart -= 7;
    else if (refStart >= pos + encodedScheme.size() && EndsWithText(src, refStart, encodedScheme))
      refStart -= encodedScheme.size();
    out.append(src, pos, refStart - pos);
    out += *with;
    pos = nameEnd;
  }
  out.append(src, pos, std::u16string::npos);
  return out;
}

}  // namespace ravelin::presentation
