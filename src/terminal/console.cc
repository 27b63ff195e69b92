#include "terminal/console.h"

#include <iostream>

#include "base/code_page.h"
#include "base/command_line.h"
#include "base/text.h"

namespace vespro::ModConsole {

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

std::string ArgumentText(const std::string& text) {
  return ModText::IsUtf8(text) ? text : ModCodePage::ToUtf8(text);
}

}  // namespace vespro::ModConsole
