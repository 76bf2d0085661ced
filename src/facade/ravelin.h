// Ravelin: the façade of the mail component. A host creates it, sets AppPath, calls
// CorrectDB(GetDatabaseName()) once, and from then on asks it for query texts,
// conversions, letters and transport. No failure leaves it: operations report through
// msgError and return their default.
//
// Operations are grouped by family; each family is implemented in its subsystem's
// folder (ravelin_<family>.cpp).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/errors.h"
#include "runtime/types.h"
#include "runtime/value.h"

namespace ravelin {

namespace dao {
class Recordset;
}
namespace presentation {
class HtmlView;
class CommonDialog;
}  // namespace presentation

// Progress and status events of long operations. A host implements what it needs.
class RavelinEvents {
 public:
  virtual ~RavelinEvents() = default;
  virtual void ProgressChanged(double& Value, double& Min, double& Max) {}
  virtual void StatusTextChanged(std::u16string& Text) {}
};

class Ravelin {
 public:
  Ravelin() = default;  // does no work

  // The SMTP conversation's state and the result of its last request.
  WinsockStates m_State = MAIL_CONNECT;
  RequestStat rqStat = Wait;

  // ---- Location and database life ----
  std::u16string AppPath() const;
  void AppPath(const std::u16string& value);
  std::u16string GetDatabaseName();
  std::u16string GetDataBaseFolder();

  // ---- Reporting and helpers ----
  Value msgError(const ErrObject& err, const std::u16string& ModName);
  // The last failure an operation reported (number, source, description), or that a
  // silent one passed over; empty when the last operation went well. Cleared when the
  // next operation begins, so a host learns that a call failed without counting reports.
  const std::optional<ErrObject>& LastError() const;
  // Shows the plain message window; with EditMsg the edited text comes back in Msg.
  void msgbox1(std::u16string& Msg, bool EditMsg = false, const std::u16string& Title = {});
  void StopOperation();
  int32_t GetMsgListCount();
  std::u16string strBoolean(int32_t v);
  Value strConvNull(const std::u16string& String1);
  Value lngConvNull(const Value& dig);
  int32_t NullConvLng(const Value& dig);
  bool NullConvBool(const Value& dig);
  std::u16string NullConvStr(const Value& String1);

  // ---- Events ----
  void Subscribe(std::shared_ptr<RavelinEvents> sink);
  void Unsubscribe(const std::shared_ptr<RavelinEvents>& sink);
  void RaiseProgressChanged(double& Value, double& Min, double& Max);
  void RaiseStatusTextChanged(std::u16string& Text);

  // The stop flag: long loops clear it at their start and test it after each progress step.
  bool StopRequested() const { return stop_; }
  void ClearStop() { stop_ = false; }

  // ---- Mail database: maintenance, field lists and list statements (src/store) ----
  // Creates the mail database at FilePath, or converts and upgrades the one found there
  // (or at its alternative or legacy location), and marks it Hidden. A database held by
  // another process is left alone silently; other failures are reported.
  void CorrectDB(const std::u16string& FilePath);
  // Backs up GetDatabaseName() to "EmailW~.mdb" and compacts it; on failure the
  // database stays as it was.
  void CompressDb();
  // "SELECT [t].[f1], ... [t].[fn] from t " for table tbName; "" when it can't be read.
  std::u16string EnumRecordsetFields(std::u16string& tbName);
  // Statement texts of the lists; "" or an unusable text when the database can't be read.
  std::u16string GetRecordSource(const std::u16string& mFolder, const std::u16string& rProject, int32_t dbFlags = 0,
                                 const std::u16string& Order = {}, bool InsArcPrj = false);
  std::u16string GetPacksRecordSource(const std::u16string& rProject, int32_t dbFlags = 0, bool ShowDeleted = false,
                                      bool InsArcPrj = false);
  std::u16string GetPackMsgRecordSource(int32_t PackNumber, DeletedMsgStatus ShowDeleted = ShowAll,
                                        bool InsArcPrj = false);
  std::u16string GetPacksItemRecordSource(int32_t PackNumber, bool ShowDeleted = false, bool InsArcPrj = false);
  std::u16string GetAttachRecordSource(int32_t msgNumber);
  std::u16string GetDataPrjRS(int32_t Obj_ID, MailObjects ObjType);
  std::u16string GetPackItemsRSbyLetter(int32_t msgN);
  // Letters of the pack that lie in "Recycle"; 0 when the database can't be read.
  int32_t DeletedMsgCount(int32_t PackNumber);

