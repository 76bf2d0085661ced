// Feeds arbitrary octets to the message reader, and what it read back through the
// builder and the reader again: neither may crash, hang or read out of bounds.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/message_builder.h"
#include "formats/mime_parser.h"
#include "runtime/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string text = ravelin::BytesToByteText(std::string_view(reinterpret_cast<const char*>(data), size));
  ravelin::mailHeader h;
  ravelin::GetSubItems(text, h);
  if (size < 4096) {
    ravelin::mailHeader again;
    ravelin::GetSubItems(ravelin::CreateMessageBody(h), again);
  }
  return 0;
}
