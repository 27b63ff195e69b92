#include "mime/base64.h"

#include <gtest/gtest.h>

#include "mime/testing.h"

namespace vespro {
namespace {

TEST(Base64Test, KnownValues) {
  const struct {
    std::string bytes;
    const char* text;
  } rows[] = {
      {"", ""},
      {"f", "Zg=="},
      {"fo", "Zm8="},
      {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="},
      {"fooba", "Zm9vYmE="},
      {"foobar", "Zm9vYmFy"},
      {"\xFB\xFF\xFE", "+//+"},
      {std::string(3, '\0'), "AAAA"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ModBase64::Encode(row.bytes), row.text);
    Result<std::string> decoded = ModBase64::Decode(row.text);
    ASSERT_TRUE(decoded.ok()) << row.text;
    EXPECT_EQ(decoded.value(), row.bytes);
  }
}

TEST(Base64Test, StrictDecodingRefuses) {
  for (const char* text : {"Z", "Zg", "Zg=", "Zg===", "=", "====", "Z===", "Zg==Zg==", "Z=g=",
                           "Zm9v\n", "Zm 9", "Zm9-", "Zh==", "Zm9=", "Zm9vY\xC3\xBC="}) {
    Result<std::string> decoded = ModBase64::Decode(text);
    ASSERT_FALSE(decoded.ok()) << text;
    EXPECT_EQ(decoded.status().code(), Code::kBadInput);
  }
}

TEST(Base64Test, LenientDecodingReadsOn) {
  const struct {
    const char* text;
    const char* bytes;
  } rows[] = {
      {"Zm9v\r\nYmFy\r\n", "foobar"},
      {" Z m 9 v ", "foo"},
      {"Zm9vYg", "foob"},
      {"Zm9vYmE", "fooba"},
      {"Zg==Zm8=", "ffo"},
      {"Zm9v!-*YmFy", "foobar"},
      {"Z", ""},
      {"====", ""},
      {"Zm9vZ=Zm9v", "foofoo"},
  };
  for (const auto& row : rows) EXPECT_EQ(ModBase64::DecodeLenient(row.text), row.bytes) << row.text;
}

// Every length around a line and a block, given to the encoder in pieces of every kind.
TEST(Base64Test, LinesAreTheSameInOnePieceAndInMany) {
  TestNumbers numbers(1);
  for (const std::size_t size :
       {0U, 1U, 2U, 3U, 56U, 57U, 58U, 113U, 114U, 115U, 1000U, 233471U, 233473U}) {
    const std::string bytes = numbers.Bytes(size);
    std::string lines;
    ModBase64::AppendLines(lines, bytes);
    EXPECT_EQ(lines.size(), ModBase64::LinesSize(size));
    EXPECT_EQ(LongestLine(lines), std::min<std::size_t>(76, (size + 2) / 3 * 4));
    EXPECT_EQ(ModBase64::DecodeLenient(lines), bytes);
    for (const std::size_t largest : {1U, 60U, 300000U}) {
      StringSink sink;
      Base64LineEncoder encoder(sink);
      for (std::size_t at = 0; at < size;) {
        const std::string_view piece =
            std::string_view(bytes).substr(at, 1 + numbers.Below(largest));
        ASSERT_TRUE(encoder.Write(piece).ok());
        at += piece.size();
      }
      ASSERT_TRUE(encoder.Finish().ok());
      EXPECT_TRUE(sink.text == lines) << size << " in pieces of up to " << largest;
    }
  }
}

class FullSink final : public ByteSink {
 public:
  Status Write(std::string_view) override { return Status(Code::kCannotWrite, "full"); }
};

TEST(Base64Test, TheSinksFailureIsReported) {
  FullSink sink;
  Base64LineEncoder encoder(sink);
  EXPECT_TRUE(encoder.Write("short").ok());
  EXPECT_EQ(encoder.Finish().code(), Code::kCannotWrite);
  EXPECT_EQ(Base64LineEncoder(sink).Write(std::string(60, 'x')).code(), Code::kCannotWrite);
}

}  // namespace
}  // namespace vespro
