# Sourced by run, check and bench/compare: installs the missing Debian packages of the named lists.
#   ensure_packages build display ...
#   unpack_packages unpacked      into build/packages/NAME, without installing anything
# Changes nothing, and needs no privileges, if all are installed.

package_names() {  # LIST...: the names in cmake/packages/LIST.txt, one a line
  local list
  for list in "$@"; do
    sed -e 's/#.*//' -e '/^[[:space:]]*$/d' "$ROOT/cmake/packages/$list.txt"
  done
}

is_installed() {
  # A package that another one replaces ("nginx" for "nginx-light") counts by what it provides.
  local status
  status=$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null || true)
  [ "$status" = installed ] && return 0
  case $1 in
    nginx-light) command -v nginx >/dev/null || [ -x /usr/sbin/nginx ] ;;
    tinyproxy-bin) command -v tinyproxy >/dev/null ;;
    *) return 1 ;;
  esac
}

refresh_package_lists() {
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -qq </dev/null || true
}

ensure_packages() {
  local name missing=() as_root=()
  for name in $(package_names "$@"); do
    is_installed "$name" || missing+=("$name")
  done
  [ ${#missing[@]} -eq 0 ] && return 0

  if ! command -v apt-get >/dev/null; then
    echo "These packages are missing, and there is no apt-get to install them: ${missing[*]}" >&2
    return 1
  fi
  if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
      echo "These packages are missing. Install them as root and start again:" >&2
      echo "  apt-get install --no-install-recommends ${missing[*]}" >&2
      return 1
    fi
    as_root=(sudo)
  fi
  echo "Installing missing packages: ${missing[*]}"
  refresh_package_lists
  # The tests start their own servers; the package must not start one on the machine.
  local policy=/usr/sbin/policy-rc.d own_policy=no result=0
  if [ ! -e "$policy" ]; then
    printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
    "${as_root[@]}" chmod 755 "$policy"
    own_policy=yes
  fi
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" </dev/null >/dev/null || result=$?
  [ $own_policy = no ] || "${as_root[@]}" rm -f "$policy"
  return $result
}

unpack_packages() {  # LIST...
  local name folder archives refreshed=no
  for name in $(package_names "$@"); do
    folder=$ROOT/build/packages/$name
    [ -d "$folder" ] && continue
    if ! command -v apt-get >/dev/null; then
      echo "Package $name is missing, and there is no apt-get to download it." >&2
      return 1
    fi
    echo "Fetching package $name"
    rm -rf "$folder.new"
    mkdir -p "$folder.new/archive"
    # A machine whose package lists were cleared must fetch them first, which only root can do.
    if ! (cd "$folder.new/archive" && apt-get download -qq "$name" >/dev/null 2>&1); then
      [ $refreshed = yes ] || refresh_package_lists
      refreshed=yes
      (cd "$folder.new/archive" && apt-get download -qq "$name" >/dev/null) || return 1
    fi
    archives=("$folder.new/archive/"*.deb)
    dpkg-deb --extract "${archives[0]}" "$folder.new" || return 1
    rm -r "$folder.new/archive"
    mv "$folder.new" "$folder"
  done
}
