#!/usr/bin/env bash
# installed_copy.sh BUILD SOURCE HOW: installs the library into a scratch folder, moves the folder, and builds and runs
# the examples against it, as other projects find it. HOW is pkg-config or find-package.
set -euo pipefail
build=$1 source=$2 how=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
flags=(-Wall -Wextra -Werror)

cmake --install "$build" --prefix "$scratch/first" --component libqzlp >/dev/null
mv "$scratch/first" "$scratch/moved"
library=$(dirname "$(find "$scratch/moved" -name libqzlp.so)")

case $how in
  pkg-config)
    export PKG_CONFIG_PATH=$library/pkgconfig
    version=$(pkg-config --modversion qzlp)
    read -ra found <<<"$(pkg-config --cflags --libs qzlp)"
    cc -std=c11 "${flags[@]}" "$source/examples/c_api.c" "${found[@]}" -o "$scratch/c_api"
    c++ -std=c++20 "${flags[@]}" "$source/examples/cpp_api.cpp" "${found[@]}" -o "$scratch/cpp_api"
    ;;
  find-package)
    cmake -G Ninja -S "$source/examples" -B "$scratch" -DCMAKE_PREFIX_PATH="$scratch/moved" -DCMAKE_C_FLAGS="${flags[*]}" \
      -DCMAKE_CXX_FLAGS="${flags[*]}" >/dev/null
    cmake --build "$scratch" >/dev/null
    version=$(sed -n 's/^set(PACKAGE_VERSION "\(.*\)")/\1/p' "$library/cmake/qzlp/qzlp-config-version.cmake")
    # A version that it can't stand in for is refused.
    printf 'cmake_minimum_required(VERSION 3.25)\nproject(p LANGUAGES NONE)\nfind_package(qzlp 99 REQUIRED)\n' \
      >"$scratch/moved/CMakeLists.txt"
    if cmake -G Ninja -S "$scratch/moved" -B "$scratch/refused" -DCMAKE_PREFIX_PATH="$scratch/moved" >"$scratch/log" 2>&1; then
      echo "version 99 was found" && exit 1
    fi
    grep -q "considered but not accepted" <(tr -s " \n" " " <"$scratch/log")
    ;;
esac

export LD_LIBRARY_PATH=$library
cd "$scratch"
./c_api >c.txt
tail -n 6 c.txt
grep -Eq 'optimal, objective (44|43\.999)' c.txt
./cpp_api | tee cpp.txt
grep -q 'return 2.0: variance 1.2500 with shares 0.500 0.500' cpp.txt
# The second share is 0 within the tolerance, from either side.
grep -Eq 'return 3.0: variance 4.0000 with shares 1.000 -?0.000' cpp.txt
[ "$version" = "$(sed -n 's/^project(qzipsolve VERSION \([0-9.]*\).*/\1/p' "$source/CMakeLists.txt")" ]
echo "version $version through $how"
