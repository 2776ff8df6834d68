# Warnings, tuning and sanitizers shared by every target through the zx_flags interface library.
add_library(zx_flags INTERFACE)
target_compile_options(zx_flags INTERFACE -Wall -Wextra -Wpedantic)
if(ZX_WERROR)
  target_compile_options(zx_flags INTERFACE -Werror)
endif()

if(ZX_NATIVE)
  include(CheckCXXCompilerFlag)
  check_cxx_compiler_flag(-march=native ZX_HAS_MARCH_NATIVE)
  if(ZX_HAS_MARCH_NATIVE)
    target_compile_options(zx_flags INTERFACE -march=native)
  endif()
endif()

if(CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_definitions(zx_flags INTERFACE ZX_DEBUG_ASSERTS=1)
endif()

if(ZX_SANITIZE)
  target_compile_options(zx_flags INTERFACE -fsanitize=address,undefined -fno-omit-frame-pointer
                                            -fno-sanitize-recover=undefined)
  target_link_options(zx_flags INTERFACE -fsanitize=address,undefined)
  target_compile_definitions(zx_flags INTERFACE ZX_SANITIZED=1)
endif()

# Test builds carry internal checks and the fault-injection hooks; the shipped program does not.
if(ZX_BUILD_TESTS)
  target_compile_definitions(zx_flags INTERFACE ZX_TEST_HOOKS=1 ZX_DEBUG_ASSERTS=1)
endif()

find_package(Threads REQUIRED)
