// engine/preview.h - messages rendered for people to look at, contacting nobody. One thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/random.h"
#include "base/status.h"
#include "engine/unsubscribe.h"
#include "engine/work.h"
#include "recipients/distribution.h"

namespace vespro::engine {

// Renders every message into the Maildir `folder`, which is made when it is not there. The number
// of messages.
Result<std::uint64_t> RenderToMaildir(const std::filesystem::path& folder, WorkSource& source,
                                      Renderer& renderer, const Clock& clock,
                                      Randomness& randomness);

// One row of a list, as an editor counts them from 1, without the header and empty lines.
struct ListRow {
  Recipient recipient;
  std::string first_row;  // of a CSV list, which names the merge fields; bytes
  bool has_byte_order_mark = false;
};
// kUsage when the list has fewer, or nobody gets a mail for that row, with the reason.
Result<ListRow> FindRow(const Distribution& list, std::uint64_t row, Randomness& randomness);

struct RowToRender {
  std::filesystem::path message_file;
  int bcc_mode = 0;  // as a job has it
  Distribution list;
  std::uint64_t row = 1;  // as FindRow takes it
  UnsubscribeOptions unsubscribe;
};
// The message for that row; CR LF line ends. Fails as FindRow does.
Result<std::string> RenderRow(const RowToRender& wanted, const Clock& clock,
                              Randomness& randomness);

// A rendered message for a person: headers and texts decoded, then a list of its parts. No control
// characters but LF.
std::string ReadableMessage(std::string_view message);

}  // namespace vespro::engine
