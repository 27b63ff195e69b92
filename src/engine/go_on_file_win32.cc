#include "engine/go_on_file.h"

namespace vespro::engine::ModGoOnFile::platform {

const char kName[] = "go-on-sending.cmd";
const char kHowTo[] = "double-click on \"go-on-sending.cmd\".";

std::string Script(const std::filesystem::path& session_folder,
                   const std::filesystem::path& program) {
  return WindowsScript(session_folder, program);
}

}  // namespace vespro::engine::ModGoOnFile::platform
