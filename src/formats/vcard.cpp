// The vCard reader: lines unfolded, properties split into group, name, parameters and
// value, the few properties we keep decoded.
#include "formats/vcard.h"

#include <algorithm>
#include <optional>

#include "formats/charsets.h"
#include "runtime/text.h"

namespace ravelin::vcard {

namespace {

std::string Upper(std::string_view s) {
  std::string out(s);
  for (char& c : out)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return out;
}

bool StartsWithNoCase(std::string_view s, std::string_view prefix) {
  return s.size() >= prefix.size() && Upper(s.substr(0, prefix.size())) == prefix;
}

std::string_view TrimOctets(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t')) s.remove_suffix(1);
  return s;
}

struct Property {
  std::string name;                                        // upper case, group dropped
  std::vector<std::pair<std::string, std::string>> params;  // upper-case names; values as written
  std::string value;

  // The value of a parameter; for a bare 2.1 parameter ("QUOTED-PRINTABLE") the name.
  std::optional<std::string> Param(std::string_view key) const {
    for (const auto& [k, v] : params)
      if (k == key) return v;
    return std::nullopt;
  }
  bool HasBare(std::string_view word) const {
    for (const auto& [k, v] : params)
      if (v.empty() && k == word) return true;
    return false;
  }
};

// Splits "group.NAME;P=v;P2=\"a;b\":value". Nothing when there is no colon.
std::optional<Property> SplitProperty(std::string_view line) {
  size_t i = 0;
  bool quoted = false;
  size_t colon = std::string_view::npos;
  for (; i < line.size(); ++i) {
    const char c = line[i];
    if (c == '"') quoted = !quoted;
    if (!quoted && c == ':') {
      colon = i;
      break;
    }
  }
  if (colon == std::string_view::npos) return std::nullopt;
  Property p;
  p.value = std::string(line.substr(colon + 1));
  std::string_view head = line.substr(0, colon);
  std::vector<std::string_view> parts;
  quoted = false;
  size_t start = 0;
  for (size_t k = 0; k <= head.size(); ++k) {
    if (k < head.size() && head[k] == '"') quoted = !quoted;
    if (k == head.size() || (!quoted && head[k] == ';')) {
      parts.push_back(head.substr(start, k - start));
      start = k + 1;
    }
  }
  std::string_view name = TrimOctets(parts[0]);
  if (const size_t dot = name.find('.'); dot != std::string_view::npos) name = name.substr(dot + 1);
  if (name.empty()) return std::nullopt;
  p.name = Upper(name);
  for (size_t k = 1; k < parts.size(); ++k) {
    std::string_view param = TrimOctets(parts[k]);
    if (param.empty()) continue;
    const size_t eq = param.find('=');
    if (eq == std::string_view::npos) {
      p.params.emplace_back(Upper(param), std::string());
    } else {
      std::string v(TrimOctets(param.substr(eq + 1)));
      std::erase(v, '"');
      p.params.emplace_back(Upper(TrimOctets(param.substr(0, eq))), v);
    }
  }
  return p;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

std::string DecodeQuotedPrintable(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '=' && i + 2 < s.size() + 0 && HexDigit(s[i + 1]) >= 0 && HexDigit(s[i + 2]) >= 0) {
      out.push_back(static_cast<char>(HexDigit(s[i + 1]) * 16 + HexDigit(s[i + 2])));
      i += 2;
    } else {
      out.push_back(s[i]);
    }
  }
  return out;
}

// Base64 with blanks tolerated; nothing for any other stray character or a cut group.
std::optional<std::string> DecodeBase64(std::string_view s, size_t limit) {
  std::string out;
  uint32_t acc = 0;
  int bits = 0;
  size_t pads = 0;
  for (char c : s) {
    int v;
    if (c >= 'A' && c <= 'Z') v = c - 'A';
    else if (c >= 'a' && c <= 'z') v = c - 'a' + 26;
    else if (c >= '0' && c <= '9') v = c - '0' + 52;
    else if (c == '+' || c == '-') v = 62;
    else if (c == '/' || c == '_') v = 63;
    else if (c == '=') {
      ++pads;
      continue;
    } else if (c == ' ' || c == '\t' || c == '\r' || c == '\n') continue;
    else return std::nullopt;
    if (pads) return std::nullopt;  // data after padding
    acc = (acc << 6) | static_cast<uint32_t>(v);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out.push_back(static_cast<char>((acc >> bits) & 0xFF));
      if (out.size() > limit) return std::nullopt;
    }
  }
  if (bits >= 6) return std::nullopt;  // a lone sextet carries no octet
  return out;
}

// The value's text: quoted-printable undone when asked, then decoded from its charset.
std::u16string DecodeText(const Property& p) {
  std::string octets = p.value;
  const auto enc = p.Param("ENCODING");
  if ((enc && Upper(*enc) == "QUOTED-PRINTABLE") || p.HasBare("QUOTED-PRINTABLE")) octets = DecodeQuotedPrintable(octets);
  const auto charset = p.Param("CHARSET");
  if (charset && Upper(*charset) != "UTF-8") {
    const int32_t cp = GetCPfromStr(FromUtf8(*charset));
    if (cp != 0) return ConvertCodePage(BytesToByteText(octets), cp, 1200);
  }
  return FromUtf8(octets);
}

