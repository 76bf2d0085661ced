// Creating, upgrading and compacting the mail database (see maintenance.h).
#include "store/maintenance.h"

#include <ctime>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>

#include "platform/db/dao.h"
#include "platform/event_loop.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/dates.h"
#include "runtime/errors.h"
#include "runtime/resume.h"
#include "runtime/text.h"
#include "runtime/types.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/compaction_progress.h"
#include "store/list_indexes.h"
#include "store/schema.h"

namespace ravelin::store {

namespace {

using DbPtr = std::shared_ptr<dao::Database>;
using TdfPtr = std::shared_ptr<dao::TableDef>;

constexpr char16_t kCompressSection[] = u"Module1.CompressDb";
constexpr char16_t kCorrectSource[] = u"Ravelin.CorrectDb";

void ShowCompressCaption(const char16_t* key, const char16_t* defaultText) {
  CurrentCompactionProgress()->ShowCaption(module1::GetMUIString(kCompressSection, key, defaultText));
}

void ShowCompressWindow() { ShowCompressCaption(u"cap2", u"Compression of base ..."); }

void AddHidden(const std::u16string& path) { fs::SetAttributes(path, fs::GetAttributes(path) | fs::kHidden); }

// Thrown inside the upgrade to end it once the handler has decided to stop.
struct UpgradeStopped {};

// Part two of CorrectDB: brings an open database's tables up to date. Every statement
// runs under Step(), whose handler passes over the failures that mean "it is there
// already" and ends the upgrade on any other.
class Upgrade {
 public:
  Upgrade(DbPtr db, CorrectResult& result) : db_(std::move(db)), result_(result) {}

  void Run() {
    // The six tables that older files may have; a missing one is created below.
    for (const char16_t* name : {u"Letters", u"Accounts", u"Files", u"MailFolders", u"Packs", u"Rules"})
      tdfs_[name] = TakeOrCreate(name);

    UpgradeTable(u"Packs");
    UpgradeTable(u"Letters");
    if (!Exists(u"Projects")) CreateProjects();
    if (!Exists(u"PackItems")) CreatePackItems();
    UpgradeAccounts();
    UpgradeTable(u"Files");
    UpgradeMailFolders();
    UpgradeTable(u"Rules");
    DefineStoredQueries();
    // The lists' own indexes; the store is whole without them, so a file that can't take
    // them now (read-only, full) still opens and gets them at a later start.
    ResumeNext rn;
    rn([&] { EnsureListIndexes(*db_); });
  }

 private:
  template <class F>
  bool Step(F&& f) {
    try {
      f();
      return true;
    } catch (const Error& e) {
      switch (e.Number()) {
        case dao::dberr::kFieldDefinedTwice:
        case dao::dberr::kInvalidOperation:
        case dao::dberr::kPrimaryKeyExists:
          return false;
        case dao::dberr::kObjectExists: {
          ResumeNext rn;
          rn([&] { db_->TableDefs().Refresh(); });
          return false;
        }
        case dao::dberr::kTableLocked:
          result_.outcome = CorrectOutcome::Locked;
          throw UpgradeStopped{};
        default:
          funnel::Report(ErrObject::From(e), kCorrectSource);
          result_.outcome = CorrectOutcome::Failed;
          throw UpgradeStopped{};
      }
    } catch (const UpgradeStopped&) {
      throw;
    } catch (...) {
      funnel::Report(ErrObject::FromCurrentException(), kCorrectSource);
      result_.outcome = CorrectOutcome::Failed;
      throw UpgradeStopped{};
    }
  }

  bool Exists(const std::u16string& table) {
    ResumeNext rn;
    return rn.Value([&] { return db_->TableDefs().Contains(table); }, false);
  }

  // The stored definition, or a new one when the table is not found.
  TdfPtr TakeOrCreate(const std::u16string& name) {
    try {
      return db_->TableDefs().Item(name);
    } catch (const Error& e) {
      if (e.Number() != dao::dberr::kItemNotFound) Step([&] { throw e; });
    }
    return db_->CreateTableDef(name);
  }

