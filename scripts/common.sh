# Shared by the scripts of this repository; to be sourced by bash.

if [ -t 1 ]; then bold=$'\e[1m' faint=$'\e[2m' plain=$'\e[0m'; else bold='' faint='' plain=''; fi
say() { printf '\n%s== %s%s\n' "$bold" "$*" "$plain"; }
die() { printf '%s: %s\n' "${0##*/}" "$*" >&2; exit 1; }

# The day and the processor, for what is written into docs/.
circumstances() {
  echo "$(date +%F), $(sed -n '0,/^model name/s/^model name[^:]*: //p' /proc/cpuinfo)"
}

# Prints the comment at the head of the running script, which says how to call it, and exits.
usage_from_head() {
  sed -n '2,/^[^#]/s/^# \{0,1\}//p' "scripts/${0##*/}"
  exit 0
}

# need PACKAGE...: installs the Debian packages that are missing. Where that is impossible, one line says what
# is missing and, if known, the command that installs it.
need() {
  local package name install missing=()
  if ! command -v apt-get >/dev/null; then
    for package; do
      there "$package" || missing+=("$name")
    done
    [ ${#missing[@]} -eq 0 ] || die_without "${missing[@]}"
    return 0
  fi
  for package; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  install="apt-get install -y --no-install-recommends ${missing[*]}"
  local sudo=sudo
  if [ "$(id -u)" -eq 0 ]; then
    sudo=
  elif ! command -v sudo >/dev/null; then
    die "packages are missing; run as root: apt-get update && $install"
  fi
  say "Installing ${missing[*]}"
  $sudo apt-get update -qq || echo "could not refresh the package lists; trying with the old ones"
  $sudo env DEBIAN_FRONTEND=noninteractive $install -qq >/dev/null || die "this failed: $install"
}

# there PACKAGE: whether a system other than Debian has what we use from PACKAGE; sets `name` to that.
there() {
  case $1 in
  g++) name=c++ ;;
  ninja-build) name=ninja ;;
  libgmp-dev) name=gmpxx.h ;;
  libgtest-dev) name=gtest/gtest.h ;;
  libssl-dev) name=openssl/evp.h ;;
  lib*) return 0 ;; # CMake will look for it
  *) name=$1 ;;
  esac
  case $name in
  *.h) c++ -E -x c++ -include "$name" /dev/null ;;
  *) command -v "$name" ;;
  esac >/dev/null 2>&1
}

die_without() {
  if [ "$(uname -s)" != Darwin ]; then
    die "missing: $*; install them with your system's package manager"
  elif ! xcode-select -p >/dev/null 2>&1; then
    die "there is no compiler; run: xcode-select --install"
  else
    die "tools are missing; run: brew install $*"
  fi
}

# start_clock SECONDS, stop_clock: show the progress of what runs between them, which takes about SECONDS: every
# second on a terminal, every half minute elsewhere.
start_clock() {
  local total=$1 gone=0
  while sleep 1 && kill -0 $$ 2>/dev/null; do # until this script ends, however it does
    gone=$((gone + 1))
    if [ -t 2 ]; then
      printf '%d of about %d s \r' $gone "$total"
    elif [ $((gone % 30)) -eq 0 ]; then
      echo "$gone of about $total s"
    fi
  done >&2 &
  clock=$!
}
stop_clock() {
  kill $clock
  wait $clock 2>/dev/null || true
  [ ! -t 2 ] || printf '%40s\r' '' >&2
}

# Prints a command, then runs it.
run() {
  printf '%s$ %s%s\n' "$faint" "$*" "$plain"
  "$@"
}
