// The project tree on this platform: roots, checks of project texts and folder creation.
#include "packs/project_tree.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "platform/filesystem.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::packs {

namespace stdfs = std::filesystem;

namespace {

std::u16string& HostLive() {
  static std::u16string s;
  return s;
}
std::u16string& HostArchive() {
  static std::u16string s;
  return s;
}

std::u16string NoTrailingSlash(std::u16string p) {
  while (p.size() > 1 && (p.back() == u'/' || p.back() == u'\\')) p.pop_back();
  return p;
}

std::u16string Setting(const std::u16string& key) {
  return ReadIniString(u"Projects", key, u"", module1::GetIniPath(), 1024);
}

stdfs::path Native(const std::u16string& p) { return stdfs::path(fs::NativePath(p)); }

std::u16string FromNative(const stdfs::path& p) { return FromUtf8(p.string()); }

// The components below the root, or nothing when one of them can't be a folder name.
std::optional<std::vector<std::u16string>> BelowRoot(const std::u16string& dbPath) {
  std::vector<std::u16string> parts = Split(dbPath, u"\\");
  std::vector<std::u16string> below;
  if (parts.empty() || Trim(dbPath).empty()) return std::nullopt;
  for (size_t i = 0; i < parts.size(); ++i) {
    const std::u16string& c = parts[i];
    if (c.empty() || c == u"." || c == u"..") return std::nullopt;
    for (char16_t ch : c)
      if (ch == u'/' || ch == u'"' || ch < 0x20 || ch == 0x7F) return std::nullopt;
    if (ToUtf8(c).size() > 255) return std::nullopt;
    if (i > 0) below.push_back(c);
  }
  return below;
}

std::u16string Msg(const std::u16string& key, const std::u16string& def, std::initializer_list<std::u16string> args) {
  return module1::GetMUIStringF(u"cArcPrj.EnsureFolder", key, def, args);
}

std::u16string Refused(const std::u16string& dbPath) {
  return Msg(u"msg1",
             u"The project \"%1\" can't be a folder: each name between backslashes must be non-empty, not "
             u"\".\" or \"..\", at most 255 bytes long, and without \"/\", double quotes or control characters.",
             {dbPath});
}

// The entry of `folder` whose name equals `name` without regard to case; empty when none.
stdfs::path FindOtherCase(const stdfs::path& folder, const std::u16string& name) {
  std::error_code ec;
  for (stdfs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
    const std::u16string n = FromNative(it->path().filename());
    if (TextEquals(n, name)) return it->path();
  }
  return {};
}

}  // namespace

ProjectRoots CurrentRoots() {
  ProjectRoots r;
  r.live = HostLive();
  r.archive = HostArchive();
  if (r.live.empty()) r.live = Setting(u"LiveRoot");
  if (r.archive.empty()) r.archive = Setting(u"ArchiveRoot");
  if (r.live.empty() || r.archive.empty()) {
    const std::u16string home = fs::AddPathSlash(module1::GetDbFolder());
    if (r.live.empty()) r.live = home + u"Projects";
    if (r.archive.empty()) r.archive = home + u"Archive";
  }
  r.live = NoTrailingSlash(r.live);
  r.archive = NoTrailingSlash(r.archive);
  return r;
}

void SetProjectRoots(const std::u16string& live, const std::u16string& archive) {
  HostLive() = live;
  HostArchive() = archive;
}

void SaveProjectRoots(const std::u16string& live, const std::u16string& archive) {
  WriteIniString(u"Projects", u"LiveRoot", live, module1::GetIniPath());
  WriteIniString(u"Projects", u"ArchiveRoot", archive, module1::GetIniPath());
}

std::u16string CheckProjectText(const std::u16string& dbPath) { return BelowRoot(dbPath) ? u"" : Refused(dbPath); }

std::optional<std::u16string> DiskPath(const std::u16string& dbPath, bool InsArcPrj) {
  auto below = BelowRoot(dbPath);
  if (!below) return std::nullopt;
  const ProjectRoots roots = CurrentRoots();
  std::u16string p = InsArcPrj ? roots.archive : roots.live;
  for (const auto& c : *below) p += u"/" + c;
  return p;
}

std::u16string EnsureFolder(const std::u16string& dbPath, bool InsArcPrj, std::u16string* spelling) {
  auto below = BelowRoot(dbPath);
  if (!below) return Refused(dbPath);
  const ProjectRoots roots = CurrentRoots();
  const std::u16string rootText = InsArcPrj ? roots.archive : roots.live;
  stdfs::path cur = Native(rootText);
  std::error_code ec;
  stdfs::create_directories(cur, ec);
  if (!stdfs::is_directory(cur, ec))
    return Msg(u"msg4", u"The folder \"%1\" can't be created: %2", {rootText, FromUtf8(ec.message())});
  std::u16string spelled = Split(dbPath, u"\\").front();
  for (const std::u16string& c : *below) {
    stdfs::path next = cur / Native(c);
    stdfs::file_status st = stdfs::symlink_status(next, ec);
    if (!stdfs::exists(st)) {
      // Another spelling of the same name is the folder the user means.
      if (stdfs::path other = FindOtherCase(cur, c); !other.empty()) {
        next = other;
        st = stdfs::symlink_status(next, ec);
      }
    }
    if (stdfs::is_symlink(st))
      return Msg(u"msg2",
                 u"The project \"%1\" passes through the symbolic link \"%2\"; nothing is made outside the project "
                 u"folders.",
                 {dbPath, FromNative(next)});
    if (stdfs::exists(st) && !stdfs::is_directory(st))
      return Msg(u"msg3", u"\"%1\" exists and is not a folder.", {FromNative(next)});
    if (!stdfs::exists(st) && !stdfs::create_directory(next, ec) && ec)
      return Msg(u"msg4", u"The folder \"%1\" can't be created: %2", {FromNative(next), FromUtf8(ec.message())});
    spelled += u'\\';
    spelled += FromNative(next.filename());
    cur = next;
  }
  if (spelling) *spelling = spelled;
  return u"";
}

}  // namespace ravelin::packs
