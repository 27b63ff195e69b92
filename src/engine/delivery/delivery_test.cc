#include "engine/delivery/delivery.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

#include "engine/delivery/fake_job.h"

namespace vespro::engine {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::seconds;
using Reason = DeliveryEnd::Reason;

TEST(DeliveryTest, EveryoneGetsTheirOwnMessageOnce) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    ScriptedServer server({offers, [](const std::string& command) -> std::string {
                             if (!command.starts_with("RCPT")) return "";
                             if (!command.ends_with("7@list.example>")) return "";
                             return "550-5.1.1 no\r\n550 5.1.1 such person";
                           }});
    FakeJob job(300);
    job.options.messages_per_connection = 50;
    job.To(server);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, Reason::kDone) << end.status.text();
    EXPECT_EQ(job.ledger.Count(State::kSent), 270U);
    EXPECT_EQ(job.ledger.Count(State::kRefused), 30U);
    EXPECT_EQ(job.ledger.outcomes[AddressOf(7)].reply, "550 5.1.1 no 5.1.1 such person");
    std::set<std::string> served;
    for (const ScriptedServer::Message& message : server.messages()) {
      ASSERT_EQ(message.recipients.size(), 1U);
      const Recipient recipient{1, message.recipients[0], ""};
      EXPECT_TRUE(served.insert(recipient.address).second);
      EXPECT_EQ(message.text, Letters::Head({&recipient, 1}) + job.renderer.shared());
      EXPECT_EQ(job.ledger.outcomes[recipient.address].state, State::kSent);
    }
    EXPECT_EQ(served.size(), 270U);
    EXPECT_GE(server.connections(), 6U) << "a connection was not renewed";
  }
}

TEST(DeliveryTest, BatchesAreSplitWhereTheServerHasNoMoreRoom) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    int in_message = 0;
    ScriptedServer server({offers, [&](const std::string& command) -> std::string {
                             if (command.starts_with("MAIL")) in_message = 0;
                             const bool full = command.starts_with("RCPT") && ++in_message > 4;
                             return full ? "452 too many" : "";
                           }});
    FakeJob job(100, 10);
    job.options.connections = 1;
    job.options.max_attempts = 1;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_EQ(job.ledger.Count(State::kSent), 100U);
    for (const auto& [address, outcome] : job.ledger.outcomes) EXPECT_EQ(outcome.attempts, 1);
    for (const auto& message : server.messages()) EXPECT_LE(message.recipients.size(), 4U);
  }
}

TEST(DeliveryTest, EqualLinesAreShares) {
  for (const std::size_t connections : {1U, 2U, 5U}) {
    ScriptedServer one({kOffers[2], {}}), two({kOffers[0], {}});
    FakeJob job(300);
    job.options.connections = connections;
    job.To(one);
    job.To(one);
    job.To(two);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, Reason::kDone);
    ASSERT_EQ(end.accounts.size(), 2U);
    EXPECT_EQ(end.accounts[0].sent, one.messages().size());
    // With one connection the servers take turns, so one of them may be ahead at the end.
    EXPECT_NEAR(static_cast<double>(one.messages().size()), 200, connections == 1 ? 20 : 1);
    EXPECT_EQ(one.messages().size() + two.messages().size(), 300U);
  }
}

TEST(DeliveryTest, AnAccountWithoutLoginLeavesItsShareToTheOthers) {
  for (const bool with_good : {true, false}) {
    ScriptedServer good({{"AUTH PLAIN"}, {}});
    ScriptedServer bad({{"AUTH PLAIN LOGIN"}, [](const std::string& command) -> std::string {
                          return command.starts_with("AUTH") ? "535 5.7.8 who are you" : "";
                        }});
    FakeJob job(40);
    job.To(bad);
    if (with_good) job.To(good);
    for (Account& account : job.accounts) account.login = account.password = "x";
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, with_good ? Reason::kDone : Reason::kNoLogin);
    EXPECT_EQ(end.accounts[0].login_refused, "535 5.7.8 who are you");
    EXPECT_EQ(job.ledger.outcomes.size(), with_good ? 40U : 0U);
    EXPECT_EQ(job.ledger.Count(State::kSent), with_good ? 40U : 0U);
  }
}

