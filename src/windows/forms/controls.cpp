// The control kinds: state, the change-from-code events and the page's reports taken in.
#include "windows/forms/controls.h"

#include <algorithm>
#include <boost/json.hpp>
#include <numeric>

#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin::windows::forms {

namespace json = boost::json;

namespace {

// The controls' own error numbers (described in the error table).
constexpr int32_t kInvalidPropertyValue = 380;
constexpr int32_t kInvalidPropertyIndex = 381;
constexpr int32_t kElementNotFound = 35601;

json::value Str(std::u16string_view text) { return json::string(ToUtf8(text)); }

// Props of a kind after the common ones.
std::vector<std::string_view> With(std::vector<std::string_view> own) {
  std::vector<std::string_view> all = {"Visible", "Enabled", "ToolTipText", "Container"};
  all.insert(all.end(), own.begin(), own.end());
  return all;
}

std::optional<std::u16string> ArgText(const json::object& args, std::string_view name) {
  const json::value* v = args.if_contains(name);
  if (!v || !v->is_string()) return std::nullopt;
  return FromUtf8(std::string_view(v->get_string()));
}

std::optional<int64_t> ArgInt(const json::object& args, std::string_view name) {
  const json::value* v = args.if_contains(name);
  if (!v) return std::nullopt;
  if (v->is_int64()) return v->get_int64();
  if (v->is_uint64() && v->get_uint64() <= INT32_MAX) return static_cast<int64_t>(v->get_uint64());
  if (v->is_bool()) return v->get_bool() ? 1 : 0;
  return std::nullopt;
}

std::optional<bool> ArgBool(const json::object& args, std::string_view name) {
  const json::value* v = args.if_contains(name);
  if (!v) return std::nullopt;
  if (v->is_bool()) return v->get_bool();
  if (v->is_int64()) return v->get_int64() != 0;
  return std::nullopt;
}

[[noreturn]] void BadIndex(const std::string& control) {
  throw Error(kInvalidPropertyIndex, u"Invalid property array index in " + FromUtf8(control));
}

[[noreturn]] void BadKey(const std::string& control, const std::u16string& key) {
  throw Error(kElementNotFound, u"Element not found: " + key + u" in " + FromUtf8(control));
}

char16_t Lower(char16_t c) { return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c; }

int CompareNoCase(const std::u16string& a, const std::u16string& b) {
  const size_t n = std::min(a.size(), b.size());
  for (size_t i = 0; i < n; ++i) {
    const char16_t x = Lower(a[i]), y = Lower(b[i]);
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : (a.size() < b.size() ? -1 : 1);
}

}  // namespace

// --- Label -----------------------------------------------------------------------------

void Label::SetCaption(const std::u16string& caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  Touch("Caption");
}

std::vector<std::string_view> Label::PropNames() const { return With({"Caption"}); }

json::value Label::Prop(std::string_view prop) const {
  if (prop == "Caption") return Str(caption_);
  return Control::Prop(prop);
}

// --- TextBox ---------------------------------------------------------------------------

void TextBox::SetText(const std::u16string& text) {
  if (text_ == text) return;
  text_ = text;
  Touch("Text");
  Fire(Event::Change);
}

void TextBox::SetMode(Mode mode) {
  if (mode_ == mode) return;
  mode_ = mode;
  Touch("Mode");
}

void TextBox::SetLocked(bool on) {
  if (locked_ == on) return;
  locked_ = on;
  Touch("Locked");
}

std::vector<std::string_view> TextBox::PropNames() const { return With({"Text", "Mode", "Locked"}); }

json::value TextBox::Prop(std::string_view prop) const {
  if (prop == "Text") return Str(text_);
  if (prop == "Mode") return mode_ == Mode::MultiLine ? "multi" : mode_ == Mode::Password ? "password" : "single";
  if (prop == "Locked") return locked_;
  return Control::Prop(prop);
}

bool TextBox::Take(Event event, const json::object& args, EventArgs& out) {
  if (event == Event::Change) {
    if (locked_) return false;
    if (auto t = ArgText(args, "text")) text_ = *t;
  } else if (event == Event::KeyPress) {
    if (auto k = ArgText(args, "key")) out.key = *k;
  }
  return true;
}

// --- CheckBox --------------------------------------------------------------------------

void CheckBox::SetCaption(const std::u16string& caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  Touch("Caption");
}

void CheckBox::SetValue(int32_t value) {
  if (value < 0 || value > 2) throw Error(kInvalidPropertyValue, u"Invalid property value for " + FromUtf8(Name()));
  if (value_ == value) return;
  value_ = value;
  Touch("Value");
  Fire(Event::Click);
}

std::vector<std::string_view> CheckBox::PropNames() const { return With({"Caption", "Value"}); }

json::value CheckBox::Prop(std::string_view prop) const {
  if (prop == "Caption") return Str(caption_);
  if (prop == "Value") return value_;
  return Control::Prop(prop);
}

bool CheckBox::Take(Event event, const json::object& args, EventArgs&) {
  if (event == Event::Click)
    if (auto v = ArgInt(args, "value"); v && *v >= 0 && *v <= 2) {
      value_ = static_cast<int32_t>(*v);
      Touch("Value");
    }
  return true;
}

// --- OptionButton ----------------------------------------------------------------------

void OptionButton::SetCaption(const std::u16string& caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  Touch("Caption");
}

void OptionButton::Choose() {
  for (const auto& c : Owner().Controls()) {
    auto* other = dynamic_cast<OptionButton*>(c.get());
    if (other && other != this && other->group_ == group_ && other->value_) {
      other->value_ = false;
      other->Touch("Value");
    }
  }
  value_ = true;
  Touch("Value");
}

void OptionButton::SetValue(bool on) {
  if (value_ == on) return;
  if (!on) {
    value_ = false;
    Touch("Value");
    return;
  }
  Choose();
  Fire(Event::Click);
}

std::vector<std::string_view> OptionButton::PropNames() const { return With({"Caption", "Group", "Value"}); }

json::value OptionButton::Prop(std::string_view prop) const {
  if (prop == "Caption") return Str(caption_);
  if (prop == "Group") return json::string(group_);
  if (prop == "Value") return value_;
  return Control::Prop(prop);
}

bool OptionButton::Take(Event event, const json::object&, EventArgs&) {
  if (event == Event::Click) Choose();
  return true;
}

// --- ComboBox --------------------------------------------------------------------------

void ComboBox::SetText(const std::u16string& text) {
  if (text_ == text) return;
  text_ = text;
  Touch("Text");
  Fire(Event::Change);
}

void ComboBox::Clear() {
  if (list_.empty() && listIndex_ == -1) return;
  list_.clear();
  listIndex_ = -1;
  Touch("List");
  Touch("ListIndex");
}

void ComboBox::AddItem(const std::u16string& item) {
  list_.push_back(item);
  Touch("List");
}

void ComboBox::RemoveItem(int32_t index) {
  if (index < 0 || index >= ListCount()) BadIndex(Name());
  list_.erase(list_.begin() + index);
  if (listIndex_ == index) listIndex_ = -1;
  else if (listIndex_ > index) --listIndex_;
  Touch("List");
  Touch("ListIndex");
}

const std::u16string& ComboBox::List(int32_t index) const {
  if (index < 0 || index >= ListCount()) BadIndex(Name());
  return list_[index];
}

void ComboBox::SetListIndex(int32_t index) {
  if (index < -1 || index >= ListCount()) BadIndex(Name());
  if (listIndex_ == index) return;
  listIndex_ = index;
  Touch("ListIndex");
  if (index >= 0 && text_ != list_[index]) {
    text_ = list_[index];
    Touch("Text");
  }
  Fire(Event::Click);
}

std::vector<std::string_view> ComboBox::PropNames() const { return With({"Style", "List", "ListIndex", "Text"}); }

json::value ComboBox::Prop(std::string_view prop) const {
  if (prop == "Text") return Str(text_);
  if (prop == "List") {
    json::array a;
    for (const auto& s : list_) a.push_back(Str(s));
    return a;
  }
  if (prop == "ListIndex") return listIndex_;
  if (prop == "Style") return style_;
  return Control::Prop(prop);
}

bool ComboBox::Take(Event event, const json::object& args, EventArgs& out) {
  if (event == Event::Change) {
    if (style_ == kDropdownList) return false;
    if (auto t = ArgText(args, "text")) {
      text_ = *t;
      // Typing leaves the list's choice only when the text no longer names it.
      if (listIndex_ >= 0 && list_[listIndex_] != text_) {
        listIndex_ = -1;
        Touch("ListIndex");
      }
    }
  } else if (event == Event::Click) {
    auto i = ArgInt(args, "index");
    if (!i || *i < 0 || *i >= ListCount()) return false;
    listIndex_ = static_cast<int32_t>(*i);
    text_ = list_[listIndex_];
    out.index = listIndex_;
    Touch("ListIndex");
    Touch("Text");
  } else if (event == Event::KeyPress) {
    if (auto k = ArgText(args, "key")) out.key = *k;
  }
  return true;
}

// --- ListView --------------------------------------------------------------------------

void ListView::AddColumn(Column column) {
  columns_.push_back(std::move(column));
  Touch("Columns");
}

void ListView::Clear() {
  items_.clear();
  flags_.clear();
  selected_.reset();
  Touch("Items");
  Touch("Selected");
}

int32_t ListView::Add(packs::ListItem item) {
  items_.push_back(std::move(item));
  flags_.push_back({});
  int32_t index = static_cast<int32_t>(items_.size()) - 1;
  Touch("Items");
  if (sorted_) {
    // The new item's place once ordered: the order is stable, so it comes after its equals.
    const std::u16string key = items_.back().Key;
    Resort();
    for (int32_t i = static_cast<int32_t>(items_.size()) - 1; i >= 0; --i)
      if (items_[i].Key == key) return i;
  }
  return index;
}

void ListView::Remove(int32_t index) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  items_.erase(items_.begin() + index);
  flags_.erase(flags_.begin() + index);
  if (selected_ == index) selected_.reset();
  else if (selected_ && *selected_ > index) --*selected_;
  Touch("Items");
  Touch("Selected");
}

