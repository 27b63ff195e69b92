#include "win32/pictures.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

namespace vespro {
namespace {

constexpr COLORREF kNothing = RGB(255, 0, 255);  // where the picture lets through what is behind
constexpr COLORREF kLine = RGB(70, 80, 95);
constexpr COLORREF kPaper = RGB(250, 250, 252);
constexpr COLORREF kBlue = RGB(66, 133, 208);
constexpr COLORREF kPale = RGB(205, 222, 240);
constexpr COLORREF kYellow = RGB(255, 208, 76);
constexpr COLORREF kGreen = RGB(70, 170, 95);
constexpr int kUnits = 64;  // pictures are drawn on a square of that many units
constexpr int kSmooth = 4;  // drawn that much larger; then each pixel is the mean of a square

using Pixels = std::vector<std::uint32_t>;  // alpha, red, green, blue; rows from the top

// A bitmap of 32 bits a pixel that can be drawn on.
class Canvas {
 public:
  explicit Canvas(int side) : side_(side), dc_(CreateCompatibleDC(nullptr)) {
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = side;
    info.bmiHeader.biHeight = -side;
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    bitmap_.Reset(CreateDIBSection(dc_.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    bits_ = static_cast<std::uint32_t*>(bits);
    before_ = SelectObject(dc_.get(), bitmap_.get());
    Use(kNothing, kNothing);
    Box(-1, -1, kUnits + 1, kUnits + 1);
  }
  Canvas(const Canvas&) = delete;
  Canvas& operator=(const Canvas&) = delete;
  ~Canvas() {
    SelectObject(dc_.get(), GetStockObject(BLACK_PEN));
    SelectObject(dc_.get(), GetStockObject(WHITE_BRUSH));
    SelectObject(dc_.get(), before_);
  }

  void Use(COLORREF line, COLORREF area, int thick = 3) {
    Owned<HPEN> pen(CreatePen(PS_SOLID, At(thick), line));
    Owned<HBRUSH> brush(CreateSolidBrush(area));
    SelectObject(dc_.get(), pen.get());
    SelectObject(dc_.get(), brush.get());
    pen_ = std::move(pen);
    brush_ = std::move(brush);
  }
  void Box(int left, int top, int right, int bottom, int round = 0) {
    RoundRect(dc_.get(), At(left), At(top), At(right), At(bottom), At(round), At(round));
  }
  void Oval(int left, int top, int right, int bottom) {
    Ellipse(dc_.get(), At(left), At(top), At(right), At(bottom));
  }
  void Lines(const std::vector<POINT>& points) {
    const std::vector<POINT> scaled = Scaled(points);
    Polyline(dc_.get(), scaled.data(), static_cast<int>(scaled.size()));
  }
  void Area(const std::vector<POINT>& points) {
    const std::vector<POINT> scaled = Scaled(points);
    Polygon(dc_.get(), scaled.data(), static_cast<int>(scaled.size()));
  }

  // The mean of each square of `kSmooth` pixels; what is not drawn upon is transparent.
  Pixels Smoothed() const {
    GdiFlush();
    const int side = side_ / kSmooth;
    Pixels pixels;
    pixels.reserve(static_cast<std::size_t>(side) * static_cast<std::size_t>(side));
    for (int y = 0; y < side; ++y) {
      for (int x = 0; x < side; ++x) pixels.push_back(Mean(x * kSmooth, y * kSmooth));
    }
    return pixels;
  }

 private:
  int At(int units) const { return MulDiv(units, side_, kUnits); }
  std::vector<POINT> Scaled(std::vector<POINT> points) const {
    for (POINT& point : points) point = {At(point.x), At(point.y)};
    return points;
  }
  std::uint32_t Mean(int left, int top) const {
    std::uint32_t red = 0, green = 0, blue = 0, count = 0;
    for (int y = top; y < top + kSmooth; ++y) {
      for (int x = left; x < left + kSmooth; ++x) {
        const std::uint32_t pixel = bits_[y * side_ + x] & 0xFFFFFF;
        if (pixel == kNothing) continue;
        red += pixel >> 16;
        green += pixel >> 8 & 0xFF;
        blue += pixel & 0xFF;
        ++count;
      }
    }
    if (count == 0) return 0;
    const std::uint32_t alpha = count * 255 / (kSmooth * kSmooth);
    return alpha << 24 | red / count << 16 | green / count << 8 | blue / count;
  }

  int side_;
  Owned<HDC> dc_;
  Owned<HBITMAP> bitmap_;
  Owned<HPEN> pen_;
  Owned<HBRUSH> brush_;
  std::uint32_t* bits_ = nullptr;
  HGDIOBJ before_ = nullptr;
};

void DrawEnvelope(Canvas& canvas, int left, int top, int right, int bottom) {
  canvas.Use(kLine, kPaper);
  canvas.Box(left, top, right, bottom, 4);
  canvas.Lines(
      {{left + 2, top + 3}, {(left + right) / 2, (top + bottom) / 2 + 3}, {right - 3, top + 3}});
}

void DrawTip(Canvas& canvas) {
  canvas.Use(kLine, kYellow);
  canvas.Oval(14, 4, 50, 40);
  canvas.Area({{24, 37}, {25, 46}, {39, 46}, {40, 37}});
  canvas.Use(kYellow, kYellow);
  canvas.Box(24, 32, 41, 39);
  canvas.Use(kLine, kPale);
  canvas.Box(24, 46, 41, 57, 4);
  canvas.Lines({{25, 51}, {39, 51}});
  canvas.Lines({{27, 37}, {29, 26}, {32, 30}, {35, 26}, {37, 37}});
}

void DrawServer(Canvas& canvas) {
  for (const int top : {6, 24, 42}) {
    canvas.Use(kLine, top == 6 ? kBlue : kPale);
    canvas.Box(10, top, 54, top + 16, 5);
    canvas.Use(kGreen, kGreen, 1);
    canvas.Oval(42, top + 5, 48, top + 11);
    canvas.Use(kLine, kLine, 2);
    canvas.Lines({{16, top + 8}, {32, top + 8}});
  }
}

void DrawConnection(Canvas& canvas) {
  canvas.Use(kLine, kPale, 4);
  canvas.Lines({{17, 46}, {32, 17}, {47, 46}, {17, 46}});
  canvas.Use(kLine, kBlue);
  canvas.Oval(22, 6, 42, 26);
  canvas.Use(kLine, kPale);
  canvas.Oval(6, 37, 26, 57);
  canvas.Oval(38, 37, 58, 57);
}

void DrawMailInfo(Canvas& canvas) {
  DrawEnvelope(canvas, 4, 12, 56, 46);
  canvas.Use(kPaper, kBlue);
  canvas.Oval(36, 32, 62, 58);
  canvas.Use(kPaper, kPaper, 3);
  canvas.Lines({{49, 44}, {49, 52}});
  canvas.Lines({{49, 38}, {49, 39}});
}

void DrawMailInbox(Canvas& canvas) {
  DrawEnvelope(canvas, 14, 6, 50, 36);
  canvas.Use(kLine, kPale);
  canvas.Area({{6, 32}, {20, 32}, {25, 42}, {39, 42}, {44, 32}, {58, 32}, {58, 57}, {6, 57}});
}

void DrawPaperclip(Canvas& canvas) {
  canvas.Use(kLine, kNothing, 4);
  canvas.Box(18, 4, 47, 60, 28);
  canvas.Box(25, 16, 40, 51, 15);
  canvas.Use(kNothing, kNothing);
  canvas.Box(14, 22, 22, 40);
}

void DrawSheet(Canvas& canvas) {
  canvas.Use(kLine, kPaper);
  canvas.Area({{14, 5}, {40, 5}, {51, 16}, {51, 59}, {14, 59}});
  canvas.Lines({{40, 5}, {40, 16}, {51, 16}});
  canvas.Use(kBlue, kBlue, 2);
  for (const int y : {26, 34, 42, 50}) canvas.Lines({{21, y}, {44, y}});
}

struct Picture {
  std::string_view name;
  void (*draw)(Canvas&);
};
constexpr std::array kPictures = {
    Picture{"TIP", DrawTip},
    Picture{"SERVER", DrawServer},
    Picture{"CONNECTION", DrawConnection},
    Picture{"MAILINFO", DrawMailInfo},
    Picture{"MAILINBOX", DrawMailInbox},
    Picture{"PAPERCLIP", DrawPaperclip},
};

Owned<HBITMAP> MakeBitmap(const Pixels& pixels, int side) {
  BITMAPINFO info{};
  info.bmiHeader.biSize = sizeof(info.bmiHeader);
  info.bmiHeader.biWidth = side;
  info.bmiHeader.biHeight = -side;
  info.bmiHeader.biPlanes = 1;
  info.bmiHeader.biBitCount = 32;
  void* bits = nullptr;
  Owned<HBITMAP> bitmap(CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0));
  if (bitmap) std::copy(pixels.begin(), pixels.end(), static_cast<std::uint32_t*>(bits));
  return bitmap;
}

Owned<HICON> MakeIcon(const Pixels& pixels, int side) {
  // The mask counts only where alpha is not understood. Its rows are whole words.
  const auto row_bytes = static_cast<std::size_t>((side + 15) / 16 * 2);
  std::vector<std::uint8_t> mask(row_bytes * static_cast<std::size_t>(side), 0);
  for (std::size_t i = 0; i < pixels.size(); ++i) {
    const std::size_t x = i % static_cast<std::size_t>(side);
    const std::size_t y = i / static_cast<std::size_t>(side);
    if (pixels[i] >> 24 < 128) {
      mask[y * row_bytes + x / 8] |= static_cast<std::uint8_t>(0x80 >> x % 8);
    }
  }
  const Owned<HBITMAP> color = MakeBitmap(pixels, side);
  const Owned<HBITMAP> transparent(CreateBitmap(side, side, 1, 1, mask.data()));
  ICONINFO info{};
  info.fIcon = TRUE;
  info.hbmMask = transparent.get();
  info.hbmColor = color.get();
  return Owned<HICON>(CreateIconIndirect(&info));
}

}  // namespace

Owned<HICON> DrawPicture(std::string_view name, int size) {
  Canvas canvas(size * kSmooth);
  const auto found = std::find_if(kPictures.begin(), kPictures.end(),
                                  [&](const Picture& picture) { return picture.name == name; });
  (found == kPictures.end() ? DrawSheet : found->draw)(canvas);
  return MakeIcon(canvas.Smoothed(), size);
}

}  // namespace vespro
