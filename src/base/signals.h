// base/signals.h - the signals that ask a program to end. Main thread only.
#pragma once

#include <array>
#include <csignal>
#include <cstddef>
#include <iterator>

namespace vespro::ModSignals {

inline constexpr int kEndings[] = {
    SIGINT, SIGTERM,
#ifdef SIGHUP
    SIGHUP,  // the terminal was closed
#endif
};

// Has all of them handled while it lives, but for those that the program was started to ignore.
class Handled {
 public:
  using Handler = void (*)(int);

  explicit Handled(Handler handler) {
    for (std::size_t i = 0; i < before_.size(); ++i) {
      before_[i] = std::signal(kEndings[i], SIG_IGN);
      if (before_[i] != SIG_IGN) std::signal(kEndings[i], handler);
    }
  }
  ~Handled() {
    for (std::size_t i = 0; i < before_.size(); ++i) std::signal(kEndings[i], before_[i]);
  }
  Handled(const Handled&) = delete;
  Handled& operator=(const Handled&) = delete;

 private:
  std::array<Handler, std::size(kEndings)> before_;
};

}  // namespace vespro::ModSignals
