#include <time.h>

#include "base/clock.h"

namespace vespro::ModClock {

LocalTime ToLocal(std::chrono::system_clock::time_point moment) {
  const time_t seconds = std::chrono::system_clock::to_time_t(moment);
  tm parts{};
  localtime_r(&seconds, &parts);
  return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min,
          parts.tm_sec, parts.tm_wday, static_cast<int>(parts.tm_gmtoff / 60)};
}

}  // namespace vespro::ModClock
