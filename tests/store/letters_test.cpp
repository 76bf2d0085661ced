// Letters and Letter: the three ways of binding, Item by number and by key text, Count,
// editing through the row view, and the local-zone dates.
#include "store/letters.h"

#include <cstdlib>
#include <ctime>

#include "formats/datetime.h"
#include "runtime/vbstring.h"
#include "store/add_letter.h"
#include "store/letter_fixture.h"

namespace ravelin::test {
namespace {

class LettersTest : public StoreFixture {
 protected:
  // Adds a letter to Inbox one minute after the one before, so arrival order is known.
  int32_t AddInbox(const std::u16string& subject, int32_t pack = 0) {
    clock_.now += 60;
    mailHeader h = Header(u"a@b.c", u"d@e.f", subject);
    int32_t folder = Inbox;
    return static_cast<int32_t>(Val(store::AddLetterFromMailHeader(h, folder, 0, {}, false, pack)));
  }
  static std::u16string SubjectOf(const std::shared_ptr<Letter>& l) { return l ? l->Subject() : u"<none>"; }
};

TEST_F(LettersTest, UnboundCollectionIsEmpty) {
  Letters letters;
  EXPECT_EQ(letters.Count(), 0);
  EXPECT_EQ(letters.Item(Value(1)), nullptr);
  EXPECT_EQ(letters.Item(Value(u"L1")), nullptr);
}

TEST_F(LettersTest, FolderBinding) {
  const int32_t b = AddInbox(u"Bravo");
  const int32_t a = AddInbox(u"Alpha");
  const int32_t c = AddInbox(u"Charlie");
  Letters letters;
  letters.MailFolder(u"Inbox");
  EXPECT_EQ(letters.MailFolder(), u"Inbox");
  // Only the key form finds a letter; every number gives the first row.
  EXPECT_EQ(SubjectOf(letters.Item(Value(u"L" + NumToText(a)))), u"Alpha");
  EXPECT_EQ(SubjectOf(letters.Item(Value(u"k" + NumToText(c)))), u"Charlie");
  EXPECT_EQ(letters.Item(Value(u"L99999")), nullptr);
  EXPECT_EQ(SubjectOf(letters.Item(Value(3))), u"Bravo");
  EXPECT_EQ(SubjectOf(letters.Item(Value(u"2"))), u"Bravo");
  EXPECT_EQ(letters.Count(), 0);

  // The order is read when the folder is bound, not before.
  letters.Order = u"Subject";
  EXPECT_EQ(SubjectOf(letters.Item(Value(1))), u"Bravo");
  letters.MailFolder(u"Inbox");
  EXPECT_EQ(SubjectOf(letters.Item(Value(1))), u"Alpha");
  (void)b;
}

TEST_F(LettersTest, PackBindingAndKeyList) {
  const int32_t pack = AddPack(u"P");
  const int32_t first = AddInbox(u"first", pack);
  const int32_t second = AddInbox(u"second", pack);
  const int32_t loose = AddInbox(u"loose");

  Letters inPack;
  inPack.PackNumber(Value(pack));
  EXPECT_EQ(inPack.PackNumber(), pack);
  EXPECT_EQ(inPack.Count(), 2);
  EXPECT_EQ(SubjectOf(inPack.Item(Value(1))), u"first");
  EXPECT_EQ(SubjectOf(inPack.Item(Value(2))), u"second");
  EXPECT_EQ(inPack.Item(Value(3)), nullptr);
  EXPECT_EQ(SubjectOf(inPack.Item(Value(u"L" + NumToText(second)))), u"second");
  // A pack number that isn't a number changes nothing.
  inPack.PackNumber(Value(u"abc"));
  EXPECT_EQ(inPack.PackNumber(), pack);
  EXPECT_EQ(inPack.Count(), 2);

  // A key list: the number is the place in the list, not the key.
  Letters listed;
  listed.SetKeyList({Value(loose), Value(first), Value(99999)});
  EXPECT_EQ(listed.Count(), 3);
  EXPECT_EQ(SubjectOf(listed.Item(Value(1))), u"loose");
  EXPECT_EQ(SubjectOf(listed.Item(Value(2))), u"first");
  EXPECT_EQ(listed.Item(Value(3)), nullptr);
  EXPECT_EQ(SubjectOf(listed.Item(Value(u"L" + NumToText(second)))), u"second");

  // Two Letter objects of one collection are one row: the last positioned.
  auto x = listed.Item(Value(1));
  auto y = listed.Item(Value(2));
  EXPECT_EQ(x->Subject(), u"first");
  EXPECT_EQ(y->msgNumber().AsLong(), first);
}

TEST_F(LettersTest, EditingThroughTheRowView) {
  const int32_t key = AddInbox(u"to change");
  Letters letters;
  letters.SetKeyList({Value(key)});
  auto l = letters.Item(Value(1));
  ASSERT_NE(l, nullptr);
  // Outside Edit/Update the engine refuses a write.
  EXPECT_THROW(l->Subject(u"x"), Error);

  l->Edit();
  l->Subject(u"");
  l->Size(0);
  l->Read(true);
  l->OldMailFolder(u"Sent");
  l->Update();
  const Row r = Stored(key);
  EXPECT_TRUE(IsNull(r, u"Subject"));
  EXPECT_TRUE(IsNull(r, u"Size"));
  EXPECT_EQ(l->Subject(), u"");
  EXPECT_EQ(l->Size(), 0);
  EXPECT_TRUE(l->Read());
  EXPECT_EQ(l->OldMailFolder(), u"Sent");
  // A Null date can't be read as a date.
  EXPECT_THROW(l->DateWroteGMT(), Error);

  // A letter that outlives its collection has nothing to read.
  std::shared_ptr<Letter> orphan;
  {
    Letters scoped;
    scoped.SetKeyList({Value(key)});
    orphan = scoped.Item(Value(1));
    ASSERT_NE(orphan, nullptr);
  }
  EXPECT_THROW(orphan->Subject(), Error);
}

TEST_F(LettersTest, LocalZoneDates) {
  const char* old = std::getenv("TZ");
  const std::string saved = old ? old : "";
  setenv("TZ", "Europe/Berlin", 1);
  tzset();
  const int32_t key = AddInbox(u"dated");
  Letters letters;
  letters.SetKeyList({Value(key)});
  auto l = letters.Item(Value(1));
  ASSERT_NE(l, nullptr);
  struct Case {
    const char16_t* local;
    const char16_t* gmt;
  } cases[] = {
      {u"1/15/2026 12:00:00 PM", u"1/15/2026 11:00:00 AM"},  // winter: one hour east
      {u"7/15/2026 12:00:00 PM", u"7/15/2026 10:00:00 AM"},  // summer: two hours
  };
  for (const Case& c : cases) {
    l->Edit();
    l->DateWroteLTZ(CDate(c.local));
    l->Update();
    EXPECT_EQ(FormatGeneralDate(l->DateWroteGMT()), c.gmt) << ToUtf8(c.local);
    EXPECT_EQ(FormatGeneralDate(l->DateWroteLTZ()), c.local);
  }
  if (old) setenv("TZ", saved.c_str(), 1);
  else unsetenv("TZ");
  tzset();
}

}  // namespace
}  // namespace ravelin::test
