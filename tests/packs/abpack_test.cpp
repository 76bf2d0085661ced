// Address-book packs: which letters a person's pack holds and in what order, deleting and
// restoring them, the collection of owners, and an address book that is missing, empty or
// damaged.
#include <gtest/gtest.h>

#include "desktop/address_book.h"
#include "packs/abpack.h"
#include "packs_fixture.h"
#include "platform/filesystem.h"
#include "facade/ravelin.h"
#include "store/delete_restore.h"
#include "store/letters.h"

namespace ravelin::test {
namespace {

using packs::ABPack;
using packs::ABPacks;

class ABPackTest : public PacksFixture {
 protected:
  void SetUp() override {
    PacksFixture::SetUp();
    book_ = HomeFile("AddressBook.db");
    desktop::SetAddressBookFile(book_);
    mail.UseAddressBook();
  }
  void TearDown() override {
    desktop::SetAddressBookFile(u"");
    packs::SetAddressBook(nullptr);
    PacksFixture::TearDown();
  }

  // A statement on the address book (made with its tables on first use).
  void Book(const std::string& sql) {
    auto db = desktop::OpenOrCreateAddressBook(book_);
    db->Execute(FromUtf8(sql), dao::dbFailOnError);
    db->Close();
  }
  void Person(int id, const std::string& name) {
    Book("INSERT INTO Personal ([Personal ID], FullName) VALUES (" + std::to_string(id) + ", '" + name + "')");
  }
  void Address(int kind, int owner, const std::string& address) {
    Book("INSERT INTO Resources (OwnerType, [Owner ID], ResourceString) VALUES (" + std::to_string(kind) + ", " +
         std::to_string(owner) + ", '" + address + "')");
  }

  // Ann with two addresses, and letters from, to and between them in the table's order.
  struct Ann {
    int32_t fromWork, toHome, between, toTwo, others, upper;
  };
  Ann SeedAnn() {
    Person(1, "Ann Smith");
    Address(0, 1, "ann@acme.com");
    Address(0, 1, "ann@home.org");
    Ann a{};
    a.fromWork = Letter(Inbox, u"Ann <ann@acme.com>", u"from work", u"bob@example.org");
    a.toHome = Letter(Sent, u"bob@example.org", u"to home", u"Ann <ann@home.org>");
    a.between = Letter(Inbox, u"Ann <ann@acme.com>", u"between", u"ann@home.org");
    a.toTwo = Letter(Sent, u"bob@example.org", u"to two", u"Ann <ann@acme.com>, Carl <carl@example.org>");
    a.others = Letter(Inbox, u"carl@example.org", u"others", u"dave@example.org");
    a.upper = Letter(Inbox, u"ANN@ACME.COM", u"upper case", u"bob@example.org");
    return a;
  }
  std::u16string FolderOf(int32_t key) { return Text(Stored(key), u"MailFolder"); }

  std::string ReportsText() {
    std::string s;
    for (const auto& r : host().Reports()) s += ToUtf8(r.err.Description) + "\n";
    return s;
  }

