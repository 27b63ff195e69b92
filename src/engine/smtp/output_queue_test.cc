#include "engine/smtp/output_queue.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace vespro::engine {
namespace {

std::string Taken(OutputQueue& queue, WireBytes& wire) {
  std::string text;
  if (!queue.Take(wire)) return text;
  for (const std::string_view piece : wire.pieces) text += piece;
  queue.Written(text.size());
  return text;
}

// Every way to cut a body full of dots into three pieces gives the same bytes, and a long piece
// before it is sent from where it is.
TEST(OutputQueueTest, DotsWhereverThePiecesMeet) {
  const std::string_view body = ".\r\n..\r\n\r\n.a\r\nb.\r\n.\r\n";
  const std::string wire = "..\r\n...\r\n\r\n..a\r\nb.\r\n..\r\n.\r\n";
  const std::string large(20'000, 'x');
  for (std::size_t first = 0; first <= body.size(); ++first) {
    for (std::size_t second = first; second <= body.size(); ++second) {
      std::vector<std::string_view> pieces = {
          body.substr(0, first), body.substr(first, second - first), body.substr(second)};
      OutputQueue queue;
      WireBytes out;
      queue.AppendDotStuffed(pieces);
      ASSERT_EQ(Taken(queue, out), wire) << first << " " << second;
      pieces.insert(pieces.begin(), {large, "\r\n"});
      queue.AppendDotStuffed(pieces);
      ASSERT_EQ(Taken(queue, out), large + "\r\n" + wire) << first << " " << second;
      EXPECT_TRUE(std::any_of(out.pieces.begin(), out.pieces.end(),
                              [&](std::string_view p) { return p.data() == large.data(); }));
    }
  }
}

TEST(OutputQueueTest, ALastLineGetsItsEnd) {
  for (const std::vector<std::string_view>& pieces :
       {std::vector<std::string_view>{"a"}, {"a\r"}, {"a", "\r"}, {"a\n"}, {"\n"}}) {
    OutputQueue queue;
    WireBytes out;
    queue.AppendDotStuffed(pieces);
    const std::string text = Taken(queue, out);
    EXPECT_TRUE(text.ends_with("\r\n.\r\n")) << text;
  }
  OutputQueue empty;
  WireBytes out;
  empty.AppendDotStuffed({});
  EXPECT_EQ(Taken(empty, out), ".\r\n") << "the end of DATA is a line end already";
}

TEST(OutputQueueTest, CountsAndDropsWhatWaits) {
  OutputQueue queue;
  WireBytes out;
  EXPECT_FALSE(queue.Take(out));
  queue.Append("QUIT\r\n");
  EXPECT_EQ(Taken(queue, out), "QUIT\r\n");
  queue.Append("NOOP");
  EXPECT_EQ(queue.queued(), 10U);
  EXPECT_EQ(queue.taken(), 6U);
  queue.DropWaiting();
  EXPECT_EQ(queue.queued(), 6U);
  EXPECT_FALSE(queue.Take(out));
}

}  // namespace
}  // namespace vespro::engine
