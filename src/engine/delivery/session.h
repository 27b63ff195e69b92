// engine/delivery/session.h - one connection to a server: the SMTP client, the connection that
// carries its bytes, and the messages in flight on it. What to send, and what an answer means for a
// recipient, is its owner's. One thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/delivery/delivery_trace.h"
#include "engine/delivery/server_quirks.h"
#include "engine/delivery/session_owner.h"
#include "engine/delivery/told_outcomes.h"
#include "engine/message.h"
#include "engine/net/event_loop.h"
#include "engine/smtp/client.h"

namespace vespro::engine {

struct SessionOptions {
  ClientOptions client;
  std::string host_name;  // for EHLO; empty for the address literal
  std::uint64_t max_messages = 500;
};

class Session final : private ConnectionEvents, private ClientEvents {
 public:
  // Connects. `server` and `credential_generation` are the owner's and only kept for it; `quirks`
  // are the server's and learn from this session.
  Session(EventLoop& loop, SessionOwner& owner, const SessionOptions& options,
          const Account& account, std::size_t server, unsigned credential_generation,
          ServerQuirks& quirks);

  // Starts transactions while the window allows, then flushes.
  void Drive();
  // Finishes what is in flight, then ends.
  void End();
  void Abort();
  // Ends when what is in flight is finished. Also from within a call to the owner.
  void Leave() { leaving_ = true; }
  bool leaving() const { return leaving_; }

  std::size_t server() const { return server_; }
  unsigned credential_generation() const { return credential_generation_; }
  bool was_ready() const { return told_ready_; }
  bool closed() const { return closed_; }
  bool connecting() const { return !closed_ && !client_.was_ready(); }
  // Without TLS, and not to this machine.
  bool in_clear() const { return !secure_ && !loopback_; }
  // Messages that are not answered.
  std::size_t in_flight() const { return client_.in_hand(); }
  std::uint64_t accepted() const { return client_.messages_accepted(); }  // messages
  // Idle: there was no message for it when it asked last.
  bool idle() const { return blocked_ && client_.ready() && client_.in_hand() == 0; }

 private:
  enum class Timer { kKeep, kRestart };

  void OnConnected(std::string local_literal, bool loopback) override;
  void OnTlsEstablished() override;
  void OnReceived(std::string_view bytes) override;
  void OnWritten(std::uint64_t bytes, bool finished) override;
  void OnLost(Fault fault, const std::string& text) override;
  void OnRecipient(std::size_t slot, std::size_t index, const Answer& answer) override;
  void OnFinished(std::size_t slot) override;
  void OnConfirmed() override { unconfirmed_.Clear(); }
  void OnSessionFailed(const Failure& failure, const Disposition& disposition,
                       const std::string& text) override;

  void Advance(Timer timer);
  bool BeginOne();
  void Flush(Timer timer);
  void LogIntents();
  bool WasDroppedMidPipeline() const;

  SessionOwner& owner_;
  const std::string host_name_, server_name_;
  const std::uint64_t max_messages_, connection_number_;
  const DeliveryTrace trace_;
  const std::size_t server_;
  const unsigned credential_generation_;
  ServerQuirks& quirks_;
  const bool lock_step_;
  SmtpClient client_;
  std::vector<InFlightMessage> messages_;  // by the client's slots
  ToldOutcomes unconfirmed_;
  WireBytes wire_;
  bool writing_ = false, tls_started_ = false, told_ready_ = false, blocked_ = false;
  bool ending_ = false, leaving_ = false, closed_ = false, secure_ = false, loopback_ = false;
  std::uint64_t begun_ = 0;  // messages
  // Destroyed first: what it writes points into the rest.
  std::unique_ptr<Connection> connection_;
};

}  // namespace vespro::engine
