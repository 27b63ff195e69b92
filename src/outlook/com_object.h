// outlook/com_object.h - the base of every COM object of ours: reference counts and QueryInterface,
// written once.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <atomic>
#include <type_traits>

#include "outlook/com_ptr.h"

namespace vespro {

// Who still needs a module's code: its living objects and the locks of its clients. Any thread.
class ModuleUse {
 public:
  void Add() noexcept { ++count_; }
  void Drop() noexcept { --count_; }
  long count() const noexcept { return count_; }

 private:
  std::atomic<long> count_{0};
};

// COM's interfaces have no virtual destructors, and need none: an object is destroyed in Release
// only.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// Begins with one reference, its maker's: see MakeComObject. Derived classes are final, with a
// private destructor or none of their own. Counting is for any thread, as COM has it.
//
// It answers IUnknown, `First`, `More`, IDispatch if First has it, and what AlsoAnswers says.
template <class First, class... More>
class ComObject : public First, public More... {
 public:
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid == __uuidof(IUnknown) || iid == __uuidof(First) || AnswersDispatch(iid) ||
        AlsoAnswers(iid)) {
      *out = static_cast<First*>(this);
    } else {
      (Offer<More>(iid, out), ...);
    }
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  // `use` must outlive it.
  explicit ComObject(ModuleUse& use) noexcept : use_(use) { use_.Add(); }
  virtual ~ComObject() { use_.Drop(); }

  ModuleUse& use() const { return use_; }

 private:
  template <class Interface>
  void Offer(REFIID iid, void** out) {
    if (iid == __uuidof(Interface)) *out = static_cast<Interface*>(this);
  }
  static bool AnswersDispatch(REFIID iid) {
    return std::is_base_of_v<IDispatch, First> && iid == __uuidof(IDispatch);
  }
  // Further names of First.
  virtual bool AlsoAnswers(REFIID) const { return false; }

  ModuleUse& use_;
  std::atomic<ULONG> references_{1};
};

#pragma GCC diagnostic pop

template <class Object, class... Arguments>
ComPtr<Object> MakeComObject(Arguments&&... arguments) {
  return ComPtr<Object>::Adopt(new Object(std::forward<Arguments>(arguments)...));
}

}  // namespace vespro
