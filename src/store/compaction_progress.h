// What the store tells the user while it compacts the mail database: a caption per step
// and the end. The store owns this interface; the compaction window implements it and a
// host installs it. Until then nothing is shown.
#pragma once

#include <memory>
#include <string>

namespace ravelin::store {

class CompactionProgress {
 public:
  virtual ~CompactionProgress() = default;
  // Shows what is being done now; the display appears with the first caption.
  virtual void ShowCaption(const std::u16string& caption) = 0;
  // The compaction is over; nothing when no caption was shown.
  virtual void Close() = 0;
};

// The installed display, a silent one when none is installed. Callers keep the pointer
// while they use it: a re-entrant host may install another meanwhile.
std::shared_ptr<CompactionProgress> CurrentCompactionProgress();
// Installs `progress` (nullptr: the silent one).
void SetCompactionProgress(std::shared_ptr<CompactionProgress> progress);

}  // namespace ravelin::store