  static bool HasField(const TdfPtr& tdf, const std::u16string& field) {
    ResumeNext rn;
    return rn.Value([&] { return !tdf->Fields().Item(field)->Name().empty(); }, false);
  }

  static void ApplyRules(dao::Field& fld, const FieldSchema& f) {
    if (f.attributes) fld.SetAttributes(f.attributes);
    if (f.allowZeroLength) fld.SetAllowZeroLength(*f.allowZeroLength);
    if (f.required) fld.SetRequired(*f.required);
    if (f.defaultValue) fld.SetDefaultValue(Value(*f.defaultValue));
  }

  // Appends one field of the table's layout; a field that is there already is passed over.
  std::shared_ptr<dao::Field> AddField(const TdfPtr& tdf, const FieldSchema& f) {
    std::shared_ptr<dao::Field> fld;
    Step([&] {
      fld = tdf->CreateField(f.name, static_cast<int32_t>(f.type), f.size);
      ApplyRules(*fld, f);
    });
    if (fld && Step([&] { tdf->Fields().Append(fld); }) && tdf->Stored())
      result_.changes.push_back(u"added field " + tdf->Name() + u"." + f.name);
    return fld;
  }

  void AddAllFields(const TdfPtr& tdf, const TableSchema& t) {
    std::shared_ptr<dao::Field> user;
    for (const FieldSchema& f : t.fields) {
      auto fld = AddField(tdf, f);
      if (f.name == u"User") user = fld;
      // The login's rules are set once more right after "@after" is made; "@after"
      // itself keeps the engine's defaults.
      if (f.name == u"@after" && user) {
        const FieldSchema& u = *t.Find(u"User");
        Step([&] {
          user->SetAllowZeroLength(*u.allowZeroLength);
          user->SetRequired(*u.required);
        });
      }
    }
  }

  void AddPrimaryIndex(const TdfPtr& tdf, const TableSchema& t) {
    if (t.primaryIndex.empty()) return;
    // A table has one primary key; when it is there, the attempt would only be refused.
    if (tdf->Stored()) {
      ResumeNext rn;
      for (const auto& idx : tdf->Indexes())
        if (rn.Value([&] { return idx->Primary(); }, false)) return;
    }
    std::shared_ptr<dao::Index> idx;
    Step([&] {
      idx = tdf->CreateIndex(t.primaryIndex);
      idx->Fields().Append(idx->CreateField(t.primaryField));
      idx->SetPrimary(true);
    });
    if (idx) Step([&] { tdf->Indexes().Append(idx); });
  }

  // Creates the table of a new definition; a stored one gives "already there" (3367).
  void AppendTable(const TdfPtr& tdf) {
    const bool wasNew = !tdf->Stored();
    if (Step([&] { db_->TableDefs().Append(tdf); }) && wasNew) result_.changes.push_back(u"added table " + tdf->Name());
  }

  void UpgradeTable(const std::u16string& name) {
    const TableSchema& t = TableSchemaOf(name);
    TdfPtr tdf = tdfs_.at(name);
    AddAllFields(tdf, t);
    AddPrimaryIndex(tdf, t);
    AppendTable(tdf);
  }

  void CreateTable(const std::u16string& name) {
    const TableSchema& t = TableSchemaOf(name);
    TdfPtr tdf;
    Step([&] { tdf = db_->CreateTableDef(name); });
    AddAllFields(tdf, t);
    AppendTable(tdf);
  }

  // Runs a walk over many rows in one transaction: the same rows as one commit each,
  // without a disk flush per row.
  template <class F>
  void InTransaction(F&& walk) {
    bool open = false;
    ResumeNext rn;
    rn([&] {
      dao::Engine().BeginTrans();
      open = true;
    });
    try {
      walk();
    } catch (...) {
      if (open) rn([] { dao::Engine().Rollback(); });
      throw;
    }
    if (open) Step([] { dao::Engine().CommitTrans(); });
  }

