#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "cli/start_job.h"
#include "cli/verbs.h"
#include "settings/account_file.h"
#include "terminal/home.h"
#include "terminal/terminal_host.h"

namespace vespro::cli {
namespace {

struct AccountArguments {
  std::string server;
  std::string port = "25";
  bool port_given = false;
  std::string login;
  bool password_stdin = false;
  std::size_t number = 0;
  std::string from;
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
                      {"password_stored", !account.password.empty()},
                      {"left_out", WhyLeftOut(account)}});
      continue;
    }
    std::cout << i + 1 << "\t" << ModText::Printable(account.server) << "\t"
              << ModText::Printable(account.port) << "\t"
              << (account.login.empty() ? "-" : ModText::Printable(account.login));
    const std::string why = WhyLeftOut(account);
    if (!why.empty()) {
      std::cout << "\tLEFT OUT: " << why;
    } else if (!account.login.empty() && account.password.empty()) {
      std::cout << "\tno password stored";
    }
    std::cout << "\n";
  }
  if (globals.json) PrintJson(rows);
  if (accounts->empty()) Note("no accounts: add one with 'vespro accounts add SERVER'");
  return 0;
}

// Loads the list, changes it and saves it, alone among all programs of this home.
int Edit(const Home& home, const std::function<Status(AccountList&)>& change) {
  Result<FileLock> lock = LockAccountFile(home.AccountFile());
  if (!lock.ok()) return Fail(lock.status());
  AccountList accounts;
  Status status = accounts.LoadAll(home.AccountFile());
  if (status.ok()) status = change(accounts);
  if (status.ok()) status = WriteAccountFile(home.AccountFile(), accounts.entries());
  if (!status.ok()) return Fail(status);
  const std::size_t count = accounts.entries().size();
  Note(std::to_string(count) + (count == 1 ? " account" : " accounts"));
  return 0;
}

// The command with another server and port.
std::string AddCommand(const Globals& globals, const AccountArguments& arguments,
                       std::string_view server, std::string_view port) {
  std::vector<std::string> words = {"accounts", "add", std::string(server), "--port",
                                    std::string(port)};
  if (!arguments.login.empty()) {
    words.insert(words.end(), {"--login", arguments.login, "--password-stdin"});
  }
  return CommandFor(globals, std::move(words));
}

bool IsDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool LooksLikeIpv6(std::string_view text) {
  return std::count(text.begin(), text.end(), ':') >= 2 &&
         text.find_first_not_of("0123456789abcdefABCDEF:.") == std::string_view::npos;
}

Status Refusal(const std::string& what, const std::string& command) {
  return Status(Code::kUsage, what + ": " + command);
}

// Of an address such as smtps://mail.example.org:2525/, whose "://" is at `scheme`.
Status RefuseUrl(const Globals& globals, const AccountArguments& arguments, std::string_view url,
                 std::size_t scheme) {
  const bool tls = ModText::EqualsIgnoringAsciiCase(url.substr(0, scheme), "smtps");
  std::string_view name = url.substr(scheme + 3);
  name = name.substr(0, name.find('/'));
  name.remove_prefix(name.rfind('@') + 1);  // npos + 1 is 0
  std::string port = arguments.port_given || !tls ? arguments.port : "465";
  const std::size_t colon = name.find(':');
  if (colon != std::string_view::npos && colon == name.rfind(':')) {
    port = name.substr(colon + 1);
    name = name.substr(0, colon);
  }
  return Refusal("a server is given by its name alone, without '" +
                     ModText::Printable(url.substr(0, scheme + 3)) + "'",
                 AddCommand(globals, arguments, name, port));
}

// What people write in place of a server's name is refused with the command that they meant. An
// IPv6 address gets its brackets.
Status TakeServer(const Globals& globals, const AccountArguments& arguments, std::string& server) {
  std::string_view name = ModText::Trim(arguments.server);
  if (const std::size_t scheme = name.find("://"); scheme != std::string_view::npos) {
    return RefuseUrl(globals, arguments, name, scheme);
  }
  const bool brackets = name.starts_with('[');
  const std::size_t end = brackets ? name.find(']') : name.find(':');
  const std::size_t after = brackets && end != std::string_view::npos ? end + 1 : end;
  if (after < name.size() && name[after] == ':' && IsDigits(name.substr(after + 1)) &&
      !LooksLikeIpv6(name)) {
    return Refusal("the port is an option of its own",
                   AddCommand(globals, arguments, name.substr(0, after), name.substr(after + 1)));
  }
  if (brackets && name.ends_with(']')) name = name.substr(1, name.size() - 2);
  if (LooksLikeIpv6(name)) {
    server = "[" + std::string(name) + "]";
    return {};
  }
  if (brackets || ModText::HasControls(name) ||
      name.find_first_of(" \t/\\@:?#<>") != std::string_view::npos) {
    // It is not shown: a password may be in it.
    return Refusal("that is no server's name; your mail provider tells it, and it looks like this",
                   AddCommand(globals, arguments, "smtp.example.org", arguments.port));
  }
  server = name;
  return {};
}

