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
#include "message_check.h"
#include "packs/rules.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/data_cursor.h"
#include "store/mailbox.h"
#include "store/maintenance.h"
#include "store/record_sources.h"
#include "store_access.h"
#include "transport/outbox.h"

namespace ravelin::cli {
namespace {

struct ImportOptions {
  std::u16string project;
  bool archive = false;
  bool projectFromFolder = false;
  int32_t pack = 0;
  int32_t folder = -1;  // -1: worked out from the accounts
  bool json = false;
  bool applyRules = false;
};

// One letter of the run: an .eml file, or a letter of an mbox file or a Maildir folder.
struct ImportItem {
  std::string path;     // the file (a Maildir letter's own file)
  int64_t letter = 0;   // mbox: the letter's number in the file; 0 otherwise
  int64_t line = 0;     // mbox: the line of its "From " line
  int32_t key = 0;
  int32_t folder = -1;
  std::string error;
  bool retryable = false;  // an .eml file, which can be read again alone
};

enum class SourceKind { Eml, Mbox, Maildir };

// What a PATH names: one .eml file, one mbox file or one Maildir folder.
struct Source {
  std::string path;
  SourceKind kind = SourceKind::Eml;
  int64_t letters = 1;  // for the progress bar
  std::string error;    // a folder that can't be read: the run counts it as failed
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
  if (auto f = args.Get("--folder")) {
    for (int32_t k = Inbox; k <= Recycle; ++k)
      if (TextEquals(store::MailFolderName(k), FromUtf8(*f))) o.folder = k;
    if (o.folder < 0) return refuse("--folder needs Inbox, Outbox, Sent, Rough copies or Recycle");
  }
  o.json = args.Has("--json");
  o.applyRules = args.Has("--apply-rules");
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
    if (s.kind == SourceKind::Mbox) return store::CountMboxLetters(fs::ReadAll(fs::FromNativePath(s.path)));
    if (s.kind == SourceKind::Maildir) {
      int64_t n = 0;
      for (const char16_t* sub : {u"new", u"cur"}) {
        const std::u16string folder = fs::JoinPath(fs::FromNativePath(s.path), sub);
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

// The *.eml and *.mbox files and the Maildir folders below a folder (symbolic links to
// folders are not followed), and every folder that can't be read, as a source with its
// error so that the summary counts it.
void WalkFolder(const std::filesystem::path& dir, std::vector<Source>& found) {
  std::error_code ec;
  std::filesystem::directory_iterator it(dir, ec);
  const auto unreadable = [&] {
    Source s;
    s.path = dir.string();
    s.error = "cannot read the folder (" + ec.message() + ")";
    found.push_back(std::move(s));
  };
  if (ec) return unreadable();
  for (; it != std::filesystem::directory_iterator(); it.increment(ec)) {
    if (ec) return unreadable();
    std::error_code kind;
    const std::string path = it->path().string();
    if (it->is_directory(kind) && !it->is_symlink(kind)) {
      if (store::IsMaildir(fs::FromNativePath(path)))
        found.push_back(Source{path, SourceKind::Maildir, 1, {}});
      else
        WalkFolder(it->path(), found);
    } else if (it->is_regular_file(kind)) {
      const std::string ext = LowerExtension(it->path());
      if (ext == ".mbox" || (ext == ".eml" && store::LooksLikeMbox(HeadOf(path))))
        found.push_back(Source{path, SourceKind::Mbox, 1, {}});
      else if (ext == ".eml")
        found.push_back(Source{path, SourceKind::Eml, 1, {}});
    }
  }
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
      sources.push_back(Source{arg, mbox ? SourceKind::Mbox : SourceKind::Eml, 1, {}});
      continue;
    }
    if (store::IsMaildir(fs::FromNativePath(arg))) {
      sources.push_back(Source{arg, SourceKind::Maildir, 1, {}});
      continue;
    }
    std::vector<Source> found;
    WalkFolder(p, found);
    std::sort(found.begin(), found.end(), [](const Source& a, const Source& b) { return a.path < b.path; });
    for (auto& f : found) sources.push_back(std::move(f));
  }
  for (Source& s : sources) s.letters = CountLetters(s);
  return sources;
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
// per letter. A letter counts as stored only once its batch is committed; when a commit
// fails, every letter of the batch is a failed letter with the cause.
class BatchedTransaction {
 public:
  explicit BatchedTransaction(std::vector<ImportItem>& items) : items_(items) {}
  ~BatchedTransaction() {
    if (open_) dao::Engine().Rollback();
  }
  void Begin() {
    if (open_) return;
    try {
      dao::Engine().BeginTrans();
      open_ = true;
    } catch (...) {
      // The letter's own transaction meets the same cause and reports it.
    }
  }
  // items[index] was stored in the open batch.
  void Stored(size_t index) {
    if (open_) pending_.push_back(index);
  }
  // Commits the open batch; returns its letters when the commit failed (none of them is
  // stored then, and each carries the cause).
  std::vector<size_t> Commit() {
    std::vector<size_t> batch;
    if (!open_) return batch;
    open_ = false;
    batch.swap(pending_);
    try {
      dao::Engine().CommitTrans();
      batch.clear();
    } catch (const Error& e) {
      const std::string cause = "not stored: " + ToUtf8(store::DescribeFailure(ErrObject::From(e)));
      for (size_t i : batch) {
        items_[i].key = 0;
        items_[i].error = cause;
      }
    }
    return batch;
  }
  std::vector<size_t> After(size_t count) {
    if ((count % kBatch) == 0) return Commit();
    return {};
  }

 private:
  static constexpr size_t kBatch = 200;
  std::vector<ImportItem>& items_;
  bool open_ = false;
  std::vector<size_t> pending_;
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
  if (it.key != 0 && o.folder >= 0 && transport::MoveToFolder(it.key, o.folder)) it.folder = o.folder;
}

// Stores one .eml file; in the batch when one is given, else committed on its own.
void ImportEml(ImportItem& it, const ImportOptions& o, BatchedTransaction* batch) {
  it.retryable = true;
  const std::u16string path = fs::FromNativePath(it.path);
  it.error = NotAMessage(path);
  if (!it.error.empty()) return;
  if (batch) batch->Begin();
  const size_t before = ReportCount();
  it.key = Protected(u"Ravelin.AddLetterFromEML", int32_t{0},
                     [&] { return store::AddLetterFromEML(path, o.project, o.archive, o.pack, &it.folder); });
  if (it.key == 0) it.error = LastReport(before);
  // A named folder overrides the one the accounts gave.
  if (it.key != 0 && o.folder >= 0 && transport::MoveToFolder(it.key, o.folder)) it.folder = o.folder;
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
  store::ImportRun run;  // the account addresses are read once for all the letters
  // Each failed letter is told once, by its place, with its cause.
  DefaultHostCommon* host = DefaultHost();
  const bool wasQuiet = host && host->Quiet();
  if (host) host->SetQuiet(true);
  const auto tell = [&](const ImportItem& it) {
    if (it.error.empty()) return;
    if (progress) ctx.err << "\r\x1b[K";
    ctx.err << "ravelin: " << PlaceOf(it) << ": " << it.error << "\n";
  };
  // The letters of a batch whose commit failed (a full disk, a lost lock) are tried again
  // one by one where they can be read again alone (.eml files), so that every letter that
  // fits is stored and each of the others is told.
  const auto retry = [&](const std::vector<size_t>& failed) {
    for (size_t i : failed) {
      ImportItem& it = items[i];
      if (it.retryable) {
        it.error.clear();
        ImportEml(it, o, nullptr);
      }
      tell(it);
    }
  };
  {
    BatchedTransaction batch(items);
    const auto done = [&](ImportItem& it) {
      tell(it);
      const bool stored = it.key != 0;
      items.push_back(std::move(it));
      if (stored) batch.Stored(items.size() - 1);
      retry(batch.After(items.size()));
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
      if (!s.error.empty()) {
        failAll(s.error);
        continue;
      }
      if (s.kind == SourceKind::Eml) {
        ImportItem it;
        it.path = s.path;
        ImportEml(it, o, &batch);
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
        const int64_t n = s.kind == SourceKind::Mbox ? store::ReadMbox(fs::FromNativePath(s.path), letter)
                                                     : store::ReadMaildir(fs::FromNativePath(s.path), letter);
        if (n == 0) failAll(s.kind == SourceKind::Mbox ? "no letters (no \"From \" line opens one)" : "no letters");
      } catch (const Error& e) {
        failAll("cannot read: " + ToUtf8(e.Description().empty() ? DefaultErrorText(e.Number()) : e.Description()));
      }
    }
    retry(batch.Commit());
  }
  keep->Close();
  if (host) host->SetQuiet(wasQuiet);
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

// Runs the enabled rules over the letters just stored; "filed N letters by rules" on
// stderr. False after a message when the rules could not be run.
bool FileByRules(Context& ctx, const std::vector<ImportItem>& items) {
  std::vector<int32_t> keys;
  for (const ImportItem& it : items)
    if (it.error.empty() && it.key > 0) keys.push_back(it.key);
  try {
    const auto matches = packs::ApplyRules(u"", false, &keys);
    ctx.err << "filed " << matches.size() << " letter" << (matches.size() == 1 ? "" : "s") << " by rules\n";
  } catch (const Error& e) {
    ctx.err << "ravelin: the rules could not be applied: " << ToUtf8(e.Description()) << "\n";
    return false;
  }
  return true;
}

int Import(Context& ctx, const Args& args) {
  const auto options = ReadImportOptions(ctx, args);
  if (!options) return 2;
  if (options->pack > 0 && !PackExists(ctx, options->pack)) return 1;
  const std::vector<Source> sources = CollectSources(args.Positional());
  std::vector<ImportItem> items;
  if (!ImportAll(ctx, sources, items, *options)) return 1;
  if (options->applyRules && !FileByRules(ctx, items)) return 1;
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
                                   {"--folder", "NAME", "store them in this folder (Outbox: to send later)"},
                                   {"--apply-rules", "", "file the new letters by the enabled rules"},
                                   {"--json", "", "print one JSON object per letter; the summary goes to stderr"}},
                                  "store .eml files, mbox files, Maildir folders and folders of them",
                                  true,
                                  Import,
                                  "PATH... [--project P] [--project-from-folder] [--archive] [--pack N] [--folder NAME] "
                                  "[--apply-rules] [--json]"});

}  // namespace
}  // namespace ravelin::cli
