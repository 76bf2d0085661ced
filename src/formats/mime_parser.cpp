// The MIME reader. It walks the header block from its last line to its first, and a
// multipart body from its last part to its first, parsing each part as a small message.
//
// All positions below are 0-based offsets into views of the caller's text: no part, head
// or body is copied while the structure is found, so a message costs time and memory in
// proportion to its size (plus what its decoded parts occupy), however its parts nest.
#include "formats/mime_parser.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "formats/charsets.h"
#include "formats/codecs.h"
#include "formats/datetime.h"
#include "formats/large_buffers.h"
#include "runtime/resume.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin {

namespace {

using u16 = std::u16string;
using u16v = std::u16string_view;
constexpr size_t npos = u16v::npos;

// Byte text keeps every unit below 0x100, and the patterns searched here are ASCII, so a
// unit is found by looking for its low octet with the C library's vectorised byte search
// and checking that the hit is the low octet of a whole unit. Large Base64 bodies, where
// delimiters and terminators are looked for, are crossed at memory speed this way.
inline bool UnitAt(const char16_t* base, const unsigned char* hit, char16_t unit, size_t& index) {
  const auto offset = static_cast<size_t>(hit - reinterpret_cast<const unsigned char*>(base));
  if (offset % sizeof(char16_t) != 0) return false;
  index = offset / sizeof(char16_t);
  return base[index] == unit;
}

bool LowOctetIsSelf(char16_t unit) {
  // The search by low octet works for a unit whose high octet is zero on a little-endian
  // machine; anything else takes the plain loop.
  const char16_t probe = 1;
  unsigned char first = 0;
  std::memcpy(&first, &probe, 1);
  return first == 1 && unit < 0x100 && unit != 0;
}

// First occurrence of `pat` that starts at or after `from`, npos when none.
size_t FindFwd(u16v s, u16v pat, size_t from = 0) {
  if (pat.empty()) return from <= s.size() ? from : npos;
  if (from >= s.size() || s.size() - from < pat.size()) return npos;
  const char16_t first = pat[0];
  if (!LowOctetIsSelf(first)) return s.find(pat, from);
  const size_t lastStart = s.size() - pat.size();
  const auto* bytes = reinterpret_cast<const unsigned char*>(s.data());
  size_t i = from;
  while (i <= lastStart) {
    const auto* hit = static_cast<const unsigned char*>(
        std::memchr(bytes + i * 2, static_cast<int>(first), (lastStart - i + 1) * 2));
    if (!hit) return npos;
    size_t idx = 0;
    if (UnitAt(s.data(), hit, first, idx)) {
      if (s.compare(idx, pat.size(), pat) == 0) return idx;
      i = idx + 1;
    } else {
      i = static_cast<size_t>(hit - bytes) / 2 + 1;
    }
  }
  return npos;
}

// Where in `pat` a backward search looks for it from. Large bodies are mostly Base64 or
// text in lines, so a sign that is no letter, digit, line break, blank or dash ("." of a
// terminator, "=" or "_" of a boundary) stops the search far less often than the first
// unit; without one, the first unit.
size_t AnchorOf(u16v pat) {
  for (size_t k = pat.size(); k-- > 0;) {
    const char16_t c = pat[k];
    const bool common = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
                        c == u'\r' || c == u'\n' || c == u' ' || c == u'\t' || c == u'-' || c == u'+' || c == u'/';
    if (!common && LowOctetIsSelf(c)) return k;
  }
  return 0;
}

// Last occurrence of `pat` that starts at or before `lastStart`, npos when none.
size_t FindRev(u16v s, u16v pat, size_t lastStart = npos) {
  if (s.size() < pat.size()) return npos;
  lastStart = std::min(lastStart, s.size() - pat.size());
  if (pat.empty()) return lastStart;
  const size_t k = AnchorOf(pat);
  const char16_t anchor = pat[k];
  if (!LowOctetIsSelf(anchor)) return s.rfind(pat, lastStart);
  const auto* bytes = reinterpret_cast<const unsigned char*>(s.data());
  size_t count = lastStart + k + 1;  // units where the anchor of a match may stand: [k, count)
  while (count > k) {
    const auto* hit = static_cast<const unsigned char*>(memrchr(bytes, static_cast<int>(anchor), count * 2));
    if (!hit) return npos;
    size_t idx = 0;
    if (UnitAt(s.data(), hit, anchor, idx)) {
      if (idx >= k && s.compare(idx - k, pat.size(), pat) == 0) return idx - k;
      count = idx;
    } else {
      count = static_cast<size_t>(hit - bytes) / 2;
    }
  }
  return npos;
}

bool IsBlankOrTab(char16_t c) { return c == u' ' || c == u'\t'; }

// A header value as it stands behind its colon, made one line: tabs go wherever they
// are, carriage returns and character 0 go, and every line but the last is trimmed before
// the lines are joined without a separator. The last line keeps its leading blank, so
// "a\r\n b\r\n c" reads "ab c".
u16 UnfoldValue(u16v raw) {
  const u16 trimmed = Trim(raw);
  u16 out;
  out.reserve(trimmed.size());
  u16v rest(trimmed);
  while (true) {
    const size_t lf = rest.find(u'\n');
    const u16v line = lf == npos ? rest : rest.substr(0, lf);
    u16 clean;
    clean.reserve(line.size());
    for (char16_t c : line)
      if (c != u'\t' && c != u'\r' && c != 0) clean.push_back(c);
    if (lf == npos) {
      out += clean;
      break;
    }
    out += Trim(clean);
    rest.remove_prefix(lf + 1);
  }
  return out;
}

ReaderLimits& LimitsSlot() {
  static ReaderLimits limits;
  return limits;
}

// What one reading of a message may still spend on splitting a multipart body again for a
// repeated Content-Type field. Each field splits the body as it is met; the first split
// of each head is always made, a repeated one only while this lasts, so that a part
// repeating its Content-Type at every level of nesting can't multiply the work.
struct Walk {
  int64_t repeatBudget = 0;
  static Walk For(size_t textSize) { return Walk{2 * static_cast<int64_t>(textSize) + 65536}; }
};

void ParseMessageAt(u16v text, mailHeader& mh, int depth, Walk& walk);

void ExtractPartsAt(u16v body, mailHeader& mh, int depth, Walk& walk) {
  const u16 delim = u"--" + mh.boundary;
  const u16 closing = mh.boundary + u"--";
  const size_t dl = delim.size();

  // Positions from here on are 1-based, as the walk counts them; `end` is where the part
  // under construction stops (its CR LF before the next delimiter is left out).
  int64_t limit = body.empty() ? 1 : static_cast<int64_t>(body.size());
  bool haveEnd = false;
  int64_t end = 0;
  if (FindRev(body, closing) == npos) {
    // No closing delimiter: the last part runs to the end of the text.
    haveEnd = true;
    end = static_cast<int64_t>(body.size()) + 3;
  }

  size_t parts = 0;
  while (limit >= 1 && parts < CurrentReaderLimits().maxParts) {
    // Last "--boundary" that ends at or before the limit.
    if (limit < static_cast<int64_t>(dl)) break;
    const size_t found = FindRev(body, delim, static_cast<size_t>(limit) - dl);
    if (found == npos) break;  // the preamble is not read
    const int64_t pos = static_cast<int64_t>(found) + 1;
    limit = pos - 1;
    if (!haveEnd) {
      haveEnd = true;
      end = pos;
      continue;
    }
    // The part starts behind the first LF after the delimiter. An LF at or beyond the
    // part's end (or none at all) leaves it empty; looking no further keeps a line full
    // of delimiters from being scanned once per delimiter.
    u16v part;
    const size_t searchFrom = static_cast<size_t>(pos - 1) + dl;
    const size_t searchEnd = std::min(body.size(), static_cast<size_t>(std::max<int64_t>(end - 1, 0)));
    if (searchFrom < searchEnd) {
      const size_t lf = body.substr(0, searchEnd).find(u'\n', searchFrom);
      if (lf != npos) {
        const int64_t start = static_cast<int64_t>(lf) + 2;
        // The CR LF ahead of the next delimiter is left out. A file stored with bare line
        // feeds has one unit there, and cutting two would eat the text's last character.
        const size_t before = static_cast<size_t>(end - 2);  // 0-based unit just before it
        const bool bareLf = end >= 2 && before < body.size() && body[before] == u'\n' &&
                            (before == 0 || body[before - 1] != u'\r');
        const int64_t length = end - start - (bareLf ? 1 : 2);
        if (length >= 1) part = body.substr(static_cast<size_t>(start - 1), static_cast<size_t>(length));
      }
    }
    end = pos;
    ++parts;

    mailHeader local;
    ParseMessageAt(part, local, depth + 1, walk);
    if (!local.Message.empty()) {
      if (local.FileName.empty()) {
        mh.Message = std::move(local.Message);
      } else {
        // A named text part is kept as octets under a charset label that says what they
        // are, like every other part: in its own charset when that holds the text (so the
        // octets are the ones the part came with), else in the ANSI code page or UTF-8.
        // Written out and read again, it gives the same text.
        AttachFile f;
        const int32_t own = GetCPCode(local.msgCodePage);
        f.fData = EncodeTextForLabel(local.Message, own, f.ContentTransferEncoding);
        if (own != 0 && GetCPCode(f.ContentTransferEncoding) == own) f.ContentTransferEncoding = local.msgCodePage;
        f.ftype = u"text";
        f.fsubtype = u"plain";
        f.fname = local.FileName;
        f.Content_ID = local.Content_ID;
        f.ContentDisposition = local.Content_Disposition;
        mh.attFiles.push_back(std::move(f));
      }
    }
    for (auto& f : local.attFiles) mh.attFiles.push_back(std::move(f));
  }
}

// Stores one decoded header value by its (lower-case) field name; unknown names are
// dropped. A value whose decoding fails leaves its field as it was.
void StoreField(ResumeNext& rn, const u16& name, const u16& value, mailHeader& mh) {
  u16* field = nullptr;
  if (name == u"from") field = &mh.From;
  else if (name == u"sender") field = &mh.Sender;
  else if (name == u"to") field = &mh.to;
  else if (name == u"return-path") field = &mh.return_path;
  else if (name == u"reply-to") field = &mh.reply_to;
  else if (name == u"cc") field = &mh.cc;
  else if (name == u"bcc") field = &mh.bcc;
  else if (name == u"message-id") field = &mh.message_id;
  else if (name == u"in-reply-to") field = &mh.in_reply_to;
  else if (name == u"references") field = &mh.references;
  else if (name == u"keywords") field = &mh.keywords;
  else if (name == u"subject") field = &mh.Subject;
  else if (name == u"comments") field = &mh.comments;
  else if (name == u"encrypted") field = &mh.encrypted;
  else if (name == u"x-mailer") field = &mh.X_Mailer;
  else if (name == u"x-spam") field = &mh.X_Spam;
  else if (name == u"content-transfer-encoding") field = &mh.Content_Transfer_Encoding;
  else if (name == u"content-id") field = &mh.Content_ID;
  if (field) rn([&] { *field = DecodeHeaderValue(value); });
}

// Head and body meet at the first blank line, CR LF CR LF or else LF LF. Without one the
// whole text is head. `bodyStart` is the offset of the body (the text's length if none).
void SplitHeadBody(u16v text, u16v& head, u16v& body, size_t& bodyStart) {
  head = text;
  body = {};
  bodyStart = text.size();
  size_t p = FindFwd(text, u"\r\n\r\n");
  size_t sepLen = 4;
  if (p == npos) {
    p = FindFwd(text, u"\n\n");
    sepLen = 2;
  }
  if (p != npos) {
    head = text.substr(0, p);
    bodyStart = p + sepLen;
    body = text.substr(bodyStart);
  }
}

void ParseHeadAndBody(u16v head, u16v body, mailHeader& mh, int depth, Walk& walk);

void ParseMessageAt(u16v text, mailHeader& mh, int depth, Walk& walk) {
  u16v head, body;
  size_t bodyStart = 0;
  SplitHeadBody(text, head, body, bodyStart);
  ParseHeadAndBody(head, body, mh, depth, walk);
}

// The octets of byte text; false (with `octets` partly filled) at a unit above U+00FF.
bool NarrowByteText(u16v text, std::string& octets) {
  octets.resize(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] > 0xFF) return false;
    octets[i] = static_cast<char>(text[i]);
  }
  return true;
}

