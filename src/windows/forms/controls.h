// The control kinds of a form, each holding its state in memory: the logic reads back
// what it set and what the user did, tests read the same, and the page draws from the
// changes the form records. Indexes are 0-based throughout. What the user did comes back
// to the page with the next batch (a choice, a check, a tab), except typed text, which
// the page has and which could overtake the user's next keys.
//
// Values set from code fire the handler the user's action would: a text box's or combo
// box's Text fires Change, a check box's or option button's Value and a combo box's
// ListIndex fire Click, a tab strip's Tab fires TabChange. Setting the value it already
// has fires nothing. Windows that fill controls while loading guard their handlers with
// their own flags.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "packs/views.h"
#include "presentation/views.h"
#include "windows/forms/form.h"

namespace ravelin::windows::forms {

class Label : public Control {
 public:
  Label(Form& form, std::string name, std::u16string caption = {})
      : Control(form, std::move(name), Kind::Label), caption_(std::move(caption)) {}
  const std::u16string& Caption() const { return caption_; }
  void SetCaption(const std::u16string& caption);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;

 private:
  std::u16string caption_;
};

// Single-line, multi-line or password text. Events: Change {text}, KeyPress {key},
// LostFocus.
class TextBox : public Control {
 public:
  enum class Mode : uint8_t { SingleLine, MultiLine, Password };
  TextBox(Form& form, std::string name, Mode mode = Mode::SingleLine)
      : Control(form, std::move(name), Kind::TextBox), mode_(mode) {}
  const std::u16string& Text() const { return text_; }
  void SetText(const std::u16string& text);  // fires Change
  Mode GetMode() const { return mode_; }
  void SetMode(Mode mode);
  bool Locked() const { return locked_; }  // read-only for the user
  void SetLocked(bool on);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  std::u16string text_;
  Mode mode_;
  bool locked_ = false;
};

// Value 0 unchecked, 1 checked, 2 grayed. Event: Click {value}.
class CheckBox : public Control {
 public:
  CheckBox(Form& form, std::string name, std::u16string caption = {})
      : Control(form, std::move(name), Kind::CheckBox), caption_(std::move(caption)) {}
  const std::u16string& Caption() const { return caption_; }
  void SetCaption(const std::u16string& caption);
  int32_t Value() const { return value_; }
  void SetValue(int32_t value);  // fires Click
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  std::u16string caption_;
  int32_t value_ = 0;
};

// One of a group of exclusive choices: the form's option buttons with the same Group.
// Setting Value true clears the others of the group (their handlers don't run) and fires
// Click on this one. Event: Click.
class OptionButton : public Control {
 public:
  OptionButton(Form& form, std::string name, std::u16string caption = {}, std::string group = "")
      : Control(form, std::move(name), Kind::OptionButton), caption_(std::move(caption)), group_(std::move(group)) {}
  const std::u16string& Caption() const { return caption_; }
  void SetCaption(const std::u16string& caption);
  const std::string& Group() const { return group_; }
  bool Value() const { return value_; }
  void SetValue(bool on);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  void Choose();
  std::u16string caption_;
  std::string group_;
  bool value_ = false;
};

// An editable drop-down (Style 0) or a list to choose from (Style 2). Events: Change
// {text} when the user types, Click {index} when the user picks an entry.
class ComboBox : public Control {
 public:
  enum Style : int32_t { kDropdownCombo = 0, kDropdownList = 2 };
  ComboBox(Form& form, std::string name, int32_t style = kDropdownCombo)
      : Control(form, std::move(name), Kind::ComboBox), style_(style) {}
  const std::u16string& Text() const { return text_; }
  void SetText(const std::u16string& text);  // fires Change
  void Clear();
  void AddItem(const std::u16string& item);
  void RemoveItem(int32_t index);
  int32_t ListCount() const { return static_cast<int32_t>(list_.size()); }
  const std::u16string& List(int32_t index) const;
  const std::vector<std::u16string>& Items() const { return list_; }
  // -1 when no entry is chosen. Choosing one sets Text to it and fires Click.
  int32_t ListIndex() const { return listIndex_; }
  void SetListIndex(int32_t index);
  int32_t GetStyle() const { return style_; }
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  std::u16string text_;
  std::vector<std::u16string> list_;
  int32_t listIndex_ = -1;
  int32_t style_;
};

// A list with column headers by key, items with text, key, tag, icons and sub-items, one
// selected item, check boxes and sorting. It is the list the pack and project operations
// fill. Events: ItemClick {index} (selects it first), DblClick, ItemCheck {index,
// checked}, ColumnClick {index}.
class ListView : public Control, public packs::ListView {
 public:
  struct Column {
    std::u16string Key, Text;
    int32_t Width = 0;  // pixels; 0 lets the page choose
  };
  ListView(Form& form, std::string name, std::vector<Column> columns = {})
      : Control(form, std::move(name), Kind::ListView), columns_(std::move(columns)) {}

  const std::vector<Column>& Columns() const { return columns_; }
  void AddColumn(Column column);

