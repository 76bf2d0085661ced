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
#include "transport/smtp_client.h"

namespace ravelin {

namespace dao {
class Recordset;
}  // namespace dao
namespace packs {
class ABPack;
class ListView;
class StatusBar;
struct ListItem;
struct RuleTab;
}  // namespace packs
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

  // ---- Location and database life ----
  std::u16string AppPath() const;
  void AppPath(const std::u16string& value);
  std::u16string GetDatabaseName();
  std::u16string GetDataBaseFolder();
  // Puts the ANSI code page of the settings file (`[Main] CodePage`, UTF-8 by default) to
  // use for octets without a charset. Writing AppPath and CorrectDB do it; a host that
  // changes the setting later calls it again.
  void LoadCodePageSetting();

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

  // ---- SMTP client (src/facade/ravelin_transport.cpp over transport/smtp_client.h) ----
  // The conversation's state and the result of its last request. The window that owns
  // the socket forwards its events: DataArrival to Winsock_DataArrival, Close as
  // rqStat = ErrRq. Setting rqStat to ErrRq (and closing the socket) stops a send.
  WinsockStates m_State = MAIL_CONNECT;
  RequestStat rqStat = Wait;
  // Connects, sends EHLO (strHello, "Peakhost" when empty, written back) and with isAuth
  // logs in; true when every step was accepted. A refused step shows the server's reply;
  // an unexpected failure shows "Unable to connect to the server!".
  bool SMTPConnect(const std::u16string& SMTPserver, int32_t SMTPport, transport::Socket& Winsock1,
                   transport::StatusPanel* Panel1 = nullptr, bool isAuth = false, const std::u16string& User = {},
                   const std::u16string& Password = {}, std::u16string* strHello = nullptr);
  // One letter over the connected session; true when the server took it.
  bool SendLetter(const struct mailHeader& mheader, transport::Socket& Winsock1,
                  transport::StatusPanel* Panel1 = nullptr);
  // Connect, send and disconnect; true when the letter went.
  bool SendOneLetter(const struct mailHeader& mheader, const std::u16string& SMTPserver, int32_t SMTPport,
                     transport::Socket& Winsock1, transport::StatusPanel* Panel1 = nullptr, bool isAuth = false,
                     const std::u16string& User = {}, const std::u16string& Password = {});
  // QUIT and close (nothing when the socket is closed); Null.
  Value SMTPDisconnect(transport::Socket& Winsock1, transport::StatusPanel* Panel1 = nullptr,
                       const std::u16string& SMTPserver = {});
  void Winsock_DataArrival(int32_t bytesTotal, transport::Socket& Winsock1);
  // Blocks on the event loop until rqStat leaves Wait, at most "[SMTP] Timeout" seconds
  // (60; 0 waits for ever), then ErrRq.
  void WaitRq();
  void GetConnectionStatus(transport::ConnectionToolbar& Toolbar1);
  void SetConnectionStatus(transport::ConnectionToolbar& Toolbar1);
  // This instance's conversation: reply reading, time-out, the server's settings.
  transport::SmtpSession& SmtpSessionOptions() { return smtp_; }

