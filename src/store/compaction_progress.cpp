// The installed compaction display (see compaction_progress.h).
#include "store/compaction_progress.h"

namespace ravelin::store {

namespace {

class Silent : public CompactionProgress {
 public:
  void ShowCaption(const std::u16string&) override {}
  void Close() override {}
};

std::shared_ptr<CompactionProgress>& Slot() {
  static std::shared_ptr<CompactionProgress> progress = std::make_shared<Silent>();
  return progress;
}

}  // namespace

std::shared_ptr<CompactionProgress> CurrentCompactionProgress() { return Slot(); }

void SetCompactionProgress(std::shared_ptr<CompactionProgress> progress) {
  Slot() = progress ? std::move(progress) : std::make_shared<Silent>();
}

}  // namespace ravelin::store
