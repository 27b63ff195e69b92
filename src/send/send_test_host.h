// send/send_test_host.h - a whole add-in in memory, for the tests of this module.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/testing.h"
#include "host/memory_host.h"
#include "send/send_context.h"
#include "settings/file_backend.h"

namespace vespro {

class SendTestHost : public testing::Test, public SendDialogs {
 protected:
  SendTestHost() : backend(folder / "settings"), settings(backend) {
    add_in.mail_client = Unowned<MailClient>(host);
    add_in.desktop = &host;
    add_in.data_folder = folder.path();
    add_in.install_folder = ModFiles::FromUtf8("/opt/vespro");
    add_in.engine_file = "Vespro.exe";
    window.active = true;
    window.inspector = Unowned<Inspector>(host);
    window.key = 7;
    add_in.windows[7] = Unowned(window);
  }

  void ShowDlgSelectFile() override { host.events.push_back("DlgSelectFile"); }
  void ShowfrmMailSetting() override { host.events.push_back("frmMailSetting"); }

  void Set(std::string_view name, std::string_view value) {
    Status written = settings.Write(name, value);
    ASSERT_TRUE(written.ok()) << written.text();
  }
  bool Happened(std::string_view event) const {
    for (const std::string& happened : host.events) {
      if (happened == event) return true;
    }
    return false;
  }

  TemporaryFolder folder;
  MemoryHost host;
  FileBackend backend;
  Settings settings;
  AddIn add_in;
  ComposeWindow window;
  // 1 January 2026, 12:00:00 UTC.
  FixedClock clock{std::chrono::system_clock::from_time_t(1767268800)};
  CountingRandomness randomness;
  SendContext context{add_in, window, settings, *this, clock, randomness};
};

}  // namespace vespro
