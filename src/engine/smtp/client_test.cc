#include "engine/smtp/client.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "base/text.h"

namespace vespro::engine {
namespace {

using Lines = std::vector<std::string>;

const char* ActionName(Action action) {
  switch (action) {
    case Action::kBounce:
      return "refuse";
    case Action::kTryOtherServer:
      return "elsewhere";
    case Action::kDefer:
      return "later";
    case Action::kRequeue:
      return "now";
    case Action::kDisableServer:
      return "takeout";
    case Action::kUnknown:
      return "unknown";
  }
  return "?";
}

// Plays one session from a script, a line a step:
//   S: text     the server says it (several in a row arrive together)
//   C: text     the client says it, and nothing else before the next S or step
//   + a b       the owner begins a message to a and b
//   tls         the handshake succeeds, after the client wanted it
//   hangup, timeout, quit
// and collects what the owner is told.
class Play final : public ClientEvents {
 public:
  Play(const ClientOptions& options, std::string_view script) : client_(options, *this) {
    for (const std::string_view line : ModText::Split(script, '\n')) {
      if (!line.empty()) script_.emplace_back(line);
    }
    message_.pieces = {"Subject: x\r\n\r\n", ".dot\r\n"};
    message_.bytes = 20;
  }

  // The server's bytes come in pieces of `size`; after `cut` of them it hangs up.
  void Run(std::size_t size, std::size_t cut = SIZE_MAX) {
    client_.Connected("[127.0.0.1]", loopback);
    std::string from_server;
    for (std::size_t i = 0; i < script_.size(); ++i) {
      const std::string& step = script_[i];
      if (step.starts_with("S:")) {
        from_server += Text(step) + "\r\n";
        if (i + 1 < script_.size() && script_[i + 1].starts_with("S:")) continue;
        if (!Deliver(from_server, size, cut)) return;
        from_server.clear();
      } else if (step.starts_with("C:")) {
        if (!Hear(Text(step) + "\r\n")) return;
      } else if (!Do(step)) {
        return;
      }
    }
    EXPECT_EQ(heard_, "") << "said besides";
  }

  // Every recipient has one answer and every message one end, whatever happened.
  void CheckAccounts() const {
    EXPECT_EQ(begun_recipients_, told_recipients_);
    EXPECT_EQ(begun_messages_, finished_messages_);
    EXPECT_LE(session_failures_, 1);
  }

  void OnRecipient(std::size_t slot, std::size_t index, const Answer& answer) override {
    ++told_recipients_;
    std::string line = envelopes_.at(slot)->at(index).address + " ";
    line += answer.accepted ? "sent" : ActionName(answer.disposition.action);
    results.push_back(line + ": " + std::string(answer.reply));
  }
  void OnConfirmed() override {}
  void OnFinished(std::size_t slot) override {
    ++finished_messages_;
    envelopes_.at(slot).reset();  // a later look at it is found by the sanitizer
  }
  void OnSessionFailed(const Failure& failure, const Disposition&,
                       const std::string& text) override {
    ++session_failures_;
    session_failed = std::string(StageName(failure.stage)) + ": " + text;
  }

  std::string sender = "s@x";
  bool loopback = true;
  Lines results;
  std::string session_failed;
  std::string all_output;
  SmtpClient& client() { return client_; }
  RenderedMessage& message() { return message_; }
  std::size_t delivered() const { return delivered_; }

 private:
  static std::string Text(const std::string& step) { return step.size() > 3 ? step.substr(3) : ""; }

  void Take() {
    WireBytes wire;
    if (!client_.TakeOutput(wire)) return;
    std::uint64_t bytes = 0;
    for (const std::string_view piece : wire.pieces) {
      heard_ += piece;
      all_output += piece;
      bytes += piece.size();
    }
    client_.Written(bytes);
    Take();
  }

  bool Deliver(std::string_view bytes, std::size_t size, std::size_t cut) {
    while (!bytes.empty()) {
      if (delivered_ == cut) {
        client_.Lost(Fault::kClosed, "closed");
        return false;
      }
      const std::size_t count = std::min({size, cut - delivered_, bytes.size()});
      client_.Received(bytes.substr(0, count));
      delivered_ += count;
      bytes.remove_prefix(count);
      Take();
    }
    return true;
  }

  bool Hear(const std::string& expected) {
    Take();
    const bool heard = heard_.starts_with(expected);
    EXPECT_TRUE(heard) << "expected " << expected << "and heard " << heard_;
    heard_.erase(0, expected.size());
    return heard;
  }

  bool Do(const std::string& step) {
    EXPECT_EQ(heard_, "") << "said besides, before " << step;
    if (step.starts_with("+")) {
      if (!client_.CanBegin()) {
        EXPECT_TRUE(false) << "can't begin " << step;
        return false;
      }
      const std::size_t slot = client_.FreeSlot();
      if (envelopes_.size() <= slot) envelopes_.resize(slot + 1);
      envelopes_[slot] = std::make_unique<std::vector<Recipient>>();
      for (const std::string_view address : ModText::Split(std::string_view(step).substr(2), ' ')) {
        envelopes_[slot]->push_back({1, std::string(address), ""});
      }
      ++begun_messages_;
      begun_recipients_ += envelopes_[slot]->size();
      client_.Begin(slot, {sender, *envelopes_[slot], &message_});
    } else if (step == "tls") {
      EXPECT_EQ(client_.next_action(), SmtpClient::NextAction::kStartTls);
      client_.TlsEstablished();
    } else if (step == "hangup") {
      client_.Lost(Fault::kClosed, "closed");
    } else if (step == "timeout") {
      EXPECT_GT(client_.TimeLimit().count(), 0);
      client_.Lost(Fault::kTimeout, "no answer");
    } else if (step == "quit") {
      client_.Quit();
    } else {
      ADD_FAILURE() << "no such step: " << step;
    }
    Take();
    return true;
  }

