// Value conversions and the Null helpers.
#include "runtime/value.h"

#include <cmath>
#include <limits>

#include "runtime/dates.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin {
namespace {

// CLng: round half to even, within 32 bits.
int32_t RoundToLong(double d) {
  if (std::isnan(d) || d < -2147483648.5 || d >= 2147483647.5) RaiseError(errnum::kOverflow);
  double r = std::nearbyint(d);  // default rounding mode: half to even
  return static_cast<int32_t>(r);
}

// Text as a number: the whole text must be a number (blanks around allowed).
double TextToDouble(const std::u16string& s) {
  std::u16string t = Trim(s);
  if (t.empty()) RaiseError(errnum::kTypeMismatch);
  if (TextEquals(t, u"True")) return -1;
  if (TextEquals(t, u"False")) return 0;
  std::string a;
  for (char16_t c : t) {
    if (c >= 0x80) RaiseError(errnum::kTypeMismatch);
    a.push_back(static_cast<char>(c));
  }
  if (a.size() > 2 && a[0] == '&') {
    double v = Val(t);
    return v;
  }
  char* end = nullptr;
  double v = std::strtod(a.c_str(), &end);
  if (end == a.c_str() || *end != '\0') RaiseError(errnum::kTypeMismatch);
  if (std::isinf(v)) RaiseError(errnum::kOverflow);
  return v;
}

}  // namespace

Value::Value(int64_t n) {
  if (n < std::numeric_limits<int32_t>::min() || n > std::numeric_limits<int32_t>::max()) RaiseError(errnum::kOverflow);
  v_ = static_cast<int32_t>(n);
}

double Value::AsDouble() const {
  switch (Type()) {
    case VType::Null: RaiseError(errnum::kInvalidUseOfNull);
    case VType::Boolean: return std::get<Bool>(v_).b ? -1.0 : 0.0;
    case VType::Long: return std::get<int32_t>(v_);
    case VType::Double: return std::get<double>(v_);
    case VType::Date: return std::get<OleDate>(v_).serial;
    case VType::Text: return TextToDouble(std::get<std::u16string>(v_));
    case VType::Binary: RaiseError(errnum::kTypeMismatch);
  }
  RaiseError(errnum::kTypeMismatch);
}

int32_t Value::AsLong() const {
  switch (Type()) {
    case VType::Boolean: return std::get<Bool>(v_).b ? -1 : 0;
    case VType::Long: return std::get<int32_t>(v_);
    default: return RoundToLong(AsDouble());
  }
}

bool Value::AsBool() const {
  if (Type() == VType::Boolean) return std::get<Bool>(v_).b;
  return AsDouble() != 0.0;
}

OleDate Value::AsDate() const {
  switch (Type()) {
    case VType::Null: RaiseError(errnum::kInvalidUseOfNull);
    case VType::Date: return std::get<OleDate>(v_);
    case VType::Text: {
      const auto& t = std::get<std::u16string>(v_);
      if (auto d = ParseDate(t)) return *d;
      return OleDate{TextToDouble(t)};
    }
    case VType::Binary: RaiseError(errnum::kTypeMismatch);
    default: return OleDate{AsDouble()};
  }
}

std::u16string Value::AsText() const {
  switch (Type()) {
    case VType::Null: RaiseError(errnum::kInvalidUseOfNull);
    case VType::Boolean: return std::get<Bool>(v_).b ? u"True" : u"False";
    case VType::Long: return NumToText(std::get<int32_t>(v_));
    case VType::Double: return NumToText(std::get<double>(v_));
    case VType::Date: return FormatGeneralDate(std::get<OleDate>(v_));
    case VType::Text: return std::get<std::u16string>(v_);
    case VType::Binary: return BytesToByteText(std::get<Bin>(v_).b);
  }
  return {};
}

Bytes Value::AsBinary() const {
  switch (Type()) {
    case VType::Null: RaiseError(errnum::kInvalidUseOfNull);
    case VType::Binary: return std::get<Bin>(v_).b;
    default: return ByteTextToBytes(AsText());
  }
}

Value strConvNull(const std::u16string& String1) { return String1.empty() ? Value() : Value(String1); }

Value lngConvNull(const Value& dig) {
  if (dig.IsNull()) return dig;
  try {
    return dig.AsDouble() == 0.0 ? Value() : dig;
  } catch (const Error&) {
    return dig;  // a text that is no number is never 0
  }
}

int32_t NullConvLng(const Value& dig) { return dig.IsNull() ? 0 : dig.AsLong(); }
bool NullConvBool(const Value& dig) { return dig.IsNull() ? false : dig.AsBool(); }
std::u16string NullConvStr(const Value& String1) { return String1.IsNull() ? std::u16string() : String1.AsText(); }

std::u16string strBoolean(int32_t v) {
  if (v == kTrue) return u"True";
  if (v == kFalse) return u"False";
  return {};
}

}  // namespace ravelin
