// An import run reads the account addresses once: letters get the folders they get
// outside a run, and an account made during the run counts from the next run on. Its
// letters share one open of the store, which a failing letter doesn't take from the next.
#include <sqlite3.h>

#include "platform/filesystem.h"
#include "store/add_letter.h"

#include "runtime/vbstring.h"
#include "store/letter_fixture.h"

namespace ravelin::test {
namespace {

class ImportRunTest : public StoreFixture {
 protected:
  int32_t Folder(const std::u16string& from, const std::u16string& to) {
    int32_t folder = -1;
    mailHeader h = Header(from, to, u"s");
    store::AddLetterFromMailHeader(h, folder);
    return folder;
  }
};

TEST_F(ImportRunTest, FoldersAsWithoutARun) {
  AddAccount(u"me", u"home.org");
  AddAccount(u"Work", u"Office.COM");
  const std::pair<std::u16string, std::u16string> cases[] = {
      {u"stranger@x.org", u"Me <ME@HOME.ORG>"}, {u"Me <me@home.org>", u"stranger@x.org"},
      {u"me@home.org", u"me@home.org"},         {u"work@office.com", u"me@home.org"},
      {u"me@home.org", u"work@office.com"},     {u"a@b.c", u"d@e.f"}};
  std::vector<int32_t> outside, inside;
  for (const auto& [from, to] : cases) outside.push_back(Folder(from, to));
  {
    store::ImportRun run;
    for (const auto& [from, to] : cases) inside.push_back(Folder(from, to));
  }
  EXPECT_EQ(inside, outside);
  EXPECT_EQ(outside, (std::vector<int32_t>{Inbox, Sent, Inbox, Sent, Inbox, Inbox}));
}

TEST_F(ImportRunTest, AccountsAreReadOncePerRun) {
  AddAccount(u"me", u"home.org");
  {
    store::ImportRun run;
    EXPECT_EQ(Folder(u"me@home.org", u"x@y.org"), Sent);
    AddAccount(u"work", u"office.com");
    EXPECT_EQ(Folder(u"work@office.com", u"x@y.org"), Inbox);  // not read again during the run
    {
      store::ImportRun inner;  // shares the addresses of the run around it
      EXPECT_EQ(Folder(u"work@office.com", u"x@y.org"), Inbox);
    }
    EXPECT_EQ(Folder(u"me@home.org", u"x@y.org"), Sent);
  }
  EXPECT_EQ(Folder(u"work@office.com", u"x@y.org"), Sent);
  store::ImportRun next;
  EXPECT_EQ(Folder(u"work@office.com", u"x@y.org"), Sent);
}

TEST_F(ImportRunTest, ARunHoldsTheStoreOpenThroughFailedLettersAndGivesItBack) {
  const std::u16string path = module1::GetEmailDbPath();
  {
    sqlite3* raw = nullptr;
    ASSERT_EQ(sqlite3_open(fs::NativePath(path).c_str(), &raw), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(raw,
                           "CREATE TRIGGER refuse BEFORE INSERT ON Letters WHEN NEW.Subject = 'refused' "
                           "BEGIN SELECT RAISE(ABORT, 'refused'); END;",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(raw);
  }
  const auto add = [](const std::u16string& subject, const std::u16string& project) {
    mailHeader h = Header(u"a@b.c", u"d@e.f", subject);
    int32_t folder = Inbox;
    return Val(store::AddLetterFromMailHeader(h, folder, 0, project));
  };
  {
    store::ImportRun run;
    EXPECT_EQ(add(u"first", u"Work"), 1);
    EXPECT_THROW(add(u"refused", u"Work"), Error);
    // The letter after the refused one is stored through the same open store, with its
    // link, and takes the next key.
    EXPECT_EQ(add(u"second", u"Work"), 2);
    EXPECT_THROW(dao::Engine().HoldExclusive(path), Error);  // open while the run lasts
  }
  EXPECT_NO_THROW(dao::Engine().HoldExclusive(path));  // and given back when it ends
  EXPECT_EQ(Count(u"Select * from Letters"), 2u);
  EXPECT_EQ(Count(u"Select * from Projects where Project=\"Work\""), 2u);
}

}  // namespace
}  // namespace ravelin::test
