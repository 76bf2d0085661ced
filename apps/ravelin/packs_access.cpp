#include "packs_access.h"

#include <ostream>

#include "packs/project_tree.h"
#include "packs/projects.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"
#include "store_access.h"
#include "terminal.h"

namespace ravelin::cli {

std::optional<std::u16string> ProjectArgument(Context& ctx, const std::string& typed, bool archive, int& code) {
  std::u16string p = FromUtf8(typed);
  for (char16_t& c : p)
    if (c == u'/') c = u'\\';
  const std::u16string root = packs::SharedArcPrj().GetRootFolderName(archive);
  const std::u16string first = p.substr(0, p.find(u'\\'));
  if (!TextEquals(first, root)) p = root + u"\\" + p;
  if (const std::u16string why = packs::CheckProjectText(p); !why.empty()) {
    code = UsageError(ctx, ToUtf8(why));
    return std::nullopt;
  }
  return p;
}

bool PackExists(int32_t N) {
  auto db = store::detail::OpenMailDatabase();
  const bool found = store::detail::CountRows(*db, u"Select N from Packs Where N=" + NumToText(N) + u";") > 0;
  db->Close();
  return found;
}

std::optional<int32_t> PackArgument(Context& ctx, const std::string& typed, int& code) {
  auto n = ParseKey(typed);
  if (!n) {
    code = UsageError(ctx, "N must be a pack's number");
    return std::nullopt;
  }
  try {
    if (!PackExists(*n)) {
      ctx.err << "ravelin: "
              << ToUtf8(module1::GetMUIStringF(u"Ravelin.DeletePack2", u"msg",
                                               u"The pack \u2116%1 was not found in database", {NumToText(*n)}))
              << "\n";
      code = 1;
      return std::nullopt;
    }
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(e.Description()) << "\n";
    code = 1;
    return std::nullopt;
  }
  return n;
}

std::optional<std::vector<int32_t>> LetterKeys(Context& ctx, const std::vector<std::string>& typed, int& code) {
  std::vector<int32_t> keys;
  for (const std::string& t : typed) {
    auto k = ParseKey(t);
    if (!k) {
      code = UsageError(ctx, "KEY must be a letter's number");
      return std::nullopt;
    }
    if (!FindLetter(ctx, *k)) {
      code = 1;
      return std::nullopt;
    }
    keys.push_back(*k);
  }
  return keys;
}

int FailedSince(Context& ctx, size_t before, const std::string& what) {
  if (ReportCount() <= before) return 0;
  ctx.err << "ravelin: " << what << ": " << LastReport(before) << "\n";
  return 1;
}

json::array RowsOf(dao::Database& db, const std::u16string& sql, const std::vector<std::u16string>& fields) {
  json::array rows;
  auto rs = db.OpenRecordset(sql, dao::dbOpenSnapshot);
  while (!rs->Eof()) {
    json::object o;
    if (fields.empty()) {
      for (int32_t i = 0; i < rs->Fields().Count(); ++i)
        o[ToUtf8(rs->Fields(i).Name())] = JsonField(rs->Fields(i).Name(), rs->Fields(i).Value());
    } else {
      for (const auto& f : fields)
        o[ToUtf8(f)] = rs->Fields().Contains(f) ? JsonField(f, rs->GetField(f)) : json::value(nullptr);
    }
    rows.push_back(std::move(o));
    rs->MoveNext();
  }
  rs->Close();
  return rows;
}

json::array ProjectLinks(dao::Database& db, int32_t id, int32_t type) {
  return RowsOf(db, store::GetDataPrjRS(id, type), {u"Project", u"InsArcPrj"});
}

CommandLineAnswers::CommandLineAnswers(std::ostream& err, std::optional<std::u16string> answer,
                                       std::vector<std::u16string> letters)
    : err_(err), answer_(std::move(answer)), letters_(std::move(letters)) {}

int32_t CommandLineAnswers::MsgBox(const std::u16string& text, int32_t style, const std::u16string&) {
  shown.push_back(text);
  err_ << "ravelin: " << ToUtf8(text) << "\n";
  return DefaultAnswer(style);
}

std::optional<std::u16string> CommandLineAnswers::InputBox(const std::u16string&, const std::u16string&,
                                                           const std::u16string&) {
  return answer_;
}

std::optional<std::u16string> CommandLineAnswers::MessageWindow(const std::u16string& text, const std::u16string&,
                                                                bool) {
  return text;
}

AnswersScope::AnswersScope(std::shared_ptr<CommandLineAnswers> a) { SetInteraction(std::move(a)); }
AnswersScope::~AnswersScope() { InstallTerminalInteraction(); }

}  // namespace ravelin::cli
