// Under Wine, the AVI Mux class must be the platform pack's: Wine's own mux
// cannot record the DLL's graph (and can crash the process while trying).
#pragma once

#include <string>

namespace tavrec {

// Empty when recording can go ahead (not Wine, or the pack's mux is
// registered); else one line that says how to register the pack.
std::wstring CheckPlatformPack();

}  // namespace tavrec
