#include "engine/trace_file.h"

#include <gtest/gtest.h>

#include "base/testing.h"

namespace vespro::engine {
namespace {

class FixedClock final : public Clock {
 public:
  std::chrono::system_clock::time_point Now() const override {
    return std::chrono::system_clock::time_point(std::chrono::milliseconds(1'764'062'101'007));
  }
};

TEST(TraceFileTest, ALineEachAndNothingThatATerminalObeys) {
  TemporaryFolder folder;
  const FixedClock clock;
  const std::filesystem::path path = folder.path() / "trace";
  for (int run = 0; run < 2; ++run) {
    Result<TraceFile> trace = TraceFile::Open(path, run > 0, clock);
    ASSERT_TRUE(trace.ok());
    EXPECT_EQ(trace->with_data(), run > 0);
    if (run > 0) {
      trace->Write(0, TraceKind::kNote, "no connection: one");
    } else {
      trace->Write(7, TraceKind::kReceived, "250-a\r\n250 \x1b[2Jb\xFF\xC3\xBC");
    }
    // Each line is there at once.
    EXPECT_EQ(ModFiles::ReadAll(path).value(),
              std::string("2025-11-25 09:15:01.007 #7 < 250-a\n"
                          "2025-11-25 09:15:01.007 #7 < 250 ?[2Jb?\xC3\xBC\n") +
                  (run > 0 ? "2025-11-25 09:15:01.007 * no connection: one\n" : ""));
  }
}

TEST(TraceFileTest, AFileThatCannotBeOpenedIsTold) {
  TemporaryFolder folder;
  const FixedClock clock;
  EXPECT_FALSE(TraceFile::Open(folder.path(), false, clock).ok());
  EXPECT_FALSE(TraceFile::Open(folder.path() / "no" / "trace", false, clock).ok());
}

}  // namespace
}  // namespace vespro::engine
