#include "engine/job.h"

#include <algorithm>

#include "base/code_page.h"
#include "base/command_line.h"
#include "base/files.h"
#include "base/lines.h"
#include "base/text.h"
#include "recipients/row.h"
#include "settings/account_file.h"
#include "settings/password.h"

namespace vespro::engine {
namespace {

bool LooksLikeKey(std::string_view text) {
  return text.size() <= 40 && std::all_of(text.begin(), text.end(), [](char c) {
           return (c >= 'A' && c <= 'Z') || c == ' ' || c == '-';
         });
}

constexpr int kMaxConnections = 500;
constexpr std::uint64_t kMaxJobBytes = 64 * 1024 * 1024;

// "server,port,login,password", the last two encoded. The failure's text names no secret.
Result<Account> ParseAccount(std::string_view value) {
  const std::vector<std::string_view> fields = ModText::Split(value, ',');
  if (fields.size() != 4) return Status(Code::kBadInput, "it does not have four fields");
  Account account;
  const Result<std::uint16_t> port = CheckServer(fields[0], fields[1]);
  if (!port.ok()) return port.status();
  account.server = ModText::Trim(fields[0]);
  account.port = port.value();
  Result<std::string> login = ModPassword::DecodePassword(fields[2]);
  if (!login.ok()) return Status(Code::kBadInput, "its login is not encoded as it should be");
  Result<std::string> password = ModPassword::DecodePassword(fields[3]);
  if (!password.ok()) return Status(Code::kBadInput, "its password is not encoded as it should be");
  account.login = std::move(login).value();
  account.password = std::move(password).value();
  return account;
}

struct Reader {
  Job job;
  std::size_t hosts = 0;
  std::string last_fault;  // of an account
  bool has_list = false;
  Status list_status;  // of its line

  void TakeHost(std::string_view value, std::size_t line) {
    ++hosts;
    Result<Account> account = ParseAccount(value);
    if (account.ok()) {
      job.accounts.push_back(std::move(account).value());
      return;
    }
    // Of a line without commas nothing is shown: it may be a password.
    const std::size_t comma = value.find(',');
    const std::string server =
        comma == std::string_view::npos
            ? std::string()
            : " ('" + ModText::Printable(ModText::Trim(value.substr(0, comma)), 80) + "')";
    last_fault = "account in line " + std::to_string(line) + server +
                 " is left out: " + account.status().text();
    job.warnings.push_back(last_fault);
  }

  void TakeConnections(std::string_view value) {
    const int wanted = ModText::LeadingInt16(value);
    if (wanted >= 1 && wanted <= kMaxConnections) {
      job.connections = static_cast<std::size_t>(wanted);
      return;
    }
    job.connections = wanted < 1 ? Job().connections : kMaxConnections;
    job.warnings.push_back("the number of connections, '" + ModText::Printable(value, 40) +
                           "', is not one from 1 to " + std::to_string(kMaxConnections) + ": " +
                           std::to_string(job.connections) + " are used. Change it with: " +
                           ModCommandLine::VesproCommand({"settings", "set", "NumConnect", "5"}));
  }

  void TakeLine(std::string_view line, std::size_t number) {
    if (ModText::Trim(line).empty()) return;
    const std::size_t equals = line.find('=');
    const std::string_view key = line.substr(0, equals);
    const std::string_view value =
        equals == std::string_view::npos ? std::string_view() : line.substr(equals + 1);
    if (key == "CONNECTION") {
      TakeConnections(value);
    } else if (key == "DISTRIBUTION FILE") {
      job.list = ModDistribution::Parse(value);
      list_status = ModDistribution::CheckSetting(value);
      has_list = true;
    } else if (key == "BCC MODE") {
      job.bcc_mode = std::max<int>(ModText::LeadingInt16(value), 0);
    } else if (key == "MESSAGE FILE") {
      job.message_file = ModFiles::FromUtf8(ModText::Trim(value));
    } else if (key == "HOST") {
      TakeHost(value, number);
    } else {
      // Only what looks like a key: anything else may be part of a password.
      const bool shown = equals != std::string_view::npos && LooksLikeKey(key);
      job.warnings.push_back("line " + std::to_string(number) + " of the job is not understood" +
                             (shown ? ": '" + std::string(key) + "'" : ""));
    }
  }
};

}  // namespace

Result<Job> ParseJob(std::string_view bytes) {
  // The mark is written before a job whose paths the code page can't hold.
  const std::string_view utf8 = ModRow::StripByteOrderMark(bytes);
  const bool marked = utf8.size() < bytes.size();
  if (marked && !ModText::IsUtf8(utf8)) return Status(Code::kBadInput, "the job is not UTF-8");
  const std::string text = marked ? std::string(utf8) : ModCodePage::ToUtf8(bytes);
  Reader reader;
  std::string_view rest = text;
  std::size_t number = 0;
  for (std::string_view line; NextLine(rest, line);) reader.TakeLine(line, ++number);
  Job& job = reader.job;
  if (!reader.has_list || job.list.path.empty()) {
    return Status(Code::kBadInput, "the job has no DISTRIBUTION FILE= line with a list");
  }
  if (job.list.kind == ListKind::kUnknown) {
    return Status(Code::kBadInput,
                  "the job's DISTRIBUTION FILE= line does not say whether the list is TEXT or CSV");
  }
  if (job.list.kind == ListKind::kCsv && job.list.column < 0) {
    return Status(Code::kBadInput,
                  "the job's DISTRIBUTION FILE= line does not say which column holds the address");
  }
  if (!reader.list_status.ok()) {
    return Status(Code::kBadInput,
                  "the job's DISTRIBUTION FILE= line: " + reader.list_status.text());
  }
  if (job.message_file.empty()) {
    return Status(Code::kBadInput, "the job has no MESSAGE FILE= line");
  }
  if (reader.hosts == 0) return Status(Code::kConfig, "the job has no HOST= line: no mail server");
  if (job.accounts.empty()) {
    return Status(Code::kConfig, "no HOST= line of the job can be used; " + reader.last_fault);
  }
  return std::move(reader.job);
}

Result<Job> ReadJob(const std::filesystem::path& job_file) {
  Result<std::string> bytes = ModFiles::ReadAll(job_file, kMaxJobBytes);
  if (!bytes.ok()) return bytes.status();
  Result<Job> job = ParseJob(bytes.value());
  if (!job.ok()) return job;
  const std::filesystem::path folder =
      job_file.has_parent_path() ? job_file.parent_path() : std::filesystem::path(".");
  job->message_file = folder / job->message_file;
  job->list.path = ModFiles::ToUtf8(folder / ModFiles::FromUtf8(job->list.path));
  return job;
}

}  // namespace vespro::engine
