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
  bool clamped = false;
  const int32_t page = module1::GetMsgCount(clamped);
  ctx.out << "list page:     " << page << " letters";
  if (clamped)
    ctx.out << " (the setting Letter/MsgCount is out of the range 1.." << module1::kMaxMsgCount << "; " << page
            << " is used)";
  ctx.out << "\n";
  return 0;
}

// The engine's quick check after init: damage is said at once, not at the first failing
// list. 0 when the store is sound.
int QuickCheck(Context& ctx, const std::u16string& path) {
  const store::IntegrityReport r = store::CheckMailDatabase(path, false);
  if (r.sound) return 0;
  if (r.failure) {
    ctx.err << "ravelin: could not check " << ToUtf8(path) << ": " << ToUtf8(store::DescribeFailure(*r.failure)) << "\n";
  } else {
    ctx.err << "ravelin: the mail database " << ToUtf8(path) << " is damaged; \"ravelin check\" tells more, "
            << "\"ravelin compress\" puts it aside and goes back to the backup\n";
  }
  return 1;
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
      return QuickCheck(ctx, path);
    case store::CorrectOutcome::Current:
      ctx.out << "already current " << ToUtf8(path) << "\n";
      return QuickCheck(ctx, path);
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
  const store::CompressResult r = store::CompressDatabase(path);
  SetCompressView(nullptr);
  if (!r.damagedCopy.empty()) return 1;  // the user was told what was done with the file
  if (!r.compacted) {
    ctx.err << "ravelin: compaction failed";
    if (r.failure) ctx.err << " (" << ToUtf8(store::DescribeFailure(*r.failure)) << ")";
    ctx.err << "; " << ToUtf8(path) << " is unchanged\n";
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
