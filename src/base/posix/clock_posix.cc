#include <locale.h>
#include <time.h>

#include <array>

#include "base/clock.h"
#include "base/code_page.h"
#include "base/files.h"

namespace vespro {

std::chrono::milliseconds Clock::SinceBoot() const {
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  return std::chrono::milliseconds(std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000);
}

std::string Clock::BootId() const {
  // Its size is said to be 0, so it is no file for ReadAll.
  Result<File> file = File::Open("/proc/sys/kernel/random/boot_id", File::Mode::kRead);
  std::array<char, 64> text{};
  const Result<std::size_t> size =
      file.ok() ? file->Read(text.data(), text.size()) : Result<std::size_t>(file.status());
  if (!size.ok()) return "";
  const std::string_view line(text.data(), size.value());
  return std::string(line.substr(0, line.find('\n')));
}

namespace ModClock {
namespace {

constexpr locale_t kNone = nullptr;

// Read once, as the code page is: it takes longer than all else. A locale that is not installed
// shows dates as the C locale does.
locale_t UsersLocale() {
  static const locale_t locale = newlocale(LC_TIME_MASK | LC_CTYPE_MASK, "", kNone);
  return locale;
}

}  // namespace

LocalTime ToLocal(std::chrono::system_clock::time_point moment) {
  const time_t seconds = std::chrono::system_clock::to_time_t(moment);
  tm parts{};
  localtime_r(&seconds, &parts);
  return {parts.tm_year + 1900, parts.tm_mon + 1,
          parts.tm_mday,        parts.tm_hour,
          parts.tm_min,         parts.tm_sec,
          parts.tm_wday,        static_cast<int>(parts.tm_gmtoff / 60)};
}

std::string RegionalText(const LocalTime& time) {
  tm parts{};
  parts.tm_year = time.year - 1900;
  parts.tm_mon = time.month - 1;
  parts.tm_mday = time.day;
  parts.tm_hour = time.hour;
  parts.tm_min = time.minute;
  parts.tm_sec = time.second;
  parts.tm_wday = time.weekday;
  std::array<char, 256> text{};
  const locale_t users = UsersLocale();
  const std::size_t size = users != kNone
                               ? strftime_l(text.data(), text.size(), "%x %X", &parts, users)
                               : strftime(text.data(), text.size(), "%x %X", &parts);
  return ModCodePage::ToUtf8({text.data(), size});
}

}  // namespace ModClock
}  // namespace vespro
