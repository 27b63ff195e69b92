// How long the mail client waits for the add-in: while it is loaded, and while a mail's window
// opens, with a table of 1,000 columns as the list. In a mail client in memory, so the client's own
// time is not in it. Prints the median and the longest run of each in milliseconds, and fails when
// a median is over the goal.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "addin/connect.h"
#include "base/files.h"
#include "base/random.h"
#include "host/desktop_over.h"
#include "host/memory_client.h"
#include "host/memory_host.h"
#include "settings/file_backend.h"

namespace vespro {
namespace {

using SteadyClock = std::chrono::steady_clock;
constexpr double kGoalMilliseconds = 5;
constexpr int kRounds = 200;

// Whose clipboard takes the pictures that buttons are given.
class PictureDesktop final : public DesktopOver {
 public:
  PictureDesktop(Desktop& below, MemoryClient& client) : DesktopOver(below), client_(client) {}
  Status SetClipboardPicture(std::string_view resource, PictureKind) override {
    client_.clipboard_picture = resource;
    return {};
  }

 private:
  MemoryClient& client_;
};

double MillisecondsOf(const auto& work) {
  const SteadyClock::time_point begin = SteadyClock::now();
  work();
  return std::chrono::duration<double, std::milli>(SteadyClock::now() - begin).count();
}

bool Report(const char* what, std::vector<double> runs) {
  std::sort(runs.begin(), runs.end());
  const double median = runs[runs.size() / 2];
  std::cout << what << ": median " << median << " ms, longest " << runs.back() << " ms, goal "
            << kGoalMilliseconds << " ms\n";
  return median < kGoalMilliseconds;
}

int Run() {
  const std::filesystem::path folder =
      std::filesystem::temp_directory_path() /
      ("vespro bench " + std::to_string(SystemRandomness().Next()));
  std::string header;
  for (int i = 0; i < 1000; ++i) header += "Column Number " + std::to_string(i) + ",";
  const std::filesystem::path list = folder / "list.csv";
  FileBackend backend(folder / "settings");
  if (!ModFiles::MakeFolders(folder).ok() ||
      !ModFiles::ReplaceWith(list, header + "E-mail\r\n").ok() ||
      !Settings(backend).Write(setting::kMailList, ModFiles::ToUtf8(list) + ",CSV,1000").ok()) {
    std::cerr << "the list could not be made\n";
    return 2;
  }

  MemoryHost below;
  SystemClock clock;
  SystemRandomness randomness;
  std::vector<double> connections, windows;
  bool whole = true;
  for (int round = 0; round < kRounds; ++round) {
    MemoryClient client;
    PictureDesktop desktop(below, client);
    Connect connect(desktop, backend, clock, randomness, {folder, "Vespro.exe", "user", {}});
    const auto application = client.Application();
    connections.push_back(MillisecondsOf(
        [&] { connect.IDTExtensibility2_OnConnection(application, 1, "Vespro.Connect"); }));
    windows.push_back(MillisecondsOf([&] { client.OpenItem("A", {}).Ignore(); }));
    // The columns, date and time.
    const auto box = client.Bar("A", "Standard")->Find({.type = ControlType::kComboBox});
    const auto* state = dynamic_cast<const MemoryControlState*>(box.get());
    whole = whole && state != nullptr && state->items.size() == 1002;
  }
  ModFiles::Remove(folder).Ignore();  // the figures are there
  if (!whole) {
    std::cerr << "the merge list was not filled\n";
    return 2;
  }
  const bool loads = Report("OnConnection", connections);
  const bool opens = Report("a mail's window, 1,000 columns", windows);
  return loads && opens ? 0 : 1;
}

}  // namespace
}  // namespace vespro

int main() { return vespro::Run(); }
