// The delivery over real sockets: what no test in memory can show.
#include <gtest/gtest.h>

#include <csignal>
#include <set>

#include "base/testing.h"
#include "engine/delivery/test_job.h"
#include "engine/delivery/test_server.h"
#include "engine/net/asio_loop.h"

namespace vespro::engine {
namespace {

using Reason = DeliveryEnd::Reason;

TEST(DeliverySocketTest, EveryoneGetsTheirOwnMessageOnce) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    TestServer server({offers, {}});
    Job job(300);
    job.options.messages_per_connection = 50;
    job.To(server.port);
    AsioLoop loop;
    EXPECT_EQ(job.Run(loop).reason, Reason::kDone);
    EXPECT_EQ(job.ledger.Count(State::kSent), 300U);
    std::set<std::string> served;
    for (const TestServer::Message& message : server.messages()) {
      const Recipient recipient{1, message.recipients.at(0), ""};
      EXPECT_TRUE(served.insert(recipient.address).second);
      EXPECT_EQ(message.text, Letters::Head({&recipient, 1}) + job.renderer.shared());
    }
    EXPECT_EQ(served.size(), 300U);
  }
}

// The server goes away between two bytes of its life.
TEST(DeliverySocketTest, AServerDiesInTheMiddle) {
  for (const auto& offers : kOffers) {
    SCOPED_TRACE(offers.empty() ? "plain" : offers.back());
    int commands = 0;
    TestServer* dying = nullptr;
    TestServer first({offers, [&](const std::string&) -> std::string {
                        if (++commands == 150) dying->Die();
                        return "";
                      }});
    dying = &first;
    TestServer second({offers, {}});
    Job job(200);
    job.options.retry_delay = std::chrono::milliseconds(10);
    job.To(first.port);
    job.To(second.port);
    AsioLoop loop;
    EXPECT_EQ(job.Run(loop).reason, Reason::kDone);
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

TEST(DeliverySocketTest, WhoCantBeReached) {
  std::uint16_t dead_port;
  {
    TestServer gone({});
    dead_port = gone.port;
  }
  Job refused(3);
  refused.options.server_backoff = std::chrono::milliseconds(10);
  refused.To(dead_port);
  AsioLoop loop;
  const DeliveryEnd end = refused.Run(loop);
  EXPECT_EQ(end.status.code(), Code::kUnavailable);
  EXPECT_NE(end.status.text().find("refused"), std::string::npos) << end.status.text();

  Job nameless(1);
  nameless.options.server_backoff = std::chrono::milliseconds(10);
  nameless.To(25, "no-such-host.invalid");
  AsioLoop other;
  EXPECT_EQ(nameless.Run(other).status.code(), Code::kUnavailable);
}

TEST(DeliverySocketTest, SilenceEndsAtTheTimeLimit) {
  TestServer server({{}, [](const std::string& command) -> std::string {
                       return command == "." ? ScriptedServer::kSilence : "";
                     }});
  Job job(2);
  job.options.timeout_scale = 0.0001;
  job.To(server.port);
  AsioLoop loop;
  EXPECT_EQ(job.Run(loop).reason, Reason::kDone);
  EXPECT_EQ(job.ledger.Count(State::kUnknown), 2U);
  EXPECT_EQ(job.ledger.outcomes[AddressOf(0)].reply,
            "no answer within 0.06 seconds (at the message)");
}

TEST(DeliverySocketTest, CertificatesAreChecked) {
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
      TestServer server({{"STARTTLS", "PIPELINING", "CHUNKING", "AUTH PLAIN"}, {}},
                        row.certificate);
      AsioLoop loop;
      if (row.trusted) {
        const auto ca = folder.Write("ca.pem", row.certificate.certificate);
        ASSERT_TRUE(loop.AddTrustAnchors(ca).ok());
      }
      Job job(20);
      job.options.tls = use;
      job.To(server.port, row.server);
      job.accounts[0].login = job.accounts[0].password = "x";
      const DeliveryEnd end = job.Run(loop);
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
  AsioLoop loop;
  EXPECT_EQ(required.Run(loop).status.code(), Code::kConfig);
  EXPECT_TRUE(clear.messages().empty());

  EXPECT_EQ(AsioLoop().AddTrustAnchors(folder / "missing.pem").code(), Code::kNotFound);
}

TEST(DeliverySocketTest, SignalsInterrupt) {
  TestServer server({kOffers[2], {}});
  Job job(100'000);
  job.To(server.port);
  job.ledger.on_record = [&] {
    if (job.ledger.outcomes.size() == 50) std::raise(SIGTERM);
  };
  AsioLoop loop;
  EXPECT_EQ(job.Run(loop).reason, Reason::kStopped);
  EXPECT_EQ(job.ledger.Count(State::kSent), job.ledger.outcomes.size());
  EXPECT_EQ(job.ledger.outcomes.size(), server.messages().size());
  EXPECT_LT(job.ledger.outcomes.size(), 50'000U);
}

TEST(DeliverySocketTest, ASecondSignalEndsItAtOnce) {
  TestServer server({{}, [](const std::string& command) -> std::string {
                       return command == "." ? ScriptedServer::kSilence : "";
                     }});
  Job job(10);
  job.To(server.port);
  job.on_tick = [&, ticks = 0]() mutable {
    if (++ticks == 3 || ticks == 5) std::raise(SIGTERM);
  };
  AsioLoop loop;
  EXPECT_EQ(job.Run(loop).reason, Reason::kStopped);
  EXPECT_EQ(job.ledger.Count(State::kUnknown), job.ledger.outcomes.size());
}

}  // namespace
}  // namespace vespro::engine
