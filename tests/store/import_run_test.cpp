// An import run reads the account addresses once: letters get the folders they get
// outside a run, and an account made during the run counts from the next run on.
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

}  // namespace
}  // namespace ravelin::test
