// engine/delivery/server_quirks.h - what a run has learnt of a server that it does not announce.
// Pure. One thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vespro::engine {

class ServerQuirks {
 public:
  // After an unexpected close with several messages in flight the server gets lock-step (one
  // command at a time) for this many recipients, doubled each time.
  static constexpr std::uint64_t kLockStepMessages = 200;

  // A recipient was accepted.
  void OnAccepted();
  // The connection ended without a word while messages were in flight, after `messages` of it were
  // accepted.
  void OnDropped(std::uint64_t messages);
  // It took so many recipients of a message and had no room for the rest.
  void OnRecipientLimit(std::size_t recipients) { max_recipients_ = recipients; }
  // It offers CHUNKING and does not know BDAT.
  void OnChunkingFailed() { chunking_works_ = false; }

  // It offers STARTTLS.
  void OnTlsOffered() { tls_offered_ = true; }
  // It sent a reply too many. From then on it gets lock-step, and DATA, whose 354 shows in each
  // message that commands and replies belong together.
  void OnOutOfStep(bool in_lock_step);

  // A connection without TLS is not the same server's then, or somebody's who reads along.
  bool tls_offered() const { return tls_offered_; }
  bool lock_step() const { return out_of_step_ || lock_step_remaining_ > 0; }
  bool chunking_works() const { return chunking_works_ && !out_of_step_; }
  // Lock-step does not help.
  bool IsIncoherent() const { return out_of_step_in_lock_step_ >= kMaxOutOfStep; }
  // 0 while nothing is known, both.
  std::size_t max_recipients() const { return max_recipients_; }
  // After so many messages a connection is renewed: two closes in a row came at that count.
  std::uint64_t max_messages() const { return max_messages_; }

 private:
  static constexpr int kMaxOutOfStep = 3;

  bool chunking_works_ = true, tls_offered_ = false;
  bool out_of_step_ = false;
  int out_of_step_in_lock_step_ = 0;  // sessions
  std::uint64_t lock_step_remaining_ = 0, lock_step_next_ = kLockStepMessages;
  std::size_t max_recipients_ = 0;
  std::uint64_t last_disconnect_after_ = 0, max_messages_ = 0;
};

}  // namespace vespro::engine
