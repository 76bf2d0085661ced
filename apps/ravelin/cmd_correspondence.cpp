// Commands on the correspondence with an object of the address book (a person, an
// organisation, an official, an employee): who has some, which letters, the report page,
// deleting and restoring all of it. Ctrl-C stops an enumeration and keeps what was found.
// The JSON forms are documented in README.md ("JSON output") and kept stable for scripts.
#include <csignal>
#include <ostream>
#include <set>

#include <boost/asio/signal_set.hpp>

#include "commands.h"
#include "desktop/address_book.h"
#include "json_output.h"
#include "packs/abpack.h"
#include "packs_access.h"
#include "platform/event_loop.h"
#include "platform/filesystem.h"
#include "presentation/html_text.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store_access.h"

namespace ravelin::cli {
namespace {

const OptionSpec kJsonOption{"--json", "", "print JSON (see README.md, \"JSON output\")"};
const OptionSpec kTypeOption{"--type", "K", "the object's kind: 0 person, 1 organisation, 2 official, 4 employee"};

// While it lives, Ctrl-C stops the pack's enumeration at its next turn of the event loop,
// as the window's Stop button does.
class StopOnInterrupt {
 public:
  explicit StopOnInterrupt(packs::ABPack& pack) : signals_(loop::Context(), SIGINT) {
    signals_.async_wait([&pack, this](const boost::system::error_code& ec, int) {
      if (ec) return;
      stopped = true;
      pack.StopEnum();
    });
  }
  ~StopOnInterrupt() {
    boost::system::error_code ignored;
    signals_.cancel(ignored);
    loop::PumpOnce();  // lets the cancelled wait finish while the pack still exists
  }
  bool stopped = false;

