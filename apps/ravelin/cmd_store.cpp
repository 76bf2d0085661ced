// Commands on the mail database itself: `where` says where it and the settings are,
// `init` creates or upgrades it, `compress` backs it up and compacts it.
#include <memory>
#include <ostream>

#include "commands.h"
#include "platform/filesystem.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "store/maintenance.h"
#include "windows/frm_compress.h"

namespace ravelin::cli {
namespace {

int Where(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "where takes no arguments");
  std::u16string db = ctx.mail.GetDatabaseName();
  std::u16string ini = module1::GetIniPath();
  ctx.out << "mail database: " << ToUtf8(db);
  if (fs::FileExists(db)) ctx.out << " (" << fs::FileSize(db) << " bytes)\n";
  else ctx.out << " (not created yet)\n";
  ctx.out << "settings:      " << ToUtf8(ini) << (fs::FileExists(ini) ? "\n" : " (defaults)\n");
  ctx.out << "list page:     " << ctx.mail.GetMsgListCount() << " letters\n";
  return 0;
}

int RunInit(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "init takes no arguments");
  const std::u16string path = ctx.mail.GetDatabaseName();
  // Conversions of an old file go through the compaction window; show its captions.
  SetCompressView(std::make_shared<CompressPrinter>(ctx.out));
  store::CorrectResult r = store::CorrectDB(path);
  SetCompressView(nullptr);
  for (const auto& c : r.conversions) ctx.out << "  " << ToUtf8(c) << "\n";
  // A new file's tables are all new: only an upgrade lists what it did.
  if (r.outcome != store::CorrectOutcome::Created)
    for (const auto& c : r.changes) ctx.out << "  " << ToUtf8(c) << "\n";
  switch (r.outcome) {
    case store::CorrectOutcome::Created:
      ctx.out << "created " << ToUtf8(path) << "\n";
      return 0;
    case store::CorrectOutcome::Converted:
    case store::CorrectOutcome::Upgraded:
      ctx.out << "upgraded " << ToUtf8(path) << "\n";
      return 0;
    case store::CorrectOutcome::Current:
      ctx.out << "already current " << ToUtf8(path) << "\n";
      return 0;
    case store::CorrectOutcome::Locked:
      ctx.err << "ravelin: " << ToUtf8(path) << " is in use by another program; nothing done\n";
      return 1;
    case store::CorrectOutcome::Failed:
      break;
  }
  ctx.err << "ravelin: could not open or create " << ToUtf8(path) << "\n";
  return 1;
}

int RunCompress(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "compress takes no arguments");
  const std::u16string path = ctx.mail.GetDatabaseName();
  SetCompressView(std::make_shared<CompressPrinter>(ctx.out));
  const bool ok = store::CompressDb(path);
  SetCompressView(nullptr);
  if (!ok) {
    ctx.err << "ravelin: compaction failed; " << ToUtf8(path) << " is unchanged\n";
    return 1;
  }
  ctx.out << "compacted " << ToUtf8(path) << " (backup EmailW~.mdb beside it)\n";
  return 0;
}

// What a host does once per start: bring the store into shape before the first query.
// Failures are the store's to report; the command then meets them itself.
const bool preparerInstalled = [] {
  SetStorePreparer([](Context& ctx) {
    SetCompressView(std::make_shared<CompressPrinter>(ctx.err));
    store::CorrectDB(ctx.mail.GetDatabaseName());
    SetCompressView(nullptr);
  });
  return true;
}();

const CommandRegistrar whereCommand(
    {"where", {}, {}, "show where the mail database and settings are", false, Where});
const CommandRegistrar initCommand(
    {"init", {}, {}, "create the mail database, or upgrade the one found", false, RunInit});
const CommandRegistrar compressCommand(
    {"compress", {}, {}, "back up and compact the mail database", true, RunCompress});

}  // namespace
}  // namespace ravelin::cli
