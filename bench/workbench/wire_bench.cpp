// An event's round trip on loopback: a page's WebSocket sends a key press to the sample
// form, the form's handler runs, and the batch of changes comes back; the median and the
// 99th percentile of the trips are reported (microseconds). The peer in the same run is a
// bare WebSocket echo on the same loop (no JSON, no form): the floor the transport sets.
#include <algorithm>
#include <chrono>
#include <deque>
#include <vector>

#include <benchmark/benchmark.h>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/json.hpp>

#include "platform/event_loop.h"
#include "workbench/workbench_server.h"

namespace ravelin {
namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = beast::websocket;
namespace json = boost::json;
using tcp = asio::ip::tcp;
using Clock = std::chrono::steady_clock;

// A page's WebSocket on the process's loop.
struct Client {
  websocket::stream<tcp::socket> ws{loop::Context()};
  beast::flat_buffer in;
  std::string out;
  bool ok = false;

  bool Connect(uint16_t port, const std::string& target, const std::string& origin) {
    bool done = false;
    ws.set_option(websocket::stream_base::decorator(
        [origin](websocket::request_type& r) { r.set(beast::http::field::origin, origin); }));
    beast::get_lowest_layer(ws).async_connect(tcp::endpoint(asio::ip::make_address_v4("127.0.0.1"), port),
                                              [&](beast::error_code ec) {
                                                if (ec) return void(done = true);
                                                ws.async_handshake("127.0.0.1:" + std::to_string(port), target,
                                                                   [&](beast::error_code ec) {
                                                                     ok = !ec;
                                                                     done = true;
                                                                   });
                                              });
    loop::RunUntil([&] { return done; }, std::chrono::seconds(10));
    return ok;
  }
  // Sends a text and waits for the next message; its text.
  std::string Trip(const std::string& text) {
    out = text;
    bool done = false;
    std::string reply;
    ws.async_write(asio::buffer(out), [&](beast::error_code ec, size_t) {
      if (ec) return void(done = true);
      ws.async_read(in, [&](beast::error_code, size_t) {
        reply = beast::buffers_to_string(in.data());
        in.consume(in.size());
        done = true;
      });
    });
    if (!loop::RunUntil([&] { return done; }, std::chrono::seconds(10))) {
      // No answer: the read is given up before its locals go.
      beast::error_code ec;
      beast::get_lowest_layer(ws).close(ec);
      loop::RunUntil([&] { return done; }, std::chrono::seconds(10));
    }
    return reply;
  }
  ~Client() {
    beast::error_code ec;
    beast::get_lowest_layer(ws).close(ec);
    loop::PumpOnce();
  }
};

void Report(benchmark::State& state, std::vector<double>& us) {
  if (us.empty()) return;
  std::sort(us.begin(), us.end());
  state.counters["median_us"] = us[us.size() / 2];
  state.counters["p99_us"] = us[std::min(us.size() - 1, us.size() * 99 / 100)];
}

void BM_FormEventRoundTrip(benchmark::State& state) {
  workbench::WorkbenchServer server;
  Client page;
  if (!page.Connect(server.Port(), "/" + server.Secret() + "/ws", server.Origin())) {
    state.SkipWithError("no WebSocket");
    return;
  }
  const json::value open = json::parse(page.Trip(R"({"op":"openForm","name":"sample"})"));
  const int64_t form = open.at("form").as_int64();
  // Keys in turn, so that every press changes the label and a batch comes back.
  const auto press = [&](const char* key) {
    return json::serialize(json::object{
        {"op", "event"}, {"form", form}, {"control", "txtName"}, {"event", "KeyPress"}, {"args", {{"key", key}}}});
  };
  const std::string events[2] = {press("a"), press("b")};
  std::vector<double> us;
  size_t n = 0;
  for (auto _ : state) {
    const auto t0 = Clock::now();
    const std::string reply = page.Trip(events[n++ % 2]);
    us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    if (reply.find("\"set\"") == std::string::npos) {
      state.SkipWithError("no batch came back");
      break;
    }
  }
  Report(state, us);
}

// The peer: the same trip through a WebSocket that only echoes.
void BM_PeerBareWebSocketEcho(benchmark::State& state) {
  tcp::acceptor acceptor(loop::Context(), tcp::endpoint(asio::ip::make_address_v4("127.0.0.1"), 0));
  websocket::stream<tcp::socket> server(loop::Context());
  beast::flat_buffer buffer;
  std::string echo;
  std::function<void()> serve = [&] {
    server.async_read(buffer, [&](beast::error_code ec, size_t) {
      if (ec) return;
      echo = beast::buffers_to_string(buffer.data());
      buffer.consume(buffer.size());
      server.text(true);
      server.async_write(asio::buffer(echo), [&](beast::error_code ec, size_t) {
        if (!ec) serve();
      });
    });
  };
  acceptor.async_accept(beast::get_lowest_layer(server), [&](beast::error_code ec) {
    if (!ec) server.async_accept([&](beast::error_code ec) {
        if (!ec) serve();
      });
  });
  const uint16_t port = acceptor.local_endpoint().port();
  Client page;
  if (!page.Connect(port, "/", "http://127.0.0.1:" + std::to_string(port))) {
    state.SkipWithError("no WebSocket");
    return;
  }
  const std::string event =
      R"({"op":"event","form":1,"control":"txtName","event":"KeyPress","args":{"key":"a"}})";
  std::vector<double> us;
  for (auto _ : state) {
    const auto t0 = Clock::now();
    benchmark::DoNotOptimize(page.Trip(event));
    us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
  }
  Report(state, us);
  beast::error_code ec;
  beast::get_lowest_layer(server).close(ec);
  loop::PumpOnce();
}

BENCHMARK(BM_FormEventRoundTrip)->Unit(benchmark::kMicrosecond)->Iterations(5000);
BENCHMARK(BM_PeerBareWebSocketEcho)->Unit(benchmark::kMicrosecond)->Iterations(5000);

}  // namespace
}  // namespace ravelin