// Whether to add a second line of an account that is there already. The failure says that nobody is
// there to decide it.
Result<bool> MayRepeat(const Globals& globals, const Home& home, const AccountEntry& account) {
  Result<std::vector<AccountEntry>> there = ReadAccountFile(home.AccountFile());
  if (!there.ok()) return there.status();
  const auto same = std::find_if(there->begin(), there->end(), [&](const AccountEntry& entry) {
    return !entry.damaged && entry.port == account.port && entry.login == account.login &&
           ModText::EqualsIgnoringAsciiCase(entry.server, account.server);
  });
  if (same == there->end() || globals.rules.assume_yes) return true;
  const std::string number = std::to_string(same - there->begin() + 1);
  const std::string which = "account " + number + " is " + account.server + ", port " +
                            account.port +
                            (account.login.empty() ? "" : ", login " + account.login) + " already";
  if (globals.rules.no_input || !ModConsole::CanAsk()) {
    return Status(Code::kBadInput,
                  which +
                      ". To add it once more, so that this server gets a second share of the "
                      "work, add --yes; to change its password, remove it first: " +
                      CommandFor(globals, {"accounts", "remove", number}));
  }
  TerminalHost terminal(globals.rules, nullptr, EditorType::kPlainText);
  return terminal.MsgBox(ModText::Printable(which, which.size()) +
                             ". Add it once more, so that this server gets a second share of the "
                             "work?",
                         MessageIcon::kQuestion, MessageButtons::kYesNo,
                         "vespro") == MessageAnswer::kYes;
}

int Add(const Globals& globals, const AccountArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  AccountEntry account;
  if (Status taken = TakeServer(globals, arguments, account.server); !taken.ok())
    return Fail(taken);
  account.port = ModText::Trim(arguments.port);
  account.login = ModText::Trim(arguments.login);
  if (arguments.password_stdin) account.password = ModText::Trim(ModConsole::ReadLine());
  if (Status valid = AccountList::Validate(account.server, account.port, account.login,
                                           account.password, arguments.login.empty());
      !valid.ok()) {
    return Fail(valid);
  }
  if (Status fits = AccountList::CheckFields(account); !fits.ok()) return Fail(fits);
  if (Result<std::uint16_t> port = CheckServer(account.server, account.port); !port.ok()) {
    return Fail(Status(Code::kUsage, "the account can't be added: " + port.status().text()));
  }
  Result<bool> may = MayRepeat(globals, home.value(), account);
  if (!may.ok()) return Fail(may.status());
  if (!may.value()) {
    Note("nothing was added");
    return 0;
  }
  return Edit(home.value(),
              [&account](AccountList& accounts) { return accounts.Add(std::move(account)); });
}

int Test(const Globals& globals, const AccountArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  std::vector<std::string> options;
  if (arguments.number > 0) options = {"--account", std::to_string(arguments.number)};
  return TestAccounts(globals, home.value(), arguments.from, std::move(options));
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
  add->add_option("SERVER", arguments->server, "Its name or address, without a port")->required();
  CLI::Option* port = add->add_option("--port", arguments->port, "25, 587 (STARTTLS) or 465 (TLS)")
                          ->capture_default_str();
  CLI::Option* login = add->add_option("--login", arguments->login, "Login name; none: no login");
  CLI::Option* password = add->add_flag("--password-stdin", arguments->password_stdin,
                                        "Read the password from the first line of standard input");
  login->needs(password);
  password->needs(login);
  add->footer(
      "Example: vespro accounts add smtp.example.org --port 587 --login me "
      "--password-stdin < password.txt");
  add->callback([&globals, &action, arguments, port] {
    arguments->port_given = port->count() > 0;
    action = [&globals, arguments] { return Add(globals, *arguments); };
  });

  CLI::App* test = accounts->add_subcommand(
      "test", "Try them, sending nothing: connect, TLS, login, and whether they take the sender");
  test->add_option("N", arguments->number, "Only this one, by its number in the list");
  test->add_option("--from", arguments->from, "The sender's address, instead of the stored one")
      ->type_name("ADDRESS");
  test->footer(
      "What comes after \"--\" goes to the engine, such as --ca FILE or --tls required.\n"
      "Exit: 0 all work; otherwise of the first that does not: 75 not in reach now, 77 the login "
      "is "
      "refused, 78 something to correct.\n"
      "Example: vespro accounts test 1");
  test->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return Test(globals, *arguments); };
  });

  CLI::App* remove = accounts->add_subcommand("remove", "Remove one");
  remove->add_option("N", arguments->number, "Its number in the list")->required();
  remove->footer("Example: vespro accounts remove 2");
  remove->callback([&globals, &action, arguments] {
    action = [&globals, arguments] { return Remove(globals, *arguments); };
  });
}

}  // namespace vespro::cli
