# Shared by the scripts of this folder: sourced, not run.

# need PACKAGE...: installs the Debian packages that are missing; ends the script when it may not.
need() {
  missing=""
  for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing="$missing $package"
  done
  [ -z "$missing" ] && return 0
  if [ "$(id -u)" = 0 ]; then as_root=""; else as_root="sudo"; fi
  if ! $as_root true 2> /dev/null; then
    echo "neither root nor sudo here: ask for the packages$missing" >&2
    exit 1
  fi
  echo "installing:$missing"
  export DEBIAN_FRONTEND=noninteractive
  $as_root apt-get update -q
  $as_root apt-get install -q -y --no-install-recommends $missing
}

# build PRESET [TARGET]: configures and builds one of the presets of CMakePresets.json, whole or one target of it.
build() {
  cmake --preset "$1"
  cmake --build --preset "$1" -j "$(nproc)" ${2:+--target "$2"}
}

# synthesize NAME SET N SEED: NAME.dat and NAME.lab, a surface or clusters of known shape; $top is the source tree.
synthesize() {
  awk -v set="$2" -v n="$3" -v seed="$4" -f "$top/examples/synthetic.awk" > "$1.dat"
  awk -v set="$2" -v n="$3" -v seed="$4" -v label=1 -f "$top/examples/synthetic.awk" > "$1.lab"
}
