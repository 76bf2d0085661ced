// The address book file: where it lives, importing cards into it (once), listing it, the
// host operations the packs ask, and the photo store the pack report uses.
#include <gd.h>
#include <gtest/gtest.h>

#include "desktop/address_book.h"
#include "platform/filesystem.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "platform/host_common.h"
#include "support/test_support.h"

namespace ravelin::test {
namespace {

// A PNG of w x h pixels, made with the same image library.
std::string Png(int w, int h) {
  gdImagePtr im = gdImageCreateTrueColor(w, h);
  gdImageFilledRectangle(im, 0, 0, w - 1, h - 1, gdImageColorAllocate(im, 200, 40, 40));
  int size = 0;
  void* data = gdImagePngPtr(im, &size);
  std::string png(static_cast<const char*>(data), static_cast<size_t>(size));
  gdFree(data);
  gdImageDestroy(im);
  return png;
}

class AddressBookTest : public HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    path_ = HomeFile("book/AddressBook.db");
    desktop::SetAddressBookFile(path_);
  }
  void TearDown() override {
    desktop::SetAddressBookFile(u"");
    HomeFixture::TearDown();
  }
  static vcard::Card Card(const std::u16string& name, std::vector<std::u16string> emails) {
    vcard::Card c;
    c.fullName = name;
    c.emails = std::move(emails);
    return c;
  }
  std::u16string path_;
};

TEST_F(AddressBookTest, TheFileIsTheHostsChoiceElseTheSettingElseBesideTheMail) {
  EXPECT_EQ(desktop::AddressBookPath(), path_);
  desktop::SetAddressBookFile(u"");
  const std::u16string beside = desktop::AddressBookPath();
  EXPECT_TRUE(beside.ends_with(u"/AddressBook.db")) << ToUtf8(beside);
  EXPECT_EQ(fs::ParentFolder(beside) + u"/", CurrentHostCommon().AddPathSlash(module1::GetDbFolder()));
  WriteIniString(u"AddressBook", u"File", HomeFile("elsewhere.db"), module1::GetIniPath());
  EXPECT_EQ(desktop::AddressBookPath(), HomeFile("elsewhere.db"));
}

TEST_F(AddressBookTest, ImportMakesPersonsOrganisationsJobsAndAddressesOnceAndListsThem) {
  auto ann = Card(u"Ann Smith", {u"ann@acme.com", u"ann@home.org"});
  ann.organization = u"Acme";
  ann.title = u"Chief Engineer";
  ann.photo = Png(40, 30);
  auto bob = Card(u"Bob", {u"bob@acme.com"});
  bob.organization = u"ACME";  // the same organisation
  auto acme = Card(u"Acme", {u"info@acme.com"});
  acme.organizationCard = true;
  acme.organization = u"Acme";

  const auto counts = desktop::ImportCards(path_, {ann, bob, acme});
  EXPECT_EQ(counts.persons, 2);
  EXPECT_EQ(counts.organizations, 1);
  EXPECT_EQ(counts.jobs, 1);
  EXPECT_EQ(counts.addresses, 4);
  EXPECT_EQ(counts.photos, 1);
  EXPECT_EQ(counts.skipped, 0);

  // The same file again adds nothing; a card with one new address adds that address.
  auto again = desktop::ImportCards(path_, {ann, bob, acme, Card(u"Bob", {u"bob@acme.com", u"bob@home.org"})});
  EXPECT_EQ(again.skipped, 3);
  EXPECT_EQ(again.addresses, 1);

  const auto entries = desktop::ListEntries(path_);
  ASSERT_EQ(entries.size(), 4u);
  EXPECT_EQ(entries[0].name, u"Ann Smith");
  EXPECT_EQ(entries[0].addresses, (std::vector<std::u16string>{u"ann@acme.com", u"ann@home.org"}));
  EXPECT_TRUE(entries[0].photo);
  EXPECT_EQ(entries[3].kind, 1);
  EXPECT_EQ(entries[3].name, u"Acme");
  EXPECT_EQ(entries[3].addresses, std::vector<std::u16string>{u"info@acme.com"});

  desktop::SqliteAddressBook book;
  auto db = dao::OpenDatabase(path_, false, true, u"Access");
  EXPECT_EQ(book.DisplayName(*db, entries[0].id, 0), u"Ann Smith");
  EXPECT_EQ(book.DisplayName(*db, 1, 1), u"Acme");
  EXPECT_EQ(book.DisplayName(*db, 1, 2), u"Chief Engineer");
  EXPECT_EQ(book.DisplayName(*db, 1, 4), u"Ann Smith");  // the employee row ties Ann to her job
  EXPECT_EQ(book.DisplayName(*db, 99, 0), u"");
  db->Close();
}

TEST_F(AddressBookTest, PhotoOfAnAddressIsScaledIntoItsBoxAndSavedAsBmp) {
  auto ann = Card(u"Ann Smith", {u"ann@acme.com"});
  ann.photo = Png(320, 480);
  auto eve = Card(u"Eve", {u"eve@acme.com"});
  eve.photo = "not a picture at all";
  desktop::ImportCards(path_, {ann, eve, Card(u"Bob", {u"bob@acme.com"})});

  desktop::AddressBookPhotoStore store;
  auto photo = store.Find(u"ANN@acme.com");
  ASSERT_TRUE(photo.has_value());
  EXPECT_EQ(photo->widthHimetric, 8467);  // 320 px at 96 per inch
  EXPECT_EQ(photo->heightHimetric, 12700);
  const std::u16string file = HomeFile("ann@acme.com.bmp");
  photo->save(file, 160, 120);
  const std::string bmp = fs::ReadAll(file);
  gdImagePtr im = gdImageCreateFromBmpPtr(static_cast<int>(bmp.size()), const_cast<char*>(bmp.data()));
  ASSERT_NE(im, nullptr);
  EXPECT_EQ(gdImageSX(im), 80);  // 320 x 480 fitted into 160 x 120
  EXPECT_EQ(gdImageSY(im), 120);
  gdImageDestroy(im);

  EXPECT_FALSE(store.Find(u"eve@acme.com").has_value());  // undecodable: no photo
  EXPECT_FALSE(store.Find(u"bob@acme.com").has_value());
  EXPECT_FALSE(store.Find(u"nobody@acme.com").has_value());
  EXPECT_FALSE(store.Find(u"x' OR '1'='1").has_value());
  desktop::SetAddressBookFile(HomeFile("missing.db"));
  EXPECT_FALSE(store.Find(u"ann@acme.com").has_value());
}

TEST_F(AddressBookTest, AFileThatIsNoAddressBookIsRefusedInWords) {
  fs::CreateFolders(fs::ParentFolder(path_));
  fs::WriteAll(path_, std::string(2048, 'z'));
  try {
    desktop::ImportCards(path_, {Card(u"Ann", {u"ann@acme.com"})});
    FAIL() << "a damaged file was taken";
  } catch (const Error& e) {
    EXPECT_EQ(e.Number(), 3343);
  }
  EXPECT_EQ(fs::ReadAll(path_), std::string(2048, 'z'));  // left as it was
}

}  // namespace
}  // namespace ravelin::test
