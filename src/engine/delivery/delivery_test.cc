#include "engine/delivery/delivery.h"

#include <gtest/gtest.h>

#include <csignal>
#include <map>
#include <set>

#include "base/testing.h"
#include "engine/delivery/test_server.h"
#include "engine/net/asio_loop.h"

namespace vespro::engine {
namespace {

using Reason = DeliveryEnd::Reason;
using Behaviour = TestServer::Behaviour;

std::string AddressOf(std::size_t number) { return "r" + std::to_string(number) + "@list.example"; }

class Numbers final : public WorkSource {
 public:
  explicit Numbers(std::size_t count) : count_(count) {}
  Result<std::vector<Recipient>> Next(std::size_t max) override {
    std::vector<Recipient> next;
    while (given_ < count_ && next.size() < max) {
      next.push_back({given_ + 1, AddressOf(given_), ""});
      ++given_;
    }
    return next;
  }

 private:
  std::size_t count_, given_ = 0;
};

// Names its recipients, has a line that begins with a dot, and a part that all messages share.
class Letters final : public Renderer {
 public:
  explicit Letters(std::size_t per_message) : per_message_(per_message) {}
  const std::string& sender() const override { return sender_; }
  std::size_t recipients_per_message() const override { return per_message_; }
  void Render(std::span<const Recipient> recipients, RenderedMessage& out) override {
    out.own = Head(recipients);
    out.pieces.assign({std::string_view(out.own), std::string_view(shared_)});
    out.bytes = out.own.size() + shared_.size();
  }
  static std::string Head(std::span<const Recipient> recipients) {
    std::string head;
    for (const Recipient& recipient : recipients) head += "X-For: " + recipient.address + "\r\n";
    return head + "\r\n";
  }
  const std::string& shared() const { return shared_; }
  std::uint64_t least_bytes() const override { return tell_least ? shared_.size() : 0; }
  bool tell_least = false;

 private:
  std::size_t per_message_;
  std::string sender_ = "news@list.example";
  std::string shared_ = ".dots\r\n" + std::string(70, 'x') + "\r\n..\r\n";
};

// Holds delivery to its contract.
class Ledger final : public ResultSink {
 public:
  Status Sending(std::span<const Recipient> recipients, std::string_view) override {
    for (const Recipient& recipient : recipients) {
      EXPECT_FALSE(outcomes.contains(recipient.address)) << "sent after its verdict";
      EXPECT_TRUE(on_the_wire.insert(recipient.address).second) << "twice at the same time";
    }
    if (sending_fails) return Status(Code::kCannotWrite, "disk full");
    return {};
  }
  Status PutBack(std::span<const Recipient> recipients) override {
    for (const Recipient& recipient : recipients) {
      EXPECT_EQ(on_the_wire.erase(recipient.address), 1U) << "put back and not sent";
    }
    return {};
  }
  Status Record(const Recipient& recipient, const Outcome& outcome) override {
    EXPECT_TRUE(outcomes.emplace(recipient.address, outcome).second) << "a second verdict";
    on_the_wire.erase(recipient.address);
    if (outcome.state == State::kSent || outcome.state == State::kUnknown) {
      EXPECT_TRUE(committed.contains(recipient.address)) << "accepted before it was noted";
    }
    EXPECT_GE(outcome.attempts, 1);
    EXPECT_FALSE(outcome.server.empty());
    if (on_record) on_record();
    return {};
  }
  Status Commit() override {
    committed.insert(on_the_wire.begin(), on_the_wire.end());
    return {};
  }
  std::size_t Count(State state) const {
    return static_cast<std::size_t>(std::count_if(
        outcomes.begin(), outcomes.end(), [&](const auto& o) { return o.second.state == state; }));
  }

