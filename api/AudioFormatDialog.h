// The modal dialog "Select Audio Compress Format": lists the output formats
// that the loaded writer's audio compressor offers and stores the one picked
// with OK in g_pSelectedAudioFormat (Cancel changes nothing). Runs on the
// calling (host UI) thread; the writer's audio compressor must be set.
#pragma once

#include <windows.h>

INT_PTR ShowAudioFormatDialog(HWND parent);
