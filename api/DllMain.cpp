// Temporary entry point; replaced by the writer registry's DllMain.
#include <windows.h>
BOOL WINAPI DllMain(HINSTANCE, DWORD, LPVOID) { return TRUE; }
