// The one exit funnel of the façade: every public operation runs its body through it. A
// failure is reported (msgError → HostCommon::ReportError) under the operation's source
// name and the operation's default comes back; nothing is thrown past it. The last
// failure it saw stays readable through LastError() until the next operation begins.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "runtime/errors.h"
#include "runtime/value.h"

namespace ravelin {

namespace funnel {

// Reports a failure through the host (HostCommon::ReportError) and remembers it as the
// last error; never throws. The host's answer comes back (Empty when it failed).
Value Report(const ErrObject& err, const std::u16string& source) noexcept;
// Remembers a failure as the last error without showing it.
void Remember(const ErrObject& err) noexcept;

// The last failure reported (or remembered) since the outermost running operation began;
// empty when it went well. Number, source and description as msgError received them.
const std::optional<ErrObject>& LastError() noexcept;

// Marks the outermost operation: the first one entered clears the last error; nested
// operations keep what an earlier step of the same call reported.
class Scope {
 public:
  Scope() noexcept;
  ~Scope();
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
};

}  // namespace funnel

// Runs `body`; a failure is reported under `source` and `fallback` comes back.
template <class T, class F>
T Protected(const std::u16string& source, T fallback, F&& body) noexcept {
  funnel::Scope scope;
  try {
    return std::forward<F>(body)();
  } catch (...) {
    funnel::Report(ErrObject::FromCurrentException(), source);
    return fallback;
  }
}

template <class F>
void ProtectedVoid(const std::u16string& source, F&& body) noexcept {
  funnel::Scope scope;
  try {
    std::forward<F>(body)();
  } catch (...) {
    funnel::Report(ErrObject::FromCurrentException(), source);
  }
}

// The same for a body whose result on failure depends on what it did (what was built so
// far, after cleaning up): `onFailure` runs after the report and gives the result.
template <class F, class G>
auto ProtectedOr(const std::u16string& source, F&& body, G&& onFailure) noexcept -> decltype(body()) {
  funnel::Scope scope;
  try {
    return std::forward<F>(body)();
  } catch (...) {
    funnel::Report(ErrObject::FromCurrentException(), source);
    return std::forward<G>(onFailure)();
  }
}

// The silent form: a failure is not shown, only kept as the last error, and `fallback`
// comes back. For operations whose failure the user has nothing to do about (a statement
// text that could not be built is simply empty).
template <class T, class F>
T Silently(T fallback, F&& body) noexcept {
  funnel::Scope scope;
  try {
    return std::forward<F>(body)();
  } catch (...) {
    funnel::Remember(ErrObject::FromCurrentException());
    return fallback;
  }
}

}  // namespace ravelin
