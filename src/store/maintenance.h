// Creating, upgrading and compacting the mail database.
//
// CorrectDB reaches an open database (the file itself, converted when it is of the old
// format, else a copy from the host's alternative location or from the older release's
// "Email.mdb", else a new file) and then brings its tables up to date by attempting every
// table and field and passing over the ones that are there. Older layouts are migrated
// on the way: project and pack columns of letters and packs move to Projects and
// PackItems, the boolean Accounts.Checked becomes Accounts.Flags.
//
// CompressDb keeps a backup "EmailW~.mdb" beside the database and compacts through a
// temporary "EmailW_.mdb"; when compaction fails the database is left as it was.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ravelin::store {

enum class CorrectOutcome {
  Created,    // no database was found: a new one was made
  Converted,  // an old-format, alternative or legacy file was brought in, then upgraded
  Upgraded,   // the file was there and tables or fields were added
  Current,    // the file was there and already complete
  Locked,     // another process holds the file: nothing was done
  Failed,     // no database could be opened or the upgrade stopped (reported)
};

struct CorrectResult {
  CorrectOutcome outcome = CorrectOutcome::Failed;
  // What was added, moved or dropped, one line each ("added table Projects",
  // "added field Accounts.Flags", "dropped field Letters.Folder", ...).
  std::vector<std::u16string> changes;
  // Conversions of part one, in order ("compacted old format", "copied from <path>").
  std::vector<std::u16string> conversions;
};

// REQUIRES: FilePath is the path of GetEmailDbPath (the alternative and legacy locations
// are derived from the host). Never throws: failures of the upgrade are reported with
// "Ravelin.CorrectDb".
CorrectResult CorrectDB(const std::u16string& FilePath);

// Compacts the database at path (GetDatabaseName when empty). Returns true when the
// compacted file replaced the database. Never throws: failures are reported with
// "Module1.CompressDb".
bool CompressDb(const std::u16string& path = {});

// Removes a file even when it is marked Hidden; nothing when it isn't there.
void EraseHidden(const std::u16string& path);

// Short English label of an outcome ("created", "upgraded", ...), for the CLI.
const char* OutcomeName(CorrectOutcome outcome);

}  // namespace ravelin::store