  // Older files kept one project per letter and per pack in their own columns; the
  // links move to Projects. A letter that sits in a pack gets no link of its own: it
  // belongs to its pack's project.
  void CreateProjects() {
    CreateTable(u"Projects");
    TdfPtr letters = tdfs_.at(u"Letters");
    TdfPtr packs = tdfs_.at(u"Packs");
    const bool hadFolder = HasField(letters, u"Folder");
    const bool letterPack = HasField(letters, u"Pack_N");
    const bool packFolder = HasField(packs, u"Folder");

    std::shared_ptr<dao::Recordset> prj;
    Step([&] { prj = db_->OpenRecordset(u"Projects", dao::dbOpenDynaset); });
    auto addLink = [&](const Value& id, int32_t objType, const Value& arc, const std::u16string& project) {
      Step([&] {
        prj->AddNew();
        prj->SetField(u"Obj ID", id);
        if (objType != objLetter) prj->SetField(u"ObjType", Value(objType));
        prj->SetField(u"InsArcPrj", Value(NullConvBool(arc)));
        prj->SetField(u"Project", Value(project));
        prj->Update();
      });
    };
    InTransaction([&] {
      if (hadFolder) {
        WalkBackwards(u"Letters", [&](dao::Recordset& rs) {
          const std::u16string folder = NullConvStr(rs.GetField(u"Folder"));
          const int32_t packN = letterPack ? NullConvLng(rs.GetField(u"Pack_N")) : 0;
          if (!Trim(folder).empty() && packN == 0)
            addLink(rs.GetField(u"key"), objLetter, ArcOf(rs), folder);
        });
      }
      if (packFolder) {
        WalkBackwards(u"Packs", [&](dao::Recordset& rs) {
          const std::u16string folder = NullConvStr(rs.GetField(u"Folder"));
          if (!Trim(folder).empty()) addLink(rs.GetField(u"N"), objPack, ArcOf(rs), folder);
        });
      }
    });
    if (prj) Step([&] { prj->Close(); });
    if (hadFolder) {
      result_.changes.push_back(u"moved the project links of letters and packs to Projects");
      DropField(letters, u"Folder");
      DropField(letters, u"InsArcPrj");
      DropField(packs, u"Folder");
      DropField(packs, u"InsArcPrj");
    }
  }

  // Older files kept a letter's one pack in Letters.Pack_N; membership moves to PackItems.
  void CreatePackItems() {
    CreateTable(u"PackItems");
    TdfPtr letters = tdfs_.at(u"Letters");
    const bool hadPack = HasField(letters, u"Pack_N");
    if (hadPack) {
      std::shared_ptr<dao::Recordset> items;
      Step([&] { items = db_->OpenRecordset(u"PackItems", dao::dbOpenDynaset); });
      InTransaction([&] {
        WalkBackwards(u"Letters", [&](dao::Recordset& rs) {
          const int32_t packN = NullConvLng(rs.GetField(u"Pack_N"));
          if (packN == 0) return;
          Step([&] {
            items->AddNew();
            items->SetField(u"Pack_N", Value(packN));
            items->SetField(u"Msg_N", rs.GetField(u"key"));
            items->Update();
          });
        });
      });
      if (items) Step([&] { items->Close(); });
      result_.changes.push_back(u"moved the pack membership of letters to PackItems");
      DropField(letters, u"Pack_N");
    }
  }

  // The boolean Checked of older files becomes bit 1 of Flags.
  void UpgradeAccounts() {
    TdfPtr tdf = tdfs_.at(u"Accounts");
    const bool hadChecked = tdf->Stored() && HasField(tdf, u"Checked");
    const bool hadFlags = !tdf->Stored() || HasField(tdf, u"Flags");
    AddAllFields(tdf, TableSchemaOf(u"Accounts"));
    AppendTable(tdf);
    if (!hadFlags) {
      InTransaction([&] {
        WalkBackwards(u"Accounts", [&](dao::Recordset& rs) {
          int32_t flags = 1;
          if (hadChecked) flags = NullConvBool(rs.GetField(u"Checked")) ? 1 : 0;
          Step([&] {
            rs.Edit();
            rs.SetField(u"Flags", Value(flags));
            rs.Update();
          });
        });
      });
    }
    if (hadChecked) DropField(tdf, u"Checked");
  }

