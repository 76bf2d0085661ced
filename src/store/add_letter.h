// The one way into the Letters table: a parsed mailHeader becomes a row of Letters, its
// parts rows of Files, and its project and pack memberships rows of Projects and
// PackItems. AddLetterFromEML is the file front end of the same routine.
#pragma once

#include <cstdint>
#include <string>

#include "formats/mime_parser.h"
#include "runtime/types.h"

namespace ravelin::store {

// The stored name of a folder code: 0 "Inbox" .. 4 "Recycle"; "" for any other code.
std::u16string MailFolderName(int32_t folder);

// Inserts the letter. Each step that fails is passed over and leaves its field empty; the
// only user message is the one about a recipient list cut to the field's size.
//   MailFolder: -1 asks for the folder to be worked out (FindAccountByAddress); the
//     answer is written back. The arrival date is stamped only for Inbox (0), and before
//     the folder is worked out, so a letter of folder -1 never gets one.
//   msgSize below 1 records mheader.mSize instead.
//   Project: blank means no project link. PackNumber: 0 or less means no pack.
//   strEmail: the recipient as the caller knows it; it wins over a To that doesn't hold it.
// mheader.Message receives the raw body (read in the ANSI code page) when the letter has
// neither text nor a content type. Returns the new key as decimal text; "" when the
// database can't be opened. A letter whose rows can't be written is undone whole (no
// project, pack or file row is left pointing at it) and the failure is thrown.
std::u16string AddLetterFromMailHeader(mailHeader& mheader, int32_t& MailFolder, int32_t msgSize = 0,
                                       const std::u16string& Project = {}, bool InsArcPrj = false,
                                       int32_t PackNumber = 0, const std::u16string& strEmail = {});

// Sent (2) for a letter from one of the user's accounts to a stranger, Inbox (0)
// otherwise: a letter addressed to an account counts as received even when it came from
// one. Accounts are tried from the last row to the first. Inbox when nothing can be read.
MailFolders FindAccountByAddress(const mailHeader& mheader);

// An import of many letters: while one lives, the account addresses are read once (at the
// first letter) and FindAccountByAddress answers from them instead of reading Accounts for
// every letter. Accounts don't change during an import; one made during it is seen by the
// next run. The letters of the run share one open of the mail database (made at the first
// letter, closed when the run ends): the store's place doesn't change during an import.
// Runs don't nest: an inner one shares the outer one's addresses and database.
class ImportRun {
 public:
  ImportRun();
  ~ImportRun();
  ImportRun(const ImportRun&) = delete;
  ImportRun& operator=(const ImportRun&) = delete;

 private:
  bool outer_;
};

// Reads the .eml file at FilePath (octets, no decoding), parses it and inserts it with the
// file's length as its size and the folder worked out from the accounts. A missing file
// is told in a message box. Returns the new key; 0 for a missing file or when nothing was
// inserted. Unexpected failures throw (the façade reports them).
// `folderOut`, when given, receives the folder the letter went to.
int32_t AddLetterFromEML(const std::u16string& FilePath, const std::u16string& rProject = {},
                         bool InsArcPrj = false, int32_t PackNumber = 0, int32_t* folderOut = nullptr);

// The same for a message already in memory (byte text, as an .eml file holds it): a letter
// of an mbox file or a Maildir folder goes in exactly as a file would. `read` marks the
// stored letter as read. Returns the new key, 0 when nothing was inserted.
int32_t AddLetterFromText(std::u16string text, const std::u16string& rProject = {}, bool InsArcPrj = false,
                          int32_t PackNumber = 0, int32_t* folderOut = nullptr, bool read = false);

}  // namespace ravelin::store
