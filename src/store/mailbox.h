// Letters as other mail programs keep them: mbox files (many letters in one file, each
// opened by a "From " line) and Maildir folders (one file per letter under cur/ and new/,
// flags in the file name). The readers hand over one letter at a time as the byte text an
// .eml file of it would hold; AddLetterFromText stores it the way a file is stored.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace ravelin::store {

// One letter of a mailbox.
struct MailboxLetter {
  std::u16string text;   // the message as byte text, its "From " line gone and ">From" unquoted
  int64_t number = 0;    // 1-based place of the letter in its mailbox
  int64_t line = 0;      // mbox: the line of its "From " line (1-based); Maildir: 0
  std::u16string file;   // Maildir: the letter's file; mbox: ""
  bool seen = false;     // Maildir: the "S" flag (a letter under new/ is never seen)
};

// Receives letters in mailbox order; returning false stops the reading.
using MailboxSink = std::function<bool(MailboxLetter&)>;

// True when the octets open with an mbox "From " line: "From " at the very start, a line
// that is no header field itself (an old-style "From  :" header is one), and a header
// field ("Name: value", blanks allowed before the colon) on the line after it.
// A saved message that keeps its envelope line is such a file, of one letter.
bool LooksLikeMbox(std::string_view head);

// Splits the octets of an mbox file into its letters. A letter starts at a "From " line
// as LooksLikeMbox tells it at the start of the file; any other "From " line
// (as older writers left them unquoted in a body) stays text of the letter. In every
// line that starts with ">From " or ">>From " ... one ">" is taken away (">From"
// quoting, in both of its forms), and the blank line that a writer puts before the next
// "From " line goes with the separator. Text ahead of the first "From " line is no letter.
// Returns the number of letters handed over.
int64_t SplitMbox(std::string_view octets, const MailboxSink& sink);

// The number of letters SplitMbox would hand over, counted without copying them.
int64_t CountMboxLetters(std::string_view octets);

// Reads the mbox file at `path` and splits it. FAILS (ravelin::Error 53) when the file
// can't be read.
int64_t ReadMbox(const std::u16string& path, const MailboxSink& sink);

// True when `path` is a folder with a "cur" or a "new" folder in it.
bool IsMaildir(const std::u16string& path);

// Hands over the letters of a Maildir: new/ and cur/, each in the order of the file names
// (which start with the time of delivery); files whose name begins with "." and the tmp/
// folder, where letters are still being written, are left out. A letter under cur/ is
// seen when the flags behind ":2," (or "!2,") hold "S". FAILS (Error 76) when there is
// neither folder; a letter file that can't be read is handed over empty.
int64_t ReadMaildir(const std::u16string& path, const MailboxSink& sink);

}  // namespace ravelin::store
