#include "cli/send_again.h"

#include "base/code_page.h"
#include "base/files.h"
#include "base/lines.h"
#include "engine/job.h"
#include "send/session.h"
#include "terminal/send_job.h"

namespace vespro::cli {
namespace {

namespace fs = std::filesystem;

// What is before the message in a message file, as options of "send".
Result<std::vector<std::string>> SenderOptions(const fs::path& message_file, bool turbo) {
  Result<LineReader> lines = LineReader::Open(message_file, std::size_t{64} * 1024);
  if (!lines.ok()) return lines.status();
  std::string from, name, reply_to, to;
  std::string_view line;
  for (int i = 0; i < 3 && lines->Next(line); ++i) {
    const std::size_t colon = line.find(": ");
    if (colon == std::string_view::npos) break;
    const std::string_view field = line.substr(0, colon);
    const std::string value = ModCodePage::ToUtf8(line.substr(colon + 2));
    if (field == "TO") to = value;
    if (field == "REPLY-TO") reply_to = value;
    if (field != "FROM") continue;
    const std::size_t angle = value.rfind('<');  // "name"<address>
    if (angle == std::string::npos || angle < 2 || value.back() != '>') {
      from = value;
    } else {
      from = value.substr(angle + 1, value.size() - angle - 2);
      name = value.substr(1, angle - 2);
    }
  }
  // What is empty is said as well: the settings may have another one by now.
  std::vector<std::string> options = {"--from", from, "--name", name, "--reply-to", reply_to};
  if (turbo) options.insert(options.end(), {"--to", to});
  return lines->status().ok() ? Result<std::vector<std::string>>(options) : lines->status();
}

}  // namespace

Result<std::vector<std::string>> SendAgainArguments(const fs::path& folder, const fs::path& list) {
  Result<engine::Job> job = engine::ReadJob(ModSession::JobFileIn(folder));
  if (!job.ok()) return job.status();
  const bool turbo = job->bcc_mode >= 1;
  Result<std::vector<std::string>> sender = SenderOptions(job->message_file, turbo);
  if (!sender.ok()) return sender;
  Result<std::vector<std::string>> engine_options = ModSendJob::KeptEngineOptions(folder);
  if (!engine_options.ok()) return engine_options;
  // The new list has a header, and two columns before those of the first one.
  const int column = (job->list.kind == ListKind::kCsv ? job->list.column : 0) + 3;
  std::vector<std::string> words = {"send", "--eml", ModFiles::ToUtf8(job->message_file), "--list",
                                    ModFiles::ToUtf8(list), "--column", std::to_string(column),
                                    "--header",
                                    // The message went out as it is.
                                    "--allow-unknown-words", turbo ? "--turbo" : "--personalised"};
  words.insert(words.end(), sender->begin(), sender->end());
  words.push_back("--wait");
  if (!engine_options->empty()) words.push_back("--");
  words.insert(words.end(), engine_options->begin(), engine_options->end());
  return words;
}

}  // namespace vespro::cli
