// A stored letter as HTML: its Files rows extracted to a folder, its HTML body with every
// reference to a part pointed at the extracted file, the complete page of a letter with
// its attachment list, and the table rows one letter gives a pack report.
//
// A Files recordset here is the letter's rows in the order of GetAttachRecordSource; the
// HTML body, when there is one, is the row without a file name whose subtype is "html",
// and it comes last. All walks go from the last row to the first.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/db/dao.h"
#include "presentation/html_text.h"

namespace ravelin::presentation {

// The name a Files row is extracted under: its file name, or "message.html" for the HTML
// body, or "message" with ".txt" for plain text and "." and the subtype for any other;
// then cleaned so that it can never leave its folder.
std::u16string ExtractedName(const std::u16string& filename, const std::u16string& subtype);

// What an extraction wrote, in walk order (element 0 is the last row).
struct Extraction {
  std::vector<std::u16string> FileNames;
  std::vector<bool> IsAttachments;  // the disposition is exactly "attachment"
  std::vector<int32_t> AVPChk;
  int32_t bodyPosition = 0;  // 1-based place of the HTML body row, 0 for none
};

// Writes every row's Data over its file in FolderPath (the "mFiles" folder when empty,
// written back). Returns the body row's 1-based position, 0 when the letter has none.
// A recordset without rows gives 0 silently; a file that can't be written is reported
// under "ExtractAttachments2" and ends the walk.
int32_t ExtractAttachments2(dao::Recordset& rs, Extraction& out, std::u16string& FolderPath);

// The body document of the current row (the HTML body) with its references rewritten.
// ForSaving: references become "folder/name" relative to the folder's parent and the
// base is resolved; otherwise "file://" paths. RecodeToUnicode: the document is recoded
// from its charset (the row's, else the document's) into true text. CodePage and
// CodePageID are written back. Failures are reported under "CreateHTML2" (a missing row,
// 3021, silently) and what was made so far comes back.
Document CreateHTMLCore(dao::Recordset& rs, const std::u16string& FolderPath, std::u16string& CodePage,
                        bool ForSaving, bool RecodeToUnicode, int32_t& CodePageID);

// The letter with key Message_key as a complete page: its HTML body, or with Force its
// text, and a list of its attachments. An empty html when the letter isn't found, or has
// no HTML body and Force is false.
Document CreateHTMLByMsgNumber(const std::u16string& Message_key, bool Force);

// The letter's HTML body as the viewer shows it: its parts extracted to "mFiles", the
// body row's document with references to them. Empty html when it has no HTML body.
Document LetterBody(int32_t key);

// The report rows of the current letter of rsLetter: header row, body row (photo cell
// and body cell) and attachment rows. bodyPosition is the HTML body row's 1-based place
// in rsFiles, 0 for none. Every failing step leaves its piece empty.
std::u16string GetHTMLletter(dao::Recordset& rsLetter, dao::Recordset* rsFiles, int32_t number,
                             int32_t bodyPosition, const std::u16string& folder);

}  // namespace ravelin::presentation