  SmtpClient client_;
  Lines script_;
  RenderedMessage message_;
  std::vector<std::unique_ptr<std::vector<Recipient>>> envelopes_;
  std::string heard_;
  std::size_t delivered_ = 0;
  std::size_t begun_recipients_ = 0, told_recipients_ = 0;
  std::size_t begun_messages_ = 0, finished_messages_ = 0;
  int session_failures_ = 0;
};

const std::string kPlain =
    "S: 220 mx.example ready\nC: EHLO [127.0.0.1]\nS: 250-mx.example\nS: 250 HELP\n";
const std::string kPipelined =
    "S: 220 mx.example ready\nC: EHLO [127.0.0.1]\nS: 250-mx.example\nS: 250 PIPELINING\n";
const std::string kWindow =
    "S: 220 mx.example ready\nC: EHLO [127.0.0.1]\n"
    "S: 250-mx.example\nS: 250-PIPELINING\nS: 250 CHUNKING\n";
const std::string kBody = "C: Subject: x\nC: \nC: ..dot\nC: .\n";
const std::string kChunk = "C: BDAT 20 LAST\nC: Subject: x\nC: \nC: .dot\n";
// One whole message to a@x, without waiting between the commands.
const std::string kToA = "C: MAIL FROM:<s@x>\nC: RCPT TO:<a@x>\n";
// The same up to DATA, waiting for each answer.
const std::string kToAInSteps =
    "C: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\nC: DATA\n";

struct Scene {
  const char* why;
  std::string script;
  Lines results;
  std::string failed;  // the session's end as the owner was told it
};

void PlayAll(std::span<const Scene> scenes, const ClientOptions& options = {},
             bool loopback = true) {
  for (const Scene& scene : scenes) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{7}, std::size_t{100'000}}) {
      SCOPED_TRACE(std::string(scene.why) + ", pieces of " + std::to_string(size));
      Play play(options, scene.script);
      play.loopback = loopback;
      play.Run(size);
      EXPECT_EQ(play.results, scene.results);
      EXPECT_EQ(play.session_failed, scene.failed);
      play.CheckAccounts();
    }
  }
}

TEST(SmtpClientTest, LockStep) {
  const Scene scenes[] = {
      {"one message and a farewell",
       kPlain +
           "+ a@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\nC: DATA\n"
           "S: 354 go\n" +
           kBody + "S: 250 2.0.0 queued\nquit\nC: QUIT\nS: 221 bye\n",
       {"a@x sent: 250 2.0.0 queued"},
       ""},
      {"HELO where EHLO is unknown",
       "S: 220 old\nC: EHLO [127.0.0.1]\nS: 500 what\nC: HELO [127.0.0.1]\nS: 250 hi\nquit\n"
       "C: QUIT\nS: 221 bye\n",
       {},
       ""},
      {"of four recipients two are refused, answers in many lines",
       kPlain +
           "+ a@x b@x c@x d@x\nC: MAIL FROM:<s@x>\nS: 250-fine\nS: 250 ok\n"
           "C: RCPT TO:<a@x>\nS: 250 ok\nC: RCPT TO:<b@x>\nS: 550-5.1.1 no\nS: 550 5.1.1 such\n"
           "C: RCPT TO:<c@x>\nS: 451 busy\nC: RCPT TO:<d@x>\nS: 251 will forward\nC: DATA\n"
           "S: 354 go\n" +
           kBody + "S: 250 ok\n",
       {"a@x sent: 250 ok", "b@x refuse: 550 5.1.1 no 5.1.1 such", "c@x later: 451 busy",
        "d@x sent: 250 ok"},
       ""},
      {"all recipients refused: no DATA, RSET, and the next message goes",
       kPlain +
           "+ a@x b@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 550 no\n"
           "C: RCPT TO:<b@x>\nS: 553 no\n+ c@x\nC: RSET\nS: 250 ok\nC: MAIL FROM:<s@x>\n"
           "S: 250 ok\nC: RCPT TO:<c@x>\nS: 250 ok\nC: DATA\nS: 354 go\n" +
           kBody + "S: 250 ok\n",
       {"a@x refuse: 550 no", "b@x refuse: 553 no", "c@x sent: 250 ok"},
       ""},
      {"a slower pace is asked for: nobody's attempt, and the connection goes on",
       kPlain + "+ a@x\n" + kToAInSteps +
           "S: 454 Maximum sending rate exceeded\n"
           "+ a@x\nC: RSET\nS: 250 ok\n" +
           kToAInSteps + "S: 354 go\n" + kBody + "S: 250 ok\n",
       {"a@x now: 454 Maximum sending rate exceeded", "a@x sent: 250 ok"},
       ""},
      {"a quota is used up after the message: QUIT confirms it, not another message",
       kPlain + "+ a@x\n" + kToAInSteps + "S: 354 go\n" + kBody +
           "S: 552 5.2.0 relay quota exceeded\nC: QUIT\nS: 221 bye\n",
       {"a@x takeout: 552 5.2.0 relay quota exceeded"},
       "the message: 552 5.2.0 relay quota exceeded"},
      {"a quota is used up",
       kPlain + "+ a@x\n" + kToAInSteps + "S: 552 5.2.0 relay quota exceeded\n",
       {"a@x takeout: 552 5.2.0 relay quota exceeded"},
       ""},
      {"a rest, in words of two lines, at a connection's first message",
       kPlain + "+ a@x\nC: MAIL FROM:<s@x>\nS: 421-4.7.0 an unusual rate of\n"
                "S: 421 4.7.0 unsolicited mail\nhangup\n",
       {"a@x now: 421 4.7.0 an unusual rate of 4.7.0 unsolicited mail"},
       "MAIL FROM: 421 4.7.0 an unusual rate of 4.7.0 unsolicited mail"},
      {"two messages after a refused recipient in the first",
       kPlain +
           "+ a@x b@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 550 no\n"
           "C: RCPT TO:<b@x>\nS: 250 ok\nC: DATA\nS: 354 go\n" +
           kBody +
           "S: 250 one\n"
           "+ c@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<c@x>\nS: 250 ok\nC: DATA\n"
           "S: 354 go\n" +
           kBody + "S: 250 two\n",
       {"a@x refuse: 550 no", "b@x sent: 250 one", "c@x sent: 250 two"},
       ""},
      {"452 in the middle splits the batch",
       kPlain +
           "+ a@x b@x c@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\n"
           "C: RCPT TO:<b@x>\nS: 452 too many\nC: RCPT TO:<c@x>\nS: 452 too many\nC: DATA\n"
           "S: 354 go\n" +
           kBody + "S: 250 ok\n",
       {"a@x sent: 250 ok", "b@x now: 452 too many", "c@x now: 452 too many"},
       ""},
      {"the last message has nobody left: the farewell is said all the same",
       kPlain + "+ a@x\nC: MAIL FROM:<s@x>\nquit\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 550 no\n"
                "C: QUIT\nS: 221 bye\n",
       {"a@x refuse: 550 no"},
       ""},
      {"452 for the only one is no split",
       kPlain + "+ a@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 452 full\n",
       {"a@x later: 452 full"},
       ""},
      {"the sender is refused, then the next message begins cleanly",
       kPlain +
           "+ a@x\nC: MAIL FROM:<s@x>\nS: 550 not you\n+ a@x\nC: MAIL FROM:<s@x>\nS: 451 wait\n",
       {"a@x takeout: 550 not you", "a@x later: 451 wait"},
       ""},
      {"DATA refused, RSET before the next",
       kPlain + "+ a@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\nC: DATA\n"
                "S: 451 no room\n+ b@x\nC: RSET\nS: 250 ok\nC: MAIL FROM:<s@x>\nS: 554 no\n"
                "C: QUIT\nS: 221 bye\n",
       {"a@x later: 451 no room", "b@x takeout: 554 no"},
       "MAIL FROM: 554 no"},
      {"the message refused",
       kPlain +
           "+ a@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\nC: DATA\n"
           "S: 354 go\n" +
           kBody + "S: 554 5.7.1 spam\nquit\nC: QUIT\nS: 221 bye\n",
       {"a@x refuse: 554 5.7.1 spam"},
       ""},
      {"out of step: the session ends",
       kPlain + "+ a@x\nC: MAIL FROM:<s@x>\nS: 503 nested MAIL\n",
       {"a@x later: 503 nested MAIL"},
       "MAIL FROM: 503 nested MAIL"},
      {"a reply when none is due",
       kPlain + "S: 250 hello\n",
       {},
       "RSET: the server answered what was not asked: 250 hello"},
      {"354 where it does not belong",
       kPlain + "+ a@x\nC: MAIL FROM:<s@x>\nS: 354 go\n",
       {"a@x later: an answer out of place: 354 go"},
       "MAIL FROM: an answer out of place: 354 go"},
      {"nonsense after the message: it may have been accepted",
       kPlain +
           "+ a@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\nC: DATA\n"
           "S: 354 go\n" +
           kBody + "S: okay\n",
       {"a@x unknown: the server sent something that is no SMTP reply"},
       "the message: the server sent something that is no SMTP reply"},
      {"yes and no to the message: it may have been accepted",
       kPlain +
           "+ a@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\nC: DATA\n"
           "S: 354 go\n" +
           kBody + "S: 250-queued\nS: 550 spam\n",
       {"a@x unknown: an answer that says yes and no: 550 queued spam"},
       "the message: an answer that says yes and no: 550 queued spam"},
      {"a greeting that says no", "S: 554 not here\n", {}, "the greeting: 554 not here"},
      {"silence", "timeout\n", {}, "the greeting: no answer"},
      {"the farewell's answer never comes", kPlain + "quit\nC: QUIT\nhangup\n", {}, ""},
  };
  PlayAll(scenes);
}

TEST(SmtpClientTest, Pipelined) {
  const std::string both = "C: MAIL FROM:<s@x>\nC: RCPT TO:<a@x>\nC: RCPT TO:<b@x>\nC: DATA\n";
  const Scene scenes[] = {
      {"half of the recipients refused",
       kPipelined + "+ a@x b@x\n" + both + "S: 250 ok\nS: 550 no\nS: 250 ok\nS: 354 go\n" + kBody +
           "S: 250 ok\n",
       {"a@x refuse: 550 no", "b@x sent: 250 ok"},
       ""},
      {"all refused and DATA too: RSET and MAIL go together",
       kPipelined + "+ a@x b@x\n" + both +
           "S: 250 ok\nS: 550 no\nS: 550 no\nS: 554 none\n"
           "+ a@x\nC: RSET\n" +
           kToA +
           "C: DATA\n"
           "S: 250 ok\nS: 250 ok\nS: 250 ok\nS: 354 go\n" +
           kBody + "S: 250 ok\n",
       {"a@x refuse: 550 no", "b@x refuse: 550 no", "a@x sent: 250 ok"},
       ""},
      {"all refused and DATA taken: an empty end whose answer counts for nothing",
       kPipelined + "+ a@x b@x\n" + both +
           "S: 250 ok\nS: 550 no\nS: 550 no\nS: 354 go\nC: .\n"
           "S: 250 queued\n",
       {"a@x refuse: 550 no", "b@x refuse: 550 no"},
       ""},
      {"the sender refused",
       kPipelined + "+ a@x b@x\n" + both + "S: 451 wait\nS: 503 x\nS: 503 x\nS: 503 x\n",
       {"a@x later: 451 wait", "b@x later: 451 wait"},
       ""},
      {"the next message's commands follow the end of this one",
       kPipelined + "+ a@x b@x\n" + both + "S: 250 ok\nS: 250 ok\nS: 250 ok\nS: 354 go\n" + kBody +
           "+ a@x\n" + kToA + "C: DATA\nS: 250 first\nS: 250 ok\nS: 250 ok\nS: 354 go\n" + kBody +
           "S: 250 second\n",
       {"a@x sent: 250 first", "b@x sent: 250 first", "a@x sent: 250 second"},
       ""},
      {"a quota is used up after the message: the next one, which has its DATA, is not sent",
       kPipelined + "+ a@x\n" + kToA + "C: DATA\nS: 250 ok\nS: 250 ok\nS: 354 go\n" + kBody +
           "+ b@x\nC: MAIL FROM:<s@x>\nC: RCPT TO:<b@x>\nC: DATA\n"
           "S: 552 5.2.0 relay quota exceeded\nS: 250 ok\nS: 250 ok\nS: 354 go\n",
       {"b@x now: the connection is renewed", "a@x takeout: 552 5.2.0 relay quota exceeded"},
       "the message: 552 5.2.0 relay quota exceeded"},
      {"421 at the next message's MAIL is no failure of it",
       kPipelined + "+ a@x\n" + kToA + "C: DATA\nS: 250 ok\nS: 250 ok\nS: 354 go\n" + kBody +
           "+ b@x\nC: MAIL FROM:<s@x>\nC: RCPT TO:<b@x>\nC: DATA\nS: 250 one\nS: 421 enough\n"
           "hangup\n",
       {"a@x sent: 250 one", "b@x now: 421 enough"},
       "MAIL FROM: 421 enough"},
  };
  PlayAll(scenes);
}

TEST(SmtpClientTest, Window) {
  const std::string one = kToA + kChunk;
  const std::string next = "C: RSET\n" + one;
  const Scene scenes[] = {
      {"three messages on the wire before the first answer",
       kWindow + "+ a@x\n" + one + "+ a@x\n" + next + "+ a@x\n" + next +
           "S: 250 ok\nS: 250 ok\nS: 250 one\nS: 250 ok\nS: 250 ok\nS: 250 ok\nS: 250 two\n"
           "S: 250 ok\nS: 250 ok\nS: 250 ok\nS: 250 three\nquit\nC: QUIT\nS: 221 bye\n",
       {"a@x sent: 250 one", "a@x sent: 250 two", "a@x sent: 250 three"},
       ""},
      {"MAIL, RCPT and BDAT refused, one each",
       kWindow + "+ a@x\n" + one + "+ a@x\n" + next + "+ a@x\n" + next +
           "S: 550 not you\nS: 503 x\nS: 503 x\nS: 250 ok\nS: 250 ok\nS: 550 no\nS: 554 none\n"
           "S: 250 ok\nS: 250 ok\nS: 250 ok\nS: 452 full\nquit\nC: QUIT\nS: 221 bye\n",
       {"a@x takeout: 550 not you", "a@x refuse: 550 no", "a@x later: 452 full"},
       ""},
      {"a hang-up: what was answered counts, what was sent is unknown",
       kWindow + "+ a@x\n" + one +
           "+ a@x b@x\nC: RSET\nC: MAIL FROM:<s@x>\nC: RCPT TO:<a@x>\n"
           "C: RCPT TO:<b@x>\n" +
           kChunk + "S: 250 ok\nS: 250 ok\nS: 250 one\nS: 250 ok\nS: 250 ok\nS: 550 no\nhangup\n",
       {"a@x sent: 250 one", "a@x refuse: 550 no", "b@x unknown: closed"},
       "RCPT TO: closed"},
      {"421: the server processes nothing after it",
       kWindow + "+ a@x\n" + one + "+ a@x\n" + next + "+ a@x\n" + next +
           "S: 250 ok\nS: 250 ok\nS: 250 one\nS: 250 ok\nS: 421 enough\nhangup\n",
       {"a@x sent: 250 one", "a@x now: 421 enough", "a@x now: 421 enough"},
       "MAIL FROM: 421 enough"},
      {"421, and the server goes on: what it accepts after it was accepted",
       kWindow + "+ a@x b@x\nC: MAIL FROM:<s@x>\nC: RCPT TO:<a@x>\nC: RCPT TO:<b@x>\n" + kChunk +
           "+ c@x\nC: RSET\nC: MAIL FROM:<s@x>\nC: RCPT TO:<c@x>\n" + kChunk +
           "S: 250 ok\nS: 250 ok\nS: 421 enough\nS: 250 one\nS: 250 ok\nS: 250 ok\nS: 250 ok\n"
           "S: 250 two\n",
       {"a@x sent: 250 one", "b@x now: 421 enough", "c@x sent: 250 two"},
       "RCPT TO: 421 enough"},
      {"it goes on and hangs up then, or says nothing: what it may have is unknown",
       kWindow + "+ a@x\n" + one + "+ b@x\nC: RSET\nC: MAIL FROM:<s@x>\nC: RCPT TO:<b@x>\n" +
           kChunk + "S: 421 enough\nS: 250 ok\nhangup\n",
       {"b@x unknown: closed", "a@x later: 421 enough"},
       "the message: closed"},
      {"421 and silence",
       kWindow + "+ a@x\n" + one + "S: 250 ok\nS: 421 enough\ntimeout\n",
       {"a@x later: 421 enough"},
       "the message: no answer"},
      {"BDAT is not known after all: nothing more is said",
       kWindow + "+ a@x\n" + one + "S: 250 ok\nS: 250 ok\nS: 502 what\n",
       {"a@x later: 502 what"},
       "RSET: the server offers CHUNKING and does not know BDAT"},
      {"and what went out after it by BDAT can't have been accepted",
       kWindow + "+ a@x\n" + one + "+ a@x\n" + next +
           "S: 250 ok\nS: 250 ok\nS: 502 what\nS: 500 what is a Subject\n",
       {"a@x now: the server offers CHUNKING and does not know BDAT", "a@x later: 502 what"},
       "MAIL FROM: the server offers CHUNKING and does not know BDAT"},
      {"the message is meant, not BDAT: what follows it is processed",
       kWindow + "+ a@x\n" + one + "+ a@x\n" + next +
           "S: 250 ok\nS: 250 ok\nS: 500 spam\nS: 250 ok\nS: 250 ok\nS: 250 ok\nS: 250 "
           "two\nquit\nC: QUIT\nS: 221 bye\n",
       {"a@x refuse: 500 spam", "a@x sent: 250 two"},
       ""},
      {"as its enhanced code may say",
       kWindow + "+ a@x\n" + one +
           "S: 250 ok\nS: 250 ok\nS: 500 5.7.1 spam\nquit\nC: QUIT\nS: 221 bye\n",
       {"a@x refuse: 500 5.7.1 spam"},
       ""},
      {"RSET refused: the session is of no use",
       kWindow + "+ a@x\n" + one + "+ a@x\n" + next +
           "S: 250 ok\nS: 250 ok\nS: 250 one\nS: 500 no\n",
       {"a@x sent: 250 one", "a@x unknown: RSET was refused: 500 no"},
       "MAIL FROM: RSET was refused: 500 no"},
  };
  PlayAll(scenes);
}

TEST(SmtpClientTest, TheWindowHasAnEnd) {
  ClientOptions options;
  options.window_messages = 2;
  Play play(options, kWindow + "+ a@x\n" + kToA + kChunk + "+ a@x\nC: RSET\n" + kToA + kChunk);
  play.Run(1000);
  EXPECT_FALSE(play.client().CanBegin());
  options.window_messages = 16;
  options.window_bytes = 20;
  Play by_bytes(options, kWindow + "+ a@x\n" + kToA + kChunk);
  by_bytes.Run(1000);
  EXPECT_FALSE(by_bytes.client().CanBegin());
}

// 421 and a hang-up in the place of every answer of a session, before and after a success.
TEST(SmtpClientTest, EveryStageAnswers421OrHangsUp) {
  const std::string steps[] = {"S: 220 hi\n", "C: EHLO [127.0.0.1]\n",
                               "S: 250 hi\n", "+ a@x\nC: MAIL FROM:<s@x>\n",
                               "S: 250 ok\n", "C: RCPT TO:<a@x>\n",
                               "S: 250 ok\n", "C: DATA\n",
                               "S: 354 go\n", kBody,
                               "S: 250 ok\n"};
  std::string until_now;
  for (const std::string& step : steps) {
    if (step.starts_with("S:")) {
      const bool begun = until_now.find('+') != std::string::npos;
      const bool ended = until_now.ends_with("C: .\n");
      const Scene scenes[] = {
          {"421", until_now + "S: 421 4.3.2 bye\nhangup\n",
           begun ? Lines{"a@x later: 421 4.3.2 bye"} : Lines{}, "*"},
          {"hang-up", until_now + "hangup\n",
           begun ? Lines{ended ? "a@x unknown: closed" : "a@x later: closed"} : Lines{}, "*"},
          {"timeout", until_now + "timeout\n",
           begun ? Lines{ended ? "a@x unknown: no answer" : "a@x later: no answer"} : Lines{},
           "*"}};
      for (const Scene& scene : scenes) {
        SCOPED_TRACE(scene.script);
        Play play({}, scene.script);
        play.Run(1);
        EXPECT_EQ(play.results, scene.results);
        EXPECT_NE(play.session_failed, "");
        EXPECT_EQ(play.client().next_action(), SmtpClient::NextAction::kClose);
        play.CheckAccounts();
      }
    }
    until_now += step;
  }
}

// The server is cut off after every one of its bytes, in every way of sending.
TEST(SmtpClientTest, CutAtEveryByte) {
  const std::string lock_step =
      kPlain +
      "+ a@x b@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\n"
      "C: RCPT TO:<b@x>\nS: 250 ok\nC: DATA\nS: 354 go\n" +
      kBody + "S: 250 ok\n";
  const std::string pipelined =
      kPipelined +
      "+ a@x b@x\nC: MAIL FROM:<s@x>\nC: RCPT TO:<a@x>\nC: RCPT TO:<b@x>\nC: DATA\n"
      "S: 250 ok\nS: 250 ok\nS: 250 ok\nS: 354 go\n" +
      kBody + "S: 250 ok\n";
  const std::string window =
      kWindow + "+ a@x\n" + kToA + kChunk +
      "+ b@x\nC: RSET\nC: MAIL FROM:<s@x>\n"
      "C: RCPT TO:<b@x>\n" +
      kChunk + "S: 250 ok\nS: 250 ok\nS: 250 ok\nS: 250 ok\nS: 250 ok\nS: 250 ok\nS: 250 ok\n";
  for (const std::string& script : {lock_step, pipelined, window}) {
    Play whole({}, script);
    whole.Run(1000);
    ASSERT_EQ(whole.results.size(), 2U);
    const std::size_t last_reply = whole.delivered() - 1;  // the reply is whole at its LF
    for (std::size_t cut = 0; cut < whole.delivered(); ++cut) {
      SCOPED_TRACE("cut after " + std::to_string(cut));
      Play play({}, script);
      play.Run(1, cut);
      const bool ended = play.all_output.find("\r\n.\r\n") != std::string::npos ||
                         play.all_output.find("BDAT") != std::string::npos;
      for (const std::string& result : play.results) {
        const bool b_or_lock_step = script != window || result.starts_with("b@x");
        if (b_or_lock_step && cut <= last_reply) {
          EXPECT_EQ(result.substr(4), ended ? "unknown: closed" : "later: closed");
        }
      }
      play.CheckAccounts();
    }
  }
}

// An end that never left this machine can't have been heard.
TEST(SmtpClientTest, AnUnwrittenEndIsNoUnknown) {
  for (const std::uint64_t missing : {1U, 0U}) {
    Play play({}, kPlain +
                      "+ a@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<a@x>\nS: 250 ok\n"
                      "C: DATA\n");
    play.Run(1000);
    play.client().Received("354 go\r\n");
    WireBytes wire;
    ASSERT_TRUE(play.client().TakeOutput(wire));
    std::uint64_t bytes = 0;
    for (const std::string_view piece : wire.pieces) bytes += piece.size();
    play.client().Written(bytes - missing);
    play.client().Lost(Fault::kClosed, "closed");
    EXPECT_EQ(play.results, Lines{missing > 0 ? "a@x later: closed" : "a@x unknown: closed"});
  }
}

TEST(SmtpClientTest, Tls) {
  const std::string offer = "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-x\nS: 250 STARTTLS\n";
  ClientOptions options;
  const Scene automatic[] = {
      {"used where offered, EHLO again",
       offer + "C: STARTTLS\nS: 220 go\ntls\nC: EHLO [127.0.0.1]\nS: 250 x\nquit\nC: QUIT\n",
       {},
       ""},
      {"offered and refused: not without it",
       offer + "C: STARTTLS\nS: 454 not now\n",
       {},
       "STARTTLS: 454 not now"},
      {"the handshake breaks", offer + "C: STARTTLS\nS: 220 go\nhangup\n", {}, "STARTTLS: closed"},
  };
  PlayAll(automatic, options);

  Play injected(options, offer + "C: STARTTLS\nS: 220 go\nS: 250 injected\n");
  injected.Run(1000);
  EXPECT_NE(injected.session_failed.find("meddling"), std::string::npos);
  EXPECT_EQ(injected.client().next_action(), SmtpClient::NextAction::kClose);

  options.tls = TlsUse::kRequired;
  const Scene required[] = {{"stripped", kPlain, {}, "STARTTLS: the server does not offer TLS"}};
  PlayAll(required, options);
  options.tls = TlsUse::kOff;
  const Scene off[] = {{"not wanted",
                        offer + "+ a@x\nC: MAIL FROM:<s@x>\nS: 550 no\n",
                        {"a@x takeout: 550 no"},
                        ""}};
  PlayAll(off, options);
  options.tls = TlsUse::kRequired;
  options.tls_from_start = true;
  const Scene at_once[] = {{"from the first byte",
                            "tls\nS: 220 hi\nC: EHLO [127.0.0.1]\nS: 250 x\nquit\nC: QUIT\n",
                            {},
                            ""}};
  PlayAll(at_once, options);
}

TEST(SmtpClientTest, Login) {
  const std::string offer = "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-x\nS: 250 AUTH ";
  const std::string plain = "C: AUTH PLAIN AHVzZXIAc2VjcmV0\n";
  ClientOptions options;
  options.credentials.login = "user";
  options.credentials.secret = "secret";
  const Scene scenes[] = {
      {"PLAIN", offer + "LOGIN PLAIN\n" + plain + "S: 235 welcome\nquit\nC: QUIT\n", {}, ""},
      {"PLAIN asked for again",
       offer + "PLAIN\n" + plain + "S: 334 \nC: AHVzZXIAc2VjcmV0\nS: 235 ok\nquit\nC: QUIT\n",
       {},
       ""},
      {"LOGIN, in the old spelling",
       "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-x\nS: 250 AUTH=LOGIN\nC: AUTH LOGIN\n"
       "S: 334 VXNlcm5hbWU6\nC: dXNlcg==\nS: 334 UGFzc3dvcmQ6\nC: c2VjcmV0\nS: 235 ok\nquit\nC: "
       "QUIT\n",
       {},
       ""},
      {"PLAIN offered and not known",
       offer + "PLAIN LOGIN\n" + plain + "S: 504 what\nC: AUTH LOGIN\n",
       {},
       ""},
      {"refused, without the password in the text",
       offer + "PLAIN\n" + plain + "S: 535 5.7.8 bad AHVzZXIAc2VjcmV0 (secret)\n",
       {},
       "AUTH: 535 (the server's words repeat the login and are left out)"},
      {"not now", offer + "PLAIN\n" + plain + "S: 454 4.7.0 later\n", {}, "AUTH: 454 4.7.0 later"},
      {"no way that we know",
       offer + "GSSAPI\n",
       {},
       "AUTH: the server offers no way to log in that we know (PLAIN, LOGIN, CRAM-MD5)"},
      {"PLAIN too weak for this account, LOGIN too, and no more",
       offer + "PLAIN LOGIN\n" + plain + "S: 534 5.7.9 no\nC: AUTH LOGIN\nS: 534 5.7.9 no\n",
       {},
       "AUTH: 534 5.7.9 no"},
      {"CRAM-MD5 with a challenge that is none",
       offer + "CRAM-MD5\nC: AUTH CRAM-MD5\nS: 334 !!\nC: *\nS: 501 cancelled\n",
       {},
       "AUTH: 501 cancelled"},
      {"too many questions",
       offer + "LOGIN\nC: AUTH LOGIN\nS: 334 a\nC: dXNlcg==\nS: 334 b\nC: c2VjcmV0\nS: 334 c\n",
       {},
       "connecting: the server asked for more than its way to log in has"},
  };
  PlayAll(scenes, options);

  const std::string clear =
      "AUTH: the server does not offer TLS, and a password is not sent over a "
      "clear connection";
  const Scene far_away[] = {{"clear and far", offer + "PLAIN\n", {}, clear}};
  PlayAll(far_away, options, false);
  options.insecure_auth = true;
  const Scene allowed[] = {
      {"clear, far and allowed", offer + "PLAIN\n" + plain + "S: 235 ok\nquit\nC: QUIT\n", {}, ""}};
  PlayAll(allowed, options, false);
}

TEST(SmtpClientTest, LoginsThatDoNotTellThePassword) {
  const std::string offer = "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-x\nS: 250 AUTH ";
  ClientOptions options;
  // The example of RFC 2195, section 2.
  options.credentials = {"tim", "tanstaaftanstaaf"};
  const std::string digest =
      "C: AUTH CRAM-MD5\nS: 334 PDE4OTYuNjk3MTcwOTUyQHBvc3RvZmZpY2UucmVzdG9uLm1jaS5uZXQ+\n"
      "C: dGltIGI5MTNhNjAyYzdlZGE3YTQ5NWI0ZTZlNzMzNGQzODkw\n";
  const Scene cram[] = {
      {"CRAM-MD5, also over a clear connection",
       offer + "PLAIN CRAM-MD5\n" + digest + "S: 235 ok\nquit\nC: QUIT\n",
       {},
       ""},
      {"refused, and the digest repeated: not in the text, and nothing else is tried",
       offer + "PLAIN CRAM-MD5\n" + digest + "S: 535 tim:b913a602c7eda7a495b4e6e7334d3890\n",
       {},
       "AUTH: 535 (the server's words repeat the login and are left out)"}};
  PlayAll(cram, options, false);

  options.credentials = {"me@x.org", "token", true};
  const std::string xoauth2 =
      "PLAIN XOAUTH2\nC: AUTH XOAUTH2 dXNlcj1tZUB4Lm9yZwFhdXRoPUJlYXJlciB0b2tlbgEB\n";
  const Scene token[] = {
      {"a token", offer + xoauth2 + "S: 235 ok\nquit\nC: QUIT\n", {}, ""},
      {"a token that has expired: the error is asked for",
       offer + xoauth2 + "S: 334 eyJzdGF0dXMiOiI0MDAifQ==\nC: \nS: 535 5.7.8 expired\n",
       {},
       "AUTH: 535 5.7.8 expired"},
      {"no way to use it",
       offer + "PLAIN\n",
       {},
       "AUTH: the server offers no way to log in that we know (XOAUTH2)"}};
  PlayAll(token, options);
  const Scene clear[] = {{"not over a clear connection",
                          offer + "XOAUTH2\n",
                          {},
                          "AUTH: the server does not offer TLS, and a password is not sent over a "
                          "clear connection"}};
  PlayAll(clear, options, false);
}

TEST(SmtpClientTest, Extensions) {
  const std::string all =
      "S: 220 hi\nC: EHLO [127.0.0.1]\nS: 250-x\nS: 250-size 1000\nS: 250-8BITMIME\n"
      "S: 250-LIMITS RCPTMAX=20 MAILMAX=5 X=y\nS: 250 SMTPUTF8\n";
  const Scene scenes[] = {
      {"SIZE is said",
       all + "+ a@x\nC: MAIL FROM:<s@x> SIZE=20\nS: 451 wait\n",
       {"a@x later: 451 wait"},
       ""},
      {"SMTPUTF8 where an address needs it",
       all +
           "+ \xC3\xBC@x\nC: MAIL FROM:<s@x> SIZE=20 SMTPUTF8\nS: 250 ok\nC: RCPT TO:<\xC3\xBC@x>\n"
           "S: 451 wait\n",
       {"\xC3\xBC@x later: 451 wait"},
       ""},
      {"not offered: that recipient alone",
       kPlain + "+ \xC3\xBC@x b@x\nC: MAIL FROM:<s@x>\nS: 250 ok\nC: RCPT TO:<b@x>\nS: 451 wait\n",
       {"\xC3\xBC@x elsewhere: the server takes no addresses with letters outside ASCII (SMTPUTF8)",
        "b@x later: 451 wait"},
       ""},
      {"an address that would end the path or the line",
       kPlain + "+ a@x>\rRCPT b\x7F@x \xFF@x <c@x\n",
       {"a@x>\rRCPT refuse: the address can't be used", "b\x7F@x refuse: the address can't be used",
        "\xFF@x refuse: the address can't be used", "<c@x refuse: the address can't be used"},
       ""},
  };
  PlayAll(scenes);

  Play limits({}, all);
  limits.Run(1000);
  EXPECT_EQ(limits.client().extensions().max_recipients, 20U);
  EXPECT_EQ(limits.client().extensions().max_messages, 5U);

  Play large({}, all + "+ a@x\n");
  large.message().bytes = 1001;
  large.Run(1000);
  EXPECT_EQ(large.results,
            Lines{"a@x elsewhere: the message has 1001 bytes, the server takes at most 1000"});

  Play eight_bit({}, all + "+ a@x\nC: MAIL FROM:<s@x> SIZE=20 BODY=8BITMIME\nS: 451 wait\n");
  eight_bit.message().pieces = {"Subject: x\r\n\r\n", "\xC3\xBC..\r\n"};
  eight_bit.Run(1000);
  EXPECT_EQ(eight_bit.results, Lines{"a@x later: 451 wait"});

  Play sender({}, all + "+ a@x\n");
  sender.sender = std::string("s\0@x", 4);
  sender.Run(1000);
  EXPECT_EQ(sender.results, Lines{"a@x refuse: the sender's address can't be used"});
}

// A server that answers at random, in every mode, with three kinds of messages on the wire.
// Whatever it says: each recipient gets one verdict, and none of "sent" without the server's yes to
// a message.
class Storm final : public ClientEvents {
 public:
  Storm(std::uint32_t seed, bool pipelining, bool chunking) : random_(seed), client_({}, *this) {
    people_ = {{1, "a@x", ""}, {2, "b@x", ""}, {3, "<c@x", ""}};
    message_.pieces = {"x: y\r\n\r\n.z\r\n"};
    message_.bytes = message_.pieces[0].size();
    client_.Connected("[127.0.0.1]", true);
    client_.Received("220 hi\r\n");
    Write();
    std::string hello = "250-x\r\n";
    if (pipelining) hello += "250-PIPELINING\r\n";
    if (chunking) hello += "250-CHUNKING\r\n";
    client_.Received(hello + "250 HELP\r\n");
  }

