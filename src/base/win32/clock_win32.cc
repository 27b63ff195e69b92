#include <windows.h>
#include <winternl.h>
// After windows.h, on which it depends.
#include <time.h>

#include <array>

#include "base/clock.h"
#include "base/win32/wide.h"

namespace vespro {
namespace {

// What NtQuerySystemInformation has for SystemTimeOfDayInformation, in units of 100 ns. When the
// clock is set, the boot time moves with it, and the bias says by how much in all.
struct TimeOfDay {
  LARGE_INTEGER boot_time, current_time, time_zone_bias;
  ULONG time_zone_id, reserved;
  ULONGLONG boot_time_bias, sleep_time_bias;
};

}  // namespace

std::chrono::milliseconds Clock::SinceBoot() const {
  return std::chrono::milliseconds(GetTickCount64());
}

std::string Clock::BootId() const {
  using Query = NTSTATUS(NTAPI*)(SYSTEM_INFORMATION_CLASS, PVOID, ULONG, PULONG);
  const HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
  // NOLINTNEXTLINE(bugprone-casting-through-void): from one pointer to a function to another
  const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void*>(GetProcAddress(ntdll, "NtQuerySystemInformation")));
  TimeOfDay time{};
  if (query == nullptr || query(SystemTimeOfDayInformation, &time, sizeof time, nullptr) < 0) {
    return "";
  }
  return std::to_string(time.boot_time.QuadPart - static_cast<LONGLONG>(time.boot_time_bias));
}

namespace ModClock {

LocalTime ToLocal(std::chrono::system_clock::time_point moment) {
  const time_t seconds = std::chrono::system_clock::to_time_t(moment);
  tm parts{};
  localtime_s(&parts, &seconds);
  // Read the local fields as if they were UTC: the difference is the zone's offset at that moment.
  tm as_utc = parts;
  const time_t shifted = _mkgmtime(&as_utc);
  return {parts.tm_year + 1900, parts.tm_mon + 1,
          parts.tm_mday,        parts.tm_hour,
          parts.tm_min,         parts.tm_sec,
          parts.tm_wday,        static_cast<int>((shifted - seconds) / 60)};
}

std::string RegionalText(const LocalTime& time) {
  const auto word = [](int number) { return static_cast<WORD>(number); };
  const SYSTEMTIME parts{word(time.year), word(time.month),  word(time.weekday), word(time.day),
                         word(time.hour), word(time.minute), word(time.second),  0};
  std::array<wchar_t, 128> date{}, clock{};
  const int size = static_cast<int>(date.size());
  GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, &parts, nullptr, date.data(), size);
  GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &parts, nullptr, clock.data(), size);
  return ModWide::ToUtf8(date.data()) + " " + ModWide::ToUtf8(clock.data());
}

}  // namespace ModClock
}  // namespace vespro
