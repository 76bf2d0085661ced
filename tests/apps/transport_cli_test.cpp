// The sending commands of `ravelin` run as a user runs them, against a real SMTP server
// (aiosmtpd) on 127.0.0.1: accounts, a stored letter sent and filed, a session of several
// letters, a dead server, Ctrl-C in the middle of a send.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include <chrono>
#include <filesystem>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "support/program_runner.h"
#include "support/test_support.h"
#include "transport/aiosmtpd.h"

namespace {

namespace stdfs = std::filesystem;

using Outcome = ravelin::test::ProgramOutcome;

// Runs the program with `input` on stdin; with `interruptAfter` it gets SIGINT then.
Outcome RunCli(const stdfs::path& home, std::vector<std::string> args, const std::string& input = {},
               std::chrono::milliseconds interruptAfter = {}) {
  std::vector<std::string> argv = {RAVELIN_CLI_PATH, "--home", home.string()};
  argv.insert(argv.end(), args.begin(), args.end());
  ravelin::test::ProgramOptions o;
  o.input = input;
  o.interruptAfter = interruptAfter;
  return ravelin::test::RunProgram(argv, o);
}

class TransportCliTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::string why = server.Start("plain", (home.path() / "envelopes.jsonl").string());
    if (!why.empty()) GTEST_SKIP() << why;
    port = std::to_string(server.port());
  }
  Outcome R(std::vector<std::string> args, const std::string& input = {}) { return RunCli(home.path(), args, input); }
  stdfs::path Letter(const std::string& name, const std::string& to) {
    const stdfs::path p = home.path() / name;
    std::ofstream(p, std::ios::binary) << "From: Ivan <ivan@example.org>\r\nTo: " << to
                                       << "\r\nSubject: " << name
                                       << "\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nHello.\r\n";
    return p;
  }

  ravelin::test::TempDir home;
  ravelin::test::AioServer server;
  std::string port;
};

TEST_F(TransportCliTest, AnAccountSendsAStoredLetterAndFilesItInSent) {
  ASSERT_EQ(R({"account", "add", "ivan@example.org", "--smtp", "127.0.0.1", "--smtp-port", port, "--auth"}).code, 0);
  ASSERT_EQ(R({"account", "set", "ivan@example.org", "--password-stdin"}, "Пароль\n").code, 0);
  const Outcome list = R({"account", "list", "--json"});
  EXPECT_NE(list.out.find("\"Method\": 6"), std::string::npos) << list.out;
  EXPECT_EQ(list.out.find("Пароль"), std::string::npos) << "the password is shown as stored";

  ASSERT_EQ(R({"import", "--folder", "Outbox", Letter("good.eml", "friend@example.net").string(),
               Letter("refused.eml", "refuse@example.net").string()})
                .code,
            0);
  const Outcome sent = R({"send", "1", "--json"});
  EXPECT_EQ(sent.code, 0) << sent.err;
  EXPECT_NE(sent.out.find("\"sent\": true, \"MailFolder\": \"Sent\""), std::string::npos) << sent.out;
  const Outcome refused = R({"send", "2"});
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.err.find("SMTP Error: 550"), std::string::npos) << refused.err;
  EXPECT_NE(R({"list", "--folder", "Outbox"}).out.find("refused.eml"), std::string::npos) << "it stays";
  EXPECT_NE(R({"list", "--folder", "Sent"}).out.find("good.eml"), std::string::npos);
  ASSERT_EQ(server.Envelopes().size(), 1u);
  EXPECT_NE(server.Envelopes()[0].find("\"login\": \"ivan\""), std::string::npos);

  // No account for the sender: said so, nothing sent.
  ASSERT_EQ(R({"account", "delete", "ivan@example.org"}).code, 0);
  const Outcome none = R({"send", "2"});
  EXPECT_EQ(none.code, 1);
  EXPECT_NE(none.err.find("Account \"ivan@example.org\" is not found!"), std::string::npos) << none.err;
}

