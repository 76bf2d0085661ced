// A form: window logic over named controls. The logic adds its controls, binds handlers
// to their events and sets their properties; whatever draws the form (the page, through
// the Wire, or nothing in a test) learns of every property it set, in batches.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <boost/json/fwd.hpp>

namespace ravelin::windows::forms {

class Form;

// The control kinds; their names are those of the wire ("TextBox").
enum class Kind : uint8_t {
  Label, TextBox, CheckBox, OptionButton, ComboBox, ListView, TreeView, TabStrip, Toolbar,
  StatusBar, ProgressBar, Timer, PictureBox, Menu, HtmlFrame, CommandButton,
};
std::string_view KindName(Kind kind);

// The events a page reports and handlers receive. Form-level events (Load, Unload,
// QueryUnload) have no control.
enum class Event : uint8_t {
  Click, Change, KeyPress, ItemClick, DblClick, TabChange, MenuClick, Timer, Load, Unload,
  QueryUnload, ItemCheck, ColumnClick, ButtonDropDown, LostFocus,
};
std::string_view EventName(Event event);
std::optional<Event> EventFromName(std::string_view name);

// Why a form is going away, as QueryUnload and Unload see it.
enum class UnloadMode : uint8_t {
  User,       // the user closed the form's window
  Code,       // the logic called Unload
  Abandoned,  // the page went away; Cancel can't keep the form
};

// What a handler is told, and what it may answer.
struct EventArgs {
  std::u16string key;  // KeyPress: the key's character; ItemClick/MenuClick/Click on a
                       // toolbar: the item's, node's or button's key
  int32_t index = -1;  // TabChange: the tab; ItemClick, ItemCheck: the item; ColumnClick: the column
  bool checked = false;  // ItemCheck: the item's new state
  UnloadMode mode = UnloadMode::Code;  // QueryUnload, Unload
  bool cancel = false;  // QueryUnload: set to keep the form open
};

using Handler = std::function<void(EventArgs&)>;

// Common to every control: name, kind, Visible, Enabled, ToolTipText and a logic-only Tag.
// Setters record the change with the form; the value reaches the page with the next batch.
class Control {
 public:
  Control(Form& form, std::string name, Kind kind) : form_(form), name_(std::move(name)), kind_(kind) {}
  virtual ~Control() = default;
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  const std::string& Name() const { return name_; }
  Kind GetKind() const { return kind_; }
  Form& Owner() const { return form_; }

  bool Visible() const { return visible_; }
  void SetVisible(bool on);
  bool Enabled() const { return enabled_; }
  void SetEnabled(bool on);
  const std::u16string& ToolTipText() const { return toolTip_; }
  void SetToolTipText(const std::u16string& text);
  std::u16string Tag;  // the logic's own; never sent
  // The page of a tab strip the control sits on: shown only while that page is the strip's
  // current one. "" (the default) for the form itself.
  const std::string& Container() const { return container_; }
  int32_t ContainerPage() const { return containerPage_; }
  void SetContainer(const std::string& tabStrip, int32_t page);

  // The names of the properties sent when the form opens, in order.
  virtual std::vector<std::string_view> PropNames() const;
  // One property's value as the page reads it; null for an unknown name.
  virtual boost::json::value Prop(std::string_view prop) const;
  // Takes what the page reports with an event (the typed text, the clicked item) into
  // the control's state before the handler runs, without echoing it back and without
  // firing handlers. False when the report can't stand (an item that isn't there, a
  // disabled button): the event is dropped. Unknown arguments are ignored.
  virtual bool Take(Event event, const boost::json::object& args, EventArgs& out) { return true; }

 protected:
  // Records that `prop` changed.
  void Touch(std::string_view prop);
  // Runs the handler of `event` on this control, as a change made from code does.
  void Fire(Event event, EventArgs args = {});

