# Shared by the commands of this repository; to be sourced by bash.

if [ -t 1 ]; then bold=$'\e[1m' faint=$'\e[2m' plain=$'\e[0m'; else bold='' faint='' plain=''; fi
say() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }
die() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# Prints the comment at the head of a command of this repository, which tells how to call it, and ends.
usage_from_head() {
  sed -n '2,/^[^#]/s/^# \{0,1\}//p' "scripts/${0##*/}"
  exit 0
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    die "root is needed for: $*; run this as root, or install sudo"
  fi
}

# need PACKAGE...: installs those of Debian's packages that are missing. Elsewhere the tools must be
# there, and what is missing is named.
need() {
  local package missing=()
  if command -v apt-get >/dev/null; then
    for package in "$@"; do
      dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
        missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    say "Installing ${missing[*]}"
    as_root apt-get update -qq || echo "could not refresh the package lists; trying with the old ones"
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
      "${missing[@]}" >/dev/null || die "could not install: ${missing[*]}"
  elif [ "$(uname)" = Darwin ]; then
    command -v c++ >/dev/null || die "no compiler: run xcode-select --install"
    for package in "$@"; do
      case $package in
      cmake) command -v cmake ;;
      ninja-build) package=ninja && command -v ninja ;;
      libgtest-dev) package=googletest && brew ls --versions googletest ;;
      libgmp-dev) package=gmp && brew ls --versions gmp ;;
      libssl-dev) package=openssl && brew ls --versions openssl ;;
      esac >/dev/null 2>&1 || die "$package is missing: run brew install $package"
    done
  else
    for package in cmake ninja c++; do
      command -v $package >/dev/null ||
        die "$package is missing: install it with your system's package manager"
    done
  fi
}

# Prints a command, then runs it.
run() {
  printf '%s$ %s%s\n' "$faint" "$*" "$plain"
  "$@"
}
