// Window class and control IDs of tavcam's main window. Tests find the
// controls with GetDlgItem(FindWindow(kTavCamWindowClass, ...), id).
#pragma once

#define TAVCAM_WINDOW_CLASS L"TavCamWindow"

enum TavCamControl {
  CTL_PREVIEW = 100,
  CTL_SIZE = 101,          // editable combo box: "640x480" or any WIDTHxHEIGHT
  CTL_RATE = 102,          // editable combo box: frames per second
  CTL_PIXEL_FORMAT = 103,  // drop list, in TAVMM_PIXEL_* order
  CTL_AUDIO = 104,         // drop list: "No audio", "Tone, 16-bit", "Tone, 24-bit"
  CTL_DROP_FRAMES = 105,   // check box
  CTL_VIDEO_COMPRESSOR = 110,
  CTL_VIDEO_CONFIGURE = 111,
  CTL_AUDIO_COMPRESSOR = 112,  // "(none)" first, then the DLL's names
  CTL_AUDIO_CONFIGURE = 113,
  CTL_FILE = 120,
  CTL_BROWSE = 121,
  CTL_RECORD = 122,
  CTL_STOP = 123,
  CTL_PAUSE = 124,
  CTL_STATUS = 130,  // status bar: state, frames, drops, file, elapsed, last error
};

// The status bar's parts.
enum TavCamStatusPart {
  kStatusState,
  kStatusFrames,
  kStatusDrops,
  kStatusFile,
  kStatusElapsed,
  kStatusError,
  kStatusParts
};
