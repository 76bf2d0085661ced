// The wire's frames: a form opened on the page carries every control's state, the page's
// JSON is read defensively, and forms open by name from the registry.
#include <gtest/gtest.h>

#include <set>

#include "page_fixture.h"

namespace ravelin::windows::forms {
namespace {

using testing::FakePage;
namespace json = boost::json;

// Every control of the opened form, as the page reads the "open" frame, carries the
// state of the C++ control; and every kind is on the sample form.
TEST(FormsWireTest, TheOpenFrameCarriesEveryControlsState) {
  FakePage page;
  auto form = std::make_unique<SampleForm>();
  SampleForm& f = *form;
  const int32_t number = page.wire.OpenNumbered(std::move(form));
  auto frames = page.Take();
  ASSERT_EQ(frames.size(), 1u);
  const json::object& open = frames[0];
  EXPECT_EQ(open.at("form"), number);
  EXPECT_EQ(open.at("name"), "frmSample");
  EXPECT_EQ(open.at("caption"), "Sample form");
  EXPECT_EQ(open.at("modal"), false);

  std::set<std::string> kinds;
  const auto& controls = open.at("controls").as_array();
  ASSERT_EQ(controls.size(), f.Controls().size());
  for (size_t i = 0; i < controls.size(); ++i) {
    const auto& c = controls[i].as_object();
    const Control& logic = *f.Controls()[i];
    SCOPED_TRACE(logic.Name());
    EXPECT_EQ(c.at("name"), json::value(logic.Name()));
    EXPECT_EQ(c.at("kind"), json::value(KindName(logic.GetKind())));
    kinds.insert(std::string(c.at("kind").as_string()));
    const auto& props = c.at("props").as_object();
    EXPECT_EQ(props.size(), logic.PropNames().size());
    for (std::string_view p : logic.PropNames()) EXPECT_EQ(props.at(p), logic.Prop(p)) << p;
  }
  EXPECT_EQ(kinds.size(), 16u) << "the sample form has a control of every kind";

  // What Load put in the controls is in the frame itself.
  const auto find = [&](std::string_view name) -> const json::object& {
    for (const auto& c : controls)
      if (c.at("name").as_string() == json::string_view(name.data(), name.size())) return c.at("props").as_object();
    throw std::runtime_error("no control");
  };
  EXPECT_EQ(find("LvwItems").at("Items").as_array().size(), 3u);
  EXPECT_EQ(find("optPlain").at("Value"), true);
  EXPECT_EQ(find("txtPassword").at("Mode"), "password");
  EXPECT_EQ(find("txtNotes").at("Mode"), "multi");
  EXPECT_EQ(find("Toolbar1").at("Buttons").as_array()[1].at("enabled"), false);
  EXPECT_EQ(find("mnView").at("Items").as_array()[2].at("checked"), true);
}

TEST(FormsWireTest, TextCrossesTheWireUnchanged) {
  // UTF-8 on the wire, UTF-16 in the logic: Cyrillic, a surrogate pair, quotes and
  // control characters both ways.
  const std::u16string text = u"Привет \"𝄞\" \\ <b>&amp;</b>\r\n\t";
  FakePage page;
  auto form = std::make_unique<SampleForm>();
  SampleForm& f = *form;
  const int32_t number = page.wire.OpenNumbered(std::move(form));
  page.Take();
  ASSERT_TRUE(page.Event(number, "txtName", "Change", {{"text", ToUtf8(text)}}));
  EXPECT_EQ(f.txtName.Text(), text);
  EXPECT_EQ(page.OneSet()["lblEcho.Caption"], json::value(ToUtf8(u"Hello, " + text)));
}

TEST(FormsWireTest, FramesThatAreNotEventsOfAnOpenFormAreRefused) {
  FakePage page;
  const int32_t number = page.wire.OpenNumbered(std::make_unique<SampleForm>());
  page.Take();
  const std::vector<std::string> bad = {
      "",
      "not json",
      "[1,2]",
      R"({"op":"main.list"})",
      R"({"op":"event"})",
      R"({"op":"event","form":"1","event":"Click","control":"cmdAsk"})",
      R"({"op":"event","form":99,"event":"Click","control":"cmdAsk"})",
      R"({"op":"event","form":1,"event":7,"control":"cmdAsk"})",
      R"({"op":"event","form":1,"event":"Change","control":"txtName","args":{"text":42}})",
      R"({"op":"event","form":1,"event":"ItemClick","control":"LvwItems","args":{"index":"x"}})",
      R"({"op":"event","form":1,"event":"ItemClick","control":"LvwItems","args":{"index":-1}})",
      R"({"op":"event","form":1,"event":"TabChange","control":"SSTab1","args":{"index":1e300}})",
      R"({"op":"openForm","name":"nosuch"})",
      R"({"op":"openForm"})",
  };
  for (const std::string& frame : bad) {
    SCOPED_TRACE(frame);
    // A frame with a text of the wrong type is taken as an event without its text.
    const bool taken = page.wire.Receive(frame);
    if (frame.find("\"text\":42") == std::string::npos) {
      EXPECT_FALSE(taken);
    }
  }
  EXPECT_EQ(number, 1);
  EXPECT_TRUE(page.Take().size() <= 1u);  // at most the batch of the untyped Change
}

TEST(FormsWireTest, PagesOpenRegisteredFormsByName) {
  Registry registry;
  int made = 0;
  registry.Register("ask", [&] {
    ++made;
    return std::make_unique<SampleAskForm>(u"Sure?");
  });
  FakePage page;
  Wire wire([&](std::string text) { page.frames.push_back(json::parse(text)); }, registry);
  ASSERT_TRUE(wire.Receive(R"({"op":"openForm","name":"ask"})"));
  EXPECT_FALSE(wire.Receive(R"({"op":"openForm","name":"sample"})"));  // not in this registry
  EXPECT_EQ(made, 1);
  auto frames = page.Take();
  ASSERT_EQ(frames.size(), 1u);
  EXPECT_EQ(frames[0].at("name"), "frmSampleAsk");
  EXPECT_EQ(Registry::Default().Names(), std::vector<std::string>{"sample"});

  // A modeless form's own button closes it; the wire lets it go.
  const int32_t n = static_cast<int32_t>(frames[0].at("form").as_int64());
  ASSERT_TRUE(wire.Receive(json::serialize(json::object{{"op", "event"}, {"form", n}, {"control", "cmdCancel"}, {"event", "Click"}})));
  EXPECT_EQ(page.Take().back(), (json::object{{"op", "close"}, {"form", n}}));
  EXPECT_EQ(wire.FormOf(n), nullptr);
}

}  // namespace
}  // namespace ravelin::windows::forms
