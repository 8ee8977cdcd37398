#!/bin/bash -eu
# Builds all fuzz targets in the environment of OSS-Fuzz: reads SRC, WORK, CC, CXX, CXXFLAGS and LIB_FUZZING_ENGINE, and
# writes the programs with their seeds, dictionaries and options to OUT. tools/fuzz runs it on a developer's machine.

# The libraries come from the system and are built with libstdc++, so that the targets are too.
export CXXFLAGS="${CXXFLAGS//-stdlib=libc++/}"

source_folder=$SRC/rastertok905
cmake -S "$source_folder" -B "$WORK/build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DK905_BUILD_FUZZ=ON \
  -DK905_BUILD_APPS=ON -DK905_BUILD_TESTS=OFF -DK905_BUILD_BENCH=OFF "-DK905_FUZZING_ENGINE=$LIB_FUZZING_ENGINE"
cmake --build "$WORK/build" --target fuzz_targets -j "$(nproc)"

mkdir -p "$OUT/lib"
for program in "$WORK"/build/fuzz/*_fuzz; do
  name=$(basename "$program")
  cp "$program" "$OUT/$name"
  (cd "$source_folder/fuzz/corpus/$name" && python3 -m zipfile -c "$OUT/${name}_seed_corpus.zip" .)
  if [ -e "$source_folder/fuzz/dictionaries/$name" ]; then
    cp "$source_folder/fuzz/dictionaries/$name" "$OUT/$name.dict"
  fi
  # Standard error has the log of the code under test.
  printf '[libfuzzer]\nmax_len = 4096\nclose_fd_mask = 2\n' >"$OUT/$name.options"

  # The programs run on a system that has only the C library.
  ldd "$program" | sed -n 's/.* => \(\/[^ ]*\) .*/\1/p' | grep -v -E '/(libc|libm|libdl|librt|libpthread|libresolv)\.so' |
    xargs -I{} cp -u {} "$OUT/lib/"
  patchelf --set-rpath '$ORIGIN/lib' --force-rpath "$OUT/$name"
done
