// The verdict on octets before they are read as a mail message (see message_check.h).
#include "message_check.h"

#include <algorithm>
#include <cstdio>

#include "platform/filesystem.h"

namespace ravelin::cli {

namespace {
constexpr size_t kLook = 8192;  // a message shows what it is within its first octets
}  // namespace

// A header block is text, so a character 0 ahead of the first blank line tells binary
// data; behind it, a part sent as binary may hold any octet.
std::string NotMail(std::string_view octets) {
  if (octets.empty()) return "empty";
  std::string_view head = octets.substr(0, kLook);
  const size_t blank = std::min(head.find("\n\n"), head.find("\r\n\r\n"));
  if (blank != std::string_view::npos) head = head.substr(0, blank);
  if (head.find('\0') != std::string_view::npos) return "binary data, not a mail message";
  return {};
}

std::string NotAMessage(const std::u16string& path) {
  if (!fs::FileExists(path)) return "no such file";
  std::string head;
  try {
    if (fs::FileSize(path) == 0) return "empty file";
    FILE* f = std::fopen(fs::NativePath(path).c_str(), "rb");
    if (!f) return "cannot read the file";
    head.resize(kLook);
    head.resize(std::fread(head.data(), 1, head.size(), f));
    std::fclose(f);
  } catch (...) {
    return "cannot read the file";
  }
  if (head.empty()) return "cannot read the file";
  const std::string why = NotMail(head);
  return why.empty() ? why : why + " (the file)";
}

}  // namespace ravelin::cli
