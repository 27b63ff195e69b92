// What the build made of the drawings, as Windows finds it in a finished module.
#include "win32/icons.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <vector>

#include "win32/visual_styles.h"

namespace vespro {
namespace {

constexpr COLORREF kButtonGround = RGB(192, 192, 192);

// Alpha, red, green and blue of each pixel; empty when `icon` has not that size.
std::vector<std::uint32_t> PixelsOf(HICON icon, int size) {
  ICONINFO info{};
  if (!GetIconInfo(icon, &info)) return {};
  const Owned<HBITMAP> mask(info.hbmMask);
  const Owned<HBITMAP> color(info.hbmColor);
  BITMAP bitmap{};
  GetObjectW(color.get(), sizeof(bitmap), &bitmap);
  if (bitmap.bmWidth != size || bitmap.bmHeight != size) return {};
  BITMAPINFO wanted{};
  wanted.bmiHeader.biSize = sizeof(wanted.bmiHeader);
  wanted.bmiHeader.biWidth = size;
  wanted.bmiHeader.biHeight = -size;
  wanted.bmiHeader.biPlanes = 1;
  wanted.bmiHeader.biBitCount = 32;
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(size) *
                                    static_cast<std::size_t>(size));
  const Owned<HDC> dc(CreateCompatibleDC(nullptr));
  GetDIBits(dc.get(), color.get(), 0, static_cast<UINT>(size), pixels.data(), &wanted,
            DIB_RGB_COLORS);
  return pixels;
}

TEST(IconsTest, EveryPictureIsThereInEverySize) {
  IconLibrary icons;
  std::set<std::vector<std::uint32_t>> different;
  std::size_t count = 0;
  for (const char* name :
       {"VESPRO", "PAPERCLIP", "TIP", "SERVER", "CONNECTION", "MAILINFO", "MAILINBOX"}) {
    for (const int size : {16, 20, 24, 32, 48}) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(size));
      const HICON icon = icons.Find({Icon::Kind::kResource, name}, size);
      ASSERT_NE(icon, nullptr);
      const std::vector<std::uint32_t> pixels = PixelsOf(icon, size);
      ASSERT_FALSE(pixels.empty());
      EXPECT_LT(pixels.front() >> 24, 128u) << "the corner lets the ground through";
      different.insert(pixels);
      ++count;
    }
  }
  EXPECT_EQ(different.size(), count);
  EXPECT_EQ(icons.Find({Icon::Kind::kResource, "NOTHING"}, 16), nullptr);
}

// A toolbar takes the ground's colour for its own only where it is exactly that, and Windows puts a
// button's colour there only in a bitmap with a palette.
TEST(IconsTest, LetterOfTheSendButtonStandsOnTheButtonsGround) {
  const Owned<HBITMAP> plain(static_cast<HBITMAP>(
      LoadImageW(OurModule(), L"MAILBMP", IMAGE_BITMAP, 0, 0, LR_CREATEDIBSECTION)));
  ASSERT_TRUE(plain);
  DIBSECTION section{};
  ASSERT_NE(GetObjectW(plain.get(), sizeof(section), &section), 0);
  EXPECT_EQ(section.dsBm.bmWidth, 16);
  EXPECT_EQ(section.dsBm.bmHeight, 16);
  EXPECT_LE(section.dsBm.bmBitsPixel, 8);

  const Owned<HDC> dc(CreateCompatibleDC(nullptr));
  const HGDIOBJ before = SelectObject(dc.get(), plain.get());
  std::set<COLORREF> colors;
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) colors.insert(GetPixel(dc.get(), x, y));
  }
  EXPECT_EQ(GetPixel(dc.get(), 0, 0), kButtonGround);
  EXPECT_EQ(GetPixel(dc.get(), 15, 15), kButtonGround);
  EXPECT_EQ(colors.size(), 3u) << "ground, paper and line, and no blend of ground and line";
  SelectObject(dc.get(), before);
}

}  // namespace
}  // namespace vespro
