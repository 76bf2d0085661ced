// The process's event loop.
#include "platform/event_loop.h"

#include <boost/asio/executor_work_guard.hpp>

namespace ravelin::loop {

boost::asio::io_context& Context() {
  static boost::asio::io_context ctx;
  return ctx;
}

void PumpOnce() {
  auto& ctx = Context();
  if (ctx.stopped()) ctx.restart();
  ctx.poll();
}

bool RunUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  auto& ctx = Context();
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  // Keeps run_one_for blocking (instead of returning at once) while nothing is queued.
  auto guard = boost::asio::make_work_guard(ctx);
  while (!done()) {
    auto now = std::chrono::steady_clock::now();
    if (now >= deadline) break;
    if (ctx.stopped()) ctx.restart();
    // Blocks until one handler ran or the slice ends; a handler that changes the
    // state ends the wait at once.
    ctx.run_one_for(std::min<std::chrono::steady_clock::duration>(deadline - now, std::chrono::milliseconds(50)));
  }
  return done();
}

}  // namespace ravelin::loop
