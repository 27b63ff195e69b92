// engine/limits_file.h - what the user allows for accounts, and the file that keeps it. Format:
// docs/formats/limits.md. Text is UTF-8. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/files.h"
#include "base/status.h"
#include "engine/message.h"

namespace vespro::engine {

// In the user's data folder.
inline constexpr char kLimitsFile[] = "Vespro.limits";

// 0 and an empty text: no limit of that kind.
struct AccountLimit {
  std::string server;                // as ServerKey gives it
  std::uint16_t port = 0;            // 0: any
  std::optional<std::string> login;  // unset: every login has this limit for itself
  std::uint64_t per_day = 0;         // recipients in 24 hours
  std::string rate;                  // messages, as ParseRate takes it
  std::size_t connections = 0;

  bool Matches(const Account& account) const;
  // The same server, port and login.
  bool IsFor(const AccountLimit& other) const;
  std::string Name() const;  // "server" or "server:port"
};

// A server's name for comparing: lower case, an IPv6 address without brackets.
std::string ServerKey(std::string_view server);
bool SameLogin(std::string_view a, std::string_view b);
// "server", "server:port" or an IPv6 address, in brackets where a port follows. kUsage otherwise.
Result<AccountLimit> ParseLimitServer(std::string_view text);
// Takes "per-day=500", "rate=14/s", "connections=3" or "login=me". kUsage for anything else; the
// text says what would do.
Status TakeLimitWord(std::string_view word, AccountLimit& limit);

// As a line of the file.
std::string LineOf(const AccountLimit& limit);

// The file's content. What it has beside limits, such as comments, stays when it is changed.
class Limits {
 public:
  // No file: no limits. kBadInput for anything that is not understood, with the file and the line:
  // a limit that was overlooked would be no limit.
  static Result<Limits> Read(const std::filesystem::path& path);
  // `name` is how a failure calls it.
  static Result<Limits> Parse(std::string_view bytes, const std::string& name);
  std::string Text() const;
  // Replaces the file whole.
  Status Write(const std::filesystem::path& path) const;

  std::vector<AccountLimit> all() const;
  // What holds for the account. Each kind of limit is taken from the most particular line that sets
  // it: one of the login before one of every login, then one of the port before one of any. The
  // port is that of the line with the limit of the day, if there is one.
  AccountLimit For(const Account& account) const;
  // The line with its limit of the day. None: nullptr.
  const AccountLimit* QuotaFor(const Account& account) const;
  // In the place of the one that is for the same server, port and login, if there is one.
  void Set(const AccountLimit& limit);
  const AccountLimit* Find(const AccountLimit& same) const;
  // Whether there was one.
  bool Remove(const AccountLimit& same);

 private:
  struct Line {
    std::string text;
    std::optional<AccountLimit> limit;
  };
  template <class Sets>
  const AccountLimit* MostParticular(const Account& account, Sets sets) const;

  std::vector<Line> lines_;  // between the first and the last
};

// Held while the file is read, changed and written; waits for others who do.
Result<FileLock> LockLimitsFile(const std::filesystem::path& path);

}  // namespace vespro::engine
