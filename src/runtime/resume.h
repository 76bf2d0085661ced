// The "go on with the next statement" policy: each step that fails is passed over and
// the next one runs, leaving what failed at its default. Used by the helpers, the
// parser and reply preparation instead of a try block per statement.
#pragma once

#include <optional>
#include <utility>

#include "runtime/errors.h"

namespace ravelin {

class ResumeNext {
 public:
  // Runs one step; a failure (any exception) is remembered and swallowed.
  template <class F>
  void operator()(F&& step) noexcept {
    try {
      std::forward<F>(step)();
    } catch (...) {
      last_ = ErrObject::FromCurrentException();
    }
  }

  // Runs one step that yields a value; on failure returns `fallback`.
  template <class T, class F>
  T Value(F&& step, T fallback) noexcept {
    try {
      return std::forward<F>(step)();
    } catch (...) {
      last_ = ErrObject::FromCurrentException();
      return fallback;
    }
  }

  // The last failure passed over, if any (the platform's Err after resuming).
  const std::optional<ErrObject>& LastError() const noexcept { return last_; }
  void Clear() noexcept { last_.reset(); }

 private:
  std::optional<ErrObject> last_;
};

}  // namespace ravelin
