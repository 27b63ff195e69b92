#include "engine/delivery/evidence.h"

#include <gtest/gtest.h>

#include <vector>

namespace vespro::engine {
namespace {

using Finding = Evidence::Finding;

TEST(EvidenceTest, ThreeMessagesInARow) {
  struct Step {
    int code;  // 0: somebody was accepted
    EnhancedCode enhanced;
    std::uint64_t message;
    Finding finding;
  };
  constexpr EnhancedCode kOne{5, 7, 1}, kOther{5, 7, 0};
  const struct {
    const char* why;
    std::vector<Step> steps;
  } rows[] = {
      {"alike",
       {{554, kOne, 1, Finding::kInRow},
        {554, kOne, 2, Finding::kInRow},
        {554, kOne, 3, Finding::kAccount},
        {554, kOne, 4, Finding::kAccount}}},
      {"an acceptance between",
       {{554, kOne, 1, Finding::kInRow},
        {554, kOne, 2, Finding::kInRow},
        {0, {}, 3, {}},
        {554, kOne, 4, Finding::kInRow},
        {554, kOne, 5, Finding::kInRow},
        {554, kOne, 6, Finding::kAccount}}},
      {"another enhanced code",
       {{554, kOne, 1, Finding::kInRow},
        {554, kOne, 2, Finding::kInRow},
        {554, kOther, 3, Finding::kAlone},
        {554, kOther, 4, Finding::kInRow},
        {554, kOther, 5, Finding::kAccount}}},
      {"another code", {{554, kOne, 1, Finding::kInRow}, {550, kOne, 2, Finding::kAlone}}},
      {"many recipients of a message",
       {{554, kOne, 1, Finding::kInRow},
        {554, kOne, 1, Finding::kInRow},
        {554, kOne, 1, Finding::kInRow},
        {554, kOne, 2, Finding::kInRow},
        {554, kOne, 2, Finding::kInRow},
        {554, kOne, 3, Finding::kAccount},
        {554, kOne, 3, Finding::kAccount}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.why);
    Evidence evidence;
    for (const Step& step : row.steps) {
      if (step.code == 0) {
        evidence.OnAccepted();
      } else {
        EXPECT_EQ(evidence.OnRefused(step.code, step.enhanced, step.message), step.finding)
            << "message " << step.message;
      }
    }
  }
}

}  // namespace
}  // namespace vespro::engine
