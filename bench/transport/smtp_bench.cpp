// The SMTP client against a local sink: 1,000 letters of 10 KiB over one connection
// (with Python's smtplib doing the same against the same sink in the same run), one
// letter with a 25 MiB attachment, and the CPU spent waiting on a silent server.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>

#include "facade/ravelin.h"
#include "platform/host_common.h"
#include "platform/interaction.h"
#include "runtime/text.h"
#include "transport/smtp_client.h"
#include "transport/tcp_socket.h"

namespace {

using namespace ravelin;
using namespace ravelin::transport;

double ThreadCpuSeconds() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

// An SMTP sink on 127.0.0.1: answers every command at once and swallows the letters.
// `silent` accepts and never says a word.
class Sink {
 public:
  explicit Sink(bool silent = false) : silent_(silent) {
    listen_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(listen_, reinterpret_cast<sockaddr*>(&a), sizeof a);
    ::listen(listen_, 8);
    socklen_t len = sizeof a;
    ::getsockname(listen_, reinterpret_cast<sockaddr*>(&a), &len);
    port_ = ntohs(a.sin_port);
    thread_ = std::thread([this] { Run(); });
  }
  ~Sink() {
    stop_ = true;
    ::shutdown(listen_, SHUT_RDWR);
    thread_.join();
    ::close(listen_);
  }
  int port() const { return port_; }
  size_t letters() const { return letters_; }

 private:
  void Run() {
    while (!stop_) {
      pollfd p{listen_, POLLIN, 0};
      if (::poll(&p, 1, 100) != 1) continue;
      const int fd = ::accept(listen_, nullptr, nullptr);
      if (fd < 0) continue;
      Serve(fd);
      ::close(fd);
    }
  }
  void Say(int fd, const char* s) { (void)::send(fd, s, strlen(s), MSG_NOSIGNAL); }
  void Serve(int fd) {
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    if (silent_) {
      char c;
      while (!stop_) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 100) == 1 && ::recv(fd, &c, 1, 0) <= 0) return;
      }
      return;
    }
    Say(fd, "220 sink ESMTP\r\n");
    std::string buf;
    bool data = false;
    std::vector<char> chunk(1 << 20);
    while (true) {
      const ssize_t n = ::recv(fd, chunk.data(), chunk.size(), 0);
      if (n <= 0) return;
      buf.append(chunk.data(), static_cast<size_t>(n));
      while (true) {
        if (data) {
          const size_t end = buf.find("\r\n.\r\n");
          if (end == std::string::npos) {
            // Only a possible start of the end mark is kept.
            if (buf.size() > 4) buf.erase(0, buf.size() - 4);
            break;
          }
          buf.erase(0, end + 5);
          data = false;
          ++letters_;
          Say(fd, "250 queued\r\n");
          continue;
        }
        const size_t eol = buf.find("\r\n");
        if (eol == std::string::npos) break;
        std::string verb = buf.substr(0, std::min<size_t>(eol, 4));
        for (auto& c : verb) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
        // The CR LF of the DATA line stays: an empty letter ends at once.
        buf.erase(0, verb == "DATA" ? eol : eol + 2);
        if (verb == "EHLO") {
          Say(fd, "250-sink\r\n250 PIPELINING\r\n");
        } else if (verb == "DATA") {
          data = true;
          Say(fd, "354 go ahead\r\n");
        } else if (verb == "QUIT") {
          Say(fd, "221 bye\r\n");
          return;
        } else {
          Say(fd, "250 ok\r\n");
        }
      }
    }
  }

  bool silent_;
  int listen_ = -1;
  int port_ = 0;
  std::thread thread_;
  std::atomic<bool> stop_{false};
  std::atomic<size_t> letters_{0};
};

// Quiet host: no boxes, no reports on the terminal.
struct QuietHost {
  QuietHost() {
    auto host = std::make_shared<DefaultHostCommon>();
    host->SetQuiet(true);
    SetHostCommon(host);
  }
};

mailHeader TenKiBLetter() {
  mailHeader h;
  h.From = u"Bench <bench@example.org>";
  h.to = u"sink@example.org";
  h.Subject = u"Benchmark letter";
  h.Content_Type = u"text";
  h.Content_subtype = u"plain";
  std::u16string line = u"The quick brown fox jumps over the lazy dog, again and again and again.\r\n";
  while (h.Message.size() < 10 * 1024) h.Message += line;
  return h;
}

void Wire(Ravelin& mail, TcpSocket& sock) {
  sock.Events().DataArrival = [&](int32_t n) { mail.Winsock_DataArrival(n, sock); };
  sock.Events().Close = [&] { mail.rqStat = ErrRq; };
}

