#include "cli/test_letter.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "base/files.h"
#include "base/lines.h"
#include "base/random.h"
#include "base/text.h"
#include "cli/scratch_folder.h"
#include "engine/preview.h"
#include "recipients/row.h"
#include "send/job_file.h"
#include "send/session.h"
#include "settings/account_file.h"
#include "settings/settings.h"
#include "terminal/process.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kLookEvery{20};

// A list with one person: the row as it is, so that its own address is merged where the letter has
// it, and who really gets the letter in a further column without a name.
struct OneRow {
  std::string bytes;
  Distribution distribution;
};
Result<OneRow> ListOf(const engine::ListRow& row, const Distribution& list,
                      const std::string& address) {
  OneRow one;
  one.distribution = list;
  one.distribution.header = true;
  if (list.kind != ListKind::kCsv) {
    one.bytes = address + "\r\n";
    return one;
  }
  const auto commas = [](const std::string& text) {
    return std::count(text.begin(), text.end(), ',');
  };
  const auto last = std::max(commas(row.first_row), commas(row.recipient.row));
  if (last >= INT16_MAX) return Status(Code::kBadInput, "the list has too many columns");
  const auto padded = [&](const std::string& text) {
    return text + std::string(static_cast<std::size_t>(last - commas(text)) + 1, ',');
  };
  if (row.has_byte_order_mark) one.bytes = ModRow::kByteOrderMark;
  one.bytes += padded(row.first_row) + "\r\n" + padded(row.recipient.row) + address + "\r\n";
  one.distribution.column = static_cast<std::int16_t>(last + 1);
  return one;
}

Result<std::vector<std::string>> HostsFor(const Home& home, const SendRequest& request) {
  return request.accounts.empty() ? ReadAccountsForJob(home.AccountFile())
                                  : ModSendJob::ChooseHosts(home.AccountFile(), request.accounts);
}

// Runs the engine to its end. What it says is in `log`.
Result<int> RunEngine(const Home& home, const std::vector<std::string>& arguments,
                      const fs::path& log) {
  const AddIn add_in = InstalledAddIn(home);
  Result<std::unique_ptr<ModProcess::Detached>> engine = ModProcess::StartDetached(
      add_in.install_folder / ModFiles::FromUtf8(add_in.engine_file), arguments, log);
  if (!engine.ok()) return engine.status();
  for (;;) {
    if (const std::optional<int> code = engine.value()->ExitCode()) return *code;
    std::this_thread::sleep_for(kLookEvery);
  }
}

// What became of the letter; the engine's own words where it was not sent.
void Tell(const Globals& globals, const TestLetter& letter, std::uint64_t line,
          std::string_view log) {
  nlohmann::json outcome;
  for (std::string_view text; NextLine(log, text);) {
    if (!text.starts_with('{')) {
      // The job is gone, so there is nothing to go on with.
      const std::string_view said = text.substr(0, text.find("; go on with: "));
      constexpr std::string_view kEngine = "vespro-engine: ";
      if (!said.empty()) Note(said.starts_with(kEngine) ? said.substr(kEngine.size()) : said);
      continue;
    }
    const nlohmann::json event = nlohmann::json::parse(text, nullptr, false);
    if (event.is_object() && event.value("event", "") == "recipient") outcome = event;
  }
  const std::string state = outcome.is_object() ? outcome.value("state", "") : "not reached";
  const std::string server = outcome.is_object() ? outcome.value("server", "") : "";
  const std::string reply = outcome.is_object() ? outcome.value("reply", "") : "";
  if (globals.json) {
    PrintJson({{"to", letter.address},
               {"row", letter.row},
               {"line", line},
               {"state", state},
               {"server", server},
               {"reply", reply}});
    return;
  }
  const std::string whose = "the letter of row " + std::to_string(letter.row) + " (line " +
                            std::to_string(line) + ") to " + letter.address + ": " + state;
  std::cout << ModText::Printable(whose) << (server.empty() ? "" : ", " + server)
            << (reply.empty() ? "" : ": " + ModText::Printable(reply)) << "\n"
            << "nobody else got anything\n";
}

}  // namespace

int SendTestLetter(const Globals& globals, Home& home, const SendRequest& request,
                   const TestLetter& letter) {
  if (!ModRow::LooksLikeAddress(letter.address)) {
    return Fail(Status(
        Code::kUsage, "--test needs an address, not '" + ModText::Printable(letter.address) + "'"));
  }
  const ScratchFolder scratch(home);
  if (Status status = scratch.Make(); !status.ok()) return Fail(status);
  Result<WrittenMessage> message =
      ModSendJob::WriteMessage(home, globals.rules, request, scratch.path());
  if (!message.ok()) return Fail(message.status());
  for (const std::string& remark : message->remarks) Note(remark);
  SystemRandomness randomness;
  Result<engine::ListRow> row = engine::FindRow(message->distribution, letter.row, randomness);
  if (!row.ok()) return Fail(row.status());
  Result<std::vector<std::string>> hosts = HostsFor(home, request);
  if (!hosts.ok()) return Fail(hosts.status());

  Result<OneRow> made = ListOf(row.value(), message->distribution, letter.address);
  if (!made.ok()) return Fail(made.status());
  OneRow& list = made.value();
  const bool is_csv = list.distribution.kind == ListKind::kCsv;
  list.distribution.path = is_csv ? "list.csv" : "list.txt";
  Status written = ModFiles::ReplaceWith(
      scratch.path() / ModFiles::FromUtf8(list.distribution.path), list.bytes, Access::kPrivate);
  const JobFile fields = {
      "1", ModDistribution::Compose(list.distribution), std::to_string(message->bcc_mode),
      ModFiles::ToUtf8(message->message_file.filename()), std::move(hosts).value()};
  const fs::path job = ModSession::JobFileIn(scratch.path());
  if (written.ok()) {
    written = ModFiles::ReplaceWith(job, ModSend::FormatJobFile(fields), Access::kPrivate);
  }
  if (!written.ok()) return Fail(written);

  std::vector<std::string> options = {"-s", ModFiles::ToUtf8(job), "--json"};
  options.insert(options.end(), globals.engine_options.begin(), globals.engine_options.end());
  const fs::path log = scratch.path() / "engine.log";
  Result<int> code = RunEngine(home, options, log);
  if (!code.ok()) return Fail(code.status());
  const Result<std::string> said = ModFiles::ReadAll(log);
  if (!said.ok()) return Fail(said.status());
  Tell(globals, letter, row->recipient.line, said.value());
  return code.value();
}

}  // namespace vespro::cli
