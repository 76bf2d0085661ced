// Opening the mail store and finding a letter in it, for the commands; each failure is
// printed the one way ("ravelin: no letter with key 7") and the caller exits with 1.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "commands.h"
#include "platform/db/dao.h"

namespace ravelin::cli {

// The mail database, or nothing after "ravelin: cannot open the mail database: ...".
std::shared_ptr<dao::Database> OpenStore(Context& ctx);

// The row of a letter in the Letters table, or nothing when there is no such key. Engine
// failures are thrown.
std::shared_ptr<dao::Recordset> OpenLetterRow(dao::Database& db, int32_t key);

// Prints "ravelin: no letter with key N" and returns 1.
int NoLetter(Context& ctx, int32_t key);

// Where a letter is: its folder and the folder it remembers (from Recycle).
struct LetterState {
  std::u16string folder, oldFolder;
};
// The letter's state, or nothing after the message of why not (no such key, or the store
// can't be opened).
std::optional<LetterState> FindLetter(Context& ctx, int32_t key);

// The single KEY argument of a command, or nothing after a usage message (exit code 2
// in `code`): "<command> needs one KEY", "KEY must be a letter's number".
std::optional<int32_t> KeyArgument(Context& ctx, const Args& args, const std::string& command, int& code);

// The reports the host has recorded so far, and the text of the last one since `before`
// (an operation of the façade reports its failure rather than throwing).
size_t ReportCount();
std::string LastReport(size_t before);

}  // namespace ravelin::cli
