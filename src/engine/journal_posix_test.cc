// The journal on a disk that is full, in whose place the system's file size limit is, and on one
// that has lost its power, in whose place a list of what was waited for is.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <vector>

#include "base/testing.h"
#include "engine/journal.h"

namespace {

// The paths of what was synchronised, in order.
std::vector<std::filesystem::path>& Synced() {
  static std::vector<std::filesystem::path> paths;
  return paths;
}

}  // namespace

// In front of the C library's.
extern "C" int fsync(int fd) {
  std::error_code error;
  Synced().push_back(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(fd), error));
  return static_cast<int>(syscall(SYS_fsync, fd));
}

namespace vespro::engine {
namespace {

// A journal whose name the disk does not have is gone after a power cut, and with it who was
// served.
TEST(JournalPowerCutTest, TheFoldersAreOnTheDiskBeforeAnythingIsSent) {
  TemporaryFolder outer;
  const std::filesystem::path folder = outer / "sessions" / "1";
  ASSERT_TRUE(ModFiles::MakeFolders(folder).ok());
  const SystemClock clock;
  for (const bool fresh : {false, true}) {
    Synced().clear();
    ASSERT_TRUE(Journal::Open(folder, ListIdentity{1, 1, 1000}, fresh, clock).ok());
    std::vector<std::filesystem::path> expected = {folder / "journal", folder, folder.parent_path(),
                                                   outer.path()};
    ASSERT_GE(Synced().size(), expected.size());
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), Synced().begin())) << fresh;
  }
}

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
    // There is room again, but the last line is torn: nothing may be written after it.
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
