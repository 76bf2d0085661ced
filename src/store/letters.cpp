// Letters and Letter: collections of stored letters and the row view on them.
#include "store/letters.h"

#include <cmath>

#include "formats/datetime.h"
#include "platform/module1.h"
#include "runtime/resume.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin {

namespace {

const DateTime& Zone() {
  static const DateTime dt;
  return dt;
}

bool IsDigitIn(char16_t c, int base) {
  if (base == 16) return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
  if (base == 8) return c >= u'0' && c <= u'7';
  return c >= u'0' && c <= u'9';
}

// Whether a value reads as a number: numbers and booleans do, and a text that holds one
// number with blanks around it ("12", " -3.5 ", "1e3", "&H1F").
bool IsNumeric(const Value& v) {
  switch (v.Type()) {
    case VType::Boolean:
    case VType::Long:
    case VType::Double:
      return true;
    case VType::Text:
      break;
    default:
      return false;
  }
  const std::u16string s = Trim(v.TextRef());
  size_t i = 0;
  const size_t n = s.size();
  if (n >= 2 && s[0] == u'&' && (s[1] == u'H' || s[1] == u'h' || s[1] == u'O' || s[1] == u'o')) {
    const int base = (s[1] == u'H' || s[1] == u'h') ? 16 : 8;
    if (n == 2) return false;
    for (i = 2; i < n; ++i)
      if (!IsDigitIn(s[i], base)) return false;
    return true;
  }
  if (i < n && (s[i] == u'+' || s[i] == u'-')) ++i;
  size_t digits = 0;
  while (i < n && IsDigitIn(s[i], 10)) ++i, ++digits;
  if (i < n && s[i] == u'.') {
    ++i;
    while (i < n && IsDigitIn(s[i], 10)) ++i, ++digits;
  }
  if (digits == 0) return false;
  if (i < n && (s[i] == u'e' || s[i] == u'E')) {
    ++i;
    if (i < n && (s[i] == u'+' || s[i] == u'-')) ++i;
    size_t exp = 0;
    while (i < n && IsDigitIn(s[i], 10)) ++i, ++exp;
    if (exp == 0) return false;
  }
  return i == n;
}

// The rows of a list statement as a dynaset, so that letters can be edited; a statement
// the engine can only read is opened read-only rather than not at all.
std::shared_ptr<dao::Recordset> OpenRows(dao::Database& db, const std::u16string& source) {
  try {
    return db.OpenRecordset(source, dao::dbOpenDynaset);
  } catch (const Error&) {
    return db.OpenRecordset(source, dao::dbOpenSnapshot);
  }
}

std::u16string KeyCriteria(double key) { return u"[key]=" + NumToText(key); }

}  // namespace

// ---- Letter ----

dao::Recordset& Letter::Rs() const { return store::detail::Need(rs_); }

void Letter::Edit() { Rs().Edit(); }
void Letter::Update() { Rs().Update(); }

Value Letter::msgNumber() const { return Value(NullConvLng(Rs().GetField(u"key"))); }

std::u16string Letter::Subject() const { return NullConvStr(Rs().GetField(u"Subject")); }
void Letter::Subject(const std::u16string& v) { Rs().SetField(u"Subject", strConvNull(v)); }
std::u16string Letter::Message() const { return NullConvStr(Rs().GetField(u"Message")); }
void Letter::Message(const std::u16string& v) { Rs().SetField(u"Message", strConvNull(v)); }
std::u16string Letter::From() const { return NullConvStr(Rs().GetField(u"From")); }
void Letter::From(const std::u16string& v) { Rs().SetField(u"From", strConvNull(v)); }
std::u16string Letter::To_() const { return NullConvStr(Rs().GetField(u"To")); }
void Letter::To_(const std::u16string& v) { Rs().SetField(u"To", strConvNull(v)); }
std::u16string Letter::MailFolder() const { return NullConvStr(Rs().GetField(u"MailFolder")); }
void Letter::MailFolder(const std::u16string& v) { Rs().SetField(u"MailFolder", strConvNull(v)); }
std::u16string Letter::OldMailFolder() const { return NullConvStr(Rs().GetField(u"OldMailFolder")); }
void Letter::OldMailFolder(const std::u16string& v) { Rs().SetField(u"OldMailFolder", strConvNull(v)); }

OleDate Letter::DateReceivedGMT() const { return Rs().GetField(u"DateReceived").AsDate(); }
void Letter::DateReceivedGMT(OleDate v) {
  ResumeNext rn;
  rn([&] { Rs().SetField(u"DateReceived", Value(v)); });
}
OleDate Letter::DateReceivedLTZ() const { return Zone().GMTtoLocalTZ(DateReceivedGMT()); }
void Letter::DateReceivedLTZ(OleDate v) {
  ResumeNext rn;
  rn([&] { DateReceivedGMT(Zone().LocalTZtoGMT(v)); });
}
OleDate Letter::DateWroteGMT() const { return Rs().GetField(u"DateWrote").AsDate(); }
void Letter::DateWroteGMT(OleDate v) {
  ResumeNext rn;
  rn([&] { Rs().SetField(u"DateWrote", Value(v)); });
}
OleDate Letter::DateWroteLTZ() const { return Zone().GMTtoLocalTZ(DateWroteGMT()); }
void Letter::DateWroteLTZ(OleDate v) {
  ResumeNext rn;
  rn([&] { DateWroteGMT(Zone().LocalTZtoGMT(v)); });
}

