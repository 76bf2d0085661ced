// Sending mail: accounts, stored letters sent through their sender's account, one-off
// SMTP sessions, stored passwords, known providers and the offline flag.
#include <csignal>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/signal_set.hpp>

#include "commands.h"
#include "json_output.h"
#include "formats/mime_parser.h"
#include "platform/db/dao.h"
#include "platform/event_loop.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"
#include "transport/accounts.h"
#include "transport/outbox.h"
#include "transport/smtp_client.h"
#include "transport/tcp_socket.h"

namespace ravelin::cli {
namespace {

using transport::AccountChanges;

// A port as typed: 1..65535.
std::optional<int32_t> ParsePort(const std::string& s) {
  if (s.empty() || s.size() > 5 || s.find_first_not_of("0123456789") != std::string::npos) return std::nullopt;
  const int v = std::stoi(s);
  if (v < 1 || v > 65535) return std::nullopt;
  return v;
}

// One line from standard input without its line end.
std::optional<std::u16string> ReadSecret() {
  std::string line;
  if (!std::getline(std::cin, line)) return std::nullopt;
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return FromUtf8(line);
}

bool IsLoopback(const std::u16string& host) {
  if (TextEquals(host, u"localhost")) return true;
  boost::system::error_code ec;
  const auto a = boost::asio::ip::make_address(ToUtf8(host), ec);
  return !ec && a.is_loopback();
}

// Says so on stderr when a password would cross the network in clear.
void WarnClearPassword(Context& ctx, const std::u16string& host, int32_t port) {
  if (IsLoopback(host)) return;
  try {
    if (transport::ReadEndpointSettings(host, port).security != transport::Security::None) return;
  } catch (...) {
    return;  // the send itself reports the bad section
  }
  ctx.err << "ravelin: warning: the password goes to " << ToUtf8(host) << " in clear text (set Security= in [SMTP "
          << ToUtf8(host) << ":" << port << "] of Ravelin.ini for TLS)\n";
}

// The status panel of a send: every text on stderr when asked, the last one kept.
struct Panel : transport::StatusPanel {
  Panel(std::ostream& e, bool p) : err(e), print(p) {}
  void SetText(const std::u16string& text) override {
    last = text;
    if (print) err << ToUtf8(text) << "\n";
  }
  std::ostream& err;
  bool print;
  std::u16string last;
};

// A server that went quiet is said in words even without --status.
void SayTimeout(Context& ctx, const Panel& panel) {
  if (ctx.mail.SmtpSessionOptions().timedOut && !panel.print) ctx.err << "ravelin: " << ToUtf8(panel.last) << "\n";
}

// What the compose window is to a send: it owns the socket, forwards its events, and
// turns Ctrl-C into the Stop button.
class Sender {
 public:
  Sender(Ravelin& mail, std::ostream& err) : state_(std::make_shared<State>(mail, err)) {
    State& s = *state_;
    s.sock.Events().DataArrival = [&s](int32_t n) { s.mail.Winsock_DataArrival(n, s.sock); };
    s.sock.Events().Close = [&s] { s.mail.rqStat = ErrRq; };
    s.sock.Events().Error = [&s](int32_t, const std::u16string& d) { s.err << "ravelin: " << ToUtf8(d) << "\n"; };
    signals_ = std::make_unique<boost::asio::signal_set>(loop::Context(), SIGINT, SIGTERM);
    signals_->async_wait([state = state_](const boost::system::error_code& ec, int) {
      if (ec) return;
      state->stopped = true;
      state->mail.rqStat = ErrRq;
      state->sock.Close();
      state->err << ToUtf8(module1::GetMUIString(u"frmLetter.Toolbar1_ButtonClick", u"msg9",
                                                 u"Sending stopped by the user"))
                 << "\n";
    });
  }
  ~Sender() {
    boost::system::error_code ignored;
    signals_->cancel(ignored);
    loop::PumpOnce();  // the cancelled wait ends here, before the state may go
  }
  transport::TcpSocket& sock() { return state_->sock; }
  bool stopped() const { return state_->stopped; }

