// Passwords, preset providers and the folder of an incoming letter.
#include "transport/accounts.h"

#include <algorithm>

#include "formats/codecs.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"

namespace ravelin::transport {

std::u16string cPassw::strReverse(const std::u16string& Value) const { return {Value.rbegin(), Value.rend()}; }

std::u16string cPassw::strMirror(const std::u16string& Value) const {
  std::u16string out(Value.size(), u'\0');
  std::transform(Value.begin(), Value.end(), out.begin(),
                 [](char16_t c) { return static_cast<char16_t>(255 - (c > 0xFF ? u'?' : c)); });
  return out;
}

std::u16string cPassw::strM2(const std::u16string& Value) const {
  std::u16string out = Value;
  for (size_t i = 0; i + 1 < out.size(); i += 2) std::swap(out[i], out[i + 1]);
  return out;
}

std::u16string cPassw::CodePassword(const std::u16string& Passw, int32_t Method) const {
  if (Method == 0) return Passw;
  std::u16string s = Passw;
  switch (Method) {
    case 1: s = strReverse(s); break;
    case 2: s = strReverse(strM2(s)); break;
    case 4: s = strReverse(strMirror(s)); break;
    case 6: s = strReverse(strM2(strMirror(s))); break;
    default: break;
  }
  return AsciiToBase64(s);
}

std::u16string cPassw::DecodePassword(const std::u16string& Passw, int32_t Method) const {
  if (Method == 0) return Passw;
  std::u16string s = Base64ToAscii(Passw);
  switch (Method) {
    case 1: s = strReverse(s); break;
    case 2: s = strM2(strReverse(s)); break;
    case 4: s = strMirror(strReverse(s)); break;
    case 6: s = strMirror(strM2(strReverse(s))); break;
    default: break;
  }
  return s;
}

cPassw& SharedPassw() {
  static cPassw passw;
  return passw;
}

namespace {

bool IsUtf8(std::string_view s) {
  size_t i = 0;
  while (i < s.size()) {
    const auto c = static_cast<unsigned char>(s[i]);
    size_t n;
    if (c < 0x80) n = 0;
    else if ((c >> 5) == 6) n = 1;
    else if ((c >> 4) == 14) n = 2;
    else if ((c >> 3) == 30) n = 3;
    else return false;
    if (n > 0 && i + n >= s.size()) return false;
    for (size_t k = 1; k <= n; ++k)
      if ((static_cast<unsigned char>(s[i + k]) >> 6) != 2) return false;
    i += n + 1;
  }
  return true;
}

}  // namespace

std::u16string CodeAccountPassword(const std::u16string& password, int32_t Method) {
  return SharedPassw().CodePassword(BytesToByteText(ToUtf8(password)), Method);
}

std::u16string DecodeAccountPassword(const std::u16string& stored, int32_t Method) {
  const std::u16string octets = SharedPassw().DecodePassword(stored, Method);
  if (std::any_of(octets.begin(), octets.end(), [](char16_t c) { return c > 0xFF; })) return octets;
  const std::string bytes = ByteTextToBytes(octets);
  return IsUtf8(bytes) ? FromUtf8(bytes) : octets;
}

namespace {

struct Preset {
  const char16_t* key;
  const char16_t* name;
  const char16_t* pop;
  const char16_t* smtp;
  const char16_t* url;
};

// Real public providers, by the domain of their addresses.
constexpr Preset kPresets[] = {
    {u"gmail.com", u"Gmail", u"pop.gmail.com", u"smtp.gmail.com", u"https://accounts.google.com/signup"},
    {u"yandex.ru", u"Yandex Mail", u"pop.yandex.ru", u"smtp.yandex.ru", u"https://passport.yandex.ru/registration"},
    {u"mail.ru", u"Mail.ru", u"pop.mail.ru", u"smtp.mail.ru", u"https://account.mail.ru/signup"},
};

const Preset* PresetOf(const std::u16string& key) {
  for (const auto& p : kPresets)
    if (TextEquals(p.key, key)) return &p;
  return nullptr;
}

std::u16string PresetPop(const std::u16string& key) { return PresetOf(key) ? PresetOf(key)->pop : u""; }
std::u16string PresetSmtp(const std::u16string& key) { return PresetOf(key) ? PresetOf(key)->smtp : u""; }
std::u16string PresetUrl(const std::u16string& key) { return PresetOf(key) ? PresetOf(key)->url : u""; }
std::u16string PresetName(const std::u16string& key) { return PresetOf(key) ? PresetOf(key)->name : u""; }

std::u16string NumberText(int32_t n) { return Widen(std::to_string(n)); }

}  // namespace

std::u16string KnownServer::Read(const char16_t* key, const char16_t* fallback) const {
  return ReadIniString(key_, key, fallback, module1::GetIniPath(), 1024);
}

void KnownServer::Write(const char16_t* key, const std::u16string& value) {
  if (!WriteIniString(key_, key, value, module1::GetIniPath()))
    RaiseError(errnum::kPermissionDenied, u"The settings file can't be written");
}

// The settings keys are spelled as the settings file has always spelled them.
std::u16string KnownServer::POPserver() const { return Read(u"POPsever", u""); }
void KnownServer::POPserver(const std::u16string& v) { Write(u"POPsever", v); }
int32_t KnownServer::POPport() const { return static_cast<int32_t>(Val(Read(u"POPport", u"110"))); }
void KnownServer::POPport(int32_t v) { Write(u"POPport", NumberText(v)); }
std::u16string KnownServer::SMTPserver() const { return Read(u"SMTPsever", u""); }
void KnownServer::SMTPserver(const std::u16string& v) { Write(u"SMTPsever", v); }
int32_t KnownServer::SMTPport() const { return static_cast<int32_t>(Val(Read(u"SMTPport", u"25"))); }
void KnownServer::SMTPport(int32_t v) { Write(u"SMTPport", NumberText(v)); }
std::u16string KnownServer::URLReg() const { return Read(u"URLReg", u""); }
void KnownServer::URLReg(const std::u16string& v) { Write(u"URLReg", v); }
std::u16string KnownServer::Name() const { return Read(u"Name", u""); }
void KnownServer::Name(const std::u16string& v) { Write(u"Name", v); }
bool KnownServer::SMTPaut() const { return Val(Read(u"SMTPaut", u"1")) != 0; }
void KnownServer::SMTPaut(bool v) { Write(u"SMTPaut", v ? u"1" : u"0"); }

void KnownServer::SetDefaultParams() {
  Name(PresetName(key_));
  POPserver(PresetPop(key_));
  POPport(110);
  SMTPserver(PresetSmtp(key_));
  SMTPport(25);
  URLReg(PresetUrl(key_));
  SMTPaut(true);
}

bool KnownServer::IsConfigured() const {
  return ReadIniString(key_, u"Name", u"\x01", module1::GetIniPath(), 16) != u"\x01";
}

KnownServers::KnownServers() {
  for (const auto& p : kPresets) items_.push_back(std::make_unique<KnownServer>(p.key));
}

KnownServer* KnownServers::Item(const std::u16string& key) {
  for (auto& s : items_)
    if (TextEquals(s->Key(), key)) return s.get();
  return nullptr;
}

KnownServer* KnownServers::Item(int32_t index) {
  if (index < 1 || index > Count()) return nullptr;
  return items_[static_cast<size_t>(index - 1)].get();
}

MailFolders GetFolderByAccount(const mailHeader& mheader) { return store::FindAccountByAddress(mheader); }

}  // namespace ravelin::transport
