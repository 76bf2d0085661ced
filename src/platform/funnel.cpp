// The exit funnel's state: the last failure and the depth of running operations.
#include "platform/funnel.h"

#include "platform/host_common.h"

namespace ravelin::funnel {

namespace {
std::optional<ErrObject>& Last() {
  static std::optional<ErrObject> last;
  return last;
}
int& Depth() {
  static int depth = 0;
  return depth;
}
}  // namespace

Scope::Scope() noexcept {
  if (Depth()++ == 0) Last().reset();
}
Scope::~Scope() { --Depth(); }

void Remember(const ErrObject& err) noexcept {
  try {
    Last() = err;
  } catch (...) {
  }
}

Value Report(const ErrObject& err, const std::u16string& source) noexcept {
  try {
    ErrObject e = err;
    if (e.Source.empty()) e.Source = source;
    Remember(e);
    return CurrentHostCommon().ReportError(err, source);
  } catch (...) {
    return Value();
  }
}

const std::optional<ErrObject>& LastError() noexcept { return Last(); }

}  // namespace ravelin::funnel
