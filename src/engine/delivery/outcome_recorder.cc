#include "engine/delivery/outcome_recorder.h"

#include <utility>

namespace vespro::engine {
namespace {

Status Broken(const std::string& what) {
  return Status(Code::kInternal, "internal error: " + what + "; the journal says who was served");
}

}  // namespace

void OutcomeCounts::Add(State state) {
  sent += state == State::kSent;
  refused += state == State::kRefused;
  failed += state == State::kFailed;
  unknown += state == State::kUnknown;
}

void OutcomeCounts::Replace(State was, State state) {
  sent -= was == State::kSent;
  refused -= was == State::kRefused;
  Add(state);
}

OutcomeRecorder::OutcomeRecorder(ResultSink& sink, std::vector<std::string> servers)
    : sink_(sink), servers_(std::move(servers)), by_server_(servers_.size()) {}

void OutcomeRecorder::Note(Status told) {
  if (!told.ok() && status_.ok()) status_ = std::move(told);
}

void OutcomeRecorder::Intent(const Recipient& recipient, AttemptState& state) {
  if (!status_.ok()) return;
  if (state.finished) {
    return Note(Broken("line " + std::to_string(recipient.line) + " is sent after its outcome"));
  }
  state.intent_logged = true;
  Note(sink_.Sending({&recipient, 1}, servers_[state.last_server]));
}

void OutcomeRecorder::Withdraw(const Recipient& recipient, AttemptState& state, std::size_t server,
                               bool attempt_used) {
  if (!status_.ok() || (!state.intent_logged && !attempt_used)) return;
  state.intent_logged = false;
  Note(sink_.PutBack(recipient, {state.attempts, servers_[server], state.last_reply}));
}

void OutcomeRecorder::WithdrawMarked(const Recipient& recipient, AttemptState& state,
                                     std::size_t server, std::string mark) {
  if (!status_.ok()) return;
  state.intent_logged = false;
  Note(sink_.PutBack(recipient,
                     {state.attempts, servers_[server], state.last_reply, std::move(mark)}));
}

void OutcomeRecorder::Final(const Recipient& recipient, AttemptState& state, std::size_t server,
                            State final_state, std::string_view reply) {
  if (!status_.ok()) return;
  if (state.finished) {
    return Note(Broken("a second outcome for line " + std::to_string(recipient.line)));
  }
  state.finished = true;
  outcome_.state = final_state;
  outcome_.attempts = state.attempts;
  outcome_.server = servers_[server];
  outcome_.reply = reply;
  by_server_[server].Add(final_state);
  total_.Add(final_state);
  Note(sink_.Record(recipient, outcome_));
}

void OutcomeRecorder::Correct(const Recipient& recipient, int attempts, std::size_t server,
                              State was, std::string_view reply) {
  if (!status_.ok()) return;
  outcome_.state = State::kUnknown;
  outcome_.attempts = attempts;
  outcome_.server = servers_[server];
  outcome_.reply = reply;
  by_server_[server].Replace(was, State::kUnknown);
  total_.Replace(was, State::kUnknown);
  Note(sink_.Correct(recipient, outcome_));
}

bool OutcomeRecorder::Commit() {
  if (status_.ok()) Note(sink_.Commit());
  return status_.ok();
}

void OutcomeRecorder::CheckComplete(std::uint64_t given, std::uint64_t left) {
  if (total_.Total() + left == given) return;
  Note(Broken(std::to_string(given) + " recipients, " + std::to_string(total_.Total()) +
              " outcomes, " + std::to_string(left) + " left"));
}

}  // namespace vespro::engine
