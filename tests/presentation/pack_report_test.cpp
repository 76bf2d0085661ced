// The pack report: its literal frame, events and stop flag, saving with the companion
// folder, and clearing the extraction folders.
#include <filesystem>

#include <gtest/gtest.h>

#include "formats/charsets.h"
#include "formats/message_builder.h"
#include "presentation/letter_html.h"
#include "presentation/pack_report.h"
#include "presentation_fixture.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"

namespace ravelin::test {
namespace {

using namespace presentation;

std::u16string E(const std::u16string& s) { return GetUnicodeHTMLString(s); }

size_t Count(const std::u16string& s, const std::u16string& what) {
  size_t n = 0;
  for (size_t p = s.find(what); p != std::u16string::npos; p = s.find(what, p + 1)) ++n;
  return n;
}

class Events : public RavelinEvents {
 public:
  explicit Events(Ravelin& r, int stopAt = 0) : r_(r), stopAt_(stopAt) {}
  void ProgressChanged(double& v, double& min, double& max) override {
    progress.push_back({v, min, max});
    if (stopAt_ && v == stopAt_) r_.StopOperation();
  }
  void StatusTextChanged(std::u16string& t) override { status.push_back(t); }
  std::vector<std::array<double, 3>> progress;
  std::vector<std::u16string> status;

 private:
  Ravelin& r_;
  int stopAt_;
};

class PackReportTest : public PresentationFixture {
 protected:
  int32_t NewPack(const std::u16string& name) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Packs", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Name", Value(name));
    const int32_t n = rs->GetField(u"N").AsLong();
    rs->Update();
    return n;
  }
  std::u16string Head() { return Replace(docBlanc(), u"</BODY></html>", u"", 1, 1, Compare::Text); }
};

TEST_F(PackReportTest, EmptyPackGivesTheTitleAndAnEmptyTable) {
  const int32_t pack = NewPack(u"Empty");
  EXPECT_EQ(mail.GetPackReport(pack), Head() + u"<P align=center><FONT size=5>" + E(u"Pack of letters, \"Empty\"") +
                                          u"</FONT></P><table border=1></table> </body></html>");
  // Without a title the plain label stands, without quotes.
  auto db = Db();
  auto none = db->OpenRecordset(store::GetPackMsgRecordSource(pack, 0, false), dao::dbOpenDynaset);
  EXPECT_EQ(GetHTMLPackCore(*none, u"", true, db.get(), nullptr), Head() + u"<P align=center><FONT size=5>" + E(u"Pack of letters") +
                                              u"</FONT></P><table border=1></table> </body></html>");
}

TEST_F(PackReportTest, LettersInDateOrderWithStatusAndProgress) {
  const int32_t pack = NewPack(u"P");
  AddLetter(u"late@example.org", u"b", u"second", {}, 0, pack, u"1/5/2017 10:00:00 AM");
  AddLetter(u"early@example.org", u"a", u"first", {}, 1, pack, u"1/4/2017 10:00:00 AM");
  auto events = std::make_shared<Events>(mail);
  mail.Subscribe(events);
  const std::u16string doc = mail.GetPackReport(pack);
  const size_t first = doc.find(u"1. " + E(u"Sender:") + u"<a href=mailto:early@example.org>");
  const size_t second = doc.find(u"2. " + E(u"Sender:") + u"<a href=mailto:late@example.org>");
  ASSERT_NE(first, std::u16string::npos) << ToUtf8(doc);
  ASSERT_NE(second, std::u16string::npos);
  EXPECT_LT(first, second);
  EXPECT_EQ(Count(doc, u"bgcolor= #dcbebe>"), 1u);  // the Outbox letter
  EXPECT_EQ(events->status, (std::vector<std::u16string>{u"Searching the letters ...", u""}));
  EXPECT_EQ(events->progress, (std::vector<std::array<double, 3>>{{1, 1, 2}, {2, 1, 2}}));
}

TEST_F(PackReportTest, StopHalfWayKeepsAValidPageOfTheLettersDone) {
  const int32_t pack = NewPack(u"Big");
  {
    // Rows straight into the tables: the report reads them as any stored letters.
    auto db = Db();
    dao::Engine().BeginTrans();
    auto letters = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
    auto items = db->OpenRecordset(u"PackItems", dao::dbOpenDynaset);
    for (int i = 0; i < 2000; ++i) {
      letters->AddNew();
      const int32_t key = letters->GetField(u"key").AsLong();
      letters->SetField(u"From", Value(u"s@example.org"));
      letters->SetField(u"To", Value(u"me@example.org"));
      letters->SetField(u"MailFolder", Value(u"Inbox"));
      letters->SetField(u"Message", Value(u"text " + NumToText(i)));
      letters->SetField(u"DateWrote", Value(OleDate{42736.0 + i / 1440.0}));
      letters->Update();
      items->AddNew();
      items->SetField(u"Pack_N", Value(pack));
      items->SetField(u"Msg_N", Value(key));
      items->Update();
    }
    dao::Engine().CommitTrans();
  }
  auto events = std::make_shared<Events>(mail, 1000);
  mail.Subscribe(events);
  const std::u16string doc = mail.GetPackReport(pack);
  EXPECT_EQ(Count(doc, u"<tr><td colSpan=2 bgcolor="), 1000u);
  EXPECT_NE(doc.find(u"<i > 1000. "), std::u16string::npos);
  EXPECT_TRUE(doc.ends_with(u"</table> </body></html>"));
  EXPECT_EQ(events->progress.back(), (std::array<double, 3>{1000, 1, 2000}));
  // The next report starts with the flag cleared.
  auto all = std::make_shared<Events>(mail);
  mail.Unsubscribe(events);
  mail.Subscribe(all);
  EXPECT_EQ(Count(mail.GetPackReport(pack), u"<tr><td colSpan=2 bgcolor="), 2000u);
}

