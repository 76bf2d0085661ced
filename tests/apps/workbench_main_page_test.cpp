// The main page's logic on a real store: the letters of a folder, a project and a pack a
// page at a time, deleting to Recycle and back, removing for good only when the user says
// yes, importing dropped files with progress and Stop, the project tree from disk.
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "desktop/main_page.h"
#include "packs/project_tree.h"
#include "platform/db/dao.h"
#include "platform/module1.h"
#include "runtime/text.h"
#include "runtime/value.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/maintenance.h"
#include "support/test_support.h"

namespace ravelin::test {
namespace {

desktop::Place FolderPlace(std::u16string folder) {
  desktop::Place p;
  p.folder = std::move(folder);
  return p;
}

std::string Eml(int n, const std::string& extra = {}) {
  return "From: Sender " + std::to_string(n) + " <s" + std::to_string(n) + "@example.org>\r\nTo: me@example.org\r\n" +
         extra + "Subject: letter " + std::to_string(n) + "\r\nDate: Mon, 2 Nov 2026 09:15:00 +0000\r\n\r\nBody " +
         std::to_string(n) + "\r\n";
}

class MainPageTest : public HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    store::CorrectDB(module1::GetEmailDbPath());
  }
  int32_t Add(int n) { return store::AddLetterFromText(BytesToByteText(Eml(n))); }
  std::shared_ptr<dao::Database> Db() { return dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access"); }
  void Exec(const std::u16string& sql) {
    auto db = Db();
    db->Execute(sql);
    db->Close();
  }
  std::u16string FolderOf(int32_t key) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Select MailFolder from Letters where key=" + NumToText(key), dao::dbOpenSnapshot);
    std::u16string f = rs->Eof() ? u"(gone)" : NullConvStr(rs->GetField(u"MailFolder"));
    rs->Close();
    db->Close();
    return f;
  }
  static std::vector<int32_t> Keys(const desktop::LetterPage& p) {
    std::vector<int32_t> k;
    for (const auto& r : p.rows) k.push_back(r.key);
    return k;
  }
  desktop::MainPage page;
};

TEST_F(MainPageTest, AFolderComesAPageAtATimeNewestFirst) {
  std::vector<int32_t> keys;
  for (int i = 0; i < 25; ++i) keys.push_back(Add(i));
  const desktop::Place inbox;
  ASSERT_EQ(page.PageSize(), 10);  // the settings' default

  const auto first = page.List(inbox, 1);
  EXPECT_EQ(Keys(first), std::vector<int32_t>(keys.rbegin(), keys.rbegin() + 10));
  EXPECT_TRUE(first.more);
  EXPECT_EQ(first.rows[0].subject, u"letter 24");
  EXPECT_EQ(first.rows[0].from, u"Sender 24 <s24@example.org>");
  EXPECT_FALSE(first.rows[0].read);
  ASSERT_TRUE(first.rows[0].date.has_value());

  const auto last = page.List(inbox, 3);
  EXPECT_EQ(Keys(last), std::vector<int32_t>(keys.rbegin() + 20, keys.rend()));
  EXPECT_FALSE(last.more);
  EXPECT_TRUE(page.List(inbox, 4).rows.empty());
  // Other folders are not mixed in.
  EXPECT_TRUE(page.List(FolderPlace(u"Sent"), 1).rows.empty());
}

TEST_F(MainPageTest, DeleteGoesToRecycleAndRestoreBringsItBack) {
  const int32_t a = Add(1), b = Add(2);
  EXPECT_EQ(page.Delete({a}), 1);
  EXPECT_EQ(FolderOf(a), u"Recycle");
  EXPECT_EQ(Keys(page.List({}, 1)), std::vector<int32_t>{b});
  EXPECT_EQ(Keys(page.List(FolderPlace(u"Recycle"), 1)), std::vector<int32_t>{a});
  EXPECT_TRUE(user().shown.empty()) << "moving to Recycle asks nothing";

  EXPECT_EQ(page.Restore({a}), 1);
  EXPECT_EQ(FolderOf(a), u"Inbox");
  EXPECT_EQ(Keys(page.List({}, 1)), (std::vector<int32_t>{b, a}));
}

TEST_F(MainPageTest, RemovingForGoodIsAskedOnceAndNoKeepsTheLetters) {
  const int32_t a = Add(1), b = Add(2), c = Add(3);
  page.Delete({a, b});
  user().msgBoxAnswers = {mb::kNo};
  // A letter outside Recycle in the same choice still goes to Recycle.
  EXPECT_EQ(page.Delete({a, b, c}), 1);
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(user().shown[0].style, mb::kYesNo + mb::kExclamation + mb::kDefaultButton2);
  EXPECT_NE(user().shown[0].text.find(u"2 letters"), std::u16string::npos);
  EXPECT_EQ(FolderOf(a), u"Recycle");
  EXPECT_EQ(FolderOf(c), u"Recycle");

  user().msgBoxAnswers = {mb::kYes};
  EXPECT_EQ(page.Delete({a}), 1);
  EXPECT_EQ(FolderOf(a), u"(gone)");
  EXPECT_EQ(FolderOf(b), u"Recycle");
}

TEST_F(MainPageTest, AnOpenedLetterIsReadAndShownAsADocument) {
  const int32_t a = Add(1);
  const auto doc = page.Letter(a);
  EXPECT_NE(doc.html.find(u"Body 1"), std::u16string::npos);
  EXPECT_TRUE(page.List({}, 1).rows[0].read);
  // A letter that isn't there: told, and nothing to show.
  EXPECT_TRUE(page.Letter(a + 100).html.empty());
}

