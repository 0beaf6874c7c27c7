# Installation in three components: the library (runtime), what a program needs to build on it (development), and the
# tools.

install(TARGETS NorqStd EXPORT NorqStdTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/NorqStd COMPONENT development FILES_MATCHING PATTERN "*.h")

include(CMakePackageConfigHelpers)
set(NORQSTD_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/NorqStd")
configure_package_config_file(cmake/NorqStdConfig.cmake.in "${PROJECT_BINARY_DIR}/NorqStdConfig.cmake"
    INSTALL_DESTINATION "${NORQSTD_CMAKE_DIR}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/NorqStdConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/NorqStdConfig.cmake" "${PROJECT_BINARY_DIR}/NorqStdConfigVersion.cmake"
    cmake/NorqStdVersionInfo.cmake
    DESTINATION "${NORQSTD_CMAKE_DIR}" COMPONENT development)
install(EXPORT NorqStdTargets NAMESPACE NorqStd:: DESTINATION "${NORQSTD_CMAKE_DIR}" COMPONENT development)

# The prefix is found from where the .pc file lies, so that an installed tree may be moved.
set(NORQSTD_PC_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH NORQSTD_PC_TO_PREFIX "/${NORQSTD_PC_DIR}" "/")
configure_file(cmake/norqstd.pc.in "${PROJECT_BINARY_DIR}/norqstd.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/norqstd.pc" DESTINATION "${NORQSTD_PC_DIR}" COMPONENT development)

if(TARGET shipper)
    set_target_properties(shipper PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS shipper RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES examples/shipper/shipper.cfg DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
    # The prefix is known when it is installed.
    install(CODE "set(SHIPPER_FOLDER \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
        configure_file(\"${PROJECT_SOURCE_DIR}/examples/shipper/shipper.service.in\"
            \"${PROJECT_BINARY_DIR}/shipper.service\" @ONLY)" COMPONENT tools)
    install(FILES "${PROJECT_BINARY_DIR}/shipper.service" DESTINATION lib/systemd/system COMPONENT tools)
endif()
if(TARGET norqreg)
    set_target_properties(norqreg PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
    install(TARGETS norqreg RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES tools/norqreg/norqreg.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    install(FILES tools/norqreg/norqreg.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME norqreg COMPONENT tools)
endif()
