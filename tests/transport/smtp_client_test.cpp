// The SMTP client against a fake socket that controls exactly how the replies arrive:
// the state walk, the panel texts, every row of the failure table, the time-out, Stop.
#include <chrono>
#include <deque>
#include <map>

#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <gtest/gtest.h>

#include "facade/ravelin.h"
#include "formats/charsets.h"
#include "formats/codecs.h"
#include "formats/message_builder.h"
#include "platform/event_loop.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "support/test_support.h"
#include "transport/smtp_client.h"

namespace ravelin::transport {
namespace {

using namespace std::chrono_literals;

// A socket whose peer is a small table: each command gets its reply, delivered through
// the event loop in the pieces the test asks for. Records every SendData call and the
// conversation state at the moment of the call.
class FakeSocket : public Socket {
 public:
  struct Sent {
    std::string text;
    WinsockStates state;
  };
  // Replies by command: "greeting", "EHLO", "STARTTLS", "AUTH", "USER", "PASS", "MAIL",
  // "RCPT", "DATA", ".", "QUIT". Each is a list of arrivals; "<close>" closes the peer's
  // side, an empty list leaves the command unanswered.
  std::map<std::string, std::vector<std::string>> replies = {
      {"greeting", {"220 fake ESMTP\r\n"}}, {"EHLO", {"250-fake\r\n250 AUTH LOGIN PLAIN\r\n"}},
      {"AUTH", {"334 VXNlcm5hbWU6\r\n"}},   {"USER", {"334 UGFzc3dvcmQ6\r\n"}},
      {"PASS", {"235 ok\r\n"}},             {"MAIL", {"250 ok\r\n"}},
      {"RCPT", {"250 ok\r\n"}},             {"DATA", {"354 go on\r\n"}},
      {".", {"250 queued\r\n"}},            {"QUIT", {"221 bye\r\n"}},
      {"STARTTLS", {"220 ready\r\n"}},
  };
  bool refuseConnect = false;
  bool failGetData = false;
  const WinsockStates* watch = nullptr;  // the state recorded with each send
  std::vector<Sent> sent;
  std::vector<std::string> arrivals;  // what the peer delivered, in order
  int tlsStarts = 0;

  void Connect(const std::u16string&, int32_t) override {
    Close();
    state_ = sckConnecting;
    const uint64_t gen = gen_;
    boost::asio::post(loop::Context(), [this, gen] {
      if (gen != gen_) return;
      if (refuseConnect) {
        state_ = sckError;
        if (events_.Error) events_.Error(sockerr::kConnectionRefused, u"Connection refused");
        if (events_.Close) events_.Close();
        return;
      }
      state_ = sckConnected;
      Deliver(replies["greeting"]);
    });
  }

  void SendData(std::u16string_view byteText) override {
    if (state_ != sckConnected) RaiseError(sockerr::kWrongState, u"Wrong protocol or connection state");
    std::string text = ByteTextToBytes(byteText);
    sent.push_back({text, watch ? *watch : MAIL_CONNECT});
    const std::string key = KeyOf(text);
    if (!key.empty()) Deliver(replies[key]);
  }

  void GetData(std::u16string& data) override {
    if (failGetData) RaiseError(sockerr::kWrongState, u"Wrong protocol or connection state");
    data = BytesToByteText(in_);
    in_.clear();
  }
  void Close() override {
    ++gen_;
    state_ = sckClosed;
    in_.clear();
    tls_ = false;
  }
  int32_t State() const override { return state_; }
  void UseTls(const TlsSettings&) override {}
  void StartTls(const TlsSettings&) override {
    tls_ = true;
    ++tlsStarts;
  }
  bool TlsReady() const override { return tls_; }

  std::vector<std::string> Commands() const {
    std::vector<std::string> out;
    for (const auto& s : sent) out.push_back(s.text);
    return out;
  }

 private:
  // The command a send is, or "" for the header lines and the body of a letter.
  std::string KeyOf(const std::string& text) {
    if (inData_) {
      if (text == ".\r\n") {
        inData_ = false;
        return ".";
      }
      return {};
    }
    if (authStep_ == 1) return authStep_ = 2, "USER";
    if (authStep_ == 2) return authStep_ = 0, "PASS";
    const std::string word = text.substr(0, text.find_first_of(" :\r"));
    if (word == "AUTH" && text.find("LOGIN") != std::string::npos) authStep_ = 1;
    if (word == "DATA") inData_ = true;
    return word;
  }

