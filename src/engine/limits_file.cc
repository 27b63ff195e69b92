#include "engine/limits_file.h"

#include <algorithm>

#include "base/lines.h"
#include "base/text.h"
#include "engine/options.h"

namespace vespro::engine {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kFirstLine = "vespro-limits 1";
constexpr std::string_view kLastLine = "end";  // a file that was cut off lacks it
constexpr std::uint64_t kMaxBytes = std::uint64_t{1} << 20;
constexpr std::uint64_t kMaxPerDay = 1'000'000'000;
constexpr std::uint64_t kMaxConnections = 32767;
constexpr std::string_view kLogin = "login=";

std::string Quoted(std::string_view text) { return "'" + ModText::Printable(text) + "'"; }

// The next word of a limit's line; a login is all that is left of it.
std::string_view NextWord(std::string_view& rest) {
  rest = ModText::Trim(rest);
  const std::size_t end =
      rest.starts_with(kLogin) ? rest.size() : std::min(rest.find(' '), rest.size());
  const std::string_view word = rest.substr(0, end);
  rest.remove_prefix(end);
  return word;
}

Status TakeCount(std::string_view value, std::uint64_t max, const std::string& what,
                 std::uint64_t& count) {
  if (ModText::ParseUnsigned(value, max, &count) && count > 0) return {};
  return Status(Code::kUsage,
                what + " is a number from 1 to " + std::to_string(max) + ", not " + Quoted(value));
}

Result<AccountLimit> ParseLimit(std::string_view line) {
  std::string_view rest = line;
  Result<AccountLimit> limit = ParseLimitServer(NextWord(rest));
  if (!limit.ok()) return limit;
  for (std::string_view word = NextWord(rest); !word.empty(); word = NextWord(rest)) {
    if (Status taken = TakeLimitWord(word, limit.value()); !taken.ok()) return taken;
  }
  if (limit->per_day == 0 && limit->rate.empty() && limit->connections == 0) {
    return Status(Code::kUsage, "it sets no limit");
  }
  return limit;
}

}  // namespace

std::string ServerKey(std::string_view server) {
  server = ModText::Trim(server);
  if (server.starts_with('[') && server.ends_with(']')) {
    server = server.substr(1, server.size() - 2);
  }
  return ModText::LowerAscii(server);
}

bool SameLogin(std::string_view a, std::string_view b) {
  return ModText::EqualsIgnoringAsciiCase(a, b);
}

bool AccountLimit::Matches(const Account& account) const {
  return ServerKey(account.server) == server && (port == 0 || port == account.port) &&
         (!login || SameLogin(*login, account.login));
}

bool AccountLimit::IsFor(const AccountLimit& other) const {
  return server == other.server && port == other.port &&
         login.has_value() == other.login.has_value() &&
         (!login || SameLogin(*login, *other.login));
}

std::string AccountLimit::Name() const {
  if (port == 0) return server;
  const bool is_ipv6 = server.find(':') != std::string::npos;
  return (is_ipv6 ? "[" + server + "]" : server) + ":" + std::to_string(port);
}

std::string LineOf(const AccountLimit& limit) {
  std::string line = limit.Name();
  if (limit.per_day > 0) line += " per-day=" + std::to_string(limit.per_day);
  if (!limit.rate.empty()) line += " rate=" + limit.rate;
  if (limit.connections > 0) line += " connections=" + std::to_string(limit.connections);
  if (limit.login) line.append(" ").append(kLogin).append(*limit.login);
  return line;
}

Result<AccountLimit> ParseLimitServer(std::string_view text) {
  std::string_view name = text;
  AccountLimit limit;
  const std::size_t colon = text.rfind(':');
  const bool has_port = colon != std::string_view::npos &&
                        (text.find(':') == colon || text.substr(0, colon).ends_with(']'));
  if (has_port) {
    std::uint64_t port = 0;
    if (!ModText::ParseUnsigned(text.substr(colon + 1), 65535, &port) || port == 0) {
      return Status(Code::kUsage, Quoted(text) + " has no port from 1 to 65535 after its colon");
    }
    limit.port = static_cast<std::uint16_t>(port);
    name = text.substr(0, colon);
  }
  limit.server = ServerKey(name);
  if (limit.server.empty() || ModText::HasControls(limit.server) ||
      limit.server.find_first_of(" =,/@#[]\"") != std::string::npos) {
    return Status(Code::kUsage, Quoted(text) +
                                    " is no server's name; it looks like smtp.example.org or "
                                    "smtp.example.org:587");
  }
  return limit;
}

Status TakeLimitWord(std::string_view word, AccountLimit& limit) {
  const std::size_t equals = std::min(word.find('='), word.size());
  const std::string_view key = word.substr(0, equals);
  const std::string_view value = word.substr(std::min(equals + 1, word.size()));
  if (key == "per-day") return TakeCount(value, kMaxPerDay, "per-day", limit.per_day);
  if (key == "connections") {
    std::uint64_t count = 0;
    Status taken = TakeCount(value, kMaxConnections, "connections", count);
    limit.connections = static_cast<std::size_t>(count);
    return taken;
  }
  if (key == "rate") {
    limit.rate = value;
    return ParseRate(value).status();
  }
  if (key == "login") {
    limit.login = value;
    if (ModText::HasControls(value) || ModText::Trim(value) != value) {
      return Status(Code::kUsage, Quoted(value) + " can't be a login here");
    }
    return {};
  }
  return Status(Code::kUsage,
                Quoted(word) + " is none of per-day=, rate=, connections= and login=");
}

