#include "Progress.h"

#include <windows.h>

#include "Console.h"

namespace tavrec {

double Progress::ElapsedSeconds() const {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

void Progress::Update(const Figures& f) {
  if (!show_) return;
  const auto now = std::chrono::steady_clock::now();
  if (drawnLength_ > 0 && now - lastDraw_ < std::chrono::milliseconds(250)) return;
  lastDraw_ = now;
  const double seconds = f.elapsedSeconds > 0 ? f.elapsedSeconds : 1e-9;
  std::wstring line =
      Format(L"frame %6lld  %6.1f fps  %6.2f MB/s  drops %lld  elapsed %02d:%04.1f  size %.1f MB", f.handed,
             f.handed / seconds, f.handedBytes / seconds / 1e6, f.drops, static_cast<int>(f.elapsedSeconds / 60),
             f.elapsedSeconds - 60 * static_cast<int>(f.elapsedSeconds / 60), f.fileBytes / 1e6);
  // Spaces over the rest of a longer line drawn before.
  const size_t length = line.size();
  if (length < drawnLength_) line.append(drawnLength_ - length, L' ');
  drawnLength_ = length;
  Print(stderr, L"\r" + line);
}

void Progress::Clear() {
  if (!show_ || drawnLength_ == 0) return;
  Print(stderr, L"\r" + std::wstring(drawnLength_, L' ') + L"\r");
  drawnLength_ = 0;
}

std::wstring Summary(const std::wstring& movie, const Figures& f, double fps) {
  const double seconds = f.elapsedSeconds > 0 ? f.elapsedSeconds : 1e-9;
  return Format(
      L"recorded %s\n"
      L"frames handed in: %lld\n"
      L"slots written: %lld\n"
      L"drops: %lld\n"
      L"empty slots: %lld\n"
      L"breaks: %lld\n"
      L"audio blocks: %lld\n"
      L"bytes: %lld\n"
      L"duration: %.3f s\n"
      L"average rate: %.1f fps, %.2f MB/s handed in over %.1f s\n",
      movie.c_str(), f.handed, f.slots, f.drops, f.emptySlots, f.breaks, f.audioBlocks, f.fileBytes, f.slots / fps,
      f.handed / seconds, f.handedBytes / seconds / 1e6, f.elapsedSeconds);
}

long long FileBytes(const std::wstring& path) {
  WIN32_FILE_ATTRIBUTE_DATA data;
  if (!GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data)) return 0;
  return static_cast<long long>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

}  // namespace tavrec