  void Deliver(const std::vector<std::string>& pieces) {
    for (const auto& piece : pieces) {
      const uint64_t gen = gen_;
      boost::asio::post(loop::Context(), [this, gen, piece] {
        if (gen != gen_ || state_ != sckConnected) return;
        arrivals.push_back(piece);
        if (piece == "<close>") {
          state_ = sckClosing;
          if (events_.Close) events_.Close();
          return;
        }
        in_ += piece;
        if (events_.DataArrival) events_.DataArrival(static_cast<int32_t>(in_.size()));
      });
    }
  }

  int32_t state_ = sckClosed;
  uint64_t gen_ = 0;
  std::string in_;
  bool inData_ = false;
  int authStep_ = 0;
  bool tls_ = false;
};

struct RecordingPanel : StatusPanel {
  std::vector<std::u16string> texts;
  void SetText(const std::u16string& text) override { texts.push_back(text); }
};

class SmtpClientTest : public test::HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    sock.watch = &mail.m_State;
    // What a window does with its socket's events.
    sock.Events().DataArrival = [this](int32_t n) { mail.Winsock_DataArrival(n, sock); };
    sock.Events().Close = [this] { mail.rqStat = ErrRq; };
    letter.From = u"Ivan <ivan@example.org>";
    letter.to = u"a@example.org, b@example.org";
    letter.Subject = u"Hi";
    letter.Message = u"Hello";
    letter.Content_Type = u"text";
    letter.Content_subtype = u"plain";
  }

  bool SendOne(bool auth = true) {
    return mail.SendOneLetter(letter, u"mx.example.org", 25, sock, &panel, auth, u"ivan", u"secret");
  }
  std::vector<std::u16string> Boxes() {
    std::vector<std::u16string> out;
    for (const auto& s : user().shown) out.push_back(s.text);
    return out;
  }
  bool Sent(const std::string& command) const {
    for (const auto& s : sock.sent)
      if (s.text == command) return true;
    return false;
  }

  Ravelin mail;
  FakeSocket sock;
  RecordingPanel panel;
  mailHeader letter;
};

TEST_F(SmtpClientTest, AuthenticatedLetterWalksTheStatesAndReportsEveryStep) {
  ASSERT_TRUE(SendOne());
  const std::u16string body = CreateMessageBody(letter, u"\n");
  const std::vector<std::pair<std::string, WinsockStates>> expected = {
      {"EHLO ivan\r\n", SMTP_HELO},
      {"AUTH LOGIN\r\n", SMTP_AUTH},
      {"aXZhbg==\r\n", SMTP_AUTH},
      {"c2VjcmV0\r\n", SMTP_AUTH},
      {"MAIL FROM:ivan@example.org\r\n", SMTP_FROM},
      {"RCPT TO:a@example.org\r\n", SMTP_RCPTTO},
      {"RCPT TO:b@example.org\r\n", SMTP_RCPTTO},
      {"DATA\r\n", SMTP_DATA},
      {ToUtf8(CreateStrField(u"Subject", u"Hi")) + "\n", SMTP_DATA},
      {"From:\"Ivan\"<ivan@example.org>\n", SMTP_DATA},
      {"To:a@example.org, b@example.org\n", SMTP_DATA},
      {ToUtf8(CodeMailer(GetMailer())) + "\n", SMTP_DATA},
      {ByteTextToBytes(body) + "\r\n", SMTP_DATA},
      {".\r\n", SMTP_DOT},
      {"QUIT\r\n", MAIL_QUIT},
  };
  ASSERT_EQ(sock.sent.size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_EQ(sock.sent[i].text, expected[i].first) << "send " << i;
    EXPECT_EQ(sock.sent[i].state, expected[i].second) << "send " << i;
  }
  const std::vector<std::u16string> texts = {
      u"Connecting to server mx.example.org, port: 25",
      u"Authorization",
      u"Sending the user name",
      u"Sending password",
      u"Send the name of the sender Ivan <ivan@example.org>",
      u"Sending the list of recipients a@example.org, b@example.org",
      u"Sending a message \"Hi\" to \"a@example.org, b@example.org\"",
      u"Sending a letter has been successfully completed",
      u"Sending the QUIT command",
      u"Session with the server mx.example.org completed",
  };
  EXPECT_EQ(panel.texts, texts);
  EXPECT_TRUE(user().shown.empty());  // "221 bye" ends the session without a box
  EXPECT_EQ(mail.rqStat, OK);
  EXPECT_EQ(sock.State(), sckClosed);
}

