#include "engine/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

#include "base/text.h"
#include "engine/address.h"

namespace vespro::engine {
namespace {

constexpr const char* kFooter =
    "Exit: 0 everyone accepted; 1 finished, some not; 2 usage; 65 bad job, list or message; "
    "70 internal error; 75 stopped, run again to go on; 77 every account refused the login; "
    "78 no usable account; 130 interrupted, run again to go on.\n"
    "Example: vespro-engine -s session/Vespro.cfg -p 100 --rate 30/min";

constexpr double kSlowestRate = 1.0 / 86400 / 366;  // messages a second: one a year

// The options as texts, as they are on the command line.
struct Arguments {
  std::string job, check, per_page, dry_run, only, rate, ca, unsubscribe_key, limits, trace,
      tls = "auto";
  std::vector<std::string> suppress, account_rates, password_commands;
  double retry_delay = 30, server_backoff = 1;
};

void Declare(CLI::App& app, Arguments& arguments, EngineOptions& options) {
  DeliveryOptions& delivery = options.delivery;
  app.description("Sends a bulk-mail job and reports on every recipient.");
  app.name("vespro-engine");
  app.footer(kFooter);
  // A job that is taken up again brings its earlier options; what is said anew comes after them.
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  app.set_version_flag("--version", "vespro-engine " VESPRO_VERSION);
  CLI::Option* job = app.add_option("-s", arguments.job, "The job file")->type_name("FILE");
  app.add_option("-p", arguments.per_page, "Entries per report page, 1 to 500 (default 100)")
      ->type_name("N");
  app.add_option("--dry-run", arguments.dry_run,
                 "Render every message into this Maildir, contact nobody")
      ->type_name("DIR");
  app.add_option("--limit", options.list.limit, "Only the first N recipients; 0 for all")
      ->type_name("N")
      ->check(CLI::Range(std::uint64_t{0}, std::uint64_t{1} << 40));
  app.add_option("--only", arguments.only, "Only this recipient of the list")->type_name("ADDRESS");
  app.add_option("--rate", arguments.rate, "At most N/s, N/min, N/h or N/day, over all accounts");
  const auto several = [](CLI::Option* option) {
    return option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->allow_extra_args(false);
  };
  several(app.add_option("--account-rate", arguments.account_rates,
                         "At most N messages to this server, name or name:port; may be repeated"))
      ->type_name("SERVER=N/min");
  app.add_option("--limits", arguments.limits,
                 "The limits of accounts are in this file, and what was sent is counted beside it "
                 "(default: those that 'vespro limits' keeps)")
      ->type_name("FILE");
  app.add_flag("--wait-for-quota", delivery.wait_for_quota,
               "When no account may send more today, wait instead of ending with 75");
  several(app.add_option("--suppress", arguments.suppress,
                         "Never mail the addresses in this file; may be repeated"))
      ->type_name("FILE");
  app.add_option("--unsubscribe-url", options.unsubscribe.url,
                 "The page behind the mail program's Unsubscribe; {address} and {token} stand for "
                 "the recipient's")
      ->type_name("URL");
  app.add_option("--unsubscribe-mailto", options.unsubscribe.mailto,
                 "The same by mail, such as leave@example.org?subject=leave")
      ->type_name("ADDRESS");
  app.add_option("--unsubscribe-key", arguments.unsubscribe_key,
                 "The secret, at least 16 bytes, that {token} is made with")
      ->type_name("FILE");
  several(app.add_option("--password-command", arguments.password_commands,
                         "A command that writes this server's password, or \"Bearer \" and an "
                         "OAuth token; may be repeated"))
      ->type_name("SERVER=COMMAND");
  app.add_option("--tls", arguments.tls, "required, auto (where offered) or off")
      ->check(CLI::IsMember({"required", "auto", "off"}));
  app.add_option("--ca", arguments.ca, "Trust the certificates in this PEM file too")
      ->type_name("FILE");
  app.add_flag("--insecure-auth", delivery.insecure_auth,
               "Allow a password over a clear connection to another machine");
  app.add_option("--retry", delivery.max_attempts, "Attempts a recipient may take (default 3)")
      ->check(CLI::Range(1, 100));
  app.add_option("--retry-delay", arguments.retry_delay,
                 "Seconds before the second attempt; doubles (default 30)")
      ->check(CLI::Range(0.0, 86400.0));
  app.add_option("--server-backoff", arguments.server_backoff,
                 "Seconds a server is left alone after it failed or asked for patience; doubles "
                 "up to a minute (default 1)")
      ->check(CLI::Range(0.01, 3600.0));
  app.add_option("--per-connection", delivery.messages_per_connection,
                 "Messages before a connection is renewed (default 500)")
      ->check(CLI::Range(1, 1'000'000));
  app.add_flag("--fresh", options.fresh, "Ignore the journal of an earlier run");
  app.add_flag("--resend-unknown", options.resend_unknown,
               "Send again to those whose verdict is unknown");
  app.add_option("--timeout-scale", delivery.timeout_scale,
                 "Multiplies the time limits for a server's answers; for tests (default 1)")
      ->check(CLI::Range(0.0001, 100.0));
  app.add_option("--trace", arguments.trace,
                 "Write the dialogue with the servers into this file, without passwords")
      ->type_name("FILE");
  app.add_flag("--trace-data", options.trace_data, "The messages' text too");
  CLI::Option* check =
      app.add_option("--check-accounts", arguments.check,
                     "Send nothing: try the accounts of this file, as 'vespro accounts test' does")
          ->type_name("FILE")
          ->excludes(job);
  app.add_option("--account", options.check.number, "Only that account, by its number from 1")
      ->type_name("N")
      ->check(CLI::PositiveNumber)
      ->needs(check);
  app.add_option("--from", options.check.sender, "The sender's address to try them with")
      ->type_name("ADDRESS")
      ->needs(check);
  app.add_flag("--json", options.json, "Events and the summary as JSON, one object a line");
  app.add_flag("--quiet", options.quiet, "No progress and no summary");
}

// "smtp.example.org=30/min", taken apart at the first "=".
Result<std::pair<std::string, std::string>> SplitServer(const std::string& text,
                                                        const char* option) {
  const std::size_t equals = text.find('=');
  if (equals == std::string::npos || equals == 0 || equals + 1 == text.size()) {
    // Not the text: part of it may be a password.
    return Status(Code::kUsage, std::string(option) + " needs a server, \"=\" and a value");
  }
  return std::pair(text.substr(0, equals), text.substr(equals + 1));
}

Status ConvertServers(const Arguments& arguments, DeliveryOptions& delivery) {
  for (const std::string& text : arguments.account_rates) {
    const auto pair = SplitServer(text, "--account-rate");
    if (!pair.ok()) return pair.status();
    Result<double> rate = ParseRate(pair->second);
    if (!rate.ok()) return rate.status();
    delivery.account_rates.push_back({pair->first, rate.value()});
  }
  for (const std::string& text : arguments.password_commands) {
    const auto pair = SplitServer(text, "--password-command");
    if (!pair.ok()) return pair.status();
    delivery.password_commands.push_back({pair->first, pair->second});
  }
  return {};
}

std::chrono::milliseconds Milliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

// `has_job`, `has_only`: -s or --only was given, be it empty.
Status Convert(const Arguments& arguments, bool has_job, bool has_only, EngineOptions& options) {
  options.job_file = ModFiles::FromUtf8(arguments.job);
  options.entries_per_page = ParseEntriesPerPage(arguments.per_page);
  options.dry_run = ModFiles::FromUtf8(arguments.dry_run);
  options.list.only = Normalised(arguments.only);
  if (options.list.only.empty() && has_only) {
    return Status(Code::kUsage, "--only needs an address");
  }
  options.check.file = ModFiles::FromUtf8(arguments.check);
  if (!options.check.file.empty()) {
    const std::string why = WhyUnusable(options.check.sender);
    if (!why.empty()) {
      return Status(Code::kUsage, "--check-accounts needs --from ADDRESS: " + why);
    }
  } else if (!has_job) {
    return Status(Code::kUsage, "-s FILE is required: the job file; --help tells more");
  }
  if (options.json && !options.dry_run.empty()) {
    return Status(Code::kUsage, "--dry-run sends nothing that --json could tell of");
  }
  for (const auto& [option, seconds] : {std::pair("--retry-delay", arguments.retry_delay),
                                        std::pair("--server-backoff", arguments.server_backoff)}) {
    if (!std::isfinite(seconds)) {
      return Status(Code::kUsage, std::string(option) + " is a number of seconds");
    }
  }
  if (options.trace_data && arguments.trace.empty()) {
    return Status(Code::kUsage, "--trace-data needs --trace FILE");
  }
  options.trace = ModFiles::FromUtf8(arguments.trace);
  options.limits = ModFiles::FromUtf8(arguments.limits);
  for (const std::string& file : arguments.suppress) {
    options.suppress.push_back(ModFiles::FromUtf8(file));
  }
  DeliveryOptions& delivery = options.delivery;
  delivery.extra_ca = ModFiles::FromUtf8(arguments.ca);
  if (arguments.tls == "required") delivery.tls = TlsUse::kRequired;
  if (arguments.tls == "off") delivery.tls = TlsUse::kOff;
  delivery.retry_delay = Milliseconds(arguments.retry_delay);
  delivery.server_backoff = Milliseconds(arguments.server_backoff);
  if (!arguments.rate.empty()) {
    Result<double> rate = ParseRate(arguments.rate);
    if (!rate.ok()) return rate.status();
    delivery.messages_per_second = rate.value();
  }
  options.unsubscribe_key = ModFiles::FromUtf8(arguments.unsubscribe_key);
  return ConvertServers(arguments, delivery);
}

}  // namespace

ParsedOptions ParseOptions(std::vector<std::string> arguments) {
  ParsedOptions parsed;
  Arguments texts;
  CLI::App app;
  Declare(app, texts, parsed.options);
  // CLI11 takes its arguments last first.
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(arguments);
  } catch (const CLI::ParseError& error) {
    std::ostringstream out, err;
    parsed.exit = app.exit(error, out, err) == 0 ? kExitAllSent : kExitUsage;
    parsed.text = out.str() + err.str();
    return parsed;
  }
  if (Status status = Convert(texts, app.count("-s") > 0, app.count("--only") > 0, parsed.options);
      !status.ok()) {
    parsed.exit = kExitUsage;
    parsed.text = "vespro-engine: " + status.text() + "\n";
  }
  return parsed;
}

