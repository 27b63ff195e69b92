// A DLL that does nothing, for load_bench.cc.
extern "C" __declspec(dllexport) int Nothing() { return 0; }
