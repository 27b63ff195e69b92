#include "send/send_command.h"

#include "base/files.h"
#include "base/text.h"
#include "send/job_file.h"
#include "send/session.h"

namespace vespro::ModSend {
namespace {

constexpr char kFormattingLost[] =
    "Warning: Text formatting will be lost.\r\nDo you want to continue?";

// Mail clients before version 10 lose a rich text's formatting on the way into MIME.
bool ContinueWithoutFormatting(SendContext& context) {
  const std::shared_ptr<Inspector> inspector = context.window.inspector;
  const std::shared_ptr<MailClient> client = context.add_in.mail_client;
  if (inspector == nullptr || client == nullptr) return true;
  if (inspector->Editor() != EditorType::kRichText) return true;
  if (ModText::LeadingNumber(client->Version()) >= 10) return true;
  return context.desktop().MsgBox(kFormattingLost, MessageIcon::kExclamation,
                                  MessageButtons::kYesNo, kModuleName) != MessageAnswer::kNo;
}

void LogFailure(SendContext& context, const char* step, const Status& status) {
  if (!status.ok()) context.desktop().Log(std::string(step) + ": " + status.text());
}

void FileItem(SendContext& context, std::string_view distribution_setting) {
  const auto pieces = ModText::Split(distribution_setting, ',');
  const std::shared_ptr<Inspector> inspector = context.window.inspector;
  if (inspector != nullptr && !pieces.empty()) {
    if (const auto item = inspector->CurrentItem()) {
      LogFailure(context, "the mail's To could not be set", item->SetTo(pieces.front()));
    }
  }
  context.desktop().DoEvents();
  // Held, since closing the window may end whatever the host does not have to keep.
  const std::shared_ptr<MailClient> client = context.add_in.mail_client;
  const auto active = client != nullptr ? client->ActiveInspector() : nullptr;
  // Where a question was open, the window may have gone, or be behind another one: that one's mail
  // is none of ours.
  const std::shared_ptr<Inspector> window = context.window.inspector;
  const bool is_ours =
      active != nullptr && window != nullptr && active->Identity() == window->Identity();
  const std::shared_ptr<Inspector> sent = is_ours ? active : window;
  if (const auto item = sent != nullptr ? sent->CurrentItem() : nullptr) {
    LogFailure(context, "the mail could not be closed", item->CloseAndSave());
    LogFailure(context, "the mail could not be filed among the sent ones",
               item->MoveToSentFolder());
  }
  context.desktop().DoEvents();
}

}  // namespace

CommandLine EngineCommand(const AddIn& add_in, const std::string& job_file,
                          const std::string& entries_per_page) {
  CommandLine command;
  command.executable = ModSession::ForwardSlashes(add_in.install_folder) + "/" + add_in.engine_file;
  command.arguments = {"-s", job_file, "-p", entries_per_page};
  command.text = command.executable + " -s \"" + job_file + "\" -p \"" + entries_per_page + "\"";
  return command;
}

Status CmdSend_Click(SendContext& context) {
  if (!context.window.active) return {};
  const std::string stored = context.settings.Read(setting::kMailList);
  std::string distribution_setting(ModText::Trim(stored));
  if (distribution_setting.empty()) {
    context.dialogs.ShowDlgSelectFile();
    return {};
  }
  distribution_setting = ModText::ReplaceAll(distribution_setting, "\\", "/");

  Result<std::string> job_file = CreateConfigFile(context, distribution_setting);
  if (!job_file.ok()) return job_file.status();
  if (job_file.value().empty() || !ContinueWithoutFormatting(context)) return {};

  FileItem(context, distribution_setting);
  const std::string per_page(ModText::Trim(context.settings.Read(setting::kReportPerPage)));
  LogFailure(context, "the sending engine could not be started",
             context.desktop().Start(EngineCommand(context.add_in, job_file.value(), per_page)));

  context.add_in.RemoveWindow(context.window.key, context.window);
  return {};
}

}  // namespace vespro::ModSend
