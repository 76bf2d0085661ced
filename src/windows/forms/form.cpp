// Forms, their controls' common part, handlers and the change record.
#include "windows/forms/form.h"

#include <algorithm>
#include <array>
#include <boost/json.hpp>

#include "platform/funnel.h"
#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin::windows::forms {

namespace json = boost::json;

namespace {

constexpr std::array<std::string_view, 16> kKindNames = {
    "Label",     "TextBox",     "CheckBox", "OptionButton", "ComboBox", "ListView",  "TreeView",     "TabStrip",
    "Toolbar",   "StatusBar",   "ProgressBar", "Timer",     "PictureBox", "Menu",    "HtmlFrame", "CommandButton"};

constexpr std::array<std::string_view, 15> kEventNames = {
    "Click",       "Change", "KeyPress",  "ItemClick",   "DblClick",    "TabChange",      "MenuClick", "Timer",
    "Load",        "Unload", "QueryUnload", "ItemCheck", "ColumnClick", "ButtonDropDown", "LostFocus"};

}  // namespace

std::string_view KindName(Kind kind) { return kKindNames.at(static_cast<size_t>(kind)); }

std::string_view EventName(Event event) { return kEventNames.at(static_cast<size_t>(event)); }

std::optional<Event> EventFromName(std::string_view name) {
  for (size_t i = 0; i < kEventNames.size(); ++i)
    if (kEventNames[i] == name) return static_cast<Event>(i);
  return std::nullopt;
}

// --- Control ---------------------------------------------------------------------------

void Control::SetVisible(bool on) {
  if (visible_ == on) return;
  visible_ = on;
  Touch("Visible");
}

void Control::SetEnabled(bool on) {
  if (enabled_ == on) return;
  enabled_ = on;
  Touch("Enabled");
}

void Control::SetToolTipText(const std::u16string& text) {
  if (toolTip_ == text) return;
  toolTip_ = text;
  Touch("ToolTipText");
}

void Control::SetContainer(const std::string& tabStrip, int32_t page) {
  if (container_ == tabStrip && containerPage_ == page) return;
  container_ = tabStrip;
  containerPage_ = page;
  Touch("Container");
}

std::vector<std::string_view> Control::PropNames() const { return {"Visible", "Enabled", "ToolTipText", "Container"}; }

json::value Control::Prop(std::string_view prop) const {
  if (prop == "Visible") return visible_;
  if (prop == "Enabled") return enabled_;
  if (prop == "ToolTipText") return json::string(ToUtf8(toolTip_));
  if (prop == "Container") {
    if (container_.empty()) return nullptr;
    return json::object{{"control", container_}, {"page", containerPage_}};
  }
  return nullptr;
}

void Control::Touch(std::string_view prop) { form_.Record(name_, prop); }

void Control::Fire(Event event, EventArgs args) { form_.Raise(name_, event, args); }

// --- Form ------------------------------------------------------------------------------

Form::Form(std::string name, std::u16string caption) : name_(std::move(name)), caption_(std::move(caption)) {}

// A form that goes while shown (its owner's scope ended) takes its window with it.
Form::~Form() {
  if (host_ && !closed_) host_->Closed(*this);
}

void Form::SetCaption(const std::u16string& caption) {
  if (caption_ == caption) return;
  caption_ = caption;
  Record("", "Caption");
}

void Form::Adopt(std::unique_ptr<Control> control) {
  if (Find(control->Name()))
    throw Error(errnum::kInvalidProcedureCall, u"A control named " + FromUtf8(control->Name()) + u" is already on " + FromUtf8(name_));
  controls_.push_back(std::move(control));
}

Control* Form::Find(std::string_view name) const {
  for (const auto& c : controls_)
    if (c->Name() == name) return c.get();
  return nullptr;
}

void Form::On(std::string_view control, Event event, Handler handler) {
  for (Binding& b : handlers_) {
    if (b.control == control && b.event == event) {
      b.handler = std::move(handler);
      return;
    }
  }
  handlers_.push_back({std::string(control), event, std::move(handler)});
}

bool Form::Raise(std::string_view control, Event event, EventArgs& args) {
  for (const Binding& b : handlers_) {
    if (b.control == control && b.event == event) {
      // A copy: the handler may rebind itself.
      Handler h = b.handler;
      if (!h) return false;
      h(args);
      return true;
    }
  }
  return false;
}

void Form::Load() {
  if (loaded_) return;
  loaded_ = true;
  closed_ = false;
  EventArgs args;
  Raise("", Event::Load, args);
  // The page is sent the whole form after Load: what Load set is in it already.
  changes_.clear();
}

int32_t Form::ShowModal(Form& other) {
  if (host_) return host_->ShowModal(other);
  other.Load();
  return other.ModalResult();
}

bool Form::Unload() { return UnloadAs(UnloadMode::Code); }

bool Form::UnloadAs(UnloadMode mode) {
  if (closed_ || unloading_) return false;
  unloading_ = true;
  // A page that went away can't be kept: a failing handler is reported and the form goes
  // all the same. Otherwise a failure leaves the form open and goes to the caller.
  const auto run = [&](Event event, EventArgs& args) {
    if (mode != UnloadMode::Abandoned) return Raise("", event, args);
    ProtectedVoid(FromUtf8(name_ + ".Form_" + std::string(EventName(event))), [&] { Raise("", event, args); });
    return true;
  };
  try {
    EventArgs ask;
    ask.mode = mode;
    run(Event::QueryUnload, ask);
    if (ask.cancel && mode != UnloadMode::Abandoned) {
      unloading_ = false;
      return false;
    }
    if (mode == UnloadMode::Abandoned) modalResult_ = 2;
    EventArgs gone;
    gone.mode = mode;
    run(Event::Unload, gone);
  } catch (...) {
    unloading_ = false;
    throw;
  }
  unloading_ = false;
  closed_ = true;
  loaded_ = false;
  changes_.clear();
  if (host_) host_->Closed(*this);
  return true;
}

std::vector<Change> Form::TakeChanges() { return std::exchange(changes_, {}); }

void Form::Record(std::string_view control, std::string_view prop) {
  if (!loaded_) return;
  for (const Change& c : changes_)
    if (c.control == control && c.prop == prop) return;
  changes_.push_back({std::string(control), std::string(prop)});
}

}  // namespace ravelin::windows::forms
