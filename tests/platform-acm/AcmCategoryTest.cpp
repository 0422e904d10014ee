// The audio compressor category as Wine's system device enumerator lists it
// once TavPlatformPack.dll is registered in the test prefix, and the filters
// its monikers bind to.
#include "tests/platform-acm/AcmTestSupport.h"
#include "tests/platform-acm/TestPcmSource.h"
#include "wine/acm/AcmCategory.h"
#include "wine/acm/AcmCompressorClsid.h"
#include "wine/acm/AcmFormats.h"
#include "wine/acm/WaveMediaType.h"

#include <uuids.h>
#include <vfwmsgs.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace acmtest;

namespace {

struct Entry {
  std::wstring name;
  std::wstring clsid;
  int acmId;
  IMoniker* moniker;
};

std::wstring ReadString(IPropertyBag* bag, const wchar_t* name) {
  VARIANT value;
  VariantInit(&value);
  std::wstring text;
  if (SUCCEEDED(bag->Read(name, &value, nullptr)) && V_VT(&value) == VT_BSTR) text = V_BSTR(&value);
  VariantClear(&value);
  return text;
}

int ReadInt(IPropertyBag* bag, const wchar_t* name) {
  VARIANT value;
  VariantInit(&value);
  int number = -1;
  if (SUCCEEDED(bag->Read(name, &value, nullptr)) && V_VT(&value) == VT_I4) number = V_I4(&value);
  VariantClear(&value);
  return number;
}

// The category's entries, or none; *result gets CreateClassEnumerator's HRESULT.
std::vector<Entry> ListCategory(HRESULT* result) {
  std::vector<Entry> entries;
  ICreateDevEnum* devices = nullptr;
  *result = CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                             reinterpret_cast<void**>(&devices));
  if (FAILED(*result)) return entries;
  IEnumMoniker* monikers = nullptr;
  *result = devices->CreateClassEnumerator(CLSID_AudioCompressorCategory, &monikers, 0);
  devices->Release();
  if (*result != S_OK) return entries;
  IMoniker* moniker = nullptr;
  while (monikers->Next(1, &moniker, nullptr) == S_OK) {
    IPropertyBag* bag = nullptr;
    if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, reinterpret_cast<void**>(&bag)))) {
      entries.push_back({ReadString(bag, L"FriendlyName"), ReadString(bag, L"CLSID"), ReadInt(bag, L"AcmId"), moniker});
      bag->Release();
    } else {
      moniker->Release();
    }
  }
  monikers->Release();
  return entries;
}

void Release(std::vector<Entry>& entries) {
  for (Entry& entry : entries) entry.moniker->Release();
  entries.clear();
}

std::vector<std::wstring> SortedNames(const std::vector<Entry>& entries) {
  std::vector<std::wstring> names;
  for (const Entry& entry : entries) names.push_back(entry.name);
  std::sort(names.begin(), names.end());
  return names;
}

std::wstring GuidText(REFGUID guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return text;
}

// Other tests may add entries of their own to the category for a while: only
// the entries that name the pack's compressor count here.
std::vector<Entry> OurEntries(std::vector<Entry> entries) {
  std::vector<Entry> ours;
  for (Entry& entry : entries) {
    if (entry.clsid == GuidText(CLSID_TavAcmCompressor)) ours.push_back(entry);
    else entry.moniker->Release();
  }
  return ours;
}

class AcmCategory : public ::testing::Test {
 protected:
  void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
  void TearDown() override { CoUninitialize(); }
};

}  // namespace

