# Sourced by the scripts that take pictures of windows: a screen of its own for Wine, which goes away
# with the script.
work=$(mktemp -d)
trap 'kill "${screen:-}" 2>/dev/null || true; rm -rf "$work"' EXIT

Xvfb -displayfd 3 -screen 0 1600x1200x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
screen=$!
for _ in {1..100}; do
  [[ -s $work/display ]] && break
  sleep 0.1
done
export DISPLAY=:$(<"$work/display") WINEDEBUG=-all WINEARCH=win64
export WINEDLLOVERRIDES="mscoree,mshtml=;winedbg.exe=d"

# prepare DPI: a prefix in which Wine draws the windows' frames itself, since nobody else here does.
prepare() {
  export WINEPREFIX=${XDG_CACHE_HOME:-$HOME/.cache}/vespro/wine-screen-$1
  [[ -e $WINEPREFIX/vespro-ready ]] && return
  mkdir -p "$WINEPREFIX/drive_c/windows/Fonts"
  # Debian's Wine does not look for them where Debian puts them.
  ln -sf /usr/share/wine/fonts/*.ttf "$WINEPREFIX/drive_c/windows/Fonts/"
  {
    wine reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d Default /f
    wine reg add 'HKCU\Software\Wine\Explorer\Desktops' /v Default /d 1600x1200 /f
    wine reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d "$1" /f
    wineserver -k
    wineserver -w
  } >/dev/null 2>&1
  touch "$WINEPREFIX/vespro-ready"
}
