// engine/work.h - what the sending side of the engine needs from the rest: who is to be mailed, the
// message for them, and somebody to tell what became of each. One thread calls them all.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "engine/message.h"

namespace vespro::engine {

// kNotReached: a run was stopped before; in reports and counts only, never a verdict.
enum class State { kSent, kRefused, kFailed, kSkipped, kUnknown, kNotReached };

// What became of one recipient.
struct Outcome {
  State state = State::kSent;
  int attempts = 0;
  std::string server;  // "name:port" of the last attempt
  std::string reply;   // the server's own words, or ours where no server spoke; one line
};

// Why one recipient waits for another attempt. The fields are as in Outcome; `attempts` are those
// that were used up.
struct Deferral {
  int attempts = 0;
  std::string server;
  std::string reply;
  std::string mark{};  // what a later run has to know of it, in a word; mostly empty
};

// Of whoever was refused like everybody else, so that it is not known whether he was to blame; the
// number of runs follows.
inline constexpr std::string_view kSuspectedMark = "suspected ";

class WorkSource {
 public:
  virtual ~WorkSource() = default;
  // The next recipients, at most `max`, fewer only near the end of the list; none at its end.
  virtual Result<std::vector<Recipient>> Next(std::size_t max) = 0;
};

class Renderer {
 public:
  virtual ~Renderer() = default;
  // The address for MAIL FROM.
  virtual const std::string& sender() const = 0;
  // How many recipients one message may carry: 1 for personalised mail, more for one copy to many.
  virtual std::size_t recipients_per_message() const = 0;
  // No message has fewer bytes, whoever it is for.
  virtual std::uint64_t least_bytes() const { return 0; }
  // `out` is the caller's own and is overwritten; its memory is reused from message to message.
  virtual void Render(std::span<const Recipient> recipients, RenderedMessage& out) = 0;
};

// Told of everything that happens, in order. Calls may be gathered until Commit.
class ResultSink {
 public:
  virtual ~ResultSink() = default;
  // The end of the message to these recipients goes out after the next Commit: from then on
  // `server` may accept it.
  virtual Status Sending(std::span<const Recipient> recipients, std::string_view server) = 0;
  // The server certainly has not taken the message (an answer to try again later, a connection that
  // broke before the end of the data): the recipient waits for another attempt. Always told after
  // Sending - a job that is stopped before that attempt would otherwise have to call him kUnknown -
  // and where an attempt was used up.
  virtual Status PutBack(const Recipient& recipient, const Deferral& why) {
    static_cast<void>(recipient);
    static_cast<void>(why);
    return {};
  }
  // The verdict on one recipient, once. After a failure nothing further is sent.
  virtual Status Record(const Recipient& recipient, const Outcome& outcome) = 0;
  // A recorded verdict turned out to be unsure; `outcome` takes its place. The recipient has no
  // row.
  virtual Status Correct(const Recipient& recipient, const Outcome& outcome) {
    return Record(recipient, outcome);
  }
  // What was told until now must outlive the process when this returns. Called before any end of a
  // message goes out, after every group of answers, and on every tick. After a failure nothing
  // further is sent.
  virtual Status Commit() { return {}; }
};

}  // namespace vespro::engine
