# What the scripts share; sourced by each, with the repository root as the folder from then on.
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build_packages=(g++ cmake ninja-build libgtest-dev libbenchmark-dev pkg-config
    libdcmtk-dev libcli11-dev nlohmann-json3-dev libpng-dev zlib1g-dev libfmt-dev
    libxml2-dev)

say() { printf '==> %s\n' "$*"; }

# fail WHAT HINT
fail() {
    printf '\nerror: %s\n       %s\n' "$1" "$2" >&2
    exit 1
}

# attempt HINT COMMAND...: runs the command; where it fails, shows the hint and stops.
attempt() {
    local hint=$1
    shift
    "$@" || fail "this failed: $*" "$hint"
}

# need PACKAGE...: installs those Debian packages that are missing.
need() {
    if ! command -v dpkg-query >/dev/null; then
        say "Not a Debian system: expecting the equivalents of $* to be installed"
        return
    fi
    local package missing=() prefix=()
    for package in "$@"; do
        if [[ $(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null) != installed ]]; then
            missing+=("$package")
        fi
    done
    if ((${#missing[@]} == 0)); then
        return
    fi
    if ((EUID != 0)); then
        command -v sudo >/dev/null || fail "missing packages: ${missing[*]}" \
            "as root, run: apt-get install ${missing[*]}"
        prefix=(sudo)
    fi
    say "Installing the missing packages: ${missing[*]}"
    local hint="check the network and the package sources, or install by hand: ${missing[*]}"
    attempt "$hint" "${prefix[@]}" apt-get update -qq
    attempt "$hint" "${prefix[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -qq -y --no-install-recommends "${missing[@]}" >/dev/null
}

# need_for PRESET: the packages to build and test this preset.
need_for() {
    case $1 in
        windows) need cmake ninja-build pkg-config g++-mingw-w64-x86-64-posix googletest wine wine64 ;;
        asan-ubsan | tsan) need "${build_packages[@]}" clang libclang-rt-14-dev llvm ;;
        *) need "${build_packages[@]}" ;;
    esac
}

# configure PRESET
configure() {
    local output
    say "Configuring build/$1"
    if ! output=$(cmake --preset "$1" 2>&1); then
        printf "%s\n" "$output" >&2
        fail "cannot configure preset $1" \
            "see above; after a move of the folder or a run as another user: rm -rf build/$1"
    fi
}

# build PRESET [TARGET]
build() {
    say "Building ${2:-everything} in build/$1"
    attempt "fix the first error above, then run the script again" \
        cmake --build --preset "$1" ${2:+--target "$2"}
}

# Also works in a clone that another user owns, as on a build server.
git_here() { git -c safe.directory="$PWD" "$@"; }

# list_files PATTERN...: the existing files that are tracked or could be added, one per line.
list_files() {
    git_here ls-files --cached --others --exclude-standard --deduplicate -- "$@" |
        while IFS= read -r file; do
            if [[ -f $file ]]; then
                printf '%s\n' "$file"
            fi
        done
}
