// Feeds arbitrary octets to the mbox splitter: every letter it hands over is no longer
// than the input, their number is the one counted without splitting, and nothing
// crashes, hangs or reads out of bounds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "store/mailbox.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view octets(reinterpret_cast<const char*>(data), size);
  int64_t handed = 0;
  const int64_t split = ravelin::store::SplitMbox(octets, [&](ravelin::store::MailboxLetter& l) {
    if (l.text.size() > size || l.number != handed + 1) std::abort();
    ++handed;
    return true;
  });
  if (split != handed || split != ravelin::store::CountMboxLetters(octets)) std::abort();
  return 0;
}
