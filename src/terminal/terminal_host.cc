#include "terminal/terminal_host.h"

#include <iostream>

#include "base/open_document.h"
#include "base/text.h"

namespace vespro {
namespace {

// Message boxes break their lines with CR LF.
std::string TerminalText(std::string_view text) { return ModText::ReplaceAll(text, "\r\n", "\n"); }

}  // namespace

MessageAnswer TerminalHost::MsgBox(std::string_view text, MessageIcon, MessageButtons buttons,
                                   std::string_view title) {
  std::cerr << title << ": " << TerminalText(text);
  if (buttons == MessageButtons::kOk) {
    std::cerr << "\n";
    return MessageAnswer::kOk;
  }
  if (rules_.assume_yes) {
    std::cerr << " yes\n";
    return MessageAnswer::kYes;
  }
  if (rules_.no_input || !ModConsole::CanAsk()) {
    std::cerr << " no (nobody to ask; --yes answers yes)\n";
    return MessageAnswer::kNo;
  }
  for (;;) {
    const std::string answer = ModText::LowerAscii(ModConsole::Ask(" [y/n] "));
    if (answer == "y" || answer == "yes") return MessageAnswer::kYes;
    // An ended input answers nothing more: that is a No.
    if (answer == "n" || answer == "no") return MessageAnswer::kNo;
    if (!std::cin) {
      std::cerr << "\n";
      return MessageAnswer::kNo;
    }
  }
}

std::string TerminalHost::InputBox(std::string_view prompt, std::string_view,
                                   std::string_view initial) {
  if (rules_.no_input || !ModConsole::CanAsk()) return {};
  std::cerr << TerminalText(prompt) << "\n";
  for (;;) {
    if (!initial.empty()) std::cerr << "[" << initial << "] ";
    std::cerr << "> " << std::flush;
    std::string answer = ModConsole::ReadLine();
    if (answer.empty()) answer = initial;
    const Status fits = check_input_ && !answer.empty() ? check_input_(answer) : Status();
    if (fits.ok()) return answer;
    std::cerr << fits.text() << "\n";
    if (!std::cin) return {};
  }
}

Status TerminalHost::Start(const CommandLine& command) {
  started_ = command;
  return {};
}

int TerminalHost::Shell(const ShellRequest& request) {
  return OpenDocument(
      {request.operation, request.file, request.parameters, request.directory, request.show});
}

void TerminalHost::Log(std::string_view line) { std::cerr << "vespro: " << line << "\n"; }

}  // namespace vespro
