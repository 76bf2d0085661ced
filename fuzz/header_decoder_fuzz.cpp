// Feeds arbitrary header values to the encoded-word decoder: it may refuse a value with
// its own error, never crash, hang or read out of bounds.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/charsets.h"
#include "runtime/errors.h"
#include "runtime/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string text = ravelin::BytesToByteText(std::string_view(reinterpret_cast<const char*>(data), size));
  try {
    (void)ravelin::DecodeHeaderValue(text);
  } catch (const ravelin::Error&) {
    // The decoder raises its documented failure for a lone "=?"; that is an answer.
  }
  return 0;
}