  void UpgradeMailFolders() {
    TdfPtr tdf = tdfs_.at(u"MailFolders");
    const FieldSchema& f = TableSchemaOf(u"MailFolders").fields.front();
    bool added = false;
    ResumeNext rn;
    rn([&] {
      auto fld = tdf->CreateField(f.name, static_cast<int32_t>(f.type), f.size);
      tdf->Fields().Append(fld);
      added = true;
    });
    if (!added) return;
    if (tdf->Stored()) {
      result_.changes.push_back(u"added field MailFolders.MailFolder");
      return;
    }
    AppendTable(tdf);
    std::shared_ptr<dao::Recordset> rs;
    Step([&] { rs = db_->OpenRecordset(u"MailFolders", dao::dbOpenDynaset); });
    for (const auto& name : DefaultMailFolderRows()) {
      Step([&] {
        rs->AddNew();
        rs->SetField(u"MailFolder", Value(name));
        rs->Update();
      });
    }
    if (rs) Step([&] { rs->Close(); });
  }

  // Nothing reads the stored queries; they are kept for programs that list them.
  void DefineStoredQueries() {
    const auto& names = StoredQueryNames();
    for (size_t i = 0; i < names.size(); ++i) {
      ResumeNext rn;
      std::shared_ptr<dao::QueryDef> qd;
      rn([&] { qd = db_->CreateQueryDef(names[i], u""); });
      if (rn.LastError()) {
        rn.Clear();
        // The fourth query re-uses the stored "Inbox" rather than "Recycle".
        const std::u16string existing = i == 3 ? u"Inbox" : names[i];
        rn([&] {
          qd = db_->QueryDefs().Item(existing);
          qd->SetSQL(u"");
        });
      } else {
        result_.changes.push_back(u"added query " + names[i]);
      }
      rn.Clear();
      if (qd) rn([&] { db_->QueryDefs().Append(qd); });
      if (rn.LastError()) rn([&] { db_->QueryDefs().Refresh(); });
    }
  }

  void DropField(const TdfPtr& tdf, const std::u16string& field) {
    if (HasField(tdf, field) && Step([&] { tdf->Fields().Delete(field); }))
      result_.changes.push_back(u"dropped field " + tdf->Name() + u"." + field);
  }

  static Value ArcOf(dao::Recordset& rs) {
    ResumeNext rn;
    return rn.Value([&] { return rs.GetField(u"InsArcPrj"); }, Value());
  }

  // Visits every row of a table from the last to the first.
  template <class F>
  void WalkBackwards(const std::u16string& table, F&& visit) {
    std::shared_ptr<dao::Recordset> rs;
    Step([&] { rs = db_->OpenRecordset(table, dao::dbOpenDynaset); });
    if (!rs) return;
    bool any = false;
    Step([&] {
      if (rs->Eof()) return;
      rs->MoveLast();
      any = true;
    });
    while (any && !rs->Bof()) {
      visit(*rs);
      Step([&] { rs->MovePrevious(); });
    }
    Step([&] { rs->Close(); });
  }