TEST_F(TransportCliTest, OneSessionForSeveralLettersAndWhatFailureLooksLike) {
  const Outcome three = R({"smtp", "send", "--server", "127.0.0.1", "--port", port, "--from", "a@example.org", "--to",
                           "b@example.org", "--subject", "Hi", "--text", "Hello", "--count", "3", "--status", "--json"});
  EXPECT_EQ(three.code, 0) << three.err;
  EXPECT_EQ(three.out, "{\"server\": \"127.0.0.1\", \"port\": " + port +
                           ", \"letters\": 3, \"sent\": 3, \"stopped\": false}\n");
  EXPECT_NE(three.err.find("Connecting to server 127.0.0.1, port: " + port + "\n"), std::string::npos);
  EXPECT_EQ(server.Envelopes().size(), 3u);

  const Outcome wrong = R({"smtp", "send", "--server", "127.0.0.1", "--port", port, "--auth", "--user", "ivan",
                           "--password-stdin", "--from", "a@example.org", "--to", "b@example.org"},
                          "wrong\n");
  EXPECT_EQ(wrong.code, 1);
  EXPECT_NE(wrong.err.find("SMTP Error: 535"), std::string::npos) << wrong.err;

  // Nobody listens on a port the system just gave back.
  int s = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
  socklen_t len = sizeof a;
  getsockname(s, reinterpret_cast<sockaddr*>(&a), &len);
  const std::string deadPort = std::to_string(ntohs(a.sin_port));
  close(s);
  const Outcome dead = R({"smtp", "send", "--server", "127.0.0.1", "--port", deadPort, "--from", "a@example.org",
                          "--to", "b@example.org"});
  EXPECT_EQ(dead.code, 1);
  EXPECT_NE(dead.err.find("ravelin: Connection refused"), std::string::npos) << dead.err;

  EXPECT_EQ(R({"smtp", "send", "--server", "h", "--port", "70000", "--from", "a", "--to", "b"}).code, 2);

  // A server that never answers, with a time-out of one second.
  int quiet = socket(AF_INET, SOCK_STREAM, 0);
  a.sin_port = 0;
  bind(quiet, reinterpret_cast<sockaddr*>(&a), sizeof a);
  listen(quiet, 1);
  getsockname(quiet, reinterpret_cast<sockaddr*>(&a), &len);
  const Outcome silent = R({"smtp", "send", "--server", "127.0.0.1", "--port", std::to_string(ntohs(a.sin_port)),
                            "--timeout", "1", "--from", "a@example.org", "--to", "b@example.org"});
  close(quiet);
  EXPECT_EQ(silent.code, 1);
  EXPECT_NE(silent.err.find("ravelin: The server did not answer within 1 seconds\n"), std::string::npos) << silent.err;
}

TEST_F(TransportCliTest, CtrlCStopsASendThatWaits) {
  // A server that accepts and never speaks.
  int s = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in a{};
  a.sin_family = AF_INET;
  a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
  listen(s, 1);
  socklen_t len = sizeof a;
  getsockname(s, reinterpret_cast<sockaddr*>(&a), &len);
  const auto start = std::chrono::steady_clock::now();
  const Outcome stopped = RunCli(home.path(),
                              {"smtp", "send", "--server", "127.0.0.1", "--port", std::to_string(ntohs(a.sin_port)),
                               "--from", "a@example.org", "--to", "b@example.org", "--json"},
                              {}, std::chrono::milliseconds(700));
  close(s);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
  EXPECT_EQ(stopped.code, 1);
  EXPECT_NE(stopped.err.find("Sending stopped by the user"), std::string::npos) << stopped.err;
  EXPECT_NE(stopped.out.find("\"stopped\": true"), std::string::npos) << stopped.out;
}

TEST_F(TransportCliTest, PasswordsProvidersAndTheOfflineFlag) {
  const Outcome coded = R({"password", "code", "Пароль", "--method", "6"});
  ASSERT_EQ(coded.code, 0);
  std::string text = coded.out.substr(0, coded.out.size() - 1);
  EXPECT_EQ(R({"password", "decode", text, "--method", "6"}).out, "Пароль\n");

  const Outcome servers = R({"servers", "list", "--json"});
  EXPECT_NE(servers.out.find("\"SMTPserver\": \"smtp.gmail.com\""), std::string::npos) << servers.out;
  EXPECT_EQ(R({"servers", "set", "gmail.com", "--smtp-port", "587"}).code, 0);
  EXPECT_NE(R({"servers", "list"}).out.find("smtp.gmail.com:587"), std::string::npos);
  EXPECT_EQ(R({"servers", "reset", "gmail.com"}).code, 0);
  EXPECT_NE(R({"servers", "list"}).out.find("smtp.gmail.com:25"), std::string::npos);
  EXPECT_EQ(R({"servers", "set", "example.org"}).code, 1);

  EXPECT_EQ(R({"connection", "--json"}).out, "{\"online\": true}\n");
  EXPECT_EQ(R({"connection", "--toggle"}).out, "offline\n");
  EXPECT_EQ(R({"send", "1"}).code, 1) << "no sending while offline";
  EXPECT_EQ(R({"connection", "--toggle", "--json"}).out, "{\"online\": true}\n");
}

}  // namespace
