// Reads many recorded movies back with ffprobe in one shell run (not one
// Unix command per movie, which costs far more under Wine): each movie's
// streams as "codec_type,nb_frames,nb_read_packets", the packets counted by
// reading the whole file.
#pragma once

#include <string>
#include <vector>

namespace tavtest {

// For each movie, in order, its streams' lines joined by spaces, such as
// "audio,3840,4 video,2,2"; empty when ffprobe cannot read the file.
std::vector<std::string> StreamCounts(const std::vector<std::wstring>& movies);

}  // namespace tavtest
