// Commands on the project tree: where its roots are, and copying, moving and deleting a
// project folder. The CLI is the host here: it does the disk operation (unless
// --db-only) and then tells the component, which keeps the links true. A deletion never
// removes folders from disk.
#include <filesystem>
#include <ostream>
#include <system_error>

#include "commands.h"
#include "json_output.h"
#include "packs/project_tree.h"
#include "packs/projects.h"
#include "packs_access.h"
#include "platform/filesystem.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store_access.h"

namespace ravelin::cli {
namespace {

// Each file keeps its own: the command tables are made while the program starts.
const OptionSpec kJsonOption{"--json", "", "print JSON (see README.md, \"JSON output\")"};

namespace stdfs = std::filesystem;

int ProjectRoots(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "project roots takes no arguments");
  const packs::ProjectRoots r = packs::CurrentRoots();
  if (args.Has("--json")) {
    ctx.out << OneLine(json::object{{"live", JsonText(r.live)}, {"archive", JsonText(r.archive)}}) << "\n";
    return 0;
  }
  ctx.out << "live:    " << ToUtf8(r.live) << "\narchive: " << ToUtf8(r.archive) << "\n";
  return 0;
}

struct Pair {
  std::u16string from, to;
  bool fromArc = false, toArc = false;
};

std::optional<Pair> Projects(Context& ctx, const Args& args, const std::string& command, int& code) {
  if (args.Positional().size() != 2) {
    code = UsageError(ctx, command + " needs FROM and TO");
    return std::nullopt;
  }
  Pair p;
  p.fromArc = args.Has("--from-archive");
  p.toArc = args.Has("--to-archive");
  auto f = ProjectArgument(ctx, args.Positional()[0], p.fromArc, code);
  if (!f) return std::nullopt;
  auto t = ProjectArgument(ctx, args.Positional()[1], p.toArc, code);
  if (!t) return std::nullopt;
  p.from = *f;
  p.to = *t;
  if (packs::SharedArcPrj().GetPrjRelPath(p.from).empty() || packs::SharedArcPrj().GetPrjRelPath(p.to).empty()) {
    code = UsageError(ctx, command + ": a root itself can't be copied, moved or replaced");
    return std::nullopt;
  }
  return p;
}

// The source folder on disk, which must exist.
std::optional<stdfs::path> ExistingFolder(Context& ctx, const std::u16string& project, bool arc) {
  auto disk = packs::DiskPath(project, arc);
  std::error_code ec;
  if (!disk || !stdfs::is_directory(stdfs::path(fs::NativePath(*disk)), ec) ||
      stdfs::is_symlink(stdfs::path(fs::NativePath(*disk)), ec)) {
    ctx.err << "ravelin: no project folder " << ToUtf8(project) << (arc ? " (archive)" : "") << " on disk"
            << (disk ? " (" + fs::NativePath(*disk) + ")" : "") << "; use --db-only to change the links alone\n";
    return std::nullopt;
  }
  return stdfs::path(fs::NativePath(*disk));
}

int ProjectCopy(Context& ctx, const Args& args) {
  int code = 0;
  auto p = Projects(ctx, args, "project copy", code);
  if (!p) return code;
  if (!args.Has("--db-only")) {
    auto src = ExistingFolder(ctx, p->from, p->fromArc);
    if (!src) return 1;
    if (const std::u16string why = packs::EnsureFolder(p->to, p->toArc); !why.empty()) {
      ctx.err << "ravelin: " << ToUtf8(why) << "\n";
      return 1;
    }
    std::error_code ec;
    stdfs::copy(*src, fs::NativePath(*packs::DiskPath(p->to, p->toArc)),
                stdfs::copy_options::recursive | stdfs::copy_options::skip_existing, ec);
    if (ec) {
      ctx.err << "ravelin: the folder could not be copied: " << ec.message() << "\n";
      return 1;
    }
  }
  const size_t before = ReportCount();
  ctx.mail.FolderCopied(p->from, p->to, p->fromArc, p->toArc);
  if (int rc = FailedSince(ctx, before, "the links could not be copied")) return rc;
  ctx.out << "project " << ToUtf8(p->from) << " copied to " << ToUtf8(p->to) << "\n";
  return 0;
}

int ProjectMove(Context& ctx, const Args& args) {
  int code = 0;
  auto p = Projects(ctx, args, "project move", code);
  if (!p) return code;
  if (!args.Has("--db-only")) {
    auto src = ExistingFolder(ctx, p->from, p->fromArc);
    if (!src) return 1;
    const stdfs::path dst(fs::NativePath(*packs::DiskPath(p->to, p->toArc)));
    std::error_code ec;
    if (stdfs::exists(stdfs::symlink_status(dst, ec))) {
      ctx.err << "ravelin: " << dst.string() << " exists; move into a new folder\n";
      return 1;
    }
    // The parent is made inside the tree; the folder itself arrives with the rename.
    const std::u16string parent = p->to.substr(0, p->to.rfind(u'\\'));
    if (const std::u16string why = packs::EnsureFolder(parent, p->toArc); !why.empty()) {
      ctx.err << "ravelin: " << ToUtf8(why) << "\n";
      return 1;
    }
    stdfs::rename(*src, dst, ec);
    if (ec) {
      ctx.err << "ravelin: the folder could not be moved: " << ec.message() << "\n";
      return 1;
    }
  }
  const size_t before = ReportCount();
  ctx.mail.rProjectMoved(p->from, p->to, p->fromArc, p->toArc);
  if (int rc = FailedSince(ctx, before, "the links could not be moved")) return rc;
  ctx.out << "project " << ToUtf8(p->from) << " moved to " << ToUtf8(p->to) << "\n";
  return 0;
}

int ProjectDelete(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "project delete needs one P");
  int code = 0;
  const bool arc = args.Has("--archive");
  auto p = ProjectArgument(ctx, args.Positional()[0], arc, code);
  if (!p) return code;
  const size_t before = ReportCount();
  ctx.mail.rProjectDeleted(*p, arc, args.Has("--purge") ? 1 : 0);
  if (int rc = FailedSince(ctx, before, "the project's links could not be deleted")) return rc;
  if (args.Has("--purge"))
    ctx.out << "project " << ToUtf8(*p) << ": its links, rules and the letters and packs nothing else holds are gone\n";
  else
    ctx.out << "project " << ToUtf8(*p) << ": letters and packs kept (use --purge to remove them); no folder was "
            << "removed from disk\n";
  return 0;
}

const OptionSpec kFromArc{"--from-archive", "", "FROM is on the archive side"};
const OptionSpec kToArc{"--to-archive", "", "TO is on the archive side"};
const OptionSpec kDbOnly{"--db-only", "", "change the links only, not the folders on disk"};

const CommandRegistrar projectRoots({"project roots", {}, {kJsonOption}, "the live and archive root folders", false,
                                     ProjectRoots});
const CommandRegistrar projectCopy({"project copy",
                                    {"FROM", "TO"},
                                    {kFromArc, kToArc, kDbOnly},
                                    "copy a project folder and its links",
                                    true,
                                    ProjectCopy});
const CommandRegistrar projectMove({"project move",
                                    {"OLD", "NEW"},
                                    {kFromArc, kToArc, kDbOnly},
                                    "move a project folder; its links, packs and rules follow",
                                    true,
                                    ProjectMove});
const CommandRegistrar projectDelete({"project delete",
                                      {"P"},
                                      {{"--archive", "", "P is on the archive side"},
                                       {"--purge", "", "remove the letters and packs that only P holds"}},
                                      "tell the store a project folder is gone (folders stay on disk)",
                                      true,
                                      ProjectDelete});

}  // namespace
}  // namespace ravelin::cli
