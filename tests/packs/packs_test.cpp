// A pack's life: made with letters, listed, recycled and restored, deleted project by
// project, dissolved, edited in its property window; and the packs that aren't there.
#include "packs/packs.h"

#include "packs/rules.h"
#include "packs_fixture.h"
#include "store/delete_restore.h"
#include "store/record_sources.h"

namespace ravelin::test {
namespace {

namespace stdfs = std::filesystem;
using namespace packs;

class PacksTest : public PacksFixture {
 protected:
  int32_t RuleOf(int32_t pack) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Rules", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Action", Value(1));
    rs->SetField(u"Pack_N", Value(pack));
    const int32_t n = rs->GetField(u"N").AsLong();
    rs->Update();
    return n;
  }
  bool Deleted(int32_t pack) {
    auto rows = Rows(u"Select * from Packs Where N=" + NumToText(pack));
    return !rows.empty() && rows[0].at(u"Deleted").AsBool();
  }
  bool PackExists(int32_t pack) { return !Rows(u"Select * from Packs Where N=" + NumToText(pack)).empty(); }
};

TEST_F(PacksTest, NewPackTakesATrimmedNameAndThePickedLetters) {
  const int32_t a = Letter(), b = Letter();
  picker().inputAnswers = {u"   "};
  EXPECT_EQ(NewPack(u"Projects\\Acme"), 0);
  EXPECT_TRUE(Rows(u"Select * from Packs").empty());
  EXPECT_EQ(picker().lettersAsked, 0);
  EXPECT_EQ(picker().shown[0].text, u"Enter the name pack");
  EXPECT_EQ(picker().shown[0].title, u"Creating a pack");

  picker().inputAnswers = {u"  Acme 2026 "};
  picker().letters = {u"DirUp", NumToText(a), u"Prj", NumToText(b), NumToText(b)};
  const int32_t n = NewPack(u"Projects\\Acme", true);
  ASSERT_GT(n, 0);
  EXPECT_EQ(Text(Rows(u"Select * from Packs")[0], u"Name"), u"Acme 2026");
  EXPECT_EQ(Items(), (std::set<std::pair<int32_t, int32_t>>{{n, a}, {n, b}}));
  // The project row is written without making the folder.
  EXPECT_EQ(Links(), (std::set<std::u16string>{P(n, u"Projects\\Acme", true)}));
  EXPECT_FALSE(stdfs::exists(Archive() / "Acme"));
}

TEST_F(PacksTest, NewPackInThePropertyWindowIsPrefilledFromAListItem) {
  const int32_t a = Letter();
  ListItem from{u"Ann Smith", {}, {}, {}, {}, {}, {{u"Ann Smith <ann@acme.com>", {}}}};
  SharedPackPropertyWindow().show = [](PackPropertyWindow& w) {
    EXPECT_EQ(w.txtName, u"Ann Smith");
    EXPECT_EQ(w.txtSender, u"ann@acme.com");
    EXPECT_EQ(w.txtSenderName, u"Ann Smith");
    EXPECT_TRUE(w.chkSender);
    EXPECT_EQ(w.LvwPrj.Count(), 1);
    w.txtPackComments = u"from the address book";
    return true;
  };
  picker().letters = {NumToText(a)};
  const int32_t n = NewPack(u"Projects\\Ann", false, true, &from);
  ASSERT_GT(n, 0);
  Row r = Rows(u"Select * from Packs")[0];
  EXPECT_EQ(Text(r, u"Name"), u"Ann Smith");
  EXPECT_EQ(Text(r, u"Comments"), u"from the address book");
  EXPECT_EQ(Links(), (std::set<std::u16string>{P(n, u"Projects\\Ann")}));
  EXPECT_EQ(Items(), (std::set<std::pair<int32_t, int32_t>>{{n, a}}));

  // Cancelled: no pack, no letters asked for.
  SharedPackPropertyWindow().show = [](PackPropertyWindow&) { return false; };
  picker().lettersAsked = 0;
  EXPECT_EQ(NewPack(u"", false, true, &from), 0);
  EXPECT_EQ(Rows(u"Select * from Packs").size(), 1u);
  EXPECT_EQ(picker().lettersAsked, 0);
  SharedPackPropertyWindow().show = nullptr;
}