  // packs::ListView
  void Clear() override;
  int32_t Add(packs::ListItem item) override;
  void Remove(int32_t index) override;
  const std::vector<packs::ListItem>& Items() const override { return items_; }
  // The item to change in place; the whole list is sent again with the next batch.
  packs::ListItem& Item(int32_t index) override;
  std::optional<int32_t> Selected() const override { return selected_; }
  void Select(std::optional<int32_t> index) override;
  std::optional<int32_t> ColumnIndex(const std::u16string& key) const override;
  bool HasIcons() const override { return true; }
  bool AutoRedraw() const override { return redraw_; }
  void SetAutoRedraw(bool on) override { redraw_ = on; }

  bool Bold(int32_t index) const;
  void SetBold(int32_t index, bool on);
  bool Checked(int32_t index) const;
  void SetChecked(int32_t index, bool on);
  bool Checkboxes() const { return checkboxes_; }
  void SetCheckboxes(bool on);

  // Sorting: while Sorted, the items stay ordered by column SortKey (0 the item's text,
  // n its sub-item n) ignoring case, descending with SortOrder 1; the selection follows
  // its item.
  bool Sorted() const { return sorted_; }
  void SetSorted(bool on);
  int32_t SortKey() const { return sortKey_; }
  void SetSortKey(int32_t column);
  int32_t SortOrder() const { return sortOrder_; }
  void SetSortOrder(int32_t order);

  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  struct Flags {
    bool bold = false, checked = false;
  };
  void Resort();
  std::vector<Column> columns_;
  std::vector<packs::ListItem> items_;
  std::vector<Flags> flags_;  // beside items_
  std::optional<int32_t> selected_;
  bool redraw_ = true, checkboxes_ = false, sorted_ = false;
  int32_t sortKey_ = 0, sortOrder_ = 0;
};

// A tree of nodes by key. Events: ItemClick {key} (selects it first), DblClick.
class TreeView : public Control {
 public:
  struct Node {
    std::u16string Key, Parent, Text, Image;  // Parent "" for a root
    bool Expanded = false;
  };
  TreeView(Form& form, std::string name) : Control(form, std::move(name), Kind::TreeView) {}
  void Clear();
  // Adds a node under `parent` ("" for a root). False (nothing added) when the key is
  // taken or the parent is unknown.
  bool Add(Node node);
  bool Remove(const std::u16string& key);  // with its descendants
  const std::vector<Node>& Nodes() const { return nodes_; }
  const Node* Find(const std::u16string& key) const;
  void SetExpanded(const std::u16string& key, bool on);
  const std::u16string& SelectedKey() const { return selected_; }
  void Select(const std::u16string& key);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  std::vector<Node> nodes_;
  std::u16string selected_;
};

// Pages with captions; a page may be hidden. Event: TabChange {index}.
class TabStrip : public Control {
 public:
  TabStrip(Form& form, std::string name, std::vector<std::u16string> captions = {});
  int32_t Count() const { return static_cast<int32_t>(tabs_.size()); }
  const std::u16string& TabCaption(int32_t index) const;
  void SetTabCaption(int32_t index, const std::u16string& caption);
  bool TabVisible(int32_t index) const;
  void SetTabVisible(int32_t index, bool on);
  int32_t Tab() const { return tab_; }
  void SetTab(int32_t index);  // fires TabChange
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  struct Page {
    std::u16string caption;
    bool visible = true;
  };
  std::vector<Page> tabs_;
  int32_t tab_ = 0;
};

// Buttons by key. Events: Click {key} (a check button's Value flips first),
// ButtonDropDown {key}.
class Toolbar : public Control {
 public:
  enum Style : int32_t { kDefault = 0, kCheck = 1, kSeparator = 3, kDropdown = 5 };
  struct Button {
    std::u16string Key, Caption, ToolTipText, Image;
    bool Enabled = true, Visible = true;
    int32_t Style = kDefault;
    bool Value = false;  // pressed, for a check button
  };
  Toolbar(Form& form, std::string name) : Control(form, std::move(name), Kind::Toolbar) {}
  void AddButton(Button button);
  const std::vector<Button>& Buttons() const { return buttons_; }
  // The button with that key; throws for an unknown key, as the logic's slip it is.
  const Button& Get(const std::u16string& key) const;
  void SetCaption(const std::u16string& key, const std::u16string& caption);
  void SetButtonToolTip(const std::u16string& key, const std::u16string& text);
  void SetImage(const std::u16string& key, const std::u16string& image);
  void SetButtonEnabled(const std::u16string& key, bool on);
  void SetButtonVisible(const std::u16string& key, bool on);
  void SetValue(const std::u16string& key, bool pressed);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  Button& At(const std::u16string& key);
  std::vector<Button> buttons_;
};

// Panels with text and a picture; SetText writes the first panel.
class StatusBar : public Control, public packs::StatusBar {
 public:
  struct Panel {
    std::u16string Text, Picture;
  };
  StatusBar(Form& form, std::string name, int32_t panels = 1);
  int32_t Count() const { return static_cast<int32_t>(panels_.size()); }
  const Panel& GetPanel(int32_t index) const;
  void SetPanelText(int32_t index, const std::u16string& text);
  void SetPanelPicture(int32_t index, const std::u16string& picture);
  void SetText(const std::u16string& text) override { SetPanelText(0, text); }
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;

