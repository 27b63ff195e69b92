// host/hourglass.h - the hourglass for as long as an object lives. Not within another one.
#pragma once

#include "host/desktop.h"

namespace vespro {

class Hourglass {
 public:
  // `desktop` must outlive it.
  explicit Hourglass(Desktop& desktop) : desktop_(desktop) { desktop_.SetHourglass(true); }
  ~Hourglass() { desktop_.SetHourglass(false); }
  Hourglass(const Hourglass&) = delete;
  Hourglass& operator=(const Hourglass&) = delete;

 private:
  Desktop& desktop_;
};

}  // namespace vespro
