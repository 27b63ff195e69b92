// engine/delivery/dispatcher.h - deals recipients to servers and turns the servers' answers into
// another attempt or an outcome. It opens no connection and has no clock: a session's owner asks it
// for the next message and brings the answers. Servers are indices; time is passed in. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/status.h"
#include "engine/delivery/delivery_end.h"
#include "engine/delivery/delivery_options.h"
#include "engine/delivery/delivery_trace.h"
#include "engine/delivery/evidence.h"
#include "engine/delivery/outcome_recorder.h"
#include "engine/delivery/recipient_queue.h"
#include "engine/delivery/retry_policy.h"
#include "engine/delivery/server_pool.h"
#include "engine/delivery/session_owner.h"
#include "engine/message.h"
#include "engine/smtp/client.h"
#include "engine/work.h"

namespace vespro::engine {

class Dispatcher {
 public:
  // The references must outlive the object.
  Dispatcher(const DeliveryOptions& options, const std::vector<Account>& accounts,
             WorkSource& source, Renderer& renderer, ResultSink& results, TimePoint now);

  ServerPool& servers() { return pool_; }
  const DeliveryTrace& trace() const { return trace_; }

  // Whether there is work that the server may take.
  bool HasWork(std::size_t server);
  // The server to be connected to next, if one should be.
  std::optional<std::size_t> NextToConnect(std::size_t connecting, TimePoint now);
  // Before sessions ask for messages: time has passed, servers have changed.
  void Update(TimePoint now);
  // See SessionOwner. `full`: all connections are in use, so that servers take turns on them.
  Poll NextMessage(std::size_t server, std::size_t max_recipients, bool full, TimePoint now,
                   InFlightMessage& message);
  void OnIntent(const Recipient& recipient, AttemptState& state) {
    recorder_.Intent(recipient, state);
  }
  bool Commit() { return recorder_.Commit(); }
  void OnAccepted(std::size_t server, const Recipient& recipient, AttemptState& state,
                  const Answer& answer, bool in_clear, TimePoint now);
  void OnNotAccepted(std::size_t server, const Recipient& recipient, AttemptState& state,
                     const Answer& answer, TimePoint now);
  // The server refused a session, or a transaction on it, as one too many. Whether the session is
  // to leave: while there are others.
  bool OnTooMany(std::size_t server, const std::string& why, TimePoint now);
  void OnUnsure(std::size_t server, const Recipient& recipient, int attempts, State was,
                std::string_view why);
  void OnMessageFinished(std::size_t server, std::size_t recipients);
  // What a session of the server is told; `generation` is of the credentials that it used.
  void OnReady(std::size_t server, unsigned generation, std::uint64_t max_size, TimePoint now);
  void OnFailed(std::size_t server, const SessionEnd& end, TimePoint now);
  void OnSecret(std::size_t server, Result<Secret> secret, TimePoint now);

  // Writes into the trace why servers get nothing, where that has changed.
  void TraceWaiting(std::size_t connecting, bool full, TimePoint now);
  // Nothing more is begun.
  void Stop();
  bool stopping() const { return stopping_; }
  // Nothing is in flight, and nothing can be begun any more.
  bool IsOver();
  // Of the list or the sink.
  const Status& failure() const;
  // Not when the sink has failed: nothing more may be sent.
  bool CanRecord() const { return recorder_.status().ok(); }
  std::size_t in_flight() const { return queue_.in_flight(); }

  // When Update has something to do, servers' backoffs aside; TimePoint::max() for never.
  TimePoint NextWake() const;
  // When the next message can go out; zero when one is on its way or none ever will be.
  TimePoint GoesOn() const;
  Progress HowFar(std::size_t connections) const;
  // Once, when every session is closed, before End: whoever still has no verdict gets it, or keeps
  // none.
  void Finish();
  // Once, after Finish.
  DeliveryEnd End();

 private:
  void Disable(std::size_t server, const Disposition& disposition, const std::string& why,
               AccountTally::Remedy remedy = AccountTally::Remedy::kLater);
  void OnLimit(std::size_t server, Limit limit, const AttemptState& state, TimePoint now);
  void Suspect(std::size_t server, const Recipient& recipient, AttemptState& state,
               const Answer& answer, TimePoint now);
  void PutSuspectBack(std::size_t server, const Recipient& recipient, AttemptState state);
  void RefuseHeld(std::size_t server);
  std::size_t Held() const;
  void TraceFailure(std::size_t server, TimePoint now) const;
  void BounceUndeliverable();
  std::size_t BatchSize(std::size_t server, std::size_t max_recipients) const;

  Renderer& renderer_;
  const TlsUse tls_;
  const std::size_t recipients_per_transaction_;
  const RetryPolicy retry_policy_;
  RecipientQueue queue_;
  ServerPool pool_;
  OutcomeRecorder recorder_;
  DeliveryTrace trace_;
  // By server: those that may be the first of three. They are put back in the sink and get their
  // outcome when it is known whose trouble it is.
  struct Refused {
    Evidence evidence;
    std::vector<QueuedRecipient> held;
  };
  std::vector<Refused> refused_;
  std::uint64_t messages_ = 0;  // that were begun
  bool stopping_ = false;
  Status stop_reason_;  // no server can be reached
};

}  // namespace vespro::engine
