// Without the pack, Wine's device enumerator lists no audio compressors:
// the reason the pack registers its own.
#include <windows.h>
#include <strmif.h>
#include <uuids.h>

#include <gtest/gtest.h>

TEST(AcmBuiltinCategory, WineAloneListsNoAudioCompressors) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  ICreateDevEnum* devices = nullptr;
  ASSERT_EQ(CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                             reinterpret_cast<void**>(&devices)),
            S_OK);
  IEnumMoniker* monikers = reinterpret_cast<IEnumMoniker*>(1);
  EXPECT_EQ(devices->CreateClassEnumerator(CLSID_AudioCompressorCategory, &monikers, 0), S_FALSE);
  EXPECT_EQ(monikers, nullptr);
  devices->Release();
  CoUninitialize();
}
