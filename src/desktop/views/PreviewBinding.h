// PreviewBinding: ties a MediaSurface to a PreviewSurface.
#pragma once

#include <memory>

#include "desktop/views/Bindings.h"
#include "ui/MediaSurface.h"

namespace pellora {

class MediaSurface;

std::unique_ptr<Binding> BindPreview(MediaSurface& control, QObject& object, BindingContext& context);

}  // namespace pellora
