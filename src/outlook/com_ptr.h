// outlook/com_ptr.h - an owner of one reference to a COM object.
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <utility>

namespace vespro {

template <class Interface>
class ComPtr {
 public:
  ComPtr() = default;
  ComPtr(std::nullptr_t) {}  // NOLINT: implicit on purpose
  // A reference of its own.
  explicit ComPtr(Interface* object) : object_(object) {
    if (object_ != nullptr) object_->AddRef();
  }
  ComPtr(const ComPtr& other) : ComPtr(other.object_) {}
  ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPtr() { Reset(); }

  // Takes over a reference that the caller has.
  static ComPtr Adopt(Interface* object) {
    ComPtr taken;
    taken.object_ = object;
    return taken;
  }

  Interface* get() const { return object_; }
  Interface* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  // It holds nothing while the object is released, which may call us back.
  void Reset() {
    if (Interface* before = std::exchange(object_, nullptr)) before->Release();
  }
  // Gives the reference away.
  Interface* Detach() { return std::exchange(object_, nullptr); }
  // Where a call puts a reference.
  Interface** Out() {
    Reset();
    return &object_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }

  // The object's interface of that name; null when it has none, or there is no object.
  template <class Other>
  ComPtr<Other> As(REFIID iid) const {
    ComPtr<Other> other;
    // Some objects fail and leave what was there before.
    if (object_ == nullptr || FAILED(object_->QueryInterface(iid, other.OutVoid()))) {
      other.Detach();
    }
    return other;
  }

 private:
  Interface* object_ = nullptr;
};

}  // namespace vespro
