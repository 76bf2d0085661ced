// Commands on packs and on a letter's links: make, list, show and edit packs, put letters
// in and out, recycle and restore, delete from a project, dissolve, move and archive; a
// letter's projects and packs.
// The JSON forms are documented in README.md ("JSON output") and kept stable for scripts.
#include <ostream>

#include "commands.h"
#include "json_output.h"
#include "packs/packs.h"
#include "packs/project_tree.h"
#include "packs/projects.h"
#include "packs/rules.h"
#include "packs_access.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"
#include "store_access.h"

namespace ravelin::cli {
namespace {

// Each file keeps its own: the command tables are made while the program starts.
const OptionSpec kJsonOption{"--json", "", "print JSON (see README.md, \"JSON output\")"};

const std::vector<std::u16string> kPackFields = {u"N", u"Name", u"Comments", u"Deleted", u"Project", u"InsArcPrj"};

std::u16string Num(int64_t n) { return NumToText(static_cast<double>(n)); }

// One positional N, checked.
std::optional<int32_t> OnePack(Context& ctx, const Args& args, const std::string& command, int& code,
                               bool moreAllowed = false) {
  if (args.Positional().empty() || (!moreAllowed && args.Positional().size() != 1)) {
    code = UsageError(ctx, command + " needs one pack number N");
    return std::nullopt;
  }
  return PackArgument(ctx, args.Positional()[0], code);
}

// ---- pack create -----------------------------------------------------------------------

int PackCreate(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "pack create needs one NAME (quote a name with blanks)");
  if (args.Has("--archive") && !args.Has("--project")) return UsageError(ctx, "--archive needs --project");
  int code = 0;
  std::u16string project;
  const bool arc = args.Has("--archive");
  if (auto p = args.Get("--project")) {
    auto pr = ProjectArgument(ctx, *p, arc, code);
    if (!pr) return code;
    project = *pr;
  }
  std::vector<std::u16string> letters;
  auto keys = LetterKeys(ctx, args.GetAll("--add"), code);
  if (!keys) return code;
  for (int32_t k : *keys) letters.push_back(Num(k));
  auto answers = std::make_shared<CommandLineAnswers>(ctx.err, FromUtf8(args.Positional()[0]), letters);
  const size_t before = ReportCount();
  int32_t N = 0;
  {
    AnswersScope scope(answers);
    N = ctx.mail.NewPack(project, arc);
  }
  if (int rc = FailedSince(ctx, before, "the pack could not be made")) return rc;
  if (args.Has("--json")) {
    ctx.out << OneLine(json::object{{"N", N}}) << "\n";
  } else if (N == 0) {
    ctx.out << "no pack made: the name is blank\n";
  } else {
    ctx.out << "pack " << N << " made";
    if (!project.empty()) ctx.out << " in " << ToUtf8(project) << (arc ? " (archive)" : "");
    if (!letters.empty()) ctx.out << " with " << letters.size() << " letter" << (letters.size() == 1 ? "" : "s");
    ctx.out << "\n";
  }
  return N == 0 && !args.Has("--json") ? 1 : 0;
}

// ---- pack list / show ------------------------------------------------------------------------

int PackList(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "pack list takes no positional arguments");
  if (args.Has("--below") && !args.Has("--project")) return UsageError(ctx, "--below needs --project");
  int code = 0;
  const bool arc = args.Has("--archive"), recycle = args.Has("--recycle");
  std::u16string project;
  int32_t scope = Allmsg;
  if (auto p = args.Get("--project")) {
    auto pr = ProjectArgument(ctx, *p, arc, code);
    if (!pr) return code;
    project = *pr;
    scope = args.Has("--below") ? InsCurPrj : CurPrj;
  }
  const std::u16string sql = ctx.mail.GetPacksRecordSource(project, scope, recycle, arc);
  auto db = OpenStore(ctx);
  if (!db) return 1;
  json::array rows;
  try {
    for (auto& r : RowsOf(*db, sql, kPackFields)) {
      const auto& o = r.as_object();
      if (recycle && !(o.at("Deleted").is_bool() && o.at("Deleted").as_bool())) continue;
      rows.push_back(r);
    }
  } catch (const Error& e) {
    ctx.err << "ravelin: the packs could not be listed: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (args.Has("--json")) {
    PrintRows(ctx.out, rows);
    return 0;
  }
  for (const auto& r : rows) {
    const auto& o = r.as_object();
    ctx.out << o.at("N").as_int64() << "  " << json::value_to<std::string>(o.at("Name"));
    if (o.at("Project").is_string())
      ctx.out << "  [" << json::value_to<std::string>(o.at("Project"))
              << (o.at("InsArcPrj").is_bool() && o.at("InsArcPrj").as_bool() ? ", archive" : "") << "]";
    if (o.at("Deleted").is_bool() && o.at("Deleted").as_bool()) ctx.out << "  (in the recycle bin)";
    ctx.out << "\n";
  }
  if (rows.empty()) ctx.out << "no packs\n";
  return 0;
}

