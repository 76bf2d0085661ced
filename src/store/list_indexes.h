// The indexes the store's list statements run on. They are the engine's own (no Indexes
// collection shows them): the tables keep only their "key" and "N" indexes, and every
// statement gives the same rows with or without these, only faster.
#pragma once

#include <string>
#include <vector>

#include "platform/db/dao.h"

namespace ravelin::store {

struct ListIndex {
  const char16_t* table;
  std::vector<std::u16string> fields;
};

// Letters by folder (in key order, and in order of arrival), by arrival across folders;
// attachments, pack membership and project links by the letter or pack they belong to;
// project links by project.
const std::vector<ListIndex>& ListIndexes();

// Makes the indexes that are missing; a table or field that isn't there (an old file
// before its upgrade) skips its index. Returns how many were made.
int EnsureListIndexes(dao::Database& db);

}  // namespace ravelin::store
