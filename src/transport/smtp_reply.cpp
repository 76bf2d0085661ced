// Whole SMTP replies out of the arriving octets.
#include "transport/smtp_reply.h"

namespace ravelin::transport {

std::optional<std::u16string> ReplyReader::Next(bool* tooLong) {
  if (tooLong) *tooLong = false;
  size_t pos = scanned_;
  while (true) {
    const size_t lf = buffer_.find(u'\n', pos);
    if (lf == std::u16string::npos) break;
    const size_t lineLength = lf - pos;
    // "250-..." continues; "250 ...", "250" and anything malformed end the reply.
    const bool last = lineLength < 4 || buffer_[pos + 3] != u'-';
    pos = lf + 1;
    if (last) {
      std::u16string reply = buffer_.substr(0, pos);
      buffer_.erase(0, pos);
      scanned_ = 0;
      return reply;
    }
  }
  scanned_ = pos;
  if (buffer_.size() > limit_) {
    if (tooLong) *tooLong = true;
    std::u16string reply = buffer_.substr(0, limit_);
    Clear();
    return reply;
  }
  return std::nullopt;
}

}  // namespace ravelin::transport
