// Statement texts of every letter, pack and attachment list. The builders only put text
// together (in the engine's dialect: [Obj ID], IIf(IsNull(...)), #01/01/1980#,
// distinctrow); the texts go straight to OpenRecordset or a cursor's RecordSource.
// DeletedMsgCount is the one builder here that runs a query.
//
// Values are quoted with '"' and never escaped: a project path with a double quote in it
// gives a statement the engine refuses, which the consumer's OpenRecordset reports.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "runtime/types.h"

namespace ravelin::store {

// The column list of one table, "[t].[f1], [t].[f2], ... [t].[fn] " (trailing blank),
// as EnumFieldsFrom reads it from the database. Empty when the table can't be read.
using FieldListFn = std::function<std::u16string(const std::u16string& table)>;

// F of the statements for the database at dbPath: each table's columns as that database
// has them when the statement is built.
FieldListFn FieldsOf(const std::u16string& dbPath);

// The prefix test of the project scope "this project and everything below it": true for
// a row whose [Projects].[Project] is P or starts with P followed by a backslash, case
// ignored. A sibling whose name merely begins with P does not match.
std::u16string ProjectPrefixExpr(const std::u16string& P);

// Letters of one mail folder (or of all, with AllmFolders) in the project scope of
// dbFlags & 7, ordered by "Letters." + Order. Scope 0 and 2 show the columns of the
// letter's own project link; scope 2 also finds letters through a pack of the project
// (that link is always taken from the live side). Returns "" for scopes 3, 5, 6 and 7.
std::u16string GetRecordSource(const FieldListFn& F, const std::u16string& mFolder,
                               const std::u16string& rProject, int32_t dbFlags,
                               const std::u16string& Order, bool InsArcPrj);

// Packs in the project scope of dbFlags & 7 (0, 1, 2 or 4; "" for the others), newest
// first. ShowDeleted true lists the packs in the recycle bin too.
std::u16string GetPacksRecordSource(const FieldListFn& F, const std::u16string& rProject,
                                    int32_t dbFlags, bool ShowDeleted, bool InsArcPrj);

// Letters of one pack in date order: the letter's date, else its arrival, else
// 1 January 1980. The folder test of HideDeleted / DeletedOnly compares against
// "Recycle " with a trailing blank, so it never matches a stored folder name: HideDeleted
// returns every letter and DeletedOnly none. Callers that need the truth use
// DeletedMsgCount. InsArcPrj is accepted and not used.
std::u16string GetPackMsgRecordSource(int32_t PackNumber, int32_t ShowDeleted, bool InsArcPrj);
// The same with the boolean form: true means DeletedOnly, false HideDeleted.
std::u16string GetPacksItemRecordSource(int32_t PackNumber, bool ShowDeleted, bool InsArcPrj);

std::u16string GetAttachRecordSource(int32_t msgNumber);
std::u16string GetDataPrjRS(int32_t Obj_ID, int32_t ObjType);
std::u16string GetPackItemsRSbyLetter(int32_t msgN);

// The statement DeletedMsgCount runs: the pack's letters that lie in "Recycle".
std::u16string DeletedMsgCountStatement(int32_t PackNumber);

// Number of the pack's letters in "Recycle" in the database at dbPath; 0 when the
// database or the statement can't be opened.
int32_t DeletedMsgCount(const std::u16string& dbPath, int32_t PackNumber);

}  // namespace ravelin::store
