// engine/delivery/outcome_recorder.h - the only way from the delivery to the ResultSink. It holds
// the delivery to its promise, exactly one outcome for every recipient, and counts. One thread.
//
// After the first failure, of the sink or of the promise, status() is set for good and nothing
// further is told.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/status.h"
#include "engine/delivery/retry_policy.h"
#include "engine/work.h"

namespace vespro::engine {

struct OutcomeCounts {
  std::uint64_t sent = 0, refused = 0, failed = 0, unknown = 0;
  std::uint64_t Total() const { return sent + refused + failed + unknown; }
  void Add(State state);
  void Replace(State was, State state);
};

class OutcomeRecorder {
 public:
  // `servers` are their names, "name:port"; below they are indices.
  OutcomeRecorder(ResultSink& sink, std::vector<std::string> servers);

  // From the next Commit on the server may accept the message for this recipient.
  void Intent(const Recipient& recipient, AttemptState& state);
  // It did not, with these words; there will be another attempt. Nothing is told where there was no
  // intent and no attempt was used up.
  void Withdraw(const Recipient& recipient, AttemptState& state, std::size_t server,
                bool attempt_used);
  // The same, and `mark` goes with it. Always told. An outcome may follow without another attempt.
  void WithdrawMarked(const Recipient& recipient, AttemptState& state, std::size_t server,
                      std::string mark);
  void Final(const Recipient& recipient, AttemptState& state, std::size_t server, State final_state,
             std::string_view reply);
  // It turned out that its outcome, `was` sent or refused, is not known.
  void Correct(const Recipient& recipient, int attempts, std::size_t server, State was,
               std::string_view reply);
  // What was told outlives the process when this returns true.
  bool Commit();

  // Of the `given` recipients of the list every one has its outcome or is among the `left` ones.
  void CheckComplete(std::uint64_t given, std::uint64_t left);

  const Status& status() const { return status_; }
  const OutcomeCounts& total() const { return total_; }
  const OutcomeCounts& of(std::size_t server) const { return by_server_[server]; }

 private:
  void Note(Status told);

  ResultSink& sink_;
  std::vector<std::string> servers_;
  std::vector<OutcomeCounts> by_server_;
  OutcomeCounts total_;
  Outcome outcome_;  // its memory is reused
  Status status_;
};

}  // namespace vespro::engine