  std::map<std::string, Outcome> outcomes;
  std::set<std::string> on_the_wire;  // sent, without a verdict or a way back
  std::set<std::string> committed;    // of those that ever were
  std::function<void()> on_record;
  bool sending_fails = false;
};

// One run with everything that belongs to it.
struct Job {
  explicit Job(std::size_t recipients, std::size_t recipients_per_message = 1)
      : source(recipients), renderer(recipients_per_message) {
    options.connections = 3;
    options.retry_delay = std::chrono::milliseconds(10);
  }
  void To(std::uint16_t port, const std::string& server = "127.0.0.1") {
    Account account;
    account.server = server;
    account.port = port;
    accounts.push_back(account);
  }
  DeliveryEnd Run() {
    AsioLoop loop;
    if (!options.extra_ca.empty()) {
      const Status anchors = loop.AddTrustAnchors(options.extra_ca);
      EXPECT_TRUE(anchors.ok()) << anchors.text();
    }
    Delivery delivery(loop, options, accounts, source, renderer, ledger);
    running = &delivery;
    DeliveryEnd end = delivery.Run([this](const Progress& now) {
      progress = now;
      if (on_tick) on_tick();
    });
    // Whoever has no verdict was put back.
    EXPECT_TRUE(ledger.on_the_wire.empty() || !end.status.ok());
    std::uint64_t told = 0;
    for (const AccountTally& tally : end.accounts) {
      told += tally.sent + tally.refused + tally.failed + tally.unknown;
    }
    EXPECT_EQ(told, ledger.outcomes.size());
    return end;
  }

  Numbers source;
  Letters renderer;
  Ledger ledger;
  DeliveryOptions options;
  std::vector<Account> accounts;
  Delivery* running = nullptr;
  std::function<void()> on_tick;
  Progress progress;  // of the last tick
};

const std::vector<std::string> kOffers[] = {
    {}, {"PIPELINING", "SIZE 100000"}, {"PIPELINING", "CHUNKING", "8BITMIME"}, {"CHUNKING"}};

// A port on which nobody listens.
std::uint16_t DeadPort() {
  TestServer server({});
  return server.port;
}

TEST(DeliveryTest, EveryoneGetsTheirOwnMessageOnce) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    TestServer server({offers,
                       [](const std::string& command) -> std::string {
                         if (command.starts_with("RCPT") && command.ends_with("7@list.example>")) {
                           return "550-5.1.1 no\r\n550 5.1.1 such person";
                         }
                         return "";
                       },
                       {}});
    Job job(300);
    job.options.messages_per_connection = 50;
    job.To(server.port);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, Reason::kDone) << end.status.text();
    EXPECT_EQ(job.ledger.Count(State::kSent), 270U);
    EXPECT_EQ(job.ledger.Count(State::kRefused), 30U);
    EXPECT_EQ(job.ledger.outcomes[AddressOf(7)].reply, "550 5.1.1 no 5.1.1 such person");
    std::set<std::string> served;
    for (const TestServer::Message& message : server.messages()) {
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
    std::atomic<int> in_message = 0;
    TestServer server({offers,
                       [&](const std::string& command) -> std::string {
                         if (command.starts_with("MAIL")) in_message = 0;
                         if (command.starts_with("RCPT") && ++in_message > 4) return "452 too many";
                         return "";
                       },
                       {}});
    Job job(100, 10);
    job.options.connections = 1;
    job.options.retry = 1;
    job.To(server.port);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_EQ(job.ledger.Count(State::kSent), 100U);
    for (const auto& [address, outcome] : job.ledger.outcomes) EXPECT_EQ(outcome.attempts, 1);
    for (const auto& message : server.messages()) EXPECT_LE(message.recipients.size(), 4U);
  }
}

