// The JSON module. Boost.JSON is header-only; its definitions are compiled once, in the windows layer.
#include "json_output.h"

#include <openssl/evp.h>

#include <cmath>
#include <cstdio>
#include <ostream>

#include "runtime/dates.h"
#include "runtime/text.h"

namespace ravelin::cli {

json::value JsonText(std::u16string_view text) { return json::string(ToUtf8(text)); }

std::string IsoDate(OleDate d) {
  const DateParts p = SplitDate(d);
  char buf[32];
  std::snprintf(buf, sizeof buf, "%04d-%02d-%02dT%02d:%02d:%02dZ", p.year, p.month, p.day, p.hour, p.minute, p.second);
  return buf;
}

json::value JsonOf(const Value& v) {
  switch (v.Type()) {
    case VType::Null: return nullptr;
    case VType::Boolean: return v.AsBool();
    case VType::Long: return v.AsLong();
    case VType::Double: {
      // Whole numbers print as integers, as the database's own text of them does.
      const double d = v.AsDouble();
      if (std::isfinite(d) && d == std::trunc(d) && std::fabs(d) < 9e15) return static_cast<int64_t>(d);
      return d;
    }
    case VType::Date: return json::string(IsoDate(v.AsDate()));
    case VType::Text: return JsonText(v.TextRef());
    case VType::Binary: return static_cast<uint64_t>(v.BinaryRef().size());
  }
  return nullptr;
}

json::value JsonField(std::u16string_view name, const Value& v) {
  const bool flag = name == u"Read" || name == u"InsArcPrj";
  if (flag && (v.Type() == VType::Long || v.Type() == VType::Double)) return v.AsBool();
  return JsonOf(v);
}

std::string Sha256Hex(const std::string& octets) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int len = 0;
  EVP_Digest(octets.data(), octets.size(), digest, &len, EVP_sha256(), nullptr);
  static const char* hex = "0123456789abcdef";
  std::string out;
  for (unsigned int i = 0; i < len; ++i) {
    out.push_back(hex[digest[i] >> 4]);
    out.push_back(hex[digest[i] & 15]);
  }
  return out;
}

namespace {
std::string Member(std::string_view key, const std::string& value) {
  return json::serialize(json::string(key)) + ": " + value;
}
}  // namespace

std::string OneLine(const json::value& v) {
  std::string out;
  if (const json::object* o = v.if_object()) {
    out = "{";
    for (const auto& m : *o) out += (out.size() > 1 ? ", " : "") + Member(m.key(), OneLine(m.value()));
    return out + "}";
  }
  if (const json::array* a = v.if_array()) {
    out = "[";
    for (const auto& e : *a) out += (out.size() > 1 ? ", " : "") + OneLine(e);
    return out + "]";
  }
  return json::serialize(v);
}

namespace {
// Elements one per line, each after a line break and `indent`; the closing bracket on a
// line of its own, one blank less indented. An empty array is "[]".
std::string Lines(const json::array& a, const std::string& indent) {
  if (a.empty()) return "[]";
  std::string out = "[";
  for (size_t i = 0; i < a.size(); ++i) out += (i ? ",\n" : "\n") + indent + OneLine(a[i]);
  return out + "\n" + indent.substr(1) + "]";
}
}  // namespace

void PrintRows(std::ostream& out, const json::array& rows) { out << Lines(rows, " ") << "\n"; }

void PrintBlock(std::ostream& out, const json::object& object) {
  out << "{";
  bool first = true;
  for (const auto& m : object) {
    const json::array* a = m.value().if_array();
    out << (first ? "" : ",\n ") << Member(m.key(), a ? Lines(*a, "  ") : OneLine(m.value()));
    first = false;
  }
  out << "}\n";
}

}  // namespace ravelin::cli
