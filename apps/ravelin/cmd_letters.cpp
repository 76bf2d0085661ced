// Commands on the letters of the store: list a folder, project or pack, show one letter,
// delete it (to Recycle or for good) and restore it.
// The JSON forms are documented in README.md ("JSON output") and kept stable for scripts.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <ostream>

#include "commands.h"
#include "json_output.h"
#include "platform/db/dao.h"
#include "platform/interaction.h"
#include "runtime/dates.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/list_indexes.h"
#include "store/maintenance.h"
#include "store/record_sources.h"
#include "store_access.h"
#include "terminal.h"

namespace ravelin::cli {
namespace {

// ---- text forms of values ----

std::string ShortDate(const Value& v) {
  if (v.IsNull()) return std::string(16, ' ');
  const DateParts p = SplitDate(v.AsDate());
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d", p.year, p.month, p.day, p.hour, p.minute);
  return buf;
}

// A text cut to `width` characters (code points) for a column, padded with blanks.
std::string Column(const std::u16string& text, size_t width) {
  std::u16string t;
  size_t points = 0;
  for (size_t i = 0; i < text.size() && points < width; ++i) {
    char16_t c = text[i];
    if (c == u'\r' || c == u'\n' || c == u'\t') c = u' ';
    t += c;
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size()) t += text[++i];
    ++points;
  }
  if (points == width && t.size() < text.size()) {
    t.pop_back();
    t += u'~';
  }
  return ToUtf8(t) + std::string(width > points ? width - points : 0, ' ');
}

// A folder's name as typed, in the store's spelling.
std::optional<std::u16string> CanonicalFolder(const std::string& name) {
  const std::u16string n = FromUtf8(name);
  for (const char16_t* f : kMailFolderNames)
    if (TextEquals(n, f)) return std::u16string(f);
  return std::nullopt;
}

std::string UnknownFolder(const std::string& name) {
  return "unknown folder '" + name + "' (Inbox, Outbox, Sent, Rough copies, Recycle)";
}

Value FieldOrNull(dao::Recordset& rs, std::u16string_view name) {
  if (!rs.Fields().Contains(name)) return Value();
  return rs.GetField(name);
}

// ---- list ----

// The fields a list shows, in this order, when the statement has them.
const std::u16string kListFields[] = {u"key",       u"Subject",    u"From",          u"To",
                                      u"DateReceived", u"DateWrote", u"MailFolder", u"OldMailFolder",
                                      u"Read",      u"Size",       u"Project",       u"InsArcPrj"};
const std::u16string kOrderFields[] = {u"key",  u"Subject",    u"From", u"To",  u"DateReceived",
                                       u"DateWrote", u"MailFolder", u"Read", u"Size"};

// What a list shows: a folder, a project (with those below it) or a pack; one page or all.
struct ListRequest {
  std::u16string folder = u"Inbox";
  std::u16string order;  // empty: by the date the list shows, newest first
  std::optional<std::string> project;
  bool below = false, archive = false, deleted = false;
  int32_t pack = 0;
  int32_t page = 1;
  bool all = false, json = false;
};

using Row = std::vector<std::pair<std::u16string, Value>>;

struct ListPage {
  std::vector<Row> rows;
  bool more = false;  // rows follow the page
};

// The request, or nothing after a usage message (bad usage: exit code 2).
std::optional<ListRequest> ReadListRequest(Context& ctx, const Args& args) {
  const auto refuse = [&](const std::string& why) {
    UsageError(ctx, why);
    return std::nullopt;
  };
  if (!args.Positional().empty()) return refuse("list takes no positional arguments");
  ListRequest r;
  if (auto f = args.Get("--folder")) {
    auto c = CanonicalFolder(*f);
    if (!c) return refuse(UnknownFolder(*f));
    r.folder = *c;
  }
  r.deleted = args.Has("--deleted");
  if (r.deleted && !args.Has("--pack")) {
    if (args.Has("--folder") && r.folder != u"Recycle") return refuse("--deleted lists the Recycle folder");
    r.folder = u"Recycle";
  }
  if (auto o = args.Get("--order")) {
    const std::u16string want = FromUtf8(*o);
    auto it = std::find_if(std::begin(kOrderFields), std::end(kOrderFields),
                           [&](const std::u16string& f) { return TextEquals(f, want); });
    if (it == std::end(kOrderFields))
      return refuse("--order takes one of key, Subject, From, To, DateReceived, DateWrote, MailFolder, Read, Size");
    r.order = *it;
  }
  r.project = args.Get("--project");
  r.below = args.Has("--below");
  r.archive = args.Has("--archive");
  if ((r.below || r.archive) && !r.project) return refuse("--below and --archive need --project");
  if (auto p = args.Get("--page")) {
    auto n = ParseKey(*p);
    if (!n) return refuse("--page needs a number from 1");
    r.page = *n;
  }
  if (auto p = args.Get("--pack")) {
    auto n = ParseKey(*p);
    if (!n) return refuse("--pack needs a pack number");
    r.pack = *n;
  }
  r.all = args.Has("--all");
  r.json = args.Has("--json");
  return r;
}

// The statement that lists the request's letters; empty when the store can't be read.
std::u16string ListStatement(Ravelin& mail, const ListRequest& r) {
  if (r.pack > 0) return mail.GetPackMsgRecordSource(r.pack, ShowAll);
  // The statement of a project and the projects below it can't name a folder (it reads
  // no pack columns), so it takes every folder and the rows are filtered as they are read.
  const int32_t flags = r.project ? (r.below ? InsCurPrj | AllmFolders : CurPrj) : Allmsg;
  return mail.GetRecordSource(r.folder, FromUtf8(r.project.value_or("")), flags, r.order.empty() ? u"key" : r.order,
                              r.archive);
}

// The date a list shows for a letter: when it was written, else when it arrived.
Value ShownDate(const Row& row) {
  Value wrote, received;
  for (const auto& [n, v] : row) {
    if (n == u"DateWrote") wrote = v;
    if (n == u"DateReceived") received = v;
  }
  return wrote.IsNull() ? received : wrote;
}

// Whether a row of the statement belongs in the list.
bool Wanted(const ListRequest& r, dao::Recordset& rs) {
  // The statement of a project and those below it names neither a folder nor a side.
  if (r.pack == 0 && r.project && r.below)
    return TextEquals(NullConvStr(rs.GetField(u"MailFolder")), r.folder) &&
           NullConvBool(rs.GetField(u"InsArcPrj")) == r.archive;
  if (r.pack == 0) return true;
  // The statement of a pack lists the Recycle folder too: the filter here tells the truth.
  const bool inRecycle = TextEquals(NullConvStr(rs.GetField(u"MailFolder")), u"Recycle");
  return r.deleted ? inRecycle : !inRecycle;
}

Row ListedFields(dao::Recordset& rs) {
  Row row;
  for (const auto& f : kListFields)
    if (rs.Fields().Contains(f)) row.emplace_back(f, rs.GetField(f));
  return row;
}

// One page of a folder by the date shown, read through the folder-by-date index: the walk
// over the index gives the page's letters and where the page starts and ends among their
// rows (a letter in two packs has two), then the statement, narrowed to those letters,
// gives their rows. Nothing else of the folder is read. Empty when the statement has no
// place for the narrowing (the caller then reads the whole folder).
std::optional<ListPage> ReadFolderPageByDate(const std::u16string& statement, const ListRequest& r, int32_t pageSize) {
  const size_t orderAt = statement.rfind(u" ORDER BY ");
  if (orderAt == std::u16string::npos) return std::nullopt;
  struct Part {
    int32_t key;
    int64_t skip, take;  // of the letter's rows, in the statement's order
  };
  std::vector<Part> parts;
  ListPage page;
  const int64_t from = static_cast<int64_t>(r.page - 1) * pageSize, to = from + pageSize;
  auto db = store::detail::OpenMailDatabase();
  int64_t at = 0;
  store::WalkFolderByShownDate(*db, r.folder, [&](int32_t key, int32_t rows) {
    if (at >= to) {
      page.more = true;
      return false;
    }
    const int64_t end = at + rows;
    if (end > from) {
      const int64_t first = std::max(at, from), last = std::min(end, to);
      parts.push_back({key, first - at, last - first});
    }
    at = end;
    return true;
  });
  if (at > to) page.more = true;
  if (parts.empty()) {
    db->Close();
    return page;
  }
  std::u16string keys;
  for (const Part& p : parts) keys += (keys.empty() ? u"" : u", ") + NumToText(p.key);
  const std::u16string narrowed =
      statement.substr(0, orderAt) + u" and (Letters.key In (" + keys + u"))" + statement.substr(orderAt);
  std::vector<std::pair<int32_t, std::vector<Row>>> byKey;
  for (const Part& p : parts) byKey.push_back({p.key, {}});
  std::sort(byKey.begin(), byKey.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  auto rs = db->OpenRecordset(narrowed, dao::dbOpenSnapshot);
  for (; !rs->Eof(); rs->MoveNext()) {
    const int32_t key = NullConvLng(rs->GetField(u"key"));
    auto it = std::lower_bound(byKey.begin(), byKey.end(), key, [](const auto& e, int32_t k) { return e.first < k; });
    if (it != byKey.end() && it->first == key) it->second.push_back(ListedFields(*rs));
  }
  rs->Close();
  db->Close();
  for (const Part& p : parts) {
    auto it = std::lower_bound(byKey.begin(), byKey.end(), p.key, [](const auto& e, int32_t k) { return e.first < k; });
    auto& rows = it->second;
    for (int64_t i = p.skip; i < p.skip + p.take && i < static_cast<int64_t>(rows.size()); ++i)
      page.rows.push_back(std::move(rows[static_cast<size_t>(i)]));
  }
  return page;
}

// The rows of the requested page (or all of them). Engine failures are thrown.
ListPage ReadPage(const std::u16string& statement, const ListRequest& r, int32_t pageSize) {
  // A page of one folder by the date shown needs only that page (--all reads them all anyway).
  if (r.order.empty() && r.pack == 0 && !r.project && !r.all)
    if (auto page = ReadFolderPageByDate(statement, r, pageSize)) return std::move(*page);
  ListPage page;
  auto db = store::detail::OpenMailDatabase();
  auto rs = db->OpenRecordset(statement, dao::dbOpenSnapshot);
  const auto rowOf = [&] { return ListedFields(*rs); };
  if (r.order.empty()) {
    // By the date shown, newest first, letters without a date last, letters of the same
    // date in the statement's order: every row is read, its date worked out once, and
    // only the rows up to the end of the page are put in order.
    struct Place {
      bool dated;
      double serial;
      size_t index;
    };
    std::vector<Row> all;
    std::vector<Place> places;
    for (; !rs->Eof(); rs->MoveNext()) {
      if (!Wanted(r, *rs)) continue;
      all.push_back(rowOf());
      const Value date = ShownDate(all.back());
      places.push_back({!date.IsNull(), date.IsNull() ? 0.0 : date.AsDate().serial, all.size() - 1});
    }
    rs->Close();
    db->Close();
    const size_t from = r.all ? 0 : static_cast<size_t>(r.page - 1) * static_cast<size_t>(pageSize);
    const size_t to = r.all ? all.size() : std::min(all.size(), from + static_cast<size_t>(pageSize));
    const auto before = [](const Place& a, const Place& b) {
      if (a.dated != b.dated) return a.dated;
      if (a.dated && a.serial != b.serial) return a.serial > b.serial;
      return a.index < b.index;
    };
    if (from < to) {
      std::partial_sort(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(to), places.end(), before);
      for (size_t i = from; i < to; ++i) page.rows.push_back(std::move(all[places[i].index]));
    }
    page.more = to < all.size();
    return page;
  }
  int64_t skip = r.all ? 0 : static_cast<int64_t>(r.page - 1) * pageSize;
  for (; !rs->Eof(); rs->MoveNext()) {
    if (!Wanted(r, *rs)) continue;
    if (skip > 0) {
      --skip;
      continue;
    }
    if (!r.all && static_cast<int32_t>(page.rows.size()) == pageSize) {
      page.more = true;
      break;
    }
    page.rows.push_back(rowOf());
  }
  rs->Close();
  db->Close();
  return page;
}

void PrintListJson(std::ostream& out, const ListPage& page) {
  json::array rows;
  for (const Row& row : page.rows) {
    json::object o;
    for (const auto& [name, value] : row) o[ToUtf8(name)] = JsonField(name, value);
    rows.push_back(std::move(o));
  }
  PrintRows(out, rows);
}

void PrintListTable(std::ostream& out, const ListPage& page, const ListRequest& r) {
  const std::string what = r.pack > 0 ? "pack " + std::to_string(r.pack) : ToUtf8(r.folder);
  if (page.rows.empty()) {
    out << (r.page > 1 ? "no letters on page " + std::to_string(r.page) + " of " : "no letters in ") << what << "\n";
    return;
  }
  const auto get = [](const Row& row, std::u16string_view name) {
    for (const auto& [n, v] : row)
      if (n == name) return v;
    return Value();
  };
  out << "   key  date (UTC)        from                          subject\n";
  for (const Row& row : page.rows) {
    const Value date = ShownDate(row);
    const bool unread = !NullConvBool(get(row, u"Read"));
    char keyText[16];
    std::snprintf(keyText, sizeof keyText, "%6d", NullConvLng(get(row, u"key")));
    out << keyText << (unread ? "* " : "  ") << ShortDate(date) << "  " << Column(NullConvStr(get(row, u"From")), 28)
        << "  " << ToUtf8(NullConvStr(get(row, u"Subject"))) << "\n";
  }
  if (page.more) out << "(more: --page " << r.page + 1 << ", or --all)\n";
}

int List(Context& ctx, const Args& args) {
  const auto request = ReadListRequest(ctx, args);
  if (!request) return 2;
  // A store held by another program is said once, with the reason, before any statement
  // is built (building one asks the database for its field lists).
  const auto keep = OpenStore(ctx);
  if (!keep) return 1;
  const std::u16string statement = ListStatement(ctx.mail, *request);
  if (statement.empty()) {
    ctx.err << "ravelin: the mail database can't be read\n";
    return 1;
  }
  ListPage page;
  try {
    page = ReadPage(statement, *request, std::max(1, ctx.mail.GetMsgListCount()));
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot list: " << ToUtf8(store::DescribeFailure(ErrObject::From(e))) << "\n";
    return 1;
  }
  if (request->json) PrintListJson(ctx.out, page);
  else PrintListTable(ctx.out, page, *request);
  return 0;
}

// ---- show ----

const std::u16string kLetterFields[] = {u"key",          u"Subject",   u"From",       u"To",
                                        u"DateReceived", u"DateWrote", u"MailFolder", u"OldMailFolder",
                                        u"Read",         u"Size",      u"Message"};
const std::u16string kFileFields[] = {u"filename",            u"type",       u"subtype",
                                      u"Charset",             u"Content-Disposition",
                                      u"Content-ID",          u"Content-Location",
                                      u"AVPchecked"};

std::string FileData(dao::Recordset& files) {
  const Value data = files.GetField(u"Data");
  return data.IsNull() ? std::string() : data.AsBinary();
}

void PrintLetterJson(std::ostream& out, dao::Recordset& letter, dao::Recordset& files) {
  json::object o;
  for (const auto& f : kLetterFields) o[ToUtf8(f)] = JsonField(f, FieldOrNull(letter, f));
  json::array rows;
  for (; !files.Eof(); files.MoveNext()) {
    json::object row;
    for (const auto& f : kFileFields) row[ToUtf8(f)] = JsonOf(FieldOrNull(files, f));
    const std::string octets = FileData(files);
    row["length"] = octets.size();
    row["sha256"] = Sha256Hex(octets);
    rows.push_back(std::move(row));
  }
  o["Files"] = std::move(rows);
  PrintBlock(out, o);
}

void PrintLetterText(std::ostream& out, int32_t key, dao::Recordset& letter, dao::Recordset& files) {
  const auto text = [&](std::u16string_view f) { return ToUtf8(NullConvStr(FieldOrNull(letter, f))); };
  const auto date = [&](std::u16string_view f) {
    const Value v = FieldOrNull(letter, f);
    return v.IsNull() ? std::string("-") : ShortDate(v) + " UTC";
  };
  out << "Letter:   " << key << " in " << text(u"MailFolder");
  if (!text(u"OldMailFolder").empty()) out << " (from " << text(u"OldMailFolder") << ")";
  out << "\nFrom:     " << text(u"From") << "\nTo:       " << text(u"To") << "\nSubject:  " << text(u"Subject")
      << "\nWritten:  " << date(u"DateWrote") << "\nReceived: " << date(u"DateReceived")
      << "\nSize:     " << NullConvLng(FieldOrNull(letter, u"Size")) << " bytes"
      << (NullConvBool(FieldOrNull(letter, u"Read")) ? ", read" : ", unread") << "\n\n";
  const std::string message = text(u"Message");
  out << (message.empty() ? "(no plain text)" : message) << "\n";
  int n = 0;
  for (; !files.Eof(); files.MoveNext()) {
    if (n == 0) out << "\nAttachments:\n";
    std::u16string name = NullConvStr(files.GetField(u"filename"));
    if (name.empty()) name = u"(no name)";
    out << "  " << ++n << ". " << ToUtf8(name) << "  " << ToUtf8(NullConvStr(files.GetField(u"type"))) << "/"
        << ToUtf8(NullConvStr(files.GetField(u"subtype"))) << "  " << FileData(files).size() << " bytes\n";
  }
}

int Show(Context& ctx, const Args& args) {
  int code = 0;
  const auto key = KeyArgument(ctx, args, "show", code);
  if (!key) return code;
  try {
    auto db = store::detail::OpenMailDatabase();
    auto letter = OpenLetterRow(*db, *key);
    if (!letter) return NoLetter(ctx, *key);
    auto files = db->OpenRecordset(store::GetAttachRecordSource(*key), dao::dbOpenSnapshot);
    if (args.Has("--json")) PrintLetterJson(ctx.out, *letter, *files);
    else PrintLetterText(ctx.out, *key, *letter, *files);
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot read letter " << *key << ": " << ToUtf8(store::DescribeFailure(ErrObject::From(e))) << "\n";
    return 1;
  }
}

// ---- delete and restore ----

int Delete(Context& ctx, const Args& args) {
  int code = 0;
  const auto key = KeyArgument(ctx, args, "delete", code);
  if (!key) return code;
  const bool purge = args.Has("--purge");
  if (!purge && (args.Has("--project") || args.Has("--pack")))
    return UsageError(ctx, "--project and --pack name the link that --purge removes");
  if (args.Has("--project") && args.Has("--pack"))
    return UsageError(ctx, "--purge removes one link at a time: give --project or --pack, not both");
  int32_t pack = 0;
  if (auto p = args.Get("--pack")) {
    auto n = ParseKey(*p);
    if (!n) return UsageError(ctx, "--pack needs a pack number");
    pack = *n;
  }
  const auto state = FindLetter(ctx, *key);
  if (!state) return 1;
  const size_t before = ReportCount();
  const int32_t left = ctx.mail.DeleteLetter2(*key, FromUtf8(args.Get("--project").value_or("")), args.Has("--archive"),
                                              pack, purge ? 1 : 0);
  if (ReportCount() > before) {
    ctx.err << "ravelin: letter " << *key << " could not be deleted: " << LastReport(before) << "\n";
    return 1;
  }
  if (!purge) {
    ctx.out << "letter " << *key << " moved to Recycle (from " << ToUtf8(state->folder) << ")\n";
  } else if (left == 0) {
    ctx.out << "letter " << *key << " removed from the store\n";
  } else {
    ctx.out << "letter " << *key << " kept: " << left << " project or pack link" << (left == 1 ? "" : "s")
            << " still hold" << (left == 1 ? "s" : "") << " it\n";
  }
  return 0;
}

// Answers the folder question of a restore with the name given on the command line.
class FolderAnswer : public Interaction {
 public:
  explicit FolderAnswer(std::u16string folder) : folder_(std::move(folder)) {}
  int32_t MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) override {
    return DefaultAnswer(style);
  }
  std::optional<std::u16string> InputBox(const std::u16string&, const std::u16string&, const std::u16string&) override {
    return folder_;
  }
  std::optional<std::u16string> MessageWindow(const std::u16string& text, const std::u16string&, bool) override {
    return text;
  }

 private:
  std::u16string folder_;
};

int Restore(Context& ctx, const Args& args) {
  int code = 0;
  const auto key = KeyArgument(ctx, args, "restore", code);
  if (!key) return code;
  std::optional<std::u16string> folder;
  if (auto f = args.Get("--folder")) {
    folder = CanonicalFolder(*f);
    if (!folder) return UsageError(ctx, UnknownFolder(*f));
  }
  const auto state = FindLetter(ctx, *key);
  if (!state) return 1;
  if (!TextEquals(state->folder, u"Recycle")) {
    ctx.err << "ravelin: letter " << *key << " is not in Recycle (it is in " << ToUtf8(state->folder) << ")\n";
    return 1;
  }
  // A letter that remembers its folder goes back there; --folder answers the question
  // asked for one that doesn't.
  if (folder) SetInteraction(std::make_shared<FolderAnswer>(*folder));
  const size_t before = ReportCount();
  ctx.mail.RestoreLetter2(*key);
  if (folder) InstallTerminalInteraction();
  if (ReportCount() > before) {
    ctx.err << "ravelin: letter " << *key << " could not be restored: " << LastReport(before) << "\n";
    return 1;
  }
  const auto after = FindLetter(ctx, *key);
  if (!after) return 1;
  if (state->oldFolder.empty() && TextEquals(after->folder, u"Recycle")) {
    ctx.err << "ravelin: letter " << *key << " stays in Recycle: it doesn't remember its folder; give --folder NAME\n";
    return 1;
  }
  ctx.out << "letter " << *key << " restored to " << ToUtf8(after->folder) << "\n";
  return 0;
}

const OptionSpec kJson{"--json", "", "print JSON (see README.md, \"JSON output\")"};

const CommandRegistrar listCmd(
    {"list",
     {},
     {{"--folder", "NAME", "a folder: Inbox (the default), Outbox, Sent, Rough copies, Recycle"},
      {"--deleted", "", "the Recycle folder; with --pack, the pack's deleted letters"},
      {"--project", "P", "the letters linked to project P"},
      {"--below", "", "with the projects below P (needs --project)"},
      {"--archive", "", "P's archive (needs --project)"},
      {"--pack", "N", "the letters of pack N"},
      {"--order", "FIELD", "key, Subject, From, To, DateReceived, DateWrote, MailFolder, Read, Size (default: the date shown, newest first)"},
      {"--page", "N", "the Nth page (the MsgCount setting, 10 letters)"},
      {"--all", "", "every letter, not a page"},
      kJson},
     "list the letters of a folder, project or pack, a page at a time",
     true,
     List,
     "[--folder NAME | --deleted] [--project P [--below] [--archive]] [--pack N] [--order FIELD] [--page N | --all] "
     "[--json]"});
const CommandRegistrar showCmd(
    {"show", {"KEY"}, {kJson}, "show a letter's headers, text and attachments", true, Show});
const CommandRegistrar deleteCmd({"delete",
                                  {"KEY"},
                                  {{"--purge", "", "remove the letter (a link at a time) instead of moving it"},
                                   {"--project", "P", "with --purge: the link to project P"},
                                   {"--archive", "", "with --project: the link to P's archive"},
                                   {"--pack", "N", "with --purge: the link to pack N"}},
                                  "move a letter to Recycle, or remove it (a link at a time)",
                                  true,
                                  Delete,
                                  "KEY [--purge [--project P [--archive] | --pack N]]"});
const CommandRegistrar restoreCmd({"restore",
                                   {"KEY"},
                                   {{"--folder", "NAME", "the folder for a letter that doesn't remember its own"}},
                                   "put a letter from Recycle back",
                                   true,
                                   Restore});

}  // namespace
}  // namespace ravelin::cli
