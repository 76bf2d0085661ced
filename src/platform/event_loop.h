// The one event loop of the process: every socket, timer and re-entrant call runs on it.
// "Pumping the window messages once" runs the handlers that are ready and returns.
#pragma once

#include <chrono>
#include <functional>

#include <boost/asio/io_context.hpp>

namespace ravelin::loop {

// The process's io_context, created on first use.
boost::asio::io_context& Context();

// Runs every handler that is ready now, without waiting.
void PumpOnce();

// Runs handlers until `done()` is true or `timeout` passes; blocks on the loop between
// handlers instead of spinning. Returns done() at the end.
bool RunUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout);

}  // namespace ravelin::loop
