// Handles per whole writer: how many process handles one
// InitEx/SetAudioStream/Start/frame/audio/Stop/Release cycle leaves behind,
// against what the platform's own objects leave behind when a program makes
// the same platform calls without the DLL: a filter graph and a capture
// graph builder, and both compressor categories listed through the system
// device enumerator (a counting pass, Reset, then every moniker's
// "FriendlyName" read from its property bag, the monikers kept until the
// end). Under Wine 8 that platform cycle alone leaves handles (registry keys
// of the device enumerator, one event of the filter graph); the writer cycle
// must leave no more per cycle than it does.
//
// Both growths are least-squares slopes of the handle count sampled after
// every cycle (the first tenth left out). The platform cycles run first,
// before the DLL is loaded. Exit 0 when the writer's slope is at most the
// platform's plus a quarter handle (room for one lazily made handle of the
// platform's thread pool in a run).
//
//   tav_init_release_handles [--cycles N]
#include <windows.h>
#include <dshow.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/soak/ProcessFigures.h"

namespace {

using tavsoak::Sample;

const double kRoomPerCycle = 0.25;

// A COM reference released at the end of its scope.
template <class T>
struct Ref {
  T* p = nullptr;
  ~Ref() {
    if (p) p->Release();
  }
  T** out() { return &p; }
};

// The platform's part of listing one category, as the writer lists it.
void ListCategory(REFCLSID category) {
  Ref<ICreateDevEnum> devEnum;
  if (FAILED(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                              reinterpret_cast<void**>(devEnum.out()))))
    return;
  Ref<IEnumMoniker> monikers;
  if (devEnum.p->CreateClassEnumerator(category, monikers.out(), 0) != S_OK) return;
  IMoniker* moniker = nullptr;
  while (monikers.p->Next(1, &moniker, nullptr) == S_OK) moniker->Release();
  monikers.p->Reset();
  std::vector<IMoniker*> kept;
  while (monikers.p->Next(1, &moniker, nullptr) == S_OK) {
    Ref<IPropertyBag> bag;
    if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, reinterpret_cast<void**>(bag.out())))) {
      VARIANT name;
      VariantInit(&name);
      bag.p->Read(L"FriendlyName", &name, nullptr);
      VariantClear(&name);
    }
    kept.push_back(moniker);
  }
  for (IMoniker* m : kept) m->Release();
}

void PlatformCycle() {
  Ref<ICaptureGraphBuilder2> builder;
  Ref<IGraphBuilder> graph;
  CoCreateInstance(CLSID_CaptureGraphBuilder2, nullptr, CLSCTX_INPROC_SERVER, IID_ICaptureGraphBuilder2,
                   reinterpret_cast<void**>(builder.out()));
  CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                   reinterpret_cast<void**>(graph.out()));
  if (builder.p && graph.p) builder.p->SetFiltergraph(graph.p);
  ListCategory(CLSID_VideoCompressorCategory);
  ListCategory(CLSID_AudioCompressorCategory);
}

// One whole writer; false (with the failing export printed) when a call fails.
bool WriterCycle(tavtest::MovieMakerDll& dll, const std::wstring& movie) {
  static std::vector<unsigned char> frame(16 * 8 * 3, 0x33), block(1920 * 4, 0x11);
  int id = 0;
  HRESULT hr = dll.InitEx(16, 8, 25.0, nullptr, &id);
  const char* failed = nullptr;
  if (hr != S_OK) failed = "TavMovieMakerInitEx";
  else if ((hr = dll.SetAudioStream(id, 16)) != S_OK) failed = "TavMovieMakerSetAudioStream";
  else if ((hr = dll.StartMovieRecord(id, movie.c_str())) != S_OK) failed = "TavMovieMakerStartMovieRecord";
  else if ((hr = dll.AddMovieFrame2(id, frame.data(), static_cast<unsigned>(frame.size()), 0, 0)) != S_OK)
    failed = "TavMovieMakerAddMovieFrame2";
  else if ((hr = dll.AddAudioSample2(id, block.data(), static_cast<unsigned>(block.size()), 0, 0)) != S_OK)
    failed = "TavMovieMakerAddAudioSample2";
  else if ((hr = dll.StopMovieRecord(id)) != S_OK) failed = "TavMovieMakerStopMovieRecord";
  if (id != 0) dll.Release(id);
  if (failed) printf("%s: 0x%08lX\n", failed, static_cast<unsigned long>(hr));
  return failed == nullptr;
}

template <class Cycle>
double HandleSlope(const char* title, int cycles, Cycle cycle) {
  std::vector<Sample> samples;
  for (int c = 0; c < cycles; ++c) {
    if (!cycle()) return -1e9;
    samples.push_back(tavsoak::Measure(c + 1));
  }
  const double slope = tavsoak::Slope(samples, &Sample::handles);
  printf("%-44s handles %4.0f -> %4.0f, %.3f a cycle\n", title, samples.front().handles, samples.back().handles, slope);
  return slope;
}

}  // namespace

int main(int argc, char** argv) {
  int cycles = 30;
  for (int i = 1; i + 1 < argc; i += 2)
    if (std::string(argv[i]) == "--cycles") cycles = atoi(argv[i + 1]);
  CoInitialize(nullptr);

  const double platform = HandleSlope("platform calls alone (no DLL loaded):", cycles, [] {
    PlatformCycle();
    return true;
  });

  auto dll = std::make_unique<tavtest::MovieMakerDll>();
  if (!dll->ok()) {
    printf("TavMovieMaker.dll or one of its exports was not found\n");
    return 2;
  }
  const std::wstring movie = tavtest::MakeTempDir() + L"cycle.avi";
  const double writer =
      HandleSlope("InitEx ... Release with audio and a recording:", cycles, [&] { return WriterCycle(*dll, movie); });
  if (writer < -1e8) return 1;
  if (writer > platform + kRoomPerCycle) {
    printf("FAIL: each writer cycle leaves %.2f handles more than the platform's own calls\n", writer - platform);
    return 1;
  }
  printf("the writer leaves no handles of its own per cycle\n");
  return 0;
}