  DbPtr db_;
  CorrectResult& result_;
  std::map<std::u16string, TdfPtr> tdfs_;
};

// Part one of CorrectDB: the file itself, converted when old; else a copy of the file at
// the host's alternative location or of the older release's database; else a new file.
// Every branch that starts again raises `tries` (the old-format conversion runs once),
// so the walk ends.
DbPtr ReachDatabase(const std::u16string& FilePath, CorrectResult& result, bool& created) {
  HostCommon& host = CurrentHostCommon();
  int tries = 0;
  bool versionConverted = false;
  auto pump = [] { loop::PumpOnce(); };
  for (;;) {
    DbPtr db;
    ResumeNext rn;
    if (fs::FileExists(FilePath)) {
      try {
        db = dao::OpenDatabase(FilePath, false, false, u"Access");
      } catch (const Error& e) {
        if (e.Number() == dao::dberr::kFileInUse) {
          result.outcome = CorrectOutcome::Locked;
          return nullptr;
        }
        if (e.Number() == dao::dberr::kUnrecognizedFormat && tries == 0) {
          // Said as it went: a failed compaction is no compaction.
          const bool compacted = CompressDb(FilePath);
          result.conversions.push_back(compacted ? u"compacted a file of unrecognised format"
                                                 : u"could not compact a file of unrecognised format");
          pump();
          tries = 1;
          continue;
        }
      } catch (...) {
      }
      if (db && !versionConverted && rn.Value([&] { return TextEquals(db->Version(), u"3.0"); }, false)) {
        rn([&] { db->Close(); });
        db.reset();
        versionConverted = true;
        const bool compacted = CompressDb(FilePath);
        result.conversions.push_back(compacted ? u"converted the format 3.0 file to 4.0"
                                               : u"could not convert the format 3.0 file to 4.0");
        pump();
        continue;
      }
    }
    if (db) return db;

    const std::u16string alt = rn.Value(
        [&] {
          host.SetHostPath(module1::EffectiveAppPath());
          return host.MapStoredPath(FilePath);
        },
        std::u16string());
    // The alternative location must be another file: erasing FilePath would lose it.
    if (!alt.empty() && alt != FilePath && fs::FileExists(alt) && tries < 2) {
      result.conversions.push_back(u"copied from " + alt);
      rn([&] { EraseHidden(FilePath); });
      rn([&] { dao::CompactDatabase(alt, FilePath, {}, dao::dbVersion40); });
      pump();
      CurrentCompactionProgress()->Close();
      tries = 2;
      continue;
    }
    const std::u16string old = rn.Value([] { return module1::GetLegacyDbPath(); }, std::u16string());
    const std::u16string oldAlt = rn.Value([&] { return host.MapStoredPath(old); }, std::u16string());
    if (!old.empty() && fs::FileExists(old) && tries < 3) {
      result.conversions.push_back(u"converted the older release's " + old);
      ShowCompressWindow();
      rn([&] { EraseHidden(FilePath); });
      rn([&] { dao::CompactDatabase(old, FilePath, {}, dao::dbVersion40); });
      pump();
      CurrentCompactionProgress()->Close();
      tries = 3;
      continue;
    }
    if (oldAlt.empty() || oldAlt == FilePath || !fs::FileExists(oldAlt) || tries > 3) {
      rn([&] { db = dao::CreateDatabase(FilePath, kDbLocale, kDbCreateOptions); });
      created = db != nullptr;
      return db;
    }
    result.conversions.push_back(u"converted the older release's " + oldAlt);
    ShowCompressWindow();
    rn([&] { EraseHidden(FilePath); });
    rn([&] { dao::CompactDatabase(oldAlt, FilePath, {}, dao::dbVersion40); });
    pump();
    CurrentCompactionProgress()->Close();
    tries = 4;
  }
}

}  // namespace

void EraseHidden(const std::u16string& path) {
  if (!fs::FileExists(path)) return;
  fs::SetAttributes(path, fs::kNormal);
  fs::DeleteFile(path);
  loop::PumpOnce();
}

CorrectResult CorrectDB(const std::u16string& FilePath) {
  CorrectResult result;
  bool created = false;
  DbPtr db;
  try {
    db = ReachDatabase(FilePath, result, created);
  } catch (...) {
    db.reset();
  }
  if (!db) {
    if (result.outcome != CorrectOutcome::Locked) result.outcome = CorrectOutcome::Failed;
    return result;
  }
  result.outcome = CorrectOutcome::Current;
  try {
    Upgrade(db, result).Run();
  } catch (const UpgradeStopped&) {
    ResumeNext rn;
    rn([&] { db->Close(); });
    return result;
  } catch (...) {
    funnel::Report(ErrObject::FromCurrentException(), kCorrectSource);
    result.outcome = CorrectOutcome::Failed;
    ResumeNext rn;
    rn([&] { db->Close(); });
    return result;
  }
  ResumeNext rn;
  rn([&] { db->Close(); });
  // The mail database is a hidden file.
  rn([&] { AddHidden(module1::GetEmailDbPath()); });
  if (created)
    result.outcome = CorrectOutcome::Created;
  else if (!result.conversions.empty())
    result.outcome = CorrectOutcome::Converted;
  else if (!result.changes.empty())
    result.outcome = CorrectOutcome::Upgraded;
  return result;
}

namespace {

std::function<void(CompressStep)>& StepHook() {
  static std::function<void(CompressStep)> hook;
  return hook;
}

void Reached(CompressStep step) {
  if (StepHook()) StepHook()(step);
}

// "EmailW.damaged-20261123-150405.mdb" for "EmailW.mdb", in local time, beside it.
std::u16string DamagedName(const std::u16string& db) {
  const std::u16string folder = fs::ParentFolder(db);
  std::u16string stem = fs::FileName(db);
  if (const size_t dot = stem.rfind(u'.'); dot != std::u16string::npos && dot > 0) stem.resize(dot);
  const std::time_t now = static_cast<std::time_t>(CurrentClock().UnixNow());
  std::tm local{};
  localtime_r(&now, &local);
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%d-%H%M%S", &local);
  std::u16string name = stem + u".damaged-" + FromUtf8(stamp);
  std::u16string candidate = fs::JoinPath(folder, name + u".mdb");
  // Two damaged files in one second keep both.
  for (int n = 2; fs::FileExists(candidate); ++n) candidate = fs::JoinPath(folder, name + u"-" + NumToText(n) + u".mdb");
  return candidate;
}

bool Sound(const std::u16string& path) {
  try {
    return dao::Engine().CheckIntegrity(path, true).empty();
  } catch (const Error& e) {
    if (e.Number() == dao::dberr::kUnrecognizedFormat) return false;
    throw;
  }
}

// A damaged database never goes into the backup. It is put aside under a dated name,
// with its log, and when the backup is sound the database is made again from it.
void PutDamagedAside(const std::u16string& db, const std::u16string& bak, CompressResult& result) {
  const std::u16string aside = DamagedName(db);
  fs::SetAttributes(db, fs::kNormal);
  fs::MoveFile(db, aside);
  std::error_code ec;
  const std::string native = fs::NativePath(db);
  if (std::filesystem::exists(native + "-wal", ec))
    std::filesystem::rename(native + "-wal", fs::NativePath(aside) + "-wal", ec);
  std::filesystem::remove(native + "-shm", ec);
  fs::SyncFolder(fs::ParentFolder(db));
  result.damagedCopy = aside;

  bool restored = false;
  if (fs::FileExists(bak)) {
    bool good = false;
    try {
      good = Sound(bak);
    } catch (...) {
    }
    if (good) {
      fs::CopyFileDurably(bak, db);
      restored = true;
    }
  }
  result.restoredFromBackup = restored;
  std::u16string text;
  if (restored) {
    text = module1::GetMUIString(
        kCompressSection, u"msg1",
        u"The mail database %1 is damaged. It was put aside as %2 and the mail database was made again from "
        u"the backup %3, which is kept as it was. Letters stored after that backup are only in the damaged file.");
  } else {
    text = module1::GetMUIString(
        kCompressSection, u"msg2",
        u"The mail database %1 is damaged. It was put aside as %2. There is no sound backup (%3); a new empty "
        u"mail database will be made.");
  }
  text = Replace(Replace(Replace(text, u"%1", db), u"%2", aside), u"%3", bak);
  result.message = text;
  WideMsgBox(text, mb::kCritical);
}

}  // namespace

void SetCompressStepHook(std::function<void(CompressStep)> hook) { StepHook() = std::move(hook); }

CompressResult CompressDatabase(const std::u16string& path) {
  const std::shared_ptr<CompactionProgress> window = CurrentCompactionProgress();
  CompressResult result;
  try {
    const std::u16string db = path.empty() ? module1::GetEmailDbPath() : path;
    const std::u16string folder = fs::AddPathSlash(module1::GetDbFolder());
    const std::u16string tmp = folder + u"EmailW_.mdb";
    const std::u16string bak = folder + u"EmailW~.mdb";

    ShowCompressCaption(u"cap1", u"Creating a a database backup ...");
    // From the check to the replacement nobody else may write the file: what is
    // checked is what is backed up, compacted and replaced.
    std::shared_ptr<void> hold;
    try {
      hold = dao::Engine().HoldExclusive(db);
    } catch (const Error& e) {
      if (e.Number() != dao::dberr::kFileInUse) throw;
      // Another program has the file: the compaction can't run, and nothing is touched.
      ShowCompressCaption(u"cap2", u"Compression of base ...");
      window->Close();
      result.failure = ErrObject::From(e);
      return result;
    }
    if (!Sound(db)) {
      hold.reset();
      PutDamagedAside(db, bak, result);
      window->Close();
      return result;
    }
    Reached(CompressStep::Checked);
    // The previous backup is replaced only by a complete new one.
    dao::Engine().BackupDatabase(db, bak);
    Reached(CompressStep::BackedUp);
    // A temporary file left by an interrupted run would make the compaction fail.
    if (fs::FileExists(tmp)) {
      fs::SetAttributes(tmp, fs::kNormal);
      fs::DeleteFile(tmp);
    }
    ShowCompressCaption(u"cap2", u"Compression of base ...");
    ResumeNext rn;
    rn([&] { dao::CompactDatabase(db, tmp); });
    loop::PumpOnce();
    if (rn.LastError() || !fs::FileExists(tmp)) {
      // The database is untouched; a partial temporary file goes with the next run.
      if (rn.LastError()) result.failure = *rn.LastError();
      window->Close();
      return result;
    }
    Reached(CompressStep::Compacted);
    ShowCompressCaption(u"cap3", u"Removing the old versions ...");
    // One rename puts the compacted file in the old one's place: at every instant the
    // path holds either the old or the new database.
    fs::ReplaceFile(tmp, db);
    loop::PumpOnce();
    Reached(CompressStep::Replaced);
    hold.reset();
    window->Close();
    result.compacted = true;
    return result;
  } catch (...) {
    window->Close();
    result.failure = ErrObject::FromCurrentException();
    funnel::Report(*result.failure, kCompressSection);
    return result;
  }
}

bool CompressDb(const std::u16string& path) { return CompressDatabase(path).compacted; }

IntegrityReport CheckMailDatabase(const std::u16string& path, bool full) {
  IntegrityReport report;
  try {
    report.problems = dao::Engine().CheckIntegrity(path.empty() ? module1::GetEmailDbPath() : path, full);
    report.sound = report.problems.empty();
  } catch (const Error& e) {
    if (e.Number() == dao::dberr::kUnrecognizedFormat) {
      report.problems.push_back(u"the file is not a mail database");
    } else {
      report.failure = ErrObject::From(e);
    }
  } catch (...) {
    report.failure = ErrObject::FromCurrentException();
  }
  return report;
}

std::u16string DescribeFailure(const ErrObject& err) {
  switch (err.Number) {
    case dao::dberr::kDiskFull:
    case errnum::kDiskFull:
      return u"the disk is full";
    case dao::dberr::kReadOnly:
    case errnum::kPermissionDenied:
      return u"the mail database is read-only";
    case dao::dberr::kLocked:
    case dao::dberr::kTableLocked:
    case dao::dberr::kFileInUse: {
      const int32_t waited = (dao::Engine().tuning().busyTimeoutMs + 999) / 1000;
      return u"the mail database is in use by another program (waited " + NumToText(waited) + u" s)";
    }
    case dao::dberr::kCorrupt:
    case dao::dberr::kUnrecognizedFormat:
      return u"the mail database is damaged (\"ravelin check\" tells more)";
    case dao::dberr::kDiskIO:
    case errnum::kDeviceIO:
      return u"the disk could not be read or written (input/output error)";
    case errnum::kOutOfMemory:
      return u"there is not enough memory";
    default:
      return err.Description.empty() ? DefaultErrorText(err.Number) : err.Description;
  }
}

const char* OutcomeName(CorrectOutcome outcome) {
  switch (outcome) {
    case CorrectOutcome::Created:
      return "created";
    case CorrectOutcome::Converted:
      return "converted";
    case CorrectOutcome::Upgraded:
      return "upgraded";
    case CorrectOutcome::Current:
      return "already current";
    case CorrectOutcome::Locked:
      return "in use";
    case CorrectOutcome::Failed:
      return "failed";
  }
  return "failed";
}

}  // namespace ravelin::store
