// The installed language object.
#include "platform/language.h"

namespace ravelin {
namespace {
std::shared_ptr<LngRes>& Slot() {
  static std::shared_ptr<LngRes> current;
  return current;
}
}  // namespace

std::shared_ptr<LngRes> CurrentLanguage() { return Slot(); }
void SetLanguage(std::shared_ptr<LngRes> lng) { Slot() = std::move(lng); }

}  // namespace ravelin
