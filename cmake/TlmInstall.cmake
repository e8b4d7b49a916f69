# What `cmake --install BUILD --prefix P` puts in place:
#   P/lib/tlm.so                    the library, under the file name applications load
#   P/include/tlm/*.h               the public headers
#   P/bin/tlm-view, tlm-passport, tlm-agent   (when the tools are built)
#   P/share/doc/tlm/                README.md and docs/
#   P/lib/cmake/tlm/                tlmConfig.cmake, tlmConfigVersion.cmake, the target tlm::tlm
#   P/lib/pkgconfig/tlm.pc
# Everything is found relative to the prefix, so an installed tree may be moved.
include(CMakePackageConfigHelpers)

set(TLM_INSTALL_CMAKEDIR lib/cmake/tlm)

install(TARGETS tlm EXPORT tlmTargets LIBRARY DESTINATION lib)
file(GLOB _tlm_public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/*.h)
install(FILES ${_tlm_public_headers} DESTINATION include/tlm)

if(TLM_BUILD_TOOLS)
  # tlm-passport loads tlm.so as an application does: from the lib directory beside bin.
  set_target_properties(tlm-passport PROPERTIES INSTALL_RPATH "$ORIGIN/../lib")
  install(TARGETS tlm-view tlm-passport tlm-agent RUNTIME DESTINATION bin)
endif()
install(FILES ${PROJECT_SOURCE_DIR}/README.md DESTINATION share/doc/tlm)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION share/doc/tlm)

install(EXPORT tlmTargets NAMESPACE tlm:: DESTINATION ${TLM_INSTALL_CMAKEDIR})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/tlmConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tlmConfig.cmake INSTALL_DESTINATION ${TLM_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tlmConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tlmConfig.cmake ${PROJECT_BINARY_DIR}/tlmConfigVersion.cmake
  DESTINATION ${TLM_INSTALL_CMAKEDIR})

configure_file(${CMAKE_CURRENT_LIST_DIR}/tlm.pc.in ${PROJECT_BINARY_DIR}/tlm.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tlm.pc DESTINATION lib/pkgconfig)