TEST_F(PackReportTest, WindowCursorsFollowEachLetterThroughReposition) {
  const int32_t pack = NewPack(u"Cursors");
  AddLetter(u"a@example.org", u"a", u"plain text", {}, 0, pack, u"1/4/2017 10:00:00 AM");
  AddLetter(u"b@example.org", u"b", u"", {HtmlBody(u"<html><body class=x>rich</body></html>")}, 0, pack,
            u"1/5/2017 10:00:00 AM");
  // As the pack window does: the Files view and the tag follow the letters' cursor.
  DataCursor letters(module1::GetEmailDbPath(), store::GetPackMsgRecordSource(pack, 0, false));
  DataCursor files;
  letters.OnReposition([&] {
    const int32_t key = NullConvLng(letters.Recordset()->GetField(u"key"));
    files.SetDatabaseName(module1::GetEmailDbPath());
    files.SetRecordSource(store::GetAttachRecordSource(key));
    files.Refresh();
    Extraction ex;
    std::u16string folder;
    letters.SetTag(files.Recordset()->Eof() ? 0 : ExtractAttachments2(*files.Recordset(), ex, folder));
  });
  letters.Refresh();
  std::u16string title = u"Cursors";
  const std::u16string doc = mail.GetHTMLPack(letters, files, title);
  EXPECT_NE(doc.find(u"<td>plain text</td>"), std::u16string::npos) << ToUtf8(doc);
  EXPECT_NE(doc.find(u"<td class=x>rich</td>"), std::u16string::npos) << ToUtf8(doc);
}

class SavePack : public PackReportTest {
 protected:
  void SetUp() override {
    PackReportTest::SetUp();
    pack = NewPack(u"Trip");
    AddLetter(u"a@example.org", u"s", u"",
              {Part(u"application", u"pdf", u"plan.pdf", u"%PDF", u"attachment"),
               Part(u"image", u"png", u"photo.png", u"PNG", u"inline", u"<p1@x>"),
               HtmlBody(u"<html><body><img src=\"cid:p1@x\"></body></html>")},
              0, pack);
    report = mail.GetPackReport(pack);
  }
  int32_t pack = 0;
  std::u16string report;
  MemoryCommonDialog dialog;
};

TEST_F(SavePack, PageAndItsFilesGoTogetherWithReferencesPointedAtTheCompanionFolder) {
  dialog.answer = HomeFile("out/trip.htm");
  std::filesystem::create_directories(ToUtf8(HomeFile("out")));
  std::u16string name = u"Trip";
  mail.SaveHTMLPack(report, name, dialog);
  EXPECT_EQ(dialog.DialogTitle, u"Saving the pack");
  EXPECT_EQ(dialog.Filter, u"Web-page (*.*htm*)|*.*htm*");

  const std::string saved = ReadFile(HomeFile("out/trip.htm"));
  ASSERT_TRUE(saved.starts_with("\xEF\xBB\xBF"));
  const std::u16string html = FromUtf8(saved.substr(3));
  EXPECT_EQ(ReadFile(HomeFile("out/trip.files/photo.png")), "PNG");
  EXPECT_EQ(ReadFile(HomeFile("out/trip.files/plan.pdf")), "%PDF");
  EXPECT_NE(html.find(u"src=\"" + E(u"trip.files/photo.png") + u"\""), std::u16string::npos) << ToUtf8(html);
  EXPECT_NE(html.find(u"href=\"" + E(u"trip.files/plan.pdf") + u"\""), std::u16string::npos);
  EXPECT_EQ(html.find(E(presentation::MailFilesFolder())), std::u16string::npos);
  EXPECT_EQ(html.find(u"file://"), std::u16string::npos);
}

TEST_F(SavePack, CancelOrNoToTheOverwriteQuestionWritesNothing) {
  std::u16string name = u"Trip";
  mail.SaveHTMLPack(report, name, dialog);  // no answer: cancelled
  EXPECT_EQ(dialog.shown, 1);
  EXPECT_FALSE(std::filesystem::exists(ToUtf8(HomeFile("trip.files"))));

  const std::u16string path = HomeFile("old.htm");
  std::ofstream(ToUtf8(path)) << "old";
  dialog.answer = path;
  user().msgBoxAnswers.push_back(mb::kNo);
  mail.SaveHTMLPack(report, name, dialog);
  EXPECT_EQ(ReadFile(path), "old");
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_NE(user().shown[0].text.find(u"\r\n" + path + u"\r\n"), std::u16string::npos);

  user().msgBoxAnswers.push_back(mb::kYes);
  mail.SaveHTMLPack(report, name, dialog);
  EXPECT_NE(ReadFile(path), "old");
}

TEST_F(SavePack, ClearMailFilesEmptiesTheFoldersAndFollowsNoLink) {
  const std::string outside = ToUtf8(HomeFile("keep.txt"));
  std::ofstream(outside) << "keep";
  std::filesystem::create_symlink(outside, ToUtf8(MFile(u"link")));
  ASSERT_TRUE(std::filesystem::exists(ToUtf8(MFile(u"photo.png"))));
  mail.ClearMailFiles();
  EXPECT_TRUE(std::filesystem::is_empty(ToUtf8(presentation::MailFilesFolder())));
  EXPECT_EQ(ReadFile(FromUtf8(outside)), "keep");
  EXPECT_TRUE(host().Reports().empty());
}

}  // namespace
}  // namespace ravelin::test
