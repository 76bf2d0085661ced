// The workbench server on Boost.Beast: one acceptor, its HTTP sessions and the pages'
// WebSockets, all on the process's loop.
#include "workbench/workbench_server.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <deque>
#include <map>
#include <random>
#include <vector>

#include "platform/event_loop.h"
#include "presentation/html_text.h"
#include "runtime/errors.h"
#include "runtime/text.h"
#include "viewer/view_server.h"
#include "workbench/web_assets.h"

#if __has_include("windows/forms/wire.h")
#include "windows/forms/wire.h"
#define RAVELIN_WORKBENCH_FORMS 1
#endif

namespace ravelin::workbench {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
using tcp = asio::ip::tcp;
using Request = http::request<http::string_body>;
using Response = http::response<http::string_body>;

std::string Member(const json::object& o, std::string_view name) {
  const auto* v = o.if_contains(name);
  if (!v || !v->is_string()) return {};
  return std::string(v->get_string());
}

std::u16string Utf16(const json::value& v) {
  if (!v.is_string()) return {};
  return FromUtf8(std::string_view(v.get_string()));
}

json::value JsonText(std::u16string_view text) { return json::string(ToUtf8(std::u16string(text))); }

namespace {

constexpr size_t kImportLimit = 512u << 20;  // the largest mailbox a page may drop at once
constexpr size_t kOtherBodyLimit = 64u << 10;  // no other request needs a body

std::string RandomSecret() {
  std::random_device rd;
  static const char* hex = "0123456789abcdef";
  std::string s;
  for (int i = 0; i < 32; ++i) s += hex[rd() & 15];
  return s;
}

// Compares without stopping at the first difference, so that timing tells nothing.
bool SameSecret(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  unsigned char diff = 0;
  for (size_t i = 0; i < a.size(); ++i) diff |= static_cast<unsigned char>(a[i] ^ b[i]);
  return diff == 0;
}

std::string QueryValue(std::string_view query, std::string_view name) {
  size_t pos = 0;
  while (pos <= query.size()) {
    const size_t end = std::min(query.find('&', pos), query.size());
    const std::string_view pair = query.substr(pos, end - pos);
    const size_t eq = pair.find('=');
    if (eq != std::string_view::npos && pair.substr(0, eq) == name) {
      auto decoded = viewer::PercentDecode(pair.substr(eq + 1));
      return decoded ? *decoded : std::string();
    }
    pos = end + 1;
  }
  return {};
}

std::string ContentType(std::string_view name) {
  if (name.ends_with(".js")) return "text/javascript; charset=utf-8";
  if (name.ends_with(".css")) return "text/css; charset=utf-8";
  if (name.ends_with(".svg")) return "image/svg+xml";
  if (name.ends_with(".png")) return "image/png";
  return "application/octet-stream";
}

Response Plain(const Request& req, http::status status, const std::string& text) {
  Response res(status, req.version());
  res.set(http::field::content_type, "text/plain; charset=utf-8");
  res.body() = text + "\n";
  return res;
}

}  // namespace

// ---- the server's state ----

class WsPage;

struct WorkbenchServer::Impl : std::enable_shared_from_this<Impl> {
  explicit Impl(asio::io_context& io) : acceptor(io) {}

  tcp::acceptor acceptor;
  std::string secret;
  uint16_t port = 0;
  int32_t requests = 0;
  bool quit = false;
  bool stopped = false;
  std::vector<std::pair<std::string, OpHandler>> handlers;
  ImportHandler importer;
  std::map<int32_t, std::pair<std::string, std::string>> documents;  // body, type
  int32_t nextDocument = 0;
  std::vector<std::weak_ptr<WsPage>> pages;
  std::vector<WsPage*> handling;  // pages whose messages are being handled, innermost last
  int32_t nextPage = 0;
  int32_t nextDialog = 0;
  std::map<int32_t, json::value> answers;

  std::string Prefix() const { return "/" + secret + "/"; }
  std::string OriginFor(std::string_view host) const { return "http://" + std::string(host); }