  // How many recipients were sent to.
  std::size_t Run() {
    for (int step = 0; step < 200 && !client_.over(); ++step) {
      if (client_.CanBegin() && Chance(2)) Begin();
      Write();
      if (Chance(150)) client_.Quit();
      if (Chance(150)) client_.Lost(Fault::kTimeout, "lost");
      if (!owed_.empty()) Answer();
    }
    client_.Quit();
    for (Write(); !owed_.empty() && !client_.over(); Write()) Answer();
    EXPECT_TRUE(client_.over()) << "it has nothing to wait for and does not go";
    client_.Lost(Fault::kClosed, "closed");
    EXPECT_EQ(told_, begun_ * people_.size());
    EXPECT_EQ(finished_, begun_);
    EXPECT_EQ(client_.in_hand(), 0U);
    EXPECT_LE(sent_, 2 * yes_);
    return sent_;
  }

  void OnRecipient(std::size_t, std::size_t index, const struct Answer& answer) override {
    ++told_;
    EXPECT_FALSE(answer.accepted && index == 2) << "an address that was never said";
    sent_ += answer.accepted;
  }
  void OnConfirmed() override {}
  void OnFinished(std::size_t) override { ++finished_; }
  void OnSessionFailed(const Failure&, const Disposition&, const std::string&) override {}

