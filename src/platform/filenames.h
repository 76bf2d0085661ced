// File names made from letter data: the clean-up that turns any text into one safe name,
// and the collision service that decides under which name a new file is written.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ravelin {

// `name` made safe as a single file name inside some folder: path separators, control
// characters and the characters other systems forbid (: * ? " < > |) become "_", blanks
// and dots at the end go, and the name is cut to at most 200 octets of UTF-8 without
// splitting a character. An empty result, "." and ".." become "_". So the name can never
// leave its folder.
std::u16string CleanFileName(std::u16string_view name);

// Decides under which name a new file goes into a folder. An existing file is always
// kept: the new one gets the first free numbered name, "name (2).ext", "name (3).ext"...
// The name is reserved by creating the file empty and exclusively, so two writers never
// share a name.
class CollisionHelper {
 public:
  virtual ~CollisionHelper() = default;

  // `name` and `ext` (without the dot; may be empty) come in cleaned or not and go out
  // as the names to write under. False when no file is to be written (no free name, a
  // folder that can't be created or written). FOFlags is accepted for callers that pass
  // the shell's flags; this service keeps existing files whatever they say.
  virtual bool Resolve(const std::u16string& folder, std::u16string& name, std::u16string& ext,
                       int32_t FOFlags);

  // Moves a file written under a provisional path to its final path. The default service
  // writes at the final path at once, so it only moves when the two differ and the final
  // one is free. True when the file stands at finalPath afterwards.
  virtual bool MoveToFinal(const std::u16string& writtenPath, const std::u16string& finalPath, int32_t FOFlags);

  // The path of name and ext in folder ("folder/name.ext", or "folder/name" without ext).
  static std::u16string PathOf(const std::u16string& folder, const std::u16string& name, const std::u16string& ext);
};

}  // namespace ravelin