  void Accept();
  bool HostAllowed(const Request& req) const;
  std::optional<std::string> Route(const Request& req) const;
  Response Answer(Request& req);
  Response Shell(const Request& req, const std::string& origin, const std::string& script,
                 const std::string& data, const std::string& style = {});
  void Dispatch(WsPage& page, const std::string& text);
};

// ---- one page's WebSocket ----

class WsPage : public Page, public std::enable_shared_from_this<WsPage> {
 public:
  WsPage(tcp::socket socket, std::shared_ptr<WorkbenchServer::Impl> server, int32_t id)
      : ws_(std::move(socket)), server_(std::move(server)), id_(id) {}

  void Start(Request req) {
    ws_.set_option(websocket::stream_base::decorator(
        [](websocket::response_type& res) { res.set(http::field::server, "ravelin-workbench"); }));
    ws_.read_message_max(64u << 20);
    ws_.async_accept(req, [self = shared_from_this()](beast::error_code ec) {
      if (ec) return self->Gone();
      self->open_ = true;
#ifdef RAVELIN_WORKBENCH_FORMS
      self->wire_ = std::make_unique<windows::forms::Wire>(
          [weak = std::weak_ptr<WsPage>(self)](std::string json) {
            if (auto p = weak.lock()) p->SendText(std::move(json));
          });
#endif
      self->Read();
    });
  }

  void Send(const json::value& message) override { SendText(json::serialize(message)); }
  bool Closed() const override { return !open_; }
  int32_t Id() const override { return id_; }

  void SendText(std::string text) {
    if (!open_) return;
    out_.push_back(std::move(text));
    if (out_.size() == 1) Write();
  }

  void Close() {
    if (!open_) return;
    closing_ = true;
    // What was queued goes out first; the close frame follows the last write.
    if (out_.empty()) DoClose();
  }

#ifdef RAVELIN_WORKBENCH_FORMS
  windows::forms::Wire* FormsWire() { return wire_.get(); }
#endif

 private:
  void Read() {
    ws_.async_read(in_, [self = shared_from_this()](beast::error_code ec, size_t) {
      if (ec) return self->Gone();
      std::string text = beast::buffers_to_string(self->in_.data());
      self->in_.consume(self->in_.size());
      // The next message is awaited before this one is handled: a handler that waits
      // for the page's answer on the nested loop must be able to hear it.
      self->Read();
      self->server_->Dispatch(*self, text);
    });
  }

  void Write() {
    ws_.text(true);
    ws_.async_write(asio::buffer(out_.front()), [self = shared_from_this()](beast::error_code ec, size_t) {
      if (ec) return self->Gone();
      self->out_.pop_front();
      if (!self->out_.empty()) return self->Write();
      if (self->closing_) self->DoClose();
    });
  }

  void DoClose() {
    ws_.async_close(websocket::close_code::going_away, [self = shared_from_this()](beast::error_code) { self->Gone(); });
  }

  // The page went away (closed, reloaded, or the connection broke): every question to it
  // ends as Cancel, and its forms are abandoned.
  void Gone() {
    if (gone_) return;
    gone_ = true;
    open_ = false;
    out_.clear();
#ifdef RAVELIN_WORKBENCH_FORMS
    if (wire_) wire_->Abandon();
#endif
    beast::error_code ec;
    beast::get_lowest_layer(ws_).close(ec);
  }

  websocket::stream<tcp::socket> ws_;
  std::shared_ptr<WorkbenchServer::Impl> server_;
  int32_t id_;
  beast::flat_buffer in_;
  std::deque<std::string> out_;
  bool open_ = false, closing_ = false, gone_ = false;
#ifdef RAVELIN_WORKBENCH_FORMS
  std::unique_ptr<windows::forms::Wire> wire_;
#endif
};

// ---- HTTP sessions ----

namespace {

class Session : public std::enable_shared_from_this<Session> {
 public:
  Session(tcp::socket socket, std::shared_ptr<WorkbenchServer::Impl> server)
      : socket_(std::move(socket)), server_(std::move(server)) {}
  void Read() {
    parser_.emplace();
    parser_->body_limit(kImportLimit);
    // The head first: only an import from one of our pages may bring a large body.
    http::async_read_header(socket_, buffer_, *parser_, [self = shared_from_this()](beast::error_code ec, size_t) {
      if (ec) return self->Close();
      auto& head = self->parser_->get();
      auto& s = *self->server_;
      const auto route = s.Route(head);
      const bool import = head.method() == http::verb::post && s.HostAllowed(head) && route && *route == "import" &&
                          std::string(head[http::field::origin]) == s.OriginFor(head[http::field::host]);
      const auto length = self->parser_->content_length();
      if (!import && (self->parser_->chunked() || (length && *length > kOtherBodyLimit))) {
        // Refused without reading the body: a POST gets the refusal its head earns (no
        // secret, a foreign Origin...), anything else is too large.
        Request req = head;
        req.body().clear();
        Response res = req.method() == http::verb::post ? s.Answer(req)
                                                        : Plain(req, http::status::payload_too_large, "too large");
        res.keep_alive(false);
        return self->Respond(req, std::move(res));
      }
      self->ReadBody();
    });
  }

