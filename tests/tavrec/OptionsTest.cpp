// tavrec's command line: every option's value, every check and its message.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tools/tavrec/Options.h"

namespace {

using tavrec::Options;

std::wstring Parse(std::vector<std::wstring> args, Options* out = nullptr) {
  args.insert(args.begin(), L"tavrec");
  std::vector<wchar_t*> argv;
  for (auto& arg : args) argv.push_back(arg.data());
  Options options;
  std::wstring problem = tavrec::ParseOptions(static_cast<int>(argv.size()), argv.data(), options);
  if (out) *out = options;
  return problem;
}

TEST(TavrecOptions, EveryOptionTakesItsValue) {
  Options o;
  ASSERT_EQ(L"", Parse({L"--input",
                        L"-",
                        L"--size",
                        L"1280x720",
                        L"--fps",
                        L"29.97",
                        L"--pixel-format",
                        L"3",
                        L"--bottom-up",
                        L"--frames",
                        L"300",
                        L"--audio-bits",
                        L"24",
                        L"--drop-every",
                        L"7",
                        L"--drop-by",
                        L"time",
                        L"--break-every",
                        L"11",
                        L"--video-compressor",
                        L"Uncompressed",
                        L"--audio-compressor",
                        L"IMA ADPCM",
                        L"--log",
                        L"a.log",
                        L"--log-layout",
                        L"5",
                        L"--log-severity",
                        L"warning",
                        L"--quiet",
                        L"out.avi"},
                       &o));
  EXPECT_EQ(L"out.avi", o.output);
  EXPECT_EQ(L"-", o.input);
  EXPECT_EQ(1280, o.width);
  EXPECT_EQ(720, o.height);
  EXPECT_DOUBLE_EQ(29.97, o.fps);
  EXPECT_EQ(3u, o.pixelFormat);
  EXPECT_TRUE(o.bottomUp);
  EXPECT_EQ(300, o.FrameLimit());
  EXPECT_TRUE(o.tone);
  EXPECT_EQ(24u, o.audioBits);
  EXPECT_EQ(7, o.dropEvery);
  EXPECT_EQ(tavrec::DropBy::Time, o.dropBy);
  EXPECT_EQ(11, o.breakEvery);
  EXPECT_EQ(L"Uncompressed", o.videoCompressor);
  EXPECT_EQ(L"IMA ADPCM", o.audioCompressor);
  EXPECT_EQ(L"a.log", o.logPath);
  EXPECT_EQ(5u, o.logLayout);
  EXPECT_EQ(3u, o.logSeverity);
  EXPECT_TRUE(o.quiet);
}

TEST(TavrecOptions, DefaultsAndTheEqualsForm) {
  Options o;
  ASSERT_EQ(L"", Parse({L"--duration=2", L"--tone", L"--log-severity=4", L"--log=x.log", L"out.avi"}, &o));
  EXPECT_EQ(640, o.width);
  EXPECT_EQ(480, o.height);
  EXPECT_EQ(50, o.FrameLimit());  // 2 s at 25 fps
  EXPECT_EQ(16u, o.audioBits);
  EXPECT_EQ(3u, o.logLayout);
  EXPECT_EQ(4u, o.logSeverity);
  EXPECT_EQ(tavrec::DropBy::Number, o.dropBy);
  ASSERT_EQ(L"", Parse({L"out.avi"}, &o));
  EXPECT_EQ(125, o.FrameLimit());  // the test card runs 5 s
  ASSERT_EQ(L"", Parse({L"--input", L"f.raw", L"--size", L"8x8", L"out.avi"}, &o));
  EXPECT_EQ(-1, o.FrameLimit());  // raw input runs to its end
  ASSERT_EQ(L"", Parse({L"--help"}, &o));
  EXPECT_TRUE(o.help);
  ASSERT_EQ(L"", Parse({L"-h"}, &o));
  EXPECT_TRUE(o.help);
  ASSERT_EQ(L"", Parse({L"--list-compressors"}, &o));
  EXPECT_TRUE(o.listCompressors);
}

TEST(TavrecOptions, EachBadCommandLineHasItsMessage) {
  const std::vector<std::pair<std::vector<std::wstring>, std::wstring>> cases = {
      {{L"--bogus", L"a.avi"}, L"unknown option --bogus"},
      {{L"--quiet=1", L"a.avi"}, L"unknown option --quiet"},
      {{L"--frames", L"3"}, L"no output file"},
      {{L"a.avi", L"b.avi"}, L"more than one output file: a.avi and b.avi"},
      {{L"a.avi", L"--size"}, L"--size needs a value"},
      {{L"--size", L"0x10", L"a.avi"}, L"bad value for --size: \"0x10\""},
      {{L"--size", L"640", L"a.avi"}, L"bad value for --size: \"640\""},
      {{L"--size", L"16385x2", L"a.avi"}, L"bad value for --size: \"16385x2\""},
      {{L"--fps", L"0", L"a.avi"}, L"bad value for --fps: \"0\""},
      {{L"--fps=abc", L"a.avi"}, L"bad value for --fps: \"abc\""},
      {{L"--fps", L"1001", L"a.avi"}, L"bad value for --fps: \"1001\""},
      {{L"--pixel-format", L"4", L"a.avi"}, L"bad value for --pixel-format: \"4\""},
      {{L"--duration", L"-1", L"a.avi"}, L"bad value for --duration: \"-1\""},
      {{L"--frames", L"0", L"a.avi"}, L"bad value for --frames: \"0\""},
      {{L"--frames", L"12x", L"a.avi"}, L"bad value for --frames: \"12x\""},
      {{L"--audio-bits", L"8", L"a.avi"}, L"bad value for --audio-bits: \"8\""},
      {{L"--drop-every", L"1", L"a.avi"}, L"bad value for --drop-every: \"1\""},
      {{L"--drop-by", L"size", L"a.avi"}, L"bad value for --drop-by: \"size\""},
      {{L"--break-every", L"x", L"a.avi"}, L"bad value for --break-every: \"x\""},
      {{L"--video-compressor", L"", L"a.avi"}, L"bad value for --video-compressor: \"\""},
      {{L"--audio-compressor=", L"a.avi"}, L"bad value for --audio-compressor: \"\""},
      {{L"--log", L"", L"a.avi"}, L"bad value for --log: \"\""},
      {{L"--log", L"a.log", L"--log-layout", L"6", L"a.avi"}, L"bad value for --log-layout: \"6\""},
      {{L"--log", L"a.log", L"--log-severity", L"loud", L"a.avi"}, L"bad value for --log-severity: \"loud\""},
      {{L"--input", L"-", L"a.avi"}, L"--input needs --size WxH"},
      {{L"--bottom-up", L"a.avi"}, L"--bottom-up is for --input"},
      {{L"--audio-compressor", L"IMA ADPCM", L"a.avi"}, L"--audio-compressor needs --tone"},
      {{L"--log-layout", L"2", L"a.avi"}, L"--log-layout and --log-severity need --log FILE"},
      {{L"--size", L"161x120", L"--pixel-format", L"3", L"a.avi"}, L"--pixel-format 3 (YUY2) needs an even width"},
  };
  for (const auto& [args, message] : cases) EXPECT_EQ(message, Parse(args)) << args.front();
}

TEST(TavrecOptions, TheManualPageNamesEveryOption) {
  const std::wstring help = tavrec::HelpText();
  for (const wchar_t* option : {L"--input",
                                L"--size",
                                L"--fps",
                                L"--pixel-format",
                                L"--bottom-up",
                                L"--duration",
                                L"--frames",
                                L"--tone",
                                L"--audio-bits",
                                L"--drop-every",
                                L"--drop-by",
                                L"--break-every",
                                L"--list-compressors",
                                L"--video-compressor",
                                L"--audio-compressor",
                                L"--log",
                                L"--log-layout",
                                L"--log-severity",
                                L"--quiet",
                                L"--help"})
    EXPECT_NE(std::wstring::npos, help.find(std::wstring(L"\n    ") + option)) << option;
}

}  // namespace