TEST_F(PacksTest, RecycledAndRestoredLettersGoBackTheOneInRecycleStays) {
  const int32_t inbox = Letter(Inbox), sent = Letter(Sent), gone = Letter(Inbox);
  const int32_t pack = AddPack(u"p");
  for (int32_t k : {inbox, sent, gone}) Item(pack, k);
  store::DeleteLetter2(gone);  // already in the recycle bin before the pack goes there

  std::u16string project;
  bool arc = false;
  EXPECT_EQ(DeletePack2(pack, project, arc, 0), 0);
  EXPECT_TRUE(Deleted(pack));
  for (int32_t k : {inbox, sent, gone}) EXPECT_EQ(Folder(k), u"Recycle");
  EXPECT_EQ(store::DeletedMsgCount(module1::GetEmailDbPath(), pack), 3);

  RestorePack2(pack);
  EXPECT_FALSE(Deleted(pack));
  EXPECT_EQ(Folder(inbox), u"Inbox");
  EXPECT_EQ(Folder(sent), u"Sent");
  EXPECT_EQ(Folder(gone), u"Recycle");
  EXPECT_TRUE(IsNull(Stored(inbox), u"OldMailFolder"));
  EXPECT_TRUE(picker().shown.empty());
}

TEST_F(PacksTest, RestoreAsksForAnUnknownFolderAndStopsOnNoAnswer) {
  const int32_t a = Letter(), b = Letter();
  const int32_t pack = AddPack(u"p", true);
  Item(pack, a);
  Item(pack, b);
  {
    auto db = Db();
    db->Execute(u"Update Letters Set MailFolder=\"Recycle\", OldMailFolder=Null");
  }
  picker().inputAnswers = {u"Sent", std::nullopt};
  RestorePack2(pack);
  ASSERT_EQ(picker().shown.size(), 2u);
  EXPECT_EQ(picker().shown[0].text, u"Enter the name of mail folder that you want to put a message");
  // The later letter was done first and stays done; the pack stays in the recycle bin.
  EXPECT_EQ(Folder(b), u"Sent");
  EXPECT_EQ(Folder(a), u"Recycle");
  EXPECT_TRUE(Deleted(pack));
}

TEST_F(PacksTest, DeletedFromOneProjectThenTheLast) {
  const int32_t alone = Letter(), linked = Letter();
  const int32_t pack = AddPack(u"p");
  Item(pack, alone);
  Item(pack, linked);
  Link(linked, 0, u"Projects\\Keep");
  Link(pack, 1, u"Projects\\A");
  Link(pack, 1, u"Projects\\B");
  RuleOf(pack);

  // An empty project removes nothing: every link is left and the pack stays.
  std::u16string none;
  bool arc = false;
  EXPECT_EQ(DeletePack2(pack, none, arc, 1), 2);

  std::u16string a = u"Projects\\A", b = u"Projects\\B";
  EXPECT_EQ(DeletePack2(pack, a, arc, 1), 1);
  EXPECT_TRUE(PackExists(pack));
  EXPECT_EQ(Items().size(), 2u);

  EXPECT_EQ(DeletePack2(pack, b, arc, 1), 0);
  EXPECT_FALSE(PackExists(pack));
  EXPECT_TRUE(Stored(alone).empty());
  EXPECT_TRUE(Rows(u"Select * from Files Where N=" + NumToText(alone)).empty());
  EXPECT_FALSE(Stored(linked).empty());
  EXPECT_TRUE(Items().empty());
  EXPECT_TRUE(Rows(u"Select * from Rules").empty());
}

TEST_F(PacksTest, DissolvedPackLeavesItsLettersWithoutProjectLinks) {
  const int32_t a = Letter(), b = Letter();
  const int32_t pack = AddPack(u"p");
  Item(pack, a);
  Item(pack, b);
  Link(pack, 1, u"Projects\\A");
  RuleOf(pack);
  ReDistrPack(pack);
  EXPECT_FALSE(PackExists(pack));
  EXPECT_TRUE(Items().empty());
  EXPECT_TRUE(Links().empty());
  EXPECT_TRUE(Rows(u"Select * from Rules").empty());
  EXPECT_EQ(Folder(a), u"Inbox");
}

TEST_F(PacksTest, MissingPacksAreToldByEachOperationsOwnKey) {
  std::u16string p;
  bool arc = false;
  DeletePack2(77, p, arc, 0);
  RestorePack2(77);
  ReDistrPack(77);
  PackPropertyUpdate(77, SharedPackPropertyWindow());
  ASSERT_EQ(Boxes().size(), 4u);
  for (const auto& s : picker().shown) {
    EXPECT_EQ(s.text, u"The pack \u211677 was not found in database");
    EXPECT_EQ(s.style, mb::kCritical);
  }
}

