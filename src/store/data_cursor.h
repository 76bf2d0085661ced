// The data cursor: what a window or a host holds to show a list of rows. It knows which
// database (DatabaseName, Connect) and which statement (RecordSource) it shows; Refresh
// opens them and goes to the first row; the listeners of Reposition hear of every move
// made through the cursor. The façade's operations that take a cursor read its Recordset
// and refresh it when they have changed the rows.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/db/dao.h"
#include "runtime/errors.h"

namespace ravelin {

class DataCursor {
 public:
  DataCursor() = default;
  DataCursor(std::u16string databaseName, std::u16string recordSource, std::u16string connect = u"Access");
  ~DataCursor();
  DataCursor(const DataCursor&) = delete;
  DataCursor& operator=(const DataCursor&) = delete;

  const std::u16string& DatabaseName() const { return databaseName_; }
  // A new name takes effect at the next Refresh, which then opens that file.
  void SetDatabaseName(std::u16string name);
  const std::u16string& Connect() const { return connect_; }
  void SetConnect(std::u16string connect);
  const std::u16string& RecordSource() const { return recordSource_; }
  void SetRecordSource(std::u16string source) { recordSource_ = std::move(source); }

  // Opens the database when needed and the RecordSource as a dynaset, moves to its first
  // row and tells the listeners. With an empty RecordSource nothing happens. The engine's
  // failures (3024 file missing, a statement it refuses, ...) reach the caller; the
  // cursor then has no recordset.
  void Refresh();

  // The rows shown; null before the first Refresh.
  std::shared_ptr<dao::Recordset> Recordset() const { return recordset_; }
  // Shows rows that the caller opened (the cursor shares them).
  void SetRecordset(std::shared_ptr<dao::Recordset> rs);
  std::shared_ptr<dao::Database> Database() const { return database_; }

  // Moves through the rows and tells the listeners (3021 on a move with no rows, as the
  // recordset gives it).
  void MoveFirst();
  void MoveLast();
  void MoveNext();
  void MovePrevious();
  // Goes to the first row that meets the criteria ("key=12"); false, and no move, when
  // none does.
  bool Locate(std::u16string_view criteria);

  // Listeners of row changes; the id serves to remove one.
  using RepositionHandler = std::function<void()>;
  int32_t OnReposition(RepositionHandler handler);
  void RemoveReposition(int32_t id);
  // Tells every listener that the current row changed (also for moves made straight on
  // the Recordset). A listener's failure doesn't stop the others.
  void Reposition();

  void Close();

  // A number the viewers keep with the cursor: above 0 when the current letter is shown
  // as HTML (the place of its body row).
  int32_t Tag() const { return tag_; }
  void SetTag(int32_t tag) { tag_ = tag; }

 private:
  int32_t tag_ = 0;
  std::u16string databaseName_;
  std::u16string connect_ = u"Access";
  std::u16string recordSource_;
  std::u16string openName_;  // the file database_ was opened on
  std::shared_ptr<dao::Database> database_;
  std::shared_ptr<dao::Recordset> recordset_;
  std::vector<std::pair<int32_t, RepositionHandler>> handlers_;
  int32_t nextId_ = 1;
};

namespace store::detail {

// The object behind a pointer that a failed step may have left empty: raises 91 ("Object
// variable not set") instead of dereferencing null, so the step fails like the others.
template <class T>
T& Need(const std::shared_ptr<T>& p) {
  if (!p) RaiseError(errnum::kObjectNotSet);
  return *p;
}

// The mail database, shared and writable, as every operation opens it.
std::shared_ptr<dao::Database> OpenMailDatabase();

// Rows of a statement, as MoveLast and RecordCount would give them, counted by the engine;
// 0 for no rows. Throws what the engine throws for a statement it refuses.
int32_t CountRows(dao::Database& db, const std::u16string& source);

}  // namespace store::detail

}  // namespace ravelin
