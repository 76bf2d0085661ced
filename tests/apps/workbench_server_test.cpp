// The workbench server at the HTTP and WebSocket level, on the process's loop: what it
// refuses (no secret, a foreign Host or Origin, a change by GET, a file outside the
// extraction folders), what its pages allow, and the dialogs: a question answered by the
// page, one left by a page that went away (Cancel, and the server goes on), a form opened.
#include <deque>
#include <fstream>
#include <map>

#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/json.hpp>
#include <gtest/gtest.h>

#include "platform/event_loop.h"
#include "platform/interaction.h"
#include "presentation/html_text.h"
#include "runtime/text.h"
#include "store/maintenance.h"
#include "platform/module1.h"
#include "support/test_support.h"
#include "workbench/page_interaction.h"
#include "workbench/workbench_server.h"

namespace ravelin::test {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;
namespace json = boost::json;
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

// One request on the process's loop, with the headers given (Host included).
Reply Fetch(uint16_t port, const std::string& target, std::map<std::string, std::string> headers,
            http::verb verb = http::verb::get, std::string body = {}) {
  tcp::socket socket(loop::Context());
  beast::flat_buffer buffer;
  http::request<http::string_body> req(verb, target, 11);
  for (const auto& [k, v] : headers) req.set(k, v);
  req.body() = body;
  req.prepare_payload();
  http::response<http::string_body> res;
  bool done = false;
  socket.async_connect(tcp::endpoint(asio::ip::make_address_v4("127.0.0.1"), port), [&](beast::error_code ec) {
    if (ec) return void(done = true);
    http::async_write(socket, req, [&](beast::error_code ec, size_t) {
      if (ec) return void(done = true);
      http::async_read(socket, buffer, res, [&](beast::error_code, size_t) { done = true; });
    });
  });
  EXPECT_TRUE(loop::RunUntil([&] { return done; }, std::chrono::seconds(10)));
  Reply r;
  r.status = static_cast<int>(res.result_int());
  for (const auto& f : res) r.headers[std::string(f.name_string())] = std::string(f.value());
  r.body = res.body();
  return r;
}

// A page's WebSocket on the same loop. `onMessage` runs for each message as it arrives
// (inside whatever loop is running then, nested ones included).
class WsClient {
 public:
  std::function<void(WsClient&, const json::object&)> onMessage;
  std::deque<json::object> received;
  bool failed = false, connected = false;

  WsClient() = default;
  // The pending reads and writes end (aborted) before the client goes.
  ~WsClient() {
    Drop();
    loop::RunUntil([&] { return !reading_ && out_.empty(); }, std::chrono::seconds(5));
  }

  // The handshake's status (101 when accepted).
  int Connect(uint16_t port, const std::string& target, const std::string& origin) {
    bool done = false;
    int status = 0;
    ws_.set_option(websocket::stream_base::decorator(
        [origin](websocket::request_type& req) { req.set(http::field::origin, origin); }));
    beast::get_lowest_layer(ws_).async_connect(
        tcp::endpoint(asio::ip::make_address_v4("127.0.0.1"), port), [&](beast::error_code ec) {
          if (ec) return void(done = true);
          ws_.async_handshake(res_, "127.0.0.1:" + std::to_string(port), target, [&](beast::error_code ec) {
            status = static_cast<int>(res_.result_int());
            done = true;
            if (ec) return;
            connected = true;
            Read();
          });
        });
    EXPECT_TRUE(loop::RunUntil([&] { return done; }, std::chrono::seconds(10)));
    return status;
  }
  void Send(const json::value& v) {
    out_.push_back(json::serialize(v));
    if (out_.size() == 1) Write();
  }
  // Drops the connection as a closed tab does.
  void Drop() {
    connected = false;
    beast::error_code ec;
    beast::get_lowest_layer(ws_).close(ec);
  }
  // The next message whose op is `op`, waiting for it on the loop.
  std::optional<json::object> Next(const std::string& op) {
    std::optional<json::object> found;
    loop::RunUntil(
        [&] {
          for (auto it = received.begin(); it != received.end(); ++it)
            if (it->at("op").as_string() == op) {
              found = *it;
              received.erase(it);
              return true;
            }
          return false;
        },
        std::chrono::seconds(10));
    return found;
  }

