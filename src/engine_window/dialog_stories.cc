#include "engine_window/dialog_stories.h"

#include <gtest/gtest.h>

#include "engine_window/frm_progress.h"
#include "host/desktop_over.h"

namespace vespro {
namespace {

using engine::frmProgress;
using engine::RunLook;

class WatchedDesktop final : public DesktopOver {
 public:
  using DesktopOver::DesktopOver;
  int Shell(const ShellRequest& request) override {
    opened += request.operation + " " + request.file + "\n";
    return shell_result;
  }
  int shell_result = 33;
  std::string opened;
};

class Desk {
 public:
  explicit Desk(Story& story)
      : desktop(story.desktop()),
        form(desktop, {[this] { OnStop(); }, [this] { ++times_gone_on; }}),
        story_(story) {
    look.subject = "Winter & you";
    look.list = "members.csv";
    look.counts = "12 sent, 1 refused, 0 failed, 187 left, 3.2/s, 0:58 to go";
  }
  ~Desk() { story_.driver().End(); }

  void Open() {
    story_.Start([this] {
      form.Set(look);
      form.ShowModal(desktop);
    });
  }

  WatchedDesktop desktop;
  RunLook look;
  int stops = 0, times_gone_on = 0;
  bool ends_at_first = true;  // whether the first wish to stop has been fulfilled when it returns
  frmProgress form;

 private:
  void OnStop() {
    ++stops;
    if (stops == 1 && !ends_at_first) return;
    look.goes_on.clear();
    look.said = {"interrupted, 187 left; go on with: vespro run job"};
    look.report = "/session/report.html";
    look.exit = engine::kExitInterrupted;
    form.Set(look);
  }

  Story& story_;
};

void ItIsStoppedAndItsReportShown(Story& story) {
  Desk desk(story);
  desk.look.goes_on = "14:05";
  desk.Open();
  EXPECT_EQ(story.Of("LabelSubject").caption, "Winter && you");
  EXPECT_EQ(story.Of("LabelList").caption, "To: members.csv");
  EXPECT_EQ(story.Of("LabelCounts").caption, desk.look.counts);
  EXPECT_EQ(story.Of("LabelState").caption, "Waiting; goes on at 14:05.");
  story.Cannot(story.driver().Click("CmdClose"));
  story.Cannot(story.driver().Click("CmdReport"));

  story.PressAlt('S');
  EXPECT_EQ(desk.stops, 1);
  EXPECT_EQ(story.Of("LabelState").caption, "Stopped. Nothing is lost; the job can go on.");
  EXPECT_EQ(story.Of("LabelSaid").caption, desk.look.said.front());
  story.Cannot(story.driver().Click("CmdStop"));

  desk.desktop.shell_result = 31;
  story.Click("CmdReport");
  story.Answers("The report can't be opened: /session/report.html", "X", "OK");
  story.Click("CmdReport");
  EXPECT_EQ(desk.desktop.opened, "open /session/report.html\nopen /session/report.html\n");
}

// As if it had just been started: also the second wish to stop is new.
void ItGoesOnWhereItStopped(Story& story) {
  Desk desk(story);
  desk.ends_at_first = false;
  desk.Open();
  story.Cannot(story.driver().Click("CmdGoOn"));
  story.Click("CmdStop");
  story.Click("Stop at once");
  EXPECT_EQ(story.Of("LabelState").caption, "Stopped. Nothing is lost; the job can go on.");

  story.PressAlt('G');
  EXPECT_EQ(desk.times_gone_on, 1);
  EXPECT_EQ(story.Of("LabelState").caption, "Getting ready...");
  EXPECT_EQ(story.Of("LabelCounts").caption, "");
  EXPECT_FALSE(story.Of("LabelSaid").visible);
  for (const char* button : {"CmdGoOn", "CmdReport", "CmdClose"}) {
    story.Cannot(story.driver().Click(button));
  }
  EXPECT_EQ(story.Of("CmdStop").caption, "&Stop");
  desk.stops = 0;
  story.CloseByFrame();
  EXPECT_EQ(desk.stops, 1);
  story.SeesWindows({"Vespro"});
  story.Click("Stop at once");
  story.SeesEnd();
}

// The frame's button stops in order; the window goes when that is done, and not before.
void ClosingItStopsTheJob(Story& story) {
  Desk desk(story);
  desk.ends_at_first = false;
  desk.Open();
  EXPECT_EQ(story.Of("LabelState").caption, "Sending...");
  story.CloseByFrame();
  EXPECT_EQ(desk.stops, 1);
  EXPECT_EQ(story.Of("LabelState").caption, "Stopping: what is under way is finished first.");
  story.SeesWindows({"Vespro"});
  story.Click("Stop at once");
  EXPECT_EQ(desk.stops, 2);
  story.SeesEnd();
}

void AnEndWithoutReportIsClosed(Story& story) {
  Desk desk(story);
  desk.look = {};
  desk.look.said = {"'job' is no job"};
  desk.look.exit = engine::kExitBadInput;
  desk.Open();
  story.Cannot(story.driver().Click("CmdGoOn"));
  EXPECT_EQ(story.Of("LabelState").caption, "The job could not be done.");
  story.Cannot(story.driver().Click("CmdReport"));
  story.CloseByFrame();
  EXPECT_EQ(desk.stops, 0);
  story.SeesEnd();
}

}  // namespace

std::vector<FormStory> EngineWindowStories() {
  return {
      {"ItIsStoppedAndItsReportShown", ItIsStoppedAndItsReportShown},
      {"ItGoesOnWhereItStopped", ItGoesOnWhereItStopped},
      {"ClosingItStopsTheJob", ClosingItStopsTheJob},
      {"AnEndWithoutReportIsClosed", AnEndWithoutReportIsClosed},
  };
}

}  // namespace vespro
