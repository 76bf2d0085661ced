// A saved web page (.mht) or a mail file (.eml) shown without the store: its parts go to
// the "tmpFiles" folder and the root HTML part, with its references pointed at them, is
// set on the view. Also the view's link clicks and status text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "presentation/html_text.h"
#include "presentation/views.h"

namespace ravelin::presentation {

struct LoadedMht {
  bool found = false;        // the file existed and was read
  Document doc;              // what was set on the view
  bool html = false;         // the document came from an HTML part (else the message text)
  std::u16string root;       // file name of the root part, "" without one
  std::vector<std::u16string> files;  // every extracted file, full paths, in message order
};

// Reads FilePath, extracts its parts, and shows the root part on the view: the part that
// the top "start" parameter names, else the first HTML part in message order; without
// one, the message text as the body text. A missing file is told to the user and nothing
// is shown.
LoadedMht LoadMHT(const std::u16string& FilePath, HtmlView& view);

// A click on the view at (x, y): a "mailto:" link opens a new letter for the address
// (and subject), a web link is handed to the desktop's browser, and a "file://" link
// opens only a file extracted by this system. Anything else is ignored.
void DHTMLEdit_onclick(HtmlView& view, int32_t x, int32_t y, const std::u16string& rProject, bool isModal,
                       bool InsArcPrj);

// The status-bar text for the pointer at (x, y): the link's target, a "file://" target as
// its plain path.
std::u16string DHTMLEdit_GetStatusText(HtmlView& view, int32_t x, int32_t y);

}  // namespace ravelin::presentation
