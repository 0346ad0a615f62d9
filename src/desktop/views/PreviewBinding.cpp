#include "desktop/views/PreviewBinding.h"

#include "async/EventGate.h"
#include "desktop/views/PreviewSurface.h"
#include "ports/Media.h"
#include "ui/MediaSurface.h"

namespace pellora {

namespace {

class PreviewBinding : public Binding {
 public:
  PreviewBinding(MediaSurface& control, PreviewSurface& surface, BindingContext& context)
      : control_(control), surface_(surface) {
    const auto reportSize = [&control, &surface, &context] {
      const QSize size = surface.PixelSize();
      context.gate.Deliver([&] { control.Resized(size.width(), size.height()); });
    };
    QObject::connect(&surface, &PreviewSurface::Resized, context.receiver, reportSize);
  }

  void UpdateWidget() override {
    if (surface_.isHidden() == control_.Visible()) surface_.setVisible(control_.Visible);
    surface_.SetFrame(control_.Frame);
  }

 private:
  MediaSurface& control_;
  PreviewSurface& surface_;
};

}  // namespace

std::unique_ptr<Binding> BindPreview(MediaSurface& control, QObject& object, BindingContext& context) {
  auto* surface = qobject_cast<PreviewSurface*>(&object);
  return surface == nullptr ? nullptr : std::make_unique<PreviewBinding>(control, *surface, context);
}

}  // namespace pellora
