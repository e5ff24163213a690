#!/bin/bash
# The Android presets say what they lack without an NDK, and with one describe the library for a device. A stand-in
# takes the NDK's place: its toolchain file sets the one variable that is read here. Nothing is built.
#   android_test.sh SOURCE_DIR
source "$(dirname "$0")/../shell.sh"
cd "$1"

ends 1 "No Android NDK: " env -u ANDROID_NDK_HOME cmake --preset android-x86_64 -B "$work/none"
[[ $(tr -s '\n ' ' ' <"$work/err") == *"Set the environment variable ANDROID_NDK_HOME"* ]]

mkdir -p "$work/ndk/build/cmake"
echo 'set(ANDROID TRUE)' >"$work/ndk/build/cmake/android.toolchain.cmake"
for abi in arm64-v8a armeabi-v7a x86_64; do
    ANDROID_NDK_HOME=$work/ndk ends 0 "" cmake --preset "android-$abi" -B "$work/$abi"
    grep "^ANDROID_ABI:[A-Z]*=$abi\$" "$work/$abi/CMakeCache.txt"
    rules=$work/$abi/build.ninja
    grep -E '^ *SONAME = libqv6dalgo\.so$' "$rules" # the plain name, which a device looks for
    grep -qE '^ *LINK_LIBRARIES = .*-llog( |$)' "$rules"
    not grep -E 'log_host|raw_service|replay_command' "$rules" # a log of its own, or more than the library
done