// The token of the first command expires after ten logins; the command gives a new one then.
TEST(DeliveryTest, ATokenThatExpiresIsRenewed) {
  int logins = 0;
  ScriptedServer server({{"AUTH XOAUTH2"}, [&](const std::string& command) -> std::string {
                           return command.starts_with("AUTH") && ++logins == 11
                                      ? "535 5.7.8 expired"
                                      : "";
                         }});
  FakeJob job(40);
  job.options.connections = 1;
  job.options.messages_per_connection = 2;
  job.options.password_commands = {{"mx1", "echo Bearer x"}};
  job.To(server);
  job.accounts[0].login = "x";
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  EXPECT_EQ(job.ledger.Count(State::kSent), 40U);
  EXPECT_EQ(logins, 21);
}

TEST(DeliveryTest, AServerThatIsNotThere) {
  ScriptedServer good;
  FakeJob with_good(50);
  with_good.ToNobody();
  with_good.To(good);
  const DeliveryEnd carried = with_good.Run();
  EXPECT_EQ(carried.reason, Reason::kDone);
  EXPECT_NE(carried.accounts[0].disabled.find("refused"), std::string::npos);
  EXPECT_EQ(carried.accounts[1].disabled, "");
  EXPECT_EQ(with_good.ledger.Count(State::kSent), 50U);

  FakeJob alone(100'000);
  alone.ToNobody();
  const DeliveryEnd end = alone.Run();
  EXPECT_EQ(end.reason, Reason::kStopped);
  EXPECT_EQ(end.status.code(), Code::kUnavailable);
  EXPECT_NE(end.status.text().find("refused"), std::string::npos) << end.status.text();
  EXPECT_TRUE(alone.ledger.outcomes.empty());

  // The server that is there can't take the message, the one that could is not there.
  ScriptedServer small({{"SIZE 10"}, {}});
  FakeJob stuck(5);
  stuck.To(small);
  stuck.ToNobody();
  EXPECT_EQ(stuck.Run().status.code(), Code::kUnavailable);
  EXPECT_TRUE(stuck.ledger.outcomes.empty());
}

// One whose limit is too small for everybody's message leaves its share to the others; where there
// is no other one nobody is blamed for it.
TEST(DeliveryTest, AMessageThatIsTooLargeForAServer) {
  for (const bool with_large : {true, false}) {
    ScriptedServer small({{"SIZE 50"}, {}}), large({{"SIZE 5000"}, {}});
    FakeJob job(20);
    job.renderer.tell_least = true;
    job.To(small);
    if (with_large) job.To(large);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, with_large ? Reason::kDone : Reason::kStopped);
    EXPECT_EQ(job.ledger.Count(State::kSent), with_large ? 20U : 0U);
    EXPECT_EQ(job.ledger.outcomes.size(), with_large ? 20U : 0U);
    EXPECT_EQ(end.accounts[0].disabled,
              "the message has at least 83 bytes, the server takes at most 50");
    EXPECT_EQ(end.status.code(), with_large ? Code::kOk : Code::kBadInput) << end.status.text();
  }
}