TEST_F(AcmCategory, ListsExactlyTheEncodableFormatTagsByName) {
  HRESULT hr = E_FAIL;
  std::vector<Entry> entries = OurEntries(ListCategory(&hr));
  ASSERT_EQ(hr, S_OK);
  // Wine 8's codecs that encode 16-bit PCM, named as ACM names them.
  const std::vector<std::wstring> expected = {L"A-Law", L"GSM 6.10", L"IMA ADPCM", L"PCM", L"U-Law"};
  EXPECT_EQ(SortedNames(entries), expected);

  std::vector<std::wstring> encodable;
  for (const tavacm::AcmFormatTag& tag : tavacm::EncodableFormatTags()) encodable.push_back(tag.name);
  std::sort(encodable.begin(), encodable.end());
  EXPECT_EQ(SortedNames(entries), encodable);

  for (const Entry& entry : entries) {
    EXPECT_EQ(tavacm::FormatTagName(static_cast<WORD>(entry.acmId)), entry.name);
  }
  Release(entries);
}

TEST_F(AcmCategory, EveryMonikerBindsToACompressorForItsFormatTag) {
  HRESULT hr = E_FAIL;
  std::vector<Entry> entries = OurEntries(ListCategory(&hr));
  ASSERT_EQ(hr, S_OK);
  ASSERT_EQ(entries.size(), 5u);
  for (const Entry& entry : entries) {
    SCOPED_TRACE(std::string(entry.name.begin(), entry.name.end()));
    IBaseFilter* filter = nullptr;
    ASSERT_EQ(entry.moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter)), S_OK);
    CLSID clsid = {};
    filter->GetClassID(&clsid);
    EXPECT_TRUE(IsEqualCLSID(clsid, CLSID_TavAcmCompressor));
    IPin* input = PinOf(filter, 0);
    IPin* output = PinOf(filter, 1);
    ASSERT_NE(input, nullptr);
    ASSERT_NE(output, nullptr);
    EXPECT_EQ(PinName(input), L"Input");
    EXPECT_EQ(PinName(output), L"Output");
    IMemInputPin* memInput = nullptr;
    EXPECT_EQ(input->QueryInterface(IID_IMemInputPin, reinterpret_cast<void**>(&memInput)), S_OK);
    if (memInput != nullptr) memInput->Release();
    IAMStreamConfig* config = nullptr;
    ASSERT_EQ(output->QueryInterface(IID_IAMStreamConfig, reinterpret_cast<void**>(&config)), S_OK);

    // The filter learned its format tag from the moniker's bag: every
    // entry encodes 8 kHz mono 16-bit PCM, into its own tag.
    IGraphBuilder* graph = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                               reinterpret_cast<void**>(&graph)),
              S_OK);
    auto* source = new TestPcmSource(Pcm16Format(8000, 1));
    source->NonDelegatingAddRef();
    graph->AddFilter(source, L"source");
    graph->AddFilter(filter, L"Audio Compressor");
    ASSERT_EQ(graph->ConnectDirect(source->OutputPin(), input, nullptr), S_OK);
    int count = 0;
    int size = 0;
    EXPECT_EQ(config->GetNumberOfCapabilities(&count, &size), S_OK);
    EXPECT_GE(count, 1);
    EXPECT_EQ(size, 52);
    AM_MEDIA_TYPE* type = nullptr;
    ASSERT_EQ(config->GetFormat(&type), S_OK);
    EXPECT_EQ(Header(tavacm::WaveFormatOf(*type)).wFormatTag, entry.acmId);
    EXPECT_TRUE(IsEqualGUID(type->subtype, tavacm::WaveSubtype(static_cast<WORD>(entry.acmId))));
    DeleteMediaType(type);

    graph->RemoveFilter(source);
    graph->RemoveFilter(filter);
    graph->Release();
    source->NonDelegatingRelease();
    config->Release();
    input->Release();
    output->Release();
    filter->Release();
  }
  Release(entries);
}