// Splits a structured value at unescaped ';' and undoes the escapes in each part.
std::vector<std::u16string> Components(const std::u16string& text) {
  std::vector<std::u16string> parts(1);
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c == u'\\' && i + 1 < text.size()) {
      const char16_t n = text[++i];
      parts.back().push_back(n == u'n' || n == u'N' ? u'\n' : n);
    } else if (c == u';') {
      parts.emplace_back();
    } else {
      parts.back().push_back(c);
    }
  }
  return parts;
}

std::u16string TrimText(std::u16string s) {
  auto blank = [](char16_t c) { return c == u' ' || c == u'\t' || c == u'\r' || c == u'\n'; };
  while (!s.empty() && blank(s.back())) s.pop_back();
  size_t k = 0;
  while (k < s.size() && blank(s[k])) ++k;
  return s.substr(k);
}

std::u16string Unescaped(const Property& p) {
  std::u16string out;
  for (const auto& part : Components(DecodeText(p))) {
    if (!out.empty()) out += u';';
    out += part;
  }
  return TrimText(out);
}

// The logical lines of the file: CR LF or LF ends a line, a line that starts with a
// blank or a tab continues the one before, and a quoted-printable value ending in "="
// continues on the next line (as 2.1 exporters write them).
class LineReader {
 public:
  LineReader(std::string_view text, size_t maxLine) : text_(text), maxLine_(maxLine) {}
  // False at the end. `tooLong` tells that the line was cut at the limit.
  bool Next(std::string& line, bool& tooLong) {
    line.clear();
    tooLong = false;
    if (pos_ >= text_.size()) return false;
    Append(line, tooLong, RawLine());
    for (;;) {
      const bool softBreak = !line.empty() && line.back() == '=' && IsQuotedPrintable(line);
      if (pos_ < text_.size() && (text_[pos_] == ' ' || text_[pos_] == '\t')) {
        std::string_view next = RawLine();
        Append(line, tooLong, next.substr(1));
      } else if (softBreak && pos_ < text_.size()) {
        line.pop_back();
        Append(line, tooLong, RawLine());
      } else {
        return true;
      }
    }
  }

 private:
  std::string_view RawLine() {
    const size_t end = text_.find('\n', pos_);
    std::string_view raw = text_.substr(pos_, end == std::string_view::npos ? std::string_view::npos : end - pos_);
    pos_ = end == std::string_view::npos ? text_.size() : end + 1;
    if (!raw.empty() && raw.back() == '\r') raw.remove_suffix(1);
    return raw;
  }
  void Append(std::string& line, bool& tooLong, std::string_view piece) {
    if (line.size() + piece.size() > maxLine_) {
      tooLong = true;
      piece = piece.substr(0, maxLine_ > line.size() ? maxLine_ - line.size() : 0);
    }
    line.append(piece);
  }
  static bool IsQuotedPrintable(const std::string& line) {
    const size_t colon = line.find(':');
    return colon != std::string::npos && Upper(std::string_view(line).substr(0, colon)).find("QUOTED-PRINTABLE") !=
                                             std::string::npos;
  }

  std::string_view text_;
  size_t pos_ = 0;
  size_t maxLine_;
};

// Reads the picture of a PHOTO property; nothing for a link or an undecodable value.
std::optional<std::string> PhotoOctets(const Property& p, const Limits& limits, std::u16string& why) {
  const auto enc = p.Param("ENCODING");
  const bool b64 = (enc && (Upper(*enc) == "B" || Upper(*enc) == "BASE64")) || p.HasBare("BASE64") ||
                   p.HasBare("B");
  std::string_view value = TrimOctets(p.value);
  if (!b64) {
    if (!StartsWithNoCase(value, "DATA:")) return std::nullopt;  // a link: not fetched
    const size_t comma = value.find(',');
    if (comma == std::string_view::npos || Upper(value.substr(0, comma)).find(";BASE64") == std::string::npos) {
      why = u"the photo's data URL is not Base64";
      return std::nullopt;
    }
    value = value.substr(comma + 1);
  }
  auto octets = DecodeBase64(value, limits.maxPhotoOctets);
  if (!octets) why = u"the photo is not valid Base64 or is larger than " +
                     FromUtf8(std::to_string(limits.maxPhotoOctets >> 20)) + u" MB";
  return octets;
}

}  // namespace

std::u16string Card::DisplayName() const {
  if (!fullName.empty()) return fullName;
  std::u16string n = givenName;
  if (!familyName.empty()) n += (n.empty() ? u"" : u" ") + familyName;
  if (!n.empty()) return n;
  return emails.empty() ? std::u16string() : emails.front();
}