TEST_F(PacksTest, ListingShowsProjectsUnderFolderAndFiltersDeletedOnly) {
  const int32_t live = AddPack(u"live"), withDeleted = AddPack(u"has deleted"), binned = AddPack(u"binned", true);
  const int32_t key = Letter();
  Item(withDeleted, key);
  store::DeleteLetter2(key);
  Link(live, 1, u"Projects\\A", true);
  {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Select * from Packs Where N=" + NumToText(live), dao::dbOpenDynaset);
    rs->Edit();
    rs->SetField(u"Comments", Value(u"the tip"));
    rs->Update();
  }
  MemoryListView list({u"Name", u"Folder"});
  MemoryStatusBar bar;
  auto db = Db();
  auto rs = db->OpenRecordset(u"Select Packs.*, Projects.Project, Projects.InsArcPrj From Packs LEFT JOIN Projects ON "
                              u"Packs.N = Projects.[Obj ID] order by N;",
                              dao::dbOpenDynaset);
  EXPECT_EQ(RereadPacksData2(*rs, list, ShowAll, &bar), 3);
  EXPECT_EQ(bar.texts.front(), u"Enumeration of packs ...");
  EXPECT_EQ(bar.Text(), u"Total packages: 3");
  const ListItem& first = list.Items()[0];
  EXPECT_EQ(first.Tag, NumToText(live));
  EXPECT_EQ(first.ToolTipText, u"the tip");
  EXPECT_EQ(first.Icon, u"Pack");
  ASSERT_EQ(first.SubItems.size(), 1u);
  EXPECT_EQ(first.SubItems[0].Text, u"Projects\\A");
  EXPECT_EQ(first.SubItems[0].Tag, u"True");

  list.Clear();
  rs->Requery();
  EXPECT_EQ(RereadPacksData2(*rs, list, DeletedOnly, &bar), 2);
  EXPECT_EQ(list.Items()[0].Tag, NumToText(withDeleted));
  EXPECT_EQ(list.Items()[1].Tag, NumToText(binned));
}

TEST_F(PacksTest, ListingStopsWhenTheUserAsks) {
  for (int i = 0; i < 5; ++i) AddPack(u"p");
  struct StopAfterTwo : LoopEvents {
    int steps = 0;
    double lastMax = 0;
    void Progress(double, double, double max) override { lastMax = max; }
    bool Yield() override { return ++steps == 2; }
  } events;
  MemoryListView list;
  auto db = Db();
  auto rs = db->OpenRecordset(u"Select * from Packs", dao::dbOpenDynaset);
  EXPECT_EQ(RereadPacksData2(*rs, list, ShowAll, nullptr, &events), 2);
  EXPECT_EQ(events.lastMax, 5);
}

TEST_F(PacksTest, PropertyWindowSavesNameCommentsAndDropsTheArchiveFlag) {
  const int32_t pack = AddPack(u"old");
  Link(pack, 1, u"Archive\\A", true);
  SharedPackPropertyWindow().show = [](PackPropertyWindow& w) {
    EXPECT_EQ(w.txtName, u"old");
    EXPECT_EQ(w.LvwPrj.Count(), 1);
    w.txtName = u"new";
    w.txtPackComments = u"note";
    return true;
  };
  bool changed = true;
  EXPECT_TRUE(ChangePackProperty(pack, &changed));
  EXPECT_FALSE(changed);
  Row r = Rows(u"Select * from Packs")[0];
  EXPECT_EQ(Text(r, u"Name"), u"new");
  EXPECT_EQ(Text(r, u"Comments"), u"note");
  // The list is written back by its icon test, which no list item passes.
  EXPECT_EQ(Links(), (std::set<std::u16string>{P(pack, u"Archive\\A", false)}));

  SharedPackPropertyWindow().show = [](PackPropertyWindow& w) {
    w.LvwPrj.Add({u"Projects\\B", {}, {}, {}, u"Prj", u"Prj", {}});
    return true;
  };
  EXPECT_TRUE(ChangePackProperty(pack, &changed));
  EXPECT_TRUE(changed);
  EXPECT_EQ(Links().size(), 2u);
  SharedPackPropertyWindow().show = nullptr;
  EXPECT_FALSE(ChangePackProperty(pack, &changed));
}

}  // namespace
}  // namespace ravelin::test
