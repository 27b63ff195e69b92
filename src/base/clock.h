// base/clock.h - the time of day, and how long the machine runs, behind an interface so that tests
// can set them. Any thread.
#pragma once

#include <chrono>
#include <string>

namespace vespro {

// A moment in the local time zone. Month 1 to 12, year with its century.
struct LocalTime {
  int year = 0, month = 0, day = 0;
  int hour = 0, minute = 0, second = 0;
  int weekday = 0;             // 0 is Sunday
  int utc_offset_minutes = 0;  // east of Greenwich is positive
};

class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::chrono::system_clock::time_point Now() const = 0;
  // How long the machine runs. It goes on while the machine sleeps, and nobody can set it.
  virtual std::chrono::milliseconds SinceBoot() const;
  // Differs from one start of the machine to the next; empty where the system does not tell.
  virtual std::string BootId() const;
};

class SystemClock final : public Clock {
 public:
  std::chrono::system_clock::time_point Now() const override {
    return std::chrono::system_clock::now();
  }
};

namespace ModClock {
LocalTime ToLocal(std::chrono::system_clock::time_point moment);
// Date and time as the user's regional settings show them. UTF-8.
std::string RegionalText(const LocalTime& time);
}  // namespace ModClock

}  // namespace vespro
