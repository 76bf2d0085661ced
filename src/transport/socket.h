// The socket control the SMTP client talks through: a TCP client with the operations and
// events of the window's socket (Connect, SendData, GetData, Close, State; DataArrival,
// Close, SendProgress, Error). TcpSocket (tcp_socket.h) is the real one on the event
// loop; tests put a scripted fake in its place.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace ravelin::transport {

// Values of State, as the control numbers them.
enum SocketState : int32_t {
  sckClosed = 0,
  sckOpen = 1,
  sckListening = 2,
  sckConnectionPending = 3,
  sckResolvingHost = 4,
  sckHostResolved = 5,
  sckConnecting = 6,
  sckConnected = 7,
  sckClosing = 8,  // the peer has closed its side
  sckError = 9,
};

// Error numbers the control raises (as thrown Error and in the Error event).
namespace sockerr {
inline constexpr int32_t kWrongState = 40006;     // SendData / GetData while not connected
inline constexpr int32_t kInvalidArgument = 40014;
inline constexpr int32_t kHostNotFound = 11001;
inline constexpr int32_t kConnectionRefused = 10061;
inline constexpr int32_t kConnectionReset = 10054;
inline constexpr int32_t kTimedOut = 10060;
inline constexpr int32_t kTlsFailed = 40080;       // handshake or certificate refused
}  // namespace sockerr

// The events a host forwards. Each is optional; none fires after Close().
struct SocketEvents {
  std::function<void(int32_t bytesTotal)> DataArrival;
  std::function<void()> Close;  // the peer closed, or the connection failed
  std::function<void(int64_t bytesSent, int64_t bytesRemaining)> SendProgress;
  std::function<void(int32_t number, const std::u16string& description)> Error;
};

// How a connection is secured. None keeps the plain conversation.
struct TlsSettings {
  bool verify = true;          // certificate chain and host name
  std::u16string caFile;       // extra trust anchors (a private CA); system store otherwise
  std::u16string serverName;   // name checked and sent as SNI; the connect host when empty
};

class Socket {
 public:
  virtual ~Socket() = default;

  // Starts connecting; returns at once. Success shows as State 7; a failed lookup or a
  // refused or unreachable peer raises Error, then Close.
  virtual void Connect(const std::u16string& host, int32_t port) = 0;
  // Queues the octets of a byte text and returns; never runs the loop. Throws Error
  // 40006 when not connected.
  virtual void SendData(std::u16string_view byteText) = 0;
  // Everything received and not yet taken, as byte text. Throws 40006 when closed with
  // nothing buffered.
  virtual void GetData(std::u16string& data) = 0;
  // Closes at once, silently (no Close event); closing a closed socket does nothing.
  virtual void Close() = 0;
  virtual int32_t State() const = 0;

  // TLS. Implicit: set before Connect, the handshake runs before State becomes 7.
  // StartTls: after the server agreed, the handshake runs on the open connection;
  // TlsReady() tells when it is done, a failure raises Error and Close.
  virtual void UseTls(const TlsSettings& settings) = 0;
  virtual void StartTls(const TlsSettings& settings) = 0;
  virtual bool TlsReady() const = 0;

  SocketEvents& Events() { return events_; }

 protected:
  SocketEvents events_;
};

}  // namespace ravelin::transport
