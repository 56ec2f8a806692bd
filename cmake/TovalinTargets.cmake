# Target helpers: warnings, sanitizers and hardening in one place, one function for each kind of
# target so that folders state only their sources and what they link.

# The packaged WebRTC library is built without NDEBUG and its class layouts depend on it: a
# program compiled with NDEBUG corrupts the heap at the first peer connection. No build type of
# this project defines it.
set(CMAKE_CXX_FLAGS_RELEASE "-O2")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g")
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g1")
string(TOUPPER "${CMAKE_BUILD_TYPE}" _build_type)
if("${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${_build_type}}" MATCHES "NDEBUG")
  message(FATAL_ERROR "NDEBUG must not be defined: the WebRTC library's class layouts depend on it.")
endif()

find_package(Threads REQUIRED)
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

add_library(tovalin_warnings INTERFACE)
target_compile_options(tovalin_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align
  -Wunused -Wformat=2 -Wimplicit-fallthrough
  $<$<BOOL:${TOVALIN_WERROR}>:-Werror>)

add_library(tovalin_sanitizers INTERFACE)
if(TOVALIN_SANITIZE)
  target_compile_options(tovalin_sanitizers INTERFACE
    -fsanitize=${TOVALIN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tovalin_sanitizers INTERFACE -fsanitize=${TOVALIN_SANITIZE})
endif()

add_library(tovalin_hardening INTERFACE)
if(NOT TOVALIN_SANITIZE)
  target_compile_options(tovalin_hardening INTERFACE
    -fstack-protector-strong -D_GLIBCXX_ASSERTIONS $<$<CONFIG:Release>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  target_link_options(tovalin_hardening INTERFACE -Wl,-z,relro,-z,now)
endif()

# tovalin_library(name SOURCES a.cpp … [LINKS target …] [PRIVATE_LINKS target …])
function(tovalin_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  target_include_directories(${name} PUBLIC "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name}
    PUBLIC ${arg_LINKS}
    PRIVATE ${arg_PRIVATE_LINKS} tovalin_warnings tovalin_hardening
    PUBLIC tovalin_sanitizers)
endfunction()

# tovalin_executable(name SOURCES a.cpp … LINKS target …)
function(tovalin_executable name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}")
  target_link_libraries(${name}
    PRIVATE ${arg_LINKS} tovalin_warnings tovalin_hardening tovalin_sanitizers)
endfunction()

# tovalin_gtest(name SOURCES a.cpp … LINKS target … [LABEL unit|integration])
# One GoogleTest program; every TEST in it becomes a ctest test named <label>.<Suite>.<Test>.
function(tovalin_gtest name)
  cmake_parse_arguments(arg "" "LABEL" "SOURCES;LINKS;PROPERTIES" ${ARGN})
  if(NOT arg_LABEL)
    set(arg_LABEL unit)
  endif()
  tovalin_executable(${name} SOURCES ${arg_SOURCES} LINKS ${arg_LINKS} GTest::gmock GTest::gtest_main)
  gtest_discover_tests(${name}
    TEST_PREFIX "${arg_LABEL}." DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES
    PROPERTIES LABELS ${arg_LABEL} TIMEOUT 120 ${arg_PROPERTIES})
endfunction()