TEST(DeliveryTest, EqualLinesAreShares) {
  for (const std::size_t connections : {1U, 2U, 5U}) {
    TestServer one({kOffers[2], {}, {}}), two({kOffers[0], {}, {}});
    Job job(300);
    job.options.connections = connections;
    job.To(one.port);
    job.To(one.port);
    job.To(two.port);
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
  const auto refuse = [](const std::string& command) -> std::string {
    return command.starts_with("AUTH") ? "535 5.7.8 who are you" : "";
  };
  TestServer good({{"AUTH PLAIN"}, {}, {}}), bad({{"AUTH PLAIN LOGIN"}, refuse, {}});
  for (const bool with_good : {true, false}) {
    Job job(40);
    job.To(bad.port);
    if (with_good) job.To(good.port);
    for (Account& account : job.accounts) account.login = account.password = "x";
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, with_good ? Reason::kDone : Reason::kNoLogin);
    EXPECT_EQ(end.accounts[0].login_refused, "535 5.7.8 who are you");
    EXPECT_EQ(job.ledger.outcomes.size(), with_good ? 40U : 0U);
    EXPECT_EQ(job.ledger.Count(State::kSent), with_good ? 40U : 0U);
  }
}

TEST(DeliveryTest, AServerThatIsNotThere) {
  TestServer good({});
  Job with_good(50);
  with_good.To(DeadPort());
  with_good.To(good.port);
  const DeliveryEnd carried = with_good.Run();
  EXPECT_EQ(carried.reason, Reason::kDone);
  EXPECT_NE(carried.accounts[0].taken_out.find("refused"), std::string::npos);
  EXPECT_EQ(carried.accounts[1].taken_out, "");
  EXPECT_EQ(with_good.ledger.Count(State::kSent), 50U);

  Job alone(100'000);
  alone.To(DeadPort());
  const DeliveryEnd end = alone.Run();
  EXPECT_EQ(end.reason, Reason::kStopped);
  EXPECT_EQ(end.status.code(), Code::kUnavailable);
  EXPECT_NE(end.status.text().find("refused"), std::string::npos) << end.status.text();
  EXPECT_TRUE(alone.ledger.outcomes.empty());

  // The server that is there can't take the message, the one that could is not there.
  TestServer small({{"SIZE 10"}, {}, {}});
  Job stuck(5);
  stuck.To(small.port);
  stuck.To(DeadPort());
  EXPECT_EQ(stuck.Run().status.code(), Code::kUnavailable);
  EXPECT_TRUE(stuck.ledger.outcomes.empty());

  Job nameless(1);
  nameless.To(25, "no-such-host.invalid");
  EXPECT_EQ(nameless.Run().status.code(), Code::kUnavailable);
}

// One whose limit is too small for everybody's message leaves its share to the others; where there
// is no other one nobody is blamed for it.
TEST(DeliveryTest, AMessageThatIsTooLargeForAServer) {
  TestServer small({{"SIZE 50"}, {}, {}}), large({{"SIZE 5000"}, {}, {}});
  for (const bool with_large : {true, false}) {
    Job job(20);
    job.renderer.tell_least = true;
    job.To(small.port);
    if (with_large) job.To(large.port);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, with_large ? Reason::kDone : Reason::kStopped);
    EXPECT_EQ(job.ledger.Count(State::kSent), with_large ? 20U : 0U);
    EXPECT_EQ(job.ledger.outcomes.size(), with_large ? 20U : 0U);
    EXPECT_EQ(end.accounts[0].taken_out,
              "the message has at least 83 bytes, the server takes at most 50");
    EXPECT_EQ(end.status.code(), with_large ? Code::kOk : Code::kBadInput) << end.status.text();
  }
}