 private:
  bool Chance(unsigned one_in) { return random_() % one_in == 0; }
  void Begin() {
    ++begun_;
    client_.Begin(client_.FreeSlot(), {"s@x", people_, &message_});
  }
  void Write() {
    WireBytes wire;
    while (client_.TakeOutput(wire)) {
      for (const std::string_view piece : wire.pieces) {
        owed_ += Commands(piece);
        client_.Written(piece.size());
      }
    }
  }
  // The answers that the server owes for it.
  static std::string Commands(std::string_view text) {
    std::string owed;
    for (const std::string_view line : ModText::Split(text, '\n')) {
      const std::string_view verb = line.substr(0, 4);
      if (verb == "DATA") {
        owed += '3';
      } else if (verb == "QUIT") {
        owed += 'Q';
      } else if (line == ".\r" || verb == "MAIL" || verb == "RCPT" || verb == "BDAT" ||
                 verb == "RSET") {
        owed += '2';
      }
    }
    return owed;
  }
  void Answer() {
    static constexpr const char* kOthers[] = {"550 no", "550 no",  "451 not", "452 full", "250 ok",
                                              "354 go", "503 bad", "421 bye", "?"};
    std::string answer = owed_[0] == '3' ? "354 go" : owed_[0] == 'Q' ? "221 bye" : "250 ok";
    if (owed_[0] != 'Q' && Chance(8))
      answer = kOthers[random_() % (Chance(4) ? std::size(kOthers) : 4)];
    yes_ += answer.starts_with("250");
    owed_.erase(0, 1);
    client_.Received(answer + "\r\n");
  }

  std::mt19937 random_;
  SmtpClient client_;
  std::vector<Recipient> people_;
  RenderedMessage message_;
  std::string owed_;
  std::size_t begun_ = 0, told_ = 0, finished_ = 0, sent_ = 0, yes_ = 0;
};

TEST(SmtpClientTest, WhateverTheServerSays) {
  std::size_t sent = 0;
  for (std::uint32_t seed = 0; seed < 3000; ++seed) {
    SCOPED_TRACE(seed);
    sent += Storm(seed, seed % 3 > 0, seed % 3 > 1).Run();
  }
  EXPECT_GT(sent, 3000U) << "the storm is too strong to show anything";
}

}  // namespace
}  // namespace vespro::engine