packs::ListItem& ListView::Item(int32_t index) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  Touch("Items");
  return items_[index];
}

void ListView::Select(std::optional<int32_t> index) {
  if (index && (*index < 0 || *index >= Count())) BadIndex(Name());
  if (selected_ == index) return;
  selected_ = index;
  Touch("Selected");
}

std::optional<int32_t> ListView::ColumnIndex(const std::u16string& key) const {
  for (size_t i = 0; i < columns_.size(); ++i)
    if (columns_[i].Key == key) return static_cast<int32_t>(i);
  return std::nullopt;
}

bool ListView::Bold(int32_t index) const {
  if (index < 0 || index >= Count()) BadIndex(Name());
  return flags_[index].bold;
}

void ListView::SetBold(int32_t index, bool on) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  if (flags_[index].bold == on) return;
  flags_[index].bold = on;
  Touch("Items");
}

bool ListView::Checked(int32_t index) const {
  if (index < 0 || index >= Count()) BadIndex(Name());
  return flags_[index].checked;
}

void ListView::SetChecked(int32_t index, bool on) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  if (flags_[index].checked == on) return;
  flags_[index].checked = on;
  Touch("Items");
}

void ListView::SetCheckboxes(bool on) {
  if (checkboxes_ == on) return;
  checkboxes_ = on;
  Touch("Checkboxes");
}

