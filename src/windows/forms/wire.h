// The wire between forms and the page that draws them: JSON text frames, one Wire per
// page connection, and the registry of forms a page may open by name.
//
// Page to server:
//   {"op":"event","form":F,"control":"txtName","event":"Change","args":{...}}
//     control "" (or absent) for the form's own events. Events and their args:
//       Click        CheckBox {value}, OptionButton {}, ComboBox {index} (an entry picked),
//                    Toolbar {key}, HtmlFrame {href} (a link), CommandButton and others {}
//       Change       TextBox {text}, ComboBox {text}, HtmlFrame {html}
//       KeyPress     {key}: the character typed
//       ItemClick    ListView {index}, TreeView {key}
//       DblClick     ListView {index}, TreeView {key}, others {}
//       ItemCheck    ListView {index, checked}
//       ColumnClick  ListView {index}
//       TabChange    TabStrip {index}
//       MenuClick    Menu {key}
//       ButtonDropDown Toolbar {key}
//       LostFocus, Timer {}
//       QueryUnload  form: the user closes the form's window (a handler may cancel)
//       Unload       form: the window is gone, no asking
//       Load         form: ignored (Load runs before "open" is sent)
//   {"op":"openForm","name":"sample"}: opens a registered form modeless.
// Server to page:
//   {"op":"open","form":F,"name":"frmSample","caption":"...","modal":bool,
//    "controls":[{"name":"txtName","kind":"TextBox","props":{...}},...]}
//   {"op":"set","changes":[{"form":F,"control":"txtName","prop":"Text","value":...},...]}
//     control "" with prop "Caption" for the form's caption. One batch per handled event.
//   {"op":"close","form":F}
//
// Props of every control: Visible, Enabled (bools), ToolTipText, Container ({control,
// page}: shown only while that tab strip shows that page; null for none). Then by kind:
//   Label        Caption
//   TextBox      Text, Mode ("single"|"multi"|"password"), Locked
//   CheckBox     Caption, Value (0 unchecked, 1 checked, 2 grayed)
//   OptionButton Caption, Group, Value (bool)
//   ComboBox     Text, List [strings], ListIndex (-1 none), Style (0 editable, 2 list only)
//   ListView     Columns [{key,text,width}], Items [{text,key,icon,smallIcon,toolTip,
//                subItems:[text],bold,checked}], Selected (index or -1), Checkboxes,
//                Sorted, SortKey, SortOrder
//   TreeView     Nodes [{key,parent,text,image,expanded}], Selected (key)
//   TabStrip     Tabs [{caption,visible}], Tab (index)
//   Toolbar      Buttons [{key,caption,toolTip,image,enabled,visible,style,value}]
//   StatusBar    Panels [{text,picture}]
//   ProgressBar  Min, Max, Value
//   Timer        Interval (ms; ticks while Enabled and Interval > 0)
//   PictureBox   Picture (address)
//   Menu         Items [{key,caption,group,checked,enabled,visible}],
//                Popup {count, under}: the menu opens each time count grows
//   HtmlFrame    DocumentHTML, EditMode, Location (a server address shown instead of
//                DocumentHTML when not ""), Print (grows at each print request)
//   CommandButton Caption, Default (Enter presses it), Cancel (Escape presses it)
// Indexes are 0-based. Texts are UTF-8 on the wire, UTF-16 in the logic.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "windows/forms/form.h"

namespace ravelin::windows::forms {

// Forms by name, as a page asks for them.
class Registry {
 public:
  using Factory = std::function<std::unique_ptr<Form>()>;
  void Register(std::string name, Factory factory);
  // A new form of that name; nullptr when none is registered.
  std::unique_ptr<Form> Create(std::string_view name) const;
  std::vector<std::string> Names() const;
  // The process's registry, with the built-in forms ("sample") in it.
  static Registry& Default();

 private:
  std::map<std::string, Factory, std::less<>> factories_;
};

// One page's connection. Runs on the one event loop; every call is made from it.
class Wire : public FormHost {
 public:
  using Send = std::function<void(std::string json)>;
  explicit Wire(Send send, const Registry& registry = Registry::Default());
  ~Wire() override;

  // Handles one frame from the page: an "event" runs the form's handler, then the
  // changes it made go out as one "set"; "openForm" opens a registered form. False for a
  // frame that isn't JSON, has another op (the host's own) or names no open form or
  // control. A handler that shows a modal form keeps Receive from returning until it
  // closes: the host must go on reading the socket before it calls Receive.
  bool Receive(std::string_view json);

  // Opens a form modeless: runs its Load, sends "open". The Wire keeps it until it
  // closes. Returns its number F.
  void Open(std::unique_ptr<Form> form) override;
  int32_t OpenNumbered(std::unique_ptr<Form> form);
  // Shows a form modally: sends the changes pending so far and "open", then runs the
  // event loop until the form closes. Returns the form's ModalResult; Cancel (2) when the
  // page went away.
  int32_t ShowModal(Form& form) override;
  void Closed(Form& form) override;

  // Sends the pending changes of every open form as one "set"; nothing when none.
  void Flush();
  // The page went away: every open form, modal ones innermost first, ends as Cancel
  // (QueryUnload and Unload run with UnloadMode::Abandoned) and nothing more is sent.
  void Abandon();
  bool Abandoned() const { return abandoned_; }

  // The number of an open form, -1 when it isn't open here; the open form of a number.
  int32_t NumberOf(const Form& form) const;
  Form* FormOf(int32_t number) const;

  // The "open" frame of a form (exposed for tests of the codec).
  std::string OpenFrame(const Form& form, int32_t number, bool modal) const;

 private:
  struct Entry {
    int32_t number;
    Form* form;
    std::unique_ptr<Form> owned;  // modeless forms
    bool modal;
  };
  void Emit(std::string json);
  void OpenEntry(Form& form, std::unique_ptr<Form> owned, bool modal);
  bool Dispatch(int32_t number, std::string_view control, std::string_view event, const boost::json::object& args);

  Send send_;
  const Registry& registry_;
  std::vector<Entry> open_;
  std::vector<std::unique_ptr<Form>> closedOwned_;  // freed when no handler can be on them
  int32_t next_ = 1;
  int32_t depth_ = 0;  // handlers running
  bool abandoned_ = false;
  std::shared_ptr<bool> alive_;
};

}  // namespace ravelin::windows::forms
