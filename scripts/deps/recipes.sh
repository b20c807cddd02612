# shellcheck shell=bash
# How each dependency is cross-compiled. A recipe gets three folders: the source, an empty one to build in and the one
# to install into; what was built before it lies in $DEPS_PREFIX. The text of a recipe is part of its cache key.

cross_cmake() { # source build install [options...]
    local source=$1 build=$2 install=$3
    shift 3
    cmake -S "$source" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN_FILE" -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_INSTALL_PREFIX="$install" -DCMAKE_INSTALL_LIBDIR=lib -DCMAKE_C_FLAGS_RELEASE="-O2" \
        -DCMAKE_CXX_FLAGS_RELEASE="-O2" -Wno-dev "$@"
}

# The portable runtime leaves out winsock's headers where its own configuration hides them from MinGW.
APR_FLAGS="-D_WIN32_WINNT=0x0601 -include winsock2.h -include ws2tcpip.h -include mswsock.h -include iphlpapi.h \
-DFD_SETSIZE=1024 -DHAVE_ATOMIC_BUILTINS=1 -DHAVE_ATOMIC_BUILTINS64=1 -Wno-incompatible-pointer-types"

build_expat() {
    # Debian's archive holds upstream's whole repository, of which the library is a part, or the library alone.
    if [ -d "$1/expat" ]; then set -- "$1/expat" "$2" "$3"; fi
    # Up to 2.5 the configuration header leaves this macro empty, and the sources then test its value.
    sed -i 's/^#cmakedefine XML_DTD$/#cmakedefine XML_DTD 1/' "$1"/expat_config.h.cmake
    cross_cmake "$1" "$2" "$3" -DEXPAT_CHAR_TYPE=wchar_t -DEXPAT_SHARED_LIBS=OFF -DEXPAT_BUILD_TOOLS=OFF \
        -DEXPAT_BUILD_TESTS=OFF -DEXPAT_BUILD_EXAMPLES=OFF -DEXPAT_BUILD_DOCS=OFF -DEXPAT_BUILD_PKGCONFIG=OFF
    cmake --build "$2" --target install
    # The suffix of the wide library differs between versions.
    [ -e "$3/lib/libexpat.a" ] || mv "$3"/lib/libexpat*.a "$3/lib/libexpat.a"
}

build_apr() {
    cross_cmake "$1" "$2" "$3" -DMIN_WINDOWS_VER=Windows7 -DCMAKE_C_FLAGS="$APR_FLAGS"
    # The build runs this generator, so it has to be a program of the machine that builds.
    cmake --build "$2" --target gen_test_char
    cc -DCROSS_COMPILE -o "$2/gen_test_char.exe" "$1/tools/gen_test_char.c"
    cmake --build "$2" --target apr-1
    mkdir -p "$3/include" "$3/lib"
    cp "$1"/include/*.h "$2/apr.h" "$3/include/"
    cp "$2/libapr-1.a" "$3/lib/"
}

build_apr_util() {
    # Its XML part is compiled but never linked: nothing here uses it, and the wide parser would not fit it.
    cross_cmake "$1" "$2" "$3" -DAPU_HAVE_ODBC=OFF -DAPR_HAS_LDAP=OFF -DAPU_HAVE_CRYPTO=OFF \
        -DCMAKE_C_FLAGS="$APR_FLAGS" -DAPR_INCLUDE_DIR="$DEPS_PREFIX/include" \
        -DAPR_LIBRARIES="$DEPS_PREFIX/lib/libapr-1.a" \
        -DEXPAT_INCLUDE_DIR="$DEPS_PREFIX/include" -DEXPAT_LIBRARY="$DEPS_PREFIX/lib/libexpat.a"
    cmake --build "$2" --target aprutil-1
    mkdir -p "$3/include" "$3/lib"
    cp "$1"/include/*.h "$2"/apu.h "$2"/apr_ldap.h "$2"/apu_want.h "$3/include/"
    cp "$2/libaprutil-1.a" "$3/lib/"
}

build_log4cxx() {
    x86_64-w64-mingw32-gcc-posix -O2 -c -o "$2/process-end.o" "$RECIPES_DIR/process-end.c"
    # A DLL, so that host, library and tests of one process meet the same loggers. The portable runtime is inside it.
    cross_cmake "$1" "$2" "$3" -DBUILD_SHARED_LIBS=ON -DLOG4CXX_WCHAR_T=ON -DLOG4CXX_CHAR=utf-8 \
        -DLOG4CXX_DOMCONFIGURATOR_SUPPORT=OFF -DLOG4CXX_NETWORKING_SUPPORT=OFF -DBUILD_TESTING=OFF \
        -DBUILD_EXAMPLES=OFF -DLOG4CXX_WITH_PKG_CONFIG=OFF -DAPR_STATIC=ON -DAPU_STATIC=ON \
        -DAPR_CONFIG_EXECUTABLE=/nonexistent -DAPR_UTIL_CONFIG_EXECUTABLE=/nonexistent \
        -DCMAKE_PROJECT_INCLUDE="$RECIPES_DIR/dll-name.cmake" \
        -DCMAKE_CXX_FLAGS="-D_WIN32_WINNT=0x0601 -I$RECIPES_DIR/shim" \
        -DCMAKE_SHARED_LINKER_FLAGS="-Wl,--exclude-libs,libapr-1.a:libaprutil-1.a -s \
-Wl,--entry,KeepAtProcessEnd $2/process-end.o" \
        -DCMAKE_CXX_STANDARD_LIBRARIES="-lws2_32 -lmswsock -lrpcrt4 -liphlpapi -ladvapi32 -lshell32 -lodbc32" \
        -DAPR_INCLUDE_DIR="$DEPS_PREFIX/include" -DAPR_LIBRARIES="$DEPS_PREFIX/lib/libapr-1.a" \
        -DAPR_UTIL_INCLUDE_DIR="$DEPS_PREFIX/include" -DAPR_UTIL_LIBRARIES="$DEPS_PREFIX/lib/libaprutil-1.a" \
        -DEXPAT_INCLUDE_DIR="$DEPS_PREFIX/include" -DEXPAT_LIBRARY="$DEPS_PREFIX/lib/libexpat.a"
    cmake --build "$2" --target install
}

build_googletest() {
    # Consumers take the same default on this platform: Windows' own primitives instead of pthreads.
    cross_cmake "$1" "$2" "$3" -Dgtest_disable_pthreads=ON -DBUILD_GMOCK=ON
    cmake --build "$2" --target install
}

build_benchmark() {
    cross_cmake "$1" "$2" "$3" -DGIT_VERSION="${4%%-*}" -DHAVE_STEADY_CLOCK=1 -DHAVE_STD_REGEX=1 \
        -DBENCHMARK_ENABLE_TESTING=OFF -DBENCHMARK_ENABLE_GTEST_TESTS=OFF -DBENCHMARK_ENABLE_WERROR=OFF \
        -DBENCHMARK_INSTALL_DOCS=OFF -DCMAKE_CXX_FLAGS="-D_WIN32_WINNT=0x0601 -DNDEBUG"
    cmake --build "$2" --target install
}
