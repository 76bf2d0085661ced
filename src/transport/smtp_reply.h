// Cutting the octets a server sends into whole replies: lines up to the one whose fourth
// character is a blank (or that is shorter than four characters), each ended by a line
// feed. A reply longer than the limit is cut off and handed on as it stands.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace ravelin::transport {

class ReplyReader {
 public:
  explicit ReplyReader(size_t limit = size_t{4} << 20) : limit_(limit) {}

  // Adds arrived byte text.
  void Add(std::u16string_view data) { buffer_.append(data); }
  // The next whole reply with its line ends, or nothing while it is incomplete. `tooLong`
  // says the reply was cut at the limit.
  std::optional<std::u16string> Next(bool* tooLong = nullptr);
  void Clear() {
    buffer_.clear();
    scanned_ = 0;
  }

 private:
  std::u16string buffer_;
  size_t scanned_ = 0;  // the buffer up to here holds only continuation lines
  size_t limit_;
};

}  // namespace ravelin::transport
