#include "outlook/event_sink.h"

#include <utility>

#include "outlook/com_edge.h"
#include "outlook/variant.h"

namespace vespro {

ComPtr<IDispatch> ObjectArgument(const DISPPARAMS& arguments, UINT index) {
  if (index >= arguments.cArgs || arguments.rgvarg == nullptr) return nullptr;
  // The last one comes first.
  const VARIANT& argument = arguments.rgvarg[arguments.cArgs - 1 - index];
  Result<ComPtr<IDispatch>> object = Variant::CopyOf(argument).ToObject();
  return object.ok() ? std::move(object).value() : nullptr;
}

STDMETHODIMP EventSink::GetTypeInfoCount(UINT* count) {
  if (count == nullptr) return E_POINTER;
  *count = 0;
  return S_OK;
}

STDMETHODIMP EventSink::Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*,
                               EXCEPINFO*, UINT*) {
  const ComPtr<EventSink> self(this);
  const std::shared_ptr<void> kept = kept_.lock();
  return AtComEdge("an event", [&] {
    const DISPPARAMS none{};
    if (receiver_ != nullptr) receiver_->OnEvent(id, arguments == nullptr ? none : *arguments);
    return S_OK;
  });
}

Status EventConnection::Connect(IUnknown* source, REFIID events, EventReceiver& receiver,
                                const HostContext& context) {
  Disconnect();
  ComPtr<IUnknown> kept(source);
  const auto container = kept.As<IConnectionPointContainer>(IID_IConnectionPointContainer);
  ComPtr<IConnectionPoint> point;
  HRESULT result = E_NOINTERFACE;
  if (container) result = container->FindConnectionPoint(events, point.Out());
  if (FAILED(result)) point.Detach();
  auto sink = MakeComObject<EventSink>(context.use, events, receiver, context.kept_by_handlers);
  DWORD cookie = 0;
  if (SUCCEEDED(result)) result = point ? point->Advise(sink.get(), &cookie) : E_UNEXPECTED;
  if (FAILED(result)) {
    sink->Forget();
    return Status(Code::kUnavailable, "Outlook's events can't be had",
                  static_cast<std::uint32_t>(result));
  }
  source_ = std::move(kept);
  point_ = std::move(point);
  sink_ = std::move(sink);
  cookie_ = cookie;
  return {};
}

void EventConnection::Disconnect() {
  if (!sink_) return;
  // Unadvise and Release may let further events run, which may come here again or destroy us.
  const ComPtr<IUnknown> source = std::move(source_);
  const ComPtr<IConnectionPoint> point = std::move(point_);
  const ComPtr<EventSink> sink = std::move(sink_);
  sink->Forget();
  point->Unadvise(cookie_);
}

}  // namespace vespro
