#include "engine/go_on_file.h"

namespace vespro::engine::ModGoOnFile::platform {

const char kName[] = "go-on-sending.sh";
const char kHowTo[] =
    "run \"go-on-sending.sh\": by a double click or, where that shows its text, by a right click "
    "and "
    "\"Run as a Program\".";

std::string Script(const std::filesystem::path& session_folder,
                   const std::filesystem::path& program) {
  return ShellScript(session_folder, program);
}

}  // namespace vespro::engine::ModGoOnFile::platform
