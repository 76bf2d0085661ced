// The project tree on disk (roots, folder creation, hostile project texts), path
// questions of the two sides, links and moves of letters and packs, and the host's
// copies, moves and deletions of folders.
#include <fstream>

#include "packs/packs.h"
#include "packs/rules.h"
#include "packs_fixture.h"
#include "store/data_cursor.h"

namespace ravelin::test {
namespace {

namespace stdfs = std::filesystem;
using namespace packs;

class ProjectsTest : public PacksFixture {};

// ---- The tree on disk ------------------------------------------------------------------------

TEST_F(ProjectsTest, RootsDefaultToTheHomeAndFollowSettingsAndHost) {
  EXPECT_EQ(Live().filename(), "Projects");
  EXPECT_EQ(Archive().filename(), "Archive");
  EXPECT_EQ(SharedArcPrj().GetRootFolderName(true), u"Archive");

  SaveProjectRoots(home() + u"/Work", u"");
  EXPECT_EQ(SharedArcPrj().GetRootFolderName(false), u"Work");
  EXPECT_EQ(SharedArcPrj().GetRootFolderName(true), u"Archive");
  SetProjectRoots(home() + u"/Host/", home() + u"/Old");
  EXPECT_EQ(CurrentRoots().live, home() + u"/Host");
  EXPECT_EQ(SharedArcPrj().GetAbsPrjPath(u"Host\\A\\B", true), home() + u"/Old/A/B");
}

TEST_F(ProjectsTest, EnsureFolderMakesTheFolderAndAdoptsAnotherCase) {
  std::u16string spelled;
  EXPECT_EQ(EnsureFolder(u"Projects\\Clients\\Acme", false, &spelled), u"");
  EXPECT_TRUE(stdfs::is_directory(Live() / "Clients" / "Acme"));
  EXPECT_EQ(spelled, u"Projects\\Clients\\Acme");

  // Cyrillic names in another case are the same folder, spelled as on disk.
  stdfs::create_directories(Live() / ToUtf8(u"Проекты") / ToUtf8(u"Смета"));
  EXPECT_EQ(EnsureFolder(u"Projects\\ПРОЕКТЫ\\смета\\Новая", false, &spelled), u"");
  EXPECT_EQ(spelled, u"Projects\\Проекты\\Смета\\Новая");
  EXPECT_FALSE(stdfs::exists(Live() / ToUtf8(u"ПРОЕКТЫ")));
  EXPECT_TRUE(stdfs::is_directory(Live() / ToUtf8(u"Проекты") / ToUtf8(u"Смета") / ToUtf8(u"Новая")));
}

TEST_F(ProjectsTest, HostileProjectTextsAreRefusedAndNothingLeavesTheRoots) {
  const stdfs::path outside = stdfs::path(ToUtf8(home())) / "outside";
  stdfs::create_directories(outside);
  stdfs::create_directories(Live());
  stdfs::create_directory_symlink(outside, Live() / "link");
  const std::u16string longName(256, u'x');
  const std::u16string hostile[] = {
      u"Projects\\..\\..\\etc", u"Projects\\A\\..", u"Projects\\.\\A", u"Projects\\\\A", u"Projects\\A\\",
      u"Projects\\a/b",         u"Projects\\link\\inside", u"Projects\\LINK", u"Projects\\" + longName,
      u"Projects\\tab\there",   u"",
  };
  for (const auto& text : hostile) {
    EXPECT_NE(EnsureFolder(text, false), u"") << ToUtf8(text);
  }
  EXPECT_TRUE(stdfs::is_empty(outside));
  EXPECT_FALSE(stdfs::exists(ToUtf8(home()) + "/etc"));

  // A letter linked to such a project: the message as a critical box, and no row.
  const int32_t key = Letter();
  pCopyLetter(key, u"Projects\\link\\inside");
  EXPECT_TRUE(Links().empty());
  ASSERT_EQ(picker().shown.size(), 1u);
  EXPECT_EQ(picker().shown[0].style, mb::kCritical);
  EXPECT_NE(picker().shown[0].text.find(u"symbolic link"), std::u16string::npos);

  // A double quote would break every statement that names the project: refused the same way.
  pCopyLetter(key, u"Projects\\Say \"hi\"");
  EXPECT_TRUE(Links().empty());
  EXPECT_EQ(picker().shown.size(), 2u);
  // A file where a folder should be.
  std::ofstream(Live() / "file.txt") << "x";
  EXPECT_NE(EnsureFolder(u"Projects\\file.txt\\A", false), u"");
}

// ---- Path questions ---------------------------------------------------------------------------

TEST_F(ProjectsTest, PathsOfTheTwoSides) {
  const cArcPrj& a = SharedArcPrj();
  EXPECT_EQ(a.GetPrjRelPath(u"Root\\A\\B"), u"A\\B");
  EXPECT_EQ(a.GetPrjRelPath(u"Root"), u"");
  EXPECT_EQ(a.ConvertPath(u"Projects", false), u"Archive");
  EXPECT_EQ(a.ConvertPath(u"Projects\\A\\B", false), u"Archive\\A\\B");
  EXPECT_EQ(a.ConvertPath(u"Archive\\A", true), u"Projects\\A");
  EXPECT_EQ(a.ConvertPath(u"", true), u"");

  // The root under which a path lies; with one root inside the other's text the longer wins.
  SetProjectRoots(home() + u"/P", home() + u"/P2");
  bool arc = true;
  std::u16string cur;
  EXPECT_EQ(GetHarbourRoot(arc, cur), home() + u"/P");
  EXPECT_FALSE(arc);
  EXPECT_EQ(cur, home() + u"/P");
  cur = home() + u"/P2/x";
  EXPECT_EQ(GetHarbourRoot(arc, cur), home() + u"/P2");
  EXPECT_TRUE(arc);
  cur = u"/elsewhere";
  EXPECT_EQ(GetHarbourRoot(arc, cur), home() + u"/P");
  EXPECT_FALSE(arc);
}

TEST_F(ProjectsTest, SubtreeCriteriaMatchBelowButNotSiblings) {
  EXPECT_EQ(FolderCriteria(u"A\\B"),
            u"( StrComp(left$([Projects].[Project] & \"\\\",4),\"A\\B\\\",1)=0 )");
  Link(1, 0, u"A\\B");
  Link(2, 0, u"a\\b\\C");
  Link(3, 0, u"A\\BC");
  Link(4, 0, u"A\\B", true);
  std::set<int32_t> ids;
  for (const Row& r : Rows(SubtreeStatement(u"A\\B", false))) ids.insert(r.at(u"Obj ID").AsLong());
  EXPECT_EQ(ids, (std::set<int32_t>{1, 2}));
}

// ---- Links and moves ---------------------------------------------------------------------------

TEST_F(ProjectsTest, LettersMoveBetweenFoldersAndPacks) {
  const int32_t key = Letter();
  const int32_t p1 = AddPack(u"one"), p2 = AddPack(u"two");

  // From nowhere to a folder adds the link; the folder exists already or not, no matter.
  RemoveLetter(key, u"", false, 0, u"Projects\\A", false, 0);
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(key, u"Projects\\A")}));
  // Folder to folder edits the link.
  RemoveLetter(key, u"Projects\\A", false, 0, u"Projects\\B", false, 0);
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(key, u"Projects\\B")}));
  // Onto a folder it is already in: the source link goes and nothing is added.
  RemoveLetter(key, u"Projects\\B", false, 0, u"Projects\\B", false, 0);
  EXPECT_TRUE(Links().empty());

  // Folder to pack, pack to pack, pack to folder.
  Link(key, 0, u"Projects\\C");
  RemoveLetter(key, u"Projects\\C", false, 0, u"", false, p1);
  EXPECT_TRUE(Links().empty());
  EXPECT_EQ(Items(), (std::set<std::pair<int32_t, int32_t>>{{p1, key}}));
  RemoveLetter(key, u"", false, p1, u"", false, p2);
  EXPECT_EQ(Items(), (std::set<std::pair<int32_t, int32_t>>{{p2, key}}));
  RemoveLetter(key, u"", false, p2, u"Projects\\D", true, 0);
  EXPECT_TRUE(Items().empty());
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(key, u"Projects\\D", true)}));

  // A letter that isn't there: nothing happens.
  RemoveLetter(9999, u"", false, 0, u"Projects\\E", false, 0);
  EXPECT_EQ(Links().size(), 1u);
}

