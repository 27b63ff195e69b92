// Deliveries whose accounts have limits.
#include "engine/delivery/allowance.h"

#include <gtest/gtest.h>

#include "engine/delivery/fake_allowance.h"
#include "engine/delivery/fake_job.h"

namespace vespro::engine {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;
using Reason = DeliveryEnd::Reason;

struct LimitedJob : FakeJob {
  explicit LimitedJob(std::size_t recipients, std::size_t recipients_per_message = 1)
      : FakeJob(recipients, recipients_per_message) {
    options.allowances = &book;
  }
  FakeAllowance& Limit(const std::string& server) { return book.by_server[server]; }
  FakeAllowanceBook book;
};

// Every third recipient is refused, in turn at each place where a server may.
ScriptedServer Picky(const std::vector<std::string>& offers) {
  return ScriptedServer({offers, [count = 0](const std::string& command) mutable -> std::string {
                           const bool is_recipient = command.starts_with("RCPT");
                           if (!is_recipient || ++count % 3 != 0) return "";
                           return "550 5.1.1 no such person";
                         }});
}

TEST(AllowanceTest, ExactlyTheQuotaIsAcceptedAndTheJobEnds) {
  for (const auto& offers : kOffers) {
    for (const std::size_t batch : {1U, 10U}) {
      SCOPED_TRACE((offers.empty() ? "plain" : offers.back()) + " " + std::to_string(batch));
      ScriptedServer server = Picky(offers);
      LimitedJob job(200, batch);
      job.options.connections = 5;
      job.Limit("mx1").per_day = 35;
      job.To(server);
      const DeliveryEnd end = job.Run();
      EXPECT_EQ(end.reason, Reason::kStopped);
      EXPECT_EQ(end.status.code(), Code::kUnavailable);
      EXPECT_NE(end.status.text().find("mx1:25: the limit of the day is reached"),
                std::string::npos)
          << end.status.text();
      EXPECT_EQ(job.ledger.Count(State::kSent), 35U);
      EXPECT_EQ(job.ledger.outcomes.size(), 35U + job.ledger.Count(State::kRefused));
      EXPECT_EQ(job.Limit("mx1").committed, 35U) << "refused ones are given back";
      EXPECT_EQ(job.Limit("mx1").on_its_way, 0U);
      EXPECT_LE(server.connections(), 10U) << "each refusal made a connection";
      EXPECT_LT(job.loop.elapsed(), seconds(10));
    }
  }
}

TEST(AllowanceTest, WaitsForTheNextDayWhenItIsToldTo) {
  ScriptedServer server({kOffers[2], {}});
  LimitedJob job(25);
  job.options.wait_for_quota = true;
  job.Limit("mx1").per_day = 10;
  job.To(server);
  const auto start = job.loop.Now();
  std::chrono::duration<double> goes_on{};
  job.loop.After(minutes(20), [&] { goes_on = job.progress.goes_on - start; });
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  EXPECT_EQ(job.ledger.Count(State::kSent), 25U);
  EXPECT_NEAR(job.loop.elapsed() / hours(1), 2, 0.01);
  EXPECT_NEAR(goes_on / hours(1), 1, 0.01);
  EXPECT_LE(server.connections(), 9U) << "nobody waits on an open connection";

  ScriptedServer other({kOffers[2], {}});
  LimitedJob stopped(25);
  stopped.options.wait_for_quota = true;
  stopped.Limit("mx1").per_day = 10;
  stopped.To(other);
  stopped.loop.After(minutes(20), [&] { stopped.loop.Interrupt(); });
  EXPECT_TRUE(stopped.Run().status.ok()) << "interrupted";
  EXPECT_NEAR(stopped.loop.elapsed() / minutes(1), 20, 0.1);
}

TEST(AllowanceTest, AnotherAccountTakesOver) {
  ScriptedServer small({kOffers[2], {}}), large({kOffers[2], {}});
  LimitedJob job(300);
  job.Limit("mx1").per_day = 20;
  job.To(small);
  job.To(large);
  const DeliveryEnd end = job.Run();
  EXPECT_EQ(end.reason, Reason::kDone);
  EXPECT_EQ(small.messages().size(), 20U);
  EXPECT_EQ(large.messages().size(), 280U);
  EXPECT_TRUE(end.accounts[0].disabled.empty()) << "it works";
}

TEST(AllowanceTest, WhoMayHaveTheMessageCounts) {
  ScriptedServer server({{}, [](const std::string& command) -> std::string {
                           return command == "." ? ScriptedServer::kClose : "";
                         }});
  LimitedJob job(100);
  job.Limit("mx1").per_day = 5;
  job.To(server);
  EXPECT_EQ(job.Run().reason, Reason::kStopped);
  EXPECT_EQ(job.ledger.Count(State::kUnknown), 5U);
  EXPECT_EQ(job.Limit("mx1").committed, 5U);
}

TEST(AllowanceTest, RateAndConnectionsAreTheLogins) {
  ScriptedServer one, two;
  LimitedJob job(21);
  job.options.connections = 10;
  job.options.account_rates = {{"mx1", 50}};
  job.Limit("mx1").set = {.messages_per_second = 1, .connections = 2};
  job.To(one);
  static_cast<Job&>(job).To(26, "mx1");  // the same login at another port
  job.loop.Serve("mx1", 26, two);
  EXPECT_EQ(job.Run().reason, Reason::kDone);
  EXPECT_NEAR(job.loop.elapsed().count(), 20, 0.5) << "the lower rate, shared";

  ScriptedServer busy({kOffers[2], {}});
  LimitedJob wide(200);
  wide.options.connections = 10;
  wide.Limit("mx1").set.connections = 2;
  wide.To(busy);
  EXPECT_EQ(wide.Run().reason, Reason::kDone);
  EXPECT_EQ(busy.connections(), 2U);
}

}  // namespace
}  // namespace vespro::engine
