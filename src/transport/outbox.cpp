// Account rows, the sender's account, stored letters going out.
#include "transport/outbox.h"

#include <memory>

#include "platform/db/dao.h"
#include "platform/module1.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/record_sources.h"
#include "transport/accounts.h"

namespace ravelin::transport {

namespace {

using Db = std::shared_ptr<dao::Database>;
using Rs = std::shared_ptr<dao::Recordset>;

Db OpenStore() { return dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access"); }

std::u16string Text(dao::Recordset& rs, std::u16string_view name) {
  const Value v = rs.GetField(name);
  if (v.Type() == VType::Binary) return BytesToByteText(v.BinaryRef());
  return NullConvStr(v);
}

std::u16string AddressOf(dao::Recordset& rs) { return Text(rs, u"User") + u"@" + Text(rs, u"@after"); }

// The Accounts row of an address (case ignored), walking from the first row; the
// recordset stays on it. False when there is none.
bool FindRow(dao::Recordset& rs, const std::u16string& address) {
  if (rs.Bof() && rs.Eof()) return false;
  rs.MoveFirst();
  for (; !rs.Eof(); rs.MoveNext())
    if (TextEquals(AddressOf(rs), address)) return true;
  return false;
}

// The server columns take no empty text: an empty one is stored as Null.
Value TextOrNull(const std::u16string& s) { return s.empty() ? Value() : Value(s); }

void Apply(dao::Recordset& rs, const AccountChanges& c) {
  if (c.smtp) rs.SetField(u"SMTP", TextOrNull(*c.smtp));
  if (c.smtpPort) rs.SetField(u"SMTPport", Value(*c.smtpPort));
  if (c.auth) rs.SetField(u"SMTPauth", Value(*c.auth));
  if (c.pop) rs.SetField(u"POP", TextOrNull(*c.pop));
  if (c.popPort) rs.SetField(u"POPport", Value(*c.popPort));
  if (c.password) {
    rs.SetField(u"Password", Value(CodeAccountPassword(*c.password, kAccountPasswordMethod)));
    rs.SetField(u"Method", Value(kAccountPasswordMethod));
  }
}

void Refuse(const std::u16string& text) { RaiseError(errnum::kInvalidProcedureCall, text); }

std::u16string NumberText(int32_t n) { return Widen(std::to_string(n)); }

}  // namespace

bool SplitAccountAddress(const std::u16string& email, std::u16string& user, std::u16string& domain) {
  const auto parts = Split(Trim(email), u"@");
  if (parts.size() != 2 || Trim(parts[0]).empty() || Trim(parts[1]).empty()) return false;
  user = Trim(parts[0]);
  domain = Trim(parts[1]);
  return true;
}

void AddAccount(const std::u16string& email, const AccountChanges& changes) {
  std::u16string user, domain;
  if (!SplitAccountAddress(email, user, domain)) Refuse(u"Invalid e-mail address format!");
  Db db = OpenStore();
  Rs rs = db->OpenRecordset(u"Accounts", dao::dbOpenDynaset);
  if (FindRow(*rs, user + u"@" + domain)) {
    rs->Close();
    db->Close();
    Refuse(u"There is an account for " + user + u"@" + domain + u" already");
  }
  AccountChanges c = changes;
  // A known provider fills in what the caller left open, as the options window does.
  KnownServers known;
  if (KnownServer* k = known.Item(domain)) {
    if (!k->IsConfigured()) k->SetDefaultParams();
    if (!c.smtp) c.smtp = k->SMTPserver();
    if (!c.smtpPort) c.smtpPort = k->SMTPport();
    if (!c.pop) c.pop = k->POPserver();
    if (!c.popPort) c.popPort = k->POPport();
    if (!c.auth) c.auth = k->SMTPaut();
  }
  rs->AddNew();
  rs->SetField(u"User", Value(user));
  rs->SetField(u"@after", Value(domain));
  rs->SetField(u"boxName", Value(user + u"@" + domain));
  rs->SetField(u"Flags", Value(int32_t{1}));
  Apply(*rs, c);
  rs->Update();
  rs->Close();
  db->Close();
}

void SetAccount(const std::u16string& email, const AccountChanges& changes) {
  Db db = OpenStore();
  Rs rs = db->OpenRecordset(u"Accounts", dao::dbOpenDynaset);
  if (!FindRow(*rs, Trim(email))) {
    rs->Close();
    db->Close();
    Refuse(u"Account \"" + Trim(email) + u"\" is not found!");
  }
  rs->Edit();
  Apply(*rs, changes);
  rs->Update();
  rs->Close();
  db->Close();
}

void DeleteAccount(const std::u16string& email) {
  Db db = OpenStore();
  Rs rs = db->OpenRecordset(u"Accounts", dao::dbOpenDynaset);
  if (!FindRow(*rs, Trim(email))) {
    rs->Close();
    db->Close();
    Refuse(u"Account \"" + Trim(email) + u"\" is not found!");
  }
  rs->Delete();
  rs->Close();
  db->Close();
}

std::optional<SendingAccount> FindSendingAccount(const std::u16string& from) {
  Db db = OpenStore();
  Rs rs = db->OpenRecordset(u"Accounts", dao::dbOpenDynaset);
  std::optional<SendingAccount> out;
  if (FindRow(*rs, GetEmail(from))) {
    SendingAccount a;
    a.smtp = Text(*rs, u"SMTP");
    a.smtpPort = NullConvLng(rs->GetField(u"SMTPport"));
    a.auth = NullConvBool(rs->GetField(u"SMTPauth"));
    a.user = Text(*rs, u"User");
    a.password = DecodeAccountPassword(Text(*rs, u"Password"), NullConvLng(rs->GetField(u"Method")));
    out = a;
  }
  rs->Close();
  db->Close();
  return out;
}

std::optional<mailHeader> LoadStoredLetter(int32_t key, std::u16string* folder) {
  Db db = OpenStore();
  Rs rsL = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
  std::optional<mailHeader> out;
  if (!(rsL->Bof() && rsL->Eof())) rsL->FindFirst(u"key=" + NumberText(key));
  if (!(rsL->Bof() && rsL->Eof()) && !rsL->NoMatch()) {
    mailHeader mh;
    mh.From = Text(*rsL, u"From");
    mh.to = Text(*rsL, u"To");
    mh.Subject = Text(*rsL, u"Subject");
    mh.Message = Text(*rsL, u"Message");
    if (folder) *folder = Text(*rsL, u"MailFolder");
    Rs rsA = db->OpenRecordset(store::GetAttachRecordSource(key));
    for (; !rsA->Eof(); rsA->MoveNext()) {
      AttachFile f;
      f.fname = Text(*rsA, u"filename");
      f.fData = Text(*rsA, u"Data");
      f.ftype = Text(*rsA, u"type");
      f.fsubtype = Text(*rsA, u"subtype");
      f.Content_ID = Text(*rsA, u"Content-ID");
      f.ContentDisposition = Text(*rsA, u"Content-Disposition");
      f.ContentLocation = Text(*rsA, u"Content-Location");
      f.ContentTransferEncoding = Text(*rsA, u"Charset");
      mh.attFiles.push_back(std::move(f));
    }
    rsA->Close();
    mh.Content_Type = mh.attFiles.empty() ? u"text" : u"multipart";
    mh.Content_subtype = mh.attFiles.empty() ? u"plain" : u"mixed";
    out = std::move(mh);
  }
  rsL->Close();
  db->Close();
  return out;
}

bool FileAsSent(int32_t key) { return MoveToFolder(key, Sent); }

bool MoveToFolder(int32_t key, int32_t folder) {
  const std::u16string name = store::MailFolderName(folder);
  if (name.empty()) RaiseError(errnum::kInvalidProcedureCall, u"No mail folder number " + NumberText(folder));
  Db db = OpenStore();
  Rs rs = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
  bool found = false;
  if (!(rs->Bof() && rs->Eof())) {
    rs->MoveFirst();
    rs->FindFirst(u"key=" + NumberText(key));
    if (!rs->NoMatch()) {
      rs->Edit();
      rs->SetField(u"MailFolder", Value(name));
      rs->Update();
      found = true;
    }
  }
  rs->Close();
  db->Close();
  return found;
}

}  // namespace ravelin::transport
