# The files by which other builds find the installed libraries: a CMake package with the target
# lokata2::lokata2 and, in its component "profile", lokata::profile; lokata2.pc and lokata-profile.pc.
# All of them move with the prefix they are installed to.

include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/lokata2")
configure_package_config_file(cmake/lokata2Config.cmake.in lokata2Config.cmake
    INSTALL_DESTINATION "${package_dir}")
write_basic_package_version_file(lokata2ConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/lokata2Config.cmake"
              "${PROJECT_BINARY_DIR}/lokata2ConfigVersion.cmake"
        DESTINATION "${package_dir}")
install(EXPORT lokata2Targets NAMESPACE lokata2:: DESTINATION "${package_dir}")
install(EXPORT lokataProfileTargets NAMESPACE lokata:: DESTINATION "${package_dir}")

# pkg-config resolves the prefix from the place of the file, so that a relocated tree works.
file(RELATIVE_PATH LOKATA_PC_PREFIX
    "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
foreach(name lokata2 lokata-profile)
    configure_file(cmake/${name}.pc.in ${name}.pc @ONLY)
    install(FILES "${PROJECT_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()
