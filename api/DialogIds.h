// Resource and control IDs of the audio format dialog (TavMovieMaker.rc).
#pragma once

#define IDD_AUDIO_FORMAT 101
#define IDC_FORMAT_LIST 1001
#define IDC_FORMAT_TAG 1002
#define IDC_BLOCK_ALIGN 1003
#define IDC_DATA_RATE 1004
#define IDC_GRANULARITY 1005
