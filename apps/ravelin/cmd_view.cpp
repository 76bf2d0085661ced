// `ravelin view`: a letter, a pack report or a saved page shown in the desktop's browser
// through the view server (127.0.0.1, a random port, a secret in every path), which keeps
// a hostile letter from running scripts or loading anything from outside.
#include <boost/asio/signal_set.hpp>
#include <iostream>
#include <ostream>

#include "commands.h"
#include "platform/event_loop.h"
#include "platform/filesystem.h"
#include "presentation/letter_html.h"
#include "presentation/mht.h"
#include "presentation/pack_report.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store_access.h"
#include "viewer/view_server.h"

namespace ravelin::cli {
namespace {

int View(Context& ctx, const Args& args) {
  const auto& pos = args.Positional();
  const auto packArg = args.Get("--pack");
  if (pos.size() + (packArg ? 1 : 0) != 1) return UsageError(ctx, "view needs one KEY, FILE.mht or --pack N");
  presentation::Document doc;
  std::u16string title;
  try {
    if (packArg) {
      const auto pack = ParseKey(*packArg);
      if (!pack) return UsageError(ctx, "--pack needs a pack number");
      doc = {presentation::PackReport(*pack, nullptr, &title), false};
      title = u"Pack " + FromUtf8(*packArg) + (title.empty() ? u"" : u": " + title);
    } else if (auto key = ParseKey(pos[0])) {
      if (!FindLetter(ctx, *key)) return 1;
      doc = presentation::CreateHTMLByMsgNumber(NumToText(*key), true);
      title = u"Letter " + NumToText(*key);
    } else {
      const std::u16string path = FromUtf8(pos[0]);
      if (!fs::FileExists(path)) {
        ctx.err << "ravelin: no file " << pos[0] << "\n";
        return 1;
      }
      presentation::HeadlessHtmlView view;
      doc = presentation::LoadMHT(path, view).doc;
      title = fs::FileName(path);
    }
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot make the page: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (doc.html.empty()) {
    ctx.err << "ravelin: nothing to show\n";
    return 1;
  }
  try {
    viewer::ViewServer server(doc, title);
    ctx.out << server.Url() << std::endl;
    if (!args.Has("--no-open") && !viewer::OpenInBrowser(server.Url()))
      ctx.err << "ravelin: could not start the browser; open the address above yourself\n";
    ctx.err << "serving on 127.0.0.1 until Ctrl-C\n";
    bool stop = false;
    boost::asio::signal_set signals(loop::Context(), SIGINT, SIGTERM);
    signals.async_wait([&](const boost::system::error_code&, int) { stop = true; });
    while (!stop) loop::RunUntil([&] { return stop; }, std::chrono::hours(1));
    server.Stop();
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot serve the page: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
}

const CommandRegistrar viewCmd({"view",
                                {"[KEY|FILE]"},
                                {{"--pack", "N", "the report of pack N"},
                                 {"--no-open", "", "print the address only, start no browser"}},
                                "show a letter, a pack or a saved page safely in the browser (no scripts, no "
                                "remote loads)",
                                true,
                                View,
                                "KEY | FILE.mht | --pack N [--no-open]"});

}  // namespace
}  // namespace ravelin::cli
