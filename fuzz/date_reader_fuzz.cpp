// Feeds arbitrary Date header values to the mail date reader: never a crash, a hang or an
// out-of-bounds read, whatever the text.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/datetime.h"
#include "runtime/errors.h"
#include "runtime/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string text = ravelin::BytesToByteText(std::string_view(reinterpret_cast<const char*>(data), size));
  static const ravelin::DateTime reader;
  try {
    (void)reader.CovertDateTime(text);
  } catch (const ravelin::Error&) {
  }
  return 0;
}
