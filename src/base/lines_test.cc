#include "base/lines.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/testing.h"

namespace vespro {
namespace {

using Lines = std::vector<std::string>;

Lines InMemory(std::string_view bytes) {
  Lines lines;
  for (std::string_view line; NextLine(bytes, line);) lines.emplace_back(line);
  return lines;
}

Lines FromFile(const std::filesystem::path& path) {
  Lines lines;
  Result<LineReader> reader = LineReader::Open(path);
  EXPECT_TRUE(reader.ok()) << reader.status().text();
  for (std::string_view line; reader->Next(line);) lines.emplace_back(line);
  EXPECT_TRUE(reader->status().ok());
  EXPECT_EQ(reader->line_number(), lines.size());
  EXPECT_EQ(reader->bytes_read(), reader->file_bytes());
  return lines;
}

TEST(LinesTest, EveryLineEnd) {
  TemporaryFolder folder;
  const struct {
    std::string bytes;
    Lines lines;
  } rows[] = {
      {"", {}},
      {"a", {"a"}},
      {"a\r\nb\rc\nd", {"a", "b", "c", "d"}},
      {"\r\n\r\n", {"", ""}},
      {"\n\r", {"", ""}},
      {"a\r\r\nb\n\n", {"a", "", "b", ""}},
      {std::string("a\0b\n", 4), {std::string("a\0b", 3)}},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(InMemory(row.bytes), row.lines) << row.bytes;
    EXPECT_EQ(FromFile(folder.Write("list.txt", row.bytes)), row.lines) << row.bytes;
  }
}

// The reader's blocks end at 256 KiB: a line end is put at every place around that edge.
TEST(LinesTest, LineEndsAtABlocksEdge) {
  TemporaryFolder folder;
  for (const char* end : {"\n", "\r", "\r\n"}) {
    for (std::size_t before = 256 * 1024 - 3; before <= 256 * 1024 + 1; ++before) {
      const std::string bytes = std::string(before, 'x') + end + "tail" + end + "\n";
      EXPECT_EQ(FromFile(folder.Write("list.txt", bytes)), InMemory(bytes)) << before;
    }
  }
}

TEST(LinesTest, AnOverlongLineIsCutAndTold) {
  TemporaryFolder folder;
  const auto path = folder.Write("list.txt", "short\n" + std::string(600000, 'x') + "\nnext\n");
  Result<LineReader> reader = LineReader::Open(path, 1000);
  ASSERT_TRUE(reader.ok());
  std::string_view line;
  ASSERT_TRUE(reader->Next(line));
  EXPECT_FALSE(reader->overlong());
  ASSERT_TRUE(reader->Next(line));
  EXPECT_TRUE(reader->overlong());
  EXPECT_EQ(line, std::string(1000, 'x'));
  ASSERT_TRUE(reader->Next(line));
  EXPECT_EQ(line, "next");
  EXPECT_FALSE(reader->overlong());
}

}  // namespace
}  // namespace vespro
