// engine/engine_testing.h - for tests: jobs that are run without a mail server.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/testing.h"
#include "engine/engine.h"

namespace vespro::engine {

using Addresses = std::vector<std::string>;

// A mail server's behaviour, by address, in place of the wire.
struct FakeDelivery {
  std::map<std::string, State> verdicts;  // kSent for all others
  std::string refusal = "550 \"no\", <go> away";
  std::vector<std::string> sent;       // every message that was given out
  std::size_t stop_after = 1'000'000;  // messages; then as `stop_reason`
  DeliveryEnd::Reason stop_reason = DeliveryEnd::Reason::kStopped;
  Status stop_status;
  bool stop_on_the_wire = false;  // the last message gets no verdict, as if the power went
  // Called unknown after all, before the next message.
  std::set<std::string> corrected;
  bool forget_one = false;  // a fault that the count at the end must show
  std::function<void()> at_end = [] {};
  std::vector<AccountTally> tallies;

  DeliveryEnd operator()(const DeliveryOptions&, const std::vector<Account>& accounts,
                         WorkSource& source, Renderer& renderer, ResultSink& results,
                         const std::function<void(const Progress&)>& on_tick) {
    DeliveryEnd end;
    const std::string server =
        accounts.front().server + ":" + std::to_string(accounts.front().port);
    RenderedMessage message;
    std::vector<Recipient> to_correct;
    for (std::size_t count = 0;; ++count) {
      for (const Recipient& recipient : std::exchange(to_correct, {})) {
        const Status noted =
            results.Correct(recipient, {State::kUnknown, 1, server, "a reply too many"});
        if (!noted.ok()) return {DeliveryEnd::Reason::kCannotRecord, noted, {}};
      }
      Result<std::vector<Recipient>> next = source.Next(renderer.recipients_per_message());
      if (!next.ok()) return {DeliveryEnd::Reason::kCannotRecord, next.status(), {}};
      if (next->empty()) {
        at_end();
        end.accounts = tallies;
        return end;
      }
      if (count == stop_after && !stop_on_the_wire) return {stop_reason, stop_status, {}};
      renderer.Render(next.value(), message);
      Status status = results.Sending(next.value(), server);
      if (!status.ok()) return {DeliveryEnd::Reason::kCannotRecord, status, {}};
      for (const Recipient& recipient : next.value()) sent.push_back(recipient.address);
      if (count == stop_after) return {stop_reason, {}, {}};
      for (const Recipient& recipient : next.value()) {
        if (std::exchange(forget_one, false)) continue;
        status = results.Record(recipient, OutcomeFor(recipient.address, server));
        if (!status.ok()) return {DeliveryEnd::Reason::kCannotRecord, status, {}};
        if (corrected.contains(recipient.address)) to_correct.push_back(recipient);
      }
      on_tick({});
    }
  }

  Outcome OutcomeFor(const std::string& address, const std::string& server) const {
    const auto found = verdicts.find(address);
    const State state = found == verdicts.end() ? State::kSent : found->second;
    return {state, 1, server, state == State::kSent ? "250 ok" : refusal};
  }
};

class EngineTest : public ::testing::Test {
 protected:
  EngineTest() {
    folder_.Write("list.csv",
                  "Mail,Name\r\na@x.org,Ann\r\nb@x.org,\"Bob, Jr\"\r\nnobody,Nick\r\n"
                  "A@x.org,Ann again\r\nc@x.org,Cid\r\nd@x.org,Dan\r\n");
    folder_.Write("message.eml",
                  "TO: \r\nFROM: \"The Club\"<club@x.org>\r\nSubject: Hi, #NAME <now>\r\n\r\n"
                  "Dear #NAME\r\n");
    WriteJob(0);
  }

  void WriteJob(int bcc_mode) {
    folder_.Write("Vespro.cfg",
                  "CONNECTION=2\r\nDISTRIBUTION FILE=list.csv,CSV,0,HEADER\r\nBCC MODE=" +
                      std::to_string(bcc_mode) +
                      "\r\nMESSAGE FILE=message.eml\r\nHOST=mail.x.org,25,,\r\n");
  }

  int Run(FakeDelivery& delivery) {
    out_.text.clear();
    err_.text.clear();
    EngineEnvironment world{clock_, randomness_, out_, err_, false, std::ref(delivery)};
    options_.job_file = folder_ / "Vespro.cfg";
    return RunEngine(options_, world);
  }

  std::string Path(std::string_view name) const { return ModFiles::ToUtf8(folder_ / name); }

  TemporaryFolder folder_;
  FixedClock clock_{std::chrono::system_clock::time_point(std::chrono::seconds(1'700'000'000))};
  FixedClock later_{std::chrono::system_clock::time_point(std::chrono::seconds(1'800'000'000))};
  CountingRandomness randomness_;
  StringSink out_, err_;
  EngineOptions options_;
};

}  // namespace vespro::engine
