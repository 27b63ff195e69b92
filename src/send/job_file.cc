#include "send/job_file.h"

#include "base/code_page.h"
#include "base/files.h"
#include "base/text.h"
#include "send/message_file.h"
#include "send/session.h"
#include "settings/account_file.h"

namespace vespro::ModSend {

std::string FormatJobFile(const JobFile& job) {
  std::string text;
  const auto line = [&text](std::string_view key, std::string_view value) {
    text.append(key).append("=").append(OneLine(value)).append("\r\n");
  };
  if (!ModText::Trim(job.connections).empty()) line("CONNECTION", job.connections);
  line("DISTRIBUTION FILE", job.distribution_setting);
  if (!ModText::Trim(job.bcc_mode).empty()) line("BCC MODE", job.bcc_mode);
  line("MESSAGE FILE", job.message_file);
  for (const std::string& host : job.hosts) line("HOST", host);
  return ModCodePage::CanHold(text) ? ModCodePage::FromUtf8(text) : "\xEF\xBB\xBF" + text;
}

Result<std::string> CreateConfigFile(SendContext& context, std::string_view distribution_setting) {
  AddIn& add_in = context.add_in;
  context.desktop().DoEvents();
  Result<std::vector<std::string>> hosts = context.hosts;
  if (context.hosts.empty()) {
    hosts = ReadAccountsForJob(AccountFileIn(add_in.data_folder));
  }
  if (!hosts.ok()) return hosts.status();
  if (hosts.value().empty()) {
    context.dialogs.ShowfrmMailSetting();
    return std::string();
  }

  JobFile job;
  job.connections = context.settings.Read(setting::kNumConnect);
  job.bcc_mode = context.settings.Read(setting::kBccMode);
  job.distribution_setting = distribution_setting;
  job.hosts = std::move(hosts).value();

  Result<std::string> session =
      ModSession::TakeSession(add_in.data_folder, context.clock, add_in.session_counter);
  if (!session.ok()) return session.status();
  const std::string& name = context.window.session_name = std::move(session).value();
  const std::string folder =
      ModSession::ForwardSlashes(ModSession::SessionsFolder(add_in.data_folder)) + "/" + name;

  Result<std::string> message_file =
      CreateEmlFile(context, folder, ModText::LeadingInt16(job.bcc_mode));
  if (!message_file.ok() || message_file.value().empty()) return message_file;
  job.message_file = message_file.value();

  const std::filesystem::path file = ModSession::JobFileIn(ModFiles::FromUtf8(folder));
  // The logins travel in it: for the user alone.
  Status written = ModFiles::ReplaceWith(file, FormatJobFile(job), Access::kPrivate);
  if (!written.ok()) return written;
  for (std::size_t i = 0; i < job.hosts.size(); ++i) context.desktop().DoEvents();
  ModFiles::SetHidden(file).Ignore();  // a job that can be seen is still a job
  return ModSession::ForwardSlashes(file);
}

}  // namespace vespro::ModSend
