// The whole road of a send: from the compose window to a server and back to the report, with the
// finished programs. Nothing leaves this machine.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "base/files.h"
#include "base/text.h"
#include "base/win32/wide.h"
#include "outlook/client.h"
#include "outlook/installed.h"
#include "outlook/loading.h"
#include "outlook/outlook_driver.h"
#include "settings/account_file.h"
#include "win32/owned.h"
#include "win32/win32_renderer.h"

namespace vespro::standin {
namespace {

namespace fs = std::filesystem;

// `vespro-cli catch` as a program of its own: accepts every mail and keeps it in a folder.
class CatchServer {
 public:
  explicit CatchServer(const fs::path& maildir) {
    SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
    HANDLE read = nullptr, write = nullptr;
    CreatePipe(&read, &write, &inherited, 0);
    const Owned<HANDLE> reader(read);
    Owned<HANDLE> writer(write);
    const fs::path program = ModFiles::ProgramPath().parent_path() / "vespro-cli.exe";
    std::wstring line =
        L"\"" + program.wstring() + L"\" catch --port 0 --maildir \"" + maildir.wstring() + L"\"";
    STARTUPINFOW start{};
    start.cb = sizeof(start);
    start.dwFlags = STARTF_USESTDHANDLES;
    start.hStdOutput = writer.get();
    start.hStdError = writer.get();
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                        nullptr, &start, &process)) {
      return;
    }
    process_.Reset(process.hProcess);
    CloseHandle(process.hThread);
    writer.Reset();
    // "listening on 127.0.0.1:PORT"
    std::string said;
    char c = 0;
    DWORD got = 0;
    while (said.find('\n') == said.npos && ReadFile(reader.get(), &c, 1, &got, nullptr) &&
           got == 1) {
      said += c;
    }
    const std::size_t colon = said.find(':');
    if (colon != said.npos) {
      port_ = said.substr(colon + 1, said.find_first_not_of("0123456789", colon + 1) - colon - 1);
    }
  }
  ~CatchServer() {
    if (process_) TerminateProcess(process_.get(), 0);
  }
  CatchServer(const CatchServer&) = delete;
  CatchServer& operator=(const CatchServer&) = delete;

  // Empty when it did not start.
  const std::string& port() const { return port_; }

 private:
  Owned<HANDLE> process_;
  std::string port_;
};

std::vector<fs::path> FilesIn(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(folder, error)) files.push_back(entry.path());
  return files;
}

template <class Condition>
bool Await(Condition condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(90);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > limit) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return true;
}

// The engine's window, which stays until its user closes it.
HWND EngineWindow() { return FindWindowW(Win32Renderer::kWindowClass, nullptr); }