TEST_F(MainPageTest, DroppedFilesAreImportedWithProgressAndStop) {
  const std::string mbox = "From a@b Mon Nov  2 09:15:00 2026\n" + Eml(10) + "\nFrom a@b Mon Nov  2 09:16:00 2026\n" +
                           Eml(11) + "\nFrom a@b Mon Nov  2 09:17:00 2026\n" + Eml(12);
  std::vector<std::pair<double, double>> steps;
  const auto r = page.Import({{u"one.eml", Eml(1)}, {u"box.mbox", mbox}, {u"notes.txt", "just some words\n"}},
                             [&](double done, double total, const std::u16string&) {
                               steps.emplace_back(done, total);
                               return true;
                             });
  EXPECT_EQ(r.keys.size(), 4u);
  EXPECT_EQ(r.failed, 1);
  EXPECT_FALSE(r.stopped);
  EXPECT_EQ(r.message, u"4 letters imported, 1 failed");
  ASSERT_EQ(steps.size(), 5u) << "a step for every file or letter, stored or not";
  EXPECT_EQ(steps.back(), std::make_pair(5.0, 5.0));
  EXPECT_EQ(page.List({}, 1).rows.size(), 4u);

  // Stop after the first letter: the rest is left alone.
  const auto stopped = page.Import({{u"box.mbox", mbox}}, [](double, double, const std::u16string&) { return false; });
  EXPECT_TRUE(stopped.stopped);
  EXPECT_EQ(stopped.keys.size(), 1u);
  EXPECT_EQ(stopped.message, u"Stopped: 1 letters imported, 0 failed");
  EXPECT_EQ(page.List({}, 1).rows.size(), 5u);
}

TEST_F(MainPageTest, APackListsItsLettersOutsideRecycleAndAProjectItsOwn) {
  const int32_t a = Add(1), b = Add(2), c = Add(3);
  Exec(u"INSERT INTO Packs (Name, Deleted) VALUES ('Trip', False)");
  Exec(u"INSERT INTO PackItems (Pack_N, Msg_N) VALUES (1, " + NumToText(a) + u")");
  Exec(u"INSERT INTO PackItems (Pack_N, Msg_N) VALUES (1, " + NumToText(b) + u")");
  Exec(u"INSERT INTO Projects ([Obj ID], ObjType, Project, InsArcPrj) VALUES (" + NumToText(c) +
       u", 0, 'Projects\\Acme', False)");
  page.Delete({b});

  const auto packs = page.Packs();
  ASSERT_EQ(packs.size(), 1u);
  EXPECT_EQ(packs[0].name, u"Trip");
  desktop::Place pack;
  pack.kind = desktop::Place::Kind::Pack;
  pack.pack = packs[0].number;
  EXPECT_EQ(Keys(page.List(pack, 1)), std::vector<int32_t>{a});

  // The pack's report: its letters on one page; stopped at the first step, the page
  // still comes, shorter.
  std::u16string title;
  int steps = 0;
  const auto report = page.PackReport(pack.pack, &title, [&](double, double, const std::u16string&) {
    ++steps;
    return true;
  });
  EXPECT_EQ(title, u"Trip");
  EXPECT_NE(report.html.find(u"mailto:s1@example.org"), std::u16string::npos);
  EXPECT_GT(steps, 0);
  const auto stopped = page.PackReport(pack.pack, nullptr, [](double, double, const std::u16string&) { return false; });
  EXPECT_FALSE(stopped.html.empty());
  EXPECT_LE(stopped.html.size(), report.html.size());

  desktop::Place project;
  project.kind = desktop::Place::Kind::Project;
  project.project = u"Projects\\Acme";
  EXPECT_EQ(Keys(page.List(project, 1)), std::vector<int32_t>{c});
  project.archive = true;
  EXPECT_TRUE(page.List(project, 1).rows.empty());
}

TEST_F(MainPageTest, TheProjectTreeShowsBothRootsAndFollowsNoLink) {
  TempDir live, archive, outside;
  std::filesystem::create_directories(live.path() / "Clients" / "Acme");
  std::filesystem::create_directories(archive.path() / "Old");
  std::filesystem::create_directories(outside.path() / "Secret");
  std::filesystem::create_directory_symlink(outside.path(), live.path() / "Link");
  packs::SetProjectRoots(live.u16(), archive.u16());
  const auto tree = page.ProjectTree();
  packs::SetProjectRoots(u"", u"");
  ASSERT_EQ(tree.size(), 2u);
  EXPECT_FALSE(tree[0].archive);
  ASSERT_EQ(tree[0].children.size(), 1u) << "the link is not shown";
  EXPECT_EQ(tree[0].children[0].children[0].project, tree[0].name + u"\\Clients\\Acme");
  EXPECT_TRUE(tree[1].archive);
  ASSERT_EQ(tree[1].children.size(), 1u);
  EXPECT_EQ(tree[1].children[0].name, u"Old");
}

TEST_F(MainPageTest, EveryTextHasItsEnglishDefault) {
  for (const auto& [key, text] : page.Texts()) EXPECT_FALSE(text.empty()) << key;
  const auto folders = page.Folders();
  ASSERT_EQ(folders.size(), 5u);
  EXPECT_EQ(folders[4].name, u"Recycle");
}

}  // namespace
}  // namespace ravelin::test
