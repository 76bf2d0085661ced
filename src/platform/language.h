// The language object of the host: looks up a localised text by module, section, key and
// default. None is installed by default, so every text is its English default.
#pragma once

#include <memory>
#include <string>

namespace ravelin {

class LngRes {
 public:
  virtual ~LngRes() = default;
  virtual std::u16string GetMUIString(const std::u16string& module, const std::u16string& section,
                                      const std::u16string& key, const std::u16string& defaultText) = 0;
};

// The installed language object, or nullptr when there is none.
std::shared_ptr<LngRes> CurrentLanguage();
void SetLanguage(std::shared_ptr<LngRes> lng);

}  // namespace ravelin
