// Test helpers around Debian's aiosmtpd: the server process (tests/transport/
// aiosmtpd_server.py) on 127.0.0.1, and a certificate for it made on the spot.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include <openssl/pem.h>
#include <openssl/x509v3.h>

namespace ravelin::test {

// A self-signed certificate for 127.0.0.1 and localhost that is its own authority.
inline void MakeCertificate(const std::string& certPath, const std::string& keyPath) {
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

}  // namespace ravelin::test
