// Deleting and restoring letters. A plain deletion moves a letter to "Recycle" and
// remembers where it was; a deletion with Shift removes a link (to a project or a pack)
// and, once none is left, the letter and its files. Restoring puts a letter back where it
// was and brings the packs it belongs to back from the recycle bin.
//
// The functions here throw the engine's failures; the façade runs them in its protected
// regions. A letter that isn't found is told in a critical message box.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/db/dao.h"

namespace ravelin {

class DataCursor;

// Recordsets a caller of RestoreLetter2 already holds: Letters, the letter's pack items and
// Packs. Any may be null; those are opened (and closed) by the call.
struct RestoreRecordsets {
  std::shared_ptr<dao::Recordset> Rs, RSPI, RSPa;
};

namespace store {

// Moves the letter to "Recycle" (Shift 0), keeping its links; result 0. With Shift,
// removes one link: the pack link when Pack_N is not 0 (the project link stays), else the
// project link of rProject on the side InsArcPrj (none when rProject is blank). The
// result counts the links left; at 0 the letter and its files are gone. A letter that
// isn't there: the message box, result 0.
int32_t DeleteLetter2(int32_t Msg_N, const std::u16string& rProject = {}, bool InsArcPrj = false, int32_t Pack_N = 0,
                      int16_t Shift = 0);

// The letter at the cursor's current row: to "Recycle" (Shift 0), or with Shift out of
// the database with every link and file, whatever links it has. Refreshes the cursor.
// A cursor with no rows does nothing.
void DeleteLetter(DataCursor& DataLetters, DataCursor& DataAttach, int16_t Shift = 0);

// Puts the letter back in the folder it came from. A letter that remembers none: the user
// is asked for a folder (suggested "Inbox"; the answer isn't checked), and a cancelled or
// empty answer changes nothing. Every pack the letter belongs to leaves the recycle bin.
// The recordsets are used when given (Letters, the letter's pack items, Packs) and left
// open; the ones opened here are closed.
void RestoreLetter2(int32_t msgN, std::shared_ptr<dao::Recordset> Rs = nullptr,
                    std::shared_ptr<dao::Recordset> RSPI = nullptr, std::shared_ptr<dao::Recordset> RSPa = nullptr);

// Positions a Letters recordset on the letter msgN; false when it isn't there or the
// recordset can't be searched (that failure is reported as "Module1.SetDataLettersPointer").
bool SetDataLettersPointer(dao::Recordset& rs, int32_t msgN);
// The same for a Packs recordset and the pack N ("Module1.SetDataPacksPointer").
bool SetDataPacksPointer(dao::Recordset& rs, int32_t N);

}  // namespace store
}  // namespace ravelin
