// How long Outlook waits for the add-in at its start, beside a DLL that does nothing. Run by
// bench/dll.
#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "base/files.h"
#include "outlook/client.h"
#include "outlook/installed.h"
#include "outlook/loading.h"

namespace vespro::standin {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;
constexpr int kRounds = 31;
constexpr double kGoal = 100;  // milliseconds, to load and to connect

// Of one kind of work, in milliseconds.
class Times {
 public:
  void Add(Clock::duration time) { all_.push_back(Milliseconds(time).count()); }
  double first() const { return all_.front(); }
  double median() const {
    std::vector<double> sorted = all_;
    std::sort(sorted.begin(), sorted.end());
    return sorted[sorted.size() / 2];
  }
  void Print(const char* what) const {
    std::printf("%-36s first %7.2f ms   median %7.2f ms\n", what, first(), median());
  }

 private:
  std::vector<double> all_;
};

int Fail(const std::string& why) {
  std::fprintf(stderr, "%s\n", why.c_str());
  return 1;
}

int Run() {
  const Installed installed("bench");
  if (!installed.status().ok()) return Fail(installed.status().text());
  const auto empty = ModFiles::ProgramPath().parent_path() / "outlook_empty.dll";
  Times load_empty, load, connect, both, disconnect;
  for (int i = 0; i < kRounds; ++i) {
    const auto begin = Clock::now();
    const HMODULE module = LoadLibraryW(empty.c_str());
    const auto loaded_empty = Clock::now();
    if (module == nullptr || !FreeLibrary(module)) return Fail("no empty DLL");
    load_empty.Add(loaded_empty - begin);

    Client client;
    const std::vector<ListedAddIn> listed = ListedAddIns();
    if (listed.size() != 1) return Fail("not registered");
    const auto start = Clock::now();
    Result<std::unique_ptr<LoadedAddIn>> add_in = LoadedAddIn::Load(listed[0]);
    const auto loaded = Clock::now();
    if (!add_in.ok()) return Fail(add_in.status().text());
    if (add_in.value()->Connect(client) != S_OK) return Fail("not connected");
    const auto connected = Clock::now();
    if (client.Find("main")->bars().Find("Menu Bar")->list.back()->tag != "Vespro") {
      return Fail("there is no menu");
    }
    const auto leaves = Clock::now();
    add_in.value()->Disconnect(client);
    const auto left = Clock::now();
    if (!add_in.value()->Unload()) return Fail("the DLL stays");
    load.Add(loaded - start);
    connect.Add(connected - loaded);
    both.Add(connected - start);
    disconnect.Add(left - leaves);
  }
  load_empty.Print("load a DLL that does nothing");
  load.Print("load Vespro.dll");
  connect.Print("connect it: folders, menu, face");
  both.Print("load and connect");
  disconnect.Print("disconnect");
  const bool is_reached = std::max(both.first(), both.median()) < kGoal;
  std::printf("goal, load and connect below %.0f ms: %s\n", kGoal,
              is_reached ? "reached" : "missed");
  return 0;
}

}  // namespace
}  // namespace vespro::standin

int main() {
  CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int code = vespro::standin::Run();
  CoUninitialize();
  return code;
}