void ListView::SetSorted(bool on) {
  if (sorted_ == on) return;
  sorted_ = on;
  Touch("Sorted");
  Resort();
}

void ListView::SetSortKey(int32_t column) {
  if (column < 0) BadIndex(Name());
  if (sortKey_ == column) return;
  sortKey_ = column;
  Touch("SortKey");
  Resort();
}

void ListView::SetSortOrder(int32_t order) {
  if (order != 0 && order != 1) throw Error(kInvalidPropertyValue, u"Invalid property value for " + FromUtf8(Name()));
  if (sortOrder_ == order) return;
  sortOrder_ = order;
  Touch("SortOrder");
  Resort();
}

void ListView::Resort() {
  if (!sorted_ || items_.size() < 2) return;
  auto text = [this](size_t i) -> const std::u16string& {
    static const std::u16string empty;
    if (sortKey_ == 0) return items_[i].Text;
    const auto& subs = items_[i].SubItems;
    return static_cast<size_t>(sortKey_) <= subs.size() ? subs[sortKey_ - 1].Text : empty;
  };
  std::vector<size_t> order(items_.size());
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
    const int c = CompareNoCase(text(a), text(b));
    return sortOrder_ == 1 ? c > 0 : c < 0;
  });
  std::vector<packs::ListItem> items;
  std::vector<Flags> flags;
  std::optional<int32_t> selected;
  for (size_t i = 0; i < order.size(); ++i) {
    items.push_back(std::move(items_[order[i]]));
    flags.push_back(flags_[order[i]]);
    if (selected_ && static_cast<size_t>(*selected_) == order[i]) selected = static_cast<int32_t>(i);
  }
  items_ = std::move(items);
  flags_ = std::move(flags);
  if (selected != selected_) Touch("Selected");
  selected_ = selected;
  Touch("Items");
}

