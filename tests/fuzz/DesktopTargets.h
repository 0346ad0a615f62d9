// The fuzz targets of what is read with Qt's value types: the browsers' frames and TGA pictures.
#pragma once

#include <QByteArray>
#include <QImage>
#include <functional>
#include <span>
#include <string_view>

#include "desktop/preview/Tga.h"
#include "tools/HostFrames.h"

namespace pellora {

// What a browser writes to its messaging host. The first byte chooses how it comes: 0 whole, else in pieces of so
// many bytes at most, every other read being interrupted.
void FuzzFrames(std::string_view bytes, const std::function<FrameEnd(int, QByteArray&)>& read = ReadFrame);

// A TGA picture behind two bytes (little-endian) that choose where a second reading is cut short.
void FuzzTga(std::string_view bytes,
             const std::function<QImage(std::span<const unsigned char>, qint64)>& read = ReadTga);

}  // namespace pellora
