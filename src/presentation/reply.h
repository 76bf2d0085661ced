// A reply to a stored letter: its subject with the reply count, the recipient and
// greeting, the quoted text, handed to a new compose view; and the small text helpers
// for initials and quoting.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/db/dao.h"
#include "presentation/views.h"

namespace ravelin::presentation {

// "Re: a" for "a", "Re[2]: a" for "Re: a", "Re[n+1]: a" for "Re[n]: a"; what stood before
// a "Re:" is dropped, a count that isn't a number counts as 0.
std::u16string ReplySubject(const std::u16string& subject);

// The recipient of a reply to `from`: "\"Name\"<address>" with a name, the bare address
// without one, "" for an empty sender.
std::u16string ReplyRecipient(const std::u16string& from);

// Up to three initials separated by blanks ("I P S"); a single word gives its first
// three letters.
std::u16string GetInitials(const std::u16string& strEmail);

// Start of the word after the first blank at or behind `start` in the trimmed text; 0
// when there is no blank.
int32_t GetWordStartPosition(int32_t start, const std::u16string& str);

// Every line of strMsg (lines end in CR LF only) behind "Initials>".
std::u16string InsertQuoting(const std::u16string& Initials, const std::u16string& strMsg);

// The opening tag of an HTML quotation block.
std::u16string InsBlkQuote();

// Prepares the reply to the current letter of `letter` in a new compose view and shows
// it. `tag` above 0 means the letter is shown as HTML in `source`, whose body text is
// quoted; otherwise its stored text is. A step that fails leaves its part empty; the
// view opens all the same.
std::shared_ptr<ComposeView> ReplyLetterWorker(dao::Recordset& letter, int32_t tag, HtmlView* source, int16_t Modal);

}  // namespace ravelin::presentation
