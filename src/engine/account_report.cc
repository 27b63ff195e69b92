#include "engine/account_report.h"

#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "base/command_line.h"
#include "base/text.h"
#include "settings/account_file.h"

namespace vespro::engine {
namespace {

// What is wrong with an account, what to do, and the exit code for it.
struct Diagnosis {
  std::string trouble, remedy;
  int exit = kExitAllSent;
};

std::string AccountsCommand(std::vector<std::string> words) {
  words.insert(words.begin(), "accounts");
  return ModCommandLine::VesproCommand(words);
}

std::string AddAgain(std::size_t number, const Account& account) {
  std::vector<std::string> add = {"add", account.server, "--port", std::to_string(account.port)};
  if (!account.login.empty()) add.insert(add.end(), {"--login", account.login, "--password-stdin"});
  return AccountsCommand({"remove", std::to_string(number)}) + ", then " +
         AccountsCommand(std::move(add));
}

Diagnosis OfSetUp(const AccountCheck& result, std::size_t number, const Account& account) {
  const std::string& text = result.text;
  switch (result.failure.fault) {
    case Fault::kDnsFailure:
      return {"there is no server of this name: " + text,
              "correct it: " + AddAgain(number, account), kExitNoAccount};
    case Fault::kUntrusted:
      return {"nobody whom this machine trusts vouches for the server's certificate: " + text,
              "if the server is your own, name the certificate: " +
                  AccountsCommand({"test", std::to_string(number), "--", "--ca", "FILE"}),
              kExitNoAccount};
    case Fault::kMisnamed:
      return {"the certificate is for another server: " + text,
              "use the name that your provider tells: " + AddAgain(number, account),
              kExitNoAccount};
    case Fault::kTls:
    case Fault::kCertificate:
      return {
          "TLS can't be agreed on: " + text,
          "465 is the port for TLS from the start, 587 for STARTTLS: " + AddAgain(number, account),
          kExitNoAccount};
    case Fault::kNoTls:
    case Fault::kNoAuth:
      return {text,
              "use the port and the server that your provider tells: " + AddAgain(number, account),
              kExitNoAccount};
    default:
      return {result.connected ? "the server ended the dialogue: " + text
                               : "the server can't be reached: " + text,
              "try again later, or the port that your provider tells: " + AddAgain(number, account),
              kExitRunAgain};
  }
}

Diagnosis DiagnosisOf(const AccountCheck& result, std::size_t number, const Account& account,
                      const std::string& sender) {
  if (result.sender_taken) return {};
  const Failure& failure = result.failure;
  if (failure.fault != Fault::kReply) return OfSetUp(result, number, account);
  const bool lasting = failure.code >= 500;
  if (failure.stage == Stage::kAuth && lasting) {
    return {"the login is refused: " + result.text,
            "check the login name and the password (many providers want one that is made for mail "
            "programs): " +
                AddAgain(number, account),
            kExitLogin};
  }
  if (failure.stage == Stage::kMail && lasting) {
    return {"it takes no mail from " + sender + ": " + result.text,
            account.login.empty()
                ? "it may want a login: " + AddAgain(number, account)
                : "send from the address that belongs to this account: " +
                      ModCommandLine::VesproCommand({"settings", "set", "SenderEmail", "ADDRESS"}),
            kExitNoAccount};
  }
  return {"not now: " + result.text,
          "try again later: " + AccountsCommand({"test", std::to_string(number)}), kExitRunAgain};
}

std::vector<std::string> StepsOf(const AccountCheck& result, const Account& account,
                                 const std::string& sender) {
  std::vector<std::string> steps;
  if (result.connected) steps.emplace_back("connected");
  if (result.secure) steps.emplace_back("TLS, with a certificate for " + account.server);
  if (result.ready && !result.secure) {
    steps.emplace_back(result.loopback ? "no TLS; the server is on this machine"
                                       : "no TLS: everybody on the way can read what is sent");
  }
  if (result.ready) {
    steps.push_back(account.login.empty() ? "no login" : "logged in as " + account.login);
  }
  if (result.sender_taken) steps.push_back("takes mail from " + sender);
  return steps;
}

void Print(ByteSink& out, const std::string& text) {
  std::string safe;
  for (const std::string_view line : ModText::Split(text, '\n')) {
    safe += (safe.empty() ? "" : "\n") + ModText::Printable(line, line.size());
  }
  out.Write(safe + "\n").Ignore();  // the exit code says the same
}

void Tell(const EngineOptions& options, ByteSink& out, std::size_t number, const Account& account,
          const std::vector<std::string>& steps, const Diagnosis& diagnosis) {
  const std::string server = account.server + ":" + std::to_string(account.port);
  if (options.json) {
    const nlohmann::ordered_json line = {{"number", number},
                                         {"server", server},
                                         {"login", account.login},
                                         {"works", diagnosis.exit == kExitAllSent},
                                         {"steps", steps},
                                         {"trouble", diagnosis.trouble},
                                         {"remedy", diagnosis.remedy}};
    out.Write(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n").Ignore();
    return;
  }
  std::string text = std::to_string(number) + " " + server +
                     (account.login.empty() ? "" : ", login " + account.login);
  for (const std::string& step : steps) text += "\n  " + step;
  if (diagnosis.exit == kExitAllSent) {
    text += "\n  works; nothing was sent";
  } else {
    text += "\n  DOES NOT WORK: " + diagnosis.trouble + "\n  " + diagnosis.remedy;
  }
  Print(out, text);
}

}  // namespace

int ReportOnAccounts(const EngineOptions& options, ByteSink& out, ByteSink& err,
                     const CheckFunction& check) {
  const auto fail = [&err](const std::string& text, int exit) {
    Print(err, "vespro-engine: " + text);
    return exit;
  };
  const Result<std::vector<AccountEntry>> entries = ReadAccountFile(options.check.file);
  if (!entries.ok()) return fail(entries.status().text(), kExitNoAccount);
  const std::string list = AccountsCommand({"list"});
  if (entries->empty()) {
    return fail("there are no accounts: add one with " + AccountsCommand({"add", "SERVER"}),
                kExitNoAccount);
  }
  if (options.check.number > entries->size()) {
    return fail("there is no account " + std::to_string(options.check.number) + ": " + list +
                    " numbers them",
                kExitUsage);
  }
  int exit = kExitAllSent;
  for (std::size_t i = 0; i < entries->size(); ++i) {
    const AccountEntry& entry = entries.value()[i];
    if (options.check.number != 0 && options.check.number != i + 1) continue;
    Account account;
    account.server = entry.server;
    account.login = entry.login;
    account.password = entry.password;
    Diagnosis diagnosis;
    std::vector<std::string> steps;
    if (const std::string why = WhyLeftOut(entry); !why.empty()) {
      account.port = 0;
      diagnosis = {why, "remove it and add it anew: " + list, kExitNoAccount};
    } else {
      account.port = CheckServer(entry.server, entry.port).value();
      const Result<AccountCheck> result = check(options.delivery, account, options.check.sender);
      if (!result.ok()) return fail(result.status().text(), kExitNoAccount);
      steps = StepsOf(result.value(), account, options.check.sender);
      diagnosis = DiagnosisOf(result.value(), i + 1, account, options.check.sender);
    }
    Tell(options, out, i + 1, account, steps, diagnosis);
    if (exit == kExitAllSent) exit = diagnosis.exit;
  }
  return exit;
}

}  // namespace vespro::engine
