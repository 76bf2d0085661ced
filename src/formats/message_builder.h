// The message builder: a `mailHeader` back into MIME text, the mailer name, the blank HTML document, and the byte-text file helpers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "formats/mime_parser.h"
#include "platform/uniini.h"

namespace ravelin {

// The boundary of every multipart this system writes; nothing in it is generated.
inline constexpr std::u16string_view kMimeBoundary = u"-----NextPart--qazWsxeDcrfV--";

// The MIME text (byte text) of the record's body: its Content headers, then the content.
// A multipart record becomes one flat multipart/mixed with the constant boundary: the
// record's `Message` as a text/plain part, then every element of `attFiles` in order, and
// no closing delimiter. Plain text goes out as 8bit, every other part as Base64 in lines
// of 72. The record's own `Message` is true text and goes out in UTF-8; the elements of
// `attFiles` keep their octets, text parts under their charset (the ANSI code page's
// name when they have none). With `Delim` a single line feed the text is prepared for SMTP (CR LF
// becomes LF, a line holding only "." is doubled). A failure is reported under
// "Ravelin.CreateMessageBody" and what was built until then comes back.
std::u16string CreateMessageBody(const mailHeader& mheader, std::u16string_view Delim = u"\r\n");

// "Harbourdesk EmailClient v." and the component's version "major.minor.revision".
std::u16string GetMailer();
// "X-Mailer:" directly followed by Mailer.
std::u16string CodeMailer(std::u16string_view Mailer);

// The head of the blank HTML document, and the whole blank document.
std::u16string DocBlancHeader();
std::u16string docBlanc();

// ReadFileBytes, WriteTextFile and WriteFileBytes live in platform/uniini.h.

}  // namespace ravelin
