#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>

#include "base/files.h"
#include "base/random.h"
#include "base/text.h"
#include "cli/verbs.h"
#include "mime/writer.h"
#include "support/diagnostic_report.h"
#include "support/product.h"
#include "terminal/home.h"
#include "terminal/terminal_host.h"

namespace vespro::cli {
namespace {

struct DiagnoseArguments {
  bool without_accounts = false;
  bool send = false;
  std::string file = "vespro-diagnostics.eml";
};

// Where there is no mail client, the command line is one.
class NoMailClient final : public MailClient {
 public:
  std::string Name() const override { return "Vespro command line"; }
  std::string Version() const override { return product::kVersion; }
  std::shared_ptr<Inspector> ActiveInspector() override { return nullptr; }
  std::shared_ptr<vespro::Inspectors> Inspectors() override {
    return Unowned<vespro::Inspectors>(no_windows_);
  }

 private:
  struct NoWindows final : vespro::Inspectors {
    Result<int> Count() const override { return 0; }
    void OnNewInspector(std::function<void(std::shared_ptr<Inspector>)>) override {}
  };
  NoWindows no_windows_;
};

// A mail that its reader's mail program opens as one still to be sent.
Status WriteMail(const std::string& file, const std::string& report) {
  Composition mail;
  mail.subject = "Vespro: technical support";
  mail.fields = std::string("To: ") + product::kSupportMailbox + "\r\nX-Unsent: 1\r\n";
  mail.text = ModDiagnostics::MailBody(report);
  SystemRandomness randomness;
  StringSink bytes;
  if (Status written = WriteMime(mail, randomness, bytes); !written.ok()) return written;
  return ModFiles::ReplaceWith(ModFiles::FromUtf8(file), bytes.text, Access::kPrivate);
}

void WarnOfPasswords(const Home& home, const DiagnoseArguments& arguments) {
  const Result<std::string> accounts = ModFiles::ReadAll(home.AccountFile());
  if (arguments.without_accounts || !accounts.ok() || accounts->empty()) return;
  Note(
      "the accounts' logins and passwords are in it, encoded: whoever reads it can decode them; "
      "--without-accounts leaves them out");
}

int Diagnose(const Globals& globals, const DiagnoseArguments& arguments) {
  Result<Home> home = OpenHome(globals.home);
  if (!home.ok()) return Fail(home.status());
  TerminalHost host(globals.rules, nullptr, EditorType::kPlainText);
  AddIn add_in = InstalledAddIn(home.value());
  add_in.desktop = &host;
  add_in.mail_client = std::make_shared<NoMailClient>();
  const Settings settings(*home->backend);
  const std::unique_ptr<SystemFacts> system = ThisSystem();
  using ModDiagnostics::Accounts;
  const std::string report =
      ModDiagnostics::Report(add_in, settings, *system,
                             arguments.without_accounts ? Accounts::kLeftOut : Accounts::kIncluded);
  if (!arguments.send) {
    if (globals.json) {
      PrintJson({{"report", report}});
    } else {
      std::cout << ModText::ReplaceAll(report, "\r\n", "\n") << "\n";
    }
    WarnOfPasswords(home.value(), arguments);
    return 0;
  }
  if (Status written = WriteMail(arguments.file, report); !written.ok()) return Fail(written);
  if (globals.json) {
    PrintJson({{"mail", arguments.file}});
  } else {
    std::cout << arguments.file << "\n";
  }
  WarnOfPasswords(home.value(), arguments);
  Note("open it with a mail program, say what went wrong, and send it");
  return 0;
}

int About(const Globals& globals) {
  if (globals.json) {
    PrintJson({{"name", "Vespro"},
               {"version", product::kVersion},
               {"remark", product::kRemark},
               {"support", product::kSupportMailbox},
               {"web", product::kWebAddress}});
    return 0;
  }
  std::cout << "Vespro " << product::kVersion << " " << product::kRemark << "\n"
            << "Sends one mail to many people who want it.\n"
            << product::kContact << " (with what 'vespro diagnose' tells)\n"
            << product::kWebAddress << "\n";
  return 0;
}

}  // namespace

void AddSupportVerbs(CLI::App& app, Globals& globals, Action& action) {
  auto arguments = std::make_shared<DiagnoseArguments>();
  CLI::App* diagnose = app.add_subcommand(
      "diagnose", "Print what the makers need to know to help: versions, settings, programs");
  diagnose
      ->add_option(
          "--send", arguments->file,
          "Write it as a mail to the makers that is still to be sent [" + arguments->file + "]")
      ->type_name("FILE")
      ->expected(0, 1);
  diagnose->add_flag("--without-accounts", arguments->without_accounts,
                     "Leave the accounts out, with their encoded passwords");
  diagnose->footer("Example: vespro diagnose --send --without-accounts");
  diagnose->callback([&globals, &action, arguments, diagnose] {
    arguments->send = diagnose->count("--send") > 0;
    action = [&globals, arguments] { return Diagnose(globals, *arguments); };
  });

  CLI::App* about = app.add_subcommand("about", "Show the version, and who answers questions");
  about->footer("Example: vespro about");
  about->callback([&globals, &action] { action = [&globals] { return About(globals); }; });
}

}  // namespace vespro::cli
