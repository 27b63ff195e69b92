#include "engine/delivery/session.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace vespro::engine {

Session::Session(EventLoop& loop, SessionOwner& owner, const SessionOptions& options,
                 const Account& account, std::size_t server, unsigned credential_generation,
                 ServerQuirks& quirks)
    : owner_(owner),
      host_name_(options.host_name),
      server_name_(account.server),
      max_messages_(options.max_messages),
      connection_number_(options.client.connection),
      trace_(options.client.trace),
      server_(server),
      credential_generation_(credential_generation),
      quirks_(quirks),
      lock_step_(!options.client.use_pipelining),
      client_(options.client, *this),
      messages_(options.client.window_messages),
      connection_(loop.NewConnection(*this)) {
  connection_->SetTimeLimit(client_.TimeLimit());
  connection_->Connect(account.server, account.port);
}

void Session::Drive() { Advance(Timer::kKeep); }

void Session::End() {
  if (closed_) return;
  ending_ = true;
  if (!client_.was_ready()) return connection_->Close();
  client_.Quit();
  Flush(Timer::kKeep);
}

void Session::Abort() {
  ending_ = true;
  if (!closed_) connection_->Close();
}

// Only what the server does restarts the read timeout.
void Session::Advance(Timer timer) {
  if (closed_) return;
  blocked_ = false;
  if (leaving_) client_.Quit();
  while (client_.CanBegin() && !ending_ && BeginOne()) {
  }
  Flush(timer);
}

void Session::OnConnected(std::string local_literal, bool loopback) {
  loopback_ = loopback;
  client_.Connected(host_name_.empty() ? local_literal : host_name_, loopback);
  Flush(Timer::kRestart);
}

void Session::OnTlsEstablished() {
  secure_ = true;
  client_.TlsEstablished();
  Flush(Timer::kRestart);
}

void Session::OnReceived(std::string_view bytes) {
  const std::uint64_t replies = client_.replies();
  client_.Received(bytes);
  if (client_.extensions().starttls) quirks_.OnTlsOffered();
  if (!told_ready_ && client_.was_ready() && !client_.over()) {
    told_ready_ = true;
    owner_.OnReady(*this, client_.extensions().max_size);
  }
  // The limit is for a whole reply, or a byte now and then would hold the session for ever.
  Advance(client_.replies() > replies ? Timer::kRestart : Timer::kKeep);
}

void Session::OnWritten(std::uint64_t bytes, bool finished) {
  client_.Written(bytes);
  if (finished) writing_ = false;
  Advance(Timer::kRestart);
}

void Session::OnLost(Fault fault, const std::string& text) {
  if (WasDroppedMidPipeline()) {
    quirks_.OnDropped(client_.messages_accepted());
    if (trace_.on()) trace_.Dropped(connection_number_, client_.in_hand(), quirks_);
  }
  client_.Lost(fault, text);
  closed_ = true;
  if (client_.chunking_failed()) {
    quirks_.OnChunkingFailed();
    if (trace_.on()) trace_.ChunkingFailed(connection_number_);
  }
  owner_.OnClosed(*this);
}

// Whether the connection is lost without a word from the server, and with it more than one message,
// or the first message where pipelining is unproven, or any in lock-step.
bool Session::WasDroppedMidPipeline() const {
  if (client_.over() || client_.draining() || ending_) return false;
  if (lock_step_ || !client_.extensions().pipelining) return client_.in_hand() > 0;
  return client_.in_hand() > (client_.messages_accepted() == 0 ? 0 : 1);
}

