#!/usr/bin/env bash
# Installs a build tree into a temporary prefix, checks what landed where, then builds and runs
# two programs against the installed tree: one through find_package(tlm), one in C through
# pkg-config. Usage: install_consumers.sh BUILD_DIR; the compiler flags of a sanitizer build
# come in TLM_CONSUMER_FLAGS, since an instrumented tlm.so needs an instrumented program.
set -euo pipefail
build=$1
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d /tmp/tlm-install.XXXXXX)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
flags=${TLM_CONSUMER_FLAGS:-}

cmake --install "$build" --prefix "$prefix" >"$work/install.log"
for f in lib/tlm.so include/tlm/tlm.h include/tlm/zul_base.h bin/tlm-view bin/tlm-passport \
         bin/tlm-agent share/doc/tlm/README.md lib/cmake/tlm/tlmConfig.cmake \
         lib/cmake/tlm/tlmConfigVersion.cmake lib/pkgconfig/tlm.pc; do
  [ -e "$prefix/$f" ] || { echo "missing after install: $f"; exit 1; }
done
"$prefix/bin/tlm-passport" create -c Install >/dev/null

cmake -S "$here/consumer" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$flags" >"$work/cmake.log"
cmake --build "$work/cmake" >>"$work/cmake.log"
mkdir "$work/logs"
"$work/cmake/consumer" "$work/logs"

{
  for h in "$prefix"/include/tlm/*.h; do echo "#include \"$(basename "$h")\""; done
  cat "$here/consumer.c"
} >"$work/consumer.c"
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
# shellcheck disable=SC2046,SC2086
cc -std=c11 -pedantic -Werror $flags -o "$work/consumer_c" "$work/consumer.c" \
  $(pkg-config --cflags --libs tlm)
"$work/consumer_c"