  Ravelin mail;
  std::u16string book_;
};

TEST_F(ABPackTest, LettersOfEveryAddressInTheBooksOrderWithTheDuplicateAndWithoutTheSharedTo) {
  const Ann a = SeedAnn();
  ABPack pack;
  pack.ObjectID = 1;
  std::vector<std::u16string> statuses;
  std::vector<double> progress;
  double max = 0;
  pack.StatusTextChanged = [&](const std::u16string& t) { statuses.push_back(t); };
  pack.ProgressChanged = [&](double v, double, double m) {
    progress.push_back(v);
    max = m;
  };
  EXPECT_EQ(pack.GetHTML(true), u"");

  // The first address's letters, then the second's; "between" matches both.
  EXPECT_EQ(pack.Keys(), (std::vector<int32_t>{a.fromWork, a.between, a.upper, a.toHome, a.between}));
  EXPECT_EQ(pack.Addresses(), (std::vector<std::u16string>{u"ann@acme.com", u"ann@home.org"}));
  EXPECT_EQ(statuses, std::vector<std::u16string>{u"Поиск писем ..."});
  // Every row is visited once per address.
  ASSERT_EQ(progress.size(), 12u);
  EXPECT_EQ(progress.back(), 12);
  EXPECT_EQ(max, 12);
  EXPECT_EQ(pack.KeyUBound(), 4);
  EXPECT_EQ(pack.AddressAt(1), u"ann@home.org");
  EXPECT_THROW(pack.KeyAt(5), Error);
}

TEST_F(ABPackTest, LettersAreEnumeratedOnceAndRefreshFollowsTheStore) {
  const Ann a = SeedAnn();
  ABPack pack;
  pack.ObjectID = 1;
  int walks = 0;
  pack.StatusTextChanged = [&](const std::u16string&) { ++walks; };
  EXPECT_EQ(pack.Letters().Count(), 5);
  EXPECT_EQ(pack.Letters().Count(), 5);
  EXPECT_EQ(walks, 1);
  auto third = pack.Letters().Item(Value(3));
  ASSERT_NE(third, nullptr);
  EXPECT_EQ(third->Subject(), u"upper case");

  Letter(Inbox, u"Ann <ann@home.org>", u"new one", u"bob@example.org");
  EXPECT_EQ(pack.Letters().Count(), 5);  // as it was made
  pack.Refresh();
  EXPECT_EQ(pack.Letters().Count(), 6);
  (void)a;
}

TEST_F(ABPackTest, DeletedLettersByStatusAndShowDeleted) {
  const Ann a = SeedAnn();
  store::DeleteLetter2(a.fromWork);
  ABPack pack;
  pack.ObjectID = 1;
  pack.ShowDeleted(false);  // from ShowAll: hides the deleted ones
  EXPECT_EQ(pack.MsgStatus, HideDeleted);
  pack.GetHTML(true);
  EXPECT_EQ(pack.Keys(), (std::vector<int32_t>{a.between, a.upper, a.toHome, a.between}));
  pack.ShowDeleted(true);
  EXPECT_EQ(pack.MsgStatus, DeletedOnly);
  EXPECT_TRUE(pack.ShowDeleted());
  pack.GetHTML(true);
  EXPECT_EQ(pack.Keys(), std::vector<int32_t>{a.fromWork});
  pack.MsgStatus = ShowAll;
  EXPECT_FALSE(pack.ShowDeleted());
  pack.GetHTML(true);
  EXPECT_EQ(pack.Keys().size(), 5u);
}

TEST_F(ABPackTest, DeleteAndRestoreTheWholeCorrespondenceTheDuplicateAskingForAFolder) {
  const Ann a = SeedAnn();
  ABPack pack;
  pack.ObjectID = 1;
  pack.ShowDeleted(false);
  pack.Refresh();
  pack.DeleteLetters();
  EXPECT_TRUE(pack.Keys().empty());  // refreshed: nothing left outside the bin
  for (int32_t k : {a.fromWork, a.toHome, a.between, a.upper}) EXPECT_EQ(FolderOf(k), u"Recycle") << k;
  EXPECT_EQ(FolderOf(a.toTwo), u"Sent");
  EXPECT_EQ(FolderOf(a.others), u"Inbox");

  // Nothing happens unless the pack shows the deleted letters.
  pack.MsgStatus = ShowAll;
  pack.RestoreLetters();
  EXPECT_EQ(FolderOf(a.fromWork), u"Recycle");

  // "between" was deleted twice, so it remembers the bin as its folder: its first restore
  // leaves it there and its second asks where it goes.
  pack.ShowDeleted(true);
  pack.Refresh();
  EXPECT_EQ(pack.Keys(), (std::vector<int32_t>{a.fromWork, a.between, a.upper, a.toHome, a.between}));
  picker().inputAnswers.push_back(u"Inbox");
  pack.RestoreLetters();
  ASSERT_EQ(picker().shown.size(), 1u);
  EXPECT_EQ(picker().shown[0].kind, "input");
  EXPECT_EQ(FolderOf(a.fromWork), u"Inbox");
  EXPECT_EQ(FolderOf(a.toHome), u"Sent");
  EXPECT_EQ(FolderOf(a.upper), u"Inbox");
  EXPECT_EQ(FolderOf(a.between), u"Inbox");
  EXPECT_TRUE(pack.Keys().empty());
}

TEST_F(ABPackTest, StopMidwayKeepsWhatWasFoundAndClosesTheReport) {
  const Ann a = SeedAnn();
  ABPack pack;
  pack.ObjectID = 1;
  pack.Title = u"Ann <work>";
  int rows = 0;
  pack.ProgressChanged = [&](double, double, double) {
    if (++rows == 3) pack.StopEnum();
  };
  const std::u16string html = pack.GetHTML();
  EXPECT_EQ(pack.Keys(), (std::vector<int32_t>{a.fromWork, a.between}));
  EXPECT_EQ(rows, 3);
  EXPECT_NE(html.find(u"<table border=1>"), std::u16string::npos);
  EXPECT_TRUE(html.ends_with(u"</table> </body></html>"));
  EXPECT_EQ(html.find(u"<work>"), std::u16string::npos);  // the title is encoded
  // The next enumeration starts afresh.
  rows = -100;
  pack.GetHTML(true);
  EXPECT_EQ(pack.Keys().size(), 5u);
}

TEST_F(ABPackTest, ReportHasOneSetOfRowsPerLetterFound) {
  SeedAnn();
  ABPack pack;
  pack.ObjectID = 1;
  pack.Title = ABPack::GetFullTitle(0, u"Ann Smith");
  const std::u16string html = pack.GetHTML();
  size_t rows = 0;
  for (size_t at = html.find(u"mailto:"); at != std::u16string::npos; at = html.find(u"mailto:", at + 1)) ++rows;
  EXPECT_EQ(rows, 5u);
  EXPECT_NE(html.find(u"from work"), std::u16string::npos);
  EXPECT_EQ(html.find(u"others"), std::u16string::npos);
}

TEST_F(ABPackTest, AddressesKeepTheBooksRowOrderWithEmptyOnes) {
  Person(7, "Eve");
  Address(0, 7, "eve@b.org");
  Address(0, 7, "");
  Address(0, 7, "eve@a.org");
  Address(0, 8, "someone@else.org");
  ABPacks all;
  ASSERT_EQ(all.Count(), 0);
  auto eve = all.Item(1);  // an empty collection fills itself
  EXPECT_EQ(eve->Addresses(), (std::vector<std::u16string>{u"eve@b.org", u"", u"eve@a.org"}));
}

TEST_F(ABPackTest, OwnersOfEveryKindWithTheirTitlesAndOwnersWithoutAddressesDropped) {
  Person(1, "Ann Smith");
  Address(0, 1, "ann@acme.com");
  Person(2, "Nobody Atall");  // no address
  Person(3, "Ann Smith");     // same title as Ann: left out
  Address(0, 3, "other.ann@acme.com");
  Book("INSERT INTO Organizations ([Organization ID], Organization) VALUES (1, 'Acme')");
  Address(1, 1, "info@acme.com");
  Book("INSERT INTO JobTitles ([Job ID], JobTitle, [Organization ID]) VALUES (1, 'Chief Engineer', 1)");
  Address(2, 1, "chief@acme.com");
  Book("INSERT INTO Employees ([Employee ID], [Personal ID], [Job ID]) VALUES (1, 1, 1)");
  Address(4, 1, "a.smith@acme.com");

  ABPacks all;
  all.MsgStatus = DeletedOnly;
  std::vector<std::u16string> statuses;
  all.StatusTextChanged = [&](const std::u16string& t) { statuses.push_back(t); };
  all.Refresh();
  EXPECT_EQ(statuses, std::vector<std::u16string>{u"Search correspondence ..."});
  ASSERT_EQ(all.Count(), 4);
  EXPECT_EQ(all.Item(1)->Title, u"Correspondence with the person Ann Smith");
  EXPECT_EQ(all.Item(2)->Title, u"Correspondence with the organization or subdivision Acme");
  EXPECT_EQ(all.Item(3)->Title, u"Correspondence with the official Chief Engineer");
  EXPECT_EQ(all.Item(4)->Title, u"Correspondence with the employee Ann Smith");
  EXPECT_EQ(all.Item(4)->ObjectType, 4);
  EXPECT_EQ(all.Item(1)->MsgStatus, DeletedOnly);
  EXPECT_EQ(all.Item(u"correspondence with the official chief engineer")->ObjectID, 1);
  EXPECT_THROW(all.Item(5), Error);
  EXPECT_EQ(ABPack::GetFullTitle(9, u""), u"Correspondence with the person");
}

TEST_F(ABPackTest, MissingEmptyOrDamagedBookLeavesThePacksEmptyAndSaysSoOnce) {
  const Ann a = SeedAnn();
  // Missing.
  fs::DeleteFile(book_);
  host().ClearReports();
  ABPacks all;
  all.Refresh();
  all.Refresh();
  EXPECT_EQ(all.Count(), 0);
  ASSERT_EQ(host().Reports().size(), 1u) << ReportsText();
  EXPECT_NE(ToUtf8(host().Reports()[0].err.Description).find("AddressBook.db"), std::string::npos);
  ABPack pack;
  pack.ObjectID = 1;
  pack.GetHTML(true);
  EXPECT_TRUE(pack.Keys().empty());
  EXPECT_EQ(host().Reports().size(), 1u);

  // Empty: nothing to say.
  desktop::OpenOrCreateAddressBook(book_)->Close();
  mail.UseAddressBook();
  host().ClearReports();
  all.Refresh();
  EXPECT_EQ(all.Count(), 0);
  EXPECT_TRUE(host().Reports().empty()) << ReportsText();

  // Damaged: told once, and the mail store goes on.
  fs::DeleteFile(book_);
  fs::WriteAll(book_, std::string(4096, 'x'));
  mail.UseAddressBook();
  all.Refresh();
  all.Refresh();
  EXPECT_EQ(all.Count(), 0);
  EXPECT_EQ(host().Reports().size(), 1u) << ReportsText();
  EXPECT_GT(Letter(Inbox, u"Ann <ann@acme.com>", u"still works"), a.upper);

  // No address book at all.
  packs::SetAddressBook(nullptr);
  host().ClearReports();
  all.Refresh();
  EXPECT_EQ(all.Count(), 0);
  EXPECT_EQ(host().Reports().size(), 1u);
}

TEST_F(ABPackTest, LoadABPackGivesATitledPackThroughTheWindow) {
  SeedAnn();
  std::shared_ptr<ABPack> shown;
  packs::SetABPackWindow([&](const std::shared_ptr<ABPack>& p, void*) { shown = p; });
  auto pack = mail.LoadABPack(1, 0, Allmsg, u"", false, true);
  packs::SetABPackWindow(nullptr);
  ASSERT_NE(pack, nullptr);
  EXPECT_EQ(shown, pack);
  EXPECT_EQ(pack->Title, u"Correspondence with the person Ann Smith");
  EXPECT_EQ(pack->MsgStatus, DeletedOnly);
}

}  // namespace
}  // namespace ravelin::test
