#pragma once

#include <memory>

#include "platform/qtquick/quick_scene.h"
#include "platform/windows.h"

namespace tovalin {

// The pairing and onboarding window: floats above ordinary windows, has a title bar with a close
// box that only hides it, and can be moved by its background. Main thread.
class PairingPanel : public PairingWindow {
 public:
  PairingPanel(QuickScene& scene, PairingActions actions);
  ~PairingPanel() override;

  void update(const PairingContent& content) override;
  void orderFront() override;
  void orderOut() override;

 private:
  class View;
  void pressed(const QString& control, const QVariant& value);

  QuickScene& scene_;
  const PairingActions actions_;
  PanelModel model_;
  std::unique_ptr<View> view_;
};

}  // namespace tovalin
