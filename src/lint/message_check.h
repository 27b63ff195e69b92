// lint/message_check.h - looks at a message file for what its readers would miss. Pure: any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"

namespace vespro::lint {

struct MessageFacts {
  bool has_text = false, has_html = false;
  bool has_parts = false;  // anything beside these two, such as an attachment
  // As the HTML has them, each once.
  std::vector<std::string> local_pictures;    // on the sender's own disk, or nowhere
  std::vector<std::string> missing_pictures;  // "cid:" and a name that nothing in the mail has
  std::vector<std::string> unused_pictures;   // embedded files that the HTML does not show
};

// `bytes` are a message file (docs/formats/message-file.md). kBadInput when they can't be read.
Result<MessageFacts> CheckMessage(std::string_view bytes);

}  // namespace vespro::lint
