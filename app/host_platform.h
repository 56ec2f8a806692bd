#pragma once

#include <string>

#include "platform/host_info.h"
#include "platform/input_events.h"
#include "platform/login_item.h"
#include "platform/login_session.h"
#include "platform/main_queue.h"
#include "platform/permissions.h"
#include "platform/power.h"
#include "platform/qr_code.h"
#include "platform/rtc.h"
#include "platform/running_applications.h"
#include "platform/screen_capture.h"
#include "platform/secure_random.h"
#include "platform/system_log.h"
#include "platform/text.h"
#include "platform/url.h"
#include "platform/user_defaults.h"
#include "platform/web_socket.h"
#include "platform/windows.h"

namespace tovalin {

// Everything the host needs of the system it runs on. Whoever fills it in keeps the ports alive for
// as long as the controller lives.
struct HostPlatform {
  MainQueue& queue;
  UserDefaults& defaults;
  SecureRandom& random;
  SystemLog& log;
  HostInfo& info;
  UrlParser& urls;
  WebSockets& sockets;
  RtcLibrary& rtc;
  ScreenCapture& capture;
  InputEvents& input;
  TextSegmenter& text;
  QrCodeGenerator& qrCodes;
  Permissions& permissions;
  LoginSession& loginSession;
  LoginItem& loginItem;
  RunningApplications& applications;
  Power& power;
  Windows& windows;
  std::string defaultServerURL;
  std::string stunHost;
};

}  // namespace tovalin
