// Still: reads the preview's pictures: JPG, BMP, PNG and TGA.
#pragma once

#include <QImage>
#include <QSize>
#include <string>

namespace pellora {

// Whether the file is one of these by its first bytes or, for TGA, by its name. `path` is bytes. Decodes nothing.
bool IsStill(const std::string& path);

// The picture, decoded no larger than `box` needs if its format allows that; a null image if it cannot be read or needs
// more memory than a preview may take.
QImage ReadStill(const std::string& path, QSize box);

// `image` scaled into the box, in proportion and opaque: transparent parts show a light chequer.
QImage FitInto(const QImage& image, QSize box);

}  // namespace pellora