bool Letter::Read() const { return NullConvBool(Rs().GetField(u"Read")); }
void Letter::Read(bool v) { Rs().SetField(u"Read", Value(v)); }
int32_t Letter::Size() const { return NullConvLng(Rs().GetField(u"Size")); }
void Letter::Size(int32_t v) { Rs().SetField(u"Size", lngConvNull(Value(v))); }

// ---- Letters ----

Letters::~Letters() {
  ResumeNext rn;
  rn([&] {
    if (rs_) rs_->Close();
  });
  rn([&] {
    if (db_) db_->Close();
  });
}

void Letters::OpenDatabase() {
  // The former connection isn't closed here: recordsets that Letter objects still hold
  // keep theirs, and the collection's own are replaced below.
  db_.reset();
  db_ = store::detail::OpenMailDatabase();
}

void Letters::MailFolder(const std::u16string& v) {
  ResumeNext rn;
  rn([&] { OpenDatabase(); });
  if (!db_) return;
  rn([&] {
    const std::u16string source = store::GetRecordSource(store::FieldsOf(module1::GetEmailDbPath()), v, project_, Filter, Order, InsArcPrj);
    rs_ = OpenRows(*db_, source);
    folder_ = v;
  });
}

void Letters::PackNumber(const Value& v) {
  if (!IsNumeric(v)) return;
  ResumeNext rn;
  keys_.clear();
  rn([&] { OpenDatabase(); });
  rn([&] {
    const int32_t n = v.AsLong();
    const std::u16string source = store::GetPacksItemRecordSource(n, ShowDelated, InsArcPrj);
    rs_ = OpenRows(store::detail::Need(db_), source);
    packNumber_ = v;
  });
}

int32_t Letters::PackNumber() const {
  ResumeNext rn;
  return rn.Value([&] { return static_cast<int32_t>(Val(packNumber_.IsNull() ? u"" : packNumber_.AsText())); }, 0);
}

void Letters::SetKeyList(const std::vector<Value>& keys) {
  ResumeNext rn;
  keys_ = keys;
  if (!db_) rn([&] { OpenDatabase(); });
  rn([&] {
    if (db_ && db_->IsOpen() && !rs_) rs_ = db_->OpenRecordset(u"Letters", dao::dbOpenDynaset);
  });
  // The rows are fetched as the items are asked for; the table isn't walked ahead.
}

std::shared_ptr<Letter> Letters::LetterAtCurrentRow() {
  if (!rs_ || rs_->AbsolutePosition() == -1) return nullptr;
  auto letter = std::make_shared<Letter>();
  letter->AttachRecordset(rs_);
  return letter;
}

std::shared_ptr<Letter> Letters::Item(const Value& Index) {
  ResumeNext rn;
  if (!rs_) return nullptr;
  bool miss = false;
  if (IsNumeric(Index)) {
    if (PackNumber() > 0) {
      // A row number past either end is a miss, not the row the cursor was on.
      rn([&] { rs_->SetAbsolutePosition(Index.AsLong() - 1); });
      if (rn.LastError()) return nullptr;
    } else {
      rn([&] { rs_->MoveFirst(); });
      // A folder-bound collection has no key list: the lookup fails, is passed over, and
      // the first row is the answer.
      rn([&] {
        const int32_t i = Index.AsLong();
        if (i < 1 || static_cast<size_t>(i) > keys_.size()) RaiseError(errnum::kSubscriptOutOfRange);
        rs_->FindFirst(KeyCriteria(keys_[static_cast<size_t>(i - 1)].AsDouble()));
        miss = rs_->NoMatch();
      });
    }
  } else {
    miss = true;  // stays a miss when the key text can't be read
    rn([&] {
      const std::u16string text = Index.AsText();
      const double key = Val(Mid(text, 2));
      rs_->MoveFirst();
      rs_->FindFirst(KeyCriteria(key));
      miss = rs_->NoMatch();
    });
  }
  if (miss) return nullptr;
  return rn.Value([&] { return LetterAtCurrentRow(); }, std::shared_ptr<Letter>());
}

int32_t Letters::Count() {
  ResumeNext rn;
  if (PackNumber() > 0) {
    // Counted by the engine, so the rows are not walked to the last one for it.
    return rn.Value([&] { return store::detail::Need(db_).CountRecords(store::detail::Need(rs_).Name()); }, 0);
  }
  return static_cast<int32_t>(keys_.size());
}

}  // namespace ravelin