bool HasHighOctet(u16v s) {
  for (char16_t c : s)
    if (c >= 0x80) return true;
  return false;
}

// The header walk and the storing of the body; `msgBody` is the caller's business.
void ParseHeadAndBody(u16v head, u16v body, mailHeader& mh, int depth, Walk& walk) {
  ResumeNext rn;
  u16 partName, dispositionName;
  int splits = 0;  // multipart Content-Type fields whose split was made
  bool unsplit = false;  // one that could not be made
  if (head.size() > CurrentReaderLimits().maxHeaderUnits) head = head.substr(0, CurrentReaderLimits().maxHeaderUnits);

  // The fields, from the last one up. `head` shrinks to what stands before the field just
  // read, so the walk reads every character a bounded number of times.
  while (!head.empty()) {
    size_t c = head.rfind(u':');
    if (c == npos) break;
    size_t n = c == 0 ? npos : head.rfind(u'\n', c - 1);
    // A colon on a continuation line (one that starts with a blank or tab) belongs to the
    // value of the field above it.
    while (n != npos && n + 1 < c && IsBlankOrTab(head[n + 1])) {
      c = n == 0 ? npos : head.rfind(u':', n - 1);
      if (c == npos) break;
      n = c == 0 ? npos : head.rfind(u'\n', c - 1);
    }
    if (c == npos) break;

    u16v rawName;
    if (n != npos) {
      c = head.find(u':', n + 1);
      rawName = head.substr(n + 1, c - n - 1);
    } else {
      c = head.find(u':');
      rawName = head.substr(0, c);
    }
    const u16 name = LCase(Trim(rawName));
    u16 value = UnfoldValue(head.substr(c + 1));
    // Raw 8-bit text outside encoded words is in the ANSI code page. Encoded words are
    // ASCII, which every such code page keeps, so they decode as before.
    if (HasHighOctet(value)) value = ConvertCodePage(value, 0, kCodePageUtf16);

    if (name == u"received") {
      // dropped
    } else if (name == u"date") {
      rn([&] { mh.strDate = DateTime{}.CovertDateTime(DecodeHeaderValue(value)); });
    } else if (name == u"content-type") {
      u16 decoded;
      rn([&] {
        decoded = DecodeHeaderValue(value);
        mh.Content_Type = decoded;
      });
      rn([&] {
        const u16 whole = mh.Content_Type;
        SplitContentType(whole, mh.Content_Type, mh.Content_subtype);
      });
      rn([&] { mh.msgCodePage = GetHeaderParam(decoded, u"charset"); });
      if (TextEquals(mh.Content_Type, u"multipart")) {
        // Each multipart field splits the body at once, by its own boundary; a repeated
        // field adds its parts behind those of the field below it.
        rn([&] { mh.boundary = GetHeaderParam(decoded, u"boundary"); });
        const int64_t cost = std::max<int64_t>(1, static_cast<int64_t>(body.size()));
        if (depth >= CurrentReaderLimits().maxDepth || (splits > 0 && walk.repeatBudget < cost)) {
          unsplit = true;
        } else {
          if (splits > 0) walk.repeatBudget -= cost;
          ++splits;
          rn([&] { ExtractPartsAt(body, mh, depth, walk); });
        }
      } else {
        rn([&] { partName = GetHeaderParam(decoded, u"name"); });
      }
    } else if (name == u"content-disposition") {
      rn([&] {
        const u16 decoded = DecodeHeaderValue(value);
        dispositionName = GetHeaderParam(decoded, u"filename");
        const int32_t semi = InStr(decoded, u";");
        mh.Content_Disposition = semi > 0 ? Trim(Left(decoded, semi - 1)) : decoded;
      });
    } else if (name == u"content-location") {
      rn([&] { mh.ContentLocation = Trim(DecodeHeaderValue(value)); });
    } else {
      StoreField(rn, name, value, mh);
    }

    // A head that begins with its line feed has nothing left above this field.
    if (n == npos || n == 0) break;
    head = head.substr(0, n);
    if (!head.empty() && head.back() == u'\r') head.remove_suffix(1);
  }

  // A multipart nested too deep to be split is kept whole, as one part.
  const u16& name = dispositionName.empty() ? partName : dispositionName;
  if (!TextEquals(mh.Content_Type, u"multipart") || (unsplit && splits == 0)) rn([&] { StorePart(mh, name, body); });
  // Without a Content-Type the body is text with no charset: read in the ANSI code page.
  if (mh.Content_Type.empty()) rn([&] { mh.Message = StripBOM(ConvertCodePage(body, 0, kCodePageUtf16)); });
}

}  // namespace

