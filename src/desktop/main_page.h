// The host's main page: what the desktop shows around the mail store. The five mail
// folders, the project tree of both roots, the packs, and the letters of the place chosen,
// a page at a time from the store's own list statements; deleting to Recycle, restoring,
// purging, importing dropped files, a letter or a pack report as a document. The logic
// lives here and is drawn elsewhere (the workbench's page); every text it shows comes
// through GetMUIString.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "presentation/html_text.h"

namespace ravelin::dao {
class Database;
}  // namespace ravelin::dao

namespace ravelin::desktop {

// Where the letter list looks.
struct Place {
  enum class Kind { Folder, Project, Pack };
  Kind kind = Kind::Folder;
  std::u16string folder = u"Inbox";  // Folder
  std::u16string project;            // Project: database form ("Projects\Clients")
  bool archive = false;              // Project: the archive side
  int32_t pack = 0;                  // Pack
};

struct FolderEntry {
  std::u16string name;     // as stored: "Inbox"
  std::u16string caption;  // as shown
};

// One folder of the project tree; `project` is its database form.
struct ProjectNode {
  std::u16string name, project;
  bool archive = false;
  std::vector<ProjectNode> children;
};

struct PackEntry {
  int32_t number = 0;
  std::u16string name, project;
  bool archive = false;
};

struct LetterRow {
  int32_t key = 0;
  std::u16string subject, from, to, folder;
  std::optional<double> date;  // OLE date (UTC): written, else received
  bool read = false;
  int32_t size = 0;
};

struct LetterPage {
  std::vector<LetterRow> rows;
  int32_t page = 1;      // 1-based
  int32_t pageSize = 0;
  bool more = false;     // rows follow this page
};

// Called after each step of a long operation; returning false stops it.
using Progress = std::function<bool(double done, double total, const std::u16string& status)>;

struct ImportResult {
  std::vector<int32_t> keys;  // stored letters, in order
  int32_t failed = 0;
  bool stopped = false;
  std::u16string message;     // as shown: "3 letters imported"
};

class MainPage {
 public:
  // Keeps the mail database open between requests, as a window with its list does, so
  // that each page is read through the connection already open instead of opening the
  // file again. Other programs may still open the store. Release lets it go.
  void Hold();
  void Release();

  // The five mail folders in their usual order.
  std::vector<FolderEntry> Folders() const;
  // Both roots of the project tree as they are on disk (the live root first); folders
  // below `maxDepth` levels are not read.
  std::vector<ProjectNode> ProjectTree(int maxDepth = 8) const;
  // The packs not in the recycle bin, newest first.
  std::vector<PackEntry> Packs() const;

  // One page of the place's letters, newest first for folders and projects, by date for
  // a pack (whose letters in Recycle are left out). The statement is the store's; only
  // the rows of the page are read. Throws the engine's failures.
  LetterPage List(const Place& place, int32_t page) const;
  // The number of letters shown per page (the settings' Letter/MsgCount).
  int32_t PageSize() const;

  // Moves the letters to Recycle; letters already there are removed for good (each one
  // once no project or pack link holds it) when the user says yes to the question.
  // Failures are reported through the funnel; returns how many were handled.
  int32_t Delete(const std::vector<int32_t>& keys) const;
  int32_t Restore(const std::vector<int32_t>& keys) const;

  // Stores the letters of dropped files (.eml, or mbox with many letters) in the store.
  // A file that isn't a letter counts as failed. `progress` may stop it between letters.
  struct DroppedFile {
    std::u16string name;
    std::string octets;
  };
  ImportResult Import(std::vector<DroppedFile> files, const Progress& progress) const;

  // The letter as a document, its parts in the mail-files folder; empty when there's none.
  // The letter counts as read from then on.
  presentation::Document Letter(int32_t key) const;
  // The report of a pack; `progress` may stop it.
  presentation::Document PackReport(int32_t pack, std::u16string* title, const Progress& progress) const;

  // Every text the page shows, by key.
  std::vector<std::pair<std::string, std::u16string>> Texts() const;

 private:
  std::shared_ptr<dao::Database> held_;
};

// The text shown for a place: the folder's caption, the project, the pack's name.
std::u16string PlaceCaption(const Place& place);

}  // namespace ravelin::desktop
