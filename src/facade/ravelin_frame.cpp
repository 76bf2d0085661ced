// The frame members of the façade: location, reporting, the stop flag and events.
#include <algorithm>

#include "facade/ravelin.h"
#include "formats/charsets.h"
#include "platform/event_loop.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "runtime/vbstring.h"

namespace ravelin {

std::u16string Ravelin::AppPath() const { return module1::AppPath(); }
void Ravelin::AppPath(const std::u16string& value) {
  module1::SetAppPath(value);
  LoadCodePageSetting();
}

void Ravelin::LoadCodePageSetting() {
  try {
    // A number that can't serve as the ANSI code page leaves UTF-8, the default.
    if (!SetAnsiCodePage(module1::GetCodePage())) SetAnsiCodePage(kCodePageUtf8);
  } catch (...) {
  }
}

std::u16string Ravelin::GetDatabaseName() {
  module1::SetAppPath(module1::AppPath());
  return module1::GetEmailDbPath();
}

std::u16string Ravelin::GetDataBaseFolder() {
  module1::SetAppPath(module1::AppPath());
  return module1::GetDbFolder();
}

Value Ravelin::msgError(const ErrObject& err, const std::u16string& ModName) {
  return funnel::Report(err, ModName);
}

const std::optional<ErrObject>& Ravelin::LastError() const { return funnel::LastError(); }

void Ravelin::msgbox1(std::u16string& Msg, bool EditMsg, const std::u16string& Title) {
  Silently(false, [&] {
    std::u16string caption = Trim(Title).empty() ? std::u16string(u"Ravelin") : Title;
    auto answer = CurrentInteraction().MessageWindow(Msg, caption, EditMsg);
    // The edited text comes back only when the window was accepted and editing was asked for.
    if (answer && EditMsg) Msg = *answer;
    return true;
  });
}

void Ravelin::StopOperation() {
  stop_ = true;
  loop::PumpOnce();
}

int32_t Ravelin::GetMsgListCount() { return module1::GetMsgCount(); }

std::u16string Ravelin::strBoolean(int32_t v) { return ravelin::strBoolean(v); }
Value Ravelin::strConvNull(const std::u16string& String1) { return ravelin::strConvNull(String1); }
Value Ravelin::lngConvNull(const Value& dig) { return ravelin::lngConvNull(dig); }
int32_t Ravelin::NullConvLng(const Value& dig) {
  return Silently(0, [&] { return ravelin::NullConvLng(dig); });
}
bool Ravelin::NullConvBool(const Value& dig) {
  return Silently(false, [&] { return ravelin::NullConvBool(dig); });
}
std::u16string Ravelin::NullConvStr(const Value& String1) {
  return Silently(std::u16string(), [&] { return ravelin::NullConvStr(String1); });
}

void Ravelin::Subscribe(std::shared_ptr<RavelinEvents> sink) { sinks_.push_back(sink); }

void Ravelin::Unsubscribe(const std::shared_ptr<RavelinEvents>& sink) {
  std::erase_if(sinks_, [&](const std::weak_ptr<RavelinEvents>& w) {
    auto s = w.lock();
    return !s || s == sink;
  });
}

void Ravelin::RaiseProgressChanged(double& Value, double& Min, double& Max) {
  auto sinks = sinks_;  // a handler may subscribe or unsubscribe
  for (auto& w : sinks)
    if (auto s = w.lock()) s->ProgressChanged(Value, Min, Max);
}

void Ravelin::RaiseStatusTextChanged(std::u16string& Text) {
  auto sinks = sinks_;
  for (auto& w : sinks)
    if (auto s = w.lock()) s->StatusTextChanged(Text);
}

namespace module1 {
Ravelin& SharedMail() {
  static Ravelin* mail = new Ravelin();  // lives as long as the process
  return *mail;
}
}  // namespace module1

}  // namespace ravelin
