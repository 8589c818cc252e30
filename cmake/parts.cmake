# The programs beside the library, each only where its packages are installed.
find_package(GTest QUIET)

# Takes the name of a part, the folder it lives in, the package that it needs, whether that was found, and
# what add_subdirectory is to be told.
function(vxa_part name folder package found)
  if(found)
    add_subdirectory(${folder} ${ARGN})
  else()
    message(STATUS "${name}: left out, install ${package} to build it")
  endif()
endfunction()

find_package(SQLite3 QUIET)
find_package(Threads QUIET)
find_path(VXA_ASIO_INCLUDE asio.hpp)
set(vxa_gateway_found FALSE)
if(SQLite3_FOUND AND Threads_FOUND AND VXA_ASIO_INCLUDE)
  set(vxa_gateway_found TRUE)
endif()
vxa_part("development gateway" gateway "libasio-dev and libsqlite3-dev" ${vxa_gateway_found})

find_package(CLI11 QUIET CONFIG)
set(vxa_command_found FALSE)
if(CLI11_FOUND AND vxa_gateway_found)
  set(vxa_command_found TRUE)
endif()
vxa_part("vxa command" tools "libcli11-dev, libasio-dev and libsqlite3-dev" ${vxa_command_found})

# A finding of valgrind fails the test; what lives as long as the process (tables, caches) is none.
set(MEMORYCHECK_COMMAND_OPTIONS "--quiet --leak-check=full --show-leak-kinds=definite --errors-for-leak-kinds=definite --error-exitcode=99")
include(CTest)
if(BUILD_TESTING)
  vxa_part("tests" tests "libgtest-dev and libgmock-dev" "${GTest_FOUND}")
endif()

add_subdirectory(examples)

if(BUILD_TESTING)
  add_subdirectory(fuzz)
endif()

find_package(benchmark QUIET)
vxa_part("benchmarks" bench "libbenchmark-dev" "${benchmark_FOUND}" EXCLUDE_FROM_ALL)