  // ---- Parsing and building of messages (src/formats/ravelin_mime.cpp) ----
  // The records are defined in formats/mime_parser.h, the export options in
  // formats/message_builder.h. The reader never reports: what can't be read stays empty.
  void GetSubItems(const std::u16string& Text, struct mailHeader& mheader);
  void ExtractParts(const std::u16string& msgBody, struct mailHeader& mheader);
  int32_t GetUboundAttFiles(const struct mailHeader& mheader);
  std::u16string GetName(const std::u16string& strEmail);
  std::u16string GetEmail(const std::u16string& str);
  // The MIME body of a record (Delim CR LF for files, LF for SMTP); failures are
  // reported and what was built comes back.
  std::u16string CreateMessageBody(const struct mailHeader& mheader, const std::u16string& Delim = u"\r\n");
  // The .eml text of a stored letter, saved too when the options name a folder; "" when
  // the letter isn't found or on a reported failure.
  std::u16string CreateEML(int32_t msgNumber);
  std::u16string CreateEML(int32_t msgNumber, struct CreateEMLOptions& options);
  std::u16string GetMailer();
  std::u16string CodeMailer(const std::u16string& Mailer);

  // ---- Adding, deleting and restoring letters (src/store/ravelin_letters.cpp) ----
  // Inserts a parsed letter; MailFolder -1 is worked out from the accounts and written
  // back. Returns the new key as decimal text, "" when nothing could be written. The
  // cursors are store/data_cursor.h's DataCursor; the letter objects live in store/letters.h.
  std::u16string AddLetterFromMailHeader(struct mailHeader& mheader, int32_t& MailFolder, int32_t msgSize = 0,
                                         const std::u16string& Project = {}, bool InsArcPrj = false,
                                         int32_t PackNumber = 0, const std::u16string& strEmail = {});
  // The same with the folder left to the routine.
  std::u16string AddLetterFromMailHeader(struct mailHeader& mheader);
  // Imports an .eml file; the new key, 0 when the file is missing or on a reported failure.
  int32_t AddLetterFromEML(const std::u16string& FilePath, const std::u16string& rProject = {},
                           bool InsArcPrj = false, int32_t PackNumber = 0);
  // To "Recycle" (Shift 0) or, with Shift, out of the store with every link and file.
  void DeleteLetter(class DataCursor& DataLetters, class DataCursor& DataAttach, int16_t Shift = 0);
  // To "Recycle" (Shift 0, result 0), or with Shift one link removed; the links left
  // (0: the letter is gone).
  int32_t DeleteLetter2(int32_t Msg_N, const std::u16string& rProject = {}, bool InsArcPrj = false,
                        int32_t Pack_N = 0, int16_t Shift = 0);
  // Back to the folder the letter came from (asked when it remembers none), with its packs.
  void RestoreLetter(class DataCursor& DataLetters, class DataCursor& DataPacks);
  void RestoreLetter2(int32_t msgN);
  // The same on recordsets the caller holds open (store/delete_restore.h).
  void RestoreLetter2(int32_t msgN, const struct RestoreRecordsets& Recordsets);

  // ---- Transfer codecs and charsets (src/formats/ravelin_codecs.cpp) ----
  // Stateless; defined in formats/codecs.h and formats/charsets.h. These have no handler
  // of their own: Overflow (6) of a length, the invalid-argument failure (5) of a
  // quoted-printable text ending in "=" and one character or of an "=?" without a further
  // "?", and division by zero (11) of SplitMsg with MaxLen 0 go up to the caller.
  std::u16string AsciiToBase64(const std::u16string& sSource);
  std::u16string Base64ToAscii(const std::u16string& sSource);
  int32_t CalcBase64strSize(int32_t lngStr);
  std::u16string Code_quoted_printable(const std::u16string& Text);
  std::u16string Decode_quoted_printable(const std::u16string& Text);
  // Element [0] is the element the platform numbers 1.
  std::vector<std::u16string> mSplit(const std::u16string& str, const std::u16string& Delim);
  std::u16string SplitMsg(const std::u16string& strMsg, const std::u16string& Delim = u"\r\n", int32_t MaxLen = 72,
                          int32_t Len1 = 72);
  void GetCP_CM(const std::u16string& str, std::u16string& CodePage, std::u16string& Method, std::u16string& Rest,
                std::u16string* strStart = nullptr);
  int32_t GetCPfromStr(const std::u16string& str);
  std::u16string GetStrFromCPcode(int32_t CP);
  std::u16string CreateStrField(const std::u16string& FieldName, const std::u16string& Value);
  std::u16string GetUnicodeHTMLString(const std::u16string& s);

