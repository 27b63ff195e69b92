// engine/preview.h - messages rendered for people to look at, contacting nobody. One thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "base/clock.h"
#include "base/random.h"
#include "base/status.h"
#include "engine/delivery.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// Renders every message into the Maildir `folder`, which is made when it is not there. The number
// of messages.
Result<std::uint64_t> RenderToMaildir(const std::filesystem::path& folder, WorkSource& source,
                                      Renderer& renderer, const Clock& clock,
                                      Randomness& randomness);

// The message for the `row`-th usable recipient (from 1) of the list, CR LF line ends. kUsage when
// the list has fewer. `message_file` and `bcc_mode` as a job has them.
Result<std::string> RenderRow(const std::filesystem::path& message_file, int bcc_mode,
                              const Distribution& list, std::uint64_t row, const Clock& clock,
                              Randomness& randomness);

}  // namespace vespro::engine
