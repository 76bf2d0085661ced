// The address book in its own SQLite file: location, tables, the host operations the
// address-book packs ask, importing cards and listing.
#include "desktop/address_book.h"

#include <map>
#include <set>

#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/host_common.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/errors.h"
#include "runtime/resume.h"
#include "runtime/vbstring.h"

namespace ravelin::desktop {

namespace {

std::u16string& ChosenFile() {
  static std::u16string file;
  return file;
}

std::u16string Num(int32_t n) { return NumToText(static_cast<double>(n)); }


struct FieldSpec {
  const char16_t* name;
  int32_t type;
  int32_t size = 0;
  bool autoNumber = false;
};

void CreateTable(dao::Database& db, const std::u16string& name, const std::vector<FieldSpec>& fields) {
  auto tdf = db.CreateTableDef(name);
  for (const FieldSpec& f : fields) {
    auto fld = tdf->CreateField(f.name, f.type, f.size);
    if (f.autoNumber) fld->SetAttributes(dao::dbFixedField | dao::dbAutoIncrField);
    if (f.type == dao::dbText) fld->SetAllowZeroLength(true);
    tdf->Fields().Append(fld);
  }
  auto primary = tdf->CreateIndex(u"PrimaryKey");
  primary->SetPrimary(true);
  primary->Fields().Append(primary->CreateField(fields.front().name));
  tdf->Indexes().Append(primary);
  db.TableDefs().Append(tdf);
}

void CreateTables(dao::Database& db) {
  using dao::dbLong, dao::dbText, dao::dbLongBinary;
  CreateTable(db, u"Personal", {{u"Personal ID", dbLong, 0, true}, {u"FullName", dbText, 255}, {u"Job ID", dbLong}});
  CreateTable(db, u"Organizations", {{u"Organization ID", dbLong, 0, true}, {u"Organization", dbText, 255}});
  CreateTable(db, u"JobTitles",
              {{u"Job ID", dbLong, 0, true}, {u"JobTitle", dbText, 255}, {u"Organization ID", dbLong}});
  CreateTable(db, u"Employees", {{u"Employee ID", dbLong, 0, true}, {u"Personal ID", dbLong}, {u"Job ID", dbLong}});
  CreateTable(db, u"Resources", {{u"Resource ID", dbLong, 0, true},
                                 {u"OwnerType", dbLong},
                                 {u"Owner ID", dbLong},
                                 {u"ResourceString", dbText, 255}});
  CreateTable(db, u"Photo", {{u"Photo ID", dbLong, 0, true}, {u"Personal ID", dbLong}, {u"Photo", dbLongBinary}});
}

// The look-ups by owner and by address go through indexes, so that listing every owner's
// addresses costs the owners, not the owners times the addresses.
void EnsureIndexes(dao::Database& db) {
  db.EnsureSupportIndex(u"Resources", {u"OwnerType", u"Owner ID"});
  db.EnsureSupportIndex(u"Resources", {u"ResourceString"});
  db.EnsureSupportIndex(u"Photo", {u"Personal ID"});
  db.EnsureSupportIndex(u"Employees", {u"Personal ID"});
}

// The first value of a one-field statement; Null when it gives no row.
Value FirstValue(dao::Database& db, const std::u16string& sql, const std::u16string& field) {
  auto rs = db.OpenRecordset(sql, dao::dbOpenDynaset);
  Value v;
  if (!rs->Eof()) v = rs->GetField(field);
  rs->Close();
  return v;
}

}  // namespace

std::u16string AddressBookPath() {
  if (!ChosenFile().empty()) return ChosenFile();
  std::u16string file;
  ResumeNext rn;
  rn([&] { file = ReadIniString(u"AddressBook", u"File", u"", module1::GetIniPath(), 1024); });
  file = Trim(file);
  if (!file.empty()) return file;
  return CurrentHostCommon().AddPathSlash(module1::GetDbFolder()) + u"AddressBook.db";
}

void SetAddressBookFile(const std::u16string& path) { ChosenFile() = path; }

std::u16string SqliteAddressBook::AddressQuery(int32_t ObjectID, int32_t ObjectType) {
  return u"SELECT ResourceString FROM Resources WHERE OwnerType=" + Num(ObjectType) + u" AND [Owner ID]=" +
         Num(ObjectID) + u" ORDER BY [Resource ID]";
}

std::u16string SqliteAddressBook::OwnersQuery() {
  return u"SELECT [Personal ID] AS [Owner ID], 0 AS OwnerType FROM Personal"
         u" UNION ALL SELECT [Organization ID], 1 FROM Organizations"
         u" UNION ALL SELECT [Job ID], 2 FROM JobTitles"
         u" UNION ALL SELECT [Employee ID], 4 FROM Employees";
}

std::u16string SqliteAddressBook::DisplayName(dao::Database& book, int32_t ObjectID, int32_t ObjectType) {
  dao::Database* db = &book;
  const std::u16string id = Num(ObjectID);
  switch (ObjectType) {
    case packs::abOrganization:
      return NullConvStr(FirstValue(
          *db, u"SELECT Organization FROM Organizations WHERE [Organization ID]=" + id, u"Organization"));
    case packs::abJob:
      return NullConvStr(FirstValue(*db, u"SELECT JobTitle FROM JobTitles WHERE [Job ID]=" + id, u"JobTitle"));
    case packs::abEmployee:
      return NullConvStr(FirstValue(*db,
                                    u"SELECT Personal.FullName FROM Employees INNER JOIN Personal ON "
                                    u"Employees.[Personal ID]=Personal.[Personal ID] WHERE [Employee ID]=" +
                                        id,
                                    u"FullName"));
    default:
      return NullConvStr(FirstValue(*db, u"SELECT FullName FROM Personal WHERE [Personal ID]=" + id, u"FullName"));
  }
}

std::optional<std::vector<uint8_t>> SqliteAddressBook::PhotoOf(int32_t PersonalID) {
  auto db = dao::OpenDatabase(DatabaseFile(), false, false, u"Access");
  dao::CloseOnExit c{db};
  const Value v = FirstValue(
      *db, u"SELECT Photo FROM Photo WHERE [Personal ID]=" + Num(PersonalID) + u" ORDER BY [Photo ID]", u"Photo");
  if (v.IsNull()) return std::nullopt;
  const Bytes b = v.AsBinary();
  if (b.empty()) return std::nullopt;
  return std::vector<uint8_t>(b.begin(), b.end());
}

void InstallAddressBook(const std::u16string& file) {
  if (!file.empty()) SetAddressBookFile(file);
  packs::SetAddressBook(std::make_shared<SqliteAddressBook>());
  presentation::SetPhotoStore(std::make_shared<AddressBookPhotoStore>());
}

std::shared_ptr<dao::Database> OpenOrCreateAddressBook(const std::u16string& path) {
  if (!fs::FileExists(path)) {
    const std::u16string folder = fs::ParentFolder(path);
    if (!folder.empty()) fs::CreateFolders(folder);
    auto db = dao::CreateDatabase(path, dao::dbLangGeneral);
    CreateTables(*db);
    EnsureIndexes(*db);
    return db;
  }
  auto db = dao::OpenDatabase(path, false, false, u"Access");
  if (!db->TableDefs().Contains(u"Resources")) {
    db->Close();
    RaiseError(dao::dberr::kUnrecognizedFormat,
               u"The file " + path + u" is a database but not an address book (it has no Resources table).");
  }
  EnsureIndexes(*db);
  return db;
}

ImportCounts ImportCards(const std::u16string& path, const std::vector<vcard::Card>& cards) {
  ImportCounts counts;
  auto db = OpenOrCreateAddressBook(path);
  dao::CloseOnExit c{db};
  dao::Engine().BeginTrans();
  try {
    auto persons = db->OpenRecordset(u"Personal", dao::dbOpenDynaset);
    auto orgs = db->OpenRecordset(u"Organizations", dao::dbOpenDynaset);
    auto jobs = db->OpenRecordset(u"JobTitles", dao::dbOpenDynaset);
    auto employees = db->OpenRecordset(u"Employees", dao::dbOpenDynaset);
    auto resources = db->OpenRecordset(u"Resources", dao::dbOpenDynaset);
    auto photos = db->OpenRecordset(u"Photo", dao::dbOpenDynaset);

    std::set<std::u16string> known;  // addresses already in the book, lower case
    {
      auto rs = db->OpenRecordset(u"SELECT ResourceString FROM Resources", dao::dbOpenDynaset);
      while (!rs->Eof()) {
        known.insert(LCase(NullConvStr(rs->GetField(u"ResourceString"))));
        rs->MoveNext();
      }
      rs->Close();
    }
    std::map<std::u16string, int32_t> orgIds;  // by lower-case name
    {
      auto rs = db->OpenRecordset(u"SELECT [Organization ID], Organization FROM Organizations", dao::dbOpenDynaset);
      while (!rs->Eof()) {
        orgIds.emplace(LCase(NullConvStr(rs->GetField(u"Organization"))),
                       NullConvLng(rs->GetField(u"Organization ID")));
        rs->MoveNext();
      }
      rs->Close();
    }
    auto organization = [&](const std::u16string& name) -> Value {
      if (name.empty()) return Value();
      auto it = orgIds.find(LCase(name));
      if (it != orgIds.end()) return Value(it->second);
      orgs->AddNew();
      const int32_t id = NullConvLng(orgs->GetField(u"Organization ID"));
      orgs->SetField(u"Organization", Value(Left(name, 255)));
      orgs->Update();
      orgIds.emplace(LCase(name), id);
      ++counts.organizations;
      return Value(id);
    };
    auto addAddresses = [&](const vcard::Card& card, int32_t kind, int32_t owner) {
      for (const std::u16string& a : card.emails) {
        if (!known.insert(LCase(a)).second) continue;
        resources->AddNew();
        resources->SetField(u"OwnerType", Value(kind));
        resources->SetField(u"Owner ID", Value(owner));
        resources->SetField(u"ResourceString", Value(Left(a, 255)));
        resources->Update();
        ++counts.addresses;
      }
    };

    for (const vcard::Card& card : cards) {
      const bool allKnown = !card.emails.empty() && std::all_of(card.emails.begin(), card.emails.end(), [&](auto& a) {
        return known.count(LCase(a)) > 0;
      });
      if (allKnown) {
        ++counts.skipped;
        continue;
      }
      if (card.organizationCard) {
        const Value org = organization(card.organization.empty() ? card.DisplayName() : card.organization);
        if (!org.IsNull()) addAddresses(card, packs::abOrganization, NullConvLng(org));
        continue;
      }
      const Value org = organization(card.organization);
      Value job;
      if (!card.title.empty()) {
        jobs->AddNew();
        job = jobs->GetField(u"Job ID");
        jobs->SetField(u"JobTitle", Value(Left(card.title, 255)));
        jobs->SetField(u"Organization ID", org);
        jobs->Update();
        ++counts.jobs;
      }
      persons->AddNew();
      const int32_t person = NullConvLng(persons->GetField(u"Personal ID"));
      persons->SetField(u"FullName", Value(Left(card.DisplayName(), 255)));
      persons->SetField(u"Job ID", job);
      persons->Update();
      ++counts.persons;
      if (!job.IsNull()) {
        employees->AddNew();
        employees->SetField(u"Personal ID", Value(person));
        employees->SetField(u"Job ID", job);
        employees->Update();
      }
      addAddresses(card, packs::abPerson, person);
      if (!card.photo.empty()) {
        photos->AddNew();
        photos->SetField(u"Personal ID", Value(person));
        photos->SetField(u"Photo", Value::Binary(card.photo));
        photos->Update();
        ++counts.photos;
      }
    }
    dao::Engine().CommitTrans();
  } catch (...) {
    ResumeNext rn;
    rn([] { dao::Engine().Rollback(); });
    throw;
  }
  return counts;
}

std::vector<Entry> ListEntries(const std::u16string& path) {
  auto db = dao::OpenDatabase(path, false, true, u"Access");
  dao::CloseOnExit c{db};
  std::vector<Entry> entries;
  auto add = [&](const std::u16string& sql, int32_t kind) {
    auto rs = db->OpenRecordset(sql, dao::dbOpenDynaset);
    while (!rs->Eof()) {
      Entry e;
      e.id = NullConvLng(rs->GetField(u"id"));
      e.kind = kind;
      e.name = NullConvStr(rs->GetField(u"name"));
      entries.push_back(std::move(e));
      rs->MoveNext();
    }
    rs->Close();
  };
  add(u"SELECT [Personal ID] AS id, FullName AS name FROM Personal ORDER BY [Personal ID]", packs::abPerson);
  add(u"SELECT [Organization ID] AS id, Organization AS name FROM Organizations ORDER BY [Organization ID]",
      packs::abOrganization);
  std::map<std::pair<int32_t, int32_t>, size_t> at;
  for (size_t i = 0; i < entries.size(); ++i) at[{entries[i].kind, entries[i].id}] = i;
  {
    auto rs = db->OpenRecordset(u"SELECT OwnerType, [Owner ID], ResourceString FROM Resources ORDER BY [Resource ID]",
                                dao::dbOpenDynaset);
    while (!rs->Eof()) {
      auto it = at.find({NullConvLng(rs->GetField(u"OwnerType")), NullConvLng(rs->GetField(u"Owner ID"))});
      if (it != at.end()) entries[it->second].addresses.push_back(NullConvStr(rs->GetField(u"ResourceString")));
      rs->MoveNext();
    }
    rs->Close();
  }
  {
    auto rs = db->OpenRecordset(u"SELECT DISTINCT [Personal ID] FROM Photo", dao::dbOpenDynaset);
    while (!rs->Eof()) {
      auto it = at.find({packs::abPerson, NullConvLng(rs->GetField(u"Personal ID"))});
      if (it != at.end()) entries[it->second].photo = true;
      rs->MoveNext();
    }
    rs->Close();
  }
  return entries;
}

}  // namespace ravelin::desktop
