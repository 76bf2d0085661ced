// The indexes of the store's list statements (see list_indexes.h).
#include "store/list_indexes.h"

#include "runtime/errors.h"

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

int EnsureListIndexes(dao::Database& db) {
  int made = 0;
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
