// base/signals.h - the signals that ask a program to end. Main thread only.
#pragma once

#include <csignal>
#include <span>
#include <vector>

namespace vespro::ModSignals {

// SIGINT, SIGTERM and, where there is one, SIGHUP: the terminal was closed.
std::span<const int> Endings();

// Whether the program was started to ignore it, by nohup for one.
inline bool IsIgnored(int number) {
  auto* const before = std::signal(number, SIG_IGN);
  if (before != SIG_IGN) std::signal(number, before);
  return before == SIG_IGN;
}

// From now on a write that nobody can read any more fails, and does not end the program.
void IgnoreBrokenPipes();

// Has all endings handled while it lives, but for those that the program was started to ignore.
class Handled {
 public:
  using Handler = void (*)(int);

  explicit Handled(Handler handler) {
    for (const int number : Endings()) {
      before_.push_back(std::signal(number, SIG_IGN));
      if (before_.back() != SIG_IGN) std::signal(number, handler);
    }
  }
  ~Handled() {
    for (std::size_t i = 0; i < before_.size(); ++i) std::signal(Endings()[i], before_[i]);
  }
  Handled(const Handled&) = delete;
  Handled& operator=(const Handled&) = delete;

 private:
  std::vector<Handler> before_;
};

}  // namespace vespro::ModSignals
