#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/clock.h"
#include "base/text.h"
#include "cli/verbs.h"
#include "engine/limits_file.h"
#include "engine/usage_book.h"
#include "settings/account_file.h"
#include "terminal/home.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;
using engine::AccountLimit;
using engine::AccountName;
using engine::Limits;
using engine::Usage;

struct LimitArguments {
  std::string server;
  std::optional<std::string> login;
  std::string per_day, rate, connections;  // empty: as it was
};

// The accounts that the engine would use.
Result<std::vector<engine::Account>> AccountsOf(const Home& home) {
  Result<std::vector<AccountEntry>> entries = ReadAccountFile(home.AccountFile());
  if (!entries.ok()) return entries.status();
  std::vector<engine::Account> accounts;
  for (const AccountEntry& entry : entries.value()) {
    const Result<std::uint16_t> port = CheckServer(entry.server, entry.port);
    if (entry.damaged || !port.ok()) continue;
    engine::Account account;
    account.server = ModText::Trim(entry.server);
    account.port = port.value();
    account.login = entry.login;
    accounts.push_back(std::move(account));
  }
  return accounts;
}

Result<AccountLimit> NamedBy(const LimitArguments& arguments) {
  Result<AccountLimit> limit = engine::ParseLimitServer(ModText::Trim(arguments.server));
  if (!limit.ok() || !arguments.login) return limit;
  const std::string login(ModText::Trim(*arguments.login));
  if (Status taken = engine::TakeLimitWord("login=" + login, limit.value()); !taken.ok()) {
    return taken;
  }
  return limit;
}

std::string InWords(const AccountLimit& limit) {
  return limit.Name() +
         (limit.login ? " with the login '" + ModText::Printable(*limit.login) + "'" : "");
}

// A limit for a server that is misspelt would hold for nothing.
Status CheckKnown(const Globals& globals, const Home& home, const AccountLimit& limit) {
  const Result<std::vector<engine::Account>> accounts = AccountsOf(home);
  if (!accounts.ok()) return accounts.status();
  std::string known;
  for (const engine::Account& account : accounts.value()) {
    if (limit.Matches(account)) return {};
    known += (known.empty() ? "" : ", ") + account.server + ":" + std::to_string(account.port) +
             (account.login.empty() ? "" : " with the login " + account.login);
  }
  return Status(
      Code::kUsage,
      "there is no account at " + InWords(limit) +
          (known.empty() ? "" : "; there are: " + ModText::Printable(known, 1000)) +
          ". They are added with: " + CommandFor(globals, {"accounts", "add", "smtp.example.org"}));
}

// Reads the file, changes it and writes it, alone among all programs of this home.
int Edit(const Home& home, const std::function<Status(Limits&)>& change) {
  const fs::path file = home.data_folder / engine::kLimitsFile;
  const Result<FileLock> lock = engine::LockLimitsFile(file);
  if (!lock.ok()) return Fail(lock.status());
  Result<Limits> limits = Limits::Read(file);
  if (!limits.ok()) return Fail(limits.status());
  Status status = change(limits.value());
  if (status.ok()) status = limits->Write(file);
  if (!status.ok()) return Fail(status);
  const std::size_t count = limits->all().size();
  Note(std::to_string(count) + (count == 1 ? " limit" : " limits"));
  return 0;
}

int Set(const Globals& globals, const LimitArguments& arguments) {
  Result<AccountLimit> named = NamedBy(arguments);
  if (!named.ok()) return Fail(named.status());
  std::vector<std::string> words;
  if (!arguments.per_day.empty()) words.push_back("per-day=" + arguments.per_day);
  if (!arguments.rate.empty()) words.push_back("rate=" + arguments.rate);
  if (!arguments.connections.empty()) words.push_back("connections=" + arguments.connections);
  if (words.empty()) {
    return Fail(
        Status(Code::kUsage, "say which limit: --per-day 500, --rate 14/s or --connections 3"));
  }
  for (const std::string& word : words) {
    AccountLimit checked;
    if (Status taken = engine::TakeLimitWord(word, checked); !taken.ok()) return Fail(taken);
  }
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  if (Status known = CheckKnown(globals, home.value(), named.value()); !known.ok())
    return Fail(known);
  return Edit(home.value(), [&](Limits& limits) -> Status {
    const AccountLimit* const before = limits.Find(named.value());
    AccountLimit limit = before != nullptr ? *before : named.value();
    for (const std::string& word : words) {
      if (Status taken = engine::TakeLimitWord(word, limit); !taken.ok()) return taken;
    }
    limits.Set(limit);
    return {};
  });
}

int Remove(const Globals& globals, const LimitArguments& arguments) {
  const Result<AccountLimit> named = NamedBy(arguments);
  if (!named.ok()) return Fail(named.status());
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  return Edit(home.value(), [&](Limits& limits) {
    if (limits.Remove(named.value())) return Status();
    return Status(Code::kUsage,
                  "no limit is set for " + InWords(named.value()) +
                      "; all are shown by: " + CommandFor(globals, {"limits", "list"}));
  });
}

