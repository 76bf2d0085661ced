// `ravelin import PATH...`: stores .eml files, and every *.eml below a folder, in one run
// that commits in batches; a file that isn't a message is named and the rest go on.
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
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/maintenance.h"
#include "store/record_sources.h"
#include "store_access.h"

namespace ravelin::cli {
namespace {

struct ImportOptions {
  std::u16string project;
  bool archive = false;
  int32_t pack = 0;
  bool json = false;
};

struct ImportItem {
  std::string path;
  int32_t key = 0;
  int32_t folder = -1;
  std::string error;
};

// The options, or nothing after a usage message (bad usage: exit code 2).
std::optional<ImportOptions> ReadImportOptions(Context& ctx, const Args& args) {
  const auto refuse = [&](const std::string& why) {
    UsageError(ctx, why);
    return std::nullopt;
  };
  if (args.Positional().empty()) return refuse("import needs at least one PATH (an .eml file or a folder)");
  ImportOptions o;
  o.project = FromUtf8(args.Get("--project").value_or(""));
  o.archive = args.Has("--archive");
  if (auto p = args.Get("--pack")) {
    auto n = ParseKey(*p);
    if (!n) return refuse("--pack needs a pack number");
    o.pack = *n;
  }
  if (o.archive && Trim(o.project).empty()) return refuse("--archive needs --project");
  o.json = args.Has("--json");
  return o;
}

bool IsEmlName(const std::filesystem::path& p) {
  std::string ext = p.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext == ".eml";
}

// Every *.eml below a folder, and every subfolder that can't be read (as an item with
// its error, so that the summary counts it).
void WalkFolder(const std::filesystem::path& dir, std::vector<std::string>& found, std::vector<ImportItem>& unreadable) {
  std::error_code ec;
  std::filesystem::directory_iterator it(dir, ec);
  if (ec) {
    unreadable.push_back(ImportItem{dir.string(), 0, -1, "cannot read the folder (" + ec.message() + ")"});
    return;
  }
  for (; it != std::filesystem::directory_iterator(); it.increment(ec)) {
    if (ec) {
      unreadable.push_back(ImportItem{dir.string(), 0, -1, "cannot read the folder (" + ec.message() + ")"});
      return;
    }
    std::error_code kind;
    if (it->is_directory(kind) && !it->is_symlink(kind))
      WalkFolder(it->path(), found, unreadable);
    else if (it->is_regular_file(kind) && IsEmlName(it->path()))
      found.push_back(it->path().string());
  }
}

// Folders are walked recursively for *.eml (sorted); a file named on the command line is
// taken whatever its extension. Paths stay the system's octets, whatever their encoding.
std::vector<ImportItem> CollectFiles(const std::vector<std::string>& paths) {
  std::vector<ImportItem> items;
  for (const std::string& arg : paths) {
    std::error_code ec;
    const std::filesystem::path p(arg);
    if (!std::filesystem::is_directory(p, ec)) {
      items.push_back(ImportItem{arg, 0, -1, {}});
      continue;
    }
    std::vector<std::string> found;
    std::vector<ImportItem> unreadable;
    WalkFolder(p, found, unreadable);
    std::sort(found.begin(), found.end());
    for (auto& f : found) items.push_back(ImportItem{f, 0, -1, {}});
    for (auto& u : unreadable) items.push_back(std::move(u));
  }
  return items;
}

// Commits every kBatch letters: committing each letter on its own would cost a disk sync
// per letter. A letter counts as stored only once its batch is committed; when a commit
// fails, every letter of the batch is a failed file with the cause.
class BatchedTransaction {
 public:
  explicit BatchedTransaction(Context& ctx) : ctx_(ctx) {}
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
  void Stored(ImportItem& it) {
    if (open_) pending_.push_back(&it);
  }
  // Commits the open batch; returns its letters when the commit failed (none of them is
  // stored then, and each carries the cause).
  std::vector<ImportItem*> Commit() {
    std::vector<ImportItem*> batch;
    if (!open_) return batch;
    open_ = false;
    batch.swap(pending_);
    try {
      dao::Engine().CommitTrans();
      batch.clear();
    } catch (const Error& e) {
      const std::string cause = "not stored: " + ToUtf8(store::DescribeFailure(ErrObject::From(e)));
      for (ImportItem* it : batch) {
        it->key = 0;
        it->error = cause;
      }
    }
    return batch;
  }
  std::vector<ImportItem*> After(size_t count) {
    if ((count % kBatch) == 0) return Commit();
    return {};
  }

