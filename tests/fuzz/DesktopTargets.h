// The fuzz targets that use Qt's value types: the browsers' frames and TGA pictures.
#pragma once

#include <QByteArray>
#include <QImage>
#include <functional>
#include <span>
#include <string_view>

#include "desktop/preview/Tga.h"
#include "tools/HostFrames.h"
#include "tools/HostRequests.h"

namespace pellora {

// What a browser writes to its messaging host. The first byte chooses how it arrives: 0 in one piece, else in pieces of
// at most that many bytes, with every other read interrupted.
void FuzzFrames(std::string_view bytes, const std::function<FrameEnd(int, QByteArray&)>& read = ReadFrame);

// A TGA picture after two bytes (little-endian) that choose where a second reading is cut off.
void FuzzTga(std::string_view bytes,
             const std::function<QImage(std::span<const unsigned char>, qint64)>& read = ReadTga);

}  // namespace pellora
