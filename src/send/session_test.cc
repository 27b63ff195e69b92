#include "send/session.h"

#include <gtest/gtest.h>

#include "base/testing.h"
#include "send/job_file.h"

namespace vespro {
namespace {

TEST(SessionTest, NamesAreADateAndARollingDigit) {
  const LocalTime now{2004, 3, 15, 4, 22, 15, 1, 60};
  int counter = 0;
  std::string digits;
  for (int i = 0; i < 12; ++i)
    digits += ModSession::SessionName(now, ModSession::NextDigit(counter)).back();
  EXPECT_EQ(digits, "123456789012");
  EXPECT_EQ(ModSession::SessionName(now, 5), "1503040422155");
}

TEST(SessionTest, AFolderThatIsThereBelongsToAnotherJob) {
  TemporaryFolder folder;
  const FixedClock clock(std::chrono::system_clock::from_time_t(1767268800));
  // Two programs, each counting from the start.
  int first = 0, second = 0;
  const Result<std::string> one = ModSession::TakeSession(folder.path(), clock, first);
  const Result<std::string> two = ModSession::TakeSession(folder.path(), clock, second);
  ASSERT_TRUE(one.ok() && two.ok());
  EXPECT_EQ(one.value().back(), '1');
  EXPECT_EQ(two.value().back(), '2');
  EXPECT_TRUE(ModFiles::IsFolder(folder / ("session/" + two.value())));
}

TEST(SessionTest, TheFolderIsMadeOrTheFailureNamed) {
  TemporaryFolder folder;
  const FixedClock clock(std::chrono::system_clock::from_time_t(1767268800));
  int counter = 0;
  const std::string name = ModSession::SessionName(ModClock::ToLocal(clock.Now()), 1);
  ASSERT_TRUE(ModFiles::EnsureFolder(folder / "session"));
  folder.Write("session/" + name, "a file where the folder should be");
  const Status failed = ModSession::TakeSession(folder.path(), clock, counter).status();
  EXPECT_EQ(failed.code(), Code::kCannotWrite);
  EXPECT_NE(failed.text().find(name), std::string::npos);
  EXPECT_TRUE(ModFiles::IsFolder(folder / ("session/" + name + "x")));
}

TEST(JobFileTest, LinesInTheirOrder) {
  JobFile job;
  job.connections = " 5";
  job.distribution_setting = "C:/Lists/customers.csv,CSV,2,HEADER";
  job.bcc_mode = "0";
  job.message_file = "C:/Apps/user1/session/1503042215305/Vespro.eml";
  job.hosts = {"mail1,25,bG9naW4=,cGFzcw==", "mail2,25,,"};
  EXPECT_EQ(ModSend::FormatJobFile(job),
            "CONNECTION= 5\r\n"
            "DISTRIBUTION FILE=C:/Lists/customers.csv,CSV,2,HEADER\r\n"
            "BCC MODE=0\r\n"
            "MESSAGE FILE=C:/Apps/user1/session/1503042215305/Vespro.eml\r\n"
            "HOST=mail1,25,bG9naW4=,cGFzcw==\r\n"
            "HOST=mail2,25,,\r\n");
}

TEST(JobFileTest, BlankNumbersHaveNoLineAndNoValueMakesALine) {
  JobFile job;
  job.connections = "  ";
  job.distribution_setting = "a.txt,TEXT\r\nHOST=evil,25,,";
  job.message_file = "m";
  EXPECT_EQ(ModSend::FormatJobFile(job),
            "DISTRIBUTION FILE=a.txt,TEXT  HOST=evil,25,,\r\nMESSAGE FILE=m\r\n");
}

}  // namespace
}  // namespace vespro
