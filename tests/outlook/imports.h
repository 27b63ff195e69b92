// outlook/imports.h - takes a function of Windows' from a module that was loaded: its calls then
// come to another one. Before the module runs on other threads.
#pragma once

#include <windows.h>

namespace vespro::standin {

// The function that was called before; nullptr when the module does not import that name.
void* ReplaceImport(HMODULE module, const char* function, void* replacement);

}  // namespace vespro::standin
