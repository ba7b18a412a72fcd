#!/bin/sh
# Builds the Debian package of a build directory with cpack and checks its name, architecture
# and contents. Arguments: cpack, build directory, scratch directory, expected architecture, and
# 1 when the configuration builds the client library.
set -eu
cpack=$1 build=$2 out=$3 arch=$4 client=$5
rm -rf "$out"
mkdir -p "$out"
"$cpack" --config "$build/CPackConfig.cmake" -B "$out" >"$out/cpack.log" 2>&1 || { cat "$out/cpack.log"; exit 1; }
deb=$(ls "$out"/*.deb)
fail() { echo "package check: $*"; exit 1; }
[ "$(dpkg-deb -f "$deb" Package)" = sve-emulator ] || fail "package name is $(dpkg-deb -f "$deb" Package)"
[ "$(dpkg-deb -f "$deb" Architecture)" = "$arch" ] || fail "architecture is $(dpkg-deb -f "$deb" Architecture)"
dpkg-deb -c "$deb" >"$out/contents"
for f in ./usr/bin/sve-trace ./usr/include/sve_roi.h ./usr/lib/libmemtrace_sve_utils.so \
         ./usr/share/doc/sve-emulator/trace-format.md ./usr/share/sve-emulator/python/sve_trace.py; do
  grep -q " $f\$" "$out/contents" || fail "$f missing from $deb"
done
# The client library, in the configurations that build it.
if [ "$client" = 1 ]; then
  for f in ./usr/lib/libmemtrace_sve_640.so ./usr/bin/sve-run ./usr/bin/sve-exec; do
    grep -q " $f\$" "$out/contents" || fail "$f missing from $deb"
  done
fi
# Nothing of the tests or the build tree.
if grep -E 'gtest|gmock|test_' "$out/contents"; then fail "test files in $deb"; fi
echo "package check: $deb"