// The server goes away after any of its commands; nobody is served twice, nobody is forgotten.
TEST(DeliveryTest, AServerDiesInTheMiddle) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    for (int last = 1; last < 60; ++last) {
      SCOPED_TRACE(last);
      int commands = 0;
      ScriptedServer* dying = nullptr;
      ScriptedServer first({offers, [&](const std::string&) -> std::string {
                              if (++commands == last) dying->Die();
                              return "";
                            }});
      dying = &first;
      ScriptedServer second({offers, {}});
      FakeJob job(40);
      job.To(first);
      job.To(second);
      const DeliveryEnd end = job.Run();
      EXPECT_EQ(end.reason, Reason::kDone) << end.status.text();
      EXPECT_EQ(job.ledger.outcomes.size(), 40U);
      EXPECT_EQ(job.ledger.Count(State::kSent) + job.ledger.Count(State::kUnknown), 40U);
      std::map<std::string, int> served;
      for (const ScriptedServer* server : {&first, &second}) {
        for (const auto& message : server->messages()) ++served[message.recipients.at(0)];
      }
      for (const auto& [address, times] : served) EXPECT_EQ(times, 1) << address;
      for (const auto& [address, outcome] : job.ledger.outcomes) {
        EXPECT_TRUE(outcome.state != State::kSent || served.contains(address)) << address;
      }
    }
  }
}

TEST(DeliveryTest, TemporaryFailuresAreTriedAgainAndThenFail) {
  std::map<std::string, int> asked;
  ScriptedServer server({kOffers[1], [&](const std::string& command) -> std::string {
                           if (!command.starts_with("RCPT")) return "";
                           const bool never = command.find("<r3@") != std::string::npos;
                           return ++asked[command] < 3 || never ? "450 4.2.0 greylisted" : "";
                         }});
  FakeJob job(10);
  job.options.max_attempts = 3;
  job.To(server);
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  for (const auto& [address, outcome] : job.ledger.outcomes) {
    EXPECT_EQ(outcome.state, address == AddressOf(3) ? State::kFailed : State::kSent);
    EXPECT_EQ(outcome.attempts, 3);
  }
  EXPECT_EQ(job.ledger.outcomes[AddressOf(3)].reply, "450 4.2.0 greylisted");
  EXPECT_NEAR(job.loop.elapsed().count(), 90, 2) << "30 s before the second attempt, then 60 s";
}

TEST(DeliveryTest, AServerThatTakesNobodyCostsNobodyTheirLastAttempt) {
  ScriptedServer bad({kOffers[2], [](const std::string& command) -> std::string {
                        return command.starts_with("RCPT") ? "450 4.3.1 full" : "";
                      }});
  ScriptedServer good({kOffers[2], {}});
  FakeJob job(400);
  job.options.max_attempts = 2;
  job.To(bad);
  job.To(good);
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  EXPECT_EQ(job.ledger.Count(State::kSent), 400U);
}

// What is on the wire of the first connections may be lost; it does not go on like that.
TEST(DeliveryTest, AServerThatHangsUpWithoutAWordIsLearntFrom) {
  const struct {
    std::vector<std::string> offers;
    std::string at;  // the sixth of these of a connection
    std::size_t most_unknown;
  } rows[] = {{kOffers[0], ".", 4}, {kOffers[1], ".", 4}, {kOffers[2], "MAIL", 16}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.at + (row.offers.empty() ? "" : " " + row.offers.back()));
    int seen = 0;
    ScriptedServer server({row.offers, [&](const std::string& command) -> std::string {
                             if (command == "connect") seen = 0;
                             const bool dropped = command.starts_with(row.at) && ++seen > 5;
                             return dropped ? ScriptedServer::kClose : "";
                           }});
    FakeJob job(300);
    job.options.connections = 1;
    job.options.max_attempts = 10;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_LE(job.ledger.Count(State::kUnknown), row.most_unknown);
    EXPECT_EQ(job.ledger.Count(State::kSent) + job.ledger.Count(State::kUnknown), 300U);
    EXPECT_EQ(server.messages().size(), job.ledger.Count(State::kSent));
  }
}

TEST(DeliveryTest, ASenderThatOneServerRefusesGoesToTheOther) {
  for (const bool with_open : {true, false}) {
    ScriptedServer strict({kOffers[2], [](const std::string& command) -> std::string {
                             return command.starts_with("MAIL") ? "550 5.7.1 not here" : "";
                           }});
    ScriptedServer open;
    FakeJob job(40);
    job.To(strict);
    if (with_open) job.To(open);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.accounts[0].disabled, "550 5.7.1 not here");
    if (with_open) {
      EXPECT_EQ(end.reason, Reason::kDone);
      EXPECT_EQ(job.ledger.Count(State::kSent), 40U);
    } else {
      // Nobody on the list is to blame: they stay unrecorded for another day.
      EXPECT_EQ(end.reason, Reason::kStopped);
      EXPECT_NE(end.status.text().find("550 5.7.1 not here"), std::string::npos);
      EXPECT_TRUE(job.ledger.outcomes.empty());
    }
  }
}