std::vector<std::string_view> ListView::PropNames() const {
  return With({"Columns", "Checkboxes", "Sorted", "SortKey", "SortOrder", "Items", "Selected"});
}

json::value ListView::Prop(std::string_view prop) const {
  if (prop == "Columns") {
    json::array a;
    for (const Column& c : columns_) a.push_back(json::object{{"key", Str(c.Key)}, {"text", Str(c.Text)}, {"width", c.Width}});
    return a;
  }
  if (prop == "Items") {
    json::array a;
    a.reserve(items_.size());
    for (size_t i = 0; i < items_.size(); ++i) {
      const packs::ListItem& it = items_[i];
      json::array subs;
      for (const auto& s : it.SubItems) subs.push_back(Str(s.Text));
      a.push_back(json::object{{"text", Str(it.Text)},
                               {"key", Str(it.Key)},
                               {"icon", Str(it.Icon)},
                               {"smallIcon", Str(it.SmallIcon)},
                               {"toolTip", Str(it.ToolTipText)},
                               {"subItems", std::move(subs)},
                               {"bold", flags_[i].bold},
                               {"checked", flags_[i].checked}});
    }
    return a;
  }
  if (prop == "Selected") return selected_ ? *selected_ : -1;
  if (prop == "Checkboxes") return checkboxes_;
  if (prop == "Sorted") return sorted_;
  if (prop == "SortKey") return sortKey_;
  if (prop == "SortOrder") return sortOrder_;
  return Control::Prop(prop);
}

bool ListView::Take(Event event, const json::object& args, EventArgs& out) {
  auto index = ArgInt(args, "index");
  if (event == Event::ColumnClick) {
    if (!index || *index < 0 || *index > static_cast<int64_t>(columns_.size())) return false;
    out.index = static_cast<int32_t>(*index);
    return true;
  }
  if (event != Event::ItemClick && event != Event::DblClick && event != Event::ItemCheck) return true;
  if (!index) return event == Event::DblClick;  // a double click beside the items
  if (*index < 0 || *index >= Count()) return false;
  out.index = static_cast<int32_t>(*index);
  out.key = items_[out.index].Key;
  if (event == Event::ItemCheck) {
    out.checked = ArgBool(args, "checked").value_or(!flags_[out.index].checked);
    flags_[out.index].checked = out.checked;
  } else if (selected_ != out.index) {
    selected_ = out.index;
    Touch("Selected");
  }
  return true;
}

// --- TreeView --------------------------------------------------------------------------

void TreeView::Clear() {
  nodes_.clear();
  selected_.clear();
  Touch("Nodes");
  Touch("Selected");
}

