// Who this library is in the log: its two module names, its module key (the
// module handle of TavMovieMaker.dll) and its engine ID, and the hash under
// which a module's listening engines are kept. Any thread may call these.
#pragma once

#include <cstdint>

namespace tavlog {

const char* ModuleName1();  // "MovieMaker"
const char* ModuleName2();  // "TavMovieMaker"
// GetModuleHandleW(L"TavMovieMaker.dll"), asked once and kept.
uint64_t ModuleKey();
// The engine this library writes to: a static nothing assigns, so 0 (looked up as -1).
int32_t EngineId();

// The key printed "%x%x" (high 32 bits, then low), widened with the ANSI code
// page and hashed h = h * 31 + unit in 32-bit unsigned arithmetic from 0.
uint32_t ModuleHash(uint64_t moduleKey);

}  // namespace tavlog