  // ---- Packs, rules, projects and archive (src/facade/ravelin_packs.cpp) ----
  // The views are packs/views.h's ListView and StatusBar, the cursors DataCursor, the
  // rule tab packs/rules.h's RuleTab. Links to a project make its folder on disk first
  // (packs/project_tree.h); a missing pack is told in a critical box.
  std::u16string GetHarbourRoot(bool& InsArcPrj, std::u16string& CurProject);
  void pCopyObj(int32_t Obj_ID, int32_t ObjType, const std::u16string& rProject = {}, bool InsArcPrj = false,
                int32_t PackNumber = 0);
  void pCopyPack(int32_t Pack_N, const std::u16string& rProject, bool InsArcPrj);
  void pCopyLetter(int32_t msgN, const std::u16string& rProject = {}, bool InsArcPrj = false, int32_t PackNumber = 0);
  void RemoveLetter(int32_t msgN, const std::u16string& fromFolder, bool fromInsArcPrj, int32_t fromPackNumber,
                    const std::u16string& toFolder, bool toInsArcPrj, int32_t toPackNumber);
  void RemovePack2(int32_t PackNumber, const std::u16string& fromFolder, bool fromInsArcPrj,
                   const std::u16string& toFolder, bool toInsArcPrj);
  void RemovePack(class DataCursor& DataPacks, class DataCursor& DataTb1, class DataCursor& DataRules,
                  const std::u16string& newFolder, bool newInsArcPrj);
  void ArcPrjOp(class DataCursor& Data1, const std::u16string& FieldName = u"Project");
  void ArcPrjOp2(int32_t Obj_ID, int32_t ObjType, const std::u16string& fromFolder, bool fromInsArcPrj,
                 int32_t fromPackNumber = 0);
  void ArcPrjOpPack(class DataCursor& DataPacks, class DataCursor& DataTb1, class DataCursor& DataRules);
  // The host copied, moved or deleted a folder of the project tree.
  void FolderCopied(const std::u16string& fromProject, const std::u16string& toProject, bool fromInsArcPrj = false,
                    bool toInsArcPrj = false);
  void FolderMoved(const std::u16string& oldrProject, const std::u16string& newrProject, bool InsArcPrj1,
                   bool InsArcPrj2);
  void rProjectMoved(const std::u16string& oldrProject, const std::u16string& newrProject, bool oldInsArcPrj = false,
                     bool newInsArcPrj = false);
  void FolderDeleted(const std::u16string& rProject, bool InsArcPrj, int16_t Shift = 0);
  void rProjectDeleted(const std::u16string& rProject, bool InsArcPrj = false, int16_t Shift = 0);
  void NavigatePacksByLetter(int32_t msgN, class packs::ListView& LvwPacks);
  void NavigateProjectsByLetters(int32_t msgN, class packs::ListView& LvwPrj);
  void tbPrj_ButtonClick(const std::u16string& Button, class packs::ListView& LvwPrj, int32_t msgN);
  // For "Prop" the selected pack's number comes back, for the host to open its window.
  int32_t tbPacks_ButtonClick(const std::u16string& Button, class packs::ListView& LvwPacks, int32_t msgN);
  // The new pack's number; 0 when no name was given.
  int32_t NewPack(const std::u16string& rProject = {}, bool InsArcPrj = false, bool UseDefPar = false,
                  const struct packs::ListItem* defListItem = nullptr);
  bool ChangePackProperty(class DataCursor& DataPack, bool* FolderChanged = nullptr);
  void PackPropertyUpdate(class DataCursor& DataPack);
  // The number of packs listed; raises ProgressChanged and StatusTextChanged and stops on
  // StopOperation.
  int32_t RereadPacksData(class DataCursor& DataPacks, class packs::ListView& Listview1, bool ShowDeleted = false,
                          class packs::StatusBar* StatusBar1 = nullptr);
  int32_t RereadPacksData2(dao::Recordset& Rs, class packs::ListView& Listview1,
                           DeletedMsgStatus ShowDeleted = ShowAll, class packs::StatusBar* StatusBar1 = nullptr);
  void DelPackIntoRecycleBin(class DataCursor& DataPacks);
  void DeletePack(class DataCursor& DataPacks);
  // The project links left (0 when the pack went, or went to the recycle bin).
  int32_t DeletePack2(int32_t Pack_N, std::u16string& rProject, bool& InsArcPrj, int16_t Shift = 0);
  void DeletePackRules(class DataCursor& DataRules, int32_t PackNumber);
  void RestorePack(class DataCursor& DataPacks);
  void RestorePack2(int32_t PackNumber);
  void ReDistrPack(class DataCursor& DataPacks);
  bool SelectPack(int32_t& PackNumber, const std::u16string& rProject = {}, bool InsArcPrj = false,
                  int32_t prjFiltr = Allmsg, bool ShowCancelButton = true);
  bool SelectPack2(int32_t& PackNumber, const std::u16string& rProject, bool InsArcPrj, int32_t prjFiltr,
                   bool ShowCancelButton, std::u16string& PackName);
  std::u16string GetRulesRecordsource(const Value& Data1, RulesAction Action, const std::u16string& Param,
                                      bool InsArcPrj = false);
  std::u16string GetRulesRecordsource2(RulesAction Action, const std::u16string& Param, bool InsArcPrj = false);
  void SetFlags(class DataCursor& DataRules, struct packs::RuleTab& frm);

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

  // ---- Address-book packs (src/facade/ravelin_addressbook.cpp) ----
  // Makes the host's address book (AddressBook.db beside the mail database, the settings'
  // [AddressBook] File, or `file` when given) and its photo store the process's own, and
  // lets address-book reports write their letters' rows. LoadABPack does it when no
  // address book is installed yet.
  void UseAddressBook(const std::u16string& file = {});
  // The pack of one address-book object (not yet enumerated), opened in the pack window
  // when a host installed one (packs::SetABPackWindow). ShowDeleted true: deleted letters
  // only; false: the deleted ones hidden. Null on failure.
  std::shared_ptr<packs::ABPack> LoadABPack(int32_t ObjectID, int32_t ObjectType, int32_t aFiltr = 0,
                                            const std::u16string& rProject = {}, bool InsArcPrj = false,
                                            bool ShowDeleted = false, void* ParentForm = nullptr);

  // ---- Further families are declared by their subsystems below ----

 private:
  bool stop_ = false;
  std::vector<std::weak_ptr<RavelinEvents>> sinks_;
  transport::SmtpSession smtp_;
};

namespace module1 {
// The shared module's own façade instance, for windows and collection classes; created on
// first use and kept for the whole process.
Ravelin& SharedMail();
}  // namespace module1

}  // namespace ravelin
