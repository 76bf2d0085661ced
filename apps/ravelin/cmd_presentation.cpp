// Commands that show letters and packs as HTML: a letter's page, its files, a saved web
// page (.mht), the reply a compose window would receive, a pack's report, and clearing
// the extracted files. The pages hold the letters' own HTML: look at them with
// `ravelin view`, which shows them without scripts or remote loads.
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <ostream>

#include "commands.h"
#include "json_output.h"
#include "platform/filesystem.h"
#include "presentation/html_text.h"
#include "presentation/letter_html.h"
#include "presentation/mht.h"
#include "presentation/pack_report.h"
#include "presentation/reply.h"
#include "presentation/views.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "store/data_cursor.h"
#include "store/record_sources.h"
#include "store_access.h"

namespace ravelin::cli {
namespace {

using presentation::Document;

const OptionSpec kJsonOption{"--json", "", "print JSON (see README.md, \"JSON output\")"};

// A document to a file, or its bytes to standard output.
int Emit(Context& ctx, const Document& doc, const std::optional<std::string>& file) {
  try {
    if (file) presentation::WriteDocument(FromUtf8(*file), doc);
    else ctx.out << presentation::DocumentBytes(doc);
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot write " << file.value_or("the page") << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
}

// ---- html ----

int Html(Context& ctx, const Args& args) {
  int code = 0;
  const auto key = KeyArgument(ctx, args, "html", code);
  if (!key) return code;
  if (!FindLetter(ctx, *key)) return 1;
  const size_t before = ReportCount();
  Document doc;
  try {
    doc = presentation::CreateHTMLByMsgNumber(NumToText(*key), args.Has("--force") || args.Has("--save"));
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot make the page of letter " << *key << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (ReportCount() > before) ctx.err << "ravelin: " << LastReport(before) << "\n";
  if (doc.html.empty()) {
    ctx.err << "ravelin: letter " << *key << " has no HTML body (--force shows its text)\n";
    return 1;
  }
  if (auto save = args.Get("--save")) {
    try {
      const int32_t files = presentation::SaveDocumentWithFiles(doc, FromUtf8(*save));
      ctx.err << "saved " << *save << " with " << files << " file(s) beside it\n";
      return 0;
    } catch (const Error& e) {
      ctx.err << "ravelin: cannot save " << *save << ": " << ToUtf8(e.Description()) << "\n";
      return 1;
    }
  }
  return Emit(ctx, doc, args.Get("-o"));
}

// ---- extract ----

int Extract(Context& ctx, const Args& args) {
  int code = 0;
  const auto key = KeyArgument(ctx, args, "extract", code);
  if (!key) return code;
  if (!FindLetter(ctx, *key)) return 1;
  std::u16string folder = args.Get("--to") ? FromUtf8(*args.Get("--to")) : std::u16string();
  const size_t before = ReportCount();
  presentation::Extraction ex;
  try {
    auto db = store::detail::OpenMailDatabase();
    auto files = db->OpenRecordset(store::GetAttachRecordSource(*key), dao::dbOpenDynaset);
    presentation::ExtractAttachments2(*files, ex, folder);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot read letter " << *key << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (ReportCount() > before) {
    ctx.err << "ravelin: " << LastReport(before) << "\n";
    return 1;
  }
  if (args.Has("--json")) {
    json::array rows;
    for (size_t i = 0; i < ex.FileNames.size(); ++i) {
      json::object o;
      o["file"] = JsonText(ex.FileNames[i]);
      o["path"] = JsonText(presentation::AddPathSeparator(folder) + ex.FileNames[i]);
      o["attachment"] = static_cast<bool>(ex.IsAttachments[i]);
      o["body"] = ex.bodyPosition != 0 && i == 0;
      o["AVPchecked"] = ex.AVPChk[i];
      rows.push_back(std::move(o));
    }
    PrintRows(ctx.out, rows);
  } else {
    for (const auto& name : ex.FileNames) ctx.out << ToUtf8(presentation::AddPathSeparator(folder) + name) << "\n";
    if (ex.FileNames.empty()) ctx.err << "letter " << *key << " has no files\n";
  }
  return 0;
}

// ---- mht ----

int Mht(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "mht needs one FILE");
  const std::u16string path = FromUtf8(args.Positional()[0]);
  if (!fs::FileExists(path)) {
    ctx.err << "ravelin: no file " << args.Positional()[0] << "\n";
    return 1;
  }
  presentation::HeadlessHtmlView view;
  presentation::LoadedMht m;
  try {
    m = presentation::LoadMHT(path, view);
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot show " << args.Positional()[0] << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  if (args.Has("--json")) {
    json::object o;
    o["root"] = m.root.empty() ? json::value(nullptr) : JsonText(m.root);
    o["html"] = m.html;
    json::array files;
    for (const auto& f : m.files) files.push_back(JsonText(f));
    o["files"] = std::move(files);
    if (auto out = args.Get("-o")) {
      if (int rc = Emit(ctx, m.doc, out)) return rc;
      o["output"] = JsonText(FromUtf8(*out));
    }
    PrintBlock(ctx.out, o);
    return 0;
  }
  return Emit(ctx, m.doc, args.Get("-o"));
}

// ---- reply ----

int Reply(Context& ctx, const Args& args) {
  int code = 0;
  const auto key = KeyArgument(ctx, args, "reply", code);
  if (!key) return code;
  const auto state = FindLetter(ctx, *key);
  if (!state) return 1;
  try {
    // The letter as the viewer holds it: in its folder's list, with its HTML shown when
    // it has an HTML body.
    DataCursor letters(ctx.mail.GetDatabaseName(),
                       ctx.mail.GetRecordSource(state->folder, u"", 0, u"DateReceived"));
    letters.Refresh();
    if (!letters.Locate(u"key=" + NumToText(*key))) return NoLetter(ctx, *key);
    presentation::HeadlessHtmlView shown;
    const Document page = presentation::LetterBody(*key);
    if (!page.html.empty()) {
      shown.SetDocumentHTML(page.octets ? FromUtf8(ByteTextToBytes(page.html)) : page.html);
      letters.SetTag(1);
    }
    auto compose = std::make_shared<presentation::MemoryComposeView>();
    presentation::SetComposeFactory([compose] { return compose; });
    ctx.mail.ReplyLetter(letters, shown, 0);
    presentation::SetComposeFactory(nullptr);
    const std::u16string body = compose->editor.BodyInnerText();
    if (args.Has("--json")) {
      json::object o;
      o["To"] = JsonText(compose->to);
      o["From"] = JsonText(compose->from);
      o["Subject"] = JsonText(compose->subject);
      o["format"] = compose->format == html ? "html" : "plain";
      o["body"] = JsonText(body);
      o["Project"] = compose->project.empty() ? json::value(nullptr) : JsonText(compose->project);
      o["InsArcPrj"] = compose->projectIcon == u"Archive";
      o["Pack_N"] = compose->pack == 0 ? json::value(nullptr) : json::value(compose->pack);
      PrintBlock(ctx.out, o);
    } else {
      ctx.out << "To: " << ToUtf8(compose->to) << "\nFrom: " << ToUtf8(compose->from)
              << "\nSubject: " << ToUtf8(compose->subject) << "\n\n"
              << ToUtf8(Replace(body, u"\r\n", u"\n")) << "\n";
    }
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot prepare the reply to letter " << *key << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
}

// ---- pack-report ----

volatile std::sig_atomic_t interrupted = 0;
extern "C" void OnInterrupt(int) { interrupted = 1; }

// Progress on a terminal; Ctrl-C stops the report as the Stop button does.
class TerminalSink : public presentation::ReportSink {
 public:
  explicit TerminalSink(bool show) : show_(show) {}
  void StatusText(const std::u16string& text) override {
    if (show_ && !text.empty()) std::cerr << ToUtf8(text) << "\n";
  }
  void Progress(double value, double, double max) override {
    if (show_) std::cerr << "\r" << static_cast<long>(value) << " / " << static_cast<long>(max) << std::flush;
    last_ = value;
  }
  bool StopRequested() override { return interrupted != 0; }
  void ClearStop() override { interrupted = 0; }
  void End() {
    if (show_ && last_ > 0) std::cerr << "\n";
  }

 private:
  bool show_;
  double last_ = 0;
};

int PackReport(Context& ctx, const Args& args) {
  if (args.Positional().size() != 1) return UsageError(ctx, "pack-report needs one pack number N");
  const auto pack = ParseKey(args.Positional()[0]);
  if (!pack) return UsageError(ctx, "N must be a pack's number");
  if (args.Has("--yes") && !args.Has("--save")) return UsageError(ctx, "--yes goes with --save");

  TerminalSink sink(isatty(STDERR_FILENO) != 0);
  struct sigaction action{}, previous{};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  sigaction(SIGINT, &action, &previous);
  std::u16string report, title;
  bool stopped = false;
  try {
    report = presentation::PackReport(*pack, &sink, &title);
    stopped = interrupted != 0;
  } catch (const Error& e) {
    sigaction(SIGINT, &previous, nullptr);
    ctx.err << "ravelin: cannot make the report of pack " << *pack << ": " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
  sigaction(SIGINT, &previous, nullptr);
  sink.End();
  if (stopped) ctx.err << "stopped: the report holds the letters done so far\n";

  if (auto save = args.Get("--save")) {
    try {
      const std::u16string path = FromUtf8(*save);
      if (args.Has("--yes") || !fs::FileExists(path)) {
        presentation::SaveDocumentWithFiles(Document{report, false}, path);
      } else {
        presentation::MemoryCommonDialog dialog;
        dialog.answer = path;
        if (presentation::SaveHTMLPack(report, title, dialog).empty()) {
          ctx.err << "not saved: " << *save << " exists (--yes writes over it)\n";
          return 1;
        }
      }
      ctx.err << "saved " << *save << "\n";
    } catch (const Error& e) {
      ctx.err << "ravelin: cannot save " << *save << ": " << ToUtf8(e.Description()) << "\n";
      return 1;
    }
    if (!args.Get("-o")) return 0;
  }
  return Emit(ctx, Document{report, false}, args.Get("-o"));
}

// ---- clear-files ----

int ClearFiles(Context& ctx, const Args&) {
  try {
    const int32_t n = presentation::ClearMailFiles();
    ctx.out << "removed " << n << " file(s) from " << ToUtf8(presentation::MailFilesFolder()) << " and "
            << ToUtf8(presentation::TmpFilesFolder()) << "\n";
    return 0;
  } catch (const Error& e) {
    ctx.err << "ravelin: cannot clear the files: " << ToUtf8(e.Description()) << "\n";
    return 1;
  }
}

const CommandRegistrar htmlCmd({"html",
                                {"KEY"},
                                {{"--force", "", "a page of the letter's text when it has no HTML body"},
                                 {"-o", "FILE", "write the page to FILE"},
                                 {"--save", "FILE", "save the page with its files in FILE's companion folder"}},
                                "a letter as an HTML page, its parts extracted (exit 1 when it has none)",
                                true,
                                Html,
                                "KEY [--force] [-o FILE | --save FILE]"});
const CommandRegistrar extractCmd({"extract",
                                   {"KEY"},
                                   {{"--to", "DIR", "the folder to write to (the store's mFiles by default)"},
                                    kJsonOption},
                                   "write a letter's parts to files",
                                   true,
                                   Extract});
const CommandRegistrar mhtCmd({"mht",
                               {"FILE"},
                               {{"-o", "OUT", "write the page to OUT"}, kJsonOption},
                               "show a saved web page (.mht) or mail file (.eml) as one page, its parts extracted",
                               true,
                               Mht});
const CommandRegistrar replyCmd({"reply",
                                 {"KEY"},
                                 {kJsonOption},
                                 "the reply to a letter as the compose window would receive it",
                                 true,
                                 Reply});
const CommandRegistrar packReportCmd({"pack-report",
                                      {"N"},
                                      {{"-o", "FILE", "write the report to FILE"},
                                       {"--save", "FILE", "save the report with its files beside it"},
                                       {"--yes", "", "with --save: write over an existing FILE"}},
                                      "a pack's letters as one HTML page (Ctrl-C stops and keeps what was made)",
                                      true,
                                      PackReport,
                                      "N [-o FILE] [--save FILE [--yes]]"});
const CommandRegistrar clearFilesCmd({"clear-files",
                                      {},
                                      {},
                                      "remove the files extracted from letters and shown pages",
                                      true,
                                      ClearFiles});

}  // namespace
}  // namespace ravelin::cli
