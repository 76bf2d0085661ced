// Letters and Letter: the store without a window. A Letters collection is bound to a mail
// folder (MailFolder), a pack (PackNumber) or a list of keys handed over by a friend
// (SetKeyList); a Letter is a thin view on the collection's current row.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/db/dao.h"
#include "runtime/types.h"
#include "runtime/value.h"

namespace ravelin {

// A view on the current row of the recordset it shares with its Letters: two Letter
// objects of one collection are the same row, the last one positioned. It holds no data.
// Reads and writes reach the engine directly: a failure (no current row, a closed
// recordset, a write outside Edit/Update) comes back as the engine's Error. Writing ""
// or a size of 0 stores Null; reading Null gives "" or 0. Reading a date that is Null
// raises 94; the date writes never raise (a write that fails leaves the field as it was).
class Letter {
 public:
  Letter() = default;

  // Recordset.Edit / Recordset.Update, nothing checked in between.
  void Edit();
  void Update();

  Value msgNumber() const;
  std::u16string Subject() const;
  void Subject(const std::u16string& v);
  std::u16string Message() const;
  void Message(const std::u16string& v);
  std::u16string From() const;
  void From(const std::u16string& v);
  std::u16string To_() const;
  void To_(const std::u16string& v);
  std::u16string MailFolder() const;
  void MailFolder(const std::u16string& v);
  std::u16string OldMailFolder() const;
  void OldMailFolder(const std::u16string& v);
  // Dates are stored in Greenwich time; the LTZ forms convert to and from the local zone.
  OleDate DateReceivedGMT() const;
  void DateReceivedGMT(OleDate v);
  OleDate DateReceivedLTZ() const;
  void DateReceivedLTZ(OleDate v);
  OleDate DateWroteGMT() const;
  void DateWroteGMT(OleDate v);
  OleDate DateWroteLTZ() const;
  void DateWroteLTZ(OleDate v);
  bool Read() const;
  void Read(bool v);
  int32_t Size() const;
  void Size(int32_t v);

  // Friends of the collection: attach and give out the shared recordset.
  void AttachRecordset(std::shared_ptr<dao::Recordset> rs) { rs_ = std::move(rs); }
  std::shared_ptr<dao::Recordset> GetRecordset() const { return rs_; }

 private:
  dao::Recordset& Rs() const;
  std::shared_ptr<dao::Recordset> rs_;
};

class Letters {
 public:
  Letters() = default;
  // Closes the collection's recordset and database; Letter objects it made then fail.
  ~Letters();
  Letters(const Letters&) = delete;
  Letters& operator=(const Letters&) = delete;

  // Passed to the statement builder when MailFolder is set.
  int32_t Filter = Allmsg;
  // Ordering field; read only when MailFolder is set, so a change waits for the next one.
  std::u16string Order = u"DateReceived";
  bool InsArcPrj = false;
  // Passed to the pack statement (true lists the letters in the recycle bin only).
  bool ShowDelated = false;

  // Binds the collection to a pack. A value that isn't numeric does nothing and the old
  // rows stay. Failures leave the collection as far as it got.
  void PackNumber(const Value& v);
  // Val of what PackNumber was last set to; 0 when never set.
  int32_t PackNumber() const;

  // Binds the collection to a mail folder by its stored name ("Inbox", ...).
  void MailFolder(const std::u16string& v);
  const std::u16string& MailFolder() const { return folder_; }

  // The letter at Index, or null when there is none:
  //  - a number: the Index-th row of a pack (1-based), or the letter of the Index-th
  //    entry of the key list. A folder-bound collection has neither, and every number
  //    gives its current row (its first row after binding);
  //  - a text that isn't a number: a list key of one prefix letter and the letter's key
  //    ("L125" is the letter 125).
  std::shared_ptr<Letter> Item(const Value& Index);
  // Letters in a pack-bound collection; otherwise the length of the key list (0 for a
  // folder-bound collection and for a new one).
  int32_t Count();

  // Friends of the address-book packs: hand over a list of keys (entry k is the k-th
  // letter), and give out the recordset.
  void SetKeyList(const std::vector<Value>& keys);
  std::shared_ptr<dao::Recordset> GetRecordset() const { return rs_; }

 private:
  void OpenDatabase();
  std::shared_ptr<Letter> LetterAtCurrentRow();

  std::vector<Value> keys_;
  std::shared_ptr<dao::Recordset> rs_;
  std::shared_ptr<dao::Database> db_;
  Value packNumber_;
  std::u16string folder_;
  std::u16string project_;  // never assigned: the folder statement always gets ""
};

}  // namespace ravelin