TEST_F(ProjectsTest, LinksAreMadeOnceWithTheFolderFirst) {
  const int32_t key = Letter();
  const int32_t pack = AddPack(u"p");
  pCopyLetter(key, u"Projects\\New\\Sub");
  pCopyLetter(key, u"Projects\\New\\Sub");
  pCopyLetter(key, u"", false, pack);
  pCopyLetter(key, u"", false, pack);
  pCopyObj(pack, objPack, u"Projects\\New");
  pCopyObj(pack, objPack, u"Projects\\Other", false, 5);  // a pack with a pack number: nothing
  EXPECT_TRUE(stdfs::is_directory(Live() / "New" / "Sub"));
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(key, u"Projects\\New\\Sub"), P(pack, u"Projects\\New")}));
  EXPECT_EQ(Items().size(), 1u);
}

TEST_F(ProjectsTest, PackLinksMove) {
  const int32_t pack = AddPack(u"p");
  RemovePack2(pack, u"", false, u"Projects\\A", false);
  RemovePack2(pack, u"", false, u"Projects\\A", false);  // from nowhere twice: still one link
  EXPECT_EQ(Links(), (std::set<std::u16string>{P(pack, u"Projects\\A")}));
  RemovePack2(pack, u"Projects\\A", false, u"Archive\\A", true);
  EXPECT_EQ(Links(), (std::set<std::u16string>{P(pack, u"Archive\\A", true)}));
  RemovePack2(pack, u"Archive\\A", true, u"", false);
  EXPECT_TRUE(Links().empty());
}

