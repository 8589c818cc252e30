# The library: C++20 inside, C outside, libc alone at run time.
#
# Names leave it only through cmake/exports.txt. Semantic interposition stays on: a host may replace the trace hook,
# and exported data may be bound into an executable by copy relocation.
set(vxa_sources
    env/acl.cpp
    env/aclfile.cpp
    env/argv.cpp
    env/command.cpp
    env/daemon.cpp
    env/descriptors.cpp
    env/dump.cpp
    env/envfile.cpp
    env/envline.cpp
    env/paths.cpp
    env/semantics.cpp
    env/signals.cpp
    env/syskey.cpp
    fb/fbapim.cpp
    fb/fbbuf.cpp
    fb/fbbufop.cpp
    fb/fbcommon.cpp
    fb/fbcommon2.cpp
    fb/fbcommon3.cpp
    fb/fberror.cpp
    fb/fbextread.cpp
    fb/fbio.cpp
    fb/fbmap.cpp
    fb/fbnext.cpp
    fb/fbprint.cpp
    fb/fbtconv.cpp
    fb/fbtconv_fields.cpp
    fb/fbtconv_stored.cpp
    fb/fbtux.cpp
    fb/fbtuxf.cpp
    fb/fcache.cpp
    fb/fdlfile.cpp
    fb/fields.cpp
    fb/findex.cpp
    fb/scratch.cpp
    fb/tally.cpp
    sdl/fbaux.cpp
    sdl/member.cpp
    sdl/memberwise.cpp
    sdl/sdlfile.cpp
    sdl/sdltable.cpp
    tbuffer/tbuffer.cpp
    tbuffer/trailer.cpp
    trace/hook.cpp
    trace/spec.cpp
    trace/trace.cpp
    wire/channel.cpp
    wire/common.cpp
    wire/connect.cpp
    wire/dencode.cpp
    wire/descriptor_flags.cpp
    wire/double.cpp
    wire/fieldcodec.cpp
    wire/listen.cpp
    wire/network.cpp
    wire/numberslots.cpp
    wire/recover.cpp
    wire/structcodec.cpp
    xa/console.cpp
    xa/etc.cpp
    xa/match.cpp
    xa/openstr.cpp
    xa/recvq.cpp
    xa/tpapi.cpp
    xa/vxa.cpp
    xa/vxaio.cpp)

add_library(vxa SHARED ${vxa_sources})
target_link_libraries(vxa PRIVATE $<BUILD_INTERFACE:vxa_options>)
target_include_directories(vxa PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                      $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include/vxa>)
target_compile_options(vxa PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
                                   -fsemantic-interposition)

# Debug information for debuggers and the check of the binary interface; strip takes it off again.
target_compile_options(vxa PRIVATE -g)

# A release stays small enough to load everywhere: what runs seldom, waits for the
# network or only forwards is made for size, the rest for speed.
set(vxa_rare_sources ${vxa_sources})
list(FILTER vxa_rare_sources INCLUDE REGEX
     "^env/|^xa/|fb/(fbbuf|fbbufop|fberror|fbextread|fbio|fbmap|fbprint|fbtuxf|fdlfile)|\
sdl/(fbaux|member|sdlfile)\\.|tbuffer/|trace/(spec|trace)|\
wire/(channel|connect|descriptor_flags|listen|recover)")
target_compile_options(vxa PRIVATE
  $<$<CONFIG:Release>:-O2;$<$<CXX_COMPILER_ID:GNU>:-falign-jumps=1;-falign-loops=1>>)
set_source_files_properties(${vxa_rare_sources} PROPERTIES COMPILE_OPTIONS $<$<CONFIG:Release>:-Os>)
target_link_options(vxa PRIVATE -Wl,-z,noseparate-code)
set_target_properties(vxa PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)

# The linker's version script, made from the list of exported names.
set(vxa_exports ${PROJECT_SOURCE_DIR}/cmake/exports.txt)
set(vxa_version_script ${PROJECT_BINARY_DIR}/exports.map)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${vxa_exports})
file(STRINGS ${vxa_exports} vxa_names)
list(JOIN vxa_names ";\n    " vxa_names)
file(CONFIGURE OUTPUT ${vxa_version_script} CONTENT "{\n  global:\n    @vxa_names@;\n  local: *;\n};\n" @ONLY)
set_property(TARGET vxa APPEND PROPERTY LINK_DEPENDS ${vxa_version_script})
target_link_options(vxa PRIVATE -Wl,--version-script=${vxa_version_script} -Wl,-z,relro)

# Linked by the C driver, so that no C++ runtime can slip in; sanitizers bring a runtime of their own.
if(NOT VXA_SANITIZE)
  set_target_properties(vxa PROPERTIES LINKER_LANGUAGE C)
  target_link_options(vxa PRIVATE -Wl,-z,defs)
endif()