const ReaderLimits& CurrentReaderLimits() { return LimitsSlot(); }
void SetReaderLimits(const ReaderLimits& limits) { LimitsSlot() = limits; }

void CutTerminator(std::u16string& Text) {
  const size_t p = FindRev(Text, u"\r\n\r\n.");
  if (p != npos) Text.resize(p);
}

void GetSubItems(std::u16string_view Text, mailHeader& mheader) {
  ResumeNext rn;
  const size_t p = FindRev(Text, u"\r\n\r\n.");
  if (p != npos) Text = Text.substr(0, p);
  rn([&] { ParseMessage(Text, mheader); });
}

void GetSubItems(std::u16string&& Text, mailHeader& mheader) {
  ResumeNext rn;
  rn([&] {
    CutTerminator(Text);
    u16v head, body;
    size_t bodyStart = 0;
    SplitHeadBody(Text, head, body, bodyStart);
    Walk walk = Walk::For(Text.size());
    if (body.empty()) {
      ParseHeadAndBody(head, body, mheader, 0, walk);
      return;
    }
    // The body keeps the caller's buffer: the head is set aside, the body moved to the
    // front in place and the buffer handed to msgBody, so a large message is never
    // copied into fresh memory.
    const u16 headCopy(head);
    Text.erase(0, bodyStart);
    mheader.msgBody = std::move(Text);
    ParseHeadAndBody(headCopy, mheader.msgBody, mheader, 0, walk);
  });
}