bool TreeView::Add(Node node) {
  if (Find(node.Key) || (!node.Parent.empty() && !Find(node.Parent))) return false;
  nodes_.push_back(std::move(node));
  Touch("Nodes");
  return true;
}

bool TreeView::Remove(const std::u16string& key) {
  if (!Find(key)) return false;
  std::vector<std::u16string> gone = {key};
  // Parents come before their children, so one pass in order finds every descendant.
  for (const Node& n : nodes_)
    if (std::find(gone.begin(), gone.end(), n.Parent) != gone.end()) gone.push_back(n.Key);
  std::erase_if(nodes_, [&](const Node& n) { return std::find(gone.begin(), gone.end(), n.Key) != gone.end(); });
  if (std::find(gone.begin(), gone.end(), selected_) != gone.end()) {
    selected_.clear();
    Touch("Selected");
  }
  Touch("Nodes");
  return true;
}

const TreeView::Node* TreeView::Find(const std::u16string& key) const {
  for (const Node& n : nodes_)
    if (n.Key == key) return &n;
  return nullptr;
}

void TreeView::SetExpanded(const std::u16string& key, bool on) {
  for (Node& n : nodes_) {
    if (n.Key == key) {
      if (n.Expanded != on) {
        n.Expanded = on;
        Touch("Nodes");
      }
      return;
    }
  }
  BadKey(Name(), key);
}

void TreeView::Select(const std::u16string& key) {
  if (!key.empty() && !Find(key)) BadKey(Name(), key);
  if (selected_ == key) return;
  selected_ = key;
  Touch("Selected");
}

std::vector<std::string_view> TreeView::PropNames() const { return With({"Nodes", "Selected"}); }

json::value TreeView::Prop(std::string_view prop) const {
  if (prop == "Nodes") {
    json::array a;
    for (const Node& n : nodes_)
      a.push_back(json::object{{"key", Str(n.Key)},
                               {"parent", Str(n.Parent)},
                               {"text", Str(n.Text)},
                               {"image", Str(n.Image)},
                               {"expanded", n.Expanded}});
    return a;
  }
  if (prop == "Selected") return Str(selected_);
  return Control::Prop(prop);
}

bool TreeView::Take(Event event, const json::object& args, EventArgs& out) {
  if (event != Event::ItemClick && event != Event::DblClick) return true;
  auto key = ArgText(args, "key");
  if (!key || !Find(*key)) return false;
  out.key = *key;
  if (selected_ != *key) {
    selected_ = *key;
    Touch("Selected");
  }
  return true;
}

// --- TabStrip --------------------------------------------------------------------------

TabStrip::TabStrip(Form& form, std::string name, std::vector<std::u16string> captions)
    : Control(form, std::move(name), Kind::TabStrip) {
  for (auto& c : captions) tabs_.push_back({std::move(c), true});
}

const std::u16string& TabStrip::TabCaption(int32_t index) const {
  if (index < 0 || index >= Count()) BadIndex(Name());
  return tabs_[index].caption;
}

void TabStrip::SetTabCaption(int32_t index, const std::u16string& caption) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  if (tabs_[index].caption == caption) return;
  tabs_[index].caption = caption;
  Touch("Tabs");
}

bool TabStrip::TabVisible(int32_t index) const {
  if (index < 0 || index >= Count()) BadIndex(Name());
  return tabs_[index].visible;
}

void TabStrip::SetTabVisible(int32_t index, bool on) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  if (tabs_[index].visible == on) return;
  tabs_[index].visible = on;
  Touch("Tabs");
}

void TabStrip::SetTab(int32_t index) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  if (tab_ == index) return;
  tab_ = index;
  Touch("Tab");
  EventArgs args;
  args.index = index;
  Fire(Event::TabChange, args);
}

std::vector<std::string_view> TabStrip::PropNames() const { return With({"Tabs", "Tab"}); }

json::value TabStrip::Prop(std::string_view prop) const {
  if (prop == "Tabs") {
    json::array a;
    for (const Page& p : tabs_) a.push_back(json::object{{"caption", Str(p.caption)}, {"visible", p.visible}});
    return a;
  }
  if (prop == "Tab") return tab_;
  return Control::Prop(prop);
}

