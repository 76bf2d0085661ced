// Commands on rules: the statement that finds them, listing, adding, changing and
// deleting them, and applying the enabled ones to the letters of a folder.
// The JSON forms are documented in README.md ("JSON output") and kept stable for scripts.
#include <ostream>

#include "commands.h"
#include "formats/datetime.h"
#include "json_output.h"
#include "packs/packs.h"
#include "packs/projects.h"
#include "packs/rules.h"
#include "packs_access.h"
#include "runtime/dates.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store_access.h"

namespace ravelin::cli {
namespace {

// Each file keeps its own: the command tables are made while the program starts.
const OptionSpec kJsonOption{"--json", "", "print JSON (see README.md, \"JSON output\")"};

std::u16string Num(int64_t n) { return NumToText(static_cast<double>(n)); }

int RuleSql(Context& ctx, const Args& args) {
  auto a = args.Get("--action");
  auto p = args.Get("--param");
  if (!a || !p || !args.Positional().empty()) return UsageError(ctx, "rule sql needs --action A and --param TEXT");
  const auto action = static_cast<int32_t>(Val(FromUtf8(*a)));
  if (action != intoPack && action != intoFolder && action != InsCurPrj1)
    return UsageError(ctx, "--action takes 1 (a pack), 2 (a folder) or 4 (a folder and those below it)");
  ctx.out << ToUtf8(ctx.mail.GetRulesRecordsource2(static_cast<RulesAction>(action), FromUtf8(*p),
                                                   args.Has("--archive")))
          << "\n";
  return 0;
}

// Where rules belong: a pack, or a folder (with those below it).
struct Owner {
  int32_t pack = 0;
  std::u16string folder;
  bool archive = false, below = false;
};

std::optional<Owner> OwnerArgument(Context& ctx, const Args& args, int& code, bool belowAllowed) {
  if (args.Has("--pack") == args.Has("--folder")) {
    code = UsageError(ctx, "give one of --pack N and --folder P");
    return std::nullopt;
  }
  if ((args.Has("--archive") || args.Has("--below")) && !args.Has("--folder")) {
    code = UsageError(ctx, "--archive and --below need --folder");
    return std::nullopt;
  }
  Owner o;
  o.archive = args.Has("--archive");
  o.below = belowAllowed && args.Has("--below");
  if (auto n = args.Get("--pack")) {
    auto N = PackArgument(ctx, *n, code);
    if (!N) return std::nullopt;
    o.pack = *N;
  } else {
    auto f = ProjectArgument(ctx, *args.Get("--folder"), o.archive, code);
    if (!f) return std::nullopt;
    o.folder = *f;
  }
  return o;
}

int RuleList(Context& ctx, const Args& args) {
  int code = 0;
  if (!args.Positional().empty()) return UsageError(ctx, "rule list takes no positional arguments");
  auto o = OwnerArgument(ctx, args, code, true);
  if (!o) return code;
  const std::u16string sql =
      o->pack > 0  ? ctx.mail.GetRulesRecordsource2(intoPack, Num(o->pack))
      : o->below ? ctx.mail.GetRulesRecordsource2(InsCurPrj1, o->folder, o->archive)
                 : ctx.mail.GetRulesRecordsource2(intoFolder, u"\"" + o->folder + u"\"", o->archive);
  auto db = OpenStore(ctx);
  if (!db) return 1;
  json::array rows;
  try {
    rows = RowsOf(*db, sql);
  } catch (const Error& e) {
    ctx.err << "ravelin: the rules could not be listed: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (args.Has("--json")) {
    PrintRows(ctx.out, rows);
    return 0;
  }
  for (const auto& r : rows) ctx.out << OneLine(r) << "\n";
  if (rows.empty()) ctx.out << "no rules\n";
  return 0;
}

// The criteria options: (option, field, weight).
struct CriterionOption {
  const char* option;
  const char16_t* field;
  int32_t weight;
  bool date;
};
const CriterionOption kCriteria[] = {
    {"--subject", u"Subject", 2, false},       {"--sender1", u"Sender1", 4, false},
    {"--sender2", u"Sender2", 8, false},       {"--name1", u"Name1", 16, false},
    {"--org1", u"Org1", 32, false},            {"--name2", u"Name2", 64, false},
    {"--org2", u"Org2", 128, false},           {"--date-from1", u"DateFrom1", 256, true},
    {"--date-to1", u"DateTo1", 512, true},     {"--date-from2", u"DateFrom2", 1024, true},
    {"--date-to2", u"DateTo2", 2048, true},
};

// Writes the given options to the current row (in AddNew or Edit): a criterion with a
// value comes into force, one given as "" goes out of force and keeps its text.
std::string WriteCriteria(const Args& args, dao::Recordset& rs, bool fresh) {
  int32_t flags = fresh ? 0 : NullConvLng(rs.GetField(u"Flags"));
  DateTime dt;
  for (const auto& c : kCriteria) {
    auto v = args.Get(c.option);
    if (!v) continue;
    if (v->empty()) {
      flags &= ~c.weight;
      continue;
    }
    if (c.date) {
      auto d = ParseDate(FromUtf8(*v));
      if (!d) return std::string(c.option) + " needs a date (2026-01-31 or 2026-01-31 14:00), local time";
      rs.SetField(c.field, Value(dt.LocalTZtoGMT(*d)));
    } else {
      rs.SetField(c.field, Value(FromUtf8(*v)));
    }
    flags |= c.weight;
  }
  rs.SetField(u"Flags", Value(flags));
  if (auto n = args.Get("--name")) rs.SetField(u"RuleName", Value(FromUtf8(*n)));
  if (args.Has("--disable")) rs.SetField(u"Enable", Value(false));
  if (args.Has("--enable")) rs.SetField(u"Enable", Value(true));
  return "";
}

int RuleAdd(Context& ctx, const Args& args) {
  int code = 0;
  if (!args.Positional().empty()) return UsageError(ctx, "rule add takes no positional arguments");
  auto o = OwnerArgument(ctx, args, code, false);
  if (!o) return code;
  auto db = OpenStore(ctx);
  if (!db) return 1;
  try {
    auto rs = db->OpenRecordset(u"Rules", dao::dbOpenDynaset);
    rs->AddNew();
    const int32_t N = NullConvLng(rs->GetField(u"N"));
    rs->SetField(u"Action", Value(o->pack > 0 ? 1 : 2));
    rs->SetField(u"Pack_N", Value(o->pack));
    rs->SetField(u"Folder", Value(o->folder));
    rs->SetField(u"InsArcPrj", Value(o->archive));
    if (std::string why = WriteCriteria(args, *rs, true); !why.empty()) {
      rs->CancelUpdate();
      return UsageError(ctx, why);
    }
    rs->Update();
    ctx.out << "rule " << N << " added\n";
  } catch (const Error& e) {
    ctx.err << "ravelin: the rule could not be stored: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  return 0;
}

std::shared_ptr<dao::Recordset> RuleRow(Context& ctx, dao::Database& db, const std::string& typed, int& code) {
  auto id = ParseKey(typed);
  if (!id) {
    code = UsageError(ctx, "ID must be a rule's number");
    return nullptr;
  }
  auto rs = db.OpenRecordset(u"Select * from Rules Where N=" + Num(*id) + u";", dao::dbOpenDynaset);
  if (rs->Bof() && rs->Eof()) {
    ctx.err << "ravelin: no rule with number " << *id << "\n";
    code = 1;
    return nullptr;
  }
  return rs;
}

int RuleSet(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "rule set needs one ID");
  auto db = OpenStore(ctx);
  if (!db) return 1;
  int code = 0;
  try {
    auto rs = RuleRow(ctx, *db, args.Positional()[0], code);
    if (!rs) return code;
    rs->Edit();
    if (std::string why = WriteCriteria(args, *rs, false); !why.empty()) {
      rs->CancelUpdate();
      return UsageError(ctx, why);
    }
    rs->Update();
  } catch (const Error& e) {
    ctx.err << "ravelin: the rule could not be stored: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  ctx.out << "rule " << args.Positional()[0] << " saved\n";
  return 0;
}

int RuleDelete(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "rule delete needs one ID");
  auto db = OpenStore(ctx);
  if (!db) return 1;
  int code = 0;
  try {
    auto rs = RuleRow(ctx, *db, args.Positional()[0], code);
    if (!rs) return code;
    rs->Delete();
  } catch (const Error& e) {
    ctx.err << "ravelin: the rule could not be deleted: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  ctx.out << "rule " << args.Positional()[0] << " deleted\n";
  return 0;
}

int RuleApply(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "rule apply takes no positional arguments");
  std::u16string folder = u"Inbox";
  if (auto f = args.Get("--folder")) {
    folder.clear();
    for (const char16_t* name : kMailFolderNames)
      if (TextEquals(FromUtf8(*f), name)) folder = name;
    if (folder.empty()) return UsageError(ctx, "unknown folder '" + *f + "' (Inbox, Outbox, Sent, Rough copies, Recycle)");
  }
  const bool dry = args.Has("--dry-run");
  auto answers = std::make_shared<CommandLineAnswers>(ctx.err, std::nullopt);
  std::vector<packs::RuleMatch> matches;
  try {
    AnswersScope scope(answers);
    matches = packs::ApplyRules(folder, dry);
  } catch (const Error& e) {
    ctx.err << "ravelin: the rules could not be applied: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (args.Has("--json")) {
    json::array rows;
    for (const auto& m : matches) {
      json::object o{{"rule", m.rule}, {"key", m.msgN}, {"action", m.action}};
      if (m.action == intoPack)
        o["pack"] = m.pack;
      else
        o["project"] = JsonText(m.folder), o["InsArcPrj"] = m.InsArcPrj;
      rows.push_back(std::move(o));
    }
    PrintRows(ctx.out, rows);
  } else {
    for (const auto& m : matches) {
      ctx.out << (dry ? "would file" : "filed") << " letter " << m.msgN << " by rule " << m.rule << " into ";
      if (m.action == intoPack)
        ctx.out << "pack " << m.pack << "\n";
      else
        ctx.out << ToUtf8(m.folder) << (m.InsArcPrj ? " (archive)" : "") << "\n";
    }
    ctx.out << matches.size() << " match" << (matches.size() == 1 ? "" : "es") << "\n";
  }
  return answers->shown.empty() ? 0 : 1;
}

std::vector<OptionSpec> CriteriaOptions() {
  return {{"--name", "X", "the rule's name"},
          {"--subject", "X", "the subject contains X"},
          {"--sender1", "X", "the sender's address contains X"},
          {"--name1", "X", "the sender's name contains X"},
          {"--org1", "X", "the sender's organisation (domain) contains X"},
          {"--sender2", "X", "a recipient's address contains X"},
          {"--name2", "X", "a recipient's name contains X"},
          {"--org2", "X", "a recipient's organisation (domain) contains X"},
          {"--date-from1", "D", "written on or after D (side 1)"},
          {"--date-to1", "D", "written on or before D (side 1)"},
          {"--date-from2", "D", "written on or after D (side 2)"},
          {"--date-to2", "D", "written on or before D (side 2)"},
          {"--disable", "", "store the rule switched off"}};
}

std::vector<OptionSpec> AddOptions() {
  auto o = CriteriaOptions();
  o.insert(o.begin(), {{"--pack", "N", "a rule of pack N"},
                       {"--folder", "P", "a rule of project P"},
                       {"--archive", "", "P is on the archive side"}});
  return o;
}

std::vector<OptionSpec> SetOptions() {
  auto o = CriteriaOptions();
  o.push_back({"--enable", "", "switch the rule on"});
  return o;
}

const CommandRegistrar ruleSql({"rule sql",
                                {},
                                {{"--action", "A", "1 a pack, 2 a folder, 4 a folder and those below it"},
                                 {"--param", "TEXT", "the pack's number or the folder (as it goes into the statement)"},
                                 {"--archive", "", "the archive side"}},
                                "print the statement that finds rules",
                                false,
                                RuleSql,
                                "--action A --param TEXT [--archive]"});
const CommandRegistrar ruleList({"rule list",
                                 {},
                                 {{"--pack", "N", "the rules of pack N"},
                                  {"--folder", "P", "the rules of project P"},
                                  {"--below", "", "with the projects below P"},
                                  {"--archive", "", "P is on the archive side"},
                                  kJsonOption},
                                 "list rules",
                                 true,
                                 RuleList,
                                 "(--pack N | --folder P [--below] [--archive]) [--json]"});
const CommandRegistrar ruleAdd({"rule add", {}, AddOptions(), "add a sorting rule to a pack or a project", true,
                                RuleAdd, "(--pack N | --folder P [--archive]) [--name X] [--subject X] [...]"});
const CommandRegistrar ruleSet({"rule set", {"ID"}, SetOptions(),
                                "change a rule (a criterion given as \"\" goes out of force)", true, RuleSet});
const CommandRegistrar ruleDelete({"rule delete", {"ID"}, {}, "delete a rule", true, RuleDelete});
const CommandRegistrar ruleApply({"rule apply",
                                  {},
                                  {{"--folder", "NAME", "the mail folder (Inbox by default)"},
                                   {"--dry-run", "", "list what would be filed"},
                                   kJsonOption},
                                  "file the letters of a folder by the enabled rules",
                                  true,
                                  RuleApply});

}  // namespace
}  // namespace ravelin::cli