TEST_F(SmtpClientTest, SenderAndRecipientsAsTheyGoOut) {
  struct Row {
    std::u16string from, to;
    std::vector<std::string> expectSent, expectAbsent;
  };
  const Row rows[] = {
      // No display name: no From line, and the hello word is the local part.
      {u"ivan@example.org", u"a@example.org", {"EHLO ivan\r\n", "MAIL FROM:ivan@example.org\r\n"}, {}},
      // An empty "to" sends no RCPT at all and goes straight to DATA.
      {u"ivan@example.org", u"", {"DATA\r\n", "To:\n"}, {}},
      // Quotes in the name are dropped and put back around it.
      {u"\"Ivan P\" <ivan@example.org>", u"Bob <b@example.org>, c@example.org",
       {"From:\"Ivan P\"<ivan@example.org>\n", "RCPT TO:b@example.org\r\n", "RCPT TO:c@example.org\r\n"}, {}},
      // A sender without "@" greets as "Peakhost".
      {u"postmaster", u"a@example.org", {"EHLO Peakhost\r\n", "MAIL FROM:postmaster\r\n"}, {}},
      // Texts beyond ASCII go out as UTF-8.
      {u"Иван <ivan@example.org>", u"a@example.org", {"From:\"Иван\"<ivan@example.org>\n"}, {}},
  };
  for (const auto& row : rows) {
    FakeSocket fresh;
    fresh.watch = &mail.m_State;
    fresh.Events().DataArrival = [&](int32_t n) { mail.Winsock_DataArrival(n, fresh); };
    fresh.Events().Close = [&] { mail.rqStat = ErrRq; };
    letter.From = row.from;
    letter.to = row.to;
    letter.cc = u"cc@example.org";
    letter.bcc = u"bcc@example.org";
    EXPECT_TRUE(mail.SendOneLetter(letter, u"mx", 25, fresh, &panel, false, {}, {})) << ToUtf8(row.from);
    const auto commands = fresh.Commands();
    for (const auto& s : row.expectSent)
      EXPECT_NE(std::find(commands.begin(), commands.end(), s), commands.end()) << s;
    for (const auto& c : commands) {
      EXPECT_EQ(c.find("cc@example.org"), std::string::npos) << "cc/bcc are never sent: " << c;
      if (row.to.empty()) {
        EXPECT_NE(c.rfind("RCPT", 0), 0u);
      }
      if (row.from.find(u'<') == std::u16string::npos) {
        EXPECT_NE(c.rfind("From:", 0), 0u);
      }
    }
  }
}

TEST_F(SmtpClientTest, HowTheRepliesArriveDoesNotMatterWhenReadWhole) {
  // The same conversation, with every reply whole, cut into pieces, or run together
  // with a multi-line reply.
  const std::vector<std::vector<std::string>> ehloShapes = {
      {"250-fake\r\n250-PIPELINING\r\n250 AUTH LOGIN\r\n"},
      {"25", "0-fake\r\n250-PIPE", "LINING\r\n250 AUTH", " LOGIN\r", "\n"},
      {"250-fake\r\n", "250-PIPELINING\r\n", "250 AUTH LOGIN\r\n"},
  };
  for (const auto& shape : ehloShapes) {
    FakeSocket fresh;
    fresh.Events().DataArrival = [&](int32_t n) { mail.Winsock_DataArrival(n, fresh); };
    fresh.Events().Close = [&] { mail.rqStat = ErrRq; };
    fresh.replies["EHLO"] = shape;
    fresh.replies["."] = {"554 rejected as spam\r\n"};
    user().shown.clear();
    EXPECT_FALSE(mail.SendOneLetter(letter, u"mx", 25, fresh, &panel, true, u"u", u"p"));
    ASSERT_EQ(Boxes().size(), 1u);
    EXPECT_EQ(Boxes()[0], u"SMTP Error: 554 rejected as spam\r\n");
  }
}

