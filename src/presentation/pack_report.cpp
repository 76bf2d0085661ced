// Pack report, saving a page with its files, clearing the extraction folders.
#include "presentation/pack_report.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>

#include "formats/charsets.h"
#include "formats/message_builder.h"
#include "platform/event_loop.h"
#include "platform/filesystem.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "presentation/letter_html.h"
#include "runtime/errors.h"
#include "runtime/types.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin::presentation {

namespace {

constexpr int32_t kNoCurrentRecord = 3021;
const std::u16string kSection = u"Ravelin.GetHTMLPack2";

}  // namespace

std::u16string GetHTMLPackCore(dao::Recordset& letters, const std::u16string& pTitle, bool fetchFiles,
                               dao::Database* db, ReportSink* sink, const std::function<CurrentFiles()>& current) {
  if (sink) {
    sink->ClearStop();
    sink->StatusText(module1::GetMUIString(kSection, u"txt1", u"Searching the letters ..."));
  }
  const std::u16string folder = MailFilesFolder();
  std::u16string doc = Replace(docBlanc(), u"</BODY></html>", u"", 1, 1, Compare::Text);
  const std::u16string title =
      pTitle.empty() ? module1::GetMUIString(kSection, u"txt2", u"Pack of letters")
                     : module1::GetMUIStringF(kSection, u"txt3", u"Pack of letters, \"%1\"", {pTitle});
  doc += u"<P align=center><FONT size=5>" + GetUnicodeHTMLString(title) + u"</FONT></P>";
  doc += u"<table border=1>";

  int32_t count = 0;
  try {
    letters.MoveLast();
    count = letters.RecordCount();
    letters.MoveFirst();
  } catch (const Error& e) {
    if (e.Number() != kNoCurrentRecord) throw;
    count = 0;
  }
  for (int32_t i = 1; i <= count; ++i) {
    if (fetchFiles && db) {
      std::shared_ptr<dao::Recordset> rows;
      int32_t position = 0;
      try {
        const int32_t key = NullConvLng(letters.GetField(u"key"));
        rows = db->OpenRecordset(store::GetAttachRecordSource(key), dao::dbOpenDynaset);
        Extraction ex;
        std::u16string to = folder;
        position = ExtractAttachments2(*rows, ex, to);
      } catch (...) {
        // A letter whose rows can't be read gives what the report can make of it.
      }
      doc += GetHTMLletter(letters, rows.get(), i, position, folder);
      if (rows) rows->Close();
    } else {
      const CurrentFiles rows = current ? current() : CurrentFiles{};
      doc += GetHTMLletter(letters, rows.files, i, rows.bodyPosition, folder);
    }
    if (sink) sink->Progress(i, 1, std::max(count, 1));
    loop::PumpOnce();
    if (sink && sink->StopRequested()) break;
    if (i < count) letters.MoveNext();
  }
  doc += u"</table> </body></html>";
  if (sink) sink->StatusText(u"");
  return doc;
}

std::u16string PackReport(int32_t pack, ReportSink* sink, std::u16string* title) {
  auto db = store::detail::OpenMailDatabase();
  dao::CloseOnExit closer{db};
  std::u16string name;
  {
    auto packs = db->OpenRecordset(u"Select * from Packs WHERE N=" + NumToText(pack) + u";", dao::dbOpenDynaset);
    if (!packs->Eof()) name = NullConvStr(packs->GetField(u"Name"));
    packs->Close();
  }
  if (title) *title = name;
  auto letters = db->OpenRecordset(store::GetPackMsgRecordSource(pack, ShowAll, false), dao::dbOpenDynaset);
  std::u16string doc = GetHTMLPackCore(*letters, name, true, db.get(), sink);
  letters->Close();
  return doc;
}

int32_t SaveDocumentWithFiles(const Document& doc, const std::u16string& path) {
  const std::u16string parent = fs::ParentFolder(path);
  std::u16string stem = fs::FileName(path);
  if (const size_t dot = stem.find_last_of(u'.'); dot != std::u16string::npos && dot > 0) stem.resize(dot);
  const std::u16string companionName = stem + u".files";
  const std::u16string companion = fs::JoinPath(parent, companionName);

  std::map<std::u16string, bool> copied;
  int32_t files = 0;
  std::u16string out = RewriteExtractedRefs(doc.html, [&](const ExtractedRef& ref) -> std::optional<std::u16string> {
    const std::u16string source = fs::JoinPath(ref.folder, ref.name);
    if (!copied.count(source)) {
      fs::CreateFolders(companion);
      WriteOver(fs::JoinPath(companion, ref.name), fs::ReadAll(source));
      copied[source] = true;
      ++files;
    }
    return GetUnicodeHTMLString(companionName + u"/" + ref.name);
  });
  WriteDocument(path, Document{std::move(out), doc.octets});
  return files;
}

std::u16string SaveHTMLPack(const std::u16string& HTMLdoc, const std::u16string& PackName, CommonDialog& dialog) {
  dialog.CancelError = true;
  dialog.DialogTitle = module1::GetMUIString(kSection, u"DialogTitle", u"Saving the pack");
  dialog.FileName = PackName + u".htm";
  dialog.Filter = module1::GetMUIStringF(kSection, u"Filter", u"Web-page %1", {u"(*.*htm*)|*.*htm*"});
  if (!dialog.ShowSave()) return {};
  const std::u16string path = dialog.FileName;
  if (path.empty()) return {};
  if (fs::FileExists(path)) {
    const std::u16string question = module1::GetMUIStringF(
        kSection, u"msg", u"File with the name VBCRLF %1 VBCRLF already exists. Replace it?", {path});
    if (WideMsgBox(question, mb::kYesNo | mb::kDefaultButton2 | mb::kExclamation) != mb::kYes) return {};
  }
  SaveDocumentWithFiles(Document{HTMLdoc, false}, path);
  return path;
}

int32_t ClearMailFiles() {
  int32_t removed = 0;
  for (const std::u16string& folder : {MailFilesFolder(), TmpFilesFolder()}) {
    if (!fs::FolderExists(folder)) continue;
    for (const std::u16string& file : fs::ListFiles(folder)) {
      fs::DeleteFile(file);
      ++removed;
    }
  }
  return removed;
}

}  // namespace ravelin::presentation
