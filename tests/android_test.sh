#!/bin/sh
# The Android presets say what they lack without an NDK, and with one describe the library for a device. A stand-in
# takes the NDK's place: its toolchain file sets the one variable that is read here. Nothing is built.
#   android_test.sh SOURCE_DIR
set -eu
cd "$1"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fails() { echo "$1" >&2; exit 1; }

env -u ANDROID_NDK_HOME cmake --preset android-x86_64 -B "$work/none" >"$work/said" 2>&1 && fails "built with no NDK"
tr -s '\n ' ' ' <"$work/said" | grep -q 'No Android NDK: .* Set the environment variable ANDROID_NDK_HOME' ||
    fails "does not say what is missing: $(cat "$work/said")"

mkdir -p "$work/ndk/build/cmake"
echo 'set(ANDROID TRUE)' >"$work/ndk/build/cmake/android.toolchain.cmake"
for abi in arm64-v8a armeabi-v7a x86_64; do
    ANDROID_NDK_HOME=$work/ndk cmake --preset "android-$abi" -B "$work/$abi" >"$work/said" 2>&1 || cat "$work/said" >&2
    grep -q "^ANDROID_ABI:[A-Z]*=$abi\$" "$work/$abi/CMakeCache.txt" || fails "android-$abi is not for $abi"
    rules=$work/$abi/build.ninja
    grep -qE '^ *SONAME = libqv6dalgo\.so$' "$rules" || fails "$abi: a device looks for the plain name"
    grep -qE '^ *LINK_LIBRARIES = .*-llog( |$)' "$rules" || fails "$abi: does not link the system's log"
    ! grep -q 'log_host' "$rules" || fails "$abi: has a log of its own"
    ! grep -qE 'sensor_service|replay_command' "$rules" || fails "$abi: more than the library"
done