 private:
  struct State {
    State(Ravelin& m, std::ostream& e) : mail(m), err(e) {}
    Ravelin& mail;
    std::ostream& err;
    transport::TcpSocket sock;
    bool stopped = false;
  };
  std::shared_ptr<State> state_;
  std::unique_ptr<boost::asio::signal_set> signals_;
};

int Fail(Context& ctx, const std::string& message) {
  ctx.err << "ravelin: " << message << "\n";
  return 1;
}

// ---- account ---------------------------------------------------------------------------

// Reads the server options shared by add and set; "" or the usage error.
std::string ReadChanges(const Args& args, AccountChanges& c) {
  if (auto v = args.Get("--smtp")) c.smtp = FromUtf8(*v);
  if (auto v = args.Get("--pop")) c.pop = FromUtf8(*v);
  for (auto [name, target] : {std::pair{"--smtp-port", &c.smtpPort}, std::pair{"--pop-port", &c.popPort}}) {
    if (auto v = args.Get(name)) {
      auto port = ParsePort(*v);
      if (!port) return std::string(name) + " needs a port from 1 to 65535";
      *target = *port;
    }
  }
  if (args.Has("--auth") && args.Has("--no-auth")) return "--auth and --no-auth exclude each other";
  if (args.Has("--auth")) c.auth = true;
  if (args.Has("--no-auth")) c.auth = false;
  return {};
}

int AccountList(Context& ctx, const Args& args) {
  const bool json = args.Has("--json");
  auto db = dao::OpenDatabase(ctx.mail.GetDatabaseName(), false, false, u"Access");
  auto rs = db->OpenRecordset(u"Accounts", dao::dbOpenDynaset);
  json::array rows;
  int n = 0;
  for (; !rs->Eof(); rs->MoveNext(), ++n) {
    if (json) {
      json::object row;
      for (int32_t i = 0; i < rs->Fields().Count(); ++i) {
        auto f = rs->Fields(i);
        row[ToUtf8(f.Name())] = JsonOf(f.Value());
      }
      rows.push_back(std::move(row));
    } else {
      const std::u16string addr = NullConvStr(rs->GetField(u"User")) + u"@" + NullConvStr(rs->GetField(u"@after"));
      ctx.out << ToUtf8(addr) << "  smtp " << ToUtf8(NullConvStr(rs->GetField(u"SMTP"))) << ":"
              << NullConvLng(rs->GetField(u"SMTPport"))
              << (NullConvBool(rs->GetField(u"SMTPauth")) ? "  auth" : "  no auth")
              << (NullConvStr(rs->GetField(u"Password")).empty() ? "  no password" : "") << "\n";
    }
  }
  rs->Close();
  db->Close();
  if (json) PrintRows(ctx.out, rows);
  else if (n == 0) ctx.out << "no accounts (ravelin account add EMAIL)\n";
  return 0;
}

// add, set and delete: one address, the options of the verb.
int AccountEdit(Context& ctx, const Args& args, const std::string& verb) {
  const auto& pos = args.Positional();
  if (pos.size() != 1) return UsageError(ctx, "account " + verb + " needs one address");
  const std::u16string email = FromUtf8(pos[0]);
  AccountChanges c;
  if (auto e = ReadChanges(args, c); !e.empty()) return UsageError(ctx, e);
  if (args.Has("--password-stdin")) {
    auto pw = ReadSecret();
    if (!pw) return Fail(ctx, "no password on standard input");
    c.password = *pw;
  }
  try {
    if (verb == "add") {
      transport::AddAccount(email, c);
      ctx.out << "account " << pos[0] << " added\n";
    } else if (verb == "set") {
      transport::SetAccount(email, c);
      ctx.out << "account " << pos[0] << " changed\n";
    } else {
      transport::DeleteAccount(email);
      ctx.out << "account " << pos[0] << " deleted\n";
    }
  } catch (const Error& e) {
    return Fail(ctx, ToUtf8(e.Description()));
  }
  return 0;
}

// ---- send --------------------------------------------------------------------------------

std::u16string LetterText(const char16_t* key, const char16_t* text, std::initializer_list<std::u16string> args = {}) {
  return module1::GetMUIStringF(u"frmLetter.Toolbar1_ButtonClick", key, text, args);
}

struct SendResult {
  int32_t key;
  bool sent = false;
  std::u16string folder;
  std::u16string message;
};

SendResult SendStored(Context& ctx, int32_t key, Panel& panel, bool& stopped) {
  SendResult r{key, false, {}, {}};
  std::u16string folder;
  auto letter = transport::LoadStoredLetter(key, &folder);
  r.folder = folder;
  if (!letter) {
    r.message = u"no letter with key " + Widen(std::to_string(key));
    return r;
  }
  auto account = transport::FindSendingAccount(letter->From);
  if (!account) {
    r.message = LetterText(u"msg5", u"Account \"%1\" is not found!", {GetEmail(letter->From)});
    return r;
  }
  std::u16string password = account->password;
  if (account->auth && password.empty()) {
    auto typed = CurrentInteraction().InputBox(
        module1::GetMUIStringF(u"frmLetter.Toolbar1_ButtonClick", u"pmt1", u"Password of the account %1",
                               {letter->From}),
        u"", u"");
    if (!typed) {
      r.message = LetterText(u"msg8", u"Letter was not sent");
      return r;
    }
    password = *typed;
  }
  if (account->auth) WarnClearPassword(ctx, account->smtp, account->smtpPort);
  Sender sender(ctx.mail, ctx.err);
  const bool ok = ctx.mail.SendOneLetter(*letter, account->smtp, account->smtpPort, sender.sock(), &panel,
                                         account->auth, account->user, password);
  stopped = sender.stopped();
  if (!ok) {
    SayTimeout(ctx, panel);
    r.message = LetterText(u"msg8", u"Letter was not sent");
    return r;
  }
  if (!transport::FileAsSent(key)) {
    r.sent = true;
    r.message = LetterText(u"msg6", u"The letter was sent, but not found in the database. A copy of the sent "
                                    u"email is not stored");
    return r;
  }
  r.sent = true;
  r.folder = u"Sent";
  r.message = LetterText(u"msg7", u"The letter was sent");
  return r;
}

int RunSend(Context& ctx, const Args& args) {
  if (args.Positional().empty()) return UsageError(ctx, "send needs the key of a letter");
  std::vector<int32_t> keys;
  for (const auto& k : args.Positional()) {
    auto key = ParseKey(k);
    if (!key) return UsageError(ctx, "not a letter key: " + k);
    keys.push_back(*key);
  }
  if (transport::IsOffline()) return Fail(ctx, "working offline; 'ravelin connection --toggle' goes online");
  const bool json = args.Has("--json");
  Panel panel(ctx.err, args.Has("--status"));
  std::vector<SendResult> results;
  bool stopped = false;
  for (int32_t key : keys) {
    results.push_back(SendStored(ctx, key, panel, stopped));
    const auto& r = results.back();
    if (!json) (r.sent ? ctx.out : ctx.err) << key << ": " << ToUtf8(r.message) << "\n";
    if (stopped) break;
  }
  if (json) {
    json::array rows;
    for (const auto& r : results)
      rows.push_back(json::object{{"key", r.key},
                                  {"sent", r.sent},
                                  {"MailFolder", r.folder.empty() ? json::value(nullptr) : JsonText(r.folder)},
                                  {"message", JsonText(r.message)}});
    PrintRows(ctx.out, rows);
  }
  const bool all = results.size() == keys.size() &&
                   std::all_of(results.begin(), results.end(), [](const SendResult& r) { return r.sent; });
  return all ? 0 : 1;
}

// ---- smtp send -------------------------------------------------------------------------

AttachFile FilePart(const std::string& path) {
  AttachFile f;
  const size_t slash = path.find_last_of('/');
  f.fname = FromUtf8(slash == std::string::npos ? path : path.substr(slash + 1));
  f.fData = ReadFileBytes(FromUtf8(path));
  const size_t dot = path.find_last_of('.');
  const std::u16string ext = LCase(FromUtf8(dot == std::string::npos ? "" : path.substr(dot + 1)));
  if (ext == u"txt") {
    f.ftype = u"text";
    f.fsubtype = u"plain";
  } else if (ext == u"png" || ext == u"gif") {
    f.ftype = u"image";
    f.fsubtype = ext;
  } else if (ext == u"jpg" || ext == u"jpeg") {
    f.ftype = u"image";
    f.fsubtype = u"jpeg";
  } else if (ext == u"pdf" || ext == u"zip" || ext == u"xml") {
    f.ftype = u"application";
    f.fsubtype = ext;
  } else {
    f.ftype = u"application";
    f.fsubtype = u"octet-stream";
  }
  f.ContentDisposition = u"attachment";
  return f;
}

int RunSmtp(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "smtp send takes no argument");
  if (!args.Get("--server") || !args.Get("--from") || !args.Get("--to"))
    return UsageError(ctx, "smtp send needs --server, --from and --to");
  int32_t port = 25;
  if (auto p = args.Get("--port")) {
    auto v = ParsePort(*p);
    if (!v) return UsageError(ctx, "--port needs a port from 1 to 65535");
    port = *v;
  }
  int count = 1;
  if (auto c = args.Get("--count")) {
    if (c->empty() || c->size() > 6 || c->find_first_not_of("0123456789") != std::string::npos || std::stoi(*c) < 1)
      return UsageError(ctx, "--count needs a number from 1 to 999999");
    count = std::stoi(*c);
  }
  if (auto t = args.Get("--timeout")) {
    if (t->empty() || t->size() > 6 || t->find_first_not_of("0123456789") != std::string::npos)
      return UsageError(ctx, "--timeout needs whole seconds (0 waits for ever)");
    ctx.mail.SmtpSessionOptions().timeoutOverride = std::chrono::seconds(std::stoi(*t));
  }
  if (args.Has("--text") && args.Has("--text-file")) return UsageError(ctx, "--text and --text-file exclude each other");
  const bool auth = args.Has("--auth");
  if (auth && (!args.Get("--user") || !args.Has("--password-stdin")))
    return UsageError(ctx, "--auth needs --user and --password-stdin");

