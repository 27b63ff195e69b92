// engine/delivery/session_owner.h - what a session asks of its owner, and tells it. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "engine/delivery/retry_policy.h"
#include "engine/message.h"
#include "engine/smtp/client.h"

namespace vespro::engine {

struct InFlightMessage {
  std::vector<Recipient> recipients;
  std::vector<AttemptState> states;  // one for each
  RenderedMessage message;
  std::string_view sender;
  // Recipients for whom the server had no room in this message, and the first of them.
  std::size_t rejected_for_count = 0, first_rejected_for_count = 0;
};

enum class Poll {
  kReady,      // there is a message
  kBlocked,    // not now: Drive the session when that changes
  kExhausted,  // nothing for this session any more
};

// A session that ended otherwise than by QUIT.
struct SessionEnd {
  bool was_ready = false;  // logged in
  bool was_used = false;   // a message was begun
  unsigned credential_generation = 0;
  Failure failure;
  Disposition disposition;
  std::string text;  // for a person
};

class Session;

// Called from within the session's functions and from the loop; must not destroy the session.
class SessionOwner {
 public:
  virtual ~SessionOwner() = default;
  // Fills in the next message, with at most so many recipients; 0 when the server names no limit.
  virtual Poll NextMessage(const Session& session, std::size_t max_recipients,
                           InFlightMessage& message) = 0;
  // Write-ahead: from the next Commit on the server may accept the message for this recipient.
  virtual void OnIntent(const Recipient& recipient, AttemptState& state) = 0;
  // After every group of answers and before every write. False: nothing may be written any more.
  virtual bool Commit() = 0;
  virtual void OnAnswer(Session& session, const Recipient& recipient, AttemptState& state,
                        const Answer& answer) = 0;
  // Its outcome was told, `was` sent or refused, and can't be relied on: `why` is for a person. The
  // recipient has no row.
  virtual void OnUnsure(const Session& session, const Recipient& recipient, int attempts, State was,
                        std::string_view why) = 0;
  // After the last answer of a message to so many recipients.
  virtual void OnMessageFinished(const Session& session, std::size_t recipients) = 0;
  // Logged in. `max_size` in bytes, 0 when the server names no limit.
  virtual void OnReady(const Session& session, std::uint64_t max_size) = 0;
  virtual void OnFailed(Session& session, const SessionEnd& end) = 0;
  // The connection is gone, and nothing is in flight. The last call.
  virtual void OnClosed(const Session& session) = 0;
};

}  // namespace vespro::engine
