#pragma once

#include <memory>

#include "platform/windows.h"

namespace tovalin {

// Two sets of windows that show the same: a desktop's, and a terminal's for whoever started the
// program there. What is pressed in either counts. Main thread.
class MirroredWindows : public Windows {
 public:
  // The panel that opens is the first's; an icon in either is one.
  MirroredWindows(std::unique_ptr<Windows> first, std::unique_ptr<Windows> second);

  std::unique_ptr<Menu> makeMenu(MenuActions actions) override;
  std::unique_ptr<PairingWindow> makePairingWindow(PairingActions actions) override;
  std::unique_ptr<IndicatorPanel> makeIndicator(const IndicatorContent& content,
                                                std::function<void()> disconnect) override;

 private:
  const std::unique_ptr<Windows> first_;
  const std::unique_ptr<Windows> second_;
};

}  // namespace tovalin