  mailHeader letter;
  letter.From = FromUtf8(*args.Get("--from"));
  letter.to = FromUtf8(*args.Get("--to"));
  letter.Subject = FromUtf8(args.Get("--subject").value_or(""));
  if (auto t = args.Get("--text")) letter.Message = FromUtf8(*t);
  if (auto f = args.Get("--text-file")) {
    std::ifstream in(*f, std::ios::binary);
    if (!in) return Fail(ctx, "cannot read " + *f);
    std::ostringstream s;
    s << in.rdbuf();
    letter.Message = FromUtf8(s.str());
  }
  for (const auto& path : args.GetAll("--attach")) {
    if (!std::ifstream(path)) return Fail(ctx, "cannot read " + path);
    letter.attFiles.push_back(FilePart(path));
  }
  letter.Content_Type = letter.attFiles.empty() ? u"text" : u"multipart";
  letter.Content_subtype = letter.attFiles.empty() ? u"plain" : u"mixed";

  std::u16string password;
  if (auth) {
    auto pw = ReadSecret();
    if (!pw) return Fail(ctx, "no password on standard input");
    password = *pw;
  }
  const std::u16string server = FromUtf8(*args.Get("--server"));
  const std::u16string user = FromUtf8(args.Get("--user").value_or(""));
  if (auth) WarnClearPassword(ctx, server, port);

