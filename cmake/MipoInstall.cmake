# Headers, the libraries in the folders that the dynamic loader searches, and the files by which CMake and pkg-config
# find them. Hosts link libmipohost.so, which opens libmipo.so.
include(CMakePackageConfigHelpers)

install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/mipo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
install(DIRECTORY ${CMAKE_SOURCE_DIR}/host/include/mipo DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        FILES_MATCHING PATTERN "*.h")

foreach(level IN LISTS MIPO_LEVELS)
  install(TARGETS mipo_${level}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/${MIPO_LEVEL_FOLDER_${level}} NAMELINK_SKIP)
endforeach()

install(TARGETS mipohost mipo_host mipo_headers EXPORT mipo
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
if(MIPO_BUILD_TOOLS)
  install(TARGETS mipo_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/mipo)
install(EXPORT mipo NAMESPACE mipo:: FILE mipo-targets.cmake DESTINATION ${package_folder})
configure_package_config_file(${CMAKE_SOURCE_DIR}/cmake/mipo-config.cmake.in ${CMAKE_BINARY_DIR}/mipo-config.cmake
  INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/mipo-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/mipo-config.cmake ${CMAKE_BINARY_DIR}/mipo-config-version.cmake
        DESTINATION ${package_folder})

file(RELATIVE_PATH includes_from_pkgconfig
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR}) # so that the installed tree can be moved
configure_file(${CMAKE_SOURCE_DIR}/cmake/mipo.pc.in ${CMAKE_BINARY_DIR}/mipo.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/mipo.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