bool TabStrip::Take(Event event, const json::object& args, EventArgs& out) {
  if (event != Event::TabChange) return true;
  auto i = ArgInt(args, "index");
  if (!i || *i < 0 || *i >= Count() || !tabs_[*i].visible) return false;
  tab_ = static_cast<int32_t>(*i);
  out.index = tab_;
  Touch("Tab");
  return true;
}

// --- Toolbar ---------------------------------------------------------------------------

void Toolbar::AddButton(Button button) {
  buttons_.push_back(std::move(button));
  Touch("Buttons");
}

Toolbar::Button& Toolbar::At(const std::u16string& key) {
  for (Button& b : buttons_)
    if (b.Key == key) return b;
  BadKey(Name(), key);
}

const Toolbar::Button& Toolbar::Get(const std::u16string& key) const { return const_cast<Toolbar*>(this)->At(key); }

namespace {
template <class T>
bool Assign(T& field, const T& value) {
  if (field == value) return false;
  field = value;
  return true;
}
}  // namespace

void Toolbar::SetCaption(const std::u16string& key, const std::u16string& caption) {
  if (Assign(At(key).Caption, caption)) Touch("Buttons");
}
void Toolbar::SetButtonToolTip(const std::u16string& key, const std::u16string& text) {
  if (Assign(At(key).ToolTipText, text)) Touch("Buttons");
}
void Toolbar::SetImage(const std::u16string& key, const std::u16string& image) {
  if (Assign(At(key).Image, image)) Touch("Buttons");
}
void Toolbar::SetButtonEnabled(const std::u16string& key, bool on) {
  if (Assign(At(key).Enabled, on)) Touch("Buttons");
}
void Toolbar::SetButtonVisible(const std::u16string& key, bool on) {
  if (Assign(At(key).Visible, on)) Touch("Buttons");
}
void Toolbar::SetValue(const std::u16string& key, bool pressed) {
  if (Assign(At(key).Value, pressed)) Touch("Buttons");
}

std::vector<std::string_view> Toolbar::PropNames() const { return With({"Buttons"}); }

json::value Toolbar::Prop(std::string_view prop) const {
  if (prop == "Buttons") {
    json::array a;
    for (const Button& b : buttons_)
      a.push_back(json::object{{"key", Str(b.Key)},
                               {"caption", Str(b.Caption)},
                               {"toolTip", Str(b.ToolTipText)},
                               {"image", Str(b.Image)},
                               {"enabled", b.Enabled},
                               {"visible", b.Visible},
                               {"style", b.Style},
                               {"value", b.Value}});
    return a;
  }
  return Control::Prop(prop);
}

bool Toolbar::Take(Event event, const json::object& args, EventArgs& out) {
  if (event != Event::Click && event != Event::ButtonDropDown) return true;
  auto key = ArgText(args, "key");
  if (!key) return false;
  for (Button& b : buttons_) {
    if (b.Key != *key) continue;
    if (!b.Enabled || !b.Visible || b.Style == kSeparator) return false;
    out.key = *key;
    // The page flips a check button as it is pressed; the logic reads the new state.
    if (event == Event::Click && b.Style == kCheck) {
      b.Value = !b.Value;
      Touch("Buttons");
    }
    return true;
  }
  return false;
}

// --- StatusBar -------------------------------------------------------------------------

StatusBar::StatusBar(Form& form, std::string name, int32_t panels)
    : Control(form, std::move(name), Kind::StatusBar), panels_(std::max(panels, 1)) {}

const StatusBar::Panel& StatusBar::GetPanel(int32_t index) const {
  if (index < 0 || index >= Count()) BadIndex(Name());
  return panels_[index];
}

void StatusBar::SetPanelText(int32_t index, const std::u16string& text) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  if (Assign(panels_[index].Text, text)) Touch("Panels");
}

