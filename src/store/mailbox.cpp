// The mbox splitter and the Maildir walk.
#include "store/mailbox.h"

#include <algorithm>
#include <vector>

#include "platform/filesystem.h"
#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin::store {

namespace {

constexpr size_t npos = std::string_view::npos;

// The line that starts at `at`, without its line end; `next` gets the start of the line
// after it (the size of the text at the end).
std::string_view LineAt(std::string_view s, size_t at, size_t& next) {
  const size_t lf = s.find('\n', at);
  next = lf == npos ? s.size() : lf + 1;
  size_t end = lf == npos ? s.size() : lf;
  if (end > at && s[end - 1] == '\r') --end;
  return s.substr(at, end - at);
}

// "Name: value" with a name of printable characters; blanks may stand before the colon
// (the old "From  :" form).
bool IsHeaderLine(std::string_view line) {
  size_t i = 0;
  while (i < line.size() && line[i] > ' ' && line[i] < 127 && line[i] != ':') ++i;
  if (i == 0) return false;
  while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
  return i < line.size() && line[i] == ':';
}

bool StartsWith(std::string_view s, std::string_view p) { return s.substr(0, p.size()) == p; }

// A "From " line that opens a letter: not itself a header field (an old-style "From  :"
// header is one), and the line behind it is one.
bool IsSeparator(std::string_view s, size_t at) {
  size_t next = 0;
  const std::string_view line = LineAt(s, at, next);
  if (!StartsWith(line, "From ") || IsHeaderLine(line)) return false;
  size_t after = 0;
  return next < s.size() && IsHeaderLine(LineAt(s, next, after));
}

// The letter between its "From " line and the next one, unquoted, as byte text.
std::u16string LetterText(std::string_view body) {
  // The blank line ahead of the next "From " line belongs to the separator.
  if (body.size() >= 4 && body.substr(body.size() - 4) == "\r\n\r\n") body.remove_suffix(2);
  else if (body.size() >= 2 && body.substr(body.size() - 2) == "\n\n") body.remove_suffix(1);
  std::string out;
  out.reserve(body.size());
  size_t at = 0;
  while (at < body.size()) {
    size_t next = 0;
    LineAt(body, at, next);
    size_t q = at;
    while (q < next && body[q] == '>') ++q;
    // ">From " and ">>From ": one ">" less.
    const bool quoted = q > at && StartsWith(body.substr(q, next - q), "From ");
    out.append(body.substr(quoted ? at + 1 : at, next - (quoted ? at + 1 : at)));
    at = next;
  }
  return BytesToByteText(out);
}

}  // namespace

bool LooksLikeMbox(std::string_view head) { return IsSeparator(head, 0); }

int64_t SplitMbox(std::string_view octets, const MailboxSink& sink) {
  // Walk the lines once, noting where each letter's "From " line stands.
  int64_t count = 0, lineNo = 1, startLine = 0;
  size_t at = 0, start = npos, bodyStart = 0;
  const auto deliver = [&](size_t end) {
    MailboxLetter letter;
    letter.text = LetterText(octets.substr(bodyStart, end - bodyStart));
    letter.number = ++count;
    letter.line = startLine;
    return sink(letter);
  };
  while (at < octets.size()) {
    size_t next = 0;
    LineAt(octets, at, next);
    if (octets[at] == 'F' && IsSeparator(octets, at)) {
      if (start != npos && !deliver(at)) return count;
      start = at;
      bodyStart = next;
      startLine = lineNo;
    }
    at = next;
    ++lineNo;
  }
  if (start != npos) deliver(octets.size());
  return count;
}

int64_t CountMboxLetters(std::string_view octets) {
  int64_t count = 0;
  for (size_t at = 0; at < octets.size();) {
    size_t next = 0;
    LineAt(octets, at, next);
    if (octets[at] == 'F' && IsSeparator(octets, at)) ++count;
    at = next;
  }
  return count;
}

int64_t ReadMbox(const std::u16string& path, const MailboxSink& sink) {
  const std::string octets = fs::ReadAll(path);
  return SplitMbox(octets, sink);
}

bool IsMaildir(const std::u16string& path) {
  return fs::FolderExists(fs::JoinPath(path, u"cur")) || fs::FolderExists(fs::JoinPath(path, u"new"));
}

int64_t ReadMaildir(const std::u16string& path, const MailboxSink& sink) {
  if (!IsMaildir(path)) RaiseError(errnum::kPathNotFound);
  int64_t count = 0;
  for (const char16_t* sub : {u"new", u"cur"}) {
    const std::u16string folder = fs::JoinPath(path, sub);
    if (!fs::FolderExists(folder)) continue;
    std::vector<std::u16string> files = fs::ListFiles(folder);
    std::sort(files.begin(), files.end());
    for (const std::u16string& file : files) {
      const std::u16string name = fs::FileName(file);
      if (name.empty() || name[0] == u'.') continue;
      MailboxLetter letter;
      letter.number = ++count;
      letter.file = file;
      if (sub[0] == u'c') {
        // ":2," opens the flags; "!2," where a file system allows no colon in a name.
        size_t info = name.rfind(u":2,");
        if (info == std::u16string::npos) info = name.rfind(u"!2,");
        letter.seen = info != std::u16string::npos && name.find(u'S', info + 3) != std::u16string::npos;
      }
      try {
        letter.text = BytesToByteText(fs::ReadAll(file));
      } catch (const Error&) {
        letter.text.clear();
      }
      if (!sink(letter)) return count;
    }
  }
  return count;
}

}  // namespace ravelin::store
