// engine/delivery/server_limit.h - what a server has asked for since the delivery began, and how it
// is treated since: plain data, and the words for it. Text is UTF-8.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <string>

namespace vespro::engine {

struct ServerLimit {
  std::string server;                                   // "name:port"
  std::string words;                                    // its own, the last ones
  double per_second = 0;                                // recipients at most; 0: any
  std::size_t connections = 0;                          // at most; 0: any
  std::chrono::steady_clock::time_point rests_until{};  // in the past: it does not
};

// "13.3"
inline std::string PaceText(double per_second) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.3g", per_second);
  return text.data();
}

// "at most 13.3 recipients a second, at most 3 connections"
inline std::string LimitText(const ServerLimit& limit) {
  std::string text;
  if (limit.per_second > 0) text = "at most " + PaceText(limit.per_second) + " recipients a second";
  if (limit.connections == 0) return text;
  if (!text.empty()) text += ", ";
  text += "at most " + std::to_string(limit.connections);
  return text + (limit.connections == 1 ? " connection" : " connections");
}

}  // namespace vespro::engine
