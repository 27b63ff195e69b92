#include <csignal>

#include "terminal/console.h"

namespace vespro::platform {

void EndReadsOn(int signal) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) != 0) return;
  action.sa_flags &= ~SA_RESTART;
  sigaction(signal, &action, nullptr);
}

}  // namespace vespro::platform
