// The views that the pack, project and rule operations fill and read: a list of items
// (text, key, tag, tool tip, icons, sub-items with tags, column headers by key,
// selection), a status bar and toolbar buttons. A window draws them; the in-memory
// forms here are what the tests and the CLI use.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace ravelin::packs {

struct ListSubItem {
  std::u16string Text;
  std::u16string Tag;
};

struct ListItem {
  std::u16string Text, Key, Tag, ToolTipText;
  std::u16string Icon, SmallIcon;  // image keys: "Prj", "Archive", "Pack"
  std::vector<ListSubItem> SubItems;
};

class ListView {
 public:
  virtual ~ListView() = default;
  virtual void Clear() = 0;
  // Adds at the end; the index of the new item.
  virtual int32_t Add(ListItem item) = 0;
  virtual void Remove(int32_t index) = 0;
  virtual const std::vector<ListItem>& Items() const = 0;
  virtual ListItem& Item(int32_t index) = 0;
  // The selected item's index; nothing when none is selected.
  virtual std::optional<int32_t> Selected() const = 0;
  virtual void Select(std::optional<int32_t> index) = 0;
  // The 0-based index of the column header with that key; nothing when there is none.
  virtual std::optional<int32_t> ColumnIndex(const std::u16string& key) const = 0;
  // Whether the list has an image list for its icons.
  virtual bool HasIcons() const = 0;
  virtual bool AutoRedraw() const = 0;
  virtual void SetAutoRedraw(bool on) = 0;
  int32_t Count() const { return static_cast<int32_t>(Items().size()); }
  // The first item whose text equals `text` (case ignored); nothing when none does.
  std::optional<int32_t> FindText(const std::u16string& text) const;
};

class MemoryListView : public ListView {
 public:
  // Column header keys in order ("Name", "Folder"...); icons on by default.
  explicit MemoryListView(std::vector<std::u16string> columns = {}, bool icons = true)
      : columns_(std::move(columns)), icons_(icons) {}
  void Clear() override;
  int32_t Add(ListItem item) override;
  void Remove(int32_t index) override;
  const std::vector<ListItem>& Items() const override { return items_; }
  ListItem& Item(int32_t index) override;
  std::optional<int32_t> Selected() const override { return selected_; }
  void Select(std::optional<int32_t> index) override;
  std::optional<int32_t> ColumnIndex(const std::u16string& key) const override;
  bool HasIcons() const override { return icons_; }
  bool AutoRedraw() const override { return redraw_; }
  void SetAutoRedraw(bool on) override { redraw_ = on; }

 private:
  std::vector<std::u16string> columns_;
  std::vector<ListItem> items_;
  std::optional<int32_t> selected_;
  bool icons_ = true;
  bool redraw_ = true;
};

class StatusBar {
 public:
  virtual ~StatusBar() = default;
  virtual void SetText(const std::u16string& text) = 0;
};

class MemoryStatusBar : public StatusBar {
 public:
  void SetText(const std::u16string& text) override { texts.push_back(text); }
  std::u16string Text() const { return texts.empty() ? std::u16string() : texts.back(); }
  std::vector<std::u16string> texts;  // every text shown, in order
};

// A toolbar button as the handlers read and set it.
struct ToolbarButton {
  std::u16string Key, Caption, ToolTipText;
  bool ShowsText = false;  // the toolbar draws captions
};

// The long loops' link to their caller: progress, status texts and the stop flag.
struct LoopEvents {
  virtual ~LoopEvents() = default;
  virtual void Progress(double value, double min, double max) {}
  virtual void Status(const std::u16string& text) {}
  // Lets the event loop run for a turn; true when the user asked to stop.
  virtual bool Yield() { return false; }
};

}  // namespace ravelin::packs
