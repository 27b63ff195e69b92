// send/send_command.h - the Send button: from the window in front to a running engine.
#pragma once

#include <string>

#include "base/status.h"
#include "host/desktop.h"
#include "send/send_context.h"

namespace vespro::ModSend {

// The engine's command line for a job: -s "job file" -p "entries per page".
CommandLine EngineCommand(const AddIn& add_in, const std::string& job_file,
                          const std::string& entries_per_page);

// Does nothing in a window that is not in front. Without a distribution file it shows the dialog
// for it; without an account or a sender no job is made, and the user has been told. Otherwise the
// job is written, the item filed and closed, the engine started, and the window's entry removed.
// Once the job is written, a step that fails is logged and the next one runs: the job is whole and
// can be started again. Before that, a failure is returned and nothing is started.
Status CmdSend_Click(SendContext& context);

}  // namespace vespro::ModSend
