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

  // ---- Further families are declared by their subsystems below ----

 private:
  bool stop_ = false;
  std::vector<std::weak_ptr<RavelinEvents>> sinks_;
};

}  // namespace ravelin