 private:
  std::vector<Panel> panels_;
};

class ProgressBar : public Control {
 public:
  ProgressBar(Form& form, std::string name) : Control(form, std::move(name), Kind::ProgressBar) {}
  double Min() const { return min_; }
  double Max() const { return max_; }
  double Value() const { return value_; }
  // Value must lie within Min..Max; throws otherwise, as the platform's control does.
  void SetRange(double min, double max);
  void SetValue(double value);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;

 private:
  double min_ = 0, max_ = 100, value_ = 0;
};

// Ticks every Interval milliseconds while Enabled and Interval > 0; the page keeps the
// clock. Event: Timer. Disabled by default.
class Timer : public Control {
 public:
  Timer(Form& form, std::string name, int32_t interval = 0);
  int32_t Interval() const { return interval_; }
  void SetInterval(int32_t ms);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;

 private:
  int32_t interval_;
};

// A picture by address (a page of the server or a data: URL). Events: Click, DblClick.
class PictureBox : public Control {
 public:
  PictureBox(Form& form, std::string name) : Control(form, std::move(name), Kind::PictureBox) {}
  const std::u16string& Picture() const { return picture_; }
  void SetPicture(const std::u16string& address);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;

 private:
  std::u16string picture_;
};

// A popup menu of items by key. Items that share a Group form a radio group: checking one
// clears the others, and a click on one checks it before the handler runs. Popup shows the
// menu (under a control when one is named). Event: MenuClick {key}.
class Menu : public Control {
 public:
  struct Item {
    std::u16string Key, Caption;
    std::string Group;  // "" for none
    bool Checked = false, Enabled = true, Visible = true;
  };
  Menu(Form& form, std::string name) : Control(form, std::move(name), Kind::Menu) {}
  void Clear();
  void AddItem(Item item);
  const std::vector<Item>& Items() const { return items_; }
  const Item& Get(const std::u16string& key) const;  // throws for an unknown key
  void SetChecked(const std::u16string& key, bool on);
  void SetItemEnabled(const std::u16string& key, bool on);
  void SetItemVisible(const std::u16string& key, bool on);
  void SetItemCaption(const std::u16string& key, const std::u16string& caption);
  // The checked item of a radio group; "" when none.
  std::u16string CheckedIn(std::string_view group) const;
  void Popup(const std::string& underControl = "");
  int32_t Popups() const { return popups_; }
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  Item& At(const std::u16string& key);
  std::vector<Item> items_;
  int32_t popups_ = 0;
  std::string popupUnder_;
};

// The HTML view and editor: the frame a letter or a pack report is shown in, and the
// compose window writes in when EditMode is on. The page shows it sandboxed, without
// scripts. Events: Change {html} (edited by the user), Click {href} on a link.
class HtmlFrame : public Control, public presentation::HtmlView {
 public:
  HtmlFrame(Form& form, std::string name, bool editMode = false)
      : Control(form, std::move(name), Kind::HtmlFrame), edit_(editMode) {}
  std::u16string DocumentHTML() const override { return html_; }
  void SetDocumentHTML(const std::u16string& html) override;
  bool Busy() const override { return false; }
  std::u16string BodyInnerText() const override;
  void SetBodyInnerText(const std::u16string& text) override;
  // The link the user last clicked, "" before any.
  std::u16string HrefAt(int32_t, int32_t) const override { return href_; }
  void PrintDocument(bool prompt) override;
  int32_t Prints() const { return prints_; }
  bool EditMode() const { return edit_; }
  void SetEditMode(bool on);
  // Shows a document the server serves by its address (a letter's page with its pictures,
  // under the server's own document policy) instead of DocumentHTML; "" goes back to
  // DocumentHTML. Such a document is shown, never edited.
  const std::u16string& Location() const { return location_; }
  void SetLocation(const std::u16string& address);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;
  bool Take(Event event, const boost::json::object& args, EventArgs& out) override;

 private:
  std::u16string html_, href_, location_;
  bool edit_;
  int32_t prints_ = 0;
};

// A push button. Event: Click.
class CommandButton : public Control {
 public:
  CommandButton(Form& form, std::string name, std::u16string caption = {})
      : Control(form, std::move(name), Kind::CommandButton), caption_(std::move(caption)) {}
  const std::u16string& Caption() const { return caption_; }
  void SetCaption(const std::u16string& caption);
  // The button Enter presses (Default) and the one Escape presses (Cancel).
  bool Default() const { return default_; }
  void SetDefault(bool on);
  bool Cancel() const { return cancel_; }
  void SetCancel(bool on);
  std::vector<std::string_view> PropNames() const override;
  boost::json::value Prop(std::string_view prop) const override;

 private:
  std::u16string caption_;
  bool default_ = false, cancel_ = false;
};

}  // namespace ravelin::windows::forms
