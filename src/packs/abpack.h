// Address-book packs: the correspondence with one object of the host's address book (a
// person, an organisation or subdivision, an official, an employee), gathered from the
// whole mail database whenever it is asked for. Nothing of it is stored. ABPack is one
// such pack; ABPacks the collection of every object that has addresses at all.
//
// Matching is deliberately plain: a letter belongs to the pack when the pure address of
// its From, or failing that of its whole To, equals one of the object's addresses
// (case ignored). A To naming several people therefore matches none of them, and a
// letter that matches two of the object's addresses is listed (and deleted, and
// restored) twice.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "packs/address_book.h"
#include "runtime/types.h"
#include "runtime/value.h"

namespace ravelin {
class DataCursor;
class Letters;
namespace dao {
class Database;
class Recordset;
}  // namespace dao
}  // namespace ravelin

namespace ravelin::packs {

// The report rows of the current letter of `letters` (its parts extracted first), with
// its running number. The presentation layer supplies it; without one a report has its
// title and an empty table.
using LetterRowsWriter = std::function<std::u16string(dao::Database& db, dao::Recordset& letters, int32_t number)>;
void SetLetterRowsWriter(LetterRowsWriter writer);

class ABPack;
// The property window of an address-book pack; `caption` is the label of its subject.
// Without one, ShowProp does nothing.
using ABPackPropertyWindow = std::function<void(ABPack& pack, const std::u16string& caption, int16_t Modality)>;
void SetABPackPropertyWindow(ABPackPropertyWindow window);

// The pack window that Ravelin.LoadABPack opens on a pack; without one the pack is only
// handed back to the caller.
using ABPackWindow = std::function<void(const std::shared_ptr<ABPack>& pack, void* ParentForm)>;
void SetABPackWindow(ABPackWindow window);
ABPackWindow& CurrentABPackWindow();

class ABPack {
 public:
  ABPack();
  ~ABPack();
  ABPack(const ABPack&) = delete;
  ABPack& operator=(const ABPack&) = delete;

  int32_t ObjectID = 0;
  int32_t ObjectType = abPerson;
  // True reads "deleted letters only"; writing false hides the deleted ones, so ShowAll
  // can't be reached through it.
  bool ShowDeleted() const { return MsgStatus == DeletedOnly; }
  void ShowDeleted(bool v) { MsgStatus = v ? DeletedOnly : HideDeleted; }
  std::u16string Title;
  // The photo store's cursor, handed on to the report; not owned.
  DataCursor* DataPhoto = nullptr;

  // Enumerates the pack again (the key list is replaced). SimpleEnum: only the key list,
  // "" comes back; otherwise the report page with one set of rows per letter found.
  // Stopping (StopEnum, during the event-loop turns of the walk) keeps what was found so
  // far and closes the page properly. Throws the engine's failures on the mail database.
  std::u16string GetHTML(bool SimpleEnum = false);
  void StopEnum() { stop_ = true; }
  // Shows the pack's property window (see SetABPackPropertyWindow).
  void ShowProp(int16_t Modality = 0);
  // The letters of the key list; the first call enumerates, later ones give the same
  // collection without enumerating again.
  ravelin::Letters& Letters();
  // Every letter of the key list through DeleteLetter2 with Shift, then Refresh.
  void DeleteLetters(int16_t Shift = 0);
  // Only when showing deleted letters: every letter of the key list still in the recycle
  // bin back through RestoreLetter2, then Refresh.
  void RestoreLetters();

  int32_t MsgStatus = ShowAll;
  // Enumerates again and hands the new key list to Letters.
  void Refresh();

  // Events: progress once per row visited, the status text at the start of a walk.
  std::function<void(double Value, double Min, double Max)> ProgressChanged;
  std::function<void(const std::u16string& Text)> StatusTextChanged;

  // The collection's and the letters' accessors. Out of range: error 9.
  int32_t KeyAt(int32_t index) const;
  int32_t KeyUBound() const { return static_cast<int32_t>(keys_.size()) - 1; }
  std::u16string AddressAt(int32_t index) const;
  int32_t AddressUBound() const { return static_cast<int32_t>(addresses_.size()) - 1; }
  const std::vector<int32_t>& Keys() const { return keys_; }
  const std::vector<std::u16string>& Addresses() const { return addresses_; }

  // The display title of an object of that kind with that name.
  static std::u16string GetFullTitle(int32_t kind, const std::u16string& name);

  // Where the report of a pack is opened (the project it is shown under), as the window
  // that opens it was told.
  std::u16string rProject;
  bool InsArcPrj = false;
  int32_t Filter = Allmsg;

 private:
  friend class ABPacks;
  // The object's addresses from the address book, in the query's row order; empty (and
  // told once) when the book can't be read. Uses `book` when given (left open), else
  // opens and closes its own.
  void ReadAddresses(dao::Database* book = nullptr);
  void HandKeys();

  bool stop_ = false;
  std::vector<int32_t> keys_;
  std::vector<std::u16string> addresses_;
  std::unique_ptr<ravelin::Letters> letters_;
};

class ABPacks {
 public:
  std::u16string rProject;
  bool InsArcPrj = false;
  int32_t Filter = Allmsg;
  int32_t MsgStatus = ShowAll;

  // The pack at a 1-based place, or by its title; an empty collection is refreshed
  // first. Error 5 when there is no such pack.
  std::shared_ptr<ABPack> Item(int32_t index);
  std::shared_ptr<ABPack> Item(const std::u16string& title);
  int32_t Count() const { return static_cast<int32_t>(packs_.size()); }
  // Fills the collection from the address book's owners: owners without an address are
  // dropped, and so is an owner whose title an earlier one already has.
  void Refresh();

  std::function<void(const std::u16string& Text)> StatusTextChanged;

 private:
  std::vector<std::shared_ptr<ABPack>> packs_;
};

}  // namespace ravelin::packs