 private:
  void ReadBody() {
    http::async_read(socket_, buffer_, *parser_, [self = shared_from_this()](beast::error_code ec, size_t) {
      if (ec == http::error::body_limit) {
        Request req;
        return self->Respond(req, Plain(req, http::status::payload_too_large, "too large"));
      }
      if (ec) return self->Close();
      Request req = self->parser_->release();
      if (websocket::is_upgrade(req)) return self->Upgrade(std::move(req));
      Response res = self->server_->Answer(req);
      self->Respond(req, std::move(res));
    });
  }


 private:
  void Upgrade(Request req) {
    auto& s = *server_;
    const auto route = s.Route(req);
    std::string refusal;
    if (!s.HostAllowed(req)) refusal = "421";
    else if (!route || *route != "ws") refusal = "404";
    else if (std::string(req[http::field::origin]) != s.OriginFor(req[http::field::host])) refusal = "403";
    else if (s.stopped) refusal = "503";
    if (!refusal.empty()) {
      const auto status = refusal == "421"   ? http::status::misdirected_request
                          : refusal == "404" ? http::status::not_found
                          : refusal == "403" ? http::status::forbidden
                                             : http::status::service_unavailable;
      Response res = Plain(req, status, "refused");
      res.keep_alive(false);
      return Respond(req, std::move(res));
    }
    auto page = std::make_shared<WsPage>(std::move(socket_), server_, ++s.nextPage);
    std::erase_if(s.pages, [](const std::weak_ptr<WsPage>& w) { return w.expired(); });
    s.pages.push_back(page);
    page->Start(std::move(req));
  }

