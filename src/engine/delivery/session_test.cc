// One session against a server that the test plays by hand: in which order the owner is asked, told
// and made to commit, and what the session learns of its server.
#include "engine/delivery/session.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vespro::engine {
namespace {

using Lines = std::vector<std::string>;

// What happened, in order; shared by the connection and the owner.
class HandConnection final : public Connection {
 public:
  explicit HandConnection(Lines& log) : log_(log) {}
  void Connect(const std::string& server, std::uint16_t port) override {
    log_.push_back("connect " + server + ":" + std::to_string(port));
  }
  void StartTls(const std::string&) override { log_.push_back("tls"); }
  void Write(std::span<const std::string_view> pieces) override {
    std::string bytes;
    for (const std::string_view piece : pieces) bytes += piece;
    written = bytes.size();
    log_.push_back("write " + bytes.substr(0, bytes.find('\r')));
  }
  void Close() override { log_.push_back("close"); }
  void SetTimeLimit(std::chrono::milliseconds) override {}
  std::size_t written = 0;  // and not reported yet

 private:
  Lines& log_;
};

class HandLoop final : public EventLoop {
 public:
  std::unique_ptr<Connection> NewConnection(ConnectionEvents& to) override {
    events = &to;
    auto made = std::make_unique<HandConnection>(log);
    connection = made.get();
    return made;
  }
  std::string HostName() const override { return "client.example"; }
  std::chrono::steady_clock::time_point Now() const override { return {}; }
  void WakeAt(std::chrono::steady_clock::time_point, std::function<void()>) override {}
  void Post(std::function<void()>) override {}
  void RunInBackground(std::function<void(const std::atomic<bool>&)>,
                       std::function<void()>) override {}
  void OnInterrupt(std::function<void()>) override {}
  void Run() override {}
  void Stop() override {}

  Lines log;
  ConnectionEvents* events = nullptr;
  HandConnection* connection = nullptr;
};

class SessionTest : public testing::Test, public SessionOwner {
 protected:
  void Connect() {
    Account account;
    account.server = "mx";
    options_.host_name = "client.example";
    session_ = std::make_unique<Session>(loop_, *this, options_, account, 0, 1, quirks_);
  }
  void Start(const std::string& offers) {
    Connect();
    loop_.events->OnConnected("[127.0.0.1]", true);
    Say("220 mx");
    Say(offers);
  }
  // The server has read everything, and says a line.
  void Say(const std::string& line) {
    if (const std::size_t bytes = std::exchange(loop_.connection->written, 0); bytes > 0) {
      loop_.events->OnWritten(bytes, true);
    }
    loop_.events->OnReceived(line + "\r\n");
  }
  void HangUp() { loop_.events->OnLost(Fault::kClosed, "closed"); }
  // What happened since the last call.
  Lines Log() { return std::exchange(loop_.log, {}); }

  Poll NextMessage(const Session&, std::size_t, InFlightMessage& message) override {
    if (waiting_.empty()) return when_empty_;
    std::size_t number = 0;
    for (std::string& address : waiting_.front()) {
      message.recipients.push_back(
          {++line_, std::move(address), "a row," + std::to_string(number++)});
      AttemptState state;
      state.attempts = 2;
      message.states.push_back(state);
    }
    waiting_.erase(waiting_.begin());
    message.message.pieces = {"text\r\n"};
    message.message.bytes = 6;
    message.sender = "s@x";
    return Poll::kReady;
  }
  void OnIntent(const Recipient& recipient, AttemptState&) override {
    Note("intent " + recipient.address);
  }
  bool Commit() override {
    if (loop_.log.empty() || loop_.log.back() != "commit") Note("commit");
    return may_write_;
  }
  void OnAnswer(Session&, const Recipient& recipient, AttemptState&,
                const Answer& answer) override {
    Note((answer.accepted ? "sent " : "not ") + recipient.address);
  }
  void OnUnsure(const Session&, const Recipient& recipient, int attempts, State was,
                std::string_view) override {
    Note("unsure " + std::to_string(recipient.line) + " " + recipient.address + recipient.row +
         " " + std::to_string(attempts) + (was == State::kSent ? " sent" : " refused"));
  }
  void OnMessageFinished(const Session&, std::size_t recipients) override {
    Note("finished " + std::to_string(recipients));
  }
  void OnReady(const Session&, std::uint64_t) override { Note("ready"); }
  void OnFailed(Session&, const SessionEnd& end) override {
    end_ = end;
    Note("failed");
  }
  void OnClosed(const Session&) override { Note("closed"); }
  void Note(std::string what) { loop_.log.push_back(std::move(what)); }

