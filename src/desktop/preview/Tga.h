// Tga: reads TGA pictures: with palette, true-colour and grey, plain and run-length encoded. The format has no
// signature; the caller goes by the file's name. Nothing is read beyond the given bytes, and nothing is allocated that
// they could not fill.
#pragma once

#include <QImage>
#include <span>

namespace pellora {

// A null image if the bytes are not a TGA picture, or one larger than `maxPixels`. Pixels missing from a short file
// are black.
QImage ReadTga(std::span<const unsigned char> bytes, qint64 maxPixels);

}  // namespace pellora
