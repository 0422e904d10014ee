/* A host built for the Microsoft ABI (clang --target=x86_64-pc-windows-msvc,
 * linked by lld-link against lib/TavMovieMaker.lib), with no C runtime and
 * no Windows SDK: it declares the few functions it calls. It records 6 frames
 * into msvc-host.avi in its working folder and exits with 0, or prints the
 * failing function's HRESULT and exits with 1. */
typedef long HRESULT;
typedef unsigned long DWORD;
typedef int BOOL;
typedef void* HANDLE;

__declspec(dllimport) HRESULT TavMovieMakerInitEx(int width, int height, double fps, void* pFrameData, int* pID);
__declspec(dllimport) HRESULT TavMovieMakerStartMovieRecord(int id, const unsigned short* fileName);
__declspec(dllimport) HRESULT
    TavMovieMakerAddMovieFrame2(int id, void* pData, unsigned int size, long long frameTime, long long frameNumber);
__declspec(dllimport) HRESULT TavMovieMakerStopMovieRecord(int id);
__declspec(dllimport) void TavMovieMakerRelease(int id);
__declspec(dllimport) HRESULT TavMovieMakerSetCompressor(int id, const unsigned short* name, _Bool* pHasDialog);

__declspec(dllimport) HANDLE __stdcall GetStdHandle(DWORD handle);
__declspec(dllimport) BOOL
    __stdcall WriteFile(HANDLE file, const void* data, DWORD size, DWORD* written, void* overlapped);
__declspec(dllimport) void __stdcall ExitProcess(unsigned int code);

/* Floating-point code refers to this symbol, which the C runtime would define. */
int _fltused = 0;

enum { kWidth = 24, kHeight = 10, kFrameBytes = kWidth * kHeight * 3 };
static unsigned char frame[kFrameBytes];

static void Print(const char* text) {
  DWORD length = 0, written;
  while (text[length] != 0) ++length;
  WriteFile(GetStdHandle((DWORD)-11), text, length, &written, 0);
}

static void Fail(const char* function, HRESULT hr) {
  static const char digits[] = "0123456789ABCDEF";
  char code[12] = "0x";
  int i;
  for (i = 0; i < 8; ++i) code[2 + i] = digits[((unsigned long)hr >> (28 - 4 * i)) & 15];
  code[10] = '\n';
  code[11] = 0;
  Print(function);
  Print(" failed: ");
  Print(code);
  ExitProcess(1);
}

void HostMain(void) {
  static const unsigned short movie[] = {'m', 's', 'v', 'c', '-', 'h', 'o', 's', 't', '.', 'a', 'v', 'i', 0};
  static const unsigned short uncompressed[] = {'U', 'n', 'c', 'o', 'm', 'p', 'r', 'e', 's', 's', 'e', 'd', 0};
  unsigned int pixelFormat = 0; /* 24-bit RGB */
  int id = 0;
  _Bool hasDialog = 1;
  long long n;
  HRESULT hr = TavMovieMakerInitEx(kWidth, -kHeight, 25.0, &pixelFormat, &id);
  if (hr < 0) Fail("TavMovieMakerInitEx", hr);
  hr = TavMovieMakerSetCompressor(id, uncompressed, &hasDialog);
  if (hr < 0) Fail("TavMovieMakerSetCompressor", hr);
  if (hasDialog) Fail("TavMovieMakerSetCompressor said Uncompressed has a dialog;", hr);
  hr = TavMovieMakerStartMovieRecord(id, movie);
  if (hr < 0) Fail("TavMovieMakerStartMovieRecord", hr);
  for (n = 0; n < 6; ++n) {
    int i;
    for (i = 0; i < kFrameBytes; ++i) frame[i] = (unsigned char)(n * 40 + i);
    hr = TavMovieMakerAddMovieFrame2(id, frame, kFrameBytes, n * 400000, n);
    if (hr < 0) Fail("TavMovieMakerAddMovieFrame2", hr);
  }
  hr = TavMovieMakerStopMovieRecord(id);
  if (hr < 0) Fail("TavMovieMakerStopMovieRecord", hr);
  TavMovieMakerRelease(id);
  Print("recorded 6 frames\n");
  ExitProcess(0);
}