namespace {

// The subkeys of a key with the values an entry has.
struct RegistryEntry {
  std::wstring key;
  std::wstring friendlyName;
  std::wstring clsid;
  DWORD acmId;
};

std::vector<RegistryEntry> InstanceEntries(HKEY root) {
  std::vector<RegistryEntry> entries;
  const std::wstring path = L"Software\\Classes\\CLSID\\" + GuidText(CLSID_AudioCompressorCategory) + L"\\Instance";
  HKEY instance = nullptr;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &instance) != ERROR_SUCCESS) return entries;
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    DWORD length = 256;
    if (RegEnumKeyExW(instance, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    RegistryEntry entry = {name, L"", L"", 0};
    wchar_t text[256] = {};
    DWORD size = sizeof(text);
    if (RegGetValueW(instance, name, L"FriendlyName", RRF_RT_REG_SZ, nullptr, text, &size) == ERROR_SUCCESS)
      entry.friendlyName = text;
    size = sizeof(text);
    if (RegGetValueW(instance, name, L"CLSID", RRF_RT_REG_SZ, nullptr, text, &size) == ERROR_SUCCESS)
      entry.clsid = text;
    size = sizeof(entry.acmId);
    RegGetValueW(instance, name, L"AcmId", RRF_RT_REG_DWORD, nullptr, &entry.acmId, &size);
    entries.push_back(entry);
  }
  RegCloseKey(instance);
  return entries;
}

}  // namespace

// Registration writes into HKLM; here HKLM is redirected to a scratch key of
// this process, so the shared prefix's category is never touched.
TEST(AcmCategoryRegistry, RegisteringTwiceKeepsOneEntryPerTagAndUnregisteringRemovesOnlyOurs) {
  const std::vector<tavacm::AcmFormatTag> tags = tavacm::EncodableFormatTags();
  ASSERT_EQ(tags.size(), 5u);
  const std::wstring scratchPath = L"Software\\TavTest\\AcmCategory" + std::to_wstring(GetCurrentProcessId());
  HKEY scratch = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, scratchPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &scratch,
                            nullptr),
            ERROR_SUCCESS);
  ASSERT_EQ(RegOverridePredefKey(HKEY_LOCAL_MACHINE, scratch), ERROR_SUCCESS);

  // Somebody else's entry in the category.
  const std::wstring foreignPath =
      L"Software\\Classes\\CLSID\\" + GuidText(CLSID_AudioCompressorCategory) + L"\\Instance\\Somebody's codec";
  HKEY foreign = nullptr;
  RegCreateKeyExW(scratch, foreignPath.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &foreign, nullptr);
  const std::wstring otherClass = GuidText(CLSID_FilterGraph);
  RegSetValueExW(foreign, L"CLSID", 0, REG_SZ, reinterpret_cast<const BYTE*>(otherClass.c_str()),
                 static_cast<DWORD>((otherClass.size() + 1) * sizeof(wchar_t)));
  RegCloseKey(foreign);

  EXPECT_EQ(AcmRegisterCompressorCategory(L"unused"), S_OK);
  EXPECT_EQ(AcmRegisterCompressorCategory(L"unused"), S_OK);
  std::vector<RegistryEntry> entries = InstanceEntries(scratch);
  EXPECT_EQ(entries.size(), tags.size() + 1);
  for (const tavacm::AcmFormatTag& tag : tags) {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&tag](const RegistryEntry& e) { return e.friendlyName == tag.name; });
    ASSERT_NE(found, entries.end()) << std::string(tag.name.begin(), tag.name.end());
    EXPECT_EQ(found->key, tag.name);
    EXPECT_EQ(found->clsid, GuidText(CLSID_TavAcmCompressor));
    EXPECT_EQ(found->acmId, tag.tag);
  }

  EXPECT_EQ(AcmUnregisterCompressorCategory(), S_OK);
  entries = InstanceEntries(scratch);
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].key, L"Somebody's codec");
  EXPECT_EQ(AcmUnregisterCompressorCategory(), S_OK);

  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  RegCloseKey(scratch);
  RegDeleteTreeW(HKEY_CURRENT_USER, scratchPath.c_str());
}
