# Installation: the shared library with its exported headers, the qvcrypto tool, a CMake
# package (find_package(QVCryptoService) gives QVCryptoService::qvcryptoservice), a pkg-config
# file, and a Debian package through CPack.
include(CMakePackageConfigHelpers)

set(QVCS_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QVCryptoService)

install(TARGETS qvcryptoservice EXPORT QVCryptoServiceTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} NAMELINK_COMPONENT Development
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/qvcryptoservice DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_BINARY_DIR}/include/qvcryptoservice/qvcs_export.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qvcryptoservice)

install(EXPORT QVCryptoServiceTargets NAMESPACE QVCryptoService:: DESTINATION ${QVCS_CMAKE_PACKAGE_DIR})
configure_package_config_file(cmake/QVCryptoServiceConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/QVCryptoServiceConfig.cmake
                              INSTALL_DESTINATION ${QVCS_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/QVCryptoServiceConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/QVCryptoServiceConfig.cmake
              ${PROJECT_BINARY_DIR}/QVCryptoServiceConfigVersion.cmake
        DESTINATION ${QVCS_CMAKE_PACKAGE_DIR})

# The pkg-config file finds its prefix from where it lies, so a staged or relocated install works.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
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
install(FILES ${PROJECT_BINARY_DIR}/qvcryptoservice.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_PACKAGE_NAME qvcryptoservice)
set(CPACK_PACKAGE_VENDOR "QVCryptoService developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Cryptographic service library and the qvcrypto tool")
set(CPACK_PACKAGE_CONTACT "QVCryptoService developers <qvcryptoservice@localhost>")
set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libssl3 (>= 3.0)")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
include(CPack)
