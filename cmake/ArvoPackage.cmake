# Debian packages by `cpack` in the build directory: the libraries, and what is needed to build against them.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME arvo-volume)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The ArvoVolume maintainers <maintainers@arvovolume.example>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libarvo-volume${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Algorithms over 3D voxel images: shared libraries")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
# The second library depends on the first, which is in the same package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/arvo)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libarvo-volume-dev)
set(CPACK_COMPONENT_DEV_DESCRIPTION "Algorithms over 3D voxel images: headers and CMake package")
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION}), qt6-base-dev (>= 6.4), libgl-dev")
include(CPack)
