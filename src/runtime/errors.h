// Typed failures of Ravelin and the error record the façade reports through msgError.
// Internal code throws Error; numbers are the ones callers branch on (the database
// engine's 3021, 3045, ... and the language-level ones below).
#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace ravelin {

// Language-level error numbers that helpers raise. Every number raised anywhere has its
// description in runtime/error_table.h.
namespace errnum {
inline constexpr int32_t kInvalidProcedureCall = 5;
inline constexpr int32_t kOverflow = 6;
inline constexpr int32_t kOutOfMemory = 7;
inline constexpr int32_t kSubscriptOutOfRange = 9;
inline constexpr int32_t kDivisionByZero = 11;
inline constexpr int32_t kTypeMismatch = 13;
inline constexpr int32_t kFileNotFound = 53;
inline constexpr int32_t kBadFileMode = 54;
inline constexpr int32_t kDeviceIO = 57;
inline constexpr int32_t kFileAlreadyExists = 58;
inline constexpr int32_t kDiskFull = 61;
inline constexpr int32_t kPermissionDenied = 70;
inline constexpr int32_t kPathFileAccess = 75;
inline constexpr int32_t kPathNotFound = 76;
inline constexpr int32_t kObjectNotSet = 91;
inline constexpr int32_t kObjectRequired = 424;
inline constexpr int32_t kInvalidUseOfNull = 94;
inline constexpr int32_t kCantCreateObject = 429;
}  // namespace errnum

// A failure with its number, text and the source that raised it.
class Error : public std::exception {
 public:
  Error(int32_t number, std::u16string description, std::u16string source = {});

  int32_t Number() const noexcept { return number_; }
  const std::u16string& Description() const noexcept { return description_; }
  const std::u16string& Source() const noexcept { return source_; }
  void SetSource(std::u16string source) { source_ = std::move(source); }

  // UTF-8 form of "number: description" for std::exception users.
  const char* what() const noexcept override { return what_.c_str(); }

 private:
  int32_t number_;
  std::u16string description_;
  std::u16string source_;
  std::string what_;
};

// The error record handed to msgError / HostCommon::ReportError: a snapshot of the
// failure being reported, like the platform's error object.
struct ErrObject {
  int32_t Number = 0;
  std::u16string Description;
  std::u16string Source;

  static ErrObject From(const Error& e) { return {e.Number(), e.Description(), e.Source()}; }
  // Wraps whatever is currently being handled (call inside a catch block).
  static ErrObject FromCurrentException();
};

// Convenience for the common language-level errors.
[[noreturn]] void RaiseError(int32_t number, std::u16string description = {});

// The table's description of a number ("Overflow", "No current record.", ...).
std::u16string DefaultErrorText(int32_t number);

}  // namespace ravelin
