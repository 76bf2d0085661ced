// frmCompress and its views (see frm_compress.h).
#include "windows/frm_compress.h"

#include "platform/event_loop.h"
#include "runtime/text.h"

namespace ravelin {

namespace {
std::shared_ptr<CompressView>& ViewSlot() {
  static std::shared_ptr<CompressView> view = std::make_shared<CompressView>();
  return view;
}
}  // namespace

void CompressRecorder::Show() { events.push_back(u"show"); }
void CompressRecorder::SetCaption(const std::u16string& caption) { events.push_back(u"caption:" + caption); }
void CompressRecorder::Unload() { events.push_back(u"unload"); }

std::vector<std::u16string> CompressRecorder::Captions() const {
  std::vector<std::u16string> out;
  const std::u16string prefix = u"caption:";
  for (const auto& e : events)
    if (e.compare(0, prefix.size(), prefix) == 0) out.push_back(e.substr(prefix.size()));
  return out;
}

void CompressPrinter::SetCaption(const std::u16string& caption) { out_ << ToUtf8(caption) << std::endl; }

void frmCompress::ShowCaption(const std::u16string& caption) {
  // Hold the view while calling it: a re-entrant host may install another one.
  std::shared_ptr<CompressView> view = ViewSlot();
  if (!loaded_) {
    loaded_ = true;
    view->Show();
  }
  caption_ = caption;
  view->SetCaption(caption);
  loop::PumpOnce();
}

void frmCompress::Unload() {
  if (!loaded_) return;
  loaded_ = false;
  caption_.clear();
  std::shared_ptr<CompressView> view = ViewSlot();
  view->Unload();
}

frmCompress& DefaultCompressWindow() {
  static frmCompress window;
  return window;
}

void InstallCompressWindow() {
  // The window lives for the whole process; the store gets a pointer that owns nothing.
  store::SetCompactionProgress(std::shared_ptr<store::CompactionProgress>(&DefaultCompressWindow(), [](auto*) {}));
}

CompressView& CurrentCompressView() { return *ViewSlot(); }

void SetCompressView(std::shared_ptr<CompressView> view) {
  ViewSlot() = view ? std::move(view) : std::make_shared<CompressView>();
}

}  // namespace ravelin
