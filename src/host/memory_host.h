// host/memory_host.h - a mail client, a compose window and a desktop in memory, for tests. A test
// fills in what the user composed and will answer, and reads what happened from `events`.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "base/files.h"
#include "host/desktop.h"
#include "host/mail_client.h"
#include "host/memory_command_bars.h"

namespace vespro {

class MemoryHost final : public MailClient, public Inspector, public MailItem, public Desktop {
 public:
  // What the user composed.
  std::string subject, body, html_body;
  std::vector<std::pair<std::string, std::string>> attachments;  // file name, bytes
  EditorType editor = EditorType::kPlainText;
  std::string version = "10.0.0.2627";
  bool has_item = true;
  // What the user will answer, in order; without an answer: Yes to a question, nothing to a box.
  std::deque<MessageAnswer> answers;
  std::deque<std::string> inputs;
  std::deque<std::string> files;
  FormScreen* screen = nullptr;  // where forms are shown, if at all
  int shell_result = 33;         // what Shell says
  // Every call of these names fails: "SetTo", "Close", "Move", "Start", "SaveAttachment",
  // "Paste", "ClearClipboard", "SetClipboardText".
  std::map<std::string, bool> fails;

  // What happened, one line each, such as "MsgBox[!] Vespro: ..." or "To=...".
  std::vector<std::string> events;
  int do_events_calls = 0;
  std::function<void()> on_do_events;  // what happens meanwhile, if anything
  std::string clipboard;

  MemoryOffice office;
  MemoryCommandBars bars{office};

  std::string Version() const override { return version; }
  std::shared_ptr<Inspector> ActiveInspector() override { return Unowned<Inspector>(*this); }
  EditorType Editor() const override { return editor; }
  std::shared_ptr<MailItem> CurrentItem() override {
    return has_item ? Unowned<MailItem>(*this) : nullptr;
  }
  std::shared_ptr<CommandBars> Bars() override { return Unowned<CommandBars>(bars); }
  Status PasteAtCaret() override {
    Status status = Happen("Paste", "Paste ", clipboard);
    if (status.ok()) body += clipboard;
    return status;
  }

  std::string Subject() const override { return subject; }
  std::string Body() const override { return body; }
  std::string HtmlBody() const override { return html_body; }
  Status SetTo(std::string_view text) override { return Happen("SetTo", "To=", text); }
  Status SetSentOnBehalfOfName(std::string_view text) override {
    return Happen("SetSentOnBehalfOfName", "SentOnBehalfOfName=", text);
  }
  std::size_t AttachmentCount() const override { return attachments.size(); }
  std::string AttachmentFileName(std::size_t index) const override {
    return attachments[index].first;
  }
  Status SaveAttachment(std::size_t index, const std::filesystem::path& path) override {
    if (Status status = Happen("SaveAttachment", "SaveAttachment ", attachments[index].first);
        !status.ok()) {
      return status;
    }
    return ModFiles::ReplaceWith(path, attachments[index].second);
  }
  Status CloseAndSave() override { return Happen("Close", "Close", ""); }
  Status MoveToSentFolder() override { return Happen("Move", "Move", ""); }

  MessageAnswer MsgBox(std::string_view text, MessageIcon icon, MessageButtons buttons,
                       std::string_view title) override {
    static constexpr char kIcons[] = {'x', '?', '!', 'i'};
    events.push_back("MsgBox[" + std::string(1, kIcons[static_cast<int>(icon)]) + "] " +
                     std::string(title) + ": " + std::string(text));
    if (buttons == MessageButtons::kOk) return MessageAnswer::kOk;
    return TakeFront(answers, MessageAnswer::kYes);
  }
  std::string InputBox(std::string_view prompt, std::string_view title, std::string_view) override {
    events.push_back("InputBox " + std::string(title) + ": " + std::string(prompt));
    return TakeFront(inputs, std::string());
  }
  std::string PickFile(const FileQuestion& question) override {
    events.push_back("PickFile " + question.title + ": " + question.folder);
    return TakeFront(files, std::string());
  }
  FormScreen* Screen() override { return screen; }
  Status ClearClipboard() override {
    clipboard.clear();
    return Happen("ClearClipboard", "ClearClipboard", "");
  }
  Status SetClipboardText(std::string_view text) override {
    Status status = Happen("SetClipboardText", "SetClipboardText ", text);
    if (status.ok()) clipboard = text;
    return status;
  }
  void SetHourglass(bool on) override { events.push_back(on ? "Hourglass on" : "Hourglass off"); }
  void DoEvents() override {
    ++do_events_calls;
    if (on_do_events) on_do_events();
  }
  Status Start(const CommandLine& command) override {
    return Happen("Start", "Start ", command.text);
  }
  int Shell(const ShellRequest& request) override {
    events.push_back("Shell " + request.operation + " " + request.file + " (" + request.parameters +
                     ") in (" + request.directory + ") as " + std::to_string(request.show));
    return shell_result;
  }
  void Log(std::string_view line) override { events.push_back("Log " + std::string(line)); }

 private:
  Status Happen(const std::string& name, const char* event, std::string_view text) {
    if (fails[name]) return Status(Code::kUnavailable, name + " failed");
    events.push_back(event + std::string(text));
    return {};
  }
  template <class T>
  static T TakeFront(std::deque<T>& queue, T otherwise) {
    if (queue.empty()) return otherwise;
    T front = std::move(queue.front());
    queue.pop_front();
    return front;
  }
};

}  // namespace vespro
