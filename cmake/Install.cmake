# What is installed, where, and how other builds find it. Rooms keep their relative names below one include
# folder, so that an include reads the same inside and outside of this tree.
include(CMakePackageConfigHelpers)

set(install_headers "${CMAKE_INSTALL_INCLUDEDIR}/tumblewash")
set(install_package "${CMAKE_INSTALL_LIBDIR}/cmake/tumblewash")
set(install_rooms memory platform hostapi ImageLib Utility pluginDistort effects host)

foreach(room ${install_rooms})
  target_include_directories(${room} INTERFACE "$<INSTALL_INTERFACE:${install_headers}>")
  target_compile_features(${room} INTERFACE cxx_std_20)
  install(DIRECTORY ${room}/ DESTINATION "${install_headers}/${room}" COMPONENT dev
    FILES_MATCHING PATTERN "*.h" PATTERN "*-inl.h" EXCLUDE)
endforeach()
install(TARGETS ${install_rooms} EXPORT tumblewashTargets ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT dev)
install(EXPORT tumblewashTargets NAMESPACE tumblewash:: DESTINATION "${install_package}" COMPONENT dev)

configure_package_config_file(cmake/tumblewashConfig.cmake.in "${PROJECT_BINARY_DIR}/tumblewashConfig.cmake"
  INSTALL_DESTINATION "${install_package}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/tumblewashConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/tumblewashConfig.cmake" "${PROJECT_BINARY_DIR}/tumblewashConfigVersion.cmake"
  DESTINATION "${install_package}" COMPONENT dev)

# The package files find their prefix from where they lie, so that an installed tree may be moved.
file(RELATIVE_PATH pc_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" pc_prefix "${pc_prefix}")
foreach(pc tumblewash-imagelib tumblewash-host)
  configure_file(cmake/${pc}.pc.in "${PROJECT_BINARY_DIR}/${pc}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${pc}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
endforeach()

install(DIRECTORY pluginDistort/resources/ DESTINATION "${CMAKE_INSTALL_DATADIR}/tumblewash/resources"
  COMPONENT runtime FILES_MATCHING PATTERN "*.strings")
install(FILES README.md CHANGELOG.md LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT runtime)
install(DIRECTORY examples DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev)

# Whose work is in each package.
include(Licences)
set(install_packages runtime tumblewash dev tumblewash-dev)
if(TARGET frei0r)
  list(APPEND install_packages frei0r tumblewash-frei0r)
endif()
if(TARGET tumblewash_ofx)
  list(APPEND install_packages openfx tumblewash-openfx)
endif()
while(install_packages)
  list(POP_FRONT install_packages component package)
  tw_copyright(${component} ${package})
  tw_component_list(${component} ${package})
endwhile()

# Debian packages: cpack -G DEB
set(CPACK_PACKAGE_NAME tumblewash)
set(CPACK_PACKAGE_CONTACT "the tumblewash developers <maintainers@tumblewash.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "classic video transitions for clips and photos")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(TARGET frei0r)
  list(APPEND CPACK_COMPONENTS_ALL frei0r)
endif()
if(TARGET tumblewash_ofx)
  list(APPEND CPACK_COMPONENTS_ALL openfx)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME tumblewash)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "fonts-dejavu-core")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Joins clips and photos with fourteen transitions: the program, the plug-in module, its texts")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME tumblewash-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "liblapack-dev, libblas-dev, libpango1.0-dev, libfontconfig-dev, libhwy-dev, pkg-config")
set(CPACK_COMPONENT_DEV_DESCRIPTION "The image library, the host and the plug-in as static libraries with headers and CMake package")
set(CPACK_DEBIAN_FREI0R_PACKAGE_NAME tumblewash-frei0r)
set(CPACK_COMPONENT_FREI0R_DESCRIPTION "The transitions as frei0r plug-ins, for melt, Kdenlive and GStreamer")
set(CPACK_DEBIAN_OPENFX_PACKAGE_NAME tumblewash-openfx)
set(CPACK_COMPONENT_OPENFX_DESCRIPTION "The transitions as an OpenFX bundle below /usr/OFX/Plugins")
include(CPack)
