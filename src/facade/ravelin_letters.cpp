// The façade's members for adding, deleting and restoring letters.
#include "facade/ravelin.h"
#include "formats/mime_parser.h"
#include "platform/module1.h"
#include "runtime/resume.h"
#include "store/add_letter.h"
#include "store/data_cursor.h"
#include "store/delete_restore.h"

namespace ravelin {

std::u16string Ravelin::AddLetterFromMailHeader(mailHeader& mheader, int32_t& MailFolder, int32_t msgSize,
                                                const std::u16string& Project, bool InsArcPrj, int32_t PackNumber,
                                                const std::u16string& strEmail) {
  // Every step of the insertion already passes over its own failure; the region only
  // guards the façade's promise that nothing escapes.
  return Protected(u"Module1.AddLetterFromMailHeader", std::u16string(), [&] {
    return store::AddLetterFromMailHeader(mheader, MailFolder, msgSize, Project, InsArcPrj, PackNumber, strEmail);
  });
}

std::u16string Ravelin::AddLetterFromMailHeader(mailHeader& mheader) {
  int32_t folder = -1;
  return AddLetterFromMailHeader(mheader, folder);
}

int32_t Ravelin::AddLetterFromEML(const std::u16string& FilePath, const std::u16string& rProject, bool InsArcPrj,
                                  int32_t PackNumber) {
  return Protected(u"Ravelin.AddLetterFromEML", int32_t{0},
                   [&] { return store::AddLetterFromEML(FilePath, rProject, InsArcPrj, PackNumber); });
}

void Ravelin::DeleteLetter(DataCursor& DataLetters, DataCursor& DataAttach, int16_t Shift) {
  ProtectedVoid(u"Ravelin.DeleteLetter", [&] { store::DeleteLetter(DataLetters, DataAttach, Shift); });
}

int32_t Ravelin::DeleteLetter2(int32_t Msg_N, const std::u16string& rProject, bool InsArcPrj, int32_t Pack_N,
                               int16_t Shift) {
  return Protected(u"Ravelin.DeleteLetter2", int32_t{0},
                   [&] { return store::DeleteLetter2(Msg_N, rProject, InsArcPrj, Pack_N, Shift); });
}

void Ravelin::RestoreLetter(DataCursor& DataLetters, DataCursor& DataPacks) {
  int32_t key = 0;
  bool haveKey = false;
  ProtectedVoid(u"Ravelin.RestoreLetter2", [&] {
    key = NullConvLng(store::detail::Need(DataLetters.Recordset()).GetField(u"key"));
    haveKey = true;
  });
  if (!haveKey) return;
  RestoreLetter2(key);
  // The letter has left the list it was shown in, and its packs may be back.
  ResumeNext rn;
  rn([&] { DataLetters.Refresh(); });
  rn([&] { DataPacks.Refresh(); });
}

void Ravelin::RestoreLetter2(int32_t msgN) {
  ProtectedVoid(u"Ravelin.RestoreLetter2", [&] { store::RestoreLetter2(msgN); });
}

void Ravelin::RestoreLetter2(int32_t msgN, const RestoreRecordsets& Recordsets) {
  ProtectedVoid(u"Ravelin.RestoreLetter2",
                [&] { store::RestoreLetter2(msgN, Recordsets.Rs, Recordsets.RSPI, Recordsets.RSPa); });
}

}  // namespace ravelin