TEST_F(SmtpClientTest, ReadingEachArrivalAsOneReplyReportsARefusedLetterSent) {
  // Why replies are read whole: a greeting reply cut in two puts the client one reply
  // ahead, and the refusal of the letter arrives after it was counted as sent.
  mail.SmtpSessionOptions().replyMode = ReplyMode::Arrival;
  sock.replies["EHLO"] = {"250-fake\r\n", "250 AUTH LOGIN\r\n"};
  sock.replies["."] = {"554 rejected\r\n"};
  EXPECT_TRUE(SendOne(false));
  mail.SmtpSessionOptions().replyMode = ReplyMode::Whole;
  FakeSocket fresh;
  fresh.Events().DataArrival = [&](int32_t n) { mail.Winsock_DataArrival(n, fresh); };
  fresh.Events().Close = [&] { mail.rqStat = ErrRq; };
  fresh.replies = sock.replies;
  EXPECT_FALSE(mail.SendOneLetter(letter, u"mx", 25, fresh, &panel, false, {}, {}));
}

TEST_F(SmtpClientTest, EveryRefusalEndsTheSessionWithTheServersWords) {
  struct Row {
    std::string step;
    bool connectFails;  // SMTPConnect false (else SendLetter false)
  };
  const Row rows[] = {{"greeting", true}, {"EHLO", true}, {"AUTH", true}, {"USER", true}, {"PASS", true},
                      {"MAIL", false},    {"RCPT", false}, {"DATA", false}, {".", false}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.step);
    FakeSocket fresh;
    fresh.Events().DataArrival = [&](int32_t n) { mail.Winsock_DataArrival(n, fresh); };
    fresh.Events().Close = [&] { mail.rqStat = ErrRq; };
    fresh.replies[row.step] = {"550-first line\r\n550 no such thing\r\n"};
    user().shown.clear();
    host().ClearReports();
    RecordingPanel p;
    std::u16string hello = u"ivan";
    const bool connected = mail.SMTPConnect(u"mx", 25, fresh, &p, true, u"u", u"p", &hello);
    EXPECT_EQ(connected, !row.connectFails);
    if (connected) {
      EXPECT_FALSE(mail.SendLetter(letter, fresh, &p));
    }
    mail.SMTPDisconnect(fresh, &p, u"mx");
    EXPECT_EQ(mail.rqStat, ErrRq);
    EXPECT_EQ(fresh.State(), sckClosed);
    ASSERT_EQ(user().shown.size(), 1u) << "one box, and never msg6 for a refusal";
    EXPECT_EQ(user().shown[0].text, u"SMTP Error: 550-first line\r\n550 no such thing\r\n");
    EXPECT_EQ(user().shown[0].style, 64);
    EXPECT_EQ(user().shown[0].title, u"SMTP Error");
    EXPECT_TRUE(host().Reports().empty());
    const auto commands = fresh.Commands();
    EXPECT_FALSE(std::count(commands.begin(), commands.end(), "QUIT\r\n"))
        << "a closed session sends no QUIT";
    EXPECT_NE(p.texts.back(), u"Session with the server mx completed");
  }
}

