// Commands on the letters of the store: import .eml files, list a folder, project or pack,
// show one letter, delete it (to Recycle or for good) and restore it.
// The JSON forms are documented in README.md ("JSON output") and kept stable for scripts.
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iomanip>
#include <map>
#include <optional>
#include <ostream>
#include <sstream>

#include "commands.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/dates.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"
#include "terminal.h"

namespace ravelin::cli {
namespace {

// ---- JSON and text forms of values ----

std::string JsonString(std::u16string_view s) {
  std::string out = "\"";
  for (char c : ToUtf8(s)) {
    switch (c) {
      case '"': out += "\\\""; break;
      case '\\': out += "\\\\"; break;
      case '\n': out += "\\n"; break;
      case '\r': out += "\\r"; break;
      case '\t': out += "\\t"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20) {
          char buf[8];
          std::snprintf(buf, sizeof buf, "\\u%04x", static_cast<unsigned>(static_cast<unsigned char>(c)));
          out += buf;
        } else {
          out += c;
        }
    }
  }
  return out + "\"";
}

std::string IsoDate(OleDate d) {
  const DateParts p = SplitDate(d);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02dZ", p.year, p.month, p.day, p.hour, p.minute, p.second);
  return buf;
}

std::string ShortDate(const Value& v) {
  if (v.IsNull()) return std::string(16, ' ');
  const DateParts p = SplitDate(v.AsDate());
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d", p.year, p.month, p.day, p.hour, p.minute);
  return buf;
}

// Flags come back from some statements as numbers (an expression's False is 0); scripts
// get them as booleans.
bool IsFlagField(std::u16string_view name) { return name == u"Read" || name == u"InsArcPrj"; }

std::string JsonValue(const Value& v) {
  switch (v.Type()) {
    case VType::Null: return "null";
    case VType::Boolean: return v.AsBool() ? "true" : "false";
    case VType::Long: return std::to_string(v.AsLong());
    case VType::Double: return ToUtf8(NumToText(v.AsDouble()));
    case VType::Date: return JsonString(FromUtf8(IsoDate(v.AsDate())));
    case VType::Text: return JsonString(v.TextRef());
    case VType::Binary: return std::to_string(v.BinaryRef().size());
  }
  return "null";
}

std::string JsonField(std::u16string_view name, const Value& v) {
  if (IsFlagField(name) && (v.Type() == VType::Long || v.Type() == VType::Double)) return v.AsBool() ? "true" : "false";
  return JsonValue(v);
}

std::string Sha256Hex(const std::string& data) {
  unsigned char md[EVP_MAX_MD_SIZE];
  unsigned int len = 0;
  EVP_Digest(data.data(), data.size(), md, &len, EVP_sha256(), nullptr);
  std::ostringstream s;
  for (unsigned i = 0; i < len; ++i) s << std::hex << std::setw(2) << std::setfill('0') << static_cast<int>(md[i]);
  return s.str();
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

// A letter's number from the command line: digits only, 1 and above.
std::optional<std::u16string> CanonicalFolder(const std::string& name) {
  const std::u16string n = FromUtf8(name);
  for (const char16_t* f : kMailFolderNames)
    if (TextEquals(n, f)) return std::u16string(f);
  return std::nullopt;
}

Value FieldOrNull(dao::Recordset& rs, std::u16string_view name) {
  if (!rs.Fields().Contains(name)) return Value();
  return rs.GetField(name);
}

// The stored row of a letter (key, folder, remembered folder), or nothing.
struct LetterState {
  std::u16string folder, oldFolder;
};
std::optional<LetterState> FindLetter(int32_t key) {
  auto db = store::detail::OpenMailDatabase();
  auto rs = db->OpenRecordset(u"Select * from Letters where key=" + NumToText(key) + u";", dao::dbOpenSnapshot);
  if (rs->Bof() && rs->Eof()) return std::nullopt;
  return LetterState{NullConvStr(rs->GetField(u"MailFolder")), NullConvStr(rs->GetField(u"OldMailFolder"))};
}

std::string LastReport(size_t before) {
  if (DefaultHostCommon* h = DefaultHost(); h && h->Reports().size() > before) {
    const auto& r = h->Reports().back();
    return ToUtf8(r.err.Description.empty() ? DefaultErrorText(r.err.Number) : r.err.Description);
  }
  return "the letter could not be stored";
}

size_t ReportCount() {
  DefaultHostCommon* h = DefaultHost();
  return h ? h->Reports().size() : 0;
}

// ---- import ----

bool IsEmlName(const std::filesystem::path& p) {
  std::string ext = p.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext == ".eml";
}

// Why a file can't be a message, or "" when it may be one: it must start with a header
// field ("Name: value"), which every message and every saved letter does.
std::string RefusalOf(const std::u16string& path) {
  std::string head;
  try {
    if (fs::FileSize(path) == 0) return "empty file";
    FILE* f = std::fopen(fs::NativePath(path).c_str(), "rb");
    if (!f) return "cannot read the file";
    char buf[1024];
    const size_t n = std::fread(buf, 1, sizeof buf, f);
    std::fclose(f);
    head.assign(buf, n);
  } catch (...) {
    return "cannot read the file";
  }
  size_t i = 0;
  if (head.rfind("\xEF\xBB\xBF", 0) == 0) i = 3;
  size_t nameLen = 0;
  while (i < head.size() && head[i] != ':') {
    const unsigned char c = static_cast<unsigned char>(head[i]);
    if (c <= 32 || c >= 127) return "not a mail message (no header field at the start)";
    ++i, ++nameLen;
  }
  if (nameLen == 0 || i >= head.size()) return "not a mail message (no header field at the start)";
  return {};
}

struct ImportItem {
  std::string path;
  int32_t key = 0;
  int32_t folder = -1;
  std::string error;
};

void DrawProgress(std::ostream& err, size_t done, size_t total) {
  const int width = 30;
  const int filled = total ? static_cast<int>(done * width / total) : width;
  err << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done << "/" << total
      << std::flush;
}

int Import(Context& ctx) {
  Args args(ctx.args);
  args.Option("--project").Flag("--archive").Option("--pack").Flag("--json");
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
  if (args.Positional().empty()) return UsageError(ctx, "import needs at least one PATH (an .eml file or a folder)");
  const std::u16string project = FromUtf8(args.Get("--project").value_or(""));
  const bool archive = args.Has("--archive");
  int32_t pack = 0;
  if (auto p = args.Get("--pack")) {
    auto n = ParseKey(*p);
    if (!n) return UsageError(ctx, "--pack needs a pack number");
    pack = *n;
  }
  if (archive && Trim(project).empty()) return UsageError(ctx, "--archive needs --project");
  const bool json = args.Has("--json");

  // Folders are walked recursively for *.eml; a file named on the command line is taken
  // whatever its extension.
  std::vector<ImportItem> items;
  for (const std::string& arg : args.Positional()) {
    std::error_code ec;
    const std::filesystem::path p(arg);
    if (std::filesystem::is_directory(p, ec)) {
      std::vector<std::string> found;
      for (auto it = std::filesystem::recursive_directory_iterator(
               p, std::filesystem::directory_options::skip_permission_denied, ec);
           !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_regular_file(ec) && IsEmlName(it->path())) found.push_back(it->path().string());
      }
      std::sort(found.begin(), found.end());
      for (auto& f : found) items.push_back(ImportItem{f, 0, -1, {}});
    } else {
      items.push_back(ImportItem{arg, 0, -1, {}});
    }
  }

  const bool progress = isatty(2) && items.size() >= 20;
  // One connection for the whole run (every insertion shares it) and commits in batches:
  // committing each letter on its own would cost a disk sync per letter.
  std::shared_ptr<dao::Database> keep;
  try {
    keep = store::detail::OpenMailDatabase();
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  constexpr size_t kBatch = 200;
  bool inTrans = false;
  const auto commit = [&] {
    if (!inTrans) return;
    try {
      dao::Engine().CommitTrans();
    } catch (const Error& e) {
      ctx.err << "ravelin: could not commit: " << ToUtf8(e.Description()) << "\n";
    }
    inTrans = false;
  };

  size_t imported = 0, failed = 0;
  std::map<std::u16string, size_t> byFolder;
  for (size_t i = 0; i < items.size(); ++i) {
    ImportItem& it = items[i];
    const std::u16string path = FromUtf8(it.path);
    if (!fs::FileExists(path)) {
      it.error = "no such file";
    } else {
      it.error = RefusalOf(path);
    }
    if (it.error.empty()) {
      if (!inTrans) {
        try {
          dao::Engine().BeginTrans();
          inTrans = true;
        } catch (...) {
        }
      }
      const size_t before = ReportCount();
      it.key = Protected(u"Ravelin.AddLetterFromEML", int32_t{0},
                         [&] { return store::AddLetterFromEML(path, project, archive, pack, &it.folder); });
      if (it.key == 0) it.error = LastReport(before);
    }
    if (it.error.empty()) {
      ++imported;
      ++byFolder[store::MailFolderName(it.folder)];
    } else {
      ++failed;
      if (progress) ctx.err << "\r\x1b[K";
      ctx.err << "ravelin: " << it.path << ": " << it.error << "\n";
    }
    if (inTrans && (i + 1) % kBatch == 0) commit();
    if (progress && ((i + 1) % 10 == 0 || i + 1 == items.size())) DrawProgress(ctx.err, i + 1, items.size());
  }
  commit();
  keep->Close();
  if (progress) ctx.err << "\n";

  std::ostream& summary = json ? ctx.err : ctx.out;
  if (json) {
    ctx.out << "[";
    for (size_t i = 0; i < items.size(); ++i) {
      const ImportItem& it = items[i];
      ctx.out << (i ? ",\n " : "\n ") << "{\"path\": " << JsonString(FromUtf8(it.path));
      if (it.error.empty())
        ctx.out << ", \"key\": " << it.key << ", \"MailFolder\": " << JsonString(store::MailFolderName(it.folder));
      else
        ctx.out << ", \"error\": " << JsonString(FromUtf8(it.error));
      ctx.out << "}";
    }
    ctx.out << (items.empty() ? "]\n" : "\n]\n");
  }
  summary << "imported " << imported << ", failed " << failed;
  if (!byFolder.empty()) {
    summary << " (";
    bool first = true;
    for (const auto& [folder, n] : byFolder) {
      summary << (first ? "" : ", ") << (folder.empty() ? "no folder" : ToUtf8(folder)) << " " << n;
      first = false;
    }
    summary << ")";
  }
  summary << "\n";
  return failed ? 1 : 0;
}

// ---- list ----

// The fields a list shows, in this order, when the statement has them.
const std::u16string kListFields[] = {u"key",       u"Subject",    u"From",          u"To",
                                      u"DateReceived", u"DateWrote", u"MailFolder", u"OldMailFolder",
                                      u"Read",      u"Size",       u"Project",       u"InsArcPrj"};
const std::u16string kOrderFields[] = {u"key",  u"Subject",    u"From", u"To",  u"DateReceived",
                                       u"DateWrote", u"MailFolder", u"Read", u"Size"};

int List(Context& ctx) {
  Args args(ctx.args);
  args.Option("--folder").Option("--project").Flag("--below").Flag("--archive").Option("--pack").Flag("--deleted");
  args.Option("--order").Flag("--json").Flag("--all").Option("--page");
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
  if (!args.Positional().empty()) return UsageError(ctx, "list takes no positional arguments");

  std::u16string folder = u"Inbox";
  if (auto f = args.Get("--folder")) {
    auto c = CanonicalFolder(*f);
    if (!c) return UsageError(ctx, "unknown folder '" + *f + "' (Inbox, Outbox, Sent, Rough copies, Recycle)");
    folder = *c;
  }
  if (args.Has("--deleted") && !args.Has("--pack")) {
    if (args.Has("--folder") && folder != u"Recycle") return UsageError(ctx, "--deleted lists the Recycle folder");
    folder = u"Recycle";
  }
  std::u16string order = u"DateReceived";
  if (auto o = args.Get("--order")) {
    const std::u16string want = FromUtf8(*o);
    auto it = std::find_if(std::begin(kOrderFields), std::end(kOrderFields),
                           [&](const std::u16string& f) { return TextEquals(f, want); });
    if (it == std::end(kOrderFields)) return UsageError(ctx, "--order takes one of key, Subject, From, To, DateReceived, DateWrote, MailFolder, Read, Size");
    order = *it;
  }
  const std::optional<std::string> project = args.Get("--project");
  if ((args.Has("--below") || args.Has("--archive")) && !project) return UsageError(ctx, "--below and --archive need --project");
  int32_t page = 1;
  if (auto p = args.Get("--page")) {
    auto n = ParseKey(*p);
    if (!n) return UsageError(ctx, "--page needs a number from 1");
    page = *n;
  }
  int32_t pack = 0;
  if (auto p = args.Get("--pack")) {
    auto n = ParseKey(*p);
    if (!n) return UsageError(ctx, "--pack needs a pack number");
    pack = *n;
  }

  std::u16string source;
  if (pack > 0) {
    source = ctx.mail.GetPackMsgRecordSource(pack, ShowAll);
  } else {
    // The statement of a project and the projects below it can't name a folder (it reads
    // no pack columns), so it takes every folder and the rows are filtered here.
    const int32_t flags = project ? (args.Has("--below") ? InsCurPrj | AllmFolders : CurPrj) : Allmsg;
    source = ctx.mail.GetRecordSource(folder, FromUtf8(project.value_or("")), flags, order, args.Has("--archive"));
  }
  if (source.empty()) {
    ctx.err << "ravelin: the mail database can't be read\n";
    return 1;
  }

  const bool all = args.Has("--all");
  const int32_t pageSize = std::max(1, ctx.mail.GetMsgListCount());
  const bool json = args.Has("--json");
  std::vector<std::vector<std::pair<std::u16string, Value>>> rows;
  bool more = false;
  try {
    auto db = store::detail::OpenMailDatabase();
    auto rs = db->OpenRecordset(source, dao::dbOpenSnapshot);
    // The statement of a pack lists the Recycle folder too: the filter here tells the truth.
    const bool allFolders = pack == 0 && project && args.Has("--below");
    const auto wanted = [&](dao::Recordset& r) {
      if (allFolders) return TextEquals(NullConvStr(r.GetField(u"MailFolder")), folder);
      if (pack == 0) return true;
      const bool inRecycle = TextEquals(NullConvStr(r.GetField(u"MailFolder")), u"Recycle");
      return args.Has("--deleted") ? inRecycle : !inRecycle;
    };
    int64_t skip = all ? 0 : static_cast<int64_t>(page - 1) * pageSize;
    while (!rs->Eof()) {
      if (wanted(*rs)) {
        if (skip > 0) {
          --skip;
        } else if (!all && static_cast<int32_t>(rows.size()) == pageSize) {
          more = true;
          break;
        } else {
          std::vector<std::pair<std::u16string, Value>> row;
          for (const auto& f : kListFields)
            if (rs->Fields().Contains(f)) row.emplace_back(f, rs->GetField(f));
          rows.push_back(std::move(row));
        }
      }
      rs->MoveNext();
    }
    rs->Close();
    db->Close();
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot list: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }

  if (json) {
    ctx.out << "[";
    for (size_t i = 0; i < rows.size(); ++i) {
      ctx.out << (i ? ",\n " : "\n ") << "{";
      for (size_t k = 0; k < rows[i].size(); ++k)
        ctx.out << (k ? ", " : "") << JsonString(rows[i][k].first) << ": " << JsonField(rows[i][k].first, rows[i][k].second);
      ctx.out << "}";
    }
    ctx.out << (rows.empty() ? "]\n" : "\n]\n");
    return 0;
  }
  const std::string what = pack > 0 ? "pack " + std::to_string(pack) : ToUtf8(folder);
  if (rows.empty()) {
    ctx.out << (page > 1 ? "no letters on page " + std::to_string(page) + " of " : "no letters in ") << what << "\n";
    return 0;
  }
  const auto get = [](const std::vector<std::pair<std::u16string, Value>>& row, std::u16string_view name) {
    for (const auto& [n, v] : row)
      if (n == name) return v;
    return Value();
  };
  ctx.out << "   key  date (UTC)        from                          subject\n";
  for (const auto& row : rows) {
    const Value key = get(row, u"key");
    Value date = get(row, u"DateWrote");
    if (date.IsNull()) date = get(row, u"DateReceived");
    const bool unread = !NullConvBool(get(row, u"Read"));
    char keyText[16];
    std::snprintf(keyText, sizeof keyText, "%6d", NullConvLng(key));
    ctx.out << keyText << (unread ? "* " : "  ") << ShortDate(date) << "  " << Column(NullConvStr(get(row, u"From")), 28)
            << "  " << ToUtf8(NullConvStr(get(row, u"Subject"))) << "\n";
  }
  if (more) ctx.out << "(more: --page " << page + 1 << ", or --all)\n";
  return 0;
}

// ---- show ----

int Show(Context& ctx) {
  Args args(ctx.args);
  args.Flag("--json");
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
  if (args.Positional().size() != 1) return UsageError(ctx, "show needs one KEY");
  auto key = ParseKey(args.Positional()[0]);
  if (!key) return UsageError(ctx, "KEY must be a letter's number");
  const bool json = args.Has("--json");
  try {
    auto db = store::detail::OpenMailDatabase();
    auto rs = db->OpenRecordset(u"Select * from Letters where key=" + NumToText(*key) + u";", dao::dbOpenSnapshot);
    if (rs->Bof() && rs->Eof()) {
      ctx.err << "ravelin: no letter with key " << *key << "\n";
      return 1;
    }
    auto files = db->OpenRecordset(store::GetAttachRecordSource(*key), dao::dbOpenSnapshot);
    static const std::u16string kLetterFields[] = {u"key",       u"Subject",       u"From",    u"To",
                                                   u"DateReceived", u"DateWrote", u"MailFolder", u"OldMailFolder",
                                                   u"Read",      u"Size",          u"Message"};
    static const std::u16string kFileFields[] = {u"filename", u"type", u"subtype", u"Charset",
                                                 u"Content-Disposition", u"Content-ID", u"Content-Location",
                                                 u"AVPchecked"};
    if (json) {
      ctx.out << "{";
      bool first = true;
      for (const auto& f : kLetterFields) {
        ctx.out << (first ? "" : ",\n ") << JsonString(f) << ": " << JsonField(f, FieldOrNull(*rs, f));
        first = false;
      }
      ctx.out << ",\n \"Files\": [";
      bool firstFile = true;
      while (!files->Eof()) {
        ctx.out << (firstFile ? "\n  {" : ",\n  {");
        firstFile = false;
        for (size_t k = 0; k < std::size(kFileFields); ++k)
          ctx.out << (k ? ", " : "") << JsonString(kFileFields[k]) << ": " << JsonValue(FieldOrNull(*files, kFileFields[k]));
        const Value data = files->GetField(u"Data");
        const std::string octets = data.IsNull() ? std::string() : data.AsBinary();
        ctx.out << ", \"length\": " << octets.size() << ", \"sha256\": \"" << Sha256Hex(octets) << "\"}";
        files->MoveNext();
      }
      ctx.out << (firstFile ? "]}\n" : "\n ]}\n");
      return 0;
    }
    const auto text = [&](std::u16string_view f) { return ToUtf8(NullConvStr(FieldOrNull(*rs, f))); };
    const auto date = [&](std::u16string_view f) {
      const Value v = FieldOrNull(*rs, f);
      return v.IsNull() ? std::string("-") : ShortDate(v) + " UTC";
    };
    ctx.out << "Letter:   " << *key << " in " << text(u"MailFolder");
    if (!text(u"OldMailFolder").empty()) ctx.out << " (from " << text(u"OldMailFolder") << ")";
    ctx.out << "\nFrom:     " << text(u"From") << "\nTo:       " << text(u"To") << "\nSubject:  " << text(u"Subject")
            << "\nWritten:  " << date(u"DateWrote") << "\nReceived: " << date(u"DateReceived")
            << "\nSize:     " << NullConvLng(FieldOrNull(*rs, u"Size")) << " bytes"
            << (NullConvBool(FieldOrNull(*rs, u"Read")) ? ", read" : ", unread") << "\n\n";
    const std::string message = text(u"Message");
    ctx.out << (message.empty() ? "(no plain text)" : message) << "\n";
    int n = 0;
    while (!files->Eof()) {
      if (n == 0) ctx.out << "\nAttachments:\n";
      const Value data = files->GetField(u"Data");
      const size_t length = data.IsNull() ? 0 : data.AsBinary().size();
      std::u16string name = NullConvStr(files->GetField(u"filename"));
      if (name.empty()) name = u"(no name)";
      ctx.out << "  " << ++n << ". " << ToUtf8(name) << "  " << ToUtf8(NullConvStr(files->GetField(u"type"))) << "/"
              << ToUtf8(NullConvStr(files->GetField(u"subtype"))) << "  " << length << " bytes\n";
      files->MoveNext();
    }
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot read letter " << *key << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
}

// ---- delete and restore ----

int Delete(Context& ctx) {
  Args args(ctx.args);
  args.Flag("--purge").Option("--project").Flag("--archive").Option("--pack");
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
  if (args.Positional().size() != 1) return UsageError(ctx, "delete needs one KEY");
  auto key = ParseKey(args.Positional()[0]);
  if (!key) return UsageError(ctx, "KEY must be a letter's number");
  const bool purge = args.Has("--purge");
  if (!purge && (args.Has("--project") || args.Has("--pack")))
    return UsageError(ctx, "--project and --pack name the link that --purge removes");
  int32_t pack = 0;
  if (auto p = args.Get("--pack")) {
    auto n = ParseKey(*p);
    if (!n) return UsageError(ctx, "--pack needs a pack number");
    pack = *n;
  }
  std::optional<LetterState> state;
  try {
    state = FindLetter(*key);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (!state) {
    ctx.err << "ravelin: no letter with key " << *key << "\n";
    return 1;
  }
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

int Restore(Context& ctx) {
  Args args(ctx.args);
  args.Option("--folder");
  if (auto e = args.Parse(); !e.empty()) return UsageError(ctx, e);
  if (args.Positional().size() != 1) return UsageError(ctx, "restore needs one KEY");
  auto key = ParseKey(args.Positional()[0]);
  if (!key) return UsageError(ctx, "KEY must be a letter's number");
  std::optional<std::u16string> folder;
  if (auto f = args.Get("--folder")) {
    folder = CanonicalFolder(*f);
    if (!folder) return UsageError(ctx, "unknown folder '" + *f + "' (Inbox, Outbox, Sent, Rough copies, Recycle)");
  }
  std::optional<LetterState> state;
  try {
    state = FindLetter(*key);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (!state) {
    ctx.err << "ravelin: no letter with key " << *key << "\n";
    return 1;
  }
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
  auto after = FindLetter(*key);
  if (!after || (state->oldFolder.empty() && TextEquals(after->folder, u"Recycle"))) {
    ctx.err << "ravelin: letter " << *key << " stays in Recycle: it doesn't remember its folder; give --folder NAME\n";
    return 1;
  }
  ctx.out << "letter " << *key << " restored to " << ToUtf8(after->folder) << "\n";
  return 0;
}

const CommandRegistrar importCmd({"import", "import PATH... [--project P [--archive]] [--pack N] [--json]",
                                  "store .eml files and folders of them", true, Import});
const CommandRegistrar listCmd(
    {"list",
     "list [--folder NAME | --deleted] [--project P [--below] [--archive]] [--pack N] [--order FIELD] [--page N | --all] [--json]",
     "list the letters of a folder, project or pack, a page at a time", true, List});
const CommandRegistrar showCmd({"show", "show KEY [--json]", "show a letter's headers, text and attachments", true, Show});
const CommandRegistrar deleteCmd({"delete", "delete KEY [--purge [--project P [--archive] | --pack N]]",
                                  "move a letter to Recycle, or remove it (a link at a time)", true, Delete});
const CommandRegistrar restoreCmd({"restore", "restore KEY [--folder NAME]", "put a letter from Recycle back", true,
                                   Restore});

}  // namespace
}  // namespace ravelin::cli
