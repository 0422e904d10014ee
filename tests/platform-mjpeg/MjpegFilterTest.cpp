// The MJPEG compressor filter as Wine's COM and filter graph see it, created
// through the registered pack: its quality interface and property page, the
// input types it takes and refuses, and a sample shorter than the frame.
#include <gtest/gtest.h>

#include <windows.h>
#include <control.h>
#include <ocidl.h>
#include <strmif.h>
#include <uuids.h>
#include <vfwmsgs.h>

#include <string>
#include <vector>

#include "TestPushSource.h"
#include "framework/MediaType.h"
#include "mjpeg/MjpegClsid.h"

namespace {

constexpr DWORD kYuy2 = MAKEFOURCC('Y', 'U', 'Y', '2');

template <class T>
struct Ref {
  T* p = nullptr;
  ~Ref() {
    if (p) p->Release();
  }
  T** operator&() { return &p; }
  T* operator->() const { return p; }
  explicit operator bool() const { return p != nullptr; }
};

class MjpegFilter : public ::testing::Test {
 protected:
  void SetUp() override {
    CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    ASSERT_EQ(CoCreateInstance(CLSID_TavMjpegCompressor, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseFilter,
                               reinterpret_cast<void**>(&filter)),
              S_OK);
    ASSERT_EQ(filter->FindPin(L"In", &input.p), S_OK);
    ASSERT_EQ(filter->FindPin(L"Out", &output.p), S_OK);
  }
  void TearDown() override {
    if (filter) filter->Release();
    CoUninitialize();
  }
  IBaseFilter* filter = nullptr;
  Ref<IPin> input, output;
};

TEST_F(MjpegFilter, VideoCompressionInterfaceSetsAndDescribesTheQuality) {
  Ref<IAMVideoCompression> compression;
  ASSERT_EQ(output->QueryInterface(IID_IAMVideoCompression, reinterpret_cast<void**>(&compression)), S_OK);
  wchar_t version[32] = {}, description[128] = {};
  int versionBytes = sizeof(version), descriptionBytes = sizeof(description);
  long keyRate = 0, pFrames = -1, capabilities = 0;
  double defaultQuality = 0;
  ASSERT_EQ(compression->GetInfo(version, &versionBytes, description, &descriptionBytes, &keyRate, &pFrames,
                                 &defaultQuality, &capabilities),
            S_OK);
  EXPECT_STREQ(version, L"1.0");
  EXPECT_EQ(std::wstring(description).rfind(L"Tav MJPEG", 0), 0u) << std::string(description, description + 9);
  EXPECT_EQ(keyRate, 1);
  EXPECT_EQ(pFrames, 0);
  EXPECT_DOUBLE_EQ(defaultQuality, 0.85);
  EXPECT_EQ(capabilities, CompressionCaps_CanQuality);

  double quality = 0;
  ASSERT_EQ(compression->get_Quality(&quality), S_OK);
  EXPECT_DOUBLE_EQ(quality, 0.85);
  EXPECT_EQ(compression->put_Quality(0.2), S_OK);
  EXPECT_EQ(compression->get_Quality(&quality), S_OK);
  EXPECT_DOUBLE_EQ(quality, 0.2);
  EXPECT_EQ(compression->put_Quality(1.5), E_INVALIDARG);
  EXPECT_EQ(compression->get_Quality(&quality), S_OK);
  EXPECT_DOUBLE_EQ(quality, 0.2);
  EXPECT_EQ(compression->put_Quality(0.0), S_OK);  // the coarsest: quality 1
  EXPECT_EQ(compression->get_Quality(&quality), S_OK);
  EXPECT_DOUBLE_EQ(quality, 0.01);
  EXPECT_EQ(compression->put_Quality(-1.0), S_OK);  // back to the default
  EXPECT_EQ(compression->get_Quality(&quality), S_OK);
  EXPECT_DOUBLE_EQ(quality, 0.85);
  EXPECT_EQ(compression->get_Quality(nullptr), E_POINTER);
  EXPECT_EQ(compression->put_KeyFrameRate(5), E_INVALIDARG);  // every frame is a key frame
}

TEST_F(MjpegFilter, PropertyPageIsTheQualityPage) {
  Ref<ISpecifyPropertyPages> pages;
  ASSERT_EQ(filter->QueryInterface(IID_ISpecifyPropertyPages, reinterpret_cast<void**>(&pages)), S_OK);
  CAUUID list = {0, nullptr};
  ASSERT_EQ(pages->GetPages(&list), S_OK);
  ASSERT_EQ(list.cElems, 1u);
  EXPECT_EQ(list.pElems[0], CLSID_TavMjpegPropertyPage);
  CoTaskMemFree(list.pElems);

  Ref<IPropertyPage> page;
  ASSERT_EQ(CoCreateInstance(CLSID_TavMjpegPropertyPage, nullptr, CLSCTX_INPROC_SERVER, IID_IPropertyPage,
                             reinterpret_cast<void**>(&page)),
            S_OK);
  PROPPAGEINFO info = {};
  ASSERT_EQ(page->GetPageInfo(&info), S_OK);
  EXPECT_STREQ(info.pszTitle, L"MJPEG");
  CoTaskMemFree(info.pszTitle);
  IUnknown* object = filter;
  EXPECT_EQ(page->SetObjects(1, &object), S_OK);
  EXPECT_EQ(page->IsPageDirty(), S_FALSE);
  EXPECT_EQ(page->SetObjects(0, nullptr), S_OK);
}

HRESULT Accepts(IPin* pin, const CMediaType& type) { return pin->QueryAccept(&type); }

TEST_F(MjpegFilter, TakesTheSourceFormatsAndRefusesOthers) {
  const REFERENCE_TIME frame = 400000;
  EXPECT_EQ(Accepts(input.p, VideoType(320, 240, 24, BI_RGB, frame)), S_OK);
  EXPECT_EQ(Accepts(input.p, VideoType(320, -240, 24, BI_RGB, frame)), S_OK);
  EXPECT_EQ(Accepts(input.p, VideoType(320, 240, 32, BI_RGB, frame)), S_OK);
  EXPECT_EQ(Accepts(input.p, VideoType(320, 240, 8, BI_RGB, frame)), S_OK);
  EXPECT_EQ(Accepts(input.p, VideoType(320, 240, 16, kYuy2, frame)), S_OK);

  EXPECT_EQ(Accepts(input.p, VideoType(320, 240, 16, BI_RGB, frame)), S_FALSE);  // 16-bit RGB
  EXPECT_EQ(Accepts(input.p, VideoType(321, 240, 16, kYuy2, frame)), S_FALSE);   // odd YUY2 width
  EXPECT_EQ(Accepts(input.p, VideoType(320, 240, 12, MAKEFOURCC('I', '4', '2', '0'), frame)), S_FALSE);
  EXPECT_EQ(Accepts(input.p, VideoType(70000, 16, 24, BI_RGB, frame)), S_FALSE);  // wider than JPEG allows
  CMediaType audio;
  audio.SetType(&MEDIATYPE_Audio);
  EXPECT_EQ(input->QueryAccept(&audio), S_FALSE);

  // Nothing to offer on the output before the input is connected.
  Ref<IEnumMediaTypes> types;
  ASSERT_EQ(output->EnumMediaTypes(&types), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  EXPECT_EQ(types->Next(1, &type, nullptr), S_FALSE);
}

TEST_F(MjpegFilter, SampleShorterThanTheFrameIsRefused) {
  Ref<IGraphBuilder> graph;
  ASSERT_EQ(CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                             reinterpret_cast<void**>(&graph)),
            S_OK);
  const int width = 32, height = 16;
  const long frameBytes = width * height * 3;
  TestPushSource* source = TestPushSource::Create(VideoType(width, height, 24, BI_RGB, 400000), frameBytes);
  ASSERT_NE(source, nullptr);
  ASSERT_EQ(graph->AddFilter(source, L"source"), S_OK);
  ASSERT_EQ(graph->AddFilter(filter, L"Tav MJPEG"), S_OK);
  ASSERT_EQ(graph->ConnectDirect(source->OutputPin(), input.p, nullptr), S_OK);

  // Once the input is connected the output offers MJPG at the input's size.
  Ref<IEnumMediaTypes> types;
  ASSERT_EQ(output->EnumMediaTypes(&types), S_OK);
  AM_MEDIA_TYPE* type = nullptr;
  ASSERT_EQ(types->Next(1, &type, nullptr), S_OK);
  EXPECT_EQ(type->subtype, MEDIASUBTYPE_MJPG);
  const auto* info = reinterpret_cast<const VIDEOINFOHEADER*>(type->pbFormat);
  EXPECT_EQ(info->bmiHeader.biCompression, MAKEFOURCC('M', 'J', 'P', 'G'));
  EXPECT_EQ(info->bmiHeader.biWidth, width);
  EXPECT_EQ(info->bmiHeader.biHeight, height);
  EXPECT_EQ(info->AvgTimePerFrame, 400000);
  DeleteMediaType(type);

  Ref<IMediaControl> control;
  ASSERT_EQ(graph->QueryInterface(IID_IMediaControl, reinterpret_cast<void**>(&control)), S_OK);
  ASSERT_EQ(control->Run(), S_OK);
  std::vector<char> pixels(static_cast<size_t>(frameBytes), 'x');
  REFERENCE_TIME start = 0, stop = 400000;
  EXPECT_EQ(source->Push(pixels.data(), frameBytes - 1, &start, &stop), HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER));
  // A whole frame passes the check and meets the unconnected output.
  EXPECT_EQ(source->Push(pixels.data(), frameBytes, &start, &stop), VFW_E_NOT_CONNECTED);
  EXPECT_EQ(control->Stop(), S_OK);
  graph->RemoveFilter(source);
  graph->RemoveFilter(filter);
  source->Release();
}

}  // namespace
