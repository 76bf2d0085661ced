// The view server at the HTTP level: the secret guards every path, the document and its
// frame carry the headers that keep a hostile letter inert, and the file route serves
// only files of the extraction folders, by their own names.
#include <filesystem>
#include <fstream>
#include <map>

#include <boost/asio/connect.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <gtest/gtest.h>

#include "platform/event_loop.h"
#include "presentation/html_text.h"
#include "formats/charsets.h"
#include "support/test_support.h"
#include "runtime/text.h"
#include "viewer/view_server.h"

namespace ravelin::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
using tcp = asio::ip::tcp;

struct Reply {
  int status = 0;
  std::map<std::string, std::string> headers;
  std::string body;
  std::string H(const std::string& k) const {
    auto it = headers.find(k);
    return it == headers.end() ? "" : it->second;
  }
};

// One request on the process's loop, as a browser would send it.
Reply Fetch(uint16_t port, const std::string& target, http::verb verb = http::verb::get) {
  tcp::socket socket(loop::Context());
  beast::flat_buffer buffer;
  http::request<http::empty_body> req(verb, target, 11);
  req.set(http::field::host, "127.0.0.1");
  http::response<http::string_body> res;
  bool done = false;
  beast::error_code failure;
  socket.async_connect(tcp::endpoint(asio::ip::make_address_v4("127.0.0.1"), port), [&](beast::error_code ec) {
    if (ec) {
      failure = ec;
      done = true;
      return;
    }
    http::async_write(socket, req, [&](beast::error_code ec, size_t) {
      if (ec) {
        failure = ec;
        done = true;
        return;
      }
      http::async_read(socket, buffer, res, [&](beast::error_code ec, size_t) {
        failure = ec;
        done = true;
      });
    });
  });
  EXPECT_TRUE(loop::RunUntil([&] { return done; }, std::chrono::seconds(10)));
  EXPECT_FALSE(failure) << failure.message();
  Reply r;
  r.status = static_cast<int>(res.result_int());
  for (const auto& f : res) r.headers[std::string(f.name_string())] = std::string(f.value());
  r.body = res.body();
  return r;
}

class ViewServerTest : public HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    presentation::EnsurePrivateFolder(presentation::MailFilesFolder());
    Put(u"pic.png", "PNG");
    Put(u"evil.svg", "<svg onload=alert(1)></svg>");
  }
  static void Put(const std::u16string& name, const std::string& data) {
    std::ofstream(ToUtf8(presentation::AddPathSeparator(presentation::MailFilesFolder()) + name), std::ios::binary)
        << data;
  }
  std::u16string Target(const std::u16string& name) {
    return u"file://" + GetUnicodeHTMLString(presentation::AddPathSeparator(presentation::MailFilesFolder()) + name);
  }
};

TEST_F(ViewServerTest, EveryPathNeedsTheSecret) {
  viewer::ViewServer server({u"<html><body>x</body></html>", false}, u"t");
  const std::string s = "/" + server.Secret() + "/";
  EXPECT_EQ(server.Secret().size(), 32u);
  for (const std::string& t : {std::string("/"), std::string("/doc"), std::string("/f/m/pic.png"),
                               std::string("/0123456789abcdef0123456789abcdef/doc"), "/" + server.Secret(),
                               "/" + server.Secret() + "doc"})
    EXPECT_EQ(Fetch(server.Port(), t).status, 404) << t;
  EXPECT_EQ(Fetch(server.Port(), s + "doc").status, 200);
  EXPECT_EQ(Fetch(server.Port(), s + "doc", http::verb::post).status, 405);
  viewer::ViewServer other({u"x", false}, u"t");
  EXPECT_NE(other.Secret(), server.Secret());
}

