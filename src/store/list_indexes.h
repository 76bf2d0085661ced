// The indexes the store's list statements run on. They are the engine's own (no Indexes
// collection shows them): the tables keep only their "key" and "N" indexes, and every
// statement gives the same rows with or without these, only faster.
#pragma once

#include <functional>
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

// Letters by folder and the date a list shows (when written, else when it arrived), newest
// first; letters without a date come last, letters of one date in key order. An index on
// expressions, so it is made apart from the list above.
inline constexpr char kShownDateIndex[] = "MailFolder_ShownDate";

// Walks a folder's letters in the order of the index above, reading only the index and
// each letter's links: `each` gets the letter's key and how many rows the statement of
// the folder's letters (every letter, no project) gives it (one per pack holding it times
// one per project link of its own, at least one), until it returns false.
void WalkFolderByShownDate(dao::Database& db, const std::u16string& folder,
                           const std::function<bool(int32_t key, int32_t rows)>& each);

// How SQLite runs that walk (QueryPlan's lines).
std::vector<std::string> WalkFolderByShownDatePlan(dao::Database& db);

// Makes the indexes that are missing; a table or field that isn't there (an old file
// before its upgrade) skips its index. Returns how many were made.
int EnsureListIndexes(dao::Database& db);

}  // namespace ravelin::store
