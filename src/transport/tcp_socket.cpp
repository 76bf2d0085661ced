// The socket control on Boost.Asio: resolve, connect, TLS, gathered writes, reads.
#include "transport/tcp_socket.h"

#include <algorithm>
#include <array>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <openssl/ssl.h>

#include "platform/event_loop.h"
#include "runtime/errors.h"
#include "runtime/text.h"

namespace ravelin::transport {

namespace asio = boost::asio;
using tcp = asio::ip::tcp;

namespace {

// A large write is handed over in slices so that SendProgress moves while it goes.
constexpr size_t kWriteSlice = size_t{1} << 20;

std::u16string Describe(const boost::system::error_code& ec) { return FromUtf8(ec.message()); }

int32_t NumberOf(const boost::system::error_code& ec) {
  if (ec == asio::error::connection_refused) return sockerr::kConnectionRefused;
  if (ec == asio::error::connection_reset) return sockerr::kConnectionReset;
  if (ec == asio::error::timed_out) return sockerr::kTimedOut;
  if (ec == asio::error::host_not_found || ec == asio::error::host_not_found_try_again) return sockerr::kHostNotFound;
  if (ec.category() == asio::error::get_ssl_category()) return sockerr::kTlsFailed;
  return ec.value() != 0 ? ec.value() : sockerr::kWrongState;
}

bool IsAddress(const std::string& host) {
  boost::system::error_code ec;
  asio::ip::make_address(host, ec);
  return !ec;
}

}  // namespace

// One connection: everything the pending handlers touch. `owner` is cleared when the
// socket closes it, which silences every handler still to come.
struct TcpSocket::Conn : std::enable_shared_from_this<TcpSocket::Conn> {
  explicit Conn(TcpSocket* o) : owner(o), resolver(loop::Context()), sock(loop::Context()) {}

  TcpSocket* owner;
  tcp::resolver resolver;
  tcp::socket sock;
  std::unique_ptr<asio::ssl::context> tlsContext;
  std::unique_ptr<asio::ssl::stream<tcp::socket&>> tls;
  std::array<char, 64 * 1024> readBuffer{};
  uint64_t readEpoch = 0;  // a read of an older epoch was cancelled on purpose
  std::string out;         // queued by SendData
  std::string writing;     // being written
  size_t writeOffset = 0;
  bool writeInFlight = false;
  bool flushPosted = false;

  void Shut() {
    owner = nullptr;
    boost::system::error_code ec;
    resolver.cancel();
    sock.close(ec);
  }

  void MakeTls(const TlsSettings& settings, const std::string& host) {
    tlsContext = std::make_unique<asio::ssl::context>(asio::ssl::context::tls_client);
    tlsContext->set_options(asio::ssl::context::default_workarounds | asio::ssl::context::no_sslv2 |
                            asio::ssl::context::no_sslv3);
    const std::string name = settings.serverName.empty() ? host : ToUtf8(settings.serverName);
    if (settings.verify) {
      tlsContext->set_verify_mode(asio::ssl::verify_peer);
      if (!settings.caFile.empty())
        tlsContext->load_verify_file(ToUtf8(settings.caFile));
      else
        tlsContext->set_default_verify_paths();
      tlsContext->set_verify_callback(asio::ssl::host_name_verification(name));
    } else {
      tlsContext->set_verify_mode(asio::ssl::verify_none);
    }
    tls = std::make_unique<asio::ssl::stream<tcp::socket&>>(sock, *tlsContext);
    // Server name indication is for names only.
    if (!IsAddress(name)) SSL_set_tlsext_host_name(tls->native_handle(), name.c_str());
  }

  void Handshake(bool thenConnected) {
    auto self = shared_from_this();
    tls->async_handshake(asio::ssl::stream_base::client, [self, thenConnected](const boost::system::error_code& ec) {
      if (!self->owner) return;
      if (ec) return self->owner->OnFailure(NumberOf(ec), u"TLS: " + Describe(ec));
      if (thenConnected)
        self->owner->OnConnected();
      else
        self->owner->OnTlsReady();
    });
  }

  void Read() {
    auto self = shared_from_this();
    const uint64_t epoch = readEpoch;
    auto done = [self, epoch](const boost::system::error_code& ec, size_t n) {
      if (!self->owner || epoch != self->readEpoch) return;
      if (n > 0) {
        self->owner->OnData(self->readBuffer.data(), n);
        if (!self->owner || epoch != self->readEpoch) return;
      }
      if (ec == asio::error::eof || ec == asio::ssl::error::stream_truncated) return self->owner->OnPeerClosed();
      if (ec) return self->owner->OnFailure(NumberOf(ec), Describe(ec));
      self->Read();
    };
    if (tls)
      tls->async_read_some(asio::buffer(readBuffer), done);
    else
      sock.async_read_some(asio::buffer(readBuffer), done);
  }

  void PostFlush() {
    if (flushPosted || writeInFlight) return;
    flushPosted = true;
    auto self = shared_from_this();
    // Posted, so that every SendData of one turn of the caller leaves in one write.
    asio::post(loop::Context(), [self] {
      self->flushPosted = false;
      if (self->owner) self->Flush();
    });
  }