 private:
  void Read() {
    reading_ = true;
    ws_.async_read(in_, [this](beast::error_code ec, size_t) {
      reading_ = false;
      if (ec) return void(failed = true);
      auto v = json::parse(beast::buffers_to_string(in_.data()));
      in_.consume(in_.size());
      Read();
      received.push_back(v.as_object());
      if (onMessage) onMessage(*this, v.as_object());
    });
  }
  void Write() {
    ws_.async_write(asio::buffer(out_.front()), [this](beast::error_code ec, size_t) {
      if (ec) return out_.clear();
      out_.pop_front();
      if (!out_.empty()) Write();
    });
  }
  std::deque<std::string> out_;
  bool reading_ = false;
  websocket::stream<tcp::socket> ws_{loop::Context()};
  websocket::response_type res_;
  beast::flat_buffer in_;
};

class WorkbenchServerTest : public HomeFixture {
 protected:
  void SetUp() override {
    HomeFixture::SetUp();
    server = std::make_unique<workbench::WorkbenchServer>();
    host = "127.0.0.1:" + std::to_string(server->Port());
    prefix = "/" + server->Secret() + "/";
  }
  void TearDown() override {
    server.reset();
    SetInteraction(user_);
    HomeFixture::TearDown();
  }
  Reply Get(const std::string& target, const std::string& hostHeader = {}) {
    return Fetch(server->Port(), target, {{"Host", hostHeader.empty() ? host : hostHeader}});
  }
  std::unique_ptr<workbench::WorkbenchServer> server;
  std::string host, prefix;
};

TEST_F(WorkbenchServerTest, EveryAddressNeedsTheSecretAndThisServersHost) {
  EXPECT_EQ(Get(prefix).status, 200);
  EXPECT_EQ(Get("/?secret=" + server->Secret()).status, 200);
  EXPECT_EQ(Get("/").status, 404);
  EXPECT_EQ(Get("/" + std::string(32, '0') + "/").status, 404);
  EXPECT_EQ(Get("/web/session.js").status, 404);
  EXPECT_EQ(Get("/form/sample?secret=" + server->Secret().substr(1)).status, 404);
  // A page of another site whose name was pointed at this address.
  EXPECT_EQ(Get(prefix, "evil.example:" + std::to_string(server->Port())).status, 421);
  EXPECT_EQ(Get(prefix, "127.0.0.1:1").status, 421);
  EXPECT_EQ(Fetch(server->Port(), prefix, {}).status, 421) << "no Host at all";
  EXPECT_EQ(Get(prefix, "localhost:" + std::to_string(server->Port())).status, 200);
}

TEST_F(WorkbenchServerTest, APortInUseIsSaidInWords) {
  try {
    workbench::WorkbenchServer second(workbench::WorkbenchServer::Options{server->Port()});
    FAIL() << "two servers on one port";
  } catch (const Error& e) {
    EXPECT_NE(ToUtf8(e.Description()).find("127.0.0.1:" + std::to_string(server->Port())), std::string::npos);
  }
  EXPECT_EQ(Get(prefix).status, 200) << "the first server goes on";
}

TEST_F(WorkbenchServerTest, PagesRunOnlyTheServersOwnScripts) {
  const Reply page = Get(prefix);
  const std::string csp = page.H("Content-Security-Policy");
  EXPECT_NE(csp.find("default-src 'none'"), std::string::npos);
  EXPECT_NE(csp.find("script-src http://" + host + prefix + "web/;"), std::string::npos) << csp;
  EXPECT_EQ(csp.find("unsafe"), std::string::npos) << "no inline script or eval: " << csp;
  EXPECT_NE(csp.find("frame-ancestors 'none'"), std::string::npos);
  EXPECT_EQ(page.H("X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(page.H("Referrer-Policy"), "no-referrer");
  EXPECT_EQ(page.body.find("<script>"), std::string::npos);
  EXPECT_NE(page.body.find(prefix + "web/main.js"), std::string::npos);

  const Reply script = Get(prefix + "web/session.js");
  EXPECT_EQ(script.status, 200);
  EXPECT_EQ(script.H("Content-Type"), "text/javascript; charset=utf-8");
  EXPECT_NE(script.body.find("export function connect"), std::string::npos);
  EXPECT_EQ(Get(prefix + "web/../workbench_server.cpp").status, 404);

  const Reply form = Get("/form/sample?secret=" + server->Secret());
  EXPECT_EQ(form.status, 200);
  EXPECT_NE(form.body.find("data-open-form=\"sample\""), std::string::npos);
  EXPECT_EQ(Get(prefix + "form/a%22b").status, 404) << "a form name is a plain word";
}

TEST_F(WorkbenchServerTest, NothingChangesOnAGetAndAnImportComesOnlyFromThePage) {
  int imports = 0;
  server->OnImport([&](const std::u16string& name, std::string octets) -> json::value {
    ++imports;
    return json::object{{"name", ToUtf8(name)}, {"size", octets.size()}};
  });
  const std::string origin = "http://" + host;
  EXPECT_EQ(Get(prefix + "import?name=a.eml").status, 405);
  EXPECT_EQ(Fetch(server->Port(), prefix, {{"Host", host}, {"Origin", origin}}, http::verb::post, "x").status, 405);
  EXPECT_EQ(Fetch(server->Port(), prefix + "import?name=a.eml", {{"Host", host}, {"Origin", "http://evil.example"}},
                  http::verb::post, "Subject: x\r\n\r\n")
                .status,
            403);
  EXPECT_EQ(Fetch(server->Port(), prefix + "import?name=a.eml", {{"Host", host}}, http::verb::post, "x").status, 403)
      << "no Origin: not from a page of ours";
  EXPECT_EQ(Fetch(server->Port(), "/import?name=a.eml", {{"Host", host}, {"Origin", origin}}, http::verb::post, "x")
                .status,
            404);
  EXPECT_EQ(imports, 0);
  // Only an import of our own page may be large.
  EXPECT_EQ(Fetch(server->Port(), prefix, {{"Host", host}}, http::verb::get, std::string(100000, 'x')).status, 413);
  const Reply ok = Fetch(server->Port(), prefix + "import?name=caf%C3%A9.eml", {{"Host", host}, {"Origin", origin}},
                         http::verb::post, "Subject: x\r\n\r\n");
  EXPECT_EQ(ok.status, 200);
  EXPECT_EQ(json::parse(ok.body), json::parse(R"({"name":"café.eml","size":14})"));
}

TEST_F(WorkbenchServerTest, DocumentsAndFilesAreServedInertAndOnlyFromTheExtractionFolders) {
  presentation::EnsurePrivateFolder(presentation::MailFilesFolder());
  std::ofstream(ToUtf8(presentation::AddPathSeparator(presentation::MailFilesFolder()) + u"pic.png")) << "PNG";
  std::ofstream(ToUtf8(home() + u"/secret.txt")) << "secret";
  const std::string doc = server->AddDocument({u"<html><head></head><body><script>x()</script>Hi</body></html>", false});
  const Reply d = Get(doc);
  EXPECT_EQ(d.status, 200);
  EXPECT_NE(d.H("Content-Security-Policy").find("script-src 'none'"), std::string::npos);
  EXPECT_NE(d.H("Content-Security-Policy").find("sandbox"), std::string::npos);
  EXPECT_EQ(Get(prefix + "doc/999").status, 404);
  EXPECT_EQ(Get(prefix + "f/m/pic.png").body, "PNG");
  EXPECT_EQ(Get(prefix + "f/m/..%2Fsecret.txt").status, 404);
  EXPECT_EQ(Get(prefix + "f/m/%2E%2E").status, 404);
  EXPECT_EQ(Get(prefix + "f/x/pic.png").status, 404);
}

TEST_F(WorkbenchServerTest, AWebSocketNeedsTheSecretAndThePagesOrigin) {
  const std::string origin = "http://" + host;
  EXPECT_EQ(WsClient().Connect(server->Port(), "/ws?secret=" + server->Secret(), "http://evil.example"), 403);
  EXPECT_EQ(WsClient().Connect(server->Port(), "/ws", origin), 404);
  EXPECT_EQ(WsClient().Connect(server->Port(), prefix + "ws", "null"), 403);
  EXPECT_EQ(server->OpenPages(), 0);
  WsClient ok;
  EXPECT_EQ(ok.Connect(server->Port(), "/ws?secret=" + server->Secret(), origin), 101);
  loop::RunUntil([&] { return server->OpenPages() == 1; }, std::chrono::seconds(5));
  EXPECT_EQ(server->OpenPages(), 1);
  ok.Send(json::object{{"op", "quit"}});
  EXPECT_TRUE(loop::RunUntil([&] { return server->QuitRequested(); }, std::chrono::seconds(5)));
}

TEST_F(WorkbenchServerTest, APageOpensARegisteredFormByName) {
  WsClient page;
  ASSERT_EQ(page.Connect(server->Port(), prefix + "ws", "http://" + host), 101);
  page.Send(json::object{{"op", "openForm"}, {"name", "sample"}});
  const auto open = page.Next("open");
  ASSERT_TRUE(open);
  EXPECT_FALSE(open->at("controls").as_array().empty());
  page.Send(json::object{{"op", "openForm"}, {"name", "nothing"}});
  const auto error = page.Next("error");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->at("text"), "no form nothing");
}

// A handler that asks the page; the answer it saw is kept.
class DialogTest : public WorkbenchServerTest {
 protected:
  void SetUp() override {
    WorkbenchServerTest::SetUp();
    interaction = workbench::InstallPageInteraction(*server);
    server->Handle("test.ask", [this](workbench::Page& page, const json::object&) {
      const int32_t answer = WideMsgBox(u"Remove it for good?", mb::kYesNo + mb::kExclamation, u"Ravelin");
      answers.push_back(answer);
      page.Send(json::object{{"op", "test.answered"}, {"value", answer}});
    });
  }
  std::unique_ptr<WsClient> Open() {
    auto c = std::make_unique<WsClient>();
    EXPECT_EQ(c->Connect(server->Port(), prefix + "ws", "http://" + host), 101);
    return c;
  }
  std::shared_ptr<workbench::PageInteraction> interaction;
  std::vector<int32_t> answers;
};

TEST_F(DialogTest, AMessageBoxIsAnsweredByThePageWhileThePageGoesOnWorking) {
  auto page = Open();
  json::object seen;
  page->onMessage = [&](WsClient& c, const json::object& m) {
    if (m.at("op") != "dialog") return;
    seen = m;
    // The page is still heard while the handler waits: another request is answered.
    c.Send(json::object{{"op", "dialog.dir"}, {"id", m.at("id")}, {"path", ""}});
    c.Send(json::object{{"op", "answer"}, {"id", m.at("id")}, {"value", mb::kYes}});
  };
  page->Send(json::object{{"op", "test.ask"}});
  const auto answered = page->Next("test.answered");
  ASSERT_TRUE(answered);
  EXPECT_EQ(answered->at("value"), mb::kYes);
  EXPECT_EQ(seen.at("kind"), "MsgBox");
  EXPECT_EQ(seen.at("text"), "Remove it for good?");
  EXPECT_EQ(seen.at("style"), mb::kYesNo + mb::kExclamation);
  EXPECT_EQ(seen.at("texts").at("Yes"), "Yes");
  EXPECT_TRUE(page->Next("dialog.dir")) << "the listing was answered during the question";
}

TEST_F(DialogTest, APageThatGoesAwayAnswersCancelAndTheServerGoesOn) {
  auto page = Open();
  page->onMessage = [](WsClient& c, const json::object& m) {
    if (m.at("op") == "dialog") c.Drop();
  };
  page->Send(json::object{{"op", "test.ask"}});
  ASSERT_TRUE(loop::RunUntil([&] { return !answers.empty(); }, std::chrono::seconds(10))) << "never a hang";
  EXPECT_EQ(answers[0], mb::kCancel);

  // Another page is served and asked as before.
  auto next = Open();
  next->onMessage = [](WsClient& c, const json::object& m) {
    if (m.at("op") == "dialog") c.Send(json::object{{"op", "answer"}, {"id", m.at("id")}, {"value", mb::kNo}});
  };
  next->Send(json::object{{"op", "test.ask"}});
  ASSERT_TRUE(next->Next("test.answered"));
  EXPECT_EQ(answers.back(), mb::kNo);
}

TEST_F(DialogTest, WithoutAPageOrAfterStopEveryQuestionIsCancelled) {
  EXPECT_EQ(WideMsgBox(u"Anyone?", mb::kYesNo), mb::kCancel);
  EXPECT_FALSE(interaction->InputBox(u"Name", u"", u"x"));
  auto page = Open();
  page->onMessage = [this](WsClient&, const json::object& m) {
    if (m.at("op") == "dialog") server->Stop();
  };
  page->Send(json::object{{"op", "test.ask"}});
  ASSERT_TRUE(loop::RunUntil([&] { return !answers.empty(); }, std::chrono::seconds(10)));
  EXPECT_EQ(answers[0], mb::kCancel);
  EXPECT_TRUE(page->Next("stopped")) << "the page is told that the server stopped";
}

TEST_F(DialogTest, PickersAndInputBoxesCarryTheirAnswersBack) {
  auto page = Open();
  std::deque<json::value> script = {json::value("Projects\\Acme"), json::value(nullptr),
                                    json::parse(R"({"number":4,"name":"Trip"})"), json::parse("[3, 5]"),
                                    json::value("../etc/passwd")};
  std::vector<std::string> kinds;
  page->onMessage = [&](WsClient& c, const json::object& m) {
    if (m.at("op") != "dialog") return;
    kinds.push_back(std::string(m.at("kind").as_string()));
    c.Send(json::object{{"op", "answer"}, {"id", m.at("id")}, {"value", script.front()}});
    script.pop_front();
  };
  std::optional<std::u16string> folder, input;
  std::optional<Interaction::PackChoice> pack;
  std::vector<std::u16string> letters;
  std::optional<std::u16string> file = u"unset";
  server->Handle("test.pickers", [&](workbench::Page&, const json::object&) {
    folder = interaction->ChooseFolder(u"Move to", u"Projects", false);
    input = interaction->InputBox(u"Folder", u"Restore", u"Inbox");
    pack = interaction->SelectPack(u"", false, 0, true);
    letters = interaction->SelectLetters(u"", false);
    file = interaction->ChooseFile(true, u"Save", u"", u"report.htm");
  });
  page->Send(json::object{{"op", "test.pickers"}});
  ASSERT_TRUE(loop::RunUntil([&] { return script.empty() && !file; }, std::chrono::seconds(10)));
  EXPECT_EQ(kinds, (std::vector<std::string>{"FolderChooser", "InputBox", "PackPicker", "LetterPicker", "SaveFile"}));
  EXPECT_EQ(folder, u"Projects\\Acme");
  EXPECT_FALSE(input) << "null is Cancel";
  ASSERT_TRUE(pack);
  EXPECT_EQ(pack->PackNumber, 4);
  EXPECT_EQ(pack->PackName, u"Trip");
  EXPECT_EQ(letters, (std::vector<std::u16string>{u"3", u"5"}));
  EXPECT_FALSE(file) << "a path that leaves the home is refused";
}

TEST(WorkbenchHome, FileDialogsStayInsideTheHome) {
  TempDir home, outside;
  const char* old = std::getenv("HOME");
  const std::string saved = old ? old : "";
  setenv("HOME", home.path().c_str(), 1);
  std::filesystem::create_directories(home.path() / "mail");
  std::ofstream(home.path() / "mail" / "a.eml") << "x";
  std::ofstream(home.path() / ".hidden") << "x";
  std::filesystem::create_directory_symlink(outside.path(), home.path() / "out");
  const auto listing = workbench::ListHomeFolder(u"");
  ASSERT_TRUE(listing);
  ASSERT_EQ(listing->size(), 2u) << "hidden files stay hidden";
  EXPECT_EQ((*listing)[0].name, u"mail");
  EXPECT_TRUE((*listing)[0].folder);
  EXPECT_EQ(workbench::ListHomeFolder(u"mail")->at(0).name, u"a.eml");
  EXPECT_TRUE(workbench::InsideHome(u"mail/new.htm"));
  EXPECT_FALSE(workbench::InsideHome(u"../x"));
  EXPECT_FALSE(workbench::InsideHome(u"/etc/passwd"));
  EXPECT_FALSE(workbench::InsideHome(u"out/x")) << "a link that leads out";
  EXPECT_FALSE(workbench::ListHomeFolder(u"out"));
  setenv("HOME", saved.c_str(), 1);
}

}  // namespace
}  // namespace ravelin::test
