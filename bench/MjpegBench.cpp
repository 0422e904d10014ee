// "Tav MJPEG" against ffmpeg's MJPEG encoder on the same 1920x1080 frames:
// frames per second of a whole recording through TavMovieMaker.dll (with the
// platform pack's compressor chosen by name, at its default quality 85),
// side by side with `ffmpeg -c:v mjpeg` (4:2:0, its default threads) at the
// -q:v whose PSNR on these frames comes closest to ours. Five runs of each,
// interleaved; medians printed. Run it through cmake/wine-run.sh, which
// registers the pack; ffmpeg runs on the Unix side.
//
//   mjpeg_bench.exe [frames] [runs]   (default 60 frames, 5 runs)
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "tests/api/MovieMakerDll.h"
#include "tests/common/UnixTools.h"
#include "tests/platform-mjpeg/TestCard.h"

using namespace tavtest;

namespace {

const int kWidth = 1920, kHeight = 1080;
const int kDistinctFrames = 6;  // the card moves; the movie cycles through these
const long long kFrame25 = 400000;

double Seconds() {
  LARGE_INTEGER f, t;
  QueryPerformanceFrequency(&f);
  QueryPerformanceCounter(&t);
  return static_cast<double>(t.QuadPart) / static_cast<double>(f.QuadPart);
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

// ffmpeg's average PSNR (RGB) of a movie against the looped source frames.
double Psnr(const std::string& movie, const std::string& source, int frames) {
  const int loops = (frames + kDistinctFrames - 1) / kDistinctFrames - 1;
  UnixResult r =
      RunUnixCommand("ffmpeg -hide_banner -nostats -i " + ShellQuote(movie) + " -stream_loop " + std::to_string(loops) +
                         " -f rawvideo -pix_fmt rgb24 -s 1920x1080 -i " + ShellQuote(source) +
                         " -lavfi '[0:v]format=rgb24[a];[1:v]format=rgb24[b];[a][b]psnr' -frames:v " +
                         std::to_string(frames) + " -f null - 2>&1",
                     600000);
  const size_t at = r.output.find("average:");
  return at == std::string::npos ? -1 : std::atof(r.output.c_str() + at + 8);
}

long long UnixFileSize(const std::string& path) {
  UnixResult r = RunUnixCommand("stat -c %s " + ShellQuote(path));
  return r.exitCode == 0 ? std::atoll(r.output.c_str()) : -1;
}

// One ffmpeg encode of the looped source into an AVI; its wall time in
// seconds, or -1 when it failed.
double FfmpegRun(const std::string& source, const std::string& movie, int quality, int frames) {
  const int loops = (frames + kDistinctFrames - 1) / kDistinctFrames - 1;
  const double start = Seconds();
  UnixResult r = RunUnixCommand("ffmpeg -v error -y -stream_loop " + std::to_string(loops) +
                                    " -f rawvideo -pix_fmt rgb24 -s 1920x1080 -r 25 -i " + ShellQuote(source) +
                                    " -frames:v " + std::to_string(frames) + " -c:v mjpeg -pix_fmt yuvj420p -q:v " +
                                    std::to_string(quality) + " " + ShellQuote(movie) + " 2>&1",
                                600000);
  const double seconds = Seconds() - start;
  if (r.exitCode != 0) {
    std::printf("ffmpeg failed: %s\n", r.output.c_str());
    return -1;
  }
  return seconds;
}

}  // namespace

int main(int argc, char** argv) {
  const int frames = argc > 1 ? std::max(1, std::atoi(argv[1])) : 60;
  const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;

  MovieMakerDll dll;
  if (!dll.ok()) {
    std::printf("TavMovieMaker.dll or one of its functions was not found\n");
    return 1;
  }
  const std::wstring dir = MakeTempDir();
  const std::wstring movie = dir + L"tav.avi";
  const std::string source = UnixPathOf(dir + L"card.rgb");
  const std::string ffmpegMovie = UnixPathOf(dir + L"ffmpeg.avi");

  std::printf("Making %d test card frames of %dx%d...\n", kDistinctFrames, kWidth, kHeight);
  std::vector<std::string> hostFrames;
  {
    std::ofstream raw(source, std::ios::binary);
    for (int i = 0; i < kDistinctFrames; ++i) {
      CardFrame frame = MakeCardFrame(kWidth, kHeight, CardFormat::Rgb24, i * 10);
      hostFrames.push_back(frame.host);
      raw.write(frame.picture.data(), static_cast<std::streamsize>(frame.picture.size()));
    }
  }

  unsigned pixelFormat = 0;  // 24-bit RGB
  int id = 0;
  bool hasDialog = false;
  if (dll.InitEx(kWidth, kHeight, 25.0, &pixelFormat, &id) != S_OK ||
      dll.SetCompressor(id, L"Tav MJPEG", &hasDialog) != S_OK || !hasDialog) {
    std::printf("\"Tav MJPEG\" cannot be chosen: is the platform pack registered?\n");
    return 1;
  }
  auto recordTav = [&]() -> double {
    const double start = Seconds();
    if (dll.StartMovieRecord(id, movie.c_str()) != S_OK) return -1;
    for (int n = 0; n < frames; ++n) {
      std::string& frame = hostFrames[static_cast<size_t>(n % kDistinctFrames)];
      if (dll.AddMovieFrame2(id, &frame[0], static_cast<unsigned>(frame.size()), n * kFrame25, n) != S_OK) return -1;
    }
    if (dll.StopMovieRecord(id) != S_OK) return -1;
    return Seconds() - start;
  };

  // Equal quality first: ffmpeg's -q:v whose PSNR is nearest to ours.
  if (recordTav() < 0) {
    std::printf("recording through the DLL failed\n");
    return 1;
  }
  const double tavPsnr = Psnr(UnixPathOf(movie), source, frames);
  const long long tavBytes = UnixFileSize(UnixPathOf(movie));
  int ffmpegQuality = 2;
  double ffmpegPsnr = -1;
  long long ffmpegBytes = 0;
  for (int q = 2; q <= 8; ++q) {
    if (FfmpegRun(source, ffmpegMovie, q, frames) < 0) return 1;
    const double psnr = Psnr(ffmpegMovie, source, frames);
    std::printf("  ffmpeg -q:v %d: PSNR %.2f dB\n", q, psnr);
    if (ffmpegPsnr < 0 || std::abs(psnr - tavPsnr) < std::abs(ffmpegPsnr - tavPsnr)) {
      ffmpegQuality = q;
      ffmpegPsnr = psnr;
      ffmpegBytes = UnixFileSize(ffmpegMovie);
    }
  }
  std::printf("Tav MJPEG (quality 85):   PSNR %.2f dB, %.0f KB per frame\n", tavPsnr, tavBytes / 1024.0 / frames);
  std::printf("ffmpeg mjpeg -q:v %d:      PSNR %.2f dB, %.0f KB per frame\n", ffmpegQuality, ffmpegPsnr,
              ffmpegBytes / 1024.0 / frames);

  std::vector<double> tavFps, ffmpegFps;
  for (int run = 1; run <= runs; ++run) {
    const double tav = recordTav();
    const double ffmpeg = FfmpegRun(source, ffmpegMovie, ffmpegQuality, frames);
    if (tav <= 0 || ffmpeg <= 0) return 1;
    tavFps.push_back(frames / tav);
    ffmpegFps.push_back(frames / ffmpeg);
    std::printf("run %d: Tav MJPEG %6.1f frames/s   ffmpeg %6.1f frames/s\n", run, tavFps.back(), ffmpegFps.back());
  }
  std::printf("median of %d runs, %d frames of %dx%d RGB24: Tav MJPEG %.1f frames/s, ffmpeg mjpeg %.1f frames/s\n",
              runs, frames, kWidth, kHeight, Median(tavFps), Median(ffmpegFps));
  dll.Release(id);
  RunUnixCommand("rm -rf " + ShellQuote(UnixPathOf(dir)));
  return 0;
}
