# Packages made by CPack from the install components of cmake/Install.cmake.
#
# Debian (preset `package`: Release with debug information, prefix /usr, multiarch libdir):
#   libqvcryptoservice1     Runtime                the shared library
#   libqvcryptoservice-dev  Development            headers, libqvcryptoservice.so, CMake package, .pc file
#   libqvkeystoredb1        KeystoreDb             the database keystore plug-in (SQLite, libpq)
#   libqvkeystoredb-dev     KeystoreDbDevelopment  keystore_db.h, qvksdb_export.h, libqvkeystoredb.so
#   qvcrypto                Tool                   the command-line tool
# each with a -dbgsym package (.ddeb) holding its debug information; the packaged binaries are
# stripped. Dependencies on other packages are computed by dpkg-shlibdeps from the binaries; those
# between our own packages come from the component dependencies below, at the exact version, since
# they are built together. The library packages carry a shlibs file for programs built against
# them.
#
# Windows (preset `mingw`): one ZIP archive of every component, bin/ (DLL, qvcrypto.exe),
# lib/ (import library, CMake package, .pc file) and include/.
set(CPACK_PACKAGE_NAME qvcryptoservice)
set(CPACK_PACKAGE_VENDOR "QVCryptoService developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Cryptographic service library and the qvcrypto tool")
set(CPACK_PACKAGE_CONTACT "QVCryptoService developers <qvcryptoservice@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)

set(CPACK_COMPONENTS_ALL Runtime Development Tool)
if(TARGET qvkeystoredb)
  list(APPEND CPACK_COMPONENTS_ALL KeystoreDb KeystoreDbDevelopment)
endif()

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
  # The archive's binaries go without their debug information.
  set(CPACK_STRIP_FILES ON)
  set(CPACK_PACKAGE_FILE_NAME ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION}-win64)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  # dpkg-shlibdeps meets our own libraries in the build tree, not installed; their dependencies
  # are the component dependencies below.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS)
  foreach(library qvcryptoservice qvkeystoredb)
    if(TARGET ${library})
      get_target_property(library_dir ${library} BINARY_DIR)
      list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${library_dir})
    endif()
  endforeach()
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
  set(CPACK_DEBIAN_DEBUGINFO_PACKAGE ON)
  set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqvcryptoservice${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
      "Cryptographic service library\nKeystore and password encryption, hashing, HMAC and a machine-bound secret (SSV),\nwith a C++ and a C interface.")

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqvcryptoservice-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  # The CMake package finds OpenSSL (the library links libcrypto publicly); so does the .pc file.
  # libargon2 is linked privately; its development package comes along for programs that
  # link the library statically or use Argon2 beside it.
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libssl-dev (>= 3.0), libargon2-dev")
  set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
      "Cryptographic service library: development files\nHeaders, the CMake package (find_package(QVCryptoService)) and the pkg-config file.")

  set(CPACK_DEBIAN_KEYSTOREDB_PACKAGE_NAME libqvkeystoredb${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_KEYSTOREDB_PACKAGE_SECTION libs)
  set(CPACK_COMPONENT_KEYSTOREDB_DEPENDS Runtime)
  set(CPACK_COMPONENT_KEYSTOREDB_DESCRIPTION
      "Database keystore plug-in for the cryptographic service library\nKeeps wrapped keys in SQLite or PostgreSQL.")

  set(CPACK_DEBIAN_KEYSTOREDBDEVELOPMENT_PACKAGE_NAME libqvkeystoredb-dev)
  set(CPACK_DEBIAN_KEYSTOREDBDEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_COMPONENT_KEYSTOREDBDEVELOPMENT_DEPENDS KeystoreDb Development)
  set(CPACK_COMPONENT_KEYSTOREDBDEVELOPMENT_DESCRIPTION
      "Database keystore plug-in: development files\nThe plug-in's header and its unversioned link.")

  set(CPACK_DEBIAN_TOOL_PACKAGE_NAME qvcrypto)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
  set(CPACK_COMPONENT_TOOL_DEPENDS Runtime)
  if(TARGET qvkeystoredb)
    # The tool's key commands link the plug-in.
    list(APPEND CPACK_COMPONENT_TOOL_DEPENDS KeystoreDb)
  endif()
  set(CPACK_COMPONENT_TOOL_DESCRIPTION
      "Command-line tool of the cryptographic service library\nEncrypts, decrypts, hashes and signs data on standard input and output; runs the\nlibrary's self-test.")
endif()
include(CPack)
