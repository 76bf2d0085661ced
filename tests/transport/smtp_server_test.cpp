// End to end against a real SMTP server (Debian's aiosmtpd) that the test starts on
// 127.0.0.1; the envelopes it stores are the evidence. Skipped, with the reason, where
// the server can't start.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "facade/ravelin.h"
#include "platform/module1.h"
#include "platform/uniini.h"
#include "runtime/text.h"
#include "support/test_support.h"
#include "transport/smtp_client.h"
#include "transport/tcp_socket.h"

namespace ravelin::transport {
namespace {

// A self-signed certificate for 127.0.0.1 and localhost that is its own authority.
void MakeCertificate(const std::string& certPath, const std::string& keyPath) {
  EVP_PKEY* key = EVP_EC_gen("P-256");
  X509* x = X509_new();
  X509_set_version(x, 2);
  ASN1_INTEGER_set(X509_get_serialNumber(x), 1);
  X509_gmtime_adj(X509_getm_notBefore(x), -3600);
  X509_gmtime_adj(X509_getm_notAfter(x), 86400);
  X509_set_pubkey(x, key);
  X509_NAME* name = X509_get_subject_name(x);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"), -1, -1,
                             0);
  X509_set_issuer_name(x, name);
  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, x, x, nullptr, nullptr, 0);
  for (auto [nid, value] : {std::pair{NID_subject_alt_name, "IP:127.0.0.1,DNS:localhost"},
                            std::pair{NID_basic_constraints, "critical,CA:TRUE"}}) {
    X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
    X509_add_ext(x, ext, -1);
    X509_EXTENSION_free(ext);
  }
  X509_sign(x, key, EVP_sha256());
  FILE* f = fopen(certPath.c_str(), "w");
  PEM_write_X509(f, x);
  fclose(f);
  f = fopen(keyPath.c_str(), "w");
  PEM_write_PrivateKey(f, key, nullptr, nullptr, 0, nullptr, nullptr);
  fclose(f);
  X509_free(x);
  EVP_PKEY_free(key);
}

// The server process: started with a mode, stopped by closing its stdin.
class AioServer {
 public:
  ~AioServer() {
    if (pid_ > 0) {
      ::close(stdin_);
      int status = 0;
      for (int i = 0; i < 50 && ::waitpid(pid_, &status, WNOHANG) == 0; ++i) usleep(20000);
      if (::waitpid(pid_, &status, WNOHANG) == 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, &status, 0);
      }
    }
  }
  // "" when running, else why not.
  std::string Start(const std::string& mode, const std::string& envelopes, const std::string& cert = {},
                    const std::string& key = {}) {
    envelopes_ = envelopes;
    if (::access("/usr/bin/python3", X_OK) != 0) return "/usr/bin/python3 is missing";
    const std::string script = std::string(RAVELIN_SOURCE_DIR) + "/tests/transport/aiosmtpd_server.py";
    int in[2], out[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0) return "no pipes";
    pid_ = ::fork();
    if (pid_ == 0) {
      ::dup2(in[0], 0);
      ::dup2(out[1], 1);
      ::close(in[1]);
      ::close(out[0]);
      ::execl("/usr/bin/python3", "python3", script.c_str(), mode.c_str(), envelopes.c_str(), cert.c_str(),
              key.c_str(), static_cast<char*>(nullptr));
      _exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    stdin_ = in[1];
    std::string line;
    pollfd p{out[0], POLLIN, 0};
    while (line.find('\n') == std::string::npos && ::poll(&p, 1, 10000) == 1) {
      char buf[256];
      const ssize_t n = ::read(out[0], buf, sizeof buf);
      if (n <= 0) break;
      line.append(buf, static_cast<size_t>(n));
    }
    ::close(out[0]);
    if (line.rfind("PORT ", 0) != 0) return "aiosmtpd did not start (is python3-aiosmtpd installed?)";
    port_ = std::stoi(line.substr(5));
    return {};
  }
  int port() const { return port_; }
  // The stored envelopes, one JSON text each.
  std::vector<std::string> Envelopes() const {
    std::ifstream f(envelopes_);
    std::vector<std::string> out;
    for (std::string l; std::getline(f, l);) out.push_back(l);
    return out;
  }

 private:
  pid_t pid_ = -1;
  int stdin_ = -1;
  int port_ = 0;
  std::string envelopes_;
};

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
