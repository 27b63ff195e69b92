// send/job_file.h - the job file `Vespro.cfg`. Format: docs/formats/job-file.md.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "send/send_context.h"

namespace vespro {

// The values of a job file, as they are written. UTF-8.
struct JobFile {
  std::string connections;           // as the setting holds it; no line when blank
  std::string distribution_setting;  // path,TEXT or path,CSV,column,HEADER|VALUE
  std::string bcc_mode;              // as the setting holds it; no line when blank
  std::string message_file;
  std::vector<std::string> hosts;  // server,port,login,password; the last two encoded
};

namespace ModSend {

// The file's bytes in the code page, lines ended by CR LF; a path that the code page can't hold
// makes it UTF-8 with a byte-order mark. A line end inside a value would begin another line of the
// job: it becomes a blank.
std::string FormatJobFile(const JobFile& job);

// Makes a session: its name (kept in the window), its folder, the message file and the job file.
// The job file's path with "/", or "" when no job was made and the user has been told already (no
// account: the accounts' dialog; no sender). Otherwise what could not be read or written.
Result<std::string> CreateConfigFile(SendContext& context, std::string_view distribution_setting);

}  // namespace ModSend
}  // namespace vespro
