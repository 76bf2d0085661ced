// End to end against a real SMTP server (Debian's aiosmtpd) that the test starts on
// 127.0.0.1; the envelopes it stores are the evidence. Skipped, with the reason, where
// the server can't start.
#include <chrono>

#include <gtest/gtest.h>

#include "facade/ravelin.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "support/test_support.h"
#include "transport/smtp_client.h"
#include "transport/tcp_socket.h"
#include "transport/aiosmtpd.h"

namespace ravelin::transport {
namespace {

using test::AioServer;
using test::MakeCertificate;

class SmtpServerTest : public test::HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    sock.Events().DataArrival = [this](int32_t n) { mail.Winsock_DataArrival(n, sock); };
    sock.Events().Close = [this] { mail.rqStat = ErrRq; };
    sock.Events().Error = [this](int32_t, const std::u16string& d) { errors.push_back(ToUtf8(d)); };
    mail.SmtpSessionOptions().timeoutOverride = std::chrono::seconds(10);
    letter.From = u"Ivan <ivan@example.org>";
    letter.to = u"a@example.org, b@example.org";
    letter.Subject = u"Привет";
    letter.Message = u"Hello, world";
    letter.Content_Type = u"text";
    letter.Content_subtype = u"plain";
    cert = home_->path() / "cert.pem";
    key = home_->path() / "key.pem";
    MakeCertificate(cert.string(), key.string());
  }
  void StartServer(const std::string& mode) {
    const std::string why = server.Start(mode, (home_->path() / "envelopes.jsonl").string(), cert.string(),
                                         key.string());
    if (!why.empty()) GTEST_SKIP() << why;
  }
  void Section(const std::u16string& key, const std::u16string& value) {
    ASSERT_TRUE(WriteIniString(u"SMTP 127.0.0.1:" + Widen(std::to_string(server.port())), key, value,
                               module1::GetIniPath()));
  }
  bool Send(bool auth = false, const std::u16string& password = u"Пароль") {
    return mail.SendOneLetter(letter, u"127.0.0.1", server.port(), sock, nullptr, auth, u"ivan", password);
  }

  Ravelin mail;
  TcpSocket sock;
  mailHeader letter;
  AioServer server;
  std::filesystem::path cert, key;
  std::vector<std::string> errors;
};

TEST_F(SmtpServerTest, PlainAndAuthenticatedLettersArrive) {
  StartServer("plain");
  ASSERT_TRUE(Send());
  ASSERT_TRUE(Send(true));
  const auto env = server.Envelopes();
  ASSERT_EQ(env.size(), 2u);
  EXPECT_NE(env[0].find(R"("from": "ivan@example.org", "to": ["a@example.org", "b@example.org"])"),
            std::string::npos)
      << env[0];
  EXPECT_NE(env[0].find(R"(From:\"Ivan\"<ivan@example.org>)"), std::string::npos) << env[0];
  EXPECT_NE(env[0].find("Hello, world"), std::string::npos);
  EXPECT_NE(env[0].find(R"("login": null)"), std::string::npos);
  EXPECT_NE(env[1].find(R"("login": "ivan")"), std::string::npos) << env[1];

  // A wrong password: the server's words in the box, nothing stored.
  EXPECT_FALSE(Send(true, u"wrong"));
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(ToUtf8(user().shown[0].text).rfind("SMTP Error: 535", 0), 0u) << ToUtf8(user().shown[0].text);
  EXPECT_EQ(server.Envelopes().size(), 2u);
}

TEST_F(SmtpServerTest, ThreeLettersInOneSessionAndARefusedRecipient) {
  StartServer("plain");
  std::u16string hello;
  ASSERT_TRUE(mail.SMTPConnect(u"127.0.0.1", server.port(), sock, nullptr, false, {}, {}, &hello));
  EXPECT_EQ(hello, u"Peakhost");
  for (int i = 0; i < 3; ++i) {
    letter.Subject = u"Letter " + Widen(std::to_string(i));
    EXPECT_TRUE(mail.SendLetter(letter, sock, nullptr)) << i;
  }
  mail.SMTPDisconnect(sock, nullptr, u"127.0.0.1");
  EXPECT_EQ(server.Envelopes().size(), 3u);

  letter.to = u"a@example.org, refuse@example.org";
  EXPECT_FALSE(Send());
  ASSERT_EQ(user().shown.size(), 1u);
  EXPECT_EQ(ToUtf8(user().shown[0].text), "SMTP Error: 550 5.1.1 <refuse@example.org>: recipient refused\r\n");
  EXPECT_EQ(server.Envelopes().size(), 3u);
}

TEST_F(SmtpServerTest, StartTlsIsVerifiedAndNeverFallsBackToClearText) {
  StartServer("starttls");
  // A server that insists on TLS refuses a clear-text letter.
  EXPECT_FALSE(Send());
  EXPECT_EQ(server.Envelopes().size(), 0u);
  user().shown.clear();

  // Asked for TLS, with the system's authorities only: our certificate is refused.
  Section(u"Security", u"starttls");
  EXPECT_FALSE(Send(true));
  ASSERT_FALSE(errors.empty());
  EXPECT_NE(errors.back().find("TLS"), std::string::npos) << errors.back();
  EXPECT_EQ(server.Envelopes().size(), 0u);

  Section(u"CAFile", cert.u16string());
  ASSERT_TRUE(Send(true)) << (errors.empty() ? "" : errors.back());
  const auto env = server.Envelopes();
  ASSERT_EQ(env.size(), 1u);
  EXPECT_NE(env[0].find(R"("login": "ivan")"), std::string::npos);
}

TEST_F(SmtpServerTest, ImplicitTls) {
  StartServer("tls");
  Section(u"Security", u"tls");
  Section(u"CAFile", cert.u16string());
  ASSERT_TRUE(Send(true)) << (errors.empty() ? "" : errors.back());
  Section(u"CAFile", u"");
  Section(u"Verify", u"0");
  ASSERT_TRUE(Send());
  EXPECT_EQ(server.Envelopes().size(), 2u);
}

}  // namespace
}  // namespace ravelin::transport
