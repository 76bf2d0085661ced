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
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/errors.h"

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
//
// The file is checked first. A damaged file is neither backed up nor compacted: it is
// put aside beside the database as "EmailW.damaged-YYYYMMDD-HHMMSS.mdb", the backup
// is kept, the database is made again from the backup when the backup is sound, and
// the user is told all of it in one message. A sound file is backed up through a
// temporary name and compacted; the compacted file replaces the database by one rename,
// so at every instant the path holds the old or the new database whole.
bool CompressDb(const std::u16string& path = {});

// What a compaction did, for hosts that tell the user more than yes or no.
struct CompressResult {
  bool compacted = false;            // the compacted file replaced the database
  std::u16string damagedCopy;        // where a damaged database was put aside
  bool restoredFromBackup = false;   // the database was made again from the backup
  std::u16string message;            // the message the user was shown about damage
  std::optional<ErrObject> failure;  // why the compaction didn't run or failed
};
CompressResult CompressDatabase(const std::u16string& path = {});

// The points between the steps of a compaction, for tests that stop a run there.
enum class CompressStep { Checked, BackedUp, Compacted, Replaced };
void SetCompressStepHook(std::function<void(CompressStep)> hook);

// The engine's check of the mail database's structure. `problems` is empty for a
// sound file; `failure` is set when the file couldn't be checked at all.
struct IntegrityReport {
  bool sound = false;
  std::vector<std::u16string> problems;
  std::optional<ErrObject> failure;
};
IntegrityReport CheckMailDatabase(const std::u16string& path, bool full = true);

// The cause of a failure in words a user acts on: "the disk is full", "the mail
// database is read-only", "the mail database is in use by another program (waited
// 5 s)", "the mail database is damaged"; the error's own text for anything else.
std::u16string DescribeFailure(const ErrObject& err);

// Removes a file even when it is marked Hidden; nothing when it isn't there.
void EraseHidden(const std::u16string& path);

// Short English label of an outcome ("created", "upgraded", ...), for the CLI.
const char* OutcomeName(CorrectOutcome outcome);

}  // namespace ravelin::store
