// support/testing.h - for tests only.
#pragma once

#include "support/system_facts.h"

namespace vespro {

// A system of which everything is known beforehand.
class SampleFacts final : public SystemFacts {
 public:
  OsRecord Os() override { return {6, "Windows XP", "5.1", "Service Pack 3", "2600"}; }
  std::string FileVersion(const std::filesystem::path&) override { return "2.00.05.12"; }
  Browser BrowserFacts() override { return {"6.0.2900.5512", "62900.5512"}; }
  std::string DataAccessVersion() override { return "2.81.1132.0"; }
  std::vector<std::string> InstalledPrograms() override {
    return {"Outlook Toys", "Vespro for Outlook"};
  }
  std::vector<std::string> RunningPrograms() override {
    return {"C:\\Windows\\explorer.exe", " x ", " \xC3\xA9 ", "C:\\Office\\outlook.exe"};
  }
};

}  // namespace vespro