 private:
  boost::asio::signal_set signals_;
};

// The pack named by ID and --type, or nothing after a usage message (exit 2 in `code`).
std::shared_ptr<packs::ABPack> PackArgument(Context& ctx, const Args& args, const std::string& command, int& code,
                                            bool showDeleted = false) {
  if (args.Positional().size() != 1) {
    code = UsageError(ctx, command + " needs one ID (see ravelin correspondence list)");
    return nullptr;
  }
  const auto id = ParseKey(args.Positional()[0]);
  if (!id) {
    code = UsageError(ctx, "ID must be an address-book object's number");
    return nullptr;
  }
  const auto type = args.Get("--type");
  if (!type) {
    code = UsageError(ctx, command + " needs --type K (0 person, 1 organisation, 2 official, 4 employee)");
    return nullptr;
  }
  if (*type != "0" && *type != "1" && *type != "2" && *type != "4") {
    code = UsageError(ctx, "--type must be 0 (person), 1 (organisation), 2 (official) or 4 (employee)");
    return nullptr;
  }
  const size_t before = ReportCount();
  auto pack = ctx.mail.LoadABPack(*id, std::stoi(*type), Allmsg, u"", false, showDeleted);
  if (!pack) {
    ctx.err << "ravelin: cannot open the correspondence: " << LastReport(before) << "\n";
    code = 1;
  }
  return pack;
}

// The address book's notices ("can't be read ...") were printed as they came; a pack with
// no address at all is told once more in the command's own words.
bool NoAddresses(Context& ctx, const packs::ABPack& pack) {
  if (!pack.Addresses().empty()) return false;
  ctx.err << "ravelin: " << ToUtf8(pack.Title) << " has no e-mail address in the address book "
          << ToUtf8(desktop::AddressBookPath()) << "\n";
  return true;
}

// Enumerates with Ctrl-C as the Stop button; false (after the message) when the store
// failed.
bool Enumerate(Context& ctx, packs::ABPack& pack, bool report, std::u16string* html = nullptr) {
  StopOnInterrupt stop(pack);
  try {
    std::u16string page = pack.GetHTML(!report);
    if (html) *html = std::move(page);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot read the mail database: " << ToUtf8(e.Description()) << "\n";
    return false;
  }
  if (stop.stopped) ctx.err << "stopped: " << pack.Keys().size() << " letter(s) found so far\n";
  return true;
}

// ---- correspondence list ----

int List(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "correspondence list takes no arguments");
  if (args.Has("--archive") && !args.Has("--project")) return UsageError(ctx, "--archive needs --project");
  packs::ABPacks all;
  if (auto p = args.Get("--project")) {
    int code = 0;
    auto project = ProjectArgument(ctx, *p, args.Has("--archive"), code);
    if (!project) return code;
    all.rProject = *project;
    all.InsArcPrj = args.Has("--archive");
    all.Filter = CurPrj;
  }
  all.MsgStatus = args.Has("--deleted") ? DeletedOnly : HideDeleted;
  const size_t before = ReportCount();
  try {
    all.Refresh();
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot list the correspondence: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  const bool failed = ReportCount() > before;  // the reason is already on the terminal
  if (args.Has("--json")) {
    json::array rows;
    for (int32_t i = 1; i <= all.Count(); ++i) {
      auto p = all.Item(i);
      rows.push_back(
          json::object{{"ObjectID", p->ObjectID}, {"ObjectType", p->ObjectType}, {"Title", JsonText(p->Title)}});
    }
    PrintRows(ctx.out, rows);
  } else {
    for (int32_t i = 1; i <= all.Count(); ++i) {
      auto p = all.Item(i);
      ctx.out << p->ObjectID << "\t--type " << p->ObjectType << "\t" << ToUtf8(p->Title) << "\n";
    }
    if (all.Count() == 0 && !failed) ctx.err << "nobody in the address book has an e-mail address\n";
  }
  return failed ? 1 : 0;
}

// ---- correspondence show ----

int Show(Context& ctx, const Args& args) {
  if (args.Has("--deleted") && args.Has("--all")) return UsageError(ctx, "--deleted and --all exclude each other");
  int code = 0;
  auto pack = PackArgument(ctx, args, "correspondence show", code, args.Has("--deleted"));
  if (!pack) return code;
  if (args.Has("--all")) pack->MsgStatus = ShowAll;
  if (!Enumerate(ctx, *pack, false)) return 1;
  if (NoAddresses(ctx, *pack)) return 1;
  if (args.Has("--json")) {
    json::array keys;
    for (int32_t k : pack->Keys()) keys.push_back(k);
    PrintRows(ctx.out, keys);
    return 0;
  }
  auto db = OpenStore(ctx);
  if (!db) return 1;
  ctx.out << ToUtf8(pack->Title) << "\n";
  for (int32_t k : pack->Keys()) {
    auto row = OpenLetterRow(*db, k);
    if (!row) continue;
    ctx.out << k << "\t" << ToUtf8(NullConvStr(row->GetField(u"MailFolder"))) << "\t"
            << ToUtf8(NullConvStr(row->GetField(u"From"))) << "\t" << ToUtf8(NullConvStr(row->GetField(u"To")))
            << "\t" << ToUtf8(NullConvStr(row->GetField(u"Subject"))) << "\n";
    row->Close();
  }
  db->Close();
  if (pack->Keys().empty()) ctx.err << "no letters\n";
  return 0;
}

// ---- correspondence report ----

int Report(Context& ctx, const Args& args) {
  int code = 0;
  auto pack = PackArgument(ctx, args, "correspondence report", code);
  if (!pack) return code;
  std::u16string html;
  if (!Enumerate(ctx, *pack, true, &html)) return 1;
  if (NoAddresses(ctx, *pack)) return 1;
  const presentation::Document doc{html, false};
  try {
    if (auto file = args.Get("-o")) {
      presentation::WriteDocument(FromUtf8(*file), doc);
      ctx.err << "wrote " << *file << " (" << pack->Keys().size() << " letter(s)); ravelin view " << *file
              << " shows it\n";
    } else {
      ctx.out << presentation::DocumentBytes(doc);
    }
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot write " << args.Get("-o").value_or("the page") << ": " << ToUtf8(e.Description())
            << "\n";
    return 1;
  }
  return 0;
}

// ---- correspondence delete / restore ----

int Delete(Context& ctx, const Args& args) {
  int code = 0;
  auto pack = PackArgument(ctx, args, "correspondence delete", code);
  if (!pack) return code;
  // To the bin: the letters not there yet. For good: every letter, in the bin or not.
  pack->MsgStatus = args.Has("--purge") ? ShowAll : HideDeleted;
  if (!Enumerate(ctx, *pack, false)) return 1;
  if (NoAddresses(ctx, *pack)) return 1;
  const std::set<int32_t> letters(pack->Keys().begin(), pack->Keys().end());
  const size_t before = ReportCount();
  pack->DeleteLetters(args.Has("--purge") ? 1 : 0);
  if (ReportCount() > before) {
    ctx.err << "ravelin: the correspondence could not be deleted: " << LastReport(before) << "\n";
    return 1;
  }
  if (args.Has("--purge")) {
    auto db = OpenStore(ctx);
    if (!db) return 1;
    size_t kept = 0;
    for (int32_t k : letters) {
      if (auto row = OpenLetterRow(*db, k)) {
        ++kept;
        row->Close();
      }
    }
    db->Close();
    ctx.out << "deleted " << letters.size() - kept << " letter(s) for good";
    if (kept) ctx.out << "; " << kept << " kept: project links still hold them";
    ctx.out << "\n";
  } else {
    ctx.out << "moved " << letters.size() << " letter(s) to Recycle\n";
  }
  return 0;
}

int Restore(Context& ctx, const Args& args) {
  int code = 0;
  auto pack = PackArgument(ctx, args, "correspondence restore", code, true);
  if (!pack) return code;
  std::optional<std::u16string> folder;
  if (auto f = args.Get("--folder")) {
    for (const char16_t* name : {u"Inbox", u"Outbox", u"Sent", u"Rough copies", u"Recycle"})
      if (StrComp(FromUtf8(*f), name, Compare::Text) == 0) folder = name;
    if (!folder) return UsageError(ctx, "unknown folder '" + *f + "' (Inbox, Outbox, Sent, Rough copies, Recycle)");
  }
  if (!Enumerate(ctx, *pack, false)) return 1;
  if (NoAddresses(ctx, *pack)) return 1;
  const std::set<int32_t> letters(pack->Keys().begin(), pack->Keys().end());
  // A letter that doesn't remember its folder is put in --folder's; without it, it stays.
  auto answers = std::make_shared<CommandLineAnswers>(ctx.err, folder);
  const size_t before = ReportCount();
  {
    AnswersScope scope(answers);
    pack->RestoreLetters();
  }
  if (ReportCount() > before) {
    ctx.err << "ravelin: the correspondence could not be restored: " << LastReport(before) << "\n";
    return 1;
  }
  const std::set<int32_t> left(pack->Keys().begin(), pack->Keys().end());
  ctx.out << "restored " << letters.size() - left.size() << " letter(s)\n";
  if (!left.empty()) {
    ctx.err << left.size() << " letter(s) stay in Recycle: they don't remember their folder; give --folder NAME\n";
    return 1;
  }
  return 0;
}

const CommandRegistrar listCmd({"correspondence list",
                                {},
                                {{"--deleted", "", "the packs show deleted letters only"},
                                 {"--project", "P", "the project the packs are opened under"},
                                 {"--archive", "", "with --project: the archive side"},
                                 kJsonOption},
                                "everyone in the address book with an e-mail address: ID, kind and title",
                                true,
                                List,
                                "[--deleted] [--project P [--archive]] [--json]"});
const CommandRegistrar showCmd({"correspondence show",
                                {"ID"},
                                {kTypeOption,
                                 {"--deleted", "", "the deleted letters only"},
                                 {"--all", "", "deleted or not"},
                                 kJsonOption},
                                "the letters from and to one object's addresses, in the order found (Ctrl-C stops)",
                                true,
                                Show,
                                "ID --type K [--deleted | --all] [--json]"});
const CommandRegistrar reportCmd({"correspondence report",
                                  {"ID"},
                                  {kTypeOption, {"-o", "FILE", "write the page to FILE"}},
                                  "the correspondence as one HTML page, its parts extracted (Ctrl-C stops)",
                                  true,
                                  Report,
                                  "ID --type K [-o FILE]"});
const CommandRegistrar deleteCmd({"correspondence delete",
                                  {"ID"},
                                  {kTypeOption, {"--purge", "", "delete for good, not to Recycle"}},
                                  "move the whole correspondence to Recycle (a letter listed twice goes twice)",
                                  true,
                                  Delete,
                                  "ID --type K [--purge]"});
const CommandRegistrar restoreCmd({"correspondence restore",
                                   {"ID"},
                                   {kTypeOption, {"--folder", "NAME", "where a letter that forgot its folder goes"}},
                                   "bring the correspondence back from Recycle",
                                   true,
                                   Restore,
                                   "ID --type K [--folder NAME]"});

}  // namespace
}  // namespace ravelin::cli
