// The host's address book as the address-book packs read it: a database file, the query
// of one object's e-mail addresses, the query of the objects that own addresses, a
// display name per object and a person's photo. The packs layer owns this interface; a
// host installs its own (the desktop layer's lives in an SQLite file beside the store).
//
// A process without an installed address book has empty address-book packs; the first
// collection that finds none says so once through the host's error display.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace ravelin::dao {
class Database;
}  // namespace ravelin::dao

namespace ravelin::packs {

// The kinds of address-book object and the key field each is known by.
enum AbObjectKind : int32_t {
  abPerson = 0,        // "Personal ID"
  abOrganization = 1,  // "Organization ID"; a subdivision is an organisation too
  abJob = 2,           // "Job ID": an official, known by the post
  abEmployee = 4,      // "Employee ID"
};

// The key field of a kind ("Personal ID" for persons and for anything unknown).
std::u16string AbKeyField(int32_t kind);

class AddressBook {
 public:
  virtual ~AddressBook() = default;
  // The database file the queries below run on.
  virtual std::u16string DatabaseFile() = 0;
  // A statement whose rows carry the field ResourceString, one address per row, in the
  // order the object's addresses were entered (empty ones included).
  virtual std::u16string AddressQuery(int32_t ObjectID, int32_t ObjectType) = 0;
  // A statement whose rows carry the fields "Owner ID" and OwnerType: every object of the
  // book, with or without addresses.
  virtual std::u16string OwnersQuery() = 0;
  // The object's display name, read on the open database file; "" when it has none or
  // isn't there.
  virtual std::u16string DisplayName(dao::Database& book, int32_t ObjectID, int32_t ObjectType) = 0;
  // The photo of a person (by Personal ID) as the octets of an image file; nothing when
  // the person has none.
  virtual std::optional<std::vector<uint8_t>> PhotoOf(int32_t PersonalID) = 0;
};

// The installed address book, or nullptr when the host has none.
AddressBook* CurrentAddressBook();
void SetAddressBook(std::shared_ptr<AddressBook> book);

// Reports, once per process and reason, why the address book gave nothing (missing,
// damaged, none installed), under 3051 ("can't open"). Later calls with the same
// number stay silent.
void TellAddressBookUnavailable(int32_t number, const std::u16string& why);
// Forgets what was told: the next failure of each kind is told again (a host that
// installs another address book does this).
void ForgetAddressBookNotices();

}  // namespace ravelin::packs
