// engine/delivery/fake_allowance.h - for tests only: an AllowanceBook in memory. A day is an
// hour of the loop's clock from the first recipient on.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <string>

#include "engine/delivery/allowance.h"

namespace vespro::engine {

class FakeAllowance final : public Allowance {
 public:
  std::size_t per_day = SIZE_MAX;
  Ceilings set, known;
  std::size_t committed = 0, on_its_way = 0, extra = 0;

  Ceilings configured() const override { return set; }
  Ceilings learnt() const override { return known; }
  void Learn(const Ceilings& learnt) override { known = learnt; }

  std::size_t Take(std::size_t recipients, TimePoint now) override {
    if (used_ == 0) began_ = now;
    const std::size_t granted = std::min(recipients, per_day - std::min(per_day, used_));
    available_at_ = granted > 0 ? TimePoint() : began_ + kDay;
    used_ += granted;
    on_its_way += granted;
    return granted;
  }
  void GiveBack(std::size_t recipients) override {
    Leave(recipients);
    used_ -= std::min(used_, recipients);
    available_at_ = TimePoint();
  }
  void Commit(std::size_t recipients) override {
    Leave(recipients);
    committed += recipients;
  }
  void Add(std::size_t recipients) override {
    used_ += recipients;
    extra += recipients;
  }
  void Update(TimePoint now) override {
    if (used_ == 0 || now < began_ + kDay) return;
    used_ = on_its_way;
    available_at_ = TimePoint();
  }
  TimePoint available_at() const override { return available_at_; }
  std::string WhyNone() const override { return "the limit of the day is reached"; }

 private:
  static constexpr std::chrono::hours kDay{1};
  void Leave(std::size_t recipients) {
    EXPECT_LE(recipients, on_its_way) << "more came back than were taken";
    on_its_way -= std::min(on_its_way, recipients);
  }
  std::size_t used_ = 0;
  TimePoint began_{}, available_at_{};
};

class FakeAllowanceBook final : public AllowanceBook {
 public:
  // By the server's name; servers without an entry have no Allowance.
  std::map<std::string, FakeAllowance> by_server;
  bool closed = false;

  Allowance* Of(const Account& account) override {
    const auto found = by_server.find(account.server);
    return found == by_server.end() ? nullptr : &found->second;
  }
  Status Close() override {
    closed = true;
    return {};
  }
};

}  // namespace vespro::engine
