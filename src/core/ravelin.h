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
#include <string>
#include <vector>

#include "core/errors.h"
#include "core/types.h"
#include "core/value.h"

namespace ravelin {

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

  // ---- Further families are declared by their subsystems below ----

 private:
  bool stop_ = false;
  std::vector<std::weak_ptr<RavelinEvents>> sinks_;
};

}  // namespace ravelin
