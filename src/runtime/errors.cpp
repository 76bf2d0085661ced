// Error and ErrObject.
#include "runtime/errors.h"

#include <new>
#include <string>

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
  switch (number) {
    case errnum::kInvalidProcedureCall: return u"Invalid procedure call or argument";
    case errnum::kOverflow: return u"Overflow";
    case errnum::kOutOfMemory: return u"Out of memory";
    case errnum::kSubscriptOutOfRange: return u"Subscript out of range";
    case errnum::kTypeMismatch: return u"Type mismatch";
    case errnum::kFileNotFound: return u"File not found";
    case errnum::kBadFileMode: return u"Bad file mode";
    case errnum::kFileAlreadyExists: return u"File already exists";
    case errnum::kPermissionDenied: return u"Permission denied";
    case errnum::kPathNotFound: return u"Path not found";
    case errnum::kInvalidUseOfNull: return u"Invalid use of Null";
    case errnum::kObjectRequired: return u"Object required";
    case errnum::kCantCreateObject: return u"ActiveX component can't create object";
    default: return u"Application-defined or object-defined error";
  }
}

}  // namespace ravelin
