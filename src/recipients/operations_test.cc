#include "recipients/operations.h"

#include "base/testing.h"

namespace vespro {
namespace {

TEST(OperationsTest, MergeAndFilter) {
  TemporaryFolder folder;
  const std::string current = ModFiles::ToUtf8(folder.Write("a.txt", "a@b\nC@d"));
  const std::string second = ModFiles::ToUtf8(folder.Write("b.txt", "\xEF\xBB\xBFx@y\rz@z"));
  ASSERT_TRUE(ModRecipients::Merge(current, second).ok());
  EXPECT_EQ(folder.Read("a.txt"), "a@b\nC@d\r\n\r\nx@y\r\nz@z\r\n");
  Result<std::uint64_t> removed = ModRecipients::Filter({current, ListKind::kText}, second);
  ASSERT_TRUE(removed.ok()) << removed.status().text();
  EXPECT_EQ(removed.value(), 2U);
  EXPECT_EQ(folder.Read("a.txt"), "a@b\r\nc@d\r\n");
}

}  // namespace
}  // namespace vespro
