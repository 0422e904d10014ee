#include "log/LogRegistry.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "log/LogBatch.h"
#include "log/LogEngine.h"
#include "log/LogLayout.h"
#include "log/LogModule.h"
#include "log/THashtable.h"
#include "log/UVector.h"

namespace tavlog {

namespace {

enum : unsigned int { kEnginesMade = 1u, kModulesMade = 2u, kExitHandlerSet = 4u };

SRWLOCK g_lock = SRWLOCK_INIT;
std::atomic<unsigned int> g_nTablesMade{0};
THashtable<LogEngine>* g_pEngines;
THashtable<UVector>* g_pModules;

int32_t Normalize(int32_t engineId) { return engineId == 0 ? -1 : engineId; }

class SharedLock {
 public:
  SharedLock() { AcquireSRWLockShared(&g_lock); }
  ~SharedLock() { ReleaseSRWLockShared(&g_lock); }
};

class ExclusiveLock {
 public:
  ExclusiveLock() { AcquireSRWLockExclusive(&g_lock); }
  ~ExclusiveLock() { ReleaseSRWLockExclusive(&g_lock); }
};

// The exit handler. At process exit other threads have been cut off, perhaps
// inside the lock: then the tables are left to the system rather than waited for.
void DestroyTables() {
  if (!TryAcquireSRWLockExclusive(&g_lock)) return;
  delete g_pEngines;
  delete g_pModules;
  g_pEngines = nullptr;
  g_pModules = nullptr;
  g_nTablesMade.fetch_and(~(kEnginesMade | kModulesMade));
  ReleaseSRWLockExclusive(&g_lock);
}

// Called with the exclusive lock held.
void MakeTablesLocked() {
  unsigned int made = g_nTablesMade.load();
  if (!(made & kEnginesMade)) {
    g_pEngines = new (std::nothrow) THashtable<LogEngine>(151, 0.75f);
    if (g_pEngines != nullptr) made |= kEnginesMade;
  }
  if (!(made & kModulesMade)) {
    g_pModules = new (std::nothrow) THashtable<UVector>(151, 0.75f);
    if (g_pModules != nullptr) made |= kModulesMade;
  }
  if (!(made & kExitHandlerSet) && atexit(&DestroyTables) == 0) made |= kExitHandlerSet;
  g_nTablesMade.store(made);
}

// Makes the tables on first use; cheap once they exist.
void EnsureTables() {
  if ((g_nTablesMade.load(std::memory_order_acquire) & (kEnginesMade | kModulesMade)) == (kEnginesMade | kModulesMade))
    return;
  ExclusiveLock lock;
  MakeTablesLocked();
}

// Lookups, with the lock held (either mode).
LogEngine* FindEngine(int32_t engineId) {
  return g_pEngines != nullptr ? g_pEngines->Get(Normalize(engineId)) : nullptr;
}

UVector* FindModuleList(uint64_t moduleKey) {
  return g_pModules != nullptr ? g_pModules->Get(static_cast<int32_t>(ModuleHash(moduleKey))) : nullptr;
}

bool EnabledFor(const LogEngine* engine, uint32_t severity) {
  return engine != nullptr && engine->HasSinkSlot() && severity >= engine->MinSeverity();
}

// Drops an engine's ID (in either spelling, 0 or -1 for the default) from one module list.
void RemoveFromList(int32_t, void* value, void* context) {
  auto* list = static_cast<UVector*>(value);
  const int32_t engineId = *static_cast<const int32_t*>(context);
  for (int i = list->LastIndex(); i >= 0; --i)
    if (Normalize(list->At(i)) == engineId) list->RemoveAt(i);
}

}  // namespace

bool IsEnabled(int32_t engineId, uint32_t severity, uint64_t moduleKey) {
  EnsureTables();
  SharedLock lock;
  if (EnabledFor(FindEngine(engineId), severity)) return true;
  const UVector* list = FindModuleList(moduleKey);
  if (list == nullptr) return false;
  for (int i = 0; i < list->Count(); ++i)
    if (EnabledFor(FindEngine(list->At(i)), severity)) return true;
  return false;
}

int Write(int32_t engineId, const LogRecord* record) {
  EnsureTables();
  const LogLine line(*record);
  LogBatch batch;
  int result = -1;
  {
    ExclusiveLock lock;
    if (const UVector* list = FindModuleList(record->moduleKey)) {
      for (int i = 0; i < list->Count(); ++i) {
        LogEngine* listener = FindEngine(list->At(i));
        if (listener != nullptr && listener->HasActiveSink()) listener->Dispatch(line, &batch);
      }
    }
    LogEngine* engine = FindEngine(engineId);
    if (engine != nullptr && engine->HasActiveSink()) result = engine->Dispatch(line, &batch);
  }
  batch.Deliver(line);
  return result;
}

HRESULT CreateEngine(int32_t engineId, uint32_t minSeverity) {
  ExclusiveLock lock;
  MakeTablesLocked();
  if (g_pEngines == nullptr) return E_OUTOFMEMORY;
  if (LogEngine* engine = FindEngine(engineId)) {
    engine->SetMinSeverity(minSeverity);
    return S_FALSE;
  }
  auto* engine = new (std::nothrow) LogEngine(minSeverity);
  if (engine == nullptr) return E_OUTOFMEMORY;
  if (!g_pEngines->Put(Normalize(engineId), engine)) {
    delete engine;
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

HRESULT DeleteEngine(int32_t engineId) {
  ExclusiveLock lock;
  if (g_pEngines == nullptr || !g_pEngines->Delete(Normalize(engineId))) return S_FALSE;
  const int32_t normalized = Normalize(engineId);
  if (g_pModules != nullptr) g_pModules->ForEach(&RemoveFromList, const_cast<int32_t*>(&normalized));
  return S_OK;
}

bool EngineExists(int32_t engineId) {
  SharedLock lock;
  return FindEngine(engineId) != nullptr;
}

HRESULT AttachSink(int32_t engineId, LogSink* sink, int* sinkIndex) {
  ExclusiveLock lock;
  LogEngine* engine = FindEngine(engineId);
  if (engine == nullptr) {
    sink->Release();
    return E_INVALIDARG;
  }
  const int index = engine->AddSink(sink);
  if (index < 0) return E_OUTOFMEMORY;
  if (sinkIndex != nullptr) *sinkIndex = index;
  return S_OK;
}

HRESULT SetSink(int32_t engineId, int sinkIndex, uint32_t layoutKind, uint32_t minSeverity) {
  ExclusiveLock lock;
  LogEngine* engine = FindEngine(engineId);
  LogSink* sink = engine != nullptr ? engine->SinkAt(sinkIndex) : nullptr;
  if (sink == nullptr) return E_INVALIDARG;
  sink->SetLayout(layoutKind, minSeverity);
  return S_OK;
}

HRESULT DetachSink(int32_t engineId, int sinkIndex) {
  ExclusiveLock lock;
  LogEngine* engine = FindEngine(engineId);
  if (engine == nullptr || !engine->DetachSink(sinkIndex)) return E_INVALIDARG;
  return S_OK;
}

HRESULT Listen(int32_t engineId, uint64_t moduleKey) {
  ExclusiveLock lock;
  MakeTablesLocked();
  if (FindEngine(engineId) == nullptr) return E_INVALIDARG;
  if (g_pModules == nullptr) return E_OUTOFMEMORY;
  const int32_t hash = static_cast<int32_t>(ModuleHash(moduleKey));
  UVector* list = g_pModules->Get(hash);
  if (list == nullptr) {
    list = new (std::nothrow) UVector(16, 0.5);
    if (list == nullptr) return E_OUTOFMEMORY;
    if (!g_pModules->Put(hash, list)) {
      delete list;
      return E_OUTOFMEMORY;
    }
  }
  for (int i = 0; i < list->Count(); ++i)
    if (Normalize(list->At(i)) == Normalize(engineId)) return S_FALSE;
  return list->Append(engineId) ? S_OK : E_OUTOFMEMORY;
}

int ListenerCount(uint64_t moduleKey) {
  SharedLock lock;
  const UVector* list = FindModuleList(moduleKey);
  return list != nullptr ? list->Count() : 0;
}

int ThreadCount(int32_t engineId) {
  SharedLock lock;
  const LogEngine* engine = FindEngine(engineId);
  return engine != nullptr ? engine->Threads().Count() : -1;
}

}  // namespace tavlog
