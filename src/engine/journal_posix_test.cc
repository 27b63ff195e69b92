// The journal on a disk that is full; the system's file size limit stands in for it.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>

#include "base/testing.h"
#include "engine/journal.h"

namespace vespro::engine {
namespace {

class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : old_handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &old_);
    const rlimit limit{bytes, old_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, old_handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit old_{};
  void (*old_handler_)(int);
};

TEST(JournalOnAFullDiskTest, FailsForGoodAndIsReadableAfterwards) {
  TemporaryFolder folder;
  const SystemClock clock;
  const ListIdentity list{1, 1, 1000};
  std::uint64_t recorded = 0;
  {
    Result<Journal> journal = Journal::Open(folder.path(), list, false, clock);
    ASSERT_TRUE(journal.ok());
    Status status;
    {
      const FileSizeLimit full(5000);
      while (status.ok() && recorded < list.lines) {
        status = journal->Record({recorded + 1, "a@x.org", ""}, {State::kSent, 1, "s:25", "ok"});
        if (status.ok()) status = journal->Commit();
        if (status.ok()) ++recorded;
      }
    }
    EXPECT_EQ(status.code(), Code::kCannotWrite);
    // There is room again, but the last line is torn: nothing may be written behind it.
    EXPECT_EQ(journal->Record({999, "a@x.org", ""}, {}).code(), Code::kCannotWrite);
  }
  EXPECT_GT(recorded, 10u);
  Result<Journal> again = Journal::Open(folder.path(), list, false, clock);
  ASSERT_TRUE(again.ok());
  EXPECT_EQ(again->states().Count(State::kSent), recorded);
  EXPECT_EQ(again->states().OutcomeOf(999), std::nullopt);
}

}  // namespace
}  // namespace vespro::engine
