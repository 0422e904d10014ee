#include "server/PackClasses.h"

#include <atomic>

namespace tavpack {
namespace {

// Plain arrays with constant initialisation: safe whatever order the static
// registrars of the other files run in.
const PackClass* g_classes[kMaxPackClasses];
std::atomic<std::size_t> g_classCount{0};
std::atomic<long> g_liveCount{0};
HMODULE g_module = nullptr;

}  // namespace

bool RegisterPackClass(const PackClass* entry) {
  const std::size_t index = g_classCount.load();
  if (entry == nullptr || index >= kMaxPackClasses) return false;
  g_classes[index] = entry;
  g_classCount.store(index + 1);
  return true;
}

std::size_t PackClassCount() { return g_classCount.load(); }

const PackClass* PackClassAt(std::size_t index) { return index < g_classCount.load() ? g_classes[index] : nullptr; }

const PackClass* FindPackClass(REFCLSID clsid) {
  for (std::size_t i = 0; i < g_classCount.load(); ++i) {
    if (IsEqualCLSID(*g_classes[i]->clsid, clsid)) return g_classes[i];
  }
  return nullptr;
}

void PackObjectCreated() { ++g_liveCount; }

void PackObjectDestroyed() { --g_liveCount; }

void PackLockServer(bool lock) {
  if (lock) ++g_liveCount;
  else --g_liveCount;
}

bool PackCanUnload() { return g_liveCount.load() == 0; }

HMODULE PackModule() { return g_module; }

void SetPackModule(HMODULE module) { g_module = module; }

}  // namespace tavpack
