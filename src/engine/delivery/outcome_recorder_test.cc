#include "engine/delivery/outcome_recorder.h"

#include <gtest/gtest.h>

namespace vespro::engine {
namespace {

// Writes down what it is told.
class Log final : public ResultSink {
 public:
  Status Sending(std::span<const Recipient> recipients, std::string_view server) override {
    lines += "intent " + recipients[0].address + " " + std::string(server) + "\n";
    return next;
  }
  Status PutBack(const Recipient& recipient, const Deferral& why) override {
    lines += "withdraw " + recipient.address + " " + why.server + " " + why.reply + "\n";
    return next;
  }
  Status Record(const Recipient& recipient, const Outcome& outcome) override {
    lines += "final " + recipient.address + " " + outcome.server + " " + outcome.reply + "\n";
    return next;
  }
  Status Commit() override {
    lines += "commit\n";
    return next;
  }
  std::string lines;
  Status next;
};

struct Person {
  explicit Person(std::string address) : recipient{1, std::move(address), ""} {
    state.attempts = 1;
    state.last_server = 1;
  }
  Recipient recipient;
  AttemptState state;
};

TEST(OutcomeRecorderTest, TellsAndCounts) {
  Log log;
  OutcomeRecorder recorder(log, {"one:25", "two:25"});
  Person ann("ann"), bob("bob"), cid("cid");
  recorder.Intent(ann.recipient, ann.state);
  recorder.Intent(bob.recipient, bob.state);
  EXPECT_TRUE(recorder.Commit());
  recorder.Final(ann.recipient, ann.state, 1, State::kSent, "250 ok");
  bob.state.last_reply = cid.state.last_reply = "450 later";
  recorder.Withdraw(bob.recipient, bob.state, 1, false);
  recorder.Withdraw(cid.recipient, cid.state, 0, false);
  recorder.Withdraw(cid.recipient, cid.state, 0, true);
  recorder.Final(cid.recipient, cid.state, 0, State::kRefused, "550 no");
  EXPECT_EQ(log.lines,
            "intent ann two:25\nintent bob two:25\ncommit\nfinal ann two:25 250 ok\nwithdraw bob "
            "two:25 450 later\nwithdraw cid one:25 450 later\nfinal cid one:25 550 no\n");
  EXPECT_EQ(recorder.of(1).sent, 1U);
  EXPECT_EQ(recorder.of(0).refused, 1U);
  EXPECT_EQ(recorder.total().Total(), 2U);
  recorder.CheckComplete(3, 1);
  EXPECT_TRUE(recorder.status().ok());
}

TEST(OutcomeRecorderTest, HoldsTheDeliveryToExactlyOneOutcome) {
  const struct {
    const char* why;
    void (*break_it)(OutcomeRecorder&, Person&);
  } rows[] = {
      {"a second outcome",
       [](OutcomeRecorder& recorder, Person& ann) {
         recorder.Final(ann.recipient, ann.state, 0, State::kSent, "250 again");
       }},
      {"sent after its outcome",
       [](OutcomeRecorder& recorder, Person& ann) { recorder.Intent(ann.recipient, ann.state); }},
      {"somebody is lost",
       [](OutcomeRecorder& recorder, Person&) { recorder.CheckComplete(3, 1); }},
      {"somebody is there twice",
       [](OutcomeRecorder& recorder, Person&) { recorder.CheckComplete(1, 1); }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    Log log;
    OutcomeRecorder recorder(log, {"one:25", "two:25"});
    Person ann("ann"), bob("bob");
    recorder.Final(ann.recipient, ann.state, 0, State::kRefused, "550 no");
    const std::string before = log.lines;
    row.break_it(recorder, ann);
    EXPECT_EQ(log.lines, before) << "it was told all the same";
    EXPECT_EQ(recorder.status().code(), Code::kInternal);
    recorder.Final(bob.recipient, bob.state, 0, State::kSent, "250 ok");
    EXPECT_FALSE(recorder.Commit());
    EXPECT_EQ(log.lines, before) << "nothing is told after a failure";
  }
}

TEST(OutcomeRecorderTest, TheFirstFailureOfTheSinkStays) {
  Log log;
  OutcomeRecorder recorder(log, {"one:25", "two:25"});
  log.next = Status(Code::kCannotWrite, "disk full");
  EXPECT_FALSE(recorder.Commit());
  log.next = {};
  Person ann("ann");
  recorder.Intent(ann.recipient, ann.state);
  EXPECT_FALSE(recorder.Commit());
  EXPECT_EQ(recorder.status().text(), "disk full");
  EXPECT_EQ(log.lines, "commit\n");
}

}  // namespace
}  // namespace vespro::engine