// The server goes away between two bytes of its life; nobody is served twice, nobody is forgotten.
TEST(DeliveryTest, AServerDiesInTheMiddle) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    std::atomic<int> commands = 0;
    std::atomic<TestServer*> dying = nullptr;
    TestServer first({offers,
                      [&](const std::string&) -> std::string {
                        if (++commands == 150) dying.load()->Die();
                        return "";
                      },
                      {}});
    dying = &first;
    TestServer second({offers, {}, {}});
    Job job(200);
    job.To(first.port);
    job.To(second.port);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.reason, Reason::kDone) << end.status.text();
    EXPECT_EQ(job.ledger.outcomes.size(), 200U);
    EXPECT_EQ(job.ledger.Count(State::kSent) + job.ledger.Count(State::kUnknown), 200U);
    std::map<std::string, int> served;
    for (TestServer* server : {&first, &second}) {
      for (const auto& message : server->messages()) ++served[message.recipients.at(0)];
    }
    for (const auto& [address, times] : served) EXPECT_EQ(times, 1) << address;
    for (const auto& [address, outcome] : job.ledger.outcomes) {
      EXPECT_TRUE(outcome.state != State::kSent || served.contains(address)) << address;
    }
  }
}

TEST(DeliveryTest, TemporaryFailuresAreTriedAgainAndThenFail) {
  std::mutex mutex;
  std::map<std::string, int> asked;
  TestServer server({kOffers[1],
                     [&](const std::string& command) -> std::string {
                       if (!command.starts_with("RCPT")) return "";
                       const std::lock_guard lock(mutex);
                       const bool never = command.find("<r3@") != std::string::npos;
                       return ++asked[command] < 3 || never ? "450 4.2.0 greylisted" : "";
                     },
                     {}});
  Job job(10);
  job.options.retry = 3;
  job.To(server.port);
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  for (const auto& [address, outcome] : job.ledger.outcomes) {
    EXPECT_EQ(outcome.state, address == AddressOf(3) ? State::kFailed : State::kSent);
    EXPECT_EQ(outcome.attempts, 3);
  }
  EXPECT_EQ(job.ledger.outcomes[AddressOf(3)].reply, "450 4.2.0 greylisted");
}

TEST(DeliveryTest, AServerThatTakesNobodyCostsNobodyTheirLastAttempt) {
  const auto full = [](const std::string& command) -> std::string {
    return command.starts_with("RCPT") ? "450 4.3.1 full" : "";
  };
  TestServer bad({kOffers[2], full, {}}), good({kOffers[2], {}, {}});
  Job job(400);
  job.options.retry = 2;
  job.To(bad.port);
  job.To(good.port);
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
    const auto five = [&row](const std::string& command) -> std::string {
      thread_local int seen = 0;  // each connection has its thread
      if (command.starts_with("EHLO")) seen = 0;
      return command.starts_with(row.at) && ++seen > 5 ? TestServer::kClose : "";
    };
    TestServer server({row.offers, five, {}});
    Job job(300);
    job.options.connections = 1;
    job.options.retry = 10;
    job.To(server.port);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_LE(job.ledger.Count(State::kUnknown), row.most_unknown);
    EXPECT_EQ(job.ledger.Count(State::kSent) + job.ledger.Count(State::kUnknown), 300U);
    EXPECT_EQ(server.messages().size(), job.ledger.Count(State::kSent));
  }
}