TEST_F(SmtpClientTest, FailureTableRows) {
  // A refused connection fails at once, without a box.
  sock.refuseConnect = true;
  EXPECT_FALSE(SendOne());
  EXPECT_TRUE(user().shown.empty());
  EXPECT_EQ(sock.State(), sckClosed);
  sock.refuseConnect = false;

  // The peer closes in the middle: the Close event ends the wait.
  sock.replies["RCPT"] = {"<close>"};
  EXPECT_FALSE(SendOne());
  EXPECT_EQ(mail.rqStat, ErrRq);
  EXPECT_TRUE(user().shown.empty());
  EXPECT_EQ(sock.State(), sckClosed);
  sock.replies["RCPT"] = {"250 ok\r\n"};

  // GetData failing in the data event: ErrRq and closed.
  sock.failGetData = true;
  EXPECT_FALSE(SendOne());
  EXPECT_EQ(sock.State(), sckClosed);
  sock.failGetData = false;

  // An empty server name: msg1 on the panel and nothing else.
  panel.texts.clear();
  std::u16string hello;
  EXPECT_FALSE(mail.SMTPConnect(u"  ", 25, sock, &panel, false, {}, {}, &hello));
  EXPECT_EQ(panel.texts, std::vector<std::u16string>{u"Not specified SMTP - server"});

  // A port outside 1..65535 is the connect handler's case: msg6.
  EXPECT_FALSE(mail.SMTPConnect(u"mx", 70000, sock, &panel, false, {}, {}, &hello));
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(user().shown[0].text, u"Unable to connect to the server!");
  EXPECT_EQ(user().shown[0].style, 48);
  user().shown.clear();

  // SendLetter on a socket the peer closed: reported under its source, ErrRq, closed.
  host().ClearReports();
  EXPECT_FALSE(mail.SendLetter(letter, sock, &panel));
  ASSERT_EQ(host().Reports().size(), 1u);
  EXPECT_EQ(host().Reports()[0].source, u"Ravelin.SendLetter");
  EXPECT_EQ(host().Reports()[0].err.Number, sockerr::kWrongState);
  EXPECT_EQ(mail.rqStat, ErrRq);

  // After QUIT a listed code leaves the wait to the time-out; an unlisted one is OK.
  mail.SmtpSessionOptions().timeoutOverride = 300ms;
  sock.replies["QUIT"] = {"250 fine\r\n"};
  EXPECT_TRUE(mail.SMTPConnect(u"mx", 25, sock, &panel, false, {}, {}, &hello));
  panel.texts.clear();
  mail.SMTPDisconnect(sock, &panel, u"mx");
  EXPECT_EQ(mail.rqStat, ErrRq);
  EXPECT_EQ(panel.texts, std::vector<std::u16string>{u"Sending the QUIT command"});
}

TEST_F(SmtpClientTest, AReplyBeyondTheLimitIsARefusal) {
  sock.replies["EHLO"] = {std::string(5u << 20, 'x')};  // 5 MiB and no line end
  EXPECT_FALSE(SendOne());
  EXPECT_EQ(sock.State(), sckClosed);
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(user().shown[0].text.rfind(u"SMTP Error: xxx", 0), 0u);
  EXPECT_NE(user().shown[0].text.find(u"(reply too long)"), std::u16string::npos);
  EXPECT_LT(user().shown[0].text.size(), 300u);
}

TEST_F(SmtpClientTest, ASilentServerTimesOutWithTheSettingAndTheSocketCloses) {
  ASSERT_TRUE(WriteIniString(u"SMTP", u"Timeout", u"1", module1::GetIniPath()));
  sock.replies["MAIL"] = {};
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(SendOne(false));
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, 900ms);
  EXPECT_LT(took, 5s);
  EXPECT_EQ(sock.State(), sckClosed);
  EXPECT_NE(std::find(panel.texts.begin(), panel.texts.end(), u"The server did not answer within 1 seconds"),
            panel.texts.end());
  EXPECT_TRUE(user().shown.empty());

  // The endpoint's own section wins over the general setting.
  ASSERT_TRUE(WriteIniString(u"SMTP mx.example.org:25", u"Timeout", u"0", module1::GetIniPath()));
  ASSERT_TRUE(WriteIniString(u"SMTP", u"Timeout", u"30", module1::GetIniPath()));
  EXPECT_EQ(ReadEndpointSettings(u"mx.example.org", 25).timeoutSeconds, 0);
  EXPECT_EQ(ReadSmtpTimeout(), 30);
}

