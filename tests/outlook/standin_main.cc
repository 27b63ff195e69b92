// outlook-standin: the stand-in to be used by hand. Without a word of its own it loads the add-ins
// that are registered; with --home the one that was built with it, for a user who has nothing else.
#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/command_line.h"
#include "base/files.h"
#include "outlook/client.h"
#include "outlook/installed.h"
#include "outlook/loading.h"
#include "outlook/outlook_driver.h"
#include "windows_forms/screenshot.h"

namespace vespro::standin {
namespace {

class Program {
 public:
  explicit Program(const std::string& version) {
    driver_.Do([&] {
      client_ = std::make_unique<Client>(version);
      client_->follows_screen = true;
      client_->ledger.set_speaks(true);
    });
  }
  ~Program() {
    driver_.End();
    driver_.Do([this] {
      for (const auto& loaded : loaded_) loaded->Disconnect(*client_);
      loaded_.clear();
      client_->Quit();
      for (const std::string& line : client_->ledger.Held())
        std::printf("held: %s\n", line.c_str());
      client_ = nullptr;
    });
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void LoadAddIns() {
    driver_.Do([this] {
      for (const ListedAddIn& listed : ListedAddIns()) {
        if (!listed.LoadsAtStart()) continue;
        Result<std::unique_ptr<LoadedAddIn>> loaded = LoadedAddIn::Load(listed);
        if (!loaded.ok()) {
          std::fprintf(stderr, "%s\n", loaded.status().text().c_str());
          continue;
        }
        loaded_.push_back(std::move(loaded).value());
        loaded_.back()->Connect(*client_);
      }
    });
  }

  // Until the last window is closed.
  void RunByHand() {
    bool open = true;
    while (open) {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      driver_.Do([&] { open = !client_->windows().empty(); });
    }
  }

  // The main window, a mail that is written, and what its commands show. The same on each machine.
  int TakePictures(const std::filesystem::path& folder) {
    driver_.Do([this] { Compose(); });
    Take("outlook-compose", folder);
    const struct {
      const char* file;
      const char* window;
      const char* command;
    } kDialogs[] = {
        {"outlook-list", "letter", "Distribution File"},
        {"outlook-attachments", "letter", "Vespro Attach"},
        {"outlook-options", "letter", "Options ..."},
        {"outlook-support", "letter", "Tech Support ..."},
        {"outlook-about", "letter", "About"},
        {"outlook-purge", "main", "Purge All"},
        {"outlook-entries", "main", "Entries per report page"},
    };
    for (const auto& dialog : kDialogs) {
      driver_.Do([&] {
        client_->Activate(dialog.window).Ignore();  // both are open
        if (!client_->Command(dialog.command).ok()) ++failed_;
      });
      Take(dialog.file, folder);
      driver_.End();
    }
    driver_.Do([this] { client_->Activate("main").Ignore(); });
    Take("outlook-main", folder);
    return failed_ == 0 ? 0 : 1;
  }

 private:
  void Compose() {
    client_->OpenItem("letter", {kMailClass, 2, false, true}).Ignore();  // the name is free
    auto& window = *static_cast<Inspector*>(client_->Find("letter"));
    window.item.content.subject = "News of the club";
    window.item.content.html = "<html><body>Dear #NAME,<br>we meet on Friday.</body></html>";
    window.item.content.body = "Dear #NAME,\r\n\r\nwe meet on Friday at eight.\r\n\r\nZoë";
    window.Refresh();
  }

  // The windows of the program, once they are drawn.
  void Take(const char* name, const std::filesystem::path& folder) {
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    driver_.Do([&] {
      HWND window = driver_.Top();
      if (window == nullptr) window = client_->Front()->frame().window();
      const std::filesystem::path file = folder / (std::string(name) + ".png");
      const Status saved = ModScreenshot::Save(window, file);
      if (!saved.ok()) {
        std::fprintf(stderr, "%s\n", saved.text().c_str());
        ++failed_;
      }
      std::printf("%s\n", ModFiles::ToUtf8(file).c_str());
    });
  }

  OutlookDriver driver_;
  std::unique_ptr<Client> client_;
  std::vector<std::unique_ptr<LoadedAddIn>> loaded_;
  int failed_ = 0;
};

// A list and a sender, as a person would have them.
void WriteSamples(Installed& installed) {
  const std::filesystem::path list = installed.folder / "members.csv";
  ModFiles::ReplaceWith(list, "E-Mail,First Name,City\r\nann@example.org,Ann,Zürich\r\n").Ignore();
  Settings& settings = installed.settings();
  settings.Write(setting::kMailList, ModFiles::ToUtf8(list) + ",CSV,0,HEADER").Ignore();
  settings.Write(setting::kSenderName, "The Club").Ignore();
  settings.Write(setting::kSenderEmail, "club@example.org").Ignore();
}

int Run(const std::vector<std::string>& arguments) {
  std::string version = "10.0.0.2627", home, pictures;
  for (std::size_t i = 1; i < arguments.size(); i += 2) {
    const std::string value = i + 1 < arguments.size() ? arguments[i + 1] : "";
    if (arguments[i] == "--version" && !value.empty()) {
      version = value;
    } else if (arguments[i] == "--home" && !value.empty()) {
      home = value;
    } else if (arguments[i] == "--pictures" && !value.empty()) {
      pictures = value;
    } else {
      std::fputs(
          "usage: outlook-standin [--version V] [--home DIR] [--pictures DIR]\n"
          "  --version   the Outlook that it plays, such as 9.0.0.3821; from 14 on the add-in is "
          "on "
          "ribbons, which are not drawn\n"
          "  --home      installs the built add-in in DIR, which is emptied, with settings of its "
          "own\n"
          "  --pictures  puts pictures of its windows and the add-in's dialogs there, and ends\n",
          stderr);
      return 64;
    }
  }
  if (!pictures.empty()) SetEnvironmentVariableW(L"WINEUSERNAME", L"zoe");  // of the data folder
  std::unique_ptr<Installed> installed;
  if (!home.empty()) {
    std::error_code error;
    const std::filesystem::path folder = ModFiles::FromUtf8(home);
    if (std::filesystem::exists(folder, error) && !std::filesystem::is_empty(folder, error)) {
      std::fprintf(stderr, "%s is in use: a new folder is wanted, which goes away again\n",
                   home.c_str());
      return 64;
    }
    installed = std::make_unique<Installed>(ModFiles::FromUtf8(home));
    if (!installed->status().ok()) {
      std::fprintf(stderr, "%s\n", installed->status().text().c_str());
      return 1;
    }
    WriteSamples(*installed);
  }
  Program program(version);
  program.LoadAddIns();
  if (!pictures.empty()) return program.TakePictures(ModFiles::FromUtf8(pictures));
  program.RunByHand();
  return 0;
}

}  // namespace
}  // namespace vespro::standin

int main(int argc, char** argv) {
  return vespro::standin::Run(vespro::ModCommandLine::Begin(argc, argv));
}
