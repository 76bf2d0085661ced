// Forms headless: every control kind as window logic uses it, the change-from-code rule,
// batches of changes, closing with QueryUnload, a modal form inside a handler and a page
// that goes away while it is open.
#include <gtest/gtest.h>

#include "page_fixture.h"
#include "platform/event_loop.h"
#include "platform/funnel.h"
#include "runtime/errors.h"

#include <boost/asio/post.hpp>

namespace ravelin::windows::forms {
namespace {

using testing::FakePage;
namespace json = boost::json;

// A form whose handlers count what they were told.
struct CountingForm : Form {
  CountingForm() : Form("frmCount", u"Count") {
    On("txt", Event::Change, [this](EventArgs&) { log.push_back("txt.Change " + ToUtf8(txt.Text())); });
    On("chk", Event::Click, [this](EventArgs&) { log.push_back("chk.Click " + std::to_string(chk.Value())); });
    On("optA", Event::Click, [this](EventArgs&) { log.push_back("optA.Click"); });
    On("optB", Event::Click, [this](EventArgs&) { log.push_back("optB.Click"); });
    On("cmb", Event::Click, [this](EventArgs&) { log.push_back("cmb.Click " + ToUtf8(cmb.Text())); });
    On("cmb", Event::Change, [this](EventArgs&) { log.push_back("cmb.Change " + ToUtf8(cmb.Text())); });
    On("tabs", Event::TabChange, [this](EventArgs& e) { log.push_back("tabs.TabChange " + std::to_string(e.index)); });
  }
  TextBox& txt = Add<TextBox>("txt");
  CheckBox& chk = Add<CheckBox>("chk");
  OptionButton& optA = Add<OptionButton>("optA", u"A", "g");
  OptionButton& optB = Add<OptionButton>("optB", u"B", "g");
  OptionButton& optOther = Add<OptionButton>("optOther", u"Other group", "h");
  ComboBox& cmb = Add<ComboBox>("cmb");
  TabStrip& tabs = Add<TabStrip>("tabs", std::vector<std::u16string>{u"One", u"Two"});
  std::vector<std::string> log;
};

TEST(FormsTest, ValuesSetFromCodeFireTheHandlersTheUserWould) {
  CountingForm f;
  f.txt.SetText(u"a");
  f.txt.SetText(u"a");  // the same text: nothing
  f.chk.SetValue(1);
  f.optOther.SetValue(true);
  f.optA.SetValue(true);
  f.optB.SetValue(true);
  f.cmb.AddItem(u"Red");
  f.cmb.AddItem(u"Blue");
  f.cmb.SetListIndex(1);
  f.cmb.SetText(u"Bl");
  f.tabs.SetTab(1);
  EXPECT_EQ(f.log, (std::vector<std::string>{"txt.Change a", "chk.Click 1", "optA.Click", "optB.Click",
                                              "cmb.Click Blue", "cmb.Change Bl", "tabs.TabChange 1"}));
  // Option buttons exclude each other within their group only.
  EXPECT_FALSE(f.optA.Value());
  EXPECT_TRUE(f.optB.Value());
  EXPECT_TRUE(f.optOther.Value());
}

TEST(FormsTest, ChangesComeInOneBatchAfterLoadEachPropertyOnce) {
  CountingForm f;
  f.txt.SetText(u"before load");  // drawn with the form, not as a change
  f.Load();
  f.txt.SetText(u"x");
  f.chk.SetCaption(u"Check");
  f.txt.SetText(u"y");
  f.SetCaption(u"New caption");
  EXPECT_EQ(f.TakeChanges(), (std::vector<Change>{{"txt", "Text"}, {"chk", "Caption"}, {"", "Caption"}}));
  EXPECT_TRUE(f.TakeChanges().empty());
}

TEST(FormsTest, BadIndexesAndKeysAreErrorsOfTheLogic) {
  SampleForm f;
  f.Load();
  EXPECT_THROW(f.SSTab1.SetTab(7), Error);
  EXPECT_THROW(f.LvwItems.Item(99), Error);
  EXPECT_THROW(f.Toolbar1.SetButtonEnabled(u"NoSuchKey", true), Error);
  EXPECT_THROW(f.mnView.SetChecked(u"NoSuchKey", true), Error);
  EXPECT_THROW(f.Progressbar1.SetValue(6), Error);  // range 0..5
  EXPECT_THROW(f.cmbColour.SetListIndex(3), Error);
  EXPECT_THROW(f.Add<Label>("lblEcho"), Error);  // names are unique
}

TEST(FormsTest, ListViewSortsKeepsSelectionAndServesThePackOperations) {
  SampleForm f;
  f.Load();
  ListView& l = f.LvwItems;
  l.Select(0);  // beta.txt
  l.SetSortKey(0);
  l.SetSorted(true);
  auto texts = [&] {
    std::vector<std::u16string> t;
    for (const auto& i : l.Items()) t.push_back(i.Text);
    return t;
  };
  EXPECT_EQ(texts(), (std::vector<std::u16string>{u"alpha.txt", u"beta.txt", u"Gamma.txt"}));  // case ignored
  EXPECT_EQ(l.Items()[*l.Selected()].Text, u"beta.txt");
  l.SetSortOrder(1);
  EXPECT_EQ(texts(), (std::vector<std::u16string>{u"Gamma.txt", u"beta.txt", u"alpha.txt"}));
  l.SetSortKey(1);  // by the size column, as text
  l.SetSortOrder(0);
  EXPECT_EQ(texts(), (std::vector<std::u16string>{u"Gamma.txt", u"beta.txt", u"alpha.txt"}));  // "1" "20" "300"
  // An item added to a sorted list lands in its place.
  packs::ListItem item;
  item.Text = u"delta";
  item.Key = u"d";
  item.SubItems.push_back({u"25", {}});
  EXPECT_EQ(l.Add(item), 2);
  // Bold and check marks travel with their items.
  l.SetBold(2, true);
  l.SetSortKey(0);
  EXPECT_TRUE(l.Bold(*l.FindText(u"DELTA")));
  // Removing before the selection moves it; removing it clears it.
  l.SetSorted(false);
  const int32_t sel = *l.Selected();
  l.Remove(0);
  EXPECT_EQ(*l.Selected(), sel - 1);
  l.Remove(*l.Selected());
  EXPECT_FALSE(l.Selected());
  EXPECT_EQ(l.ColumnIndex(u"Size"), 1);
  EXPECT_FALSE(l.ColumnIndex(u"Nope"));
}

TEST(FormsTest, TreeMenuToolbarTimerAndHtmlFrameKeepTheirRules) {
  SampleForm f;
  f.Load();
  // Tree: a node needs a known parent and a free key; removing takes its descendants.
  EXPECT_FALSE(f.tvFolders.Add({u"x", u"nowhere", u"X", u"", false}));
  EXPECT_FALSE(f.tvFolders.Add({u"root", u"", u"Again", u"", false}));
  f.tvFolders.Select(u"clients");
  EXPECT_TRUE(f.tvFolders.Remove(u"root"));
  EXPECT_EQ(f.tvFolders.Nodes().size(), 1u);
  EXPECT_EQ(f.tvFolders.SelectedKey(), u"");
  // Menu: one checked item per radio group; items outside groups are left alone.
  f.mnView.SetChecked(u"Refresh", true);
  f.mnView.SetChecked(u"Icons", true);
  EXPECT_EQ(f.mnView.CheckedIn("view"), u"Icons");
  EXPECT_FALSE(f.mnView.Get(u"Report").Checked);
  EXPECT_TRUE(f.mnView.Get(u"Refresh").Checked);
  // Status bar: SetText writes the first panel, as the pack operations expect.
  packs::StatusBar& bar = f.StatusBar1;
  bar.SetText(u"Reading");
  EXPECT_EQ(f.StatusBar1.GetPanel(0).Text, u"Reading");
  EXPECT_EQ(f.StatusBar1.GetPanel(1).Text, u"Ready");
  // Timer: off until the logic starts it.
  EXPECT_FALSE(f.Timer1.Enabled());
  // HtmlFrame: the presentation layer's view; the body text as a reader sees it.
  presentation::HtmlView& view = f.DHTMLEdit1;
  view.SetDocumentHTML(u"<html><body><p>One<br>Two</p></body></html>");
  EXPECT_EQ(view.BodyInnerText(), u"One\r\nTwo");
  view.SetBodyInnerText(u"plain\r\ntext");
  EXPECT_EQ(view.BodyInnerText(), u"plain\r\ntext");
}

// --- Through the wire ------------------------------------------------------------------

struct SampleOnPage : ::testing::Test {
  void SetUp() override {
    auto form = std::make_unique<SampleForm>();
    sample = form.get();
    number = page.wire.OpenNumbered(std::move(form));
    auto opened = page.Take();
    ASSERT_EQ(opened.size(), 1u);
    ASSERT_EQ(opened[0].at("op"), "open");
  }
  std::string Status() { return ToUtf8(sample->StatusBar1.GetPanel(0).Text); }
  FakePage page;
  SampleForm* sample = nullptr;
  int32_t number = 0;
};

TEST_F(SampleOnPage, TheUsersInputIsTakenBeforeTheHandlerAndNotEchoed) {
  ASSERT_TRUE(page.Event(number, "txtName", "Change", {{"text", "Анна 𝄞"}}));
  auto set = page.OneSet();
  EXPECT_EQ(set["lblEcho.Caption"], "Hello, Анна 𝄞");
  EXPECT_TRUE(set.count("DHTMLEdit1.DocumentHTML"));
  EXPECT_FALSE(set.count("txtName.Text"));  // the page has it already
  EXPECT_EQ(sample->txtName.Text(), u"Анна 𝄞");

  ASSERT_TRUE(page.Event(number, "txtName", "KeyPress", {{"key", "q"}}));
  EXPECT_EQ(page.OneSet()["lblKey.Caption"], "q");
}

TEST_F(SampleOnPage, EveryControlKindsEventReachesItsHandler) {
  struct Row {
    std::string control, event;
    json::object args;
    std::string status;  // what the handler reports
  };
  const std::vector<Row> rows = {
      {"chkKeepOpen", "Click", {{"value", 1}}, "Closing is refused"},
      {"optHtml", "Click", {}, "Format: HTML"},
      {"cmbColour", "Click", {{"index", 2}}, "Colour chosen: Blue"},
      {"cmbColour", "Change", {{"text", "Teal"}}, "Colour typed: Teal"},
      {"LvwItems", "ItemClick", {{"index", 1}}, "Item: alpha.txt"},
      {"LvwItems", "DblClick", {{"index", 0}}, "Opened: beta.txt"},
      {"LvwItems", "ItemCheck", {{"index", 0}, {"checked", true}}, "beta.txt checked"},
      {"LvwItems", "ColumnClick", {{"index", 0}}, "Sorted by column 0"},
      {"tvFolders", "ItemClick", {{"key", "clients"}}, "Folder: Clients"},
      {"SSTab1", "TabChange", {{"index", 2}}, "Tab: Projects"},
      {"Toolbar1", "Click", {{"key", "Step"}}, "Progress 1"},
      {"Toolbar1", "Click", {{"key", "Bold"}}, "Bold on"},
      {"mnView", "MenuClick", {{"key", "List"}}, "Menu: List, view List"},
      {"picLogo", "Click", {}, "Picture clicked"},
      {"txtName", "LostFocus", {}, "txtName left"},
      {"txtNotes", "Change", {{"text", "two\nlines"}}, "Notes: 9 characters"},
      {"txtPassword", "Change", {{"text", "secret"}}, "Password: 6 characters"},
      {"DHTMLEdit1", "Click", {{"href", "https://example.org/"}}, "Link: https://example.org/"},
  };
  for (const Row& r : rows) {
    SCOPED_TRACE(r.control + " " + r.event);
    ASSERT_TRUE(page.Event(number, r.control, r.event, r.args));
    EXPECT_EQ(Status(), r.status);
    EXPECT_EQ(page.OneSet()["StatusBar1.Panels"].as_array()[0].at("text"), json::value(r.status));
  }
  // The state the page's reports left behind.
  EXPECT_EQ(sample->chkKeepOpen.Value(), 1);
  EXPECT_TRUE(sample->optHtml.Value());
  EXPECT_FALSE(sample->optPlain.Value());
  EXPECT_EQ(sample->cmbColour.ListIndex(), -1);  // typed text left the list's choice
  EXPECT_EQ(sample->SSTab1.Tab(), 2);
  EXPECT_EQ(sample->tvFolders.SelectedKey(), u"clients");
  EXPECT_TRUE(sample->Toolbar1.Get(u"Bold").Value);
  EXPECT_EQ(sample->mnView.CheckedIn("view"), u"List");
  EXPECT_EQ(sample->Progressbar1.Value(), 1);
}

TEST_F(SampleOnPage, TheTimerTicksWhileEnabledAndTheHandlerCanStopIt) {
  ASSERT_TRUE(page.Event(number, "Toolbar1", "Click", {{"key", "Clock"}}));
  auto set = page.OneSet();
  EXPECT_EQ(set["Timer1.Enabled"], true);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(page.Event(number, "Timer1", "Timer"));
  EXPECT_EQ(sample->lblTicks.Caption(), u"3");
  EXPECT_FALSE(sample->Timer1.Enabled());
  // A tick that arrives after the timer stopped is dropped.
  EXPECT_FALSE(page.Event(number, "Timer1", "Timer"));
  EXPECT_EQ(sample->lblTicks.Caption(), u"3");
}

TEST_F(SampleOnPage, ReportsThatCannotStandAreDroppedWithoutAHandler) {
  page.Take();
  // A disabled button, a separator, an item that isn't there, a read-only frame's edit.
  EXPECT_FALSE(page.Event(number, "Toolbar1", "Click", {{"key", "Remove"}}));
  EXPECT_FALSE(page.Event(number, "Toolbar1", "Click", {{"key", "Sep"}}));
  EXPECT_FALSE(page.Event(number, "LvwItems", "ItemClick", {{"index", 42}}));
  EXPECT_FALSE(page.Event(number, "tvFolders", "ItemClick", {{"key", "nowhere"}}));
  EXPECT_FALSE(page.Event(number, "mnView", "MenuClick", {{"key", "Nope"}}));
  EXPECT_FALSE(page.Event(number, "DHTMLEdit1", "Change", {{"html", "<p>x</p>"}}));
  EXPECT_FALSE(page.Event(number, "txtNope", "Click"));
  EXPECT_FALSE(page.Event(number + 100, "txtName", "Click"));
  EXPECT_FALSE(page.Event(number, "txtName", "Explode"));
  EXPECT_TRUE(page.Take().empty());
  EXPECT_EQ(sample->LvwItems.Count(), 3);

  // Once the item is chosen the button is enabled and removes it.
  ASSERT_TRUE(page.Event(number, "LvwItems", "ItemClick", {{"index", 1}}));
  EXPECT_EQ(page.OneSet()["Toolbar1.Buttons"].as_array()[1].at("enabled"), true);
  ASSERT_TRUE(page.Event(number, "Toolbar1", "Click", {{"key", "Remove"}}));
  EXPECT_EQ(page.OneSet()["LvwItems.Items"].as_array().size(), 2u);
  EXPECT_FALSE(sample->LvwItems.FindText(u"alpha.txt"));

  // The frame takes edits once in edit mode.
  ASSERT_TRUE(page.Event(number, "chkEdit", "Click", {{"value", 1}}));
  EXPECT_EQ(page.OneSet()["DHTMLEdit1.EditMode"], true);
  ASSERT_TRUE(page.Event(number, "DHTMLEdit1", "Change", {{"html", "<p>edited</p>"}}));
  EXPECT_EQ(Status(), "Edited: edited");
  // A server document shown by address is never edited.
  sample->DHTMLEdit1.SetLocation(u"/doc/1");
  EXPECT_FALSE(page.Event(number, "DHTMLEdit1", "Change", {{"html", "<p>again</p>"}}));
  EXPECT_EQ(sample->DHTMLEdit1.DocumentHTML(), u"<p>edited</p>");
}

TEST_F(SampleOnPage, ClosingAsksQueryUnloadWhichMayRefuse) {
  ASSERT_TRUE(page.Event(number, "chkKeepOpen", "Click", {{"value", 1}}));
  page.Take();
  ASSERT_TRUE(page.Event(number, "", "QueryUnload"));
  EXPECT_EQ(sample->refusedCloses, 1);
  EXPECT_EQ(page.OneSet()["StatusBar1.Panels"].as_array()[0].at("text"), "Closing refused");
  EXPECT_EQ(page.wire.FormOf(number), sample);

  ASSERT_TRUE(page.Event(number, "chkKeepOpen", "Click", {{"value", 0}}));
  page.Take();
  ASSERT_TRUE(page.Event(number, "", "QueryUnload"));
  auto frames = page.Take();
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames.back(), (json::object{{"op", "close"}, {"form", number}}));
  EXPECT_EQ(page.wire.FormOf(number), nullptr);
  EXPECT_FALSE(page.Event(number, "txtName", "Change", {{"text", "late"}}));
}

// The page answers the modal form while the handler that opened it waits: the answer
// arrives on the event loop, as a socket's read would deliver it.
TEST_F(SampleOnPage, AModalFormInsideAHandlerBlocksItUntilAnswered) {
  ASSERT_TRUE(page.Event(number, "txtName", "Change", {{"text", "Ann"}}));
  page.Take();
  int32_t modal = -1;
  std::vector<json::object> seenWhileOpen;
  boost::asio::post(loop::Context(), [&] {
    seenWhileOpen = page.Take();
    modal = static_cast<int32_t>(seenWhileOpen.back().at("form").as_int64());
    // The calling form still works while the modal one is open.
    EXPECT_TRUE(page.Event(number, "txtNotes", "Change", {{"text", "abc"}}));
    EXPECT_TRUE(page.Event(modal, "txtAnswer", "Change", {{"text", "Yes, Ann"}}));
    EXPECT_TRUE(page.Event(modal, "cmdOK", "Click"));
  });
  ASSERT_TRUE(page.Event(number, "cmdAsk", "Click"));
  EXPECT_EQ(sample->lblAnswer.Caption(), u"OK: Yes, Ann");
  EXPECT_EQ(sample->StatusBar1.GetPanel(0).Text, u"Asked");

  // Before the modal form: the caller's "Asking", then the form, prefilled, modal.
  ASSERT_EQ(seenWhileOpen.size(), 2u);
  EXPECT_EQ(FakePage::Changes(seenWhileOpen[0])["StatusBar1.Panels"].as_array()[0].at("text"), "Asking");
  const json::object& open = seenWhileOpen[1];
  EXPECT_EQ(open.at("op"), "open");
  EXPECT_EQ(open.at("modal"), true);
  EXPECT_EQ(open.at("name"), "frmSampleAsk");
  // After: the answer's close, then the caller's batch.
  auto after = page.Take();
  ASSERT_GE(after.size(), 2u);
  EXPECT_EQ(after[after.size() - 2], (json::object{{"op", "close"}, {"form", modal}}));
  EXPECT_EQ(FakePage::Changes(after.back())["lblAnswer.Caption"], "OK: Yes, Ann");
}

TEST_F(SampleOnPage, APageThatGoesAwayEndsTheModalFormAsCancel) {
  std::vector<std::string> unloads;
  sample->On(Event::Unload, [&](EventArgs& e) { unloads.push_back(e.mode == UnloadMode::Abandoned ? "abandoned" : "other"); });
  boost::asio::post(loop::Context(), [&] { page.wire.Abandon(); });
  ASSERT_TRUE(page.Event(number, "cmdAsk", "Click"));
  EXPECT_EQ(sample->lblAnswer.Caption(), u"Cancel");
  EXPECT_EQ(unloads, std::vector<std::string>{"abandoned"});
  EXPECT_TRUE(sample->Closed());
  // Nothing goes to a page that is gone, and nothing more is taken from it.
  auto frames = page.Take();
  ASSERT_FALSE(frames.empty());
  EXPECT_EQ(frames.back().at("op"), "open");
  EXPECT_FALSE(page.Event(number, "txtName", "Change", {{"text", "x"}}));
  EXPECT_TRUE(page.Take().empty());
}

// A handler that fails is reported under its source name; the page goes on, and a page
// that goes away still takes a form whose Unload fails.
TEST_F(SampleOnPage, AFailingHandlerIsReportedAndThePageGoesOn) {
  sample->On("picLogo", Event::Click, [](EventArgs&) { throw Error(91, u"Object variable not set"); });
  sample->On(Event::Unload, [](EventArgs&) { throw Error(5, u"Invalid procedure call"); });
  ASSERT_TRUE(page.Event(number, "picLogo", "Click"));
  ASSERT_TRUE(funnel::LastError());
  EXPECT_EQ(funnel::LastError()->Source, u"frmSample.picLogo_Click");
  ASSERT_TRUE(page.Event(number, "txtName", "Change", {{"text", "still here"}}));
  EXPECT_EQ(sample->lblEcho.Caption(), u"Hello, still here");
  // Closed by the user, the failing Unload keeps the form; the page's going takes it.
  ASSERT_TRUE(page.Event(number, "", "QueryUnload"));
  EXPECT_EQ(page.wire.FormOf(number), sample);
  page.wire.Abandon();
  EXPECT_EQ(page.wire.FormOf(number), nullptr);
}

TEST(FormsTest, AModalFormOutlivesAWireDestroyedUnderIt) {
  auto page = std::make_unique<FakePage>();
  SampleAskForm ask(u"?");
  boost::asio::post(loop::Context(), [&] { page.reset(); });
  EXPECT_EQ(page->wire.ShowModal(ask), 2);
}

}  // namespace
}  // namespace ravelin::windows::forms
