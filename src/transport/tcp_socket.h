// The socket control over Boost.Asio, on the process's one event loop.
//
// Every connection lives in a heap object that the pending I/O handlers hold, so the
// TcpSocket itself may be destroyed at any moment (a window closed in the middle of a
// send): its destructor closes the connection, and handlers that finish later find no
// owner and do nothing.
#pragma once

#include <memory>
#include <string>

#include "transport/socket.h"

namespace ravelin::transport {

class TcpSocket final : public Socket {
 public:
  TcpSocket();
  ~TcpSocket() override;
  TcpSocket(const TcpSocket&) = delete;
  TcpSocket& operator=(const TcpSocket&) = delete;

  void Connect(const std::u16string& host, int32_t port) override;
  void SendData(std::u16string_view byteText) override;
  void GetData(std::u16string& data) override;
  void Close() override;
  int32_t State() const override { return state_; }

  void UseTls(const TlsSettings& settings) override;
  void StartTls(const TlsSettings& settings) override;
  bool TlsReady() const override { return tlsReady_; }

  // Octets queued by SendData and not yet handed to the kernel.
  size_t PendingOutput() const;

 private:
  struct Conn;
  friend struct Conn;

  void OnConnected();
  void OnData(const char* data, size_t n);
  void OnPeerClosed();
  void OnFailure(int32_t number, const std::u16string& description);
  void OnSent(int64_t sent, int64_t remaining);
  void OnTlsReady();

  std::shared_ptr<Conn> conn_;
  std::string in_;
  int32_t state_ = sckClosed;
  bool tlsReady_ = false;
  bool implicitTls_ = false;
  TlsSettings tls_;
  std::u16string host_;
};

}  // namespace ravelin::transport
