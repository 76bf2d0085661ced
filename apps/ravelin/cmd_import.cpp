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
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
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

// Folders are walked recursively for *.eml (sorted); a file named on the command line is
// taken whatever its extension.
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
    for (auto it = std::filesystem::recursive_directory_iterator(
             p, std::filesystem::directory_options::skip_permission_denied, ec);
         !ec && it != std::filesystem::recursive_directory_iterator(); it.increment(ec)) {
      if (it->is_regular_file(ec) && IsEmlName(it->path())) found.push_back(it->path().string());
    }
    std::sort(found.begin(), found.end());
    for (auto& f : found) items.push_back(ImportItem{f, 0, -1, {}});
  }
  return items;
}

// Why a file can't be a message, or "" when it may be one: it must start with a header
// field ("Name: value"), which every message and every saved letter does.
std::string RefusalOf(const std::u16string& path) {
  if (!fs::FileExists(path)) return "no such file";
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

// Stores one file, filling its key and folder, or its error.
void ImportOne(ImportItem& it, const ImportOptions& o, BatchedTransaction& batch) {
  const std::u16string path = FromUtf8(it.path);
  it.error = RefusalOf(path);
  if (!it.error.empty()) return;
  batch.Begin();
  const size_t before = ReportCount();
  it.key = Protected(u"Ravelin.AddLetterFromEML", int32_t{0},
                     [&] { return store::AddLetterFromEML(path, o.project, o.archive, o.pack, &it.folder); });
  if (it.key == 0) it.error = LastReport(before);
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
  store::ImportRun run;  // the account addresses are read once for all the files
  {
    BatchedTransaction batch(ctx);
    for (size_t i = 0; i < items.size(); ++i) {
      ImportOne(items[i], o, batch);
      if (!items[i].error.empty()) {
        if (progress) ctx.err << "\r\x1b[K";
        ctx.err << "ravelin: " << items[i].path << ": " << items[i].error << "\n";
      }
      batch.After(i + 1);
      if (progress && ((i + 1) % 10 == 0 || i + 1 == items.size())) DrawProgress(ctx.err, i + 1, items.size());
    }
  }
  keep->Close();
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
