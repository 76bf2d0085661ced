// Feeds arbitrary octets to the message reader, and what it read back through the
// builder and the reader again: neither may crash, hang or read out of bounds. The same
// octets are read once more with every part kept as octets, which must give each part
// the same content and build the same letter.
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

  const ravelin::ReaderLimits usual = ravelin::CurrentReaderLimits();
  ravelin::ReaderLimits low = usual;
  low.octetPartUnits = 0;
  ravelin::SetReaderLimits(low);
  ravelin::mailHeader o;
  ravelin::GetSubItems(text, o);
  ravelin::SetReaderLimits(usual);
  if (o.attFiles.size() != h.attFiles.size()) __builtin_trap();
  for (size_t k = 0; k < h.attFiles.size(); ++k)
    if (o.attFiles[k].DataOctets() != h.attFiles[k].DataOctets()) __builtin_trap();
  if (size < 4096 && ravelin::CreateMessageBody(o) != ravelin::CreateMessageBody(h)) __builtin_trap();
  return 0;
}
