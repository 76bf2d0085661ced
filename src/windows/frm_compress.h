// frmCompress: the small window that tells the user what a database compaction is doing.
// The window logic only sets a caption; what shows it is a view a host installs. The
// default view shows nothing, the CLI installs one that prints each caption, and tests
// install CompressRecorder to see the captions in order.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "store/compaction_progress.h"

namespace ravelin {

// What displays the window. Show is called when the window appears, SetCaption after
// every change of its label (the window refreshes at once), Unload when it goes away.
class CompressView {
 public:
  virtual ~CompressView() = default;
  virtual void Show() {}
  virtual void SetCaption(const std::u16string& caption) {}
  virtual void Unload() {}
};

// Keeps every event as text: "show", "caption:<text>", "unload".
class CompressRecorder : public CompressView {
 public:
  void Show() override;
  void SetCaption(const std::u16string& caption) override;
  void Unload() override;
  std::vector<std::u16string> events;
  // The captions alone, in order.
  std::vector<std::u16string> Captions() const;
};

// Prints each caption on its own line (UTF-8).
class CompressPrinter : public CompressView {
 public:
  explicit CompressPrinter(std::ostream& out) : out_(out) {}
  void SetCaption(const std::u16string& caption) override;

 private:
  std::ostream& out_;
};

// The window's logic: shown on the first caption, loaded until Unload. It is the display
// of the store's compaction progress once InstallCompressWindow has run.
class frmCompress : public store::CompactionProgress {
 public:
  // Shows the window if it isn't loaded, sets the caption and refreshes.
  void ShowCaption(const std::u16string& caption) override;
  // Hides and unloads; nothing when the window isn't loaded.
  void Unload();
  void Close() override { Unload(); }
  bool Loaded() const { return loaded_; }
  const std::u16string& Caption() const { return caption_; }

 private:
  bool loaded_ = false;
  std::u16string caption_;
};

// The default instance of the window, created on first use.
frmCompress& DefaultCompressWindow();
// Makes the default window the store's compaction display (hosts call it once at start).
void InstallCompressWindow();
// The view that displays it (a silent one until a host installs another).
CompressView& CurrentCompressView();
void SetCompressView(std::shared_ptr<CompressView> view);

}  // namespace ravelin
