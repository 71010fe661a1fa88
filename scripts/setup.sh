# Sourced by the other scripts. `need PACKAGE...` installs what is missing of Debian's packages, and
# says nothing when nothing is.
need() {
    local missing=() package
    for package in "$@"; do
        if ! dpkg-query --show --showformat='${Status}' "$package" 2>/dev/null |
            grep -q '^install ok installed'; then
            missing+=("$package")
        fi
    done
    [ ${#missing[@]} -eq 0 ] && return
    local as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    echo "Installing ${missing[*]}"
    "${as_root[@]}" apt-get -qq update
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -qq install --yes --no-install-recommends "${missing[@]}" >/dev/null
}

# build FOLDER PRESET [OPTION...]: configures and builds; shows output only when it fails.
build() {
    local folder=$1 preset=$2 log
    shift 2
    log=$(mktemp)
    if ! { cmake --preset "$preset" -B "$folder" "$@" &&
        cmake --build "$folder" --parallel "$(nproc)"; } >"$log" 2>&1; then
        cat "$log"
        rm -f "$log"
        echo "The build of preset $preset failed." >&2
        return 1
    fi
    rm -f "$log"
}
