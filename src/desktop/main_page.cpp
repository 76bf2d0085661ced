// The main page's logic over the store, the packs and the presentation layers.
#include "desktop/main_page.h"

#include <algorithm>
#include <filesystem>

#include "packs/project_tree.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/funnel.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "presentation/letter_html.h"
#include "presentation/pack_report.h"
#include "presentation/views.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/types.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/data_cursor.h"
#include "store/delete_restore.h"
#include "store/mailbox.h"
#include "store/record_sources.h"

namespace ravelin::desktop {

namespace {

const std::u16string kSection = u"frmMain";

std::u16string Text(const char16_t* key, const char16_t* english) { return module1::GetMUIString(kSection, key, english); }

std::u16string FolderCaption(const std::u16string& folder) {
  static const std::pair<const char16_t*, const char16_t*> captions[] = {
      {u"Inbox", u"Inbox"}, {u"Outbox", u"Outbox"}, {u"Sent", u"Sent"},
      {u"Rough copies", u"Rough copies"}, {u"Recycle", u"Recycle"}};
  for (const auto& [name, english] : captions)
    if (folder == name) return module1::GetMUIString(u"MailFolders", name, english);
  return folder;
}

std::u16string Str(dao::Recordset& rs, std::u16string_view field) {
  if (!rs.Fields().Contains(field)) return {};
  const Value v = rs.GetField(field);
  return NullConvStr(v);
}

int32_t Lng(dao::Recordset& rs, std::u16string_view field) {
  if (!rs.Fields().Contains(field)) return 0;
  const Value v = rs.GetField(field);
  return NullConvLng(v);
}

bool Bool(dao::Recordset& rs, std::u16string_view field) {
  if (!rs.Fields().Contains(field)) return false;
  const Value v = rs.GetField(field);
  return NullConvBool(v);
}

std::optional<double> Date(dao::Recordset& rs, std::u16string_view field) {
  if (!rs.Fields().Contains(field)) return std::nullopt;
  const Value v = rs.GetField(field);
  if (v.IsNull()) return std::nullopt;
  return v.AsDate().serial;
}

LetterRow RowOf(dao::Recordset& rs) {
  LetterRow r;
  r.key = Lng(rs, u"key");
  r.subject = Str(rs, u"Subject");
  r.from = Str(rs, u"From");
  r.to = Str(rs, u"To");
  r.folder = Str(rs, u"MailFolder");
  r.date = Date(rs, u"DateWrote");
  if (!r.date) r.date = Date(rs, u"DateReceived");
  r.read = Bool(rs, u"Read");
  r.size = Lng(rs, u"Size");
  return r;
}

void ReadTree(const std::filesystem::path& dir, const std::u16string& project, bool archive, int depth,
              std::vector<ProjectNode>& out) {
  std::error_code ec;
  std::vector<std::filesystem::path> subs;
  for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    // A link is never followed: the tree ends at the root's own folders.
    if (it->is_directory(ec) && !it->is_symlink(ec)) subs.push_back(it->path());
  }
  std::sort(subs.begin(), subs.end());
  for (const auto& p : subs) {
    ProjectNode n;
    n.name = FromUtf8(p.filename().string());
    n.project = project + u"\\" + n.name;
    n.archive = archive;
    if (depth > 1) ReadTree(p, n.project, archive, depth - 1, n.children);
    out.push_back(std::move(n));
  }
}

// Progress of the pack report through the page's callback.
class ReportProgress : public presentation::ReportSink {
 public:
  explicit ReportProgress(const desktop::Progress& p) : report_(p) {}
  void StatusText(const std::u16string& text) override { status_ = text; }
  void Progress(double value, double min, double max) override {
    if (report_ && !report_(value - min, max - min, status_)) stop_ = true;
  }
  bool StopRequested() override { return stop_; }
  void ClearStop() override { stop_ = false; }

 private:
  const desktop::Progress& report_;
  std::u16string status_;
  bool stop_ = false;
};

}  // namespace

void MainPage::Hold() {
  if (!held_) held_ = store::detail::OpenMailDatabase();
}

void MainPage::Release() {
  if (held_) held_->Close();
  held_.reset();
}

std::vector<FolderEntry> MainPage::Folders() const {
  std::vector<FolderEntry> out;
  for (const char16_t* f : kMailFolderNames) out.push_back({f, FolderCaption(f)});
  return out;
}

std::vector<ProjectNode> MainPage::ProjectTree(int maxDepth) const {
  std::vector<ProjectNode> out;
  const packs::ProjectRoots roots = packs::CurrentRoots();
  for (const bool archive : {false, true}) {
    const std::u16string& root = archive ? roots.archive : roots.live;
    ProjectNode n;
    n.name = fs::FileName(root);
    n.project = n.name;
    n.archive = archive;
    ReadTree(std::filesystem::path(fs::NativePath(root)), n.project, archive, maxDepth, n.children);
    out.push_back(std::move(n));
  }
  return out;
}