 private:
  Form& form_;
  std::string name_;
  Kind kind_;
  bool visible_ = true, enabled_ = true;
  std::u16string toolTip_;
  std::string container_;
  int32_t containerPage_ = 0;
};

// One recorded property change: the control ("" for the form itself) and the property.
struct Change {
  std::string control;
  std::string prop;
  bool operator==(const Change&) const = default;
};

// What shows forms: the Wire for a page. A form without a host is shown nowhere: Show
// loads it, ShowModal loads it and returns at once with the form's result.
class FormHost {
 public:
  virtual ~FormHost() = default;
  // Shows a form that the host keeps until it closes (modeless).
  virtual void Open(std::unique_ptr<Form> form) = 0;
  // Shows a form the caller owns and returns when it has closed: its ModalResult.
  virtual int32_t ShowModal(Form& form) = 0;
  // Tells the page that the form is gone (called by Form::Unload).
  virtual void Closed(Form& form) = 0;
};

class Form {
 public:
  Form(std::string name, std::u16string caption);
  virtual ~Form();
  Form(const Form&) = delete;
  Form& operator=(const Form&) = delete;

  const std::string& Name() const { return name_; }
  const std::u16string& Caption() const { return caption_; }
  void SetCaption(const std::u16string& caption);

  // Adds a control of type C (TextBox, ListView...) named `name`. Names are unique within
  // a form; adding a second control of the same name throws.
  template <class C, class... A>
  C& Add(std::string name, A&&... args) {
    auto c = std::make_unique<C>(*this, std::move(name), std::forward<A>(args)...);
    C& ref = *c;
    Adopt(std::move(c));
    return ref;
  }
  // The control of that name; nullptr when there is none.
  Control* Find(std::string_view name) const;
  template <class C>
  C* FindAs(std::string_view name) const {
    return dynamic_cast<C*>(Find(name));
  }
  const std::vector<std::unique_ptr<Control>>& Controls() const { return controls_; }

  // Binds the handler of `event` on control `control` ("" for the form); replaces an
  // earlier one.
  void On(std::string_view control, Event event, Handler handler);
  void On(Event event, Handler handler) { On("", event, std::move(handler)); }
  // Runs the handler; false when none is bound.
  bool Raise(std::string_view control, Event event, EventArgs& args);

  // Runs Load once (later calls do nothing).
  void Load();
  bool Loaded() const { return loaded_; }
  bool Closed() const { return closed_; }
  // Shows another form modally through this form's host and returns its result.
  int32_t ShowModal(Form& other);
  // Unloads from code: QueryUnload (a handler may cancel), then Unload, then the host
  // closes the page's window. False when cancelled or already closed.
  bool Unload();
  // As Unload, for a close that the user asked for or the page's going away.
  bool UnloadAs(UnloadMode mode);

  // The answer a modal form gives its caller; Cancel (2) until the logic sets another.
  int32_t ModalResult() const { return modalResult_; }
  void SetModalResult(int32_t result) { modalResult_ = result; }

  // The host that shows it (nullptr when none).
  FormHost* Host() const { return host_; }
  void AttachHost(FormHost* host) { host_ = host; }

  // Property changes since the last TakeChanges, each (control, prop) once, in the order
  // of their first change. Recorded only once the form is shown (Load has run).
  std::vector<Change> TakeChanges();
  bool HasChanges() const { return !changes_.empty(); }

  // Internal: used by Control.
  void Record(std::string_view control, std::string_view prop);

 private:
  void Adopt(std::unique_ptr<Control> control);

  std::string name_;
  std::u16string caption_;
  std::vector<std::unique_ptr<Control>> controls_;
  struct Binding {
    std::string control;
    Event event;
    Handler handler;
  };
  std::vector<Binding> handlers_;
  std::vector<Change> changes_;
  FormHost* host_ = nullptr;
  bool loaded_ = false, closed_ = false, unloading_ = false;
  int32_t modalResult_ = 2;
};

}  // namespace ravelin::windows::forms
