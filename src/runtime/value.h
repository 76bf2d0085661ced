// Value: the database's and the helpers' variant: Null, Boolean (-1/0), 32-bit Long,
// Double, Date (OLE date), Text (UTF-16) and Binary (octets). Conversions follow the
// platform's rules (CLng rounds half to even, CStr of a Boolean is "True"/"False").
#pragma once

#include <cstdint>
#include <string>
#include <variant>

namespace ravelin {

// An OLE date: days since 1899-12-30, the fraction is the time of day.
struct OleDate {
  double serial = 0.0;
  friend bool operator==(OleDate a, OleDate b) { return a.serial == b.serial; }
};

// Octets of a long binary field.
using Bytes = std::string;

enum class VType : uint8_t { Null, Boolean, Long, Double, Date, Text, Binary };

inline constexpr int32_t kTrue = -1;   // how true is stored and compared as a number
inline constexpr int32_t kFalse = 0;

class Value {
 public:
  Value() = default;  // Null
  Value(bool b) : v_(Bool{b}) {}
  Value(int32_t n) : v_(n) {}
  Value(int64_t n);      // must fit 32 bits (Overflow otherwise)
  Value(double d) : v_(d) {}
  Value(OleDate d) : v_(d) {}
  Value(std::u16string s) : v_(std::move(s)) {}
  Value(const char16_t* s) : v_(std::u16string(s)) {}
  Value(std::u16string_view s) : v_(std::u16string(s)) {}
  Value(const char*) = delete;  // narrow text would silently become a Boolean
  Value(const void*) = delete;
  static Value Null() { return Value(); }
  static Value Binary(Bytes b) {
    Value v;
    v.v_ = Bin{std::move(b)};
    return v;
  }

  VType Type() const noexcept { return static_cast<VType>(v_.index()); }
  bool IsNull() const noexcept { return Type() == VType::Null; }

  // Conversions with the platform's rules; Null raises "Invalid use of Null" (94),
  // text that is not a number raises "Type mismatch" (13), out of range "Overflow" (6).
  int32_t AsLong() const;      // CLng
  double AsDouble() const;     // CDbl
  bool AsBool() const;         // CBool: any non-zero number is true
  OleDate AsDate() const;      // CDate (text through the general date format)
  std::u16string AsText() const;  // CStr
  Bytes AsBinary() const;      // octets; Text becomes its byte text narrowing

  // Direct access for code that already checked the type.
  const std::u16string& TextRef() const { return std::get<std::u16string>(v_); }
  const Bytes& BinaryRef() const { return std::get<Bin>(v_).b; }

  friend bool operator==(const Value& a, const Value& b) { return a.v_ == b.v_; }

 private:
  struct Bool {
    bool b;
    friend bool operator==(Bool x, Bool y) { return x.b == y.b; }
  };
  struct Bin {
    Bytes b;
    friend bool operator==(const Bin& x, const Bin& y) { return x.b == y.b; }
  };
  std::variant<std::monostate, Bool, int32_t, double, OleDate, std::u16string, Bin> v_;
};

// Null helpers of the façade.
Value strConvNull(const std::u16string& String1);          // Null for "", else the text
Value lngConvNull(const Value& dig);                       // Null for 0, else dig
int32_t NullConvLng(const Value& dig);                     // 0 for Null, else CLng
bool NullConvBool(const Value& dig);                       // false for Null, else CBool
std::u16string NullConvStr(const Value& String1);          // "" for Null, else CStr
std::u16string strBoolean(int32_t v);                      // "True" for -1, "False" for 0, else ""

}  // namespace ravelin