std::vector<PackEntry> MainPage::Packs() const {
  std::vector<PackEntry> out;
  const std::u16string path = module1::GetEmailDbPath();
  const std::u16string sql = store::GetPacksRecordSource(store::FieldsOf(path), u"", Allmsg, false, false);
  if (sql.empty()) return out;
  auto db = store::detail::OpenMailDatabase();
  auto rs = db->OpenRecordset(sql, dao::dbOpenSnapshot);
  for (; !rs->Eof(); rs->MoveNext()) {
    PackEntry p;
    p.number = Lng(*rs, u"N");
    p.name = Str(*rs, u"Name");
    p.project = Str(*rs, u"Project");
    p.archive = Bool(*rs, u"InsArcPrj");
    out.push_back(std::move(p));
  }
  rs->Close();
  db->Close();
  return out;
}

int32_t MainPage::PageSize() const { return std::max(1, module1::GetMsgCount()); }

LetterPage MainPage::List(const Place& place, int32_t page) const {
  LetterPage out;
  out.page = std::max(1, page);
  out.pageSize = PageSize();
  std::u16string sql;
  if (place.kind == Place::Kind::Pack) {
    sql = store::GetPackMsgRecordSource(place.pack, ShowAll, false);
  } else {
    const auto fields = store::FieldsOf(module1::GetEmailDbPath());
    // Newest first by key: the folder's index gives the first page without a sort.
    if (place.kind == Place::Kind::Folder)
      sql = store::GetRecordSource(fields, place.folder, u"", Allmsg, u"key desc", false);
    else
      sql = store::GetRecordSource(fields, u"", place.project, CurPrj | AllmFolders, u"key desc", place.archive);
  }
  if (sql.empty()) RaiseError(errnum::kPathFileAccess, Text(u"NoStore", u"The mail database can't be read."));
  auto db = store::detail::OpenMailDatabase();
  auto rs = db->OpenRecordset(sql, dao::dbOpenSnapshot);
  // A pack's statement lists its letters in Recycle too; the page leaves them out, so
  // its rows are walked. The other statements give exactly the page's rows.
  const bool filter = place.kind == Place::Kind::Pack;
  int64_t skip = static_cast<int64_t>(out.page - 1) * out.pageSize;
  if (!filter && skip > 0 && !rs->Eof()) {
    while (skip > 0 && !rs->Eof()) {
      const int32_t step = static_cast<int32_t>(std::min<int64_t>(skip, 1 << 20));
      rs->Move(step);
      skip -= step;
    }
  }
  for (; !rs->Eof(); rs->MoveNext()) {
    if (filter && TextEquals(Str(*rs, u"MailFolder"), u"Recycle")) continue;
    if (skip > 0) {
      --skip;
      continue;
    }
    if (static_cast<int32_t>(out.rows.size()) == out.pageSize) {
      out.more = true;
      break;
    }
    out.rows.push_back(RowOf(*rs));
  }
  rs->Close();
  db->Close();
  return out;
}

int32_t MainPage::Delete(const std::vector<int32_t>& keys) const {
  // Letters already in Recycle go for good, which is asked first, once for them all.
  std::vector<int32_t> recycled;
  ProtectedVoid(u"Ravelin.DeleteLetter2", [&] {
    auto db = store::detail::OpenMailDatabase();
    for (const int32_t key : keys) {
      auto rs = db->OpenRecordset(u"Select MailFolder from Letters where key=" + NumToText(key), dao::dbOpenSnapshot);
      if (!rs->Eof() && TextEquals(Str(*rs, u"MailFolder"), u"Recycle")) recycled.push_back(key);
      rs->Close();
    }
    db->Close();
  });
  bool purge = false;
  if (!recycled.empty())
    purge = WideMsgBox(module1::GetMUIStringF(kSection, u"PurgeAsk",
                                              u"%1 letters will be removed from the store for good. Go on?",
                                              {NumToText(static_cast<int32_t>(recycled.size()))}),
                       mb::kYesNo + mb::kExclamation + mb::kDefaultButton2) == mb::kYes;
  int32_t done = 0;
  for (const int32_t key : keys) {
    const bool inRecycle = std::find(recycled.begin(), recycled.end(), key) != recycled.end();
    if (inRecycle && !purge) continue;
    const bool ok = Protected(u"Ravelin.DeleteLetter2", false, [&] {
      store::DeleteLetter2(key, u"", false, 0, inRecycle ? 1 : 0);
      return true;
    });
    if (ok) ++done;
  }
  return done;
}

int32_t MainPage::Restore(const std::vector<int32_t>& keys) const {
  int32_t done = 0;
  for (const int32_t key : keys)
    if (Protected(u"Ravelin.RestoreLetter2", false, [&] {
          store::RestoreLetter2(key);
          return true;
        }))
      ++done;
  return done;
}