void StatusBar::SetPanelPicture(int32_t index, const std::u16string& picture) {
  if (index < 0 || index >= Count()) BadIndex(Name());
  if (Assign(panels_[index].Picture, picture)) Touch("Panels");
}

std::vector<std::string_view> StatusBar::PropNames() const { return With({"Panels"}); }

json::value StatusBar::Prop(std::string_view prop) const {
  if (prop == "Panels") {
    json::array a;
    for (const Panel& p : panels_) a.push_back(json::object{{"text", Str(p.Text)}, {"picture", Str(p.Picture)}});
    return a;
  }
  return Control::Prop(prop);
}

// --- ProgressBar -----------------------------------------------------------------------

void ProgressBar::SetRange(double min, double max) {
  if (!(min < max)) throw Error(kInvalidPropertyValue, u"Invalid property value for " + FromUtf8(Name()));
  if (min_ == min && max_ == max) return;
  min_ = min;
  max_ = max;
  value_ = std::clamp(value_, min_, max_);
  Touch("Min");
  Touch("Max");
  Touch("Value");
}

void ProgressBar::SetValue(double value) {
  if (value < min_ || value > max_) throw Error(kInvalidPropertyValue, u"Invalid property value for " + FromUtf8(Name()));
  if (value_ == value) return;
  value_ = value;
  Touch("Value");
}

std::vector<std::string_view> ProgressBar::PropNames() const { return With({"Min", "Max", "Value"}); }

json::value ProgressBar::Prop(std::string_view prop) const {
  if (prop == "Min") return min_;
  if (prop == "Max") return max_;
  if (prop == "Value") return value_;
  return Control::Prop(prop);
}

// --- Timer -----------------------------------------------------------------------------

Timer::Timer(Form& form, std::string name, int32_t interval)
    : Control(form, std::move(name), Kind::Timer), interval_(interval) {
  SetEnabled(false);
}

void Timer::SetInterval(int32_t ms) {
  if (ms < 0) throw Error(kInvalidPropertyValue, u"Invalid property value for " + FromUtf8(Name()));
  if (Assign(interval_, ms)) Touch("Interval");
}

std::vector<std::string_view> Timer::PropNames() const { return With({"Interval"}); }

json::value Timer::Prop(std::string_view prop) const {
  if (prop == "Interval") return interval_;
  return Control::Prop(prop);
}

// --- PictureBox ------------------------------------------------------------------------

void PictureBox::SetPicture(const std::u16string& address) {
  if (Assign(picture_, address)) Touch("Picture");
}

std::vector<std::string_view> PictureBox::PropNames() const { return With({"Picture"}); }

json::value PictureBox::Prop(std::string_view prop) const {
  if (prop == "Picture") return Str(picture_);
  return Control::Prop(prop);
}

// --- Menu ------------------------------------------------------------------------------

void Menu::Clear() {
  items_.clear();
  Touch("Items");
}

void Menu::AddItem(Item item) {
  items_.push_back(std::move(item));
  if (items_.back().Checked) SetChecked(items_.back().Key, true);
  Touch("Items");
}

Menu::Item& Menu::At(const std::u16string& key) {
  for (Item& i : items_)
    if (i.Key == key) return i;
  BadKey(Name(), key);
}

const Menu::Item& Menu::Get(const std::u16string& key) const { return const_cast<Menu*>(this)->At(key); }

void Menu::SetChecked(const std::u16string& key, bool on) {
  Item& item = At(key);
  bool changed = Assign(item.Checked, on);
  if (on && !item.Group.empty())
    for (Item& other : items_)
      if (&other != &item && other.Group == item.Group && other.Checked) {
        other.Checked = false;
        changed = true;
      }
  if (changed) Touch("Items");
}

void Menu::SetItemEnabled(const std::u16string& key, bool on) {
  if (Assign(At(key).Enabled, on)) Touch("Items");
}
void Menu::SetItemVisible(const std::u16string& key, bool on) {
  if (Assign(At(key).Visible, on)) Touch("Items");
}
void Menu::SetItemCaption(const std::u16string& key, const std::u16string& caption) {
  if (Assign(At(key).Caption, caption)) Touch("Items");
}

