// The page's dialogs: questions over the page's WebSocket, answered on the nested loop.
#include "workbench/page_interaction.h"

#include <cstdlib>
#include <filesystem>

#include "desktop/main_page.h"
#include "workbench/main_ops.h"
#include "platform/db/dao.h"
#include "platform/filesystem.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/types.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin::workbench {

namespace {

constexpr int32_t kPickerRows = 500;  // the letter picker shows the newest letters

std::optional<std::u16string> TextAnswer(const std::optional<json::value>& a) {
  if (!a || !a->is_string()) return std::nullopt;
  return Utf16(*a);
}

std::filesystem::path HomePath() {
  const char* home = std::getenv("HOME");
  std::error_code ec;
  auto p = std::filesystem::canonical(home && *home ? home : "/", ec);
  return ec ? std::filesystem::path() : p;
}

// The question with the captions of the buttons a dialog may draw.
std::optional<json::value> AskPage(WorkbenchServer& server, json::object dialog) {
  static const std::pair<const char*, const char16_t*> captions[] = {
      {"OK", u"OK"},     {"Cancel", u"Cancel"}, {"Yes", u"Yes"},   {"No", u"No"},
      {"Abort", u"Abort"}, {"Retry", u"Retry"}, {"Ignore", u"Ignore"}, {"Open", u"Open"},
      {"Save", u"Save"}, {"FileName", u"File name"}};
  json::object texts;
  for (const auto& [key, english] : captions)
    texts[key] = JsonText(module1::GetMUIString(u"Dialogs", FromUtf8(key), english));
  dialog["texts"] = std::move(texts);
  return server.Ask(std::move(dialog));
}

}  // namespace

int32_t PageInteraction::MsgBox(const std::u16string& text, int32_t style, const std::u16string& title) {
  const auto a = AskPage(server_, json::object{
      {"kind", "MsgBox"}, {"text", JsonText(text)}, {"title", JsonText(title)}, {"style", style}});
  if (!a || !a->is_int64()) return mb::kCancel;
  return static_cast<int32_t>(a->as_int64());
}

std::optional<std::u16string> PageInteraction::InputBox(const std::u16string& prompt, const std::u16string& title,
                                                        const std::u16string& defaultText) {
  return TextAnswer(AskPage(server_, json::object{
      {"kind", "InputBox"}, {"text", JsonText(prompt)}, {"title", JsonText(title)}, {"value", JsonText(defaultText)}}));
}

std::optional<std::u16string> PageInteraction::MessageWindow(const std::u16string& text, const std::u16string& caption,
                                                             bool editable) {
  return TextAnswer(AskPage(server_, json::object{{"kind", "MessageWindow"},
                                             {"text", JsonText(text)},
                                             {"title", JsonText(caption)},
                                             {"editable", editable}}));
}

std::vector<std::u16string> PageInteraction::SelectLetters(const std::u16string& rProject, bool InsArcPrj) {
  json::array rows;
  try {
    const auto fields = store::FieldsOf(module1::GetEmailDbPath());
    const int32_t flags = Trim(rProject).empty() ? Allmsg | AllmFolders : CurPrj | AllmFolders;
    const std::u16string sql = store::GetRecordSource(fields, u"", rProject, flags, u"key desc", InsArcPrj);
    auto db = store::detail::OpenMailDatabase();
    auto rs = db->OpenRecordset(sql, dao::dbOpenSnapshot);
    for (int32_t i = 0; i < kPickerRows && !rs->Eof(); ++i, rs->MoveNext())
      rows.push_back(json::object{{"key", NullConvLng(rs->GetField(u"key"))},
                                  {"subject", JsonText(NullConvStr(rs->GetField(u"Subject")))},
                                  {"from", JsonText(NullConvStr(rs->GetField(u"From")))},
                                  {"folder", JsonText(NullConvStr(rs->GetField(u"MailFolder")))}});
    rs->Close();
    db->Close();
  } catch (const Error&) {
    // An unreadable store offers no letters; the user cancels.
  }
  const auto a = AskPage(server_, json::object{{"kind", "LetterPicker"},
                                          {"title", JsonText(module1::GetMUIString(u"frmSelectLetter", u"Caption",
                                                                                   u"Choose letters"))},
                                          {"project", JsonText(rProject)},
                                          {"rows", std::move(rows)}});
  std::vector<std::u16string> keys;
  if (a && a->is_array()) {
    for (const auto& k : a->as_array()) {
      if (k.is_int64()) {
        keys.push_back(NumToText(static_cast<int32_t>(k.as_int64())));
      } else if (k.is_string()) {
        keys.push_back(Utf16(k));
      }
    }
  }
  return keys;
}

