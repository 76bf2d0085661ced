// The verdict on a file before it is read as a mail message (see message_check.h).
#include "message_check.h"

#include <cstdio>

#include "platform/filesystem.h"

namespace ravelin::cli {

std::string NotAMessage(const std::u16string& path) {
  if (!fs::FileExists(path)) return "no such file";
  std::string head;
  try {
    if (fs::FileSize(path) == 0) return "empty file";
    FILE* f = std::fopen(fs::NativePath(path).c_str(), "rb");
    if (!f) return "cannot read the file";
    char buf[1024];
    const size_t n = std::fread(buf, 1, sizeof buf, f);
    std::fclose(f);
    head.assign(buf, n);
  } catch (...) {
    return "cannot read the file";
  }
  size_t i = 0;
  if (head.rfind("\xEF\xBB\xBF", 0) == 0) i = 3;
  size_t nameLen = 0;
  while (i < head.size() && head[i] != ':') {
    const unsigned char c = static_cast<unsigned char>(head[i]);
    if (c <= 32 || c >= 127) return "not a mail message (no header field at the start)";
    ++i, ++nameLen;
  }
  if (nameLen == 0 || i >= head.size()) return "not a mail message (no header field at the start)";
  return {};
}

}  // namespace ravelin::cli
