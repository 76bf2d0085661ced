// Error and ErrObject.
#include "runtime/errors.h"

#include <new>
#include <string>

#include "runtime/error_table.h"
#include "runtime/text.h"

namespace ravelin {

Error::Error(int32_t number, std::u16string description, std::u16string source)
    : number_(number), description_(std::move(description)), source_(std::move(source)) {
  if (description_.empty()) description_ = DefaultErrorText(number);
  what_ = std::to_string(number_) + ": " + ToUtf8(description_);
}

ErrObject ErrObject::FromCurrentException() {
  try {
    throw;
  } catch (const Error& e) {
    return From(e);
  } catch (const std::bad_alloc&) {
    return {errnum::kOutOfMemory, DefaultErrorText(errnum::kOutOfMemory), {}};
  } catch (const std::exception& e) {
    return {errnum::kInvalidProcedureCall, FromUtf8(e.what()), {}};
  } catch (...) {
    return {errnum::kInvalidProcedureCall, u"Unknown failure", {}};
  }
}

void RaiseError(int32_t number, std::u16string description) { throw Error(number, std::move(description)); }

std::u16string DefaultErrorText(int32_t number) {
  if (const ErrorInfo* e = FindError(number)) return std::u16string(e->description);
  return u"Application-defined or object-defined error";
}

}  // namespace ravelin