ReadResult Read(std::string_view octets, const Limits& limits) {
  ReadResult result;
  if (octets.size() > limits.maxInputOctets) {
    result.error = u"the file is larger than " + FromUtf8(std::to_string(limits.maxInputOctets >> 20)) + u" MB";
    return result;
  }
  if (octets.size() >= 3 && octets.substr(0, 3) == "\xEF\xBB\xBF") octets.remove_prefix(3);

  LineReader lines(octets, limits.maxLineOctets);
  std::string line;
  bool tooLong = false;
  int32_t number = 0;
  std::optional<Card> card;
  std::u16string why;  // set once the open card is bad
  size_t properties = 0;
  bool sawVersion = false;

  auto closeCard = [&](bool ended) {
    if (!card) return;
    if (why.empty() && !ended) why = u"the card has no END:VCARD";
    if (why.empty() && card->fullName.empty() && card->familyName.empty() && card->givenName.empty() &&
        card->emails.empty() && card->organization.empty())
      why = u"the card has no name and no address";
    if (why.empty()) result.cards.push_back(std::move(*card));
    else result.bad.push_back({card->number, why});
    card.reset();
  };

  while (lines.Next(line, tooLong)) {
    std::string_view trimmed = TrimOctets(line);
    if (trimmed.empty()) continue;
    if (StartsWithNoCase(trimmed, "BEGIN:VCARD") && TrimOctets(trimmed.substr(11)).empty()) {
      closeCard(false);
      if (static_cast<size_t>(number) >= limits.maxCards) {
        result.error = u"the file has more than " + FromUtf8(std::to_string(limits.maxCards)) + u" cards";
        return result;
      }
      card.emplace();
      card->number = ++number;
      why.clear();
      properties = 0;
      sawVersion = false;
      continue;
    }
    if (!card) continue;  // text between cards
    if (StartsWithNoCase(trimmed, "END:VCARD")) {
      if (!sawVersion && why.empty()) why = u"the card has no VERSION";
      closeCard(true);
      continue;
    }
    if (!why.empty()) continue;  // the rest of a bad card is passed over
    if (tooLong) {
      why = u"a line is longer than " + FromUtf8(std::to_string(limits.maxLineOctets >> 20)) + u" MB";
      continue;
    }
    if (++properties > limits.maxPropertiesPerCard) {
      why = u"the card has more than " + FromUtf8(std::to_string(limits.maxPropertiesPerCard)) + u" lines";
      continue;
    }
    const auto p = SplitProperty(line);
    if (!p) {
      why = u"a line has no \":\": " + FromUtf8(std::string(trimmed.substr(0, 40)));
      continue;
    }
    if (p->name == "VERSION") {
      const std::string v(TrimOctets(p->value));
      if (v != "2.1" && v != "3.0" && v != "4.0") why = u"unknown vCard version " + FromUtf8(v.substr(0, 10));
      sawVersion = true;
    } else if (p->name == "FN") {
      card->fullName = Unescaped(*p);
    } else if (p->name == "N") {
      const auto parts = Components(DecodeText(*p));
      card->familyName = TrimText(parts[0]);
      if (parts.size() > 1) card->givenName = TrimText(parts[1]);
    } else if (p->name == "EMAIL") {
      std::u16string address = Unescaped(*p);
      if (StartsWithNoCase(ToUtf8(address), "MAILTO:")) address = TrimText(address.substr(7));
      if (address.empty()) continue;
      const bool seen = std::any_of(card->emails.begin(), card->emails.end(), [&](const std::u16string& e) {
        return FromUtf8(Upper(ToUtf8(e))) == FromUtf8(Upper(ToUtf8(address)));
      });
      if (seen) continue;
      if (card->emails.size() >= limits.maxEmailsPerCard) {
        why = u"the card has more than " + FromUtf8(std::to_string(limits.maxEmailsPerCard)) + u" addresses";
        continue;
      }
      card->emails.push_back(address);
    } else if (p->name == "ORG") {
      const auto parts = Components(DecodeText(*p));
      card->organization = TrimText(parts[0]);
      card->unit.clear();
      for (size_t k = 1; k < parts.size(); ++k) {
        const std::u16string u = TrimText(parts[k]);
        if (u.empty()) continue;
        if (!card->unit.empty()) card->unit += u", ";
        card->unit += u;
      }
    } else if (p->name == "TITLE") {
      card->title = Unescaped(*p);
    } else if (p->name == "KIND" || p->name == "X-ABSHOWAS") {
      const std::string kind = Upper(TrimOctets(p->value));
      card->organizationCard = kind == "ORG" || kind == "ORGANIZATION" || kind == "COMPANY";
    } else if (p->name == "PHOTO") {
      std::u16string bad;
      auto photo = PhotoOctets(*p, limits, bad);
      if (!bad.empty()) why = bad;
      else if (photo) card->photo = std::move(*photo);
    }
  }
  closeCard(false);
  if (number == 0) result.error = u"no BEGIN:VCARD found: this is not a vCard file";
  return result;
}

}  // namespace ravelin::vcard
