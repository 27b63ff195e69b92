#include "windows_forms/screenshot.h"

#include <objbase.h>

#include <wincodec.h>

#include <vector>

#include "base/files.h"
#include "win32/owned.h"

namespace vespro::ModScreenshot {
namespace {

// A reference to a COM object, given back when it goes away.
template <class Interface>
class Reference {
 public:
  Reference() = default;
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() {
    if (object_ != nullptr) object_->Release();
  }
  Interface** Out() { return &object_; }
  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }

 private:
  Interface* object_ = nullptr;
};

Owned<HBITMAP> Capture(const RECT& area) {
  const int width = static_cast<int>(area.right - area.left);
  const int height = static_cast<int>(area.bottom - area.top);
  const HDC screen = GetDC(nullptr);
  Owned<HBITMAP> bitmap(CreateCompatibleBitmap(screen, width, height));
  {
    const Owned<HDC> dc(CreateCompatibleDC(screen));
    const HGDIOBJ before = SelectObject(dc.get(), bitmap.get());
    BitBlt(dc.get(), 0, 0, width, height, screen, static_cast<int>(area.left),
           static_cast<int>(area.top), SRCCOPY);
    SelectObject(dc.get(), before);
  }
  ReleaseDC(nullptr, screen);
  return bitmap;
}

HRESULT Write(IWICImagingFactory* factory, HBITMAP pixels, const std::filesystem::path& file) {
  Reference<IWICBitmap> bitmap;
  Reference<IWICStream> stream;
  Reference<IWICBitmapEncoder> encoder;
  Reference<IWICBitmapFrameEncode> frame;
  HRESULT result =
      factory->CreateBitmapFromHBITMAP(pixels, nullptr, WICBitmapIgnoreAlpha, bitmap.Out());
  if (SUCCEEDED(result)) result = factory->CreateStream(stream.Out());
  if (SUCCEEDED(result)) result = stream->InitializeFromFilename(file.c_str(), GENERIC_WRITE);
  if (SUCCEEDED(result)) {
    result = factory->CreateEncoder(GUID_ContainerFormatPng, nullptr, encoder.Out());
  }
  if (SUCCEEDED(result)) result = encoder->Initialize(stream.get(), WICBitmapEncoderNoCache);
  if (SUCCEEDED(result)) result = encoder->CreateNewFrame(frame.Out(), nullptr);
  if (SUCCEEDED(result)) result = frame->Initialize(nullptr);
  if (SUCCEEDED(result)) result = frame->WriteSource(bitmap.get(), nullptr);
  if (SUCCEEDED(result)) result = frame->Commit();
  if (SUCCEEDED(result)) result = encoder->Commit();
  return result;
}

}  // namespace

Status Save(HWND window, const std::filesystem::path& file) {
  RECT area{};
  GetWindowRect(window, &area);
  const Owned<HBITMAP> pixels = Capture(area);
  Reference<IWICImagingFactory> factory;
  HRESULT result = CoCreateInstance(CLSID_WICImagingFactory, nullptr, CLSCTX_INPROC_SERVER,
                                    IID_PPV_ARGS(factory.Out()));
  if (SUCCEEDED(result)) result = Write(factory.get(), pixels.get(), file);
  if (SUCCEEDED(result)) return {};
  return Status(Code::kCannotWrite, "cannot write '" + ModFiles::ToUtf8(file) + "'",
                static_cast<std::uint32_t>(result));
}

}  // namespace vespro::ModScreenshot
