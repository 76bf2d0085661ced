// Accounts: how a password is kept in the Accounts table (cPassw), the preset mail
// providers that help fill in a new account (KnownServers), and the folder a letter from
// outside belongs in (GetFolderByAccount).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "formats/mime_parser.h"
#include "runtime/types.h"

namespace ravelin::transport {

// The stored form of a password: a Base64 text of a scrambled text; the account's
// Method says which scrambling. It hides the text from a glance, nothing more.
// Method: 0 none (and no Base64), 1 reversal, 2 pair swap + reversal, 4 mirror +
// reversal, 6 mirror + pair swap + reversal; any other value only Base64. Works on byte
// text and never reports a failure: text that isn't Base64 decodes to rubbish.
class cPassw {
 public:
  std::u16string CodePassword(const std::u16string& Passw, int32_t Method = 0) const;
  std::u16string DecodePassword(const std::u16string& Passw, int32_t Method = 0) const;
  std::u16string strReverse(const std::u16string& Value) const;
  // Each character c becomes the octet 255 - c (a unit above U+00FF counts as "?").
  std::u16string strMirror(const std::u16string& Value) const;
  // Swaps characters 1-2, 3-4, ...; an odd last character stays.
  std::u16string strM2(const std::u16string& Value) const;
};

// The process's one cPassw.
cPassw& SharedPassw();

// The method the options window writes with.
inline constexpr int32_t kAccountPasswordMethod = 6;

// A password as the account keeps it: the text goes to UTF-8 octets first, so that any
// alphabet survives the octet-wise scrambling, and comes back from them after decoding.
// A stored text that isn't UTF-8 (written by an older release) comes back as it is.
std::u16string CodeAccountPassword(const std::u16string& password, int32_t Method = kAccountPasswordMethod);
std::u16string DecodeAccountPassword(const std::u16string& stored, int32_t Method);

// One preset mail provider, keyed by its mail domain. Every property lives in the
// settings file under the section named by Key; reading one that was never written gives
// "" for the hosts, the URL and the name, and the default ports 110/25 and
// authentication on.
class KnownServer {
 public:
  explicit KnownServer(std::u16string key) : key_(std::move(key)) {}

  const std::u16string& Key() const { return key_; }
  std::u16string POPserver() const;
  void POPserver(const std::u16string& v);
  int32_t POPport() const;
  void POPport(int32_t v);
  std::u16string SMTPserver() const;
  void SMTPserver(const std::u16string& v);
  int32_t SMTPport() const;
  void SMTPport(int32_t v);
  std::u16string URLReg() const;
  void URLReg(const std::u16string& v);
  std::u16string Name() const;
  void Name(const std::u16string& v);
  bool SMTPaut() const;
  void SMTPaut(bool v);

  // Writes the preset of Key: name, POP3 host, port 110, SMTP host, port 25, sign-up
  // address, authentication on.
  void SetDefaultParams();
  // True when the settings file has the provider's section.
  bool IsConfigured() const;

 private:
  std::u16string Read(const char16_t* key, const char16_t* fallback) const;
  void Write(const char16_t* key, const std::u16string& value);
  std::u16string key_;
};

// The three presets, in a fixed order.
class KnownServers {
 public:
  KnownServers();
  int32_t Count() const { return static_cast<int32_t>(items_.size()); }
  // By key, case ignored; nullptr for an unknown key.
  KnownServer* Item(const std::u16string& key);
  // By 1-based index; nullptr outside 1..Count.
  KnownServer* Item(int32_t index);

 private:
  std::vector<std::unique_ptr<KnownServer>> items_;
};

// Inbox when the letter is addressed to one of the accounts (or no account matches),
// Sent when it comes from one. The accounts' rule lives with the store.
MailFolders GetFolderByAccount(const mailHeader& mheader);

}  // namespace ravelin::transport
