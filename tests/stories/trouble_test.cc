// Whatever goes wrong in the mail client, the add-in goes on and lets go of it in the end. Stories
// are told again and again, and each time something happens at another one of their calls.
#include <gtest/gtest.h>

#include <string>

#include "stories/memory_story_host.h"
#include "stories/story_runner.h"

namespace vespro {
namespace {

struct LongStory {
  const char* name;  // a word
  const char* steps;
  int calls;  // at least
};

constexpr LongStory kStories[] = {
    {"Newsletter", R"(
file club.csv
| Name,E-mail
| Ann,ann@example.org
file logo.png
| a picture
set MailList "{home}/club.csv,CSV,1,HEADER"
set SenderEmail me@example.org
account mail.example.org 25
version 9.0
connect
new A rich
attach A "{home}/logo.png"
choose NAME
command "Vespro Attach"
click CmdAddAttach
pick {home}/club.csv
click CmdClose
activate main
folder 1
folder 0
new B
activate A
command "Send Vespro"
answer Yes
command "Send Vespro"
quit
)",
     200},
    {"LoadedAgain", R"(
version 12.0
set SenderEmail me@example.org
connect
new A
command "Distribution File"
close
disconnect
connect
command "About"
close
activate main
command "Distribution File"
close
new B
explorer second
close-window main
close-window second
disconnect
)",
     200},
    {"Ribbons", R"(
file club.csv
| Name,E-mail
| Ann,ann@example.org
set MailList "{home}/club.csv,CSV,1,HEADER"
set SenderEmail me@example.org
account mail.example.org 25
version 16.0
connect
new A
choose NAME
command "Distribution File"
close
folder 1
folder 0
new B
command "Vespro Attach"
close
activate main
command "About"
close
activate A
command "Send Vespro"
explorer second
close-window second
disconnect
)",
     50},
};

// How a story ends that meets with `trouble` after so many calls; the number of its calls.
template <class Trouble>
int Tell(const LongStory& story, int after, const Trouble& trouble) {
  MemoryStoryHost host;
  MemoryClient& client = host.client();
  if (after > 0) trouble(client, after);
  const std::string told = TellStory(host, story.steps);
  EXPECT_TRUE(after > 0 || told.find("cannot:") == std::string::npos) << told;
  const int calls = client.calls().count;
  // A dialog may be open still, where the trouble has kept the story from its end.
  host.Driver().End();
  host.Disconnect().Ignore();  // again, perhaps
  for (const std::string& line : host.Held()) ADD_FAILURE() << line << ", call " << after;
  return calls;
}

class TroubleTest : public testing::TestWithParam<LongStory> {
 protected:
  template <class Trouble>
  void TellWith(const Trouble& trouble) {
    const int calls = Tell(GetParam(), 0, trouble);
    ASSERT_GE(calls, GetParam().calls);
    for (int after = 1; after <= calls && !HasFailure(); ++after) Tell(GetParam(), after, trouble);
  }
};

TEST_P(TroubleTest, EveryCallFailsOnce) {
  TellWith([](MemoryClient& client, int after) { client.calls().FailAt("", after); });
}

TEST_P(TroubleTest, TheMailIsClosedBelowEveryCall) {
  TellWith([](MemoryClient& client, int after) {
    client.calls().MeanwhileAt(after, [&client] { client.Close("A").Ignore(); });
  });
}

TEST_P(TroubleTest, AnotherWindowComesToTheFrontBelowEveryCall) {
  TellWith([](MemoryClient& client, int after) {
    client.calls().MeanwhileAt(after, [&client] {
      client.Activate("main").Ignore();
      client.OpenItem("other", {}).Ignore();
    });
  });
}

TEST_P(TroubleTest, TheLastMainWindowIsClosedBelowEveryCall) {
  TellWith([](MemoryClient& client, int after) {
    client.calls().MeanwhileAt(after, [&client] {
      client.Close("second").Ignore();
      client.Close("main").Ignore();
    });
  });
}

TEST(ConnectTest, AMailThatIsOpenedWhileAnotherOneOpensIsFollowed) {
  for (int after = 1;; ++after) {
    bool opened = false;
    MemoryStoryHost host;
    MemoryClient& client = host.client();
    TellStory(host, "connect\n");
    client.calls().MeanwhileAt(after, [&] {
      opened = true;
      client.OpenItem("other", {}).Ignore();
    });
    TellStory(host, "new A\n");
    if (!opened) break;
    const std::string held = TellStory(host, "held\n");
    EXPECT_NE(held.find("held: 2 Inspector\n"), held.npos) << held << "call " << after;
    host.Disconnect().Ignore();
    EXPECT_TRUE(host.Held().empty()) << "call " << after;
  }
}

// Opens three windows, and the ribbon is asked for within that call; whether it came to it.
bool AsksBelowCall(int call, bool announced) {
  bool asked = false;
  MemoryStoryHost host;
  host.announces_ribbons = announced;
  host.client().calls().MeanwhileAt(call, [&] {
    asked = true;
    host.AskForRibbons();
  });
  TellStory(host, "version 16.0\nwithout ribbon\nconnect\nnew A\nnew B\n");
  if (!asked) return false;
  for (const char* window : {"main", "A", "B"}) {
    EXPECT_TRUE(host.Controls(window).value().empty()) << window;
    const std::shared_ptr<RibbonView> ribbon = host.ribbons().In(window);
    EXPECT_GE(ribbon == nullptr ? 0 : ribbon->Looks().size(), 10U) << window;
  }
  host.Disconnect().Ignore();
  EXPECT_EQ(host.Held(), std::vector<std::string>());
  return true;
}

// Which an Outlook does at a time of its own choice.
TEST(ConnectTest, ARibbonMayBeAskedForBelowEveryCall) {
  for (const bool announced : {true, false}) {
    int calls = 0;
    while (!HasFailure() && AsksBelowCall(calls + 1, announced)) ++calls;
    EXPECT_FALSE(HasFailure()) << "below call " << calls + 1;
    EXPECT_GT(calls, 100);
  }
}

INSTANTIATE_TEST_SUITE_P(Stories, TroubleTest, testing::ValuesIn(kStories),
                         [](const auto& story) { return story.param.name; });

}  // namespace
}  // namespace vespro