ImportResult MainPage::Import(std::vector<DroppedFile> files, const Progress& progress) const {
  ImportResult out;
  // The letters of every file are counted first, so that the progress has its end.
  std::vector<bool> mbox;
  double total = 0;
  for (const auto& f : files) {
    const bool isMbox = store::LooksLikeMbox(std::string_view(f.octets).substr(0, 4096));
    total += isMbox ? static_cast<double>(store::CountMboxLetters(f.octets)) : 1.0;
    mbox.push_back(isMbox);
  }
  double done = 0;
  const std::u16string status = Text(u"Importing", u"Importing letters...");
  // One letter stored (or not: no text is a file that was no letter).
  const auto keep = [&](std::optional<std::u16string> text) {
    const int32_t key = !text ? 0 : Protected(u"Ravelin.AddLetterFromEML", int32_t{0}, [&] {
      return store::AddLetterFromText(std::move(*text));
    });
    if (key > 0) out.keys.push_back(key);
    else ++out.failed;
    ++done;
    if (progress && !progress(done, total, status)) out.stopped = true;
    return !out.stopped;
  };
  {
    store::ImportRun run;
    for (size_t i = 0; i < files.size() && !out.stopped; ++i) {
      const std::string& octets = files[i].octets;
      if (mbox[i]) {
        store::SplitMbox(octets, [&](store::MailboxLetter& l) { return keep(std::move(l.text)); });
      } else if (octets.find(':') == std::string::npos || octets.find(':') > octets.find('\n')) {
        keep(std::nullopt);  // no header field on its first line: not a letter
      } else {
        keep(BytesToByteText(octets));
      }
    }
  }
  const std::initializer_list<std::u16string> counts = {NumToText(static_cast<int32_t>(out.keys.size())),
                                                        NumToText(out.failed)};
  out.message = out.stopped ? module1::GetMUIStringF(kSection, u"ImportStopped",
                                                     u"Stopped: %1 letters imported, %2 failed", counts)
                            : module1::GetMUIStringF(kSection, u"Imported", u"%1 letters imported, %2 failed", counts);
  return out;
}

presentation::Document MainPage::Letter(int32_t key) const {
  presentation::Document doc = Protected(u"Ravelin.CreateHTML_by_msgNumber", presentation::Document{},
                                         [&] { return presentation::CreateHTMLByMsgNumber(NumToText(key), true); });
  // A letter opened has been read.
  if (!doc.html.empty())
    ProtectedVoid(u"frmMain.MarkRead", [&] {
      auto db = store::detail::OpenMailDatabase();
      auto rs = db->OpenRecordset(u"Select * from Letters where key=" + NumToText(key), dao::dbOpenDynaset);
      if (!rs->Eof() && !Bool(*rs, u"Read")) {
        rs->Edit();
        rs->SetField(u"Read", Value(true));
        rs->Update();
      }
      rs->Close();
      db->Close();
    });
  return doc;
}

presentation::Document MainPage::PackReport(int32_t pack, std::u16string* title, const Progress& progress) const {
  return Protected(u"Ravelin.GetHTMLPack2", presentation::Document{}, [&] {
    ReportProgress sink(progress);
    return presentation::Document{presentation::PackReport(pack, &sink, title), false};
  });
}

std::vector<std::pair<std::string, std::u16string>> MainPage::Texts() const {
  static const std::pair<const char*, const char16_t*> texts[] = {
      {"Title", u"Ravelin mail"},
      {"Folders", u"Mail folders"},
      {"Projects", u"Projects"},
      {"Packs", u"Packs"},
      {"Delete", u"Delete"},
      {"Restore", u"Restore"},
      {"Stop", u"Stop"},
      {"Quit", u"Quit"},
      {"Report", u"Report"},
      {"Previous", u"Previous page"},
      {"Next", u"Next page"},
      {"Page", u"Page %1"},
      {"Subject", u"Subject"},
      {"From", u"From"},
      {"Date", u"Date"},
      {"Size", u"Size"},
      {"Empty", u"No letters here."},
      {"Drop", u"Drop .eml or mbox files here to import them."},
      {"Imported", u"%1 letters imported, %2 failed"},
      {"Importing", u"Importing letters..."},
      {"ImportStopped", u"Stopped: %1 letters imported, %2 failed"},
      {"NoSelection", u"Choose a letter first."},
      {"Closed", u"The workbench has stopped. You may close this page."},
      {"Lost", u"The connection to Ravelin was lost."},
      {"OK", u"OK"},
      {"Cancel", u"Cancel"},
      {"Yes", u"Yes"},
      {"No", u"No"},
      {"Retry", u"Retry"},
      {"Abort", u"Abort"},
      {"Ignore", u"Ignore"},
      {"Up", u"Up"},
      {"Open", u"Open"},
      {"Save", u"Save"},
      {"FileName", u"File name"},
  };
  std::vector<std::pair<std::string, std::u16string>> out;
  for (const auto& [key, english] : texts) out.emplace_back(key, Text(FromUtf8(key).c_str(), english));
  return out;
}

std::u16string PlaceCaption(const Place& place) {
  switch (place.kind) {
    case Place::Kind::Folder: return FolderCaption(place.folder);
    case Place::Kind::Project: return place.project;
    case Place::Kind::Pack:
      return module1::GetMUIStringF(kSection, u"PackCaption", u"Pack %1", {NumToText(place.pack)});
  }
  return {};
}

}  // namespace ravelin::desktop
