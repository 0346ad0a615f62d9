// Still: reads the pictures of the preview: JPG, BMP, PNG and TGA.
#pragma once

#include <QImage>
#include <QSize>
#include <string>

namespace pellora {

// Whether the first bytes of `path` or, for TGA, its name say that it is one of them. `path` is bytes. Nothing is
// decoded.
bool IsStill(const std::string& path);

// The picture, no larger than what `box` needs where its format can be decoded so; a null image if it cannot be read
// or needs more memory than a preview may take.
QImage ReadStill(const std::string& path, QSize box);

// `image` in the box, its proportions kept, opaque: what is transparent shows a light chequer.
QImage FitInto(const QImage& image, QSize box);

}  // namespace pellora
