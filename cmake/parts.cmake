# The programs beside the library, each only where its packages are installed.
find_package(GTest QUIET)

# Takes the name of a part, the folder it lives in, the package that it needs, and whether that was found.
function(vxa_part name folder package found)
  if(found)
    add_subdirectory(${folder})
  else()
    message(STATUS "${name}: left out, install ${package} to build it")
  endif()
endfunction()

find_package(CLI11 QUIET CONFIG)
vxa_part("vxa command" tools "libcli11-dev" "${CLI11_FOUND}")

include(CTest)
if(BUILD_TESTING)
  vxa_part("tests" tests "libgtest-dev and libgmock-dev" "${GTest_FOUND}")
endif()

if(BUILD_TESTING)
  add_subdirectory(fuzz)
endif()

find_package(benchmark QUIET)
vxa_part("benchmarks" bench "libbenchmark-dev" "${benchmark_FOUND}")
