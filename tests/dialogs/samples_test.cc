#include "dialogs/samples.h"

#include <gtest/gtest.h>

#include <map>

#include "base/testing.h"
#include "forms/scripted.h"

namespace vespro {
namespace {

TEST(DialogSamplesTest, NoAccessKeyHasTwoMeanings) {
  const TemporaryFolder folder;
  for (const DialogSample& sample : DialogSamples(folder.path())) {
    SCOPED_TRACE(sample.name);
    ScriptedDriver driver;
    driver.Start([&] { sample.show(driver.desktop()); });
    const Form* form = driver.desktop().Screen()->top();
    ASSERT_NE(form, nullptr);
    std::map<char, std::string> meanings;
    for (const Control* control : form->controls()) {
      const char key = ModCaption::AccessKey(control->caption());
      if (key == 0 || !control->IsVisible()) continue;
      const auto [other, is_new] = meanings.emplace(key, control->name());
      EXPECT_TRUE(is_new) << key << ": " << control->name() << " and " << other->second;
    }
  }
}

}  // namespace
}  // namespace vespro
