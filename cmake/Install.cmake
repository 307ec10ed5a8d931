# Installation: the shared library with its exported headers, the qvcrypto tool, a CMake
# package (find_package(QVCryptoService) gives QVCryptoService::qvcryptoservice), a pkg-config
# file; cmake/Packaging.cmake makes the Debian packages and the Windows archive from it.
include(CMakePackageConfigHelpers)

set(QVCS_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QVCryptoService)

# What goes where, by install component (each is one Debian package, see below):
#   Runtime                the shared library (on Windows the DLL)
#   Development            its headers, the unversioned link or import library, CMake package, .pc file
#   KeystoreDb             the database keystore plug-in, where it is built
#   KeystoreDbDevelopment  the plug-in's headers and unversioned link
#                          (both installed by keystore_db/CMakeLists.txt)
#   Tool                   qvcrypto
install(TARGETS qvcryptoservice EXPORT QVCryptoServiceTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/qvcryptoservice DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
install(FILES ${PROJECT_BINARY_DIR}/include/qvcryptoservice/qvcs_export.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qvcryptoservice COMPONENT Development)

install(TARGETS qvcrypto RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tool)

install(EXPORT QVCryptoServiceTargets NAMESPACE QVCryptoService:: DESTINATION ${QVCS_CMAKE_PACKAGE_DIR}
        COMPONENT Development)
configure_package_config_file(cmake/QVCryptoServiceConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/QVCryptoServiceConfig.cmake
                              INSTALL_DESTINATION ${QVCS_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QVCryptoServiceConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QVCryptoServiceConfig.cmake
              ${PROJECT_BINARY_DIR}/QVCryptoServiceConfigVersion.cmake
        DESTINATION ${QVCS_CMAKE_PACKAGE_DIR} COMPONENT Development)

# The pkg-config file finds its prefix from where it lies, so a staged or relocated install works;
# a package for a fixed prefix (preset `package`) names it, so that pkg-config recognises the
# system directories and leaves them out of the flags.
option(QVCS_RELOCATABLE_PC "Let the pkg-config file find its prefix from where it lies" ON)
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR NOT QVCS_RELOCATABLE_PC)
  set(QVCS_PC_PREFIX ${CMAKE_INSTALL_PREFIX})
else()
  file(RELATIVE_PATH QVCS_PC_UP /qvcs/${CMAKE_INSTALL_LIBDIR}/pkgconfig /qvcs)
  set(QVCS_PC_PREFIX "\${pcfiledir}/${QVCS_PC_UP}")
endif()
foreach(kind LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE ${CMAKE_INSTALL_${kind}})
    set(QVCS_PC_${kind} ${CMAKE_INSTALL_${kind}})
  else()
    set(QVCS_PC_${kind} "\${prefix}/${CMAKE_INSTALL_${kind}}")
  endif()
endforeach()
configure_file(cmake/qvcryptoservice.pc.in ${PROJECT_BINARY_DIR}/qvcryptoservice.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qvcryptoservice.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT Development)

include(cmake/Packaging.cmake)
