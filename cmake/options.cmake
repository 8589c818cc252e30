# Warnings and instrumentation that every target shares.
option(VXA_WERROR "Treat warnings as errors" OFF)
option(VXA_SANITIZE "Build everything with address and undefined-behaviour sanitizers" OFF)
option(VXA_FUZZ "Build the fuzz targets for libFuzzer (needs clang)" OFF)

add_library(vxa_options INTERFACE)
target_include_directories(vxa_options INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
target_compile_options(vxa_options INTERFACE -Wall -Wextra -Wconversion -Wshadow $<$<BOOL:${VXA_WERROR}>:-Werror>)
if(VXA_SANITIZE)
  target_compile_options(vxa_options INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all
                                               -fno-omit-frame-pointer)
  target_link_options(vxa_options INTERFACE -fsanitize=address,undefined)
endif()
if(VXA_FUZZ)
  target_compile_options(vxa_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