TEST(DeliveryTest, ALimitOfMessagesIsNoFailure) {
  int mails = 0;
  ScriptedServer server({kOffers[2], [&](const std::string& command) -> std::string {
                           const bool limit = command.starts_with("MAIL") && ++mails % 10 == 0;
                           return limit ? "421 too many messages" : "";
                         }});
  FakeJob job(100);
  job.options.connections = 1;
  job.options.max_attempts = 1;
  job.To(server);
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  EXPECT_EQ(job.ledger.Count(State::kSent), 100U);
}

// With the time limits of RFC 5321.
TEST(DeliveryTest, Silence) {
  const struct {
    const char* at;
    State state;
    double seconds;
  } rows[] = {{"RCPT", State::kFailed, 2 * 300 + 30}, {".", State::kUnknown, 600}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.at);
    ScriptedServer server({{}, [&](const std::string& command) -> std::string {
                             return command.starts_with(row.at) ? ScriptedServer::kSilence : "";
                           }});
    FakeJob job(2);
    job.options.max_attempts = 2;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_EQ(job.ledger.Count(row.state), 2U);
    EXPECT_NE(job.ledger.outcomes[AddressOf(0)].reply.find("no answer within"), std::string::npos);
    EXPECT_NEAR(job.loop.elapsed().count(), row.seconds, 10);
  }
}

