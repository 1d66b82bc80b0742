#!/usr/bin/env bash
# run.sh STEP - one step of the consumer tests; tests/consumer/CMakeLists.txt gives the environment.
#
#   install           installs the build into QUOR_WORK/first and moves it to QUOR_WORK/installed, so that a path
#                     that was built in is found out
#   find_package      builds and runs the consumer with the installed CMake package
#   pkg_config        builds and runs it with the installed pkg-config files
#   add_subdirectory  builds the consumer with the repository as a part of its own build
set -euo pipefail
project=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")" && pwd)/project
installed=$QUOR_WORK/installed
warnings=(-std=c++17 -Wall -Wextra -Wpedantic -Werror)

libraryDirectory() {
    dirname -- "$(find "$installed" -name libquor_ai.so)"
}

case $1 in
    install)
        rm -rf -- "$QUOR_WORK/first" "$installed"
        "$QUOR_CMAKE" --install "$QUOR_BUILD" --prefix "$QUOR_WORK/first" >"$QUOR_WORK.log"
        mv -- "$QUOR_WORK/first" "$installed"
        if grep --recursive --files-with-matches --fixed-strings -e "$QUOR_SOURCE" -e "$QUOR_WORK/first" \
            --include='*.cmake' --include='*.pc' --include='*.h' "$installed"; then
            echo "these installed files name a directory of the machine that built them" >&2
            exit 1
        fi
        for program in quor-terminal quor-simulator; do
            if [[ -x $installed/bin/$program ]]; then
                "$installed/bin/$program" --help >/dev/null
                test -s "$installed/share/man/man1/$program.1"
            fi
        done
        ;;
    find_package)
        rm -rf -- "$QUOR_WORK/find_package"
        "$QUOR_CMAKE" -G Ninja -S "$project" -B "$QUOR_WORK/find_package" -DCONSUMER_ROAD=find_package \
            -DCMAKE_PREFIX_PATH="$installed"
        "$QUOR_CMAKE" --build "$QUOR_WORK/find_package"
        "$QUOR_WORK/find_package/consumer"
        if [[ -x $QUOR_WORK/find_package/simulator_consumer ]]; then
            "$QUOR_WORK/find_package/simulator_consumer"
        fi
        ;;
    pkg_config)
        rm -rf -- "$QUOR_WORK/pkg_config"
        mkdir -p -- "$QUOR_WORK/pkg_config"
        libraries=$(libraryDirectory)
        export PKG_CONFIG_PATH=$libraries/pkgconfig
        read -r -a flags <<<"$(pkg-config --cflags --libs quor_ai quor_platform_linux)"
        read -r -a sanitizers <<<"$CXXFLAGS"
        "$CXX" "${sanitizers[@]}" "${warnings[@]}" "$project/consumer.cpp" "${flags[@]}" \
            -o "$QUOR_WORK/pkg_config/consumer"
        LD_LIBRARY_PATH=$libraries "$QUOR_WORK/pkg_config/consumer"
        pkg-config --validate quor_ai quor_platform_linux
        if [[ -e $libraries/pkgconfig/quor_simulator.pc ]]; then
            read -r -a flags <<<"$(pkg-config --cflags --libs --static quor_simulator)"
            "$CXX" "${sanitizers[@]}" -std=c++20 "$project/simulator_consumer.cpp" "${flags[@]}" \
                -o "$QUOR_WORK/pkg_config/simulator_consumer"
            "$QUOR_WORK/pkg_config/simulator_consumer"
        fi
        ;;
    add_subdirectory)
        "$QUOR_CMAKE" -G Ninja -S "$project" -B "$QUOR_WORK/add_subdirectory" -DCONSUMER_ROAD=add_subdirectory \
            -DQUOR_SOURCE="$QUOR_SOURCE" -DCMAKE_BUILD_TYPE=Debug \
            -DQUOR_BUILD_SIMULATOR=OFF -DQUOR_BUILD_TERMINAL=OFF
        "$QUOR_CMAKE" --build "$QUOR_WORK/add_subdirectory" --target consumer
        "$QUOR_WORK/add_subdirectory/consumer"
        ;;
    *)
        echo "run.sh: unknown step '$1'" >&2
        exit 2
        ;;
esac
