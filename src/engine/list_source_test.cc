#include "engine/list_source.h"

#include <gtest/gtest.h>

#include <fstream>

#include "base/testing.h"
#include "engine/address.h"

namespace vespro::engine {
namespace {

using Lines = std::vector<std::string>;

struct ReadList {
  Lines given, skipped, to_mend;
};

ReadList ReadAll(ListSource& source, std::size_t step = 2) {
  ReadList read;
  source.OnSkip([&read](const Recipient& row, std::string_view reason, bool mend) {
    read.skipped.push_back(std::to_string(row.line) + ": " + std::string(reason));
    if (mend) read.to_mend.push_back(row.row);
    return Status();
  });
  for (;;) {
    Result<std::vector<Recipient>> next = source.Next(step);
    EXPECT_TRUE(next.ok()) << next.status().text();
    if (!next.ok() || next->empty()) return read;
    for (const Recipient& r : next.value()) {
      read.given.push_back(std::to_string(r.line) + ": " + r.address + "|" + r.row);
    }
  }
}

class ListSourceTest : public ::testing::Test {
 protected:
  ListSource Open(std::string_view bytes, ListKind kind, std::int16_t column = 0,
                  bool header = false, ListOptions options = {}) {
    // A name of its own: an open list can't be replaced everywhere.
    const auto path = folder_.Write("list" + std::to_string(randomness_.Next()) + ".csv", bytes);
    Result<ListSource> source =
        ListSource::Open({ModFiles::ToUtf8(path), kind, column, header}, options, randomness_);
    EXPECT_TRUE(source.ok()) << source.status().text();
    return std::move(source).value();
  }
  TemporaryFolder folder_;
  CountingRandomness randomness_;
};

TEST_F(ListSourceTest, PlainAddresses) {
  ListSource source = Open(
      "\xEF\xBB\xBF"
      "Ann@Example.org\r\n\r\n  \n bob@example.org \nann@example.org\rno address\n"
      "\xFC@example.org\n",
      ListKind::kText);
  const ReadList read = ReadAll(source);
  EXPECT_EQ(read.given,
            (Lines{"1: ann@example.org|", "4: bob@example.org|", "7: \xC3\xBC@example.org|"}));
  EXPECT_EQ(read.skipped,
            (Lines{"5: duplicate of an earlier line", "6: not an address: no \"@\""}));
  EXPECT_EQ(read.to_mend, (Lines{"no address"}));
  EXPECT_EQ(source.given(), 3u);
  EXPECT_EQ(source.skipped(), 2u);
}

TEST_F(ListSourceTest, Tables) {
  const std::string rows =
      "\xEF\xBB\xBFName,e-mail@,City\n"
      "Ann,\"ANN@example.org\",Ulm\n"
      "short\n"
      ",,\n"
      "Bob, 'bob@example.org' ,\n" +
      std::string(2'000'000, 'x') +
      "\n"
      "Ann 2,ann@example.org\n"
      "Eve,\"a,b\"@example.org,x";
  ListSource source = Open(rows, ListKind::kCsv, 1, true);
  EXPECT_EQ(source.first_row(), "Name,e-mail@,City");
  EXPECT_EQ(source.first_row(), "Name,e-mail@,City");
  EXPECT_TRUE(source.has_byte_order_mark());
  const ReadList read = ReadAll(source);
  EXPECT_EQ(read.given, (Lines{"2: ann@example.org|Ann,\"ANN@example.org\",Ulm",
                               "5: bob@example.org|Bob, 'bob@example.org' ,"}));
  EXPECT_EQ(read.skipped,
            (Lines{"3: short row: 1 field, the address is in field 2", "4: no address",
                   "6: line too long: more than a mebibyte", "7: duplicate of an earlier line",
                   "8: not an address: no \"@\""}));
  ASSERT_EQ(read.to_mend.size(), 4u);
  EXPECT_EQ(read.to_mend[3], "Eve,\"a,b\"@example.org,x");
}

TEST_F(ListSourceTest, LimitOnlySuppressAndWanted) {
  const std::string_view list = "a@x.org\nbad\nb@x.org\nA@x.org\nc@x.org\nd@x.org\no'brien@x.org\n";
  ListSource limited = Open(list, ListKind::kText, 0, false, {2, ""});
  EXPECT_EQ(ReadAll(limited, 100).given, (Lines{"1: a@x.org|", "3: b@x.org|"}));

  ListSource only = Open(list, ListKind::kText, 0, false, {0, Normalised(" C@X.org ")});
  const ReadList one = ReadAll(only);
  EXPECT_EQ(one.given, (Lines{"5: c@x.org|"}));
  EXPECT_EQ(one.skipped, Lines{});

  ListSource suppressed = Open(list, ListKind::kText);
  ASSERT_TRUE(suppressed
                  .Suppress(folder_.Write("stop.txt",
                                          "\xEF\xBB\xBF"
                                          "B@x.org\r\n\r\nz@z\n"))
                  .ok());
  ASSERT_TRUE(suppressed.Suppress(folder_.Write("more.txt", " 'd@X.ORG', O'Brien@x.org")).ok());
  const ReadList rest = ReadAll(suppressed);
  EXPECT_EQ(rest.given, (Lines{"1: a@x.org|", "5: c@x.org|"}));
  EXPECT_EQ(rest.skipped, (Lines{"2: not an address: no \"@\"", "3: suppressed by stop.txt",
                                 "4: duplicate of an earlier line", "6: suppressed by more.txt",
                                 "7: suppressed by more.txt"}));
  EXPECT_EQ(rest.to_mend, Lines{"bad"});
  EXPECT_EQ(suppressed.Suppress(folder_ / "none").code(), Code::kNotFound);
  for (const std::string_view unclear : {"a@x.org\nnobody\n", "a@x.org.\n", "a@x.org|2024\n",
                                         "@x.org\n", "*@x.org\n", "a@*.org\n"}) {
    EXPECT_EQ(suppressed.Suppress(folder_.Write("bad.txt", unclear)).code(), Code::kBadInput);
  }
  // A table's rows lose their quotes before they are compared.
  ListSource table = Open("o'brien@x.org,1\n", ListKind::kCsv);
  ASSERT_TRUE(table.Suppress(folder_ / "more.txt").ok());
  EXPECT_EQ(ReadAll(table).given, Lines{});

  // What is appended while the list is read is not part of the job.
  const auto path = folder_.Write("growing.txt", "a@x.org\nb@x.org\n");
  Result<ListSource> growing =
      ListSource::Open({ModFiles::ToUtf8(path), ListKind::kText}, {}, randomness_);
  ASSERT_TRUE(growing.ok());
  std::ofstream(path, std::ios::app) << "c@x.org\n";
  EXPECT_EQ(ReadAll(growing.value()).given, (Lines{"1: a@x.org|", "2: b@x.org|"}));

  // A limit counts those who were served before, so that a second run does not go further.
  ListSource resumed = Open(list, ListKind::kText, 0, false, {2, ""});
  resumed.SetWanted([](std::uint64_t line) { return line > 1; });
  EXPECT_EQ(ReadAll(resumed).given, (Lines{"3: b@x.org|"}));
  EXPECT_EQ(resumed.passed_over(), 1u);
}

TEST_F(ListSourceTest, AFailedSkipEndsTheReading) {
  ListSource source = Open("bad\na@x.org\n", ListKind::kText);
  source.OnSkip(
      [](const Recipient&, std::string_view, bool) { return Status(Code::kCannotWrite, "full"); });
  EXPECT_EQ(source.Next(1).status().code(), Code::kCannotWrite);
}

TEST_F(ListSourceTest, WhatIsNoListIsRefused) {
  const auto spreadsheet = folder_.Write("list.csv", std::string_view("PK\3\4\0\0", 6));
  const auto open = [this](const std::filesystem::path& path) {
    return ListSource::Open({ModFiles::ToUtf8(path), ListKind::kCsv, 0, true}, {}, randomness_)
        .status()
        .code();
  };
  EXPECT_EQ(open(spreadsheet), Code::kBadInput);
  EXPECT_EQ(open(folder_ / "none.csv"), Code::kNotFound);
}

TEST(AddressTest, WhatCanBeAnEnvelopeAddress) {
  const std::string local64(64, 'a'), label(63, 'b');
  for (const std::string& good :
       {std::string("a@b"), std::string("a.b+c=d/e@sub.example.org"), std::string("a..b.@ne.jp"),
        std::string("o'brien@x.ie"), std::string("a@[192.0.2.1]"), std::string("a@[IPv6:::1]"),
        std::string("m\xC3\xBCller@b\xC3\xBC"
                    "cher.example"),
        local64 + "@x.org", "a@" + label + "." + label + "." + label + "." + label.substr(0, 60)}) {
    EXPECT_EQ(WhyUnusable(good), "") << good;
  }
  for (const std::string& bad :
       {std::string(""),        std::string("a"),       std::string("@b"),
        std::string("a@"),      std::string("a@b@c"),   std::string("a b@c"),
        std::string("a@b c"),   std::string("<a@b>"),   std::string("a@b>\r\nRCPT TO:<c@d"),
        std::string("a,b@c"),   std::string("\"a\"@b"), std::string("a\\@b"),
        std::string("a;@b"),    std::string("a@b..c"),  std::string("a@.b"),
        std::string("a@b."),    std::string("a@[]"),    std::string("a@[1 2]"),
        std::string("a@[1]b"),  std::string("a\xFF@b"), std::string("a\0@b", 4),
        std::string("a\x7F@b"), local64 + "a@x.org",    "a@" + std::string(253, 'b')}) {
    EXPECT_NE(WhyUnusable(bad), "") << bad;
  }
}

// Larger than every shard's first table, so that each has grown several times.
TEST(AddressSetTest, FindsEveryRepeatAndNothingElse) {
  CountingRandomness randomness;
  AddressSet set(randomness);
  for (int i = 0; i < 200'000; ++i)
    ASSERT_TRUE(set.Insert("p" + std::to_string(i) + "@x.org")) << i;
  for (int i = 0; i < 200'000; ++i)
    ASSERT_FALSE(set.Insert("p" + std::to_string(i) + "@x.org")) << i;
  EXPECT_EQ(set.size(), 200'000u);
  EXPECT_TRUE(set.Contains("p7@x.org"));
  EXPECT_FALSE(set.Contains("q7@x.org"));
}

// The reference value of SipHash-2-4 for the bytes 0 to 14 under the key 0 to 15.
TEST(SipHashTest, ReferenceVector) {
  std::string bytes;
  for (char c = 0; c < 15; ++c) bytes += c;
  EXPECT_EQ(SipHash({0x0706050403020100u, 0x0f0e0d0c0b0a0908u}, bytes), 0xa129ca6149be45e5u);
}

}  // namespace
}  // namespace vespro::engine