int PackShow(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack show", code);
  if (!N) return code;
  auto db = OpenStore(ctx);
  if (!db) return 1;
  json::object pack = RowsOf(*db, u"Select * from Packs Where N=" + Num(*N) + u";", {u"N", u"Name", u"Comments", u"Deleted"})
                          .at(0)
                          .as_object();
  pack["projects"] = ProjectLinks(*db, *N, objPack);
  pack["rules"] = RowsOf(*db, packs::GetRulesRecordsource2(intoPack, Num(*N)));
  json::array keys;
  for (const auto& r : RowsOf(*db, store::GetPackMsgRecordSource(*N, ShowAll, false), {u"key"}))
    keys.push_back(r.as_object().at("key"));
  pack["letters"] = keys;
  if (args.Has("--json")) {
    PrintBlock(ctx.out, pack);
    return 0;
  }
  ctx.out << "pack " << *N << ": " << json::value_to<std::string>(pack.at("Name")) << "\n";
  if (pack.at("Comments").is_string()) ctx.out << "comments: " << json::value_to<std::string>(pack.at("Comments")) << "\n";
  if (pack.at("Deleted").as_bool()) ctx.out << "in the recycle bin\n";
  for (const auto& p : pack.at("projects").as_array())
    ctx.out << "project: " << json::value_to<std::string>(p.at("Project"))
            << (p.at("InsArcPrj").as_bool() ? " (archive)" : "") << "\n";
  ctx.out << "rules: " << pack.at("rules").as_array().size() << "\n";
  ctx.out << "letters:";
  for (const auto& k : keys) ctx.out << " " << k.as_int64();
  ctx.out << "\n";
  return 0;
}

// ---- pack set / add / exclude ----------------------------------------------------------------

int PackSet(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack set", code);
  if (!N) return code;
  if (args.Has("--no-projects") && args.Has("--project"))
    return UsageError(ctx, "--no-projects and --project exclude each other");
  const bool arc = args.Has("--archive");
  std::vector<std::u16string> projects;
  for (const auto& p : args.GetAll("--project")) {
    auto pr = ProjectArgument(ctx, p, arc, code);
    if (!pr) return code;
    projects.push_back(*pr);
  }
  auto& w = packs::SharedPackPropertyWindow();
  w.show = [&](packs::PackPropertyWindow& frm) {
    if (auto n = args.Get("--name")) frm.txtName = Trim(FromUtf8(*n));
    if (auto c = args.Get("--comment")) frm.txtPackComments = FromUtf8(*c);
    if (frm.txtName.empty()) {
      ctx.err << "ravelin: Must give the name of the pack!\n";
      return false;
    }
    if (args.Has("--no-projects") || !projects.empty()) {
      frm.LvwPrj.Clear();
      const std::u16string icon = arc ? u"Archive" : u"Prj";
      for (const auto& p : projects) frm.LvwPrj.Add({p, {}, {}, {}, icon, icon, {}});
    }
    return true;
  };
  bool hadArchive = false;
  if (auto db = OpenStore(ctx)) {
    for (const auto& l : ProjectLinks(*db, *N, objPack)) hadArchive = hadArchive || l.at("InsArcPrj").as_bool();
  } else {
    return 1;
  }
  DataCursor cursor(module1::GetEmailDbPath(), u"Select * from Packs Where N=" + Num(*N) + u";");
  const size_t before = ReportCount();
  bool changed = false;
  bool ok = false;
  try {
    cursor.Refresh();
    ok = ctx.mail.ChangePackProperty(cursor, &changed);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(e.Description()) << "\n";
  }
  w.show = nullptr;
  if (int rc = FailedSince(ctx, before, "the pack could not be changed")) return rc;
  if (!ok) return 1;
  ctx.out << "pack " << *N << " saved" << (changed ? "; its projects changed" : "") << "\n";
  // A saved property list names every project on the live side.
  if (arc || hadArchive) ctx.err << "ravelin: note: a property save stores the pack's projects on the live side\n";
  return 0;
}

