// The host's address book on this platform: an SQLite file read through our own database
// engine, "AddressBook.db" beside the mail database unless the settings
// ([AddressBook] File) or the host (the CLI's --addressbook) name another. Tables:
//   Personal       Personal ID, FullName, Job ID
//   Organizations  Organization ID, Organization
//   JobTitles      Job ID, JobTitle, Organization ID
//   Employees      Employee ID, Personal ID, Job ID
//   Resources      Resource ID, OwnerType, Owner ID, ResourceString (one address a row)
//   Photo          Photo ID, Personal ID, Photo (the image file's octets)
// An owner is (Owner ID, OwnerType) with the kinds of packs/address_book.h. The photo
// store of the pack report reads the same file and scales pictures with libgd.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "formats/vcard.h"
#include "packs/address_book.h"
#include "platform/db/dao.h"
#include "presentation/views.h"

namespace ravelin::desktop {

// The file the address book lives in: the host's choice, else the settings key, else
// "AddressBook.db" in the mail database's folder.
std::u16string AddressBookPath();
// The host's choice; "" gives the choice back to the settings.
void SetAddressBookFile(const std::u16string& path);

class SqliteAddressBook : public packs::AddressBook {
 public:
  std::u16string DatabaseFile() override { return AddressBookPath(); }
  std::u16string AddressQuery(int32_t ObjectID, int32_t ObjectType) override;
  std::u16string OwnersQuery() override;
  std::u16string DisplayName(dao::Database& book, int32_t ObjectID, int32_t ObjectType) override;
  std::optional<std::vector<uint8_t>> PhotoOf(int32_t PersonalID) override;
};

// The photos of the address book for the pack report: an address leads to its person
// (directly or as an employee) and the person's photo; the picture is decoded and scaled
// with libgd and saved as a BMP file.
class AddressBookPhotoStore : public presentation::PhotoStore {
 public:
  std::optional<presentation::Photo> Find(const std::u16string& email) override;
};

// Makes the address book and its photo store the process's own (the façade does it for
// its host). `file` as SetAddressBookFile; "" keeps the settings' choice.
void InstallAddressBook(const std::u16string& file = {});

// Opens the address book at `path`, creating the file and its tables when it is missing.
// Throws the engine's failures (3343 for a file that is no database, 3045 when held).
std::shared_ptr<dao::Database> OpenOrCreateAddressBook(const std::u16string& path);

// What an import did.
struct ImportCounts {
  int32_t persons = 0, organizations = 0, jobs = 0, addresses = 0, photos = 0;
  int32_t skipped = 0;  // cards whose every address the book already has
};
// Adds the cards to the address book at `path` (made when missing), all in one
// transaction: the counts are reported only after the commit that holds them. A card
// marked as an organisation keeps its addresses on the organisation; any other card
// makes a person, with ORG as its organisation and TITLE as its job (and an employee
// row tying them). A card whose addresses are all in the book already is skipped.
ImportCounts ImportCards(const std::u16string& path, const std::vector<vcard::Card>& cards);

// One object of the book with its addresses, for listing.
struct Entry {
  int32_t id = 0;
  int32_t kind = 0;
  std::u16string name;
  std::vector<std::u16string> addresses;
  bool photo = false;
};
// Every object that has a name or an address, persons first, each kind by its key.
std::vector<Entry> ListEntries(const std::u16string& path);

}  // namespace ravelin::desktop
