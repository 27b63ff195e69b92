// win32/owned.h - owners of what Windows gives by handle.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <utility>

namespace vespro {

inline void Release(HFONT font) { DeleteObject(font); }
inline void Release(HBRUSH brush) { DeleteObject(brush); }
inline void Release(HPEN pen) { DeleteObject(pen); }
inline void Release(HBITMAP bitmap) { DeleteObject(bitmap); }
inline void Release(HRGN region) { DeleteObject(region); }
inline void Release(HDC dc) { DeleteDC(dc); }
inline void Release(HICON icon) { DestroyIcon(icon); }
inline void Release(HWND window) { DestroyWindow(window); }
inline void Release(HIMAGELIST list) { ImageList_Destroy(list); }
inline void Release(HANDLE handle) { CloseHandle(handle); }

// Calls Release(handle), once, when it goes away or takes another. One thread.
template <class Handle>
class Owned {
 public:
  Owned() = default;
  explicit Owned(Handle handle) : handle_(handle) {}
  Owned(Owned&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Owned& operator=(Owned&& other) noexcept {
    if (this != &other) Reset(std::exchange(other.handle_, nullptr));
    return *this;
  }
  ~Owned() { Reset(); }

  Handle get() const { return handle_; }
  explicit operator bool() const { return handle_ != nullptr; }
  void Reset(Handle handle = nullptr) {
    const Handle before = std::exchange(handle_, handle);
    if (before != nullptr) Release(before);
  }
  // Somebody else has released it, or will.
  Handle Forget() { return std::exchange(handle_, nullptr); }

 private:
  Handle handle_ = nullptr;
};

}  // namespace vespro