TEST(DeliveryTest, ASenderThatOneServerRefusesGoesToTheOther) {
  const auto refuse = [](const std::string& command) -> std::string {
    return command.starts_with("MAIL") ? "550 5.7.1 not here" : "";
  };
  TestServer strict({kOffers[2], refuse, {}}), open({});
  for (const bool with_open : {true, false}) {
    Job job(40);
    job.To(strict.port);
    if (with_open) job.To(open.port);
    const DeliveryEnd end = job.Run();
    EXPECT_EQ(end.accounts[0].taken_out, "550 5.7.1 not here");
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
  std::atomic<int> mails = 0;
  TestServer server({kOffers[2],
                     [&](const std::string& command) -> std::string {
                       return command.starts_with("MAIL") && ++mails % 10 == 0
                                  ? "421 too many messages"
                                  : "";
                     },
                     {}});
  Job job(100);
  job.options.connections = 1;
  job.options.retry = 1;
  job.To(server.port);
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  EXPECT_EQ(job.ledger.Count(State::kSent), 100U);
}

TEST(DeliveryTest, Silence) {
  const struct {
    const char* at;
    State state;
  } rows[] = {{"RCPT", State::kFailed}, {".", State::kUnknown}};
  for (const auto& row : rows) {
    TestServer server({{},
                       [&](const std::string& command) -> std::string {
                         return command.starts_with(row.at) ? TestServer::kSilence : "";
                       },
                       {}});
    Job job(2);
    job.options.timeout_scale = 0.0005;
    job.options.retry = 2;
    job.To(server.port);
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    EXPECT_EQ(job.ledger.Count(row.state), 2U) << row.at;
    EXPECT_NE(job.ledger.outcomes[AddressOf(0)].reply.find("no answer within"), std::string::npos);
  }
}

TEST(DeliveryTest, CertificatesAreChecked) {
  constexpr long kDay = 24 * 60 * 60;
  const TestCertificate good = TestCertificate::Make("IP:127.0.0.1,DNS:localhost", -kDay, kDay);
  const TestCertificate other = TestCertificate::Make("DNS:mx.example", -kDay, kDay);
  const TestCertificate old = TestCertificate::Make("IP:127.0.0.1", -2 * kDay, -kDay);
  TemporaryFolder folder;
  const struct {
    const char* why;
    const TestCertificate& certificate;
    const char* server;
    bool trusted, accepted;
  } rows[] = {{"good, by address", good, "127.0.0.1", true, true},
              {"good, by name", good, "localhost", true, true},
              {"self-signed", good, "127.0.0.1", false, false},
              {"another server's", other, "127.0.0.1", true, false},
              {"another server's, by name", other, "localhost", true, false},
              {"expired", old, "127.0.0.1", true, false}};
  for (const auto& row : rows) {
    for (const TlsUse use : {TlsUse::kAuto, TlsUse::kRequired}) {
      SCOPED_TRACE(row.why);
      TestServer server(
          {{"STARTTLS", "PIPELINING", "CHUNKING", "AUTH PLAIN"}, {}, row.certificate});
      Job job(20);
      job.options.tls = use;
      if (row.trusted) job.options.extra_ca = folder.Write("ca.pem", row.certificate.certificate);
      job.To(server.port, row.server);
      job.accounts[0].login = job.accounts[0].password = "x";
      const DeliveryEnd end = job.Run();
      EXPECT_EQ(server.messages().size(), row.accepted ? 20U : 0U);
      EXPECT_EQ(job.ledger.Count(State::kSent), row.accepted ? 20U : 0U);
      if (row.accepted) continue;
      EXPECT_EQ(end.reason, Reason::kStopped);
      EXPECT_NE(end.status.text().find("certificate"), std::string::npos) << end.status.text();
    }
  }

  TestServer clear({});
  Job required(5);
  required.options.tls = TlsUse::kRequired;
  required.To(clear.port);
  EXPECT_EQ(required.Run().status.code(), Code::kConfig);
  EXPECT_TRUE(clear.messages().empty());

  EXPECT_EQ(AsioLoop().AddTrustAnchors(folder / "missing.pem").code(), Code::kNotFound);
}

TEST(DeliveryTest, StopsWhenAskedOrInterrupted) {
  for (const bool by_signal : {false, true}) {
    TestServer server({kOffers[2], {}, {}});
    Job job(100'000);
    job.To(server.port);
    job.ledger.on_record = [&] {
      if (job.ledger.outcomes.size() != 50) return;
      if (by_signal) {
        std::raise(SIGTERM);
      } else {
        job.running->RequestStop();
      }
    };
    EXPECT_EQ(job.Run().reason, Reason::kStopped);
    EXPECT_EQ(job.ledger.Count(State::kSent), job.ledger.outcomes.size());
    EXPECT_EQ(job.ledger.outcomes.size(), server.messages().size());
    EXPECT_LT(job.ledger.outcomes.size(), 50'000U);
  }
}

TEST(DeliveryTest, ASecondInterruptEndsItAtOnce) {
  for (const bool by_signal : {false, true}) {
    TestServer server({{},
                       [](const std::string& command) -> std::string {
                         return command == "." ? TestServer::kSilence : "";
                       },
                       {}});
    Job job(10);
    job.To(server.port);
    job.on_tick = [&, ticks = 0]() mutable {
      if (++ticks != 5 && ticks != 7) return;
      if (by_signal) {
        std::raise(SIGTERM);
      } else {
        job.running->Interrupt();
      }
    };
    EXPECT_EQ(job.Run().reason, Reason::kStopped);
    EXPECT_EQ(job.ledger.outcomes.size(), 3U);
    EXPECT_EQ(job.ledger.Count(State::kUnknown), 3U) << "the server may have them";
  }
}

TEST(DeliveryTest, TellsWhenItGoesOn) {
  enum class Cause { kRate, kServerRate, kRetry };
  for (const Cause cause : {Cause::kRate, Cause::kServerRate, Cause::kRetry}) {
    SCOPED_TRACE(static_cast<int>(cause));
    TestServer server({{},
                       [cause](const std::string& command) -> std::string {
                         const bool later = cause == Cause::kRetry && command == ".";
                         return later ? "451 later" : "";
                       },
                       {}});
    Job job(cause == Cause::kRetry ? 1 : 3);
    if (cause == Cause::kRate) job.options.messages_per_second = 1.0 / 60;
    if (cause == Cause::kServerRate) job.options.account_rates = {{"127.0.0.1", 1.0 / 60}};
    job.options.retry_delay = std::chrono::seconds(60);
    job.To(server.port);
    std::chrono::duration<double> ahead{};
    job.on_tick = [&, ticks = 0]() mutable {
      if (++ticks != 10) return;
      ahead = job.progress.goes_on - std::chrono::steady_clock::now();
      job.running->RequestStop();
    };
    EXPECT_EQ(job.Run().reason, Reason::kStopped);
    EXPECT_GT(ahead.count(), 20);
    EXPECT_LT(ahead.count(), 90);
  }
}

TEST(DeliveryTest, NothingIsSentThatCantBeNoted) {
  TestServer server({});
  Job job(10);
  job.ledger.sending_fails = true;
  job.To(server.port);
  const DeliveryEnd end = job.Run();
  EXPECT_EQ(end.reason, Reason::kCannotRecord);
  EXPECT_EQ(end.status.code(), Code::kCannotWrite);
  EXPECT_TRUE(server.messages().empty());
}

TEST(DeliveryTest, KeepsToTheRateAndOpensNoMoreConnectionsThanItNeeds) {
  for (const bool of_one_server : {false, true}) {
    TestServer server({});
    Job job(21);
    if (of_one_server) {
      job.options.account_rates = {{"127.0.0.1", 50}};
    } else {
      job.options.messages_per_second = 50;
    }
    job.options.connections = 10;
    job.To(server.port);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(job.Run().reason, Reason::kDone);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took.count(), 0.3);  // 21 messages, 5 of them at once
  }

  TestServer slow({}), free({});
  Job shared(200);
  shared.options.account_rates = {{"localhost", 1}};
  shared.To(slow.port, "localhost");
  shared.To(free.port);
  EXPECT_EQ(shared.Run().reason, Reason::kDone);
  EXPECT_LE(slow.messages().size(), 10U) << "the other server takes what this one may not";
  EXPECT_EQ(slow.messages().size() + free.messages().size(), 200U);

  TestServer quiet({});
  Job small(2);
  small.options.connections = 50;
  small.To(quiet.port);
  EXPECT_EQ(small.Run().reason, Reason::kDone);
  EXPECT_LE(quiet.connections(), 2U);
}

}  // namespace
}  // namespace vespro::engine