TEST_F(ProjectsTest, LiveAndArchiveBothWaysWithTheFolderMade) {
  const int32_t key = Letter();
  const int32_t pack = AddPack(u"p");
  Link(key, 0, u"Projects\\Acme\\2026");
  Link(pack, 1, u"Projects\\Acme");
  ArcPrjOp2(key, objLetter, u"Projects\\Acme\\2026", false, 0);
  ArcPrjOp2(pack, objPack, u"Projects\\Acme", false, 0);
  EXPECT_TRUE(stdfs::is_directory(Archive() / "Acme" / "2026"));
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(key, u"Archive\\Acme\\2026", true), P(pack, u"Archive\\Acme", true)}));

  // Back, to a live folder that exists in another case: the link takes the disk's spelling.
  stdfs::create_directories(Live() / "ACME" / "2026");
  ArcPrjOp2(key, objLetter, u"Archive\\Acme\\2026", true, 0);
  EXPECT_EQ(Links().count(L(key, u"Projects\\ACME\\2026")), 1u);

  // Through a cursor on the Projects rows.
  DataCursor c(module1::GetEmailDbPath(), u"Select * from Projects Where ObjType=1;");
  c.Refresh();
  ArcPrjOp(c);
  EXPECT_EQ(Links().count(P(pack, u"Projects\\ACME")), 1u);  // the folder as the disk spells it
}

TEST_F(ProjectsTest, MovingAPackMovesItsOwnLinkAndTheOtherStepsFailAlone) {
  const int32_t pack = AddPack(u"p");
  const int32_t key = Letter();
  Item(pack, key);
  Link(pack, 1, u"Projects\\A");
  DataCursor packs(module1::GetEmailDbPath(), u"Select Packs.*, Projects.Project, Projects.InsArcPrj From Packs LEFT JOIN "
                                      u"Projects ON Packs.N = Projects.[Obj ID];");
  packs.Refresh();
  DataCursor letters, rules;
  RemovePack(packs, letters, rules, u"Projects\\B", false);
  EXPECT_EQ(Links(), (std::set<std::u16string>{P(pack, u"Projects\\B")}));
  EXPECT_EQ(Folder(key), u"Inbox");

  // Archive and back through the pack cursor.
  packs.Refresh();
  ArcPrjOpPack(packs, letters, rules);
  EXPECT_EQ(Links(), (std::set<std::u16string>{P(pack, u"Archive\\B", true)}));
}

// ---- The host's copies, moves and deletions ------------------------------------------------------

TEST_F(ProjectsTest, MovingASubtreeReplacesTheFirstOccurrenceAndMerges) {
  const int32_t a = Letter(), b = Letter(), c = Letter(), d = Letter();
  const int32_t pack = AddPack(u"p");
  Link(a, 0, u"X\\Y\\X");
  Link(b, 0, u"x\\Z");
  Link(c, 0, u"XY");          // a sibling that merely begins with X
  Link(d, 0, u"X");
  Link(d, 0, u"N");           // d is at the target already: the moved link merges
  Link(pack, 1, u"X\\Y");
  {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Rules", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Action", Value(2));
    rs->SetField(u"Folder", Value(u"X\\Y"));
    rs->Update();
  }
  rProjectMoved(u"X", u"N");
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(a, u"N\\Y\\X"), L(b, u"N\\Z"), L(c, u"XY"), L(d, u"N"),
                                               P(pack, u"N\\Y")}));
  EXPECT_EQ(Text(Rows(u"Select * from Rules")[0], u"Folder"), u"N\\Y");

  // To the archive side.
  rProjectMoved(u"N\\Y", u"Archive\\Y", false, true);
  EXPECT_EQ(Links().count(L(a, u"Archive\\Y\\X", true)), 1u);
  EXPECT_TRUE(Rows(u"Select * from Rules")[0].at(u"InsArcPrj").AsBool());
}

