// The compiler's thread library asks Windows for functions that the systems of Outlook 2000 and
// 2002 lack, and those refuse to load a DLL that does. It needs them only for what is not done
// here. The linker takes these in place of the system's.
#include <windows.h>

#ifdef _WIN64
#define IMPORT_OF(name, bytes) __asm__("__imp_" name)
#else
#define IMPORT_OF(name, bytes) __asm__("__imp__" name "@" #bytes)
#endif

namespace {

// Goes round after 49 days: a wait that is on then ends early or late, once.
ULONGLONG WINAPI TickCount() { return GetTickCount(); }
// Its handler turns a debugger's message about a thread's name into nothing.
void* WINAPI NoHandler(ULONG, PVECTORED_EXCEPTION_HANDLER) { return nullptr; }
ULONG WINAPI NothingToRemove(void*) { return 0; }

}  // namespace

extern "C" {

extern ULONGLONG(WINAPI* const import_tick_count)() IMPORT_OF("GetTickCount64", 0);
ULONGLONG(WINAPI* const import_tick_count)() = TickCount;

extern void*(WINAPI* const import_add_handler)(ULONG, PVECTORED_EXCEPTION_HANDLER)
    IMPORT_OF("AddVectoredExceptionHandler", 8);
void*(WINAPI* const import_add_handler)(ULONG, PVECTORED_EXCEPTION_HANDLER) = NoHandler;

extern ULONG(WINAPI* const import_remove_handler)(void*)
    IMPORT_OF("RemoveVectoredExceptionHandler", 4);
ULONG(WINAPI* const import_remove_handler)(void*) = NothingToRemove;

}  // extern "C"
