// The façade's members for letters and packs as HTML, references, MHT and replies.
#include "facade/ravelin.h"
#include "formats/message_builder.h"
#include "platform/funnel.h"
#include "presentation/html_text.h"
#include "presentation/letter_html.h"
#include "presentation/mht.h"
#include "presentation/pack_report.h"
#include "presentation/references.h"
#include "presentation/reply.h"
#include "presentation/views.h"
#include "store/data_cursor.h"

namespace ravelin {

namespace {

// The façade's events and stop flag as the report's sink.
class FacadeSink : public presentation::ReportSink {
 public:
  explicit FacadeSink(Ravelin& r) : r_(r) {}
  void StatusText(const std::u16string& text) override {
    std::u16string t = text;
    r_.RaiseStatusTextChanged(t);
  }
  void Progress(double value, double min, double max) override { r_.RaiseProgressChanged(value, min, max); }
  bool StopRequested() override { return r_.StopRequested(); }
  void ClearStop() override { r_.ClearStop(); }

 private:
  Ravelin& r_;
};

}  // namespace

std::u16string Ravelin::CreateHTML(DataCursor& Data1, const std::u16string& FolderPath, std::u16string* CodePage,
                                   bool* ForSaving) {
  return Protected(u"Ravelin.CreateHTML", std::u16string(), [&] {
    std::u16string cp;
    int32_t cpID = 0;
    const bool saving = ForSaving && *ForSaving;
    auto doc = presentation::CreateHTMLCore(store::detail::Need(Data1.Recordset()), FolderPath, cp, saving, true,
                                            cpID);
    if (CodePage) *CodePage = cp;
    return doc.html;
  });
}

std::u16string Ravelin::CreateHTML2(dao::Recordset& RsAtt, const std::u16string& FolderPath, int32_t* CodePageID,
                                    bool* ForSaving, bool RecodeToUnicode) {
  return Protected(u"Ravelin.CreateHTML2", std::u16string(), [&] {
    std::u16string cp;
    int32_t cpID = 0;
    auto doc = presentation::CreateHTMLCore(RsAtt, FolderPath, cp, ForSaving && *ForSaving, RecodeToUnicode, cpID);
    if (CodePageID) *CodePageID = cpID;
    return doc.html;
  });
}

std::u16string Ravelin::CreateHTML_by_msgNumber(const std::u16string& Message_key, bool Force) {
  return Protected(u"Ravelin.CreateHTML_by_msgNumber", std::u16string(),
                   [&] { return presentation::CreateHTMLByMsgNumber(Message_key, Force).html; });
}

std::u16string Ravelin::RecodeHTML(std::u16string& html) {
  return Protected(u"Ravelin.RecodeHTML", std::u16string(), [&] { return presentation::RecodeHTML(html); });
}

int32_t Ravelin::ExtractAttachments(DataCursor& Data1, std::vector<std::u16string>& FileNames,
                                    std::vector<bool>& IsAttachments, std::vector<int32_t>& AVPChk,
                                    std::u16string* FolderPath) {
  return Protected(u"Ravelin.ExtractAttachments", int32_t{0}, [&] {
    presentation::Extraction ex;
    std::u16string folder = FolderPath ? *FolderPath : std::u16string();
    const int32_t pos = presentation::ExtractAttachments2(store::detail::Need(Data1.Recordset()), ex, folder);
    if (FolderPath) *FolderPath = folder;
    FileNames = std::move(ex.FileNames);
    IsAttachments = std::move(ex.IsAttachments);
    AVPChk = std::move(ex.AVPChk);
    return pos;
  });
}

std::u16string Ravelin::docBlanc() { return ravelin::docBlanc(); }
std::u16string Ravelin::DocBlancHeader() { return ravelin::DocBlancHeader(); }

std::u16string Ravelin::GetHTMLPack(DataCursor& Data1, DataCursor& Data2, std::u16string& pTitle) {
  return GetHTMLPack2(Data1, Data2, nullptr, pTitle);
}

std::u16string Ravelin::GetHTMLPack2(DataCursor& Data1, DataCursor& Data2, DataCursor* /*DataPhoto*/,
                                     std::u16string& pTitle) {
  return Protected(u"Ravelin.GetHTMLPack2", std::u16string(), [&] {
    FacadeSink sink(*this);
    auto& letters = store::detail::Need(Data1.Recordset());
    // The cursors' owner hears of each move and brings Data2 and the tag along.
    return presentation::GetHTMLPackCore(letters, pTitle, false, nullptr, &sink, [&] {
      Data1.Reposition();
      return presentation::CurrentFiles{Data2.Recordset().get(), Data1.Tag()};
    });
  });
}

std::u16string Ravelin::GetPackReport(int32_t PackNumber) {
  return Protected(u"Ravelin.GetHTMLPack2", std::u16string(), [&] {
    FacadeSink sink(*this);
    return presentation::PackReport(PackNumber, &sink);
  });
}

void Ravelin::SaveHTMLPack(const std::u16string& HTMLdoc, std::u16string& PackName,
                           presentation::CommonDialog& CommonDialog1) {
  ProtectedVoid(u"Ravelin.SaveHTMLPack", [&] { presentation::SaveHTMLPack(HTMLdoc, PackName, CommonDialog1); });
}

void Ravelin::ClearMailFiles() {
  ProtectedVoid(u"ClearMailFiles", [&] { presentation::ClearMailFiles(); });
}

void Ravelin::ConvertAllReftoLocal(std::u16string& HTMLdoc) {
  ProtectedVoid(u"Ravelin.ConvertAllReftoLocal", [&] { presentation::ConvertAllReftoLocal(HTMLdoc); });
}

std::u16string Ravelin::GetBaseUrl(std::u16string& HTMLdoc, int16_t Flags) {
  return Protected(u"Ravelin.GetBaseUrl", std::u16string(), [&] { return presentation::GetBaseUrl(HTMLdoc, Flags); });
}

std::u16string Ravelin::GetShortLocation(const std::u16string& ContentLocation, const std::u16string& BaseURL) {
  return Protected(u"Ravelin.GetShortLocation", std::u16string(),
                   [&] { return presentation::GetShortLocation(ContentLocation, BaseURL); });
}

std::u16string Ravelin::ConvertReftoAbs(const std::u16string& href, const std::u16string& BaseURL) {
  return Protected(u"Ravelin.ConvertReftoAbs", std::u16string(),
                   [&] { return presentation::ConvertReftoAbs(href, BaseURL); });
}

void Ravelin::LoadMHT(std::u16string& FilePath, presentation::HtmlView& DHTMLEdit1) {
  ProtectedVoid(u"Ravelin.LoadMHT", [&] { presentation::LoadMHT(FilePath, DHTMLEdit1); });
}

void Ravelin::DHTMLEdit_onclick(presentation::HtmlView& DHTMLEdit1, const std::u16string& rProject, bool isModal,
                                bool InsArcPrj) {
  ProtectedVoid(u"Ravelin.DHTMLEdit_onclick",
                [&] { presentation::DHTMLEdit_onclick(DHTMLEdit1, -1, -1, rProject, isModal, InsArcPrj); });
}

std::u16string Ravelin::DHTMLEdit_GetStatusText(presentation::HtmlView& DHTMLEdit1) {
  return Protected(u"Ravelin.DHTMLEdit_GetStatusText", std::u16string(),
                   [&] { return presentation::DHTMLEdit_GetStatusText(DHTMLEdit1, -1, -1); });
}

void Ravelin::ReplyLetter(DataCursor& DataTb1, presentation::HtmlView& DHTMLEditSrc, int16_t Modal,
                          int32_t /*prjFiltr*/) {
  // Reply preparation goes on past every failure; the region only keeps the promise that
  // nothing leaves the façade.
  Silently(0, [&] {
    presentation::ReplyLetterWorker(store::detail::Need(DataTb1.Recordset()), DataTb1.Tag(), &DHTMLEditSrc, Modal);
    return 0;
  });
}

std::u16string Ravelin::GetInitials(const std::u16string& strEmail) {
  return Silently(std::u16string(), [&] { return presentation::GetInitials(strEmail); });
}

std::u16string Ravelin::InsertQuoting(const std::u16string& Initials, const std::u16string& strMsg) {
  return Silently(std::u16string(), [&] { return presentation::InsertQuoting(Initials, strMsg); });
}

int32_t Ravelin::GetWordStartPosition(int32_t start, const std::u16string& str) {
  return Silently(int32_t{0}, [&] { return presentation::GetWordStartPosition(start, str); });
}

std::u16string Ravelin::InsBlkQuote() { return presentation::InsBlkQuote(); }

}  // namespace ravelin