TEST(RoadTest, FromTheComposeWindowToTheReport) {
  Installed installed("whole road");
  ASSERT_TRUE(installed.status().ok()) << installed.status().text();
  fs::copy_file(ModFiles::ProgramPath().parent_path() / "Vespro.exe",
                installed.folder / "Vespro.exe");
  const fs::path maildir = installed.folder / "caught";
  const CatchServer server(maildir);
  ASSERT_NE(server.port(), "");

  const fs::path list = installed.folder / "club members.csv";
  ASSERT_TRUE(
      ModFiles::ReplaceWith(list, "E-Mail,Name\r\nann@example.org,Ann\r\nbob@example.org,Bob\r\n")
          .ok());
  const auto set = [&](std::string_view name, const std::string& value) {
    ASSERT_TRUE(installed.settings().Write(name, value).ok());
  };
  set(setting::kMailList, ModFiles::ToUtf8(list) + ",CSV,0,HEADER");
  set(setting::kSenderName, "The Club");
  set(setting::kSenderEmail, "club@example.org");
  set(setting::kReportPerPage, "20");
  ASSERT_TRUE(ModFiles::MakeFolders(installed.data_folder()).ok());
  AccountList accounts;
  AccountEntry account;
  account.server = "127.0.0.1";
  account.port = server.port();
  ASSERT_TRUE(accounts.Add(account).ok());
  const Status written =
      WriteAccountFile(installed.data_folder() / "Vespro.db", accounts.entries());
  ASSERT_TRUE(written.ok()) << written.text();

  std::unique_ptr<Client> client;
  std::unique_ptr<LoadedAddIn> loaded;
  OutlookDriver outlook;
  const bool sent = outlook.Do([&] {
    client = std::make_unique<Client>();
    loaded = std::move(LoadedAddIn::Load(ListedAddIns().at(0))).value();
    ASSERT_EQ(loaded->Connect(*client), S_OK);
    ASSERT_TRUE(client->OpenItem("letter", {kMailClass, 2, false, true}).ok());
    auto& window = *static_cast<Inspector*>(client->Find("letter"));
    // A NUL is in a text of COM's like any letter.
    window.item.content.subject = std::string("News\0 for all", 13);
    window.item.content.html = "<html><body>Dear #NAME, <b>hello</b></body></html>";
    window.item.content.body = "Dear #NAME, hello";
    window.item.content.attachments.emplace_back("picture.png", std::string("\x89PNG\0\x1A", 6));
    window.Refresh();
    // The merge word comes through the clipboard and the Paste command.
    ASSERT_TRUE(client->Choose("NAME").ok());
    EXPECT_TRUE(window.item.content.body.ends_with("hello#NAME")) << window.item.content.body;
    ASSERT_TRUE(client->Command("Send Vespro").ok());
  });
  EXPECT_TRUE(sent);
  EXPECT_EQ(outlook.Windows(), std::vector<std::string>()) << outlook.Look();
  EXPECT_EQ(client->Find("letter"), nullptr);
  ASSERT_EQ(client->sent().size(), 1U);
  EXPECT_EQ(client->sent()[0].to, ModText::ReplaceAll(ModFiles::ToUtf8(list), "\\", "/"));
  EXPECT_EQ(client->sent()[0].on_behalf_of, "\"The Club\"club@example.org");
  EXPECT_EQ(client->sent()[0].folder, "Sent Items");

  const std::vector<fs::path> sessions = FilesIn(installed.data_folder() / "session");
  ASSERT_EQ(sessions.size(), 1U);
  ASSERT_TRUE(Await([&] { return ModFiles::IsFile(sessions[0] / "report.html"); }));
  ASSERT_TRUE(Await([&] { return FilesIn(maildir / "new").size() == 2; }));
  std::string mails;
  for (const fs::path& mail : FilesIn(maildir / "new")) {
    mails += ModFiles::ReadAll(mail).value();
  }
  for (const char* expected :
       {"helloAnn", "helloBob", "ann@example.org", "picture.png", "The Club", "Subject: News"}) {
    EXPECT_NE(mails.find(expected), mails.npos) << expected << " in\n" << mails;
  }

  // The report is listed in the main window, which shows it.
  const bool viewed = outlook.Do([&] {
    ASSERT_TRUE(client->Activate("main").ok());
    ASSERT_TRUE(client->Command("View & Refresh").ok());
  });
  EXPECT_TRUE(viewed);
  EXPECT_EQ(outlook.Windows(), std::vector<std::string>()) << outlook.Look();
  const fs::path index = installed.data_folder() / "index.html";
  EXPECT_EQ(static_cast<Explorer*>(client->Find("main"))->page,
            "file://" + ModFiles::ToUtf8(index));
  const std::string page = ModFiles::ReadAll(index).value();
  EXPECT_NE(page.find(ModFiles::ToUtf8(sessions[0] / "report.html")), page.npos) << page;

  for (const std::string& event : client->ledger.events()) std::printf("  %s\n", event.c_str());
  outlook.Do([&] {
    loaded->Disconnect(*client);
    EXPECT_TRUE(loaded->Unload());
    EXPECT_EQ(client->ledger.Held(), std::vector<std::string>());
    EXPECT_EQ(client->ledger.faults(), std::vector<std::string>());
    EXPECT_EQ(client->ledger.gone(), std::vector<std::string>());
    EXPECT_EQ(client->ledger.refusals(), std::vector<std::string>());
    client = nullptr;
  });

  ASSERT_TRUE(Await([] { return EngineWindow() != nullptr; }));
  EXPECT_TRUE(Await([] {
    const HWND window = EngineWindow();
    if (window != nullptr) PostMessageW(window, WM_CLOSE, 0, 0);
    return window == nullptr;
  }));
}

}  // namespace
}  // namespace vespro::standin