TEST_F(SmtpClientTest, StopDuringTheWaitEndsTheSendAtOnce) {
  sock.replies["DATA"] = {};  // never answered
  boost::asio::steady_timer stop(loop::Context(), 100ms);
  stop.async_wait([this](const boost::system::error_code&) {
    // The Stop button: ErrRq, then the socket closed.
    mail.rqStat = ErrRq;
    sock.Close();
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(SendOne(false));
  EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
  EXPECT_EQ(sock.State(), sckClosed);
  EXPECT_TRUE(user().shown.empty());
  EXPECT_TRUE(host().Reports().empty());
}

TEST_F(SmtpClientTest, AServersOwnSectionChangesOnlyWhatItSays) {
  const std::u16string section = u"SMTP mx.example.org:25";
  const std::u16string ini = module1::GetIniPath();
  ASSERT_TRUE(WriteIniString(section, u"Helo", u"host.example.org", ini));
  ASSERT_TRUE(WriteIniString(section, u"Auth", u"plain", ini));
  sock.replies["AUTH"] = {"235 ok\r\n"};
  ASSERT_TRUE(SendOne());
  // "\0ivan\0secret" in Base64, in one step.
  EXPECT_EQ(sock.sent[0].text, "EHLO host.example.org\r\n");
  EXPECT_EQ(sock.sent[1].text, "AUTH PLAIN AGl2YW4Ac2VjcmV0\r\n");
  EXPECT_EQ(sock.sent[2].text, "MAIL FROM:ivan@example.org\r\n");

  // auto: LOGIN when offered, PLAIN when only that is.
  ASSERT_TRUE(WriteIniString(section, u"Auth", u"auto", ini));
  sock.replies["EHLO"] = {"250-fake\r\n250 AUTH PLAIN\r\n"};
  sock.sent.clear();
  ASSERT_TRUE(SendOne());
  EXPECT_EQ(sock.sent[1].text, "AUTH PLAIN AGl2YW4Ac2VjcmV0\r\n");
  sock.replies["EHLO"] = {"250-fake\r\n250 AUTH PLAIN LOGIN\r\n"};
  sock.replies["AUTH"] = {"334 VXNlcm5hbWU6\r\n"};
  sock.sent.clear();
  ASSERT_TRUE(SendOne());
  EXPECT_EQ(sock.sent[1].text, "AUTH LOGIN\r\n");

  // STARTTLS: greeted again after the handshake; refused, nothing more is said.
  ASSERT_TRUE(WriteIniString(section, u"Security", u"starttls", ini));
  sock.sent.clear();
  ASSERT_TRUE(SendOne(false));
  EXPECT_EQ(sock.sent[1].text, "STARTTLS\r\n");
  EXPECT_EQ(sock.sent[2].text, "EHLO host.example.org\r\n");
  EXPECT_EQ(sock.sent[3].text, "MAIL FROM:ivan@example.org\r\n");
  EXPECT_EQ(sock.tlsStarts, 1);
  sock.replies["STARTTLS"] = {"454 TLS not available\r\n"};
  sock.sent.clear();
  EXPECT_FALSE(SendOne(false));
  EXPECT_EQ(sock.sent.size(), 2u);
  user().shown.clear();

  // A misspelt security setting never sends in clear: the connection isn't made.
  ASSERT_TRUE(WriteIniString(section, u"Security", u"startls", ini));
  sock.sent.clear();
  EXPECT_FALSE(SendOne());
  EXPECT_TRUE(sock.sent.empty());
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(user().shown[0].text, u"Unable to connect to the server!");
}

TEST_F(SmtpClientTest, TwoInstancesKeepTheirOwnState) {
  Ravelin other;
  other.m_State = SMTP_DOT;
  other.rqStat = OK;
  sock.replies["DATA"] = {"354 go\r\n"};
  EXPECT_TRUE(SendOne());
  EXPECT_EQ(other.m_State, SMTP_DOT);
  EXPECT_EQ(other.rqStat, OK);
  EXPECT_EQ(mail.m_State, MAIL_QUIT);
}

TEST_F(SmtpClientTest, ConnectionStatusIsTheApplicationsFlag) {
  struct Toolbar : ConnectionToolbar {
    std::u16string image = u"?";
    std::u16string ButtonImage(const std::u16string&) override { return image; }
    void SetButtonImage(const std::u16string&, const std::u16string& v) override { image = v; }
  } bar;
  mail.GetConnectionStatus(bar);
  EXPECT_EQ(bar.image, u"Disconnect");  // online unless told otherwise
  mail.SetConnectionStatus(bar);
  EXPECT_EQ(bar.image, u"Connect");
  EXPECT_TRUE(IsOffline());
  bar.image = u"?";
  mail.GetConnectionStatus(bar);
  EXPECT_EQ(bar.image, u"Connect");
  mail.SetConnectionStatus(bar);
  EXPECT_FALSE(IsOffline());
}

}  // namespace
}  // namespace ravelin::transport
