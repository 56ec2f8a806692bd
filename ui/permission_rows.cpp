#include "ui/permission_rows.h"

namespace tovalin {
namespace {

PermissionRow row(Permission permission, bool granted, const char* title, const char* reason) {
  return {permission, granted, granted ? "checkmark.circle.fill" : "circle",
          title,      reason,  granted ? "" : "Allow…"};
}

}  // namespace

std::vector<PermissionRow> permissionRows(const HostFacade& host) {
  return {row(Permission::screenRecording, host.screenPermission(), "Screen Recording",
              "so Tovalin can show this Mac on your phone"),
          row(Permission::accessibility, host.inputPermission(), "Accessibility",
              "so you can click and type from your phone")};
}

void requestPermission(HostFacade& host, Permission permission) {
  if (permission == Permission::screenRecording) {
    host.requestScreenPermission();
  } else {
    host.requestInputPermission();
  }
}

}  // namespace tovalin