 private:
  static constexpr size_t kBatch = 200;
  Context& ctx_;
  bool open_ = false;
  std::vector<ImportItem*> pending_;
};

// Stores one file, filling its key and folder, or its error; in the batch when one is
// given, else committed on its own.
void ImportOne(ImportItem& it, const ImportOptions& o, BatchedTransaction* batch) {
  if (!it.error.empty()) return;  // an unreadable folder
  const std::u16string path = fs::FromNativePath(it.path);
  it.error = NotAMessage(path);
  if (!it.error.empty()) return;
  if (batch) batch->Begin();
  const size_t before = ReportCount();
  it.key = Protected(u"Ravelin.AddLetterFromEML", int32_t{0},
                     [&] { return store::AddLetterFromEML(path, o.project, o.archive, o.pack, &it.folder); });
  if (it.key == 0)
    it.error = LastReport(before);
  else if (batch)
    batch->Stored(it);
}

void DrawProgress(std::ostream& err, size_t done, size_t total) {
  const int width = 30;
  const int filled = total ? static_cast<int>(done * width / total) : width;
  err << "\r[" << std::string(filled, '#') << std::string(width - filled, '.') << "] " << done << "/" << total
      << std::flush;
}

// Stores the files in one connection (every insertion shares it); returns false when the
// store can't be opened.
bool ImportAll(Context& ctx, std::vector<ImportItem>& items, const ImportOptions& o) {
  const bool progress = isatty(2) && items.size() >= 20;
  auto keep = OpenStore(ctx);
  if (!keep) return false;
  // Each failed file is told once, by name, with its cause.
  DefaultHostCommon* host = DefaultHost();
  const bool wasQuiet = host && host->Quiet();
  if (host) host->SetQuiet(true);
  const auto tell = [&](const ImportItem& it) {
    if (it.error.empty()) return;
    if (progress) ctx.err << "\r\x1b[K";
    ctx.err << "ravelin: " << it.path << ": " << it.error << "\n";
  };
  // The letters of a batch whose commit failed (a full disk, a lost lock) are tried again
  // one by one, so that every letter that fits is stored and each of the others is told.
  const auto retry = [&](const std::vector<ImportItem*>& failed) {
    for (ImportItem* it : failed) {
      it->error.clear();
      ImportOne(*it, o, nullptr);
      tell(*it);
    }
  };
  {
    BatchedTransaction batch(ctx);
    for (size_t i = 0; i < items.size(); ++i) {
      ImportOne(items[i], o, &batch);
      tell(items[i]);
      retry(batch.After(i + 1));
      if (progress && ((i + 1) % 10 == 0 || i + 1 == items.size())) DrawProgress(ctx.err, i + 1, items.size());
    }
    retry(batch.Commit());
  }
  keep->Close();
  if (host) host->SetQuiet(wasQuiet);
  if (progress) ctx.err << "\n";
  return true;
}

void PrintImportJson(std::ostream& out, const std::vector<ImportItem>& items) {
  json::array rows;
  for (const ImportItem& it : items) {
    json::object row;
    row["path"] = JsonText(FromUtf8(it.path));
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
  std::vector<ImportItem> items = CollectFiles(args.Positional());
  if (!ImportAll(ctx, items, *options)) return 1;
  if (options->json) PrintImportJson(ctx.out, items);
  // With --json the summary goes to stderr, beside the messages.
  return PrintSummary(options->json ? ctx.err : ctx.out, items) ? 1 : 0;
}

const CommandRegistrar importCmd({"import",
                                  {"PATH..."},
                                  {{"--project", "P", "link the letters to project P"},
                                   {"--archive", "", "link them to P's archive (needs --project)"},
                                   {"--pack", "N", "put the letters in pack N"},
                                   {"--json", "", "print one JSON object per file; the summary goes to stderr"}},
                                  "store .eml files and folders of them",
                                  true,
                                  Import,
                                  "PATH... [--project P [--archive]] [--pack N] [--json]"});

}  // namespace
}  // namespace ravelin::cli
