// A page without a browser: a Wire whose frames are kept as parsed JSON, and helpers that
// report events as the page does.
#pragma once

#include <gtest/gtest.h>

#include <boost/json.hpp>
#include <map>
#include <string>
#include <vector>

#include "runtime/text.h"
#include "windows/forms/sample.h"
#include "windows/forms/wire.h"

namespace ravelin::windows::forms::testing {

namespace json = boost::json;

class FakePage {
 public:
  FakePage() : wire([this](std::string text) { frames.push_back(json::parse(text)); }) {}

  // Reports an event; true when the wire took it.
  bool Event(int32_t form, const std::string& control, const std::string& event, json::object args = {}) {
    json::object o{{"op", "event"}, {"form", form}, {"control", control}, {"event", event}, {"args", std::move(args)}};
    return wire.Receive(json::serialize(o));
  }

  // The frames sent since the last call.
  std::vector<json::object> Take() {
    std::vector<json::object> out;
    for (auto& f : frames) out.push_back(f.as_object());
    frames.clear();
    return out;
  }

  // The changes of one "set" frame as "control.prop" -> value.
  static std::map<std::string, json::value> Changes(const json::object& set) {
    std::map<std::string, json::value> m;
    for (const auto& c : set.at("changes").as_array()) {
      const auto& o = c.as_object();
      m[std::string(o.at("control").as_string()) + "." + std::string(o.at("prop").as_string())] = o.at("value");
    }
    return m;
  }

  // The changes of the one frame sent since the last call, which must be a "set".
  std::map<std::string, json::value> OneSet() {
    auto f = Take();
    EXPECT_EQ(f.size(), 1u) << "expected one batch";
    if (f.size() != 1 || f[0].at("op") != "set") return {};
    return Changes(f[0]);
  }

  std::vector<json::value> frames;
  Wire wire;
};

inline std::string Utf8(const std::u16string& s) { return ToUtf8(s); }

}  // namespace ravelin::windows::forms::testing