  Panel panel(ctx.err, args.Has("--status"));
  Sender sender(ctx.mail, ctx.err);
  int sent = 0;
  if (count == 1) {
    sent = ctx.mail.SendOneLetter(letter, server, port, sender.sock(), &panel, auth, user, password) ? 1 : 0;
  } else {
    std::u16string hello = transport::HelloWordOf(letter.From);
    if (ctx.mail.SMTPConnect(server, port, sender.sock(), &panel, auth, user, password, &hello)) {
      for (int i = 0; i < count; ++i) {
        if (!ctx.mail.SendLetter(letter, sender.sock(), &panel)) break;
        ++sent;
      }
    }
    ctx.mail.SMTPDisconnect(sender.sock(), &panel, server);
  }
  if (args.Has("--json")) {
    ctx.out << OneLine(json::object{{"server", JsonText(server)},
                                    {"port", port},
                                    {"letters", count},
                                    {"sent", sent},
                                    {"stopped", sender.stopped()}})
            << "\n";
  } else if (sent == count) {
    ctx.out << (count == 1 ? std::string("the letter was sent") : std::to_string(sent) + " letters were sent") << "\n";
  } else {
    SayTimeout(ctx, panel);
    ctx.err << "ravelin: " << sent << " of " << count << " letters sent\n";
  }
  return sent == count ? 0 : 1;
}

// ---- password ----------------------------------------------------------------------------

int RunPassword(Context& ctx, const Args& args, bool code) {
  const auto& pos = args.Positional();
  if (pos.size() != 1) return UsageError(ctx, std::string("password ") + (code ? "code" : "decode") + " needs one TEXT");
  int32_t method = transport::kAccountPasswordMethod;
  if (auto m = args.Get("--method")) {
    if (m->empty() || m->size() > 9 || m->find_first_not_of("0123456789") != std::string::npos)
      return UsageError(ctx, "--method needs a number");
    method = std::stoi(*m);
  }
  const std::u16string text = FromUtf8(pos[0]);
  ctx.out << ToUtf8(code ? transport::CodeAccountPassword(text, method)
                                     : transport::DecodeAccountPassword(text, method))
          << "\n";
  return 0;
}

// ---- servers -----------------------------------------------------------------------------

int ServersList(Context& ctx, const Args& args) {
  transport::KnownServers servers;
  const bool json = args.Has("--json");
  json::array rows;
  try {
    for (int32_t i = 1; i <= servers.Count(); ++i) {
      transport::KnownServer& s = *servers.Item(i);
      // As the options window does before it shows a provider.
      if (!s.IsConfigured()) s.SetDefaultParams();
      if (json) {
        rows.push_back(json::object{{"Key", JsonText(s.Key())},
                                    {"Name", JsonText(s.Name())},
                                    {"POPserver", JsonText(s.POPserver())},
                                    {"POPport", s.POPport()},
                                    {"SMTPserver", JsonText(s.SMTPserver())},
                                    {"SMTPport", s.SMTPport()},
                                    {"URLReg", JsonText(s.URLReg())},
                                    {"SMTPaut", s.SMTPaut()}});
      } else {
        ctx.out << ToUtf8(s.Key()) << "  " << ToUtf8(s.Name()) << "  smtp " << ToUtf8(s.SMTPserver()) << ":"
                << s.SMTPport() << (s.SMTPaut() ? " auth" : " no auth") << "  pop " << ToUtf8(s.POPserver()) << ":"
                << s.POPport() << "  " << ToUtf8(s.URLReg()) << "\n";
      }
    }
  } catch (const Error& e) {
    return Fail(ctx, ToUtf8(e.Description()));
  }
  if (json) PrintRows(ctx.out, rows);
  return 0;
}

int ServersEdit(Context& ctx, const Args& args, bool reset) {
  const auto& pos = args.Positional();
  if (pos.size() != 1) return UsageError(ctx, std::string("servers ") + (reset ? "reset" : "set") + " needs one KEY");
  transport::KnownServers servers;
  transport::KnownServer* s = servers.Item(FromUtf8(pos[0]));
  if (!s) return Fail(ctx, "no known provider '" + pos[0] + "' (see ravelin servers list)");
  try {
    if (reset) {
      s->SetDefaultParams();
      ctx.out << ToUtf8(s->Key()) << " reset\n";
      return 0;
    }
    AccountChanges c;
    if (auto e = ReadChanges(args, c); !e.empty()) return UsageError(ctx, e);
    if (!s->IsConfigured()) s->SetDefaultParams();
    if (auto v = args.Get("--name")) s->Name(FromUtf8(*v));
    if (auto v = args.Get("--url")) s->URLReg(FromUtf8(*v));
    if (c.smtp) s->SMTPserver(*c.smtp);
    if (c.smtpPort) s->SMTPport(*c.smtpPort);
    if (c.pop) s->POPserver(*c.pop);
    if (c.popPort) s->POPport(*c.popPort);
    if (c.auth) s->SMTPaut(*c.auth);
    ctx.out << ToUtf8(s->Key()) << " changed\n";
  } catch (const Error& e) {
    return Fail(ctx, ToUtf8(e.Description()));
  }
  return 0;
}

// ---- connection --------------------------------------------------------------------------

struct FlagToolbar : transport::ConnectionToolbar {
  std::u16string image;
  std::u16string ButtonImage(const std::u16string&) override { return image; }
  void SetButtonImage(const std::u16string&, const std::u16string& v) override { image = v; }
};

int RunConnection(Context& ctx, const Args& args) {
  if (!args.Positional().empty()) return UsageError(ctx, "connection takes no argument");
  FlagToolbar bar;
  ctx.mail.GetConnectionStatus(bar);
  if (args.Has("--toggle")) ctx.mail.SetConnectionStatus(bar);
  // The button offers "Connect" while offline.
  const bool online = bar.image == u"Disconnect";
  if (args.Has("--json"))
    ctx.out << OneLine(json::object{{"online", online}}) << "\n";
  else
    ctx.out << (online ? "online" : "offline") << "\n";
  return 0;
}

const OptionSpec kJsonOut{"--json", "", "print JSON (see README.md, \"JSON output\")"};
const std::vector<OptionSpec> kAccountServer = {
    {"--smtp", "HOST", "the SMTP server"},
    {"--smtp-port", "N", "its port (25 by default)"},
    {"--auth", "", "log in to the SMTP server (AUTH)"},
    {"--no-auth", "", "send without logging in"},
    {"--pop", "HOST", "the POP3 server"},
    {"--pop-port", "N", "its port (110 by default)"},
};
std::vector<OptionSpec> With(std::vector<OptionSpec> a, const std::vector<OptionSpec>& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const CommandRegistrar accountAdd({"account add", {"EMAIL"}, kAccountServer,
                                   "add a mail account (a known provider fills in its servers)", true,
                                   [](Context& c, const Args& a) { return AccountEdit(c, a, "add"); }});
const CommandRegistrar accountSet(
    {"account set", {"EMAIL"},
     With(kAccountServer, {{"--password-stdin", "", "the password from the first line of standard input"}}),
     "change a mail account", true, [](Context& c, const Args& a) { return AccountEdit(c, a, "set"); }});
const CommandRegistrar accountList({"account list", {}, {kJsonOut}, "list the mail accounts", true, AccountList});
const CommandRegistrar accountDelete({"account delete", {"EMAIL"}, {}, "remove a mail account", true,
                                      [](Context& c, const Args& a) { return AccountEdit(c, a, "delete"); }});
const CommandRegistrar sendCmd({"send",
                                {"KEY..."},
                                {{"--status", "", "print each step of the conversation on stderr"}, kJsonOut},
                                "send stored letters through their sender's account and file them in Sent",
                                true,
                                RunSend});
const CommandRegistrar smtpSend(
    {"smtp send",
     {},
     {{"--server", "H", "the SMTP server"},
      {"--port", "P", "its port (25)"},
      {"--auth", "", "log in (needs --user and --password-stdin)"},
      {"--user", "U", "the login"},
      {"--password-stdin", "", "the password from the first line of standard input"},
      {"--from", "F", "the sender"},
      {"--to", "T", "the recipients, separated by commas"},
      {"--subject", "S", "the subject"},
      {"--text", "X", "the text"},
      {"--text-file", "F", "the text from a UTF-8 file"},
      {"--attach", "FILE", "a file to attach", true},
      {"--count", "N", "send the letter N times in one session"},
      {"--timeout", "S", "seconds to wait for each reply (0: for ever)"},
      {"--status", "", "print each step of the conversation on stderr"},
      kJsonOut},
     "send a letter in one SMTP session",
     false,
     RunSmtp,
     "--server H [--port P] [--auth --user U --password-stdin] --from F --to T [--subject S] "
     "[--text X | --text-file F] [--attach FILE]... [--count N] [--timeout S] [--status] [--json]"});
const CommandRegistrar passwordCode({"password code", {"TEXT"}, {{"--method", "M", "0, 1, 2, 4 or 6 (the default)"}},
                                     "code a password as accounts store it", false,
                                     [](Context& c, const Args& a) { return RunPassword(c, a, true); }});
const CommandRegistrar passwordDecode({"password decode", {"TEXT"}, {{"--method", "M", "0, 1, 2, 4 or 6 (the default)"}},
                                       "decode a stored password", false,
                                       [](Context& c, const Args& a) { return RunPassword(c, a, false); }});
const CommandRegistrar serversList({"servers list", {}, {kJsonOut}, "list the known mail providers", false,
                                    ServersList});
const CommandRegistrar serversSet(
    {"servers set", {"KEY"},
     With(kAccountServer, {{"--name", "N", "the display name"}, {"--url", "U", "the sign-up address"}}),
     "change a known mail provider", false, [](Context& c, const Args& a) { return ServersEdit(c, a, false); }});
const CommandRegistrar serversReset({"servers reset", {"KEY"}, {}, "put a known provider's presets back", false,
                                     [](Context& c, const Args& a) { return ServersEdit(c, a, true); }});
const CommandRegistrar connectionCmd({"connection", {}, {{"--toggle", "", "switch between online and offline"}, kJsonOut},
                                      "say whether Ravelin works online", false, RunConnection});

}  // namespace
}  // namespace ravelin::cli
