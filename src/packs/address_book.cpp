// The installed address book and the one-time notice of why it gave nothing.
#include "packs/address_book.h"

#include <set>

#include "platform/db/dao.h"
#include "platform/funnel.h"
#include "runtime/errors.h"

namespace ravelin::packs {

namespace {

std::shared_ptr<AddressBook>& Installed() {
  static std::shared_ptr<AddressBook> book;
  return book;
}

std::set<int32_t>& Told() {
  static std::set<int32_t> told;
  return told;
}

}  // namespace

std::u16string AbKeyField(int32_t kind) {
  switch (kind) {
    case abOrganization:
      return u"Organization ID";
    case abJob:
      return u"Job ID";
    case abEmployee:
      return u"Employee ID";
    default:
      return u"Personal ID";
  }
}

AddressBook* CurrentAddressBook() { return Installed().get(); }

void SetAddressBook(std::shared_ptr<AddressBook> book) {
  Installed() = std::move(book);
  ForgetAddressBookNotices();
}

void ForgetAddressBookNotices() { Told().clear(); }

void TellAddressBookUnavailable(int32_t number, const std::u16string& why) {
  if (!Told().insert(number).second) return;
  // Told as "can't open" whatever the engine said: its own number would be read as a
  // failure of the mail database.
  funnel::Report(ErrObject{dao::dberr::kCannotOpen, why, u"ABPacks.Refresh"}, u"ABPacks.Refresh");
}

}  // namespace ravelin::packs
