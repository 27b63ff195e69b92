// What the call for each line costs while duplicates are looked for: the same list with and
// without, taking turns. Prints the fastest run of each in seconds.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <iostream>

#include "recipients/load.h"

namespace {

using Clock = std::chrono::steady_clock;
using vespro::ModRecipients::OnLine;

double Seconds(const char* source, const char* work, const OnLine& on_line) {
  std::filesystem::copy_file(source, work, std::filesystem::copy_options::overwrite_existing);
  const Clock::time_point begin = Clock::now();
  const auto loaded =
      vespro::ModRecipients::LoadAndDeduplicate({work, vespro::ListKind::kText}, on_line);
  const std::chrono::duration<double> taken = Clock::now() - begin;
  if (!loaded.ok() || !loaded->rewritten) {
    std::cerr << "no duplicates were removed: " << loaded.status().text() << "\n";
    std::exit(1);
  }
  return taken.count();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: bench_lists LIST COPY ROUNDS\n";
    return 2;
  }
  // What a desktop does: windows get their turn every 15 ms, and the clock is not looked at for
  // each line.
  std::uint64_t lines = 0;
  std::uint64_t turns = 0;
  Clock::time_point last = Clock::now();
  const OnLine do_events = [&] {
    if (++lines % 64 == 0 && Clock::now() - last > std::chrono::milliseconds(15)) {
      last = Clock::now();
      ++turns;
    }
    return true;
  };
  double without = 1e9;
  double with = 1e9;
  for (int round = std::atoi(argv[3]); round > 0; --round) {
    without = std::min(without, Seconds(argv[1], argv[2], {}));
    with = std::min(with, Seconds(argv[1], argv[2], do_events));
  }
  std::cout << without << " " << with << "\n";
  return turns > 0 ? 0 : 1;
}