void Session::OnRecipient(std::size_t slot, std::size_t index, const Answer& answer) {
  InFlightMessage& message = messages_[slot];
  if (!answer.accepted && IsRecipientLimit(answer.disposition) &&
      message.rejected_for_count++ == 0) {
    message.first_rejected_for_count = index;
  }
  // What is told now and may be another message's answer is final.
  const Recipient& recipient = message.recipients[index];
  if (answer.accepted) {
    unconfirmed_.Add(recipient, message.states[index].attempts, State::kSent);
  } else if (answer.failure.end_of_data_sent && answer.disposition.action == Action::kBounce) {
    unconfirmed_.Add(recipient, message.states[index].attempts, State::kRefused);
  }
  owner_.OnAnswer(*this, recipient, message.states[index], answer);
}

void Session::OnFinished(std::size_t slot) {
  const InFlightMessage& done = messages_[slot];
  const std::size_t count = done.recipients.size();
  // A recipient limit rejects the tail; a 452 elsewhere is one full mailbox.
  if (done.rejected_for_count > 0 &&
      done.first_rejected_for_count + done.rejected_for_count == count) {
    quirks_.OnRecipientLimit(count - done.rejected_for_count);
    if (trace_.on()) trace_.RecipientLimit(connection_number_, quirks_);
  }
  owner_.OnMessageFinished(*this, count);
}

void Session::OnSessionFailed(const Failure& failure, const Disposition& disposition,
                              const std::string& text) {
  if (failure.fault == Fault::kOutOfStep) {
    quirks_.OnOutOfStep(lock_step_);
    unconfirmed_.TakeBack([&](const Recipient& recipient, int attempts, State state) {
      owner_.OnUnsure(*this, recipient, attempts, state, text);
    });
  }
  owner_.OnFailed(*this,
                  {told_ready_, begun_ > 0, credential_generation_, failure, disposition, text});
}

// False when there is nothing to begin now.
bool Session::BeginOne() {
  if (lock_step_ && !quirks_.lock_step()) {
    client_.Quit();  // the next connection may pipeline again
    return false;
  }
  const std::size_t slot = client_.FreeSlot();
  InFlightMessage& next = messages_[slot];
  next.recipients.clear();
  next.states.clear();
  next.rejected_for_count = 0;
  // Clamped for a size_t of 32 bits.
  const auto max_recipients = static_cast<std::size_t>(std::min<std::uint64_t>(
      client_.extensions().max_recipients, std::numeric_limits<std::size_t>::max()));
  switch (owner_.NextMessage(*this, max_recipients, next)) {
    case Poll::kBlocked:
      blocked_ = true;
      if (client_.holds_answers()) client_.Quit();
      return false;
    case Poll::kExhausted:
      client_.Quit();
      return false;
    case Poll::kReady:
      break;
  }
  ++begun_;
  client_.Begin(slot, {next.sender, next.recipients, &next.message});
  std::uint64_t most = max_messages_;
  for (const std::uint64_t limit : {client_.extensions().max_messages, quirks_.max_messages()}) {
    if (limit > 0) most = std::min(most, limit);
  }
  if (begun_ >= most) client_.Quit();
  return true;
}

void Session::Flush(Timer timer) {
  if (closed_) return;
  const bool writes = !writing_ && client_.TakeOutput(wire_);
  if (writes) LogIntents();
  if (!owner_.Commit()) return;
  if (writes) {
    timer = Timer::kRestart;
    writing_ = true;
    connection_->Write(wire_.pieces);
  }
  switch (client_.next_action()) {
    case SmtpClient::NextAction::kNothing:
      break;
    case SmtpClient::NextAction::kClose:
      return connection_->Close();
    case SmtpClient::NextAction::kStartTls:
      if (!tls_started_) connection_->StartTls(server_name_);
      tls_started_ = true;
  }
  if (timer == Timer::kRestart) connection_->SetTimeLimit(client_.TimeLimit());
}

void Session::LogIntents() {
  for (const std::size_t slot : wire_.ended) {
    InFlightMessage& message = messages_[slot];
    for (std::size_t i = 0; i < message.recipients.size(); ++i) {
      if (client_.MayStillAccept(slot, i))
        owner_.OnIntent(message.recipients[i], message.states[i]);
    }
  }
}

}  // namespace vespro::engine
