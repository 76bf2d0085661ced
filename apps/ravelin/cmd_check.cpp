// `ravelin check`: the engine's full check of the mail database, told in words; exit code
// 1 when the store is damaged or can't be checked. The file is only read.
#include <ostream>

#include "commands.h"
#include "platform/filesystem.h"
#include "runtime/text.h"
#include "store/maintenance.h"

namespace ravelin::cli {
namespace {

int Check(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "check takes no arguments");
  const std::u16string path = ctx.mail.GetDatabaseName();
  if (!fs::FileExists(path)) {
    ctx.err << "ravelin: there is no mail database at " << ToUtf8(path) << " yet\n";
    return 1;
  }
  const store::IntegrityReport r = store::CheckMailDatabase(path, true);
  if (r.failure) {
    ctx.err << "ravelin: could not check " << ToUtf8(path) << ": " << ToUtf8(store::DescribeFailure(*r.failure))
            << "\n";
    return 1;
  }
  if (r.sound) {
    ctx.out << "the mail database " << ToUtf8(path) << " is sound\n";
    return 0;
  }
  ctx.out << "the mail database " << ToUtf8(path) << " is damaged:\n";
  constexpr size_t kShown = 10;
  for (size_t i = 0; i < r.problems.size() && i < kShown; ++i) ctx.out << "  " << ToUtf8(r.problems[i]) << "\n";
  if (r.problems.size() > kShown) ctx.out << "  ... and " << r.problems.size() - kShown << " more\n";
  ctx.out << "\"ravelin compress\" puts the damaged file aside (nothing is deleted) and makes the mail database "
             "again from the backup EmailW~.mdb when that one is sound\n";
  return 1;
}

const CommandRegistrar checkCommand({"check", {}, {}, "check the mail database for damage", false, Check});

}  // namespace
}  // namespace ravelin::cli
