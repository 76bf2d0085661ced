#include "store_access.h"

#include <ostream>

#include "platform/host_common.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/maintenance.h"

namespace ravelin::cli {

std::shared_ptr<dao::Database> OpenStore(Context& ctx) {
  try {
    return store::detail::OpenMailDatabase();
  } catch (const Error& e) {
    const std::string cause = ToUtf8(store::DescribeFailure(ErrObject::From(e)));
    if (e.Number() == dao::dberr::kFileInUse)
      ctx.err << "ravelin: " << cause << "; try again when it is closed\n";
    else
      ctx.err << "ravelin: cannot open the mail database: " << cause << "\n";
    return nullptr;
  }
}

std::shared_ptr<dao::Recordset> OpenLetterRow(dao::Database& db, int32_t key) {
  auto rs = db.OpenRecordset(u"Select * from Letters where key=" + NumToText(key) + u";", dao::dbOpenSnapshot);
  if (rs->Bof() && rs->Eof()) return nullptr;
  return rs;
}

int NoLetter(Context& ctx, int32_t key) {
  ctx.err << "ravelin: no letter with key " << key << "\n";
  return 1;
}

std::optional<LetterState> FindLetter(Context& ctx, int32_t key) {
  std::shared_ptr<dao::Recordset> rs;
  try {
    auto db = store::detail::OpenMailDatabase();
    rs = OpenLetterRow(*db, key);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(store::DescribeFailure(ErrObject::From(e))) << "\n";
    return std::nullopt;
  }
  if (!rs) {
    NoLetter(ctx, key);
    return std::nullopt;
  }
  return LetterState{NullConvStr(rs->GetField(u"MailFolder")), NullConvStr(rs->GetField(u"OldMailFolder"))};
}

std::optional<int32_t> KeyArgument(Context& ctx, const Args& args, const std::string& command, int& code) {
  if (args.Positional().size() != 1) {
    code = UsageError(ctx, command + " needs one KEY");
    return std::nullopt;
  }
  auto key = ParseKey(args.Positional()[0]);
  if (!key) code = UsageError(ctx, "KEY must be a letter's number");
  return key;
}

size_t ReportCount() {
  DefaultHostCommon* h = DefaultHost();
  return h ? h->Reports().size() : 0;
}

std::string LastReport(size_t before) {
  if (DefaultHostCommon* h = DefaultHost(); h && h->Reports().size() > before) {
    // A failure of the environment (full disk, read-only or busy store) says its cause.
    return ToUtf8(store::DescribeFailure(h->Reports().back().err));
  }
  return "the letter could not be stored";
}

}  // namespace ravelin::cli
