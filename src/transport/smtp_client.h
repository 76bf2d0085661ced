// The SMTP client: one conversation over a Socket, driven by SMTPConnect, SendLetter and
// SMTPDisconnect, with the replies applied by DataArrival and waited for on the event
// loop. The state of a conversation (m_State, rqStat) belongs to whoever drives it; the
// client works on references to it, so each façade instance sends on its own.
//
// A reply counts by its first three characters: 250, 220, 354, 334 and 235 are
// accepted, anything else closes the socket, shows "SMTP Error: <reply>" and ends the
// conversation, except after QUIT, where it is the expected goodbye.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "formats/mime_parser.h"
#include "runtime/types.h"
#include "transport/smtp_reply.h"
#include "transport/socket.h"

namespace ravelin::transport {

// The status-bar panel the conversation reports its steps to.
class StatusPanel {
 public:
  virtual ~StatusPanel() = default;
  virtual void SetText(const std::u16string& text) = 0;
};

// A toolbar with a button keyed "Connection" whose image says online or offline.
class ConnectionToolbar {
 public:
  virtual ~ConnectionToolbar() = default;
  virtual std::u16string ButtonImage(const std::u16string& key) = 0;
  virtual void SetButtonImage(const std::u16string& key, const std::u16string& image) = 0;
  virtual void Refresh() {}
};

// How arrivals become replies. Whole: RFC 5321 replies, however the octets are cut.
// Arrival: each DataArrival is one reply, as on a platform that delivered them whole
// (kept for tests that compare the two).
enum class ReplyMode { Whole, Arrival };

enum class Security { None, StartTls, Tls };
enum class AuthMethod { Login, Plain, Auto };

// The section "[SMTP host:port]" of the settings file; absent keys keep these values,
// so a server without a section is spoken to exactly as before.
struct EndpointSettings {
  Security security = Security::None;
  bool verify = true;
  std::u16string caFile;
  AuthMethod auth = AuthMethod::Login;
  std::u16string helo;
  std::optional<int32_t> timeoutSeconds;
};

// Reads "[SMTP host:port]"; unknown values of Security or Auth raise Error 5 with the
// section named, so a typing error never silently sends in clear.
EndpointSettings ReadEndpointSettings(const std::u16string& host, int32_t port);
// "[SMTP] Timeout" in seconds; 60 when absent or not a number, 0 waits forever.
int32_t ReadSmtpTimeout();

// What a conversation keeps between the calls of its driver.
struct SmtpSession {
  ReplyReader reader;
  ReplyMode replyMode = ReplyMode::Whole;
  // Set for one conversation by SMTPConnect from the settings (0: forever); a host may
  // pin it with timeoutOverride.
  std::chrono::milliseconds timeout{60000};
  std::optional<std::chrono::milliseconds> timeoutOverride;
  std::u16string lastReply;  // the last whole reply, for the EHLO capabilities
  bool timedOut = false;     // the last wait ended by the time-out
  EndpointSettings endpoint;
};

class SmtpClient {
 public:
  SmtpClient(WinsockStates& state, RequestStat& rq, SmtpSession& session) : state_(state), rq_(rq), s_(session) {}

  // Connects, greets with EHLO (strHello, "Peakhost" when empty, written back) and,
  // with isAuth, logs in. True when the server accepted every step. Failures show
  // "Unable to connect to the server!" and give false.
  bool SMTPConnect(const std::u16string& SMTPserver, int32_t SMTPport, Socket& Winsock1, StatusPanel* Panel1,
                   bool isAuth, const std::u16string& User, const std::u16string& Password,
                   std::u16string& strHello);
  // One letter over a connected session: MAIL FROM, RCPT TO per address of `to`, DATA,
  // header lines, the MIME body, the dot. True when the dot was accepted.
  bool SendLetter(const mailHeader& mheader, Socket& Winsock1, StatusPanel* Panel1);
  // Connect, send, disconnect; the hello word comes from the sender's local part.
  bool SendOneLetter(const mailHeader& mheader, const std::u16string& SMTPserver, int32_t SMTPport,
                     Socket& Winsock1, StatusPanel* Panel1, bool isAuth, const std::u16string& User,
                     const std::u16string& Password);
  // QUIT and close; nothing when the socket is closed already.
  void SMTPDisconnect(Socket& Winsock1, StatusPanel* Panel1, const std::u16string& SMTPserver);

  // The socket's DataArrival: takes what arrived and applies each whole reply.
  void DataArrival(int32_t bytesTotal, Socket& Winsock1);
  // Blocks on the event loop until rqStat leaves Wait or the time-out passes; on the
  // time-out rqStat becomes ErrRq. The CPU is idle meanwhile.
  void WaitRq();

 private:
  void ApplyReply(const std::u16string& reply, Socket& Winsock1);
  // rqStat 0 and WaitRq after a command; false (socket closed) when it failed.
  bool Await(Socket& Winsock1, StatusPanel* Panel1);
  void Send(Socket& Winsock1, const std::u16string& byteText);
  bool StartTls(Socket& Winsock1, StatusPanel* Panel1, const std::u16string& host);
  bool Authenticate(Socket& Winsock1, StatusPanel* Panel1, const std::u16string& User,
                    const std::u16string& Password);

  WinsockStates& state_;
  RequestStat& rq_;
  SmtpSession& s_;
};

// The hello word SendOneLetter derives from a From value: the trimmed text before the
// first "@", and of that only what follows a "<".
std::u16string HelloWordOf(const std::u16string& From);

// The application's own offline flag ("[Connection] Offline" in the settings file); it
// never touches the system's network.
bool IsOffline();
void SetOffline(bool offline);
// The "Connection" button shows "Connect" while offline and "Disconnect" while online.
void GetConnectionStatus(ConnectionToolbar& Toolbar1);
// Goes online when the button shows "Connect", offline otherwise, and turns the image.
void SetConnectionStatus(ConnectionToolbar& Toolbar1);

}  // namespace ravelin::transport
