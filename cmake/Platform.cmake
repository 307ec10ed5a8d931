# Chooses the platform layer's implementation and the system libraries it needs.
if(WIN32)
  set(QVCS_PLATFORM_DIR windows)
  set(QVCS_PLATFORM_LIBS advapi32 ole32 psapi crypt32 ws2_32)
  # Windows looks for a program's DLLs beside it: the library, its tests and tools share one folder.
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
  if(OPENSSL_USE_STATIC_LIBS AND TARGET OpenSSL::Crypto)
    # A static libcrypto brings its own imports: sockets (BIO), the message box and event log
    # of its error reporting, and the CryptoAPI seeding of its random generator.
    set_property(TARGET OpenSSL::Crypto APPEND PROPERTY INTERFACE_LINK_LIBRARIES ws2_32 user32 advapi32)
  endif()
else()
  set(QVCS_PLATFORM_DIR posix)
  set(QVCS_PLATFORM_LIBS)
endif()