TEST(DeliveryTest, StopsWhenAskedOrInterrupted) {
  for (const bool by_interrupt : {false, true}) {
    ScriptedServer server({kOffers[2], {}});
    FakeJob job(100'000);
    job.To(server);
    job.ledger.on_record = [&] {
      if (job.ledger.outcomes.size() != 50) return;
      if (by_interrupt) {
        job.loop.Interrupt();
      } else {
        job.running->RequestStop();
      }
    };
    EXPECT_EQ(job.Run().reason, Reason::kStopped);
    EXPECT_EQ(job.ledger.Count(State::kSent), job.ledger.outcomes.size());
    EXPECT_EQ(job.ledger.outcomes.size(), server.messages().size());
    EXPECT_LT(job.ledger.outcomes.size(), 1000U);
  }
}

TEST(DeliveryTest, ASecondInterruptEndsItAtOnce) {
  ScriptedServer server({{}, [](const std::string& command) -> std::string {
                           return command == "." ? ScriptedServer::kSilence : "";
                         }});
  FakeJob job(10);
  job.To(server);
  job.loop.After(seconds(1), [&] { job.loop.Interrupt(); });
  job.loop.After(seconds(2), [&] { job.running->Interrupt(); });
  EXPECT_EQ(job.Run().reason, Reason::kStopped);
  EXPECT_EQ(job.ledger.outcomes.size(), 3U);
  EXPECT_EQ(job.ledger.Count(State::kUnknown), 3U) << "the server may have them";
  EXPECT_LT(job.loop.elapsed(), seconds(3));
}

TEST(DeliveryTest, TellsWhenItGoesOn) {
  enum class Cause { kRate, kServerRate, kRetry };
  const struct {
    Cause cause;
    double at;  // seconds after the beginning
  } rows[] = {{Cause::kRate, 60}, {Cause::kServerRate, 60}, {Cause::kRetry, 90}};
  for (const auto& row : rows) {
    SCOPED_TRACE(static_cast<int>(row.cause));
    ScriptedServer server({{}, [&](const std::string& command) -> std::string {
                             const bool later = row.cause == Cause::kRetry && command == ".";
                             return later ? "451 later" : "";
                           }});
    FakeJob job(row.cause == Cause::kRetry ? 1 : 3);
    if (row.cause == Cause::kRate) job.options.messages_per_second = 1.0 / 60;
    if (row.cause == Cause::kServerRate) job.options.account_rates = {{"mx1", 1.0 / 60}};
    job.options.retry_delay = seconds(90);
    job.To(server);
    const auto start = job.loop.Now();
    std::chrono::duration<double> at{};
    job.loop.After(seconds(40), [&] {
      at = job.progress.goes_on - start;
      job.running->RequestStop();
    });
    EXPECT_EQ(job.Run().reason, Reason::kStopped);
    EXPECT_NEAR(at.count(), row.at, 1);
  }
}

// How long a recipient waits says nothing about how long a server wants to be left alone.
TEST(DeliveryTest, AServerThatAsksForPatienceGetsIt) {
  const struct {
    const char* why;
    const char* at;
    const char* answer;
    std::size_t most_connections;  // in a minute
  } rows[] = {{"at the greeting", "connect", "421 4.3.2 slow down", 7},
              {"at EHLO", "EHLO", "421 4.3.2 slow down", 7},
              {"at the sender", "MAIL", "421 4.7.0 slow down", 7},
              {"at the end of the message", ".", "421 4.7.0 slow down", 7},
              {"without the connection", "MAIL", "450 4.7.1 slow down", 1},
              {"hangs up on us", "connect", ScriptedServer::kClose, 7}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    ScriptedServer server({kOffers[2], [&](const std::string& command) -> std::string {
                             return command.starts_with(row.at) ? row.answer : "";
                           }});
    FakeJob job(1000);
    job.options.connections = 1;
    job.options.max_attempts = 100;
    job.options.retry_delay = milliseconds(0);
    job.To(server);
    job.loop.After(seconds(60), [&] { job.running->RequestStop(); });
    job.Run();
    EXPECT_LE(server.connections(), row.most_connections);
    EXPECT_GE(server.connections(), 1U);
    EXPECT_EQ(job.ledger.Count(State::kSent), 0U);
  }
}

// Whoever takes STARTTLS out of the server's answer gets no message to read.
TEST(DeliveryTest, TlsThatWasOfferedOnceMayNotGoAway) {
  for (const bool comes_back : {true, false}) {
    SCOPED_TRACE(comes_back);
    int connections = 0;
    ScriptedServer server({{"STARTTLS"}, [&](const std::string& command) -> std::string {
                             connections += command == "connect";
                             const bool stripped =
                                 connections > 2 && (!comes_back || connections < 5);
                             return stripped && command.starts_with("EHLO") ? "250 test" : "";
                           }});
    FakeJob job(50);
    job.loop.loopback = false;
    job.options.connections = 1;
    job.options.messages_per_connection = 10;
    job.To(server);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(job.ledger.Count(State::kSent), comes_back ? 50U : 20U);
    EXPECT_EQ(end.reason, comes_back ? Reason::kDone : Reason::kStopped);
    EXPECT_EQ(end.status.text().find("offered TLS before") != std::string::npos, !comes_back);
    EXPECT_FALSE(end.accounts[0].in_clear);
  }
}

TEST(DeliveryTest, MailInClearIsTold) {
  const struct {
    TlsUse tls;
    bool offered, loopback, in_clear;
  } rows[] = {{TlsUse::kAuto, true, false, false},
              {TlsUse::kAuto, false, false, true},
              {TlsUse::kAuto, false, true, false},
              {TlsUse::kOff, true, false, true}};
  for (const auto& row : rows) {
    ScriptedServer server;
    if (row.offered) server = ScriptedServer({{"STARTTLS"}, {}});
    FakeJob job(5);
    job.loop.loopback = row.loopback;
    job.options.tls = row.tls;
    job.To(server);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(job.ledger.Count(State::kSent), 5U);
    EXPECT_EQ(end.accounts[0].in_clear, row.in_clear);
  }
}

class NoteTrace final : public Trace {
 public:
  void Write(std::uint64_t, TraceKind kind, std::string_view text) override {
    if (kind == TraceKind::kNote) notes.emplace_back(text);
  }
  bool with_data() const override { return false; }
  std::vector<std::string> notes;
};

// What a person reads who wants to know why nothing goes out.
TEST(DeliveryTest, ATraceSaysWhyNothingIsSent) {
  int mails = 0;
  ScriptedServer server({{"PIPELINING"}, [&](const std::string& command) -> std::string {
                           return command.starts_with("MAIL") && ++mails <= 2 ? "450 4.7.1 later"
                                                                              : "";
                         }});
  ScriptedServer gone;
  gone.Die();
  FakeJob job(2);
  job.options.connections = 2;
  job.options.messages_per_second = 0.1;
  NoteTrace trace;
  job.options.trace = &trace;
  job.To(server);
  job.To(gone);
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  for (const char* note : {
           "connecting to mx1:25",
           "mx1:25: too fast for it: nothing for 1 s, then 1 recipients a second: 450 4.7.1 later",
           "mx1:25: not sending: its pace lets no message through yet",
           "mx1:25: line 1 again in 0 s, attempts used up: 0; 450 4.7.1 later",
           "mx2:25: backing off for 1 s, failure 1 in a row: connection refused",
       }) {
    EXPECT_NE(std::find(trace.notes.begin(), trace.notes.end(), note), trace.notes.end()) << note;
  }
  EXPECT_LT(trace.notes.size(), 40U) << "what does not change is not repeated";
}

TEST(DeliveryTest, NothingIsSentThatCantBeNoted) {
  ScriptedServer server;
  FakeJob job(10);
  job.ledger.sending_fails = true;
  job.To(server);
  const DeliveryEnd end = job.Run();
  EXPECT_EQ(end.reason, Reason::kCannotRecord);
  EXPECT_EQ(end.status.code(), Code::kCannotWrite);
  EXPECT_TRUE(server.messages().empty());
}

// What is on the wire then is not given up.
TEST(DeliveryTest, AListThatCantBeReadToItsEnd) {
  ScriptedServer server({kOffers[2], {}});
  FakeJob job(1000);
  job.source.fails_after = 640;
  job.To(server);
  const DeliveryEnd end = job.Run();
  EXPECT_EQ(end.reason, Reason::kCannotRecord);
  EXPECT_EQ(end.status.text(), "disk gone");
  EXPECT_EQ(job.ledger.Count(State::kUnknown), 0U);
  EXPECT_EQ(job.ledger.Count(State::kSent), server.messages().size());
  EXPECT_TRUE(job.ledger.on_the_wire.empty());
}

TEST(DeliveryTest, KeepsToTheRateAndOpensNoMoreConnectionsThanItNeeds) {
  for (const bool of_one_server : {false, true}) {
    ScriptedServer server;
    FakeJob job(21);
    if (of_one_server) {
      job.options.account_rates = {{"mx1", 1}};
    } else {
      job.options.messages_per_second = 1;
    }
    job.options.connections = 10;
    job.To(server);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_NEAR(job.loop.elapsed().count(), 20, 0.5);
    EXPECT_LE(server.connections(), 2U);
  }

  ScriptedServer slow, free;
  FakeJob shared(200);
  shared.options.account_rates = {{"mx1", 1}};
  shared.To(slow);
  shared.To(free);
  EXPECT_EQ(shared.Run().reason, Reason::kDone);
  EXPECT_LE(slow.messages().size(), 10U) << "the other server takes what this one may not";
  EXPECT_EQ(slow.messages().size() + free.messages().size(), 200U);

  ScriptedServer quiet;
  FakeJob small(2);
  small.options.connections = 50;
  small.To(quiet);
  EXPECT_EQ(small.Run().reason, Reason::kDone);
  EXPECT_LE(quiet.connections(), 2U);
}

}  // namespace
}  // namespace vespro::engine