void ParseMessage(std::u16string_view Text, mailHeader& mheader) {
  ResumeNext rn;
  rn([&] {
    u16v head, body;
    size_t bodyStart = 0;
    SplitHeadBody(Text, head, body, bodyStart);
    rn([&] {
      detail::ReserveLarge(mheader.msgBody, body.size());
      mheader.msgBody.assign(body);
    });
    Walk walk = Walk::For(Text.size());
    ParseHeadAndBody(head, body, mheader, 0, walk);
  });
}

void ExtractParts(std::u16string_view msgBody, mailHeader& mheader) {
  ResumeNext rn;
  Walk walk = Walk::For(msgBody.size());
  rn([&] { ExtractPartsAt(msgBody, mheader, 0, walk); });
}

void SplitContentType(std::u16string_view value, std::u16string& type, std::u16string& subtype) {
  const u16 v = Trim(value);
  const size_t s = v.find(u'/');
  if (s != npos) type = Trim(u16v(v).substr(0, s));
  const size_t e = v.find(u';', s == npos ? 0 : s + 1);
  if (e != npos && s != npos) {
    subtype = v.substr(s + 1, e - s - 1);
  } else if (e != npos) {
    subtype.clear();
    type = Trim(u16v(v).substr(0, e));
  } else if (s != npos) {
    subtype = v.substr(s + 1);
  } else {
    type = v;
    subtype.clear();
  }
}

