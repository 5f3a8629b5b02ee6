# Dependencies.cmake: every outside library and program the build uses, found once, each library
# as an imported target. All come from Debian's packages (scripts/install-packages.sh names them).

# The Windows build (scripts/build-windows.sh) finds the same libraries in mingw's root and in the
# prefix where the script builds them from Debian's sources; what it does not build yet is marked.
if(WIN32)
    # utfcpp's CMake package is not in the Windows prefix, its headers are.
    find_path(UTF8CPP_INCLUDE_DIR utf8.h PATH_SUFFIXES utf8cpp REQUIRED)
    add_library(utf8cpp INTERFACE IMPORTED)
    set_target_properties(utf8cpp PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${UTF8CPP_INCLUDE_DIR})
else()
    find_package(utf8cpp REQUIRED)  # utf8cpp: validating UTF-8 and UTF-16 conversions
endif()
# On Windows zlib is linked in, so that no DLL of it need stand beside the programs.
set(ZLIB_USE_STATIC_LIBS ${WIN32})
find_package(ZLIB REQUIRED)     # ZLIB::ZLIB: raw deflate and inflate
find_package(jsoncpp REQUIRED)  # JsonCpp::JsonCpp: the service's answers, projects, traces
find_package(pugixml REQUIRED)  # pugixml::pugixml: the emulator's library parts
find_package(Threads REQUIRED)  # Threads::Threads: the service's own thread
find_package(PNG REQUIRED)      # PNG::PNG: the host kit's image reader
# On Windows OpenSSL is linked in too (build-windows.sh builds it without DLLs).
set(OPENSSL_USE_STATIC_LIBS ${WIN32})
find_package(OpenSSL REQUIRED)  # OpenSSL::SSL, OpenSSL::Crypto: the service's HTTPS

# Boost.Asio and Boost.Beast (Boost::headers): the service's event-driven server, headers only.
# On Windows the same headers of Debian's package stand in the prefix (build-windows.sh).
if(WIN32)
    find_path(BOOST_INCLUDE_DIR boost/beast.hpp REQUIRED)
    add_library(Boost::headers INTERFACE IMPORTED)
    set_target_properties(Boost::headers PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES ${BOOST_INCLUDE_DIR}
        INTERFACE_COMPILE_DEFINITIONS _WIN32_WINNT=0x0601
        INTERFACE_LINK_LIBRARIES "ws2_32;mswsock")
else()
    find_package(Boost 1.81 REQUIRED CONFIG)
endif()

# mbed TLS (SHA-1, PBKDF2) comes without a CMake package: its crypto library as our own target.
find_library(MBEDCRYPTO_LIBRARY mbedcrypto REQUIRED)
find_path(MBEDTLS_INCLUDE_DIR mbedtls/md.h REQUIRED)
add_library(MbedTLS::mbedcrypto UNKNOWN IMPORTED)
set_target_properties(MbedTLS::mbedcrypto PROPERTIES
    IMPORTED_LOCATION ${MBEDCRYPTO_LIBRARY}
    INTERFACE_INCLUDE_DIRECTORIES ${MBEDTLS_INCLUDE_DIR})

if(ORV_BUILD_TESTS)
    find_package(GTest REQUIRED)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    # The layout check is pinned to clang-format 14, the version Debian 12 ships.
    find_program(CLANG_FORMAT clang-format-14 REQUIRED)
    find_program(CURL_EXECUTABLE curl REQUIRED)
endif()

# cpp-httplib (httplib::httplib): the service, and the client of its tests. On Linux Debian's
# library (below); on Windows its single header, which needs the system's sockets and
# certificate store.
if(WIN32)
    find_path(HTTPLIB_INCLUDE_DIR httplib.h REQUIRED)
    add_library(httplib::httplib INTERFACE IMPORTED)
    set_target_properties(httplib::httplib PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES ${HTTPLIB_INCLUDE_DIR}
        INTERFACE_COMPILE_DEFINITIONS CPPHTTPLIB_OPENSSL_SUPPORT
        INTERFACE_LINK_LIBRARIES "OpenSSL::SSL;OpenSSL::Crypto;ws2_32;crypt32")
    return()
endif()

find_package(CURL REQUIRED)     # CURL::libcurl: the network client on Linux
find_package(PkgConfig REQUIRED)
pkg_check_modules(HTTPLIB REQUIRED IMPORTED_TARGET cpp-httplib)  # PkgConfig::HTTPLIB
add_library(httplib::httplib ALIAS PkgConfig::HTTPLIB)

# FLTK draws the emulator's windows; its OpenGL, forms and fluid parts are not used. Its headers
# come in as system headers: they are not -Wextra clean.
set(FLTK_SKIP_OPENGL ON)
set(FLTK_SKIP_FORMS ON)
set(FLTK_SKIP_FLUID ON)
find_package(FLTK REQUIRED)
add_library(FLTK::FLTK INTERFACE IMPORTED)
set_target_properties(FLTK::FLTK PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${FLTK_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES "${FLTK_LIBRARIES}")

if(ORV_BUILD_BENCHMARKS)
    find_package(benchmark REQUIRED)
endif()