// Whose counts a limit of the day is about: each login's that has an account, or has used some.
std::vector<AccountName> CountsOf(const Limits& limits, const AccountLimit& limit,
                                  std::vector<engine::Account> accounts, const Usage& usage) {
  for (const AccountName& used : usage.accounts()) {
    engine::Account account;
    account.server = used.server;
    account.port = used.port;
    account.login = used.login;
    accounts.push_back(std::move(account));
  }
  std::vector<AccountName> names;
  for (const engine::Account& account : accounts) {
    const AccountLimit* const quota = limits.QuotaFor(account);
    const AccountName name = engine::NameOf(account, limit);
    if (quota != nullptr && quota->IsFor(limit) &&
        std::find(names.begin(), names.end(), name) == names.end()) {
      names.push_back(name);
    }
  }
  return names;
}

void PrintUse(const Usage& usage, const AccountName& name, std::uint64_t per_day,
              const Clock& clock) {
  std::cout << "  " << (name.login.empty() ? "no login" : ModText::Printable(name.login)) << ": "
            << usage.Used(name) << " of " << per_day << " in the last 24 hours";
  if (usage.Used(name) >= per_day) {
    const auto wait = std::chrono::seconds(usage.FreeAt(name, per_day) - usage.now());
    std::cout << "; it goes on " << engine::AtTime(clock.Now() + wait, clock.Now());
  }
  std::cout << "\n";
}

int List(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const Result<Limits> limits = Limits::Read(home->data_folder / engine::kLimitsFile);
  if (!limits.ok()) return Fail(limits.status());
  const SystemClock clock;
  const Result<Usage> usage = engine::ReadUsage(home->data_folder / engine::kUsageFile, clock);
  if (!usage.ok()) return Fail(usage.status());
  const Result<std::vector<engine::Account>> accounts = AccountsOf(home.value());
  if (!accounts.ok()) return Fail(accounts.status());
  nlohmann::json rows = nlohmann::json::array();
  for (const AccountLimit& limit : limits->all()) {
    if (!globals.json) std::cout << engine::LineOf(limit) << "\n";
    nlohmann::json used = nlohmann::json::array();
    for (const AccountName& name :
         CountsOf(limits.value(), limit, accounts.value(), usage.value())) {
      if (!globals.json) PrintUse(usage.value(), name, limit.per_day, clock);
      const std::uint64_t count = usage->Used(name);
      const auto wait = usage->FreeAt(name, limit.per_day) - usage->now();
      used.push_back({{"login", name.login},
                      {"recipients", count},
                      {"left", limit.per_day - std::min(limit.per_day, count)},
                      {"goes_on_in_seconds", wait}});
    }
    const nlohmann::json none;
    rows.push_back(
        {{"server", limit.server},
         {"port", limit.port != 0 ? nlohmann::json(limit.port) : none},
         {"login", limit.login ? nlohmann::json(*limit.login) : none},
         {"per_day", limit.per_day > 0 ? nlohmann::json(limit.per_day) : none},
         {"rate", limit.rate.empty() ? none : nlohmann::json(limit.rate)},
         {"connections", limit.connections > 0 ? nlohmann::json(limit.connections) : none},
         {"used", used}});
  }
  if (globals.json) PrintJson(rows);
  if (limits->all().empty()) {
    Note("no limits: set one with " +
         CommandFor(globals, {"limits", "set", "smtp.example.org", "--per-day", "500"}));
  }
  return 0;
}

}  // namespace

void AddLimitVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* limits =
      app.add_subcommand("limits", "What a mail provider allows an account; every job keeps to it");
  auto arguments = std::make_shared<LimitArguments>();
  const auto named = [&](CLI::App* verb) {
    verb->add_option("SERVER", arguments->server,
                     "The account's server, or server:port where the ports differ")
        ->required();
    verb->add_option("--login", arguments->login,
                     "For this login only; otherwise each login has the limit for itself");
  };

  CLI::App* list = limits->add_subcommand("list", "List them, with what was sent in 24 hours");
  list->footer("Example: vespro limits list");
  list->callback([&] { action = [&globals] { return List(globals); }; });

  CLI::App* set = limits->add_subcommand("set", "Set one, or change what is said of it");
  named(set);
  set->add_option("--per-day", arguments->per_day, "Recipients in any 24 hours")->type_name("N");
  set->add_option("--rate", arguments->rate, "Messages: N/s, N/min, N/h or N/day")
      ->type_name("RATE");
  set->add_option("--connections", arguments->connections, "Connections at a time")->type_name("N");
  set->footer(
      "Example: vespro limits set smtp.example.org --per-day 500 --rate 14/s --connections 3");
  set->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return Set(globals, *arguments); };
  });

  CLI::App* remove = limits->add_subcommand("remove", "Remove one; the counts are kept");
  named(remove);
  remove->footer("Example: vespro limits remove smtp.example.org");
  remove->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return Remove(globals, *arguments); };
  });
}

}  // namespace vespro::cli
