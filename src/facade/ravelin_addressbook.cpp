// The façade's members for address-book packs.
#include "desktop/address_book.h"
#include "facade/ravelin.h"
#include "packs/abpack.h"
#include "platform/db/dao.h"
#include "platform/funnel.h"
#include "presentation/html_text.h"
#include "presentation/letter_html.h"
#include "runtime/resume.h"
#include "runtime/value.h"
#include "store/record_sources.h"

namespace ravelin {

namespace {

// The report rows of one letter of an address-book pack: its parts extracted into the
// "mFiles" folder, then the rows a pack report gives a letter.
std::u16string LetterRows(dao::Database& db, dao::Recordset& letters, int32_t number) {
  const std::u16string folder = presentation::MailFilesFolder();
  std::shared_ptr<dao::Recordset> rows;
  int32_t position = 0;
  try {
    rows = db.OpenRecordset(store::GetAttachRecordSource(NullConvLng(letters.GetField(u"key"))), dao::dbOpenDynaset);
    presentation::Extraction ex;
    std::u16string to = folder;
    position = presentation::ExtractAttachments2(*rows, ex, to);
  } catch (...) {
    // A letter whose parts can't be read gives what the report can make of it.
  }
  std::u16string html = presentation::GetHTMLletter(letters, rows.get(), number, position, folder);
  if (rows) rows->Close();
  return html;
}

}  // namespace

void Ravelin::UseAddressBook(const std::u16string& file) {
  ProtectedVoid(u"Ravelin.UseAddressBook", [&] {
    desktop::InstallAddressBook(file);
    packs::SetLetterRowsWriter(LetterRows);
  });
}

std::shared_ptr<packs::ABPack> Ravelin::LoadABPack(int32_t ObjectID, int32_t ObjectType, int32_t aFiltr,
                                                   const std::u16string& rProject, bool InsArcPrj, bool ShowDeleted,
                                                   void* ParentForm) {
  return Protected(u"Ravelin.LoadABPack", std::shared_ptr<packs::ABPack>(), [&] {
    if (!packs::CurrentAddressBook()) UseAddressBook();
    auto pack = std::make_shared<packs::ABPack>();
    pack->ObjectID = ObjectID;
    pack->ObjectType = ObjectType;
    pack->ShowDeleted(ShowDeleted);
    pack->Filter = aFiltr;
    pack->rProject = rProject;
    pack->InsArcPrj = InsArcPrj;
    std::u16string name;  // an object the book can't name still gets its pack
    ResumeNext rn;
    rn([&] {
      packs::AddressBook& book = *packs::CurrentAddressBook();
      auto db = dao::OpenDatabase(book.DatabaseFile(), false, true, u"Access");
      name = book.DisplayName(*db, ObjectID, ObjectType);
      db->Close();
    });
    pack->Title = packs::ABPack::GetFullTitle(ObjectType, name);
    if (auto& window = packs::CurrentABPackWindow()) window(pack, ParentForm);
    return pack;
  });
}

}  // namespace ravelin