TEST_F(ViewServerTest, FrameAndDocumentCarryTheProtectiveHeaders) {
  const std::u16string html = u"<html><head><meta http-equiv=refresh content=0;url=http://127.0.0.2/></head>"
                              u"<body><img src=\"" + Target(u"pic.png") + u"\"><script>alert(1)</script></body></html>";
  viewer::ViewServer server({html, false}, u"A <letter>");
  const std::string s = "/" + server.Secret() + "/";

  const Reply frame = Fetch(server.Port(), s);
  ASSERT_EQ(frame.status, 200);
  EXPECT_NE(frame.body.find("<iframe sandbox=\"allow-popups allow-popups-to-escape-sandbox\""), std::string::npos);
  EXPECT_EQ(frame.body.find("allow-scripts"), std::string::npos);
  EXPECT_NE(frame.body.find("<title>A &lt;letter&gt;</title>"), std::string::npos);
  EXPECT_EQ(frame.H("X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(frame.H("Referrer-Policy"), "no-referrer");

  const Reply doc = Fetch(server.Port(), s + "doc");
  ASSERT_EQ(doc.status, 200);
  EXPECT_EQ(doc.H("Content-Type"), "text/html; charset=utf-8");
  const std::string csp = doc.H("Content-Security-Policy");
  for (const char* part : {"default-src 'none'", "script-src 'none'", "object-src 'none'", "form-action 'none'",
                           "base-uri 'none'", "sandbox allow-popups"})
    EXPECT_NE(csp.find(part), std::string::npos) << part << " in " << csp;
  EXPECT_EQ(csp.find("allow-scripts"), std::string::npos);
  EXPECT_NE(csp.find("img-src http://127.0.0.1:" + std::to_string(server.Port()) + s + "f/ data:"), std::string::npos);
  EXPECT_EQ(doc.H("X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(doc.H("Referrer-Policy"), "no-referrer");
  // Extracted files are reached through the file route; file:// is gone.
  EXPECT_NE(doc.body.find("<img src=\"" + s + "f/m/pic.png\">"), std::string::npos) << doc.body;
  EXPECT_EQ(doc.body.find("file://"), std::string::npos);
  EXPECT_NE(doc.body.find("<head><base target=\"_blank\">"), std::string::npos);
}

TEST_F(ViewServerTest, DocumentHeldAsOctetsKeepsItsOwnCharset) {
  viewer::ViewServer server({u"<meta content=\"text/html; charset=koi8-r\">\xED", true}, u"t");
  const Reply doc = Fetch(server.Port(), "/" + server.Secret() + "/doc");
  EXPECT_EQ(doc.H("Content-Type"), "text/html; charset=koi8-r");
  EXPECT_EQ(doc.body.back(), '\xED');
}

TEST_F(ViewServerTest, FileRouteServesOnlyExtractedFilesAndScriptsAsDownloads) {
  viewer::ViewServer server({u"x", false}, u"t");
  const std::string f = "/" + server.Secret() + "/f/m/";
  const Reply png = Fetch(server.Port(), f + "pic.png");
  ASSERT_EQ(png.status, 200);
  EXPECT_EQ(png.body, "PNG");
  EXPECT_EQ(png.H("Content-Type"), "image/png");
  EXPECT_EQ(png.H("Content-Disposition"), "");
  EXPECT_EQ(png.H("X-Content-Type-Options"), "nosniff");

  const Reply svg = Fetch(server.Port(), f + "evil.svg");
  ASSERT_EQ(svg.status, 200);
  EXPECT_EQ(svg.H("Content-Type"), "application/octet-stream");
  EXPECT_EQ(svg.H("Content-Disposition"), "attachment; filename*=UTF-8''evil.svg");

  // Climbing out of the folder, by any spelling, and links that lead out are refused.
  std::ofstream(ToUtf8(HomeFile("secret.txt"))) << "secret";
  std::filesystem::create_symlink(ToUtf8(HomeFile("secret.txt")),
                                  ToUtf8(presentation::AddPathSeparator(presentation::MailFilesFolder()) + u"link.png"));
  for (const std::string& t : {"..%2Fsecret.txt", "%2E%2E%2Fsecret.txt", "..", "%2e%2e", "link.png", "missing.png",
                               "pic.png%2F", "%ZZ"}) {
    const Reply r = Fetch(server.Port(), f + t);
    EXPECT_EQ(r.status, 404) << t;
    EXPECT_EQ(r.body.find("secret"), std::string::npos) << t;
  }
  EXPECT_EQ(Fetch(server.Port(), "/" + server.Secret() + "/f/../../secret.txt").status, 404);
}

}  // namespace
}  // namespace ravelin::test
