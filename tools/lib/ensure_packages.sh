# Installs the Debian packages given as arguments that are not installed yet.
# Sourced by the set-up scripts; uses sudo when not run as root.
ensure_packages() {
  local missing=()
  local p
  for p in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
      missing+=("$p")
    fi
  done
  if [ ${#missing[@]} -eq 0 ]; then
    return 0
  fi
  echo "Installing missing packages: ${missing[*]}"
  local sudo=""
  if [ "$(id -u)" -ne 0 ]; then sudo="sudo"; fi
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# What building and testing the library needs on Debian 12.
TLM_BUILD_PACKAGES=(g++ cmake ninja-build binutils pkg-config uuid-dev uuid-runtime tzdata
                    libicu-dev libgtest-dev libgmock-dev libbenchmark-dev)

# tlm-agent's Prometheus face is built on prometheus-cpp; its integration test runs Debian's
# prometheus server (promtool comes with it) and queries it with curl.
TLM_BUILD_PACKAGES+=(prometheus-cpp-dev prometheus curl)

# The viewer's page is checked in a real browser (tests/tools/view/browser_check.sh).
TLM_BUILD_PACKAGES+=(chromium)
