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

std::wstring ReadString(IPropertyBag* bag, const wchar_t* name)
{
    VARIANT value;
    VariantInit(&value);
    std::wstring text;
    if (SUCCEEDED(bag->Read(name, &value, nullptr)) && V_VT(&value) == VT_BSTR)
        text = V_BSTR(&value);
    VariantClear(&value);
    return text;
}

int ReadInt(IPropertyBag* bag, const wchar_t* name)
{
    VARIANT value;
    VariantInit(&value);
    int number = -1;
    if (SUCCEEDED(bag->Read(name, &value, nullptr)) && V_VT(&value) == VT_I4)
        number = V_I4(&value);
    VariantClear(&value);
    return number;
}

// The category's entries, or none; *result gets CreateClassEnumerator's HRESULT.
std::vector<Entry> ListCategory(HRESULT* result)
{
    std::vector<Entry> entries;
    ICreateDevEnum* devices = nullptr;
    *result = CoCreateInstance(CLSID_SystemDeviceEnum, nullptr, CLSCTX_INPROC_SERVER, IID_ICreateDevEnum,
                               reinterpret_cast<void**>(&devices));
    if (FAILED(*result))
        return entries;
    IEnumMoniker* monikers = nullptr;
    *result = devices->CreateClassEnumerator(CLSID_AudioCompressorCategory, &monikers, 0);
    devices->Release();
    if (*result != S_OK)
        return entries;
    IMoniker* moniker = nullptr;
    while (monikers->Next(1, &moniker, nullptr) == S_OK) {
        IPropertyBag* bag = nullptr;
        if (SUCCEEDED(moniker->BindToStorage(nullptr, nullptr, IID_IPropertyBag, reinterpret_cast<void**>(&bag)))) {
            entries.push_back({ReadString(bag, L"FriendlyName"), ReadString(bag, L"CLSID"),
                               ReadInt(bag, L"AcmId"), moniker});
            bag->Release();
        } else {
            moniker->Release();
        }
    }
    monikers->Release();
    return entries;
}

void Release(std::vector<Entry>& entries)
{
    for (Entry& entry : entries)
        entry.moniker->Release();
    entries.clear();
}

std::vector<std::wstring> SortedNames(const std::vector<Entry>& entries)
{
    std::vector<std::wstring> names;
    for (const Entry& entry : entries)
        names.push_back(entry.name);
    std::sort(names.begin(), names.end());
    return names;
}

std::wstring GuidText(REFGUID guid)
{
    wchar_t text[40] = {};
    StringFromGUID2(guid, text, 40);
    return text;
}

class AcmCategory : public ::testing::Test {
protected:
    void SetUp() override { CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    void TearDown() override { CoUninitialize(); }
};

}  // namespace

TEST_F(AcmCategory, ListsExactlyTheEncodableFormatTagsByName)
{
    HRESULT hr = E_FAIL;
    std::vector<Entry> entries = ListCategory(&hr);
    ASSERT_EQ(hr, S_OK);
    // Wine 8's codecs that encode 16-bit PCM, named as ACM names them.
    const std::vector<std::wstring> expected = {L"A-Law", L"GSM 6.10", L"IMA ADPCM", L"PCM", L"U-Law"};
    EXPECT_EQ(SortedNames(entries), expected);

    std::vector<std::wstring> encodable;
    for (const tavacm::AcmFormatTag& tag : tavacm::EncodableFormatTags())
        encodable.push_back(tag.name);
    std::sort(encodable.begin(), encodable.end());
    EXPECT_EQ(SortedNames(entries), encodable);

    for (const Entry& entry : entries) {
        EXPECT_EQ(entry.clsid, GuidText(CLSID_TavAcmCompressor)) << entry.name.c_str();
        EXPECT_EQ(tavacm::FormatTagName(static_cast<WORD>(entry.acmId)), entry.name);
    }
    Release(entries);
}

TEST_F(AcmCategory, EveryMonikerBindsToACompressorForItsFormatTag)
{
    HRESULT hr = E_FAIL;
    std::vector<Entry> entries = ListCategory(&hr);
    ASSERT_EQ(hr, S_OK);
    ASSERT_FALSE(entries.empty());
    for (const Entry& entry : entries) {
        SCOPED_TRACE(std::string(entry.name.begin(), entry.name.end()));
        IBaseFilter* filter = nullptr;
        ASSERT_EQ(entry.moniker->BindToObject(nullptr, nullptr, IID_IBaseFilter, reinterpret_cast<void**>(&filter)),
                  S_OK);
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
        if (memInput != nullptr)
            memInput->Release();
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

TEST_F(AcmCategory, RegisteringAgainKeepsOneEntryPerTagAndUnregisteringEmptiesIt)
{
    ASSERT_EQ(AcmRegisterCompressorCategory(L"unused"), S_OK);
    ASSERT_EQ(AcmRegisterCompressorCategory(L"unused"), S_OK);
    HRESULT hr = E_FAIL;
    std::vector<Entry> entries = ListCategory(&hr);
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(entries.size(), 5u);
    Release(entries);

    ASSERT_EQ(AcmUnregisterCompressorCategory(), S_OK);
    entries = ListCategory(&hr);
    EXPECT_EQ(hr, S_FALSE);  // an empty category gives no enumerator
    EXPECT_TRUE(entries.empty());
    EXPECT_EQ(AcmUnregisterCompressorCategory(), S_OK);

    // Leave the prefix as the pack's registration made it.
    ASSERT_EQ(AcmRegisterCompressorCategory(L"unused"), S_OK);
    entries = ListCategory(&hr);
    EXPECT_EQ(entries.size(), 5u);
    Release(entries);
}
