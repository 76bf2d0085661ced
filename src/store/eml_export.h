// A stored letter as an .eml file: its row and attachment rows read back into a record
// and written through the message builder.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace ravelin {

namespace dao {
class Recordset;
}
class CollisionHelper;

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
