// The data cursor of windows and hosts, and the small database helpers of the store.
#include "store/data_cursor.h"

#include "platform/module1.h"

namespace ravelin {

DataCursor::DataCursor(std::u16string databaseName, std::u16string recordSource, std::u16string connect)
    : databaseName_(std::move(databaseName)), connect_(std::move(connect)), recordSource_(std::move(recordSource)) {}

DataCursor::~DataCursor() {
  try {
    Close();
  } catch (...) {
  }
}

void DataCursor::SetDatabaseName(std::u16string name) { databaseName_ = std::move(name); }
void DataCursor::SetConnect(std::u16string connect) { connect_ = std::move(connect); }

void DataCursor::Refresh() {
  if (recordSource_.empty()) return;
  if (recordset_) {
    recordset_->Close();
    recordset_.reset();
  }
  if (!database_ || !database_->IsOpen() || openName_ != databaseName_) {
    if (database_) database_->Close();
    database_.reset();
    database_ = dao::OpenDatabase(databaseName_, false, false, connect_);
    openName_ = databaseName_;
  }
  try {
    recordset_ = database_->OpenRecordset(recordSource_, dao::dbOpenDynaset);
  } catch (const Error&) {
    // A statement the engine can only read is shown read-only rather than not at all.
    recordset_ = database_->OpenRecordset(recordSource_, dao::dbOpenSnapshot);
  }
  Reposition();
}

void DataCursor::SetRecordset(std::shared_ptr<dao::Recordset> rs) {
  recordset_ = std::move(rs);
  Reposition();
}

void DataCursor::MoveFirst() {
  store::detail::Need(recordset_).MoveFirst();
  Reposition();
}
void DataCursor::MoveLast() {
  store::detail::Need(recordset_).MoveLast();
  Reposition();
}
void DataCursor::MoveNext() {
  store::detail::Need(recordset_).MoveNext();
  Reposition();
}
void DataCursor::MovePrevious() {
  store::detail::Need(recordset_).MovePrevious();
  Reposition();
}

bool DataCursor::Locate(std::u16string_view criteria) {
  auto& rs = store::detail::Need(recordset_);
  rs.FindFirst(criteria);
  if (rs.NoMatch()) return false;
  Reposition();
  return true;
}

int32_t DataCursor::OnReposition(RepositionHandler handler) {
  handlers_.emplace_back(nextId_, std::move(handler));
  return nextId_++;
}

void DataCursor::RemoveReposition(int32_t id) {
  std::erase_if(handlers_, [id](const auto& h) { return h.first == id; });
}

void DataCursor::Reposition() {
  // A copy, so that a listener may add or remove listeners while being told.
  const auto handlers = handlers_;
  for (const auto& h : handlers) {
    try {
      h.second();
    } catch (...) {
    }
  }
}

void DataCursor::Close() {
  if (recordset_) recordset_->Close();
  recordset_.reset();
  if (database_) database_->Close();
  database_.reset();
  openName_.clear();
}

namespace store::detail {

std::shared_ptr<dao::Database> OpenMailDatabase() {
  return dao::OpenDatabase(module1::GetEmailDbPath(), false, false, u"Access");
}

int32_t CountRows(dao::Database& db, const std::u16string& source) {
  // A count query: a cursor walked to its last row would read every row first.
  return db.CountRecords(source);
}

}  // namespace store::detail

}  // namespace ravelin