std::u16string Menu::CheckedIn(std::string_view group) const {
  for (const Item& i : items_)
    if (i.Group == group && i.Checked) return i.Key;
  return {};
}

void Menu::Popup(const std::string& underControl) {
  ++popups_;
  popupUnder_ = underControl;
  Touch("Popup");
}

std::vector<std::string_view> Menu::PropNames() const { return With({"Items", "Popup"}); }

json::value Menu::Prop(std::string_view prop) const {
  if (prop == "Items") {
    json::array a;
    for (const Item& i : items_)
      a.push_back(json::object{{"key", Str(i.Key)},
                               {"caption", Str(i.Caption)},
                               {"group", json::string(i.Group)},
                               {"checked", i.Checked},
                               {"enabled", i.Enabled},
                               {"visible", i.Visible}});
    return a;
  }
  if (prop == "Popup") return json::object{{"count", popups_}, {"under", json::string(popupUnder_)}};
  return Control::Prop(prop);
}

bool Menu::Take(Event event, const json::object& args, EventArgs& out) {
  if (event != Event::MenuClick) return true;
  auto key = ArgText(args, "key");
  if (!key) return false;
  for (Item& i : items_) {
    if (i.Key != *key) continue;
    if (!i.Enabled || !i.Visible) return false;
    out.key = *key;
    if (!i.Group.empty()) SetChecked(*key, true);
    return true;
  }
  return false;
}

// --- HtmlFrame -------------------------------------------------------------------------

void HtmlFrame::SetDocumentHTML(const std::u16string& html) {
  if (Assign(html_, html)) Touch("DocumentHTML");
}

std::u16string HtmlFrame::BodyInnerText() const { return presentation::HtmlInnerText(html_); }

void HtmlFrame::SetBodyInnerText(const std::u16string& text) {
  // The same document a headless view makes of the text.
  presentation::HeadlessHtmlView v;
  v.SetDocumentHTML(html_);
  v.SetBodyInnerText(text);
  SetDocumentHTML(v.DocumentHTML());
}

void HtmlFrame::PrintDocument(bool) {
  ++prints_;
  Touch("Print");
}

void HtmlFrame::SetLocation(const std::u16string& address) {
  if (Assign(location_, address)) Touch("Location");
}

void HtmlFrame::SetEditMode(bool on) {
  if (Assign(edit_, on)) Touch("EditMode");
}

std::vector<std::string_view> HtmlFrame::PropNames() const {
  return With({"EditMode", "DocumentHTML", "Location", "Print"});
}

json::value HtmlFrame::Prop(std::string_view prop) const {
  if (prop == "DocumentHTML") return Str(html_);
  if (prop == "EditMode") return edit_;
  if (prop == "Location") return Str(location_);
  if (prop == "Print") return prints_;
  return Control::Prop(prop);
}

bool HtmlFrame::Take(Event event, const json::object& args, EventArgs& out) {
  if (event == Event::Change) {
    if (!edit_ || !location_.empty()) return false;
    if (auto h = ArgText(args, "html")) html_ = *h;
  } else if (event == Event::Click) {
    if (auto h = ArgText(args, "href")) href_ = *h;
    out.key = href_;
  }
  return true;
}

// --- CommandButton ---------------------------------------------------------------------

void CommandButton::SetCaption(const std::u16string& caption) {
  if (Assign(caption_, caption)) Touch("Caption");
}
void CommandButton::SetDefault(bool on) {
  if (Assign(default_, on)) Touch("Default");
}
void CommandButton::SetCancel(bool on) {
  if (Assign(cancel_, on)) Touch("Cancel");
}

std::vector<std::string_view> CommandButton::PropNames() const { return With({"Caption", "Default", "Cancel"}); }

json::value CommandButton::Prop(std::string_view prop) const {
  if (prop == "Caption") return Str(caption_);
  if (prop == "Default") return default_;
  if (prop == "Cancel") return cancel_;
  return Control::Prop(prop);
}

}  // namespace ravelin::windows::forms
