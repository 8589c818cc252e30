# The reference of the public calls, from the comments of their headers, when doxygen is there to make it.
find_program(VXA_DOXYGEN doxygen)
mark_as_advanced(VXA_DOXYGEN)
if(NOT VXA_DOXYGEN)
  message(STATUS "reference: left out, install doxygen to build it")
  return()
endif()

include(GNUInstallDirs)
set(vxa_reference ${PROJECT_BINARY_DIR}/reference)
set(vxa_reference_warnings NO)
if(VXA_WERROR)
  set(vxa_reference_warnings FAIL_ON_WARNINGS)
endif()
configure_file(docs/reference/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
file(GLOB vxa_reference_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/vxa/*.h
                                                  ${PROJECT_SOURCE_DIR}/docs/reference/*)
# Made anew, so that no page outlives what it describes; the stamp tells that it was made without a complaint.
set(vxa_reference_stamp ${PROJECT_BINARY_DIR}/reference.stamp)
add_custom_command(OUTPUT ${vxa_reference_stamp}
                   COMMAND ${CMAKE_COMMAND} -E rm -rf ${vxa_reference}
                   COMMAND ${VXA_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
                   COMMAND ${CMAKE_COMMAND} -E touch ${vxa_reference_stamp}
                   DEPENDS ${vxa_reference_sources} ${PROJECT_BINARY_DIR}/Doxyfile
                   COMMENT "Making the reference" VERBATIM)
add_custom_target(reference ALL DEPENDS ${vxa_reference_stamp})
# The pages use no scripts.
install(DIRECTORY ${vxa_reference} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
        PATTERN "*.js" EXCLUDE)