  void Respond(const Request& req, Response res) {
    ++server_->requests;
    res_ = std::make_shared<Response>(std::move(res));
    res_->keep_alive(req.keep_alive() && res_->result() != http::status::payload_too_large);
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
  std::shared_ptr<WorkbenchServer::Impl> server_;
  beast::flat_buffer buffer_;
  std::optional<http::request_parser<http::string_body>> parser_;
  std::shared_ptr<Response> res_;
};

void Common(Response& res) {
  res.set(http::field::server, "ravelin-workbench");
  res.set("X-Content-Type-Options", "nosniff");
  res.set("Referrer-Policy", "no-referrer");
  res.set(http::field::cache_control, "no-store");
  if (res.find("Content-Security-Policy") == res.end()) res.set("Content-Security-Policy", "default-src 'none'; sandbox");
}

}  // namespace

void WorkbenchServer::Impl::Accept() {
  acceptor.async_accept([self = shared_from_this()](beast::error_code ec, tcp::socket socket) {
    if (ec == asio::error::operation_aborted || !self->acceptor.is_open()) return;
    if (!ec) std::make_shared<Session>(std::move(socket), self)->Read();
    self->Accept();
  });
}

// Only this server's own names: a page of another site that a DNS name was pointed at
// 127.0.0.1 for sends its own name and is refused.
bool WorkbenchServer::Impl::HostAllowed(const Request& req) const {
  const std::string_view host = req[http::field::host];
  const std::string p = ":" + std::to_string(port);
  return host == "127.0.0.1" + p || host == "localhost" + p;
}

// The path behind the secret ("", "ws", "web/main.js", ...); nothing without the secret.
std::optional<std::string> WorkbenchServer::Impl::Route(const Request& req) const {
  std::string target(req.target());
  std::string query;
  if (const size_t q = target.find('?'); q != std::string::npos) {
    query = target.substr(q + 1);
    target.resize(q);
  }
  if (const size_t h = query.find('#'); h != std::string::npos) query.resize(h);
  const std::string prefix = Prefix();
  if (target.size() >= prefix.size() && SameSecret(std::string_view(target).substr(0, prefix.size()), prefix))
    return target.substr(prefix.size());
  if (!target.empty() && target[0] == '/' && SameSecret(QueryValue(query, "secret"), secret))
    return target.substr(1);
  return std::nullopt;
}

// A page of the workbench: no inline script, scripts and styles only from the web folder,
// connections only back to this server, documents only in the sandboxed frame.
Response WorkbenchServer::Impl::Shell(const Request& req, const std::string& origin, const std::string& script,
                                      const std::string& data, const std::string& style) {
  const std::string extraStyle =
      style.empty() ? std::string() : "<link rel=\"stylesheet\" href=\"" + Prefix() + "web/" + style + "\">";
  const std::string web = origin + Prefix() + "web/";
  std::string wsOrigin = origin;
  wsOrigin.replace(0, 4, "ws");
  Response res(http::status::ok, req.version());
  res.set(http::field::content_type, "text/html; charset=utf-8");
  res.set("Content-Security-Policy", "default-src 'none'; script-src " + web + "; style-src " + web +
                                         "; img-src " + web + " data:; connect-src " + origin + Prefix() + " " +
                                         wsOrigin + Prefix() + "ws " + wsOrigin + "/ws; frame-src " + origin +
                                         Prefix() + "doc/; base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
  res.body() = "<!DOCTYPE html><html><head><meta charset=\"utf-8\"><title>Ravelin</title>"
               "<link rel=\"stylesheet\" href=\"" + Prefix() + "web/style.css\">"
               + extraStyle +
               "<script type=\"module\" src=\"" + Prefix() + "web/" + script + "\"></script></head>"
               "<body " + data + "><div id=\"root\"></div></body></html>";
  return res;
}

Response WorkbenchServer::Impl::Answer(Request& req) {
  Response res;
  const auto route = Route(req);
  const bool read = req.method() == http::verb::get || req.method() == http::verb::head;
  if (!HostAllowed(req)) {
    res = Plain(req, http::status::misdirected_request, "unknown host");
  } else if (!route) {
    res = Plain(req, http::status::not_found, "not found");
  } else if (*route == "import") {
    const std::string origin = OriginFor(req[http::field::host]);
    if (req.method() != http::verb::post) {
      res = Plain(req, http::status::method_not_allowed, "only POST");
      res.set(http::field::allow, "POST");
    } else if (std::string(req[http::field::origin]) != origin) {
      res = Plain(req, http::status::forbidden, "foreign origin");
    } else if (!importer || stopped) {
      res = Plain(req, http::status::service_unavailable, "no import here");
    } else {
      std::string target(req.target());
      const size_t q = target.find('?');
      const std::string name = q == std::string::npos ? std::string() : QueryValue(target.substr(q + 1), "name");
      const json::value answer = importer(FromUtf8(name), std::move(req.body()));
      res = Response(http::status::ok, req.version());
      res.set(http::field::content_type, "application/json");
      res.body() = json::serialize(answer);
    }
  } else if (!read) {
    res = Plain(req, http::status::method_not_allowed, "only GET");
    res.set(http::field::allow, "GET, HEAD");
  } else {
    const std::string& rest = *route;
    const std::string origin = OriginFor(req[http::field::host]);
    if (rest.empty()) {
      res = Shell(req, origin, "main.js", "class=\"main\"");
    } else if (rest.rfind("form/", 0) == 0 && rest.size() > 5 &&
               rest.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_", 5) ==
                   std::string::npos) {
      res = Shell(req, origin, "form_page.js", "data-open-form=\"" + rest.substr(5) + "\"", "forms.css");
    } else if (rest.rfind("web/", 0) == 0) {
      const std::string name = rest.substr(4);
      res = Plain(req, http::status::not_found, "not found");
      for (const auto& a : WebAssets()) {
        if (a.name != name) continue;
        res = Response(http::status::ok, req.version());
        res.set(http::field::content_type, ContentType(name));
        if (req.method() != http::verb::head) res.body() = std::string(a.body);
      }
    } else if (rest.rfind("doc/", 0) == 0) {
      int32_t n = 0;
      try {
        n = std::stoi(rest.substr(4));
      } catch (...) {
      }
      auto it = documents.find(n);
      if (it == documents.end()) {
        res = Plain(req, http::status::not_found, "not found");
      } else {
        res = Response(http::status::ok, req.version());
        res.set(http::field::content_type, it->second.second);
        res.set("Content-Security-Policy", viewer::DocumentPolicy(origin, Prefix()));
        if (req.method() != http::verb::head) res.body() = it->second.first;
      }
    } else if (rest.rfind("f/m/", 0) == 0 || rest.rfind("f/t/", 0) == 0) {
      const std::u16string folder =
          rest[2] == 'm' ? presentation::MailFilesFolder() : presentation::TmpFilesFolder();
      auto a = viewer::ExtractedFile(folder, std::string_view(rest).substr(4), req.method() == http::verb::head);
      if (!a.found) {
        res = Plain(req, http::status::not_found, "not found");
      } else {
        res = Response(http::status::ok, req.version());
        res.set(http::field::content_type, a.type);
        if (!a.disposition.empty()) res.set(http::field::content_disposition, a.disposition);
        res.body() = std::move(a.body);
      }
    } else {
      res = Plain(req, http::status::not_found, "not found");
    }
  }
  Common(res);
  return res;
}

void WorkbenchServer::Impl::Dispatch(WsPage& page, const std::string& text) {
  json::object message;
  try {
    json::value v = json::parse(text);
    if (!v.is_object()) return;
    message = std::move(v.as_object());
  } catch (...) {
    return;  // not JSON: nothing a page of ours sends
  }
  const std::string op = Member(message, "op");
  if (op == "answer") {
    const auto* id = message.if_contains("id");
    if (id && id->is_int64()) {
      const auto* value = message.if_contains("value");
      answers[static_cast<int32_t>(id->as_int64())] = value ? *value : json::value(nullptr);
    }
    return;
  }
  if (op == "quit") {
    quit = true;
    return;
  }
  handling.push_back(&page);
  struct Pop {
    std::vector<WsPage*>& v;
    ~Pop() { v.pop_back(); }
  } pop{handling};
#ifdef RAVELIN_WORKBENCH_FORMS
  if (op == "event" || op == "openForm") {
    // The forms' own messages; a form that isn't registered is said in the page.
    auto* wire = page.FormsWire();
    if (wire && !wire->Receive(text) && op == "openForm")
      page.Send(json::object{{"op", "error"}, {"text", "no form " + Member(message, "name")}});
    return;
  }
#else
  if (op == "event" || op == "openForm") {
    page.Send(json::object{{"op", "error"}, {"text", "forms are not part of this build"}});
    return;
  }
#endif
  for (const auto& [prefix, handler] : handlers) {
    if (op.rfind(prefix, 0) == 0) {
      handler(page, message);
      return;
    }
  }
}

// ---- the public face ----

WorkbenchServer::WorkbenchServer(Options options) : impl_(std::make_shared<Impl>(loop::Context())) {
  Impl& s = *impl_;
  beast::error_code ec;
  const tcp::endpoint local(asio::ip::make_address_v4("127.0.0.1"), options.port);
  s.acceptor.open(local.protocol(), ec);
  if (!ec) s.acceptor.set_option(asio::socket_base::reuse_address(true), ec);
  if (!ec) s.acceptor.bind(local, ec);
  if (!ec) s.acceptor.listen(asio::socket_base::max_listen_connections, ec);
  if (ec)
    RaiseError(errnum::kPermissionDenied,
               u"Cannot listen on 127.0.0.1:" + FromUtf8(std::to_string(options.port)) + u": " + FromUtf8(ec.message()));
  s.secret = RandomSecret();
  s.port = s.acceptor.local_endpoint().port();
  s.Accept();
}

WorkbenchServer::~WorkbenchServer() {
  Stop();
  // The sessions hold the state, and end with their sockets on the loop.
  loop::PumpOnce();
}

uint16_t WorkbenchServer::Port() const { return impl_->port; }
const std::string& WorkbenchServer::Secret() const { return impl_->secret; }
std::string WorkbenchServer::Origin() const { return "http://127.0.0.1:" + std::to_string(impl_->port); }
std::string WorkbenchServer::Url() const { return Origin() + impl_->Prefix(); }

void WorkbenchServer::Handle(std::string prefix, OpHandler handler) {
  impl_->handlers.emplace_back(std::move(prefix), std::move(handler));
}
void WorkbenchServer::OnImport(ImportHandler handler) { impl_->importer = std::move(handler); }

std::string WorkbenchServer::AddDocument(const presentation::Document& doc) {
  const std::string prefix = impl_->Prefix();
  const std::u16string served = viewer::ServedDocument(doc.html, prefix);
  std::string body, type;
  if (doc.octets) {
    body = ByteTextToBytes(served);
    const std::u16string charset = presentation::GetHTMLcharset(doc.html);
    type = charset == u"unicode" ? "text/html" : "text/html; charset=" + ToUtf8(charset);
  } else {
    body = ToUtf8(served);
    type = "text/html; charset=utf-8";
  }
  const int32_t n = ++impl_->nextDocument;
  impl_->documents[n] = {std::move(body), std::move(type)};
  // A page keeps a handful of documents open; older ones go.
  while (impl_->documents.size() > 32) impl_->documents.erase(impl_->documents.begin());
  return prefix + "doc/" + std::to_string(n);
}

void WorkbenchServer::Broadcast(const json::value& message) {
  const std::string text = json::serialize(message);
  for (auto& w : impl_->pages)
    if (auto p = w.lock()) p->SendText(text);
}

int32_t WorkbenchServer::OpenPages() const {
  int32_t n = 0;
  for (auto& w : impl_->pages)
    if (auto p = w.lock(); p && !p->Closed()) ++n;
  return n;
}

Page* WorkbenchServer::CurrentPage() {
  for (auto it = impl_->handling.rbegin(); it != impl_->handling.rend(); ++it)
    if (!(*it)->Closed()) return *it;
  for (auto it = impl_->pages.rbegin(); it != impl_->pages.rend(); ++it)
    if (auto p = it->lock(); p && !p->Closed()) return p.get();
  return nullptr;
}

std::optional<json::value> WorkbenchServer::Ask(json::object dialog) {
  Impl& s = *impl_;
  Page* target = CurrentPage();
  if (!target || s.stopped) return std::nullopt;
  std::shared_ptr<WsPage> page;
  for (auto& w : s.pages)
    if (auto p = w.lock(); p.get() == target) page = p;
  if (!page) return std::nullopt;
  const int32_t id = ++s.nextDialog;
  dialog["op"] = "dialog";
  dialog["id"] = id;
  page->Send(dialog);
  auto keep = impl_;  // the server may be stopped while the question is open
  // Quit from any page ends the question too: the host is about to stop.
  const auto over = [&] { return keep->answers.count(id) || page->Closed() || keep->stopped || keep->quit; };
  while (!over()) loop::RunUntil(over, std::chrono::hours(1));
  auto it = keep->answers.find(id);
  if (it == keep->answers.end()) {
    // The page went away or the server stopped: the page's box goes too.
    page->Send(json::object{{"op", "dialogClose"}, {"id", id}});
    return std::nullopt;
  }
  json::value answer = std::move(it->second);
  keep->answers.erase(it);
  return answer;
}

bool WorkbenchServer::QuitRequested() const { return impl_->quit; }
bool WorkbenchServer::Stopped() const { return impl_->stopped; }
int32_t WorkbenchServer::Requests() const { return impl_->requests; }

void WorkbenchServer::Stop() {
  Impl& s = *impl_;
  if (s.stopped) return;
  s.stopped = true;
  beast::error_code ec;
  s.acceptor.close(ec);
  const std::string bye = json::serialize(json::object{{"op", "stopped"}});
  for (auto& w : s.pages) {
    if (auto p = w.lock()) {
      p->SendText(bye);
      p->Close();
    }
  }
}

}  // namespace ravelin::workbench
