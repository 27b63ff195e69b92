#include "terminal/console.h"

#include <csignal>
#include <iostream>

#include "base/code_page.h"
#include "base/command_line.h"
#include "base/signals.h"
#include "base/text.h"

namespace vespro::ModConsole {
namespace {

volatile std::sig_atomic_t stopped = 0;

void NoteStop(int) { stopped = 1; }

}  // namespace

bool CanAsk() {
  using ModCommandLine::Stream;
  return ModCommandLine::IsTerminal(Stream::kInput) && ModCommandLine::IsTerminal(Stream::kError);
}

std::string ReadLine() {
  std::string line;
  std::getline(std::cin, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return ArgumentText(line);
}

std::string Ask(std::string_view prompt) {
  stopped = 0;
  const ModSignals::Handled signals(NoteStop);
  for (const int signal : ModSignals::Endings()) platform::EndReadsOn(signal);
  // Only now: a user who sees it may press Ctrl-C at once.
  std::cerr << prompt << std::flush;
  std::string answer = ReadLine();
  if (stopped == 0) return answer;
  std::cin.setstate(std::ios::failbit);  // a line may have come as well
  return {};
}

std::string ArgumentText(const std::string& text) {
  return ModText::IsUtf8(text) ? text : ModCodePage::ToUtf8(text);
}

}  // namespace vespro::ModConsole
