#include "dialogs.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "base/files.h"
#include "dialogs/samples.h"
#include "forms/form.h"
#include "host/desktop_over.h"
#include "settings/frm_mail_setting.h"
#include "settings/password.h"

namespace vespro {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kRounds = 9;

// Passes on what is shown, and ends the program when it waits for the user.
class OpeningRenderer final : public FormRenderer {
 public:
  explicit OpeningRenderer(FormRenderer& below) : below_(below) {}
  std::unique_ptr<FormView> CreateView(Form& form, FormView* owner) override {
    begin_ = Clock::now();
    return below_.CreateView(form, owner);
  }
  void RunWhile(const std::function<bool()>&) override {
    opened_ms = std::chrono::duration<double, std::milli>(Clock::now() - begin_).count();
  }
  void ShowLoading() override { below_.ShowLoading(); }

  double opened_ms = 0;

 private:
  FormRenderer& below_;
  Clock::time_point begin_;
};

class OpeningDesktop final : public DesktopOver {
 public:
  OpeningDesktop(Desktop& below, FormRenderer& renderer) : DesktopOver(below), screen_(renderer) {}
  FormScreen* Screen() override { return &screen_; }

 private:
  FormScreen screen_;
};

// As many accounts as the list takes, all with a login.
Status WriteAccounts(const fs::path& path) {
  const std::string login = "\"" + ModPassword::EncodePassword("somebody@example.org") + "\",\"" +
                            ModPassword::EncodePassword("a password") + "\"\r\n";
  std::string text;
  for (int i = 0; i <= static_cast<int>(AccountList::kFull); ++i) {
    text += "\"smtp" + std::to_string(i) + ".example.org\",\"25\"," + login;
  }
  return ModFiles::ReplaceWith(path, text);
}

double Median(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

}  // namespace

int TimeDialogs(FormRenderer& renderer, Desktop& desktop, const OpeningGoals& goals) {
  const fs::path folder = fs::temp_directory_path() / "vespro bench dialogs";
  fs::create_directories(folder);
  const fs::path accounts = folder / "Vespro.db";
  if (const Status written = WriteAccounts(accounts); !written.ok()) {
    std::fprintf(stderr, "%s\n", written.text().c_str());
    return 1;
  }
  std::vector<DialogSample> samples = DialogSamples(folder);
  const std::string long_list = "frmMailSetting, " + std::to_string(AccountList::kFull + 1);
  samples.push_back(
      {long_list, [&](Desktop& on) { frmMailSetting(on, accounts).ShowModal(on); }, {}});
  int missed = 0;
  std::printf("%-28s %9s %9s %9s\n", "dialog", "first", "median", "goal");
  for (const DialogSample& sample : samples) {
    std::vector<double> times;
    for (int round = 0; round < kRounds; ++round) {
      OpeningRenderer opening(renderer);
      OpeningDesktop opening_desktop(desktop, opening);
      sample.show(opening_desktop);
      times.push_back(opening.opened_ms);
    }
    const double goal = sample.name == long_list ? goals.long_list_ms : goals.others_ms;
    const bool reached = Median(times) < goal;
    missed += reached ? 0 : 1;
    std::printf("%-28s %6.1f ms %6.1f ms %6.0f ms%s\n", sample.name.c_str(), times.front(),
                Median(times), goal, reached ? "" : "  MISSED");
  }
  ModFiles::Remove(folder).Ignore();  // the times are printed
  return missed == 0 ? 0 : 1;
}

}  // namespace vespro
