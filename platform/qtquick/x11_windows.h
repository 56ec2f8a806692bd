#pragma once

#include <QAbstractNativeEventFilter>
#include <QRegion>
#include <QWindow>

namespace tovalin {

// What Qt does not know of X11 windows. Everything here does nothing where the windows are not
// X11's. Main thread.

// Whether a compositing manager runs, so that windows can be see-through.
bool hasCompositor();

// Asks the window manager to keep `window` above the others and out of task bars and pagers. After
// each show(): a window manager clears these states when a window goes, and with one that comes
// back at once it may do so late, when the new states have been set already (seen with openbox).
void makePanel(QWindow& window);

// Cuts the window to `shape`, in device pixels from its top left corner: QWindow::setMask knows
// device-independent ones alone, whose corners are steps on a screen of higher resolution.
void shapeWindow(QWindow& window, const QRegion& shape);

// Raises `window` again whenever another one covers it, for a window that the window manager does
// not manage. `window` must have been created.
class StayOnTop : public QAbstractNativeEventFilter {
 public:
  explicit StayOnTop(QWindow& window);
  ~StayOnTop() override;
  StayOnTop(const StayOnTop&) = delete;
  StayOnTop& operator=(const StayOnTop&) = delete;

  bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

 private:
  QWindow& window_;
};

}  // namespace tovalin
