// engine/go_on_file.h - the file in a session's folder by which a person without a command line
// goes on with a job that is not finished: a script that a file manager runs. It holds two paths
// and no secret, and starts the job as `vespro run` does, locks and passwords included. One thread.
#pragma once

#include <filesystem>
#include <string>

#include "base/status.h"

namespace vespro::engine::ModGoOnFile {

// Replaces the one that is there. kCannotWrite.
Status Write(const std::filesystem::path& session_folder);
Status Remove(const std::filesystem::path& session_folder);
bool IsThere(const std::filesystem::path& session_folder);
// Its full path.
std::filesystem::path PathIn(const std::filesystem::path& session_folder);
// What the person is to do with it, as a sentence.
std::string HowTo(const std::filesystem::path& session_folder);

// What it says on the two systems. `program` is the command line's file.
std::string WindowsScript(const std::filesystem::path& session_folder,
                          const std::filesystem::path& program);
std::string ShellScript(const std::filesystem::path& session_folder,
                        const std::filesystem::path& program);

// What differs from system to system.
namespace platform {
extern const char kName[];
extern const char kHowTo[];  // after the name
std::string Script(const std::filesystem::path& session_folder,
                   const std::filesystem::path& program);
}  // namespace platform

}  // namespace vespro::engine::ModGoOnFile
