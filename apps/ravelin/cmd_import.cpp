// `ravelin import PATH...`: stores .eml files, mbox files and Maildir folders (and every
// *.eml, *.mbox and Maildir below a folder) letter by letter, in one run that commits in
// batches; a letter that isn't a message is named by its place and the rest go on.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <ostream>

#include "commands.h"
#include "platform/module1.h"
#include "json_output.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/data_cursor.h"
#include "store/mailbox.h"
#include "store/record_sources.h"
#include "store_access.h"

namespace ravelin::cli {
namespace {

struct ImportOptions {
  std::u16string project;
  bool archive = false;
  bool projectFromFolder = false;
  int32_t pack = 0;
  bool json = false;
};

// One letter of the run: an .eml file, or a letter of an mbox file or a Maildir folder.
struct ImportItem {
  std::string path;     // the file (a Maildir letter's own file)
  int64_t letter = 0;   // mbox: the letter's number in the file; 0 otherwise
  int64_t line = 0;     // mbox: the line of its "From " line
  int32_t key = 0;
  int32_t folder = -1;
  std::string error;
};

enum class SourceKind { Eml, Mbox, Maildir };

// What a PATH names: one .eml file, one mbox file or one Maildir folder.
struct Source {
  std::string path;
  SourceKind kind = SourceKind::Eml;
  int64_t letters = 1;  // for the progress bar
};

// A project path can't hold a double quote: the list statements put it in quotes as it is.
bool HoldsQuote(std::u16string_view s) { return s.find(u'"') != std::u16string_view::npos; }

// The options, or nothing after a usage message (bad usage: exit code 2).
std::optional<ImportOptions> ReadImportOptions(Context& ctx, const Args& args) {
  const auto refuse = [&](const std::string& why) {
    UsageError(ctx, why);
    return std::nullopt;
  };
  if (args.Positional().empty())
    return refuse("import needs at least one PATH (an .eml or mbox file, a Maildir or a folder)");
  ImportOptions o;
  o.project = FromUtf8(args.Get("--project").value_or(""));
  o.archive = args.Has("--archive");
  o.projectFromFolder = args.Has("--project-from-folder");
  if (auto p = args.Get("--pack")) {
    auto n = ParseKey(*p);
    if (!n) return refuse("--pack needs a pack number");
    o.pack = *n;
  }
  if (o.archive && Trim(o.project).empty() && !o.projectFromFolder)
    return refuse("--archive needs --project or --project-from-folder");
  if (HoldsQuote(o.project)) return refuse("a project name can't hold a double quote (\")");
  o.json = args.Has("--json");
  return o;
}

std::string LowerExtension(const std::filesystem::path& p) {
  std::string ext = p.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext;
}

// The first octets of a file ("" when it can't be read).
std::string HeadOf(const std::string& path, size_t n = 4096) {
  std::string head(n, '\0');
  FILE* f = std::fopen(path.c_str(), "rb");
  if (!f) return {};
  head.resize(std::fread(head.data(), 1, n, f));
  std::fclose(f);
  return head;
}

int64_t CountLetters(const Source& s) {
  try {
    if (s.kind == SourceKind::Mbox) return store::CountMboxLetters(fs::ReadAll(FromUtf8(s.path)));
    if (s.kind == SourceKind::Maildir) {
      int64_t n = 0;
      for (const char16_t* sub : {u"new", u"cur"}) {
        const std::u16string folder = fs::JoinPath(FromUtf8(s.path), sub);
        if (!fs::FolderExists(folder)) continue;
        for (const auto& f : fs::ListFiles(folder))
          if (!fs::FileName(f).empty() && fs::FileName(f)[0] != u'.') ++n;
      }
      return n;
    }
  } catch (const Error&) {
  }
  return 1;
}

// Folders are walked recursively (sorted) for *.eml and *.mbox files and Maildir folders;
// a folder named on the command line may be a Maildir itself. A file that opens with an
// mbox "From " line is read as an mbox (a saved letter that kept its envelope line is one
// of one letter), any other as one message; a file named on the command line is taken
// whatever its extension.
std::vector<Source> CollectSources(const std::vector<std::string>& paths) {
  std::vector<Source> sources;
  for (const std::string& arg : paths) {
    std::error_code ec;
    const std::filesystem::path p(arg);
    if (!std::filesystem::is_directory(p, ec)) {
      const bool mbox = store::LooksLikeMbox(HeadOf(arg));
      sources.push_back(Source{arg, mbox ? SourceKind::Mbox : SourceKind::Eml});
      continue;
    }
    if (store::IsMaildir(FromUtf8(arg))) {
      sources.push_back(Source{arg, SourceKind::Maildir});
      continue;
    }
    std::vector<Source> found;
    for (auto it = std::filesystem::recursive_directory_iterator(
             p, std::filesystem::directory_options::skip_permission_denied, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
      const std::string path = it->path().string();
      if (it->is_directory(ec)) {
        if (store::IsMaildir(FromUtf8(path))) {
          found.push_back(Source{path, SourceKind::Maildir});
          it.disable_recursion_pending();
        }
      } else if (it->is_regular_file(ec)) {
        const std::string ext = LowerExtension(it->path());
        if (ext == ".mbox" || (ext == ".eml" && store::LooksLikeMbox(HeadOf(path))))
          found.push_back(Source{path, SourceKind::Mbox});
        else if (ext == ".eml")
          found.push_back(Source{path, SourceKind::Eml});
      }
    }
    std::sort(found.begin(), found.end(), [](const Source& a, const Source& b) { return a.path < b.path; });
    for (auto& f : found) sources.push_back(std::move(f));
  }
  for (Source& s : sources) s.letters = CountLetters(s);
  return sources;
}

// Why octets can't be a message, or "" when they may be one: the reader takes anything
// else (an mbox "From " line, an old "From  :" header, a blank first line). A header block
// is text, so a character 0 ahead of the first blank line (in the first 8 KiB) tells
// binary data; behind it, a part sent as binary may hold any octet.
std::string NotMail(std::string_view octets) {
  if (octets.empty()) return "empty";
  std::string_view head = octets.substr(0, 8192);
  const size_t blank = std::min(head.find("\n\n"), head.find("\r\n\r\n"));
  if (blank != std::string_view::npos) head = head.substr(0, blank);
  if (head.find('\0') != std::string_view::npos) return "binary data, not a mail message";
  return {};
}

// Why a file can't be a message, or "" when it may be one.
std::string RefusalOf(const std::u16string& path) {
  if (!fs::FileExists(path)) return "no such file";
  try {
    if (fs::FileSize(path) == 0) return "empty file";
  } catch (...) {
    return "cannot read the file";
  }
  const std::string head = HeadOf(fs::NativePath(path), 8192);
  if (head.empty()) return "cannot read the file";
  const std::string why = NotMail(head);
  return why.empty() ? why : why + " (the file)";
}

// The project a source's letters go to: --project, or with --project-from-folder the
// name of the mbox file (without its extension) or of the Maildir folder (without the
// dot of a Maildir++ subfolder), below --project when both are given.
std::u16string ProjectFor(const Source& s, const ImportOptions& o) {
  if (!o.projectFromFolder || s.kind == SourceKind::Eml) return o.project;
  std::filesystem::path p(s.path);
  if (!p.has_filename()) p = p.parent_path();
  std::u16string name = FromUtf8(s.kind == SourceKind::Mbox ? p.stem().string() : p.filename().string());
  if (s.kind == SourceKind::Maildir && name.size() > 1 && name[0] == u'.') name.erase(0, 1);
  return Trim(o.project).empty() ? name : o.project + u"\\" + name;
}

// Commits every kBatch letters: committing each letter on its own would cost a disk sync
// per letter.
class BatchedTransaction {
 public:
  explicit BatchedTransaction(Context& ctx) : ctx_(ctx) {}
  ~BatchedTransaction() { Commit(); }
  void Begin() {
    if (open_) return;
    try {
      dao::Engine().BeginTrans();
      open_ = true;
    } catch (...) {
    }
  }
  void Commit() {
    if (!open_) return;
    try {
      dao::Engine().CommitTrans();
    } catch (const Error& e) {
      ctx_.err << "ravelin: could not commit: " << ToUtf8(e.Description()) << "\n";
    }
    open_ = false;
  }
  void After(size_t count) {
    if ((count % kBatch) == 0) Commit();
  }

 private:
  static constexpr size_t kBatch = 200;
  Context& ctx_;
  bool open_ = false;
};

// Stores one letter's text (`read` for a seen Maildir letter), filling its key and
// folder, or its error.
void StoreText(ImportItem& it, std::u16string text, const std::u16string& project, const ImportOptions& o,
               bool read, BatchedTransaction& batch) {
  batch.Begin();
  const size_t before = ReportCount();
  it.key = Protected(u"Ravelin.AddLetterFromEML", int32_t{0}, [&] {
    return store::AddLetterFromText(std::move(text), project, o.archive, o.pack, &it.folder, read);
  });
  if (it.key == 0) it.error = LastReport(before);
}

void ImportEml(ImportItem& it, const ImportOptions& o, BatchedTransaction& batch) {
  const std::u16string path = FromUtf8(it.path);
  it.error = RefusalOf(path);
  if (!it.error.empty()) return;
  batch.Begin();
  const size_t before = ReportCount();
  it.key = Protected(u"Ravelin.AddLetterFromEML", int32_t{0},
                     [&] { return store::AddLetterFromEML(path, o.project, o.archive, o.pack, &it.folder); });
  if (it.key == 0) it.error = LastReport(before);
}

// "box.mbox: letter 3 (line 120)", or the file's path.
std::string PlaceOf(const ImportItem& it) {
  if (it.letter == 0) return it.path;
  return it.path + ": letter " + std::to_string(it.letter) + " (line " + std::to_string(it.line) + ")";
}

void DrawProgress(std::ostream& err, size_t done, size_t total) {
  const int width = 30;
  const int filled = total ? static_cast<int>(done * width / total) : width;
  err << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done << "/" << total
      << std::flush;
}

// Stores every letter in one connection (every insertion shares it), reporting failures
// by place as they come; returns false when the store can't be opened.
bool ImportAll(Context& ctx, const std::vector<Source>& sources, std::vector<ImportItem>& items,
               const ImportOptions& o) {
  size_t total = 0;
  for (const Source& s : sources) total += static_cast<size_t>(std::max<int64_t>(s.letters, 1));
  const bool progress = isatty(2) && total >= 20;
  auto keep = OpenStore(ctx);
  if (!keep) return false;
  {
    BatchedTransaction batch(ctx);
    const auto done = [&](ImportItem& it) {
      if (!it.error.empty()) {
        if (progress) ctx.err << "\r\x1b[K";
        ctx.err << "ravelin: " << PlaceOf(it) << ": " << it.error << "\n";
      }
      items.push_back(std::move(it));
      batch.After(items.size());
      if (progress && (items.size() % 10 == 0 || items.size() >= total))
        DrawProgress(ctx.err, std::min(items.size(), total), total);
    };
    for (const Source& s : sources) {
      const std::u16string project = ProjectFor(s, o);
      const auto failAll = [&](const std::string& why) {
        ImportItem it;
        it.path = s.path;
        it.error = why;
        done(it);
      };
      if (HoldsQuote(project)) {
        failAll("the project name \"" + ToUtf8(project) + "\" holds a double quote, which a project name can't");
        continue;
      }
      if (s.kind == SourceKind::Eml) {
        ImportItem it;
        it.path = s.path;
        ImportEml(it, o, batch);
        done(it);
        continue;
      }
      const auto letter = [&](store::MailboxLetter& l) {
        ImportItem it;
        it.path = s.kind == SourceKind::Maildir ? ToUtf8(l.file) : s.path;
        if (s.kind == SourceKind::Mbox) {
          it.letter = l.number;
          it.line = l.line;
        }
        const std::string octets = ByteTextToBytes(l.text.substr(0, 8192));
        it.error = NotMail(octets);
        if (it.error.empty()) StoreText(it, std::move(l.text), project, o, l.seen, batch);
        done(it);
        return true;
      };
      try {
        const int64_t n = s.kind == SourceKind::Mbox ? store::ReadMbox(FromUtf8(s.path), letter)
                                                     : store::ReadMaildir(FromUtf8(s.path), letter);
        if (n == 0) failAll(s.kind == SourceKind::Mbox ? "no letters (no \"From \" line opens one)" : "no letters");
      } catch (const Error& e) {
        failAll("cannot read: " + ToUtf8(e.Description().empty() ? DefaultErrorText(e.Number()) : e.Description()));
      }
    }
  }
  keep->Close();
  if (progress) ctx.err << "\n";
  return true;
}

// The pack must be there before anything is stored in it.
bool PackExists(Context& ctx, int32_t pack) {
  try {
    auto db = store::detail::OpenMailDatabase();
    auto rs = db->OpenRecordset(u"Select N from Packs where N=" + NumToText(pack) + u";", dao::dbOpenSnapshot);
    const bool found = !(rs->Bof() && rs->Eof());
    rs->Close();
    db->Close();
    if (!found) ctx.err << "ravelin: there is no pack " << pack << "; nothing imported\n";
    return found;
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot open the mail database: " << ToUtf8(e.Description()) << "\n";
    return false;
  }
}

void PrintImportJson(std::ostream& out, const std::vector<ImportItem>& items) {
  json::array rows;
  for (const ImportItem& it : items) {
    json::object row;
    row["path"] = JsonText(FromUtf8(it.path));
    if (it.letter > 0) {
      row["letter"] = it.letter;
      row["line"] = it.line;
    }
    if (it.error.empty()) {
      row["key"] = it.key;
      row["MailFolder"] = JsonText(store::MailFolderName(it.folder));
    } else {
      row["error"] = JsonText(FromUtf8(it.error));
    }
    rows.push_back(std::move(row));
  }
  PrintRows(out, rows);
}

// "imported 3, failed 1 (Inbox 2, Sent 1)"; returns the number that failed.
size_t PrintSummary(std::ostream& out, const std::vector<ImportItem>& items) {
  size_t imported = 0, failed = 0;
  std::map<std::u16string, size_t> byFolder;
  for (const ImportItem& it : items) {
    if (!it.error.empty()) {
      ++failed;
      continue;
    }
    ++imported;
    ++byFolder[store::MailFolderName(it.folder)];
  }
  out << "imported " << imported << ", failed " << failed;
  if (!byFolder.empty()) {
    out << " (";
    bool first = true;
    for (const auto& [folder, n] : byFolder) {
      out << (first ? "" : ", ") << (folder.empty() ? "no folder" : ToUtf8(folder)) << " " << n;
      first = false;
    }
    out << ")";
  }
  out << "\n";
  return failed;
}

int Import(Context& ctx, const Args& args) {
  const auto options = ReadImportOptions(ctx, args);
  if (!options) return 2;
  if (options->pack > 0 && !PackExists(ctx, options->pack)) return 1;
  const std::vector<Source> sources = CollectSources(args.Positional());
  std::vector<ImportItem> items;
  if (!ImportAll(ctx, sources, items, *options)) return 1;
  if (options->json) PrintImportJson(ctx.out, items);
  // With --json the summary goes to stderr, beside the messages.
  return PrintSummary(options->json ? ctx.err : ctx.out, items) ? 1 : 0;
}

const CommandRegistrar importCmd({"import",
                                  {"PATH..."},
                                  {{"--project", "P", "link the letters to project P"},
                                   {"--project-from-folder", "",
                                    "link an mbox's or a Maildir's letters to the project of its name (below P)"},
                                   {"--archive", "", "link them to the projects' archive side"},
                                   {"--pack", "N", "put the letters in pack N (which must exist)"},
                                   {"--json", "", "print one JSON object per letter; the summary goes to stderr"}},
                                  "store .eml files, mbox files, Maildir folders and folders of them",
                                  true,
                                  Import,
                                  "PATH... [--project P] [--project-from-folder] [--archive] [--pack N] [--json]"});

}  // namespace
}  // namespace ravelin::cli