std::optional<Interaction::PackChoice> PageInteraction::SelectPack(const std::u16string& rProject, bool InsArcPrj,
                                                                    int32_t prjFiltr, bool ShowCancelButton) {
  json::array packs;
  try {
    const auto fields = store::FieldsOf(module1::GetEmailDbPath());
    const std::u16string sql = store::GetPacksRecordSource(fields, rProject, prjFiltr, false, InsArcPrj);
    if (!sql.empty()) {
      auto db = store::detail::OpenMailDatabase();
      auto rs = db->OpenRecordset(sql, dao::dbOpenSnapshot);
      for (; !rs->Eof(); rs->MoveNext())
        packs.push_back(json::object{{"number", NullConvLng(rs->GetField(u"N"))},
                                     {"name", JsonText(NullConvStr(rs->GetField(u"Name")))}});
      rs->Close();
      db->Close();
    }
  } catch (const Error&) {
  }
  const auto a = AskPage(server_, json::object{
      {"kind", "PackPicker"},
      {"title", JsonText(module1::GetMUIString(u"frmSelectPack", u"Caption", u"Choose a pack"))},
      {"packs", std::move(packs)},
      {"cancel", ShowCancelButton}});
  if (!a || !a->is_object()) return std::nullopt;
  const auto& o = a->as_object();
  const auto* n = o.if_contains("number");
  if (!n || !n->is_int64()) return std::nullopt;
  PackChoice c;
  c.PackNumber = static_cast<int32_t>(n->as_int64());
  if (const auto* name = o.if_contains("name")) c.PackName = Utf16(*name);
  return c;
}

std::optional<std::u16string> PageInteraction::ChooseFolder(const std::u16string& title, const std::u16string& root,
                                                            bool InsArcPrj) {
  std::vector<desktop::ProjectNode> side;
  for (auto& n : desktop::MainPage().ProjectTree())
    if (n.archive == InsArcPrj) side.push_back(std::move(n));
  return TextAnswer(AskPage(server_, json::object{
      {"kind", "FolderChooser"}, {"title", JsonText(title)}, {"root", JsonText(root)}, {"tree", ProjectTreeJson(side)}}));
}

std::optional<std::u16string> PageInteraction::ChooseFile(bool save, const std::u16string& title,
                                                          const std::u16string& filter,
                                                          const std::u16string& fileName) {
  const auto a = AskPage(server_, json::object{{"kind", save ? "SaveFile" : "OpenFile"},
                                          {"title", JsonText(title)},
                                          {"filter", JsonText(filter)},
                                          {"value", JsonText(fs::FileName(fileName))}});
  const auto rel = TextAnswer(a);
  if (!rel) return std::nullopt;
  auto path = InsideHome(*rel);
  if (!path) return std::nullopt;
  if (!save && !fs::FileExists(*path)) return std::nullopt;
  return path;
}

bool PageCommonDialog::ShowSave() {
  auto p = interaction_.ChooseFile(true, DialogTitle, Filter, FileName);
  if (!p) return false;
  FileName = *p;
  return true;
}

bool PageCommonDialog::ShowOpen() {
  auto p = interaction_.ChooseFile(false, DialogTitle, Filter, FileName);
  if (!p) return false;
  FileName = *p;
  return true;
}

std::u16string DialogHome() { return FromUtf8(HomePath().string()); }

std::optional<std::u16string> InsideHome(const std::u16string& relative) {
  const auto home = HomePath();
  if (home.empty()) return std::nullopt;
  std::filesystem::path rel(ToUtf8(relative));
  if (rel.is_absolute()) return std::nullopt;
  for (const auto& part : rel)
    if (part == "..") return std::nullopt;
  // The deepest existing folder is resolved (a link in it may not lead out); a new file
  // name may follow it.
  const auto full = home / rel;
  std::error_code ec;
  const auto resolved = std::filesystem::weakly_canonical(full, ec);
  if (ec) return std::nullopt;
  const std::string h = home.string(), r = resolved.string();
  if (r != h && r.rfind(h == "/" ? h : h + "/", 0) != 0) return std::nullopt;
  return FromUtf8(r);
}

std::optional<std::vector<DirEntry>> ListHomeFolder(const std::u16string& relative) {
  const auto path = InsideHome(relative);
  if (!path) return std::nullopt;
  std::error_code ec;
  const std::filesystem::path dir(ToUtf8(*path));
  if (!std::filesystem::is_directory(dir, ec)) return std::nullopt;
  std::vector<DirEntry> folders, files;
  for (std::filesystem::directory_iterator it(dir, ec), end; !ec && it != end; it.increment(ec)) {
    const std::string name = it->path().filename().string();
    if (name.empty() || name[0] == '.') continue;  // hidden files stay hidden
    (it->is_directory(ec) ? folders : files).push_back({FromUtf8(name), it->is_directory(ec)});
  }
  const auto byName = [](const DirEntry& a, const DirEntry& b) { return a.name < b.name; };
  std::sort(folders.begin(), folders.end(), byName);
  std::sort(files.begin(), files.end(), byName);
  folders.insert(folders.end(), files.begin(), files.end());
  return folders;
}

std::shared_ptr<PageInteraction> InstallPageInteraction(WorkbenchServer& server) {
  auto interaction = std::make_shared<PageInteraction>(server);
  SetInteraction(interaction);
  server.Handle("dialog.dir", [](Page& page, const json::object& m) {
    const std::u16string rel = m.if_contains("path") ? Utf16(m.at("path")) : std::u16string();
    json::object answer{{"op", "dialog.dir"}, {"id", m.if_contains("id") ? m.at("id") : json::value(nullptr)},
                        {"path", JsonText(rel)}};
    if (auto entries = ListHomeFolder(rel)) {
      json::array list;
      for (const auto& e : *entries) list.push_back(json::object{{"name", JsonText(e.name)}, {"folder", e.folder}});
      answer["entries"] = std::move(list);
    } else {
      answer["entries"] = nullptr;
    }
    page.Send(answer);
  });
  return interaction;
}

}  // namespace ravelin::workbench
