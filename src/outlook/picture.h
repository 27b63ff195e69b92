// outlook/picture.h - pictures of our own as Office takes them from an add-in.
#pragma once

#include <windows.h>

#include <oaidl.h>

#include <string_view>

#include "host/desktop.h"
#include "outlook/com_ptr.h"

namespace vespro {

// The resource of our module as an OLE picture; null where there is none.
ComPtr<IDispatch> OlePicture(std::string_view resource, PictureKind kind);

}  // namespace vespro
