// outlook/event_sink.h - events of Outlook's and Office's objects. One thread: Outlook's own.
#pragma once

#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>

#include <memory>
#include <utility>

#include "base/status.h"
#include "outlook/com_object.h"
#include "outlook/com_ptr.h"
#include "outlook/host_context.h"

namespace vespro {

class EventReceiver {
 public:
  // `id` is the event's number in its interface; others than those it knows are to be passed over.
  // The arguments are the caller's. It may end the events, or destroy the receiver.
  virtual void OnEvent(DISPID id, const DISPPARAMS& arguments) = 0;

 protected:
  ~EventReceiver() = default;
};

// The object among an event's arguments, which count from 0; null where there is none.
ComPtr<IDispatch> ObjectArgument(const DISPPARAMS& arguments, UINT index);

// What an event's source holds. It has no owner's reference, but a plain pointer that is taken from
// it first: an event on its way then reaches nobody, and no circle keeps Outlook alive.
class EventSink final : public ComObject<IDispatch> {
 public:
  // `kept` lives at least as long as a handler that has begun.
  EventSink(ModuleUse& use, REFIID events, EventReceiver& receiver, std::weak_ptr<void> kept)
      : ComObject(use), events_(events), receiver_(&receiver), kept_(std::move(kept)) {}

  void Forget() { receiver_ = nullptr; }

  STDMETHODIMP GetTypeInfoCount(UINT* count) override;
  STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  STDMETHODIMP Invoke(DISPID id, REFIID iid, LCID language, WORD flags, DISPPARAMS* arguments,
                      VARIANT* result, EXCEPINFO* exception, UINT* wrong_argument) override;

 private:
  ~EventSink() override = default;
  bool AlsoAnswers(REFIID iid) const override { return iid == events_; }

  const IID events_;
  EventReceiver* receiver_;
  const std::weak_ptr<void> kept_;
};

// Events of one source, from Connect to Disconnect or the end. The source is kept as long, since
// some end their events with the last reference.
class EventConnection {
 public:
  EventConnection() = default;
  EventConnection(const EventConnection&) = delete;
  EventConnection& operator=(const EventConnection&) = delete;
  ~EventConnection() { Disconnect(); }

  // `events` is the interface of the events. What it was connected to before is left. kUnavailable
  // with the HRESULT when the source has no such events or refuses.
  Status Connect(IUnknown* source, REFIID events, EventReceiver& receiver,
                 const HostContext& context);
  // Nothing arrives from then on. May be called at any time, and again.
  void Disconnect();
  bool connected() const { return static_cast<bool>(sink_); }

 private:
  ComPtr<IUnknown> source_;
  ComPtr<IConnectionPoint> point_;
  ComPtr<EventSink> sink_;
  DWORD cookie_ = 0;
};

}  // namespace vespro
