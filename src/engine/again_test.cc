#include "engine/again.h"

#include <gtest/gtest.h>

#include <map>

#include "base/testing.h"
#include "engine/engine.h"
#include "engine/journal.h"

namespace vespro::engine {
namespace {

// A job of five people, of whom each gets another verdict and the last one none.
class AgainTest : public ::testing::Test {
 protected:
  DeliveryEnd Deliver(WorkSource& source, ResultSink& results, std::size_t at_most) {
    const std::map<std::string, State> verdicts = {
        {"b@x.org", State::kFailed}, {"c@x.org", State::kRefused}, {"d@x.org", State::kUnknown}};
    for (std::size_t count = 0; count < at_most; ++count) {
      const Result<std::vector<Recipient>> next = source.Next(1);
      if (!next.ok() || next->empty()) return {};
      const Recipient& person = next->front();
      sent_.push_back(person.address);
      const auto found = verdicts.find(person.address);
      const State state = found == verdicts.end() ? State::kSent : found->second;
      Status told = results.Sending(next.value(), "mail.x.org:25");
      if (told.ok()) told = results.Record(person, {state, 1, "mail.x.org:25", "so"});
      if (!told.ok()) return {DeliveryEnd::Reason::kCannotRecord, told, {}};
    }
    return {DeliveryEnd::Reason::kStopped, {}, {}};
  }

  int Run(std::size_t at_most) {
    EngineEnvironment world = World();
    world.deliver = [this, at_most](const auto&, const auto&, WorkSource& source, Renderer&,
                                    ResultSink& results,
                                    const auto&) { return Deliver(source, results, at_most); };
    return RunEngine(options_, world);
  }

  EngineEnvironment World() { return {clock_, randomness_, out_, out_, false, {}}; }

  void WriteJob(const std::string& list, const std::string& mapping) {
    folder_.Write(mapping.substr(0, mapping.find(',')), list);
    folder_.Write("message.eml", "TO: \r\nFROM: club@x.org\r\nSubject: s\r\n\r\nDear #NAME\r\n");
    folder_.Write("Vespro.cfg", "DISTRIBUTION FILE=" + mapping +
                                    "\r\nMESSAGE FILE=message.eml\r\nHOST=mail.x.org,25,,\r\n");
    options_.job_file = folder_ / "Vespro.cfg";
    options_.fresh = true;
    sent_.clear();
  }

  Result<AgainCounts> WriteList(AgainChoice choice) {
    return WriteAgainList(options_, choice, folder_ / "again", randomness_);
  }

  TemporaryFolder folder_;
  FixedClock clock_{std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000))};
  CountingRandomness randomness_;
  StringSink out_;
  EngineOptions options_;
  std::vector<std::string> sent_;
};

TEST_F(AgainTest, TheListNamesTheFieldsByTheFirstRowWhoeverThatIs) {
  const struct {
    const char* name;
    std::string list, mapping;
    AgainChoice choice;
    std::string again;
  } rows[] = {
      {"a header",
       "\xEF\xBB\xBFName,Mail\na,a@x.org\nb,\"B@x.org\"\nbad,nobody\nc,c@x.org\n"
       "b again,b@x.org\nd,d@x.org\ne \xFC,e@x.org,more\n",
       "list.csv,CSV,1,HEADER",
       {},
       "\xEF\xBB\xBFName,Mail\r\nb,\"B@x.org\"\r\ne \xFC,e@x.org,more\r\n"},
      {"no header, the first person has it",
       "a,a@x.org\nb,b@x.org\nc,c@x.org\nd,d@x.org\ne,e@x.org",
       "list.csv,CSV,1,VALUE",
       {true, false},
       "a,a@x.org\r\nb,b@x.org\r\nc,c@x.org\r\ne,e@x.org\r\n"},
      {"no header, the first person is sent to again",
       "b,b@x.org\na,a@x.org\nc,c@x.org\nd,d@x.org\ne,e@x.org\n",
       "list.csv,CSV,1,VALUE",
       {},
       "b,b@x.org\r\nb,b@x.org\r\ne,e@x.org\r\n"},
      {"addresses alone",
       "a@x.org\nB@x.org\nc@x.org\nd@x.org\n\ne@x.org\n",
       "list.txt,TEXT",
       {true, true},
       "b@x.org\r\nc@x.org\r\nd@x.org\r\ne@x.org\r\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    WriteJob(row.list, row.mapping);
    EXPECT_EQ(Run(4), kExitInterrupted) << out_.text;
    options_.fresh = false;
    const Result<AgainCounts> counts = WriteList(row.choice);
    ASSERT_TRUE(counts.ok()) << counts.status().text();
    EXPECT_EQ(folder_.Read("again"), row.again);
    EXPECT_EQ(counts->failed + counts->not_reached + counts->refused + counts->unknown, 4u);
    EXPECT_EQ(counts->not_reached, 1u);
    EXPECT_EQ(counts->people, 2u + row.choice.refused + row.choice.unknown);

    EngineEnvironment world = World();
    const Status handed = HandOver(options_, row.choice, "handed over", world);
    ASSERT_TRUE(handed.ok()) << handed.text();
    sent_.clear();
    Run(100);
    EXPECT_EQ(sent_, std::vector<std::string>{}) << "the first job mails none of them any more";
    EXPECT_EQ(WriteList(row.choice)->people, 0u) << "nor does a third job";
    EXPECT_NE(folder_.Read("report.txt").find("e@x.org\tskipped\t0\t\t"), std::string::npos);
  }
  EXPECT_EQ(AgainDistribution({"elsewhere, too.csv", ListKind::kCsv, 3, false}, "list.csv"),
            "list.csv,CSV,3,HEADER");
}

TEST_F(AgainTest, WhoIsNotOfTheJobIsNotOfTheNextOne) {
  WriteJob("a@x.org\nb@x.org\nc@x.org\nd@x.org\ne@x.org\nf@x.org\n", "list.txt,TEXT");
  options_.list.limit = 5;  // a first try with a part of the list
  options_.suppress = {folder_.Write("left.txt", "e@x.org\r\n")};
  EXPECT_EQ(Run(4), kExitInterrupted);
  Result<AgainCounts> counts = WriteList({});
  ASSERT_TRUE(counts.ok()) << counts.status().text();
  EXPECT_EQ(folder_.Read("again"), "b@x.org\r\nf@x.org\r\n") << "the fifth is suppressed";
  folder_.Write("list.txt", "b@x.org\na@x.org\n");
  counts = WriteList({});
  EXPECT_EQ(counts.status().code(), Code::kResumable) << "its lines are others now";
}

}  // namespace
}  // namespace vespro::engine
