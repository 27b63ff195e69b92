// host/hourglass.h - the hourglass for as long as an object lives. One within another changes
// nothing: what a person starts while events run must not end the wait of what is below it.
#pragma once

#include "host/desktop.h"

namespace vespro {

class Hourglass {
 public:
  // `desktop` must outlive it.
  explicit Hourglass(Desktop& desktop) : desktop_(desktop) {
    if (desktop_.hourglasses_++ == 0) desktop_.SetHourglass(true);
  }
  ~Hourglass() {
    if (--desktop_.hourglasses_ == 0) desktop_.SetHourglass(false);
  }
  Hourglass(const Hourglass&) = delete;
  Hourglass& operator=(const Hourglass&) = delete;

 private:
  Desktop& desktop_;
};

}  // namespace vespro