std::u16string GetHeaderParam(std::u16string_view value, std::u16string_view name) {
  ResumeNext rn;
  u16 result;
  rn([&] {
    const u16 key = u16(name) + u"=";
    const int32_t p = InStr(value, key, Compare::Text);
    if (p == 0) return;
    const size_t from = static_cast<size_t>(p - 1);
    const size_t q = value.find(u';', from);
    const size_t valueStart = from + key.size();
    const size_t valueEnd = q == npos ? value.size() : q;
    u16 v = Trim(value.substr(valueStart, valueEnd > valueStart ? valueEnd - valueStart : 0));
    const size_t q1 = v.find(u'"');
    if (q1 != npos) {
      v.erase(0, q1 + 1);
      const size_t q2 = v.rfind(u'"');
      if (q2 != npos) v.resize(q2);
      v = Trim(v);
    }
    result = std::move(v);
  });
  return result;
}

void StorePart(mailHeader& mheader, const std::u16string& name, std::u16string_view body) {
  // A decoder that fails keeps the body as it stands rather than losing the part.
  ResumeNext rn;
  u16 t = mheader.Content_Type;
  if (!mheader.Content_subtype.empty()) t += u"/" + mheader.Content_subtype;

  AttachFile f;
  f.fname = !name.empty() ? name : mheader.Content_ID;
  f.ftype = mheader.Content_Type;
  f.fsubtype = mheader.Content_subtype;
  f.Content_ID = mheader.Content_ID;
  f.ContentDisposition = mheader.Content_Disposition;
  f.ContentLocation = mheader.ContentLocation;
  f.ContentTransferEncoding = mheader.msgCodePage;

  const u16 cte = LCase(mheader.Content_Transfer_Encoding);
  // A large part goes straight to octets: Base64 and quoted-printable are decoded into
  // them, a part without a transfer encoding narrowed. A body that is no byte text, or
  // that the decoders refuse, takes the way below.
  if (body.size() >= CurrentReaderLimits().octetPartUnits && !TextEquals(t, u"text/plain")) {
    bool held = false;
    if (cte == u"base64") rn([&] { held = Base64ToOctets(body, f.fOctets); });
    else if (cte == u"quoted-printable") rn([&] { held = QuotedPrintableToOctets(body, f.fOctets); });
    else held = NarrowByteText(body, f.fOctets);
    if (held) {
      mheader.attFiles.push_back(std::move(f));
      return;
    }
    std::string().swap(f.fOctets);
  }

  u16 data;
  bool decoded = false;
  if (cte == u"quoted-printable") {
    rn([&] {
      data = Decode_quoted_printable(body);
      decoded = true;
    });
  } else if (cte == u"base64") {
    rn([&] {
      data = Base64ToAscii(body);
      decoded = true;
    });
  }
  if (!decoded) data.assign(body);

  if (TextEquals(t, u"text/plain")) {
    rn([&] {
      const int32_t code = GetCPCode(mheader.msgCodePage);
      mheader.Message = StripBOM(ConvertCodePage(data, code, 1200));
    });
    mheader.FileName = name;
    return;
  }
  f.fData = std::move(data);
  mheader.attFiles.push_back(std::move(f));
}

std::u16string AttachFile::DataByteText() const { return HoldsOctets() ? BytesToByteText(fOctets) : fData; }

std::string AttachFile::DataOctets() const { return HoldsOctets() ? fOctets : ByteTextToBytes(fData); }

int32_t GetUboundAttFiles(const mailHeader& mheader) { return static_cast<int32_t>(mheader.attFiles.size()); }

std::u16string GetName(std::u16string_view strEmail) {
  const size_t lt = strEmail.find(u'<');
  if (lt == npos) return {};
  u16 before(strEmail.substr(0, lt));
  std::erase(before, u'"');
  return Trim(before);
}

std::u16string GetEmail(std::u16string_view str) {
  const size_t lt = str.find(u'<');
  const size_t gt = str.rfind(u'>');
  if (lt != npos && gt != npos && gt > lt) return Trim(str.substr(lt + 1, gt - lt - 1));
  return Trim(str);
}

}  // namespace ravelin
