// The sample form: every control kind with a handler that shows what happened.
#include "windows/forms/sample.h"

namespace ravelin::windows::forms {

namespace {

std::u16string Num(int64_t n) {
  std::string s = std::to_string(n);
  return std::u16string(s.begin(), s.end());
}

// A 16 by 16 blue square.
constexpr char16_t kLogo[] =
    u"data:image/svg+xml,%3Csvg xmlns='http://www.w3.org/2000/svg' width='16' height='16'%3E"
    u"%3Crect width='16' height='16' fill='%23369'/%3E%3C/svg%3E";

// Text placed in generated HTML, every code unit as a character reference.
std::u16string HtmlEscape(const std::u16string& text) {
  std::u16string out;
  for (char16_t c : text) out += u"&#" + Num(c) + u";";
  return out;
}

packs::ListItem File(const std::u16string& name, const std::u16string& key, int64_t size) {
  packs::ListItem item;
  item.Text = name;
  item.Key = key;
  item.Icon = u"Attach";
  item.SubItems.push_back({Num(size), {}});
  return item;
}

TreeView::Node Folder(const std::u16string& key, const std::u16string& parent, const std::u16string& text,
                      const std::u16string& image, bool expanded = false) {
  TreeView::Node n;
  n.Key = key;
  n.Parent = parent;
  n.Text = text;
  n.Image = image;
  n.Expanded = expanded;
  return n;
}

Toolbar::Button Button(const std::u16string& key, const std::u16string& caption, const std::u16string& tip,
                       int32_t style = Toolbar::kDefault, bool enabled = true) {
  Toolbar::Button b;
  b.Key = key;
  b.Caption = caption;
  b.ToolTipText = tip;
  b.Style = style;
  b.Enabled = enabled;
  return b;
}

Menu::Item MenuItem(const std::u16string& key, const std::string& group, bool checked = false) {
  Menu::Item i;
  i.Key = key;
  i.Caption = key;
  i.Group = group;
  i.Checked = checked;
  return i;
}

}  // namespace

SampleAskForm::SampleAskForm(const std::u16string& question)
    : Form("frmSampleAsk", u"Question"),
      lblQuestion(Add<Label>("lblQuestion", question)),
      txtAnswer(Add<TextBox>("txtAnswer")),
      cmdOK(Add<CommandButton>("cmdOK", u"OK")),
      cmdCancel(Add<CommandButton>("cmdCancel", u"Cancel")) {
  cmdOK.SetDefault(true);
  cmdCancel.SetCancel(true);
  On("cmdOK", Event::Click, [this](EventArgs&) {
    SetModalResult(1);
    Unload();
  });
  On("cmdCancel", Event::Click, [this](EventArgs&) { Unload(); });
}

SampleForm::SampleForm()
    : Form("frmSample", u"Sample form"),
      lblEcho(Add<Label>("lblEcho")),
      lblKey(Add<Label>("lblKey")),
      lblAnswer(Add<Label>("lblAnswer")),
      lblTicks(Add<Label>("lblTicks", u"0")),
      txtName(Add<TextBox>("txtName")),
      txtNotes(Add<TextBox>("txtNotes", TextBox::Mode::MultiLine)),
      txtPassword(Add<TextBox>("txtPassword", TextBox::Mode::Password)),
      chkKeepOpen(Add<CheckBox>("chkKeepOpen", u"Refuse to close")),
      chkEdit(Add<CheckBox>("chkEdit", u"Edit the preview")),
      optPlain(Add<OptionButton>("optPlain", u"Plain text", "format")),
      optHtml(Add<OptionButton>("optHtml", u"HTML", "format")),
      cmbColour(Add<ComboBox>("cmbColour")),
      LvwItems(Add<ListView>("LvwItems", std::vector<ListView::Column>{{u"Name", u"Name", 160}, {u"Size", u"Size", 80}})),
      tvFolders(Add<TreeView>("tvFolders")),
      SSTab1(Add<TabStrip>("SSTab1", std::vector<std::u16string>{u"Letter", u"Attachments", u"Projects"})),
      Toolbar1(Add<Toolbar>("Toolbar1")),
      StatusBar1(Add<StatusBar>("StatusBar1", 2)),
      Progressbar1(Add<ProgressBar>("Progressbar1")),
      Timer1(Add<Timer>("Timer1", 200)),
      picLogo(Add<PictureBox>("picLogo")),
      mnView(Add<Menu>("mnView")),
      DHTMLEdit1(Add<HtmlFrame>("DHTMLEdit1")),
      cmdAsk(Add<CommandButton>("cmdAsk", u"Ask...")) {
  On(Event::Load, [this](EventArgs&) {
    optPlain.SetValue(true);
    for (const char16_t* c : {u"Red", u"Green", u"Blue"}) cmbColour.AddItem(c);
    LvwItems.Add(File(u"beta.txt", u"k2", 20));
    LvwItems.Add(File(u"alpha.txt", u"k1", 300));
    LvwItems.Add(File(u"Gamma.txt", u"k3", 1));
    LvwItems.SetCheckboxes(true);
    tvFolders.Add(Folder(u"root", u"", u"Projects", u"Prj", true));
    tvFolders.Add(Folder(u"clients", u"root", u"Clients", u"Prj"));
    tvFolders.Add(Folder(u"archive", u"", u"Archive", u"Archive"));
    Toolbar1.AddButton(Button(u"Add", u"Add", u"Add an item"));
    Toolbar1.AddButton(Button(u"Remove", u"Remove", u"Remove the item", Toolbar::kDefault, false));
    Toolbar1.AddButton(Button(u"Sep", u"", u"", Toolbar::kSeparator));
    Toolbar1.AddButton(Button(u"Bold", u"Bold", u"Bold the chosen item", Toolbar::kCheck));
    Toolbar1.AddButton(Button(u"Step", u"Step", u"Advance the progress"));
    Toolbar1.AddButton(Button(u"Clock", u"Clock", u"Start or stop the timer"));
    Toolbar1.AddButton(Button(u"View", u"View", u"Choose the view", Toolbar::kDropdown));
    mnView.AddItem(MenuItem(u"Icons", "view"));
    mnView.AddItem(MenuItem(u"List", "view"));
    mnView.AddItem(MenuItem(u"Report", "view", true));
    mnView.AddItem(MenuItem(u"Refresh", ""));
    // The notes and the password sit on the second and third pages of the tab strip.
    txtNotes.SetContainer("SSTab1", 1);
    txtPassword.SetContainer("SSTab1", 2);
    picLogo.SetPicture(kLogo);
    picLogo.SetToolTipText(u"Logo");
    Progressbar1.SetRange(0, 5);
    StatusBar1.SetPanelText(1, u"Ready");
    Preview();
  });

  On("txtName", Event::Change, [this](EventArgs&) {
    lblEcho.SetCaption(u"Hello, " + txtName.Text());
    Preview();
  });
  On("txtName", Event::KeyPress, [this](EventArgs& e) { lblKey.SetCaption(e.key); });
  On("txtName", Event::LostFocus, [this](EventArgs&) { Status(u"txtName left"); });
  On("txtNotes", Event::Change, [this](EventArgs&) {
    Status(u"Notes: " + Num(static_cast<int64_t>(txtNotes.Text().size())) + u" characters");
  });
  On("txtPassword", Event::Change, [this](EventArgs&) {
    Status(u"Password: " + Num(static_cast<int64_t>(txtPassword.Text().size())) + u" characters");
  });
  On("chkKeepOpen", Event::Click, [this](EventArgs&) {
    Status(chkKeepOpen.Value() == 1 ? u"Closing is refused" : u"Closing is allowed");
  });
  On("chkEdit", Event::Click, [this](EventArgs&) { DHTMLEdit1.SetEditMode(chkEdit.Value() == 1); });
  On("optPlain", Event::Click, [this](EventArgs&) { Status(u"Format: plain"); });
  On("optHtml", Event::Click, [this](EventArgs&) { Status(u"Format: HTML"); });
  On("cmbColour", Event::Click, [this](EventArgs&) { Status(u"Colour chosen: " + cmbColour.Text()); });
  On("cmbColour", Event::Change, [this](EventArgs&) { Status(u"Colour typed: " + cmbColour.Text()); });

  On("LvwItems", Event::ItemClick, [this](EventArgs& e) {
    Status(u"Item: " + LvwItems.Items()[e.index].Text);
    Toolbar1.SetButtonEnabled(u"Remove", true);
  });
  On("LvwItems", Event::DblClick, [this](EventArgs& e) {
    if (e.index >= 0) Status(u"Opened: " + LvwItems.Items()[e.index].Text);
  });
  On("LvwItems", Event::ItemCheck, [this](EventArgs& e) {
    Status(LvwItems.Items()[e.index].Text + (e.checked ? u" checked" : u" unchecked"));
  });
  On("LvwItems", Event::ColumnClick, [this](EventArgs& e) {
    // A second click on the sorted column turns the order round.
    if (LvwItems.Sorted() && LvwItems.SortKey() == e.index) {
      LvwItems.SetSortOrder(1 - LvwItems.SortOrder());
    } else {
      LvwItems.SetSortKey(e.index);
      LvwItems.SetSortOrder(0);
      LvwItems.SetSorted(true);
    }
    Status(u"Sorted by column " + Num(e.index));
  });
  On("tvFolders", Event::ItemClick, [this](EventArgs& e) { Status(u"Folder: " + tvFolders.Find(e.key)->Text); });
  On("tvFolders", Event::DblClick, [this](EventArgs& e) {
    const auto* n = tvFolders.Find(e.key);
    if (n) tvFolders.SetExpanded(e.key, !n->Expanded);
  });
  On("SSTab1", Event::TabChange, [this](EventArgs& e) { Status(u"Tab: " + SSTab1.TabCaption(e.index)); });

  On("Toolbar1", Event::Click, [this](EventArgs& e) {
    if (e.key == u"Add") {
      const int32_t n = LvwItems.Count() + 1;
      LvwItems.Add(File(u"item" + Num(n) + u".txt", u"n" + Num(n), n));
      Status(u"Added item" + Num(n) + u".txt");
    } else if (e.key == u"Remove") {
      if (auto sel = LvwItems.Selected()) {
        std::u16string text = LvwItems.Items()[*sel].Text;
        LvwItems.Remove(*sel);
        Status(u"Removed " + text);
      }
      Toolbar1.SetButtonEnabled(u"Remove", false);
    } else if (e.key == u"Bold") {
      const bool on = Toolbar1.Get(u"Bold").Value;
      if (auto sel = LvwItems.Selected()) LvwItems.SetBold(*sel, on);
      Status(on ? u"Bold on" : u"Bold off");
    } else if (e.key == u"Step") {
      const double v = Progressbar1.Value() >= Progressbar1.Max() ? Progressbar1.Min() : Progressbar1.Value() + 1;
      Progressbar1.SetValue(v);
      Status(u"Progress " + Num(static_cast<int64_t>(v)));
    } else if (e.key == u"Clock") {
      Timer1.SetEnabled(!Timer1.Enabled());
      Toolbar1.SetCaption(u"Clock", Timer1.Enabled() ? u"Stop clock" : u"Clock");
    } else if (e.key == u"View") {
      mnView.Popup("Toolbar1");
    }
  });
  On("Toolbar1", Event::ButtonDropDown, [this](EventArgs&) { mnView.Popup("Toolbar1"); });
  On("mnView", Event::MenuClick, [this](EventArgs& e) {
    Status(u"Menu: " + e.key + u", view " + mnView.CheckedIn("view"));
  });
  On("Timer1", Event::Timer, [this](EventArgs&) {
    ++ticks_;
    lblTicks.SetCaption(Num(ticks_));
    // A clock that stops by itself after three ticks, as the windows' one-shot timers do.
    if (ticks_ % 3 == 0) {
      Timer1.SetEnabled(false);
      Toolbar1.SetCaption(u"Clock", u"Clock");
    }
  });
  On("picLogo", Event::Click, [this](EventArgs&) { Status(u"Picture clicked"); });
  On("picLogo", Event::DblClick, [this](EventArgs&) { Status(u"Picture double-clicked"); });
  On("DHTMLEdit1", Event::Change, [this](EventArgs&) {
    Status(u"Edited: " + DHTMLEdit1.BodyInnerText());
  });
  On("DHTMLEdit1", Event::Click, [this](EventArgs& e) { Status(u"Link: " + e.key); });
  On("cmdAsk", Event::Click, [this](EventArgs&) { Ask(); });

  On(Event::QueryUnload, [this](EventArgs& e) {
    if (chkKeepOpen.Value() == 1 && e.mode == UnloadMode::User) {
      e.cancel = true;
      ++refusedCloses;
      Status(u"Closing refused");
    }
  });
}

void SampleForm::Ask() {
  SampleAskForm ask(u"What is your answer?");
  ask.txtAnswer.SetText(txtName.Text());
  Status(u"Asking");
  const int32_t result = ShowModal(ask);
  lblAnswer.SetCaption(result == 1 ? u"OK: " + ask.txtAnswer.Text() : u"Cancel");
  Status(u"Asked");
}

void SampleForm::Preview() {
  DHTMLEdit1.SetDocumentHTML(u"<html><body><p>Hello, <b>" + HtmlEscape(txtName.Text()) +
                             u"</b></p><p><a href=\"https://example.org/\">a link</a></p></body></html>");
}

}  // namespace ravelin::windows::forms
