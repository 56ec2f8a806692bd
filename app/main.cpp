// The composition root: the one place that names adapters.

#include <chrono>
#include <cstdlib>

#include "app/build_defaults.h"
#include "app/tovalin_host_app.h"
#include "capture/combined_power.h"
#include "platform/dbus/bus.h"
#include "platform/dbus/bus_power.h"
#include "platform/dbus/bus_probe.h"
#include "platform/dbus/desktop_login_session.h"
#include "platform/dbus/portal_appearance.h"
#include "platform/dbus/status_notifier_item.h"
#include "platform/linux/environment.h"
#include "platform/linux/host_info.h"
#include "platform/linux/login_item_autostart.h"
#include "platform/linux/preferred_tray_icons.h"
#include "platform/linux/qr_code_generator.h"
#include "platform/linux/running_applications.h"
#include "platform/linux/secure_random.h"
#include "platform/linux/settings_file.h"
#include "platform/linux/system_log.h"
#include "platform/linux/text_segmenter.h"
#include "platform/linux/xdg_paths.h"
#include "platform/qt/console_windows.h"
#include "platform/qt/qt_application.h"
#include "platform/qt/qt_descriptor_watcher.h"
#include "platform/qt/qt_main_queue.h"
#include "platform/qt/qt_url.h"
#include "platform/qt/qt_web_socket.h"
#include "platform/qt/tray_symbols.h"
#include "platform/qtquick/desktop_windows.h"
#include "platform/webrtc/webrtc_library.h"
#include "platform/x11/x11_display.h"
#include "platform/x11/x11_input_events.h"
#include "platform/x11/x11_login_session.h"
#include "platform/x11/x11_permissions.h"
#include "platform/x11/x11_power.h"
#include "platform/x11/x11_screen_capture.h"
#include "platform/x11/xembed_tray.h"
#include "ui/mirrored_windows.h"

namespace {

using namespace tovalin;

// A desktop shows windows; a terminal, or a script at the other end of a pipe, reads lines.
std::unique_ptr<Windows> makeWindows(bool onDesktop, TrayIcons& trays, Appearance& appearance,
                                     SystemLog& log) {
  constexpr int kNobody = -1;
  if (!onDesktop) {
    return isConsoleAttended() ? makeConsoleWindows() : makeConsoleWindows(kNobody, kNobody);
  }
  auto windows = makeDesktopWindows(trays, appearance, log);
  if (!isConsoleAttended()) return windows;
  return std::make_unique<MirroredWindows>(std::move(windows), makeConsoleWindows());
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const bool onDesktop = hasX11Display();
  // A session bus that is deaf is worse than none: Qt would wait for it.
  constexpr std::chrono::milliseconds kBusPatience{1000};
  if (onDesktop && !sessionBusAnswers(kBusPatience)) {
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
  }

  // In the order in which one may need another; the host comes last and goes first.
  QtApplication application(argumentCount, arguments,
                            onDesktop ? QtApplication::Face::windows : QtApplication::Face::none);
  const auto log = makeSystemLog();
  const auto queue = makeQtMainQueue();
  const auto defaults = makeSettingsFile(settingsFilePath(), *log);
  const auto random = makeSecureRandom();
  const auto info = makeHostInfo();
  const auto urls = makeQtUrlParser();
  const auto sockets = makeQtWebSockets();
  const auto rtc = makeWebRtcLibrary(environmentValue("TOVALIN_FRAME_TRACE"));
  const auto capture = makeX11ScreenCapture(*log);
  const auto input = makeX11InputEvents(*log);
  const auto text = makeTextSegmenter();
  const auto qrCodes = makeQrCodeGenerator();
  const auto permissions = makeX11Permissions();
  const auto loginItem = makeAutostartLoginItem(autostartPlaces(), ownExecutable());
  const auto descriptors = makeQtDescriptorWatcher();
  const auto applications = makeRunningApplications(runtimeHome(), *log, *descriptors,
                                                    [&application] { application.quit(); });
  const auto sessionBus = makeSessionBus(*queue, *descriptors, *log);
  const auto systemBus = makeSystemBus(*queue, *descriptors, *log);
  const auto x11Session = makeX11LoginSession();
  const auto loginSession = makeDesktopLoginSession(*sessionBus, *systemBus, *log, *x11Session);
  const auto x11Power = makeX11Power();
  const auto busPower = makeBusPower(*sessionBus, *systemBus, *queue, *log);
  CombinedPower power({x11Power.get(), busPower.get()});
  const auto trays =
      makePreferredTrayIcons(makeStatusNotifierIcons(*sessionBus, drawTraySymbol),
                             makeXembedTrayIcons(*queue, *descriptors, drawTraySymbol));
  const auto appearance = makePortalAppearance(*sessionBus, *log);
  const auto windows = makeWindows(onDesktop, *trays, *appearance, *log);

  const TovalinHostApp host({
      .queue = *queue,
      .defaults = *defaults,
      .random = *random,
      .log = *log,
      .info = *info,
      .urls = *urls,
      .sockets = *sockets,
      .rtc = *rtc,
      .capture = *capture,
      .input = *input,
      .text = *text,
      .qrCodes = *qrCodes,
      .permissions = *permissions,
      .loginSession = *loginSession,
      .loginItem = *loginItem,
      .applications = *applications,
      .power = power,
      .windows = *windows,
      .defaultServerURL = kDefaultServerUrl,
      .stunHost = kDefaultStunHost,
  });
  return application.run();
}
