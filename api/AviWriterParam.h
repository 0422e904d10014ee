// One writer's record in the registry: what LoadParam copies into the one
// writer object before an export works on that writer ID.
#pragma once

#include "writer/ThrowingComPtr.h"
#include "compressors/CompressorEntry.h"

struct AviWriterParam {
  int nID = 0;                                     // 0 only in the default record made at load
  ThrowingComPtr<IGraphBuilder> pGraph;            // counted reference to the writer's graph
  ThrowingComPtr<ICaptureGraphBuilder2> pBuilder;  // counted reference to its graph builder
  wchar_t szFileName[260] = {};                    // output file, written by StartMovieRecord
  int nWidth = 0;
  int nHeight = 0;
  double dFps = 0.0;
  // The compressor tables are shared with g_pAviWriter, which frees them; the
  // record never does.
  CompressorEntry* pVideoCompressors = nullptr;
  int nVideoCompressors = 0;
  CompressorEntry* pAudioCompressors = nullptr;
  int nAudioCompressors = 0;

  AviWriterParam() = default;
  AviWriterParam(const AviWriterParam&) = default;
  AviWriterParam& operator=(const AviWriterParam&) = default;
  // The builder is released before the graph.
  ~AviWriterParam() {
    pBuilder = nullptr;
    pGraph = nullptr;
  }
};
