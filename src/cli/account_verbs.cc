#include <iostream>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "cli/verbs.h"
#include "settings/account_file.h"
#include "terminal/home.h"

namespace vespro::cli {
namespace {

struct AccountArguments {
  std::string server;
  std::string port = "25";
  std::string login;
  bool password_stdin = false;
  std::size_t number = 0;
};

int List(const Globals& globals) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  Result<std::vector<AccountEntry>> accounts = ReadAccountFile(home->AccountFile());
  if (!accounts.ok()) return Fail(accounts.status());
  nlohmann::json rows = nlohmann::json::array();
  for (std::size_t i = 0; i < accounts->size(); ++i) {
    const AccountEntry& account = accounts.value()[i];
    if (globals.json) {
      rows.push_back({{"number", i + 1},
                      {"server", account.server},
                      {"port", account.port},
                      {"login", account.login},
                      {"damaged", account.damaged}});
      continue;
    }
    std::cout << i + 1 << "\t" << ModText::Printable(account.server) << "\t"
              << ModText::Printable(account.port) << "\t"
              << (account.login.empty() ? "-" : ModText::Printable(account.login));
    if (account.damaged) std::cout << "\tDAMAGED: " << account.damage;
    std::cout << "\n";
  }
  if (globals.json) PrintJson(rows);
  if (accounts->empty()) Note("no accounts: add one with 'vespro accounts add SERVER'");
  return 0;
}

// Loads the list, changes it and saves it, alone among all programs of this home.
int Edit(const Home& home, const std::function<Status(AccountList&)>& change) {
  Result<FileLock> lock = home.LockAccounts();
  if (!lock.ok()) return Fail(lock.status());
  AccountList accounts;
  Status status = accounts.Load(home.AccountFile());
  if (status.ok()) status = change(accounts);
  if (status.ok()) status = WriteAccountFile(home.AccountFile(), accounts.entries());
  if (!status.ok()) return Fail(status);
  Note(std::to_string(accounts.entries().size()) + " accounts");
  return 0;
}

int Add(const Globals& globals, const AccountArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  AccountEntry account;
  account.server = ModText::Trim(arguments.server);
  account.port = ModText::Trim(arguments.port);
  account.login = ModText::Trim(arguments.login);
  if (arguments.password_stdin) account.password = ModText::Trim(ModConsole::ReadLine());
  std::uint64_t port = 0;
  if (!ModText::ParseUnsigned(account.port, 65535, &port) || port == 0) {
    return Fail(Status(Code::kUsage, "the port is a number from 1 to 65535"));
  }
  if (Status valid = AccountList::Validate(account.server, account.port, account.login,
                                           account.password, arguments.login.empty());
      !valid.ok()) {
    return Fail(valid);
  }
  if (Status fits = AccountList::CheckFields(account); !fits.ok()) return Fail(fits);
  return Edit(home.value(),
              [&account](AccountList& accounts) { return accounts.Add(std::move(account)); });
}

int Remove(const Globals& globals, const AccountArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  const std::size_t number = arguments.number;
  return Edit(home.value(), [number](AccountList& accounts) {
    if (number < 1 || number > accounts.entries().size()) {
      return Status(Code::kUsage, "there is no account " + std::to_string(number) +
                                      ": 'vespro accounts list' numbers them");
    }
    accounts.Remove(number - 1);
    return Status();
  });
}

}  // namespace

void AddAccountVerbs(CLI::App& app, Globals& globals, Action& action) {
  CLI::App* accounts = app.add_subcommand("accounts", "The mail servers that deliver");
  auto arguments = std::make_shared<AccountArguments>();

  CLI::App* list = accounts->add_subcommand("list", "List them, without their passwords");
  list->footer("Example: vespro accounts list");
  list->callback([&] { action = [&globals] { return List(globals); }; });

  CLI::App* add = accounts->add_subcommand(
      "add", "Add one; a server that stands in the list twice gets twice the work");
  add->add_option("SERVER", arguments->server, "Name or address")->required();
  add->add_option("--port", arguments->port, "25, 587 (STARTTLS) or 465 (TLS)")
      ->capture_default_str();
  CLI::Option* login = add->add_option("--login", arguments->login, "Login name; none: no login");
  CLI::Option* password = add->add_flag("--password-stdin", arguments->password_stdin,
                                        "Read the password from the first line of standard input");
  login->needs(password);
  password->needs(login);
  add->footer(
      "Example: vespro accounts add smtp.example.org --port 587 --login me "
      "--password-stdin < password.txt");
  add->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return Add(globals, *arguments); };
  });

  CLI::App* remove = accounts->add_subcommand("remove", "Remove one");
  remove->add_option("N", arguments->number, "Its number in the list")->required();
  remove->footer("Example: vespro accounts remove 2");
  remove->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return Remove(globals, *arguments); };
  });
}

}  // namespace vespro::cli
