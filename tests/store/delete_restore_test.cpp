// Deleting to Recycle and back, removal link by link, removal through a cursor, and the
// letters that aren't there.
#include "store/delete_restore.h"

#include "platform/interaction.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/data_cursor.h"
#include "store/letter_fixture.h"
#include "store/record_sources.h"

namespace ravelin::test {
namespace {

class DeleteRestoreTest : public StoreFixture {
 protected:
  Ravelin& mail() { return module1::SharedMail(); }

  // A letter in `folder` with one attachment, optionally in a project and a pack.
  int32_t AddLetter(int32_t folder, const std::u16string& project = {}, int32_t pack = 0) {
    mailHeader h = Header(u"a@b.c", u"d@e.f", u"letter");
    AttachFile f;
    f.ftype = u"text";
    f.fsubtype = u"csv";
    f.fname = u"a.csv";
    f.fData = u"1,2";
    h.attFiles = {f};
    return static_cast<int32_t>(Val(store::AddLetterFromMailHeader(h, folder, 0, project, false, pack)));
  }
  void AddProjectLink(int32_t key, const std::u16string& project, bool arc) {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Projects", dao::dbOpenDynaset);
    rs->AddNew();
    rs->SetField(u"Obj ID", Value(key));
    rs->SetField(u"ObjType", Value(0));
    rs->SetField(u"Project", Value(project));
    rs->SetField(u"InsArcPrj", Value(arc));
    rs->Update();
  }
  size_t Links(int32_t key) {
    return Count(store::GetDataPrjRS(key, objLetter)) + Count(store::GetPackItemsRSbyLetter(key));
  }
  bool Exists(int32_t key) { return !Stored(key).empty(); }
};

TEST_F(DeleteRestoreTest, RecycleAndBack) {
  const int32_t pack = AddPack(u"P", /*deleted=*/true);
  const int32_t key = AddLetter(Sent, u"Prj", pack);
  EXPECT_EQ(mail().DeleteLetter2(key), 0);
  Row r = Stored(key);
  EXPECT_EQ(Text(r, u"MailFolder"), u"Recycle");
  EXPECT_EQ(Text(r, u"OldMailFolder"), u"Sent");
  EXPECT_EQ(Links(key), 2u);  // the links stay

  // Restoring puts it back and brings its deleted pack back too.
  mail().RestoreLetter2(key);
  r = Stored(key);
  EXPECT_EQ(Text(r, u"MailFolder"), u"Sent");
  EXPECT_TRUE(IsNull(r, u"OldMailFolder"));
  EXPECT_FALSE(Rows(u"Select * from Packs")[0].at(u"Deleted").AsBool());
  EXPECT_TRUE(user().shown.empty());

  // Deleted twice: it remembers Recycle, and a restore leaves it there.
  mail().DeleteLetter2(key);
  mail().DeleteLetter2(key);
  EXPECT_EQ(Text(Stored(key), u"OldMailFolder"), u"Recycle");
  mail().RestoreLetter2(key);
  EXPECT_EQ(Text(Stored(key), u"MailFolder"), u"Recycle");
}

TEST_F(DeleteRestoreTest, RestoreAsksForAFolderItDoesntKnow) {
  const int32_t key = AddLetter(Inbox);
  {
    auto db = Db();
    auto rs = db->OpenRecordset(u"Letters", dao::dbOpenDynaset);
    rs->FindFirst(u"key=" + NumToText(key));
    rs->Edit();
    rs->SetField(u"MailFolder", Value(u"Recycle"));
    rs->Update();
  }
  // Cancelled, then an empty answer: no change.
  user().inputAnswers = {std::nullopt, std::u16string()};
  mail().RestoreLetter2(key);
  mail().RestoreLetter2(key);
  EXPECT_EQ(Text(Stored(key), u"MailFolder"), u"Recycle");
  ASSERT_EQ(user().shown.size(), 2u);
  EXPECT_EQ(user().shown[0].kind, "input");
  // The answer isn't checked against the known folders.
  user().inputAnswers = {std::u16string(u"Somewhere")};
  mail().RestoreLetter2(key);
  EXPECT_EQ(Text(Stored(key), u"MailFolder"), u"Somewhere");
}

TEST_F(DeleteRestoreTest, RemovalLinkByLink) {
  struct Case {
    const char* name;
    bool inProject, inPack;
    std::u16string project;  // the project named in the call
    bool usePack;
    int32_t expectedLeft;
    bool letterStays;
  } cases[] = {
      {"no links: gone at once", false, false, u"", false, 0, false},
      {"pack and project named: the pack link goes", true, true, u"Prj", true, 1, true},
      {"nothing named: only counted", true, true, u"", false, 2, true},
      {"the only project link", true, false, u"Prj", false, 0, false},
      {"another project named: nothing removed", true, false, u"Other", false, 1, true},
      {"the only pack link", false, true, u"", true, 0, false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const int32_t pack = c.inPack ? AddPack(u"P") : 0;
    const int32_t key = AddLetter(Inbox, c.inProject ? u"Prj" : u"", pack);
    const int32_t left = mail().DeleteLetter2(key, c.project, false, c.usePack ? pack : 0, 1);
    EXPECT_EQ(left, c.expectedLeft);
    EXPECT_EQ(Exists(key), c.letterStays);
    EXPECT_EQ(Count(store::GetAttachRecordSource(key)), c.letterStays ? 1u : 0u);
    EXPECT_EQ(Links(key), static_cast<size_t>(c.expectedLeft));
  }
  // The side of the project counts: an archive link isn't the live one.
  const int32_t key = AddLetter(Inbox);
  AddProjectLink(key, u"Prj", true);
  EXPECT_EQ(mail().DeleteLetter2(key, u"Prj", false, 0, 1), 1);
  EXPECT_EQ(mail().DeleteLetter2(key, u"Prj", true, 0, 1), 0);
  EXPECT_FALSE(Exists(key));
}

TEST_F(DeleteRestoreTest, LettersThatArentThere) {
  EXPECT_EQ(mail().DeleteLetter2(4242), 0);
  mail().RestoreLetter2(4243);
  ASSERT_EQ(user().shown.size(), 2u);
  EXPECT_EQ(user().shown[0].style, mb::kCritical);
  EXPECT_EQ(user().shown[0].text, u"The letter \u21164242 was not found in database");
  EXPECT_EQ(user().shown[1].text, u"The letter \u21164243 was not found in database");
  EXPECT_TRUE(host().Reports().empty());
}

TEST_F(DeleteRestoreTest, ThroughCursors) {
  const int32_t pack = AddPack(u"P");
  const int32_t keep = AddLetter(Inbox);
  const int32_t kill = AddLetter(Inbox, u"Prj", pack);
  DataCursor letters(module1::GetEmailDbPath(),
                     mail().GetRecordSource(u"Inbox", u"", 0, u"key", false));
  DataCursor attach(module1::GetEmailDbPath(), store::GetAttachRecordSource(kill));
  int moves = 0;
  letters.OnReposition([&] { ++moves; });
  letters.Refresh();
  ASSERT_TRUE(letters.Locate(u"key=" + NumToText(kill)));

  // With Shift the letter goes whatever links it has; the cursor is refreshed.
  const int before = moves;
  mail().DeleteLetter(letters, attach, 1);
  EXPECT_FALSE(Exists(kill));
  EXPECT_EQ(Links(kill), 0u);
  EXPECT_EQ(Count(store::GetAttachRecordSource(kill)), 0u);
  EXPECT_GT(moves, before);
  letters.Recordset()->MoveLast();
  EXPECT_EQ(letters.Recordset()->RecordCount(), 1);

  // Without Shift: to Recycle, and RestoreLetter brings it back.
  letters.MoveFirst();
  mail().DeleteLetter(letters, attach, 0);
  EXPECT_EQ(Text(Stored(keep), u"MailFolder"), u"Recycle");
  EXPECT_TRUE(letters.Recordset()->Bof() && letters.Recordset()->Eof());
  DataCursor recycle(module1::GetEmailDbPath(), mail().GetRecordSource(u"Recycle", u"", 0, u"key", false));
  DataCursor packs(module1::GetEmailDbPath(), mail().GetPacksRecordSource(u"", 0, true, false));
  recycle.Refresh();
  mail().RestoreLetter(recycle, packs);
  EXPECT_EQ(Text(Stored(keep), u"MailFolder"), u"Inbox");
  // An empty cursor: nothing happens.
  mail().DeleteLetter(recycle, attach, 1);
  EXPECT_TRUE(Exists(keep));
  EXPECT_TRUE(host().Reports().empty());
}

}  // namespace
}  // namespace ravelin::test
