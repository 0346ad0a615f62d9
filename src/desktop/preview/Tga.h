// Tga: a reader of TGA pictures: with palette, true-colour and grey, plain and run-length encoded. They have
// no mark of their own; whoever calls goes by the file's name. Nothing is read beyond the bytes given, and
// nothing is allocated that they could not fill.
#pragma once

#include <QImage>
#include <span>

namespace pellora {

// A null image for bytes that are no such picture, or whose picture is larger than `mostPixels`. Pixels that
// a short file lacks are black.
QImage ReadTga(std::span<const unsigned char> bytes, qint64 mostPixels);

}  // namespace pellora
