// The view server on Boost.Beast: one acceptor and its sessions on the process's loop.
#include "view_server.h"

#include <spawn.h>
#include <sys/wait.h>

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <random>

#include "platform/event_loop.h"
#include "platform/filesystem.h"
#include "presentation/html_text.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "runtime/vbstring.h"

extern char** environ;

namespace ravelin::viewer {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

namespace {

std::string RandomSecret() {
  std::random_device rd;
  static const char* hex = "0123456789abcdef";
  std::string s;
  for (int i = 0; i < 32; ++i) s += hex[rd() & 15];
  return s;
}

std::string PercentEncode(const std::string& utf8) {
  static const char* hex = "0123456789ABCDEF";
  std::string out;
  for (unsigned char c : utf8) {
    if (std::isalnum(c) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += static_cast<char>(c);
    } else {
      out += '%';
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

}  // namespace

std::optional<std::string> PercentDecode(std::string_view s) {
  std::string out;
  for (size_t i = 0; i < s.size(); ++i) {
    if (s[i] != '%') {
      out += s[i];
      continue;
    }
    if (i + 2 >= s.size() || !std::isxdigit(static_cast<unsigned char>(s[i + 1])) ||
        !std::isxdigit(static_cast<unsigned char>(s[i + 2])))
      return std::nullopt;
    out += static_cast<char>(std::stoi(std::string(s.substr(i + 1, 2)), nullptr, 16));
    i += 2;
  }
  return out;
}

std::string HtmlEscape(const std::string& s) {
  std::string out;
  for (char c : s) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      default: out += c;
    }
  }
  return out;
}

std::u16string ServedDocument(const std::u16string& html, const std::string& base) {
  std::u16string doc = presentation::RewriteExtractedRefs(html, [&](const presentation::ExtractedRef& ref) {
    const std::string route = ref.folder == presentation::TmpFilesFolder() ? "t/" : "m/";
    return std::optional<std::u16string>(FromUtf8(base + "f/" + route + PercentEncode(ToUtf8(ref.name))));
  });
  const std::u16string target = u"<base target=\"_blank\">";
  const int32_t head = InStr(1, doc, u"<head>", Compare::Text);
  if (head > 0) doc.insert(static_cast<size_t>(head - 1) + 6, target);
  else doc.insert(0, target);
  return doc;
}

FileKind KindOf(const std::u16string& name) {
  const size_t dot = name.find_last_of(u'.');
  const std::u16string ext = dot == std::u16string::npos ? std::u16string() : LCase(name.substr(dot + 1));
  static const std::pair<const char16_t*, const char*> kinds[] = {
      {u"png", "image/png"},   {u"jpg", "image/jpeg"}, {u"jpeg", "image/jpeg"}, {u"gif", "image/gif"},
      {u"webp", "image/webp"}, {u"bmp", "image/bmp"},  {u"ico", "image/x-icon"}, {u"css", "text/css"}};
  for (const auto& [e, type] : kinds)
    if (ext == e) return {type, true};
  return {"application/octet-stream", false};
}

bool OpenInBrowser(const std::string& url) {
  std::string prog = "xdg-open", arg = url;
  char* argv[] = {prog.data(), arg.data(), nullptr};
  pid_t pid = 0;
  if (posix_spawnp(&pid, "xdg-open", nullptr, nullptr, argv, environ) != 0) return false;
  int status = 0;
  waitpid(pid, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

struct ViewServer::Impl : std::enable_shared_from_this<Impl> {
  explicit Impl(asio::io_context& io) : acceptor(io) {}

  tcp::acceptor acceptor;
  std::string secret;
  std::string origin;  // "http://127.0.0.1:PORT"
  std::string docBody;
  std::string docType;
  std::string title;
  int32_t requests = 0;

  void Accept();
  http::response<http::string_body> Answer(const http::request<http::string_body>& req);
  http::response<http::string_body> File(const http::request<http::string_body>& req, const std::u16string& folder,
                                         std::string_view encodedName);
};

namespace {

class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, std::shared_ptr<ViewServer::Impl> server)
      : socket_(std::move(socket)), server_(std::move(server)) {}
  void Read() {
    req_ = {};
    http::async_read(socket_, buffer_, req_, [self = shared_from_this()](beast::error_code ec, size_t) {
      if (ec) return self->Close();
      self->Respond();
    });
  }

 private:
  void Respond() {
    res_ = std::make_shared<http::response<http::string_body>>(server_->Answer(req_));
    ++server_->requests;
    res_->keep_alive(req_.keep_alive());
    res_->prepare_payload();
    http::async_write(socket_, *res_, [self = shared_from_this()](beast::error_code ec, size_t) {
      if (ec || !self->res_->keep_alive()) return self->Close();
      self->Read();
    });
  }
  void Close() {
    beast::error_code ec;
    socket_.shutdown(tcp::socket::shutdown_send, ec);
    socket_.close(ec);
  }

  tcp::socket socket_;
  std::shared_ptr<ViewServer::Impl> server_;
  beast::flat_buffer buffer_;
  http::request<http::string_body> req_;
  std::shared_ptr<http::response<http::string_body>> res_;
};

http::response<http::string_body> Plain(const http::request<http::string_body>& req, http::status status,
                                        const std::string& text) {
  http::response<http::string_body> res(status, req.version());
  res.set(http::field::content_type, "text/plain; charset=utf-8");
  res.body() = text + "\n";
  return res;
}

void Common(http::response<http::string_body>& res) {
  res.set(http::field::server, "ravelin-view");
  res.set("X-Content-Type-Options", "nosniff");
  res.set("Referrer-Policy", "no-referrer");
  res.set(http::field::cache_control, "no-store");
  if (res.find("Content-Security-Policy") == res.end())
    res.set("Content-Security-Policy", "default-src 'none'; sandbox");
}

}  // namespace

void ViewServer::Impl::Accept() {
  acceptor.async_accept([self = shared_from_this()](beast::error_code ec, tcp::socket socket) {
    if (ec == asio::error::operation_aborted || !self->acceptor.is_open()) return;
    if (!ec) std::make_shared<Session>(std::move(socket), self)->Read();
    self->Accept();
  });
}

FileAnswer ExtractedFile(const std::u16string& folder, std::string_view encodedName, bool head) {
  FileAnswer a;
  const auto name = PercentDecode(encodedName);
  if (!name || name->empty() || name->find('/') != std::string::npos || *name == "." || *name == "..") return a;
  const std::u16string path = fs::JoinPath(folder, FromUtf8(*name));
  const std::u16string canonical = presentation::CanonicalPath(path);
  const std::u16string canonicalFolder = presentation::CanonicalPath(folder);
  // Only a file that stands directly in the folder under this very name: no link out, no
  // climbing.
  if (canonical.empty() || canonicalFolder.empty() || canonical != fs::JoinPath(canonicalFolder, FromUtf8(*name)) ||
      !fs::FileExists(canonical))
    return a;
  const FileKind kind = KindOf(FromUtf8(*name));
  a.found = true;
  a.type = kind.type;
  if (!kind.isInline) a.disposition = "attachment; filename*=UTF-8''" + PercentEncode(*name);
  if (!head) a.body = fs::ReadAll(canonical);
  return a;
}

std::string DocumentPolicy(const std::string& origin, const std::string& prefix) {
  return "default-src 'none'; script-src 'none'; object-src 'none'; img-src " + origin + prefix +
         "f/ data:; style-src 'unsafe-inline' " + origin + prefix +
         "f/; form-action 'none'; base-uri 'none'; frame-src 'none'; frame-ancestors " + origin +
         "; sandbox allow-popups allow-popups-to-escape-sandbox";
}

http::response<http::string_body> ViewServer::Impl::File(const http::request<http::string_body>& req,
                                                         const std::u16string& folder, std::string_view encodedName) {
  FileAnswer a = ExtractedFile(folder, encodedName, req.method() == http::verb::head);
  if (!a.found) return Plain(req, http::status::not_found, "not found");
  http::response<http::string_body> res(http::status::ok, req.version());
  res.set(http::field::content_type, a.type);
  if (!a.disposition.empty()) res.set(http::field::content_disposition, a.disposition);
  res.set("Content-Security-Policy", "default-src 'none'; sandbox");
  res.body() = std::move(a.body);
  return res;
}

http::response<http::string_body> ViewServer::Impl::Answer(const http::request<http::string_body>& req) {
  http::response<http::string_body> res;
  const std::string prefix = "/" + secret + "/";
  std::string target(req.target());
  if (const size_t q = target.find_first_of("?#"); q != std::string::npos) target.resize(q);
  if (target.rfind(prefix, 0) != 0) {
    res = Plain(req, http::status::not_found, "not found");
  } else if (req.method() != http::verb::get && req.method() != http::verb::head) {
    res = Plain(req, http::status::method_not_allowed, "only GET");
    res.set(http::field::allow, "GET, HEAD");
  } else {
    const std::string rest = target.substr(prefix.size());
    if (rest.empty()) {
      res = http::response<http::string_body>(http::status::ok, req.version());
      res.set(http::field::content_type, "text/html; charset=utf-8");
      res.set("Content-Security-Policy", "default-src 'none'; style-src 'unsafe-inline'; frame-src " + origin +
                                             prefix + "doc; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
      res.body() = "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>" + HtmlEscape(title) +
                   "</title><style>html,body{margin:0;height:100%}iframe{border:0;width:100%;height:100%}</style>"
                   "</head><body><iframe sandbox=\"allow-popups allow-popups-to-escape-sandbox\" "
                   "referrerpolicy=\"no-referrer\" src=\"" + prefix + "doc\"></iframe></body></html>";
    } else if (rest == "doc") {
      res = http::response<http::string_body>(http::status::ok, req.version());
      res.set(http::field::content_type, docType);
      res.set("Content-Security-Policy", DocumentPolicy(origin, prefix));
      if (req.method() != http::verb::head) res.body() = docBody;
    } else if (rest.rfind("f/m/", 0) == 0) {
      res = File(req, presentation::MailFilesFolder(), std::string_view(rest).substr(4));
    } else if (rest.rfind("f/t/", 0) == 0) {
      res = File(req, presentation::TmpFilesFolder(), std::string_view(rest).substr(4));
    } else {
      res = Plain(req, http::status::not_found, "not found");
    }
  }
  Common(res);
  return res;
}

ViewServer::ViewServer(presentation::Document doc, std::u16string title)
    : impl_(std::make_shared<Impl>(loop::Context())) {
  Impl& s = *impl_;
  beast::error_code ec;
  const tcp::endpoint local(asio::ip::make_address_v4("127.0.0.1"), 0);
  s.acceptor.open(local.protocol(), ec);
  if (!ec) s.acceptor.bind(local, ec);
  if (!ec) s.acceptor.listen(asio::socket_base::max_listen_connections, ec);
  if (ec) RaiseError(errnum::kPermissionDenied, u"Cannot listen on 127.0.0.1: " + FromUtf8(ec.message()));
  s.secret = RandomSecret();
  s.origin = "http://127.0.0.1:" + std::to_string(s.acceptor.local_endpoint().port());
  s.title = ToUtf8(title);
  const std::u16string served = ServedDocument(doc.html, "/" + s.secret + "/");
  if (doc.octets) {
    s.docBody = ByteTextToBytes(served);
    const std::u16string charset = presentation::GetHTMLcharset(doc.html);
    s.docType = charset == u"unicode" ? "text/html" : "text/html; charset=" + ToUtf8(charset);
  } else {
    s.docBody = ToUtf8(served);
    s.docType = "text/html; charset=utf-8";
  }
  s.Accept();
}

ViewServer::~ViewServer() { Stop(); }

void ViewServer::Stop() {
  beast::error_code ec;
  impl_->acceptor.close(ec);
}

uint16_t ViewServer::Port() const {
  beast::error_code ec;
  return impl_->acceptor.local_endpoint(ec).port();
}
const std::string& ViewServer::Secret() const { return impl_->secret; }
std::string ViewServer::Url() const { return impl_->origin + "/" + impl_->secret + "/"; }
int32_t ViewServer::Requests() const { return impl_->requests; }

}  // namespace ravelin::viewer