void VisitOptions(const std::function<void(const CLI::App&)>& visit) {
  CLI::App app;
  Arguments texts;
  EngineOptions options;
  Declare(app, texts, options);
  visit(app);
}

std::vector<OptionName> OptionNames() {
  std::vector<OptionName> names;
  VisitOptions([&names](const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
      for (const std::string& name : option->get_lnames()) {
        names.push_back({"--" + name, option->get_items_expected_max() > 0});
      }
    }
  });
  return names;
}

Result<double> ParseRate(std::string_view text) {
  const std::size_t slash = text.find('/');
  double number = 0;
  const std::string_view digits = text.substr(0, slash);
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), number,
                                    std::chars_format::fixed);
  const bool whole = read.ec == std::errc() && read.ptr == digits.data() + digits.size();
  const std::string_view unit =
      slash == std::string_view::npos ? std::string_view() : text.substr(slash + 1);
  double seconds = 0;
  if (unit == "s") seconds = 1;
  if (unit == "min") seconds = 60;
  if (unit == "h") seconds = 3600;
  if (unit == "day") seconds = 86400;
  if (!whole || !(number > 0 && number < 1e9) || seconds == 0 || number / seconds < kSlowestRate) {
    return Status(Code::kUsage, "a rate is a number and /s, /min, /h or /day, such as 30/min");
  }
  return number / seconds;
}

std::size_t ParseEntriesPerPage(std::string_view text) {
  std::uint64_t entries = 0;
  if (!ModText::ParseUnsigned(ModText::Trim(text), 500, &entries) || entries == 0) return 100;
  return static_cast<std::size_t>(entries);
}

}  // namespace vespro::engine
