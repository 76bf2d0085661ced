// The SMTP client on the wire: a scripted server on 127.0.0.1, written here, records the
// client's octets; the transcripts are compared exactly.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <thread>

#include <boost/asio/steady_timer.hpp>
#include <gtest/gtest.h>

#include "facade/ravelin.h"
#include "formats/charsets.h"
#include "formats/message_builder.h"
#include "platform/event_loop.h"
#include "runtime/text.h"
#include "support/test_support.h"
#include "transport/smtp_client.h"
#include "transport/tcp_socket.h"

namespace ravelin::transport {
namespace {

using namespace std::chrono_literals;

// The server's side of one connection, on blocking calls with a receive time-out so
// that a client that stops talking never hangs the test.
class Peer {
 public:
  explicit Peer(int fd) : fd_(fd) {
    timeval tv{5, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
  }
  ~Peer() { Close(); }
  void Send(const std::string& s) {
    if (fd_ >= 0) (void)::send(fd_, s.data(), s.size(), MSG_NOSIGNAL);
  }
  // One line with its CR LF; "" when the client closed or went quiet.
  std::string Line() { return Until("\r\n"); }
  // The content of DATA up to and including the final dot line.
  std::string Data() { return Until("\r\n.\r\n"); }
  void Close() {
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
  }
  // Waits until the client closes its side (or 5 s).
  bool ClientClosed() {
    char c;
    return fd_ >= 0 && ::recv(fd_, &c, 1, 0) == 0;
  }
  std::string received;

 private:
  std::string Until(const std::string& end) {
    while (true) {
      const size_t at = buffer_.find(end);
      if (at != std::string::npos) {
        std::string out = buffer_.substr(0, at + end.size());
        buffer_.erase(0, at + end.size());
        return out;
      }
      char chunk[65536];
      const ssize_t n = fd_ >= 0 ? ::recv(fd_, chunk, sizeof chunk, 0) : -1;
      if (n <= 0) return {};
      buffer_.append(chunk, static_cast<size_t>(n));
      received.append(chunk, static_cast<size_t>(n));
    }
  }
  int fd_;
  std::string buffer_;
};

// Listens on 127.0.0.1 at a port the system chooses and runs `script` for the first
// connection on a thread of its own.
class ScriptedServer {
 public:
  explicit ScriptedServer(std::function<void(Peer&)> script) {
    listen_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::bind(listen_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || ::listen(listen_, 4) != 0)
      throw std::runtime_error("cannot listen on 127.0.0.1");
    socklen_t len = sizeof a;
    ::getsockname(listen_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    thread_ = std::thread([this, script] {
      pollfd p{listen_, POLLIN, 0};
      if (::poll(&p, 1, 10000) != 1) return;
      const int fd = ::accept(listen_, nullptr, nullptr);
      if (fd < 0) return;
      Peer peer(fd);
      script(peer);
      std::lock_guard<std::mutex> lock(mu_);
      received_ = peer.received;
    });
  }
  ~ScriptedServer() {
    ::shutdown(listen_, SHUT_RDWR);  // wakes a script still waiting for its connection
    if (thread_.joinable()) thread_.join();
    ::close(listen_);
  }
  int port() const { return port_; }
  // Everything the client sent; waits for the script to end.
  std::string Received() {
    if (thread_.joinable()) thread_.join();
    std::lock_guard<std::mutex> lock(mu_);
    return received_;
  }

 private:
  int listen_ = -1;
  int port_ = 0;
  std::thread thread_;
  std::mutex mu_;
  std::string received_;
};

// A well-behaved server; `answer` may replace the reply to a command ("close" hangs up
// without a word, "silent" answers nothing).
void Converse(Peer& peer, std::map<std::string, std::string> answer = {}, bool greet = true) {
  auto reply = [&](const std::string& key, const std::string& normal) -> bool {
    const auto it = answer.find(key);
    const std::string r = it == answer.end() ? normal : it->second;
    if (r == "close") return peer.Close(), false;
    if (r == "silent") return peer.ClientClosed(), false;
    peer.Send(r);
    return r[0] == '2' || r[0] == '3';
  };
  if (greet && !reply("greeting", "220 test ESMTP\r\n")) return;
  int authStep = 0;
  while (true) {
    const std::string line = peer.Line();
    if (line.empty()) return;
    const std::string word = line.substr(0, line.find_first_of(" :\r"));
    std::string key = word;
    if (authStep == 1) key = "USER";
    if (authStep == 2) key = "PASS";
    if (authStep > 0) authStep = (authStep + 1) % 3;
    if (word == "AUTH") authStep = 1;
    if (key == "EHLO" && !reply(key, "250-test\r\n250 AUTH LOGIN\r\n")) return;
    if (key == "AUTH" && !reply(key, "334 VXNlcm5hbWU6\r\n")) return;
    if (key == "USER" && !reply(key, "334 UGFzc3dvcmQ6\r\n")) return;
    if (key == "PASS" && !reply(key, "235 welcome\r\n")) return;
    if ((key == "MAIL" || key == "RCPT") && !reply(key, "250 ok\r\n")) return;
    if (key == "DATA") {
      if (!reply(key, "354 go ahead\r\n")) return;
      if (peer.Data().empty()) return;
      if (!reply(".", "250 queued\r\n")) return;
    }
    if (key == "QUIT") {
      reply(key, "221 bye\r\n");
      return;
    }
  }
}

class SmtpWireTest : public test::HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    sock.Events().DataArrival = [this](int32_t n) { mail.Winsock_DataArrival(n, sock); };
    sock.Events().Close = [this] { mail.rqStat = ErrRq; };
    letter.From = u"Ivan <ivan@example.org>";
    letter.to = u"a@example.org";
    letter.Subject = u"Hi";
    letter.Message = u"Hello";
    letter.Content_Type = u"text";
    letter.Content_subtype = u"plain";
  }
  bool SendTo(ScriptedServer& server, bool auth = false) {
    return mail.SendOneLetter(letter, u"127.0.0.1", server.port(), sock, nullptr, auth, u"ivan", u"Пароль");
  }
  std::string Content() const {
    return ToUtf8(CreateStrField(u"Subject", letter.Subject)) + "\nFrom:\"Ivan\"<ivan@example.org>\nTo:" +
           ToUtf8(letter.to) + "\n" + ToUtf8(CodeMailer(GetMailer())) + "\n" +
           ByteTextToBytes(CreateMessageBody(letter, u"\n")) + "\r\n.\r\n";
  }

