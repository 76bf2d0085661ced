// The indexes of the store's list statements (see list_indexes.h).
#include "store/list_indexes.h"

#include <algorithm>

#include "runtime/errors.h"
#include "runtime/vbstring.h"

namespace ravelin::store {

const std::vector<ListIndex>& ListIndexes() {
  static const std::vector<ListIndex> indexes = {
      // A folder's first page in key order (the row key follows the folder in the index)
      // and in order of arrival, the default order of every letter list.
      {u"Letters", {u"MailFolder"}},
      {u"Letters", {u"MailFolder", u"DateReceived"}},
      // Lists across folders (a project with the projects below it).
      {u"Letters", {u"DateReceived"}},
      {u"Files", {u"N"}},
      {u"PackItems", {u"Msg_N"}},
      {u"PackItems", {u"Pack_N"}},
      {u"Projects", {u"Obj ID", u"ObjType"}},
      {u"Projects", {u"Project"}},
  };
  return indexes;
}

namespace {

// The expressions of the folder-by-date index; the walk below orders by the very same
// text, or the planner would not match them.
constexpr char kShownDateColumns[] = "\"MailFolder\" COLLATE RVTEXT, coalesce(\"DateWrote\", \"DateReceived\") DESC, \"key\"";

constexpr char kWalkByShownDate[] =
    "SELECT Letters.\"key\", "
    "max(1, (SELECT count(*) FROM PackItems WHERE PackItems.\"Msg_N\" = Letters.\"key\")) * "
    "max(1, (SELECT count(*) FROM Projects WHERE Projects.\"Obj ID\" = Letters.\"key\")) "
    "FROM Letters WHERE Letters.\"MailFolder\" = ?1 "
    "ORDER BY coalesce(\"DateWrote\", \"DateReceived\") DESC, \"key\"";

bool HasShownDateFields(dao::Database& db) {
  const auto names = db.FieldNames(u"Letters");
  for (const char16_t* need : {u"key", u"MailFolder", u"DateWrote", u"DateReceived"})
    if (std::none_of(names.begin(), names.end(), [&](const std::u16string& n) { return TextEquals(n, need); }))
      return false;
  return true;
}

}  // namespace

void WalkFolderByShownDate(dao::Database& db, const std::u16string& folder,
                           const std::function<bool(int32_t key, int32_t rows)>& each) {
  db.SupportScan(kWalkByShownDate, {Value(folder)}, [&](const std::vector<int64_t>& row) {
    return each(static_cast<int32_t>(row[0]), static_cast<int32_t>(row[1]));
  });
}

std::vector<std::string> WalkFolderByShownDatePlan(dao::Database& db) { return db.SupportQueryPlan(kWalkByShownDate); }

int EnsureListIndexes(dao::Database& db) {
  int made = 0;
  try {
    if (HasShownDateFields(db) && db.EnsureSupportExpressionIndex(u"Letters", kShownDateIndex, kShownDateColumns)) ++made;
  } catch (const Error& e) {
    if (e.Number() != dao::dberr::kItemNotFound) throw;
  }
  for (const auto& ix : ListIndexes()) {
    try {
      if (db.EnsureSupportIndex(ix.table, ix.fields)) ++made;
    } catch (const Error& e) {
      // A table or field still missing has nothing to index yet; anything else is real.
      if (e.Number() != dao::dberr::kItemNotFound) throw;
    }
  }
  return made;
}

}  // namespace ravelin::store