int PackAddOrExclude(Context& ctx, const Args& args, bool add) {
  const std::string command = add ? "pack add" : "pack exclude";
  if (args.Positional().size() < 2) return UsageError(ctx, command + " needs N and at least one KEY");
  int code = 0;
  auto N = OnePack(ctx, args, command, code, true);
  if (!N) return code;
  auto keys = LetterKeys(ctx, {args.Positional().begin() + 1, args.Positional().end()}, code);
  if (!keys) return code;
  const size_t before = ReportCount();
  for (int32_t k : *keys) {
    if (add)
      ctx.mail.pCopyLetter(k, u"", false, *N);
    else
      ctx.mail.RemoveLetter(k, u"", false, *N, u"", false, 0);
  }
  if (int rc = FailedSince(ctx, before, add ? "letters could not be added" : "letters could not be taken out"))
    return rc;
  ctx.out << keys->size() << " letter" << (keys->size() == 1 ? "" : "s") << (add ? " in pack " : " out of pack ")
          << *N << "\n";
  return 0;
}

int PackAdd(Context& ctx, const Args& args) { return PackAddOrExclude(ctx, args, true); }
int PackExclude(Context& ctx, const Args& args) { return PackAddOrExclude(ctx, args, false); }

// ---- recycle / restore / delete / dissolve -----------------------------------------------------

int PackRecycle(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack recycle", code);
  if (!N) return code;
  const size_t before = ReportCount();
  std::u16string none;
  bool arc = false;
  ctx.mail.DeletePack2(*N, none, arc, 0);
  if (int rc = FailedSince(ctx, before, "the pack could not be recycled")) return rc;
  ctx.out << "pack " << *N << " and its letters moved to the recycle bin\n";
  return 0;
}

int PackRestore(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack restore", code);
  if (!N) return code;
  std::optional<std::u16string> folder;
  if (auto f = args.Get("--folder")) {
    for (const char16_t* name : kMailFolderNames)
      if (TextEquals(FromUtf8(*f), name)) folder = std::u16string(name);
    if (!folder) return UsageError(ctx, "unknown folder '" + *f + "' (Inbox, Outbox, Sent, Rough copies, Recycle)");
  }
  auto answers = std::make_shared<CommandLineAnswers>(ctx.err, folder);
  const size_t before = ReportCount();
  {
    AnswersScope scope(answers);
    ctx.mail.RestorePack2(*N);
  }
  if (int rc = FailedSince(ctx, before, "the pack could not be restored")) return rc;
  auto db = OpenStore(ctx);
  if (!db) return 1;
  if (store::detail::CountRows(*db, u"Select N from Packs Where N=" + Num(*N) + u" and Deleted=True;") > 0) {
    ctx.err << "ravelin: pack " << *N << " stays in the recycle bin: a letter doesn't remember its folder; give "
            << "--folder NAME\n";
    return 1;
  }
  ctx.out << "pack " << *N << " restored\n";
  return 0;
}

int PackDelete(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack delete", code);
  if (!N) return code;
  if (args.Has("--archive") && !args.Has("--project")) return UsageError(ctx, "--archive needs --project");
  bool arc = args.Has("--archive");
  std::u16string project;
  if (auto p = args.Get("--project")) {
    auto pr = ProjectArgument(ctx, *p, arc, code);
    if (!pr) return code;
    project = *pr;
  }
  const size_t before = ReportCount();
  const int32_t left = ctx.mail.DeletePack2(*N, project, arc, 1);
  if (int rc = FailedSince(ctx, before, "the pack could not be deleted")) return rc;
  if (args.Has("--json")) {
    ctx.out << OneLine(json::object{{"linksLeft", left}}) << "\n";
  } else if (left == 0) {
    ctx.out << "pack " << *N << " deleted, with its rules and the letters nothing else holds\n";
  } else {
    ctx.out << "pack " << *N << " kept: " << left << " project link" << (left == 1 ? "" : "s") << " left\n";
  }
  return 0;
}

