// The safe way to look at a letter's HTML: a small HTTP server on 127.0.0.1 at a random
// port that serves one document to the desktop's browser. Letters are hostile, so the
// document is shown in an iframe sandbox without scripts, under a Content-Security-Policy
// that allows no script, no remote load, no form and no plugin; images come only from
// the server's own file route or data URLs. Every path starts with a per-session secret;
// a request without it is refused. The file route serves only files directly inside the
// extraction folders, by canonical name: inert images and style sheets inline, anything
// else (SVG and HTML included) as a download.
//
// The server runs on the process's one event loop; it is the seed of the workbench that
// will draw the windows later.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "presentation/html_text.h"

namespace ravelin::viewer {

class ViewServer {
 public:
  // Listens on 127.0.0.1 at a port the system chooses. Throws ravelin::Error (number 70)
  // when no socket can be opened.
  ViewServer(presentation::Document doc, std::u16string title);
  ~ViewServer();
  ViewServer(const ViewServer&) = delete;
  ViewServer& operator=(const ViewServer&) = delete;

  uint16_t Port() const;
  const std::string& Secret() const;
  // "http://127.0.0.1:PORT/SECRET/": the page that frames the document.
  std::string Url() const;
  // Requests answered so far (any status), for hosts that wait for the browser.
  int32_t Requests() const;
  void Stop();

  struct Impl;

 private:
  std::shared_ptr<Impl> impl_;
};

// The document as the server gives it to the browser: references to extracted files
// pointed at the file route of `base` ("/SECRET/"), a base target so that links leave
// the frame for a window of their own.
std::u16string ServedDocument(const std::u16string& html, const std::string& base);

// The media type a file is served with, and whether it is shown inline; everything that
// isn't an inert image or a style sheet is a download.
struct FileKind {
  std::string type;
  bool isInline = false;
};
FileKind KindOf(const std::u16string& name);

// A file of an extraction folder as the file route serves it: only a file directly in
// `folder` under the percent-encoded name, by its canonical path; not found otherwise.
struct FileAnswer {
  bool found = false;
  std::string type, disposition;  // disposition: "" to show inline
  std::string body;               // empty for HEAD
};
FileAnswer ExtractedFile(const std::u16string& folder, std::string_view encodedName, bool head);

// The Content-Security-Policy of a served letter: no script, nothing remote, images and
// style sheets only from the file route under `prefix` ("/SECRET/"), framed only by
// `origin`'s own pages.
std::string DocumentPolicy(const std::string& origin, const std::string& prefix);

std::optional<std::string> PercentDecode(std::string_view s);
std::string HtmlEscape(const std::string& s);

// Opens the URL in the desktop's browser (xdg-open, no shell). False when it can't start.
bool OpenInBrowser(const std::string& url);

}  // namespace ravelin::viewer
