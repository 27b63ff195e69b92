// send/message_file.h - the message file `Vespro.eml`. Format: docs/formats/message-file.md.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"
#include "send/send_context.h"

namespace vespro::ModSend {

// A value on one line: every CR, LF and NUL in it as a blank.
std::string OneLine(std::string_view value);

// Writes the message file into the session folder (UTF-8, with "/"). Without a sender's address it
// asks for one and stores it. The file's path, or "" when no message could be made and the user has
// been told. A read or write that failed leaves a partly written file behind.
Result<std::string> CreateEmlFile(SendContext& context, const std::string& session_folder,
                                  std::int16_t bcc_mode);

}  // namespace vespro::ModSend
