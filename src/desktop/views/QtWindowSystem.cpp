#include "desktop/views/QtWindowSystem.h"

#include "desktop/views/FormHost.h"

namespace pellora {

namespace {

class QtWindowView : public WindowView {
 public:
  QtWindowView(Window& window, EventGate& gate) : host_(new FormHost(window, gate)) {}
  ~QtWindowView() override { host_->Detach(); }

  void Show() override { host_->SetShown(true); }
  void Hide() override { host_->SetShown(false); }
  void Raise() override { host_->Raise(); }
  void Changed(const Control* control) override { host_->Changed(control); }

  QWidget* Form() const { return host_->Form(); }

 private:
  FormHost* host_;  // deletes itself after Detach
};

}  // namespace

std::unique_ptr<WindowView> QtWindowSystem::NewView(Window& window) {
  return std::make_unique<QtWindowView>(window, gate_);
}

QWidget* FormOf(const WindowView& view) {
  const auto* own = dynamic_cast<const QtWindowView*>(&view);
  return own == nullptr ? nullptr : own->Form();
}

}  // namespace pellora