int PackDissolve(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack dissolve", code);
  if (!N) return code;
  DataCursor cursor(module1::GetEmailDbPath(), u"Select * from Packs Where N=" + Num(*N) + u";");
  const size_t before = ReportCount();
  try {
    cursor.Refresh();
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  ctx.mail.ReDistrPack(cursor);
  if (int rc = FailedSince(ctx, before, "the pack could not be dissolved")) return rc;
  ctx.out << "pack " << *N << " dissolved; its letters stay in their folders\n";
  return 0;
}

// ---- move / archive ----------------------------------------------------------------------

int PackMove(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack move", code);
  if (!N) return code;
  auto to = args.Get("--to");
  if (!to) return UsageError(ctx, "pack move needs --to P");
  if (args.Has("--from-archive") && !args.Has("--from")) return UsageError(ctx, "--from-archive needs --from");
  const bool toArc = args.Has("--to-archive");
  auto target = ProjectArgument(ctx, *to, toArc, code);
  if (!target) return code;
  std::u16string from;
  bool fromArc = args.Has("--from-archive");
  if (auto f = args.Get("--from")) {
    auto pr = ProjectArgument(ctx, *f, fromArc, code);
    if (!pr) return code;
    from = *pr;
  } else {
    auto db = OpenStore(ctx);
    if (!db) return 1;
    auto links = ProjectLinks(*db, *N, objPack);
    if (links.size() > 1) return UsageError(ctx, "pack " + std::to_string(*N) + " is in several projects: give --from P");
    if (links.size() == 1) {
      from = FromUtf8(json::value_to<std::string>(links[0].at("Project")));
      fromArc = links[0].at("InsArcPrj").as_bool();
    }
  }
  if (const std::u16string why = packs::EnsureFolder(*target, toArc); !why.empty()) {
    ctx.err << "ravelin: " << ToUtf8(why) << "\n";
    return 1;
  }
  const size_t before = ReportCount();
  ctx.mail.RemovePack2(*N, from, fromArc, *target, toArc);
  if (int rc = FailedSince(ctx, before, "the pack could not be moved")) return rc;
  ctx.out << "pack " << *N << " now in " << ToUtf8(*target) << (toArc ? " (archive)" : "") << "\n";
  return 0;
}

int PackArchive(Context& ctx, const Args& args) {
  int code = 0;
  auto N = OnePack(ctx, args, "pack archive", code);
  if (!N) return code;
  auto p = args.Get("--project");
  if (!p) return UsageError(ctx, "pack archive needs --project P");
  const bool arc = args.Has("--archive");
  auto project = ProjectArgument(ctx, *p, arc, code);
  if (!project) return code;
  const size_t before = ReportCount();
  ctx.mail.ArcPrjOp2(*N, objPack, *project, arc, 0);
  if (int rc = FailedSince(ctx, before, "the pack could not be moved")) return rc;
  ctx.out << "pack " << *N << (arc ? " back from the archive" : " sent to the archive") << "\n";
  return 0;
}

// ---- link ----------------------------------------------------------------------------------

std::optional<int32_t> OneLetter(Context& ctx, const Args& args, const std::string& command, int& code) {
  auto key = KeyArgument(ctx, args, command, code);
  if (!key) return std::nullopt;
  if (!FindLetter(ctx, *key)) {
    code = 1;
    return std::nullopt;
  }
  return key;
}

int LinkList(Context& ctx, const Args& args) {
  int code = 0;
  auto key = OneLetter(ctx, args, "link list", code);
  if (!key) return code;
  auto db = OpenStore(ctx);
  if (!db) return 1;
  json::object o;
  o["projects"] = ProjectLinks(*db, *key, objLetter);
  o["packs"] = RowsOf(*db, u" Select * " + std::u16string(u" From PackItems,Packs ") + u" Where Msg_N=" + Num(*key) +
                               u" and PackItems.Pack_N=Packs.N ;",
                      {u"N", u"Name"});
  if (args.Has("--json")) {
    PrintBlock(ctx.out, o);
    return 0;
  }
  for (const auto& p : o["projects"].as_array())
    ctx.out << "project " << json::value_to<std::string>(p.at("Project"))
            << (p.at("InsArcPrj").as_bool() ? " (archive)" : "") << "\n";
  for (const auto& p : o["packs"].as_array())
    ctx.out << "pack " << p.at("N").as_int64() << " " << json::value_to<std::string>(p.at("Name")) << "\n";
  if (o["projects"].as_array().empty() && o["packs"].as_array().empty())
    ctx.out << "letter " << *key << " has no projects and no packs\n";
  return 0;
}

// A place given as --<prefix>project P [--<prefix>archive] or --<prefix>pack N.
struct Place {
  std::u16string project;
  bool archive = false;
  int32_t pack = 0;
};

std::optional<Place> PlaceArgument(Context& ctx, const Args& args, const std::string& prefix, int& code) {
  const std::string p = "--" + prefix + "project", a = "--" + prefix + "archive", k = "--" + prefix + "pack";
  if (args.Has(p) == args.Has(k)) {
    code = UsageError(ctx, "give one of " + p + " P and " + k + " N");
    return std::nullopt;
  }
  if (args.Has(a) && !args.Has(p)) {
    code = UsageError(ctx, a + " needs " + p);
    return std::nullopt;
  }
  Place place;
  place.archive = args.Has(a);
  if (auto v = args.Get(p)) {
    auto pr = ProjectArgument(ctx, *v, place.archive, code);
    if (!pr) return std::nullopt;
    place.project = *pr;
  } else {
    auto n = PackArgument(ctx, *args.Get(k), code);
    if (!n) return std::nullopt;
    place.pack = *n;
  }
  return place;
}

int LinkAdd(Context& ctx, const Args& args) {
  int code = 0;
  auto key = OneLetter(ctx, args, "link add", code);
  if (!key) return code;
  auto place = PlaceArgument(ctx, args, "", code);
  if (!place) return code;
  auto answers = std::make_shared<CommandLineAnswers>(ctx.err, std::nullopt);
  const size_t before = ReportCount();
  {
    AnswersScope scope(answers);
    ctx.mail.pCopyLetter(*key, place->project, place->archive, place->pack);
  }
  if (int rc = FailedSince(ctx, before, "the link could not be made")) return rc;
  if (!answers->shown.empty()) return 1;  // the folder could not be made; said above
  ctx.out << "letter " << *key << " linked\n";
  return 0;
}

int LinkMove(Context& ctx, const Args& args) {
  int code = 0;
  auto key = OneLetter(ctx, args, "link move", code);
  if (!key) return code;
  auto from = PlaceArgument(ctx, args, "from-", code);
  if (!from) return code;
  auto to = PlaceArgument(ctx, args, "to-", code);
  if (!to) return code;
  // Onto the same place the move would remove the link it meant to keep.
  if (from->pack == to->pack && TextEquals(from->project, to->project) && from->archive == to->archive)
    return UsageError(ctx, "link move: the letter would lose that link; from and to are the same place");
  if (to->pack == 0) {
    if (const std::u16string why = packs::EnsureFolder(to->project, to->archive); !why.empty()) {
      ctx.err << "ravelin: " << ToUtf8(why) << "\n";
      return 1;
    }
  }
  const size_t before = ReportCount();
  ctx.mail.RemoveLetter(*key, from->project, from->archive, from->pack, to->project, to->archive, to->pack);
  if (int rc = FailedSince(ctx, before, "the link could not be moved")) return rc;
  ctx.out << "letter " << *key << " moved\n";
  return 0;
}

int LinkArchive(Context& ctx, const Args& args) {
  int code = 0;
  auto key = OneLetter(ctx, args, "link archive", code);
  if (!key) return code;
  auto p = args.Get("--project");
  if (!p) return UsageError(ctx, "link archive needs --project P");
  const bool arc = args.Has("--archive");
  auto project = ProjectArgument(ctx, *p, arc, code);
  if (!project) return code;
  const size_t before = ReportCount();
  ctx.mail.ArcPrjOp2(*key, objLetter, *project, arc, 0);
  if (int rc = FailedSince(ctx, before, "the link could not be moved")) return rc;
  ctx.out << "letter " << *key << (arc ? " back from the archive" : " sent to the archive") << "\n";
  return 0;
}

const OptionSpec kProject{"--project", "P", "a project folder (\"Clients/Acme\" or \"Projects\\Clients\\Acme\")"};
const OptionSpec kArchive{"--archive", "", "P is on the archive side"};

const CommandRegistrar packCreate({"pack create",
                                   {"NAME"},
                                   {kProject, kArchive, {"--add", "KEY", "a letter to put in the pack", true}, kJsonOption},
                                   "make a pack, in a project and with letters",
                                   true,
                                   PackCreate,
                                   "NAME [--project P [--archive]] [--add KEY...] [--json]"});
const CommandRegistrar packList({"pack list",
                                 {},
                                 {kProject, {"--below", "", "with the projects below P"},
                                  {"--archive", "", "the archive side (of P, or of every project)"},
                                  {"--recycle", "", "the packs in the recycle bin"}, kJsonOption},
                                 "list packs",
                                 true,
                                 PackList,
                                 "[--project P [--below]] [--archive] [--recycle] [--json]"});
const CommandRegistrar packShow({"pack show", {"N"}, {kJsonOption}, "show a pack: row, projects, rules, letters", true,
                                 PackShow});
const CommandRegistrar packSet({"pack set",
                                {"N"},
                                {{"--name", "X", "the new name"},
                                 {"--comment", "Y", "the comments"},
                                 {"--project", "P", "a project of the pack (replaces the list)", true},
                                 kArchive,
                                 {"--no-projects", "", "the pack in no project"}},
                                "change a pack's name, comments and projects",
                                true,
                                PackSet,
                                "N [--name X] [--comment Y] [--project P [--archive]]... [--no-projects]"});
const CommandRegistrar packAdd({"pack add", {"N", "KEY..."}, {}, "put letters in a pack", true, PackAdd});
const CommandRegistrar packExclude({"pack exclude", {"N", "KEY..."}, {}, "take letters out of a pack", true,
                                    PackExclude});
const CommandRegistrar packRecycle({"pack recycle", {"N"}, {}, "move a pack and its letters to the recycle bin", true,
                                    PackRecycle});
const CommandRegistrar packRestore({"pack restore",
                                    {"N"},
                                    {{"--folder", "NAME", "the folder for letters that don't remember their own"}},
                                    "bring a pack and its letters back from the recycle bin",
                                    true,
                                    PackRestore});
const CommandRegistrar packDelete({"pack delete",
                                   {"N"},
                                   {kProject, kArchive, kJsonOption},
                                   "delete a pack from a project (for good with its last one)",
                                   true,
                                   PackDelete,
                                   "N [--project P [--archive]] [--json]"});
const CommandRegistrar packDissolve({"pack dissolve", {"N"}, {}, "dissolve a pack, keeping its letters", true,
                                     PackDissolve});
const CommandRegistrar packMove({"pack move",
                                 {"N"},
                                 {{"--to", "P", "the project to move to"},
                                  {"--to-archive", "", "the target is on the archive side"},
                                  {"--from", "P", "the project to move from (when the pack has several)"},
                                  {"--from-archive", "", "the source is on the archive side"}},
                                 "move a pack to another project",
                                 true,
                                 PackMove,
                                 "N --to P [--to-archive] [--from P [--from-archive]]"});
const CommandRegistrar packArchive({"pack archive",
                                    {"N"},
                                    {kProject, {"--archive", "", "P is on the archive side: bring it back"}},
                                    "send a pack's project link to the archive, or back",
                                    true,
                                    PackArchive,
                                    "N --project P [--archive]"});
const CommandRegistrar linkList({"link list", {"KEY"}, {kJsonOption}, "a letter's projects and packs", true, LinkList});
const CommandRegistrar linkAdd({"link add",
                                {"KEY"},
                                {kProject, kArchive, {"--pack", "N", "a pack"}},
                                "link a letter to a project or a pack",
                                true,
                                LinkAdd,
                                "KEY (--project P [--archive] | --pack N)"});
const CommandRegistrar linkMove(
    {"link move",
     {"KEY"},
     {{"--from-project", "P", ""}, {"--from-archive", "", ""}, {"--from-pack", "N", ""},
      {"--to-project", "Q", ""}, {"--to-archive", "", ""}, {"--to-pack", "M", ""}},
     "move a letter's link from one project or pack to another",
     true,
     LinkMove,
     "KEY (--from-project P [--from-archive] | --from-pack N) (--to-project Q [--to-archive] | --to-pack M)"});
const CommandRegistrar linkArchive({"link archive",
                                    {"KEY"},
                                    {kProject, {"--archive", "", "P is on the archive side: bring it back"}},
                                    "send a letter's project link to the archive, or back",
                                    true,
                                    LinkArchive,
                                    "KEY --project P [--archive]"});

}  // namespace
}  // namespace ravelin::cli
