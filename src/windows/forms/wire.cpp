// The page's wire: frames in, handlers run, batches out; modal forms on the nested loop.
#include "windows/forms/wire.h"

#include <algorithm>
#include <boost/json.hpp>
#include <chrono>

#include "platform/event_loop.h"
#include "platform/funnel.h"
#include "runtime/text.h"
#include "windows/forms/controls.h"
#include "windows/forms/sample.h"

namespace ravelin::windows::forms {

namespace json = boost::json;

namespace {

// The source name a handler's failure is reported under: "frmSample.txtName_Change",
// "frmSample.Form_Load".
std::u16string SourceOf(const Form& form, std::string_view control, Event event) {
  return FromUtf8(form.Name() + "." + std::string(control.empty() ? "Form" : control) + "_" +
                  std::string(EventName(event)));
}

}  // namespace

// --- Registry --------------------------------------------------------------------------

void Registry::Register(std::string name, Factory factory) { factories_[std::move(name)] = std::move(factory); }

std::unique_ptr<Form> Registry::Create(std::string_view name) const {
  auto it = factories_.find(name);
  if (it == factories_.end() || !it->second) return nullptr;
  return it->second();
}

std::vector<std::string> Registry::Names() const {
  std::vector<std::string> names;
  for (const auto& [name, f] : factories_) names.push_back(name);
  return names;
}

Registry& Registry::Default() {
  static Registry registry = [] {
    Registry r;
    r.Register("sample", [] { return std::make_unique<SampleForm>(); });
    return r;
  }();
  return registry;
}

// --- Wire ------------------------------------------------------------------------------

Wire::Wire(Send send, const Registry& registry)
    : send_(std::move(send)), registry_(registry), alive_(std::make_shared<bool>(true)) {}

Wire::~Wire() {
  *alive_ = false;
  for (Entry& e : open_) e.form->AttachHost(nullptr);
}

void Wire::Emit(std::string json) {
  if (!abandoned_ && send_) send_(std::move(json));
}

int32_t Wire::NumberOf(const Form& form) const {
  for (const Entry& e : open_)
    if (e.form == &form) return e.number;
  return -1;
}

Form* Wire::FormOf(int32_t number) const {
  for (const Entry& e : open_)
    if (e.number == number) return e.form;
  return nullptr;
}

std::string Wire::OpenFrame(const Form& form, int32_t number, bool modal) const {
  json::array controls;
  for (const auto& c : form.Controls()) {
    json::object props;
    for (std::string_view p : c->PropNames()) props[p] = c->Prop(p);
    json::object control;
    control["name"] = c->Name();
    control["kind"] = KindName(c->GetKind());
    control["props"] = std::move(props);
    controls.push_back(std::move(control));
  }
  json::object frame{{"op", "open"},
                     {"form", number},
                     {"name", form.Name()},
                     {"caption", ToUtf8(form.Caption())},
                     {"modal", modal},
                     {"controls", std::move(controls)}};
  return json::serialize(frame);
}

void Wire::OpenEntry(Form& form, std::unique_ptr<Form> owned, bool modal) {
  form.AttachHost(this);
  const int32_t number = next_++;
  open_.push_back({number, &form, std::move(owned), modal});
  // A failing Load is reported; the form opens with what it had set.
  ProtectedVoid(SourceOf(form, "", Event::Load), [&] { form.Load(); });
  // Load may have closed the form again (a window that finds nothing to show).
  if (form.Closed() || NumberOf(form) < 0) return;
  Emit(OpenFrame(form, number, modal));
}

void Wire::Open(std::unique_ptr<Form> form) { OpenNumbered(std::move(form)); }

int32_t Wire::OpenNumbered(std::unique_ptr<Form> form) {
  if (!form) return -1;
  if (abandoned_) return -1;
  Form& ref = *form;
  const int32_t number = next_;
  Flush();
  OpenEntry(ref, std::move(form), false);
  return NumberOf(ref) >= 0 ? number : -1;
}

int32_t Wire::ShowModal(Form& form) {
  if (abandoned_) {
    form.SetModalResult(2);
    return 2;
  }
  // What the caller changed before it asked is drawn before the modal form.
  Flush();
  OpenEntry(form, nullptr, true);
  std::shared_ptr<bool> alive = alive_;
  while (!form.Closed() && *alive) loop::RunUntil([&] { return form.Closed() || !*alive; }, std::chrono::hours(1));
  if (!*alive) return 2;
  return form.ModalResult();
}

void Wire::Closed(Form& form) {
  auto it = std::find_if(open_.begin(), open_.end(), [&](const Entry& e) { return e.form == &form; });
  if (it == open_.end()) return;
  const int32_t number = it->number;
  form.AttachHost(nullptr);
  if (it->owned) closedOwned_.push_back(std::move(it->owned));
  open_.erase(it);
  // The changes made before the close still belong before it.
  Flush();
  Emit(json::serialize(json::object{{"op", "close"}, {"form", number}}));
}

void Wire::Flush() {
  json::array changes;
  for (const Entry& e : open_) {
    for (const Change& c : e.form->TakeChanges()) {
      json::value value;
      if (c.control.empty()) {
        value = json::string(ToUtf8(e.form->Caption()));
      } else if (const Control* control = e.form->Find(c.control)) {
        value = control->Prop(c.prop);
      } else {
        continue;
      }
      changes.push_back(
          json::object{{"form", e.number}, {"control", c.control}, {"prop", c.prop}, {"value", std::move(value)}});
    }
  }
  if (changes.empty()) return;
  Emit(json::serialize(json::object{{"op", "set"}, {"changes", std::move(changes)}}));
}

void Wire::Abandon() {
  if (abandoned_) return;
  abandoned_ = true;
  // Innermost first: the last opened modal form is the one whose caller waits deepest.
  while (!open_.empty()) {
    auto it = std::find_if(open_.rbegin(), open_.rend(), [](const Entry& e) { return e.modal; });
    Form* form = it != open_.rend() ? it->form : open_.back().form;
    form->SetModalResult(2);
    if (!form->UnloadAs(UnloadMode::Abandoned)) Closed(*form);  // already unloading: let it go
  }
}

bool Wire::Receive(std::string_view text) {
  if (abandoned_) return false;
  boost::system::error_code ec;
  json::value v = json::parse(json::string_view(text.data(), text.size()), ec);
  if (ec || !v.is_object()) return false;
  const json::object& o = v.get_object();
  const json::value* op = o.if_contains("op");
  if (!op || !op->is_string()) return false;

  // Forms closed while handling earlier frames are let go here, where no handler of
  // theirs can still be running.
  if (depth_ == 0) closedOwned_.clear();

  if (op->get_string() == "openForm") {
    const json::value* name = o.if_contains("name");
    if (!name || !name->is_string()) return false;
    auto form = registry_.Create(std::string_view(name->get_string()));
    if (!form) return false;
    ++depth_;
    OpenNumbered(std::move(form));
    --depth_;
    Flush();
    return true;
  }
  if (op->get_string() != "event") return false;

  const json::value* f = o.if_contains("form");
  const json::value* ev = o.if_contains("event");
  if (!f || !f->is_int64() || !ev || !ev->is_string()) return false;
  std::string_view control;
  if (const json::value* c = o.if_contains("control"); c && c->is_string()) control = c->get_string();
  static const json::object kNoArgs;
  const json::object* args = &kNoArgs;
  if (const json::value* a = o.if_contains("args"); a && a->is_object()) args = &a->get_object();

  std::shared_ptr<bool> alive = alive_;
  ++depth_;
  const bool handled =
      Dispatch(static_cast<int32_t>(f->get_int64()), control, std::string_view(ev->get_string()), *args);
  if (!*alive) return handled;
  --depth_;
  Flush();
  return handled;
}

bool Wire::Dispatch(int32_t number, std::string_view controlName, std::string_view eventName,
                    const json::object& args) {
  Form* form = FormOf(number);
  auto event = EventFromName(eventName);
  if (!form || !event) return false;
  EventArgs e;
  // A handler's failure is reported under its source name, as the windows' own handlers
  // do; the page and the other forms go on.
  const std::u16string source = SourceOf(*form, controlName, *event);
  if (controlName.empty()) {
    switch (*event) {
      case Event::QueryUnload: ProtectedVoid(source, [&] { form->UnloadAs(UnloadMode::User); }); return true;
      // Gone without asking: QueryUnload's answer can't keep it, and the form ends as Cancel.
      case Event::Unload:
        return Protected(source, false, [&] { return form->UnloadAs(UnloadMode::Abandoned); });
      case Event::Load: return true;
      default: return Protected(source, false, [&] { return form->Raise("", *event, e); });
    }
  }
  Control* control = form->Find(controlName);
  // A disabled control can't be used; a page that reports it anyway is ignored.
  if (!control || !control->Enabled()) return false;
  if (!control->Take(*event, args, e)) return false;
  ProtectedVoid(source, [&] { form->Raise(control->Name(), *event, e); });
  return true;
}

}  // namespace ravelin::windows::forms
