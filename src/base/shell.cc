#include "base/shell.h"

#include <algorithm>

#include "base/shell_platform.h"

namespace vespro::ModShell {

Result<std::string> RunForFirstLine(const std::string& command, std::chrono::milliseconds limit,
                                    const std::atomic<bool>& stop) {
  Result<std::string> output = platform::Output(command, limit, stop);
  if (!output.ok()) return output;
  std::string line = std::move(output).value();
  line.resize(std::min({line.find('\n'), line.find('\r'), line.size(), platform::kMaxBytes}));
  if (line.empty()) return Status(Code::kUnavailable, "it wrote nothing");
  return line;
}

}  // namespace vespro::ModShell
