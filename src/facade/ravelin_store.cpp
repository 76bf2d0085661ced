// Façade members of the mail database family: maintenance, field lists and the list
// statements. Maintenance reports its own failures; the statement builders pass over
// theirs and give what they could build.
#include "facade/ravelin.h"
#include "platform/module1.h"
#include "store/fields.h"
#include "store/maintenance.h"
#include "store/record_sources.h"
#include "windows/frm_compress.h"

namespace ravelin {

namespace {

// The façade shows compaction in its own window; the store only knows the interface.
void UseCompressWindow() {
  static const bool installed = (InstallCompressWindow(), true);
  (void)installed;
}

// A statement that can't be built is simply empty; the failure is kept as LastError.
template <class F>
std::u16string Built(F&& build) {
  return Silently(std::u16string(), std::forward<F>(build));
}

}  // namespace

void Ravelin::CorrectDB(const std::u16string& FilePath) {
  UseCompressWindow();
  LoadCodePageSetting();
  ProtectedVoid(u"Ravelin.CorrectDb", [&] { store::CorrectDB(FilePath); });
}

void Ravelin::CompressDb() {
  UseCompressWindow();
  // The compaction reports its own failures and leaves the database as it was.
  Silently(false, [&] { return store::CompressDb(GetDatabaseName()); });
}

std::u16string Ravelin::EnumRecordsetFields(std::u16string& tbName) {
  return Built([&] { return store::EnumRecordsetFields(GetDatabaseName(), tbName); });
}

std::u16string Ravelin::GetRecordSource(const std::u16string& mFolder, const std::u16string& rProject,
                                        int32_t dbFlags, const std::u16string& Order, bool InsArcPrj) {
  return Built([&] {
    return store::GetRecordSource(store::FieldsOf(GetDatabaseName()), mFolder, rProject, dbFlags, Order, InsArcPrj);
  });
}

std::u16string Ravelin::GetPacksRecordSource(const std::u16string& rProject, int32_t dbFlags, bool ShowDeleted,
                                             bool InsArcPrj) {
  return Built([&] {
    return store::GetPacksRecordSource(store::FieldsOf(GetDatabaseName()), rProject, dbFlags, ShowDeleted, InsArcPrj);
  });
}

std::u16string Ravelin::GetPackMsgRecordSource(int32_t PackNumber, DeletedMsgStatus ShowDeleted, bool InsArcPrj) {
  return Built([&] { return store::GetPackMsgRecordSource(PackNumber, ShowDeleted, InsArcPrj); });
}

std::u16string Ravelin::GetPacksItemRecordSource(int32_t PackNumber, bool ShowDeleted, bool InsArcPrj) {
  return Built([&] { return store::GetPacksItemRecordSource(PackNumber, ShowDeleted, InsArcPrj); });
}

std::u16string Ravelin::GetAttachRecordSource(int32_t msgNumber) {
  return Built([&] { return store::GetAttachRecordSource(msgNumber); });
}

std::u16string Ravelin::GetDataPrjRS(int32_t Obj_ID, MailObjects ObjType) {
  return Built([&] { return store::GetDataPrjRS(Obj_ID, ObjType); });
}

std::u16string Ravelin::GetPackItemsRSbyLetter(int32_t msgN) {
  return Built([&] { return store::GetPackItemsRSbyLetter(msgN); });
}

int32_t Ravelin::DeletedMsgCount(int32_t PackNumber) {
  return Silently(0, [&] { return store::DeletedMsgCount(GetDatabaseName(), PackNumber); });
}

}  // namespace ravelin
