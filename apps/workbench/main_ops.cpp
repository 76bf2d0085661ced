// The main page's messages.
#include "workbench/main_ops.h"

#include "desktop/main_page.h"
#include "facade/ravelin.h"
#include "platform/event_loop.h"
#include "platform/module1.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/types.h"
#include "runtime/vbstring.h"

namespace ravelin::workbench {

json::value ProjectTreeJson(const std::vector<desktop::ProjectNode>& nodes) {
  json::array out;
  for (const auto& n : nodes)
    out.push_back(json::object{{"name", JsonText(n.name)},
                               {"project", JsonText(n.project)},
                               {"archive", n.archive},
                               {"children", ProjectTreeJson(n.children)}});
  return out;
}

namespace {

desktop::Place PlaceOf(const json::object& m) {
  desktop::Place p;
  const auto* v = m.if_contains("place");
  if (!v || !v->is_object()) return p;
  const auto& o = v->as_object();
  const std::string kind = Member(o, "kind");
  if (kind == "project") {
    p.kind = desktop::Place::Kind::Project;
    if (const auto* x = o.if_contains("project")) p.project = Utf16(*x);
    if (const auto* x = o.if_contains("archive"); x && x->is_bool()) p.archive = x->as_bool();
  } else if (kind == "pack") {
    p.kind = desktop::Place::Kind::Pack;
    if (const auto* x = o.if_contains("pack"); x && x->is_int64()) p.pack = static_cast<int32_t>(x->as_int64());
  } else if (const auto* x = o.if_contains("folder")) {
    const std::u16string f = Utf16(*x);
    for (const char16_t* name : kMailFolderNames)
      if (f == name) p.folder = name;
  }
  return p;
}

std::vector<int32_t> KeysOf(const json::object& m) {
  std::vector<int32_t> keys;
  if (const auto* v = m.if_contains("keys"); v && v->is_array())
    for (const auto& k : v->as_array())
      if (k.is_int64() && k.as_int64() > 0 && k.as_int64() < 1000000000) keys.push_back(static_cast<int32_t>(k.as_int64()));
  return keys;
}

int32_t IntOf(const json::object& m, std::string_view name) {
  const auto* v = m.if_contains(name);
  return v && v->is_int64() ? static_cast<int32_t>(v->as_int64()) : 0;
}

// The façade's progress events, drawn by every open page.
class PageEvents : public RavelinEvents {
 public:
  explicit PageEvents(WorkbenchServer& server) : server_(server) {}
  void ProgressChanged(double& Value, double& Min, double& Max) override {
    server_.Broadcast(json::object{{"op", "main.progress"}, {"value", Value - Min}, {"max", Max - Min}});
  }
  void StatusTextChanged(std::u16string& Text) override {
    server_.Broadcast(json::object{{"op", "main.status"}, {"text", JsonText(Text)}});
  }

