# Sourced by ./run and ./check: Debian packages that a step needs, and how they get on the machine.
# Standard output stays the tester's own: everything here is said on standard error.

say() { printf 'quorle: %s\n' "$*" >&2; }

# is_installed PACKAGE
is_installed() {
  if command -v dpkg-query >/dev/null 2>&1; then
    [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
  else
    # Another system: the command or the header that the package brings is what counts.
    case $1 in
      g++ | cmake | ccache | gcovr | clang-format-* | clang-tidy-* | pkg-config | lhasa) command -v "$1" >/dev/null 2>&1 ;;
      ninja-build) command -v ninja >/dev/null 2>&1 ;;
      jlha-utils) command -v jlha >/dev/null 2>&1 ;;
      python3) command -v python3 >/dev/null 2>&1 ;;
      libcli11-dev) printf '#include <CLI/CLI.hpp>\n' | c++ -x c++ -E - >/dev/null 2>&1 ;;
      libgtest-dev) printf '#include <gtest/gtest.h>\n' | c++ -x c++ -E - >/dev/null 2>&1 ;;
      libbenchmark-dev) printf '#include <benchmark/benchmark.h>\n' | c++ -x c++ -E - >/dev/null 2>&1 ;;
      libtomlplusplus-dev) printf '#include <toml++/toml.h>\n' | c++ -x c++ -std=c++20 -E - >/dev/null 2>&1 ;;
      nlohmann-json3-dev) printf '#include <nlohmann/json.hpp>\n' | c++ -x c++ -E - >/dev/null 2>&1 ;;
      *) return 1 ;;
    esac
  fi
}

# need PACKAGE...: installs what is missing. Fails when that is not possible.
need() {
  missing=
  for package in "$@"; do
    is_installed "$package" || missing="$missing $package"
  done
  [ -n "$missing" ] || return 0
  if ! command -v apt-get >/dev/null 2>&1; then
    say "this needs, and apt-get is not here to install:$missing"
    return 1
  fi
  as_root=
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null 2>&1; then
      say "this needs, and neither root nor sudo is here to install:$missing"
      return 1
    fi
    as_root=sudo
  fi
  say "installing:$missing"
  # A machine may have no lists of packages yet, or old ones.
  if ! install_missing >/dev/null 2>&1; then
    said=$({ $as_root apt-get update -qq </dev/null; install_missing; } 2>&1) || {
      printf '%s\n' "$said" | tail -n 30 >&2
      say "could not install:$missing"
      return 1
    }
  fi
}

# install_missing: what need() found missing, as the user that it found.
install_missing() {
  # shellcheck disable=SC2086  # a list of words
  $as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq $missing </dev/null
}

# need_if_offered PACKAGE...: the same for what can be done without. What this machine's archives do not
# have is not asked for: that would cost a look at all archives, and perhaps a password, each time.
need_if_offered() {
  if find /var/lib/apt/lists -name '*_Packages*' 2>/dev/null | grep -q .; then
    for package in "$@"; do
      apt-cache show "$package" >/dev/null 2>&1 || {
        say "not to be had here: $package"
        return 1
      }
    done
  fi
  need "$@"
}

# configure PRESET [ARGUMENT...]: with lld where it is present, and with ccache, which finds objects of one
# build folder again for another. Debug data names sources by the way to them from the first, so it is right in both.
configure() {
  preset=$1
  shift
  if command -v ccache >/dev/null 2>&1; then
    cache="env;CCACHE_NOHASHDIR=1;CCACHE_BASEDIR=$PWD;ccache"
    set -- "-DCMAKE_C_COMPILER_LAUNCHER=$cache" "-DCMAKE_CXX_COMPILER_LAUNCHER=$cache" "$@"
  fi
  # Half the price of a link. The cross compiler's linker is its own.
  case $preset in
    ppc | native) ;;
    *) command -v ld.lld >/dev/null 2>&1 && set -- -DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=lld "$@" ;;
  esac
  cmake --preset "$preset" "$@"
}