void BM_OneConnection1000Letters(benchmark::State& state) {
  static QuietHost quiet;
  Sink sink;
  const mailHeader letter = TenKiBLetter();
  double cpu = 0;
  size_t sent = 0;
  for (auto _ : state) {
    Ravelin mail;
    TcpSocket sock;
    Wire(mail, sock);
    const double c0 = ThreadCpuSeconds();
    std::u16string hello = u"bench";
    if (!mail.SMTPConnect(u"127.0.0.1", sink.port(), sock, nullptr, false, {}, {}, &hello))
      return state.SkipWithError("connect failed");
    for (int i = 0; i < 1000; ++i)
      if (!mail.SendLetter(letter, sock, nullptr)) return state.SkipWithError("letter refused");
    mail.SMTPDisconnect(sock, nullptr, u"127.0.0.1");
    cpu += ThreadCpuSeconds() - c0;
    sent += 1000;
  }
  state.counters["letters/s"] = benchmark::Counter(static_cast<double>(sent), benchmark::Counter::kIsRate);
  state.counters["cpu_ms_per_1000"] = cpu * 1000.0 / (static_cast<double>(sent) / 1000.0);
}
BENCHMARK(BM_OneConnection1000Letters)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

// The peer: Python's smtplib, one connection, the same 1,000 letters of 10 KiB to the
// same sink; the time is Python's own, from connect to quit.
void BM_PythonSmtplib1000Letters(benchmark::State& state) {
  Sink sink;
  const std::string script =
      "import smtplib, time, sys\n"
      "body = 'Subject: Benchmark letter\\r\\nFrom: bench@example.org\\r\\nTo: sink@example.org\\r\\n\\r\\n' + "
      "('The quick brown fox jumps over the lazy dog, again and again and again.\\r\\n' * 140)\n"
      "t0 = time.perf_counter(); c0 = time.process_time()\n"
      "s = smtplib.SMTP('127.0.0.1', int(sys.argv[1]))\n"
      "for i in range(1000): s.sendmail('bench@example.org', ['sink@example.org'], body)\n"
      "s.quit()\n"
      "print(time.perf_counter() - t0, time.process_time() - c0)\n";
  double cpu = 0;
  size_t sent = 0;
  for (auto _ : state) {
    const std::string cmd = "/usr/bin/python3 -c \"$RAVELIN_PEER\" " + std::to_string(sink.port());
    setenv("RAVELIN_PEER", script.c_str(), 1);
    FILE* p = popen(cmd.c_str(), "r");
    double seconds = 0, cpuSeconds = 0;
    if (!p || fscanf(p, "%lf %lf", &seconds, &cpuSeconds) != 2) {
      if (p) pclose(p);
      return state.SkipWithError("python3 smtplib peer did not run");
    }
    pclose(p);
    state.SetIterationTime(seconds);
    cpu += cpuSeconds;
    sent += 1000;
  }
  state.counters["letters/s"] = benchmark::Counter(static_cast<double>(sent), benchmark::Counter::kIsRate);
  state.counters["cpu_ms_per_1000"] = cpu * 1000.0 / (static_cast<double>(sent) / 1000.0);
}
BENCHMARK(BM_PythonSmtplib1000Letters)->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

void BM_Attachment25MiB(benchmark::State& state) {
  static QuietHost quiet;
  Sink sink;
  mailHeader letter = TenKiBLetter();
  letter.Content_Type = u"multipart";
  letter.Content_subtype = u"mixed";
  AttachFile file;
  file.fname = u"big.bin";
  file.ContentDisposition = u"attachment";
  file.ftype = u"application";
  file.fsubtype = u"octet-stream";
  std::mt19937 rng(7);
  file.fData.resize(25u << 20);
  for (auto& c : file.fData) c = static_cast<char16_t>(rng() & 0xFF);
  letter.attFiles.push_back(std::move(file));
  for (auto _ : state) {
    Ravelin mail;
    TcpSocket sock;
    Wire(mail, sock);
    if (!mail.SendOneLetter(letter, u"127.0.0.1", sink.port(), sock, nullptr, false, {}, {}))
      return state.SkipWithError("send failed");
  }
  rusage ru{};
  getrusage(RUSAGE_SELF, &ru);
  state.counters["MB/s"] = benchmark::Counter(25.0 * 1.048576 * static_cast<double>(state.iterations()),
                                              benchmark::Counter::kIsRate);
  state.counters["peak_rss_MiB"] = static_cast<double>(ru.ru_maxrss) / 1024.0;
}
BENCHMARK(BM_Attachment25MiB)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// Waiting 2 s for a greeting that never comes: the CPU must stay idle.
void BM_SilentServerWait2s(benchmark::State& state) {
  static QuietHost quiet;
  Sink sink(true);
  double cpu = 0;
  for (auto _ : state) {
    Ravelin mail;
    TcpSocket sock;
    Wire(mail, sock);
    mail.SmtpSessionOptions().timeoutOverride = std::chrono::seconds(2);
    const double c0 = ThreadCpuSeconds();
    std::u16string hello;
    mail.SMTPConnect(u"127.0.0.1", sink.port(), sock, nullptr, false, {}, {}, &hello);
    cpu += ThreadCpuSeconds() - c0;
  }
  state.counters["cpu_ms_per_wait"] = cpu * 1000.0 / static_cast<double>(state.iterations());
}
BENCHMARK(BM_SilentServerWait2s)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);

}  // namespace
