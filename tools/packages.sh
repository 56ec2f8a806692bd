# Debian packages, and the one function that installs them. Sourced by ./run and ./test.
# shellcheck shell=bash disable=SC2034

packages_build=(
  g++ cmake ninja-build pkg-config nlohmann-json3-dev
  libtgowt-dev
  qt6-base-dev qt6-websockets-dev qt6-declarative-dev qt6-svg-dev
  qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtquick-layouts
  qml6-module-qtquick-templates qml6-module-qtqml qml6-module-qtqml-workerscript
  libxcb1-dev libxcb-shm0-dev libxcb-damage0-dev libxcb-randr0-dev libxcb-render0-dev
  libxcb-shape0-dev libxcb-xfixes0-dev libxcb-xtest0-dev libxcb-dpms0-dev libxcb-screensaver0-dev libxcb-xkb-dev
  libxcb-xinput-dev
  libxkbcommon-dev libxkbcommon-x11-dev
  libicu-dev libqrcodegencpp-dev libsystemd-dev
  libboost-dev libssl-dev libsqlite3-dev
)

# The desktop that ./run makes when there is none.
packages_desktop=(
  xvfb openbox tint2 xterm x11-apps x11-xserver-utils x11-utils
  fonts-dejavu-core fonts-noto-color-emoji
)

packages_test=(
  libgtest-dev libgmock-dev python3 openssl
  x11-xkb-utils xkb-data fonts-noto-cjk
  dbus-daemon python3-dbusmock
  chromium
  coturn iproute2
  libzbar-dev
  appstream desktop-file-utils dpkg-dev file groff-base lintian systemd
)

say() { printf '%s\n' "$*" >&2; }
fail() {
  say "$(basename "$0"): $*"
  exit 1
}

# install_packages NAME… : installs what is missing, with sudo unless root already.
install_packages() {
  local name missing=() as_root=()
  for name in "$@"; do
    dpkg-query -W -f='${Status}' "$name" 2>/dev/null | grep -q 'ok installed' || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || fail "these packages are missing: ${missing[*]}
  Install them as root and start again."
    as_root=(sudo)
  fi
  say "Installing ${#missing[@]} packages: ${missing[*]}"
  local log
  log=$(mktemp)
  if ! { "${as_root[@]}" apt-get update -q &&
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
      apt-get install -q -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
    tail -n 5 "$log" >&2
    fail "could not install: ${missing[*]}
  The lines above say why; the whole log is $log. Mend it and start again."
  fi
  rm -f "$log"
}

# build PRESET TARGET… : configures and builds quietly; shows the compiler's words when it fails.
build() {
  local preset=$1 log
  shift
  mkdir -p "build/$preset"
  log="build/$preset/build.log"
  say "Building ($preset)…"
  if ! { cmake --preset "$preset" && cmake --build --preset "$preset" --target "$@"; } >"$log" 2>&1; then
    grep -E -A3 'error|FAILED|CMake Error' "$log" | head -n 40 >&2
    fail "the build failed; the whole log is $log"
  fi
}
