# Installs Debian packages that are missing; sourced by the other scripts.
# shellcheck shell=bash

# need PACKAGE...: does nothing, and needs no rights, when all of them are installed.
need() {
  local missing=()
  local package
  for package in "$@"; do
    dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q ' ok installed$' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These Debian packages are missing; install them as root: ${missing[*]}" >&2
      exit 1
    fi
    as_root=(sudo)
  fi
  echo "Installing: ${missing[*]}" >&2
  "${as_root[@]}" apt-get -o DPkg::Lock::Timeout=300 update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=300 install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

build_packages=(g++ cmake ninja-build libpugixml-dev libcli11-dev libhwy-dev nlohmann-json3-dev)
test_packages=(gnuplot-nox libgtest-dev libeigen3-dev libgeographiclib-dev libgeos-dev gdal-bin locales parallel pkg-config groff-base)
bench_packages=(libbenchmark-dev libgdal-dev gdal-bin libeigen3-dev)
clang_packages=(clang libclang-rt-14-dev libomp-dev)
lint_packages=(git clang-format clang-tidy cppcheck)
fuzz_packages=("${clang_packages[@]}" llvm)
docs_packages=(doxygen)
valgrind_packages=(valgrind)
coverage_packages=(gcovr)
package_packages=(dpkg-dev file lintian)
