// Feeds arbitrary statement texts to the SQL dialect translator: it translates or refuses
// with the engine's error, never crashes or hangs.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/db/sql_dialect.h"
#include "runtime/errors.h"
#include "runtime/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::u16string text = ravelin::FromUtf8(std::string_view(reinterpret_cast<const char*>(data), size));
  try {
    (void)ravelin::dao::sql::Translate(text);
  } catch (const ravelin::Error&) {
  }
  return 0;
}
