// Feeds arbitrary octets to the vCard reader, with small limits so that every limit is
// reached: never a crash, a hang or an out-of-bounds read, whatever the file.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "formats/vcard.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view octets(reinterpret_cast<const char*>(data), size);
  ravelin::vcard::Limits small;
  small.maxCards = 8;
  small.maxLineOctets = 512;
  small.maxPropertiesPerCard = 16;
  small.maxEmailsPerCard = 4;
  small.maxPhotoOctets = 256;
  (void)ravelin::vcard::Read(octets, small);
  (void)ravelin::vcard::Read(octets);
  return 0;
}