  // ---- Letters and packs as HTML, references, MHT, replies (src/presentation) ----
  // The documents are the letters' own HTML with references rewritten by text search:
  // hostile content stays in them, so a host shows them only in a view that runs no
  // script and loads nothing remote (`ravelin view`). The views and the dialog are the
  // seams of presentation/views.h.
  // The body document of the letter whose HTML body row is current in Data1, recoded to
  // true text, its parts' references pointed at FolderPath's files.
  std::u16string CreateHTML(DataCursor& Data1, const std::u16string& FolderPath, std::u16string* CodePage = nullptr,
                            bool* ForSaving = nullptr);
  std::u16string CreateHTML2(dao::Recordset& RsAtt, const std::u16string& FolderPath, int32_t* CodePageID = nullptr,
                             bool* ForSaving = nullptr, bool RecodeToUnicode = false);
  // The letter's page with its attachment list; "" when the letter isn't there, or has no
  // HTML body and Force is false.
  std::u16string CreateHTML_by_msgNumber(const std::u16string& Message_key, bool Force = false);
  // Recodes html from the charset it names; returns the name.
  std::u16string RecodeHTML(std::u16string& html);
  // Extracts the Files rows of Data1 (arrays in walk order, last row first); the body
  // row's 1-based place, 0 for none.
  int32_t ExtractAttachments(DataCursor& Data1, std::vector<std::u16string>& FileNames,
                             std::vector<bool>& IsAttachments, std::vector<int32_t>& AVPChk,
                             std::u16string* FolderPath = nullptr);
  std::u16string docBlanc();
  std::u16string DocBlancHeader();
  // The pack report over Data1 (the pack's letters); Data2 is the current letter's Files
  // view and Data1's Tag its body row's place, which the owner of the cursors keeps up to
  // date when Data1 moves. StopOperation ends it after the current letter.
  std::u16string GetHTMLPack(DataCursor& Data1, DataCursor& Data2, std::u16string& pTitle);
  std::u16string GetHTMLPack2(DataCursor& Data1, DataCursor& Data2, DataCursor* DataPhoto, std::u16string& pTitle);
  // The report of pack number PackNumber in the mail database, files extracted here.
  std::u16string GetPackReport(int32_t PackNumber);
  void SaveHTMLPack(const std::u16string& HTMLdoc, std::u16string& PackName,
                    presentation::CommonDialog& CommonDialog1);
  void ClearMailFiles();
  void ConvertAllReftoLocal(std::u16string& HTMLdoc);
  std::u16string GetBaseUrl(std::u16string& HTMLdoc, int16_t Flags = 0);
  std::u16string GetShortLocation(const std::u16string& ContentLocation, const std::u16string& BaseURL);
  std::u16string ConvertReftoAbs(const std::u16string& href, const std::u16string& BaseURL);
  // Shows an .mht or .eml file on the view (parts to "tmpFiles").
  void LoadMHT(std::u16string& FilePath, presentation::HtmlView& DHTMLEdit1);
  // The click and the status text at the point of the view's current event.
  void DHTMLEdit_onclick(presentation::HtmlView& DHTMLEdit1, const std::u16string& rProject, bool isModal = false,
                         bool InsArcPrj = false);
  std::u16string DHTMLEdit_GetStatusText(presentation::HtmlView& DHTMLEdit1);
  // Opens a reply to the current letter of DataTb1 in a new compose view
  // (presentation::SetComposeFactory); DataTb1's Tag above 0 quotes DHTMLEditSrc's text.
  void ReplyLetter(DataCursor& DataTb1, presentation::HtmlView& DHTMLEditSrc, int16_t Modal = 0,
                   int32_t prjFiltr = 0);
  std::u16string GetInitials(const std::u16string& strEmail);
  std::u16string InsertQuoting(const std::u16string& Initials, const std::u16string& strMsg);
  int32_t GetWordStartPosition(int32_t start, const std::u16string& str);
  std::u16string InsBlkQuote();

  // ---- Further families are declared by their subsystems below ----

 private:
  bool stop_ = false;
  std::vector<std::weak_ptr<RavelinEvents>> sinks_;
};

namespace module1 {
// The shared module's own façade instance, for windows and collection classes; created on
// first use and kept for the whole process.
Ravelin& SharedMail();
}  // namespace module1

}  // namespace ravelin
