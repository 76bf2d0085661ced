// `ravelin serve`: the workbench. The mail store in the desktop's browser: a local server
// on 127.0.0.1 (a secret in every address) draws the main page and the windows' forms,
// their dialogs included; it runs until Ctrl-C or the page's Quit, then clears the files
// the letters left behind.
#include <boost/asio/signal_set.hpp>
#include <iostream>
#include <ostream>

#include "commands.h"
#include "platform/event_loop.h"
#include "platform/host_common.h"
#include "platform/interaction.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "viewer/view_server.h"
#include "workbench/main_ops.h"
#include "workbench/page_interaction.h"
#include "workbench/workbench_server.h"

namespace ravelin::cli {
namespace {

// Failures are told in the page (as a critical box) as well as on the terminal.
class PageHost : public DefaultHostCommon {
 public:
  explicit PageHost(workbench::WorkbenchServer& server) : server_(server) {}
  Value ReportError(const ErrObject& err, const std::u16string& source) override {
    Value v = DefaultHostCommon::ReportError(err, source);
    if (server_.OpenPages() > 0 && !server_.Stopped())
      WideMsgBox(err.Description + u"\r\n(" + source + u", " + NumToText(err.Number) + u")", mb::kCritical);
    return v;
  }

 private:
  workbench::WorkbenchServer& server_;
};

int Serve(Context& ctx, const Args& args) {
  uint16_t port = 0;
  if (auto p = args.Get("--port")) {
    if (p->empty() || p->size() > 5 || p->find_first_not_of("0123456789") != std::string::npos || std::stoi(*p) > 65535)
      return UsageError(ctx, "--port needs a number from 0 to 65535");
    port = static_cast<uint16_t>(std::stoi(*p));
  }
  std::unique_ptr<workbench::WorkbenchServer> server;
  try {
    server = std::make_unique<workbench::WorkbenchServer>(workbench::WorkbenchServer::Options{port});
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot start the workbench: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  // The same home as the command line's host, the reports shown in the page too.
  auto host = std::make_shared<PageHost>(*server);
  host->SetHome(CurrentHostCommon().GetSettingsFolder());
  SetHostCommon(host);
  auto interaction = workbench::InstallPageInteraction(*server);
  auto mainPage = workbench::InstallMainPage(*server, ctx.mail);

  ctx.out << server->Url() << std::endl;
  if (args.Has("--open") && !viewer::OpenInBrowser(server->Url()))
    ctx.err << "ravelin: could not start the browser; open the address above yourself\n";
  ctx.err << "the workbench runs on 127.0.0.1 until Ctrl-C or Quit in the page\n";

  bool interrupted = false;
  boost::asio::signal_set signals(loop::Context(), SIGINT, SIGTERM);
  signals.async_wait([&](const boost::system::error_code& ec, int) {
    if (ec) return;
    interrupted = true;
    // A question open in a page ends now, so that its handler returns.
    server->Stop();
  });
  const auto done = [&] { return interrupted || server->QuitRequested(); };
  while (!done()) loop::RunUntil(done, std::chrono::hours(1));

  // The shutdown steps: the pages are told and closed, the extracted files go.
  server->Stop();
  loop::RunUntil([&] { return server->OpenPages() == 0; }, std::chrono::seconds(2));
  boost::system::error_code ignored;
  signals.cancel(ignored);
  SetInteraction(nullptr);
  ctx.mail.ClearMailFiles();
  ctx.err << "the workbench stopped\n";
  return 0;
}

const CommandRegistrar serveCmd({"serve",
                                 {},
                                 {{"--port", "N", "listen on port N of 127.0.0.1 (default: a free port)"},
                                  {"--open", "", "open the main page in the desktop's browser"}},
                                 "the workbench: the mail store in the browser (main page, forms and dialogs)",
                                 true,
                                 Serve});

}  // namespace
}  // namespace ravelin::cli