  Ravelin mail;
  TcpSocket sock;
  mailHeader letter;
};

TEST_F(SmtpWireTest, PlainAndAuthenticatedTranscriptsAreExact) {
  ScriptedServer plain([](Peer& p) { Converse(p); });
  ASSERT_TRUE(SendTo(plain));
  EXPECT_EQ(plain.Received(), "EHLO ivan\r\nMAIL FROM:ivan@example.org\r\nRCPT TO:a@example.org\r\nDATA\r\n" +
                                  Content() + "QUIT\r\n");
  EXPECT_EQ(sock.State(), sckClosed);

  ScriptedServer authed([](Peer& p) { Converse(p); });
  ASSERT_TRUE(SendTo(authed, true));
  // The user and a Cyrillic password as Base64 of their UTF-8 octets.
  EXPECT_EQ(authed.Received(), "EHLO ivan\r\nAUTH LOGIN\r\naXZhbg==\r\n0J/QsNGA0L7Qu9GM\r\n"
                               "MAIL FROM:ivan@example.org\r\nRCPT TO:a@example.org\r\nDATA\r\n" +
                                   Content() + "QUIT\r\n");
  EXPECT_TRUE(user().shown.empty());
  EXPECT_TRUE(host().Reports().empty());
}

TEST_F(SmtpWireTest, DotsAndRecipients) {
  letter.Message = u"first\r\n.\r\n.x\r\n..\r\nlast";
  letter.to = u"a@example.org, Bob <b@example.org>,c@example.org";
  ScriptedServer server([](Peer& p) { Converse(p); });
  ASSERT_TRUE(SendTo(server));
  const std::string got = server.Received();
  EXPECT_NE(got.find("RCPT TO:a@example.org\r\nRCPT TO:b@example.org\r\nRCPT TO:c@example.org\r\nDATA\r\n"),
            std::string::npos);
  // A line holding only "." is doubled so it can't end the letter; other lines go as written.
  EXPECT_NE(got.find("first\n..\n.x\n..\nlast"), std::string::npos) << got;
  EXPECT_EQ(got.find("\r\n.\r\n"), got.size() - 11) << "the only end of data is the last";
}

TEST_F(SmtpWireTest, ARefusalAtEachStepClosesTheConnection) {
  for (const std::string step : {"greeting", "EHLO", "AUTH", "USER", "PASS", "MAIL", "RCPT", "DATA", "."}) {
    SCOPED_TRACE(step);
    user().shown.clear();
    ScriptedServer server([step](Peer& p) {
      Converse(p, {{step, "535 5.7.8 refused at " + step + "\r\n"}});
      EXPECT_TRUE(p.ClientClosed()) << "the client hangs up after a refusal";
    });
    EXPECT_FALSE(SendTo(server, true));
    const std::string got = server.Received();
    EXPECT_EQ(got.find("QUIT"), std::string::npos);
    ASSERT_EQ(user().shown.size(), 1u);
    EXPECT_EQ(ToUtf8(user().shown[0].text), "SMTP Error: 535 5.7.8 refused at " + step + "\r\n");
  }
}

TEST_F(SmtpWireTest, AServerThatHangsUpOrNeverAnswersEndsTheSend) {
  {
    ScriptedServer server([](Peer& p) { Converse(p, {{"RCPT", "close"}}); });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(SendTo(server));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
    EXPECT_TRUE(user().shown.empty());
  }
  {
    mail.SmtpSessionOptions().timeoutOverride = 400ms;
    ScriptedServer server([](Peer& p) { Converse(p, {{"greeting", "silent"}}); });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(SendTo(server));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 350ms);
    EXPECT_EQ(sock.State(), sckClosed);
  }
  {
    // Nobody listens: refused at once, not after the time-out.
    mail.SmtpSessionOptions().timeoutOverride = 20s;
    int port;
    { ScriptedServer gone([](Peer&) {}); port = gone.port(); }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(mail.SendOneLetter(letter, u"127.0.0.1", port, sock, nullptr, false, {}, {}));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  }
}

TEST_F(SmtpWireTest, RepliesInPiecesAndVeryLongRepliesAreReadWhole) {
  ScriptedServer pieces([](Peer& p) {
    p.Send("220 te");
    std::this_thread::sleep_for(30ms);
    p.Send("st\r\n");
    p.Line();
    p.Send("250-test\r\n250-PIPEL");
    std::this_thread::sleep_for(30ms);
    p.Send("INING\r\n");
    std::this_thread::sleep_for(30ms);
    p.Send("250 8BITMIME\r\n");
    Converse(p, {}, false);
  });
  // The scripted part above stands for the greeting and EHLO; Converse goes on from there.
  std::u16string hello = u"ivan";
  ASSERT_TRUE(mail.SMTPConnect(u"127.0.0.1", pieces.port(), sock, nullptr, false, {}, {}, &hello));
  EXPECT_EQ(mail.rqStat, OK);
  mail.SMTPDisconnect(sock, nullptr, u"127.0.0.1");

  ScriptedServer huge([](Peer& p) {
    p.Send("220 test\r\n");
    p.Line();
    std::string reply;
    while (reply.size() < (1u << 20)) reply += "250-" + std::string(96, 'x') + "\r\n";
    p.Send(reply + "250 SIZE 0\r\n");
    Converse(p, {}, false);
  });
  EXPECT_TRUE(mail.SMTPConnect(u"127.0.0.1", huge.port(), sock, nullptr, false, {}, {}, &hello));
  EXPECT_TRUE(mail.SendLetter(letter, sock, nullptr));
  mail.SMTPDisconnect(sock, nullptr, u"127.0.0.1");
  EXPECT_TRUE(user().shown.empty());
}

TEST_F(SmtpWireTest, ASocketDestroyedInTheMiddleLeavesNothingBehind) {
  ScriptedServer server([](Peer& p) {
    p.Send("220 test\r\n");
    p.ClientClosed();
  });
  auto doomed = std::make_unique<TcpSocket>();
  bool events = false;
  doomed->Events().DataArrival = [&](int32_t) { events = true; };
  doomed->Events().Close = [&] { events = true; };
  doomed->Connect(u"127.0.0.1", server.port());
  loop::RunUntil([&] { return doomed->State() == sckConnected; }, 2s);
  doomed->SendData(std::u16string(200000, u'x'));
  doomed.reset();  // the window closed
  loop::RunUntil([] { return false; }, 200ms);
  EXPECT_FALSE(events);
}

}  // namespace
}  // namespace ravelin::transport
