// `ravelin where`: where the store and the settings are, and what is there.
#include <ostream>

#include "commands.h"
#include "platform/filesystem.h"
#include "platform/module1.h"
#include "runtime/text.h"

namespace ravelin::cli {
namespace {

int Where(Context& ctx) {
  Args args(ctx.args);
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
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

const CommandRegistrar where({"where", "where", "show where the mail database and settings are", false, Where});

}  // namespace
}  // namespace ravelin::cli