 private:
  WorkbenchServer& server_;
};

struct MainPageState {
  std::shared_ptr<PageEvents> events;
  desktop::MainPage logic;
  bool busy = false;
  ~MainPageState() { logic.Release(); }
};

}  // namespace

std::shared_ptr<void> InstallMainPage(WorkbenchServer& server, Ravelin& mail) {
  auto state = std::make_shared<MainPageState>();
  state->events = std::make_shared<PageEvents>(server);
  mail.Subscribe(state->events);
  MainPageState* st = state.get();

  // A long operation's steps go to the façade's events; the loop runs between them so
  // that the page's Stop reaches the façade's stop flag.
  const auto progress = [&mail](double done, double total, const std::u16string& status) {
    double v = done, lo = 0, hi = total;
    std::u16string text = status;
    mail.RaiseProgressChanged(v, lo, hi);
    mail.RaiseStatusTextChanged(text);
    loop::PumpOnce();
    return !mail.StopRequested();
  };

  server.Handle("main.", [&server, &mail, st, progress](Page& page, const json::object& m) {
    const std::string op = Member(m, "op");
    desktop::MainPage& logic = st->logic;
    if (op == "main.init") {
      // The store stays open while pages show it; a store that can't be opened is said
      // by the lists' own failure.
      try {
        logic.Hold();
      } catch (const Error&) {
      }
      json::object texts;
      for (const auto& [k, v] : logic.Texts()) texts[k] = JsonText(v);
      json::array folders;
      for (const auto& f : logic.Folders())
        folders.push_back(json::object{{"name", JsonText(f.name)}, {"caption", JsonText(f.caption)}});
      json::array packs;
      try {
        for (const auto& p : logic.Packs())
          packs.push_back(json::object{{"number", p.number}, {"name", JsonText(p.name)}, {"project", JsonText(p.project)},
                                       {"archive", p.archive}});
      } catch (const Error& e) {
        mail.msgError(ErrObject::From(e), u"frmMain.Packs");
      }
      page.Send(json::object{{"op", "main.init"},
                             {"texts", std::move(texts)},
                             {"folders", std::move(folders)},
                             {"projects", ProjectTreeJson(logic.ProjectTree())},
                             {"packs", std::move(packs)}});
    } else if (op == "main.list") {
      const desktop::Place place = PlaceOf(m);
      json::object answer{{"op", "main.list"}, {"place", m.if_contains("place") ? m.at("place") : json::value()},
                          {"caption", JsonText(desktop::PlaceCaption(place))}};
      try {
        const desktop::LetterPage lp = logic.List(place, std::max(1, IntOf(m, "page")));
        json::array rows;
        for (const auto& r : lp.rows)
          rows.push_back(json::object{{"key", r.key},
                                      {"subject", JsonText(r.subject)},
                                      {"from", JsonText(r.from)},
                                      {"to", JsonText(r.to)},
                                      {"folder", JsonText(r.folder)},
                                      {"date", r.date ? json::value(*r.date) : json::value(nullptr)},
                                      {"read", r.read},
                                      {"size", r.size}});
        answer["rows"] = std::move(rows);
        answer["page"] = lp.page;
        answer["pageSize"] = lp.pageSize;
        answer["more"] = lp.more;
      } catch (const Error& e) {
        answer["rows"] = json::array();
        answer["page"] = 1;
        answer["more"] = false;
        mail.msgError(ErrObject::From(e), u"frmMain.List");
      }
      page.Send(answer);
    } else if (op == "main.open" || op == "main.report") {
      presentation::Document doc;
      std::u16string title;
      if (op == "main.open") {
        doc = logic.Letter(IntOf(m, "key"));
        title = module1::GetMUIStringF(u"frmMain", u"LetterCaption", u"Letter %1", {NumToText(IntOf(m, "key"))});
      } else if (!st->busy) {
        st->busy = true;
        mail.ClearStop();
        doc = logic.PackReport(IntOf(m, "pack"), &title, progress);
        st->busy = false;
        server.Broadcast(json::object{{"op", "main.progress"}, {"value", 0}, {"max", 0}});
      }
      if (doc.html.empty()) return;
      page.Send(json::object{{"op", "main.doc"}, {"url", server.AddDocument(doc)}, {"title", JsonText(title)}});
    } else if (op == "main.delete" || op == "main.restore") {
      const auto keys = KeysOf(m);
      if (op == "main.delete") logic.Delete(keys);
      else logic.Restore(keys);
      server.Broadcast(json::object{{"op", "main.changed"}});
    } else if (op == "main.stop") {
      mail.StopOperation();
    }
  });

  server.OnImport([&server, &mail, st, progress](const std::u16string& name, std::string octets) -> json::value {
    if (st->busy) return json::object{{"error", "busy"}};
    st->busy = true;
    mail.ClearStop();
    const desktop::ImportResult r = st->logic.Import({{name, std::move(octets)}}, progress);
    st->busy = false;
    server.Broadcast(json::object{{"op", "main.progress"}, {"value", 0}, {"max", 0}});
    server.Broadcast(json::object{{"op", "main.status"}, {"text", JsonText(r.message)}});
    server.Broadcast(json::object{{"op", "main.changed"}});
    json::array keys;
    for (int32_t k : r.keys) keys.push_back(k);
    return json::object{{"keys", std::move(keys)}, {"failed", r.failed}, {"stopped", r.stopped},
                        {"message", JsonText(r.message)}};
  });
  return state;
}

}  // namespace ravelin::workbench
