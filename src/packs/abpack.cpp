// Address-book packs: reading an object's addresses, the enumeration over the mail
// database, and the collection of the book's owners.
#include "packs/abpack.h"

#include <set>

#include "formats/charsets.h"
#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/event_loop.h"
#include "platform/module1.h"
#include "runtime/errors.h"
#include "runtime/resume.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/delete_restore.h"
#include "store/letters.h"

namespace ravelin::packs {

namespace {

LetterRowsWriter& RowsWriter() {
  static LetterRowsWriter writer;
  return writer;
}

ABPackPropertyWindow& PropertyWindow() {
  static ABPackPropertyWindow window;
  return window;
}

// Told when no host installed an address book ("can't create object").
constexpr int32_t kNoAddressBook = 429;

bool SameText(const std::u16string& a, const std::u16string& b) { return StrComp(a, b, Compare::Text) == 0; }

// Closes a database and a recordset on every way out of a walk.
struct Closing {
  std::shared_ptr<dao::Database> db;
  std::shared_ptr<dao::Recordset> rs;
  ~Closing() {
    ResumeNext rn;
    rn([&] {
      if (rs) rs->Close();
    });
    rn([&] {
      if (db) db->Close();
    });
  }
};

}  // namespace

void SetLetterRowsWriter(LetterRowsWriter writer) { RowsWriter() = std::move(writer); }

ABPackWindow& CurrentABPackWindow() {
  static ABPackWindow window;
  return window;
}
void SetABPackWindow(ABPackWindow window) { CurrentABPackWindow() = std::move(window); }
void SetABPackPropertyWindow(ABPackPropertyWindow window) { PropertyWindow() = std::move(window); }

ABPack::ABPack() = default;
ABPack::~ABPack() = default;

std::u16string ABPack::GetFullTitle(int32_t kind, const std::u16string& name) {
  const std::u16string section = u"ABPack.GetFullTitle";
  std::u16string title;
  switch (kind) {
    case abOrganization:
      title = module1::GetMUIString(section, u"txt2", u"Correspondence with the organization or subdivision");
      break;
    case abJob:
      title = module1::GetMUIString(section, u"txt3", u"Correspondence with the official");
      break;
    case abEmployee:
      title = module1::GetMUIString(section, u"txt4", u"Correspondence with the employee");
      break;
    default:
      title = module1::GetMUIString(section, u"txt1", u"Correspondence with the person");
      break;
  }
  if (!name.empty()) title += u" " + name;
  return title;
}

void ABPack::ReadAddresses(dao::Database* open) {
  addresses_.clear();
  AddressBook* book = CurrentAddressBook();
  if (!book) {
    TellAddressBookUnavailable(kNoAddressBook, u"No address book is installed: the address-book packs are empty.");
    return;
  }
  Closing c;
  try {
    if (!open) c.db = dao::OpenDatabase(book->DatabaseFile(), false, false, u"Access");
    dao::Database& db = open ? *open : *c.db;
    c.rs = db.OpenRecordset(book->AddressQuery(ObjectID, ObjectType), dao::dbOpenDynaset);
    if (!(c.rs->Bof() && c.rs->Eof())) {
      c.rs->MoveLast();
      const int32_t n = c.rs->RecordCount();
      addresses_.assign(static_cast<size_t>(n), std::u16string());
      // From the last row to the first, each into its own place: the row order stays.
      for (int32_t i = n - 1; i >= 0; --i) {
        addresses_[static_cast<size_t>(i)] = NullConvStr(c.rs->GetField(u"ResourceString"));
        if (i > 0) c.rs->MovePrevious();
      }
    }
  } catch (const Error& e) {
    addresses_.clear();
    TellAddressBookUnavailable(e.Number(), u"The address book " + book->DatabaseFile() +
                                               u" can't be read (" + e.Description() +
                                               u"): the address-book packs are empty.");
  }
}

std::u16string ABPack::GetHTML(bool SimpleEnum) {
  stop_ = false;
  keys_.clear();
  ReadAddresses();

  std::u16string doc;
  if (!SimpleEnum) {
    doc = Replace(docBlanc(), u"</BODY></html>", u"", 1, 1, Compare::Text);
    doc += u"<P align=center><FONT size=5>" + GetUnicodeHTMLString(Title) + u"</FONT></P>";
    doc += u"<table border=1>";
  }

  Closing c;
  c.db = store::detail::OpenMailDatabase();
  c.rs = c.db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
  dao::Recordset& rs = *c.rs;
  if (!(rs.Bof() && rs.Eof())) {
    // Fixed text, shown as it stands in every language.
    if (StatusTextChanged) StatusTextChanged(u"Поиск писем ...");
    rs.MoveLast();
    const int32_t count = rs.RecordCount();
    const double total = static_cast<double>(count) * static_cast<double>(addresses_.size());
    int32_t found = 0;
    double done = 0;
    // The first address's walk reads each row once and keeps what the tests need; the
    // walks of the other addresses visit the same rows in the same order from memory, so
    // the store is read once however many addresses there are.
    struct Row {
      int32_t key;
      bool recycled;
      std::u16string from, to;  // pure addresses, lower case
    };
    std::vector<Row> rows;
    rows.reserve(static_cast<size_t>(count));
    for (size_t a = 0; a < addresses_.size() && !stop_; ++a) {
      const std::u16string want = LCase(addresses_[a]);
      if (a == 0) rs.MoveFirst();
      for (int32_t row = 1; row <= count; ++row) {
        loop::PumpOnce();
        if (stop_) break;
        if (a == 0) {
          rows.push_back({NullConvLng(rs.GetField(u"key")),
                          SameText(NullConvStr(rs.GetField(u"MailFolder")), u"Recycle"),
                          LCase(GetEmail(NullConvStr(rs.GetField(u"From")))),
                          LCase(GetEmail(NullConvStr(rs.GetField(u"To"))))});
        }
        const Row& r = rows[static_cast<size_t>(row - 1)];
        bool passes = MsgStatus == ShowAll || (MsgStatus == DeletedOnly ? r.recycled : !r.recycled);
        // A To naming several people is tested whole, so it matches none of them.
        passes = passes && (r.from == want || r.to == want);
        if (passes) {
          ++found;
          keys_.push_back(r.key);
          if (!SimpleEnum && RowsWriter()) {
            if (a > 0) rs.SetAbsolutePosition(row - 1);
            doc += RowsWriter()(*c.db, rs, found);
          }
        }
        if (a == 0 && row < count) rs.MoveNext();
        done += 1;
        if (ProgressChanged) ProgressChanged(done, 0, total);
      }
    }
  }
  if (!SimpleEnum) doc += u"</table> </body></html>";
  return doc;
}

void ABPack::ShowProp(int16_t Modality) {
  if (!PropertyWindow()) return;
  PropertyWindow()(*this, module1::GetMUIString(u"ABPack.ShowProp", u"lblName", u"Object of correspondence"),
                   Modality);
}

void ABPack::HandKeys() {
  if (!letters_) letters_ = std::make_unique<ravelin::Letters>();
  std::vector<Value> keys;
  keys.reserve(keys_.size());
  for (int32_t k : keys_) keys.emplace_back(k);
  letters_->SetKeyList(keys);
}

ravelin::Letters& ABPack::Letters() {
  if (!letters_) {
    GetHTML(true);
    HandKeys();
  }
  return *letters_;
}

void ABPack::Refresh() {
  GetHTML(true);
  HandKeys();
}

void ABPack::DeleteLetters(int16_t Shift) {
  const std::vector<int32_t> keys = keys_;
  for (int32_t key : keys) store::DeleteLetter2(key, u"", false, 0, Shift);
  Refresh();
}

void ABPack::RestoreLetters() {
  if (!ShowDeleted()) return;
  const std::vector<int32_t> keys = keys_;
  {
    Closing c;
    c.db = store::detail::OpenMailDatabase();
    c.rs = c.db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
    for (int32_t key : keys) {
      // Asked again for each entry: a letter listed twice may have left the bin already.
      if (!store::SetDataLettersPointer(*c.rs, key)) continue;
      if (!SameText(NullConvStr(c.rs->GetField(u"MailFolder")), u"Recycle")) continue;
      store::RestoreLetter2(key);
      c.rs->Requery();
    }
  }
  Refresh();
}

int32_t ABPack::KeyAt(int32_t index) const {
  if (index < 0 || index > KeyUBound()) RaiseError(errnum::kSubscriptOutOfRange);
  return keys_[static_cast<size_t>(index)];
}

std::u16string ABPack::AddressAt(int32_t index) const {
  if (index < 0 || index > AddressUBound()) RaiseError(errnum::kSubscriptOutOfRange);
  return addresses_[static_cast<size_t>(index)];
}

// ---- ABPacks ----

std::shared_ptr<ABPack> ABPacks::Item(int32_t index) {
  if (packs_.empty()) Refresh();
  if (index < 1 || index > Count()) RaiseError(errnum::kInvalidProcedureCall);
  return packs_[static_cast<size_t>(index - 1)];
}

std::shared_ptr<ABPack> ABPacks::Item(const std::u16string& title) {
  if (packs_.empty()) Refresh();
  for (const auto& p : packs_)
    if (SameText(p->Title, title)) return p;
  RaiseError(errnum::kInvalidProcedureCall);
}

void ABPacks::Refresh() {
  if (StatusTextChanged)
    StatusTextChanged(module1::GetMUIString(u"ABPacks.Refresh", u"txt1", u"Search correspondence ..."));
  packs_.clear();
  AddressBook* book = CurrentAddressBook();
  if (!book) {
    TellAddressBookUnavailable(kNoAddressBook, u"No address book is installed: the address-book packs are empty.");
    return;
  }
  struct Owner {
    int32_t id, type;
  };
  Closing c;
  std::vector<Owner> owners;
  try {
    c.db = dao::OpenDatabase(book->DatabaseFile(), false, false, u"Access");
    c.rs = c.db->OpenRecordset(book->OwnersQuery(), dao::dbOpenDynaset);
    if (!(c.rs->Bof() && c.rs->Eof())) {
      c.rs->MoveLast();
      const int32_t n = c.rs->RecordCount();
      c.rs->MoveFirst();
      owners.reserve(static_cast<size_t>(n));
      for (int32_t i = 1; i <= n; ++i) {
        owners.push_back({NullConvLng(c.rs->GetField(u"Owner ID")), NullConvLng(c.rs->GetField(u"OwnerType"))});
        if (i < n) c.rs->MoveNext();
      }
    }
    c.rs->Close();
    c.rs.reset();
  } catch (const Error& e) {
    TellAddressBookUnavailable(e.Number(), u"The address book " + book->DatabaseFile() + u" can't be read (" +
                                               e.Description() + u"): the address-book packs are empty.");
    return;
  }
  std::set<std::u16string> titles;  // the collection's keys, case ignored
  for (const Owner& o : owners) {
    auto pack = std::make_shared<ABPack>();
    pack->ObjectID = o.id;
    pack->ObjectType = o.type;
    pack->MsgStatus = MsgStatus;
    pack->rProject = rProject;
    pack->InsArcPrj = InsArcPrj;
    pack->Filter = Filter;
    pack->ReadAddresses(c.db.get());
    if (pack->addresses_.empty()) continue;
    std::u16string name;
    {
      ResumeNext rn;
      rn([&] { name = book->DisplayName(*c.db, o.id, o.type); });
    }
    pack->Title = ABPack::GetFullTitle(o.type, name);
    if (!titles.insert(LCase(pack->Title)).second) continue;
    packs_.push_back(std::move(pack));
  }
}

}  // namespace ravelin::packs
