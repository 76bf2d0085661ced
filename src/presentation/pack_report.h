// The pack report: one page with every letter of a pack in a table, built row by row by
// GetHTMLletter with progress, status texts and a stop flag; saving a page with the
// files it refers to in a companion folder; clearing the extraction folders.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/db/dao.h"
#include "presentation/html_text.h"
#include "presentation/views.h"

namespace ravelin::presentation {

// The Files rows of the current letter as the caller keeps them, and the 1-based place of
// its HTML body row (0 for none).
struct CurrentFiles {
  dao::Recordset* files = nullptr;
  int32_t bodyPosition = 0;
};

// The report over `letters` (the pack's letters view). With fetchFiles each letter's
// Files rows are opened on `db` and extracted here; otherwise `current` is asked, once
// the letter is current, for the rows the caller keeps. Stopping through the sink ends
// the walk after the current letter; the page is closed properly all the same. An empty
// pack gives the title and an empty table.
std::u16string GetHTMLPackCore(dao::Recordset& letters, const std::u16string& pTitle, bool fetchFiles,
                               dao::Database* db, ReportSink* sink,
                               const std::function<CurrentFiles()>& current = {});

// The report of pack number `pack` in the mail database, titled by the pack's name.
// Throws the engine's failures (a pack that doesn't exist gives an empty table).
std::u16string PackReport(int32_t pack, ReportSink* sink, std::u16string* title = nullptr);

// Writes `doc` to `path` with every file of the extraction folders it refers to copied
// into the companion folder "NAME.files" beside it (NAME: the path without its
// extension), and those references pointed there. References in the forms this layer
// writes are found: raw or as character references, with or without "file://", and
// relative to the folder's parent. Returns the number of files copied.
int32_t SaveDocumentWithFiles(const Document& doc, const std::u16string& path);

// The save dialog for a pack page, the question before writing over an existing file,
// then SaveDocumentWithFiles. Returns the path written, "" when the user cancelled or
// declined.
std::u16string SaveHTMLPack(const std::u16string& HTMLdoc, const std::u16string& PackName, CommonDialog& dialog);

// Removes the files the letters and shown files left in "mFiles" and "tmpFiles" (files
// directly inside them; links are removed, not followed). Returns how many went.
int32_t ClearMailFiles();

}  // namespace ravelin::presentation
