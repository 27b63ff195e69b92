// engine/message.h - the plain data that the engine's modules hand to each other: who gets what,
// over which account. Text is UTF-8.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vespro::engine {

// One "HOST=" line of the job. Equal lines are kept apart: each is one share of the work.
struct Account {
  std::string server;
  std::uint16_t port = 25;
  std::string login;     // empty: no authentication
  std::string password;  // decoded; never printed
};

// One person of the list.
struct Recipient {
  std::uint64_t line = 0;  // where the list has it, from 1
  std::string address;     // normalised
  std::string row;         // a CSV row's bytes as read; empty for a list of plain addresses
  // In how many runs it was refused like everybody else, so that it is not known whether it was to
  // blame.
  int suspected = 0;
};

// A message ready for the wire, without dot-stuffing: lines end in CR LF, the last one too.
struct RenderedMessage {
  // In order. They point into `own` and into what the Renderer keeps for the whole job.
  std::vector<std::string_view> pieces;
  std::string own;
  std::uint64_t bytes = 0;  // the pieces' sizes added up
};

enum class TlsUse { kAuto, kRequired, kOff };

// Whether the server speaks TLS from the first byte (RFC 8314, section 3.3).
inline bool UsesTlsFromStart(const Account& account, TlsUse tls) {
  return account.port == 465 && tls != TlsUse::kOff;
}

}  // namespace vespro::engine
