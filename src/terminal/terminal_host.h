// terminal/terminal_host.h - the mail client, compose window and desktop of the command line.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/desktop.h"
#include "host/mail_client.h"
#include "terminal/console.h"

namespace vespro {

class TerminalHost final : public MailClient, public Inspector, public Desktop {
 public:
  // `item` may be nullptr where nothing is composed; both must outlive the object.
  TerminalHost(ConsoleRules rules, MailItem* item, EditorType editor)
      : rules_(rules), item_(item), editor_(editor) {}

  // Messages go to standard error, questions to the terminal. Where nobody can be asked a question
  // is answered No, or Yes under assume_yes, and says so.
  MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                       std::string_view title) override;
  std::string InputBox(std::string_view prompt, std::string_view title,
                       std::string_view initial) override;
  // Files are named on the command line, and nothing is shown in windows.
  std::string PickFile(const FileQuestion&) override { return {}; }
  FormScreen* Screen() override { return nullptr; }
  void SetHourglass(bool) override {}
  void DoEvents() override {}
  // Keeps the command for the caller, who knows whether to start it, and how.
  Status Start(const CommandLine& command) override;
  int Shell(const ShellRequest& request) override;
  void Log(std::string_view line) override;

  std::string Version() const override { return "10.0"; }
  std::shared_ptr<Inspector> ActiveInspector() override { return Unowned<Inspector>(*this); }
  EditorType Editor() const override { return editor_; }
  std::shared_ptr<MailItem> CurrentItem() override {
    return item_ != nullptr ? Unowned(*item_) : nullptr;
  }
  std::shared_ptr<CommandBars> Bars() override { return nullptr; }
  Status PasteAtCaret() override {
    return Status(Code::kUnavailable, "the command line has no caret");
  }

  // What an answer to an input box must pass; asked again until it does, or nothing is typed.
  void set_check_input(std::function<Status(const std::string&)> check) {
    check_input_ = std::move(check);
  }
  // The engine's command, once a job was written.
  const std::optional<CommandLine>& started() const { return started_; }

 private:
  ConsoleRules rules_;
  MailItem* item_;
  EditorType editor_;
  std::optional<CommandLine> started_;
  std::function<Status(const std::string&)> check_input_;
};

}  // namespace vespro
