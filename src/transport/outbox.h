// Sending what the store holds: the rows of the Accounts table a host edits, the account
// a sender's address stands for, a stored letter read back into a record, and the move
// to "Sent" once it went. The conversation itself is the SMTP client's.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "formats/mime_parser.h"

namespace ravelin::transport {

// Fields of an account row that a host may set; what is left empty stays as it is.
struct AccountChanges {
  std::optional<std::u16string> smtp;
  std::optional<int32_t> smtpPort;
  std::optional<bool> auth;
  std::optional<std::u16string> pop;
  std::optional<int32_t> popPort;
  std::optional<std::u16string> password;  // stored coded with method 6
};

// "user@domain" split as the options window does: exactly one "@", neither side blank.
// False for anything else.
bool SplitAccountAddress(const std::u16string& email, std::u16string& user, std::u16string& domain);

// Adds the account of `email` (box name the address, checked), servers filled from the
// known provider of its domain unless given. Raises Error 5 with a text for an invalid
// address or one that has an account already.
void AddAccount(const std::u16string& email, const AccountChanges& changes);
// Changes the account of `email` (case ignored). Raises Error 5 when there is none.
void SetAccount(const std::u16string& email, const AccountChanges& changes);
// Removes it. Raises Error 5 when there is none.
void DeleteAccount(const std::u16string& email);

// What a letter needs from the account of its sender.
struct SendingAccount {
  std::u16string smtp;
  int32_t smtpPort = 25;
  bool auth = false;
  std::u16string user;
  std::u16string password;  // decoded; "" when none is stored
};
// The account whose address ("User@@after", case ignored) is the address of `from`;
// nothing when no row has it.
std::optional<SendingAccount> FindSendingAccount(const std::u16string& from);

// A stored letter as the record the client sends: From, To, Subject, the text, and its
// attachment rows as parts. Nothing when there is no such key. `folder` receives the
// folder it lies in.
std::optional<mailHeader> LoadStoredLetter(int32_t key, std::u16string* folder = nullptr);
// Moves the letter to "Sent"; false when its row is gone.
bool FileAsSent(int32_t key);
// Moves the letter to a mail folder (MailFolders 0..4); false when its row is gone.
bool MoveToFolder(int32_t key, int32_t folder);

}  // namespace ravelin::transport
