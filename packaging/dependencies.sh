# Sourced by ./run and ./test: makes sure that Debian packages are there, and installs what is missing.

# What building and running takes; Debian 12 (bookworm) has all of it.
korvane_run_packages=(
    g++ cmake ninja-build pkg-config
    libtiff-dev zlib1g-dev libzstd-dev liblzma-dev libpugixml-dev
    libopencv-core-dev libopencv-imgproc-dev
    libwxgtk3.2-dev
    libcli11-dev nlohmann-json3-dev libssl-dev libzip-dev libpng-dev libpango1.0-dev fonts-dejavu-core
    gnuplot-nox libboost-math-dev
    pandoc
)
korvane_test_packages=(
    libgtest-dev libbenchmark-dev xvfb xauth openbox xdotool libx11-dev locales
    qemu-user-static
    snakemake
)
# The fuzz targets; the engine comes with the compiler's run-time library.
korvane_fuzz_packages=(
    clang libclang-rt-14-dev
)
# Building and checking packages (./run --install, ./test --packages); the libraries for Python's examples at the end.
korvane_package_packages=(
    python3 python3-dev python3-numpy pybind11-dev dpkg-dev librsvg2-bin file
)
korvane_package_check_packages=(
    lintian appstream desktop-file-utils man-db bash-completion git
    python3-skimage python3-pandas python3-dask
)
korvane_check_packages=(
    clang-tidy cppcheck
)

# korvane_require PACKAGE...: installs those that are not installed, as root or through sudo, saying which.
korvane_require() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    if ! command -v apt-get >/dev/null; then
        echo "Korvane needs these Debian packages, and apt-get is not here to install them: ${missing[*]}" >&2
        return 1
    fi
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Korvane needs these packages: ${missing[*]}" >&2
            echo "Run as root, or install sudo, or run: apt-get install ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "Installing with apt-get: ${missing[*]}"
    "${as_root[@]}" apt-get update -qq &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