  void Flush() {
    if (writeInFlight) return;
    if (writeOffset >= writing.size()) {
      if (out.empty()) return;
      writing.clear();
      writing.swap(out);
      writeOffset = 0;
    }
    writeInFlight = true;
    const size_t n = std::min(kWriteSlice, writing.size() - writeOffset);
    auto self = shared_from_this();
    auto done = [self](const boost::system::error_code& ec, size_t sent) {
      self->writeInFlight = false;
      if (!self->owner) return;
      if (ec) return self->owner->OnFailure(NumberOf(ec), Describe(ec));
      self->writeOffset += sent;
      const int64_t remaining = static_cast<int64_t>(self->writing.size() - self->writeOffset + self->out.size());
      self->owner->OnSent(static_cast<int64_t>(self->writeOffset), remaining);
      if (self->owner && remaining > 0) self->Flush();
    };
    auto buffer = asio::buffer(writing.data() + writeOffset, n);
    if (tls)
      asio::async_write(*tls, buffer, done);
    else
      asio::async_write(sock, buffer, done);
  }
};

TcpSocket::TcpSocket() = default;

TcpSocket::~TcpSocket() {
  if (conn_) conn_->Shut();
}

void TcpSocket::Connect(const std::u16string& host, int32_t port) {
  Close();
  if (port < 1 || port > 65535) RaiseError(sockerr::kInvalidArgument, u"Invalid port number");
  conn_ = std::make_shared<Conn>(this);
  in_.clear();
  tlsReady_ = false;
  host_ = host;
  state_ = sckResolvingHost;
  auto conn = conn_;
  const std::string h = ToUtf8(host);
  conn->resolver.async_resolve(
      h, std::to_string(port), [conn, h](const boost::system::error_code& ec, tcp::resolver::results_type results) {
        if (!conn->owner) return;
        if (ec) return conn->owner->OnFailure(sockerr::kHostNotFound, u"Host not found: " + FromUtf8(h));
        conn->owner->state_ = sckConnecting;
        asio::async_connect(conn->sock, results, [conn, h](const boost::system::error_code& ec2, const tcp::endpoint&) {
          if (!conn->owner) return;
          if (ec2) return conn->owner->OnFailure(NumberOf(ec2), Describe(ec2));
          boost::system::error_code ignored;
          // Commands go out as several small writes; none may wait for an acknowledgement.
          conn->sock.set_option(tcp::no_delay(true), ignored);
          if (conn->owner->implicitTls_) {
            try {
              conn->MakeTls(conn->owner->tls_, h);
            } catch (const boost::system::system_error& e) {
              return conn->owner->OnFailure(sockerr::kTlsFailed, u"TLS: " + Describe(e.code()));
            }
            return conn->Handshake(true);
          }
          conn->owner->OnConnected();
        });
      });
}

void TcpSocket::SendData(std::u16string_view byteText) {
  if (state_ != sckConnected || !conn_)
    RaiseError(sockerr::kWrongState, u"Wrong protocol or connection state for the requested transaction or request");
  std::string octets = ByteTextToBytes(byteText);
  // A large body is queued without a second copy.
  if (conn_->out.empty())
    conn_->out = std::move(octets);
  else
    conn_->out += octets;
  conn_->PostFlush();
}

void TcpSocket::GetData(std::u16string& data) {
  if (in_.empty() && state_ != sckConnected && state_ != sckClosing)
    RaiseError(sockerr::kWrongState, u"Wrong protocol or connection state for the requested transaction or request");
  data = BytesToByteText(in_);
  in_.clear();
}

void TcpSocket::Close() {
  if (conn_) {
    conn_->Shut();
    conn_.reset();
  }
  state_ = sckClosed;
  tlsReady_ = false;
}

void TcpSocket::UseTls(const TlsSettings& settings) {
  implicitTls_ = true;
  tls_ = settings;
}

void TcpSocket::StartTls(const TlsSettings& settings) {
  if (state_ != sckConnected || !conn_ || conn_->tls)
    RaiseError(sockerr::kWrongState, u"Wrong protocol or connection state for the requested transaction or request");
  tls_ = settings;
  // The plain read still pending would swallow the server's handshake: cancel it.
  ++conn_->readEpoch;
  boost::system::error_code ignored;
  conn_->sock.cancel(ignored);
  try {
    conn_->MakeTls(settings, ToUtf8(host_));
  } catch (const boost::system::system_error& e) {
    RaiseError(sockerr::kTlsFailed, u"TLS: " + Describe(e.code()));
  }
  conn_->Handshake(false);
}

size_t TcpSocket::PendingOutput() const {
  if (!conn_) return 0;
  return conn_->out.size() + (conn_->writing.size() - conn_->writeOffset);
}

void TcpSocket::OnConnected() {
  state_ = sckConnected;
  tlsReady_ = conn_->tls != nullptr;
  conn_->Read();
}

void TcpSocket::OnTlsReady() {
  tlsReady_ = true;
  conn_->Read();
}

void TcpSocket::OnData(const char* data, size_t n) {
  in_.append(data, n);
  if (events_.DataArrival) {
    auto handler = events_.DataArrival;  // the handler may replace the events
    handler(static_cast<int32_t>(std::min<size_t>(in_.size(), INT32_MAX)));
  }
}

void TcpSocket::OnPeerClosed() {
  state_ = sckClosing;
  if (conn_) conn_->owner = nullptr;
  if (events_.Close) {
    auto handler = events_.Close;
    handler();
  }
}

void TcpSocket::OnFailure(int32_t number, const std::u16string& description) {
  state_ = sckError;
  if (conn_) conn_->Shut();
  if (events_.Error) {
    auto handler = events_.Error;
    handler(number, description);
  }
  if (events_.Close) {
    auto handler = events_.Close;
    handler();
  }
}

void TcpSocket::OnSent(int64_t sent, int64_t remaining) {
  if (events_.SendProgress) {
    auto handler = events_.SendProgress;
    handler(sent, remaining);
  }
}

}  // namespace ravelin::transport