  HandLoop loop_;
  SessionOptions options_;
  ServerQuirks quirks_;
  std::vector<Lines> waiting_;  // messages, by their recipients
  Poll when_empty_ = Poll::kBlocked;
  bool may_write_ = true;
  SessionEnd end_;
  std::uint64_t line_ = 0;
  std::unique_ptr<Session> session_;
};

const std::string kPlain = "250 mx";
const std::string kPipelined = "250-mx\r\n250 PIPELINING";
const std::string kWindow = "250-mx\r\n250-PIPELINING\r\n250 CHUNKING";

TEST_F(SessionTest, IntentsAreCommittedBeforeTheEndOfAMessageLeaves) {
  waiting_ = {{"a@x", "b@x"}};
  Start(kPlain);
  EXPECT_EQ(Log(), (Lines{"connect mx:25", "commit", "write EHLO client.example", "commit", "ready",
                          "commit", "write MAIL FROM:<s@x>"}));
  Say("250 ok");
  Say("250 ok");
  Say("550 no");
  Say("354 go");
  EXPECT_EQ(Log(), (Lines{"commit", "write RCPT TO:<a@x>", "commit", "write RCPT TO:<b@x>",
                          "commit", "write DATA", "commit", "intent a@x", "commit", "write text"}));
  Say("250 ok");
  EXPECT_EQ(Log(), (Lines{"commit", "sent a@x", "not b@x", "finished 2", "commit"}));
  EXPECT_TRUE(session_->idle());
}

TEST_F(SessionTest, NothingIsWrittenThatCantBeNoted) {
  Start(kWindow);
  Log();
  waiting_ = {{"a@x"}};
  may_write_ = false;
  session_->Drive();
  EXPECT_EQ(Log(), (Lines{"intent a@x", "commit"}));
}

TEST_F(SessionTest, WhatWasToldSinceTheLastConfirmationIsTakenBack) {
  waiting_ = {{"a@x"}};
  Start(kPipelined);
  for (const char* reply : {"250 ok", "250 ok", "354 go", "250 ok"}) Say(reply);
  waiting_ = {{"b@x", "c@x"}};
  session_->Drive();
  for (const char* reply : {"250 ok", "250 ok", "250 ok", "354 go", "554 5.2.2 no"}) Say(reply);
  Log();
  Say("250 and once more");
  EXPECT_EQ(Log(), (Lines{"unsure 2 b@x 2 refused", "unsure 3 c@x 2 refused", "failed", "commit",
                          "close"}))
      << "the second 354 has confirmed a@x";
  EXPECT_EQ(end_.failure.fault, Fault::kOutOfStep);
  EXPECT_TRUE(end_.was_used);
  EXPECT_TRUE(quirks_.lock_step());
  EXPECT_FALSE(quirks_.chunking_works());
}

TEST_F(SessionTest, AConnectionLostWithSeveralMessagesOnItIsAQuirk) {
  for (const bool ending : {false, true}) {
    quirks_ = ServerQuirks();
    waiting_ = {{"a@x"}, {"b@x"}, {"c@x"}};
    Start(kWindow);
    EXPECT_EQ(session_->in_flight(), 3U);
    if (ending) session_->End();
    HangUp();
    EXPECT_EQ(quirks_.lock_step(), !ending) << "our own end says nothing of the server";
    EXPECT_TRUE(session_->closed());
    EXPECT_EQ(Log().back(), "closed");
  }
}

TEST_F(SessionTest, ARecipientLimitIsLearntFromTheTailOnly) {
  const struct {
    const char* why;
    Lines replies;
    std::size_t learnt;
  } rows[] = {
      {"the tail has no room",
       {"250 ok", "250 ok", "250 ok", "452 4.5.3 full", "452 4.5.3 full"},
       2},
      {"one of the middle has none", {"250 ok", "250 ok", "452 4.5.3 full", "250 ok", "250 ok"}, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    quirks_ = ServerQuirks();
    waiting_ = {{"a@x", "b@x", "c@x", "d@x"}};
    Start(kPipelined);
    for (const std::string& reply : row.replies) Say(reply);
    Say("354 go");
    Say("250 ok");
    EXPECT_EQ(quirks_.max_recipients(), row.learnt);
  }
}

TEST_F(SessionTest, QuitsWhenItsMessagesAreSentOrNoneAreLeft) {
  options_.max_messages = 1;
  waiting_ = {{"a@x"}, {"b@x"}};
  Start(kWindow);
  for (const char* reply : {"250 ok", "250 ok", "250 ok"}) Say(reply);
  EXPECT_EQ(Log().back(), "write QUIT");
  EXPECT_EQ(waiting_.size(), 1U) << "it is another connection's";

  waiting_.clear();
  when_empty_ = Poll::kExhausted;
  Start(kWindow);
  EXPECT_EQ(Log().back(), "write QUIT");
  Say("221 bye");
  EXPECT_EQ(Log().back(), "close");
}

TEST_F(SessionTest, EndsAtOnceWhereNobodyIsLoggedIn) {
  Connect();
  EXPECT_TRUE(session_->connecting());
  session_->End();
  EXPECT_EQ(Log(), (Lines{"connect mx:25", "close"}));
  HangUp();
  EXPECT_FALSE(session_->connecting());
  EXPECT_FALSE(quirks_.lock_step());
}

}  // namespace
}  // namespace vespro::engine
