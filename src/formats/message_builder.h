// The message builder: a `mailHeader` back into MIME text, a stored letter into an .eml
// file, the mailer name, the blank HTML document, and the byte-text file helpers.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "core/uniini.h"
#include "formats/mime_parser.h"

namespace ravelin {

namespace dao {
class Recordset;
}
class CollisionHelper;

// The boundary of every multipart this system writes; nothing in it is generated.
inline constexpr std::u16string_view kMimeBoundary = u"-----NextPart--qazWsxeDcrfV--";

// The MIME text (byte text) of the record's body: its Content headers, then the content.
// A multipart record becomes one flat multipart/mixed with the constant boundary: the
// record's `Message` as a text/plain part, then every element of `attFiles` in order, and
// no closing delimiter. Plain text goes out as 8bit UTF-8, every other part as Base64 in
// lines of 72. With `Delim` a single line feed the text is prepared for SMTP (CR LF
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

// ReadFileBytes, WriteTextFile and WriteFileBytes live in core/uniini.h.

// Options of CreateEML beyond the letter's number; every one may be left at its default.
struct CreateEMLOptions {
  std::shared_ptr<dao::Recordset> RsLetters;  // positioned on the letter; opened here when null
  std::shared_ptr<dao::Recordset> RsAttach;   // the letter's attachment rows; opened here when null
  std::u16string FolderPath;                  // where to save; nothing is saved when empty
  std::u16string FileName;                    // wanted name of the file, without extension
  std::u16string FileExtension;
  std::u16string WinName;  // out: the name the file was written under
  std::u16string WinExt;   // out: its extension
  bool AutoGenerateFileName = false;  // name the file after FileName, or "Message N"
  int32_t FOFlags = 0;
  std::shared_ptr<CollisionHelper> Collision;  // a default service is used when null
};

// The .eml text of the stored letter msgNumber: its Subject, Date, From, To and X-Mailer
// headers, then CreateMessageBody of its text and attachments. With a FolderPath the text
// is saved there too (an existing file is never overwritten; the new one gets a numbered
// name). "" when the letter isn't found; failures are reported under "Ravelin.CreateEML".
std::u16string CreateEML(int32_t msgNumber, CreateEMLOptions& options);
std::u16string CreateEML(int32_t msgNumber);

}  // namespace ravelin
