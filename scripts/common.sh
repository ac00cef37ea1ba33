# scripts/common.sh: what the scripts of this directory share. Sourced, never run.
set -euo pipefail

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$top"

# The library refuses to load without a TEMP that it can write to.
export TEMP=$top/build/temp
mkdir -p "$TEMP"

jobs=$(nproc)

say() { printf '\n== %s\n' "$*"; }

# need <package>...: installs what is missing of these Debian packages; nothing when all are there.
need() {
    if ! command -v dpkg-query >/dev/null; then
        say "not a Debian system: please provide $*"
        return
    fi
    local package missing=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
            missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    say "installing ${missing[*]}"
    as_root apt-get update -q
    as_root apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null
}

as_root() {
    if ((EUID == 0)); then
        DEBIAN_FRONTEND=noninteractive "$@"
    else
        sudo DEBIAN_FRONTEND=noninteractive "$@"
    fi
}

# build <preset> [target]...: configures and builds one preset.
build() {
    local preset=$1
    shift
    say "building: $preset"
    cmake --preset "$preset"
    cmake --build --preset "$preset" ${@:+--target "$@"}
}

# Makes the locale de_DE.UTF-8 for what is started from here; in the build tree, so that no right is
# needed. Tests that compare with it are skipped where it is missing.
use_comma_locale() {
    export LOCPATH=$top/build/locales
    [[ -d $LOCPATH/de_DE.UTF-8 ]] && return
    mkdir -p "$LOCPATH"
    localedef -i de_DE -f UTF-8 "$LOCPATH/de_DE.UTF-8"
}

# Some containers forbid the call that switches address randomisation off.
can_fix_addresses() { setarch -R true 2>/dev/null; }
