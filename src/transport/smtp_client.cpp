// The SMTP conversation: connecting, greeting, logging in, sending letters, quitting.
#include "transport/smtp_client.h"

#include "formats/charsets.h"
#include "formats/codecs.h"
#include "formats/message_builder.h"
#include "platform/event_loop.h"
#include "platform/funnel.h"
#include "platform/interaction.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

namespace ravelin::transport {

namespace {

constexpr const char16_t* kCrLf = u"\r\n";
constexpr int32_t kStyleInformation = 64;

std::u16string Mui(const char16_t* section, const char16_t* key, const char16_t* text) {
  return module1::GetMUIString(section, key, text);
}

void Show(StatusPanel* panel, const std::u16string& text) {
  if (panel) panel->SetText(text);
}

// A true text as the UTF-8 octets it goes out as (identical to itself for ASCII).
std::u16string Utf8Octets(std::u16string_view text) { return BytesToByteText(ToUtf8(text)); }

bool Accepted(std::u16string_view code) {
  return code == u"250" || code == u"220" || code == u"354" || code == u"334" || code == u"235";
}

bool WaitingState(WinsockStates s) {
  return (s >= MAIL_CONNECT && s <= MAIL_PASS) || (s >= SMTP_HELO && s <= SMTP_AUTH);
}

std::u16string IniValue(const std::u16string& section, const std::u16string& key) {
  return ReadIniString(section, key, u"", module1::GetIniPath(), 1024);
}

// The mechanisms after "AUTH" in an EHLO reply, upper-cased, blank-separated.
std::u16string AuthMechanisms(const std::u16string& reply) {
  for (const auto& line : Split(reply, u"\n")) {
    std::u16string l = UCase(Trim(Replace(line, u"\r", u"")));
    if (l.size() > 4 && (l[3] == u'-' || l[3] == u' ')) l = l.substr(4);
    if (l.rfind(u"AUTH ", 0) == 0 || l.rfind(u"AUTH=", 0) == 0) return u" " + l.substr(5) + u" ";
  }
  return {};
}

}  // namespace

EndpointSettings ReadEndpointSettings(const std::u16string& host, int32_t port) {
  EndpointSettings e;
  const std::u16string section = u"SMTP " + host + u":" + Widen(std::to_string(port));
  const std::u16string security = LCase(Trim(IniValue(section, u"Security")));
  if (security == u"starttls")
    e.security = Security::StartTls;
  else if (security == u"tls")
    e.security = Security::Tls;
  else if (!security.empty() && security != u"none")
    RaiseError(errnum::kInvalidProcedureCall, u"[" + section + u"] Security must be none, starttls or tls");
  const std::u16string verify = Trim(IniValue(section, u"Verify"));
  e.verify = !(verify == u"0" || LCase(verify) == u"false" || LCase(verify) == u"no");
  e.caFile = Trim(IniValue(section, u"CAFile"));
  const std::u16string auth = LCase(Trim(IniValue(section, u"Auth")));
  if (auth == u"plain")
    e.auth = AuthMethod::Plain;
  else if (auth == u"auto")
    e.auth = AuthMethod::Auto;
  else if (!auth.empty() && auth != u"login")
    RaiseError(errnum::kInvalidProcedureCall, u"[" + section + u"] Auth must be login, plain or auto");
  e.helo = Trim(IniValue(section, u"Helo"));
  const std::u16string timeout = Trim(IniValue(section, u"Timeout"));
  if (!timeout.empty()) e.timeoutSeconds = static_cast<int32_t>(Val(timeout));
  return e;
}

int32_t ReadSmtpTimeout() {
  const std::u16string t = Trim(IniValue(u"SMTP", u"Timeout"));
  if (t.empty() || Val(t) < 0) return 60;
  return static_cast<int32_t>(Val(t));
}

void SmtpClient::Send(Socket& Winsock1, const std::u16string& byteText) { Winsock1.SendData(byteText); }

void SmtpClient::WaitRq() {
  s_.timedOut = false;
  const auto limit = s_.timeout.count() > 0 ? s_.timeout : std::chrono::milliseconds(std::chrono::hours(24 * 365 * 50));
  if (!loop::RunUntil([this] { return rq_ != Wait; }, limit)) {
    s_.timedOut = true;
    rq_ = ErrRq;
  }
}

bool SmtpClient::Await(Socket& Winsock1, StatusPanel* Panel1) {
  rq_ = Wait;
  WaitRq();
  if (rq_ != ErrRq) return true;
  if (s_.timedOut)
    Show(Panel1, module1::GetMUIStringF(u"Ravelin.WaitRq", u"msg1", u"The server did not answer within %1 seconds",
                                        {Widen(std::to_string(s_.timeout.count() / 1000))}));
  Winsock1.Close();
  return false;
}

void SmtpClient::DataArrival(int32_t bytesTotal, Socket& Winsock1) {
  std::u16string data;
  try {
    Winsock1.GetData(data);
  } catch (...) {
    rq_ = ErrRq;
    loop::PumpOnce();
    Winsock1.Close();
    return;
  }
  if (s_.replyMode == ReplyMode::Arrival) return ApplyReply(data, Winsock1);
  s_.reader.Add(data);
  bool tooLong = false;
  // A refused reply closes the socket; what stands behind it is not looked at.
  while (Winsock1.State() != sckClosed) {
    auto reply = s_.reader.Next(&tooLong);
    if (!reply) break;
    if (tooLong) {
      Winsock1.Close();
      if (state_ != MAIL_QUIT) {
        rq_ = ErrRq;
        WideMsgBox(u"SMTP Error: " + reply->substr(0, 200) + u"... (reply too long)", kStyleInformation,
                   u"SMTP Error");
      } else {
        rq_ = OK;
      }
      break;
    }
    ApplyReply(*reply, Winsock1);
  }
}

void SmtpClient::ApplyReply(const std::u16string& reply, Socket& Winsock1) {
  s_.lastReply = reply;
  if (Accepted(Left(reply, 3))) {
    if (WaitingState(state_)) rq_ = OK;
    return;
  }
  Winsock1.Close();
  if (state_ == MAIL_QUIT) {
    rq_ = OK;
    return;
  }
  rq_ = ErrRq;
  WideMsgBox(u"SMTP Error: " + FromUtf8(ByteTextToBytes(reply)), kStyleInformation, u"SMTP Error");
}

bool SmtpClient::StartTls(Socket& Winsock1, StatusPanel* Panel1, const std::u16string& host) {
  Show(Panel1, Mui(u"Ravelin.SMTPConnect", u"msg7", u"Starting TLS"));
  Send(Winsock1, u"STARTTLS" + std::u16string(kCrLf));
  if (!Await(Winsock1, Panel1)) return false;
  TlsSettings tls{s_.endpoint.verify, s_.endpoint.caFile, {}};
  Winsock1.StartTls(tls);
  rq_ = Wait;
  const auto limit = s_.timeout.count() > 0 ? s_.timeout : std::chrono::milliseconds(std::chrono::hours(24 * 365 * 50));
  loop::RunUntil([&] { return Winsock1.TlsReady() || rq_ != Wait || Winsock1.State() != sckConnected; }, limit);
  if (!Winsock1.TlsReady()) {
    rq_ = ErrRq;
    Winsock1.Close();
    return false;
  }
  return true;
}

bool SmtpClient::Authenticate(Socket& Winsock1, StatusPanel* Panel1, const std::u16string& User,
                              const std::u16string& Password) {
  AuthMethod method = s_.endpoint.auth;
  if (method == AuthMethod::Auto) {
    const std::u16string offered = AuthMechanisms(s_.lastReply);
    method = (offered.find(u" LOGIN ") == std::u16string::npos && offered.find(u" PLAIN ") != std::u16string::npos)
                 ? AuthMethod::Plain
                 : AuthMethod::Login;
  }
  state_ = SMTP_AUTH;
  Show(Panel1, Mui(u"Ravelin.SMTPConnect", u"msg3", u"Authorization"));
  if (method == AuthMethod::Plain) {
    const std::u16string token = std::u16string(1, u'\0') + Utf8Octets(User) + std::u16string(1, u'\0') + Utf8Octets(Password);
    Send(Winsock1, u"AUTH PLAIN " + AsciiToBase64(token) + kCrLf);
    return Await(Winsock1, Panel1);
  }
  Send(Winsock1, u"AUTH LOGIN" + std::u16string(kCrLf));
  if (!Await(Winsock1, Panel1)) return false;
  Show(Panel1, Mui(u"Ravelin.SMTPConnect", u"msg4", u"Sending the user name"));
  Send(Winsock1, AsciiToBase64(Utf8Octets(User)) + kCrLf);
  if (!Await(Winsock1, Panel1)) return false;
  Show(Panel1, Mui(u"Ravelin.SMTPConnect", u"msg5", u"Sending password"));
  Send(Winsock1, AsciiToBase64(Utf8Octets(Password)) + kCrLf);
  return Await(Winsock1, Panel1);
}

bool SmtpClient::SMTPConnect(const std::u16string& SMTPserver, int32_t SMTPport, Socket& Winsock1,
                             StatusPanel* Panel1, bool isAuth, const std::u16string& User,
                             const std::u16string& Password, std::u16string& strHello) {
  try {
    if (Trim(SMTPserver).empty()) {
      Show(Panel1, Mui(u"Ravelin.SMTPConnect", u"msg1", u"Not specified SMTP - server"));
      return false;
    }
    Winsock1.Close();
    state_ = MAIL_CONNECT;
    rq_ = Wait;
    s_.reader.Clear();
    s_.lastReply.clear();
    if (SMTPport < 1 || SMTPport > 65535) RaiseError(errnum::kOverflow);
    s_.endpoint = ReadEndpointSettings(SMTPserver, SMTPport);
    const int32_t seconds = s_.endpoint.timeoutSeconds.value_or(ReadSmtpTimeout());
    s_.timeout = s_.timeoutOverride.value_or(std::chrono::milliseconds(int64_t{seconds} * 1000));

    Show(Panel1, module1::GetMUIStringF(u"Ravelin.SMTPConnect", u"msg2", u"Connecting to server %1, port: %2",
                                        {SMTPserver, Widen(std::to_string(SMTPport))}));
    if (s_.endpoint.security == Security::Tls) Winsock1.UseTls(TlsSettings{s_.endpoint.verify, s_.endpoint.caFile, {}});
    Winsock1.Connect(SMTPserver, SMTPport);
    // The greeting is the answer waited for.
    if (!Await(Winsock1, Panel1)) return false;

    state_ = SMTP_HELO;
    if (strHello.empty()) strHello = u"Peakhost";
    const std::u16string hello = s_.endpoint.helo.empty() ? strHello : s_.endpoint.helo;
    Send(Winsock1, u"EHLO " + Utf8Octets(hello) + kCrLf);
    if (!Await(Winsock1, Panel1)) return false;

    if (s_.endpoint.security == Security::StartTls) {
      if (!StartTls(Winsock1, Panel1, SMTPserver)) return false;
      Send(Winsock1, u"EHLO " + Utf8Octets(hello) + kCrLf);
      if (!Await(Winsock1, Panel1)) return false;
    }

    if (!isAuth) return true;
    return Authenticate(Winsock1, Panel1, User, Password);
  } catch (...) {
    WideMsgBox(Mui(u"Ravelin.SMTPConnect", u"msg6", u"Unable to connect to the server!"), mb::kExclamation,
               u"");
    return false;
  }
}

bool SmtpClient::SendLetter(const mailHeader& mheader, Socket& Winsock1, StatusPanel* Panel1) {
  try {
    const std::u16string mailer = GetMailer();
    state_ = SMTP_FROM;
    Show(Panel1, module1::GetMUIStringF(u"Ravelin.SendLetter", u"txt1", u"Send the name of the sender %1",
                                        {mheader.From}));
    const std::u16string from = Trim(mheader.From);
    std::u16string addr = from;
    std::u16string header = addr;
    std::u16string name;
    const int32_t p = InStr(addr, u"<");
    if (p > 0) {
      name = Trim(Left(from, p - 1));
      const std::u16string behind = Mid(from, p + 1);
      addr = Left(behind, Len(behind) - 1);
      header = u"\"" + Replace(Trim(Left(from, p - 1)), u"\"", u"") + u"\"<" + addr + u">";
    }
    Send(Winsock1, u"MAIL FROM:" + Utf8Octets(GetEmail(addr)) + kCrLf);
    if (!Await(Winsock1, Panel1)) return false;

    state_ = SMTP_RCPTTO;
    Show(Panel1, module1::GetMUIStringF(u"Ravelin.SendLetter", u"txt2", u"Sending the list of recipients %1",
                                        {mheader.to}));
    for (const auto& element : Split(mheader.to, u",", -1, Compare::Text)) {
      Send(Winsock1, u"RCPT TO:" + Utf8Octets(GetEmail(element)) + kCrLf);
      if (!Await(Winsock1, Panel1)) return false;
    }

    state_ = SMTP_DATA;
    Send(Winsock1, u"DATA" + std::u16string(kCrLf));
    if (!Await(Winsock1, Panel1)) return false;
    Show(Panel1, module1::GetMUIStringF(u"Ravelin.SendLetter", u"txt3", u"Sending a message \"%1\" to \"%2\"",
                                        {mheader.Subject, mheader.to}));
    // Each header line in its own send, closed by a single line feed, without waiting.
    if (!mheader.Subject.empty()) Send(Winsock1, CreateStrField(u"Subject", mheader.Subject) + u"\n");
    if (!name.empty()) Send(Winsock1, u"From:" + Utf8Octets(header) + u"\n");
    Send(Winsock1, u"To:" + Utf8Octets(mheader.to) + u"\n");
    Send(Winsock1, CodeMailer(mailer) + u"\n");
    Send(Winsock1, CreateMessageBody(mheader, u"\n") + kCrLf);

    state_ = SMTP_DOT;
    Send(Winsock1, u"." + std::u16string(kCrLf));
    if (!Await(Winsock1, Panel1)) return false;
    Show(Panel1, Mui(u"Ravelin.SendLetter", u"txt4", u"Sending a letter has been successfully completed"));
    return true;
  } catch (...) {
    funnel::Report(ErrObject::FromCurrentException(), u"Ravelin.SendLetter");
    rq_ = ErrRq;
    Winsock1.Close();
    return false;
  }
}

void SmtpClient::SMTPDisconnect(Socket& Winsock1, StatusPanel* Panel1, const std::u16string& SMTPserver) {
  try {
    if (Winsock1.State() == sckClosed) return;
    state_ = MAIL_QUIT;
    Show(Panel1, Mui(u"Ravelin.SMTPDisconnect", u"txt1", u"Sending the QUIT command"));
    Send(Winsock1, u"QUIT" + std::u16string(kCrLf));
    rq_ = Wait;
    WaitRq();
    Winsock1.Close();
    if (rq_ != ErrRq)
      Show(Panel1, module1::GetMUIStringF(u"Ravelin.SMTPDisconnect", u"txt2", u"Session with the server %1 completed",
                                          {SMTPserver}));
  } catch (...) {
    funnel::Report(ErrObject::FromCurrentException(), u"Ravelin.SMTPDisconnect");
  }
}

std::u16string HelloWordOf(const std::u16string& From) {
  const int32_t at = InStr(From, u"@");
  std::u16string word = at > 0 ? Trim(Left(From, at - 1)) : std::u16string();
  const int32_t lt = InStr(word, u"<");
  if (lt > 0) word = Mid(word, lt + 1);
  return word;
}

bool SmtpClient::SendOneLetter(const mailHeader& mheader, const std::u16string& SMTPserver, int32_t SMTPport,
                               Socket& Winsock1, StatusPanel* Panel1, bool isAuth, const std::u16string& User,
                               const std::u16string& Password) {
  std::u16string hello = HelloWordOf(mheader.From);
  bool sent = false;
  if (SMTPConnect(SMTPserver, SMTPport, Winsock1, Panel1, isAuth, User, Password, hello))
    sent = SendLetter(mheader, Winsock1, Panel1);
  SMTPDisconnect(Winsock1, Panel1, SMTPserver);
  return sent;
}

bool IsOffline() {
  return Trim(ReadIniString(u"Connection", u"Offline", u"0", module1::GetIniPath(), 16)) == u"1";
}

void SetOffline(bool offline) {
  if (!WriteIniString(u"Connection", u"Offline", offline ? u"1" : u"0", module1::GetIniPath()))
    RaiseError(errnum::kPermissionDenied, u"The settings file can't be written");
}

void GetConnectionStatus(ConnectionToolbar& Toolbar1) {
  Toolbar1.SetButtonImage(u"Connection", IsOffline() ? u"Connect" : u"Disconnect");
  Toolbar1.Refresh();
}

void SetConnectionStatus(ConnectionToolbar& Toolbar1) {
  if (Toolbar1.ButtonImage(u"Connection") == u"Connect") {
    SetOffline(false);
    Toolbar1.SetButtonImage(u"Connection", u"Disconnect");
  } else {
    SetOffline(true);
    Toolbar1.SetButtonImage(u"Connection", u"Connect");
  }
}

}  // namespace ravelin::transport