Result<Limits> Limits::Read(const fs::path& path) {
  std::error_code ignored;  // what can't be looked at can't be read either
  if (!fs::exists(path, ignored) && !ignored) return Limits();
  Result<std::string> bytes = ModFiles::ReadAll(path, kMaxBytes);
  if (!bytes.ok()) return bytes.status();
  return Parse(bytes.value(), ModFiles::ToUtf8(path));
}

Result<Limits> Limits::Parse(std::string_view bytes, const std::string& name) {
  const auto damaged = [&name](const std::string& where, const std::string& why) {
    return Status(Code::kBadInput, "the limits in " + Quoted(name) + where + ": " + why);
  };
  if (!ModText::IsUtf8(bytes)) return damaged(" can't be read", "they are not UTF-8");
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
  Limits limits;
  bool ended = false;
  std::size_t number = 0;
  for (std::string_view line; NextLine(bytes, line);) {
    const std::string where = ", line " + std::to_string(++number);
    const std::string_view text = ModText::Trim(line);
    if (number == 1) {
      if (text != kFirstLine) return damaged(where, "not " + Quoted(kFirstLine));
      continue;
    }
    if (ended && !text.empty()) return damaged(where, "after the line 'end'");
    if (text == kLastLine) {
      ended = true;
      continue;
    }
    if (ended) continue;
    Line& added = limits.lines_.emplace_back(Line{std::string(line), {}});
    if (text.empty() || text.starts_with('#')) continue;
    Result<AccountLimit> limit = ParseLimit(text);
    if (!limit.ok()) return damaged(where, limit.status().text());
    if (limits.Find(limit.value()) != nullptr) {
      return damaged(where, "a second limit for the same account");
    }
    added.limit = std::move(limit).value();
  }
  if (!ended) return damaged(" can't be used", "the last line 'end' is missing");
  return limits;
}

std::string Limits::Text() const {
  std::string text(kFirstLine);
  text += "\n";
  for (const Line& line : lines_) text += line.text + "\n";
  return text.append(kLastLine).append("\n");
}

Status Limits::Write(const fs::path& path) const {
  return ModFiles::ReplaceWith(path, Text(), Access::kPrivate);
}

std::vector<AccountLimit> Limits::all() const {
  std::vector<AccountLimit> all;
  for (const Line& line : lines_) {
    if (line.limit) all.push_back(*line.limit);
  }
  return all;
}

template <class Sets>
const AccountLimit* Limits::MostParticular(const Account& account, Sets sets) const {
  const auto rank = [](const AccountLimit& limit) {
    return (limit.login ? 2 : 0) + (limit.port != 0 ? 1 : 0);
  };
  const AccountLimit* best = nullptr;
  for (const Line& line : lines_) {
    if (!line.limit || !sets(*line.limit) || !line.limit->Matches(account)) continue;
    if (best == nullptr || rank(*line.limit) > rank(*best)) best = &*line.limit;
  }
  return best;
}

const AccountLimit* Limits::QuotaFor(const Account& account) const {
  return MostParticular(account, [](const AccountLimit& limit) { return limit.per_day > 0; });
}

AccountLimit Limits::For(const Account& account) const {
  const AccountLimit* const quota = QuotaFor(account);
  const AccountLimit* const rate =
      MostParticular(account, [](const AccountLimit& limit) { return !limit.rate.empty(); });
  const AccountLimit* const connections =
      MostParticular(account, [](const AccountLimit& limit) { return limit.connections > 0; });
  AccountLimit holds;
  holds.server = ServerKey(account.server);
  holds.port = account.port;
  holds.login = account.login;
  if (connections != nullptr) {
    holds.connections = connections->connections;
    holds.port = connections->port;
  }
  if (rate != nullptr) {
    holds.rate = rate->rate;
    holds.port = rate->port;
  }
  if (quota != nullptr) {
    holds.per_day = quota->per_day;
    holds.port = quota->port;
  }
  return holds;
}

const AccountLimit* Limits::Find(const AccountLimit& same) const {
  const auto found = std::find_if(lines_.begin(), lines_.end(), [&](const Line& line) {
    return line.limit && line.limit->IsFor(same);
  });
  return found == lines_.end() ? nullptr : &*found->limit;
}

void Limits::Set(const AccountLimit& limit) {
  for (Line& line : lines_) {
    if (!line.limit || !line.limit->IsFor(limit)) continue;
    line = {LineOf(limit), limit};
    return;
  }
  lines_.push_back({LineOf(limit), limit});
}

bool Limits::Remove(const AccountLimit& same) {
  return std::erase_if(lines_,
                       [&](const Line& line) { return line.limit && line.limit->IsFor(same); }) > 0;
}

Result<FileLock> LockLimitsFile(const fs::path& path) {
  fs::path lock = path;
  lock += ".lock";
  return FileLock::Take(lock, FileLock::Wait::kUntilFree);
}

}  // namespace vespro::engine
