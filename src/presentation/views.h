// The seams between the presentation code and whatever displays it: the HTML view a
// letter is shown in, the compose view a reply fills, the save dialog, the photo store of
// the address book and the sink of a long report's progress. Each has a small in-memory
// implementation here, which the tests and the command-line host use; the workbench will
// draw the real ones.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "runtime/types.h"

namespace ravelin::presentation {

// The view that shows one HTML document.
class HtmlView {
 public:
  virtual ~HtmlView() = default;
  virtual std::u16string DocumentHTML() const = 0;
  virtual void SetDocumentHTML(const std::u16string& html) = 0;
  // True while a new document is still loading; callers yield to the event loop until
  // it falls.
  virtual bool Busy() const = 0;
  // The body's text as a reader sees it, lines ended by CR LF whatever the display uses.
  virtual std::u16string BodyInnerText() const = 0;
  // Replaces the body by this text, shown as plain text (CR LF or LF are line ends).
  virtual void SetBodyInnerText(const std::u16string& text) = 0;
  // The href of the link under a point of the view (the element or its parent), "" for
  // none.
  virtual std::u16string HrefAt(int32_t x, int32_t y) const = 0;
  virtual void PrintDocument(bool prompt) = 0;
};

// A view with no display: the document is kept as text and its body text is computed by
// an HTML5 parser. The link under a point is whatever the caller placed there.
class HeadlessHtmlView : public HtmlView {
 public:
  std::u16string DocumentHTML() const override { return html_; }
  void SetDocumentHTML(const std::u16string& html) override { html_ = html; }
  bool Busy() const override { return false; }
  std::u16string BodyInnerText() const override;
  void SetBodyInnerText(const std::u16string& text) override;
  std::u16string HrefAt(int32_t, int32_t) const override { return hrefUnderPointer; }
  void PrintDocument(bool) override { ++printed; }

  std::u16string hrefUnderPointer;
  int32_t printed = 0;

 private:
  std::u16string html_;
};

// The body text of an HTML document as a browser's innerText gives it, approximately:
// scripts, styles and the head left out, blanks collapsed, line breaks at <br> and
// around block elements, CR LF between lines.
std::u16string HtmlInnerText(const std::u16string& html);

// The compose view that a reply or a new letter fills before it is shown.
class ComposeView {
 public:
  virtual ~ComposeView() = default;
  virtual void SetRecipient(const std::u16string& to) = 0;
  virtual void SetSubject(const std::u16string& subject) = 0;
  // The sender is chosen among the accounts by this address text (the original's To).
  virtual void ChooseSender(const std::u16string& from) = 0;
  virtual void SetDocType(docType type) = 0;
  // The project the letter goes under, with the side's icon word ("Archive" or "Prj").
  virtual void SetProject(const std::u16string& project, const std::u16string& icon) = 0;
  virtual void SetPack(int32_t pack) = 0;
  virtual HtmlView& Editor() = 0;
  virtual void Show(int16_t modal) = 0;
};

// What a compose view was given, for tests and the command-line host.
class MemoryComposeView : public ComposeView {
 public:
  void SetRecipient(const std::u16string& to) override { this->to = to; }
  void SetSubject(const std::u16string& subject) override { this->subject = subject; }
  void ChooseSender(const std::u16string& from) override { this->from = from; }
  void SetDocType(docType type) override { format = type; }
  void SetProject(const std::u16string& project, const std::u16string& icon) override {
    this->project = project;
    projectIcon = icon;
  }
  void SetPack(int32_t pack) override { this->pack = pack; }
  HtmlView& Editor() override { return editor; }
  void Show(int16_t modal) override {
    shown = true;
    this->modal = modal;
  }

  std::u16string to, subject, from, project, projectIcon;
  docType format = plain;
  int32_t pack = 0;
  bool shown = false;
  int16_t modal = 0;
  HeadlessHtmlView editor;
};

// Where new compose views come from; the default makes MemoryComposeView objects and
// keeps the last one made.
using ComposeFactory = std::function<std::shared_ptr<ComposeView>()>;
void SetComposeFactory(ComposeFactory factory);
std::shared_ptr<ComposeView> NewComposeView();
std::shared_ptr<ComposeView> LastComposeView();

// The common dialog's save form.
class CommonDialog {
 public:
  virtual ~CommonDialog() = default;
  bool CancelError = false;
  std::u16string DialogTitle;
  std::u16string FileName;
  std::u16string Filter;
  // Shows the dialog; false when the user cancels. The chosen path is in FileName.
  virtual bool ShowSave() = 0;
};

// A dialog that answers from a script: the given path, or a cancel when none is set.
class MemoryCommonDialog : public CommonDialog {
 public:
  std::optional<std::u16string> answer;
  int32_t shown = 0;
  bool ShowSave() override {
    ++shown;
    if (!answer) return false;
    FileName = *answer;
    return true;
  }
};

// The address book's photos. The default store finds nothing.
struct Photo {
  int32_t widthHimetric = 0;   // hundredths of a millimetre
  int32_t heightHimetric = 0;
  // Saves a thumbnail of the picture within the bounds to path.
  std::function<void(const std::u16string& path, int32_t width, int32_t height)> save;
};
class PhotoStore {
 public:
  virtual ~PhotoStore() = default;
  virtual std::optional<Photo> Find(const std::u16string& email) = 0;
};
PhotoStore& CurrentPhotoStore();
void SetPhotoStore(std::shared_ptr<PhotoStore> store);

// Progress of a long report: status texts, progress, and the stop flag.
class ReportSink {
 public:
  virtual ~ReportSink() = default;
  virtual void StatusText(const std::u16string& text) = 0;
  virtual void Progress(double value, double min, double max) = 0;
  virtual bool StopRequested() = 0;
  virtual void ClearStop() = 0;
};

// Opens a web page or a file in the desktop's own program, on the user's click.
class ExternalOpener {
 public:
  virtual ~ExternalOpener() = default;
  virtual void Open(const std::u16string& target) = 0;
};
// The default prints the target on standard output and opens nothing.
ExternalOpener& CurrentOpener();
void SetOpener(std::shared_ptr<ExternalOpener> opener);

}  // namespace ravelin::presentation