TEST_F(ProjectsTest, CopyingASubtreeShowsTheCountAndAddsNothingTwice) {
  const int32_t a = Letter(), b = Letter();
  Link(a, 0, u"S");
  Link(b, 0, u"S\\T");
  Link(b, 0, u"D\\T");  // already in the copy
  FolderCopied(u"S", u"D");
  EXPECT_EQ(Boxes(), (std::vector<std::u16string>{u"2"}));
  EXPECT_EQ(picker().shown[0].title, u"");
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(a, u"S"), L(b, u"S\\T"), L(a, u"D"), L(b, u"D\\T")}));
  FolderCopied(u"S", u"D");
  EXPECT_EQ(Links().size(), 4u);
  // A blank project: nothing, and no box.
  FolderCopied(u" ", u"D");
  EXPECT_EQ(Boxes().size(), 2u);
}

TEST_F(ProjectsTest, DeletingAProjectKeepsEverythingUnlessPurged) {
  const int32_t only = Letter(), both = Letter();
  const int32_t pack = AddPack(u"p");
  const int32_t inPack = Letter();
  Item(pack, inPack);
  Link(only, 0, u"Gone\\A");
  Link(both, 0, u"Gone");
  Link(both, 0, u"Kept");
  Link(pack, 1, u"Gone");
  rProjectDeleted(u"Gone", false, 0);
  EXPECT_EQ(Links().size(), 4u);

  rProjectDeleted(u"Gone", false, 1);
  EXPECT_TRUE(Stored(only).empty());
  EXPECT_FALSE(Stored(both).empty());
  EXPECT_TRUE(Stored(inPack).empty());
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(both, u"Kept")}));
  EXPECT_TRUE(Rows(u"Select * from Packs").empty());
}

// ---- Lists of a letter's projects and packs ------------------------------------------------------

TEST_F(ProjectsTest, ProjectListsRoundTripOnTheLiveSide) {
  const int32_t key = Letter();
  Link(key, 0, u"Projects\\A");
  Link(key, 0, u"Archive\\B", true);
  MemoryListView list;
  FillLvwPrj(key, objLetter, list);
  ASSERT_EQ(list.Count(), 2);
  EXPECT_EQ(list.Items()[1].Icon, u"Archive");

  ToolbarButton button{u"InsArcPrj", u"", u"", true};
  list.Select(1);
  AllLvwPrj_ItemClick(list, button);
  EXPECT_EQ(button.ToolTipText, u"Restore from Archive");
  EXPECT_EQ(button.Caption, u"from Archive");

  // Saving the list writes every row on the live side, the archive item too.
  picker().folder = u"Projects\\C";
  tbPrj_ButtonClick(u"Add", list, key);
  EXPECT_EQ(Links(), (std::set<std::u16string>{L(key, u"Projects\\A"), L(key, u"Archive\\B"), L(key, u"Projects\\C")}));
  list.Select(0);
  tbPrj_ButtonClick(u"Del", list, key);
  EXPECT_EQ(Links().size(), 2u);

  // Packs: add through the picker, delete the selected one.
  const int32_t pack = AddPack(u"Reports");
  picker().pack = Interaction::PackChoice{pack, u"Reports"};
  MemoryListView packsList;
  tbPacks_ButtonClick(u"Add", packsList, key);
  tbPacks_ButtonClick(u"Add", packsList, key);
  EXPECT_EQ(packsList.Count(), 1);
  FillLvwPacks(key, packsList);
  ASSERT_EQ(packsList.Count(), 1);
  EXPECT_EQ(packsList.Items()[0].Text, u"Reports");
  packsList.Select(0);
  EXPECT_EQ(tbPacks_ButtonClick(u"Prop", packsList, key), pack);
  tbPacks_ButtonClick(u"Del", packsList, key);
  EXPECT_TRUE(Items().empty());
}

}  // namespace
}  // namespace ravelin::test
