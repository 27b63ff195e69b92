#include "win32/clipboard_picture.h"

#include "base/win32/wide.h"
#include "win32/visual_styles.h"

namespace vespro::ModClipboardPicture {
namespace {

constexpr int kSide = 16;  // pixels, whatever the resolution: the mail client knows no other size
constexpr WORD kBitsAPixel = 24;

class ScreenDc {
 public:
  ScreenDc() : dc_(GetDC(nullptr)) {}
  ~ScreenDc() { ReleaseDC(nullptr, dc_); }
  ScreenDc(const ScreenDc&) = delete;
  ScreenDc& operator=(const ScreenDc&) = delete;
  HDC get() const { return dc_; }

 private:
  HDC dc_;
};

Owned<HBITMAP> Drawn(HICON icon) {
  const ScreenDc screen;
  const Owned<HDC> dc(CreateCompatibleDC(screen.get()));
  Owned<HBITMAP> bitmap(CreateCompatibleBitmap(screen.get(), kSide, kSide));
  if (!dc || !bitmap) return {};
  const HGDIOBJ before = SelectObject(dc.get(), bitmap.get());
  const RECT all{0, 0, kSide, kSide};
  FillRect(dc.get(), &all, GetSysColorBrush(COLOR_BTNFACE));
  const bool drawn = DrawIconEx(dc.get(), 0, 0, icon, kSide, kSide, 0, nullptr, DI_NORMAL) != FALSE;
  SelectObject(dc.get(), before);
  return drawn ? std::move(bitmap) : Owned<HBITMAP>();
}

}  // namespace

Owned<HBITMAP> Load(std::string_view resource, PictureKind kind) {
  const std::wstring name = ModWide::FromUtf8(resource);
  const bool is_icon = kind == PictureKind::kIcon;
  const HANDLE loaded =
      LoadImageW(OurModule(), name.c_str(), static_cast<UINT>(is_icon ? IMAGE_ICON : IMAGE_BITMAP),
                 kSide, kSide, LR_DEFAULTCOLOR);
  if (!is_icon) return Owned<HBITMAP>(static_cast<HBITMAP>(loaded));
  const Owned<HICON> icon(static_cast<HICON>(loaded));
  return icon ? Drawn(icon.get()) : Owned<HBITMAP>();
}

HGLOBAL ToDib(HBITMAP bitmap) {
  BITMAP measures{};
  if (GetObjectW(bitmap, sizeof(measures), &measures) == 0) return nullptr;
  BITMAPINFOHEADER header{};
  header.biSize = sizeof(header);
  header.biWidth = measures.bmWidth;
  header.biHeight = measures.bmHeight;
  header.biPlanes = 1;
  header.biBitCount = kBitsAPixel;
  // Rows are whole words.
  const LONG row_bytes = (measures.bmWidth * kBitsAPixel + 31) / 32 * 4;
  header.biSizeImage = static_cast<DWORD>(row_bytes * measures.bmHeight);

  const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, sizeof(header) + header.biSizeImage);
  auto* info = memory != nullptr ? static_cast<BITMAPINFO*>(GlobalLock(memory)) : nullptr;
  if (info == nullptr) {
    GlobalFree(memory);
    return nullptr;
  }
  info->bmiHeader = header;
  const ScreenDc screen;
  const int rows = GetDIBits(screen.get(), bitmap, 0, static_cast<UINT>(measures.bmHeight),
                             &info->bmiHeader + 1, info, DIB_RGB_COLORS);
  GlobalUnlock(memory);
  if (rows == measures.bmHeight) return memory;
  GlobalFree(memory);
  return nullptr;
}

}  // namespace vespro::ModClipboardPicture
