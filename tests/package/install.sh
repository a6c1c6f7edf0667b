#!/usr/bin/env bash
# Installs the built package on this machine as a user would, uses it the ways a user does (the application
# list, an orvane:// link from a browser, a second link to the running copy, the command-line checks), then
# purges it and checks that nothing of it is left. Runs inside scripts/with-test-services (a display, a
# session bus, a sound server, a fresh home). Exit 77: skipped.
#   tests/package/install.sh <orvane_<version>_<arch>.deb>
set -euo pipefail
deb=$1
skip() { echo "SKIP: $*"; exit 77; }
[ -f "$deb" ] || skip "no package at $deb (./scripts/package builds it)"
if [ "$(id -u)" -eq 0 ]; then as_root=(); elif sudo -n true 2>/dev/null; then as_root=(sudo -n); else
  skip "installing needs root or sudo without a password"
fi
# Someone's own installation is theirs: never replace or purge it.
if dpkg-query -W -f='${Status}' orvane 2>/dev/null | grep -q 'install ok installed'; then
  skip "orvane is installed on this machine already"
fi

work=$(mktemp -d)
platform_pid=
cleanup() {
  local status=$?
  pkill -x orvane 2>/dev/null || true
  [ -n "$platform_pid" ] && kill "$platform_pid" 2>/dev/null || true
  if dpkg-query -W -f='${Status}' orvane 2>/dev/null | grep -q installed; then
    DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get purge -y -q orvane >/dev/null || true
  fi
  rm -rf "$work"
  exit "$status"
}
trap cleanup EXIT
fail() { echo "FAIL: $*"; exit 1; }
# Waits up to 30 s for a line matching $2 in the file $1.
wait_for_line() {
  for _ in $(seq 300); do grep -qE "$2" "$1" 2>/dev/null && return 0; sleep 0.1; done
  echo "--- $1"; cat "$1" 2>/dev/null || true
  return 1
}

echo "== install"
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get install -y -q --no-install-recommends "$(realpath "$deb")" \
  >"$work/apt.log" || { cat "$work/apt.log"; fail "apt-get install"; }
[ "$(command -v orvane)" = /usr/bin/orvane ] || fail "orvane is not on the PATH"
dpkg-query -L orvane >"$work/files"

echo "== the command-line checks"
orvane --selftest --out "$work/selftest" || fail "orvane --selftest"
QT_QPA_PLATFORM=offscreen orvane --make-iconset "$work/icons"
[ -s "$work/icons/icon_512x512.png" ] && grep -q '<svg' "$work/icons/icon.svg" || fail "orvane --make-iconset"
man -w orvane >/dev/null && man -w orvane-localplatform >/dev/null || fail "a manual page is missing"

echo "== the desktop knows it"
[ "$(xdg-mime query default x-scheme-handler/orvane)" = app.orvane.Orvane.desktop ] ||
  fail "orvane:// links are not Orvane's: $(xdg-mime query default x-scheme-handler/orvane)"
[ -f /usr/share/icons/hicolor/scalable/apps/app.orvane.Orvane.svg ] || fail "no scalable icon"

echo "== a user's first start, from the application list"
/usr/bin/orvane-localplatform --port 0 --data "$work/platform" >"$work/platform.out" &
platform_pid=$!
wait_for_line "$work/platform.out" '^listening on ' || fail "orvane-localplatform did not start"
base=$(sed -n 's/^listening on //p' "$work/platform.out")
export ORVANE_SUPPORT_DIR="$work/support" ORVANE_NO_BROWSER=1
mkdir -p "$XDG_CONFIG_HOME/Orvane"
printf '[General]\nplatformBase=%s\n' "$base" >"$XDG_CONFIG_HOME/Orvane/orvane.conf"
log=$ORVANE_SUPPORT_DIR/orvane.log
gio launch /usr/share/applications/app.orvane.Orvane.desktop
wait_for_line "$log" 'launched app\.orvane\.Orvane' || fail "Orvane did not start from its desktop entry"
wait_for_line "$log" 'welcome: shown' || fail "the first start showed no welcome"
wait_for_line "$log" 'first run: no tray' || fail "no word on the missing tray"

echo "== links from a browser reach the running copy"
xdg-open 'orvane://p/brevik'
wait_for_line "$log" 'deep link orvane://p/brevik -> ' || fail "the link did not reach Orvane"
xdg-open 'orvane://p/noctal/card/t:7'
wait_for_line "$log" 'deep link orvane://p/noctal/card/t:7 -> ' || fail "the second link did not reach Orvane"
[ "$(pgrep -cx orvane)" -eq 1 ] || fail "a second copy kept running"
orvane 'orvane://nonsense/@@/..' || fail "a second start with a garbage link did not exit 0"
wait_for_line "$log" 'deep link not understood: orvane://nonsense' || fail "a garbage link"

echo "== the second start shows no welcome"
pkill -x orvane
for _ in $(seq 100); do pgrep -x orvane >/dev/null || break; sleep 0.1; done
pgrep -x orvane >/dev/null && fail "Orvane did not quit on SIGTERM"
gio launch /usr/share/applications/app.orvane.Orvane.desktop
for _ in $(seq 300); do [ "$(grep -c 'launched app\.orvane\.Orvane' "$log")" -ge 2 ] && break; sleep 0.1; done
[ "$(grep -c 'welcome: shown' "$log")" -eq 1 ] || fail "the welcome showed again"
pkill -x orvane

echo "== purge"
DEBIAN_FRONTEND=noninteractive "${as_root[@]}" apt-get purge -y -q orvane >/dev/null
left=()
while read -r path; do
  [ -f "$path" ] || [ -L "$path" ] && left+=("$path")
done <"$work/files"
[ ${#left[@]} -eq 0 ] || fail "left behind: ${left[*]}"
[ -z "$(xdg-mime query default x-scheme-handler/orvane)" ] || fail "orvane:// still has a handler"
echo "PASS"
