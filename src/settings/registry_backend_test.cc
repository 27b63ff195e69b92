#include "settings/registry_backend.h"

#include <gtest/gtest.h>

#include "base/win32/registry_testing.h"
#include "settings/file_backend.h"
#include "settings/settings.h"

namespace vespro {
namespace {

TEST(RegistryBackendTest, OneKeyOfTheUsers) {
  const TestKey above("Backend");
  RegistryBackend backend(above.path + "\\Key");
  Settings settings(backend);
  EXPECT_EQ(backend.ReadValue("SenderName").status, SettingsBackend::kMissing);
  EXPECT_TRUE(settings.List().empty());
  ASSERT_TRUE(settings.Write(setting::kSenderName, "J\xC3\xBCrgen\r\n \xF0\x9F\x98\x80 ").ok());
  EXPECT_EQ(settings.Read("sendername"), "J\xC3\xBCrgen\r\n \xF0\x9F\x98\x80 ");
  ASSERT_TRUE(backend.WriteValue("N", "7 x", SettingsBackend::kNumber).ok());
  EXPECT_EQ(settings.Read("N"), "7");
  ASSERT_TRUE(WriteInstallerDefaults(backend, "C:\\no such file").ok());
  EXPECT_EQ(settings.Read(setting::kMaxNumConnect), "50");
  EXPECT_EQ(settings.List().size(), 5U);
}

}  // namespace
}  // namespace vespro
