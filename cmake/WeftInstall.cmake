# cmake --install: the DLLs in bin/, their import libraries in lib/, the public headers in
# include/weftcore/, and a package configuration with its version file in lib/cmake/weftcore/,
# so that an application finds the libraries with find_package(weftcore 1.0 CONFIG).
include(CMakePackageConfigHelpers)

set(WEFT_INSTALL_TARGETS weftcore weftbase)
if(WEFT_USE_AFX_STANDIN)
    list(APPEND WEFT_INSTALL_TARGETS afxlite afxlite_main)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/afx/ DESTINATION include/weftcore/afx FILES_MATCHING PATTERN "*.h" PATTERN private EXCLUDE)
else()
    list(APPEND WEFT_INSTALL_TARGETS weft_framework)
endif()
install(TARGETS ${WEFT_INSTALL_TARGETS} EXPORT weftcoreTargets
        RUNTIME DESTINATION bin
        LIBRARY DESTINATION lib
        ARCHIVE DESTINATION lib
        OBJECTS DESTINATION lib/weftcore)
foreach(folder frame locks ipc watchers jobs app module weftbase)
    install(DIRECTORY ${PROJECT_SOURCE_DIR}/${folder} DESTINATION include/weftcore FILES_MATCHING PATTERN "*.h")
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/weftcore.h DESTINATION include/weftcore)

set(WEFT_PACKAGE_DIR lib/cmake/weftcore)
install(EXPORT weftcoreTargets NAMESPACE weftcore:: DESTINATION ${WEFT_PACKAGE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/weftcoreConfig.cmake.in
    ${PROJECT_BINARY_DIR}/weftcoreConfig.cmake INSTALL_DESTINATION ${WEFT_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/weftcoreConfigVersion.cmake
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/weftcoreConfig.cmake ${PROJECT_BINARY_DIR}/weftcoreConfigVersion.cmake
        DESTINATION ${WEFT_PACKAGE_DIR})
